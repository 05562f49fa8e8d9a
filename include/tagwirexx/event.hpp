// What a Stream hands out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include <tagwirexx/api.hpp>
#include <tagwirexx/read.hpp>

namespace tagwire {
inline namespace v1 {

// How a source of a Stream is. Reading runs in `streaming`, `quiet` and `probing` only.
enum class State {
    connecting,  // an attempt is being made, until reading runs
    streaming,   // reading runs, and something came lately
    quiet,       // reading runs; no tag for a while, the reader answers
    probing,     // nothing came for a while: the reader is being asked
    paused,      // by Stream::paused() or its duty cycle
    lost,        // the link is gone; the reason says why
    waiting,     // for the next attempt
    stopped,     // for good
};
TAGWIREXX_API const char* to_string(State state);

struct StateChange {
    State state = State::connecting;
    std::string reason = {};
    unsigned changes = 1;  // how many this one stands for: unread states are replaced by newer ones
};

// Reports that were dropped because nobody took them in time.
struct Gap {
    std::uint64_t count = 0;
    std::uint64_t first_sequence = 0;
};

// Input lines of the reader, one bit a line.
struct InputChange {
    unsigned port = 0;  // the line, from 1
    bool before = false;
    bool now = false;
};

// Bytes that are no report. Never guessed at.
struct Raw {
    Bytes bytes = {};
    Received received = {};
};

class EventQueue;
class Lane;

class TAGWIREXX_API Event {
  public:
    Event();

    // Exactly one of these is not null; none in an Event that was made by default.
    const Read* read() const noexcept { return std::get_if<Read>(&what_); }
    const StateChange* state() const noexcept { return std::get_if<StateChange>(&what_); }
    const Gap* gap() const noexcept { return std::get_if<Gap>(&what_); }
    const InputChange* input() const noexcept { return std::get_if<InputChange>(&what_); }
    const Raw* raw() const noexcept { return std::get_if<Raw>(&what_); }

    // The name of the source; lives as long as the process.
    const std::string& source() const noexcept { return *source_; }
    // One line for people, without the source.
    std::string text() const;

  private:
    friend class EventQueue;
    friend class Lane;
    using What = std::variant<std::monostate, Read, StateChange, Gap, InputChange, Raw>;
    template <class Kind>
    Event(const std::string& lasting_source, Kind&& what)
        : source_(&lasting_source), what_(std::forward<Kind>(what))
    {}

    const std::string* source_;
    What what_;
};

}  // namespace v1
}  // namespace tagwire
