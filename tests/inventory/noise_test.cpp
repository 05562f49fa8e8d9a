// Ten megabytes of random bytes, and random frames with a good CRC, for every receiver.
#include <gmock/gmock.h>

#include <memory>

#include "support/tags.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint32_t next()
    {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 7U;
        state_ ^= state_ << 17U;
        return static_cast<std::uint32_t>(state_ >> 16U);
    }
    std::uint32_t below(std::uint32_t limit) { return next() % limit; }
    u8 byte() { return static_cast<u8>(next()); }

  private:
    std::uint64_t state_;
};

// Stands in for ReadRfidData: random bytes in chunks of any size, then `behind`, then nothing.
struct Noise {
    Random random{0x9E3779B97F4A7C15};
    std::size_t left = 10'000'000;
    std::uint32_t chunk = 65536;
    Bytes behind;
    u8 avoid = 0;  // with `avoiding`, a byte that does not occur
    bool avoiding = false;
};
Noise noise;

int read_noise(Reader* /*reader*/, u8* to)
{
    if (noise.left == 0) {
        const std::size_t count = noise.behind.size();
        std::copy(noise.behind.begin(), noise.behind.end(), to);
        noise.behind.clear();
        return static_cast<int>(count);
    }
    const std::uint32_t size = noise.random.below(8) == 0 ? noise.random.below(300) + 1 : noise.chunk;
    const std::size_t count = std::min<std::size_t>(noise.left, size);
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = noise.random.byte();
        if (noise.avoiding && to[i] == noise.avoid) to[i] ^= 0x5AU;
    }
    noise.left -= count;
    return static_cast<int>(count);
}

class AnyReceiver : public testing::Test {
  protected:
    AnyReceiver()
    {
        noise = Noise{};
        reader_->ReaderAddr = 0x05;
        reader_->operations.ReadRfidData = read_noise;
        out_ = std::make_unique<u8[]>(buffer_size);
    }

    TestReader reader_;
    VirtualTime time_;
    std::unique_ptr<u8[]> out_;
    int length_ = -1;
};

const Bytes padding = repeat(0xFF, 300);
const Bytes last = answer(0x05, 0x01, 0x01, hex("01 01 01 AA 50"));

using Receiver = int (*Operations::*)(Reader*, u8*, int*, int);

TEST_F(AnyReceiver, gives_up_when_nothing_but_noise_came)
{
    // Without zeros no foreign frame gets to the CRC; a good frame would need its header as well.
    for (const Receiver slot :
         {&Operations::GetInventoryDataFromPort1, &Operations::GetInventoryDataFromPort2,
          &Operations::GetInventoryDataFromPort_TP, &Operations::GetInventory_FindEPC_DataFromPort}) {
        noise = Noise{};
        noise.avoiding = true;
        const std::int64_t start = VirtualTime::now_ms();
        EXPECT_EQ((reader_.operations().*slot)(reader_, out_.get(), &length_, 0x01), TAGWIRE_NO_ANSWER);
        EXPECT_EQ(length_, 0);
        EXPECT_EQ(noise.left, 0U);
        EXPECT_GT(VirtualTime::now_ms() - start, 5000);
    }
}

TEST_F(AnyReceiver, finds_the_answer_behind_noise)
{
    for (const Receiver slot :
         {&Operations::GetInventoryDataFromPort1, &Operations::GetInventoryDataFromPort2,
          &Operations::GetInventoryDataFromPort_TP, &Operations::GetInventory_FindEPC_DataFromPort}) {
        noise = Noise{};
        noise.avoiding = true;
        noise.behind = padding + last + padding;
        EXPECT_EQ((reader_.operations().*slot)(reader_, out_.get(), &length_, 0x01), 1);
        ASSERT_GE(length_, static_cast<int>(last.size()));
        EXPECT_EQ(Bytes(out_.get() + length_ - last.size(), out_.get() + length_), last);
    }
}

TEST_F(AnyReceiver, finds_the_answer_of_an_antenna_switch_behind_noise)
{
    noise.avoiding = true;
    noise.avoid = 0xA0;
    noise.behind = hex("A0") + last + padding;
    EXPECT_EQ(reader_.operations().GetInventoryDataFromPort3(reader_, out_.get(), &length_, 0x1C), 1);
    EXPECT_EQ(Bytes(out_.get(), out_.get() + length_), last);
}

TEST_F(AnyReceiver, ends_with_raw_noise)
{
    reader_->MypCallBack = SeenTags::callback;
    const int result = reader_.operations().GetInventoryDataFromPort3(reader_, out_.get(), &length_, 0x1C);
    EXPECT_GE(result, 0);
    EXPECT_LE(result, 255);
    EXPECT_LE(length_, buffer_size);
}

TEST_F(AnyReceiver, waits_200_ms_for_one_answer_in_noise)
{
    noise.chunk = 2048;  // what one read of a link brings at most
    const std::int64_t start = VirtualTime::now_ms();
    EXPECT_EQ(reader_.operations().AutoGetDataFromPort(reader_, out_.get(), &length_, 0x123), 48);
    EXPECT_EQ(VirtualTime::now_ms() - start, 201);
}

TEST_F(AnyReceiver, gives_up_when_noise_overflows_the_buffer)
{
    reader_->recvLength = 0;
    EXPECT_EQ(reader_.operations().GetDataFromPort_buff(reader_, reader_->recvBuff, &reader_->recvLength),
              48);
    noise = Noise{};
    EXPECT_EQ(reader_.operations().GetBufferDataFromPort(reader_, reader_->recvBuff, &reader_->recvLength),
              48);
    noise = Noise{};
    noise.avoiding = true;
    noise.avoid = 0x43;
    EXPECT_EQ(reader_.operations().GetDataFromPort1(reader_, reader_->recvBuff, &reader_->recvLength), 48);
}

Bytes random_frame(Random& random, std::size_t most, u8 status)
{
    const std::size_t size = random.below(static_cast<std::uint32_t>(most));
    Bytes data;
    for (std::size_t i = 0; i < size; ++i) data.push_back(random.byte());
    return answer(0x05, 0x20, status, data);
}

TEST_F(AnyReceiver, takes_any_frame_with_a_good_crc)
{
    Random random(42);
    reader_->MypCallBack = [](RFIDTagStruct tag, int kind) {
        EXPECT_LE(std::strlen(tag->UID), 510U);
        EXPECT_TRUE(kind == 1 || kind == 2);
    };
    for (const int cmd : {0x01, 0x19, 0x20, 0x50, 0x57}) {
        for (int i = 0; i < 2000; ++i) {
            const auto room = std::make_unique<u8[]>(300);
            const Bytes frame = random_frame(random, 250, 0x03);
            std::copy(frame.begin(), frame.end(), room.get());
            reader_.operations().parserRidTag(reader_, room.get(), cmd);
        }
    }
}

TEST_F(AnyReceiver, returns_all_of_a_random_answer_in_random_chunks)
{
    Random random(7);
    for (int round = 0; round < 200; ++round) {
        Bytes all;
        for (int i = 0; i < 20; ++i) all = all + random_frame(random, 250, i == 19 ? 0x01 : 0x03);
        std::vector<Bytes> chunks;
        for (std::size_t at = 0; at < all.size();) {
            const std::size_t size = std::min<std::size_t>(all.size() - at, random.below(400));
            const auto from = all.begin() + static_cast<std::ptrdiff_t>(at);
            chunks.emplace_back(from, from + static_cast<std::ptrdiff_t>(size));
            at += size;
        }
        const ScriptedReads reads(reader_, chunks);
        EXPECT_EQ(reader_.operations().GetInventoryDataFromPort1(reader_, out_.get(), &length_, 0x20), 1);
        EXPECT_TRUE(Bytes(out_.get(), out_.get() + length_) == all);
    }
}

}  // namespace
}  // namespace tagwire::engine::test
