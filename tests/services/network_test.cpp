// The network modules and the position: the single exchanges, and the search for access points.
#include "services/service_call.h"
#include "tagwire/network.h"

namespace tagwire::engine::test {
namespace {

const Bytes mac = hex("A1 A2 A3 A4 A5 A6");

template <auto Slot, auto Exported> int set_mac(Call& c)
{
    Bytes given = mac;
    return c.run<Slot, Exported>(given.data());
}
template <auto Slot, auto Exported> int one_output(Call& c) { return c.run<Slot, Exported>(c.to(0)); }
template <auto Slot, auto Exported> int link_state(Call& c)
{
    return c.run<Slot, Exported>(c.to(0), c.to(1), c.to(2), c.to(3));
}
int position(Call& c)
{
    return c.run<&Operations::GetGPSInformation, ::GetGPSInformation>(
        c.to(0), c.to(1), c.to(2), c.to(3), c.to(4), c.to(5), c.to(6), c.to(7), c.to(8), c.to(9), c.to(10),
        c.to(11), c.to(12), c.to(13), c.to(14), c.to(15));
}
int modem(Call& c)
{
    return c.run<&Operations::Get4GConnectStatus, ::Get4GConnectStatus>(c.to(0), c.to(1), c.to(2), c.to(3),
                                                                        c.to(4), c.to(5), c.to(6), c.to(7));
}
int set_server(Call& c)
{
    Bytes server = hex("61 62 63");
    return c.run<&Operations::Set4GRemoteServerInformation, ::Set4GRemoteServerInformation>(
        u8{3}, server.data(), 0x12345);
}
int get_server(Call& c)
{
    return c.run<&Operations::Get4GRemoteServerInformation, ::Get4GRemoteServerInformation>(c.to(0), c.to(1),
                                                                                            &c.number);
}

constexpr const char* six = "D0 D1 D2 D3 D4 D5";
constexpr const char* link_data = "EE 01 C0 A8 01 64 FF FF FF 00 C0 A8 01 FE";
constexpr const char* link_written = "01 | C0 A8 01 64 | FF FF FF 00 | C0 A8 01 FE";

const Service services[] = {
    {"SetMacAddr", set_mac<&Operations::SetMacAddr, ::SetMacAddr>, "0C 05 F1 52 52 A1 A2 A3 A4 A5 A6", "", "",
     true},
    {"SetRJ45MacAddr", set_mac<&Operations::SetRJ45MacAddr, ::SetRJ45MacAddr>,
     "0C 05 F1 52 52 A1 A2 A3 A4 A5 A6", "", ""},
    {"GetMacAddr", one_output<&Operations::GetMacAddr, ::GetMacAddr>, "06 05 F2 52 52", six, six, true},
    {"GetRJ45MacAddr", one_output<&Operations::GetRJ45MacAddr, ::GetRJ45MacAddr>, "06 05 F2 52 52", six, six,
     true},
    {"GetWIFIMacAddr", one_output<&Operations::GetWIFIMacAddr, ::GetWIFIMacAddr>, "06 05 F2 52 53", six, six,
     true},
    {"GetBluetoothMacAddr", one_output<&Operations::GetBluetoothMacAddr, ::GetBluetoothMacAddr>,
     "06 05 F2 52 54", six, six, true},
    {"GetBleMacAddr", one_output<&Operations::GetBleMacAddr, ::GetBleMacAddr>, "06 05 F2 52 55", six, six,
     true},
    {"ReadRJ45ConnectStatus", link_state<&Operations::ReadRJ45ConnectStatus, ::ReadRJ45ConnectStatus>,
     "06 05 E6 0C 00", link_data, link_written, true},
    {"ReadWIFIConnectStatus", link_state<&Operations::ReadWIFIConnectStatus, ::ReadWIFIConnectStatus>,
     "06 05 E6 0C 01", link_data, link_written, true},
    {"GetGPSInformation", position, "04 05 B0",
     "08 01 4E 34 12 01 02 03 04 45 0D 1E 11 12 13 14 1A 0B 15 17 3B 2A",
     "08 | 01 | 4E | 34 | 12 | 01 02 03 04 | 45 | 0D | 1E | 11 12 13 14 | 1A | 0B | 15 | 17 | 3B | 2A", false,
     true},
    {"Get4GConnectStatus", modem, "04 05 B1", "02 1F 03 31 32 33 02 41 42 04 51 52 53 54",
     "02 | 1F | 03 | 31 32 33 | 02 | 41 42 | 04 | 51 52 53 54", false, true},
    {"Set4GRemoteServerInformation", set_server, "0A 05 B2 03 61 62 63 23 45", "", "", false, true},
    {"Get4GRemoteServerInformation", get_server, "04 05 B3", "03 61 62 63 1F 90", "03 | 61 62 63 # 8080",
     false, true},
};
INSTANTIATE_TEST_SUITE_P(Network, OneAnswer, testing::ValuesIn(services), service_name);

class Network : public testing::Test {
  protected:
    // The outputs that a call writes for this answer, by the real receiver.
    std::string written(int (*call)(Call&), const Bytes& bytes) const
    {
        reader_.feed(bytes);
        Call now(reader_);
        EXPECT_EQ(call(now), TAGWIRE_OK);
        return now.written();
    }
    TestReader reader_;
};

TEST_F(Network, the_first_byte_of_a_link_state_may_be_anything)
{
    for (const u8 first : {0x00, 0x0B, 0x0C, 0xFF}) {
        Bytes data = hex(link_data);
        data[0] = first;
        EXPECT_EQ(written(services[7].run, answer(1, 0xE6, 0, data)), link_written);
        EXPECT_EQ(written(services[8].run, answer(1, 0xE6, 0, data)), link_written);
    }
}

TEST_F(Network, a_server_may_have_no_name)
{
    EXPECT_EQ(written(get_server, answer(1, 0xB3, 0, hex("00 12 34"))), "00 # 4660");
}

TEST_F(Network, the_longest_server_name_that_a_frame_holds)
{
    const Bytes name = repeat(0x41, 247);
    EXPECT_EQ(written(get_server, answer(1, 0xB3, 0, Bytes{247} + name + hex("FF FE"))),
              "F7 | " + to_hex(name) + " # 65534");
}

TEST_F(Network, identities_may_be_empty)
{
    EXPECT_EQ(written(modem, answer(1, 0xB1, 0, hex("01 02 00 00 00"))), "01 | 02 | 00 |  | 00 |  | 00");
    EXPECT_EQ(written(modem, answer(1, 0xB1, 0, hex("01 02 00 01 55 00"))), "01 | 02 | 00 |  | 01 | 55 | 00");
}

TEST_F(Network, an_answer_may_be_shorter_than_its_fields)
{
    EXPECT_EQ(written(position, answer(1, 0xB0, 0, hex("08 01 4E"))).substr(0, 12), "08 | 01 | 4E");
    EXPECT_EQ(written(modem, answer(1, 0xB1, 0, hex("02 1F"))).substr(0, 7), "02 | 1F");
    EXPECT_EQ(written(get_server, answer(1, 0xB3, 0, hex("04 61"))).substr(0, 7), "04 | 61");
}

// Each output has just the room that its length byte allows for.
TEST_F(Network, lengths_of_255_stay_inside_the_outputs)
{
    for (const std::size_t count : {3U, 40U, 250U}) {
        reader_.feed(answer(1, 0xB1, 0, hex("02 1F") + repeat(0xFF, count - 2)));
        Bytes text[3] = {repeat(unwritten, 255), repeat(unwritten, 255), repeat(unwritten, 255)};
        u8 address = 5;
        u8 state[2] = {};
        u8 length[3] = {};
        EXPECT_EQ(reader_.operations().Get4GConnectStatus(reader_, &address, state, state + 1, length,
                                                          text[0].data(), length + 1, text[1].data(),
                                                          length + 2, text[2].data()),
                  TAGWIRE_OK);
        EXPECT_EQ(length[0], 255);
        EXPECT_EQ(Bytes(text[0].begin(), text[0].begin() + static_cast<long>(count) - 3),
                  repeat(0xFF, count - 3));
        EXPECT_EQ(length[1], 0) << "behind the frame";

        reader_.feed(answer(1, 0xB3, 0, repeat(0xFF, count)));
        int port = 0;
        EXPECT_EQ(reader_.operations().Get4GRemoteServerInformation(reader_, &address, length, text[0].data(),
                                                                    &port),
                  TAGWIRE_OK);
        EXPECT_EQ(port, 0);
    }
}

// A frame has room for 248 bytes of name; with more its length byte wraps.
TEST_F(Network, server_names_of_any_length_are_sent)
{
    StandIn stand_in(reader_);
    for (const std::size_t length : {0U, 1U, 247U, 248U, 249U, 250U, 253U, 255U}) {
        Bytes name = repeat(0x61, length);
        u8 address = 5;
        reader_.operations().Set4GRemoteServerInformation(reader_, &address, static_cast<u8>(length),
                                                          name.data(), -2);
        const std::size_t len = (length + 7) % 256;
        ASSERT_EQ(stand_in.sent.back().size(), len + 1) << length;
        if (len == 0) continue;
        const Bytes whole = Bytes{0, 5, 0xB2, static_cast<u8>(length)} + name + hex("FF FE");
        EXPECT_EQ(stand_in.sent.back(), wrapped(whole)) << length;
    }
}

// One access point, and the end of a scan.
Bytes point(const Bytes& record) { return answer(0x07, 0xE6, 3, Bytes{0x0B} + record); }
Bytes end_of_scan(u8 status = 0) { return answer(0x07, 0xE6, status, {0x0B}); }

const Bytes three_points =
    point(hex("11 12 13")) + point(hex("21 22 23 24")) + point(hex("31")) + end_of_scan();
constexpr const char* three_records = "11 12 13 21 22 23 24 31";

class WifiScan : public testing::Test {
  protected:
    int scan(int handle = 0)
    {
        return through<&Operations::SearchWIFI, ::SearchWIFI>(reader_.get(), handle, &address_, list_.data(),
                                                              &length_, &count_);
    }
    void expect_found(const Bytes& records, int count)
    {
        EXPECT_EQ(length_, static_cast<int>(records.size()));
        EXPECT_EQ(count_, count);
        Bytes expected = records;
        expected.resize(list_.size(), unwritten);
        EXPECT_TRUE(list_ == expected);
        EXPECT_EQ(address_, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
        length_ = count_ = -77;
        list_.assign(list_.size(), unwritten);
    }
    void expect_untouched() const
    {
        EXPECT_EQ(length_, -77);
        EXPECT_EQ(count_, -77);
        EXPECT_TRUE(list_ == repeat(unwritten, list_.size()));
        EXPECT_EQ(address_, 0x05);
        EXPECT_FALSE(reader_->isInventoryCmd);
    }
    // The result for a reader that sends these chunks and falls silent.
    int scan_of(std::vector<Bytes> chunks)
    {
        const ScriptedReads reads(reader_, std::move(chunks));
        return scan();
    }

    VirtualTime time_;
    TestReader reader_;
    u8 address_ = 0x05;
    Bytes list_ = repeat(unwritten, 60'000);
    int length_ = -77;
    int count_ = -77;
};

TEST_F(WifiScan, asks_and_gathers_the_records)
{
    const OpenHandle open(reader_);
    for (const int handle : {0, OpenHandle::number}) {
        reader_.feed(three_points);
        EXPECT_EQ(scan(handle), TAGWIRE_OK);
        EXPECT_EQ(to_hex(reader_.sent()), to_hex(with_crc(hex("05 05 E6 0B"))));
        expect_found(hex(three_records), 3);
    }
}

TEST_F(WifiScan, is_refused_on_a_bad_handle_and_while_reading)
{
    const OpenHandle open(reader_);
    EXPECT_EQ(scan(200), TAGWIRE_BAD_HANDLE);
    reader_->isStopStocktaking = false;
    EXPECT_EQ(scan(OpenHandle::number), TAGWIRE_BUSY);
    EXPECT_EQ(reader_.sent().size(), 0U);
    expect_untouched();
}

TEST_F(WifiScan, without_a_point_nothing_is_written)
{
    for (const u8 status : {0, 1, 2, 5, 48, 255}) {
        EXPECT_EQ(scan_of({end_of_scan(status)}), status);
        expect_untouched();
    }
}

TEST_F(WifiScan, the_last_status_is_the_result)
{
    EXPECT_EQ(scan_of({point(hex("11 12")) + end_of_scan(0x0A)}), 0x0A);
    expect_found(hex("11 12"), 1);
}

TEST_F(WifiScan, an_empty_record_counts)
{
    EXPECT_EQ(scan_of({point({}) + end_of_scan()}), TAGWIRE_OK);
    expect_found({}, 1);
    EXPECT_EQ(scan_of({point({}) + point(hex("22")) + answer(7, 0xE6, 0)}), TAGWIRE_OK);
    expect_found(hex("22"), 2);
}

TEST_F(WifiScan, frames_may_come_in_any_pieces)
{
    for (const auto& chunks : all_splits(hex("FF 41") + three_points)) {
        EXPECT_EQ(scan_of(chunks), TAGWIRE_OK) << chunks[0].size();
        expect_found(hex(three_records), 3);
    }
}

TEST_F(WifiScan, noise_in_front_is_skipped)
{
    for (const char* noise : {"FF", "00", "03 E6", "FF FF FF FF FF FF", "00 00 00 00", "05 05 E6 03 0B",
                              "06 07 E6 03 0B 11 22", "02 01 03 E6 0B"})
        for (const bool apart : {false, true}) {
            const Bytes first = hex(noise) + (apart ? Bytes{} : three_points);
            EXPECT_EQ(scan_of({first, apart ? three_points : Bytes{}}), TAGWIRE_OK) << noise;
            expect_found(hex(three_records), 3);
        }
}

TEST_F(WifiScan, what_is_too_short_for_a_frame_is_noise_even_with_a_good_crc)
{
    Bytes tiny;
    for (u8 i = 0; tiny.size() < 4 || tiny[2] != 0xE6; ++i) tiny = with_crc({3, i});
    EXPECT_EQ(scan_of({tiny + three_points}), TAGWIRE_OK);
    expect_found(hex(three_records), 3);
}

TEST_F(WifiScan, what_is_too_short_for_a_frame_is_noise_also_when_it_comes_alone)
{
    EXPECT_EQ(scan_of({with_crc({3, 0}), three_points}), TAGWIRE_OK);
    expect_found(hex(three_records), 3);
}

TEST_F(WifiScan, much_noise_is_skipped)
{
    EXPECT_EQ(scan_of(in_chunks(repeat(0xFF, 5000) + three_points, 2048)), TAGWIRE_OK);
    expect_found(hex(three_records), 3);
}

TEST_F(WifiScan, a_frame_with_a_bad_crc_is_dropped)
{
    EXPECT_EQ(scan_of({point(hex("11 12")) + spoiled(point(hex("41 42 43"))) + point(hex("21 22")) +
                       end_of_scan()}),
              TAGWIRE_OK);
    expect_found(hex("11 12 21 22"), 2);
    EXPECT_EQ(scan_of({point(hex("11 12")) + spoiled(end_of_scan())}), TAGWIRE_NO_ANSWER);
    expect_untouched();
}

// The code may differ where the echo of the function is there, and the other way round; a code of 0 always
// may.
TEST_F(WifiScan, a_frame_is_told_by_its_code_or_by_its_function)
{
    for (const Bytes& last :
         {answer(7, 0xE6, 0, {0x77}), answer(7, 0x33, 0, {0x0B}), answer(7, 0, 0, {0x77})}) {
        EXPECT_EQ(scan_of({point(hex("11")) + last}), TAGWIRE_OK) << to_hex(last);
        expect_found(hex("11"), 1);
    }
    EXPECT_EQ(scan_of({point(hex("11")) + answer(7, 0x33, 0, {0x77}) + end_of_scan(6)}), 6);
    expect_found(hex("11"), 1);
}

TEST_F(WifiScan, a_reader_that_does_not_know_it)
{
    EXPECT_EQ(scan_of({answer(7, 0xEE, 3, {0x0B})}), TAGWIRE_NO_ANSWER);
    expect_untouched();
    EXPECT_EQ(scan_of({point(hex("11")) + answer(7, 0xEE, 3, {0x0B}) + three_points}), TAGWIRE_NO_ANSWER);
    expect_untouched();
    EXPECT_EQ(scan_of({point(hex("11")) + answer(7, 0xEE, 5, {0x0B})}), 5);
    expect_found(hex("11"), 1);
}

TEST_F(WifiScan, ends_after_20_seconds_of_silence)
{
    const std::int64_t start = VirtualTime::now_ms();
    EXPECT_EQ(scan_of({}), TAGWIRE_NO_ANSWER);
    EXPECT_GT(VirtualTime::now_ms() - start, 20'000);
    EXPECT_LE(VirtualTime::now_ms() - start, 20'010);
    expect_untouched();
}

TEST_F(WifiScan, each_good_frame_gives_another_20_seconds)
{
    ScriptedReads reads(reader_, {});
    const std::int64_t start = VirtualTime::now_ms();
    VirtualTime::in(19'990, [&] { reads.then(point(hex("11"))); });
    VirtualTime::in(39'900, [&] { reads.then(point(hex("21"))); });
    VirtualTime::in(59'000, [&] { reads.then(spoiled(point(hex("31"))) + hex("FF FF")); });
    EXPECT_EQ(scan(), TAGWIRE_NO_ANSWER);
    EXPECT_GT(VirtualTime::now_ms() - start, 59'900);
    EXPECT_LE(VirtualTime::now_ms() - start, 59'930);
    expect_untouched();
}

TEST_F(WifiScan, a_closed_link_ends_it_at_once)
{
    ScriptedReads reads(reader_, {point(hex("11"))});
    reads.fail_at_end();
    const std::int64_t start = VirtualTime::now_ms();
    EXPECT_EQ(scan(), TAGWIRE_NO_ANSWER);
    EXPECT_LE(VirtualTime::now_ms() - start, 10);
    expect_untouched();
}

// 234 frames of 256 bytes, then one that brings the scan, with its end, to `total` bytes.
Bytes scan_of_size(std::size_t total, Bytes& records)
{
    Bytes stream;
    records.clear();
    for (int i = 0; i < 234; ++i) {
        const Bytes record = repeat(static_cast<u8>(i % 100 + 1), 249);
        stream = std::move(stream) + point(record);
        records = std::move(records) + record;
    }
    const Bytes record = repeat(0x77, total - 59'904 - 7 - 7);
    records = std::move(records) + record;
    return std::move(stream) + point(record) + end_of_scan();
}

TEST_F(WifiScan, takes_60000_bytes_of_frames_and_no_more)
{
    Bytes records;
    for (const std::size_t chunk : {251U, 2048U}) {
        EXPECT_EQ(scan_of(in_chunks(scan_of_size(60'000, records), chunk)), TAGWIRE_OK);
        expect_found(records, 235);
    }
    EXPECT_EQ(scan_of(in_chunks(scan_of_size(60'001, records), 2048)), TAGWIRE_NO_ANSWER);
    expect_untouched();
}

TEST_F(WifiScan, the_receiver_fills_no_more_than_its_buffer)
{
    Bytes records;
    for (const std::size_t total : {60'000U, 60'001U}) {
        const Bytes stream = scan_of_size(total, records);
        const ScriptedReads reads(reader_, in_chunks(stream, 2048));
        Bytes frames = repeat(unwritten, 60'000);
        int length = -77;
        const bool fits = total == 60'000;
        EXPECT_EQ(reader_.operations().GetWifiDataFromPort(reader_, frames.data(), &length),
                  fits ? TAGWIRE_OK : TAGWIRE_NO_ANSWER);
        EXPECT_EQ(length, fits ? 60'000 : 0);
        EXPECT_EQ(frames == stream, fits);
    }
}

// Only 48 is passed on from the receiver, and frames with other statuses than 3 carry no record.
TEST_F(WifiScan, walks_over_whatever_the_receiver_gathered)
{
    StandIn stand_in(reader_, &Operations::GetWifiDataFromPort);
    stand_in.soil();
    stand_in.bytes =
        point(hex("11")) + end_of_scan(7) + point(hex("21 22")) + end_of_scan(9) + point(hex("31"));
    for (const int result : {0, 99, 238}) {
        stand_in.result = result;
        EXPECT_EQ(scan(), 3);
        expect_found(hex("11 21 22 31"), 3);
    }
    EXPECT_TRUE(stand_in.cleared);
    EXPECT_FALSE(stand_in.in_inventory);
    stand_in.result = TAGWIRE_NO_ANSWER;
    EXPECT_EQ(scan(), TAGWIRE_NO_ANSWER);
    expect_untouched();
}

}  // namespace
}  // namespace tagwire::engine::test
