// The costs that repeat: CRC, decoding a report, finding frames, one exchange.
#include <benchmark/benchmark.h>

#include <poll.h>
#include <pty.h>
#include <thread>

#include "link/crc16.h"
#include "link/framing.h"
#include "link/system.h"
#include "support/bytes.h"
#include "support/test_reader.h"

namespace tagwire::engine::test {
namespace {

void crc_of_a_frame(benchmark::State& state)
{
    const Bytes frame = repeat(0x5A, 256);
    for (auto _ : state) benchmark::DoNotOptimize(crc16(frame.data(), frame.size()));
    state.SetBytesProcessed(state.iterations() * 256);
}
BENCHMARK(crc_of_a_frame);

void crc_of_a_report(benchmark::State& state)
{
    const Bytes frame = repeat(0x5A, 24);
    for (auto _ : state) benchmark::DoNotOptimize(crc16(frame.data(), frame.size()));
    state.SetBytesProcessed(state.iterations() * 24);
}
BENCHMARK(crc_of_a_report);

void swallow(RFIDTagStruct tag, int /*kind*/) { benchmark::DoNotOptimize(tag->UID); }

void decode_a_report(benchmark::State& state)
{
    Reader* reader = Create_Reader();
    reader->MypCallBack = swallow;
    FrameCopy frame{};
    const Bytes report = answer(0, 0xEE, 0, hex("01 0C E2 00 00 00 00 00 00 00 00 00 00 01 C8"));
    std::copy(report.begin(), report.end(), frame.bytes);
    for (auto _ : state) reader->operations.parserRidTag(reader, frame.bytes, 0x50);
    state.SetItemsProcessed(state.iterations());
    Destroy_Reader(&reader);
}
BENCHMARK(decode_a_report);

// The link is memory: chunks of it, then an error, or nothing, to end the wait.
class FromMemory {
  public:
    explicit FromMemory(const Bytes& chunk, int chunks = 1) : reader_(Create_Reader()), before_(sys::calls)
    {
        chunk_ = chunk;
        chunks_ = chunks;
        reader_->m_type = tcp_link;
        reader_->operations.ReadRfidData = [](Reader* /*sthis*/, u8* to) {
            if (left_-- == 0) return -1;
            std::copy(chunk_.begin(), chunk_.end(), to);
            return static_cast<int>(chunk_.size());
        };
        reader_->operations.SendDataToPort = [](Reader* /*sthis*/, u8* /*frame*/, unsigned /*count*/) {
            return 0;
        };
        sys::calls.sleep_until = [](const timespec* /*end*/) { return 0; };  // there is no link to wait on
    }
    ~FromMemory()
    {
        sys::calls = before_;
        Destroy_Reader(&reader_);
    }
    FromMemory(const FromMemory&) = delete;
    FromMemory& operator=(const FromMemory&) = delete;

    Reader* rewound()
    {
        left_ = chunks_;
        return reader_;
    }

  private:
    static inline Bytes chunk_;
    static inline int chunks_ = 0;
    static inline int left_ = 0;
    Reader* reader_;
    sys::Calls before_;
};

// Frames of an inventory with `tags` tags each, in chunks of a TCP link, to the callback.
void receive_an_inventory(benchmark::State& state)
{
    const auto tags = static_cast<std::size_t>(state.range(0));
    Bytes data = {1, static_cast<u8>(tags)};
    for (std::size_t i = 0; i < tags; ++i) {
        const Bytes tag = hex("0C E2 00 00 00 00 00 00 00 00 00 00 01 C8");
        data.insert(data.end(), tag.begin(), tag.end());
    }
    const Bytes frame = answer(0, 1, 3, data);
    const Bytes last = answer(0, 1, 1, hex("01 00"));
    Bytes chunk;
    std::size_t frames = 0;
    for (; chunk.size() + frame.size() + last.size() <= 2048; ++frames)
        chunk.insert(chunk.end(), frame.begin(), frame.end());
    chunk.insert(chunk.end(), last.begin(), last.end());
    FromMemory link(chunk);
    link.rewound()->MypCallBack = swallow;
    int length = 0;
    for (auto _ : state) {
        Reader* const reader = link.rewound();
        reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &length, 1);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frames * tags));
}
BENCHMARK(receive_an_inventory)->Arg(1)->Arg(10);

// Reports of continuous reading, found and decoded, in chunks of a TCP link.
void take_reports(benchmark::State& state)
{
    const Bytes report = answer(0, 0xEE, 0, hex("01 0C E2 00 00 00 00 00 00 00 00 00 00 01 C8"));
    Bytes chunk;
    while (chunk.size() + report.size() <= 2048) chunk.insert(chunk.end(), report.begin(), report.end());
    Reader* reader = Create_Reader();
    reader->MypCallBack = swallow;
    Assembly bytes = assembly_of(reader);
    const auto find = [&](FrameCopy& frame) {
        return find_frame(
            reader, bytes, [](const Reader*, const Assembly& head, int) { return head[0] > 3; }, 0xEE, frame);
    };
    const auto accept = [&](FrameCopy& frame) -> Outcome {
        reader->operations.parserRidTag(reader, frame.bytes, 0x50);
        return {};
    };
    for (auto _ : state) take_frames(bytes, chunk.data(), static_cast<int>(chunk.size()), find, accept);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(chunk.size() / report.size()));
    Destroy_Reader(&reader);
}
BENCHMARK(take_reports);

// A whole command without a link: what the library adds to an exchange.
void inventory_around_a_stub(benchmark::State& state)
{
    FromMemory link(answer(0, 1, 1, hex("01 01 0C E2 00 00 00 00 00 00 00 00 00 00 01 C8")));
    u8 address = 0;
    u8 mask[2] = {};
    u8 list[300];
    u8 antenna = 0;
    int length = 0;
    int count = 0;
    link.rewound()->operations.GetInventoryDataFromPort1 = [](Reader* /*sthis*/, u8* to, int* size,
                                                              int /*command*/) {
        static const Bytes reply = answer(0, 1, 1, hex("01 01 0C E2 00 00 00 00 00 00 00 00 00 00 01 C8"));
        std::copy(reply.begin(), reply.end(), to);
        *size = static_cast<int>(reply.size());
        return 1;
    };
    for (auto _ : state) {
        Reader* const reader = link.rewound();
        reader->operations.Inventory_G2(reader, &address, 4, 0, 0, mask, 0, mask, 0, 0, 0, 0, 0, 0, 0, 0,
                                        list, &antenna, &length, &count);
    }
}
BENCHMARK(inventory_around_a_stub);

// Noise through the inventory receiver, in the chunks of a TCP link, until its list of reads ends.
void resynchronise_in_noise(benchmark::State& state)
{
    constexpr int chunk_count = 512;
    Bytes noise(2048);
    std::uint32_t value = 1;
    for (auto& byte : noise)
        byte = static_cast<std::uint8_t>((value = value * 1664525U + 1013904223U) >> 24U);
    FromMemory link(noise, chunk_count);
    int length = 0;
    for (auto _ : state) {
        Reader* const reader = link.rewound();
        reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &length, 1);
    }
    state.SetBytesProcessed(state.iterations() * chunk_count * static_cast<std::int64_t>(noise.size()));
}
BENCHMARK(resynchronise_in_noise);

// A pseudo-terminal whose far end answers at once.
class AnsweringLine {
  public:
    AnsweringLine()
    {
        termios raw{};
        cfmakeraw(&raw);
        if (openpty(&device_, &host_, nullptr, &raw, nullptr) != 0) std::abort();
        ::fcntl(host_, F_SETFL, O_NONBLOCK);
        answering_ = std::thread([this] { answer_all(); });
    }
    ~AnsweringLine()
    {
        if (::write(host_, "x", 1) != 1) std::abort();  // a single byte ends it
        answering_.join();
        ::close(host_);
        ::close(device_);
    }
    AnsweringLine(const AnsweringLine&) = delete;
    AnsweringLine& operator=(const AnsweringLine&) = delete;

    int host() const { return host_; }

  private:
    void answer_all() const
    {
        const Bytes reply = answer(0, 0x83, 0, hex("01 02 03 04"));
        std::uint8_t chunk[64];
        while (::read(device_, chunk, sizeof chunk) > 1)
            if (::write(device_, reply.data(), reply.size()) < 0) return;
    }

    int device_ = -1;
    int host_ = -1;
    std::thread answering_;
};

void exchange_over_a_serial_line(benchmark::State& state)
{
    const AnsweringLine line;
    Reader* reader = Create_Reader();
    reader->m_type = serial_link;
    reader->hCommPort = line.host();
    u8 address = 0;
    u8 out[4];
    for (auto _ : state)
        if (reader->operations.GetModuleDetails(reader, &address, out, out + 2, out + 3) != 0)
            state.SkipWithError("no answer");
    reader->hCommPort = -1;
    Destroy_Reader(&reader);
}
BENCHMARK(exchange_over_a_serial_line)->UseRealTime();

// The same bytes and the same discarding of queues without the library: what machine and line cost.
void the_same_bytes_without_the_library(benchmark::State& state)
{
    const AnsweringLine line;
    const Bytes question = request(0, 0x83, hex("00"));
    std::uint8_t chunk[64];
    for (auto _ : state) {
        ::tcflush(line.host(), TCOFLUSH);
        ::tcflush(line.host(), TCIFLUSH);
        if (::write(line.host(), question.data(), question.size()) < 0) std::abort();
        pollfd input{line.host(), POLLIN, 0};
        ::poll(&input, 1, -1);
        if (::read(line.host(), chunk, sizeof chunk) <= 0) std::abort();
    }
}
BENCHMARK(the_same_bytes_without_the_library)->UseRealTime();

}  // namespace
}  // namespace tagwire::engine::test
