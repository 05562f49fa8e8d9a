// Settings of a reader as commands take and show them.
#pragma once

#include <string>
#include <vector>

#include <tagwirexx/settings.hpp>
#include <tagwirexx/units.hpp>

#include "deed.h"
#include "option.h"

namespace tagwire::tool {

// A number where people write one.
Json value_json(const SettingInfo& info, const std::string& text);
// With its unit.
std::string value_text(const SettingInfo& info, const std::string& text);

// Throws UsageError unless the name takes this text.
Profile::Value checked_value(const std::string& name, const std::string& text,
                             const SettingsOptions& options = {});

// Sets, and tells `head` once the reader has it.
Work set_work(const Deed& head, const Profile::Value& value, Lasting lasting = Lasting::stored);

// A command without options.
void add_asking(Application& application, CLI::App& group, const char* name, const char* description,
                const char* type, void (*ask)(Reader&, Deed&));

void add_temporary_option(CLI::App& command, Lasting& lasting);

inline constexpr Choices<bool, 2> switch_states{{{"off", false}, {"on", true}}};

// "1, 2, 4", or "none"
std::string ports_text(const std::vector<unsigned>& ports);
std::vector<unsigned> numbers_of(const std::vector<Port>& ports);
// Those of the bits from bit 0 on, which is number 1.
std::vector<unsigned> numbers_in(std::uint64_t bits);

// Names that differ in their number only and follow each other, as one: parameter-3, "parameter-3 to 255".
struct NameRun {
    std::string first;
    std::string text;
};
std::vector<NameRun> runs_of(const std::vector<std::string>& names);
std::string names_text(const std::vector<std::string>& names);

}  // namespace tagwire::tool
