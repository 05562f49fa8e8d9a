// Who uses the buffers and the answers of a Reader.
//
// A command takes the exchange for its length. Two commands at once on one handle are the caller's mistake:
// the second one goes on without it and both see mixed bytes, no more. The stop commands may come at any
// time: StopRead waits for the command in progress, StopImmediately leaves its buffers alone, and a command
// that begins during a stop waits for it.
#pragma once

#include <pthread.h>

#include "link/clock.h"
#include "reader/reader.h"

namespace tagwire {

enum class Purpose : unsigned long { command = 0, stop = 1 };

class Exchange {
  public:
    Exchange(Reader* reader, Purpose purpose)
        : reader_(reader), owner_(&reader->keeping.exchange_owner), mark_(static_cast<unsigned long>(purpose))
    {
        take();
        if (purpose == Purpose::command) wait_for_stop();
    }
    ~Exchange()
    {
        if (taken_) __atomic_store_n(owner_, 0UL, __ATOMIC_RELEASE);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    // False while another thread has it; a thread may take it again inside its own.
    bool ours() const { return ours_; }

    // Tries again for at most this long.
    bool take_within(int milliseconds)
    {
        const std::int64_t end = monotonic_ns() + milliseconds * std::int64_t{1'000'000};
        while (!take() && monotonic_ns() < end) sleep_ms(1);
        return ours_;
    }

  private:
    static constexpr unsigned long stop_mark = 1;  // thread numbers are even: they are addresses

    // Longer than a stop takes on any link.
    static constexpr int longest_stop_ms = 1500;

    bool take()
    {
        if (ours_) return true;
        const unsigned long self = pthread_self();
        unsigned long owner = 0;
        taken_ = __atomic_compare_exchange_n(owner_, &owner, self | mark_, false, __ATOMIC_ACQUIRE,
                                             __ATOMIC_RELAXED);
        ours_ = taken_ || (owner & ~stop_mark) == self;
        return ours_;
    }

    bool stop_in_progress() const { return (__atomic_load_n(owner_, __ATOMIC_RELAXED) & stop_mark) != 0; }

    void wait_for_stop()
    {
        const std::int64_t end = monotonic_ns() + longest_stop_ms * std::int64_t{1'000'000};
        while (!take() && stop_in_progress() && !reader_->keeping.retired && monotonic_ns() < end)
            sleep_ms(1);
    }

    Reader* reader_;
    unsigned long* owner_;
    unsigned long mark_;
    bool taken_ = false;
    bool ours_ = false;
};

}  // namespace tagwire
