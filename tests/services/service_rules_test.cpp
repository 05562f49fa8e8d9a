// What holds for every service that is answered by one frame, whatever it does.
#include <climits>

#include "services/service_call.h"

namespace tagwire::engine::test {
namespace {

constexpr std::uint8_t answering = 0x07;

Bytes answered(const Service& service, u8 status)
{
    return answer(answering, service.code(), status, hex(service.data));
}

TEST_P(OneAnswer, sends_its_frame)
{
    const OpenHandle open(reader_);
    stand_in_.result = TAGWIRE_NO_ANSWER;
    for (const int handle : {0, OpenHandle::number}) {
        stand_in_.soil();
        Call call(reader_, handle);
        EXPECT_EQ(GetParam().run(call), TAGWIRE_NO_ANSWER);
        ASSERT_EQ(stand_in_.sent.size(), 1U);
        EXPECT_EQ(to_hex(stand_in_.sent[0]), to_hex(with_crc(hex(GetParam().request))));
        EXPECT_FALSE(stand_in_.in_inventory);
        EXPECT_TRUE(stand_in_.cleared);
        EXPECT_TRUE(stand_in_.into_reader);
        EXPECT_TRUE(stand_in_.length_before == 0 || !GetParam().clears_length);
        stand_in_.sent.clear();
    }
}

TEST_P(OneAnswer, writes_its_outputs_with_status_0)
{
    stand_in_.bytes = answered(GetParam(), 0);
    Call call(reader_);
    EXPECT_EQ(GetParam().run(call), TAGWIRE_OK);
    EXPECT_EQ(call.written(), GetParam().written);
    EXPECT_EQ(call.address, GetParam().writes_address ? answering : 0x05);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(OneAnswer, passes_another_status_on)
{
    for (const u8 status : {1, 3, 48, 49, 238, 251, 252, 255}) {
        stand_in_.bytes = answered(GetParam(), status);
        Call call(reader_);
        EXPECT_EQ(GetParam().run(call), status);
        EXPECT_EQ(call.written(), GetParam().writes_always ? GetParam().written : "") << int{status};
        EXPECT_EQ(call.address, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
}

TEST_P(OneAnswer, writes_nothing_without_a_good_answer)
{
    const Bytes good = answered(GetParam(), 0);
    const Bytes other =
        answer(answering, static_cast<u8>(GetParam().code() ^ 0x40U), 0, hex(GetParam().data));
    const struct {
        Bytes bytes;
        int receiver_result;
        int result;
    } cases[] = {
        {good, TAGWIRE_NO_ANSWER, TAGWIRE_NO_ANSWER},
        {good, TAGWIRE_BAD_HANDLE, TAGWIRE_BAD_HANDLE},
        {good, 99, 99},
        {spoiled(good), TAGWIRE_OK, TAGWIRE_BAD_CRC},
        {good + Bytes{0x01}, TAGWIRE_OK, TAGWIRE_BAD_CRC},
        {{}, TAGWIRE_OK, TAGWIRE_BAD_CRC},
        {spoiled(other), TAGWIRE_OK, TAGWIRE_BAD_CRC},
        {other, TAGWIRE_OK, TAGWIRE_WRONG_COMMAND},
        {answer(answering, 0xEE, 0x05), TAGWIRE_OK, TAGWIRE_WRONG_COMMAND},
    };
    for (const auto& each : cases) {
        stand_in_.bytes = each.bytes;
        stand_in_.result = each.receiver_result;
        Call call(reader_);
        EXPECT_EQ(GetParam().run(call), each.result) << to_hex(each.bytes);
        EXPECT_EQ(call.written(), "");
        EXPECT_EQ(call.address, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
}

TEST_P(OneAnswer, is_refused_on_a_bad_handle_and_while_reading)
{
    for (const int handle : {200, 256, INT_MAX}) {
        Call call(reader_, handle);
        EXPECT_EQ(GetParam().run(call), TAGWIRE_BAD_HANDLE) << handle;
    }
    const OpenHandle open(reader_);
    reader_->isStopStocktaking = false;
    Call call(reader_, OpenHandle::number);
    EXPECT_EQ(GetParam().run(call), TAGWIRE_BUSY);
    EXPECT_EQ(call.written(), "");
    EXPECT_TRUE(stand_in_.sent.empty());
    reader_->isStopStocktaking = true;
    stand_in_.bytes = answered(GetParam(), 0);
    EXPECT_EQ(GetParam().run(call), TAGWIRE_OK);
    EXPECT_EQ(call.written(), GetParam().written);
}

}  // namespace
}  // namespace tagwire::engine::test
