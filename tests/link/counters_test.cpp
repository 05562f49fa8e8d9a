// What is counted of the bytes that each receiver gets.
#include <gmock/gmock.h>

#include <memory>

#include "support/test_reader.h"
#include "support/virtual_time.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 address = 0x05;

struct Counts {
    std::size_t bytes;
    unsigned frames;
    unsigned bad_crc;
    std::size_t skipped_bytes;

    friend bool operator==(const Counts&, const Counts&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Counts& c)
    {
        return out << c.bytes << " bytes, " << c.frames << " frames, " << c.bad_crc << " bad, "
                   << c.skipped_bytes << " skipped";
    }
};

Bytes frame(u8 status, u8 command) { return answer(address, command, status, hex("01 01 01 AA 50")); }
Bytes damaged(Bytes bytes)
{
    bytes[7] ^= 0x10;
    return bytes;
}
const Bytes noise = hex("13 37");

class Counters : public testing::Test {
  protected:
    Counters() { reader_->ReaderAddr = address; }

    // What `receive` makes of these bytes.
    template <class Receive> Counts counts_of(const Bytes& bytes, Receive receive)
    {
        reader_.feed(bytes);
        const auto out = std::make_unique<u8[]>(buffer_size);
        int length = 0;
        receive(out.get(), &length);
        return counts();
    }
    Counts counts() const
    {
        const LinkCounters& all = reader_->keeping.counters;
        return {static_cast<std::size_t>(all.bytes), static_cast<unsigned>(all.frames),
                static_cast<unsigned>(all.bad_crc), static_cast<std::size_t>(all.skipped_bytes)};
    }
    Counts single(const Bytes& bytes)
    {
        return counts_of(bytes, [&](u8* to, int* n) { reader_->operations.GetDataFromPort(reader_, to, n); });
    }
    Counts expected(const Bytes& bytes, int command)
    {
        return counts_of(
            bytes, [&](u8* to, int* n) { reader_->operations.AutoGetDataFromPort(reader_, to, n, command); });
    }

    VirtualTime time_;
    TestReader reader_;
};

TEST_F(Counters, of_a_single_answer)
{
    const Bytes good = frame(0x00, 0x83);
    EXPECT_EQ(single(good), (Counts{11, 1, 0, 0}));
    EXPECT_EQ(single(good + noise), (Counts{24, 2, 0, 2}));
}

TEST_F(Counters, of_a_single_answer_that_is_damaged)
{
    EXPECT_EQ(single(damaged(frame(0, 0x83))), (Counts{11, 0, 1, 11}));
}

TEST_F(Counters, of_a_single_answer_that_is_cut)
{
    EXPECT_EQ(single(hex("0A 05 83 00 01")), (Counts{5, 0, 0, 5}));
    EXPECT_EQ(single(hex("03 05 83 00 01")), (Counts{10, 0, 0, 10}));
}

TEST_F(Counters, of_silence) { EXPECT_EQ(single({}), (Counts{0, 0, 0, 0})); }

// An answer that ends with a zero may be there before that has come.
TEST_F(Counters, of_a_single_answer_whose_last_zero_is_missing)
{
    Bytes good;
    for (u8 i = 0; good.empty() || good.back() != 0; ++i) good = answer(address, 0x83, 0x00, {i});
    good.pop_back();
    EXPECT_EQ(single(good), (Counts{good.size(), 1, 0, 0}));
}

TEST_F(Counters, of_the_answer_among_others)
{
    EXPECT_EQ(expected(noise + frame(0x00, 0xEE) + answer(address, 0x51, 0x00), 0x51), (Counts{19, 2, 0, 2}));
}

// The receiver stays where it is, and has looked at it once.
TEST_F(Counters, of_the_answer_that_is_damaged)
{
    Bytes bad = answer(address, 0x51, 0x00);
    bad[3] = 0x01;
    for (int at = 10; at < 100; at += 10) VirtualTime::in(at, [&] { reader_.feed(noise); });
    EXPECT_EQ(expected(bad, 0x51), (Counts{24, 0, 1, 0}));
}

// ---- Answers of several frames

using Receiver = int (*Operations::*)(Reader*, u8*, int*, int);
using PlainReceiver = int (*Operations::*)(Reader*, u8*, int*);

struct Framed {
    const char* name;
    Receiver slot;
    PlainReceiver plain_slot;
    u8 command;
    Bytes lead;
};

class FramedCounters : public Counters, public testing::WithParamInterface<Framed> {};

TEST_P(FramedCounters, tell_good_frames_bad_ones_and_noise)
{
    const auto& [name, slot, plain_slot, command, lead] = GetParam();
    const Bytes bytes = noise + lead + damaged(frame(0x03, command)) + lead + frame(0x03, command) + lead +
                        frame(0x01, command);
    const auto receive = [&, slot = slot, plain_slot = plain_slot, command = command](u8* to, int* n) {
        if (slot != nullptr)
            (reader_.operations().*slot)(reader_, to, n, command);
        else
            (reader_.operations().*plain_slot)(reader_, to, n);
    };
    EXPECT_EQ(counts_of(bytes, receive), (Counts{bytes.size(), 2, 1, 13 + lead.size()}));
}

INSTANTIATE_TEST_SUITE_P(
    Of, FramedCounters,
    testing::Values(
        Framed{"inventory", &Operations::GetInventoryDataFromPort1, nullptr, 0x01, {}},
        Framed{"inventory_with_statistics", &Operations::GetInventoryDataFromPort2, nullptr, 0x01, {}},
        Framed{"switched_inventory", &Operations::GetInventoryDataFromPort3, nullptr, 0x01, {0xA0}},
        Framed{"temperature", &Operations::GetInventoryDataFromPort_TP, nullptr, 0x92, {}},
        Framed{"list_search", &Operations::GetInventory_FindEPC_DataFromPort, nullptr, 0x1A, {}},
        Framed{"memory", &Operations::GetMemDataFromPort, nullptr, 0xCB, {}},
        Framed{"scan", nullptr, &Operations::GetWifiDataFromPort, 0xE6, {}},
        Framed{"table", nullptr, &Operations::GetParemTabDataFromPort, 0xE6, {}}),
    [](const auto& test) { return test.param.name; });

// ---- Answers whose CRC is not looked at

class UncheckedCounters : public Counters, public testing::WithParamInterface<PlainReceiver> {};

TEST_P(UncheckedCounters, count_bytes_only)
{
    const Bytes bytes = noise + frame(0x01, 0x72);
    const auto receive = [&](u8* to, int* n) { (reader_.operations().*GetParam())(reader_, to, n); };
    EXPECT_EQ(counts_of(bytes, receive), (Counts{bytes.size(), 0, 0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Of, UncheckedCounters,
                         testing::Values(&Operations::GetBufferDataFromPort,
                                         &Operations::GetDataFromPort_buff, &Operations::GetDataFromPort1));

}  // namespace
}  // namespace tagwire::engine::test
