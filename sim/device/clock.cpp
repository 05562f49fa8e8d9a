#include "device/clock.h"

#include <algorithm>
#include <chrono>

namespace tagwire::sim {

namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr int century = 2000;

std::uint8_t byte(std::int64_t number) { return static_cast<std::uint8_t>(number); }

}  // namespace

std::optional<std::int64_t> seconds_since_1970(const ClockTime& time)
{
    const year_month_day date(std::chrono::year(century + time[0]), std::chrono::month(time[1]),
                              std::chrono::day(time[2]));
    if (time[0] > 99 || !date.ok() || time[3] > 23 || time[4] > 59 || time[5] > 59) return std::nullopt;
    const seconds midnight = sys_days(date).time_since_epoch();
    return midnight.count() + time[3] * 3600L + time[4] * 60L + time[5];
}

bool Clock::set(Time now, std::int64_t seconds)
{
    if (seconds < first_second || seconds > last_second) return false;
    seconds_ = seconds;
    set_at_ = now;
    return true;
}

std::int64_t Clock::seconds_since_1970(Time now) const
{
    const auto passed = std::chrono::duration_cast<seconds>(now - set_at_);
    return std::min(seconds_ + passed.count(), last_second);
}

ClockTime Clock::show(Time now) const
{
    const seconds shown(seconds_since_1970(now));
    const auto midnight = std::chrono::floor<days>(shown);
    const year_month_day date{sys_days(midnight)};
    const std::int64_t of_day = (shown - midnight).count();
    return {byte(static_cast<int>(date.year()) - century),
            byte(static_cast<unsigned>(date.month())),
            byte(static_cast<unsigned>(date.day())),
            byte(of_day / 3600),
            byte(of_day / 60 % 60),
            byte(of_day % 60)};
}

}  // namespace tagwire::sim
