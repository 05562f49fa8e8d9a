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

// Noise through the inventory receiver, in the chunks of a TCP link, until its list of reads ends.
void resynchronise_in_noise(benchmark::State& state)
{
    constexpr int chunk_size = 2048;
    constexpr int chunk_count = 512;
    static Bytes noise;
    static int left;
    noise.resize(chunk_size);
    std::uint32_t value = 1;
    for (auto& byte : noise)
        byte = static_cast<std::uint8_t>((value = value * 1664525U + 1013904223U) >> 24U);
    Reader* reader = Create_Reader();
    reader->m_type = tcp_link;
    reader->operations.ReadRfidData = [](Reader* /*sthis*/, u8* to) {
        if (left-- == 0) return -1;
        std::copy(noise.begin(), noise.end(), to);
        return chunk_size;
    };
    int length = 0;
    const auto before = sys::calls;
    sys::calls.sleep_until = [](const timespec* /*end*/) { return 0; };  // there is no link to wait on
    for (auto _ : state) {
        left = chunk_count;
        reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &length, 1);
    }
    sys::calls = before;
    state.SetBytesProcessed(state.iterations() * chunk_count * chunk_size);
    Destroy_Reader(&reader);
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
