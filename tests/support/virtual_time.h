// A clock that only moves when the library waits, so that limits of a minute pass at once and to the
// millisecond.
//
// While one lives, the library's clock, waits and sleeps run on it (descriptors are still looked at for
// real). Use it in tests with one thread.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <poll.h>

#include "link/system.h"

namespace tagwire::engine::test {

class VirtualTime {
  public:
    explicit VirtualTime(std::int64_t start_ms = 1'000'000)
    {
        now_ns_ = start_ms * 1'000'000;
        events().clear();
        before_ = sys::calls;
        sys::calls.clock = clock;
        sys::calls.ppoll = ppoll;
        sys::calls.sleep_until = sleep_until;
    }
    ~VirtualTime()
    {
        sys::calls.clock = before_.clock;
        sys::calls.ppoll = before_.ppoll;
        sys::calls.sleep_until = before_.sleep_until;
    }
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    static std::int64_t now_ms() { return now_ns_ / 1'000'000; }
    static void advance_ms(std::int64_t milliseconds) { move_to(now_ns_ + milliseconds * 1'000'000); }

    // Does something as soon as the clock has reached `at_ms` (absolute).
    static void at(std::int64_t at_ms, std::function<void()> what)
    {
        events().emplace(at_ms * 1'000'000, std::move(what));
    }
    static void in(std::int64_t milliseconds, std::function<void()> what)
    {
        at(now_ms() + milliseconds, std::move(what));
    }

  private:
    static std::multimap<std::int64_t, std::function<void()>>& events()
    {
        static std::multimap<std::int64_t, std::function<void()>> list;
        return list;
    }

    // Moves on, but not past an event: runs those that are due and stops there. True when the end was
    // reached.
    static bool move_to(std::int64_t end)
    {
        auto& list = events();
        if (!list.empty() && list.begin()->first <= end) {
            now_ns_ = std::max(now_ns_, list.begin()->first);
            auto what = std::move(list.begin()->second);
            list.erase(list.begin());
            what();
            return false;
        }
        now_ns_ = std::max(now_ns_, end);
        return true;
    }

    static int clock(timespec* now)
    {
        now->tv_sec = static_cast<time_t>(now_ns_ / 1'000'000'000);
        now->tv_nsec = static_cast<long>(now_ns_ % 1'000'000'000);
        return 0;
    }
    static int ppoll(pollfd* fds, nfds_t count, const timespec* limit)
    {
        const std::int64_t end = now_ns_ + std::int64_t{limit->tv_sec} * 1'000'000'000 + limit->tv_nsec;
        for (;;) {
            const int ready = ::poll(fds, count, 0);
            if (ready != 0) return ready;
            if (move_to(end)) return 0;
        }
    }
    static int sleep_until(const timespec* end)
    {
        while (!move_to(std::int64_t{end->tv_sec} * 1'000'000'000 + end->tv_nsec)) {
        }
        return 0;
    }

    static inline std::int64_t now_ns_ = 0;
    sys::Calls before_;
};

}  // namespace tagwire::engine::test
