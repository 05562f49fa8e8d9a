// Which frames are found in bytes that overlap in many ways, against a search that checks each of them by itself.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "link/framing.h"
#include "support/test_reader.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 command = 0xEE;

TEST(ZeroBytes, multiply_a_register)
{
    const Bytes zeros(256, 0);
    for (std::size_t count = 0; count <= zeros.size(); ++count)
        for (const std::uint16_t crc : {0x0000, 0x0001, 0x8000, 0x1234, 0xA5C3, 0xFFFF})
            EXPECT_EQ(crc16_of_zeros(count, crc), crc16(zeros.data(), count, crc)) << count << ", " << crc;
}

struct Found {
    std::vector<Bytes> frames;
    std::uint64_t good = 0;
    std::uint64_t bad = 0;
    std::uint64_t skipped = 0;
    bool operator==(const Found&) const = default;
};

bool is_head(const Reader* /*reader*/, const Assembly& bytes, int of_command)
{
    return bytes[0] > 3 && bytes[2] == of_command;
}

Found found_by_the_engine(const Bytes& all, std::mt19937& chance, std::size_t longest_chunk)
{
    const TestReader reader;
    Assembly bytes = assembly_of(reader);
    Found out;
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t count = std::min(all.size() - at, 1 + chance() % longest_chunk);
        take_frames(
            bytes, all.data() + at, static_cast<int>(count),
            [&](FrameCopy& frame) { return find_frame(reader, bytes, is_head, command, frame); },
            [&](const FrameCopy& frame) -> Outcome {
                out.frames.emplace_back(frame.bytes, frame.bytes + frame.length());
                return {};
            });
        at += count;
    }
    const LinkCounters& counters = reader->keeping.counters;
    out.good = counters.frames;
    out.bad = counters.bad_crc;
    out.skipped = counters.skipped_bytes;
    return out;
}

Found found_one_by_one(const Bytes& all)
{
    Found out;
    for (std::size_t at = 0; all.size() - at >= 4;) {
        const std::size_t length = all[at] + std::size_t{1};
        if ((all[at] > 3 && all[at + 2] == command) || all[at + 2] == 0) {
            if (all.size() - at < length) break;
            const Bytes frame(all.begin() + static_cast<std::ptrdiff_t>(at),
                              all.begin() + static_cast<std::ptrdiff_t>(at + length));
            if (slow_crc(frame) == 0) {
                out.frames.push_back(frame);
                ++out.good;
                at += length;
                continue;
            }
            out.bad += length >= frame::shortest_response ? 1 : 0;
        }
        ++out.skipped;
        ++at;
    }
    return out;
}

// Bytes of which most may begin a frame, with frames among them, whole and damaged, some within what only
// looked like one.
Bytes crafted(std::mt19937& chance, const Bytes& alphabet)
{
    Bytes out;
    while (out.size() < 3000) {
        for (std::size_t noise = chance() % 300; noise > 0; --noise)
            out.push_back(alphabet[chance() % alphabet.size()]);
        for (std::size_t frames = chance() % 4; frames > 0; --frames) {
            Bytes data;
            for (std::size_t size = chance() % 250; size > 0; --size)
                data.push_back(alphabet[chance() % alphabet.size()]);
            Bytes frame = answer(0, command, 0, data);
            if (chance() % 4 == 0) frame[chance() % frame.size()] ^= 1U << (chance() % 8);
            out = out + frame;
        }
    }
    return out;
}

TEST(Overlapping, frames_are_those_that_a_check_of_each_finds)
{
    std::mt19937 chance(20);
    std::size_t frames = 0;
    Bytes any;
    for (int byte = 0; byte < 256; ++byte) any.push_back(static_cast<u8>(byte));
    for (const Bytes& alphabet :
         {hex("EE"), hex("00"), hex("FF 00"), hex("EE 05 06"), hex("EE 04 10 FF 00 03"), any})
        for (const std::size_t longest_chunk : {1, 20, 300, 2048, 5000}) {
            const Bytes all = crafted(chance, alphabet);
            const Found expected = found_one_by_one(all);
            EXPECT_TRUE(found_by_the_engine(all, chance, longest_chunk) == expected)
                << to_hex(alphabet) << ", chunks of up to " << longest_chunk;
            frames += expected.frames.size();
        }
    EXPECT_GT(frames, 200U);
}

TEST(Overlapping, another_check_is_asked_about_each)
{
    TestReader reader;
    static std::size_t asked;
    asked = 0;
    reader->operations.CheckCRC = [](Reader*, u8*, int) { return ++asked == 0 ? 0 : 1; };
    Assembly bytes = assembly_of(reader);
    const Bytes all(400, 0xEE);  // each of the first 162 begins 239 bytes with the code in their third place
    take_frames(
        bytes, all.data(), static_cast<int>(all.size()),
        [&](FrameCopy& frame) { return find_frame(reader, bytes, is_head, command, frame); },
        [](const FrameCopy&) -> Outcome { return {}; });
    EXPECT_EQ(asked, 162U);
}

}  // namespace
}  // namespace tagwire::engine::test
