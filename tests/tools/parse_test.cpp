#include "parse.h"

#include "message_of.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using test::message_of;
using Bytes = std::vector<std::uint8_t>;

TEST(Number, IsDecimalOrHexadecimal)
{
    EXPECT_EQ(parse_number("0", "x", 0, 255), 0u);
    EXPECT_EQ(parse_number("255", "x", 0, 255), 255u);
    EXPECT_EQ(parse_number("0xff", "x", 0, 255), 255u);
    EXPECT_EQ(parse_number("0X0A", "x", 0, 255), 10u);
    EXPECT_EQ(parse_number("010", "x", 0, 255), 10u);
}

TEST(Number, SaysWhatWouldBeValid)
{
    for (const auto* const text :
         {"", "256", "-1", "0x", "0x100", "1a", " 1", "1 ", "+1", "99999999999", "0x1x"}) {
        EXPECT_EQ(message_of([&] { parse_number(text, "--q", 1, 255); }),
                  "--q '" + std::string(text) + "' is not valid: use a number from 1 to 255");
    }
    EXPECT_THROW(parse_number("0", "--q", 1, 255), UsageError);
}

TEST(Units, AreWhole)
{
    EXPECT_EQ(parse_units("E2801a00", "--data", 2), (Bytes{0xE2, 0x80, 0x1A, 0}));
    EXPECT_EQ(parse_units("E2801a", "--data", 1), (Bytes{0xE2, 0x80, 0x1A}));
    EXPECT_EQ(message_of([] { parse_units("E2801a", "--data", 2); }),
              "--data has 6 hexadecimal digits: give 4 for every word");
    EXPECT_EQ(message_of([] { parse_units("E28", "--data", 1); }),
              "--data has 3 hexadecimal digits: give 2 for every byte");
    EXPECT_EQ(parse_units("0xE280 1a 0X05", "--data", 1), (Bytes{0xE2, 0x80, 0x1A, 0x05}));
    EXPECT_EQ(message_of([] { parse_units("", "--data", 1); }), "--data is empty: give hexadecimal digits");
    EXPECT_EQ(message_of([] { parse_units("12g4", "--data", 1); }),
              "--data: character 3 is no hexadecimal digit");
    for (const auto* const text : {"0x", " ", "0x0x12", "12x3", "E2:80"})
        EXPECT_THROW(parse_units(text, "--data", 1), UsageError) << text;
    EXPECT_EQ(parse_exactly("12 34", "--data", 2), (Bytes{0x12, 0x34}));
    EXPECT_EQ(message_of([] { parse_exactly("123", "VALUE", 2); }),
              "VALUE has 3 hexadecimal digits and not 4");
}

TEST(Ports, AreBits)
{
    EXPECT_EQ(parse_ports("1", "--antennas", 64), 1u);
    EXPECT_EQ(parse_ports("1,3,2,3", "--antennas", 64), 7u);
    EXPECT_EQ(parse_ports("64", "--antennas", 64), std::uint64_t{1} << 63);
    EXPECT_EQ(parse_ports("1-3,5", "--antennas", 64), 0b10111u);
    EXPECT_EQ(parse_ports("1-64", "--antennas", 64), ~std::uint64_t{0});
    for (const auto* const text : {"", "0", "5", "1,", ",1", "1 2", "2-1", "1-", "-1", "1-5", "1-2-3"})
        EXPECT_THROW(parse_ports(text, "--antennas", 4), UsageError) << text;
}

TEST(Seconds, MayHaveAFraction)
{
    EXPECT_EQ(parse_seconds("1"), std::chrono::seconds(1));
    EXPECT_EQ(parse_seconds("0.25"), std::chrono::milliseconds(250));
    EXPECT_EQ(parse_seconds("0.001"), std::chrono::milliseconds(1));
    for (const auto* const text :
         {"", "0", "0.0001", "-1", "nan", "inf", "1s", "1e3", "1e99", "99999999999"}) {
        EXPECT_THROW(parse_seconds(text), UsageError) << text;
    }
}

TEST(ScanTime, RoundsUpToHundredMilliseconds)
{
    EXPECT_EQ(parse_scan_time("1"), 1);
    EXPECT_EQ(parse_scan_time("100"), 1);
    EXPECT_EQ(parse_scan_time("101"), 2);
    EXPECT_EQ(parse_scan_time("25500"), 255);
    EXPECT_THROW(parse_scan_time("0"), UsageError);
    EXPECT_THROW(parse_scan_time("25501"), UsageError);
}

TEST(MaskText, NamesBankAddressAndBits)
{
    const auto mask = parse_mask("epc:32:E280");
    EXPECT_EQ(mask.bank, "epc");
    EXPECT_EQ(mask.bit_address, 32);
    EXPECT_EQ(mask.bits, 16);
    EXPECT_EQ(mask.data, (Bytes{0xE2, 0x80}));
    EXPECT_EQ(parse_mask("tid:0:E").bits, 4);
    EXPECT_EQ(parse_mask("user:0x10:00").bit_address, 16);
    EXPECT_EQ(parse_mask("3:65535:00").bank, "3");
    EXPECT_EQ(parse_mask("3:65535:00").bit_address, 65535);
}

TEST(MaskText, CutsToTheBitsGiven)
{
    const auto nine = parse_mask("epc:32:FFFFFF/9");
    EXPECT_EQ(nine.bits, 9);
    EXPECT_EQ(nine.data, (Bytes{0xFF, 0x80}));
    EXPECT_EQ(parse_mask("epc:32:FF/8").data, (Bytes{0xFF}));
    EXPECT_EQ(parse_mask("epc:32:FF/1").data, (Bytes{0x80}));
    EXPECT_EQ(parse_mask("epc:0:" + std::string(64, 'F') + "/255").data.back(), 0xFE);
}

TEST(MaskText, SaysWhatIsWrong)
{
    EXPECT_EQ(message_of([] { parse_mask("epc:32"); }),
              "--mask 'epc:32' is not valid: use BANK:BITADDR:HEX or BANK:BITADDR:HEX/BITS");
    EXPECT_THROW(parse_mask(""), UsageError);
    EXPECT_EQ(message_of([] { parse_mask("epc:65536:E2"); }),
              "mask bit address '65536' is not valid: use a number from 0 to 65535");
    EXPECT_EQ(message_of([] { parse_mask("epc:32:"); }), "mask data is empty: give hexadecimal digits");
    EXPECT_EQ(message_of([] { parse_mask("epc:32:/4"); }), "mask data is empty: give hexadecimal digits");
    EXPECT_EQ(message_of([] { parse_mask("epc:32:E2:5"); }),
              "mask data: character 3 is no hexadecimal digit");
    EXPECT_EQ(message_of([] { parse_mask("epc:32:E2/9"); }),
              "mask bit count '9' is not valid: use a number from 1 to 8");
    EXPECT_THROW(parse_mask("epc:32:E2/0"), UsageError);
    EXPECT_THROW(parse_mask("epc:32:E2/"), UsageError);
    EXPECT_EQ(message_of([] { parse_mask("epc:32:" + std::string(64, '0')); }),
              "mask data has 256 bits: at most 255 can be sent, use HEX/BITS");
}

TEST(TidRange, IsFirstWordAndCount)
{
    const auto range = parse_tid_range("2:4");
    EXPECT_EQ(range.first, 2);
    EXPECT_EQ(range.count, 4);
    EXPECT_EQ(parse_tid_range("255:31").count, 31);
    for (const auto* const text : {"", "2", "2:", ":2", "2:0", "2:32", "256:1", "1:2:3"}) {
        EXPECT_THROW(parse_tid_range(text), UsageError) << text;
    }
}

}  // namespace
}  // namespace tagwire::tool
