// Tags with an LED, an SPI peripheral or an alarm, and the identification of a tag.
#include "sensor/sensor_call.h"
#include "tagwire/identification.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 MaskMem = 0x02;

int switch_led_in_mode(SensorCall& c)
{
    return through<&Operations::YL_LED_Controll, ::YL_LED_Controll>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, u8{0x0B}, u8{0x0C}, c.password.data(), MaskMem,
        c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
template <auto Slot, auto Exported> int switch_led(SensorCall& c)
{
    return through<Slot, Exported>(c.reader, c.handle, &c.address, c.EPC(), c.ENum, u8{0x0C},
                                   c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(),
                                   &c.Errorcode);
}
constexpr auto switch_led_klw = switch_led<&Operations::KLW_LED_Controll, ::KLW_LED_Controll>;
constexpr auto switch_led_bx = switch_led<&Operations::BX_LED_Controll, ::BX_LED_Controll>;

// `data` is what is sent, `setting` the count of bytes asked for.
int talk(SensorCall& c)
{
    return through<&Operations::GetSPI, ::GetSPI>(
        c.reader, c.handle, &c.address, c.EPC(), c.ENum, static_cast<u8>(c.data.size()), c.setting, u8{0x0C},
        u8{0x0D}, u8{0x0E}, c.data.data(), c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(),
        c.out(0, 7), &c.Errorcode);
}
int talk_briefly(SensorCall& c)
{
    c.setting = 3;
    return talk(c);
}
int reset_alarm(SensorCall& c)
{
    return through<&Operations::ResetAlarm, ::ResetAlarm>(c.reader, c.handle, &c.address, c.EPC(), c.ENum,
                                                          c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen,
                                                          c.MaskData(), &c.Errorcode);
}
int set_carrier_time(SensorCall& c)
{
    u8* time = c.out(0, 1);
    *time = 0x1F;
    const int result =
        through<&Operations::SetCarrierTime, ::SetCarrierTime>(c.reader, c.handle, &c.address, time);
    if (*time == 0x1F) *time = 0x99;
    return result;
}
int query(SensorCall& c)
{
    u8* length = c.out(0, 1);
    u8* epc = c.out(1, 250);
    u8* rssi = c.out(2, 1);
    u8* ki = c.out(3, 2);
    u8* tid = c.out(4, 12);
    return through<&Operations::QueryAndIdentify, ::QueryAndIdentify>(
        c.reader, c.handle, &c.address, c.epc.data(), c.ENum, length, epc, rssi, ki, tid);
}
int first_step(SensorCall& c)
{
    return through<&Operations::FirstIdentify, ::FirstIdentify>(c.reader, c.handle, &c.address, c.out(0, 4));
}
int second_step(SensorCall& c)
{
    Bytes token = hex("F1 F2 F3 F4 F5 F6 F7 F8");
    u8* second_token = c.out(0, 8);
    u8* handle = c.out(1, 2);
    return through<&Operations::SecondIdentify, ::SecondIdentify>(c.reader, c.handle, &c.address,
                                                                  token.data(), second_token, handle);
}

const SensorOutcome unwritten{5};
const SensorOutcome code_only{0xFC, 0x05, 0x31, ""};
const char* const ten_bytes = "31 32 33 34 35 36 37 38 | 39 3A";

const std::vector<SensorCommand> commands = {
    {"YL_LED_Controll", 0xCE, switch_led_in_mode, "", "0B 0C A1 A2 A3 A4", 31, 11, 23, 73, 15, 17, 17,
     SensorOutcome{0}, code_only, unwritten},
    {"KLW_LED_Controll", 0xCC, switch_led_klw, "", "0C A1 A2 A3 A4", 31, 10, 22, 72, 14, 16, 16,
     SensorOutcome{0}, code_only, unwritten},
    {"BX_LED_Controll", 0xE5, switch_led_bx, "", "0C A1 A2 A3 A4", 31, 10, 22, 72, 14, 16, 16,
     SensorOutcome{0}, code_only, unwritten},
    {"GetSPI", 0x87, talk_briefly, "03", "03 0C 0D 0E E1 E2 E3 A1 A2 A3 A4", 15, 17, 29, 47, 21, 23, 23,
     SensorOutcome{0, answering, -1, "31 32 33"}, code_only, unwritten},
    {"ResetAlarm", 0x88, reset_alarm, "", "A1 A2 A3 A4", 15, 9, 21, 39, 13, 15, 15,
     SensorOutcome{0, answering, -1, ""}, code_only, unwritten},
    {"QueryAndIdentify", 0x80, query, "", "", 15, 5, 17, 35, 0, 0, 0,
     // 50 bytes of EPC are announced, more than there are: zeros behind the data and its CRC.
     SensorOutcome{}, SensorOutcome{0xFC}, unwritten},
};

const std::vector<SensorCommand> unaddressed = {
    {"SetCarrierTime", 0x84, set_carrier_time, "", "", 0, 0, 0, 0, 0, 0, 0,
     SensorOutcome{0, answering, 1234, "31"}, SensorOutcome{0, answering, 1234, "31"},
     SensorOutcome{0, answering, 1234, "31"}},
    {"FirstIdentify", 0x81, first_step, "", "", 0, 0, 0, 0, 0, 0, 0,
     SensorOutcome{0, answering, 1234, "31 32 33 34"}, SensorOutcome{0, answering, 1234, "31 32 33 34"},
     SensorOutcome{0, answering, 1234, "31 32 33 34"}},
    {"SecondIdentify", 0x82, second_step, "", "", 0, 0, 0, 0, 0, 0, 0,
     SensorOutcome{0, answering, 1234, ten_bytes}, SensorOutcome{0, answering, 1234, ten_bytes},
     SensorOutcome{0, answering, 1234, ten_bytes}},
};

INSTANTIATE_TEST_SUITE_P(Identification, SensorFrames, testing::ValuesIn(commands), SensorName());

// Without QueryAndIdentify, whose answers have a form of their own.
INSTANTIATE_TEST_SUITE_P(Peripherals, SensorAnswers,
                         testing::ValuesIn(std::vector(commands.begin(), commands.end() - 1)), SensorName());
INSTANTIATE_TEST_SUITE_P(Identification, SensorAnswers, testing::ValuesIn(unaddressed), SensorName());

using Peripheral = SensorCommands;

TEST_F(Peripheral, frames_without_a_tag)
{
    const SensorCall call{reader_};
    EXPECT_EQ(sent(set_carrier_time, call), framed("05 05 84 1F"));
    EXPECT_EQ(sent(first_step, call), framed("04 05 81"));
    EXPECT_EQ(sent(second_step, call), framed("0C 05 82 F1 F2 F3 F4 F5 F6 F7 F8"));
}

TEST_F(Peripheral, spi_frame_without_command_bytes)
{
    SensorCall call = SensorCall::by_epc(reader_, 1);
    call.data.clear();
    EXPECT_EQ(sent(talk, call), framed("10 05 87 00 01 01 02 0B 0C 0D 0E A1 A2 A3 A4"));
    call = SensorCall::by_mask(reader_, 9);
    call.data.clear();
    EXPECT_EQ(sent(talk, call), framed("14 05 87 00 FF 0B 0C 0D 0E A1 A2 A3 A4 02 56 78 09 01 02"));
}

// 2E + K and K + M wrap, and so does what is added; the reader gets what Len announces.
TEST_F(Peripheral, spi_frame_that_is_too_long)
{
    const auto sent_with = [&](SensorCall call, std::size_t bytes) {
        call.data = repeat(0xE7, bytes);
        return hex(sent(talk, call));
    };
    const SensorCall by_epc = SensorCall::by_epc(reader_, 15);
    EXPECT_EQ(to_hex(sent_with(by_epc, 211)),
              to_hex(with_crc(hex("FF 05 87 D3 0F") + counted(30) + hex("0B 0C 0D 0E") + repeat(0xE7, 211) +
                              hex("A1 A2 A3 A4"))));
    EXPECT_EQ(to_hex(sent_with(by_epc, 255)),
              to_hex(with_crc(hex("2B 05 87 FF 0F") + counted(30) + hex("0B 0C 0D 0E E7 E7 E7"))));
    const SensorCall by_mask = SensorCall::by_mask(reader_, 255);
    EXPECT_EQ(to_hex(sent_with(by_mask, 255)),
              to_hex(with_crc(hex("31 05 87 FF FF 0B 0C 0D 0E") + repeat(0xE7, 39))));
    EXPECT_EQ(sent_with(by_epc, 212).size(), 1U);
    EXPECT_EQ(sent_with(by_epc, 213).size(), 2U);
}

TEST_F(Peripheral, spi_result_is_copied_up_to_7_bytes)
{
    const auto result_of = [&](u8 size) {
        SensorCall call = SensorCall::by_epc(reader_, 2);
        call.setting = size;
        return answered(talk, call, answer(answering, 0x87, 0, answer_data));
    };
    EXPECT_EQ(result_of(0), (SensorOutcome{0, answering, -1, ""}));
    EXPECT_EQ(result_of(1), (SensorOutcome{0, answering, -1, "31"}));
    EXPECT_EQ(result_of(7), (SensorOutcome{0, answering, -1, "31 32 33 34 35 36 37"}));
    for (const int size : {8, 9, 24, 255})
        EXPECT_EQ(result_of(static_cast<u8>(size)), (SensorOutcome{0, answering, -1, ""})) << size;
}

TEST_F(Peripheral, short_answers_give_what_stands_in_the_cleared_buffer)
{
    const auto tail = [](const Bytes& frame, std::size_t bytes) {
        return to_hex(Bytes(frame.begin() + 4, frame.end()) + repeat(0, bytes));
    };
    const Bytes empty = answer(answering, 0x81, 0);
    EXPECT_EQ(answered(first_step, empty), (SensorOutcome{0, answering, 1234, tail(empty, 2)}));
    const Bytes four = answer(answering, 0x82, 0, hex("31 32 33 34"));
    EXPECT_EQ(answered(second_step, four), (SensorOutcome{0, answering, 1234, tail(four, 2) + " | 00 00"}));
    SensorCall call = SensorCall::by_epc(reader_, 2);
    call.setting = 7;
    const Bytes none = answer(answering, 0x87, 0);
    EXPECT_EQ(answered(talk, call, none), (SensorOutcome{0, answering, -1, tail(none, 5)}));
}

// Data: a byte that is not passed on, L, the ID, RSSI, KI, TID.
Bytes identity(int size, const Bytes& id)
{
    const Bytes head{0x77, static_cast<u8>(size)};
    const Bytes rest = hex("C8 51 52 61 62 63 64 65 66 67 68 69 6A 6B 6C");
    return answer(answering, 0x80, 0, head + id + rest);
}
const char* const identity_end = "C8 | 51 52 | 61 62 63 64 65 66 67 68 69 6A 6B 6C";

TEST_F(Peripheral, query_gives_what_identifies_the_tag)
{
    EXPECT_EQ(answered(query, identity(0, {})),
              (SensorOutcome{0, answering, 1234, std::string("00 | ") + identity_end}));
    EXPECT_EQ(answered(query, identity(4, hex("11 12 13 14"))),
              (SensorOutcome{0, answering, 1234, std::string("04 | 11 12 13 14 | ") + identity_end}));
    const Bytes longest = counted(233);
    EXPECT_EQ(answered(query, identity(233, longest)),
              (SensorOutcome{0, answering, 1234, "E9 | " + to_hex(longest) + " | " + identity_end}));
}

TEST_F(Peripheral, query_with_another_status_gives_the_status_only)
{
    const Bytes good = identity(4, hex("11 12 13 14"));
    for (int status = 1; status <= 255; ++status) {
        Bytes frame(good.begin(), good.end() - 2);
        frame[3] = static_cast<u8>(status);
        ASSERT_EQ(answered(query, with_crc(frame)), SensorOutcome{status});
    }
    EXPECT_EQ(answered(query, good + bytes_behind), SensorOutcome{TAGWIRE_BAD_CRC});
    EXPECT_EQ(answered(query, answer(answering, 0x81, 0)), SensorOutcome{TAGWIRE_WRONG_COMMAND});
}

// The outputs end where their documented sizes do.
TEST_F(Peripheral, query_with_a_length_beyond_the_frame_stays_inside_its_buffers)
{
    for (int size = 234; size <= 255; ++size) {
        const SensorOutcome outcome = answered(query, identity(size, counted(233)));
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.outputs.substr(0, 2), to_hex({static_cast<u8>(size)}));
    }
}

}  // namespace
}  // namespace tagwire::engine::test
