// What holds for every command for sensor tags that is answered by one frame.
#include <climits>

#include "sensor/sensor_call.h"

namespace tagwire::engine::test {

TEST_P(SensorFrames, name_the_tag_by_its_epc)
{
    expect_epc(0, GetParam().len_0);
    expect_epc(6, GetParam().len_6);
    expect_epc(GetParam().most_words, GetParam().len_most);
}

TEST_P(SensorFrames, name_the_tag_by_a_mask)
{
    if (!GetParam().takes_mask()) return;
    expect_mask(0, GetParam().len_mask_0);
    expect_mask(9, GetParam().len_mask_9);
    expect_mask(16, GetParam().len_mask_16);
    for (const int bits : {1, 8, 17, 248, 249, 255})
        expect_mask(bits, GetParam().len_mask_0 + (bits + 7) / 8);
}

TEST_P(SensorFrames, longer_epc_is_refused_with_nothing_sent)
{
    for (int words = GetParam().most_words + 1; words <= (GetParam().takes_mask() ? 254 : 255); ++words) {
        SensorCall call = by_epc(words);
        ASSERT_EQ(finish(GetParam().run, call), SensorOutcome{TAGWIRE_BAD_ARGUMENT}) << words;
    }
    EXPECT_EQ(to_hex(reader_.sent()), "");
}

TEST_P(SensorFrames, exported_function_passes_every_argument_on)
{
    std::vector<SensorCall> calls{by_epc(6)};
    if (GetParam().takes_mask()) calls.push_back(by_mask(9));
    for (SensorCall call : calls) {
        const std::string frame = sent(GetParam().run, call);
        call.handle = OpenHandle::number;
        EXPECT_EQ(sent(GetParam().run, call), frame);
    }
}

TEST_P(SensorAnswers, status_decides_what_is_written)
{
    EXPECT_EQ(answered(own(0)), GetParam().success);
    EXPECT_EQ(answered(own(0xFC)), GetParam().tag_error);
    for (int status = 1; status <= 255; ++status) {
        if (status == 0xFC) continue;
        SensorOutcome expected = GetParam().failure;
        if (expected.result != 0) expected.result = status;
        ASSERT_EQ(answered(own(status)), expected) << status;
    }
}

TEST_P(SensorAnswers, failed_exchange_writes_no_output)
{
    const auto run = GetParam().run;
    for (const int status : {0x00, 0xFC, 0x05}) {
        EXPECT_EQ(answered(own(status) + bytes_behind), SensorOutcome{TAGWIRE_BAD_CRC});
        const u8 other = static_cast<u8>(status);
        EXPECT_EQ(answered(answer(answering, 0x77, other, answer_data)),
                  SensorOutcome{TAGWIRE_WRONG_COMMAND});
    }
    EXPECT_EQ(answered(spoiled(own(0))), SensorOutcome{TAGWIRE_NO_ANSWER});
    {
        const FixedAnswer bad(reader_, spoiled(own(0)));
        EXPECT_EQ(SensorCommands::answered(run, {}), SensorOutcome{TAGWIRE_BAD_CRC});
    }
    {
        const FixedAnswer failed(reader_, own(0), 99);
        EXPECT_EQ(SensorCommands::answered(run, {}), SensorOutcome{99});
    }
    EXPECT_FALSE(reader_->isInventoryCmd);
    reader_->m_type = 9;
    EXPECT_EQ(answered({}), SensorOutcome{TAGWIRE_BAD_HANDLE});
}

TEST_P(SensorAnswers, exchange_is_that_of_a_single_answer)
{
    WatchedSends sends(reader_);
    std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
    const FixedAnswer good(reader_, own(0));
    EXPECT_EQ(SensorCommands::answered(GetParam().run, {}), GetParam().success);
    EXPECT_EQ(sends.count, 1);
    EXPECT_FALSE(sends.in_inventory);
    EXPECT_TRUE(sends.cleared);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(SensorAnswers, exported_function_checks_handle_and_busy_flag)
{
    for (const int handle : {256, 257, 200, INT_MAX}) {
        SensorCall call = SensorCall::by_epc(reader_, 2);
        call.handle = handle;
        EXPECT_EQ(finish(GetParam().run, call), SensorOutcome{TAGWIRE_BAD_HANDLE}) << handle;
    }
    SensorCall call = SensorCall::by_epc(reader_, 2);
    call.handle = OpenHandle::number;
    reader_->isStopStocktaking = false;
    EXPECT_EQ(finish(GetParam().run, call), SensorOutcome{TAGWIRE_BUSY});
    EXPECT_EQ(to_hex(reader_.sent()), "");
    reader_->isStopStocktaking = true;
    EXPECT_EQ(SensorCommands::answered(GetParam().run, call, own(0)), GetParam().success);
}

}  // namespace tagwire::engine::test
