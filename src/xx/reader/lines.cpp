// Inputs, outputs, relays, beeper, clock.
#include <array>

#include "xx/reader/both_ways.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call lines_call{"ask for the lines", Effect::none, 1};
constexpr Call output_call{"set an output", Effect::change};
constexpr Call relay_call{"switch a relay", Effect::change};
constexpr Call beep_call{"beep", Effect::change};
constexpr Call clock_call{"ask for the time", Effect::none, 6};
constexpr Call set_clock_call{"set the clock", Effect::change};

constexpr unsigned line_count = 4;
constexpr unsigned line_bits = (1U << line_count) - 1;

// The value is in units of 100 ms, 0 opens.
void switch_relay_of_family(ReaderInside& inside, u8 time, std::optional<ReaderFamily> family)
{
    const ReaderInside::Turn turn(inside);
    Families families = ask_families(inside, {relay_call.name});
    if (family) families &= bit_of(*family);
    if ((families & bit_of(ReaderFamily::relay)) == 0)
        refuse_value(inside, relay_call,
                     "to this reader the command is something else: it is of another family");
    if (families != bit_of(ReaderFamily::relay))
        refuse_value(
            inside, relay_call,
            "to readers of other families the command is something else, and this one does not tell its "
            "own: if it is of the family relay, say so (ReaderFamily::relay)");
    u8 echo = time;
    Call call = relay_call;
    call.least = 1;
    inside.ask(call, &O::RelayControll, &echo);
    if (echo != time)
        throw Error(Errc::refused, call.name, inside.name(),
                    "the reader answered " + std::to_string(echo) + ", not " + std::to_string(time) +
                        ": it is of another family, look at its filter time",
                    Outcome::unknown);
}

// With a number a relay may be closed for good: no time.
void switch_relay(ReaderInside& inside, RelayCommand command, unsigned relay, bool closed, u8 time,
                  std::optional<ReaderFamily> family = {})
{
    const bool has_numbers = command == RelayCommand::numbered;
    const int number = checked(inside, relay_call, "the relay", relay, 1, has_numbers ? 255 : 1);
    switch (command) {
    case RelayCommand::numbered:
        return inside.ask(relay_call, &O::RelaysControll, static_cast<u8>(number), u8{closed}, time);
    case RelayCommand::single: return inside.ask(relay_call, &O::SetRelay, time);
    case RelayCommand::relay_family: return switch_relay_of_family(inside, time, family);
    }
}

// Of 100 ms, rounded up.
u8 pulse_units(const ReaderInside& inside, std::chrono::milliseconds time)
{
    constexpr int unit_ms = 100;
    const int ms = checked(inside, relay_call, "the time in ms", time.count(), 1, 255 * unit_ms);
    return static_cast<u8>((ms + unit_ms - 1) / unit_ms);
}

using ClockBytes = std::array<u8, 6>;  // year of the century, month, day, hour, minute, second

std::chrono::local_seconds time_of(const ReaderInside& inside, const ClockBytes& bytes)
{
    const auto date = std::chrono::year(ranges::century + bytes[0]) / std::chrono::month(bytes[1]) /
                      std::chrono::day(bytes[2]);
    if (!date.ok() || bytes[0] > 99 || bytes[3] > 23 || bytes[4] > 59 || bytes[5] > 59)
        throw Error(Errc::bad_answer, clock_call.name, inside.name(),
                    "what came (" + to_hex(bytes) + ") is no time: set the clock");
    return std::chrono::local_days(date) + std::chrono::hours(bytes[3]) + std::chrono::minutes(bytes[4]) +
           std::chrono::seconds(bytes[5]);
}

template <class Time> void check_century(const ReaderInside& inside, Time time)
{
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(time));
    checked(inside, set_clock_call, ranges::year, static_cast<int>(date.year()));
}

ClockBytes bytes_of(std::chrono::local_seconds time)
{
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    return {static_cast<u8>(static_cast<int>(date.year()) - ranges::century),
            static_cast<u8>(static_cast<unsigned>(date.month())),
            static_cast<u8>(static_cast<unsigned>(date.day())),
            static_cast<u8>(clock.hours().count()),
            static_cast<u8>(clock.minutes().count()),
            static_cast<u8>(clock.seconds().count())};
}

}  // namespace

// Inputs stand above the outputs.
LineState Lines::state()
{
    u8 bits = 0;
    inside_->ask(lines_call, &O::GetGPIOStatus, &bits);
    return {static_cast<std::uint8_t>(bits >> line_count), static_cast<std::uint8_t>(bits & line_bits)};
}

void Lines::set_output(unsigned line, bool on)
{
    checked(*inside_, output_call, "the line", line, 1, line_count);
    const auto bit = static_cast<std::uint8_t>(1U << (line - 1));
    set_outputs(on ? bit : 0, on ? 0 : bit);
}

void Lines::set_outputs(std::uint8_t on, std::uint8_t off)
{
    if ((on & off) != 0) refuse_value(*inside_, output_call, "an output cannot be both on and off");
    checked(*inside_, output_call, "lines as bits", on | off, 1, line_bits);
    const ReaderInside::Turn turn(*inside_);
    const unsigned before = state().outputs;
    inside_->ask(output_call, &O::SetGPIO, static_cast<u8>((before | on) & ~unsigned{off}));
}

void Lines::close_relay(unsigned relay) { switch_relay(*inside_, RelayCommand::numbered, relay, true, 0); }

void Lines::open_relay(unsigned relay, RelayCommand command)
{
    switch_relay(*inside_, command, relay, false, 0);
}

void Lines::open_relay(unsigned relay, RelayCommand command, ReaderFamily family)
{
    switch_relay(*inside_, command, relay, false, 0, family);
}

void Lines::pulse_relay(std::chrono::milliseconds time, unsigned relay, RelayCommand command)
{
    switch_relay(*inside_, command, relay, true, pulse_units(*inside_, time));
}

void Lines::pulse_relay(std::chrono::milliseconds time, unsigned relay, RelayCommand command,
                        ReaderFamily family)
{
    switch_relay(*inside_, command, relay, true, pulse_units(*inside_, time), family);
}

bool Lines::beeps() { return inside_->ask_information().beeper != 0; }

void Lines::set_beeper(bool on) { set_values(*inside_, {{"beep", {u8{on}}}}); }

void Lines::beep(int times, int on, int off)
{
    const auto byte = [this](const char* what, int value) {
        return static_cast<u8>(checked(*inside_, beep_call, what, value, 1, 255));
    };
    inside_->ask(beep_call, &O::BuzzerAndLEDControl, byte("the time on", on), byte("the time off", off),
                 byte("the count", times));
}

std::chrono::local_seconds Clock::time()
{
    ClockBytes bytes{};
    inside_->ask(clock_call, &O::GetTime, bytes.data());
    return time_of(*inside_, bytes);
}

void Clock::set(std::chrono::local_seconds time)
{
    check_century(*inside_, time);
    const ClockBytes bytes = bytes_of(time);
    set_values(*inside_, {{"clock", {bytes.begin(), bytes.end()}}});
}

void Clock::set_utc(std::chrono::sys_seconds time)
{
    check_century(*inside_, time);
    const auto seconds = static_cast<std::uint32_t>(time.time_since_epoch().count());
    std::array<u8, 4> bytes{static_cast<u8>(seconds >> 24U), static_cast<u8>(seconds >> 16U),
                            static_cast<u8>(seconds >> 8U), static_cast<u8>(seconds)};
    inside_->ask(set_clock_call, &O::SetUTCTime, bytes.data());
}

}  // namespace v1
}  // namespace tagwire
