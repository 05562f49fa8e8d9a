// Time: the documented millisecond clock, and waits that survive interrupting signals.
#pragma once

#include <cstdint>
#include <ctime>

#include "tagwire/types.h"

extern "C" {
// Monotonic milliseconds in 32 bits, sign-extended: wraps every 2^32 ms, about 49.7 days of uptime. A time
// limit that spans the wrap sees a negative time and does not expire.
TAGWIRE_API std::int64_t getCurrentTimeMsec();
}

namespace tagwire::engine {

inline constexpr std::int64_t ns_per_s = 1'000'000'000;
inline constexpr std::int64_t ns_per_ms = 1'000'000;

std::int64_t monotonic_ns();      // does not wrap
void sleep_ms(int milliseconds);  // whole, whatever signals arrive
timespec timespec_of(std::int64_t ns);

}  // namespace tagwire::engine
