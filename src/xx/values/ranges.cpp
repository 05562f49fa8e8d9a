#include "xx/values/ranges.h"

namespace tagwire {
inline namespace v1 {

std::string problem_of(const Range& range, long long value)
{
    if (value >= range.lowest && value <= range.highest) return {};
    return std::string(range.what) + " is " + std::to_string(range.lowest) + " to " +
           std::to_string(range.highest) + ", not " + std::to_string(value);
}

std::string problem_of_plan(Kilohertz first, Kilohertz spacing, unsigned channels)
{
    std::string problem = problem_of(ranges::plan_spacing, spacing.value);
    if (problem.empty() && spacing.value % ranges::spacing_unit_khz != 0)
        problem = "channels lie a multiple of 10 kHz apart";
    if (problem.empty()) problem = problem_of(ranges::plan_channels, channels);
    if (problem.empty()) problem = problem_of(ranges::plan_khz, first.value);
    if (problem.empty())
        problem =
            problem_of(ranges::plan_khz, first.value + static_cast<long long>(channels - 1) * spacing.value);
    return problem;
}

std::string problem_of_band(int band, unsigned lowest, unsigned highest)
{
    constexpr Range number{"the number of a band", 0, Region::custom - 1};
    const Band* const known = find_band(band);
    const unsigned last = known != nullptr ? known->channels - 1 : 0xFFU;
    std::string problem = problem_of(number, band);
    if (problem.empty() && lowest > highest) problem = "the lowest channel comes first";
    if (problem.empty()) problem = problem_of({"a channel of this band", 0, static_cast<int>(last)}, highest);
    return problem;
}

}  // namespace v1
}  // namespace tagwire
