#include "link/clock.h"

#include <cerrno>

#include "link/system.h"

namespace tagwire::engine {

std::int64_t monotonic_ns()
{
    timespec now{};
    sys::calls.clock(&now);
    return static_cast<std::int64_t>(now.tv_sec) * ns_per_s + now.tv_nsec;
}

void sleep_ms(int milliseconds)
{
    const timespec end = timespec_of(monotonic_ns() + milliseconds * ns_per_ms);
    while (sys::calls.sleep_until(&end) == EINTR) {
    }
}

timespec timespec_of(std::int64_t ns)
{
    timespec out{};
    out.tv_sec = static_cast<time_t>(ns / ns_per_s);
    out.tv_nsec = static_cast<long>(ns % ns_per_s);
    return out;
}

}  // namespace tagwire::engine

std::int64_t getCurrentTimeMsec()
{
    timespec now{};
    tagwire::engine::sys::calls.clock(&now);
    const std::uint32_t wrapped = static_cast<std::uint32_t>(now.tv_sec) * 1000U +
                                  static_cast<std::uint32_t>(now.tv_nsec / tagwire::engine::ns_per_ms);
    return static_cast<std::int32_t>(wrapped);
}
