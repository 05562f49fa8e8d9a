#include "exchange.h"
#include "field/other_tags.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Gt;
using testing::Lt;
using testing::SizeIs;

constexpr const char* shelf = R"(
[reader]
antennas = 2
air_time = 0
[[tag_gb]]
tag_id = "1111 2222"
info = "C0C1 C2C3"
user = "A0A1 A2A3 A4A5"
access_password = "01020304"
kill_password = "0A0B0C0D"
rssi = 100
[[tag_gb]]
tag_id = "3333"
antennas = [2]
rssi = 90
[[tag_jb]]
tag_id = "4444"
user = "B0B1"
)";

Scenario jb_shelf()
{
    Scenario scenario = Scenario::from_text(shelf);
    scenario.reader.protocol_family = ProtocolFamily::jb;
    return scenario;
}

TEST(TagsGb, Inventory)
{
    Bench bench(shelf);
    const std::string first = "01 04 11 11 22 22 64";
    run(bench, {{0x56, "", {"03 01 " + first, "01 02 01 02 33 33 5A"}},
                {0x56, "80 00", {"01 01 " + first}},
                {0x56, "00 0A", {"03 01 " + first, "01 02 01 02 33 33 5A"}},
                {0x56, "82 00", {"F8"}},
                {0x56, "10 0000 08 11", {"03 01 " + first, "01 02 00"}},
                {0x56, "10 0000 08 11 80 0A", {"01 01 " + first}},
                {0x56, "10 0000 08 12 80 0A", {"01 01 00"}},
                {0x56, "10 0000 00 80 0A", {"01 01 " + first}},       // no bits: all
                {0x56, "00 000C 0C 1C20 80 00", {"01 01 " + first}},  // not on a byte's edge
                {0x56, "30 0030 08 00 80 00", {"01 01 00"}}});        // beyond the area
}

TEST(TagsGb, MixedInventory)
{
    Bench bench(shelf);
    const std::string id = "00 04 11 11 22 22 64";
    run(bench,
        {{0x57, "30 0001 02 00000000 80 00", {"01 01 02 " + id + " 01 04 A2 A3 A4 A5 64"}},
         {0x57, "30 0002 02 00000000 80 00", {"01 01 01 " + id}},  // beyond the area
         {0x57, "20 0000 02 00000000 80 00", {"01 01 01 " + id}},  // needs the password
         {0x57, "20 0000 02 01020304 80 00", {"01 01 02 " + id + " 01 04 0A 0B 0C 0D 64"}},
         {0x57, "30 0000 01 00000000", {"03 01 02 " + id + " 01 02 A0 A1 64", "01 02 01 00 02 33 33 5A"}},
         {0x57, "30 0000 01 00000000 10 0000 08 33", {"01 02 01 00 02 33 33 5A"}},
         {0x57, "30 0000 01 00000000 10 0000 08 33 80 00", {"01 01 00"}},
         {0x57, "30 0000 01 00000000 83 00", {"F8"}}});
}

TEST(TagsGb, InventoriesOfWrongLengthsOrValues)
{
    Bench bench(shelf);
    run(bench, {{0x56, "05", {"FF"}},
                {0x56, "05 80 00", {"FF"}},
                {0x56, "10 0000 08", {"FF"}},
                {0x56, "10 0000 08 11 80", {"FF"}},
                {0x56, "11 0000 08 11", {"FF"}},
                {0x57, "30 0000 01 000000", {"FF"}},
                {0x57, "30 0000 01 00000000 00", {"FF"}},
                {0x57, "30 0000 01 00000000 10 0000 08", {"FF"}},
                {0x57, "30 0000 00 00000000", {"FF"}},
                {0x57, "30 0000 20 00000000", {"FF"}},
                {0x57, "31 0000 01 00000000", {"FF"}}});
}

TEST(TagsJb, InventoriesHaveOneByteMore)
{
    Bench bench(jb_shelf());
    run(bench, {{0x56, "", {"FF"}},
                {0x56, "80 00", {"FF"}},
                {0x56, "05", {"03 01 01 02 44 44 C8", "01 02 00"}},
                {0x56, "05 80 00", {"01 01 01 02 44 44 C8"}},
                {0x56, "05 10 0000 04 40", {"03 01 01 02 44 44 C8", "01 02 00"}},
                {0x56, "05 10 0000 04 40 80 00", {"01 01 01 02 44 44 C8"}},
                {0x56, "05 10 0000 04 50 80 00", {"01 01 00"}},
                {0x57, "30 0000 01 00000000", {"FF"}},
                {0x57, "05 30 0000 01 00000000 80 00", {"01 01 02 00 02 44 44 C8 01 02 B0 B1 C8"}},
                {0x57, "05 30 0000 01 00000000 10 0000 04 50 80 00", {"01 01 00"}}});
}

TEST(TagsJb, SingleTagsAreServedAsOfGb)
{
    Bench bench(jb_shelf());
    run(bench, {{0x58, "01 4444 30 0000 01 00000000", {"00 B0 B1"}},
                {0x59, "01 01 4444 30 0000 BEEF 00000000", {"00"}},
                {0x58, "FF 30 0000 01 00000000 10 0000 04 40", {"00 BE EF"}},
                {0x5A, "01 4444 30 0000 0001 00000000", {"00"}},
                {0x58, "00 30 0000 01 00000000", {"00 00 00"}},
                {0x5B, "01 4444 30 00 01 00000000", {"00"}},
                {0x5C, "01 4444 00000000", {"FC 00"}},
                {0x58, "02 11112222 30 0000 01 00000000", {"FB"}}});
}

TEST(TagsGb, Read)
{
    Bench bench(shelf);
    run(bench, {{0x58, "02 11112222 30 0000 03 00000000", {"00 A0 A1 A2 A3 A4 A5"}},
                {0x58, "02 11112222 10 0000 02 00000000", {"00 11 11 22 22"}},
                {0x58, "02 11112222 00 0001 01 00000000", {"00 C2 C3"}},
                {0x58, "02 11112222 20 0000 04 00000000", {"05"}},
                {0x58, "02 11112222 20 0000 04 01020304", {"00 0A 0B 0C 0D 01 02 03 04"}},
                {0x58, "02 11112222 30 0002 02 00000000", {"FC 03"}},
                {0x58, "02 11112222 30 FFFF 01 00000000", {"FC 03"}},
                {0x58, "00 10 0000 01 00000000", {"00 11 11"}},  // any tag
                {0x58, "FF 30 0000 01 00000000 10 0000 08 11", {"00 A0 A1"}},
                {0x58, "FF 10 0000 01 00000000 10 0000 00", {"00 11 11"}},
                {0x58, "FF 10 0000 01 00000000 10 0002 09 CC00", {"FB"}},
                {0x58, "FF 10 0000 01 00000000 10 0002 09 CC80", {"00 33 33"}},
                {0x58, "02 11112223 30 0000 01 00000000", {"FB"}},
                {0x58, "01 1111 30 0000 01 00000000", {"FB"}}});  // part of an ID
}

TEST(TagsGb, Write)
{
    Bench bench(shelf);
    run(bench, {{0x59, "01 02 11112222 30 0001 BEEF 00000000", {"00"}},
                {0x58, "02 11112222 30 0000 03 00000000", {"00 A0 A1 BE EF A4 A5"}},
                {0x59, "01 02 11112222 30 0003 BEEF 00000000", {"FC 03"}},
                {0x59, "01 02 11112222 00 0000 BEEF 00000000", {"FC 04"}},
                {0x59, "01 02 11112222 20 0000 BEEF 00000000", {"05"}},
                {0x59, "01 FF 30 0000 1234 00000000 10 0000 08 11", {"00"}},
                {0x58, "02 11112222 30 0000 01 00000000", {"00 12 34"}},
                {0x59, "01 02 11119999 30 0000 BEEF 00000000", {"FB"}}});
}

TEST(TagsGb, WritingTheCodingAreaChangesTheId)
{
    Bench bench(shelf);
    run(bench, {{0x59, "01 02 11112222 10 0001 5555 00000000", {"00"}},
                {0x58, "02 11112222 30 0000 01 00000000", {"FB"}},
                {0x58, "02 11115555 30 0000 01 00000000", {"00 A0 A1"}},
                {0x56, "80 00", {"01 01 01 04 11 11 55 55 64"}}});
}

TEST(TagsGb, WritingTheSecurityAreaChangesThePasswords)
{
    Bench bench(shelf);
    run(bench, {{0x59, "02 02 11112222 20 0002 AABBCCDD 01020304", {"00"}},
                {0x58, "02 11112222 20 0000 01 01020304", {"05"}},
                {0x58, "02 11112222 20 0000 01 AABBCCDD", {"00 0A 0B"}},
                {0x59, "02 02 11112222 20 0000 00000000 AABBCCDD", {"00"}},
                {0x5C, "02 11112222 00000000", {"FC 00"}}});
}

TEST(TagsGb, Erase)
{
    Bench bench(shelf);
    run(bench, {{0x5A, "02 11112222 30 0001 0002 00000000", {"00"}},
                {0x58, "02 11112222 30 0000 03 00000000", {"00 A0 A1 00 00 00 00"}},
                {0x5A, "02 11112222 30 0000 0004 00000000", {"FC 03"}},
                {0x5A, "02 11112222 30 0000 FFFF 00000000", {"FC 03"}},
                {0x5A, "02 11112222 00 0000 0001 00000000", {"FC 04"}},
                {0x5A, "FF 30 0000 0001 00000000 10 0000 04 10", {"00"}},
                {0x58, "02 11112222 30 0000 01 00000000", {"00 00 00"}},
                {0x5A, "02 11119999 30 0000 0001 00000000", {"FB"}}});
}

constexpr const char* read_user = "02 11112222 30 0000 01 00000000";
constexpr const char* read_user_with_password = "02 11112222 30 0000 01 01020304";
constexpr const char* write_user = "01 02 11112222 30 0000 BEEF 00000000";

TEST(TagsGb, LocksOfAnArea)
{
    Bench bench(shelf);
    run(bench, {{0x5B, "02 11112222 30 00 01 00000000", {"05"}},
                {0x59, write_user, {"00"}},
                {0x5B, "02 11112222 30 00 01 01020304", {"00"}},  // read only
                {0x58, read_user, {"00 BE EF"}},
                {0x59, write_user, {"FC 04"}},
                {0x5A, "02 11112222 30 0000 0001 01020304", {"FC 04"}},
                {0x5B, "02 11112222 30 00 02 01020304", {"00"}},  // write only
                {0x58, read_user, {"FC 04"}},
                {0x59, write_user, {"00"}},
                {0x57, "30 0000 01 00000000 80 00", {"01 01 01 00 04 11 11 22 22 64"}},
                {0x5B, "02 11112222 30 00 03 01020304", {"00"}},  // neither
                {0x58, read_user, {"FC 04"}},
                {0x59, write_user, {"FC 04"}},
                {0x5B, "02 11112222 30 00 00 01020304", {"00"}},  // both
                {0x58, read_user, {"00 BE EF"}},
                {0x59, write_user, {"00"}},
                {0x58, "02 11112222 10 0000 01 00000000", {"00 11 11"}}});
}

TEST(TagsGb, SecurityModeOfAnArea)
{
    Bench bench(shelf);
    run(bench, {{0x5B, "02 11112222 30 01 02 01020304", {"00"}},
                {0x58, read_user, {"05"}},
                {0x59, write_user, {"05"}},
                {0x58, read_user_with_password, {"00 A0 A1"}},
                {0x5B, "FF 30 01 01 01020304 10 0000 04 10", {"00"}},
                {0x58, read_user, {"00 A0 A1"}},
                {0x5B, "02 11112222 20 01 01 01020304", {"00"}},
                {0x58, "02 11112222 20 0000 01 00000000", {"00 0A 0B"}}});
}

TEST(TagsGb, LocksThatAreRefused)
{
    Bench bench(shelf);
    run(bench, {{0x5B, "02 11112222 30 00 04 01020304", {"FF"}},
                {0x5B, "02 11112222 30 01 00 01020304", {"FF"}},
                {0x5B, "02 11112222 30 01 03 01020304", {"FF"}},
                {0x5B, "02 11112222 30 02 01 01020304", {"FF"}},
                {0x5B, "02 11112222 40 00 01 01020304", {"FF"}},
                {0x5B, "02 11112222 00 00 00 01020304", {"FC 04"}},
                {0x5B, "02 11119999 30 00 01 01020304", {"FB"}}});
}

TEST(TagsGb, Kill)
{
    Bench bench(shelf);
    run(bench, {{0x5C, "01 3333 00000000", {"FC 00"}},
                {0x5C, "02 11112222 01020304", {"05"}},
                {0x5C, "02 11112222 0A0B0C0D", {"00"}},
                {0x58, read_user, {"FB"}},
                {0x56, "80 00", {"01 01 00"}},
                {0x5C, "FF 00000000 10 0000 04 30", {"FC 00"}},
                {0x5C, "02 11112222 0A0B0C0D", {"FB"}}});
}

TEST(TagsGb, RequestsOfWrongLengthsOrValues)
{
    Bench bench(shelf);
    const std::string long_id = "10" + std::string(64, '0') + "30 0000 01 00000000";
    run(bench, {{0x58, "", {"FF"}},
                {0x58, long_id.c_str(), {"FF"}},
                {0x58, "FE 30 0000 01 00000000", {"FF"}},
                {0x58, "02 11112222 30 0000 01 000000", {"FF"}},
                {0x58, "02 11112222 30 0000 01 00000000 00", {"FF"}},
                {0x58, "02 11112222 30 0000 00 00000000", {"FF"}},
                {0x58, "02 11112222 30 0000 7E 00000000", {"FF"}},
                {0x58, "02 11112222 40 0000 01 00000000", {"FF"}},
                {0x58, "FF 30 0000 01 00000000", {"FF"}},
                {0x58, "FF 30 0000 01 00000000 10 0000 08", {"FF"}},
                {0x58, "FF 30 0000 01 00000000 10 0000 08 11 11", {"FF"}},
                {0x58, "FF 30 0000 01 00000000 12 0000 08 11", {"FF"}},
                {0x59, "", {"FF"}},
                {0x59, "01", {"FF"}},
                {0x59, "00 02 11112222 30 0000 00000000", {"FF"}},
                {0x59, "02 02 11112222 30 0000 BEEF 00000000", {"FF"}},
                {0x5A, "02 11112222 30 0000 0000 00000000", {"FF"}},
                {0x5A, "02 11112222 30 0000 01 00000000", {"FF"}},
                {0x5B, "02 11112222 30 00 01", {"FF"}},
                {0x5C, "02 11112222 0A0B0C", {"FF"}}});
}

constexpr const char* crowd = R"(
[reader]
antennas = 1
[[tag_gb]]
tag_id = "E200"
count = 100
)";

TEST(TagsGb, InventoryOfManyTagsTakesTimeAndFrames)
{
    Bench bench(crowd);
    bench.command(0x56);
    EXPECT_THAT(bench.frames, SizeIs(0));
    bench.pass(seconds(1));
    const auto ids = bench.ids();
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), 100U);
    EXPECT_THAT(ids, SizeIs(100));
    EXPECT_THAT(bench.frames, SizeIs(Gt(4U)));
    for (std::size_t i = 0; i + 1 < bench.frames.size(); ++i) {
        EXPECT_EQ(bench.frames[i].status(), status::more_follow);
    }
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
}

TEST(TagsGb, InventoryEndsWithItsScanTime)
{
    Bench bench(crowd);
    bench.command(0x56, {0x80, 1});
    bench.pass(milliseconds(110));
    ASSERT_THAT(bench.frames, SizeIs(Gt(0U)));
    EXPECT_EQ(bench.frames.back().status(), status::scan_time_over);
    EXPECT_THAT(bench.ids(), SizeIs(33));
}

TEST(TagsGb, InventoryCanBeAborted)
{
    Bench bench(crowd);
    bench.command(0x56);
    bench.pass(milliseconds(40));
    bench.command(0x93);
    ASSERT_THAT(bench.frames, SizeIs(1));
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
    EXPECT_THAT(bench.ids(), SizeIs(Lt(20U)));
}

TEST(TagsGb, TagsComeAndGo)
{
    Bench bench("[reader]\nair_time = 0\n[[tag_gb]]\ntag_id = \"1111\"\narrives = 1\ndeparts = 2\n");
    for (const bool there : {false, true, false}) {
        bench.command(0x56);
        EXPECT_THAT(bench.ids(), SizeIs(there ? 1 : 0));
        run(bench, {{0x58, "01 1111 10 0000 01 00000000", {there ? "00 11 11" : "FB"}}});
        bench.pass(seconds(1));
    }
}

TEST(OtherTags, AnyRequestOfAnyLengthIsSurvived)
{
    Random random(7);
    for (const char* family : {"gb", "jb"}) {
        Bench bench("[reader]\nair_time = 0\nprotocol_family = \"" + std::string(family) + "\"\n" + R"(
[[tag]]
epc = "0102"
[[tag_6b]]
id = "0001020300010203"
[[tag_gb]]
tag_id = "0101"
[[tag_jb]]
tag_id = "0101"
)");
        for (int i = 0; i < 20000; ++i) {
            Bytes data(random.below(24));
            for (auto& byte : data) {
                byte = static_cast<std::uint8_t>(random.below(random.below(4) > 0 ? 4 : 256));
                if (random.below(8) == 0) byte = 0xFF;
            }
            bench.command(static_cast<std::uint8_t>(0x50 + random.below(13)), data);
            bench.frames.clear();
        }
    }
}

struct BadScenario {
    const char* name;
    const char* text;
    unsigned line;
    const char* problem;
};

class BadOtherTags : public testing::TestWithParam<BadScenario> {};

TEST_P(BadOtherTags, AreRefusedWithTheirLine)
{
    try {
        Scenario::from_text(GetParam().text);
        FAIL() << "loaded";
    } catch (const ScenarioError& error) {
        EXPECT_EQ(error.line(), GetParam().line) << error.what();
        EXPECT_THAT(error.what(), testing::HasSubstr(GetParam().problem));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Scenario, BadOtherTags,
    testing::Values(
        BadScenario{"Family", "[reader]\nprotocol_family = \"gc\"\n", 2, "\"gb\" or \"jb\""},
        BadScenario{"NoBuffer", "[reader]\nbuffer_size = 0\n", 2, "buffer_size"},
        BadScenario{"No6bId", "[[tag_6b]]\nrssi = 1\n", 1, "needs the key id"},
        BadScenario{"Short6bId", "[[tag_6b]]\nid = \"E001\"\n", 2, "2 bytes"},
        BadScenario{"Long6bIdWithSerial", "[[tag_6b]]\nid = \"E001000000000001\"\ncount = 2\n", 2,
                    "12 bytes"},
        BadScenario{"Locked", "[[tag_6b]]\nid = \"E001000000000001\"\nlocked = [224]\n", 3, "from 8 to 223"},
        BadScenario{"LockedNoList", "[[tag_6b]]\nid = \"E001000000000001\"\nlocked = 9\n", 3, "a list"},
        BadScenario{"Unknown6bKey", "[[tag_6b]]\nid = \"E001000000000001\"\nepc = \"\"\n", 3, "no key 'epc'"},
        BadScenario{"NoGbId", "[[tag_gb]]\n", 1, "needs the key tag_id"},
        BadScenario{"EmptyGbId", "[[tag_gb]]\ntag_id = \"\"\n", 2, "0 bytes"},
        BadScenario{"HalfWord", "[[tag_jb]]\ntag_id = \"1111\"\nuser = \"11\"\n", 3, "whole number"},
        BadScenario{"Password", "[[tag_gb]]\ntag_id = \"1111\"\nkill_password = \"11\"\n", 3, "4 bytes"},
        BadScenario{"Stay", "[[tag_jb]]\ntag_id = \"1111\"\narrives = 2\ndeparts = 1\n", 4,
                    "before it arrives"},
        BadScenario{"Twice", "[[tag_gb]]\ntag_id = \"1111\"\n[[tag_gb]]\ntag_id = \"1111\"\n", 0, "two tags"},
        BadScenario{"UnknownJbKey", "[[tag_jb]]\ntag_id = \"1111\"\nid = \"\"\n", 3,
                    "[[tag_jb]] has no key"}),
    [](const auto& test) { return test.param.name; });

TEST(OtherTags, OfBothFamiliesMayHaveTheSameId)
{
    const Scenario scenario =
        Scenario::from_text("[[tag_gb]]\ntag_id = \"1111\"\n[[tag_jb]]\ntag_id = \"1111\"\ncount = 2\n");
    EXPECT_THAT(scenario.tags_gb, SizeIs(1));
    ASSERT_THAT(scenario.tags_jb, SizeIs(2));
    EXPECT_EQ(to_hex(scenario.tags_jb[1].tag_id), "111100000002");
}

TEST(TagsGb, TheirMemoryShowsWhatAHostDid)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(shelf);
    Peer peer = Peer::connect(reader.listen());
    for (const char* request : {"0D 00 5C 02 11112222 0A0B0C0D", "0F 00 59 01 00 10 0000 BEEF 00000000"}) {
        Bytes frame = from_hex(request);
        frame.resize(frame.size() + 2);
        frame[0] = static_cast<std::uint8_t>(frame.size() - 1);
        seal(frame);
        peer.send(to_hex(frame));
        EXPECT_EQ(peer.receive_frame().substr(9, 2), "00");
    }
    const OtherTags tags = reader.other_tags();
    EXPECT_TRUE(tags.gb.at(0).is_killed());
    EXPECT_EQ(to_hex(tags.gb.at(1).content(GbArea::coding)), "BEEF");
    EXPECT_EQ(to_hex(tags.jb.at(0).content(GbArea::user)), "B0B1");
}

}  // namespace
}  // namespace tagwire::sim
