#include <gmock/gmock.h>

#include "exchange.h"

namespace tagwire::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* secured_tags = R"(
[reader]
antennas = 2
enabled_antennas = [1]
power = 20
air_time = 0
by_chance = false
[[tag]]
epc = "E200 1122 3344 5566"
tid = "E280 1160 0007 0008"
user = "0011 2233 4455 6677 8899 AABB"
access_password = "A1B2C3D4"
kill_password = "0BADF00D"
block_words = 2
[[tag]]
epc = "3000 0001"
user = "CAFE"
)";

Tag& first_tag(Bench& bench) { return bench.device.field()[0]; }

std::vector<std::string> inventory(Bench& bench)
{
    bench.command(0x01, {4, 0});
    std::vector<std::string> ids = bench.ids();
    std::sort(ids.begin(), ids.end());
    return ids;
}

// A word of each area: bank and word.
struct Place {
    const char* name;
    const char* area;
    const char* word;
    bool is_password;
};
constexpr std::array<Place, 5> places{{
    {"KillPassword", "00", "00 01", true},
    {"AccessPassword", "01", "00 03", true},
    {"Epc", "02", "01 02", false},
    {"Tid", "03", "02 00", false},
    {"User", "04", "03 00", false},
}};

constexpr const char* no_password = "00000000";
constexpr const char* password = "A1B2C3D4";
constexpr const char* by_tid = " 02 0000 10 E280";

Scenario with_locks(char digit)
{
    Scenario scenario = Scenario::from_text(secured_tags);
    scenario.tags[0].locks.fill(static_cast<Lock>(digit - '0'));
    return scenario;
}

// Every bank is addressed by the TID, which no lock hides.
std::string read(char lock, const Place& place, const char* given)
{
    Bench bench(with_locks(lock));
    const auto got = answers(bench, 0x02, std::string("FF ") + place.word + " 01" + given + by_tid);
    return got.at(0).substr(0, 5);
}

std::string write(char lock, const Place& place, const char* given)
{
    Bench bench(with_locks(lock));
    return answers(bench, 0x03, std::string("01 FF ") + place.word + " BEEF" + given + by_tid).at(0);
}

class LockTest : public testing::TestWithParam<Place> {};

TEST_P(LockTest, DecidesWhoReadsAndWrites)
{
    const Place& place = GetParam();
    for (const char lock : {'0', '1', '2', '3'}) {
        const bool for_password = lock != '3';
        const bool for_all = lock < '2';
        EXPECT_EQ(write(lock, place, no_password), for_all ? "00" : "FC 04") << lock;
        EXPECT_EQ(write(lock, place, password), for_password ? "00" : "FC 04") << lock;
        const std::string unreadable = "FC 04";
        const bool hidden = place.is_password && !for_all;
        EXPECT_EQ(read(lock, place, no_password) == unreadable, hidden) << lock;
        EXPECT_EQ(read(lock, place, password) == unreadable, place.is_password && !for_password) << lock;
        EXPECT_EQ(read(lock, place, "A1B2C3D5"), "05");
    }
}

TEST_P(LockTest, IsSetWithThePasswordUnlessItIsForever)
{
    const Place& place = GetParam();
    for (const char from : {'0', '1', '2', '3'}) {
        for (const char to : {'0', '1', '2', '3'}) {
            Bench bench(with_locks(from));
            const std::string fields = std::string("FF ") + place.area + " 0" + to;
            EXPECT_THAT(answers(bench, 0x06, fields + no_password + by_tid), ElementsAre("FC 02"));
            EXPECT_THAT(answers(bench, 0x06, fields + "A1B2C3D5" + by_tid), ElementsAre("05"));
            const bool stays = from == '1' || from == '3';
            EXPECT_THAT(answers(bench, 0x06, fields + password + by_tid),
                        ElementsAre(stays && from != to ? "FC 04" : "00"))
                << from << to;
            const auto area = static_cast<Area>(place.area[1] - '0');
            EXPECT_EQ(first_tag(bench).state().lock(area), static_cast<Lock>((stays ? from : to) - '0'));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Areas, LockTest, testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Lock, ATagWithoutPasswordIsOpenToAll)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0x06, "02 30000001 04 02 00000000", {"00"}},
                   {0x03, "01 02 30000001 03 00 BEEF 00000000", {"00"}},
                   {0x06, "02 30000001 04 03 00000000", {"00"}},
                   {0x03, "01 02 30000001 03 00 DEAD 00000000", {"FC 04"}},
                   {0x07, "02 30000001 03 00 01 00000000", {"FC 04"}},
                   {0x02, "02 30000001 03 00 01 00000000", {"00 BE EF"}},
               });
}

// Two words of the reserved bank belong to each password; what spans both needs both.
TEST(Lock, TellsThePasswordsApart)
{
    Scenario scenario = Scenario::from_text(secured_tags);
    scenario.tags[0].locks = {Lock::open, Lock::closed_forever, Lock::open, Lock::open, Lock::open};
    Bench bench(scenario);
    run(bench, {
                   {0x02, "04 E200112233445566 00 00 02 00000000", {"00 0B AD F0 0D"}},
                   {0x02, "04 E200112233445566 00 01 02 A1B2C3D4", {"FC 04"}},
                   {0x02, "04 E200112233445566 00 02 01 A1B2C3D4", {"FC 04"}},
                   {0x03, "02 04 E200112233445566 00 01 BEEFBEEF A1B2C3D4", {"FC 04"}},
                   {0x03, "01 04 E200112233445566 00 02 BEEF A1B2C3D4", {"FC 04"}},
                   {0x03, "01 04 E200112233445566 00 01 BEEF 00000000", {"00"}},
                   {0x05, "04 E200112233445566 0BADBEEF", {"00"}},
               });
}

TEST(Lock, ComesFromTheScenario)
{
    const std::string tag = "[reader]\nair_time = 0\n[[tag]]\nepc = \"E200\"\nuser = \"0000\"\n";
    Bench usual(tag);
    EXPECT_THAT(usual.device.field()[0].state().locks,
                ElementsAre(Lock::closed, Lock::closed, Lock::open, Lock::closed_forever, Lock::open));
    Bench told(tag + "locks = \"01233\"\n");
    EXPECT_THAT(told.device.field()[0].state().locks,
                ElementsAre(Lock::open, Lock::open_forever, Lock::closed, Lock::closed_forever,
                            Lock::closed_forever));
    for (const char* const locks : {"2203", "220304", "22034", "2203x"}) {
        EXPECT_THROW(Bench(tag + "locks = \"" + locks + "\"\n"), ScenarioError) << locks;
    }
}

TEST(Lock, HidesPasswordsFromInventoriesForGood)
{
    Bench bench(secured_tags);
    // Two EPCs, and so many words of the reserved bank if they are there.
    const auto records = [&bench](const char* words) {
        bench.command(0x19, from_hex(std::string("04 00 00 0000") + words + "A1B2C3D4 00 80 00"));
        return int{bench.frames.back().bytes[5]};
    };
    EXPECT_EQ(records("04"), 3);
    run(bench, {{0x06, "04 E200112233445566 01 03 A1B2C3D4", {"00"}}});
    EXPECT_EQ(records("04"), 2);
    EXPECT_EQ(records("02"), 3);
    run(bench, {{0x06, "04 E200112233445566 00 03 A1B2C3D4", {"00"}}});
    EXPECT_EQ(records("02"), 2);
}

TEST(BlockLock, IsForEver)
{
    Bench bench(secured_tags);
    run(bench,
        {
            {0x0E, "04 E200112233445566 00000000 03", {"FC 02"}},
            {0x0E, "04 E200112233445566 A1B2C3D4 06", {"FC 03"}},
            {0x03, "01 04 E200112233445566 03 03 DEAD 00000000", {"00"}},
            {0x0E, "04 E200112233445566 A1B2C3D4 03", {"00"}},  // words 2 and 3
            {0x03, "01 04 E200112233445566 03 02 DEAD A1B2C3D4", {"FC 04"}},
            {0x10, "02 04 E200112233445566 03 03 DEADBEEF A1B2C3D4", {"FC 04"}},
            {0x07, "04 E200112233445566 03 01 02 A1B2C3D4", {"FC 04"}},
            {0x03, "02 04 E200112233445566 03 00 DEADBEEF 00000000", {"00"}},
            {0x03, "01 04 E200112233445566 03 04 DEAD 00000000", {"00"}},
            {0x02, "04 E200112233445566 03 00 06 00000000", {"00 DE AD BE EF 44 55 DE AD DE AD AA BB"}},
            {0x0E, "FF A1B2C3D4 05 01 0020 08 E2", {"00"}},
        });
    EXPECT_THAT(first_tag(bench).state().locked_blocks, ElementsAre(false, true, true));
}

TEST(Kill, IsTheEndOfTheTag)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0x05, "04 E200112233445566 0BADF00E", {"05"}},
                   {0x05, "04 E200112233445566 A1B2C3D4", {"05"}},
                   {0x05, "02 30000001 00000000", {"FC 00"}},  // no kill password
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
    run(bench, {
                   {0x05, "FF 0BADF00D 01 0020 08 E2", {"00"}},
                   {0x05, "04 E200112233445566 0BADF00D", {"FB"}},
                   {0x02, "04 E200112233445566 03 00 01 00000000", {"FB"}},
                   {0xE9, "04 E200112233445566 00 A1B2C3D4", {"FB"}},
                   {0x04, "02 00000000 30000002", {"00"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000002"));
    EXPECT_TRUE(first_tag(bench).state().killed);
}

TEST(Privacy, HidesAllButTheLengthOfTheEpc)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0x0B, "", {"00 00"}},
                   {0x08, "04 E200112233445566 00000000", {"FC 02"}},
                   {0x08, "04 E200112233445566 A1B2C3D4", {"00"}},
                   {0x0B, "", {"00 01"}},
                   {0x02, "04 E200112233445566 03 00 01 A1B2C3D4", {"FB"}},
                   {0x02, "04 0000000000000000 03 00 01 00000000", {"FC 03"}},
                   {0x02, "00 01 01 05 00000000", {"00 20 00 00 00 00 00 00 00 00 00"}},
                   {0x02, "00 03 00 01 A1B2C3D4", {"00 00 11"}},  // the password shows it
                   {0x02, "00 01 02 01 A1B2C3D4", {"00 E2 00"}},
                   {0x02, "FF 01 02 01 00000000 02 0000 08 E2", {"FB"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("0000000000000000", "30000001"));
    bench.command(0x97, {4, 0});
    EXPECT_THAT(bench.ids(), testing::UnorderedElementsAre("0000000000000000", "30000001"));
    run(bench, {
                   {0x0A, "A1B2C3D5", {"05"}},
                   {0x0A, "00000000", {"FC 02"}},
                   {0x0A, "A1B2C3D4", {"00"}},
                   {0x0A, "A1B2C3D4", {"FB"}},  // nothing left to reset
                   {0x09, "A1B2C3D4", {"00"}},
                   {0x0B, "", {"00 01"}},
                   {0x0A, "A1B2C3D4", {"00"}},
                   {0x08, "FF 00000000 01 0020 08 30", {"00"}},
                   {0x0B, "", {"00 00"}},  // the first tag is not the private one
                   {0x02, "02 00000000 03 00 01 00000000", {"FC 03"}},  // zeros prove nothing
                   {0x0A, "00000000", {"00"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
}

TEST(Eas, AlarmsWhileATagHasItSet)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0x0D, "", {"FB"}},
                   {0x0C, "04 E200112233445566 00000000 01", {"FC 02"}},
                   {0x0C, "04 E200112233445566 A1B2C3D4 01", {"00"}},
                   {0x0D, "", {"00"}},
                   {0x0C, "FF A1B2C3D4 00 01 0020 08 E2", {"00"}},
                   {0x0D, "", {"FB"}},
               });
    Scenario scenario = Scenario::from_text(secured_tags);
    scenario.tags[1].eas = true;
    Bench set(scenario);
    run(set, {{0x0D, "", {"00"}}});
    scenario.tags[1].antennas = {2};
    Bench elsewhere(scenario);
    run(elsewhere, {{0x0D, "", {"FB"}}});
}

TEST(Qt, ShowsThePublicProfile)
{
    Scenario scenario = Scenario::from_text(secured_tags);
    scenario.tags[0].public_epc = from_hex("9900 0001 0002");
    Bench bench(scenario);
    run(bench, {
                   {0x11, "04 E200112233445566 A1B2C3D4", {"00 00 00"}},
                   {0x11, "04 E200112233445566 00000000", {"FC 02"}},
                   {0x12, "04 E200112233445566 00 02 00000000", {"FC 02"}},
                   {0x12, "04 E200112233445566 00 03 A1B2C3D4", {"00"}},
                   {0x11, "06 990000010002 A1B2C3D4", {"FF"}},
                   {0x11, "03 990000010002 A1B2C3D4", {"00 00 03"}},
                   {0x02, "03 990000010002 02 00 02 00000000", {"00 E2 80 11 60"}},
                   {0x02, "03 990000010002 02 02 01 00000000", {"FC 03"}},
                   {0x02, "03 990000010002 03 00 01 00000000", {"FC 03"}},
                   {0x02, "03 990000010002 03 00 01 A1B2C3D4", {"00 00 11"}},
                   {0x02, "03 990000010002 01 01 01 00000000", {"00 18 00"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "990000010002"));
    run(bench, {
                   {0x12, "FF 00 01 A1B2C3D4 01 0020 08 99", {"00"}},
                   {0x11, "FF A1B2C3D4 01 0020 08 E2", {"00 00 01"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
    run(bench, {{0x12, "02 30000001 00 02 00000000", {"00"}}});
    EXPECT_THAT(inventory(bench), ElementsAre("00000000", "E200112233445566"));
}

TEST(Untraceable, HidesWhatItIsTold)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0x1F, "04 E200112233445566 00 01 02 02 01 00 00000000", {"FC 02"}},
                   {0x1F, "04 E200112233445566 00 01 09 02 01 00 A1B2C3D4", {"FC 03"}},
                   {0x1F, "04 E200112233445566 01 01 02 01 01 02 A1B2C3D4", {"00"}},
                   {0x02, "04 E200112233445566 03 00 01 00000000", {"FB"}},
                   {0x02, "02 E2001122 03 00 01 00000000", {"FC 03"}},
                   {0x02, "02 E2001122 01 01 03 00000000", {"00 10 00 E2 00 11 22"}},
                   {0x02, "02 E2001122 01 04 01 00000000", {"FC 03"}},
                   {0x02, "02 E2001122 01 04 02 A1B2C3D4", {"00 33 44 55 66"}},
                   {0x02, "02 E2001122 02 00 02 00000000", {"00 E2 80 11 60"}},
                   {0x02, "02 E2001122 02 02 01 00000000", {"FC 03"}},
                   {0x03, "01 02 E2001122 03 00 DEAD 00000000", {"FC 03"}},
                   {0x02, "02 E2001122 03 00 01 A1B2C3D4", {"00 00 11"}},
                   {0x02, "FF 01 01 01 00000000 03 0000 08 00", {"FB"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E2001122"));
    const TagState& state = first_tag(bench).state();
    EXPECT_TRUE(state.untraceable.flag);
    EXPECT_EQ(state.untraceable.range, 2);
    run(bench, {
                   {0x1F, "FF 00 00 03 02 00 00 A1B2C3D4 01 0020 08 E2", {"00"}},
                   {0x02, "03 E20011223344 01 05 01 00000000", {"00 55 66"}},
                   {0x02, "03 E20011223344 02 00 01 00000000", {"FC 03"}},
                   {0x02, "03 E20011223344 03 00 01 00000000", {"00 00 11"}},
                   {0x1F, "03 E20011223344 00 00 04 00 00 00 A1B2C3D4", {"00"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
}

TEST(Untraceable, DoesNotMindALockedEpc)
{
    Bench bench(with_locks('3'));
    run(bench, {{0x1F, "04 E200112233445566 00 01 01 00 00 00 A1B2C3D4", {"00"}}});
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200"));
}

TEST(ProtectedMode, SilencesATagUntilItHearsItsPassword)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0xE9, "04 E200112233445566 01 00000000", {"FC 02"}},
                   {0xE9, "04 E200112233445566 01 A1B2C3D5", {"05"}},
                   {0xE9, "04 E200112233445566 01 A1B2C3D4", {"00"}},
                   {0x02, "04 E200112233445566 03 00 01 A1B2C3D4", {"FB"}},
                   {0x05, "04 E200112233445566 0BADF00D", {"FB"}},
                   {0x02, "00 03 00 01 00000000", {"00 CA FE"}},
                   {0xE9, "04 E200112233445566 00 A1B2C3D5", {"FB"}},
                   {0xE9, "04 E200112233445566 00 00000000", {"FB"}},
               });
    EXPECT_THAT(inventory(bench), ElementsAre("30000001"));
    run(bench, {{0xE9, "FF 00 A1B2C3D4 01 0020 08 E2", {"00"}}});
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
}

// Each byte of the message, suite and password are added without carry.
TEST(Authenticate, AnswersTheMessage)
{
    Bench bench(secured_tags);
    run(bench, {
                   {0xE4, "04 E200112233445566 01 00 01 06 102030405060 00000000", {"00 B0 93 F2 95 F0 D3"}},
                   {0xE4, "04 E200112233445566 01 00 00 02 102030405060 A1B2C3D4", {"00 B1 92"}},
                   {0xE4, "04 E200112233445566 01 01 00 02 102030405060 00000000", {"00 00 10 B1 92"}},
                   {0xE4, "FF 01 00 02 FF 102030405060 00000000 01 0020 08 30", {"00 12 22 32 42 52 62"}},
                   {0xE4, "04 E200112233445566 00 01 00 06 102030405060 00000000", {"00"}},
                   {0xE4, "04 E200112233445566 01 00 00 06 102030405060 A1B2C3D5", {"05"}},
               });
}

TEST(TagSecurity, NeedsThePowerToWrite)
{
    Scenario scenario = Scenario::from_text(secured_tags);
    scenario.tags[0].write_power = 21;
    const std::vector<Exchange> changes{
        {0x08, "04 E200112233445566 A1B2C3D4", {"FC 0B"}},
        {0x09, "A1B2C3D4", {"FC 0B"}},
        {0x0C, "04 E200112233445566 A1B2C3D4 01", {"FC 0B"}},
        {0x0E, "04 E200112233445566 A1B2C3D4 00", {"FC 0B"}},
        {0x12, "04 E200112233445566 00 02 A1B2C3D4", {"FC 0B"}},
        {0x1F, "04 E200112233445566 00 01 02 02 01 00 A1B2C3D4", {"FC 0B"}},
        {0xE9, "04 E200112233445566 01 A1B2C3D4", {"FC 0B"}},
    };
    Bench bench(scenario);
    run(bench, changes);
    EXPECT_THAT(inventory(bench), ElementsAre("30000001", "E200112233445566"));
}

TEST(TagSecurity, RefusesWhatFitsNoLayout)
{
    const std::vector<std::pair<std::uint8_t, const char*>> requests{
        {0x05, "01 E200 000000"},
        {0x05, "20 00000000"},
        {0x06, "01 E200 05 00 00000000"},
        {0x06, "01 E200 00 04 00000000"},
        {0x06, "01 E200 00 00 000000"},
        {0x08, "01 E200 00000000 00"},
        {0x09, "000000"},
        {0x0A, ""},
        {0x0B, "00"},
        {0x0C, "01 E200 00000000 02"},
        {0x0D, "00"},
        {0x0E, "01 E200 00000000"},
        {0x11, ""},
        {0x12, "01 E200 00 04 00000000"},
        {0x12, "01 E200 01 00 00000000"},
        {0x1F, "01 E200 02 00 00 00 00 00 00000000"},
        {0x1F, "01 E200 00 02 00 00 00 00 00000000"},
        {0x1F, "01 E200 00 00 20 00 00 00 00000000"},
        {0x1F, "01 E200 00 00 00 03 00 00 00000000"},
        {0x1F, "01 E200 00 00 00 00 02 00 00000000"},
        {0x1F, "01 E200 00 00 00 00 00 03 00000000"},
        {0x1F, "01 E200 00 00 00 00 00 00000000"},
        {0xE4, "01 E200 02 00 00 00 000000000000 00000000"},
        {0xE4, "01 E200 00 00 00 02 0000 00000000"},
        {0xE9, "01 E200 02 00000000"},
        {0xE9, "FF 01 00000000"},
    };
    for (const auto& [code, data] : requests) {
        Bench bench(secured_tags);
        EXPECT_THAT(answers(bench, code, data), ElementsAre("FF")) << unsigned{code} << ": " << data;
    }
}

}  // namespace
}  // namespace tagwire::sim
