#include "settings/setting.h"

#include <algorithm>

namespace tagwire::tool {

namespace {

bool is_number(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// parameter-12 is 12 of parameter-; what has no number is itself.
struct Numbered {
    std::string_view stem;
    std::optional<unsigned long> number;

    explicit Numbered(const std::string& name) : stem(name)
    {
        const auto dash = name.rfind('-');
        if (dash == std::string::npos || !is_number(stem.substr(dash + 1))) return;
        number = std::stoul(name.substr(dash + 1));
        stem = stem.substr(0, dash);
    }
    bool is_before(const Numbered& next) const
    {
        return number && next.number && stem == next.stem && *number + 1 == *next.number;
    }
};

}  // namespace

Json value_json(const SettingInfo& info, const std::string& text)
{
    if (info.is_number && is_number(text)) return std::stoll(text);
    return text;
}

std::string value_text(const SettingInfo& info, const std::string& text)
{
    const bool is_counted = text.find_first_not_of("-0123456789,") == std::string::npos && !text.empty();
    return info.unit.empty() || !is_counted ? text : fmt::format("{} {}", text, info.unit);
}

Profile::Value checked_value(const std::string& name, const std::string& text, const SettingsOptions& options)
{
    try {
        const auto info = Settings::describe(name, options);
        if (!info.readable && !info.writable)
            throw UsageError(fmt::format("readers of this family have no setting '{}': see --family", name));
        if (!info.writable) throw UsageError(fmt::format("setting {}: it can be shown only, not set", name));
        Profile().set(name, text);
        return {name, text};
    } catch (const Error& error) {
        throw UsageError(fmt::format("setting {}: {}", name, error.text()));
    }
}

Work set_work(const Deed& head, const Profile::Value& value, Lasting lasting)
{
    return work(head, [=](Reader& reader, Deed&) { reader.settings().set(value.name, value.text, lasting); });
}

void add_asking(Application& application, CLI::App& group, const char* name, const char* description,
                const char* type, void (*ask)(Reader&, Deed&))
{
    auto& command = application.add_command(group, name, description, [=] { return work(deed(type), ask); });
    application.set_readers(command, Readers::each);
    command.footer(
        fmt::format("Examples:\n  tagwire {0} {1}\n  tagwire {0} {1} --json", group.get_name(), name));
}

void add_temporary_option(CLI::App& command, Lasting& lasting)
{
    command.add_flag_callback(
        "--temporary", [&lasting] { lasting = Lasting::until_restart; }, "until the reader restarts only");
}

std::string ports_text(const std::vector<unsigned>& ports)
{
    return ports.empty() ? "none" : fmt::format("{}", fmt::join(ports, ", "));
}

std::vector<unsigned> numbers_of(const std::vector<Port>& ports)
{
    std::vector<unsigned> numbers(ports.size());
    std::transform(ports.begin(), ports.end(), numbers.begin(),
                   [](Port port) { return static_cast<unsigned>(port.number()); });
    return numbers;
}

std::vector<unsigned> numbers_in(std::uint64_t bits)
{
    std::vector<unsigned> numbers;
    for (unsigned bit = 0; bit < 64; ++bit)
        if ((bits >> bit & 1U) != 0) numbers.push_back(bit + 1);
    return numbers;
}

std::vector<NameRun> runs_of(const std::vector<std::string>& names)
{
    std::vector<NameRun> runs;
    for (std::size_t first = 0; first < names.size();) {
        auto last = first;
        while (last + 1 < names.size() && Numbered(names[last]).is_before(Numbered(names[last + 1]))) ++last;
        runs.push_back({names[first], names[first]});
        if (last > first) runs.back().text += fmt::format(" to {}", *Numbered(names[last]).number);
        first = last + 1;
    }
    return runs;
}

std::string names_text(const std::vector<std::string>& names)
{
    std::string text;
    for (const auto& run : runs_of(names)) text += (text.empty() ? "" : ", ") + run.text;
    return text;
}

}  // namespace tagwire::tool
