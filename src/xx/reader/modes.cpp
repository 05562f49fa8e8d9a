// Reading without a host, and the report filter.
#include <algorithm>
#include <array>

#include "xx/reader/both_ways.h"
#include "xx/reader/scan.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr int short_form = 42;  // bytes of data, without trigger time and TID words
constexpr int long_form = 45;

constexpr Call parameters_call{"ask for the parameters of reading alone"};
constexpr Call work_mode_call{"set the work mode"};
constexpr Call set_parameter_call{"set a parameter of reading alone"};
constexpr Call filter_time_call{"ask for the filter time"};
constexpr Call filter_call{"ask for the filter"};
constexpr Call set_filter_call{"set the filter"};

u8 byte(const ReaderInside& inside, const Call& call, const Range& range, long long value)
{
    return static_cast<u8>(checked(inside, call, range, value));
}

// Bank, first bit, count of bits, bits.
std::optional<Mask> mask_of(const u8* bytes)
{
    constexpr unsigned head = 4;
    const unsigned bits = bytes[3];
    if (bits == 0) return std::nullopt;
    Mask out{static_cast<Bank>(bytes[0]), static_cast<unsigned>(bytes[1] << 8 | bytes[2])};
    out.bits = bits;
    out.bytes.assign(bytes + head, bytes + head + (bits + 7) / 8);
    return out;
}

// Whether the filter time has commands of its own: to other readers these mean other things.
bool filters_by_itself(ReaderInside& inside, const Call& call)
{
    return ask_families(inside, call) == bit_of(ReaderFamily::filter);
}

[[noreturn]] void refuse_without_filter(const ReaderInside& inside)
{
    throw Error(Errc::no_such_feature, filter_call.name, inside.name(), "this reader has no such filter");
}

}  // namespace

// -- as settings by name do it too

Bytes ask_family_values(ReaderInside& inside, const Call& call)
{
    constexpr int output_pulse = 2;
    constexpr int longest = 4;
    Bytes bytes(longest);
    inside.ask({call.name, Effect::none, output_pulse}, &O::GetFilterParam, &bytes[0], &bytes[1], &bytes[2]);
    bytes.resize(static_cast<std::size_t>(std::min(inside.came(), longest)));
    return bytes;
}

Families families_telling(const Bytes& family_values)
{
    constexpr Families filter = bit_of(ReaderFamily::filter);
    constexpr Families mobile = bit_of(ReaderFamily::mobile);
    switch (family_values.size()) {
    case 0:
    case 1:
    case 2: return every_family & ~filter & ~mobile;
    case 3: return filter;
    default: return mobile;
    }
}

Families ask_families(ReaderInside& inside, const Call& call)
{
    try {
        return families_telling(ask_family_values(inside, call));
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::refused) throw;
        return families_telling({});
    }
}

Bytes ask_system_parameters(ReaderInside& inside, const Call& call)
{
    Bytes bytes(long_form);
    u8* const b = bytes.data();
    inside.ask({call.name, Effect::none, short_form}, &O::GetSystemParameter, b, b + 1, b + 2, b + 3, b + 4,
               b + 5, b + 6, b + 7, b + 9, b + 10, b + 42, b + 43, b + 44);
    if (inside.came() < long_form) bytes.resize(short_form);
    return bytes;
}

Bytes ask_read_parameters(ReaderInside& inside, const Call& call)
{
    constexpr int to_the_session = 6;
    Bytes bytes(256);
    inside.ask({call.name, Effect::none, to_the_session}, &O::GetReadParameter, bytes.data());
    bytes.resize(static_cast<std::size_t>(inside.came()));
    return bytes;
}

// Mask and words of the TID go with the rest: were they left out, they would be switched off.
void send_read_parameters(ReaderInside& inside, const Call& call, const Bytes& parameters)
{
    constexpr std::size_t mask_at = 6;
    constexpr std::size_t mask_head = 4;
    constexpr std::size_t most_mask = 32;
    const auto require = [&](std::size_t bytes) {
        inside.require({call.name, Effect::none, static_cast<int>(bytes)},
                       static_cast<int>(parameters.size()));
    };
    require(mask_at + mask_head);
    Bytes sent = parameters;
    sent.resize(std::max(sent.size(), mask_at + mask_head + most_mask + 2));
    u8* const mask = &sent[mask_at];
    const std::size_t tid_at = mask_at + mask_head + (mask[3] + std::size_t{7}) / 8;
    require(tid_at + 2);
    inside.ask(call, &O::SetReadParameter, &sent[1], mask[0], mask + 1, mask[3], mask + mask_head,
               u8{mask[3] != 0}, sent[tid_at], sent[tid_at + 1], u8{sent[tid_at + 1] != 0});
}

// -- modes

ReadingAlone Modes::parameters()
{
    const Bytes bytes = ask_system_parameters(*inside_, parameters_call);
    ReadingAlone out;
    out.mode = static_cast<WorkMode>(bytes[0]);
    out.eas_sensitivity = bytes[1];
    out.report_condition = bytes[2];
    out.report_pause = bytes[3];
    out.inventory_interval = bytes[4];
    out.tag_protocol = bytes[5];
    out.mask = mask_of(&bytes[6]);
    if (bytes.size() < long_form) return out;
    out.trigger_time = std::chrono::seconds(bytes[42]);
    out.tid = TidWords{bytes[43], bytes[44]};
    return out;
}

void Modes::set_work_mode(WorkMode mode)
{
    const int number = checked(*inside_, work_mode_call, ranges::work_mode, static_cast<int>(mode));
    set_values(*inside_, {{"work-mode", {static_cast<u8>(number)}}});
}

void Modes::set_eas_sensitivity(int value)
{
    set_values(*inside_, {{"eas-sensitivity",
                           {byte(*inside_, set_parameter_call, {"the sensitivity", 0, 255}, value)}}});
}

void Modes::set_reports(int condition, int pause)
{
    const u8 when = byte(*inside_, set_parameter_call, {"the condition", 0, 255}, condition);
    const u8 how_long = byte(*inside_, set_parameter_call, {"the pause", 0, 255}, pause);
    set_values(*inside_, {{"report-condition", {when}}, {"report-pause", {how_long}}});
}

void Modes::set_inventory_interval(int value)
{
    set_values(*inside_, {{"inventory-interval",
                           {byte(*inside_, set_parameter_call, {"the interval", 0, 255}, value)}}});
}

void Modes::set_tag_protocol(int value)
{
    set_values(*inside_,
               {{"tag-protocol", {byte(*inside_, set_parameter_call, {"the protocol", 0, 255}, value)}}});
}

void Modes::set_mask(const std::optional<Mask>& mask)
{
    const GivenMask given = mask ? given_mask(*inside_, set_parameter_call, *mask) : GivenMask{};
    Bytes value{given.bank, given.bit[0], given.bit[1], given.bits};
    value.insert(value.end(), given.bytes.begin(), given.bytes.end());
    set_values(*inside_, {{"mask", value}});
}

void Modes::set_trigger_time(std::chrono::seconds time)
{
    set_values(*inside_,
               {{"trigger-time", {byte(*inside_, set_parameter_call, ranges::seconds, time.count())}}});
}

void Modes::set_tid(const TidWords& words)
{
    const u8 first = byte(*inside_, set_parameter_call, {"the first word", 0, 255}, words.first);
    const u8 count = byte(*inside_, set_parameter_call, {"the count of words", 0, 255}, words.count);
    set_values(*inside_, {{"tid-word", {first}}, {"tid-words", {count}}});
}

// -- filter

std::chrono::seconds Filter::time()
{
    const ReaderInside::Turn turn(*inside_);
    if (!filters_by_itself(*inside_, filter_time_call))
        return std::chrono::seconds(ask_read_parameters(*inside_, filter_time_call)[filter_time_at]);
    u8 seconds = 0;
    inside_->ask({filter_time_call.name, Effect::none, 1}, &O::GetFilterTime, &seconds);
    return std::chrono::seconds(seconds);
}

void Filter::set_time(std::chrono::seconds time)
{
    const u8 seconds = byte(*inside_, set_filter_call, ranges::seconds, time.count());
    set_values(*inside_, {{"filter-time", {seconds}}});
}

FilterRule Filter::rule()
{
    const Bytes told = ask_family_values(*inside_, filter_call);
    if (families_telling(told) != bit_of(ReaderFamily::filter)) refuse_without_filter(*inside_);
    return {std::chrono::seconds(told[0]), told[1], told[2]};
}

void Filter::set_rule(const FilterRule& rule)
{
    const u8 window = byte(*inside_, set_filter_call, {"the window in s", 0, 255}, rule.window.count());
    const u8 reads = byte(*inside_, set_filter_call, {"the count of readings", 0, 255}, rule.least_reads);
    const u8 rssi = byte(*inside_, set_filter_call, {"the weakest reading", 0, 255}, rule.least_rssi);
    set_values(*inside_, {{"filter-window", {window}}, {"filter-reads", {reads}}, {"filter-rssi", {rssi}}});
}

}  // namespace v1
}  // namespace tagwire
