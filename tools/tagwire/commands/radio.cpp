#include "commands/groups.h"
#include "device_command.h"
#include "errors.h"
#include "parse.h"
#include "reader_information.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/result.h"
#include "tagwire/settings.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct RadioArguments {
    std::string value;
    std::string antenna;
    std::string frequency;
    std::string ports = "64";
    bool write_power = false;
    bool temporary = false;
};

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

Work plan_power_set(const RadioArguments& arguments)
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

void add_power_set_options(CLI::App& command, RadioArguments& arguments)
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

Work plan_antenna_enable(const RadioArguments& arguments)
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

void add_antenna_enable_options(CLI::App& command, RadioArguments& arguments)
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

Work plan_antenna_check(const RadioArguments& arguments)
{
    const auto state = parse_name(arguments.value, "STATE", switch_values);
    const auto text = name_text(state, switch_values);
    auto done = done_with(fmt::format("the antenna check is {} now", text), "antenna-check");
    done.object["check"] = state != 0;
    return device_work(Operation::AntennaSetting, done, sends(SetCheckAnt, state));
}

void add_antenna_check_options(CLI::App& command, RadioArguments& arguments)
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

Work plan_return_loss(const RadioArguments& arguments)
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

void add_return_loss_options(CLI::App& command, RadioArguments& arguments)
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

}  // namespace

void add_radio_commands(Application& application)
{
    auto& power = application.add_group("power", "Output power.");
    add_to(application, power, "show", "Show the power of every antenna.", add_power_show_options,
           plan_power_show);
    add_to(application, power, "set", "Set the power.", add_power_set_options, plan_power_set);
    auto& region = application.add_group("region", "Frequencies.");
    add_to(application, region, "show", "Show band and frequencies.", add_region_show_options,
           plan_region_show);
    add_to(application, region, "set", "Set band and frequencies.", add_region_set_options, plan_region_set);
    auto& antenna = application.add_group("antenna", "Antennas of the reader.");
    add_to(application, antenna, "show", "Show which antennas are in use.", add_antenna_show_options,
           plan_antenna_show);
    add_to(application, antenna, "enable", "Choose the antennas to use.", add_antenna_enable_options,
           plan_antenna_enable);
    add_to(application, antenna, "check", "Switch the antenna check.", add_antenna_check_options,
           plan_antenna_check);
    add_to(application, antenna, "return-loss", "Measure how well antennas fit.", add_return_loss_options,
           plan_return_loss);
}

}  // namespace tagwire::tool
