// What holds for every command that is answered by one frame, whatever it sends.
#pragma once

#include "support/virtual_time.h"
#include "tagops/tag_call.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {

class TagCommands : public testing::Test {
  protected:
    Outcome finish(const TagCommand& command, TagCall& call) const
    {
        const int result = command.run(reader_, call);
        return call.outcome(result);
    }
    // The outcome when the reader device answers with these bytes.
    Outcome answered(const TagCommand& command, const Bytes& bytes) const
    {
        reader_.feed(bytes);
        TagCall call = TagCall::by_epc(6);
        const Outcome out = finish(command, call);
        reader_.sent();
        return out;
    }
    // The outcome when the receiver gives these bytes and this result.
    Outcome received(const TagCommand& command, const Bytes& bytes, int result = TAGWIRE_OK) const
    {
        const FixedAnswer receiver(reader_, bytes, result);
        TagCall call = TagCall::by_epc(6);
        const Outcome out = finish(command, call);
        EXPECT_FALSE(reader_->isInventoryCmd);
        return out;
    }
    // What goes out to the reader device.
    Bytes sent(const TagCommand& command, TagCall call) const
    {
        const FixedAnswer receiver(reader_, {}, TAGWIRE_NO_ANSWER);
        EXPECT_EQ(finish(command, call), nothing_but(TAGWIRE_NO_ANSWER));
        return reader_.sent();
    }
    static Bytes success(const TagCommand& command)
    {
        return answer(answering_address, command.code, 0, hex(command.data));
    }

    TestReader reader_;
    VirtualTime time_;
};

class AnswerRules : public TagCommands, public testing::WithParamInterface<TagCommand> {
  protected:
    Bytes own(int status, const Bytes& data = {}) const
    {
        return answer(answering_address, GetParam().code, static_cast<u8>(status), data);
    }
};

TEST_P(AnswerRules, status_decides_which_outputs_are_written)
{
    const TagCommand& command = GetParam();
    EXPECT_EQ(answered(command, success(command)), command.success);

    Outcome tag_error = nothing_but(TAGWIRE_TAG_ERROR);
    if (command.has_error_code()) tag_error.Errorcode = 0x0B;
    EXPECT_EQ(answered(command, own(TAGWIRE_TAG_ERROR, hex("0B 31 32"))), tag_error);

    for (int status = 1; status <= 255; ++status) {
        if (status == TAGWIRE_TAG_ERROR) continue;
        EXPECT_EQ(answered(command, own(status, hex("0B 31 32"))), nothing_but(status));
    }
}

TEST_P(AnswerRules, failed_exchange_writes_no_output)
{
    const TagCommand& command = GetParam();
    const Bytes good = success(command);
    // The receiver's own check clears two bytes behind the frame.
    EXPECT_EQ(answered(command, good + hex("01 01 01")), nothing_but(TAGWIRE_BAD_CRC));
    EXPECT_EQ(answered(command, spoiled(good)), nothing_but(TAGWIRE_NO_ANSWER));
    EXPECT_EQ(answered(command, {}), nothing_but(TAGWIRE_NO_ANSWER));
    EXPECT_EQ(received(command, spoiled(good)), nothing_but(TAGWIRE_BAD_CRC));
    EXPECT_EQ(received(command, good, 99), nothing_but(99));
    for (const int status : {0x00, 0x05, 0xFC}) {
        const Bytes other = answer(answering_address, 0x77, static_cast<u8>(status), hex("0B 31 32"));
        EXPECT_EQ(received(command, other), nothing_but(TAGWIRE_WRONG_COMMAND));
        EXPECT_EQ(received(command, spoiled(other)), nothing_but(TAGWIRE_BAD_CRC));
    }
    reader_->m_type = 2;
    EXPECT_EQ(answered(command, {}), nothing_but(TAGWIRE_BAD_HANDLE));
}

TEST_P(AnswerRules, exchange_uses_the_buffers_and_the_inventory_mark_of_its_reader)
{
    const TagCommand& command = GetParam();
    WatchedSends sends(reader_);
    reader_->isInventoryCmd = false;
    std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
    EXPECT_EQ(received(command, success(command)), command.success);
    EXPECT_EQ(sends.in_inventory, command.inventory);
    EXPECT_TRUE(sends.cleared);
    EXPECT_EQ(sends.frame[0] + 1U, sends.frame.size());
    EXPECT_EQ(Bytes(reader_->sendBuff.data, reader_->sendBuff.data + sends.frame.size()), sends.frame);

    reader_->operations.SendDataToPort = [](Reader*, u8*, unsigned) { return int{TAGWIRE_NO_ANSWER}; };
    std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
    EXPECT_EQ(received(command, success(command)), command.success) << "a failed send is not looked at";
    EXPECT_EQ(reader_->recvBuff[4999], 0);
    EXPECT_EQ(reader_->recvBuff[5000], 0xA5);
}

TEST_P(AnswerRules, exported_function_runs_the_operation_on_an_open_and_idle_reader)
{
    const TagCommand& command = GetParam();
    const OpenHandle open(reader_);
    TagCall call = TagCall::by_epc(6);
    for (const int closed : {OpenHandle::number + 1, 255, 256, 257}) {
        call.handle = closed;
        EXPECT_EQ(finish(command, call), nothing_but(TAGWIRE_BAD_HANDLE)) << closed;
    }
    call.handle = OpenHandle::number;
    reader_->isStopStocktaking = false;
    EXPECT_EQ(finish(command, call), nothing_but(TAGWIRE_BUSY));
    EXPECT_EQ(to_hex(reader_.sent()), "");

    reader_->isStopStocktaking = true;
    reader_.feed(success(command));
    EXPECT_EQ(finish(command, call), command.success);
    const Bytes frame = reader_.sent();
    EXPECT_EQ(to_hex(frame), to_hex(sent(command, TagCall::by_epc(6))));
}

}  // namespace tagwire::engine::test
