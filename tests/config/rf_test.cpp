// Frequencies, output power and antennas.
#include <climits>

#include "config/setting.h"

namespace tagwire::engine::test {
namespace {

using enum Written;
using Call = SettingCall;

const std::vector<Setting>& rf_settings()
{
    static const std::vector<Setting> all = {
        {"SetRegion", [](Call& c) { return c(&Operations::SetRegion, 0x5A, 0x5B); }, "06 05 22 5A 5B",
         always},
        {"ExtSetRegion", [](Call& c) { return c(&Operations::ExtSetRegion, 0x5A, 0x5B, 0x5C, 0x5D); },
         "08 05 22 5A 5B 5C 5D", always},
        {"SetCustomRegion",
         [](Call& c) { return c(&Operations::SetCustomRegion, 0x5A, 0x5B, 0x5C, c.input(3)); },
         "0B 05 22 5A FF 5B 5C A1 A2 A3", never},
        {"ExtGetRegion", [](Call& c) { return c(&Operations::ExtGetRegion, c.at(0), c.at(1), c.at(2)); },
         "04 05 9E", always, "31 32 33", "31 32 33", always},
        {"GetCustomRegion",
         [](Call& c) { return c(&Operations::GetCustomRegion, c.at(0), c.at(1), c.at(2)); }, "04 05 9E",
         never, "31 32 33 34 35 36", "32 33 34 35 36", always},
        {.name = "SetRfPower",
         .run = [](Call& c) { return c(&Operations::SetRfPower, 0x5A); },
         .request = "05 05 2F 5A",
         .address = on_success,
         .amid_reports = true},
        {"SetRfPowerByAnt", [](Call& c) { return c(&Operations::SetRfPowerByAnt, c.input(4)); },
         "08 05 2F A1 A2 A3 A4", on_success},
        {"SetAntennaPower", [](Call& c) { return c(&Operations::SetAntennaPower, c.input(8), 8); },
         "0C 05 2F A1 A2 A3 A4 A5 A6 A7 A8", on_success},
        {"GetRfPowerByAnt", [](Call& c) { return c(&Operations::GetRfPowerByAnt, c.at(0)); }, "04 05 94",
         on_success, "31 32 33 34", "31 32 33 34", on_success},
        {"GetAntennaPower", [](Call& c) { return c(&Operations::GetAntennaPower, c.at(0), &c.number); },
         "04 05 94", on_success, "31 32 33 34 35", "31 32 33 34 35", on_success, 5},
        {"WriteRfPower", [](Call& c) { return c(&Operations::WriteRfPower, 0x5A); }, "05 05 79 5A",
         on_success},
        {"ReadRfPower", [](Call& c) { return c(&Operations::ReadRfPower, c.at(0)); }, "04 05 7A", on_success,
         "31", "31", on_success},
        {"RfOutput", [](Call& c) { return c(&Operations::RfOutput, 0x5A); }, "05 05 30 5A", on_success},
        {"SetAntennaMultiplexing", [](Call& c) { return c(&Operations::SetAntennaMultiplexing, 0x5A); },
         "05 05 3F 5A", never},
        {"SetAntenna", [](Call& c) { return c(&Operations::SetAntenna, 0x5A, 0x5B, 0x5C); },
         "07 05 3F 5A 5B 5C", never},
        {"OptAntenna", [](Call& c) { return c(&Operations::OptAntenna, 0x00, 0x5B, c.at(0)); },
         "0E 05 3F 00 5B 90 91 92 93 94 95 96 97", never, "31 32 33 34 35 36 37 38",
         "31 32 33 34 35 36 37 38", always},
        {"SetAntennaA12", [](Call& c) { return c(&Operations::SetAntennaA12, 0x5A, 0x5B, 0x5C); },
         "07 05 85 5A 5B 5C", never},
        {"MutipleAntennaSwitch", [](Call& c) { return c(&Operations::MutipleAntennaSwitch, 0x5A, 0x5B); },
         "06 05 B0 5A 5B", never},
        {"ConfigAntNum", [](Call& c) { return c(&Operations::ConfigAntNum, c.at(0)); }, "05 05 7C 90", never,
         "31", "31", on_success},
        {"MeasureReturnLoss",
         [](Call& c) { return c(&Operations::MeasureReturnLoss, c.input(4), 0x5A, c.at(0)); },
         "09 05 91 A1 A2 A3 A4 5A", on_success, "31", "31", on_success},
        {"SetDwellTime", [](Call& c) { return c(&Operations::SetDwellTime, 0x01, 0x5B, 0x5C); },
         "07 05 D3 11 5B 5C", never},
        {"GetDwellTime", [](Call& c) { return c(&Operations::GetDwellTime, c.at(0), c.at(1)); },
         "05 05 D3 00", never, "31 32", "31 32", always},
    };
    return all;
}

INSTANTIATE_TEST_SUITE_P(Rf, EverySetting, testing::ValuesIn(rf_settings()), SettingName());
INSTANTIATE_TEST_SUITE_P(Rf, SettingAmidReports, testing::ValuesIn(those_amid_reports(rf_settings())),
                         SettingName());

class Rf : public SettingTest {};

// --- Regions ---

TEST_F(Rf, custom_region_is_told_by_the_length_of_the_answer)
{
    const Bytes data = hex("31 32 33 34 35 36 37");
    for (const int status : {0, 5}) {
        for (const std::size_t size : {std::size_t{0}, std::size_t{2}, std::size_t{3}, std::size_t{4},
                                       std::size_t{5}, std::size_t{7}}) {
            const FixedAnswer answer(reader_, own(0x9E, status, Bytes(data.begin(), data.begin() + size)));
            Call one = call(5);
            const int result = one(&Operations::GetCustomRegion, one.at(0), one.at(1), one.at(2));
            EXPECT_EQ(one.outcome(result), Call::describe(size == 3 ? 255 : status, asked_address,
                                                          hex("90 91 92 93 94"), untouched_number))
                << size;
        }
    }
}

// --- Powers ---

TEST_F(Rf, powers_go_out_for_these_counts_of_antennas)
{
    for (const int count : {1, 2, 4, 8, 9, 12, 16, 64}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x2F, 0));
        Call one = call();
        const auto size = static_cast<std::size_t>(count);
        EXPECT_EQ(one(&Operations::SetAntennaPower, one.input(size), count), 0);
        const u8 len = static_cast<u8>(4 + count);
        sends.expect(Bytes{len, asked_address, 0x2F} + counting_from(0xA1, size));
    }
}

TEST_F(Rf, powers_of_any_other_count_are_not_sent)
{
    const WatchedSends sends(reader_);
    const FixedAnswer answer(reader_, own(0x2F, 0));
    for (const int count : {INT_MIN, -1, 0, 3, 5, 7, 10, 15, 17, 63, 65, 257, 260, INT_MAX}) {
        Call one = call();
        const int result = one(&Operations::SetAntennaPower, one.input(1), count);
        EXPECT_EQ(one.outcome(result), Call::describe(255, asked_address, {}, untouched_number));
    }
    sends.expect_none();
}

TEST_F(Rf, count_of_powers_follows_the_answer)
{
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{64}, std::size_t{250}}) {
        const FixedAnswer answer(reader_, own(0x94, 0, counting_from(0x01, count)));
        Call one = call(count);
        EXPECT_EQ(one(&Operations::GetAntennaPower, one.at(0), &one.number), 0);
        EXPECT_EQ(one.number, static_cast<int>(count));
        EXPECT_EQ(one.out, counting_from(0x01, count));
    }
}

// A frame that ends with what is read as the status: the low byte of the CRC, which is 0 for one address.
TEST_F(Rf, answer_too_short_for_a_status_has_less_than_no_powers)
{
    Bytes frame;
    for (int address = 0; address <= 255 && (frame.empty() || frame[3] != 0); ++address)
        frame = request(static_cast<u8>(address), 0x94);
    ASSERT_EQ(frame[3], 0);
    const FixedAnswer answer(reader_, frame);
    Call one = call();
    EXPECT_EQ(one(&Operations::GetAntennaPower, one.at(0), &one.number), 0);
    EXPECT_EQ(one.number, -1);
}

// --- Antennas ---

TEST_F(Rf, antenna_configuration_that_is_written_stays_as_it_is)
{
    for (const u8 opt : {0x01, 0x02, 0xFF}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x3F, 0, hex("31 32 33 34 35 36 37 38")));
        Call one = call(8);
        EXPECT_EQ(one(&Operations::OptAntenna, opt, 0x5B, one.at(0)), 0);
        sends.expect(Bytes{0x0E, asked_address, 0x3F, opt, 0x5B} + counting_from(0x90, 8));
        EXPECT_EQ(one.out, counting_from(0x90, 8));
    }
}

TEST_F(Rf, antenna_configuration_has_eight_bytes_or_is_not_read)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{7}, std::size_t{9}}) {
        for (const int status : {0, 5}) {
            const FixedAnswer answer(reader_, own(0x3F, status, repeat(0x31, size)));
            Call one = call(8);
            EXPECT_EQ(one(&Operations::OptAntenna, 0, 0x5B, one.at(0)), status);
            EXPECT_EQ(one.out, counting_from(0x90, 8));
        }
    }
}

TEST_F(Rf, dwell_time_is_sent_with_the_bit_of_a_write_set)
{
    for (const u8 flag : {0x00, 0x10, 0xEF, 0xFF}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0xD3, 0));
        Call one = call();
        EXPECT_EQ(one(&Operations::SetDwellTime, flag, 0x5B, 0x5C), 0);
        sends.expect({0x07, asked_address, 0xD3, static_cast<u8>(flag | 0x10U), 0x5B, 0x5C});
    }
}

}  // namespace
}  // namespace tagwire::engine::test
