#include "scenario.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

#include <toml++/toml.h>

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_epc = 62;     // 31 words
constexpr std::size_t longest_bank = 8192;  // bytes
constexpr unsigned most_tags = 100000;
constexpr std::size_t serial_size = 4;

std::string describe(const std::string& source, unsigned line, const std::string& problem)
{
    std::string text = source;
    if (line > 0) text += ':' + std::to_string(line);
    return text + ": " + problem;
}

unsigned line_of(const toml::node& node) { return static_cast<unsigned>(node.source().begin.line); }

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

    void read_number(std::string_view key, double& value)
    {
        const toml::node* node = find(key);
        if (!node) return;
        const auto number = node->is_number() ? node->value<double>() : std::nullopt;
        if (!number || !(*number >= 0) || *number > 1e9) {
            fail(*node, std::string(key) + " must be a number from 0 to 1e9");
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

void read_antennas(Section& section, ReaderSettings& reader)
{
    section.read_integer("antennas", reader.antennas, 1, 127);
    section.read_ports("enabled_antennas", reader.enabled_antennas);
    for (const unsigned port : reader.enabled_antennas) {
        if (port > reader.antennas) {
            section.fail(*section.find("enabled_antennas"),
                         "the reader has no antenna port " + std::to_string(port));
        }
    }
    if (const toml::node* node = section.find("antenna_byte")) {
        const std::string text = node->value_or(std::string());
        if (text != "mask" && text != "number")
            section.fail(*node, "antenna_byte must be \"mask\" or \"number\"");
        reader.antenna_byte = text == "mask" ? AntennaByte::mask : AntennaByte::number;
    }
    if (reader.antenna_byte == AntennaByte::mask && reader.antennas > 8) {
        section.fail("more than 8 antennas need antenna_byte = \"number\"");
    }
}

void read_reader(Section& section, ReaderSettings& reader)
{
    section.read_integer("address", reader.address, 0, 0xFE);
    section.read_version("firmware", reader.firmware);
    section.read_integer("type", reader.type);
    section.read_integer("protocols", reader.protocols);
    section.read_integer("max_frequency", reader.max_frequency);
    section.read_integer("min_frequency", reader.min_frequency);
    section.read_integer("power", reader.power);
    section.read_integer("scan_time", reader.scan_time);
    read_antennas(section, reader);
    section.read_integer("beep", reader.beep);
    section.read_integer("output", reader.output);
    section.read_integer("check_antenna", reader.check_antenna);
    section.read_version("module_version", reader.module_version);
    section.read_integer("module_type", reader.module_type);
    section.read_integer("module_protocols", reader.module_protocols);
    section.read_seed(reader.seed);
    section.read_number("report_rate", reader.report_rate);
    section.read_milliseconds("start_gap_ms", reader.start_gap);
    section.read_flag("phase", reader.phase);
    section.read_integer("frequency_khz", reader.frequency_khz, 0, 0xFFFFFF);
    section.read_number("air_time", reader.air_time);
    section.read_integer("records_per_frame", reader.records_per_frame, 0, 255);
    section.read_seconds("s1_persistence", reader.s1_persistence);
    section.read_seconds("s2_persistence", reader.s2_persistence);
    section.refuse_unknown_keys("[reader]");
}

void read_bank(Section& section, std::string_view key, Bytes& bank, bool numbered)
{
    const toml::node* node = section.read_hex(key, bank);
    if (!node) return;
    const std::size_t size = bank.size() + (numbered ? serial_size : 0);
    if (size % 2 != 0) section.fail(*node, std::string(key) + " is not a whole number of 16-bit words");
    if (size > longest_bank) section.fail(*node, std::string(key) + " is longer than 8192 bytes");
}

void read_epc(Section& section, Bytes& epc, bool numbered)
{
    if (!section.find("epc")) section.fail("a tag needs an epc");
    read_bank(section, "epc", epc, numbered);
    if (epc.size() + (numbered ? serial_size : 0) > longest_epc) {
        section.fail(*section.find("epc"), "epc is longer than 31 words");
    }
}

void read_stay(Section& section, TagSettings& tag)
{
    section.read_seconds("arrives", tag.arrives);
    if (!section.find("departs")) return;
    Time departs{};
    section.read_seconds("departs", departs);
    if (departs <= tag.arrives) section.fail(*section.find("departs"), "the tag departs before it arrives");
    tag.departs = departs;
}

void append_serial(Bytes& bank, std::uint32_t serial)
{
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bank.push_back(static_cast<std::uint8_t>(serial >> shift));
}

void add_tags(const TagSettings& tag, std::optional<unsigned> count, std::uint32_t first_serial,
              std::vector<TagSettings>& tags)
{
    if (!count) {
        tags.push_back(tag);
        return;
    }
    for (unsigned i = 0; i < *count; ++i) {
        TagSettings& added = tags.emplace_back(tag);
        append_serial(added.epc, first_serial + i);
        if (!added.tid.empty()) append_serial(added.tid, first_serial + i);
    }
}

void read_tag(Section& section, std::vector<TagSettings>& tags)
{
    TagSettings tag;
    std::optional<unsigned> count;
    std::uint32_t first_serial = 1;
    if (section.find("count")) section.read_integer("count", count.emplace(), 1, most_tags);
    section.read_integer("first_serial", first_serial);
    read_epc(section, tag.epc, count.has_value());
    read_bank(section, "tid", tag.tid, count.has_value());
    read_bank(section, "user", tag.user, false);
    section.read_fixed_hex("access_password", tag.access_password);
    section.read_fixed_hex("kill_password", tag.kill_password);
    section.read_fixed_hex("brand", tag.brand);
    section.read_ports("antennas", tag.antennas);
    section.read_integer("rssi", tag.rssi);
    section.read_integer("rssi_noise", tag.rssi_noise);
    section.read_integer("phase", tag.phase);
    section.read_integer("phase_drift", tag.phase_drift);
    read_stay(section, tag);
    section.refuse_unknown_keys("[[tag]]");
    if (tags.size() + count.value_or(1) > most_tags) section.fail("more than 100000 tags");
    add_tags(tag, count, first_serial, tags);
}

void read_tags(const std::string& source, const toml::node& node, std::vector<TagSettings>& tags)
{
    const toml::array* list = node.as_array();
    if (!list) throw ScenarioError(source, line_of(node), "tags are written as [[tag]], with two brackets");
    for (const toml::node& item : *list) {
        const toml::table* table = item.as_table();
        if (!table) throw ScenarioError(source, line_of(item), "tags are written as [[tag]]");
        Section section(source, *table);
        read_tag(section, tags);
    }
}

toml::table parse(const std::string& text, const std::string& source)
{
    try {
        return toml::parse(text, source);
    } catch (const toml::parse_error& error) {
        throw ScenarioError(source, static_cast<unsigned>(error.source().begin.line),
                            std::string(error.description()));
    }
}

}  // namespace

ScenarioError::ScenarioError(const std::string& source, unsigned line, const std::string& problem)
    : std::runtime_error(describe(source, line, problem)), line_(line)
{}

Scenario Scenario::from_file(const std::string& path)
{
    std::error_code ignored;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file) text << file.rdbuf();
    if (!file || std::filesystem::is_directory(path, ignored)) {
        throw ScenarioError(path, 0, "cannot read the file; give the path of a scenario");
    }
    return from_text(text.str(), path);
}

Scenario Scenario::from_text(const std::string& text, const std::string& source)
{
    const toml::table root = parse(text, source);
    Scenario scenario;
    Section top(source, root);
    if (const toml::node* node = top.find("reader")) {
        const toml::table* table = node->as_table();
        if (!table)
            throw ScenarioError(source, line_of(*node), "the reader's settings are written as [reader]");
        Section section(source, *table);
        read_reader(section, scenario.reader);
    }
    if (const toml::node* node = top.find("tag")) read_tags(source, *node, scenario.tags);
    top.refuse_unknown_keys("a scenario");
    scenario.check(source);
    return scenario;
}

void Scenario::check(const std::string& source) const
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    require(reader.address != 0xFF, "address 0xFF means any reader; give one from 0x00 to 0xFE");
    require(reader.antennas >= 1 && reader.antennas <= 127, "a reader has 1 to 127 antennas");
    require(reader.antenna_byte == AntennaByte::number || reader.antennas <= 8,
            "more than 8 antennas need antenna_byte = \"number\"");
    for (const unsigned port : reader.enabled_antennas) {
        require(port >= 1 && port <= reader.antennas,
                "the reader has no antenna port " + std::to_string(port));
    }
    std::set<Bytes> epcs;
    for (const TagSettings& tag : tags) {
        require(tag.epc.size() % 2 == 0 && tag.epc.size() <= longest_epc, "an epc is 0 to 31 whole words");
        require(tag.tid.size() % 2 == 0 && tag.user.size() % 2 == 0, "a bank is a number of whole words");
        require(!tag.departs || *tag.departs > tag.arrives, "a tag departs before it arrives");
        require(tag.epc.empty() || epcs.insert(tag.epc).second, "two tags have the epc " + to_hex(tag.epc));
    }
}

}  // namespace tagwire::sim
