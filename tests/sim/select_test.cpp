#include <gmock/gmock.h>

#include "exchange.h"

namespace tagwire::sim {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;

constexpr const char* field = R"(
[reader]
antennas = 2
air_time = 0
by_chance = false
start_gap_ms = 0
[[tag]]
epc = "A001"
user = "00A1"
[[tag]]
epc = "A002"
user = "00A2"
antennas = [2]
[[tag]]
epc = "B001"
user = "00B1"
[[tag]]
epc = "B002"
user = "00B2"
antennas = [2]
)";

using Ids = std::vector<std::string>;

const Ids all{"A001", "A002", "B001", "B002"};
const Ids a_tags{"A001", "A002"};
const Ids b_tags{"B001", "B002"};

Ids inventory(Bench& bench, std::uint8_t session = 0, std::uint8_t target = 0)
{
    bench.command(0x01, {4, session, target, 0x00, 0});
    Ids ids = bench.ids();
    std::sort(ids.begin(), ids.end());
    return ids;
}

// At both antennas: session and action, then the tags that begin with B.
void select_b(Bench& bench, const std::string& session, const std::string& action)
{
    EXPECT_THAT(answers(bench, 0x98, "03" + session + action + "01 0020 04 B0 00"), ElementsAre("00"));
}

// Which tags are in A, or have SL, after the action for those with B. Before, all are in A and none has SL.
struct ActionCase {
    const char* action;
    Ids in_a;
    Ids with_sl;
};

class SelectActionTest : public testing::TestWithParam<ActionCase> {};

TEST_P(SelectActionTest, SetsInventoriedFlags)
{
    for (const char* const session : {"00", "01", "02", "03"}) {
        const auto number = static_cast<std::uint8_t>(session[1] - '0');
        Bench bench(field);
        select_b(bench, session, GetParam().action);
        EXPECT_EQ(inventory(bench, number), GetParam().in_a) << session;
        Bench another(field);
        select_b(another, session, GetParam().action);
        EXPECT_EQ(inventory(another, (number + 1U) % 4U), all) << session;
        Bench the_others(field);
        select_b(the_others, session, GetParam().action);
        EXPECT_EQ(inventory(the_others, number, 1).size(), all.size() - GetParam().in_a.size()) << session;
    }
}

TEST_P(SelectActionTest, SetsTheSelectedFlag)
{
    for (const std::uint8_t session : {0, 1, 2, 3}) {
        Bench bench(field);
        select_b(bench, "04", GetParam().action);
        EXPECT_EQ(inventory(bench, session), GetParam().with_sl) << unsigned{session};
    }
}

INSTANTIATE_TEST_SUITE_P(All, SelectActionTest,
                         testing::Values(ActionCase{"00", b_tags, b_tags}, ActionCase{"01", all, b_tags},
                                         ActionCase{"02", b_tags, {}}, ActionCase{"03", a_tags, b_tags},
                                         ActionCase{"04", a_tags, a_tags}, ActionCase{"05", a_tags, {}},
                                         ActionCase{"06", all, a_tags}, ActionCase{"07", b_tags, a_tags}),
                         [](const auto& test) { return std::string("Number") + test.param.action; });

TEST(Select, StaysUntilAnEmptyMask)
{
    for (const std::string session : {"00", "01", "02", "04"}) {
        const auto number = static_cast<std::uint8_t>((session[1] - '0') % 4);
        Bench bench(field);
        select_b(bench, session, "00");
        for (int i = 0; i < 3; ++i) EXPECT_EQ(inventory(bench, number), b_tags) << session;
        run(bench, {{0x98, ("03" + session + "00 01 0000 00 00").c_str(), {"00"}}});
        EXPECT_EQ(inventory(bench, number), all) << session;
    }
}

TEST(Select, ADecidingOneReplacesOthersAdd)
{
    Bench bench(field);
    const auto select_epc = [&bench](const std::string& action, const std::string& epc) {
        EXPECT_THAT(answers(bench, 0x98, "03 04" + action + "01 0020 10" + epc + "00"), ElementsAre("00"));
    };
    select_epc("00", "A001");
    EXPECT_EQ(inventory(bench), Ids{"A001"});
    select_epc("01", "B002");
    EXPECT_EQ(inventory(bench), (Ids{"A001", "B002"}));
    select_epc("05", "A001");
    EXPECT_EQ(inventory(bench), Ids{"B002"});
    select_epc("03", "B001");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(inventory(bench), b_tags);
    select_epc("00", "A002");
    EXPECT_EQ(inventory(bench), Ids{"A002"});
    select_epc("04", "A002");
    EXPECT_EQ(inventory(bench), (Ids{"A001", "B001", "B002"}));
    EXPECT_EQ(bench.device.field().selection().at(1).size(), 1U);
    select_b(bench, "02", "00");
    EXPECT_EQ(inventory(bench, 2), b_tags);
    EXPECT_EQ(inventory(bench, 1), (Ids{"A001", "B001", "B002"}));
}

TEST(Select, RefusesMoreThanSixteen)
{
    Bench bench(field);
    for (int i = 0; i < 16; ++i) select_b(bench, "04", "01");
    run(bench, {
                   {0x98, "03 04 01 01 0020 04 B0 00", {"FF"}},
                   {0x98, "03 04 00 01 0020 04 A0 00", {"00"}},
               });
    EXPECT_EQ(inventory(bench), a_tags);
}

TEST(Select, WorksAtItsAntennasOnly)
{
    Bench bench(field);
    run(bench, {{0x98, "01 04 00 01 0020 04 B0 00", {"00"}}});
    EXPECT_EQ(inventory(bench), (Ids{"A002", "B001", "B002"}));
    run(bench, {{0x98, "02 01 00 01 0020 04 A0 00", {"00"}}});
    EXPECT_EQ(inventory(bench, 1), (Ids{"A002", "B001"}));
    run(bench, {{0x98, "01 04 00 01 0020 00 00", {"00"}}});
    EXPECT_EQ(inventory(bench, 1), (Ids{"A001", "A002"}));        // B001 was read: it is in B
    run(bench, {{0x98, "00 04 00 01 0020 10 B002 00", {"00"}}});  // no antenna named: all
    EXPECT_EQ(inventory(bench), Ids{"B002"});
}

TEST(Select, ForgetsTheSelectedFlagWithoutPower)
{
    Bench bench(field);
    select_b(bench, "04", "00");
    EXPECT_EQ(inventory(bench), b_tags);
    run(bench, {
                   {0x98, "03 04 00 01 0000 00 00", {"00"}},
                   {0x98, "03 04 02 01 0020 04 B0 00", {"00"}},
               });
    EXPECT_EQ(inventory(bench), b_tags);  // the others' SL was taken away
    bench.pass(seconds(6));
    EXPECT_EQ(inventory(bench), Ids{});
}

struct Form {
    std::uint8_t code;
    const char* antenna;
    const char* end;
    Ids found;
};

// The same select, with every form of the antenna field.
TEST(Select, Forms)
{
    const std::vector<Form> forms{
        {0x98, "01", "00", {"A002", "B001", "B002"}},
        {0x98, "02", "01", {"A001", "B001", "B002"}},
        {0x98, "03", "00 0A", b_tags},  // with a time of the carrier
        {0x9A, "01", "00", {"A002", "B001", "B002"}},
        {0x9A, "0002", "00", {"A001", "B001", "B002"}},
        {0x9A, "0103", "00", b_tags},
        {0x9A, "0000000000000001", "00", {"A002", "B001", "B002"}},
        {0x9A, "FF00000000000002", "00", {"A001", "B001", "B002"}},
    };
    for (const Form& form : forms) {
        for (const char* const mask : {"04 B0", "09 B000"}) {
            Bench bench(field);
            const std::string data = std::string(form.antenna) + "04 00 01 0020" + mask + form.end;
            EXPECT_THAT(answers(bench, form.code, data), ElementsAre("00")) << data;
            EXPECT_EQ(inventory(bench), form.found) << data;
        }
    }
}

TEST(Select, ManyAntennas)
{
    Scenario scenario = Scenario::from_text(field);
    scenario.reader.antennas = 64;
    scenario.reader.antenna_byte = AntennaByte::number;
    scenario.tags[0].antennas = {64};
    scenario.tags[1].antennas = {9};
    const std::string rule = "04 00 01 0020 04 B0 00";
    const auto found_with = [&](std::uint8_t code, const std::string& antenna) {
        Bench bench(scenario);
        EXPECT_THAT(answers(bench, code, antenna + rule), ElementsAre("00")) << antenna;
        return inventory(bench);
    };
    EXPECT_EQ(found_with(0x98, "40"), (Ids{"A002", "B001", "B002"}));
    EXPECT_EQ(found_with(0x98, "09"), (Ids{"A001", "B001", "B002"}));
    EXPECT_EQ(found_with(0x9A, "8000000000000000"), (Ids{"A002", "B001", "B002"}));
    EXPECT_EQ(found_with(0x9A, "8000000000000100"), b_tags);
    EXPECT_EQ(found_with(0x9A, "0100"), (Ids{"A001", "B001", "B002"}));
}

// Behind two antenna bytes the mask has no bits; behind one it has a byte of them. What the reader has ports
// for counts.
TEST(Select, AnAmbiguousFormIsReadByTheNumberOfPorts)
{
    const char* const data = "02 04 00 01 0001 01 00 00";
    for (const unsigned antennas : {8U, 16U}) {
        Scenario scenario = Scenario::from_text(field);
        scenario.reader.antennas = antennas;
        scenario.reader.antenna_byte = AntennaByte::number;
        Bench bench(scenario);
        EXPECT_THAT(answers(bench, 0x9A, data), ElementsAre("00"));
        EXPECT_EQ(bench.device.field().selection().at(2).size(), antennas == 8 ? 1U : 0U);
        EXPECT_EQ(bench.device.field().selection().at(3).size(), 0U);
    }
}

TEST(Select, GoesBeforeAccess)
{
    Bench bench(field);
    run(bench, {
                   {0x02, "00 03 00 01 00000000", {"00 00 A1"}},
                   {0x98, "03 04 00 01 0020 04 B0 00", {"00"}},
                   {0x02, "00 03 00 01 00000000", {"00 00 B1"}},
                   {0x02, "01 A001 03 00 01 00000000", {"FB"}},
                   {0x02, "01 B002 03 00 01 00000000", {"00 00 B2"}},
                   {0x98, "02 04 00 01 0000 00 00", {"00"}},
                   {0x02, "00 03 00 01 00000000", {"00 00 A2"}},  // at the second antenna
                   {0x98, "03 04 00 01 0000 00 00", {"00"}},
                   {0x98, "03 02 04 01 0020 10 A001 00", {"00"}},  // its flag of session 2 goes to B
                   {0x02, "00 03 00 01 00000000", {"00 00 A2"}},
                   {0x02, "01 A001 03 00 01 00000000", {"FB"}},
                   {0x04, "01 00000000 C0DE", {"00"}},
                   {0x98, "03 04 00 01 0020 10 DEAD 00", {"00"}},
                   {0x02, "00 03 00 01 00000000", {"FB"}},
                   {0x0B, "", {"FB"}},
                   {0x98, "03 04 00 01 0000 00 00", {"00"}},
               });
    EXPECT_EQ(inventory(bench), (Ids{"A001", "B001", "B002", "C0DE"}));
}

TEST(Select, GoesBeforeEveryKindOfInventory)
{
    Bench bench(field);
    select_b(bench, "04", "00");
    EXPECT_EQ(bench.command(0x0F).front().substr(0, 23), "0A 00 0F 01 01 01 02 B0");
    bench.command(0x1C, {0x00, 1, 0x01, 1, 0xFF, 0, 0xFF, 0, 0, 1});
    EXPECT_THAT(bench.ids(), testing::UnorderedElementsAreArray(b_tags));
    bench.command(0x50, {0});
    bench.frames.clear();
    bench.pass(seconds(1));
    ASSERT_GT(bench.frames.size(), 10U);
    for (const Frame& report : bench.frames) EXPECT_EQ(report.bytes[6], 0xB0);
}

TEST(Select, RefusesWhatFitsNoLayout)
{
    Bench bench(field);
    run(bench, {
                   {0x98, "", {"FF"}},
                   {0x98, "03 05 00 01 0020 04 B0 00", {"FF"}},  // target
                   {0x98, "03 04 08 01 0020 04 B0 00", {"FF"}},  // action
                   {0x98, "03 04 00 04 0020 04 B0 00", {"FF"}},  // bank
                   {0x98, "03 04 00 01 0020 04 B0 02", {"FF"}},  // truncate
                   {0x98, "03 04 00 01 0020 04 B0", {"FF"}},     // too short
                   {0x98, "03 04 00 01 0020 09 B0 00", {"FF"}},  //
                   {0x98, "03 04 00 01 0020 04 B0 00 0A 00", {"FF"}},
                   {0x9A, "", {"FF"}},
                   {0x9A, "000003 04 00 01 0020 04 B0 00", {"FF"}},
                   {0x9A, "03 04 00 01 0020 04 B0 00 0A", {"FF"}},
                   {0x98, "04 04 00 01 0020 04 B0 00", {"F8"}},  // no such antenna
                   {0x9A, "FF00 04 00 01 0020 04 B0 00", {"F8"}},
               });
    EXPECT_EQ(inventory(bench), all);
}

}  // namespace
}  // namespace tagwire::sim
