#include "scenario/scenario.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "device/settings.h"
#include "scenario/scenario_conveyor.h"
#include "scenario/scenario_events.h"
#include "scenario/scenario_other_tags.h"
#include "scenario/scenario_radio.h"
#include "scenario/scenario_section.h"
#include "scenario/scenario_sensor_tags.h"
#include "scenario/scenario_services.h"
#include "scenario/scenario_tags.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_epc = 62;  // 31 words
constexpr std::size_t longest_description = 16;
constexpr std::size_t longest_bank = 8192;  // bytes

std::string describe(const std::string& source, unsigned line, const std::string& problem)
{
    std::string text = source;
    if (line > 0) text += ':' + std::to_string(line);
    return text + ": " + problem;
}

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

void read_family(Section& section, ReaderFamily& family)
{
    static constexpr std::pair<std::string_view, ReaderFamily> families[] = {
        {"standard", ReaderFamily::standard}, {"filter", ReaderFamily::filter},
        {"relay", ReaderFamily::relay},       {"multiplexer", ReaderFamily::multiplexer},
        {"mobile", ReaderFamily::mobile},
    };
    const toml::node* node = section.find("family");
    if (!node) return;
    const std::string text = node->value_or(std::string());
    for (const auto& [name, value] : families) {
        if (text != name) continue;
        family = value;
        return;
    }
    section.fail(*node, "family must be \"standard\", \"filter\", \"relay\", \"multiplexer\" or \"mobile\"");
}

void read_baud(Section& section, std::uint8_t& baud)
{
    if (!section.find("baud")) return;
    unsigned speed = 0;
    section.read_integer("baud", speed);
    const auto code = baud_of_speed(speed);
    if (!code)
        section.fail(*section.find("baud"), "baud must be 9600, 19200, 38400, 57600, 115200 or 921600");
    baud = *code;
}

void read_description(Section& section, std::string& description)
{
    const toml::node* node = section.find("description");
    if (!node) return;
    if (!node->is_string() || (*node->as_string())->size() > longest_description) {
        section.fail(*node, "description must be a string of 16 bytes at most");
    }
    description = **node->as_string();
}

void read_faults(Section& section, std::vector<Fault>& faults)
{
    const toml::node* node = section.find("faults");
    if (!node) return;
    const toml::array* list = node->as_array();
    if (!list) section.fail(*node, "faults must be a list, such as [\"lose:chance=0.01\"]");
    for (const toml::node& item : *list) {
        try {
            faults.push_back(Fault::parse(item.value_or(std::string())));
        } catch (const std::invalid_argument& problem) {
            section.fail(item, problem.what());
        }
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
    section.read_flag("by_chance", reader.by_chance);
    section.read_number("air_time", reader.air_time);
    section.read_integer("records_per_frame", reader.records_per_frame, 0, 255);
    section.read_integer("buffer_size", reader.buffer_size, 1, 65535);
    read_protocol_family(section, reader.protocol_family);
    read_family(section, reader.family);
    read_baud(section, reader.baud);
    section.read_fixed_hex("serial", reader.serial);
    section.read_integer("temperature", reader.temperature, -255, 255);
    section.read_integer("return_loss", reader.return_loss);
    read_description(section, reader.description);
    section.read_seconds("s1_persistence", reader.s1_persistence);
    section.read_seconds("s2_persistence", reader.s2_persistence);
    read_faults(section, reader.faults);
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

// A digit for every area.
void read_locks(Section& section, std::array<Lock, lock_areas>& locks)
{
    const toml::node* node = section.find("locks");
    if (!node) return;
    const std::string text = node->value_or(std::string());
    if (text.size() != lock_areas || text.find_first_not_of("0123") != std::string::npos) {
        section.fail(*node, "locks must be 5 digits from 0 to 3, such as \"22030\"");
    }
    std::transform(text.begin(), text.end(), locks.begin(),
                   [](char digit) { return static_cast<Lock>(digit - '0'); });
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
    read_locks(section, tag.locks);
    section.read_integer("epc_words", tag.epc_words, 1, longest_epc / 2);
    section.read_integer("block_words", tag.block_words, 1, 255);
    section.read_integer("write_power", tag.write_power);
    section.read_flag("eas", tag.eas);
    read_bank(section, "public_epc", tag.public_epc, false);
    section.read_ports("antennas", tag.antennas);
    section.read_integer("rssi", tag.rssi);
    section.read_integer("rssi_noise", tag.rssi_noise);
    section.read_integer("phase", tag.phase);
    section.read_integer("phase_drift", tag.phase_drift);
    section.read_stay(tag.arrives, tag.departs);
    read_tag_radio(section, tag.radio);
    read_sensor(section, tag.sensor);
    section.refuse_unknown_keys("[[tag]]");
    if (tags.size() + count.value_or(1) > most_tags) section.fail("more than 100000 tags");
    add_tags(tag, count, first_serial, tags);
}

// The value of a key as a file would have it: numbers, true and false, lists; all else is a string.
void insert_value(toml::table& table, const std::string& key, const std::string& text)
{
    static const std::set<std::string_view> lists{"antennas", "axis", "position"};
    static const std::set<std::string_view> strings{"epc",   "tid",        "user",  "access_password",
                                                    "brand", "public_epc", "locks", "kill_password"};
    if (strings.count(key) > 0) {
        table.insert(key, text);
        return;
    }
    const bool is_list = lists.count(key) > 0;
    try {
        const toml::table read =
            toml::parse("value = " + (is_list && !text.starts_with('[') ? '[' + text + ']' : text));
        table.insert(key, *read.get("value"));
    } catch (const toml::parse_error&) {
        throw std::invalid_argument("'" + text + "' is no value for " + key);
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

std::vector<TagSettings> tags_from_words(const std::vector<std::string>& words)
{
    toml::table table;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos)
            throw std::invalid_argument("'" + word +
                                        "' is no key of a tag; write KEY=VALUE, such as epc=E2801160");
        const std::string key = word.substr(0, equals);
        if (table.contains(key)) throw std::invalid_argument(key + " is given twice");
        insert_value(table, key, word.substr(equals + 1));
    }
    const std::string source = "a new tag";
    Section section(source, table);
    std::vector<TagSettings> tags;
    try {
        read_tag(section, tags);
        Scenario alone;
        alone.tags = tags;
        alone.check(source);
    } catch (const ScenarioError& problem) {
        throw std::invalid_argument(problem.what());
    }
    return tags;
}

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
    read_radio(top, scenario);
    top.read_tables("tag", [&scenario](Section& section) { read_tag(section, scenario.tags); });
    read_conveyors(top, scenario);
    read_other_tags(top, scenario);
    read_services(top, scenario.services);
    read_events(top, scenario);
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
    check_conveyors(*this, source);
    for (const TagSettings& tag : all_tags()) {
        require(tag.epc.size() % 2 == 0 && tag.epc.size() <= longest_epc, "an epc is 0 to 31 whole words");
        require(tag.tid.size() % 2 == 0 && tag.user.size() % 2 == 0, "a bank is a number of whole words");
        require(tag.public_epc.size() % 2 == 0 && tag.public_epc.size() <= longest_epc,
                "a public epc is 0 to 31 whole words");
        require(tag.epc_words == 0 ||
                    (tag.epc.size() <= std::size_t{tag.epc_words} * 2 && tag.epc_words <= longest_epc / 2),
                "epc_words are 1 to 31, as many as the epc " + to_hex(tag.epc) + " has or more");
        require(tag.block_words >= 1, "a block has at least one word");
        require(!tag.departs || *tag.departs > tag.arrives, "a tag departs before it arrives");
        require(tag.epc.empty() || epcs.insert(tag.epc).second, "two tags have the epc " + to_hex(tag.epc));
        if (tag.sensor) check_sensor(*tag.sensor, source);
    }
    check_radio(*this, source);
    check_other_tags(*this, source);
    check_services(services, source);
    check_events(*this, source);
}

}  // namespace tagwire::sim
