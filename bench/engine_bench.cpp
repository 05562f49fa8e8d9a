// What the engine does with bytes in memory: CRC, frames found in good and bad bytes, tags decoded, a command around a
// link that is none. And how long loading the libraries takes.
#include <dlfcn.h>

#include "bench.h"
#include "inventory/stream.h"
#include "link/crc16.h"
#include "link/framing.h"
#include "link/system.h"
#include "readers.h"

namespace tagwire::bench {
namespace {

using namespace tagwire::engine;

// Nanoseconds a call; calls go on for a while.
template <class Call> double mean_ns(Call call)
{
    constexpr std::int64_t span_ns = 60'000'000;
    call();
    const std::int64_t begin = now_ns();
    std::int64_t calls = 0;
    std::int64_t end = begin;
    for (std::int64_t more = 1; end - begin < span_ns; more *= 2) {
        for (std::int64_t i = 0; i < more; ++i) call();
        calls += more;
        end = now_ns();
    }
    return static_cast<double>(end - begin) / static_cast<double>(calls);
}

Measurement crc(std::size_t size, const char* row)
{
    return [=] {
        static const Bytes frame(256, 0x5A);
        const auto speed = [&](auto crc_of) {
            return static_cast<double>(size) / mean_ns([&] { keep(crc_of(frame.data(), size)); });
        };
        return Values{
            {row, "bare", "GB/s", speed(bare_crc)},
            {row, "tagwire", "GB/s", speed([](const u8* bytes, std::size_t n) { return crc16(bytes, n); })}};
    };
}

// A Reader whose link is memory: chunks of it, then an error.
class FromMemory {
  public:
    explicit FromMemory(Bytes chunk, int chunks = 1) : reader_(Create_Reader())
    {
        chunk_ = std::move(chunk);
        chunks_ = chunks;
        reader_->m_type = 1;
        reader_->operations.ReadRfidData = [](engine::Reader*, u8* to) {
            if (left_-- == 0) return -1;
            std::copy(chunk_.begin(), chunk_.end(), to);
            return static_cast<int>(chunk_.size());
        };
        reader_->operations.SendDataToPort = [](engine::Reader*, u8*, unsigned) { return 0; };
        engine::sys::calls.sleep_until = [](const timespec*) { return 0; };  // there is no link to wait on
    }
    ~FromMemory() { Destroy_Reader(&reader_); }
    FromMemory(const FromMemory&) = delete;
    FromMemory& operator=(const FromMemory&) = delete;

    engine::Reader* rewound() const
    {
        left_ = chunks_;
        return reader_;
    }

  private:
    static inline Bytes chunk_;
    static inline int chunks_ = 0;
    static inline int left_ = 0;
    engine::Reader* reader_;
};

const Bytes tag{0x0C, 0xE2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0xC8};

Bytes inventory_frame(std::uint8_t status, std::size_t tags)
{
    Bytes body{0, 1, status, 1, static_cast<std::uint8_t>(tags)};
    for (std::size_t i = 0; i < tags; ++i) body.insert(body.end(), tag.begin(), tag.end());
    return framed(body);
}

void swallow(RFIDTagStruct got, int /*kind*/) { keep(got->UID); }

// Frames of an inventory in a chunk of a TCP link, as a list, and to a callback too.
Measurement receive_inventory(std::size_t tags, const char* row)
{
    return [=] {
        const Bytes frame = inventory_frame(3, tags);
        const Bytes last = inventory_frame(1, 0);
        Bytes chunk;
        std::size_t frames = 0;
        for (; chunk.size() + frame.size() + last.size() <= 2048; ++frames)
            chunk.insert(chunk.end(), frame.begin(), frame.end());
        chunk.insert(chunk.end(), last.begin(), last.end());
        const FromMemory link(chunk);
        const auto ns_a_tag = [&] {
            int length = 0;
            return mean_ns([&] {
                       engine::Reader* const reader = link.rewound();
                       reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &length, 1);
                   }) /
                   static_cast<double>(frames * tags);
        };
        Values values{{row, "tagwire", "ns", ns_a_tag()}};
        link.rewound()->MypCallBack = swallow;
        values.push_back({row, "tagwire, callback", "ns", ns_a_tag()});
        return values;
    };
}

// Through the inventory receiver, in chunks of a TCP link, until its list of reads ends.
double through_a_receiver(const Bytes& bytes)
{
    constexpr int chunks = 128;
    const FromMemory link(bytes, chunks);
    int length = 0;
    const double ns = mean_ns([&] {
        engine::Reader* const reader = link.rewound();
        reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &length, 1);
    });
    return 1e3 * chunks * static_cast<double>(bytes.size()) / ns;
}

// Bytes each of which may begin a report of 239 bytes, and none does.
double worst_for_reports()
{
    const Bytes chunk(2048, 0xEE);
    engine::Reader* reader = Create_Reader();
    Assembly bytes = assembly_of(reader);
    const auto may_begin = [](const engine::Reader*, const Assembly& head, int command) {
        return head[0] > 3 && head[2] == command;
    };
    const auto find = [&](FrameCopy& frame) { return find_frame(reader, bytes, may_begin, 0xEE, frame); };
    const double ns = mean_ns([&] {
        take_frames(bytes, chunk.data(), static_cast<int>(chunk.size()), find,
                    [](FrameCopy&) -> Outcome { return {}; });
    });
    Destroy_Reader(&reader);
    return 1e3 * static_cast<double>(chunk.size()) / ns;
}

Values noise()
{
    constexpr const char* row = "noise through a receiver";
    Bytes noise(2048);
    std::uint32_t value = 1;
    for (auto& byte : noise)
        byte = static_cast<std::uint8_t>((value = value * 1664525U + 1013904223U) >> 24U);
    Bytes crafted(2048);  // every other byte may begin a frame of 256
    for (std::size_t i = 0; i < crafted.size(); ++i) crafted[i] = i % 4 < 2 ? 0xFF : 0;
    return {{row, "tagwire", "MB/s", through_a_receiver(noise)},
            {row, "tagwire, crafted", "MB/s", through_a_receiver(crafted)},
            {row, "tagwire, crafted for reports", "MB/s", worst_for_reports()}};
}

// A whole command without a link: what the library adds to an exchange.
Values around_a_stub()
{
    const FromMemory link({});
    static const Bytes reply = inventory_frame(1, 1);
    link.rewound()->operations.GetInventoryDataFromPort1 = [](engine::Reader*, u8* to, int* size, int) {
        std::copy(reply.begin(), reply.end(), to);
        *size = static_cast<int>(reply.size());
        return 1;
    };
    u8 address = 0;
    u8 mask[2] = {};
    u8 list[300];
    u8 antenna = 0;
    int length = 0;
    int count = 0;
    const double ns = mean_ns([&] {
        engine::Reader* const reader = link.rewound();
        reader->operations.Inventory_G2(reader, &address, 4, 0, 0, mask, 0, mask, 0, 0, 0, 0, 0, 0, 0, 0,
                                        list, &antenna, &length, &count);
    });
    return {{"Inventory_G2 around a stub", "tagwire", "us", ns / 1e3}};
}

// What loading a library takes a process that has none of it.
Values start_up()
{
    const auto load = [](const char* who, const char* library) {
        return Apart([=]() -> Values {
                   const std::int64_t begin = now_ns();
                   if (::dlopen(library, RTLD_NOW) == nullptr) fail(library);
                   return {{"start-up", who, "us", static_cast<double>(now_ns() - begin) / 1e3}};
               })
            .await()
            .front();
    };
    return {load("bare", "libutil.so.1"), load("tagwire", TAGWIRE_BENCH_C_LIBRARY),
            load("tagwire C++", TAGWIRE_BENCH_CPP_LIBRARY)};
}

}  // namespace
}  // namespace tagwire::bench

int main()
{
    using namespace tagwire::bench;
    measure({crc(24, "CRC of 24 bytes"), crc(256, "CRC of 256 bytes"),
             receive_inventory(1, "inventory, a tag a frame"),
             receive_inventory(10, "inventory, ten tags a frame"), noise, around_a_stub, start_up});
    return 0;
}
