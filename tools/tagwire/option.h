// Options that are values: a command runs with what was checked once its whole line had been read.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <strings.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <tagwirexx/error.hpp>

#include "errors.h"
#include "parse.h"

namespace tagwire::tool {

// What stands in an optional value.
template <typename Value> struct Plain {
    using Type = Value;
};
template <typename Value> struct Plain<std::optional<Value>> {
    using Type = Value;
};

// What is parsed once the whole line was understood: --help and a missing option come first.
inline std::vector<std::function<void()>>& put_off()
{
    static std::vector<std::function<void()>> parses;
    return parses;
}

// The names that the value of an option may have, where it goes by names.
inline std::map<const CLI::Option*, std::vector<std::string>>& value_names()
{
    static std::map<const CLI::Option*, std::vector<std::string>> names;
    return names;
}

// `parse(text, name)` gives the value, or throws UsageError or Error.
template <typename Value, typename Parse>
CLI::Option* option(CLI::App& command, const std::string& name, Value& value, Parse parse,
                    const std::string& help, const std::string& type = "N")
{
    using Parsed = typename Plain<Value>::Type;
    const auto take = [&value, parse, name](const std::string& text) {
        if (text.empty()) throw UsageError(fmt::format("{}: the value is empty", name));
        try {
            value = static_cast<Parsed>(parse(text, name));
        } catch (const Error& error) {
            throw UsageError(fmt::format("{}: {}", name, error.text()));
        }
    };
    const auto remember = [take](const std::string& text) {
        put_off().emplace_back([take, text] { take(text); });
    };
    auto* const added = command.add_option_function<std::string>(name, remember, help)->type_name(type);
    if constexpr (requires { parse.names(); }) value_names()[added] = parse.names();
    return added;
}

inline auto number(std::uint32_t lowest, std::uint32_t highest)
{
    return [=](const std::string& text, const std::string& name) {
        return parse_number(text, name, lowest, highest);
    };
}

inline auto hex(std::size_t unit_bytes, std::size_t most_bytes = std::size_t{65536} * 2)
{
    return [=](const std::string& text, const std::string& name) {
        auto bytes = parse_units(text, name, unit_bytes);
        if (bytes.size() > most_bytes)
            throw UsageError(fmt::format("{} has {} bytes: at most {}", name, bytes.size(), most_bytes));
        return bytes;
    };
}

// A value that goes by a name, and by its number where the reader's manual has one.
template <typename Value> struct Choice {
    std::string_view name;
    Value value;
};
template <typename Value, std::size_t count> using Choices = std::array<Choice<Value>, count>;

template <typename Value, std::size_t count> std::string choices_text(const Choices<Value, count>& choices)
{
    std::string text;
    for (const auto& choice : choices)
        text += fmt::format("{}{}", text.empty() ? "" : (&choice == &choices.back() ? " or " : ", "),
                            choice.name);
    return text;
}

template <typename Value, std::size_t count>
std::string name_of(Value value, const Choices<Value, count>& choices)
{
    for (const auto& choice : choices) {
        if (choice.value == value) return std::string(choice.name);
    }
    return fmt::format("0x{:02X}", static_cast<unsigned>(value));
}

// Nothing where the text is no number.
inline std::optional<unsigned> number_of(const std::string& text)
{
    if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
    try {
        return parse_number(text, "", 0, 255);
    } catch (const UsageError&) {
        return std::nullopt;
    }
}

// `others`: whether numbers that have no name may be given, too.
enum class Others { refused, taken };

template <typename Value, std::size_t count> struct OneOf {
    const Choices<Value, count>& choices;
    Others others;

    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto& choice : choices) names.emplace_back(choice.name);
        return names;
    }
    Value operator()(const std::string& text, const std::string& name) const
    {
        for (const auto& choice : choices) {
            if (strcasecmp(choice.name.data(), text.c_str()) == 0 ||
                number_of(text) == static_cast<unsigned>(choice.value))
                return choice.value;
        }
        const auto other = number_of(text);
        if (other && others == Others::taken) return static_cast<Value>(*other);
        throw UsageError(fmt::format("{} '{}' is unknown: use {}", name, text, choices_text(choices)));
    }
};

template <typename Value, std::size_t count>
OneOf<Value, count> one_of(const Choices<Value, count>& choices, Others others = Others::refused)
{
    return {choices, others};
}

}  // namespace tagwire::tool
