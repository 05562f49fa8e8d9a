// Work modes, the parameters of reading without a host, and numbered parameters.
#include <algorithm>

#include "config/setting.h"

namespace tagwire::engine::test {
namespace {

using enum Written;
using Call = SettingCall;

// 45 bytes of data: the long form of the parameter block.
constexpr const char* block =
    "01 02 03 04 05 06 07 08 09 0A 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40 41 42 43 "
    "44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 0B 0C 0D";

int get_system_parameter(Call& c)
{
    return c(&Operations::GetSystemParameter, c.at(0), c.at(1), c.at(2), c.at(3), c.at(4), c.at(5), c.at(6),
             c.at(7), c.at(9), c.at(10), c.at(42), c.at(43), c.at(44));
}

const std::vector<Setting>& mode_settings()
{
    static const std::vector<Setting> all = {
        {.name = "SetWorkMode",
         .run = [](Call& c) { return c(&Operations::SetWorkMode, 0x5A); },
         .request = "05 05 35 5A",
         .address = never,
         .amid_reports = true},
        {"GetSystemParameter", get_system_parameter, "04 05 36", never, block, block, on_success},
        {.name = "SetReadMode",
         .run = [](Call& c) { return c(&Operations::SetReadMode, 0x5A); },
         .request = "05 05 76 5A",
         .address = never,
         .amid_reports = true},
        {"SetReadParameter",
         [](Call& c) {
             return c(&Operations::SetReadParameter, c.input(5), 0x03, c.input(2, 0x11), 0x0C,
                      c.input(2, 0xC1), 1, 0x5A, 0x5B, 1);
         },
         "11 05 75 A1 A2 A3 A4 A5 03 11 12 0C C1 C2 5A 5B", never},
        {"GetReadParameter", [](Call& c) { return c(&Operations::GetReadParameter, c.at(0)); }, "04 05 77",
         never, "31 32 33 34 35 36 37", "31 32 33 34 35 36 37", on_success},
        {"SetCfgParameter",
         [](Call& c) { return c(&Operations::SetCfgParameter, 0x5A, 0x5B, c.input(3), 3); },
         "09 05 EA 5A 5B A1 A2 A3", never},
        {"GetCfgParameter", [](Call& c) { return c(&Operations::GetCfgParameter, 0x5B, c.at(0), &c.number); },
         "05 05 EB 5B", never, "31 32 33", "31 32 33", on_success, 3},
    };
    return all;
}

INSTANTIATE_TEST_SUITE_P(Modes, EverySetting, testing::ValuesIn(mode_settings()), SettingName());
INSTANTIATE_TEST_SUITE_P(Modes, SettingAmidReports, testing::ValuesIn(those_amid_reports(mode_settings())),
                         SettingName());

class Modes : public SettingTest {
  protected:
    // The outputs for an answer with the first bytes of the parameter block.
    Bytes system_parameter(const Bytes& answer_bytes)
    {
        const FixedAnswer answer(reader_, answer_bytes);
        Call one = call(45);
        EXPECT_EQ(get_system_parameter(one), 0);
        return one.out;
    }
    static Bytes block_of(std::size_t size)
    {
        Bytes data = hex(block) + hex("0E 0F");
        data.resize(size);
        return own(0x36, 0, data);
    }
};

// --- The parameter block ---

TEST_F(Modes, short_form_has_no_trigger_time_and_leaves_the_tid_range)
{
    Bytes expected = hex(block);
    expected[42] = 0;
    expected[43] = 0x90 + 43;
    expected[44] = 0x90 + 44;
    EXPECT_EQ(to_hex(system_parameter(block_of(42))), to_hex(expected));
}

TEST_F(Modes, any_other_length_is_the_long_form)
{
    EXPECT_EQ(to_hex(system_parameter(block_of(45))), to_hex(hex(block)));
    EXPECT_EQ(to_hex(system_parameter(block_of(47))), to_hex(hex(block)));
    for (const std::size_t size : {std::size_t{10}, std::size_t{41}, std::size_t{43}}) {
        const Bytes received = block_of(size);
        Bytes expected(received.begin() + 4, received.end());
        expected.resize(45);
        EXPECT_EQ(to_hex(system_parameter(received)), to_hex(expected)) << size;
    }
}

// --- Reading without a host ---

struct ReadParameterCase {
    u8 mask_flag;
    u8 tid_flag;
    const char* request;
};

TEST_F(Modes, read_parameter_sends_the_parts_whose_flag_is_1)
{
    const char* const neither = "09 05 75 A1 A2 A3 A4 A5";
    const char* const mask = "0F 05 75 A1 A2 A3 A4 A5 03 11 12 0C C1 C2";
    const char* const tid = "0B 05 75 A1 A2 A3 A4 A5 5A 5B";
    const char* const both = "11 05 75 A1 A2 A3 A4 A5 03 11 12 0C C1 C2 5A 5B";
    for (const auto& [mask_flag, tid_flag, request] :
         {ReadParameterCase{0, 0, neither}, ReadParameterCase{2, 255, neither}, ReadParameterCase{1, 0, mask},
          ReadParameterCase{1, 2, mask}, ReadParameterCase{0, 1, tid}, ReadParameterCase{255, 1, tid},
          ReadParameterCase{1, 1, both}}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x75, 0));
        Call one = call();
        const bool masked = mask_flag == 1;
        EXPECT_EQ(one(&Operations::SetReadParameter, one.input(5), 0x03,
                      masked ? one.input(2, 0x11) : nullptr, 0x0C, masked ? one.input(2, 0xC1) : nullptr,
                      mask_flag, 0x5A, 0x5B, tid_flag),
                  0);
        sends.expect(hex(request));
    }
}

TEST_F(Modes, read_parameter_rounds_the_bits_of_its_mask_up_to_bytes)
{
    for (const int bits : {0, 1, 8, 9, 255}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x75, 0));
        Call one = call();
        const auto size = static_cast<std::size_t>((bits + 7) / 8);
        EXPECT_EQ(one(&Operations::SetReadParameter, one.input(5), 0x03, one.input(2, 0x11),
                      static_cast<u8>(bits), one.input(size, 0x01), 1, 0x5A, 0x5B, 1),
                  0);
        const Bytes head{static_cast<u8>(15 + size), asked_address, 0x75};
        const Bytes mask = Bytes{0x03, 0x11, 0x12, static_cast<u8>(bits)} + counting_from(0x01, size);
        sends.expect(head + counting_from(0xA1, 5) + mask + hex("5A 5B"));
    }
}

TEST_F(Modes, read_parameter_has_as_many_bytes_as_the_answer)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{250}}) {
        const FixedAnswer answer(reader_, own(0x77, 0, counting_from(0x01, size)));
        Call one = call(size);
        EXPECT_EQ(one(&Operations::GetReadParameter, one.at(0)), 0);
        EXPECT_EQ(one.out, counting_from(0x01, size));
    }
}

// --- Numbered parameters ---

TEST_F(Modes, numbered_parameter_without_data_is_sent_without)
{
    for (const int len : {0, -1, -300}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0xEA, 0));
        Call one = call();
        EXPECT_EQ(one(&Operations::SetCfgParameter, 0x5A, 0x5B, nullptr, len), 0);
        const u8 announced = static_cast<u8>(6 + len);
        EXPECT_EQ(sends.frame.at(0), announced);
        EXPECT_EQ(sends.frame.size(), announced + std::size_t{1});
        EXPECT_EQ(slow_crc(sends.frame), 0);
        Bytes head{announced, asked_address, 0xEA, 0x5A, 0x5B};
        head.resize(std::min(head.size(), sends.frame.size() - 2));
        EXPECT_TRUE(std::equal(head.begin(), head.end(), sends.frame.begin())) << to_hex(sends.frame);
    }
}

// Len wraps, and the bytes on the link are those that it announces.
TEST_F(Modes, numbered_parameter_of_any_length_stays_inside_the_send_buffer)
{
    for (const int len : {1, 248, 249, 251, 300, 1000}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0xEA, 0));
        Call one = call();
        const auto size = static_cast<std::size_t>(len);
        EXPECT_EQ(one(&Operations::SetCfgParameter, 0x5A, 0x5B, one.input(size), len), 0);
        const u8 announced = static_cast<u8>(6 + len);
        Bytes frame = Bytes{announced, asked_address, 0xEA, 0x5A, 0x5B} + counting_from(0xA1, size);
        frame.resize(announced - std::size_t{1});
        sends.expect(frame);
    }
}

TEST_F(Modes, numbered_parameter_whose_length_wraps_to_nothing_is_one_byte)
{
    WatchedSends sends(reader_);
    const FixedAnswer answer(reader_, own(0xEA, 0));
    Call one = call();
    EXPECT_EQ(one(&Operations::SetCfgParameter, 0x5A, 0x5B, one.input(250), 250), 0);
    EXPECT_EQ(sends.frame.size(), 1U);
}

TEST_F(Modes, numbered_parameter_has_as_many_bytes_as_the_answer)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{250}}) {
        const FixedAnswer answer(reader_, own(0xEB, 0, counting_from(0x01, size)));
        Call one = call(size);
        EXPECT_EQ(one(&Operations::GetCfgParameter, 0x5B, one.at(0), &one.number), 0);
        EXPECT_EQ(one.number, static_cast<int>(size));
        EXPECT_EQ(one.out, counting_from(0x01, size));
    }
}

// Zeros behind a frame do not spoil its CRC.
TEST_F(Modes, parameters_never_exceed_what_one_frame_holds)
{
    const Bytes data = counting_from(0x01, 250);
    for (const std::size_t zeros : {std::size_t{1}, std::size_t{1000}}) {
        Call read = call(250);
        const FixedAnswer read_answer(reader_, own(0x77, 0, data) + repeat(0, zeros));
        EXPECT_EQ(read(&Operations::GetReadParameter, read.at(0)), 0);
        EXPECT_EQ(read.out, data);
    }
    Call numbered = call(250);
    const FixedAnswer answer(reader_, own(0xEB, 0, data) + repeat(0, 1000));
    EXPECT_EQ(numbered(&Operations::GetCfgParameter, 0x5B, numbered.at(0), &numbered.number), 0);
    EXPECT_EQ(numbered.out, data);
}

}  // namespace
}  // namespace tagwire::engine::test
