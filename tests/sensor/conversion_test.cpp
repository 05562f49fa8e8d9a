// The parity of sensor words and their conversion to degrees.
#include <gmock/gmock.h>

#include <bit>
#include <cstdint>

#include "tagwire/sensor.h"

namespace tagwire::engine::test {
namespace {

using Byte = unsigned char;

struct Conversion {
    Byte sense[4];
    Byte adj[3];
    std::uint32_t bits;
};

constexpr Conversion conversions[] = {
#include "sensor/conversion_table.inc"
};

std::uint32_t converted(Conversion row)
{
    return std::bit_cast<std::uint32_t>(GetTemperature(row.sense, row.adj));
}

// The bits of the word in their four bytes, with the unused nibbles as given.
int check(unsigned word, unsigned first_nibble = 0, unsigned third_nibble = 0)
{
    Byte sense[] = {static_cast<Byte>(first_nibble << 4U | word >> 20U), static_cast<Byte>(word >> 12U),
                    static_cast<Byte>(third_nibble << 4U | (word >> 8U & 15U)), static_cast<Byte>(word)};
    return CheckSense(sense);
}

// Each parity bit and the four bits that it guards have an odd sum.
int expected_check(unsigned word)
{
    for (const unsigned guarded : {0x4924U, 0x2492U, 0x1249U}) {
        if (std::popcount(word & guarded) % 2 == 0) return 1;
    }
    return 0;
}

TEST(CheckSense, each_word_of_guarded_bits)
{
    int whole = 0;
    for (unsigned word = 0; word < 0x8000U; ++word) {
        ASSERT_EQ(check(word), expected_check(word)) << word;
        ASSERT_EQ(check(word | 0xFF8000U), expected_check(word)) << word;
        whole += check(word) == 0 ? 1 : 0;
    }
    EXPECT_EQ(whole, 0x8000 / 8);
}

TEST(CheckSense, nine_high_bits_are_not_guarded)
{
    for (unsigned high = 0; high < 512; ++high) {
        ASSERT_EQ(check(high << 15U | 7U), 0) << high;
        ASSERT_EQ(check(high << 15U | 6U), 1) << high;
        ASSERT_EQ(check(high << 15U | 5U), 1) << high;
        ASSERT_EQ(check(high << 15U | 3U), 1) << high;
    }
}

TEST(CheckSense, two_nibbles_are_not_part_of_the_word)
{
    for (unsigned first = 0; first < 16; ++first) {
        for (unsigned third = 0; third < 16; ++third) {
            ASSERT_EQ(check(7, first, third), 0);
            ASSERT_EQ(check(0, first, third), 1);
        }
    }
}

TEST(CheckSense, words_given_as_bytes)
{
    struct {
        Byte sense[4];
        int result;
    } words[] = {
        {{0x00, 0x00, 0x00, 0x00}, 1}, {{0x00, 0x00, 0x00, 0x07}, 0},
        {{0xF0, 0x00, 0xF0, 0x07}, 0}, {{0x00, 0x00, 0x00, 0x0F}, 1},  // b3 makes b0 wrong
        {{0x00, 0x00, 0x00, 0x0E}, 0}, {{0x00, 0x00, 0x01, 0x03}, 0},  // b8 counts for b2
        {{0x00, 0x04, 0x00, 0x03}, 0},                                 // b14 counts for b2
        {{0x00, 0x08, 0x00, 0x07}, 0},                                 // b15 does not count
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0},
    };
    for (auto& each : words) EXPECT_EQ(CheckSense(each.sense), each.result) << int{each.sense[3]};
}

TEST(GetTemperature, each_word_of_the_table_gives_exactly_its_bits)
{
    ASSERT_GE(std::size(conversions), 1000U);
    for (const Conversion& row : conversions) {
        ASSERT_EQ(converted(row), row.bits) << "row " << &row - conversions;
    }
}

TEST(GetTemperature, words_that_are_no_measurement)
{
    constexpr std::uint32_t invalid = 0x461C3C00;  // 9999.0
    EXPECT_EQ(converted({{0xE5, 0x00, 0x00, 0x00}, {0x00, 0x00, 0x00}, 0}), invalid);
    EXPECT_EQ(converted({{0xF1, 0x80, 0x00, 0x00}, {0x00, 0x00, 0x20}, 0}), invalid);  // MSB 3
    EXPECT_EQ(converted({{0xF2, 0x80, 0x00, 0x00}, {0x00, 0x00, 0x20}, 0}), invalid);  // MSB 5
    EXPECT_EQ(converted({{0xE5, 0x00, 0x00, 0x00}, {0x00, 0x00, 0x35}, 0}), invalid);
    EXPECT_EQ(converted({{0xF5, 0x00, 0x00, 0x00}, {0x00, 0x00, 0x35}, 0}), 0U);
}

// 11109.6 / 24 - 290 = 172.9; 172.9 x 1.2 - 25 = 182.48.
TEST(GetTemperature, results_from_125_degrees_on_are_stretched)
{
    Byte hot[] = {0xF2, 0x00, 0x00, 0x00};
    Byte adj[] = {0x00, 0x00, 0x20};
    EXPECT_NEAR(GetTemperature(hot, adj), 182.48, 0.001);
    Byte minus_1[] = {0xFF, 0xFF, 0x20};
    Byte plus_65535[] = {0xF2, 0x7F, 0x0F, 0xF8};
    EXPECT_NEAR(GetTemperature(hot, minus_1), (11109.6 / (-1 / 375.3 + 24) - 290) * 1.2 - 25, 0.001);
    EXPECT_NEAR(GetTemperature(plus_65535, adj), 11109.6 / (65535 / 375.3 + 24) - 290, 0.001);
}

// 1040 gives 124.98, 1039 gives 125.03.
TEST(GetTemperature, stretch_begins_at_125_degrees)
{
    Byte adj[] = {0x00, 0x00, 0x20};
    Byte below[] = {0xF2, 0x02, 0x00, 0x80};
    Byte above[] = {0xF2, 0x02, 0x00, 0x78};
    EXPECT_NEAR(GetTemperature(below, adj), 124.98456, 0.0001);
    EXPECT_NEAR(GetTemperature(above, adj), 125.02585 * 1.2 - 25, 0.0001);
}

}  // namespace
}  // namespace tagwire::engine::test
