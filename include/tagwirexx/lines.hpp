// Inputs, outputs, relays, beeper and clock of a Reader.
#pragma once

#include <chrono>
#include <cstdint>

#include <tagwirexx/api.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;
enum class ReaderFamily : std::uint8_t;  // see tagwirexx/settings.hpp

// Lines 1 to 4; bit 0 is line 1.
struct LineState {
    std::uint8_t inputs = 0;
    std::uint8_t outputs = 0;

    constexpr bool input(unsigned line) const
    {
        return line >= 1 && line <= 4 && (inputs >> (line - 1) & 1) != 0;
    }
    constexpr bool output(unsigned line) const
    {
        return line >= 1 && line <= 4 && (outputs >> (line - 1) & 1) != 0;
    }
};

// Readers know their relays by different commands.
enum class RelayCommand : std::uint8_t {
    numbered,
    single,  // of readers with one relay
    // The same of old ones. To others it is their filter time, or tells something: nothing is sent unless the
    // family is given, and the reader does not tell another one.
    relay_family,
};

// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Lines {
  public:
    LineState state();
    // Line 1 to 4; the others stay as they are.
    void set_output(unsigned line, bool on);
    // Several at once, bit 0 is line 1; none both on and off.
    void set_outputs(std::uint8_t on, std::uint8_t off);

    // Relay 1 to 255; a pulse of 100 ms to 25.5 s, rounded up to 100 ms. Without numbers there is relay 1 only,
    // which closes for a time only.
    void close_relay(unsigned relay = 1);
    void open_relay(unsigned relay = 1, RelayCommand command = RelayCommand::numbered);
    void pulse_relay(std::chrono::milliseconds time, unsigned relay = 1,
                     RelayCommand command = RelayCommand::numbered);
    // Of a reader that does not tell its family, which is given.
    void open_relay(unsigned relay, RelayCommand command, ReaderFamily family);
    void pulse_relay(std::chrono::milliseconds time, unsigned relay, RelayCommand command,
                     ReaderFamily family);

    // With every tag.
    bool beeps();
    void set_beeper(bool on);
    // Beeps and flashes now, 1 to 255 times; times on and off are 1 to 255 of the reader's own units.
    void beep(int times = 1, int on = 1, int off = 1);

  private:
    friend class Reader;
    explicit Lines(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

// A clock without a time zone, of the years 2000 to 2099.
// Of its Reader, as long as that lives; as a Reader for threads and errors.
class TAGWIREXX_API Clock {
  public:
    std::chrono::local_seconds time();
    void set(std::chrono::local_seconds time);
    // For readers whose clock counts seconds since 1970.
    void set_utc(std::chrono::sys_seconds time);

  private:
    friend class Reader;
    explicit Clock(ReaderInside& inside) : inside_(&inside) {}

    ReaderInside* inside_;
};

}  // namespace v1
}  // namespace tagwire
