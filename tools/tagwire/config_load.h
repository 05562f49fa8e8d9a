// Brings a reader's settings to the values of a file.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "setting_access.h"

namespace tagwire::tool {

// Called before every command that goes to the reader; ends the work by throwing Failure.
using Watch = std::function<void(std::string_view task, std::size_t done, std::size_t total)>;

struct LoadStep {
    Change wanted;
    std::optional<Bytes> before;  // nothing where it cannot be read
    std::optional<Bytes> after;
    int read_code = 0;
    int write_code = 0;
    bool was_written = false;

    const Setting& setting() const { return *wanted.setting; }
    // Settings that the reader does not serve are no difference, those that nobody can read always are one.
    bool is_served() const { return read_code == 0; }
    bool differs() const;
    bool is_restored() const;
};

class ConfigLoad {
  public:
    ConfigLoad(SettingAccess& access, const SettingCatalogue& catalogue, Watch watch)
        : access_(access), catalogue_(catalogue), watch_(std::move(watch))
    {}

    const std::vector<LoadStep>& steps() const { return steps_; }

    // Reads what the reader has.
    void compare(const std::vector<Change>& wanted);
    // Writes what differs, then reads it again. When the reader is lost half way, the Failure says what was
    // written.
    void apply();

  private:
    void stop_reports();
    void write_all();
    void write_group(std::vector<Change> group);
    void note(const std::vector<Change>& group, int code);
    void verify();
    LoadStep* step_of(const Setting& setting);
    bool has_it(const Change& change);
    std::string account() const;

    SettingAccess& access_;
    const SettingCatalogue& catalogue_;
    Watch watch_;
    std::vector<LoadStep> steps_;
    // The work mode to go back to, while the reader does not report by itself for the sake of the load.
    std::optional<Change> paused_mode_;
};

// Why a step failed, for people.
std::string failure_text(const LoadStep& step, const SettingAccess& access);

bool is_any_different(const std::vector<LoadStep>& steps);

// "3 of 41 settings differ: a, b, c"
std::string summary_text(const std::vector<LoadStep>& steps);

}  // namespace tagwire::tool
