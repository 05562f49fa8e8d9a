// Tags that measure their temperature: what is sent, and what answers and inventories give.
#include <memory>

#include "sensor/sensor_call.h"
#include "support/tags.h"
#include "tagwire/sensor.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 MaskMem = 0x02;

int temperature(SensorCall& c)
{
    return through<&Operations::GetTagTemperature, ::GetTagTemperature>(
        c.reader, c.handle, &c.address, c.epc.data(), c.ENum, u8{0x11}, u8{0x12}, u8{0x13}, u8{0x14},
        c.setting, c.out(0, 250), &c.Errorcode);
}
int temperature_and_words(SensorCall& c)
{
    c.setting = 1;
    return temperature(c);
}
int temperature_short(SensorCall& c)
{
    return through<&Operations::GetTMP_G2, ::GetTMP_G2>(c.reader, c.handle, &c.address, c.epc.data(), c.ENum,
                                                        u8{0x11}, u8{0x12}, c.out(0, 250), &c.Errorcode);
}
int temperature_by_time(SensorCall& c)
{
    Bytes time = hex("F1 F2 F3 F4 F5 F6");
    return through<&Operations::GetTagTemperatureByTime, ::GetTagTemperatureByTime>(
        c.reader, c.handle, &c.address, c.epc.data(), c.ENum, u8{0x11}, u8{0x12}, time.data(), u8{0x13},
        u8{0x14}, c.setting, c.out(0, 250), &c.Errorcode);
}
int temperature_and_words_by_time(SensorCall& c)
{
    c.setting = 1;
    return temperature_by_time(c);
}
template <auto Slot, auto Exported> int sensor_data(SensorCall& c)
{
    u8* id = c.out(0, 251);
    u8* data = c.out(1, 4);
    u8* time = c.out(2, 4);
    return through<Slot, Exported>(c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.setting, u8{0x0C},
                                   c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), id, data,
                                   time, &c.Errorcode);
}
constexpr auto em_data = sensor_data<&Operations::GetEMTmpData, ::GetEMTmpData>;
// There is no exported function for this slot: that of the same command stands in.
constexpr auto tmp_data = sensor_data<&Operations::GetTmpData, ::GetEMTmpData>;
int em_data_without_id(SensorCall& c)
{
    c.setting = 0;
    return em_data(c);
}
int bx_temperature(SensorCall& c)
{
    return through<&Operations::GetBxTagTemperature, ::GetBxTagTemperature>(
        c.reader, c.handle, &c.address, c.ENum, c.epc.data(), c.out(0, 2), &c.Errorcode);
}
template <auto Slot, auto Exported> int two_bytes(SensorCall& c)
{
    return through<Slot, Exported>(c.reader, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(),
                                   MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), c.out(0, 2), &c.Errorcode);
}
constexpr auto yl_temperature = two_bytes<&Operations::YL_GetTempData, ::YL_GetTempData>;
constexpr auto on_temperature = two_bytes<&Operations::ON_GetTempData, ::ON_GetTempData>;

const SensorOutcome unwritten{5};
const SensorOutcome code_only{0xFC, 0x05, 0x31, ""};
const SensorOutcome all_data{0, answering, -1, to_hex(answer_data)};
// 24 bytes of data: an answer of 30 bytes, so an ID of 16.
const SensorOutcome with_id{0, answering, -1,
                            "10 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40 | 41 42 43 44 | 45 46 47 48"};
const SensorOutcome without_id{0, answering, -1,
                               "00 00 00 00 00 00 00 00 00 00 00 00 | 31 32 33 34 | 35 36 37 38"};
const SensorOutcome two_of_them{0, 0x05, -1, "31 32"};
const char* const uid_fields = "0B 0C A1 A2 A3 A4";

const std::vector<SensorCommand> commands = {
    {"GetTagTemperature", 0x13, temperature, "", "11 12", 14, 7, 19, 35, 0, 0, 0, all_data, code_only,
     unwritten},
    {"GetTagTemperature_words", 0x13, temperature_and_words, "", "11 12 13 14", 14, 9, 21, 37, 0, 0, 0,
     all_data, code_only, unwritten},
    {"GetTMP_G2", 0x13, temperature_short, "", "11 12", 14, 7, 19, 35, 0, 0, 0, all_data, code_only,
     unwritten},
    {"GetTmpData", 0x86, tmp_data, "", uid_fields, 15, 11, 23, 41, 15, 17, 17, with_id, code_only, unwritten},
    {"GetEMTmpData", 0x86, em_data, "", uid_fields, 15, 11, 23, 41, 15, 17, 17, with_id, code_only,
     unwritten},
    {"GetEMTmpData_no_id", 0x86, em_data_without_id, "", "00 0C A1 A2 A3 A4", 15, 11, 23, 41, 15, 17, 17,
     without_id, code_only, unwritten},
    {"YL_GetTempData", 0xCD, yl_temperature, "", "A1 A2 A3 A4", 31, 9, 21, 71, 13, 15, 15, two_of_them,
     code_only, unwritten},
    {"ON_GetTempData", 0xE8, on_temperature, "", "A1 A2 A3 A4", 31, 9, 21, 71, 13, 15, 15, two_of_them,
     code_only, unwritten},
};

// Those whose frames have tests of their own.
const std::vector<SensorCommand> odd_commands = {
    {"GetTagTemperatureByTime", 0x14, temperature_by_time, "", "", 14, 0, 0, 0, 0, 0, 0, all_data, code_only,
     unwritten},
    {"GetBxTagTemperature", 0x8A, bx_temperature, "", "", 255, 0, 0, 0, 0, 0, 0,
     SensorOutcome{0, 0x05, 0, "31 32"}, code_only, SensorOutcome{5, 0x05, 0x31, ""}},
};

INSTANTIATE_TEST_SUITE_P(Temperature, SensorFrames, testing::ValuesIn(commands), SensorName());
INSTANTIATE_TEST_SUITE_P(Temperature, SensorAnswers, testing::ValuesIn(commands), SensorName());
INSTANTIATE_TEST_SUITE_P(OddTemperature, SensorAnswers, testing::ValuesIn(odd_commands), SensorName());

using Temperature = SensorCommands;

TEST_F(Temperature, words_are_asked_for_with_flag_1_only)
{
    for (const int flag : {0, 2, 0x81, 0xFF}) {
        SensorCall call = SensorCall::by_epc(reader_, 1);
        call.setting = static_cast<u8>(flag);
        EXPECT_EQ(sent(temperature, call), framed("09 05 13 01 01 02 11 12"));
        std::memset(reader_->sendBuff.whole, 0xEE, sizeof reader_->sendBuff.whole);
        EXPECT_EQ(sent(temperature_by_time, call), framed("0F 05 14 01 01 02 F1 F2 F3 F4 F5 F6 EE EE"));
    }
}

TEST_F(Temperature, time_stands_at_bytes_6_to_11_whatever_the_epc)
{
    const char* const frames[] = {
        "0F 05 14 00 11 12 F1 F2 F3 F4 F5 F6 13 14",
        "11 05 14 01 01 02 F1 F2 F3 F4 F5 F6 EE EE 13 14",
        "13 05 14 02 01 02 F1 F2 F3 F4 F5 F6 EE EE EE EE 13 14",
        "15 05 14 03 01 02 F1 F2 F3 F4 F5 F6 EE EE EE EE EE EE 13 14",
        "17 05 14 04 01 02 F1 F2 F3 F4 F5 F6 11 12 EE EE EE EE EE EE 13 14",
        "19 05 14 05 01 02 F1 F2 F3 F4 F5 F6 09 0A 11 12 EE EE EE EE EE EE 13 14",
    };
    for (int words = 0; words <= 14; ++words) {
        std::memset(reader_->sendBuff.whole, 0xEE, sizeof reader_->sendBuff.whole);
        const std::string frame = sent(temperature_and_words_by_time, SensorCall::by_epc(reader_, words));
        Bytes expected = Bytes{static_cast<u8>(2 * words + 15), 0x05, 0x14, static_cast<u8>(words)} +
                         counted(2 * words) + hex("11 12") + repeat(0xEE, 6) + hex("13 14");
        const Bytes time = hex("F1 F2 F3 F4 F5 F6");
        std::copy(time.begin(), time.end(), expected.begin() + 6);
        EXPECT_EQ(frame, to_hex(with_crc(expected))) << words;
        if (words <= 5) {
            EXPECT_EQ(frame, framed(frames[words]));
        }
    }
}

TEST_F(Temperature, bytes_behind_the_time_are_those_of_the_frame_before)
{
    SensorCall before = SensorCall::by_epc(reader_, 7);
    const Bytes left = hex(sent(temperature_short, before));
    const Bytes frame = hex(sent(temperature_by_time, SensorCall::by_epc(reader_, 2)));
    // Bytes 6 + 2 x 2 to 11 + 2 x 2.
    const Bytes stale(frame.begin() + 10, frame.begin() + 16);
    EXPECT_EQ(to_hex(stale), "F5 F6 " + to_hex(Bytes(left.begin() + 12, left.begin() + 16)));
}

TEST_F(Temperature, call_by_time_passes_its_arguments_and_refuses_long_epcs)
{
    SensorCall call = SensorCall::by_epc(reader_, 0);
    const std::string frame = sent(temperature_and_words_by_time, call);
    call.handle = OpenHandle::number;
    EXPECT_EQ(sent(temperature_and_words_by_time, call), frame);
    for (int words = 15; words <= 255; ++words) {
        call = SensorCall::by_epc(reader_, words);
        ASSERT_EQ(finish(temperature_by_time, call), SensorOutcome{TAGWIRE_BAD_ARGUMENT});
    }
    EXPECT_EQ(to_hex(reader_.sent()), "");
}

TEST_F(Temperature, data_ends_with_the_answer)
{
    const struct {
        int (*run)(SensorCall&);
        u8 code;
    } reads[] = {{temperature, 0x13}, {temperature_short, 0x13}, {temperature_by_time, 0x14}};
    for (const auto& each : reads) {
        const auto expect_data = [&](const Bytes& data, const Bytes& behind) {
            const Bytes frame = answer(answering, each.code, 0, data);
            const Bytes all = Bytes(frame.begin() + 4, frame.end()) + behind;
            const Bytes expected(all.begin(),
                                 all.begin() + static_cast<long>(std::min<std::size_t>(all.size() - 2, 250)));
            EXPECT_EQ(answered(each.run, frame + behind),
                      (SensorOutcome{0, answering, -1, to_hex(expected)}));
        };
        expect_data({}, {});
        expect_data(hex("31"), {});
        expect_data(repeat(0x37, 250), {});
        expect_data(repeat(0x37, 250), repeat(0x00, 100));  // received behind the frame, with a good CRC
        expect_data(hex("31"), repeat(0x00, 1000));
        // The receiver's check clears two bytes behind the frame, so the CRC stays good and counts as data.
        const Bytes frame = answer(answering, each.code, 0, hex("31"));
        EXPECT_EQ(answered(each.run, frame + hex("77 78")),
                  (SensorOutcome{0, answering, -1, to_hex({0x31, frame[5], frame[6]})}));
    }
}

// With an ID, the answer is taken apart from its end; what is in front of it comes from its head.
TEST_F(Temperature, sensor_data_of_short_answers_with_an_id)
{
    const struct {
        const char* data;
        const char* outputs;
    } answers[] = {
        {"", "F8 | 00 00 00 00 | 05 0A 86 00"},
        {"31", "F9 | 00 00 00 06 | 0A 86 00 31"},
        {"31 32", "FA | 00 00 07 0A | 86 00 31 32"},
        {"31 32 33", "FB | 00 08 0A 86 | 00 31 32 33"},
        {"31 32 33 34", "FC | 09 0A 86 00 | 31 32 33 34"},
        {"31 32 33 34 35", "FD | 0A 86 00 31 | 32 33 34 35"},
        {"31 32 33 34 35 36", "FE | 86 00 31 32 | 33 34 35 36"},
        {"31 32 33 34 35 36 37", "FF | 00 31 32 33 | 34 35 36 37"},
        {"31 32 33 34 35 36 37 38", "00 | 31 32 33 34 | 35 36 37 38"},
        {"31 32 33 34 35 36 37 38 39", "01 31 | 32 33 34 35 | 36 37 38 39"},
    };
    for (const auto& each : answers) {
        for (const auto run : {em_data, tmp_data})
            EXPECT_EQ(answered(run, answer(answering, 0x86, 0, hex(each.data))),
                      (SensorOutcome{0, answering, -1, each.outputs}));
    }
}

TEST_F(Temperature, sensor_data_of_long_answers)
{
    const Bytes id = repeat(0x11, 242);
    const Bytes longest = answer(answering, 0x86, 0, id + hex("21 22 23 24 31 32 33 34"));
    EXPECT_EQ(answered(em_data, longest),
              (SensorOutcome{0, answering, -1, "F2 " + to_hex(id) + " | 21 22 23 24 | 31 32 33 34"}));
    // Zeros received behind the frame leave its CRC good; the ID stays inside its buffer.
    for (const int more : {1, 8, 9, 12, 300, 60000}) {
        const FixedAnswer received(reader_, longest + repeat(0x00, static_cast<std::size_t>(more)));
        const SensorOutcome outcome = answered(em_data, {});
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.outputs.substr(0, 2), to_hex({static_cast<u8>(242 + more)}));
        if (more < 12) continue;
        EXPECT_EQ(outcome.outputs.substr(outcome.outputs.size() - 26), " 00 00 00 00 | 00 00 00 00") << more;
    }
}

TEST_F(Temperature, sensor_data_of_short_answers_without_an_id)
{
    const std::string no_id = "00 00 00 00 00 00 00 00 00 00 00 00 | ";
    const Bytes empty = answer(answering, 0x86, 0);
    EXPECT_EQ(
        answered(em_data_without_id, empty),
        (SensorOutcome{0, answering, -1, no_id + to_hex({empty[4], empty[5]}) + " 00 00 | 00 00 00 00"}));
}

TEST_F(Temperature, any_flag_but_0_asks_for_the_id)
{
    for (const int flag : {1, 2, 0x80, 0xFF}) {
        SensorCall call = SensorCall::by_epc(reader_, 2);
        call.setting = static_cast<u8>(flag);
        EXPECT_EQ(answered(em_data, call, answer(answering, 0x86, 0, answer_data)), with_id);
    }
}

TEST_F(Temperature, bx_frame_takes_any_epc)
{
    EXPECT_EQ(sent(bx_temperature, SensorCall::by_epc(reader_, 0)), framed("05 05 8A 00"));
    EXPECT_EQ(sent(bx_temperature, SensorCall::by_epc(reader_, 2)), framed("09 05 8A 02 01 02 03 04"));
    EXPECT_EQ(hex(sent(bx_temperature, SensorCall::by_epc(reader_, 125))),
              with_crc(hex("FF 05 8A 7D") + counted(250)));
    SensorCall call = SensorCall::by_epc(reader_, 2);
    call.handle = OpenHandle::number;
    EXPECT_EQ(sent(bx_temperature, call), framed("09 05 8A 02 01 02 03 04"));
    // Len wraps; the reader gets what it announces.
    const int server = reader_->sServer;
    EXPECT_EQ(sent(bx_temperature, SensorCall::by_epc(reader_, 130)), framed("09 05 8A 82 01 02 03 04"));
    EXPECT_EQ(sent(bx_temperature, SensorCall::by_epc(reader_, 126)).size(), 5U);
    EXPECT_EQ(sent(bx_temperature, SensorCall::by_epc(reader_, 255)), framed("03 05"));
    EXPECT_EQ(reader_->sServer, server);
}

TEST_F(Temperature, bx_code_of_an_empty_answer_is_what_stands_behind_the_status)
{
    const Bytes empty = answer(answering, 0x8A, 0x05);
    EXPECT_EQ(answered(bx_temperature, empty), (SensorOutcome{5, 0x05, empty[4], ""}));
}

// ---- Inventories

Bytes record(u8 id) { return {0x02, id, 0x77, 0x41}; }

// A packet with one tag.
Bytes packet(u8 code, int status, u8 antenna, u8 id)
{
    return answer(0x05, code, static_cast<u8>(status), Bytes{antenna, 1} + record(id));
}

// Stands in for the receivers.
struct TemperatureReceiver {
    int port = 0;
    int command = 0;
    bool work_cleared = false;
    bool into_reader = false;
    Bytes frames;
    int result = 0;
};
TemperatureReceiver receiver;

template <int Port> int stand_in(Reader* reader, u8* to, int* length, int command)
{
    const auto zero = [](u8 b) { return b == 0; };
    receiver.port = Port;
    receiver.command = command;
    receiver.into_reader = to == reader->recvBuff && length == &reader->recvLength;
    receiver.work_cleared = std::all_of(std::begin(reader->szBuff), std::end(reader->szBuff), zero) &&
                            std::all_of(std::begin(reader->szBuff1), std::end(reader->szBuff1), zero);
    std::copy(receiver.frames.begin(), receiver.frames.end(), to);
    *length = static_cast<int>(receiver.frames.size());
    reader->isInventoryCmd = true;
    return receiver.result;
}

struct Found {
    int result;
    int length = -99;
    int tags = 0;
    int antenna = 0x99;
    std::string list{};

    bool operator==(const Found&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Found& f)
    {
        return out << "result " << f.result << ", Totallen " << f.length << ", CardNum " << f.tags << ", Ant "
                   << f.antenna << ", list '" << f.list << "'";
    }
};

class TemperatureInventory : public SensorCommands {
  protected:
    TemperatureInventory()
    {
        SeenTags::take();
        receiver = {};
        reader_->ReaderAddr = 0x05;
    }

    using Slot = decltype(&Operations::Inventory_Temperature);
    using Exported = decltype(&::Inventory_Temperature);
    static constexpr Slot slot_of(u8 code)
    {
        return code == 0x17 ? &Operations::Inventory_Temperature : &Operations::Inventory_Temperature_ltu32;
    }
    static constexpr Exported exported_of(u8 code)
    {
        return code == 0x17 ? ::Inventory_Temperature : ::Inventory_Temperature_ltu32;
    }

    Found outcome(int result) const
    {
        return {result, length_, tags_, antenna_, written_bytes(list_.get(), longest_list)};
    }
    void clear_outputs()
    {
        std::memset(list_.get(), 0x99, longest_list);
        antenna_ = 0x99;
        length_ = tags_ = -99;
    }
    // Command 0xB1 is the one with the mask.
    Found run(u8 code, u8 QValue = 0x04, int words = 1, int handle = 0)
    {
        clear_outputs();
        if (code == 0xB1) return masked(QValue, 0, 8, 1, handle);
        Bytes epc = counted(2 * words);
        const u8 ENum = static_cast<u8>(words);
        const int result =
            handle > 0 ? exported_of(code)(&address_, ENum, epc.data(), 0x21, 0x22, 0x23, QValue, 0x25, 0x26,
                                           0x27, 0x28, list_.get(), &antenna_, &length_, &tags_, handle)
                       : (reader_->operations.*slot_of(code))(reader_, &address_, ENum, epc.data(), 0x21,
                                                              0x22, 0x23, QValue, 0x25, 0x26, 0x27, 0x28,
                                                              list_.get(), &antenna_, &length_, &tags_);
        return outcome(result);
    }
    Found masked(u8 QValue, int mask_flag, int bits, int fast_flag, int handle = 0)
    {
        clear_outputs();
        Bytes at = hex("56 78");
        Bytes mask = counted((bits + 7) / 8);
        u8* at_data = mask_flag == 1 ? at.data() : nullptr;
        u8* mask_data = mask_flag == 1 ? mask.data() : nullptr;
        return outcome(through<&Operations::Inventory_Temperature_Ast010, ::Inventory_Temperature_Ast010>(
            reader_.get(), handle, &address_, QValue, u8{0x25}, MaskMem, at_data, static_cast<u8>(bits),
            mask_data, static_cast<u8>(mask_flag), u8{0x26}, u8{0x27}, u8{0x28}, static_cast<u8>(fast_flag),
            list_.get(), &antenna_, &length_, &tags_));
    }
    // With the receivers replaced.
    Found walked(u8 code, u8 QValue, const Bytes& frames, int result)
    {
        reader_->operations.GetInventoryDataFromPort_TP = stand_in<9>;
        reader_->operations.GetInventoryDataFromPort1 = stand_in<1>;
        receiver.frames = frames;
        receiver.result = result;
        const Found found = run(code, QValue);
        EXPECT_FALSE(reader_->isInventoryCmd);
        EXPECT_FALSE(reader_->Reading);
        reader_->operations.GetInventoryDataFromPort_TP = I_GetInventoryDataFromPort_TP;
        reader_->operations.GetInventoryDataFromPort1 = I_GetInventoryDataFromPort1;
        return found;
    }
    Found fed(u8 code, u8 QValue, const Bytes& frames)
    {
        reader_.feed(frames);
        return run(code, QValue);
    }
    std::string frame() { return to_hex(reader_.sent()); }

    static constexpr std::size_t longest_list = buffer_size + 6;
    u8 address_ = 0x05;
    std::unique_ptr<u8[]> list_ = std::make_unique<u8[]>(longest_list);
    u8 antenna_ = 0x99;
    int length_ = -99;
    int tags_ = -99;
};

constexpr u8 both[] = {0x17, 0xB0};
constexpr u8 all_three[] = {0x17, 0xB0, 0xB1};
const Found silence{TAGWIRE_NO_ANSWER};
const char* const tail = "21 22 23 04 25 26 27 28";

TEST_F(TemperatureInventory, request)
{
    for (const u8 code : both) {
        const auto expected = [&](int len, int words) {
            return to_hex(with_crc(Bytes{static_cast<u8>(len), 0x05, code, static_cast<u8>(words)} +
                                   counted(2 * words) + hex(tail)));
        };
        EXPECT_EQ(run(code, 0x04, 0), silence);
        EXPECT_EQ(frame(), expected(13, 0));
        EXPECT_EQ(run(code, 0x04, 6), silence);
        EXPECT_EQ(frame(), expected(25, 6));
        EXPECT_EQ(run(code, 0x04, 14), silence);
        EXPECT_EQ(frame(), expected(41, 14));
        EXPECT_EQ(run(code, 0x04, 6, OpenHandle::number), silence);
        EXPECT_EQ(frame(), expected(25, 6));
        for (const int words : {15, 16, 31, 32, 127, 128, 254, 255}) {
            const Found refused{TAGWIRE_BAD_ARGUMENT, -99, -99};
            ASSERT_EQ(run(code, 0x04, words), refused) << words;
        }
        EXPECT_EQ(frame(), "");
    }
}

TEST_F(TemperatureInventory, request_with_a_mask)
{
    const auto sent_with = [&](int mask_flag, int bits, int fast_flag) {
        EXPECT_EQ(masked(0x84, mask_flag, bits, fast_flag), silence);
        return frame();
    };
    EXPECT_EQ(sent_with(0, 16, 0), framed("06 05 B1 84 25"));
    EXPECT_EQ(sent_with(2, 16, 0xFF), framed("06 05 B1 84 25"));
    EXPECT_EQ(sent_with(0, 16, 1), framed("09 05 B1 84 25 26 27 28"));
    EXPECT_EQ(sent_with(1, 0, 0), framed("0A 05 B1 84 25 02 56 78 00"));
    EXPECT_EQ(sent_with(1, 9, 0), framed("0C 05 B1 84 25 02 56 78 09 01 02"));
    EXPECT_EQ(sent_with(1, 16, 1), framed("0F 05 B1 84 25 02 56 78 10 01 02 26 27 28"));
    EXPECT_EQ(sent_with(1, 255, 1),
              to_hex(with_crc(hex("2D 05 B1 84 25 02 56 78 FF") + counted(32) + hex("26 27 28"))));
    EXPECT_EQ(masked(0x84, 1, 16, 1, OpenHandle::number), silence);
    EXPECT_EQ(frame(), framed("0F 05 B1 84 25 02 56 78 10 01 02 26 27 28"));
}

TEST_F(TemperatureInventory, flags_and_buffers_around_the_exchange)
{
    for (const u8 code : all_three) {
        WatchedSends sends(reader_);
        std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
        std::memset(reader_->szBuff, 0xA5, sizeof reader_->szBuff);
        std::memset(reader_->szBuff1, 0xA5, sizeof reader_->szBuff1);
        reader_->keeping.frames_used = reader_->keeping.list_used = buffer_size;
        const bool with_mask = code == 0xB1;
        EXPECT_EQ(walked(code, 0x84, packet(code, 1, 4, 0x11), 1).result, 1);
        EXPECT_EQ(sends.in_inventory, with_mask);
        EXPECT_EQ(sends.reading, with_mask);
        EXPECT_TRUE(sends.cleared);
        EXPECT_EQ(receiver.port, with_mask ? 1 : 9);
        EXPECT_EQ(receiver.command, code);
        EXPECT_TRUE(receiver.into_reader);
        if (with_mask) {
            EXPECT_TRUE(receiver.work_cleared);
        }
        EXPECT_EQ(address_, 0x05);
    }
}

TEST_F(TemperatureInventory, frames_become_a_list)
{
    for (const u8 code : all_three) {
        const auto one = [&](int status, u8 antenna, u8 id) { return packet(code, status, antenna, id); };
        const Bytes three = answer(0x05, code, 0x03, hex("01 02") + record(0x21) + record(0x22));
        for (const u8 QValue : {u8{0x04}, u8{0x84}}) {
            EXPECT_EQ(fed(code, QValue, one(1, 4, 0x11)), (Found{1, 4, 1, 4, "02 11 77 41"}));
            EXPECT_EQ(fed(code, QValue, one(2, 4, 0x11)), (Found{2, 4, 1, 4, "02 11 77 41"}));
            EXPECT_EQ(fed(code, QValue, three + one(1, 8, 0x31)),
                      (Found{1, 12, 3, 8, "02 21 77 41 02 22 77 41 02 31 77 41"}));
            EXPECT_EQ(fed(code, QValue, answer(0x05, code, 0x01, hex("04 00"))), (Found{1, 0, 0, 4, ""}));
            EXPECT_EQ(fed(code, QValue, answer(0x05, code, 0xFB)), (Found{0xFB, 0, 0, 0x99, ""}));
            EXPECT_EQ(fed(code, QValue, three + answer(0x05, code, 0xF8)),
                      (Found{0xF8, 8, 2, 1, "02 21 77 41 02 22 77 41"}));
        }
    }
}

// The receivers end an answer at a final status: these frames come from a replaced one.
TEST_F(TemperatureInventory, frames_behind_a_final_status)
{
    for (const u8 code : all_three) {
        const auto one = [&](int status, u8 id) { return packet(code, status, 4, id); };
        for (const int status : {1, 2}) {
            const Bytes frames = one(3, 0x11) + one(status, 0x12) + one(3, 0x13) + one(2, 0x14);
            const Found ended{status, 8, 2, 4, "02 11 77 41 02 12 77 41"};
            const Found all{2, 16, 4, 4, "02 11 77 41 02 12 77 41 02 13 77 41 02 14 77 41"};
            EXPECT_EQ(walked(code, 0x00, frames, 1), ended);
            EXPECT_EQ(walked(code, 0x7F, frames, 1), ended);
            EXPECT_EQ(walked(code, 0x80, frames, 1), code == 0xB1 ? ended : all);
        }
        EXPECT_EQ(walked(code, 0x00, one(3, 0x11) + one(3, 0x12), 1),
                  (Found{3, 8, 2, 4, "02 11 77 41 02 12 77 41"}));
    }
}

TEST_F(TemperatureInventory, frame_of_another_status_stays_in_front)
{
    for (const u8 code : all_three) {
        const auto one = [&](int status, u8 id) { return packet(code, status, 4, id); };
        for (const u8 QValue : {u8{0x04}, u8{0x84}}) {
            EXPECT_EQ(fed(code, QValue, one(3, 0x11) + one(0, 0x12) + one(1, 0x13)),
                      (Found{0, 4, 1, 4, "02 11 77 41"}));
            EXPECT_EQ(fed(code, QValue, one(5, 0x12) + one(3, 0x11) + one(3, 0x11) + one(1, 0x13)),
                      (Found{5, 0, 0, 0x99, ""}));
        }
    }
}

TEST_F(TemperatureInventory, status_26_puts_statistics_in_front_of_the_list)
{
    for (const u8 code : all_three) {
        const Bytes statistics = answer(0x05, code, 0x26, hex("51 52 53 54 55 56 57 58"));
        const Bytes first = packet(code, 3, 4, 0x11);
        const Bytes last = packet(code, 1, 4, 0x12);
        for (const u8 QValue : {u8{0x04}, u8{0x84}}) {
            if (code == 0xB1) {
                EXPECT_EQ(fed(code, QValue, first + statistics + last),
                          (Found{0x26, 4, 1, 4, "02 11 77 41"}));
                continue;
            }
            EXPECT_EQ(fed(code, QValue, first + statistics + last),
                      (Found{0x26, 10, 1, 4, "52 53 54 55 56 57 02 11 77 41"}));
            EXPECT_EQ(fed(code, QValue, statistics + last), (Found{0x26, 6, 0, 0x99, "52 53 54 55 56 57"}));
            EXPECT_EQ(walked(code, QValue, first + statistics, 0x26),
                      (Found{0x26, 10, 1, 4, "52 53 54 55 56 57 02 11 77 41"}));
        }
        if (code == 0xB1) continue;
        EXPECT_EQ(walked(code, 0x84, first + last + statistics, 0x26),
                  (Found{0x26, 14, 2, 4, "52 53 54 55 56 57 02 11 77 41 02 12 77 41"}));
        EXPECT_EQ(walked(code, 0x04, first + last + statistics, 0x26),
                  (Found{1, 8, 2, 4, "02 11 77 41 02 12 77 41"}));
    }
}

TEST_F(TemperatureInventory, receiver_that_failed)
{
    for (const u8 code : all_three) {
        const Bytes frames = packet(code, 1, 4, 0x11);
        EXPECT_EQ(walked(code, 0x04, frames, TAGWIRE_NO_ANSWER), silence);
        EXPECT_EQ(fed(code, 0x04, packet(code, 3, 4, 0x11)), silence);
        reader_->m_type = 2;
        EXPECT_EQ(run(code).result, TAGWIRE_BAD_HANDLE);
        EXPECT_FALSE(reader_->Reading);
        reader_->m_type = tcp_link;
    }
}

TEST_F(TemperatureInventory, tags_go_to_the_callback)
{
    reader_->MypCallBack = SeenTags::callback;
    for (const u8 code : all_three) {
        const Bytes frames = packet(code, 3, 4, 0x11) + packet(code, 0, 4, 0x12) + packet(code, 1, 4, 0x13);
        reader_->InventoryBackUID = false;
        EXPECT_EQ(fed(code, 0x84, packet(code, 3, 4, 0x11) + packet(code, 1, 4, 0x13)),
                  (Found{1, 8, 2, 4, "02 11 77 41 02 13 77 41"}));
        EXPECT_EQ(SeenTags::take().size(), 2U);

        reader_->InventoryBackUID = true;
        EXPECT_EQ(fed(code, 0x84, frames), (Found{1, 0, 0, 0x99, ""}));
        const auto seen = SeenTags::take();
        ASSERT_EQ(seen.size(), 2U);
        EXPECT_EQ(seen[0].uid, "1177");
        EXPECT_EQ(seen[1].uid, "1377");
        EXPECT_EQ(seen[1].tag.RSSI, 0x41);

        EXPECT_EQ(fed(code, 0x04, packet(code, 3, 4, 0x11)), silence);
        EXPECT_EQ(walked(code, 0x04, frames, 0xFB), (Found{0xFB, 0, 0, 0x99, ""}));
        EXPECT_EQ(walked(code, 0x04, frames, TAGWIRE_WRONG_COMMAND), (Found{238, 0, 0, 0x99, ""}));
        SeenTags::take();
    }
}

TEST_F(TemperatureInventory, ends_after_5_seconds_of_silence)
{
    for (const u8 code : all_three) {
        VirtualTime::in(4'000, [this, code] { reader_.feed(packet(code, 3, 4, 0x11)); });
        VirtualTime::in(8'000, [this, code] { reader_.feed(packet(code, 3, 4, 0x12)); });
        const std::int64_t begin = VirtualTime::now_ms();
        EXPECT_EQ(run(code), silence);
        EXPECT_GE(VirtualTime::now_ms() - begin, 13'000);
        EXPECT_LE(VirtualTime::now_ms() - begin, 13'100);
    }
}

TEST_F(TemperatureInventory, list_is_as_long_as_the_buffer_at_most)
{
    for (const u8 code : all_three) {
        const Bytes many = answer(0x05, code, 0x03, hex("04 10") + repeat(0x66, 248));
        reader_->MypCallBack = SeenTags::callback;
        Bytes frames;
        for (int i = 0; i < 300; ++i) frames = frames + many;
        ScriptedReads reads(reader_, {});
        for (std::size_t at = 0; at < frames.size(); at += 4096)
            reads.then(Bytes(frames.begin() + static_cast<long>(at),
                             frames.begin() + static_cast<long>(std::min(at + 4096, frames.size()))));
        reads.then(packet(code, 1, 8, 0x13));
        const Found found = run(code, 0x84);
        EXPECT_EQ(found.result, 1);
        EXPECT_LE(found.length, buffer_size);
        EXPECT_EQ(found.antenna, 8);
        reader_->MypCallBack = nullptr;
        SeenTags::take();
    }
}

// Only the inventory with the mask takes the lock.
TEST_F(TemperatureInventory, exported_function_and_the_lock)
{
    struct Locks {
        static void lock(Reader*) { ++count(); }
        static void unlock(Reader*) { count() += 100; }
        static int& count()
        {
            static int n = 0;
            return n;
        }
    };
    reader_->operations.LOCK = Locks::lock;
    reader_->operations.UNLOCK = Locks::unlock;
    for (const u8 code : all_three) {
        Locks::count() = 0;
        reader_.feed(packet(code, 1, 4, 0x11));
        EXPECT_EQ(run(code, 0x04, 1, OpenHandle::number), (Found{1, 4, 1, 4, "02 11 77 41"}));
        EXPECT_EQ(Locks::count(), code == 0xB1 ? 101 : 0);
        EXPECT_EQ(run(code, 0x04, 1, 200).result, TAGWIRE_BAD_HANDLE);
        reader_->isStopStocktaking = false;
        EXPECT_EQ(run(code, 0x04, 1, OpenHandle::number).result, TAGWIRE_BUSY);
        reader_->isStopStocktaking = true;
    }
    reader_->operations.LOCK = I_LOCK;
    reader_->operations.UNLOCK = I_UNLOCK;
}

}  // namespace
}  // namespace tagwire::engine::test
