// How the bytes of an answer are cut into chunks: it means nothing to the receivers that look for frames in a
// stream, and something to the others.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <random>

#include "support/tags.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

using Chunks = std::vector<Bytes>;

constexpr u8 address = 0x05;

// What a receiver gives back and what it calls.
struct Received {
    int result = -1;
    int length = -1;
    Bytes output;
    std::vector<std::string> tags;
    bool operator==(const Received&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Received& got)
{
    out << got.result << ", " << got.length << " bytes: " << to_hex(got.output) << ", tags:";
    for (const auto& tag : got.tags) out << ' ' << tag;
    return out;
}

std::string shown(const Chunks& chunks)
{
    std::string out;
    for (const Bytes& chunk : chunks) out += to_hex(chunk) + " | ";
    return out;
}

std::vector<std::string> take_tags()
{
    std::vector<std::string> out;
    for (const SeenTag& seen : SeenTags::take())
        out.push_back(seen.uid + "/" + std::to_string(seen.tag.ANT) + "/" + std::to_string(seen.kind));
    return out;
}

// Chunks come without time passing between them; behind the last one a minute has passed.
class Chunked {
  public:
    Chunked()
    {
        reader_->ReaderAddr = address;
        reader_->hCommPort = reader_.near();
        reader_->MypCallBack = SeenTags::callback;
        reader_->operations.SendDataToPort = [](Reader*, u8*, unsigned) { return 0; };
    }

    template <class Call> Received receive(const Chunks& chunks, Call call)
    {
        SeenTags::take();
        reader_->recvLength = 0;
        std::memset(reader_->recvBuff, 0, sizeof reader_->recvBuff);
        const auto out = std::make_unique<u8[]>(buffer_size);
        reader_.feed({0});  // there is input: nobody waits
        ScriptedReads reads(reader_, chunks);
        reads.before_call = [&](int number) {
            if (number != static_cast<int>(chunks.size()) + 1) return;
            u8 byte = 0;
            if (::recv(reader_.near(), &byte, 1, MSG_DONTWAIT) != 1) std::abort();
            VirtualTime::advance_ms(61'000);    // over the longest limit
            reader_->isStopStocktaking = true;  // of continuous reading, which has none
        };
        Received got;
        got.length = 0;
        got.result = call(reader_.get(), out.get(), &got.length);
        drain();
        if (got.length > 0) got.output.assign(out.get(), out.get() + got.length);
        got.tags = take_tags();
        return got;
    }

  private:
    void drain()
    {
        u8 byte = 0;
        while (::recv(reader_.near(), &byte, 1, MSG_DONTWAIT) == 1) {
        }
    }

    TestReader reader_;
    VirtualTime time_;
};

// ---- those that look for frames in a stream

struct Kind {
    const char* name;
    u8 command;
    Bytes (*frame)(u8 status, u8 id);
    u8 more;   // a status that goes on
    u8 end;    // and one that ends
    int done;  // the result then
    int (*receive)(Reader*, u8*, int*);
    const char* lead = "";
};

std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }

template <auto Slot, int command> int by_command(Reader* reader, u8* to, int* length)
{
    return (reader->operations.*Slot)(reader, to, length, command);
}
template <auto Slot> int plainly(Reader* reader, u8* to, int* length)
{
    return (reader->operations.*Slot)(reader, to, length);
}

// The worker on this thread: what it calls is all that comes out.
struct Task {
    void* (*run)(void*) = nullptr;
    void* argument = nullptr;
};
Task task;

int keep_task(pthread_t* /*thread*/, const pthread_attr_t* /*attributes*/, void* (*run)(void*),
              void* argument)
{
    task = {run, argument};
    return 0;
}

int run_worker(Reader* reader, u8* /*to*/, int* /*length*/)
{
    const auto before = std::exchange(sys::calls.start_thread, keep_task);
    reader->operations.GetDataFromPort = [](Reader*, u8* to, int* length) {
        const Bytes started = answer(address, 0x50, 0x00);
        std::copy(started.begin(), started.end(), to);
        *length = static_cast<int>(started.size());
        return 0;
    };
    u8 to_all = 0xFF;
    const int result = reader->operations.StartRead(reader, &to_all, 0);
    sys::calls.start_thread = before;
    task.run(task.argument);
    return result;
}

Bytes tag(u8 command, u8 status, u8 id) { return answer(address, command, status, {1, 1, 1, id, 0x50}); }
Bytes gen2(u8 status, u8 id) { return tag(0x01, status, id); }
Bytes switched(u8 status, u8 id) { return tag(0x1C, status, id); }
Bytes found(u8 status, u8 id) { return answer(address, 0xE7, status, {1, 1, 1, 1, id, 0x50}); }
Bytes packet(u8 status, u8 id) { return answer(address, 0xCB, status, {0, id, 2, id, id}); }
Bytes access_point(u8 status, u8 id) { return answer(address, 0xE6, status, {0x0B, id, id}); }
Bytes report(u8 status, u8 id) { return answer(address, 0xEE, status, {1, 1, id, 0x50}); }
// The frame that ends a table announces a byte for every frame in front of it in `noisy_exchange`.
constexpr u8 frames_in_exchange = 4;
Bytes table(u8 status, u8 id)
{
    return answer(address, 0xE6, status, status == 0 ? Bytes{0x0D, 0, frames_in_exchange} : Bytes{0x0D, id});
}

const Kind kinds[] = {
    {"gen2", 0x01, gen2, 3, 1, 1, by_command<&Operations::GetInventoryDataFromPort1, 0x01>},
    {"gen2_too", 0x01, gen2, 3, 2, 2, by_command<&Operations::GetInventoryDataFromPort2, 0x01>},
    {"antenna_switch", 0x1C, switched, 3, 1, 1, by_command<&Operations::GetInventoryDataFromPort3, 0x1C>,
     "A0"},
    {"temperature", 0x01, gen2, 3, 1, 1, by_command<&Operations::GetInventoryDataFromPort_TP, 0x01>},
    {"list_search", 0xE7, found, 3, 1, 1, by_command<&Operations::GetInventory_FindEPC_DataFromPort, 0xE7>},
    {"memory_packets", 0xCB, packet, 3, 1, 0, by_command<&Operations::GetMemDataFromPort, 0xCB>},
    {"wifi_scan", 0xE6, access_point, 3, 0, 0, plainly<&Operations::GetWifiDataFromPort>},
    {"parameter_table", 0xE6, table, 0x60, 0, 0, plainly<&Operations::GetParemTabDataFromPort>},
    {"continuous_reading", 0xEE, report, 0, 0, 0, run_worker},
};

Bytes spoiled(Bytes frame)
{
    frame.back() ^= 1U;
    return frame;
}

// Bytes that are no frame of this kind, and look like the begin of one.
std::vector<Bytes> noises_of(const Kind& kind)
{
    const Bytes good = kind.frame(kind.more, 0x77);
    const Bytes last = kind.frame(kind.end, 0x78);
    const auto part = [](const Bytes& bytes, std::size_t count) {
        return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    };
    return {
        {},
        hex("00"),
        hex("FF"),
        hex("A0"),
        hex("A0 A0"),
        with_crc({0x02}),
        with_crc({0x03, address}),
        with_crc({0x03, 0x99}),
        with_crc({0x04, address, kind.command}),
        with_crc({0x04, address, 0x00}),
        with_crc({0x03, 0x00}) + with_crc({0x02}),
        answer(address, 0x00, 0x07),
        answer(address, 0x00, kind.more, {1, 0, 0}),
        spoiled(answer(address, 0x00, 0x03, {1, 2, 3})),
        answer(0x66, kind.command, kind.end, {1, 1}),
        answer(address, 0x02, kind.end, {1, 1}),
        spoiled(good),
        spoiled(last),
        spoiled(answer(address, kind.command, kind.more, Bytes{1} + last)),
        spoiled(answer(address, 0x00, kind.more, Bytes{1} + good)),
        answer(address, 0x02, 0x03, good),
        part(good, 1),
        part(good, 3),
        part(good, 4),
        part(good, good.size() - 1),
        {0x06, address, kind.command},
        {0x05, 0x00, 0x00},
        {0x00, 0x00, 0x00},
        repeat(0x04, 6),
        hex("A0 03") + with_crc({0x03, address}),
        hex("A0 A0 05 05"),
    };
}

// So many bytes that whatever looked like the begin of a frame is complete and found to be none.
const Bytes padding = repeat(0xFF, 260);

// Noise, four frames each with noise behind it, and the end.
Bytes noisy_exchange(const Kind& kind, const std::function<const Bytes&()>& noise)
{
    const Bytes lead = hex(kind.lead);
    Bytes out = noise();
    for (u8 id = 1; id <= frames_in_exchange; ++id) out = out + lead + kind.frame(kind.more, id) + noise();
    return out + lead + kind.frame(kind.end, 0x10) + noise() + padding;
}

std::vector<Bytes> exchanges_of(const Kind& kind)
{
    const std::vector<Bytes> noises = noises_of(kind);
    std::vector<Bytes> out;
    for (const Bytes& noise : noises)
        out.push_back(noisy_exchange(kind, [&]() -> const Bytes& { return noise; }));
    std::mt19937 random(20);
    for (int i = 0; i < 30; ++i)
        out.push_back(
            noisy_exchange(kind, [&]() -> const Bytes& { return noises[random() % noises.size()]; }));
    return out;
}

Chunks cut_at(const Bytes& bytes, std::size_t at)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return {Bytes(bytes.begin(), middle), Bytes(middle, bytes.end())};
}

Chunks byte_by_byte(const Bytes& bytes)
{
    Chunks out;
    for (const auto byte : bytes) out.push_back({byte});
    return out;
}

Chunks at_random(const Bytes& bytes, std::mt19937& random)
{
    Chunks out;
    for (std::size_t at = 0; at < bytes.size(); at += out.back().size()) {
        const std::size_t size = std::min<std::size_t>(bytes.size() - at, 1 + random() % 9);
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        out.emplace_back(from, from + static_cast<std::ptrdiff_t>(size));
    }
    return out;
}

class FramesInAStream : public testing::TestWithParam<Kind> {
  protected:
    Received receive(const Chunks& chunks) { return chunked_.receive(chunks, GetParam().receive); }

    Chunked chunked_;
};

TEST_P(FramesInAStream, are_all_received_from_one_chunk)
{
    const Received got = receive({exchanges_of(GetParam())[0]});
    EXPECT_EQ(got.result, GetParam().done) << got;
    EXPECT_GE(got.output.size() + got.tags.size(), std::size_t{frames_in_exchange}) << got;
}

TEST_P(FramesInAStream, are_the_same_cut_at_every_byte)
{
    for (const Bytes& bytes : exchanges_of(GetParam())) {
        const Received whole = receive({bytes});
        for (std::size_t at = 1; at + padding.size() < bytes.size(); ++at)
            ASSERT_EQ(receive(cut_at(bytes, at)), whole) << shown(cut_at(bytes, at));
    }
}

TEST_P(FramesInAStream, are_the_same_byte_by_byte)
{
    for (const Bytes& bytes : exchanges_of(GetParam()))
        ASSERT_EQ(receive(byte_by_byte(bytes)), receive({bytes})) << to_hex(bytes);
}

TEST_P(FramesInAStream, are_the_same_cut_at_random)
{
    std::mt19937 random(7);
    for (const Bytes& bytes : exchanges_of(GetParam())) {
        const Received whole = receive({bytes});
        for (int round = 0; round < 20; ++round) {
            const Chunks chunks = at_random(bytes, random);
            ASSERT_EQ(receive(chunks), whole) << shown(chunks);
        }
    }
}

// The first bytes of every command that carries the end of an answer, in bytes that are few and alike.
TEST_P(FramesInAStream, are_the_same_in_bytes_at_random)
{
    std::mt19937 random(13);
    const Kind& kind = GetParam();
    const u8 few[] = {0x00, 0x02, 0x03, 0x04, 0x05, 0x06, 0xA0, 0xFF, kind.command};
    for (int round = 0; round < 200; ++round) {
        Bytes bytes;
        for (int i = 0; i < 12; ++i) bytes.push_back(few[random() % std::size(few)]);
        bytes = with_crc(bytes) + hex(kind.lead) + kind.frame(kind.end, 0x10) + padding;
        const Received whole = receive({bytes});
        ASSERT_EQ(receive(byte_by_byte(bytes)), whole) << to_hex(bytes);
        for (int cut = 0; cut < 3; ++cut) {
            const Chunks chunks = at_random(bytes, random);
            ASSERT_EQ(receive(chunks), whole) << shown(chunks);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Receivers, FramesInAStream, testing::ValuesIn(kinds),
                         [](const auto& kind) { return kind.param.name; });

// ---- those for which the end of a chunk says something

class ChunksThatMatter : public testing::Test {
  protected:
    template <class Call> Received receive(const Chunks& chunks, Call call)
    {
        return chunked_.receive(chunks, [&](Reader* reader, u8* to, int* length) {
            const int result = call(reader, to, length);
            if (*length == 0 && result == 0) *length = reader->recvLength;
            return result;
        });
    }

    Chunked chunked_;
    const Bytes frame_ = answer(address, 0x43, 0x00, {1, 2});
};

TEST_F(ChunksThatMatter, single_answer_counts_what_came_in_its_chunk)
{
    const auto call = plainly<&Operations::GetDataFromPort>;
    const Bytes behind = hex("11 22 33");
    EXPECT_EQ(receive({frame_ + behind}, call).output.size(), frame_.size() + behind.size());
    EXPECT_EQ(receive({frame_, behind}, call).output, frame_);
}

TEST_F(ChunksThatMatter, expected_answer_inside_another_frame_is_found_while_that_is_incomplete)
{
    const auto call = by_command<&Operations::AutoGetDataFromPort, 0x51>;
    const Bytes stopped = answer(address, 0x51, 0x00);
    const Bytes around = answer(address, 0xEE, 0x00, stopped);
    EXPECT_EQ(receive({around}, call).result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(receive(cut_at(around, around.size() - 1), call).output, stopped);
}

TEST_F(ChunksThatMatter, buffer_ends_with_the_status_that_ends_its_chunk)
{
    const auto call = plainly<&Operations::GetBufferDataFromPort>;
    const Bytes first = answer(address, 0x72, 0x01, {1, 2});
    const Bytes second = answer(address, 0x72, 0x01, {3, 4});
    EXPECT_EQ(receive({first + second}, call).output, first + second);
    EXPECT_EQ(receive({first, second}, call).output, first);
}

TEST_F(ChunksThatMatter, buffered_inventory_ends_with_the_frame_that_is_all_there_is)
{
    const auto call = [](Reader* reader, u8* to, int* length) {
        const int result = reader->operations.GetDataFromPort_buff(reader, to, length);
        *length = reader->recvLength;
        return result;
    };
    EXPECT_EQ(receive({frame_ + hex("11")}, call).result, TAGWIRE_NO_ANSWER);
    const Received got = receive({frame_, hex("11")}, call);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.output, frame_);
}

TEST_F(ChunksThatMatter, buffer_information_looks_at_the_frame_behind_the_one_that_came)
{
    const auto call = plainly<&Operations::GetDataFromPort1>;
    const Bytes other = answer(address, 0x44, 0x00, {3, 4});
    EXPECT_EQ(receive({frame_ + other}, call).result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(receive({frame_, other}, call).output, frame_);
}

TEST_F(ChunksThatMatter, module_answer_ends_where_its_chunk_ends)
{
    for (const int mode : {1, 2}) {
        const auto call = [mode](Reader* reader, u8* to, int* length) {
            reader->ATstate = mode;
            return reader->operations.ATGetDataFromPort(reader, to, length);
        };
        const Bytes changed = answer(0x07, 0x4D, 0x00);
        EXPECT_EQ(receive({changed + hex("11")}, call).result, TAGWIRE_NO_ANSWER) << mode;
        EXPECT_EQ(receive({changed, hex("11")}, call).output, changed) << mode;
    }
}

}  // namespace
}  // namespace tagwire::engine::test
