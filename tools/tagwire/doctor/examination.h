// Looks at a reader, and at what it reads, for what keeps tags from being read.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <tagwirexx/reader.hpp>

namespace tagwire::tool {

// What was looked at.
struct Finding {
    enum class Kind { good, note, found };

    Kind kind = Kind::good;
    std::string check;  // "antennas"
    std::string text;
    std::string mend;  // of what was found: a command, or what to do
};

struct Expectation {
    std::optional<Profile> profile;
    std::string region;  // its name; empty: any
    bool inventories = true;
};

class Examination {
  public:
    using Tell = std::function<void(const Finding&)>;

    // `tool`: how a command for this reader begins.
    Examination(Reader& reader, std::string tool, Expectation expected, Tell tell)
        : reader_(reader), tool_(std::move(tool)), expected_(std::move(expected)), tell_(std::move(tell))
    {}

    // Throws Error where the reader is lost, or the examination is aborted.
    void run();
    // Whether all that was asked for could be looked at.
    bool is_whole() const { return is_whole_; }

  private:
    using Check = void (Examination::*)();

    void look(const char* check, Check examine);
    // What a reader has no call for is a remark; what was asked for and cannot be looked at is not.
    void miss(std::string text)
    {
        const std::string_view check = check_;
        is_whole_ &= check != "settings" && (check != "region" || expected_.region.empty());
        note(std::move(text));
    }
    // Told when the check is at its end.
    void good(std::string text) { saw_.push_back({Finding::Kind::good, check_, std::move(text), {}}); }
    void note(std::string text) { saw_.push_back({Finding::Kind::note, check_, std::move(text), {}}); }
    void found(std::string text, std::string mend)
    {
        saw_.push_back({Finding::Kind::found, check_, std::move(text), std::move(mend)});
    }
    std::string command(const std::string& words) const { return tool_ + ' ' + words; }

    void look_at_information();
    void look_at_mode();
    std::optional<int> return_loss(Port port, Kilohertz frequency);
    void look_at_region();
    void look_at_power();
    void look_at_antennas();
    void look_at_filter();
    void look_at_settings();
    void look_at_ports();
    void look_at_flags();
    void look_at_link();

    using Tags = std::set<Epc>;
    Tags read(tagwire::Session session, Target target, const std::vector<Port>& antennas);
    void compare_targets(tagwire::Session session);

    Reader& reader_;
    std::string tool_;
    Expectation expected_;
    Tell tell_;
    const char* check_ = "";
    std::vector<Finding> saw_;
    std::vector<Port> enabled_;
    Tags tags_;  // all that answered
    bool is_active_ = false;
    bool is_whole_ = true;
    unsigned missed_ = 0;  // answers
};

}  // namespace tagwire::tool
