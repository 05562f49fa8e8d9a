#include "setting_catalogue.h"

#include "errors.h"
#include "setting_commands.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr unsigned most_with_set_bit = 127;
constexpr unsigned trigger_actions = 16;
constexpr unsigned numbered_parameters = 256;
constexpr std::size_t most_parameter_bytes = 249;

constexpr std::array off_on_names{Name{"off", 0}, Name{"on", 1}};
constexpr NameSet off_on{off_on_names, 255};
constexpr NameSet off_on_with_set_bit{off_on_names, most_with_set_bit};
constexpr std::array work_mode_names{Name{"answering", 0}, Name{"active", 1}, Name{"triggered", 2}};
constexpr NameSet work_modes{work_mode_names, 255};

using Rows = std::vector<Setting>;

// -- rows of one kind

Setting saved(std::string name, std::string_view topic, ValueFormat format, const Source& source,
              std::size_t first, const Writer& writer, std::string_view help, std::size_t size = 1)
{
    Setting row{std::move(name), topic, help, std::move(format)};
    row.source = &source;
    row.first = first;
    row.size = size;
    row.writer = &writer;
    return row;
}

Setting shown_only(std::string name, std::string_view topic, ValueFormat format, const Source& source,
                   std::size_t first, std::string_view help, std::size_t size = 1)
{
    Setting row{std::move(name), topic, help, std::move(format)};
    row.source = &source;
    row.first = first;
    row.size = size;
    row.kept = Kept::ShownOnly;
    return row;
}

Setting set_only(std::string name, std::string_view topic, ValueFormat format, const Writer& writer,
                 std::string_view help, std::size_t first = 0, std::size_t size = 1)
{
    Setting row{std::move(name), topic, help, std::move(format)};
    row.first = first;
    row.size = size;
    row.writer = &writer;
    row.kept = Kept::ShownOnly;
    return row;
}

Setting told_by(std::string_view other, Setting row)
{
    row.told_by = other;
    return row;
}

Setting never_saved(Setting row)
{
    row.kept = Kept::ShownOnly;
    return row;
}

Setting with_index(unsigned index, Setting row)
{
    row.index = static_cast<std::uint8_t>(index);
    return row;
}

// -- topics

void add_reader(Rows& rows)
{
    constexpr std::string_view topic = "reader";
    const auto& info = sources::information;
    rows.insert(
        rows.end(),
        {shown_only("firmware", topic, shown_version(), info, 0, "version of the reader's program", 2),
         shown_only("reader-type", topic, shown_code(), info, 2, "kind of reader"),
         shown_only("air-protocols", topic, shown_code(), info, 3, "air protocols of the reader"),
         shown_only("module-version", topic, shown_version(), sources::module_version, 0,
                    "version of the radio module", 2),
         shown_only("module-description", topic, shown_text(), sources::module_description, 0,
                    "what the radio module says of itself", 16),
         shown_only("chip-version", topic, shown_bytes(), sources::chip_version, 0,
                    "version and kind of the radio chip", 3),
         shown_only("start-information", topic, shown_bytes(), sources::start_information, 0,
                    "nine error codes of the reader's start, 00 for none", 9),
         shown_only("power-check", topic, shown_code(), sources::power_check, 0,
                    "check of the power calibration"),
         shown_only("temperature", topic, shown_temperature(), sources::temperature, 0,
                    "temperature of the reader", 2),
         set_only("temperature-choice", topic, code_format(), writers::temperature_choice,
                  "which temperature is measured"),
         never_saved(saved("clock", topic, clock_format(), sources::clock, 0, writers::clock,
                           "clock of the reader, without a time zone", 6)),
         saved("serial-number", topic, hex_format(4, 4), sources::serial_number, 0, writers::serial_number,
               "serial number", 4),
         saved("user-password", topic, hex_format(4, 4), sources::user_password, 0, writers::user_password,
               "user password", 4),
         saved("reader-password", topic, hex_format(4, 4), sources::reader_password, 0,
               writers::reader_password, "password of the reader", 4),
         saved("reply-delay", topic, code_format(), sources::reply_delay, 0, writers::reply_delay,
               "delay before an answer"),
         saved("power-mode", topic, code_format(most_with_set_bit), sources::power_mode, 0,
               writers::power_mode, "power mode"),
         saved("heartbeat-time", topic, code_format(most_with_set_bit), sources::heartbeat_time, 0,
               writers::heartbeat_time, "interval of heartbeat messages")});
}

void add_inventory(Rows& rows)
{
    constexpr std::string_view topic = "inventory";
    rows.insert(rows.end(),
                {saved("scan-time", topic, scaled_format("ms", 100), sources::information, 7,
                       writers::scan_time, "longest duration of an inventory that names none"),
                 saved("q", topic, number_format(), sources::q_and_session, 0, writers::q_and_session,
                       "Q of the reader's inventories"),
                 saved("session", topic, number_format(), sources::q_and_session, 1, writers::q_and_session,
                       "session of the reader's inventories"),
                 saved("retries", topic, number_format(0, most_with_set_bit), sources::retries, 0,
                       writers::retries, "how often an operation on a tag is tried again"),
                 saved("protocol", topic, code_format(most_with_set_bit), sources::protocol, 0,
                       writers::protocol, "air protocol"),
                 saved("tag-function", topic, code_format(most_with_set_bit), sources::tag_function, 0,
                       writers::tag_function, "function of a kind of inlay"),
                 told_by("long-profile", saved("profile", topic, code_format(most_with_set_bit),
                                               sources::profile, 0, writers::profile, "link profile")),
                 saved("long-profile", topic, hex_format(2, 2), sources::long_profile, 0,
                       writers::long_profile, "link profile of readers with more profiles", 2),
                 saved("dense-reader-mode", topic, named_format(off_on_with_set_bit),
                       sources::dense_reader_mode, 0, writers::dense_reader_mode, "dense reader mode")});
}

void add_radio(Rows& rows)
{
    constexpr std::string_view topic = "radio";
    const auto& info = sources::information;
    rows.insert(
        rows.end(),
        {saved("region", topic, region_format(), sources::region, 0, writers::region,
               "frequency band and channels", to_the_end),
         shown_only("max-frequency", topic, shown_code(), info, 4, "highest channel with bits of the band"),
         shown_only("min-frequency", topic, shown_code(), info, 5, "lowest channel with bits of the band"),
         set_only("region-type", topic, code_format(), writers::region_type, "how regions are given"),
         saved("dwell-time", topic, code_format(), sources::dwell, 0, writers::dwell,
               "how long the reader stays on a channel"),
         saved("dwell-repeats", topic, code_format(), sources::dwell, 1, writers::dwell,
               "how often it does so"),
         told_by("antenna-power", saved("power", topic, scaled_format("dBm", 1), info, 6, writers::power,
                                        "output power of all antennas")),
         saved("antenna-power", topic, powers_format(), sources::antenna_powers, 0, writers::antenna_powers,
               "output power of each antenna", to_the_end),
         saved("write-power", topic, scaled_format("dBm", 1), sources::write_power, 0, writers::write_power,
               "output power of writes"),
         saved("power-converter", topic, code_format(), sources::power_converter, 0, writers::power_converter,
               "converter value of the power calibration"),
         set_only("calibration-type", topic, code_format(), writers::calibration_type,
                  "kind of power calibration"),
         saved("antennas", topic, ports_format(), sources::antennas, 0, writers::antennas,
               "antennas that an inventory goes through", 8),
         shown_only("antenna-byte", topic, shown_code(), info, 8, "antenna setting as one byte"),
         saved("antenna-count", topic, number_format(0, most_with_set_bit), sources::antenna_count, 0,
               writers::antenna_count, "count of antennas"),
         saved("antenna-check", topic, named_format(off_on), info, 11, writers::antenna_check,
               "antenna check before an inventory")});
}

Setting filter_time_row(ReaderFamily family)
{
    constexpr std::string_view topic = "reports";
    constexpr std::string_view help = "time within which a tag is reported once";
    constexpr std::size_t among_read_parameters = 3;
    const auto& parameters = sources::read_parameters;
    if (family == ReaderFamily::Filter) {
        return told_by("filter-window", saved("filter-time", topic, code_format(), sources::filter_time, 0,
                                              writers::filter_time, help));
    }
    const bool is_relay = family == ReaderFamily::Relay;
    return saved("filter-time", topic, code_format(), parameters, among_read_parameters,
                 is_relay ? writers::read_parameters : writers::filter_time, help);
}

void add_reports(Rows& rows, ReaderFamily family)
{
    constexpr std::string_view topic = "reports";
    const auto& system = sources::system;
    rows.insert(
        rows.end(),
        {never_saved(saved("read-parameters", topic, hex_format(5, 5), sources::read_parameters, 1,
                           writers::read_parameters,
                           "the parameters of reading without a host as five bytes; each is also a setting "
                           "of its own",
                           5)),
         saved("eas-sensitivity", topic, code_format(), system, 1, writers::eas_sensitivity,
               "EAS sensitivity"),
         saved("report-condition", topic, code_format(), system, 2, writers::reports, "condition of reports"),
         saved("report-pause", topic, code_format(), system, 3, writers::reports, "pause of reports"),
         saved("inventory-interval", topic, code_format(), system, 4, writers::interval,
               "pause between the reader's own inventories"),
         saved("tag-protocol", topic, code_format(), system, 5, writers::tag_protocol,
               "air protocols that the reader looks for"),
         saved("mask", topic, mask_format(), system, 6, writers::mask,
               "only tags whose memory has these bits; BANK is reserved, epc, tid, user or 0 to 255", 36),
         saved("trigger-time", topic, code_format(), system, 42, writers::trigger_time,
               "time that a trigger lasts"),
         saved("tid-word", topic, number_format(), system, 43, writers::tid,
               "first word of the TID to report"),
         saved("tid-words", topic, number_format(), system, 44, writers::tid,
               "count of words of the TID to report; 0 reports EPCs"),
         filter_time_row(family)});
    if (family == ReaderFamily::Filter) {
        rows.insert(rows.end(),
                    {saved("filter-window", topic, code_format(), sources::filter, 0, writers::filter,
                           "report filter: time within which a tag is reported once"),
                     saved("filter-reads", topic, number_format(), sources::filter, 1, writers::filter,
                           "report filter: readings before a tag is reported"),
                     saved("filter-rssi", topic, number_format(), sources::filter, 2, writers::filter,
                           "report filter: weakest reading to count")});
    }
}

void add_output_pulse(Rows& rows, ReaderFamily family)
{
    constexpr std::string_view topic = "outputs";
    constexpr std::string_view enable_help = "whether an output follows the reading";
    constexpr std::string_view time_help = "how long that output is active";
    const auto& source = sources::output_pulse;
    switch (family) {
    case ReaderFamily::Standard:
    case ReaderFamily::Relay:
        rows.push_back(
            saved("gpo-follows", topic, code_format(), source, 0, writers::readable_gpo, enable_help));
        rows.push_back(saved("gpo-time", topic, code_format(), source, 1, writers::readable_gpo, time_help));
        return;
    case ReaderFamily::Multiplexer:
        rows.push_back(shown_only("gpo-follows", topic, shown_code(), source, 0, enable_help));
        rows.push_back(shown_only("gpo-time", topic, shown_code(), source, 1, time_help));
        rows.push_back(set_only("antenna-switch", topic, list_format(2, 2), writers::antenna_switch,
                                "antenna multiplexer: its address and the antenna", 0, 2));
        return;
    case ReaderFamily::Filter:
    case ReaderFamily::Mobile:
        rows.push_back(set_only("gpo-follows", topic, code_format(), writers::gpo, enable_help, 0));
        rows.push_back(set_only("gpo-time", topic, code_format(), writers::gpo, time_help, 1));
        return;
    }
}

void add_outputs(Rows& rows, ReaderFamily family)
{
    constexpr std::string_view topic = "outputs";
    const auto& info = sources::information;
    const auto wiegand = [&](const char* name, std::size_t place, std::string_view help) {
        rows.push_back(saved(name, topic, code_format(), sources::wiegand, place, writers::wiegand, help));
    };
    rows.push_back(saved("beep", topic, named_format(off_on), info, 9, writers::beep, "beep with every tag"));
    rows.push_back(saved("pulse-output", topic, code_format(), info, 10, writers::pulse_output,
                         "outputs that give a pulse with every tag"));
    rows.push_back(shown_only("lines", topic, shown_code(), sources::lines, 0, "outputs and inputs as bits"));
    add_output_pulse(rows, family);
    wiegand("wiegand-format", 0, "Wiegand output: format");
    wiegand("wiegand-pause", 1, "Wiegand output: pause between tags");
    wiegand("wiegand-width", 2, "Wiegand output: width of a pulse");
    wiegand("wiegand-distance", 3, "Wiegand output: distance of pulses");
    wiegand("wiegand-offset", 4, "Wiegand output: first byte of the ID to send");
    for (unsigned action = 0; action < trigger_actions; ++action) {
        rows.push_back(with_index(
            action, saved(fmt::format("trigger-{}", action), topic, list_format(6, 6), sources::trigger, 0,
                          writers::trigger,
                          "what a trigger does: mode, time, reserved, link, condition 1, condition 2", 6)));
    }
}

void add_numbered(Rows& rows)
{
    for (unsigned number = 0; number < numbered_parameters; ++number) {
        rows.push_back(with_index(number, saved(fmt::format("parameter-{}", number), "parameters",
                                                hex_format(0, most_parameter_bytes), sources::numbered, 0,
                                                writers::numbered, "a numbered parameter", to_the_end)));
    }
}

void add_connection(Rows& rows, bool on_serial_line)
{
    constexpr std::string_view topic = "connection";
    constexpr std::size_t among_information = 12;
    rows.push_back(saved("address", topic, number_format(0, 254), sources::information, among_information,
                         writers::address, "bus address"));
    constexpr std::string_view baud_help = "speed of the reader's serial line";
    rows.push_back(on_serial_line ? saved("baud", topic, speed_format(), sources::line_speed, 0,
                                          writers::baud, baud_help)
                                  : set_only("baud", topic, speed_format(), writers::baud, baud_help));
    rows.push_back(saved("work-mode", topic, named_format(work_modes), sources::system, 0, writers::work_mode,
                         "whether the reader waits for commands, or reads and reports by itself"));
    rows.push_back(set_only("communication", topic, code_format(), writers::communication,
                            "interface over which the reader talks"));
}

Rows rows_of(ReaderFamily family, bool on_serial_line)
{
    Rows rows;
    add_reader(rows);
    add_inventory(rows);
    add_radio(rows);
    add_reports(rows, family);
    add_outputs(rows, family);
    add_numbered(rows);
    add_connection(rows, on_serial_line);
    return rows;
}

// -- families

constexpr std::array family_names{Name{"standard", 0}, Name{"filter", 1}, Name{"relay", 2},
                                  Name{"multiplexer", 3}, Name{"mobile", 4}};

std::string families_with(std::string_view name)
{
    std::string families;
    for (const auto family : all_families) {
        if (SettingCatalogue(family, true).find(name) == nullptr) continue;
        families += fmt::format("{}{}", families.empty() ? "" : ", ", family_name(family));
    }
    return families;
}

// -- as text

// Numbered settings share a line.
bool has_no_line(const Setting& setting) { return setting.index != 0; }

std::string reading_of(const Setting& setting)
{
    if (!setting.can_be_read()) return "; cannot be read";
    return setting.source->is_two_way ? "; can be read with --two-way" : "";
}

std::string line_of(const Setting& setting)
{
    auto name = setting.name;
    if (setting.source == &sources::trigger) name += fmt::format(" to {}", trigger_actions - 1);
    if (setting.source == &sources::numbered) name += fmt::format(" to {}", numbered_parameters - 1);
    return fmt::format("  {:<22}  {}\n{:26}{}\n", name, setting.help, "",
                       setting.can_be_written() ? setting.format.range + reading_of(setting) : "shown only");
}

}  // namespace

std::string_view family_name(ReaderFamily family)
{
    return family_names[static_cast<std::size_t>(family)].name;
}

ReaderFamily parse_family(std::string_view text, std::string_view what)
{
    for (const auto family : all_families) {
        if (family_name(family) == text) return family;
    }
    throw UsageError(
        fmt::format("{} '{}' is unknown: use standard, filter, relay, multiplexer or mobile", what, text));
}

SettingCatalogue::SettingCatalogue(ReaderFamily family, bool on_serial_line, bool two_way)
    : family_(family), two_way_(two_way), settings_(rows_of(family, on_serial_line))
{
    if (two_way) return;
    for (auto& setting : settings_) {
        if (setting.source == nullptr || !setting.source->is_two_way) continue;
        setting.source = nullptr;
        setting.told_by = {};
        setting.kept = Kept::ShownOnly;
    }
}

const Setting* SettingCatalogue::find(std::string_view name) const
{
    const auto found = std::find_if(settings_.begin(), settings_.end(),
                                    [name](const Setting& setting) { return setting.name == name; });
    return found == settings_.end() ? nullptr : &*found;
}

const Setting& SettingCatalogue::require(std::string_view name) const
{
    if (const auto* const setting = find(name)) return *setting;
    const auto others = families_with(name);
    if (!others.empty()) {
        throw UsageError(fmt::format("readers of the family {} have no setting '{}': see --family ({})",
                                     family_name(family_), name, others));
    }
    throw UsageError(fmt::format("setting '{}' is unknown: tagwire config set --help lists them", name));
}

Bytes parse_setting(const Setting& setting, std::string_view text)
{
    if (!setting.can_be_written())
        throw UsageError(fmt::format("setting '{}' can be shown only, not set", setting.name));
    return setting.format.parse(text, fmt::format("setting {}:", setting.name));
}

std::string catalogue_text()
{
    const SettingCatalogue catalogue(ReaderFamily::Standard, true, true);
    std::string text;
    std::string_view topic;
    for (const auto& setting : catalogue.settings()) {
        if (has_no_line(setting)) continue;
        if (setting.topic != topic) text += fmt::format("{}:\n", setting.topic);
        topic = setting.topic;
        text += line_of(setting);
    }
    for (const auto family : {ReaderFamily::Filter, ReaderFamily::Multiplexer}) {
        text += fmt::format("family {}:\n", family_name(family));
        const SettingCatalogue own(family, true, true);
        for (const auto& setting : own.settings()) {
            if (catalogue.find(setting.name) == nullptr) text += line_of(setting);
        }
    }
    return text;
}

}  // namespace tagwire::tool
