// What holds for every command that sets or reads the reader device.
#include "config/setting.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 other_code = 0x23;

TEST_P(EverySetting, sends_its_request_and_takes_the_answer)
{
    WatchedSends sends(reader_);
    std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
    reader_->isInventoryCmd = true;
    EXPECT_EQ(answered(GetParam(), GetParam().answer(0)), GetParam().with_status(0));
    sends.expect(hex(GetParam().request));
    EXPECT_FALSE(sends.in_inventory);
    EXPECT_TRUE(sends.cleared);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

TEST_P(EverySetting, writes_what_the_status_allows)
{
    for (int status = 0; status <= 255; ++status)
        EXPECT_EQ(received(GetParam(), GetParam().answer(status)), GetParam().with_status(status));
}

TEST_P(EverySetting, writes_nothing_when_the_exchange_fails)
{
    const Setting& setting = GetParam();
    const Bytes good = setting.answer(0);
    for (const int result : {48, 55, 99})
        EXPECT_EQ(received(setting, good, result), setting.with_failure(result));
    EXPECT_EQ(received(setting, spoiled(good)), setting.with_failure(TAGWIRE_BAD_CRC));
    EXPECT_EQ(received(setting, spoiled(own(other_code, 5))), setting.with_failure(TAGWIRE_BAD_CRC));
    for (const int status : {0, 5})
        EXPECT_EQ(received(setting, own(other_code, status, hex(setting.data))),
                  setting.with_failure(TAGWIRE_WRONG_COMMAND));
}

TEST_P(EverySetting, waits_for_the_answer_no_longer_than_its_limit)
{
    const std::int64_t limit = GetParam().amid_reports ? 200 : 1500;
    const std::int64_t start = VirtualTime::now_ms();
    EXPECT_EQ(answered(GetParam(), {}), GetParam().with_failure(TAGWIRE_NO_ANSWER));
    EXPECT_GT(VirtualTime::now_ms() - start, limit);
    EXPECT_LT(VirtualTime::now_ms() - start, limit + 50);
    EXPECT_FALSE(reader_->isInventoryCmd);
}

// 238 comes from commands that check more of an answer than its code.
TEST_P(EverySetting, takes_nothing_from_an_earlier_answer)
{
    std::memset(reader_->recvBuff, 0x77, sizeof reader_->recvBuff);
    for (const Bytes& data : {Bytes{}, Bytes{0x00}}) {
        const std::string outcome = received(GetParam(), own(GetParam().code(), 0, data));
        EXPECT_THAT(outcome,
                    testing::AnyOf(testing::StartsWith("result 0,"), testing::StartsWith("result 238,")));
        EXPECT_THAT(outcome, testing::Not(testing::HasSubstr("77")));
    }
}

// --- Amid reports ---

TEST_P(SettingAmidReports, skips_other_frames_and_noise_in_front_of_its_answer)
{
    const u8 code = GetParam().code();
    const Bytes report = own(0xEE, 0, counting_from(0x01, 20));
    EXPECT_EQ(answered(GetParam(), report + report + good()), success());
    EXPECT_EQ(answered(GetParam(), hex("FF 00 13") + good()), success());
    EXPECT_EQ(answered(GetParam(), own(code, 0, {0x31}) + good()), success());
    EXPECT_EQ(answered(GetParam(), own(0x21, 0) + own(code, 5)), GetParam().with_status(5));
}

TEST_P(SettingAmidReports, takes_its_answer_and_leaves_what_follows)
{
    EXPECT_EQ(answered(GetParam(), good() + own(0xEE, 0, hex("31 32"))), success());
}

TEST_P(SettingAmidReports, waits_200_ms_whatever_comes)
{
    VirtualTime::in(150, [this] { reader_.feed(own(0xEE, 0) + good()); });
    EXPECT_EQ(answered(GetParam(), own(0xEE, 0)), success());

    const std::int64_t start = VirtualTime::now_ms();
    for (const int at : {100, 180}) VirtualTime::in(at, [this] { reader_.feed(own(0xEE, 0)); });
    VirtualTime::in(250, [this] { reader_.feed(good()); });
    EXPECT_EQ(answered(GetParam(), own(0xEE, 0)), GetParam().with_failure(TAGWIRE_NO_ANSWER));
    EXPECT_LT(VirtualTime::now_ms() - start, 250);
}

}  // namespace
}  // namespace tagwire::engine::test
