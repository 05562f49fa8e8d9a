// The receivers of inventories, of answers in a stream of others, and of the tag buffer.
#include <gmock/gmock.h>

#include <memory>

#include "support/hooked.h"
#include "support/tags.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

using Receiver = int (*Operations::*)(Reader*, u8*, int*, int);
using PlainReceiver = int (*Operations::*)(Reader*, u8*, int*);

struct Outcome {
    int result;
    int length;
    Bytes output;
    std::int64_t took;
    int reads;
};

constexpr u8 address = 0x05;
constexpr u8 code = 0x01;

// One tag with this one-byte ID on antenna 1.
Bytes tag_frame(u8 status, u8 id, u8 command = code)
{
    return answer(address, command, status, {0x01, 0x01, 0x01, id, 0x50});
}
Bytes more(u8 id) { return tag_frame(0x03, id); }
Bytes last(u8 id) { return tag_frame(0x01, id); }

// A frame of this size in all: one tag, and bytes behind it that belong to none.
Bytes sized(u8 status, std::size_t size)
{
    return answer(address, code, status, hex("01 01 01 AA 50") + repeat(0xBB, size - 11));
}

// Frames of 256 bytes with status 3, then one that brings the whole to `size`.
Bytes filled_to(std::size_t size)
{
    Bytes out;
    while (size - out.size() > 256 + 11) out = out + sized(0x03, 256);
    if (size - out.size() > 256) out = out + sized(0x03, size - out.size() - 128);
    return out + sized(0x03, size - out.size());
}

// So many bytes that whatever looked like the begin of a frame is complete and found to be none.
const Bytes padding = repeat(0xFF, 300);

std::vector<Bytes> byte_by_byte(const Bytes& bytes)
{
    std::vector<Bytes> out;
    for (const auto byte : bytes) out.push_back({byte});
    return out;
}

std::vector<Bytes> cut(const Bytes& bytes, std::size_t at)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return {Bytes(bytes.begin(), middle), Bytes(middle, bytes.end())};
}

std::vector<std::string> ids()
{
    std::vector<std::string> out;
    for (const auto& seen : SeenTags::take()) out.push_back(seen.uid);
    return out;
}

class Receiving : public testing::Test {
  protected:
    Receiving()
    {
        SeenTags::take();
        reader_->ReaderAddr = address;
        // What earlier answers left behind.
        std::memset(reader_->btArBuff, 0x99, sizeof reader_->btArBuff);
        std::memset(reader_->btRecvArr, 0x98, sizeof reader_->btRecvArr);
    }

    template <class Call> Outcome outcome_of(ScriptedReads& reads, Call call)
    {
        const auto out = std::make_unique<u8[]>(buffer_size);
        Outcome got{};
        got.length = -1;
        const std::int64_t start = VirtualTime::now_ms();
        got.result = call(out.get(), &got.length);
        got.took = VirtualTime::now_ms() - start;
        got.reads = reads.calls();
        if (got.length > 0) got.output.assign(out.get(), out.get() + got.length);
        return got;
    }
    Outcome receive(Receiver slot, ScriptedReads& reads, int command = code)
    {
        return outcome_of(reads, [&](u8* to, int* length) {
            return (reader_.operations().*slot)(reader_, to, length, command);
        });
    }
    Outcome receive(Receiver slot, std::vector<Bytes> chunks, int command = code)
    {
        ScriptedReads reads(reader_, std::move(chunks));
        return receive(slot, reads, command);
    }
    // As the commands call them: into recvBuff and recvLength.
    Outcome receive(PlainReceiver slot, ScriptedReads& reads)
    {
        std::memset(reader_->recvBuff, 0, sizeof reader_->recvBuff);
        reader_->recvLength = 77;
        Outcome got = outcome_of(reads, [&](u8*, int*) {
            return (reader_.operations().*slot)(reader_, reader_->recvBuff, &reader_->recvLength);
        });
        got.length = reader_->recvLength;
        got.output.assign(reader_->recvBuff, reader_->recvBuff + got.length);
        return got;
    }
    Outcome receive(PlainReceiver slot, std::vector<Bytes> chunks)
    {
        ScriptedReads reads(reader_, std::move(chunks));
        return receive(slot, reads);
    }

    TestReader reader_;
    VirtualTime time_;
};

void expect_failed(const Outcome& got, int result)
{
    EXPECT_EQ(got.result, result);
    EXPECT_EQ(got.length, 0);
}

void expect_frames(const Outcome& got, int result, const Bytes& frames)
{
    EXPECT_EQ(got.result, result);
    EXPECT_EQ(got.length, static_cast<int>(frames.size()));
    EXPECT_EQ(to_hex(got.output), to_hex(frames));
}

// A Reader that is destroyed during its second read ends the receiver at the next look.
template <class Call> void expect_end_with_the_reader(int result, Call call)
{
    const VirtualTime time;
    const TestReader link;
    Reader* reader = Create_Reader();
    Reader* used = reader;
    retain(used);
    used->m_type = tcp_link;
    used->sServer = link.near();
    {
        ScriptedReads reads(used, {});
        reads.before_call = [&](int n) {
            if (n == 2) Destroy_Reader(&reader);
        };
        int length = -1;
        const std::int64_t start = VirtualTime::now_ms();
        EXPECT_EQ(call(used, used->recvBuff, &length), result);
        EXPECT_EQ(length, 0);
        EXPECT_EQ(reads.calls(), 2);
        EXPECT_LE(VirtualTime::now_ms() - start, 30);
    }
    release(used);
}

// ---- The inventory receivers

struct Kind {
    const char* name;
    Receiver slot;
    bool callback;
    bool fails_on_read_error;
    bool stops;
    int rest_without_data;
    int rest;
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

const Kind port1{"Port1", &Operations::GetInventoryDataFromPort1, true, true, true, 10, 1};
const Kind port2{"Port2", &Operations::GetInventoryDataFromPort2, true, true, true, 10, 1};
const Kind tp{"TP", &Operations::GetInventoryDataFromPort_TP, true, false, false, 0, 5};
const Kind find_epc{"FindEPC", &Operations::GetInventory_FindEPC_DataFromPort, false, true, true, 10, 1};

class InventoryReceiver : public Receiving, public testing::WithParamInterface<Kind> {
  protected:
    Outcome get(std::vector<Bytes> chunks, int command = code)
    {
        return receive(GetParam().slot, std::move(chunks), command);
    }
    Outcome get(ScriptedReads& reads, int command = code) { return receive(GetParam().slot, reads, command); }

    // When `silent` milliseconds are over at the end of a cycle that follows the one with data.
    std::int64_t limit_after_data(std::int64_t silent) const
    {
        const int cycle = GetParam().rest_without_data + GetParam().rest;
        std::int64_t at = GetParam().rest;
        while (at <= silent) at += cycle;
        return at;
    }
};

INSTANTIATE_TEST_SUITE_P(All, InventoryReceiver, testing::Values(port1, port2, tp, find_epc),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(InventoryReceiver, returns_the_accepted_frames_in_order)
{
    expect_frames(get({more(1) + last(2)}), 1, more(1) + last(2));
    expect_frames(get({more(1) + more(2) + last(3)}), 1, more(1) + more(2) + last(3));
}

TEST_P(InventoryReceiver, takes_literal_frames)
{
    reader_->ReaderAddr = 0x00;
    const Bytes frame = hex("0A 00 01 01 01 01 01 AA 50 FF 7C");
    ASSERT_EQ(to_hex(frame), to_hex(with_crc(hex("0A 00 01 01 01 01 01 AA 50"))));
    expect_frames(get({frame}), 1, frame);
}

TEST_P(InventoryReceiver, gives_the_same_for_input_cut_at_every_byte)
{
    const Bytes bytes = hex("FE 02 77") + more(1) + hex("0A 05") + more(2) + last(3);
    for (std::size_t at = 0; at <= bytes.size(); ++at)
        expect_frames(get(cut(bytes, at)), 1, more(1) + more(2) + last(3));
    expect_frames(get(byte_by_byte(bytes)), 1, more(1) + more(2) + last(3));
}

TEST_P(InventoryReceiver, drops_noise_in_front)
{
    expect_frames(get({hex("FF FF FF 04 7F EE 13") + last(1)}), 1, last(1));
    expect_frames(get({repeat(0xFF, 65000) + last(1)}), 1, last(1));
}

TEST_P(InventoryReceiver, finds_a_good_frame_inside_a_corrupt_one)
{
    Bytes corrupt = answer(address, code, 0x03, Bytes{0x01} + more(7) + hex("11 22"));
    corrupt.back() ^= 1U;
    expect_frames(get({corrupt + last(8) + padding}), 1, more(7) + last(8));
}

TEST_P(InventoryReceiver, skips_a_frame_with_a_bad_crc)
{
    for (std::size_t at = 3; at < more(1).size(); ++at) {
        Bytes corrupt = more(1);
        corrupt[at] ^= 0x80U;
        expect_frames(get({corrupt + last(2) + padding}), 1, last(2));
    }
}

TEST_P(InventoryReceiver, skips_frames_of_another_command)
{
    expect_frames(get({tag_frame(0x01, 9, 0x02) + tag_frame(0x01, 9, 0xEE) + last(2) + padding}), 1, last(2));
    expect_frames(get({tag_frame(0x01, 9, 0xB1)}, 0xB1), 1, tag_frame(0x01, 9, 0xB1));
}

TEST_P(InventoryReceiver, skips_frames_shorter_than_a_header)
{
    // Len 3 with a good CRC and the right command.
    expect_frames(get({with_crc(hex("03 05")) + last(1) + padding}), 1, last(1));
}

TEST_P(InventoryReceiver, lets_command_0_through_to_the_crc)
{
    const Bytes foreign = answer(0x77, 0x00, 0x00, hex("02 33"));
    expect_frames(get({foreign + last(1)}), 1, foreign + last(1));
    const Bytes foreign_end = answer(0x77, 0x00, 0xFB);
    expect_frames(get({foreign_end}), 0xFB, foreign_end);
    // Without a good CRC it is noise.
    expect_frames(get({hex("06 77 00 00 01 02 03") + last(1) + padding}), 1, last(1));
}

TEST_P(InventoryReceiver, ends_at_eight_statuses_and_goes_on_at_all_others)
{
    for (int status = 0; status < 256; ++status) {
        const Bytes frame = tag_frame(static_cast<u8>(status), 4);
        const bool ends = status == 0x01 || status == 0x02 || status == 0xF8 || status == 0xF9 ||
                          status == 0xFB || status == 0xFD || status == 0xFE || status == 0xFF;
        expect_frames(get({frame + last(5)}), ends ? status : 1, ends ? frame : frame + last(5));
    }
}

TEST_P(InventoryReceiver, leaves_what_follows_the_end_unread)
{
    const Outcome got = get({last(1), more(2)});
    expect_frames(got, 1, last(1));
    EXPECT_EQ(got.reads, 1);
    expect_frames(get({last(1) + more(2) + last(3)}), 1, last(1));
}

TEST_P(InventoryReceiver, returns_238_for_the_error_echo)
{
    expect_failed(get({tag_frame(0x00, 1, 0xEE)}, 0xEE), TAGWIRE_WRONG_COMMAND);
    expect_failed(get({tag_frame(0x03, 1, 0xEE)}, 0xEE), TAGWIRE_WRONG_COMMAND);
    // An end status comes first.
    expect_frames(get({tag_frame(0xFE, 1, 0xEE)}, 0xEE), 0xFE, tag_frame(0xFE, 1, 0xEE));
}

TEST_P(InventoryReceiver, gives_up_after_5_s_without_a_frame)
{
    const int cycle = GetParam().rest_without_data + GetParam().rest;
    const Outcome got = get(std::vector<Bytes>{});
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 5005);
    EXPECT_EQ(got.reads, 5005 / cycle);
}

TEST_P(InventoryReceiver, counts_the_silence_from_the_last_accepted_frame)
{
    const int cycle = GetParam().rest_without_data + GetParam().rest;
    std::vector<Bytes> chunks(400);
    chunks.push_back(more(1));
    const Outcome got = get(chunks);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 400 * cycle + limit_after_data(5000));
}

TEST_P(InventoryReceiver, does_not_count_noise_as_a_frame)
{
    const int cycle = GetParam().rest_without_data + GetParam().rest;
    std::vector<Bytes> chunks(400);
    chunks.push_back(hex("FF FE FD FC FB"));
    const Outcome got = get(chunks);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 400 * cycle + limit_after_data(5000 - 400 * cycle));
}

TEST_P(InventoryReceiver, takes_an_answer_at_the_end_of_the_limit)
{
    const int cycle = GetParam().rest_without_data + GetParam().rest;
    std::vector<Bytes> chunks(static_cast<std::size_t>(5000 / cycle));
    chunks.push_back(last(1));
    expect_frames(get(chunks), 1, last(1));
}

TEST_P(InventoryReceiver, has_no_limit_for_the_whole_answer)
{
    std::vector<Bytes> chunks;
    Bytes all;
    for (int i = 0; i < 50; ++i) {
        chunks.resize(chunks.size() + 400);
        chunks.push_back(more(1));
        all = all + more(1);
    }
    chunks.push_back(last(2));
    const Outcome got = get(chunks);
    expect_frames(got, 1, all + last(2));
    EXPECT_GT(got.took, 60'000);
}

TEST_P(InventoryReceiver, does_not_take_its_limit_from_the_scan_time)
{
    reader_->inventoryScanTime = 1;
    reader_->isInventoryCmd = true;
    EXPECT_EQ(get(std::vector<Bytes>{}).took, 5005);
}

TEST_P(InventoryReceiver, pauses_no_longer_than_until_input_is_there)
{
    // The script says that there is nothing; the link has a byte.
    reader_.feed({0xFF});
    std::vector<Bytes> chunks(3);
    chunks.push_back(last(1));
    const Outcome got = get(chunks);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.took, 0);
}

TEST_P(InventoryReceiver, pauses_in_full_on_a_link_that_hung_up)
{
    reader_.hang_up();
    const Outcome got = get(std::vector<Bytes>{});
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 5005);
}

TEST_P(InventoryReceiver, ends_with_a_read_error_unless_it_ignores_them)
{
    ScriptedReads reads(reader_, {more(1)});
    reads.fail_at_end();
    const Outcome got = get(reads);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    if (GetParam().fails_on_read_error) {
        EXPECT_EQ(got.reads, 2);
        EXPECT_EQ(got.took, 1);
    } else {
        EXPECT_EQ(got.took, 5005);
    }
}

TEST_P(InventoryReceiver, tests_the_stop_flag_at_the_end_of_a_cycle)
{
    reader_->isStopCmd = true;
    expect_frames(get({more(1) + last(2)}), 1, more(1) + last(2));
    if (!GetParam().stops) return;
    const Outcome got = get({more(1), last(2)});
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.reads, 1);
    EXPECT_EQ(got.took, 1);
}

TEST_P(InventoryReceiver, stops_in_the_cycle_in_which_the_flag_is_set)
{
    ScriptedReads reads(reader_, {more(1), {}, more(2), last(3)});
    reads.before_call = [&](int n) { reader_->isStopCmd = n == 3; };
    const Outcome got = get(reads);
    if (!GetParam().stops) return expect_frames(got, 1, more(1) + more(2) + last(3));
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.reads, 3);
}

TEST_P(InventoryReceiver, refuses_an_unknown_link_type)
{
    for (const int type : {-1, 2, 3, 255}) {
        reader_->m_type = type;
        const Outcome got = get({last(1)});
        expect_failed(got, TAGWIRE_BAD_HANDLE);
        EXPECT_EQ(got.reads, 0);
    }
    reader_->m_type = serial_link;
    expect_frames(get({last(1)}), 1, last(1));
}

TEST_P(InventoryReceiver, hands_tags_to_the_callback_while_they_arrive)
{
    reader_->MypCallBack = SeenTags::callback;
    ScriptedReads reads(reader_, {more(1), tag_frame(0x00, 2) + more(3), tag_frame(0x02, 4)});
    std::vector<std::size_t> seen;
    reads.before_call = [&](int) { seen.push_back(SeenTags::count()); };
    EXPECT_EQ(get(reads).result, 2);
    if (GetParam().callback) {
        EXPECT_THAT(seen, testing::ElementsAre(0, 1, 2));
        EXPECT_THAT(ids(), testing::ElementsAre("01", "03", "04"));
    } else {
        EXPECT_EQ(SeenTags::count(), 0U);
    }
}

TEST_P(InventoryReceiver, hands_over_tags_of_status_1_to_3_only)
{
    reader_->MypCallBack = SeenTags::callback;
    for (int status = 0; status < 256; ++status) {
        get({tag_frame(static_cast<u8>(status), 4) + tag_frame(0xFB, 9)});
        const bool tags = GetParam().callback && status >= 1 && status <= 3;
        EXPECT_EQ(ids().size(), tags ? 1U : 0U) << status;
    }
}

TEST_P(InventoryReceiver, passes_its_command_to_the_decoder)
{
    static std::vector<int> commands;
    commands.clear();
    reader_->MypCallBack = SeenTags::callback;
    reader_->operations.parserRidTag = [](Reader*, u8*, int cmd) { commands.push_back(cmd); };
    get({tag_frame(0x01, 1, 0x19)}, 0x19);
    if (GetParam().callback)
        EXPECT_THAT(commands, testing::ElementsAre(0x19));
    else
        EXPECT_TRUE(commands.empty());
}

TEST_P(InventoryReceiver, gives_the_decoder_zeros_behind_the_frame)
{
    static Bytes behind;
    behind.clear();
    reader_->MypCallBack = SeenTags::callback;
    reader_->operations.parserRidTag = [](Reader*, u8* frame, int) {
        behind.assign(frame + frame[0] + 1, frame + 300);
    };
    get({sized(0x03, 256) + last(1)});
    EXPECT_EQ(behind, repeat(0, GetParam().callback ? 300 - last(1).size() : 0));
}

TEST_P(InventoryReceiver, returns_no_list_when_tags_go_to_the_callback_only)
{
    reader_->MypCallBack = SeenTags::callback;
    reader_->InventoryBackUID = true;
    const Outcome got = get({more(1) + last(2)});
    if (GetParam().callback) {
        expect_failed(got, 1);
        EXPECT_THAT(ids(), testing::ElementsAre("01", "02"));
    } else {
        expect_frames(got, 1, more(1) + last(2));
    }
}

TEST_P(InventoryReceiver, goes_on_with_65534_bytes_and_ends_with_65535)
{
    const Outcome under = get({filled_to(65534)});
    expect_failed(under, TAGWIRE_NO_ANSWER);
    EXPECT_GT(under.took, 5000);
    for (const std::size_t size : {65535U, 65536U}) {
        const Outcome got = get({filled_to(size)});
        expect_failed(got, TAGWIRE_NO_ANSWER);
        EXPECT_EQ(got.took, GetParam().rest);
        EXPECT_EQ(got.reads, 1);
    }
}

TEST_P(InventoryReceiver, returns_an_answer_that_fills_the_buffer)
{
    for (const std::size_t size : {65534U, 65535U, 65536U}) {
        const Bytes all = filled_to(size - 200) + sized(0x01, 200);
        ASSERT_EQ(all.size(), size);
        expect_frames(get({all}), 1, all);
    }
}

TEST_P(InventoryReceiver, returns_an_answer_that_fills_the_buffer_with_a_callback_too)
{
    reader_->MypCallBack = SeenTags::callback;
    for (const std::size_t size : {65534U, 65535U, 65536U}) {
        const Bytes all = filled_to(size - 20) + sized(0x01, 20);
        const Outcome got = get({all});
        EXPECT_EQ(got.result, 1);
        EXPECT_EQ(got.length, static_cast<int>(size));
        EXPECT_TRUE(got.output == all);
    }
}

TEST_P(InventoryReceiver, loses_an_answer_that_does_not_fit)
{
    const Bytes full = filled_to(65500);
    expect_failed(get({full, sized(0x01, 37)}), TAGWIRE_NO_ANSWER);
    expect_failed(get({filled_to(65534), last(1)}), TAGWIRE_NO_ANSWER);
    expect_failed(get({full, sized(0x03, 37), last(1)}), TAGWIRE_NO_ANSWER);
}

TEST_P(InventoryReceiver, keeps_what_fits_and_calls_on_when_a_callback_takes_the_tags)
{
    reader_->MypCallBack = SeenTags::callback;
    std::vector<Bytes> chunks;
    for (int i = 0; i < 400; ++i) chunks.push_back(sized(0x03, 256));
    chunks.push_back(last(2));
    const Outcome got = get(chunks);
    // The tags of a search by list never reach the callback: dropping them would be a silent loss.
    if (!GetParam().callback) return expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.result, 1);
    EXPECT_LE(got.length, buffer_size);
    ASSERT_GE(got.length, 255 * 256);
    for (std::size_t i = 0; i + 256 <= got.output.size(); i += 256)
        ASSERT_TRUE(std::equal(chunks[0].begin(), chunks[0].end(), got.output.begin() + static_cast<int>(i)));
    EXPECT_EQ(SeenTags::count(), 401U);
}

TEST_P(InventoryReceiver, hands_its_records_to_a_hook_as_to_a_callback)
{
    const Hooked hooked(reader_);
    std::vector<Bytes> chunks(400, sized(0x03, 256));
    chunks.push_back(last(2));
    const Outcome got = get(chunks);
    if (!GetParam().callback) {
        EXPECT_TRUE(hooked.records().empty());
        return expect_failed(got, TAGWIRE_NO_ANSWER);
    }
    EXPECT_EQ(got.result, 1);
    ASSERT_EQ(hooked.records().size(), 401U);
    EXPECT_EQ(hooked.records()[0].id, hex("AA"));
    EXPECT_EQ(hooked.records()[400].id, hex("02"));
}

TEST_P(InventoryReceiver, takes_chunks_of_the_greatest_size)
{
    Bytes chunk = repeat(0xFF, 65536 - 11) + more(1);
    expect_frames(get({chunk, chunk, last(2)}), 1, more(1) + more(1) + last(2));
    // A frame that begins in one and ends in the other.
    const Bytes head(chunk.begin(), chunk.end() - 5);
    chunk = Bytes(chunk.end() - 5, chunk.end()) + repeat(0xFF, 65536 - 5 - 11) + last(2);
    expect_frames(get({repeat(0xFF, 5) + head, chunk}), 1, more(1) + last(2));
}

TEST_P(InventoryReceiver, ends_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_NO_ANSWER, [&](Reader* reader, u8* to, int* length) {
        return (reader->operations.*GetParam().slot)(reader, to, length, code);
    });
}

TEST_P(InventoryReceiver, reads_into_the_buffer_that_it_returns_the_frames_in)
{
    ScriptedReads reads(reader_, {more(1), more(2) + last(3)});
    EXPECT_EQ((reader_.operations().*GetParam().slot)(reader_, reader_->recvBuff, &reader_->recvLength, code),
              1);
    const Bytes all = more(1) + more(2) + last(3);
    EXPECT_EQ(reader_->recvLength, static_cast<int>(all.size()));
    EXPECT_EQ(Bytes(reader_->recvBuff, reader_->recvBuff + all.size()), all);
}

TEST_P(InventoryReceiver, does_not_expire_across_the_wrap_of_the_clock)
{
    const VirtualTime near_wrap((std::int64_t{1} << 31) - 1000);
    std::vector<Bytes> chunks(3000);
    chunks.push_back(last(1));
    const Outcome got = get(chunks);
    expect_frames(got, 1, last(1));
    EXPECT_GT(got.took, 14'000);
}

TEST_F(Receiving, addressed_frames_come_from_the_readers_own_address)
{
    const Bytes foreign = answer(0x06, code, 0x01, hex("01 01 01 AA 50"));
    for (const Kind& kind : {port1, port2, tp})
        expect_frames(receive(kind.slot, {foreign + last(1) + padding}), 1, last(1));
    expect_frames(receive(find_epc.slot, {foreign + last(1)}), 1, foreign);
}

TEST_F(Receiving, find_by_list_frames_have_1_behind_the_status)
{
    for (const int found : {0, 2, 0x81}) {
        const Bytes other = answer(address, code, 0x01, {static_cast<u8>(found), 0x01, 0xAA});
        expect_frames(receive(find_epc.slot, {other + last(1) + padding}), 1, last(1));
        expect_frames(receive(port1.slot, {other + last(1)}), 1, other);
    }
}

TEST_F(Receiving, find_by_list_waits_for_the_fifth_byte)
{
    // In the reassembly buffer a byte that is no 1 stands where the fifth one will come.
    expect_frames(receive(find_epc.slot, cut(last(1), 4)), 1, last(1));
}

TEST_F(Receiving, temperature_inventory_clears_its_third_time_stamp)
{
    reader_->time3 = 99;
    receive(tp.slot, {last(1)});
    EXPECT_EQ(reader_->time3, 0);
}

// ---- The fast antenna switch

Bytes led(const Bytes& frame) { return Bytes{0xA0} + frame; }

class SwitchReceiver : public Receiving {
  protected:
    // A frame counts when a byte more than its length lies behind the lead byte or before the next.
    Outcome get(std::vector<Bytes> chunks) { return receive(slot, std::move(chunks), 0x1C); }
    static constexpr Receiver slot = &Operations::GetInventoryDataFromPort3;
};

TEST_F(SwitchReceiver, takes_frames_behind_lead_bytes)
{
    expect_frames(get({led(more(1)) + led(last(2))}), 1, more(1) + last(2));
}

TEST_F(SwitchReceiver, gives_the_same_for_input_cut_at_every_byte)
{
    const Bytes bytes = hex("00 01 FF") + led(more(1)) + hex("0A 0A") + led(more(2)) + led(last(3));
    for (std::size_t at = 0; at <= bytes.size(); ++at)
        expect_frames(get(cut(bytes, at)), 1, more(1) + more(2) + last(3));
    expect_frames(get(byte_by_byte(bytes)), 1, more(1) + more(2) + last(3));
}

TEST_F(SwitchReceiver, tests_neither_address_nor_command)
{
    const Bytes foreign = answer(0x77, 0x42, 0x03, hex("01 00"));
    expect_frames(get({led(foreign) + led(last(1))}), 1, foreign + last(1));
}

TEST_F(SwitchReceiver, ignores_frames_without_lead_byte)
{
    const Outcome got = get({last(1)});
    expect_failed(got, TAGWIRE_NO_ANSWER);
}

TEST_F(SwitchReceiver, finds_a_good_frame_inside_a_corrupt_one)
{
    Bytes corrupt = led(answer(address, code, 0x03, led(more(7)) + hex("11")));
    corrupt.back() ^= 1U;
    expect_frames(get({corrupt + led(last(8)) + padding}), 1, more(7) + last(8));
}

TEST_F(SwitchReceiver, ends_at_its_statuses_and_goes_on_at_F8)
{
    for (int status = 0; status < 256; ++status) {
        const Bytes frame = tag_frame(static_cast<u8>(status), 4);
        const bool ends = status == 0x01 || status == 0x02 || status == 0xF9 || status == 0xFB ||
                          status == 0xFD || status == 0xFE || status == 0xFF;
        expect_frames(get({led(frame) + led(last(5))}), ends ? status : 1, ends ? frame : frame + last(5));
    }
}

TEST_F(SwitchReceiver, hands_over_tags_of_status_1_to_3_and_F8)
{
    reader_->MypCallBack = SeenTags::callback;
    for (int status = 0; status < 256; ++status) {
        get({led(tag_frame(static_cast<u8>(status), 4)) + led(tag_frame(0xFB, 9))});
        const bool tags = (status >= 1 && status <= 3) || status == 0xF8;
        EXPECT_EQ(ids().size(), tags ? 1U : 0U) << status;
    }
}

TEST_F(SwitchReceiver, returns_238_for_the_error_echo)
{
    expect_failed(get({led(tag_frame(0x00, 1, 0xEE))}), TAGWIRE_WRONG_COMMAND);
    expect_failed(get({led(tag_frame(0xF8, 1, 0xEE))}), TAGWIRE_WRONG_COMMAND);
    expect_frames(get({led(tag_frame(0xFF, 1, 0xEE))}), 0xFF, tag_frame(0xFF, 1, 0xEE));
}

TEST_F(SwitchReceiver, returns_no_list_when_tags_go_to_the_callback_only)
{
    reader_->MypCallBack = SeenTags::callback;
    reader_->InventoryBackUID = true;
    expect_failed(get({led(more(1)) + led(last(2))}), 1);
    EXPECT_THAT(ids(), testing::ElementsAre("01", "02"));
}

// Cycles of 15 ms without data, of 5 ms with.
TEST_F(SwitchReceiver, gives_up_after_5_s_outside_an_inventory)
{
    reader_->inventoryScanTime = 1;
    const Outcome got = get({});
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 5010);
}

TEST_F(SwitchReceiver, waits_for_first_data_for_the_scan_time_and_4_s)
{
    reader_->isInventoryCmd = true;
    const auto took = [&](int scan_time) {
        reader_->inventoryScanTime = static_cast<u8>(scan_time);
        const Outcome got = get({});
        expect_failed(got, TAGWIRE_NO_ANSWER);
        return got.took;
    };
    EXPECT_EQ(took(0), 4005);
    EXPECT_EQ(took(1), 4110);
    EXPECT_EQ(took(3), 4305);
    EXPECT_EQ(took(9), 4905);
    EXPECT_EQ(took(20), 5010);  // 5 s of silence come first
}

TEST_F(SwitchReceiver, has_the_scan_time_limit_alone_when_the_clock_stood_at_0)
{
    const VirtualTime at_zero(0);
    reader_->isInventoryCmd = true;
    reader_->inventoryScanTime = 255;
    EXPECT_EQ(get({}).took, 29'505);
}

TEST_F(SwitchReceiver, counts_any_data_as_first_data)
{
    reader_->isInventoryCmd = true;
    reader_->inventoryScanTime = 0;
    const Outcome got = get({hex("01")});
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 5015);  // 5 + 334 x 15
}

TEST_F(SwitchReceiver, counts_the_silence_from_the_last_accepted_frame)
{
    std::vector<Bytes> chunks(200);
    chunks.push_back(led(more(1)));
    EXPECT_EQ(get(chunks).took, 200 * 15 + 5015);
    chunks.back() = hex("01 02 03");
    EXPECT_EQ(get(chunks).took, 200 * 15 + 5 + 134 * 15);
}

TEST_F(SwitchReceiver, returns_0_at_once_for_the_stop_flag)
{
    reader_->isStopCmd = true;
    const Outcome got = get({led(last(1))});
    expect_failed(got, TAGWIRE_OK);
    EXPECT_EQ(got.reads, 0);
    EXPECT_EQ(got.took, 0);
}

TEST_F(SwitchReceiver, tests_the_stop_flag_before_each_frame)
{
    ScriptedReads before_frame(reader_, {led(last(1))});
    before_frame.before_call = [&](int) { reader_->isStopCmd = true; };
    expect_failed(receive(slot, before_frame, 0x1C), TAGWIRE_OK);

    reader_->isStopCmd = false;
    static Reader* reader;
    reader = reader_;
    static int tags;
    tags = 0;
    reader_->MypCallBack = [](RFIDTagStruct, int) {
        ++tags;
        reader->isStopCmd = true;
    };
    expect_failed(get({led(more(1)) + led(last(2))}), TAGWIRE_OK);
    EXPECT_EQ(tags, 1);
}

TEST_F(SwitchReceiver, ends_with_a_read_error)
{
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    const Outcome got = receive(slot, reads, 0x1C);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 0);
}

TEST_F(SwitchReceiver, refuses_an_unknown_link_type)
{
    reader_->m_type = 2;
    expect_failed(get({led(last(1))}), TAGWIRE_BAD_HANDLE);
}

TEST_F(SwitchReceiver, ends_with_65535_gathered_bytes)
{
    Bytes chunk;
    for (int i = 0; i < 127; ++i) chunk = chunk + led(sized(0x03, 256));
    const Outcome over = get({chunk, chunk, led(sized(0x03, 256)) + led(sized(0x03, 255))});
    expect_failed(over, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(over.took, 15);
    const Outcome under = get({chunk, chunk, led(sized(0x03, 256)) + led(sized(0x03, 254))});
    expect_failed(under, TAGWIRE_NO_ANSWER);
    EXPECT_GT(under.took, 5000);
    const Outcome full = get({chunk, chunk, led(sized(0x03, 256)) + led(sized(0x01, 256))});
    EXPECT_EQ(full.result, 1);
    EXPECT_EQ(full.length, 65536);
}

TEST_F(SwitchReceiver, calls_on_with_a_full_output)
{
    reader_->MypCallBack = SeenTags::callback;
    std::vector<Bytes> chunks;
    for (int i = 0; i < 300; ++i) chunks.push_back(led(sized(0x03, 256)));
    chunks.push_back(led(last(2)));
    const Outcome got = get(chunks);
    EXPECT_EQ(got.result, 1);
    EXPECT_GE(got.length, 255 * 256);
    EXPECT_LE(got.length, buffer_size);
    EXPECT_EQ(SeenTags::count(), 301U);
}

TEST_F(SwitchReceiver, takes_chunks_of_the_greatest_size)
{
    const Bytes chunk = repeat(0xA0, 65536 - 12) + led(more(1));
    expect_frames(get({chunk, chunk, led(last(2)) + padding}), 1, more(1) + more(1) + last(2));
}

TEST_F(SwitchReceiver, stamps_its_times)
{
    const std::int64_t start = VirtualTime::now_ms();
    get({{}, {}, led(more(1)), {}, led(last(2))});
    EXPECT_EQ(reader_->time1, start + 50);
    EXPECT_EQ(reader_->time3, start + 50);
}

TEST_F(SwitchReceiver, ends_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_OK, [](Reader* reader, u8* to, int* length) {
        return reader->operations.GetInventoryDataFromPort3(reader, to, length, 0x1C);
    });
}

// ---- One answer in a stream of others

class ExpectedAnswer : public Receiving {
  protected:
    Outcome get(std::vector<Bytes> chunks, int command) { return receive(slot, std::move(chunks), command); }
    static constexpr Receiver slot = &Operations::AutoGetDataFromPort;
};

Bytes short_answer(int command) { return answer(0x00, static_cast<u8>(command), 0x00); }
Bytes information() { return answer(0x00, 0x21, 0x00, hex("01 02 03 04 05 06 07 08 09 0A 0B 0C")); }

TEST_F(ExpectedAnswer, is_6_bytes_for_four_commands_and_18_for_the_reader_information)
{
    for (const int command : {0x76, 0x51, 0x35, 0x2F})
        expect_frames(get({short_answer(command)}, command), 0, short_answer(command));
    expect_frames(get({information()}, 0x21), 0, information());
}

TEST_F(ExpectedAnswer, is_none_for_any_other_command)
{
    for (const int command : {0x01, 0x50, 0x72, 0x00, 0xFF, 0x151}) {
        const Outcome got = get({short_answer(command), information()}, command);
        expect_failed(got, TAGWIRE_NO_ANSWER);
        EXPECT_GT(got.took, 200);
    }
}

TEST_F(ExpectedAnswer, must_have_its_length)
{
    expect_failed(get({answer(0x00, 0x51, 0x00, hex("01"))}, 0x51), TAGWIRE_NO_ANSWER);
    expect_failed(get({short_answer(0x21)}, 0x21), TAGWIRE_NO_ANSWER);
}

TEST_F(ExpectedAnswer, may_have_any_status_and_address)
{
    expect_frames(get({answer(0x63, 0x51, 0xFE)}, 0x51), 0, answer(0x63, 0x51, 0xFE));
}

TEST_F(ExpectedAnswer, is_found_when_cut_at_every_byte)
{
    const Bytes bytes = hex("FF 00 12") + information();
    for (std::size_t at = 0; at <= bytes.size(); ++at)
        expect_frames(get(cut(bytes, at), 0x21), 0, information());
    expect_frames(get(byte_by_byte(bytes), 0x21), 0, information());
    expect_frames(get(byte_by_byte(short_answer(0x51)), 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, is_found_behind_other_frames)
{
    const Bytes report = answer(0x00, 0xEE, 0x00, hex("01 04 E2 00 11 22 C0"));
    expect_frames(get({report + report + short_answer(0x51)}, 0x51), 0, short_answer(0x51));
    // What stands inside a good frame is its own.
    const Bytes wrapped = answer(0x00, 0xEE, 0x00, short_answer(0x51));
    expect_failed(get({wrapped}, 0x51), TAGWIRE_NO_ANSWER);
    // Inside one with a bad CRC it is found.
    Bytes corrupt = wrapped;
    corrupt.back() ^= 1U;
    expect_frames(get({corrupt}, 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, is_found_inside_a_frame_that_is_not_complete)
{
    // Len 40 of another command: each of its bytes is dropped by itself.
    expect_frames(get({hex("28 00 EE 00 01") + short_answer(0x51)}, 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, with_a_bad_crc_holds_its_place_until_the_limit)
{
    Bytes corrupt = short_answer(0x51);
    corrupt[4] ^= 1U;
    const Outcome got = get({corrupt + short_answer(0x51), {}, short_answer(0x51)}, 0x51);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 211);  // two cycles of 1 ms, nineteen of 11
    EXPECT_LE(got.reads, 22);
}

TEST_F(ExpectedAnswer, with_a_bad_crc_ends_at_the_limit_under_a_steady_stream)
{
    Bytes corrupt = short_answer(0x51);
    corrupt[4] ^= 1U;
    std::vector<Bytes> chunks{corrupt};
    for (int i = 0; i < 300; ++i) chunks.push_back(repeat(0x55, 1000));
    const Outcome got = get(chunks, 0x51);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 201);
}

TEST_F(ExpectedAnswer, comes_within_200_ms_from_the_start_whatever_else_comes)
{
    const Outcome silent = get({}, 0x51);
    expect_failed(silent, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(silent.took, 209);  // nineteen cycles of 11 ms

    std::vector<Bytes> chunks(1000, answer(0x00, 0xEE, 0x00));
    const Outcome busy = get(chunks, 0x51);
    expect_failed(busy, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(busy.took, 201);

    std::vector<Bytes> late(18);
    late.push_back(short_answer(0x51));
    expect_frames(get(late, 0x51), 0, short_answer(0x51));
    late.insert(late.begin(), Bytes{});
    expect_failed(get(late, 0x51), TAGWIRE_NO_ANSWER);
}

TEST_F(ExpectedAnswer, needs_an_open_link)
{
    reader_->sServer = -1;
    expect_failed(get({short_answer(0x51)}, 0x51), TAGWIRE_BAD_HANDLE);
    reader_->m_type = serial_link;
    reader_->hCommPort = -1;
    expect_failed(get({short_answer(0x51)}, 0x51), TAGWIRE_BAD_HANDLE);
    reader_->m_type = 2;
    reader_->hCommPort = reader_.near();
    expect_failed(get({short_answer(0x51)}, 0x51), TAGWIRE_BAD_HANDLE);
    reader_->m_type = serial_link;
    expect_frames(get({short_answer(0x51)}, 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, does_not_end_with_the_stop_flag)
{
    reader_->isStopCmd = true;
    expect_frames(get({{}, {}, short_answer(0x51)}, 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, is_lost_with_a_read_error)
{
    ScriptedReads reads(reader_, {{}});
    reads.fail_at_end();
    const Outcome got = receive(slot, reads, 0x51);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 11);
}

TEST_F(ExpectedAnswer, is_found_behind_chunks_of_the_greatest_size)
{
    const Bytes chunk = repeat(0xFF, 65536);
    expect_frames(get({chunk, chunk, short_answer(0x51)}, 0x51), 0, short_answer(0x51));
}

TEST_F(ExpectedAnswer, is_not_waited_for_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_NO_ANSWER, [](Reader* reader, u8* to, int* length) {
        return reader->operations.AutoGetDataFromPort(reader, to, length, 0x51);
    });
}

// ---- The buffer read

Bytes buffered(u8 status, const Bytes& data = hex("01 02")) { return answer(0x00, 0x72, status, data); }

class BufferReceiver : public Receiving {
  protected:
    static constexpr PlainReceiver slot = &Operations::GetBufferDataFromPort;
};

TEST_F(BufferReceiver, returns_all_frames_up_to_status_1_at_the_end_of_the_data)
{
    const Bytes all = buffered(0x03) + buffered(0x00) + buffered(0x01);
    expect_frames(receive(slot, {all}), 0, all);
    for (std::size_t at = 0; at <= all.size(); ++at) expect_frames(receive(slot, cut(all, at)), 0, all);
    expect_frames(receive(slot, byte_by_byte(all)), 0, all);
}

TEST_F(BufferReceiver, copies_to_another_place)
{
    const Bytes all = buffered(0x03) + buffered(0x01);
    reader_->recvLength = 0;
    ScriptedReads reads(reader_, {all});
    const auto out = std::make_unique<u8[]>(buffer_size);
    EXPECT_EQ(reader_.operations().GetBufferDataFromPort(reader_, out.get(), &reader_->recvLength), 0);
    EXPECT_EQ(Bytes(out.get(), out.get() + all.size()), all);
    EXPECT_EQ(reader_->recvLength, static_cast<int>(all.size()));
}

TEST_F(BufferReceiver, returns_254_without_data_for_an_empty_buffer)
{
    expect_failed(receive(slot, {buffered(0xFE)}), 0xFE);
    expect_failed(receive(slot, {buffered(0x03), buffered(0xFE)}), 0xFE);
}

TEST_F(BufferReceiver, goes_on_behind_an_end_status_with_data_behind_it)
{
    const Bytes all = buffered(0x01) + buffered(0xFE) + buffered(0x01);
    expect_frames(receive(slot, {all}), 0, all);
    const Outcome cut_off = receive(slot, {buffered(0x01) + hex("07")});
    EXPECT_EQ(cut_off.result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(cut_off.took, 10'010);
}

TEST_F(BufferReceiver, tests_no_crc)
{
    const Bytes frame = hex("07 00 72 01 AA BB CC DD");
    expect_frames(receive(slot, {frame}), 0, frame);
}

TEST_F(BufferReceiver, does_not_end_at_other_statuses)
{
    for (const int status : {0x00, 0x02, 0x03, 0xF8, 0xFB, 0xFF})
        EXPECT_EQ(receive(slot, {buffered(static_cast<u8>(status))}).result, TAGWIRE_NO_ANSWER) << status;
}

TEST_F(BufferReceiver, waits_1_s_for_first_data_and_10_s_in_all)
{
    const Outcome silent = receive(slot, std::vector<Bytes>{});
    expect_failed(silent, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(silent.took, 1010);
    std::vector<Bytes> chunks(100);
    chunks.push_back(hex("05"));
    const Outcome partial = receive(slot, chunks);
    EXPECT_EQ(partial.result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(partial.took, 10'010);
}

TEST_F(BufferReceiver, makes_any_link_but_serial_tcp)
{
    reader_->m_type = 5;
    expect_frames(receive(slot, {buffered(0x01)}), 0, buffered(0x01));
    EXPECT_EQ(reader_->m_type, tcp_link);
    reader_->m_type = serial_link;
    receive(slot, {buffered(0x01)});
    EXPECT_EQ(reader_->m_type, serial_link);
}

TEST_F(BufferReceiver, takes_65536_bytes_and_no_more)
{
    Bytes all;
    for (int i = 0; i < 255; ++i) all = all + buffered(0x03, repeat(0x11, 250));
    ASSERT_EQ(all.size(), 65280U);
    const Bytes end = buffered(0x01, repeat(0x22, 250));
    const Outcome full = receive(slot, {all, end});
    EXPECT_EQ(full.result, 0);
    EXPECT_EQ(full.length, 65536);
    EXPECT_TRUE(full.output == all + end);
    const Outcome over = receive(slot, {all + buffered(0x03, repeat(0x22, 249)), hex("05 00")});
    EXPECT_EQ(over.result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(over.took, 0);
}

TEST_F(BufferReceiver, ends_with_a_read_error_and_not_with_the_stop_flag)
{
    reader_->isStopCmd = true;
    expect_frames(receive(slot, {{}, buffered(0x01)}), 0, buffered(0x01));
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    const Outcome got = receive(slot, reads);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 0);
}

TEST_F(BufferReceiver, ends_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_NO_ANSWER, [](Reader* reader, u8* to, int* length) {
        return reader->operations.GetBufferDataFromPort(reader, to, length);
    });
}

// ---- The buffered inventory

class BufferedInventoryReceiver : public Receiving {
  protected:
    static constexpr PlainReceiver slot = &Operations::GetDataFromPort_buff;
};

TEST_F(BufferedInventoryReceiver, returns_when_the_first_frame_is_all_there_is)
{
    const Bytes frame = answer(0x00, 0x18, 0x00, hex("01 02 03 04"));
    for (std::size_t at = 0; at <= frame.size(); ++at) expect_frames(receive(slot, cut(frame, at)), 0, frame);
    expect_frames(receive(slot, byte_by_byte(frame)), 0, frame);
}

TEST_F(BufferedInventoryReceiver, tests_no_crc_and_no_status)
{
    expect_frames(receive(slot, {hex("04 AA BB CC DD")}), 0, hex("04 AA BB CC DD"));
}

TEST_F(BufferedInventoryReceiver, leaves_the_length_in_the_reader_only)
{
    reader_->recvLength = 0;
    ScriptedReads reads(reader_, {hex("04 AA BB CC DD")});
    int length = 99;
    u8 out[300] = {};
    EXPECT_EQ(reader_.operations().GetDataFromPort_buff(reader_, out, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(reader_->recvLength, 5);
}

TEST_F(BufferedInventoryReceiver, does_not_return_for_a_len_below_4_or_bytes_behind_the_frame)
{
    EXPECT_EQ(receive(slot, {hex("03 AA BB CC")}).result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(receive(slot, {hex("04 AA BB CC DD EE")}).result, TAGWIRE_NO_ANSWER);
}

TEST_F(BufferedInventoryReceiver, waits_60_s_in_all)
{
    EXPECT_EQ(receive(slot, std::vector<Bytes>{}).took, 60'010);
    std::vector<Bytes> chunks(3000);
    chunks.push_back(hex("04 AA"));
    const Outcome got = receive(slot, chunks);
    EXPECT_EQ(got.result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 60'010);
}

TEST_F(BufferedInventoryReceiver, ends_with_a_full_buffer_and_with_a_read_error)
{
    const Outcome full = receive(slot, {repeat(0x00, 65000), repeat(0x00, 1000)});
    EXPECT_EQ(full.result, TAGWIRE_NO_ANSWER);
    ScriptedReads reads(reader_, {});
    reads.fail_at_end();
    expect_failed(receive(slot, reads), TAGWIRE_NO_ANSWER);
}

TEST_F(BufferedInventoryReceiver, refuses_an_unknown_link_type)
{
    reader_->m_type = 2;
    expect_failed(receive(slot, {hex("04 AA BB CC DD")}), TAGWIRE_BAD_HANDLE);
}

TEST_F(BufferedInventoryReceiver, ends_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_NO_ANSWER, [](Reader* reader, u8* to, int* length) {
        return reader->operations.GetDataFromPort_buff(reader, to, length);
    });
}

// ---- The tag-buffer information

class BufferInformationReceiver : public Receiving {
  protected:
    static constexpr PlainReceiver slot = &Operations::GetDataFromPort1;
};

Bytes buffer_information() { return answer(0x00, 0x43, 0x00, hex("01 02")); }

TEST_F(BufferInformationReceiver, returns_the_frame_of_command_43)
{
    const Bytes frame = buffer_information();
    for (std::size_t at = 0; at <= frame.size(); ++at) expect_frames(receive(slot, cut(frame, at)), 0, frame);
    expect_frames(receive(slot, byte_by_byte(frame)), 0, frame);
}

TEST_F(BufferInformationReceiver, returns_the_frames_in_front_too)
{
    const Bytes other = answer(0x00, 0x72, 0x03, hex("AA BB CC"));
    expect_frames(receive(slot, {other, buffer_information()}), 0, other + buffer_information());
    expect_frames(receive(slot, {other + other + buffer_information()}), 0,
                  other + other + buffer_information());
}

TEST_F(BufferInformationReceiver, looks_at_the_next_frame_before_all_of_it_is_there)
{
    const Bytes other = answer(0x00, 0x72, 0x03, hex("AA BB CC"));
    expect_frames(receive(slot, {other + hex("07 00 43 00")}), 0, other + hex("07 00 43 00"));
}

TEST_F(BufferInformationReceiver, goes_on_for_another_status_or_command)
{
    for (const Bytes& frame : {answer(0x00, 0x43, 0x01), answer(0x00, 0x44, 0x00)}) {
        const Outcome got = receive(slot, {frame});
        EXPECT_EQ(got.result, TAGWIRE_NO_ANSWER);
        EXPECT_EQ(got.took, 6007);  // 1 + 546 x 11
    }
}

TEST_F(BufferInformationReceiver, waits_2_s_for_first_data_and_6_s_in_all)
{
    const Outcome silent = receive(slot, std::vector<Bytes>{});
    expect_failed(silent, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(silent.took, 2002);
    std::vector<Bytes> chunks(180);
    chunks.push_back(hex("07 00"));
    const Outcome partial = receive(slot, chunks);
    EXPECT_EQ(partial.result, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(partial.took, 6007);
}

TEST_F(BufferInformationReceiver, never_writes_past_the_buffer)
{
    Bytes chunk;
    for (int i = 0; i < 256; ++i) chunk = chunk + answer(0x00, 0x72, 0x03, repeat(0x11, 250));
    ASSERT_EQ(chunk.size(), 65536U);
    EXPECT_EQ(receive(slot, {chunk, buffer_information()}).result, TAGWIRE_NO_ANSWER);
}

TEST_F(BufferInformationReceiver, ends_with_a_read_error)
{
    ScriptedReads reads(reader_, {{}});
    reads.fail_at_end();
    const Outcome got = receive(slot, reads);
    expect_failed(got, TAGWIRE_NO_ANSWER);
    EXPECT_EQ(got.took, 11);
}

TEST_F(BufferInformationReceiver, refuses_an_unknown_link_type)
{
    reader_->m_type = -3;
    expect_failed(receive(slot, {buffer_information()}), TAGWIRE_BAD_HANDLE);
}

TEST_F(BufferInformationReceiver, ends_when_the_reader_is_destroyed)
{
    expect_end_with_the_reader(TAGWIRE_NO_ANSWER, [](Reader* reader, u8* to, int* length) {
        return reader->operations.GetDataFromPort1(reader, to, length);
    });
}

// ---- A count of received bytes that a second command of the caller's has changed

int count_found = 0;

class ChangedCount : public Receiving, public testing::WithParamInterface<std::tuple<PlainReceiver, int>> {
  protected:
    // Ten bytes come, and the count is another one by then.
    static int read(Reader* reader, u8* to)
    {
        VirtualTime::advance_ms(1000);
        std::memset(to, 0xA5, 10);
        reader->recvLength = count_found;
        return 10;
    }
    static bool is_untouched(const Bytes& bytes) { return bytes == repeat(0x99, bytes.size()); }
};

TEST_P(ChangedCount, outside_the_buffer_gives_48_and_writes_nothing)
{
    count_found = std::get<int>(GetParam());
    reader_->operations.ReadRfidData = read;
    constexpr std::size_t around = 200;
    Bytes room = repeat(0x99, around + buffer_size + 2 * around + 70'000);
    std::memset(&reader_->portDCB, 0x99, sizeof reader_->portDCB);
    std::memset(reader_->btArBuff, 0x99, sizeof reader_->btArBuff);
    std::memset(reader_->recvBuff, 0x99, sizeof reader_->recvBuff);
    int length = -1;
    EXPECT_EQ(
        (reader_.operations().*std::get<PlainReceiver>(GetParam()))(reader_, room.data() + around, &length),
        TAGWIRE_NO_ANSWER);
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(is_untouched(room));
    // The receiver of the tag buffer gathers in the Reader itself.
    const auto* line = reinterpret_cast<const u8*>(&reader_->portDCB);
    EXPECT_TRUE(is_untouched(Bytes(line, line + sizeof reader_->portDCB)));
    EXPECT_TRUE(is_untouched(Bytes(reader_->recvBuff, reader_->recvBuff + buffer_size)));
    EXPECT_TRUE(is_untouched(Bytes(reader_->btArBuff, reader_->btArBuff + buffer_size)));
    EXPECT_EQ(reader_->recvLength, count_found);
}

INSTANTIATE_TEST_SUITE_P(Receivers, ChangedCount,
                         testing::Combine(testing::Values(&Operations::GetBufferDataFromPort,
                                                          &Operations::GetDataFromPort_buff,
                                                          &Operations::GetDataFromPort1),
                                          testing::Values(-100, -1, buffer_size + 1, 70'000)));

}  // namespace
}  // namespace tagwire::engine::test
