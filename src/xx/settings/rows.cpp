#include "xx/settings/rows.h"

#include <algorithm>
#include <numeric>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {
namespace {

using Shape = Format::Shape;
using enum SettingKind;

// -- formats

namespace formats {
constexpr int most_with_set_bit = 127;
constexpr Range words_only{"", 1, 0};
constexpr Word off_on_words[] = {{"off", 0}, {"on", 1}};
constexpr Word work_mode_words[] = {{"answering", 0}, {"active", 1}, {"triggered", 2}};
constexpr Word session_words[] = {{"auto", ranges::automatic_session}};
constexpr Word speed_words[] = {{"9600", 0},  {"19200", 1},  {"38400", 2},
                                {"57600", 5}, {"115200", 6}, {"921600", 7}};

constexpr Format code{Shape::code};
constexpr Format two_way_code{Shape::code, {"the value", 0, most_with_set_bit}};
constexpr Format number{};
constexpr Format two_way_number{Shape::number, {"the value", 0, most_with_set_bit}};
constexpr Format seconds{Shape::number, ranges::seconds, 1, "s"};
constexpr Format off_on{Shape::number, words_only, 1, {}, off_on_words};
constexpr Format dbm{Shape::number, ranges::dbm, 1, "dBm"};
constexpr Format powers{Shape::powers, ranges::dbm, 1, "dBm"};
constexpr Format scan_time{Shape::number, ranges::code, 100, "ms"};
constexpr Format version{Shape::version};

constexpr Format hex(int fewest, int most) { return {Shape::hex, {"the count of bytes", fewest, most}}; }
constexpr Format list(int count) { return {Shape::list, {"the count of numbers", count, count}}; }
}  // namespace formats

// -- families

constexpr Families filter_only = bit_of(ReaderFamily::filter);
constexpr Families all_but_filter = every_family & ~filter_only;
constexpr Families multiplexer_only = bit_of(ReaderFamily::multiplexer);
constexpr Families standard_or_relay = bit_of(ReaderFamily::standard) | bit_of(ReaderFamily::relay);
// To those two the command of others' password and temperature is one that sets and switches.
constexpr Families without_filter_and_relay = every_family & ~filter_only & ~bit_of(ReaderFamily::relay);
constexpr Families filter_or_mobile = filter_only | bit_of(ReaderFamily::mobile);

// -- rows

namespace s = sources;
namespace w = writers;

namespace f = formats;
std::vector<Row> named_rows()
{
    constexpr bool never = false;  // kept in profiles
    return {
        {"firmware", "reader", "version of the reader's program", f::version, &s::information, 0, 2, nullptr,
         state},
        {"reader-type", "reader", "kind of reader", f::code, &s::information, 2, 1, nullptr, state},
        {"air-protocols", "reader", "air protocols of the reader", f::code, &s::information, 3, 1, nullptr,
         state},
        {"module-version", "reader", "version of the radio module", f::version, &s::module_version, 0, 2,
         nullptr, state},
        {"module-description",
         "reader",
         "what the radio module says of itself",
         {Shape::characters},
         &s::module_description,
         0,
         16,
         nullptr,
         state},
        {"chip-version", "reader", "version and kind of the radio chip", f::hex(3, 3), &s::chip_version, 0, 3,
         nullptr, state},
        {"start-information", "reader", "nine error codes of the reader's start, 00 for none", f::hex(9, 9),
         &s::start_information, 0, 9, nullptr, state},
        {"power-check", "reader", "check of the power calibration", f::code, &s::power_check, 0, 1, nullptr,
         state},
        {"temperature",
         "reader",
         "temperature of the reader",
         {Shape::degrees, {}, 1, "degrees"},
         &s::temperature,
         0,
         2,
         nullptr,
         state,
         true,
         {},
         without_filter_and_relay},
        {"temperature-choice", "reader", "which temperature is measured", f::code, nullptr, 0, 1,
         &w::temperature_choice},
        {"clock",
         "reader",
         "clock of the reader, without a time zone",
         {Shape::clock},
         &s::clock,
         0,
         6,
         &w::clock,
         ordinary,
         never},
        {"serial-number", "reader", "serial number", f::hex(4, 4), &s::serial_number, 0, 4, &w::serial_number,
         identity},
        {"user-password", "reader", "user password", f::hex(4, 4), &s::user_password, 0, 4, &w::user_password,
         secret},
        {"reader-password",
         "reader",
         "password of the reader",
         f::hex(4, 4),
         &s::reader_password,
         0,
         4,
         &w::reader_password,
         secret,
         true,
         {},
         without_filter_and_relay},
        {"reply-delay", "reader", "delay before an answer", f::code, &s::reply_delay, 0, 1, &w::reply_delay},
        {"power-mode", "reader", "power mode", f::two_way_code, &s::power_mode, 0, 1, &w::power_mode},
        {"heartbeat-time", "reader", "interval of heartbeat messages", f::two_way_code, &s::heartbeat_time, 0,
         1, &w::heartbeat_time},

        {"scan-time", "inventory", "longest duration of an inventory that names none", f::scan_time,
         &s::information, 7, 1, &w::scan_time},
        {"q",
         "inventory",
         "Q of the reader's inventories",
         {Shape::number, ranges::q},
         &s::q_and_session,
         0,
         1,
         &w::q_and_session},
        {"session",
         "inventory",
         "session of the reader's inventories",
         {Shape::number, ranges::session, 1, {}, f::session_words},
         &s::q_and_session,
         1,
         1,
         &w::q_and_session},
        {"retries", "inventory", "how often an operation on a tag is tried again", f::two_way_number,
         &s::retries, 0, 1, &w::retries},
        {"protocol", "inventory", "air protocol", f::two_way_code, &s::protocol, 0, 1, &w::protocol},
        {"tag-function", "inventory", "function of a kind of inlay", f::two_way_code, &s::tag_function, 0, 1,
         &w::tag_function},
        {"profile", "inventory", "link profile", f::two_way_code, &s::profile, 0, 1, &w::profile, ordinary,
         true, "long-profile"},
        {"long-profile", "inventory", "link profile of readers with more profiles", f::hex(2, 2),
         &s::long_profile, 0, 2, &w::long_profile},
        {"dense-reader-mode", "inventory", "dense reader mode", f::off_on, &s::dense_reader_mode, 0, 1,
         &w::dense_reader_mode},

        {"region", "radio", "frequency band and channels", {Shape::region}, &s::region, 0, 0, &w::region},
        {"max-frequency", "radio", "highest channel with bits of the band", f::code, &s::information, 4, 1,
         nullptr, state},
        {"min-frequency", "radio", "lowest channel with bits of the band", f::code, &s::information, 5, 1,
         nullptr, state},
        {"region-type", "radio", "how regions are given", f::code, nullptr, 0, 1, &w::region_type},
        {"dwell-time", "radio", "how long the reader stays on a channel", f::code, &s::dwell, 0, 1,
         &w::dwell},
        {"dwell-repeats", "radio", "how often it does so", f::code, &s::dwell, 1, 1, &w::dwell},
        {"power", "radio", "output power", f::powers, &s::powers, 0, 0, &w::powers},
        {"antenna-power", "radio", "the same", f::powers, &s::powers, 0, 0, &w::powers, ordinary, never},
        {"write-power", "radio", "output power of writes", f::dbm, &s::write_power, 0, 1, &w::write_power},
        {"power-converter", "radio", "converter value of the power calibration", f::code, &s::power_converter,
         0, 1, nullptr, calibration},
        {"calibration-type", "radio", "kind of power calibration", f::code, nullptr, 0, 1,
         &w::calibration_type, calibration},
        {"antennas",
         "radio",
         "antennas that an inventory goes through",
         {Shape::ports},
         &s::antennas,
         0,
         8,
         &w::antennas},
        {"antenna-byte", "radio", "antenna setting as one byte", f::code, &s::information, 8, 1, nullptr,
         state},
        {"antenna-count", "radio", "count of antennas", f::two_way_number, &s::antenna_count, 0, 1,
         &w::antenna_count},
        {"antenna-check", "radio", "antenna check before an inventory", f::off_on, &s::information, 11, 1,
         &w::antenna_check},
        {"antenna-switch",
         "radio",
         "antenna multiplexer: its address and the antenna",
         f::list(2),
         nullptr,
         0,
         2,
         &w::antenna_switch,
         ordinary,
         never,
         {},
         multiplexer_only},

        {"read-parameters", "reports",
         "protocol, interval, filter time, Q and session as five bytes; each is a setting of its own, too",
         f::hex(5, 5), &s::read_parameters, 1, 5, &w::read_parameters, ordinary, never},
        {"eas-sensitivity", "reports", "EAS sensitivity", f::code, &s::system, 1, 1, &w::eas_sensitivity},
        {"report-condition", "reports", "condition of reports", f::code, &s::system, 2, 1, &w::reports},
        {"report-pause", "reports", "pause of reports", f::code, &s::system, 3, 1, &w::reports},
        {"inventory-interval", "reports", "pause between the reader's own inventories", f::code, &s::system,
         4, 1, &w::interval},
        {"tag-protocol", "reports", "air protocols that the reader looks for", f::code, &s::system, 5, 1,
         &w::tag_protocol},
        {"mask",
         "reports",
         "only tags whose memory has these bits",
         {Shape::mask},
         &s::system,
         6,
         36,
         &w::mask},
        {"trigger-time", "reports", "time that a trigger lasts", f::seconds, &s::system, 42, 1,
         &w::trigger_time},
        {"tid-word", "reports", "first word of the TID to report", f::number, &s::system, 43, 1, &w::tid},
        {"tid-words", "reports", "count of words of the TID to report; 0 reports EPCs", f::number, &s::system,
         44, 1, &w::tid},
        {"filter-time",
         "reports",
         "time within which a tag is reported once",
         f::seconds,
         &s::read_parameters,
         filter_time_at,
         1,
         &w::read_parameters,
         ordinary,
         true,
         {},
         all_but_filter},
        {"filter-time", "reports", "time within which a tag is reported once", f::seconds, &s::filter_time, 0,
         1, &w::filter_time, ordinary, true, "filter-window", filter_only},
        {"filter-window",
         "reports",
         "report filter: time within which a tag is reported once",
         f::seconds,
         &s::family_values,
         0,
         1,
         &w::filter,
         ordinary,
         true,
         {},
         filter_only},
        {"filter-reads",
         "reports",
         "report filter: readings before a tag is reported",
         f::number,
         &s::family_values,
         1,
         1,
         &w::filter,
         ordinary,
         true,
         {},
         filter_only},
        {"filter-rssi",
         "reports",
         "report filter: weakest reading to count",
         f::number,
         &s::family_values,
         2,
         1,
         &w::filter,
         ordinary,
         true,
         {},
         filter_only},

        {"beep", "outputs", "beep with every tag", f::off_on, &s::information, 9, 1, &w::beep},
        {"pulse-output", "outputs", "outputs that give a pulse with every tag", f::code, &s::information, 10,
         1, &w::pulse_output},
        {"lines", "outputs", "outputs and inputs as bits", f::code, &s::lines, 0, 1, nullptr, state},
        {"gpo-follows",
         "outputs",
         "whether an output follows the reading",
         f::code,
         &s::family_values,
         0,
         1,
         &w::readable_gpo,
         ordinary,
         true,
         {},
         standard_or_relay},
        {"gpo-follows",
         "outputs",
         "whether an output follows the reading",
         f::code,
         &s::family_values,
         0,
         1,
         nullptr,
         state,
         never,
         {},
         multiplexer_only},
        {"gpo-follows",
         "outputs",
         "whether an output follows the reading",
         f::code,
         nullptr,
         0,
         1,
         &w::gpo,
         ordinary,
         never,
         {},
         filter_or_mobile},
        {"gpo-time",
         "outputs",
         "how long that output is active",
         f::code,
         &s::family_values,
         1,
         1,
         &w::readable_gpo,
         ordinary,
         true,
         {},
         standard_or_relay},
        {"gpo-time",
         "outputs",
         "how long that output is active",
         f::code,
         &s::family_values,
         1,
         1,
         nullptr,
         state,
         never,
         {},
         multiplexer_only},
        {"gpo-time",
         "outputs",
         "how long that output is active",
         f::code,
         nullptr,
         1,
         1,
         &w::gpo,
         ordinary,
         never,
         {},
         filter_or_mobile},
        {"wiegand-format", "outputs", "Wiegand output: format", f::code, &s::wiegand, 0, 1, &w::wiegand},
        {"wiegand-pause", "outputs", "Wiegand output: pause between tags", f::code, &s::wiegand, 1, 1,
         &w::wiegand},
        {"wiegand-width", "outputs", "Wiegand output: width of a pulse", f::code, &s::wiegand, 2, 1,
         &w::wiegand},
        {"wiegand-distance", "outputs", "Wiegand output: distance of pulses", f::code, &s::wiegand, 3, 1,
         &w::wiegand},
        {"wiegand-offset", "outputs", "Wiegand output: first byte of the ID to send", f::code, &s::wiegand, 4,
         1, &w::wiegand},
    };
}

void add_numbered(std::vector<Row>& rows, const Row& first, unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        Row row = first;
        row.name += std::to_string(i);
        row.index = static_cast<u8>(i);
        rows.push_back(std::move(row));
    }
}

std::vector<Row> make_rows()
{
    constexpr unsigned trigger_actions = 16;
    constexpr unsigned numbered_parameters = 256;
    constexpr int most_parameter_bytes = 249;
    std::vector<Row> rows = named_rows();
    add_numbered(rows,
                 {"trigger-", "outputs",
                  "what a trigger does: mode, time, reserved, link, condition 1, condition 2", f::list(6),
                  &s::trigger, 0, 6, &w::trigger},
                 trigger_actions);
    add_numbered(rows,
                 {"parameter-", "parameters", "a numbered parameter", f::hex(0, most_parameter_bytes),
                  &s::numbered, 0, 0, &w::numbered},
                 numbered_parameters);
    const std::vector<Row> way{
        {"address",
         "connection",
         "bus address",
         {Shape::number, {"the address", 0, 254}},
         &s::information,
         12,
         1,
         &w::address,
         identity},
        {"baud",
         "connection",
         "speed of the reader's serial line",
         {Shape::number, f::words_only, 1, "bit/s", f::speed_words},
         &s::line_speed,
         0,
         1,
         &w::baud,
         identity},
        {"work-mode",
         "connection",
         "whether the reader waits for commands, or reads and reports by itself",
         {Shape::number, f::words_only, 1, {}, f::work_mode_words},
         &s::system,
         0,
         1,
         &w::work_mode},
        {"communication", "connection", "interface over which the reader talks", f::code, nullptr, 0, 1,
         &w::communication, identity},
    };
    rows.insert(rows.end(), way.begin(), way.end());
    return rows;
}

// -- names that are nearly right

std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = corner + (a[i] != b[j] ? 1 : 0);
            corner = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

std::string nearest_names(std::string_view name)
{
    constexpr std::size_t most = 3;
    std::vector<std::pair<std::size_t, std::string_view>> near;
    for (const Row& row : all_rows()) {
        const bool is_known = !near.empty() && near.back().second == row.name;
        const bool has_it = !name.empty() && row.name.find(name) != std::string::npos;
        if (!is_known) near.emplace_back(has_it ? 0 : distance(name, row.name), row.name);
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text;
    for (std::size_t i = 0; i < most; ++i)
        text += (i == 0 ? "" : i + 1 == most ? " or " : ", ") + std::string(near[i].second);
    return text;
}

}  // namespace

const std::vector<Row>& all_rows()
{
    // Never freed: threads may still use it while the process ends.
    static const auto& rows = *new std::vector<Row>(make_rows());
    return rows;
}

const Row* find_row(std::string_view name)
{
    const auto& rows = all_rows();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [=](const Row& row) { return row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

const Row& require_row(std::string_view name, const std::string& reader)
{
    if (const Row* const row = find_row(name)) return *row;
    throw Error(Errc::invalid_text, "setting", reader,
                "there is no setting '" + std::string(name) + "': is it " + nearest_names(name) + "?");
}

Bytes parse_value(const Row& row, std::string_view text, const std::string& reader)
{
    const std::string range = range_of(row.format);
    if (range.empty()) throw Error(Errc::invalid_text, row.name, reader, "it can be shown only, not set");
    Parsed parsed = parse(row.format, text);
    if (parsed.problem.empty()) return std::move(parsed.bytes);
    const std::string what = row.kind == SettingKind::secret
                                 ? "that is not valid"
                                 : "'" + std::string(text) + "' is not valid, " + parsed.problem;
    throw Error(Errc::invalid_text, row.name, reader, what + ": use " + range);
}

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
