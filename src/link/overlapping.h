// Which of many windows over the same bytes may be frames, by their CRC.
//
// Where each byte may begin a frame, a check of each would take each byte 256 times. Here what was found out
// about the windows before is used again.
#pragma once

#include <algorithm>

#include "link/crc16.h"

namespace tagwire::engine {

namespace detail {

inline constexpr std::size_t longest_window = 256;

// n: what the register 0x8000 becomes by n zero bytes.
using Crc16Shifts = std::array<std::uint16_t, longest_window + 1>;

constexpr Crc16Shifts make_crc16_shifts()
{
    constexpr std::uint8_t zero = 0;
    Crc16Shifts shifts{0x8000};
    for (std::size_t n = 1; n < shifts.size(); ++n) shifts[n] = crc16(&zero, 1, shifts[n - 1]);
    return shifts;
}

inline constexpr Crc16Shifts crc16_shifts = make_crc16_shifts();

// Of factors below 2^16, as polynomials. With every third bit of each, a column of their product as numbers has
// six ones at most, for which there is room in front of the next one.
constexpr std::uint32_t product_without_carry(std::uint32_t a, std::uint32_t b)
{
    constexpr std::uint32_t every_third[] = {0x49249249, 0x92492492, 0x24924924};
    const auto row = [&](unsigned first, unsigned second, unsigned third) {
        return ((a & every_third[0]) * (b & every_third[first])) ^
               ((a & every_third[1]) * (b & every_third[second])) ^
               ((a & every_third[2]) * (b & every_third[third]));
    };
    return (row(0, 2, 1) & every_third[0]) | (row(1, 0, 2) & every_third[1]) |
           (row(2, 1, 0) & every_third[2]);
}

}  // namespace detail

// The register after `count` zero bytes, 256 at most. A register is a polynomial, 0x8000 is 1, and zero bytes
// multiply it by what they make of 1.
constexpr std::uint16_t crc16_of_zeros(std::size_t count, std::uint16_t crc)
{
    const std::uint32_t product = 2 * detail::product_without_carry(crc, detail::crc16_shifts[count]);
    const auto& tables = detail::crc16_tables;
    return static_cast<std::uint16_t>((product >> 16U) ^ tables[1][product & 0xFFU] ^
                                      tables[0][(product >> 8U) & 0xFFU]);
}

class OverlappingWindows {
  public:
    // To be called when the bytes have moved.
    void forget() { asked_ = begin_ = nullptr; }

    // Windows come in the order in which they begin. False only where the CRC is bad; of one that overlaps
    // none before it nothing is known yet.
    bool may_be_good(const std::uint8_t* from, std::size_t length)
    {
        const bool overlaps = from < asked_;
        asked_ = std::max(asked_, from + length);
        if (!overlaps) return true;
        if (begin_ == nullptr || from > begin_ + steps_ * step) begin_at(from);
        const std::uint16_t in_front = register_at(from);
        return register_at(from + length) == crc16_of_zeros(length, in_front ^ crc16_preset);
    }

  private:
    static constexpr std::size_t step = detail::crc16_step;
    static constexpr std::size_t kept = 2 * detail::longest_window / step;

    void begin_at(const std::uint8_t* from)
    {
        begin_ = from;
        steps_ = 0;
        registers_[0] = crc16_preset;
    }

    // The register, from begin_ on, in front of that byte.
    std::uint16_t register_at(const std::uint8_t* at)
    {
        const auto offset = static_cast<std::size_t>(at - begin_);
        const std::size_t whole = offset / step;
        for (; steps_ < whole; ++steps_)
            registers_[(steps_ + 1) % kept] = crc16(begin_ + steps_ * step, step, registers_[steps_ % kept]);
        return crc16(begin_ + whole * step, offset % step, registers_[whole % kept]);
    }

    const std::uint8_t* asked_ = nullptr;  // behind the windows that were asked about
    const std::uint8_t* begin_ = nullptr;
    std::size_t steps_ = 0;          // from begin_ on, each with the register in front of it
    std::uint16_t registers_[kept];  // of the last ones
};

}  // namespace tagwire::engine
