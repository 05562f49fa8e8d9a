#include "commands/groups.h"
#include "device_calls.h"
#include "errors.h"
#include "parse.h"
#include "reader_information.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/io.h"
#include "tagwire/modes.h"
#include "tagwire/result.h"
#include "tagwire/settings.h"
#include "tagwire/update.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using DeviceCall = std::function<int(const ReaderConnection&, Done&)>;

Work device_work(Operation operation, const Done& done, const DeviceCall& call)
{
    return [=](Session& session) {
        return run_call(session, operation, done, [&](const ReaderConnection& reader, Done& shown) {
            return TagResult{call(reader, shown)};
        });
    };
}

Done done_with(std::string text, const char* type) { return {std::move(text), Json{{"type", type}}}; }

// A command of the library that takes one byte.
using ByteCall = int (*)(unsigned char*, unsigned char, int);

DeviceCall sends(ByteCall call, std::uint8_t value)
{
    return [call, value](const ReaderConnection& reader, Done&) {
        auto address = reader.address();
        return call(&address, value, reader.handle());
    };
}

struct DeviceArguments {
    std::string value;
    std::string antenna;
    std::string frequency;
    std::string ports = "64";
    bool write_power = false;
    bool temporary = false;
    bool yes = false;
};

struct NoArguments {};

void add_temporary_option(CLI::App& command, bool& temporary)
{
    command.add_flag("--temporary", temporary, "until the reader restarts only");
}

Lasting lasting_of(bool temporary) { return temporary ? Lasting::UntilRestart : Lasting::Stored; }

constexpr std::array switch_names{Name{"off", 0}, Name{"on", 1}};
constexpr NameSet switch_values{switch_names, 1};

// -- power

void show_powers(const Powers& powers, Done& done)
{
    for (std::size_t i = 0; i < powers.antennas.size(); ++i)
        done.text += fmt::format("antenna {:<3}  {} dBm\n", i + 1, powers.antennas[i]);
    done.text +=
        powers.writing ? fmt::format("writing      {} dBm", *powers.writing) : "writing      not told";
    done.object["antennas"] = powers.antennas;
    done.object["write"] = powers.writing ? Json(*powers.writing) : Json(nullptr);
}

Work plan_power_show(const NoArguments&)
{
    return device_work(Operation::PowerSetting, done_with("", "power"),
                       [](const ReaderConnection& reader, Done& done) {
                           Powers powers;
                           const int code = read_powers(reader, powers);
                           show_powers(powers, done);
                           return code;
                       });
}

void add_power_show_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire power show\n  tagwire power show --json");
}

Work plan_power_set(const DeviceArguments& arguments)
{
    const auto dbm = parse_dbm(arguments.value, "DBM");
    if (arguments.write_power && !arguments.antenna.empty())
        throw UsageError("--write-power is for all antennas: leave out --antenna");
    const auto ports =
        arguments.antenna.empty() ? 0 : parse_ports(arguments.antenna, "--antenna", most_ports);
    auto done = done_with("", "power-set");
    done.object["dbm"] = dbm;
    done.object["write"] = arguments.write_power;
    if (arguments.write_power) {
        done.text = fmt::format("tags are written with {} dBm now", dbm);
        return device_work(Operation::PowerSetting, done, [dbm](const ReaderConnection& reader, Done&) {
            return set_write_power(reader, dbm);
        });
    }
    done.text = ports == 0 ? fmt::format("all antennas have {} dBm now", dbm)
                           : fmt::format("antennas {}: {} dBm now", ports_text(ports), dbm);
    done.object["antennas"] = ports == 0 ? Json(nullptr) : Json(port_list(ports));
    return device_work(Operation::PowerSetting, done, [=](const ReaderConnection& reader, Done&) {
        return ports == 0 ? set_all_powers(reader, dbm) : set_powers(reader, dbm, ports);
    });
}

void add_power_set_options(CLI::App& command, DeviceArguments& arguments)
{
    command
        .add_option("DBM", arguments.value,
                    fmt::format("output power, 0 to {}; readers differ in what they give", highest_dbm))
        ->required();
    command.add_option("--antenna", arguments.antenna, "of these antennas only; otherwise of all")
        ->type_name("PORT,PORT,...");
    command.add_flag("--write-power", arguments.write_power, "the power at which tags are written");
    command.footer(R"(Examples:
  tagwire power set 30
  tagwire power set 20 --antenna 2
  tagwire power set 26 --write-power)");
}

// -- region

struct RegionArguments {
    std::string band;
    std::string lowest;
    std::string highest;
    std::string lowest_channel;
    std::string highest_channel;
    std::string first;
    std::string spacing;
    std::string channels;
    bool packed = false;
    bool temporary = false;
};

Json mhz_json(std::optional<std::uint32_t> khz) { return khz ? Json(mhz_number(*khz)) : Json(nullptr); }

void show_plan(const FrequencyPlan& plan, Done& done)
{
    const auto lowest = plan.lowest_khz();
    const auto highest = plan.highest_khz();
    done.text = fmt::format("{}  ", band_text(plan.band));
    if (lowest && highest) {
        done.text += fmt::format("{} to {} MHz, {} channels", mhz_text(*lowest), mhz_text(*highest),
                                 plan.channel_count());
    } else {
        done.text += fmt::format("channels {} to {} of a band that is not known here", plan.lowest_channel,
                                 plan.highest_channel);
    }
    done.object["band"] = band_text(plan.band);
    done.object["band_number"] = plan.band;
    done.object["lowest_mhz"] = mhz_json(lowest);
    done.object["highest_mhz"] = mhz_json(highest);
    done.object["channels"] = plan.channel_count();
    if (!plan.is_custom()) {
        done.object["lowest_channel"] = plan.lowest_channel;
        done.object["highest_channel"] = plan.highest_channel;
    }
}

Work plan_region_show(const NoArguments&)
{
    return device_work(Operation::RegionSetting, done_with("", "region"),
                       [](const ReaderConnection& reader, Done& done) {
                           FrequencyPlan plan;
                           const int code = read_plan(reader, plan);
                           if (code == TAGWIRE_OK) show_plan(plan, done);
                           return code;
                       });
}

void add_region_show_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire region show\n  tagwire region show --json");
}

// Of options that go together with some bands only.
void refuse_options(const std::vector<std::pair<const char*, const std::string&>>& options,
                    std::string_view band)
{
    for (const auto& [name, value] : options) {
        if (!value.empty()) throw UsageError(fmt::format("{} does not go with {}", name, band));
    }
}

FrequencyPlan custom_plan(const RegionArguments& arguments)
{
    constexpr std::uint32_t highest_khz = 0xFFFFFF;
    refuse_options({{"--lowest", arguments.lowest},
                    {"--highest", arguments.highest},
                    {"--lowest-channel", arguments.lowest_channel},
                    {"--highest-channel", arguments.highest_channel}},
                   "a plan of one's own");
    if (arguments.first.empty() || arguments.spacing.empty() || arguments.channels.empty())
        throw UsageError("a plan of one's own needs --first MHZ, --spacing KHZ and --channels N");
    FrequencyPlan plan;
    plan.first_khz = parse_mhz(arguments.first, "--first", 1, highest_khz);
    plan.spacing_khz = parse_number(arguments.spacing, "--spacing", spacing_unit_khz, 255 * spacing_unit_khz);
    if (plan.spacing_khz % spacing_unit_khz != 0)
        throw UsageError(fmt::format("--spacing '{}' is not valid: use whole steps of {} kHz",
                                     arguments.spacing, spacing_unit_khz));
    plan.channels = static_cast<std::uint8_t>(parse_number(arguments.channels, "--channels", 1, 255));
    return plan;
}

std::uint8_t channel_from(const Band* band, const std::string& mhz, const std::string& number,
                          const std::string& what, std::uint8_t otherwise)
{
    const auto highest = band != nullptr ? band->channels - 1U : 255U;
    if (!number.empty())
        return static_cast<std::uint8_t>(parse_number(number, what + "-channel", 0, highest));
    if (mhz.empty()) return otherwise;
    if (band == nullptr) throw UsageError(fmt::format("{0} needs a band by its name: use {0}-channel", what));
    return channel_at(*band, parse_mhz(mhz, what, band->first_khz, band->last_khz()), what);
}

void choose_channels(FrequencyPlan& plan, const Band* band, const RegionArguments& arguments)
{
    const auto last = static_cast<std::uint8_t>(band != nullptr ? band->channels - 1 : 0);
    plan.lowest_channel = channel_from(band, arguments.lowest, arguments.lowest_channel, "--lowest", 0);
    plan.highest_channel =
        channel_from(band, arguments.highest, arguments.highest_channel, "--highest", last);
    if (plan.lowest_channel > plan.highest_channel)
        throw UsageError(fmt::format("channel {} to {} is no range: the lowest comes first",
                                     plan.lowest_channel, plan.highest_channel));
}

bool is_number(const std::string& text) { return !text.empty() && text[0] >= '0' && text[0] <= '9'; }

FrequencyPlan band_plan(const RegionArguments& arguments)
{
    refuse_options(
        {{"--first", arguments.first}, {"--spacing", arguments.spacing}, {"--channels", arguments.channels}},
        "a band: it is for custom");
    FrequencyPlan plan;
    if (is_number(arguments.band)) {
        if (arguments.lowest_channel.empty() || arguments.highest_channel.empty())
            throw UsageError("a band by its number needs --lowest-channel and --highest-channel");
        plan.band = static_cast<std::uint8_t>(parse_number(arguments.band, "BAND", 0, custom_band - 1));
        choose_channels(plan, nullptr, arguments);
        return plan;
    }
    const auto& band = parse_band(arguments.band, "BAND");
    plan.band = band.number;
    choose_channels(plan, &band, arguments);
    return plan;
}

void check_packed(const FrequencyPlan& plan, bool temporary)
{
    if (temporary) throw UsageError("--packed is always stored: leave out --temporary");
    if (plan.band > last_packed_band || plan.highest_channel > last_packed_channel)
        throw UsageError(fmt::format("--packed reaches band {} and channel {}: leave it out",
                                     last_packed_band, last_packed_channel));
}

Work plan_region_set(const RegionArguments& arguments)
{
    const auto plan = arguments.band == "custom" ? custom_plan(arguments) : band_plan(arguments);
    if (arguments.packed) check_packed(plan, arguments.temporary);
    auto done = done_with("", "region-set");
    show_plan(plan, done);
    return device_work(Operation::RegionSetting, done,
                       [plan, packed = arguments.packed,
                        lasting = lasting_of(arguments.temporary)](const ReaderConnection& reader, Done&) {
                           return packed ? set_packed_plan(reader, plan) : set_plan(reader, plan, lasting);
                       });
}

void add_region_set_options(CLI::App& command, RegionArguments& arguments)
{
    const auto add = [&command](const char* name, std::string& text, const char* description,
                                const char* type) {
        command.add_option(name, text, description)->type_name(type);
    };
    command
        .add_option("BAND", arguments.band,
                    fmt::format("{}, a number that only the reader knows, or custom", band_names()))
        ->required();
    add("--lowest", arguments.lowest, "lowest frequency; otherwise the band's", "MHZ");
    add("--highest", arguments.highest, "highest frequency; otherwise the band's", "MHZ");
    add("--lowest-channel", arguments.lowest_channel, "the same as a channel; the first one is 0", "N");
    add("--highest-channel", arguments.highest_channel, "", "N");
    add("--first", arguments.first, "custom: frequency of the first channel", "MHZ");
    add("--spacing", arguments.spacing, "custom: from channel to channel, 10 to 2550 in steps of 10", "KHZ");
    add("--channels", arguments.channels, "custom: how many, 1 to 255", "N");
    command.add_flag("--packed", arguments.packed, "for older readers: band and channels in two bytes");
    add_temporary_option(command, arguments.temporary);
    command.footer(R"(You are responsible for what is allowed where the reader stands.

Examples:
  tagwire region set eu
  tagwire region set us --lowest 915.25 --highest 927.25
  tagwire region set custom --first 865.7 --spacing 600 --channels 4 --temporary)");
}

// -- antenna

Work plan_antenna_show(const NoArguments&)
{
    return device_work(
        Operation::AntennaSetting, done_with("", "antennas"), [](const ReaderConnection& reader, Done& done) {
            PortBits ports = 0;
            const int code = read_ports(reader, ports);
            if (code != TAGWIRE_OK) return code;
            const bool check = read_information(reader).antenna_check != 0;
            done.text = fmt::format("enabled  {}\ncheck    {}", ports_text(ports), check ? "on" : "off");
            done.object["enabled"] = port_list(ports);
            done.object["check"] = check;
            return code;
        });
}

void add_antenna_show_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire antenna show\n  tagwire antenna show --json");
}

std::uint32_t parse_width(const std::string& text)
{
    for (const auto width : {8U, 12U, 16U, most_ports}) {
        if (text == std::to_string(width)) return width;
    }
    throw UsageError(fmt::format("--ports '{}' is not valid: use 8, 12, 16 or 64", text));
}

Work plan_antenna_enable(const DeviceArguments& arguments)
{
    const auto width = parse_width(arguments.ports);
    const auto ports = parse_ports(arguments.value, "PORTS", width);
    if (width == 8 && arguments.temporary)
        throw UsageError("--ports 8 is always stored: leave out --temporary");
    auto done = done_with(fmt::format("antennas in use now: {}", ports_text(ports)), "antenna-enable");
    done.object["enabled"] = port_list(ports);
    return device_work(Operation::AntennaSetting, done,
                       [=, lasting = lasting_of(arguments.temporary)](const ReaderConnection& reader, Done&) {
                           return set_ports(reader, ports, width, lasting);
                       });
}

void add_antenna_enable_options(CLI::App& command, DeviceArguments& arguments)
{
    command.add_option("PORTS", arguments.value, "the antennas to use, for example 1,3; all others are not")
        ->required();
    command
        .add_option("--ports", arguments.ports,
                    "8, 12, 16: the command of readers with so many ports that do not know the one for 64")
        ->type_name("N")
        ->capture_default_str();
    add_temporary_option(command, arguments.temporary);
    command.footer(R"(Examples:
  tagwire antenna enable 1,2
  tagwire antenna enable 3 --temporary
  tagwire antenna enable 1,2 --ports 8)");
}

Work plan_antenna_check(const DeviceArguments& arguments)
{
    const auto state = parse_name(arguments.value, "STATE", switch_values);
    const auto text = name_text(state, switch_values);
    auto done = done_with(fmt::format("the antenna check is {} now", text), "antenna-check");
    done.object["check"] = state != 0;
    return device_work(Operation::AntennaSetting, done, sends(SetCheckAnt, state));
}

void add_antenna_check_options(CLI::App& command, DeviceArguments& arguments)
{
    command.add_option("STATE", arguments.value, "on or off: look for the antenna before an inventory")
        ->required();
    command.footer("Examples:\n  tagwire antenna check on");
}

// The frequency asked for, or the middle of the reader's region.
int choose_frequency(const ReaderConnection& reader, std::uint32_t& khz)
{
    if (khz != 0) return TAGWIRE_OK;
    FrequencyPlan plan;
    const int code = read_plan(reader, plan);
    if (code != TAGWIRE_OK) return code;
    const auto middle = plan.middle_khz();
    if (!middle) throw Failure("the reader's band is not known here: name a frequency with --frequency MHZ");
    khz = *middle;
    return code;
}

int show_return_losses(const ReaderConnection& reader, PortBits ports, std::uint32_t khz, Done& done)
{
    int code = choose_frequency(reader, khz);
    if (code == TAGWIRE_OK && ports == 0) code = read_ports(reader, ports);
    if (code != TAGWIRE_OK) return code;
    done.object["frequency_mhz"] = mhz_number(khz);
    done.object["antennas"] = Json::array();
    done.text = fmt::format("at {} MHz", mhz_text(khz));
    for (const auto port : port_list(ports)) {
        std::uint8_t decibels = 0;
        code = measure_return_loss(reader, khz, port, decibels);
        if (code != TAGWIRE_OK) return code;
        done.text += fmt::format("\nantenna {:<3}  {} dB", port, decibels);
        done.object["antennas"].push_back(Json{{"antenna", port}, {"return_loss_db", decibels}});
    }
    return code;
}

Work plan_return_loss(const DeviceArguments& arguments)
{
    constexpr std::uint32_t lowest_khz = 1000;
    constexpr std::uint32_t highest_khz = 6000000;
    const auto ports = arguments.value.empty() ? 0 : parse_ports(arguments.value, "PORTS", most_ports);
    const auto khz = arguments.frequency.empty()
                         ? 0
                         : parse_mhz(arguments.frequency, "--frequency", lowest_khz, highest_khz);
    return device_work(Operation::AntennaSetting, done_with("", "return-loss"),
                       [=](const ReaderConnection& reader, Done& done) {
                           return show_return_losses(reader, ports, khz, done);
                       });
}

void add_return_loss_options(CLI::App& command, DeviceArguments& arguments)
{
    command.add_option("PORTS", arguments.value,
                       "the antennas to measure, for example 1,3; otherwise those in use");
    command
        .add_option("--frequency", arguments.frequency,
                    "where to measure; otherwise in the middle of the reader's region")
        ->type_name("MHZ");
    command.footer(R"(A well connected antenna sends little back: the return loss is high.

Examples:
  tagwire antenna return-loss
  tagwire antenna return-loss 1,2 --frequency 915.25 --json)");
}

// -- gpio

struct GpioArguments {
    std::string on;
    std::string off;
};

Work plan_gpio_get(const NoArguments&)
{
    return device_work(Operation::IoLines, done_with("", "gpio"),
                       [](const ReaderConnection& reader, Done& done) {
                           Lines lines;
                           const int code = read_lines(reader, lines);
                           done.text = fmt::format("outputs on  {}\ninputs on   {}",
                                                   ports_text(lines.outputs), ports_text(lines.inputs));
                           done.object["outputs"] = port_list(lines.outputs);
                           done.object["inputs"] = port_list(lines.inputs);
                           return code;
                       });
}

void add_gpio_get_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire gpio get\n  tagwire gpio get --json");
}

Work plan_gpio_set(const GpioArguments& arguments)
{
    if (arguments.on.empty() && arguments.off.empty())
        throw UsageError("say which outputs change: use --on LINE,LINE,... and --off LINE,LINE,...");
    const auto on = arguments.on.empty() ? 0 : parse_ports(arguments.on, "--on", most_lines);
    const auto off = arguments.off.empty() ? 0 : parse_ports(arguments.off, "--off", most_lines);
    if ((on & off) != 0)
        throw UsageError(fmt::format("output {} cannot be both on and off", ports_text(on & off)));
    return device_work(Operation::IoLines, done_with("", "gpio-set"),
                       [=](const ReaderConnection& reader, Done& done) {
                           Lines lines;
                           const int code = read_lines(reader, lines);
                           if (code != TAGWIRE_OK) return code;
                           const auto outputs = (lines.outputs | on) & ~off;
                           done.text = fmt::format("outputs on now: {}", ports_text(outputs));
                           done.object["outputs"] = port_list(outputs);
                           return set_outputs(reader, outputs);
                       });
}

void add_gpio_set_options(CLI::App& command, GpioArguments& arguments)
{
    command.add_option("--on", arguments.on, "outputs to switch on, 1 to 4")->type_name("LINE,LINE,...");
    command.add_option("--off", arguments.off, "outputs to switch off")->type_name("LINE,LINE,...");
    command.footer(R"(Outputs that are not named stay as they are.

Examples:
  tagwire gpio set --on 1,3
  tagwire gpio set --on 2 --off 1)");
}

// -- relay

constexpr std::array relay_kind_names{Name{"numbered", 0}, Name{"single", 1}, Name{"old", 2}};
constexpr NameSet relay_kinds{relay_kind_names, 2};
constexpr std::uint8_t numbered_relay = 0;
constexpr std::uint8_t single_relay = 1;

struct RelayArguments {
    std::string relay = "1";
    std::string kind = "numbered";
    std::string milliseconds;
};

struct RelayPlan {
    std::uint8_t relay = 1;
    std::uint8_t kind = numbered_relay;
    bool on = false;
    std::uint8_t time = 0;  // units of 100 ms; 0 until the next command
};

int switch_relay(const ReaderConnection& reader, const RelayPlan& plan)
{
    auto address = reader.address();
    auto time = plan.time;
    switch (plan.kind) {
    case numbered_relay: return RelaysControll(&address, plan.relay, plan.on ? 1 : 0, time, reader.handle());
    case single_relay: return SetRelay(&address, time, reader.handle());
    default: return RelayControll(&address, &time, reader.handle());
    }
}

RelayPlan relay_plan(const RelayArguments& arguments)
{
    RelayPlan plan;
    plan.relay = static_cast<std::uint8_t>(parse_number(arguments.relay, "--relay", 1, 255));
    plan.kind = parse_name(arguments.kind, "--kind", relay_kinds);
    if (plan.kind != numbered_relay && plan.relay != 1)
        throw UsageError("--relay needs --kind numbered: the other kinds know one relay only");
    return plan;
}

Work relay_work(const RelayPlan& plan, std::string_view state, std::string text)
{
    auto done = done_with(std::move(text), "relay");
    done.object["relay"] = plan.relay;
    done.object["state"] = state;
    return device_work(Operation::RelaySwitch, done,
                       [plan](const ReaderConnection& reader, Done&) { return switch_relay(reader, plan); });
}

Work plan_relay_on(const RelayArguments& arguments)
{
    auto plan = relay_plan(arguments);
    if (plan.kind != numbered_relay)
        throw UsageError("this kind of relay closes for a time only: use tagwire relay pulse");
    plan.on = true;
    return relay_work(plan, "on", fmt::format("relay {} is on now", plan.relay));
}

Work plan_relay_off(const RelayArguments& arguments)
{
    const auto plan = relay_plan(arguments);
    return relay_work(plan, "off", fmt::format("relay {} is off now", plan.relay));
}

Work plan_relay_pulse(const RelayArguments& arguments)
{
    constexpr std::uint32_t unit_ms = 100;
    auto plan = relay_plan(arguments);
    plan.on = true;
    const auto wanted = parse_number(arguments.milliseconds, "MS", 1, 255 * unit_ms);
    plan.time = static_cast<std::uint8_t>((wanted + unit_ms - 1) / unit_ms);
    return relay_work(plan, "pulse",
                      fmt::format("relay {} is on for {} ms", plan.relay, plan.time * unit_ms));
}

void add_relay_options(CLI::App& command, RelayArguments& arguments)
{
    command.add_option("--relay", arguments.relay, "which relay, 1 to 255")
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option(
            "--kind", arguments.kind,
            "numbered; single: readers that know one relay; old: those that know it by another command")
        ->type_name("KIND")
        ->capture_default_str();
    const auto verb = command.get_name();
    const auto time = verb == "pulse" ? " 500" : "";
    command.footer(
        fmt::format("Examples:\n  tagwire relay {0}{1}\n  tagwire relay {0}{1} --relay 2", verb, time));
}

void add_relay_pulse_options(CLI::App& command, RelayArguments& arguments)
{
    command.add_option("MS", arguments.milliseconds, "for how long, 1 to 25500 ms, rounded up to 100 ms")
        ->required();
    add_relay_options(command, arguments);
}

// -- beeper

struct BeepArguments {
    std::string on = "1";
    std::string off = "1";
    std::string times = "1";
};

Work beep_switch(std::uint8_t state)
{
    const auto text = name_text(state, switch_values);
    auto done = done_with(fmt::format("the beeper is {} now", text), "beep");
    done.object["state"] = text;
    return device_work(Operation::Beeper, done, sends(SetBeepNotification, state));
}

Work plan_beep_test(const BeepArguments& arguments)
{
    const auto byte = [](const std::string& text, const char* what) {
        return static_cast<std::uint8_t>(parse_number(text, what, 1, 255));
    };
    const auto on = byte(arguments.on, "--on");
    const auto off = byte(arguments.off, "--off");
    const auto times = byte(arguments.times, "--times");
    auto done = done_with(fmt::format("the reader beeps and flashes, times: {}", times), "beep-test");
    done.object["times"] = times;
    return device_work(Operation::Beeper, done, [=](const ReaderConnection& reader, Done&) {
        auto address = reader.address();
        return BuzzerAndLEDControl(&address, on, off, times, reader.handle());
    });
}

void add_beep_switch_options(CLI::App& command, NoArguments&)
{
    command.footer(fmt::format("Examples:\n  tagwire beep {}", command.get_name()));
}

void add_beep_test_options(CLI::App& command, BeepArguments& arguments)
{
    const auto add = [&command](const char* name, std::string& text, const char* description) {
        command.add_option(name, text, description)->type_name("N")->capture_default_str();
    };
    add("--on", arguments.on, "how long each time, 1 to 255 in the reader's units");
    add("--off", arguments.off, "how long between two times");
    add("--times", arguments.times, "how often, 1 to 255");
    command.footer(R"(Examples:
  tagwire beep test
  tagwire beep test --times 3 --on 2 --off 2)");
}

// -- clock

struct ClockArguments {
    std::string time;
    bool now = false;
    bool utc = false;
};

Work plan_clock_show(const NoArguments&)
{
    return device_work(Operation::ReaderClock, done_with("", "clock"),
                       [](const ReaderConnection& reader, Done& done) {
                           auto address = reader.address();
                           ClockBytes bytes{};
                           const int code = GetTime(&address, bytes.data(), reader.handle());
                           done.text = clock_bytes_text(bytes);
                           done.object["time"] = done.text;
                           return code;
                       });
}

void add_clock_show_options(CLI::App& command, NoArguments&)
{
    command.footer(R"(The reader's clock has no time zone.

Examples:
  tagwire clock show)");
}

std::chrono::sys_seconds time_now(bool utc)
{
    return utc ? std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) : local_now();
}

int set_clock(const ReaderConnection& reader, std::chrono::sys_seconds time, bool utc)
{
    auto address = reader.address();
    auto seconds = utc_bytes(time);
    auto bytes = clock_bytes(time);
    return utc ? SetUTCTime(&address, seconds.data(), reader.handle())
               : SetReal_timeClock(&address, bytes.data(), reader.handle());
}

Work plan_clock_set(const ClockArguments& arguments)
{
    if (arguments.time.empty() == !arguments.now)
        throw UsageError("give the time: use either TIME, for example 2024-05-31T10:15:00, or --now");
    const auto given = arguments.now ? std::chrono::sys_seconds() : parse_clock(arguments.time, "TIME");
    return device_work(
        Operation::ReaderClock, done_with("", "clock-set"),
        [given, now = arguments.now, utc = arguments.utc](const ReaderConnection& reader, Done& done) {
            const auto time = now ? time_now(utc) : given;
            const auto text = clock_value_text(time);
            done.text = fmt::format("the clock is set to {}", text);
            done.object["time"] = text;
            return set_clock(reader, time, utc);
        });
}

void add_clock_set_options(CLI::App& command, ClockArguments& arguments)
{
    command.add_option("TIME", arguments.time, "YYYY-MM-DDTHH:MM:SS of the years 2000 to 2099");
    command.add_flag("--now", arguments.now, "the time of this computer: local, or with --utc UTC");
    command.add_flag("--utc", arguments.utc, "set as seconds since 1970, for readers that count so");
    command.footer(R"(Examples:
  tagwire clock set --now
  tagwire clock set 2024-05-31T10:15:00
  tagwire clock set --now --utc)");
}

// -- work mode

constexpr std::array mode_names{Name{"answering", 0}, Name{"active", 1}, Name{"triggered", 2}};
constexpr NameSet modes{mode_names, 255};

Work plan_mode_show(const NoArguments&)
{
    return device_work(Operation::WorkModes, done_with("", "mode"),
                       [](const ReaderConnection& reader, Done& done) {
                           std::uint8_t mode = 0;
                           const int code = read_work_mode(reader, mode);
                           done.text = name_text(mode, modes);
                           done.object["mode"] = done.text;
                           return code;
                       });
}

void add_mode_show_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire mode show");
}

Work plan_mode_set(const DeviceArguments& arguments)
{
    const auto mode = parse_name(arguments.value, "MODE", modes);
    auto done = done_with(fmt::format("the work mode is {} now", name_text(mode, modes)), "mode-set");
    done.object["mode"] = name_text(mode, modes);
    return device_work(Operation::WorkModes, done, sends(SetWorkMode, mode));
}

void add_mode_set_options(CLI::App& command, DeviceArguments& arguments)
{
    command.add_option("MODE", arguments.value, choices_text(modes))->required();
    command.footer(R"(answering: the reader waits for commands. active: it reads and reports by itself.
triggered: it does so when an input asks for it.

Examples:
  tagwire mode set active
  tagwire mode set answering)");
}

// -- reset

// The connection may go with the restart, and is not asked about any more.
Work restart_work(Operation operation, const Done& done, int (*call)(unsigned char*, int))
{
    return [=](Session& session) {
        const auto reader = connect(session);
        auto address = reader->address();
        reader->require_success(call(&address, reader->handle()), operation);
        reader->close();
        show(session, done);
        return exit_success;
    };
}

Work plan_restart(const NoArguments&)
{
    return restart_work(Operation::ReaderRestart, done_with("the reader restarts", "reset-restart"),
                        ResetReader);
}

void add_restart_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire reset restart");
}

Work plan_factory(const DeviceArguments& arguments)
{
    confirm("replace all settings and tables of the reader by the factory's", arguments.yes);
    return restart_work(
        Operation::FactoryRestore,
        done_with("the factory settings are restored: address and speed may have changed", "reset-factory"),
        RestoreFactoryDefaultParameterTable);
}

void add_factory_options(CLI::App& command, DeviceArguments& arguments)
{
    add_yes_option(command, arguments.yes);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire reset factory
  tagwire reset factory --yes)");
}

template <typename Arguments>
void add(Application& application, CLI::App& group, const char* name, const char* description,
         void (*options)(CLI::App&, Arguments&), Work (*plan)(const Arguments&))
{
    add_command_with<Arguments>(application, &group, name, description, options, plan);
}

void add_radio_commands(Application& application)
{
    auto& power = application.add_group("power", "Output power.");
    add(application, power, "show", "Show the power of every antenna.", add_power_show_options,
        plan_power_show);
    add(application, power, "set", "Set the power.", add_power_set_options, plan_power_set);
    auto& region = application.add_group("region", "Frequencies.");
    add(application, region, "show", "Show band and frequencies.", add_region_show_options, plan_region_show);
    add(application, region, "set", "Set band and frequencies.", add_region_set_options, plan_region_set);
    auto& antenna = application.add_group("antenna", "Antennas of the reader.");
    add(application, antenna, "show", "Show which antennas are in use.", add_antenna_show_options,
        plan_antenna_show);
    add(application, antenna, "enable", "Choose the antennas to use.", add_antenna_enable_options,
        plan_antenna_enable);
    add(application, antenna, "check", "Switch the antenna check.", add_antenna_check_options,
        plan_antenna_check);
    add(application, antenna, "return-loss", "Measure how well antennas fit.", add_return_loss_options,
        plan_return_loss);
}

void add_line_commands(Application& application)
{
    auto& gpio = application.add_group("gpio", "Inputs and outputs.");
    add(application, gpio, "get", "Show which are on.", add_gpio_get_options, plan_gpio_get);
    add(application, gpio, "set", "Switch outputs.", add_gpio_set_options, plan_gpio_set);
    auto& relay = application.add_group("relay", "Relays.");
    add(application, relay, "on", "Close a relay.", add_relay_options, plan_relay_on);
    add(application, relay, "off", "Open a relay.", add_relay_options, plan_relay_off);
    add(application, relay, "pulse", "Close a relay for a time.", add_relay_pulse_options, plan_relay_pulse);
    auto& beep = application.add_group("beep", "Beeper.");
    add<NoArguments>(application, beep, "on", "Beep with every tag.", add_beep_switch_options,
                     [](const NoArguments&) { return beep_switch(1); });
    add<NoArguments>(application, beep, "off", "Be silent.", add_beep_switch_options,
                     [](const NoArguments&) { return beep_switch(0); });
    add(application, beep, "test", "Beep and flash now.", add_beep_test_options, plan_beep_test);
}

}  // namespace

void add_device_commands(Application& application)
{
    add_radio_commands(application);
    add_line_commands(application);
    auto& clock = application.add_group("clock", "Clock of the reader.");
    add(application, clock, "show", "Show the time.", add_clock_show_options, plan_clock_show);
    add(application, clock, "set", "Set the time.", add_clock_set_options, plan_clock_set);
    auto& mode = application.add_group("mode", "Whether the reader waits for commands or reads by itself.");
    add(application, mode, "show", "Show the work mode.", add_mode_show_options, plan_mode_show);
    add(application, mode, "set", "Set the work mode.", add_mode_set_options, plan_mode_set);
    auto& reset = application.add_group("reset", "Restart, and factory settings.");
    add(application, reset, "restart", "Restart the reader.", add_restart_options, plan_restart);
    add(application, reset, "factory", "Restore the factory settings.", add_factory_options, plan_factory);
}

}  // namespace tagwire::tool
