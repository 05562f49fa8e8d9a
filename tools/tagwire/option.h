// Options that parse in place: a command runs with values that were checked when its line was read.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

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
    return command.add_option_function<std::string>(name, take, help)->type_name(type);
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

template <typename Value, std::size_t count> auto one_of(const Choices<Value, count>& choices)
{
    return [&choices](const std::string& text, const std::string& name) {
        for (const auto& choice : choices) {
            if (choice.name == text || std::to_string(static_cast<unsigned>(choice.value)) == text)
                return choice.value;
        }
        throw UsageError(fmt::format("{} '{}' is unknown: use {}", name, text, choices_text(choices)));
    };
}

}  // namespace tagwire::tool
