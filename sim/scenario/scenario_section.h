// One table of a scenario file, read key by key.
#pragma once

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

#include "scenario/scenario.h"

namespace tagwire::sim {

inline constexpr std::size_t serial_size = 4;

inline unsigned line_of(const toml::node& node) { return static_cast<unsigned>(node.source().begin.line); }

// Reads the keys of one table and, at the end, refuses those that nobody asked for.
class Section {
  public:
    Section(const std::string& source, const toml::table& table) : source_(source), table_(table) {}

    [[noreturn]] void fail(const toml::node& node, const std::string& problem) const
    {
        throw ScenarioError(source_, line_of(node), problem);
    }
    [[noreturn]] void fail(const std::string& problem) const { fail(table_, problem); }

    const toml::node* find(std::string_view key)
    {
        known_.emplace(key);
        return table_.get(key);
    }

    template <typename Integer>
    void read_integer(std::string_view key, Integer& value, std::int64_t lowest = 0,
                      std::int64_t highest = std::numeric_limits<Integer>::max())
    {
        if (const toml::node* node = find(key)) {
            value = static_cast<Integer>(integer(*node, key, lowest, highest));
        }
    }

    void read_seed(std::uint64_t& value)
    {
        if (const toml::node* node = find("seed")) {
            value = static_cast<std::uint64_t>(
                integer(*node, "seed", 0, std::numeric_limits<std::int64_t>::max()));
        }
    }

    void read_flag(std::string_view key, bool& value)
    {
        const toml::node* node = find(key);
        if (!node) return;
        if (!node->is_boolean()) fail(*node, std::string(key) + " must be true or false");
        value = **node->as_boolean();
    }

    void read_number(std::string_view key, double& value, double lowest = 0, double highest = 1e9)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const auto number = node->is_number() ? node->value<double>() : std::nullopt;
        if (!number || !(*number >= lowest) || *number > highest) {
            std::ostringstream problem;
            problem << key << " must be a number from " << lowest << " to " << highest;
            fail(*node, problem.str());
        }
        value = *number;
    }

    void read_seconds(std::string_view key, Time& value)
    {
        double seconds = -1;
        read_number(key, seconds);
        if (seconds >= 0) value = seconds_to_time(seconds);
    }

    void read_milliseconds(std::string_view key, Time& value)
    {
        double milliseconds = -1;
        read_number(key, milliseconds);
        if (milliseconds >= 0) value = seconds_to_time(milliseconds / 1000);
    }

    const toml::node* read_hex(std::string_view key, Bytes& value)
    {
        const toml::node* node = find(key);
        if (!node) return nullptr;
        if (!node->is_string()) fail(*node, std::string(key) + " must be a string of hexadecimal digits");
        try {
            value = from_hex(**node->as_string());
        } catch (const std::invalid_argument& error) {
            fail(*node, std::string(key) + ": " + error.what());
        }
        return node;
    }

    template <std::size_t size>
    void read_fixed_hex(std::string_view key, std::array<std::uint8_t, size>& value)
    {
        Bytes bytes;
        const toml::node* node = read_hex(key, bytes);
        if (!node) return;
        if (bytes.size() != size) {
            fail(*node, std::string(key) + " must be " + std::to_string(size) + " bytes, not " +
                            std::to_string(bytes.size()));
        }
        std::copy(bytes.begin(), bytes.end(), value.begin());
    }

    void read_version(std::string_view key, std::array<std::uint8_t, 2>& value)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const std::string problem = std::string(key) + " must be two numbers from 0 to 255, such as \"2.14\"";
        if (!node->is_string()) fail(*node, problem);
        std::istringstream text(**node->as_string());
        unsigned high = 256;
        unsigned low = 256;
        char dot = 0;
        text >> high >> dot >> low;
        if (text.fail() || !text.eof() || dot != '.' || high > 255 || low > 255) fail(*node, problem);
        value = {static_cast<std::uint8_t>(high), static_cast<std::uint8_t>(low)};
    }

    void read_ports(std::string_view key, std::vector<unsigned>& ports)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const toml::array* list = node->as_array();
        if (!list || list->empty())
            fail(*node, std::string(key) + " must be a list of antenna ports, such as [1, 2]");
        ports.clear();
        for (const toml::node& item : *list) {
            const auto port = static_cast<unsigned>(integer(item, "an antenna port", 1, 127));
            if (std::find(ports.begin(), ports.end(), port) != ports.end()) {
                fail(item, "antenna port " + std::to_string(port) + " is named twice");
            }
            ports.push_back(port);
        }
    }

    void read_integers(std::string_view key, std::vector<unsigned>& values, std::int64_t lowest,
                       std::int64_t highest)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const toml::array* list = node->as_array();
        if (!list) fail(*node, std::string(key) + " must be a list of numbers");
        const std::string name = "every number of " + std::string(key);
        for (const toml::node& item : *list) {
            values.push_back(static_cast<unsigned>(integer(item, name, lowest, highest)));
        }
    }

    void read_stay(Time& arrives, std::optional<Time>& departs)
    {
        read_seconds("arrives", arrives);
        if (!find("departs")) return;
        Time end{};
        read_seconds("departs", end);
        if (end <= arrives) fail(*find("departs"), "the tag departs before it arrives");
        departs = end;
    }

    // Calls `read` for every table [[key]].
    template <typename Read> void read_tables(std::string_view key, const Read& read)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const std::string brackets = "[[" + std::string(key) + "]]";
        const toml::array* list = node->as_array();
        if (!list) fail(*node, "this is written as " + brackets + ", with two brackets");
        for (const toml::node& item : *list) {
            const toml::table* table = item.as_table();
            if (!table) fail(item, "this is written as " + brackets);
            Section section(source_, *table);
            read(section);
        }
    }

    // Calls `read` for the table [key], if there is one.
    template <typename Read> void read_table(std::string_view key, const Read& read)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const std::string brackets = "[" + std::string(key) + "]";
        const toml::table* table = node->as_table();
        if (!table) fail(*node, "this is written as " + brackets);
        Section section(source_, *table);
        read(section);
        section.refuse_unknown_keys(brackets);
    }

    // Calls `read` for every table [key.N], N from 1 on.
    template <typename Read>
    void read_numbered_tables(std::string_view key, unsigned highest, const Read& read)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const std::string example = "[" + std::string(key) + ".1]";
        if (!node->is_table()) fail(*node, "this is written as " + example);
        for (const auto& [name, item] : *node->as_table()) {
            const std::string text(name.str());
            unsigned number = 0;
            std::istringstream(text) >> number;
            const toml::table* table = item.as_table();
            if (!table || number < 1 || number > highest || std::to_string(number) != text)
                fail(item, "this is written as " + example + ", up to " + std::to_string(highest));
            Section section(source_, *table);
            read(section, number);
            section.refuse_unknown_keys("[" + std::string(key) + "." + text + "]");
        }
    }

    void read_text(std::string_view key, std::string& text, std::size_t longest)
    {
        const toml::node* node = find(key);
        if (!node) return;
        if (!node->is_string() || (**node->as_string()).size() > longest) {
            fail(*node,
                 std::string(key) + " must be a string of " + std::to_string(longest) + " bytes at most");
        }
        text = **node->as_string();
    }

    void refuse_unknown_keys(std::string_view what) const
    {
        for (const auto& [key, node] : table_) {
            if (known_.count(std::string(key.str())) > 0) continue;
            throw ScenarioError(source_, static_cast<unsigned>(key.source().begin.line),
                                std::string(what) + " has no key '" + std::string(key.str()) + "'");
        }
    }

  private:
    std::int64_t integer(const toml::node& node, std::string_view name, std::int64_t lowest,
                         std::int64_t highest) const
    {
        const auto* number = node.as_integer();
        if (number && number->get() >= lowest && number->get() <= highest) return number->get();
        fail(node, std::string(name) + " must be a whole number from " + std::to_string(lowest) + " to " +
                       std::to_string(highest));
    }

    const std::string& source_;
    const toml::table& table_;
    std::set<std::string> known_;
};

inline void append_serial(Bytes& bytes, std::uint32_t serial)
{
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes.push_back(static_cast<std::uint8_t>(serial >> shift));
}

}  // namespace tagwire::sim
