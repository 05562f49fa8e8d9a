// Who uses the buffers of a Reader.
//
// A command takes the exchange for its length. Two commands at once on one handle are the caller's mistake:
// the second one goes on without it and both see mixed bytes, no more. The stop commands, which may come at
// any time, leave the buffers alone while another thread has the exchange.
#pragma once

#include <pthread.h>

#include "link/clock.h"
#include "reader/reader.h"

namespace tagwire {

class Exchange {
  public:
    explicit Exchange(Reader* reader) : owner_(&reader->keeping.exchange_owner) { take(); }
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
    bool take()
    {
        if (ours_) return true;
        const unsigned long self = pthread_self();
        unsigned long owner = 0;
        taken_ = __atomic_compare_exchange_n(owner_, &owner, self, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
        ours_ = taken_ || owner == self;
        return ours_;
    }

    unsigned long* owner_;
    bool taken_ = false;
    bool ours_ = false;
};

}  // namespace tagwire
