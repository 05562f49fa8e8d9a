// How a Reader reads by itself, and what it reports then.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <tagwirexx/api.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

enum class WorkMode : std::uint8_t {
    answering = 0,  // waits for commands
    active = 1,     // reads and reports by itself
    triggered = 2,  // does so while an input asks for it
};

// Words of the TID bank. None: EPCs are reported.
struct TidWords {
    unsigned first = 0;  // 0 to 255
    unsigned count = 0;  // 0 to 255
};

// What a reader does by itself. Numbers without a unit are in its own coding.
struct ReadingAlone {
    WorkMode mode = WorkMode::answering;
    int eas_sensitivity = 0;
    int report_condition = 0;
    int report_pause = 0;
    int inventory_interval = 0;
    int tag_protocol = 0;
    std::optional<Mask> mask = {};  // only tags that match
    // Not every reader tells the two.
    std::optional<std::chrono::seconds> trigger_time = {};
    std::optional<TidWords> tid = {};
};

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Modes {
  public:
    ReadingAlone parameters();
    // Works while the reader reports by itself, too.
    void set_work_mode(WorkMode mode);

    void set_eas_sensitivity(int value);               // 0 to 255
    void set_reports(int condition, int pause);        // 0 to 255 each
    void set_inventory_interval(int value);            // 0 to 255
    void set_tag_protocol(int value);                  // 0 to 255
    void set_mask(const std::optional<Mask>& mask);    // up to 255 bits
    void set_trigger_time(std::chrono::seconds time);  // 0 to 255 s
    void set_tid(const TidWords& words);

  private:
    friend class Reader;
    explicit Modes(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

// Which readings are reported.
struct FilterRule {
    std::chrono::seconds window = {};  // 0 to 255 s: within it a tag is reported once
    int least_reads = 0;               // 0 to 255: before a tag is reported
    int least_rssi = 0;                // 0 to 255: weaker readings do not count
};

// The reader's report filter. Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Filter {
  public:
    // Time within which a tag is reported once, 0 to 255 s.
    std::chrono::seconds time();
    void set_time(std::chrono::seconds time);
    // Of readers that filter by more than that.
    FilterRule rule();
    void set_rule(const FilterRule& rule);

  private:
    friend class Reader;
    explicit Filter(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
