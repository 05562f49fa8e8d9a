#include "config_load.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "errors.h"

namespace tagwire::tool {

namespace {

constexpr std::string_view work_mode = "work-mode";
constexpr std::uint8_t answering = 0;

template <typename Condition>
std::string names_where(const std::vector<LoadStep>& steps, const Condition& condition)
{
    std::vector<std::string_view> names;
    for (const auto& step : steps) {
        if (condition(step)) names.push_back(step.setting().name);
    }
    return names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace

bool LoadStep::differs() const
{
    if (!setting().can_be_read()) return true;
    return is_served() && !setting().format.is_same(wanted.value, *before);
}

bool LoadStep::is_restored() const
{
    if (!setting().can_be_read()) return was_written && write_code == 0;
    return is_served() && after && setting().format.is_same(wanted.value, *after);
}

void ConfigLoad::compare(const std::vector<Change>& wanted)
{
    for (const auto& change : wanted) {
        watch_("reading", steps_.size(), wanted.size());
        auto& step = steps_.emplace_back();
        step.wanted = change;
        if (!change.setting->can_be_read()) continue;
        const auto reading = access_.read(*change.setting);
        step.read_code = reading.code;
        if (!reading.is_served()) continue;
        step.before = reading.bytes;
        step.after = reading.bytes;
    }
}

LoadStep* ConfigLoad::step_of(const Setting& setting)
{
    const auto found = std::find_if(steps_.begin(), steps_.end(),
                                    [&](const LoadStep& step) { return &step.setting() == &setting; });
    return found == steps_.end() ? nullptr : &*found;
}

// A reader that reports by itself hides answers among its reports.
void ConfigLoad::stop_reports()
{
    const auto& mode = catalogue_.require(work_mode);
    const auto reading = access_.read(mode);
    if (!reading.is_served() || reading.bytes[0] == answering) return;
    paused_mode_ = Change{&mode, reading.bytes};
    if (const auto* const step = step_of(mode)) paused_mode_ = step->wanted;
    const int code = access_.write(std::vector{Change{&mode, {answering}}});
    if (code != 0) paused_mode_.reset();
}

bool ConfigLoad::has_it(const Change& change)
{
    if (!change.setting->can_be_read()) return false;
    const auto reading = access_.read(*change.setting);
    return reading.is_served() && change.setting->format.is_same(change.value, reading.bytes);
}

void ConfigLoad::note(const std::vector<Change>& group, int code)
{
    for (const auto& change : group) {
        if (auto* const step = step_of(*change.setting)) {
            step->was_written = code == 0;
            step->write_code = code;
        }
    }
    if (code == 0 && paused_mode_ && group.front().setting == paused_mode_->setting) paused_mode_.reset();
}

// What is written may have changed more than it says.
void ConfigLoad::write_group(std::vector<Change> group)
{
    std::erase_if(group, [this](const Change& change) { return has_it(change); });
    if (!group.empty()) note(group, access_.write(group));
}

void ConfigLoad::write_all()
{
    std::vector<Change> changes;
    for (const auto& step : steps_) {
        const bool is_paused = paused_mode_ && &step.setting() == paused_mode_->setting;
        if (step.differs() && !is_paused) changes.push_back(step.wanted);
    }
    if (paused_mode_) changes.push_back(*paused_mode_);
    const auto groups = grouped(std::move(changes));
    for (std::size_t i = 0; i < groups.size(); ++i) {
        watch_("writing", i, groups.size());
        write_group(groups[i]);
    }
}

void ConfigLoad::verify()
{
    access_.forget();
    std::size_t done = 0;
    for (auto& step : steps_) {
        watch_("checking", done++, steps_.size());
        if (!step.setting().can_be_read() || !step.is_served()) continue;
        const auto reading = access_.read(step.setting());
        step.after = reading.is_served() ? std::optional(reading.bytes) : std::nullopt;
    }
}

std::string ConfigLoad::account() const
{
    const auto is_done = [](const LoadStep& step) { return step.was_written; };
    const auto is_open = [](const LoadStep& step) { return step.differs() && !step.was_written; };
    auto text = fmt::format("written: {}; not written: {}", names_where(steps_, is_done),
                            names_where(steps_, is_open));
    if (paused_mode_) text += "; the work mode is answering now";
    return text;
}

void ConfigLoad::apply()
{
    if (!is_any_different(steps_)) return;
    try {
        stop_reports();
        write_all();
        verify();
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}. So far {}", failure.what(), account()));
    }
}

std::string failure_text(const LoadStep& step, const SettingAccess& access)
{
    const auto& setting = step.setting();
    if (!step.is_served())
        return fmt::format("{}: this reader does not serve it: {}", setting.name,
                           access.text(step.read_code));
    if (step.write_code != 0) return fmt::format("{}: {}", setting.name, access.text(step.write_code));
    const auto& format = setting.format;
    return fmt::format("{}: the file has {}, the reader {}", setting.name, format.shown(step.wanted.value),
                       step.after ? format.shown(*step.after) : "tells nothing");
}

bool is_any_different(const std::vector<LoadStep>& steps)
{
    return std::any_of(steps.begin(), steps.end(), [](const LoadStep& step) { return step.differs(); });
}

std::string summary_text(const std::vector<LoadStep>& steps)
{
    const auto differs = [](const LoadStep& step) { return step.differs(); };
    const auto count = std::count_if(steps.begin(), steps.end(), differs);
    auto text = fmt::format("{} of {} settings differ", count, steps.size());
    if (count != 0) text += ": " + names_where(steps, differs);
    return text;
}

}  // namespace tagwire::tool
