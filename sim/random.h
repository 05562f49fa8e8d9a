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

  private:
    std::mt19937_64 generator_;
};

// Bits that look random and follow from `bits` alone.
inline std::uint64_t scrambled(std::uint64_t bits)
{
    bits += 0x9E3779B97F4A7C15;
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31U);
}

// Of the normal distribution around 0, kept within -most .. +most, and the same for the same `bits`: the sum of twelve
// even ones.
inline double normal_of(std::uint64_t bits, double most)
{
    std::uint64_t sum = 0;
    for (int i = 0; i < 3; ++i) {
        bits = scrambled(bits);
        for (const unsigned shift : {0U, 16U, 32U, 48U}) sum += (bits >> shift) & 0xFFFFU;
    }
    constexpr double steps = 0x1p16;
    const double even =
        (static_cast<double>(sum) + 6) / steps;  // each of the twelve in the middle of its step
    return std::clamp(even - 6, -most, most);
}

}  // namespace tagwire::sim
