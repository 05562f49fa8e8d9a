#include "field/sense_word.h"

#include <algorithm>
#include <cmath>

namespace tagwire::sim {

namespace {

constexpr double steps_of_unit = 2752;  // of the low part, in the conversion with one point
constexpr double largest_high = 31;
constexpr double largest_low = 65535;
constexpr double high_of_two_points = 4;
constexpr double stretched_from = 125;  // degrees above which the conversion with two points is stretched

struct Parts {
    double high;
    double low;
};

bool has_two_points(const Calibration& calibration) { return calibration[2] >> 4U == 2; }

double number_of(const Calibration& calibration)
{
    return static_cast<std::int16_t>(calibration[0] << 8U | calibration[1]);
}

Parts two_point_parts(double degrees, double number)
{
    const double even = degrees > stretched_from ? (degrees + 25) / 1.2 : degrees;
    return {high_of_two_points, std::round((11109.6 / (even + 290) - 24) * 375.3 - number)};
}

Parts one_point_parts(double degrees, double number)
{
    const double offset = number / 100 - 101;
    const double sum = 11984.47 / (degrees + 301.57) - offset - 21.25;
    const double high = std::clamp(std::floor(sum), 0.0, largest_high);
    return {high, std::round((sum - high) * steps_of_unit)};
}

Parts parts_of(double degrees, const Calibration& calibration)
{
    const double number = number_of(calibration);
    return has_two_points(calibration) ? two_point_parts(degrees, number) : one_point_parts(degrees, number);
}

bool is_expressed(const Parts& parts) { return parts.low >= 0 && parts.low <= largest_low; }

// The lowest three bits are the inverted parities of every third bit above them.
unsigned with_parity(unsigned word)
{
    for (unsigned at = 0; at < 3; ++at) {
        unsigned ones = 0;
        for (unsigned bit = at + 3; bit <= at + 12; bit += 3) ones += word >> bit & 1U;
        if (ones % 2 == 0) word |= 1U << at;
    }
    return word;
}

}  // namespace

SenseWord make_sense_word(double degrees, const Calibration& calibration)
{
    const Parts parts = parts_of(degrees, calibration);
    const auto high = static_cast<unsigned>(parts.high);
    const auto low = static_cast<unsigned>(std::clamp(parts.low, 0.0, largest_low));
    const unsigned word = with_parity(high << 19U | low << 3U);
    return {static_cast<std::uint8_t>(0xF0U | word >> 20U), static_cast<std::uint8_t>(word >> 12U & 0xFFU),
            static_cast<std::uint8_t>(word >> 8U & 0x0FU), static_cast<std::uint8_t>(word & 0xFFU)};
}

bool covers(const Calibration& calibration, double lowest, double highest)
{
    return calibration[2] >> 4U <= 2 && is_expressed(parts_of(lowest, calibration)) &&
           is_expressed(parts_of(highest, calibration));
}

}  // namespace tagwire::sim
