// Reading without a host, and the report filter.
#include <array>

#include "xx/reader/scan.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr int short_form = 42;  // bytes of data, without trigger time and TID words
constexpr int long_form = 45;

constexpr Call parameters_call{"ask for the parameters of reading alone", Effect::none, short_form};
constexpr Call work_mode_call{"set the work mode", Effect::change};
constexpr Call set_parameter_call{"set a parameter of reading alone", Effect::change};
constexpr Call filter_time_call{"ask for the filter time", Effect::none, 1};
constexpr Call filter_call{"ask for the filter", Effect::none, 3};
constexpr Call set_filter_call{"set the filter", Effect::change};

u8 byte(const ReaderInside& inside, const Call& call, const char* what, long long value)
{
    return static_cast<u8>(checked(inside, call, what, value, 0, 255));
}

std::optional<Mask> mask_of(u8 bank, const std::array<u8, 2>& bit, u8 bits, const std::array<u8, 32>& bytes)
{
    if (bits == 0) return std::nullopt;
    Mask out{static_cast<Bank>(bank), static_cast<unsigned>(bit[0] << 8 | bit[1])};
    out.bits = bits;
    out.bytes.assign(bytes.begin(), bytes.begin() + (bits + 7) / 8);
    return out;
}

}  // namespace

ReadingAlone Modes::parameters()
{
    ReadingAlone out;
    std::array<u8, 6> own{};  // from the mode to the protocol
    u8 bank = 0;
    u8 bits = 0;
    u8 trigger_time = 0;
    u8 first = 0;
    u8 count = 0;
    std::array<u8, 2> bit{};
    std::array<u8, 32> mask{};
    const ReaderInside::Turn turn(*inside_);
    inside_->ask(parameters_call, &O::GetSystemParameter, &own[0], &own[1], &own[2], &own[3], &own[4],
                 &own[5], &bank, bit.data(), &bits, mask.data(), &trigger_time, &first, &count);
    out.mode = static_cast<WorkMode>(own[0]);
    out.eas_sensitivity = own[1];
    out.report_condition = own[2];
    out.report_pause = own[3];
    out.inventory_interval = own[4];
    out.tag_protocol = own[5];
    out.mask = mask_of(bank, bit, bits, mask);
    if (inside_->came() < long_form) return out;
    out.trigger_time = std::chrono::seconds(trigger_time);
    out.tid = TidWords{first, count};
    return out;
}

void Modes::set_work_mode(WorkMode mode)
{
    const int number = checked(*inside_, work_mode_call, "the work mode", static_cast<int>(mode), 0, 2);
    inside_->ask(work_mode_call, &O::SetWorkMode, static_cast<u8>(number));
}

void Modes::set_eas_sensitivity(int value)
{
    inside_->ask(set_parameter_call, &O::SetEASSensitivity,
                 byte(*inside_, set_parameter_call, "the sensitivity", value));
}

void Modes::set_reports(int condition, int pause)
{
    inside_->ask(set_parameter_call, &O::SetResponsePamametersofAuto_runningMode,
                 byte(*inside_, set_parameter_call, "the condition", condition),
                 byte(*inside_, set_parameter_call, "the pause", pause));
}

void Modes::set_inventory_interval(int value)
{
    inside_->ask(set_parameter_call, &O::SetInventoryInterval,
                 byte(*inside_, set_parameter_call, "the interval", value));
}

void Modes::set_tag_protocol(int value)
{
    inside_->ask(set_parameter_call, &O::SelectTagType,
                 byte(*inside_, set_parameter_call, "the protocol", value));
}

void Modes::set_mask(const std::optional<Mask>& mask)
{
    GivenMask given = mask ? given_mask(*inside_, set_parameter_call, *mask) : GivenMask{};
    inside_->ask(set_parameter_call, &O::SetMask, given.bank, given.bit.data(), given.bits,
                 given.bytes.data());
}

void Modes::set_trigger_time(std::chrono::seconds time)
{
    inside_->ask(set_parameter_call, &O::SetTriggerTime,
                 byte(*inside_, set_parameter_call, "the trigger time in s", time.count()));
}

void Modes::set_tid(const TidWords& words)
{
    inside_->ask(set_parameter_call, &O::SetTIDParameter,
                 byte(*inside_, set_parameter_call, "the first word", words.first),
                 byte(*inside_, set_parameter_call, "the count of words", words.count));
}

std::chrono::seconds Filter::time()
{
    u8 seconds = 0;
    inside_->ask(filter_time_call, &O::GetFilterTime, &seconds);
    return std::chrono::seconds(seconds);
}

void Filter::set_time(std::chrono::seconds time)
{
    inside_->ask(set_filter_call, &O::SetFilterTime,
                 byte(*inside_, set_filter_call, "the time in s", time.count()));
}

FilterRule Filter::rule()
{
    u8 window = 0;
    u8 reads = 0;
    u8 rssi = 0;
    inside_->ask(filter_call, &O::GetFilterParam, &window, &reads, &rssi);
    return {std::chrono::seconds(window), reads, rssi};
}

void Filter::set_rule(const FilterRule& rule)
{
    inside_->ask(set_filter_call, &O::SetFilterParam,
                 byte(*inside_, set_filter_call, "the window in s", rule.window.count()),
                 byte(*inside_, set_filter_call, "the count of readings", rule.least_reads),
                 byte(*inside_, set_filter_call, "the weakest reading", rule.least_rssi));
}

}  // namespace v1
}  // namespace tagwire
