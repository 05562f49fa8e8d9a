// What holds for every command that names its tag by the EPC or by a mask.
#pragma once

#include "tagops/answer_rules.h"

namespace tagwire::engine::test {

// Behind the command code stand `ahead`, ENum, the EPC, `own` and the mask.
struct Form {
    const char* ahead;
    const char* own;
    int len_by_epc[3];   // with an EPC of 0, 6 and 31 words
    int len_by_mask[3];  // with a mask of 0, 9 and 16 bits
};

struct AddressedCommand {
    TagCommand command;
    Form form;

    friend std::ostream& operator<<(std::ostream& out, const AddressedCommand& c) { return out << c.command; }
};

inline std::vector<TagCommand> commands_of(const std::vector<AddressedCommand>& addressed)
{
    std::vector<TagCommand> out;
    for (const auto& each : addressed) out.push_back(each.command);
    return out;
}

class AddressingRules : public TagCommands, public testing::WithParamInterface<AddressedCommand> {
  protected:
    // Len, address, command and what stands ahead of ENum.
    Bytes head(int len) const
    {
        return Bytes{static_cast<u8>(len), asked_address, GetParam().command.code} +
               hex(GetParam().form.ahead);
    }
    Bytes own() const { return hex(GetParam().form.own); }

    // As operation and as exported function, against the frame without its CRC.
    void expect_frame(TagCall call, const Bytes& expected) const
    {
        const OpenHandle open(reader_);
        for (const int handle : {0, OpenHandle::number}) {
            call.handle = handle;
            EXPECT_EQ(to_hex(sent(GetParam().command, call)), to_hex(with_crc(expected))) << handle;
        }
    }
    void expect_frame_by_mask(int bits, int len) const
    {
        const Bytes mask = hex("02 56 78") + Bytes{static_cast<u8>(bits)} + counting((bits + 7) / 8);
        expect_frame(TagCall::by_mask(bits), head(len) + hex("FF") + own() + mask);
    }
};

TEST_P(AddressingRules, frame_names_the_tag_by_its_epc)
{
    const auto& len = GetParam().form.len_by_epc;
    expect_frame(TagCall::by_epc(0), head(len[0]) + hex("00") + own());
    expect_frame(TagCall::by_epc(6), head(len[1]) + hex("06 01 02 03 04 05 06 07 08 09 0A 0B 0C") + own());
    expect_frame(TagCall::by_epc(31), head(len[2]) + hex("1F") + counting(62) + own());
}

TEST_P(AddressingRules, frame_names_the_tag_by_a_mask)
{
    const auto& len = GetParam().form.len_by_mask;
    expect_frame(TagCall::by_mask(0), head(len[0]) + hex("FF") + own() + hex("02 56 78 00"));
    expect_frame(TagCall::by_mask(9), head(len[1]) + hex("FF") + own() + hex("02 56 78 09 01 02"));
    expect_frame(TagCall::by_mask(16), head(len[2]) + hex("FF") + own() + hex("02 56 78 10 01 02"));
    expect_frame_by_mask(1, len[0] + 1);
    expect_frame_by_mask(8, len[0] + 1);
    expect_frame_by_mask(17, len[0] + 3);
    expect_frame_by_mask(248, len[0] + 31);
    expect_frame_by_mask(249, len[0] + 32);
    expect_frame_by_mask(255, len[0] + 32);
}

TEST_P(AddressingRules, epc_of_32_to_254_words_is_refused_with_nothing_sent)
{
    reader_->isInventoryCmd = true;
    std::memset(reader_->recvBuff, 0xA5, 6000);
    std::memset(&reader_->sendBuff, 0xA5, sizeof reader_->sendBuff);
    for (int words = 32; words <= 254; ++words) {
        TagCall call = TagCall::by_epc(words);
        ASSERT_EQ(finish(GetParam().command, call), nothing_but(TAGWIRE_BAD_ARGUMENT)) << words;
    }
    EXPECT_EQ(to_hex(reader_.sent()), "");
    EXPECT_TRUE(reader_->isInventoryCmd);
    EXPECT_EQ(reader_->recvBuff[0], 0xA5);
    EXPECT_EQ(reader_->sendBuff.comData.ComAddr, 0xA5);
    EXPECT_EQ(reader_->sendBuff.comData.CMD, 0xA5);
}

}  // namespace tagwire::engine::test
