// The Select filter: what is sent, and what an answer gives.
#include "tagwire/select.h"

#include "tagops/answer_rules.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 session = 0x11;
constexpr u8 action = 0x12;
constexpr u8 bank = 0x13;
constexpr u8 truncate = 0x14;
constexpr u8 carrier = 0x15;

int select(Reader* r, TagCall& c)
{
    return through<&Operations::SelectCMD, ::SelectCMD>(r, c.handle, &c.address, 0x81, session, action, bank,
                                                        c.mask_address.data(), c.MaskLen, c.mask.data(),
                                                        truncate);
}
int select_with_carrier(Reader* r, TagCall& c)
{
    return through<&Operations::SelectCmdWithCarrier, ::SelectCmdWithCarrier>(
        r, c.handle, &c.address, 0x81, session, action, bank, c.mask_address.data(), c.MaskLen, c.mask.data(),
        truncate, carrier);
}
int select_by_number(Reader* r, TagCall& c)
{
    return through<&Operations::SelectCMDByAntenna, ::SelectCMDByAntenna>(
        r, c.handle, &c.address, c.antenna, c.ports, session, action, bank, c.mask_address.data(), c.MaskLen,
        c.mask.data(), truncate);
}
int select_by_field(Reader* r, TagCall& c)
{
    return through<&Operations::SelectCMDByMutipleAntenna, ::SelectCMDByMutipleAntenna>(
        r, c.handle, &c.address, c.antennas.data(), session, action, bank, c.mask_address.data(), c.MaskLen,
        c.mask.data(), truncate);
}

// The status is the result, and nothing is written.
const Outcome result_only = nothing_but(TAGWIRE_OK);
const TagCommand by_port{"SelectCMD", 0x98, select, "", result_only, false};
const TagCommand with_carrier{"SelectCmdWithCarrier", 0x98, select_with_carrier, "", result_only, false};
const TagCommand by_number{"SelectCMDByAntenna", 0x9A, select_by_number, "", result_only, false};
const TagCommand by_field{"SelectCMDByMutipleAntenna", 0x9A, select_by_field, "", result_only, false};
const TagCommand commands[] = {by_port, with_carrier, by_number, by_field};

INSTANTIATE_TEST_SUITE_P(Select, AnswerRules, testing::ValuesIn(commands), testing::PrintToStringParamName());

// The frame of each command: its antenna, session, action and mask, and its end.
struct Frame {
    TagCommand command;
    const char* antenna;
    const char* end;
    int len_without_mask;

    friend std::ostream& operator<<(std::ostream& out, const Frame& f) { return out << f.command; }
};

class SelectFrame : public TagCommands, public testing::WithParamInterface<Frame> {
  protected:
    void expect_frame(int bits, const Bytes& mask) const
    {
        const Frame& frame = GetParam();
        const auto len = static_cast<u8>(frame.len_without_mask + static_cast<int>(mask.size()));
        const Bytes expected = Bytes{len, asked_address, frame.command.code} + hex(frame.antenna) +
                               hex("11 12 13 56 78") + Bytes{static_cast<u8>(bits)} + mask + hex(frame.end);
        EXPECT_EQ(to_hex(sent(frame.command, TagCall::by_mask(bits))), to_hex(with_crc(expected))) << bits;
    }
};

INSTANTIATE_TEST_SUITE_P(Select, SelectFrame,
                         testing::Values(Frame{by_port, "81", "14", 12},
                                         Frame{with_carrier, "81", "14 15", 13},
                                         Frame{by_number, "01 03", "14", 13},
                                         Frame{by_field, "41 42 43 44 45 46 47 48", "14", 19}),
                         testing::PrintToStringParamName());

TEST_P(SelectFrame, has_its_fields_around_the_mask)
{
    expect_frame(0, {});
    expect_frame(9, hex("01 02"));
    expect_frame(12, hex("01 02"));
    expect_frame(16, hex("01 02"));
    for (const int bits : {1, 7, 8, 17, 96, 248, 249, 255}) expect_frame(bits, counting((bits + 7) / 8));
}

using Select = TagCommands;

TEST_F(Select, filter_without_a_mask_ends_behind_its_length)
{
    EXPECT_EQ(to_hex(sent(by_port, TagCall::by_mask(0))),
              to_hex(with_crc(hex("0C 05 98 81 11 12 13 56 78 00 14"))));
}

TEST_F(Select, number_of_ports_decides_how_many_bytes_the_antenna_takes)
{
    const Bytes rest = hex("11 12 13 56 78 00 14");
    const struct {
        int antenna;
        u8 ports;
        const char* head;
    } cases[] = {
        {0x0103, 16, "0D 05 9A 01 03"},     {0x0103, 9, "0D 05 9A 01 03"}, {0x0103, 255, "0D 05 9A 01 03"},
        {0x0103, 8, "0C 05 9A 03"},         {0x0103, 4, "0C 05 9A 03"},    {0x0103, 0, "0C 05 9A 03"},
        {0x0003, 16, "0D 05 9A 00 03"},     {-2, 16, "0D 05 9A FF FE"},    {-2, 8, "0C 05 9A FE"},
        {0x12345678, 16, "0D 05 9A 56 78"},
    };
    for (const auto& one : cases) {
        TagCall call = TagCall::by_mask(0);
        call.antenna = one.antenna;
        call.ports = one.ports;
        EXPECT_EQ(to_hex(sent(by_number, call)), to_hex(with_crc(hex(one.head) + rest)))
            << one.antenna << ' ' << int{one.ports};
    }
}

TEST_F(Select, filter_is_sent_with_the_inventory_mark_clear)
{
    for (const TagCommand& command : commands) {
        const WatchedSends sends(reader_);
        reader_->isInventoryCmd = true;
        EXPECT_EQ(received(command, success(command)), result_only) << command.name;
        EXPECT_FALSE(sends.in_inventory) << command.name;
    }
}

}  // namespace
}  // namespace tagwire::engine::test
