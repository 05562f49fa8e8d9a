#include "link/clock.h"

#include <cerrno>

#include "link/system.h"

namespace tagwire::engine {
namespace {

constexpr std::int64_t ns_per_s = 1'000'000'000;
constexpr std::int64_t ns_per_ms = 1'000'000;

}  // namespace

std::int64_t monotonic_ns()
{
    timespec now{};
    sys::calls.clock(&now);
    return static_cast<std::int64_t>(now.tv_sec) * ns_per_s + now.tv_nsec;
}

void sleep_ms(int milliseconds)
{
    const std::int64_t at = monotonic_ns() + milliseconds * ns_per_ms;
    timespec end{};
    end.tv_sec = static_cast<time_t>(at / ns_per_s);
    end.tv_nsec = static_cast<long>(at % ns_per_s);
    while (sys::calls.sleep_until(&end) == EINTR) {
    }
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
