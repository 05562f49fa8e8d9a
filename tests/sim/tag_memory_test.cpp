#include "simulator.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

#include "exchange.h"
#include "peer.h"

namespace tagwire::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* two_tags = R"(
[reader]
antennas = 2
enabled_antennas = [1]
power = 20
air_time = 0
by_chance = false
start_gap_ms = 0
[[tag]]
epc = "3000 0009"
antennas = [2]
[[tag]]
epc = "E200 1122 3344 5566"
tid = "E280 1160 0007"
user = "0011 2233 4455 6677 8899 AABB"
access_password = "A1B2C3D4"
kill_password = "0BADF00D"
epc_words = 6
[[tag]]
epc = "3000 0001"
user = "CAFE"
)";

std::string stored(Bench& bench, std::size_t tag, Bank bank)
{
    return to_hex(bench.device.field()[tag].stored(bank));
}

// The checksum of the protocol control word and the EPC, by long division.
unsigned checksum(const Bytes& bank)
{
    const std::size_t end = 4 + 2U * (bank[2] >> 3U);
    unsigned rest = 0xFFFF;
    for (std::size_t bit = 16; bit < end * 8; ++bit) {
        const unsigned next = (bank[bit / 8] >> (7 - bit % 8)) & 1U;
        const unsigned top = rest >> 15U;
        rest = (rest << 1U) & 0xFFFFU;
        if (top != next) rest ^= 0x1021U;
    }
    return rest ^ 0xFFFFU;
}

void expect_good_checksum(Bench& bench, std::size_t tag)
{
    const Bytes& bank = bench.device.field()[tag].stored(Bank::epc);
    EXPECT_EQ(bank[0] * 256U + bank[1], checksum(bank)) << to_hex(bank);
}

std::vector<std::string> inventory(Bench& bench)
{
    bench.command(0x01, {4, 0});
    return bench.ids();
}

TEST(TagMemory, WholeFrames)
{
    Bench bench(two_tags);
    EXPECT_THAT(bench.ask("14 00 02 04 E2 00 11 22 33 44 55 66 03 01 02 00 00 00 00 8B 33"),
                ElementsAre("09 00 02 00 22 33 44 55 18 23"));
    EXPECT_THAT(bench.ask("12 00 03 01 02 30 00 00 01 03 00 BE EF 00 00 00 00 5D F1"),
                ElementsAre("05 00 03 00 1E 47"));
    EXPECT_THAT(bench.ask("14 00 02 04 E2 00 11 22 33 44 55 66 03 05 02 00 00 00 00 27 23"),
                ElementsAre("06 00 02 FC 03 9B 59"));
    EXPECT_EQ(stored(bench, 2, Bank::user), "BEEF");
}

TEST(TagMemory, IsReadWithShortAndLongPointers)
{
    Bench bench(two_tags);
    run(bench, {
                   {0x02, "04 E200112233445566 02 00 03 00000000", {"00 E2 80 11 60 00 07"}},
                   {0x02, "04 E200112233445566 01 01 05 00000000", {"00 20 00 E2 00 11 22 33 44 55 66"}},
                   {0x15, "04 E200112233445566 03 0005 01 00000000", {"00 AA BB"}},
                   {0x02, "04 E200112233445566 00 00 04 A1B2C3D4", {"00 0B AD F0 0D A1 B2 C3 D4"}},
                   {0x15, "02 30000001 03 0000 01 00000000", {"00 CA FE"}},
                   {0x15, "02 30000001 03 0100 01 00000000", {"FC 03"}},
                   {0x02, "02 30000001 02 00 01 00000000", {"FC 03"}},  // it has no TID
                   {0x02, "02 30000001 00 00 05 00000000", {"FC 03"}},
                   {0x02, "02 30000002 03 00 01 00000000", {"FB"}},
                   {0x02, "02 30000009 01 02 01 00000000", {"FB"}},  // at the antenna that is off
               });
}

TEST(TagMemory, IsReadAsItWasWritten)
{
    const char* const read = "04 E200112233445566 03 00 06 00000000";
    Bench bench(two_tags);
    run(bench, {
                   {0x03, "02 04 E200112233445566 03 01 DEADBEEF 00000000", {"00"}},
                   {0x02, read, {"00 00 11 DE AD BE EF 66 77 88 99 AA BB"}},
                   {0x10, "01 04 E200112233445566 03 00 1234 00000000", {"00"}},
                   {0x16, "01 04 E200112233445566 03 0004 5678 00000000", {"00"}},
                   {0xCF, "01 04 E200112233445566 03 0005 9ABC 00000000", {"00"}},
                   {0x02, read, {"00 12 34 DE AD BE EF 66 77 56 78 9A BC"}},
                   {0x07, "04 E200112233445566 03 02 03 00000000", {"00"}},
                   {0x02, read, {"00 12 34 DE AD 00 00 00 00 00 00 9A BC"}},
               });
}

TEST(TagMemory, AWriteThatCannotBeDoneWholeChangesNothing)
{
    Bench bench(two_tags);
    const std::string before = stored(bench, 1, Bank::user);
    run(bench, {
                   {0x03, "02 04 E200112233445566 03 05 DEADBEEF 00000000", {"FC 03"}},
                   {0x16, "01 04 E200112233445566 03 0105 DEAD 00000000", {"FC 03"}},
                   {0x07, "04 E200112233445566 03 05 02 00000000", {"FC 03"}},
                   {0x07, "04 E200112233445566 03 00 FF 00000000", {"FC 03"}},
                   {0x03, "01 04 E200112233445566 02 00 DEAD A1B2C3D4", {"FC 04"}},
                   {0x03, "03 04 E200112233445566 00 00 111111111111 00000000", {"FC 04"}},
               });
    EXPECT_EQ(stored(bench, 1, Bank::user), before);
    EXPECT_EQ(stored(bench, 1, Bank::tid), "E28011600007");
    EXPECT_EQ(stored(bench, 1, Bank::reserved), "0BADF00DA1B2C3D4");
}

TEST(TagMemory, AWrongPasswordOpensNothing)
{
    Bench bench(two_tags);
    run(bench, {
                   {0x02, "04 E200112233445566 03 00 01 A1B2C3D5", {"05"}},
                   {0x03, "01 04 E200112233445566 03 00 DEAD A1B2C3D5", {"05"}},
                   {0x04, "01 A1B2C3D5 AAAA", {"05"}},
                   {0x02, "02 30000001 03 00 01 00000001", {"05"}},  // its own is zero
               });
}

TEST(TagMemory, APasswordThatIsWrittenCountsAtOnce)
{
    Bench bench(two_tags);
    run(bench, {
                   {0x03, "02 02 30000001 00 02 11223344 00000000", {"00"}},
                   {0x02, "02 30000001 00 02 02 00000000", {"FC 04"}},
                   {0x02, "02 30000001 00 02 02 11223344", {"00 11 22 33 44"}},
                   {0x05, "02 30000001 00000000", {"FC 00"}},
                   {0x03, "02 02 30000001 00 00 55667788 11223344", {"00"}},
                   {0x05, "02 30000001 55667788", {"00"}},
               });
}

TEST(TagMemory, TagsAreNamedByAMask)
{
    Bench bench(two_tags);
    run(bench, {
                   {0x02, "FF 03 00 01 00000000 01 0020 10 E200", {"00 00 11"}},
                   {0x02, "FF 03 00 01 00000000 01 0020 04 30", {"00 CA FE"}},
                   {0x02, "FF 03 00 01 00000000 02 0010 10 1160", {"00 00 11"}},
                   {0x15, "FF 03 0000 01 00000000 03 0004 0C AFE0", {"00 CA FE"}},
                   {0x02, "FF 03 00 01 00000000 03 0000 09 C980", {"FB"}},
                   {0x02, "FF 03 00 01 00000000 01 0040 10 0000", {"FB"}},  // behind the EPC is nothing
                   {0x02, "FF 03 00 01 00000000 00 0000 08 0B", {"FB"}},    // nor do passwords tell
                   {0x02, "FF 03 00 01 00000000 01 0000 00", {"00 00 11"}},
                   {0x02, "00 03 00 01 00000000", {"00 00 11"}},  // whichever answers
                   {0x03, "01 FF 03 00 AAAA 00000000 03 0000 08 CA", {"00"}},
                   {0x16, "01 FF 03 0001 BBBB 00000000 01 0020 08 E2", {"00"}},
                   {0x07, "FF 03 02 01 00000000 01 0020 08 E2", {"00"}},
               });
    EXPECT_EQ(stored(bench, 2, Bank::user), "AAAA");
    EXPECT_EQ(stored(bench, 1, Bank::user), "0011BBBB000066778899AABB");
}

TEST(TagMemory, AWriteNeedsItsPower)
{
    Scenario scenario = Scenario::from_text(two_tags);
    scenario.tags[1].write_power = 21;
    Bench bench(scenario);
    run(bench, {
                   {0x02, "04 E200112233445566 03 00 01 00000000", {"00 00 11"}},
                   {0x03, "01 04 E200112233445566 03 00 DEAD 00000000", {"FC 0B"}},
                   {0x07, "04 E200112233445566 03 00 01 00000000", {"FC 0B"}},
                   {0x04, "01 00000000 AAAA", {"FC 0B"}},
                   {0x05, "04 E200112233445566 0BADF00D", {"FC 0B"}},
                   {0x06, "04 E200112233445566 04 02 A1B2C3D4", {"FC 0B"}},
               });
    EXPECT_EQ(stored(bench, 1, Bank::user), "00112233445566778899AABB");
    EXPECT_FALSE(bench.device.field()[1].state().killed);
}

// The words that so many readings of whichever tag is there bring.
std::set<std::string> words_of_any(const std::string& by_chance)
{
    std::string scenario = "[reader]\nair_time = 0\n" + by_chance;
    for (const char* word : {"00A1", "00A2", "00A3"}) {
        scenario += "[[tag]]\nepc = \"" + std::string(word) + "\"\nuser = \"" + word + "\"\n";
    }
    Bench bench(scenario);
    std::set<std::string> words;
    for (int i = 0; i < 40; ++i) words.insert(answers(bench, 0x02, "00 03 00 01 00000000").front());
    return words;
}

TEST(TagMemory, IsThatOfAnyTagThatFits)
{
    EXPECT_THAT(words_of_any(""), ElementsAre("00 00 A1", "00 00 A2", "00 00 A3"));
    EXPECT_THAT(words_of_any("by_chance = false\n"), ElementsAre("00 00 A1"));
}

TEST(TagEpc, IsReplacedByOneOfAnyLength)
{
    Bench bench(two_tags);
    struct Step {
        const char* data;
        const char* bank;  // behind the checksum
        const char* epc;
    };
    const std::vector<Step> steps{
        {"06 00000000 111122223333444455556666", "3000111122223333444455556666", "111122223333444455556666"},
        {"02 00000000 AAAABBBB", "1000AAAABBBB3333444455556666", "AAAABBBB"},
        {"00 00000000", "0000AAAABBBB3333444455556666", ""},
        {"04 A1B2C3D4 E200112233445566", "2000E20011223344556655556666", "E200112233445566"},
    };
    for (const Step& step : steps) {
        EXPECT_THAT(answers(bench, 0x04, step.data), ElementsAre("00"));
        EXPECT_EQ(stored(bench, 1, Bank::epc).substr(4), step.bank);
        expect_good_checksum(bench, 1);
        EXPECT_THAT(inventory(bench), testing::UnorderedElementsAre(step.epc, "30000001"));
    }
    EXPECT_THAT(answers(bench, 0x04, "07 00000000 1111222233334444555566667777"), ElementsAre("FC 03"));
    EXPECT_EQ(stored(bench, 1, Bank::epc).substr(0, 4), "4035");
}

TEST(TagEpc, FollowsTheControlWord)
{
    Bench bench(two_tags);
    run(bench,
        {
            {0x03, "01 04 E200112233445566 01 01 1D34 00000000", {"00"}},
            {0x02, "03 E20011223344 01 01 07 00000000", {"00 1D 34 E2 00 11 22 33 44 55 66 00 00 00 00"}},
            {0x02, "04 E200112233445566 01 01 01 00000000", {"FB"}},
            {0x03, "01 03 E20011223344 01 01 3800 00000000", {"FC 03"}},  // longer than the memory
            {0x03, "02 03 E20011223344 01 05 77770000 00000000", {"00"}},
            {0x03, "01 03 E20011223344 01 00 1234 A1B2C3D4", {"FC 04"}},  // the checksum
            {0x07, "03 E20011223344 01 00 02 A1B2C3D4", {"FC 04"}},
        });
    expect_good_checksum(bench, 1);
    EXPECT_THAT(inventory(bench), testing::UnorderedElementsAre("E20011223344", "30000001"));
    run(bench, {{0x04, "04 00000000 0102030405060708", {"00"}}});
    EXPECT_EQ(stored(bench, 1, Bank::epc).substr(4), "2534010203040506070800000000");
    run(bench, {{0x07, "04 0102030405060708 01 01 03 00000000", {"00"}}});
    EXPECT_EQ(stored(bench, 1, Bank::epc).substr(4), "0000000000000506070800000000");
    expect_good_checksum(bench, 1);
}

TEST(TagEpc, HasRoomForEightWordsUnlessTold)
{
    Bench bench("[reader]\nair_time = 0\n[[tag]]\nepc = \"E200\"\n");
    run(bench,
        {
            {0x02, "00 01 01 09 00000000", {"00 08 00 E2 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}},
            {0x02, "00 01 01 0A 00000000", {"FC 03"}},
            {0x04, "09 00000000 111122223333444455556666777788889999", {"FC 03"}},
            {0x04, "08 00000000 11112222333344445555666677778888", {"00"}},
        });
}

TEST(TagEpc, FitsItsRoomFromTheStart)
{
    const std::string tag = "[[tag]]\nepc = \"E2000001\"\nepc_words = ";
    EXPECT_EQ(Bench(tag + "2\n").device.field()[0].stored(Bank::epc).size(), 8U);
    EXPECT_THROW(Bench(tag + "1\n"), ScenarioError);
    EXPECT_THROW(Bench(tag + "32\n"), ScenarioError);
}

TEST(TagEpc, IsSeenByReadingThatRuns)
{
    Bench bench("[reader]\nreport_rate = 100\nstart_gap_ms = 0\nair_time = 0\n[[tag]]\nepc = \"E200\"\n");
    bench.command(0x50, {0});
    bench.pass(std::chrono::milliseconds(100));
    EXPECT_EQ(bench.hex().back().substr(0, 23), "0A 00 EE 00 01 02 E2 00");
    run(bench, {{0x04, "01 00000000 BEEF", {"00"}}});
    bench.pass(std::chrono::milliseconds(100));
    EXPECT_EQ(bench.hex().back().substr(0, 23), "0A 00 EE 00 01 02 BE EF");
    run(bench, {{0x03, "02 00 00 00 00000001 00000000", {"00"}}, {0x05, "00 00000001", {"00"}}});
    bench.frames.clear();
    bench.pass(std::chrono::seconds(1));
    EXPECT_THAT(bench.frames, IsEmpty());
}

TEST(TagMemory, RefusesWhatFitsNoLayout)
{
    const std::vector<std::pair<std::uint8_t, const char*>> requests{
        {0x02, ""},
        {0x02, "01 E200 03 00 01 000000"},
        {0x02, "01 E200 03 00 01 00000000 00"},
        {0x02, "20 03 00 01 00000000"},
        {0x02, "FE 03 00 01 00000000"},
        {0x02, "01 E200 04 00 01 00000000"},
        {0x02, "01 E200 03 00 00 00000000"},
        {0x02, "01 E200 03 00 7E 00000000"},
        {0x02, "FF 03 00 01 00000000"},
        {0x02, "FF 03 00 01 00000000 01 0020 09 E2"},
        {0x02, "FF 03 00 01 00000000 01 0020 08 E2 00"},
        {0x02, "FF 03 00 01 00000000 04 0020 08 E2"},
        {0x03, ""},
        {0x03, "00 01 E200 03 00 00000000"},
        {0x03, "02 01 E200 03 00 DEAD 00000000"},
        {0x10, "01 01 E200 04 00 DEAD 00000000"},
        {0x16, "01 01 E200 03 00 DEAD 00000000"},
        {0xCF, "01 01 E200 03 00 DEAD 00000000"},
        {0x15, "01 E200 03 00 01 00000000"},
        {0x04, ""},
        {0x04, "02 00000000 AAAA"},
        {0x07, "01 E200 03 00 00 00000000"},
        {0x07, "01 E200 07 00 01 00000000"},
    };
    for (const auto& [code, data] : requests) {
        Bench bench(two_tags);
        EXPECT_THAT(answers(bench, code, data), ElementsAre("FF")) << unsigned{code} << ": " << data;
    }
}

TEST(TagMemory, IsSeenByTests)
{
    Simulator simulator;
    Reader& reader = simulator.add_reader_from_text(two_tags);
    Peer peer = Peer::connect(reader.listen());
    peer.send("12 00 03 01 02 30 00 00 01 03 00 BE EF 00 00 00 00 5D F1");
    EXPECT_EQ(peer.receive_frame(), "05 00 03 00 1E 47");
    EXPECT_EQ(reader.tag_count(), 3U);
    EXPECT_EQ(reader.find_tag({0x30, 0x00, 0x00, 0x01}), 2U);
    EXPECT_EQ(reader.find_tag({0x30}), std::nullopt);
    EXPECT_EQ(to_hex(reader.tag_memory(2, Bank::user)), "BEEF");
    EXPECT_EQ(reader.tag_state(2).lock(Area::tid), Lock::closed_forever);
    EXPECT_FALSE(reader.tag_state(2).killed);
    EXPECT_THROW(reader.tag_state(3), std::out_of_range);
}

}  // namespace
}  // namespace tagwire::sim
