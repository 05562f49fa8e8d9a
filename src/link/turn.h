// Whose turn it is on the buffers and the answers of a Reader.
//
// A command takes a turn for its length. Two commands at once on one handle are the caller's mistake: the
// second one goes on without a turn and both see mixed bytes, no more. The stop commands may come at any
// time: StopRead waits for the command in progress, StopImmediately leaves its buffers alone, and a command
// that begins during a stop waits for it.
#pragma once

#include "link/clock.h"
#include "reader/reader.h"

namespace tagwire::engine {

enum class Purpose : unsigned long { command = 0, stop = 1 };

namespace detail {

inline constexpr unsigned long stop_mark = 1;  // thread numbers are even: they are addresses

inline bool is_this_thread(unsigned long turn_owner) { return (turn_owner & ~stop_mark) == pthread_self(); }

}  // namespace detail

// A call for which this is true comes from inside a callback of an exchange on the same connection.
inline bool inside_own_turn(const Reader* reader)
{
    return detail::is_this_thread(reader->keeping.turn_owner);
}

// What every send does with the receive buffer and its count, unless they are another thread's, or a stop
// comes from inside the command that uses them.
void clear_received(Reader* reader, Purpose purpose);

// A command has its turn, no stop.
inline bool command_in_progress(const Reader* reader)
{
    const unsigned long owner = reader->keeping.turn_owner.ordered_load();
    return owner != 0 && (owner & detail::stop_mark) == 0;
}

// Ends a wake() that was to last until the command in progress has seen it.
inline void calm_after_turn(Reader* reader)
{
    Keeping& keeping = reader->keeping;
    if (keeping.calm_with_turn.ordered_load() && keeping.calm_with_turn.exchange(false)) calm(reader);
}

class Turn {
  public:
    Turn(Reader* reader, Purpose purpose) : reader_(reader), purpose_(purpose)
    {
        const unsigned long owner = take();
        if (purpose == Purpose::command && is_anothers_stop(owner)) wait_for_stop();
    }
    ~Turn()
    {
        if (!taken_) return;
        reader_->keeping.turn_owner.ordered_store(0);
        if (purpose_ == Purpose::command) calm_after_turn(reader_);
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    // False while another one has it, and inside one that this thread has already.
    bool taken() const { return taken_; }

    // Tries again for at most this long.
    bool take_within(int milliseconds)
    {
        const std::int64_t end = monotonic_ns() + milliseconds * ns_per_ms;
        while (!taken_ && take() != 0 && monotonic_ns() < end) sleep_ms(1);
        return taken_;
    }

  private:
    // Longer than a stop takes on any link: room to send, its answer, and the end of what streamed.
    static constexpr int longest_stop_ms = 4000;

    // Who has it instead; 0 when it was free, and is taken now.
    unsigned long take()
    {
        unsigned long owner = 0;
        taken_ =
            reader_->keeping.turn_owner.replace(owner, pthread_self() | static_cast<unsigned long>(purpose_));
        return owner;
    }

    static bool is_anothers_stop(unsigned long owner)
    {
        return (owner & detail::stop_mark) != 0 && !detail::is_this_thread(owner);
    }

    void wait_for_stop()
    {
        const std::int64_t end = monotonic_ns() + longest_stop_ms * ns_per_ms;
        while (is_anothers_stop(take()) && !reader_->keeping.retired && monotonic_ns() < end) sleep_ms(1);
    }

    Reader* reader_;
    Purpose purpose_;
    bool taken_ = false;
};

}  // namespace tagwire::engine
