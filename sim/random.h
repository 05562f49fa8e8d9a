// Random numbers that are the same for a seed with every compiler and library: only the raw output of the
// generator is used, since the distributions of the standard library differ.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

namespace tagwire::sim {

class Random {
  public:
    explicit Random(std::uint64_t seed) : generator_(seed) {}

    // 0 .. bound-1; `bound` of 0 gives 0.
    std::uint32_t below(std::uint32_t bound)
    {
        return static_cast<std::uint32_t>(((generator_() >> 32U) * bound) >> 32U);
    }

    // -spread .. +spread
    int around_zero(unsigned spread)
    {
        if (spread == 0) return 0;
        return static_cast<int>(below(2 * spread + 1)) - static_cast<int>(spread);
    }

    // 0 to 1, without the 1.
    double share() { return static_cast<double>(generator_() >> 11U) * 0x1p-53; }

    // Of the normal distribution around 0, kept within -most .. +most: the sum of twelve even ones.
    double normal(double most)
    {
        double sum = -6;
        for (int i = 0; i < 12; ++i) sum += share();
        return std::clamp(sum, -most, most);
    }

  private:
    std::mt19937_64 generator_;
};

}  // namespace tagwire::sim
