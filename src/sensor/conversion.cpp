// From the raw word of a sensor tag to degrees.
#include <cstdint>

#include "tagwire/sensor.h"

namespace tagwire::engine {
namespace {

constexpr float invalid = 9999.0F;

// 24 bits of the four bytes: the high nibbles of the first and the third are not part of the word.
unsigned sense_word(const unsigned char* sense)
{
    return (sense[0] & 0x0FU) << 20U | static_cast<unsigned>(sense[1]) << 12U | (sense[2] & 0x0FU) << 8U |
           sense[3];
}

// Bit `at` must be the inverse of the parity of the four bits from `at` + 3 on in steps of 3.
bool parity_holds(unsigned word, unsigned at)
{
    unsigned parity = 0;
    for (unsigned bit = at + 3; bit <= at + 12; bit += 3) parity ^= word >> bit & 1U;
    return (word >> at & 1U) != parity;
}

// Every step is rounded to single precision: a compiler may neither join two into one nor carry more digits
// on.
class Single {
  public:
    Single(float value) : value_(value) {}     // NOLINT(google-explicit-constructor): stands for a float
    operator float() const { return value_; }  // NOLINT(google-explicit-constructor)

    friend Single operator+(Single a, Single b) { return rounded(a.value_ + b.value_); }
    friend Single operator-(Single a, Single b) { return rounded(a.value_ - b.value_); }
    friend Single operator*(Single a, Single b) { return rounded(a.value_ * b.value_); }
    friend Single operator/(Single a, Single b) { return rounded(a.value_ / b.value_); }

  private:
    static Single rounded(float value)
    {
        volatile float kept = value;
        return {kept};
    }
    float value_;
};

float by_two_points(Single lsb, Single a)
{
    const Single celsius = Single(11109.6F) / ((lsb + a) / Single(375.3F) + Single(24.0F)) - Single(290.0F);
    return celsius >= 125.0F ? celsius * Single(1.2F) - Single(25.0F) : celsius;
}

float by_one_point(Single msb, Single lsb, Single a)
{
    const Single offset = a / Single(100.0F) - Single(101.0F);
    const Single sum = ((msb + Single(21.25F)) + lsb / Single(2752.0F)) + offset;
    return Single(11984.47F) / sum - Single(301.57F);
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int CheckSense(unsigned char* sense)
{
    const unsigned word = sense_word(sense);
    return parity_holds(word, 0) && parity_holds(word, 1) && parity_holds(word, 2) ? 0 : 1;
}

float GetTemperature(unsigned char* sense, unsigned char* adj)
{
    if ((sense[0] & 0xF0U) != 0xF0U) return invalid;
    const unsigned word = sense_word(sense);
    const unsigned msb = word >> 19U;
    const unsigned lsb = word >> 3U & 0xFFFFU;
    const auto a = static_cast<std::int16_t>(adj[0] << 8U | adj[1]);
    const auto number = [](auto whole) { return Single(static_cast<float>(whole)); };

    switch (adj[2] & 0xF0U) {
    case 0x20: return msb == 4 ? by_two_points(number(lsb), number(a)) : invalid;
    case 0x00:
    case 0x10: return by_one_point(number(msb), number(lsb), number(a));
    default: return 0.0F;
    }
}
