// Parameter tables: read and written in many frames, and made the factory's.
#include "services/service_call.h"
#include "tagwire/update.h"

namespace tagwire::engine::test {
namespace {

int overwrite(Call& c)
{
    return c
        .run<&Operations::OverwriteFactoryDefaultParameterTable, ::OverwriteFactoryDefaultParameterTable>();
}
int restore(Call& c)
{
    return c.run<&Operations::RestoreFactoryDefaultParameterTable, ::RestoreFactoryDefaultParameterTable>();
}
int clear(Call& c) { return c.run<&Operations::ClearAllParameters, ::ClearAllParameters>(u8{0x42}); }

const Service services[] = {
    {"OverwriteFactoryDefaultParameterTable", overwrite, "06 05 E6 0F 00", "0F", "", false, true},
    {"RestoreFactoryDefaultParameterTable", restore, "06 05 E6 10 00", "10", "", false, true},
    {"ClearAllParameters", clear, "06 05 E6 10 42", "10", "", false, true},
};
INSTANTIATE_TEST_SUITE_P(ParameterTable, OneAnswer, testing::ValuesIn(services), service_name);

Bytes table_of(std::size_t size)
{
    Bytes out(size);
    for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<u8>(i * 31 + i / 251 + 1);
    return out;
}

Bytes data_frame(const Bytes& bytes) { return answer(0x05, 0xE6, 0x60, Bytes{0x0D} + bytes); }
Bytes closing_frame(std::size_t size)
{
    return answer(0x05, 0xE6, 0, {0x0D, static_cast<u8>(size >> 8U), static_cast<u8>(size)});
}
// A whole table, each frame a chunk.
std::vector<Bytes> frames_of(const Bytes& table, std::size_t frame_size = 240)
{
    std::vector<Bytes> out;
    for (const Bytes& chunk : in_chunks(table, frame_size)) out.push_back(data_frame(chunk));
    out.push_back(closing_frame(table.size()));
    return out;
}
Bytes joined(const std::vector<Bytes>& chunks)
{
    Bytes out;
    for (const Bytes& chunk : chunks) out = std::move(out) + chunk;
    return out;
}

constexpr std::size_t sizes[] = {0, 1, 239, 240, 241, 480, 65'535};

class ReadTable : public testing::Test {
  protected:
    ReadTable() { reader_->ReaderAddr = 0x05; }

    // The table has just the room that it takes.
    int read(std::size_t room, int handle = 0)
    {
        table_ = repeat(unwritten, room);
        length_ = repeat(unwritten, 2);
        start_ = VirtualTime::now_ms();
        return through<&Operations::ReadParameterTable, ::ReadParameterTable>(
            reader_.get(), handle, &address_, u8{0x42}, table_.data(), length_.data());
    }
    void expect_table(const Bytes& table, std::vector<Bytes> chunks)
    {
        const ScriptedReads reads(reader_, std::move(chunks));
        EXPECT_EQ(read(table.size()), TAGWIRE_OK);
        EXPECT_TRUE(table_ == table) << table.size();
        EXPECT_EQ(length_[0] << 8U | length_[1], static_cast<int>(table.size()));
        EXPECT_EQ(address_, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
    void expect_failure(std::vector<Bytes> chunks, int result = TAGWIRE_NO_ANSWER)
    {
        const ScriptedReads reads(reader_, std::move(chunks));
        EXPECT_EQ(read(600), result);
        expect_untouched();
    }
    void expect_untouched() const
    {
        EXPECT_EQ(table_, repeat(unwritten, table_.size()));
        EXPECT_EQ(length_, repeat(unwritten, 2));
        EXPECT_EQ(address_, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
    void expect_elapsed(int limit_ms) const
    {
        EXPECT_GT(VirtualTime::now_ms() - start_, limit_ms);
        EXPECT_LE(VirtualTime::now_ms() - start_, limit_ms + 20);
    }

    VirtualTime time_;
    TestReader reader_;
    u8 address_ = 0x05;
    Bytes table_;
    Bytes length_;
    std::int64_t start_ = 0;
};

TEST_F(ReadTable, asks_and_gathers_the_bytes)
{
    const OpenHandle open(reader_);
    const Bytes table = table_of(400);
    for (const int handle : {0, OpenHandle::number}) {
        reader_.feed(joined(frames_of(table)));
        EXPECT_EQ(read(400, handle), TAGWIRE_OK);
        EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("06 05 E6 0D 42"))));
        EXPECT_EQ(table_, table);
        EXPECT_EQ(to_hex(length_), "01 90");
    }
}

TEST_F(ReadTable, of_any_size)
{
    for (const std::size_t size : sizes) {
        expect_table(table_of(size), frames_of(table_of(size)));
        expect_table(table_of(size), in_chunks(joined(frames_of(table_of(size), 249)), 2048));
    }
}

TEST_F(ReadTable, in_any_pieces)
{
    const Bytes table = table_of(20);
    for (const auto& chunks : all_splits(hex("FF 41") + joined(frames_of(table, 7))))
        expect_table(table, chunks);
}

TEST_F(ReadTable, frames_without_bytes_and_with_other_statuses_add_nothing)
{
    const Bytes table = hex("11 12 13");
    expect_table(table,
                 {data_frame({}), answer(5, 0xE6, 0x60), data_frame(table), answer(5, 0xE6, 0x61, table),
                  answer(5, 0xE6, 1, table), answer(5, 0xE6, 255), closing_frame(3)});
}

TEST_F(ReadTable, noise_and_bad_frames_are_skipped)
{
    const Bytes table = hex("11 12 13");
    for (const char* noise :
         {"FF", "00", "03 05 E6", "FF FF FF FF FF", "00 00 00 00", "06 05 E6 60 0D 11 22", "02 01 03 E6"})
        expect_table(table, {hex(noise) + data_frame(table), hex(noise) + closing_frame(3)});
    expect_table(table, {spoiled(data_frame(hex("41 42 43"))) + data_frame(table) + closing_frame(3)});
    expect_table(table, in_chunks(repeat(0xFF, 5000) + joined(frames_of(table)), 2048));
}

TEST_F(ReadTable, the_closing_length_must_be_right)
{
    for (const std::size_t announced : {0U, 98U, 100U, 99U + 256U, 65'535U})
        expect_failure({data_frame(table_of(99)), closing_frame(announced)});
    expect_table(table_of(99), {data_frame(table_of(99)), closing_frame(99)});
    expect_failure({closing_frame(1)});
}

TEST_F(ReadTable, a_lost_or_repeated_frame_ends_it)
{
    const std::vector<Bytes> frames = frames_of(table_of(480));
    expect_failure({frames[0], frames[2]});
    expect_failure({frames[0], frames[1], frames[1], frames[2]});
    expect_failure({frames[0], frames[1]});
    expect_elapsed(300);
    expect_failure({frames[0], spoiled(frames[1]), frames[2]});
}

TEST_F(ReadTable, other_addresses_are_skipped)
{
    const Bytes table = hex("11 12 13");
    const Bytes foreign = answer(6, 0xE6, 0x60, Bytes{0x0D} + table);
    expect_table(table, {foreign, data_frame(table), foreign + foreign, closing_frame(3)});
    reader_->ReaderAddr = 0x04;
    expect_failure({data_frame(table), closing_frame(3)});
    expect_elapsed(300);
}

TEST_F(ReadTable, other_codes_are_skipped_except_0)
{
    const Bytes table = hex("11 12 13");
    expect_table(table, {answer(5, 0xE7, 0x60, hex("0D 55")), answer(5, 0xEE, 5), data_frame(table),
                         answer(5, 0xEE, 0), closing_frame(3)});
    expect_table(table, {answer(9, 0, 0x60, Bytes{0x0D} + table), closing_frame(3)});
}

TEST_F(ReadTable, ends_after_300_ms_of_silence)
{
    expect_failure({});
    expect_elapsed(300);
}

TEST_F(ReadTable, each_good_frame_gives_another_300_ms)
{
    const std::vector<Bytes> frames = frames_of(table_of(20), 4);
    ScriptedReads reads(reader_, {});
    for (std::size_t i = 0; i < frames.size(); ++i)
        VirtualTime::in(static_cast<std::int64_t>(i + 1) * 280, [&, i] { reads.then(frames[i]); });
    EXPECT_EQ(read(20), TAGWIRE_OK);
    EXPECT_EQ(table_, table_of(20));

    VirtualTime::in(280, [&] { reads.then(spoiled(frames[0]) + hex("FF FF")); });
    EXPECT_EQ(read(20), TAGWIRE_NO_ANSWER);
    expect_elapsed(300);
}

TEST_F(ReadTable, a_stop_ends_it)
{
    ScriptedReads reads(reader_, {data_frame(hex("11"))});
    reads.before_call = [this](int call) { reader_->isStopCmd = call >= 2; };
    EXPECT_EQ(read(20), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reads.calls(), 2);
    expect_untouched();
}

TEST_F(ReadTable, a_failing_read_ends_it)
{
    ScriptedReads reads(reader_, {data_frame(hex("11"))});
    reads.fail_at_end();
    EXPECT_EQ(read(20), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(reads.calls(), 2);
    expect_untouched();
}

TEST_F(ReadTable, a_link_of_another_type)
{
    reader_->m_type = 2;
    expect_failure({}, TAGWIRE_BAD_HANDLE);
    int length = -77;
    EXPECT_EQ(reader_.operations().GetParemTabDataFromPort(reader_, reader_->recvBuff, &length),
              TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(length, 0);
}

TEST_F(ReadTable, longer_than_a_length_can_say)
{
    for (const std::size_t size : {65'536U, 65'537U, 66'000U, 131'072U}) {
        expect_failure(frames_of(table_of(size)));
        expect_failure(in_chunks(joined(frames_of(table_of(size), 249)), 2048));
    }
}

// The frame that did not fit is still there: nothing was written over it.
TEST_F(ReadTable, stays_inside_its_buffer)
{
    const std::vector<Bytes> frames = frames_of(table_of(65'536 + 240));
    expect_failure(frames);
    const Bytes& last = frames[273];
    EXPECT_EQ(to_hex({reader_->btArBuff, reader_->btArBuff + last.size()}), to_hex(last));
}

TEST_F(ReadTable, a_new_read_starts_empty)
{
    expect_failure({data_frame(table_of(50)), hex("30 05 E6 60 0D 11 12")});
    expect_table(hex("21 22"), frames_of(hex("21 22")));
}

TEST_F(ReadTable, passes_the_result_of_the_receiver_on)
{
    StandIn stand_in(reader_, &Operations::GetParemTabDataFromPort);
    for (const int result : {48, 55, 99, 238, 255}) {
        stand_in.soil();
        stand_in.bytes = hex("11 12");
        stand_in.result = result;
        EXPECT_EQ(read(20), result);
        EXPECT_EQ(stand_in.length_before, 0);
        EXPECT_TRUE(stand_in.into_reader);
        EXPECT_TRUE(stand_in.cleared);
        EXPECT_FALSE(stand_in.in_inventory);
        expect_untouched();
    }
    stand_in.result = TAGWIRE_OK;
    EXPECT_EQ(read(2), TAGWIRE_OK);
    EXPECT_EQ(to_hex(table_), "11 12");
}

TEST_F(ReadTable, is_refused_on_a_bad_handle_and_while_reading)
{
    const OpenHandle open(reader_);
    EXPECT_EQ(read(2, 200), TAGWIRE_BAD_HANDLE);
    reader_->isStopStocktaking = false;
    EXPECT_EQ(read(2, OpenHandle::number), TAGWIRE_BUSY);
    EXPECT_TRUE(reader_.sent().empty());
    expect_untouched();
}

class WriteTable : public testing::Test {
  protected:
    WriteTable()
    {
        stand_in_.send_result = TAGWIRE_OK;
        stand_in_.bytes = good;
    }
    int write(Bytes table, int handle = 0)
    {
        table.shrink_to_fit();
        stand_in_.sent.clear();
        stand_in_.received = 0;
        return through<&Operations::WriteParameterTable, ::WriteParameterTable>(
            reader_.get(), handle, &address_, u8{0x42}, table.data(), static_cast<int>(table.size()));
    }
    // The frames of a table: its bytes, 240 at a time, and one frame without any.
    static std::vector<Bytes> frames_of(const Bytes& table)
    {
        std::vector<Bytes> chunks = in_chunks(table, 240);
        chunks.emplace_back();
        std::vector<Bytes> out;
        out.reserve(chunks.size());
        for (const Bytes& chunk : chunks)
            out.push_back(request(5, 0xE6, Bytes{0x0E, 0x42, static_cast<u8>(out.size())} + chunk));
        return out;
    }
    // The result when the answer to frame `at` is this one.
    int write_answered(int at, const Bytes& bytes, int result = TAGWIRE_OK)
    {
        stand_in_.before_answer = [=](StandIn& now) {
            now.bytes = now.received == at ? bytes : good;
            now.result = now.received == at ? result : TAGWIRE_OK;
        };
        return write(table_of(480));
    }

    static inline const Bytes good = answer(0x07, 0xE6, 0, {0x0E});
    TestReader reader_;
    StandIn stand_in_{reader_};
    u8 address_ = 0x05;
};

TEST_F(WriteTable, of_any_size)
{
    for (const std::size_t size : sizes) {
        EXPECT_EQ(write(table_of(size)), TAGWIRE_OK);
        EXPECT_TRUE(stand_in_.sent == frames_of(table_of(size))) << size;
        EXPECT_EQ(address_, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
    EXPECT_EQ(stand_in_.sent.size(), 275U);
    EXPECT_EQ(stand_in_.sent.back()[5], 274 - 256) << "the number of a frame wraps";
}

TEST_F(WriteTable, frames_in_full)
{
    EXPECT_EQ(write({}), TAGWIRE_OK);
    ASSERT_EQ(stand_in_.sent.size(), 1U);
    EXPECT_EQ(to_hex(stand_in_.sent[0]), to_hex(with_crc(hex("07 05 E6 0E 42 00"))));

    EXPECT_EQ(write(table_of(480)), TAGWIRE_OK);
    ASSERT_EQ(stand_in_.sent.size(), 3U);
    const Bytes table = table_of(480);
    EXPECT_EQ(stand_in_.sent[0],
              with_crc(hex("F7 05 E6 0E 42 00") + Bytes(table.begin(), table.begin() + 240)));
    EXPECT_EQ(stand_in_.sent[1],
              with_crc(hex("F7 05 E6 0E 42 01") + Bytes(table.begin() + 240, table.end())));
    EXPECT_EQ(to_hex(stand_in_.sent[2]), to_hex(with_crc(hex("07 05 E6 0E 42 02"))));
}

TEST_F(WriteTable, a_length_below_0_counts_as_0)
{
    for (const int length : {-1, -240, -1000}) {
        stand_in_.sent.clear();
        EXPECT_EQ(reader_.operations().WriteParameterTable(reader_, &address_, 0x42, nullptr, length),
                  TAGWIRE_OK);
        EXPECT_EQ(stand_in_.sent, frames_of({}));
    }
}

TEST_F(WriteTable, longer_than_65536)
{
    EXPECT_EQ(write(table_of(100'000)), TAGWIRE_OK);
    EXPECT_TRUE(stand_in_.sent == frames_of(table_of(100'000)));
}

TEST_F(WriteTable, the_buffers_are_cleared_for_each_frame)
{
    stand_in_.soil();
    stand_in_.before_answer = [](StandIn& now) {
        EXPECT_EQ(now.length_before, 0);
        EXPECT_TRUE(now.cleared);
        EXPECT_TRUE(now.into_reader);
        EXPECT_FALSE(now.in_inventory);
    };
    EXPECT_EQ(write(table_of(480)), TAGWIRE_OK);
    EXPECT_EQ(stand_in_.received, 3);
}

TEST_F(WriteTable, the_status_of_an_answer_does_not_matter)
{
    for (const u8 status : {1, 48, 49, 238, 255}) {
        stand_in_.bytes = answer(0x07, 0xE6, status, {0x0E});
        EXPECT_EQ(write(table_of(480)), TAGWIRE_OK);
        EXPECT_EQ(stand_in_.sent.size(), 3U);
    }
}

TEST_F(WriteTable, a_failed_send_ends_it)
{
    for (const int result : {48, 55}) {
        stand_in_.before_answer = [=](StandIn& now) { now.send_result = now.received == 2 ? result : 0; };
        stand_in_.send_result = TAGWIRE_OK;
        EXPECT_EQ(write(table_of(480)), TAGWIRE_NO_ANSWER);
        EXPECT_EQ(stand_in_.sent.size(), 3U);
        EXPECT_EQ(stand_in_.received, 2);
    }
}

TEST_F(WriteTable, a_wrong_answer_ends_it)
{
    const struct {
        Bytes bytes;
        int receiver_result;
        int result;
    } cases[] = {
        {good, 48, 48},
        {good, 55, 55},
        {good, 99, 99},
        {spoiled(good), 0, 49},
        {good + Bytes{1}, 0, 49},
        {answer(7, 0xE7, 0, {0x0E}), 0, 238},
        {answer(7, 0xE6, 0, {0x0D}), 0, 238},
        {answer(7, 0xE6, 5, {0x0F}), 0, 238},
        {answer(7, 0xEE, 0, {0x0E}), 0, 238},
    };
    for (const auto& each : cases)
        for (const int at : {1, 2, 3}) {
            EXPECT_EQ(write_answered(at, each.bytes, each.receiver_result), each.result)
                << to_hex(each.bytes);
            EXPECT_EQ(stand_in_.sent.size(), static_cast<std::size_t>(at));
            EXPECT_EQ(address_, 0x05);
            EXPECT_FALSE(reader_->isInventoryCmd);
        }
}

TEST_F(WriteTable, over_a_handle)
{
    const OpenHandle open(reader_);
    EXPECT_EQ(write(table_of(241), OpenHandle::number), TAGWIRE_OK);
    EXPECT_EQ(stand_in_.sent, frames_of(table_of(241)));
    EXPECT_EQ(write(table_of(241), 200), TAGWIRE_BAD_HANDLE);
    reader_->isStopStocktaking = false;
    EXPECT_EQ(write(table_of(241), OpenHandle::number), TAGWIRE_BUSY);
    EXPECT_TRUE(stand_in_.sent.empty());
}

TEST(ParameterTableLink, a_table_is_written_over_it)
{
    const VirtualTime time;
    const TestReader reader;
    const std::vector<Bytes> answers(3, answer(7, 0xE6, 0, {0x0E}));
    const ScriptedReads reads(reader, answers);
    Bytes table = table_of(300);
    u8 address = 5;
    EXPECT_EQ(reader.operations().WriteParameterTable(reader, &address, 1, table.data(), 300), TAGWIRE_OK);
    EXPECT_EQ(reader.sent().size(), 248U + 68U + 8U);
    EXPECT_EQ(reader.operations().WriteParameterTable(reader, &address, 1, table.data(), 300),
              TAGWIRE_NO_ANSWER);
}

class Defaults : public testing::TestWithParam<Service> {};
INSTANTIATE_TEST_SUITE_P(All, Defaults, testing::ValuesIn(services), service_name);

TEST_P(Defaults, the_answer_repeats_the_function)
{
    const TestReader reader;
    StandIn stand_in(reader);
    const u8 function = hex(GetParam().data)[0];
    for (const u8 status : {0, 5})
        for (const int other : {0, function - 1, function ^ 0x1F, 255}) {
            stand_in.bytes = answer(7, 0xE6, status, {static_cast<u8>(other)});
            Call call(reader);
            EXPECT_EQ(GetParam().run(call), TAGWIRE_WRONG_COMMAND) << other;
        }
}

}  // namespace
}  // namespace tagwire::engine::test
