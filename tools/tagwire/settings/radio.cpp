// Power, frequencies and antennas.
#include <algorithm>
#include <cmath>

#include "commands/groups.h"
#include "option.h"
#include "settings/setting.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

constexpr std::uint32_t most_ports = 64;

using PortBits = std::uint64_t;

auto port_list(std::uint32_t highest)
{
    return [=](const std::string& text, const std::string& name) { return parse_ports(text, name, highest); };
}

std::vector<Port> ports_in(PortBits bits)
{
    std::vector<Port> ports;
    for (const auto number : numbers_in(bits)) ports.emplace_back(static_cast<int>(number));
    return ports;
}

// -- power

// Nothing where the reader has none of its own.
std::optional<Dbm> write_power(Radio radio)
{
    try {
        return radio.write_power();
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::refused) throw;
        return std::nullopt;
    }
}

void show_powers(Reader& reader, Deed& done)
{
    auto radio = reader.radio();
    done.fields["antennas"] = Json::array();
    for (const auto power : radio.power()) {
        done.fields["antennas"].push_back(power.value());
        done.text += fmt::format("antenna {:<3}  {} dBm\n", done.fields["antennas"].size(), power.value());
    }
    const auto writing = write_power(radio);
    done.text += writing ? fmt::format("writing      {} dBm", writing->value()) : "writing      not told";
    done.fields["write"] = writing ? Json(writing->value()) : Json();
}

struct Power {
    int dbm = 0;
    PortBits ports = 0;  // all
    bool write = false;
};

void add_power_set_options(CLI::App& command, Power& power)
{
    option(command, "DBM", power.dbm, number(0, 40),
           "output power, 0 to 40; readers differ in what they give")
        ->required();
    option(command, "--antenna", power.ports, port_list(most_ports),
           "of these antennas only; otherwise of all", "PORT,PORT-PORT,...");
    command.add_flag("--write-power", power.write, "the power at which tags are written");
    command.footer(R"(Examples:
  tagwire power set 30
  tagwire power set 20 --antenna 2
  tagwire power set 26 --write-power)");
}

void set_power_of(Radio radio, const Power& wanted)
{
    auto powers = radio.power();
    for (const auto port : numbers_in(wanted.ports)) {
        if (port > powers.size())
            throw Failure(fmt::format("there is no antenna {}, the reader has {}", port, powers.size()));
        powers[port - 1] = Dbm(wanted.dbm);
    }
    radio.set_power(powers);
}

Work plan_power_set(const Power& power)
{
    if (power.write && power.ports != 0)
        throw UsageError("--write-power is for all antennas: leave out --antenna");
    const auto ports = numbers_in(power.ports);
    Deed head = deed("power-set");
    head.fields["dbm"] = power.dbm;
    head.fields["write"] = power.write;
    if (!power.write) head.fields["antennas"] = ports.empty() ? Json() : Json(ports);
    head.text = power.write     ? fmt::format("tags are written with {} dBm now", power.dbm)
                : ports.empty() ? fmt::format("all antennas have {} dBm now", power.dbm)
                                : fmt::format("antennas {}: {} dBm now", ports_text(ports), power.dbm);
    return work(head, [=](Reader& reader, Deed&) {
        if (power.write) return reader.radio().set_write_power(Dbm(power.dbm));
        power.ports == 0 ? reader.radio().set_power(Dbm(power.dbm)) : set_power_of(reader.radio(), power);
    });
}

// -- region

double mhz(Kilohertz frequency) { return frequency.value / 1000.0; }
std::string mhz_text(Kilohertz frequency) { return fmt::format("{:.3f}", mhz(frequency)); }
Json mhz_json(const std::optional<Kilohertz>& frequency)
{
    return frequency ? Json(mhz(*frequency)) : Json();
}

// MHz with at most three decimals.
Kilohertz parse_mhz(const std::string& text, const std::string& name)
{
    const auto point = std::min(text.find('.'), text.size());
    auto decimals = point < text.size() ? text.substr(point + 1) : "0";
    const auto are_digits = [](const std::string& part) {
        return !part.empty() && part.size() < 5 && part.find_first_not_of("0123456789") == std::string::npos;
    };
    if (!are_digits(text.substr(0, point)) || !are_digits(decimals) || decimals.size() > 3)
        throw UsageError(
            fmt::format("{} '{}' is not valid: use MHz with at most three decimals, as 866.7", name, text));
    decimals.resize(3, '0');
    return {static_cast<std::uint32_t>(std::stoul(text.substr(0, point)) * 1000 + std::stoul(decimals))};
}

void add_region(Deed& done, const Region& region)
{
    const auto channels = region.highest - region.lowest + 1;
    const auto band = region.name.empty() ? std::to_string(region.band) : std::string(region.name);
    done.text = region.from ? fmt::format("{}  {} to {} MHz, {} channels", band, mhz_text(*region.from),
                                          mhz_text(*region.to), channels)
                            : fmt::format("{}  channels {} to {} of a band that is not known here", band,
                                          region.lowest, region.highest);
    done.fields["band"] = band;
    done.fields["band_number"] = region.band;
    done.fields["lowest_mhz"] = mhz_json(region.from);
    done.fields["highest_mhz"] = mhz_json(region.to);
    done.fields["channels"] = channels;
    if (region.band == Region::custom) return;
    done.fields["lowest_channel"] = region.lowest;
    done.fields["highest_channel"] = region.highest;
}

struct Frequencies {
    std::string band;
    std::optional<Kilohertz> lowest;
    std::optional<Kilohertz> highest;
    std::optional<unsigned> lowest_channel;
    std::optional<unsigned> highest_channel;
    std::optional<Kilohertz> first;
    std::optional<unsigned> spacing;
    std::optional<unsigned> channels;
    bool packed = false;
    Lasting lasting = Lasting::stored;
};

void add_region_set_options(CLI::App& command, Frequencies& plan)
{
    command
        .add_option("BAND", plan.band, "us, eu, cn, kr, wide, a number that only the reader knows, or custom")
        ->required();
    option(command, "--lowest", plan.lowest, parse_mhz, "lowest frequency; otherwise the band's", "MHZ");
    option(command, "--highest", plan.highest, parse_mhz, "highest frequency; otherwise the band's", "MHZ");
    option(command, "--lowest-channel", plan.lowest_channel, number(0, 255),
           "the same as a channel; the first one is 0");
    option(command, "--highest-channel", plan.highest_channel, number(0, 255), "");
    auto* const first =
        option(command, "--first", plan.first, parse_mhz, "custom: frequency of the first channel", "MHZ");
    auto* const spacing = option(command, "--spacing", plan.spacing, number(10, 2550),
                                 "custom: from channel to channel, 10 to 2550 in steps of 10", "KHZ");
    auto* const channels =
        option(command, "--channels", plan.channels, number(1, 255), "custom: how many, 1 to 255");
    first->needs(spacing)->needs(channels);
    spacing->needs(first);
    channels->needs(first);
    for (const auto* const own : {"--lowest", "--highest", "--lowest-channel", "--highest-channel"})
        first->excludes(command.get_option(own));
    command.get_option("--lowest")->excludes("--lowest-channel");
    command.get_option("--highest")->excludes("--highest-channel");
    command.add_flag("--packed", plan.packed,
                     "for older readers: band and channels in two bytes, always stored");
    add_temporary_option(command, plan.lasting);
    command.footer(R"(You are responsible for what is allowed where the reader stands.

Examples:
  tagwire region set eu
  tagwire region set us --lowest 915.25 --highest 927.25
  tagwire region set custom --first 865.7 --spacing 600 --channels 4 --temporary)");
}

unsigned channel_at(const tagwire::Band& band, Kilohertz frequency)
{
    const auto above = frequency.value - band.first.value;
    const auto channel = above / band.spacing.value;
    if (frequency.value >= band.first.value && above % band.spacing.value == 0 && channel < band.channels)
        return channel;
    throw UsageError(fmt::format("{} MHz is no channel of {}: they begin at {} MHz and lie {} kHz apart",
                                 mhz_text(frequency), band.name, mhz_text(band.first), band.spacing.value));
}

unsigned channel_of(const tagwire::Band* band, const std::optional<Kilohertz>& frequency,
                    const std::optional<unsigned>& channel, unsigned otherwise)
{
    if (channel) return *channel;
    if (band == nullptr)
        throw UsageError("a band by its number needs --lowest-channel and --highest-channel");
    return frequency ? channel_at(*band, *frequency) : otherwise;
}

// What the options say, and the same as the setting has it.
struct Chosen {
    Region region;
    std::string text;
};

Chosen chosen_plan(const Frequencies& plan)
{
    if (!plan.first) throw UsageError("custom needs --first MHZ, --spacing KHZ and --channels N");
    Region region{.name = "custom", .highest = *plan.channels - 1, .from = plan.first};
    region.to = Kilohertz{plan.first->value + region.highest * *plan.spacing};
    return {region, fmt::format("custom:{}:{}:{}", plan.first->value, *plan.spacing, *plan.channels)};
}

Chosen chosen_channels(const Frequencies& plan)
{
    if (plan.first) throw UsageError("--first, --spacing and --channels are for custom");
    const auto* const band = find_band(plan.band);
    const auto last = band != nullptr ? band->channels - 1 : 0;
    Region region{.band = static_cast<int>(number_of(plan.band).value_or(0))};
    region.lowest = channel_of(band, plan.lowest, plan.lowest_channel, 0);
    region.highest = channel_of(band, plan.highest, plan.highest_channel, last);
    if (band != nullptr) {
        region.band = band->number;
        region.name = band->name;
        region.from = Kilohertz{band->first.value + region.lowest * band->spacing.value};
        region.to = Kilohertz{band->first.value + region.highest * band->spacing.value};
    }
    return {region, fmt::format("{}:{}-{}", plan.band, region.lowest, region.highest)};
}

Work plan_region_set(const Frequencies& plan)
{
    const auto wanted = plan.band == "custom" ? chosen_plan(plan) : chosen_channels(plan);
    const auto& region = wanted.region;
    const auto value = checked_value("region", wanted.text);
    Deed head = deed("region-set");
    add_region(head, region);
    if (!plan.packed) return set_work(head, value, plan.lasting);
    if (plan.lasting != Lasting::stored || region.band > 15 || region.highest > 63)
        throw UsageError("--packed reaches band 15 and channel 63, and always stores");
    return work(head, [=](Reader& reader, Deed&) {
        reader.radio().set_packed_region(region.band, region.lowest, region.highest);
    });
}

// -- antenna

void show_antennas(Reader& reader, Deed& done)
{
    const auto enabled = numbers_of(reader.antennas().enabled());
    const bool check = reader.antennas().are_checked();
    done.text = fmt::format("enabled  {}\ncheck    {}", ports_text(enabled), check ? "on" : "off");
    done.fields["enabled"] = enabled;
    done.fields["check"] = check;
}

constexpr Choices<PortsCommand, 4> ports_commands{{{"8", PortsCommand::eight},
                                                   {"12", PortsCommand::twelve},
                                                   {"16", PortsCommand::sixteen},
                                                   {"64", PortsCommand::widest}}};

struct Enabling {
    PortBits ports = 0;
    PortsCommand command = PortsCommand::widest;
    Lasting lasting = Lasting::stored;
};

void add_antenna_enable_options(CLI::App& command, Enabling& enabling)
{
    option(command, "PORTS", enabling.ports, port_list(most_ports),
           "the antennas to use, for example 1,3 or 1-4; all others are not")
        ->required();
    option(command, "--ports", enabling.command, one_of(ports_commands),
           "8, 12, 16: the command of readers with so many ports that do not know the one for 64")
        ->default_str("64");
    add_temporary_option(command, enabling.lasting);
    command.footer(R"(Examples:
  tagwire antenna enable 1-4
  tagwire antenna enable 3 --temporary
  tagwire antenna enable 1,2 --ports 8)");
}

Work plan_antenna_enable(const Enabling& enabling)
{
    const auto ports = numbers_in(enabling.ports);
    if (ports.back() > static_cast<unsigned>(enabling.command))
        throw UsageError(fmt::format("--ports {} has no antenna {}",
                                     name_of(enabling.command, ports_commands), ports.back()));
    if (enabling.command == PortsCommand::eight && enabling.lasting != Lasting::stored)
        throw UsageError("--ports 8 is always stored: leave out --temporary");
    Deed head = deed("antenna-enable", fmt::format("antennas in use now: {}", ports_text(ports)));
    head.fields["enabled"] = ports;
    return work(head, [=](Reader& reader, Deed&) {
        reader.antennas().enable(ports_in(enabling.ports), enabling.lasting, enabling.command);
    });
}

void add_antenna_check_options(CLI::App& command, bool& on)
{
    option(command, "STATE", on, one_of(switch_states), "on or off: look for the antenna before an inventory",
           "STATE")
        ->required();
    command.footer("Examples:\n  tagwire antenna check on");
}

Work plan_antenna_check(const bool& on)
{
    const auto state = name_of(on, switch_states);
    Deed head = deed("antenna-check", fmt::format("the antenna check is {} now", state));
    head.fields["check"] = on;
    return set_work(head, checked_value("antenna-check", state));
}

struct Measurement {
    PortBits ports = 0;  // those in use
    std::optional<Kilohertz> frequency;
};

void add_return_loss_options(CLI::App& command, Measurement& measurement)
{
    option(command, "PORTS", measurement.ports, port_list(most_ports),
           "the antennas to measure, for example 1,3; otherwise those in use");
    option(command, "--frequency", measurement.frequency, parse_mhz,
           "where to measure, 840 to 960; otherwise in the middle of the reader's region", "MHZ");
    command.footer(R"(A well connected antenna sends little back: the return loss is high.

Examples:
  tagwire antenna return-loss
  tagwire antenna return-loss 1,2 --frequency 915.25 --json)");
}

Kilohertz middle_of(const Region& region)
{
    if (!region.from)
        throw Failure("the reader's band is not known here: name a frequency with --frequency MHZ");
    const auto channels = region.highest - region.lowest;
    const auto spacing = channels == 0 ? 0 : (region.to->value - region.from->value) / channels;
    return {region.from->value + channels / 2 * spacing};
}

Work plan_return_loss(const Measurement& measurement)
{
    const auto asked = measurement.frequency.value_or(Kilohertz{866'000}).value;
    if (asked < 840'000 || asked > 960'000) throw UsageError("--frequency is 840 to 960 MHz");
    return work(deed("return-loss"), [=](Reader& reader, Deed& done) {
        const auto frequency =
            measurement.frequency ? *measurement.frequency : middle_of(reader.radio().region());
        const auto ports = measurement.ports != 0 ? ports_in(measurement.ports) : reader.antennas().enabled();
        done.fields["frequency_mhz"] = mhz(frequency);
        done.fields["antennas"] = Json::array();
        done.text = fmt::format("at {} MHz", mhz_text(frequency));
        for (const auto port : ports) {
            const int decibels = reader.radio().return_loss(port, frequency);
            done.text += fmt::format("\nantenna {:<3}  {} dB", port.number(), decibels);
            done.fields["antennas"].push_back({{"antenna", port.number()}, {"return_loss_db", decibels}});
        }
    });
}

}  // namespace

void add_radio_commands(Application& application)
{
    auto& power = application.add_group("power", "Output power.");
    power.footer("Examples:\n  tagwire power show\n  tagwire power set 27 --antenna 1,2");
    add_asking(application, power, "show", "Show the power of every antenna.", "power", show_powers);
    add_to(application, power, "set", "Set the power.", add_power_set_options, plan_power_set);
    auto& region = application.add_group("region", "Frequencies.");
    region.footer("Examples:\n  tagwire region show\n  tagwire region set eu");
    add_asking(application, region, "show", "Show band and frequencies.", "region",
               [](Reader& reader, Deed& done) { add_region(done, reader.radio().region()); });
    add_to(application, region, "set", "Set band and frequencies.", add_region_set_options, plan_region_set);
    auto& antenna = application.add_group("antenna", "Antennas of the reader.");
    antenna.footer("Examples:\n  tagwire antenna show\n  tagwire antenna enable 1-4");
    add_asking(application, antenna, "show", "Show which antennas are in use.", "antennas", show_antennas);
    add_to(application, antenna, "enable", "Choose the antennas to use.", add_antenna_enable_options,
           plan_antenna_enable);
    add_to(application, antenna, "check", "Switch the antenna check.", add_antenna_check_options,
           plan_antenna_check);
    add_to(application, antenna, "return-loss", "Measure how well antennas fit.", add_return_loss_options,
           plan_return_loss);
}

}  // namespace tagwire::tool
