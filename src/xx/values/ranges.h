// The values that settings take: one range for every way to a setting.
#pragma once

#include <cstdint>
#include <string>

#include <tagwirexx/info.hpp>

namespace tagwire {
inline namespace v1 {

struct Range {
    const char* what;
    int lowest;
    int highest;
};

namespace ranges {
inline constexpr Range dbm{"the power in dBm", 0, 40};
inline constexpr Range port{"an antenna", 1, 64};
inline constexpr Range q{"q", 0, 15};
inline constexpr Range session{"the session", 0, 3};
inline constexpr int automatic_session = 0xFF;
inline constexpr Range work_mode{"the work mode", 0, 2};
inline constexpr Range seconds{"the time in s", 0, 255};
inline constexpr Range code{"the value", 0, 255};
inline constexpr Range count{"the count", 0, 255};
inline constexpr Range mask_bank{"the bank of a mask", 1, 3};
inline constexpr Range mask_bit{"the first bit of a mask", 0, 0xFFFF};
inline constexpr Range mask_bits{"the count of bits of a mask", 1, 255};

inline constexpr int century = 2000;
inline constexpr Range year{"the year", century, century + 99};

// Of a plan of one's own.
inline constexpr Range plan_khz{"a frequency in kHz", 840'000, 960'000};
inline constexpr Range plan_spacing{"the spacing in kHz", 10, 2550};
inline constexpr Range plan_channels{"the count of channels", 1, 255};
inline constexpr unsigned spacing_unit_khz = 10;
}  // namespace ranges

// Why the value cannot be; empty where it can.
std::string problem_of(const Range& range, long long value);
std::string problem_of_plan(Kilohertz first, Kilohertz spacing, unsigned channels);
// Channels of a band that is known here must be its own; of another one the reader knows.
std::string problem_of_band(int band, unsigned lowest, unsigned highest);

}  // namespace v1
}  // namespace tagwire
