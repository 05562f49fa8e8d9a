#include "radio/link_budget.h"
#include "radio/singulation.h"

#include <cmath>
#include <numbers>
#include <set>

#include <gmock/gmock.h>

#include "bench.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::DoubleNear;
using testing::IsEmpty;
using testing::SizeIs;

// An antenna at the origin that looks along y, with nothing lost in the cable or by reflection.
AntennaSettings bare_antenna()
{
    AntennaSettings antenna;
    antenna.cable_loss = 0;
    return antenna;
}

constexpr double no_reflection = 400;
constexpr double free_loss_of_a_metre = 31.22;  // at 868 MHz

TagRadioSettings tag_tuned_to(double mhz)
{
    TagRadioSettings tag;
    tag.path = {{}};
    tag.tuned_mhz = mhz;
    return tag;
}

double at_tag(const AntennaSettings& antenna, const TagRadioSettings& tag, const Vector& place,
              double return_loss = no_reflection)
{
    return link_budget(antenna, return_loss, 30, 868, tag, place).at_tag;
}

TEST(LinkBudget, AddsUpStraightAhead)
{
    const auto budget = link_budget(bare_antenna(), no_reflection, 30, 868, tag_tuned_to(868), {0, 1, 0});
    const double one_way = 8.5 - free_loss_of_a_metre - 3 + 2.15;
    EXPECT_THAT(budget.at_tag, DoubleNear(30 + one_way, 0.01));
    EXPECT_THAT(budget.at_reader, DoubleNear(30 + 2 * one_way - 5, 0.02));
}

TEST(LinkBudget, LosesSixDecibelsByTwiceTheWay)
{
    const auto tag = tag_tuned_to(868);
    EXPECT_THAT(at_tag(bare_antenna(), tag, {0, 2, 0}) - at_tag(bare_antenna(), tag, {0, 4, 0}),
                DoubleNear(6.02, 0.01));
}

TEST(LinkBudget, KnowsBeamCableAndReflection)
{
    const auto tag = tag_tuned_to(868);
    const double ahead = at_tag(bare_antenna(), tag, {0, 1, 0});
    auto antenna = bare_antenna();
    antenna.cable_loss = 2.5;
    EXPECT_THAT(ahead - at_tag(antenna, tag, {0, 1, 0}), DoubleNear(2.5, 1e-9));
    // Half of the power at half of the beam's width, and 25 dB less behind.
    const double half = 35 * std::numbers::pi / 180;
    EXPECT_THAT(ahead - at_tag(bare_antenna(), tag, {0, std::cos(half), std::sin(half)}),
                DoubleNear(3, 1e-6));
    EXPECT_THAT(ahead - at_tag(bare_antenna(), tag, {0, -1, 0}), DoubleNear(25, 1e-6));
    // 3 dB of return loss: half of the power comes back.
    EXPECT_THAT(ahead - at_tag(bare_antenna(), tag, {0, 1, 0}, 3), DoubleNear(3.02, 0.01));
}

TEST(LinkBudget, KnowsOrientationAndPolarisation)
{
    auto tag = tag_tuned_to(868);
    const double across = at_tag(bare_antenna(), tag, {0, 1, 0});
    tag.axis = {1, 1, 0};  // 45 degrees: cos(63.64) / sin(45) of the field
    EXPECT_THAT(across - at_tag(bare_antenna(), tag, {0, 1, 0}), DoubleNear(4.04, 0.01));
    tag.axis = {0, 1, 0};
    EXPECT_THAT(across - at_tag(bare_antenna(), tag, {0, 1, 0}), DoubleNear(22.15, 1e-6));

    auto linear = bare_antenna();
    linear.polarisation = Polarisation::linear;
    tag.axis = {0, 0, 1};
    EXPECT_THAT(at_tag(linear, tag, {0, 1, 0}) - across, DoubleNear(3, 1e-6));
    tag.axis = {1, 0, 1};
    EXPECT_THAT(at_tag(linear, tag, {0, 1, 0}) - across, DoubleNear(0, 0.02));
    tag.axis = {1, 0, 0};
    EXPECT_THAT(at_tag(linear, tag, {0, 1, 0}) - across, DoubleNear(-17, 1e-6));
}

TEST(LinkBudget, KnowsTheFrequency)
{
    auto tag = tag_tuned_to(868);
    const double tuned = at_tag(bare_antenna(), tag, {0, 1, 0});
    tag.tuned_mhz = 868 + 55;  // half of its bandwidth
    EXPECT_THAT(tuned - at_tag(bare_antenna(), tag, {0, 1, 0}), DoubleNear(3.01, 0.01));
}

TEST(LinkBudget, MovesEvenlyAlongAPath)
{
    TagRadioSettings tag;
    tag.path = {{seconds(1), {0, 0, 0}}, {seconds(3), {4, 0, -2}}, {seconds(4), {4, 8, -2}}};
    EXPECT_EQ(position_at(tag, seconds(0)), (Vector{0, 0, 0}));
    EXPECT_EQ(position_at(tag, seconds(2)), (Vector{2, 0, -1}));
    EXPECT_EQ(position_at(tag, seconds(3)), (Vector{4, 0, -2}));
    EXPECT_EQ(position_at(tag, milliseconds(3500)), (Vector{4, 4, -2}));
    EXPECT_EQ(position_at(tag, seconds(9)), (Vector{4, 8, -2}));
}

// One tag, so far ahead of antenna 1.
Scenario tag_at(double metres, double fading = 0)
{
    Scenario scenario;
    scenario.reader.antennas = 1;
    scenario.reader.air_time = 0;
    scenario.radio.fading = fading;
    TagSettings& tag = scenario.tags.emplace_back();
    tag.epc = {0xE2, 0x00};
    tag.radio = tag_tuned_to(866.7);
    tag.radio->path.front().position = {0, metres, 0};
    return scenario;
}

std::vector<std::string> inventoried(Bench& bench)
{
    bench.command(0x01, {4, 0});
    return bench.ids();
}

// The RSSI byte of the only tag.
int rssi(Bench& bench)
{
    EXPECT_THAT(inventoried(bench), SizeIs(1));
    return bench.frames.front().bytes.at(9);
}

TEST(Radio, PowerDecidesHowFarTagsAreRead)
{
    Bench bench(tag_at(5));
    EXPECT_THAT(inventoried(bench), SizeIs(1));
    bench.command(0x2F, {15});
    EXPECT_THAT(inventoried(bench), IsEmpty());
    bench.command(0x2F, {30});
    EXPECT_THAT(inventoried(bench), SizeIs(1));
    Bench far(tag_at(60));
    EXPECT_THAT(inventoried(far), IsEmpty());
}

TEST(Radio, DistanceDecidesHowLoudTagsAre)
{
    Bench near(tag_at(1));
    Bench far(tag_at(4));
    // 30 + 2 x (8.5 - 1 - 0.04 - 31.21 - 3 + 2.15) - 5 dBm, and four times the way there and back.
    EXPECT_EQ(rssi(near), 256 - 24);
    EXPECT_EQ(rssi(far), 256 - 48);
}

TEST(Radio, TheRegionDecidesWhetherTagsAreInTune)
{
    Scenario scenario = tag_at(8);
    scenario.tags.front().radio->bandwidth_mhz = 10;
    Bench bench(scenario);
    EXPECT_THAT(inventoried(bench), SizeIs(1));
    bench.command(0x22, {0x31, 0x80});  // United States
    EXPECT_THAT(inventoried(bench), IsEmpty());
    bench.command(0x22, {0x4E, 0x00});  // Europe
    EXPECT_THAT(inventoried(bench), SizeIs(1));
}

TEST(Radio, ReturnLossIsLostToTheField)
{
    Scenario scenario = tag_at(8);
    scenario.antennas.resize(1);
    Bench good(scenario);
    EXPECT_THAT(inventoried(good), SizeIs(1));
    scenario.antennas.front().return_loss = 1;
    Bench bad(scenario);
    EXPECT_THAT(inventoried(bad), IsEmpty());
    EXPECT_EQ(bad.device.radio().return_loss(1), 1);
    EXPECT_EQ(good.device.radio().return_loss(1), 20);
}

TEST(Radio, AnUnpluggedAntennaReadsNothing)
{
    Scenario lossless = tag_at(1);
    lossless.tags.front().radio.reset();
    for (const Scenario& scenario : {tag_at(1), lossless}) {
        Bench bench(scenario);
        EXPECT_THAT(inventoried(bench), SizeIs(1));
        bench.device.set_antenna(1, false);
        EXPECT_THAT(inventoried(bench), IsEmpty());
        EXPECT_EQ(bench.frames.front().status(), status::inventory_done);
        EXPECT_EQ(bench.device.radio().return_loss(1), 2);
        bench.device.set_antenna(1, true);
        EXPECT_THAT(inventoried(bench), SizeIs(1));
        EXPECT_EQ(bench.device.radio().return_loss(1), 20);
    }
}

TEST(Radio, TheAntennaCheckTellsThatAnAntennaIsMissing)
{
    Scenario scenario = tag_at(1);
    scenario.reader.antennas = 2;
    scenario.antennas.resize(2);
    scenario.antennas.back().position = {0, 1000, 0};
    Bench bench(scenario);
    bench.device.set_antenna(1, false);
    bench.command(0x66, {1});
    bench.command(0x01, {4, 0, 0, 0x80, 1});  // antenna 1
    EXPECT_EQ(bench.frames.front().status(), status::antenna_missing);
    bench.command(0x01, {4, 0});  // the others are there
    EXPECT_EQ(bench.frames.front().status(), status::inventory_done);
    bench.command(0x0F);
    EXPECT_EQ(bench.frames.front().status(), status::no_tag);
    bench.command(0x1C, {0, 1, 1, 1, 0xFF, 0, 0xFF, 0, 0, 1});
    ASSERT_THAT(bench.frames, SizeIs(2));  // of the antenna that is missing, and the last
    EXPECT_EQ(bench.frames.front().status(), status::antenna_missing);
    EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
    bench.device.set_antenna(2, false);
    bench.command(0x0F);
    EXPECT_EQ(bench.frames.front().status(), status::antenna_missing);
    bench.command(0x66, {0});
    bench.command(0x01, {4, 0, 0, 0x80, 1});
    EXPECT_EQ(bench.frames.front().status(), status::inventory_done);
}

// The share of moments whose fading, of so many dB, makes up for so many dB.
double share_of_moments(double missing, double fading)
{
    return std::erfc(missing / fading / std::sqrt(2)) / 2;
}

// Another fading every time.
constexpr Time moment = milliseconds(100);

TEST(Radio, ATagAtTheEdgeIsReadNowAndThen)
{
    constexpr unsigned moments = 400;
    constexpr double fading = 3;
    const Scenario scenario = tag_at(20, fading);
    const TagRadioSettings& tag = *scenario.tags.front().radio;
    const double missing =
        tag.sensitivity - link_budget({}, 20, 30, 866.7, tag, tag.path.front().position).at_tag;
    const double expected = moments * share_of_moments(missing, fading);
    Bench bench(scenario);
    unsigned read = 0;
    for (unsigned i = 0; i < moments; ++i) {
        const bool now = !inventoried(bench).empty();
        EXPECT_EQ(!inventoried(bench).empty(), now);  // of one moment all is one
        bench.command(0x02, {1, 0xE2, 0x00, 1, 0, 1, 0, 0, 0, 0});
        EXPECT_EQ(bench.frames.front().status(), now ? status::success : status::no_tag);
        read += now ? 1 : 0;
        bench.pass(moment);
    }
    // Five standard deviations; the sum of twelve is not quite normal.
    EXPECT_NEAR(read, expected, 5 * std::sqrt(expected * (1 - expected / moments)) + moments * 0.01);
}

TEST(Radio, MomentsDifferByTagAntennaAndSeed)
{
    Scenario scenario = tag_at(18, 3);
    scenario.reader.antennas = 2;
    scenario.tags.push_back(scenario.tags.front());
    scenario.tags.back().epc = {0xE2, 0x01};
    Scenario other = scenario;
    other.reader.seed = 2;
    const Bench bench(scenario);
    const Bench other_bench(other);
    const auto moments = [](const Bench& of, unsigned port, std::size_t tag) {
        std::vector<bool> powered;
        for (int i = 0; i < 100; ++i) {
            powered.push_back(of.device.radio().contact(port, of.device.field()[tag], i * moment).has_power);
        }
        return powered;
    };
    const std::set<std::vector<bool>> all{moments(bench, 1, 0), moments(bench, 2, 0), moments(bench, 1, 1),
                                          moments(other_bench, 1, 0)};
    EXPECT_THAT(all, SizeIs(4));
}

TEST(Radio, RssiIsNeverBelowWhatTheMomentNeeded)
{
    // The way back costs as much as the way there: -18 dBm at the tag are -18 - 5 - 48 dBm at the reader.
    Scenario weak = tag_at(20, 3);
    Scenario deaf = tag_at(5, 3);
    deaf.radio.sensitivity = -50;
    for (const auto& [scenario, least] : {std::pair{weak, 256 - 71}, {deaf, 256 - 50}}) {
        Bench bench(scenario);
        std::set<int> seen;
        for (int i = 0; i < 400; ++i) {
            if (!inventoried(bench).empty()) seen.insert(rssi(bench));
            bench.pass(moment);
        }
        ASSERT_GT(seen.size(), 3U);
        EXPECT_GE(*seen.begin(), least);
        EXPECT_LE(*seen.begin(), least + 2);
    }
}

TEST(Radio, ATagWithPowerMayGoUnheard)
{
    Scenario scenario = tag_at(5);
    scenario.radio.sensitivity = -50;
    Bench bench(scenario);
    EXPECT_THAT(inventoried(bench), IsEmpty());  // its reply comes with -52 dBm
    Population& field = bench.device.field();
    Tag& tag = field[0];
    tag.set_flag(0, true, {});
    EXPECT_TRUE(field.meet(tag, 1, {}).has_power);
    EXPECT_FALSE(field.meet(tag, 1, {}).is_heard);
    EXPECT_TRUE(tag.is_in_b(0));
    // It hears Select, which takes the time without power from its flag of session 2.
    tag.set_flag(2, true, {});
    for (const Time now : {seconds(4), seconds(8), seconds(12)}) {
        Select select;
        select.target = Select::sl_target;
        field.apply(select, 1, now, bench.device.settings());
        EXPECT_TRUE(tag.is_selected());
        EXPECT_TRUE(tag.is_in_b(2));
    }
    bench.command(0x2F, {15});
    EXPECT_FALSE(field.meet(tag, 1, seconds(12)).has_power);
    EXPECT_FALSE(tag.is_in_b(0));
}

TEST(Radio, TheEdgeOfOneAntennaLeavesTimeForTheOthers)
{
    Scenario scenario = tag_at(19, 3);
    scenario.reader.antennas = 2;
    scenario.reader.air_time = 1;
    scenario.reader.report_rate = 1000;
    scenario.antennas.resize(2);
    scenario.antennas.back().position = {0, 5000, 0};
    for (std::uint8_t i = 1; i < 20; ++i) {
        scenario.tags.push_back(scenario.tags.front());
        scenario.tags.back().epc = {0xE2, i};
    }
    scenario.tags.push_back(scenario.tags.front());
    scenario.tags.back().epc = {0xE3, 0x00};
    scenario.tags.back().radio->path.front().position = {0, 5001, 0};
    Bench bench(scenario);
    bench.command(0x50, {0});
    bench.pass(seconds(20));
    unsigned first = 0;
    unsigned second = 0;
    for (const Frame& frame : bench.frames) {
        if (frame.kind == FrameKind::report) ++(frame.bytes.at(4) == 1 ? first : second);
    }
    EXPECT_GT(first, 500U);
    EXPECT_GT(second, 100U);
    bench.command(0x51);
    for (int i = 0; i < 10; ++i) {
        bench.command(0x01, {4, 0});
        bench.pass(seconds(2));
        EXPECT_EQ(bench.frames.back().status(), status::inventory_done);
    }
}

TEST(Radio, ATagOutOfReachInMidRoundIsNotHeard)
{
    Bench bench(tag_at(1));
    InventoryRule rule;
    rule.antennas = {1};
    Singulation round(bench.device.field(), bench.device.settings(), bench.device.random(), rule, {}, 0);
    round.step();
    ASSERT_EQ(round.rounds(), 1U);
    bench.device.set_antenna(1, false);
    auto event = Singulation::Event::slot;
    while (event == Singulation::Event::slot) event = round.step();
    EXPECT_EQ(event, Singulation::Event::all_done);
}

TEST(Radio, ATagIsAccessedThroughTheAntennaThatHearsIt)
{
    Scenario scenario = tag_at(18, 3);
    scenario.reader.antennas = 2;
    Bench bench(scenario);
    const Tag& tag = bench.device.field()[0];
    std::set<unsigned> ports;
    for (int i = 0; i < 100; ++i) {
        const auto is_heard = [&](unsigned port) {
            return bench.device.radio().contact(port, tag, bench.now).is_heard;
        };
        bench.command(0x80, {1, 0xE2, 0x00});
        const unsigned expected = is_heard(1) ? 1 : is_heard(2) ? 2 : 0;
        const Frame& frame = bench.frames.front();
        EXPECT_EQ(frame.status() == status::success ? frame.bytes.at(4) : 0, expected);
        ports.insert(expected);
        bench.pass(moment);
    }
    EXPECT_THAT(ports, SizeIs(3));
}

TEST(Radio, NearnessHasABound)
{
    Bench touching(tag_at(0));
    Bench near(tag_at(0.05));
    Bench farther(tag_at(0.1));
    EXPECT_EQ(rssi(near), 255);
    for (Bench* const bench : {&touching, &near, &farther}) bench->command(0x2F, {10});
    const int loudest = rssi(farther);
    EXPECT_EQ(loudest, 256 - 24 + 20);  // 20 dB less power, 20 dB each way more than at a metre
    EXPECT_EQ(rssi(near), loudest);
    EXPECT_EQ(rssi(touching), loudest);
}

TEST(Radio, NoFrequencyReachesForEver)
{
    Scenario scenario = tag_at(9000);
    scenario.reader.frequency_khz = 0;
    scenario.tags.front().radio->tuned_mhz = 100;
    Bench bench(scenario);
    EXPECT_THAT(inventoried(bench), IsEmpty());
    Scenario near = tag_at(1);
    near.reader.frequency_khz = 0;
    Bench loud(near);
    EXPECT_THAT(inventoried(loud), SizeIs(1));
}

TEST(Radio, OnlyThoseWhoAreThereAreAskedAfter)
{
    Scenario scenario = tag_at(1);
    TagSettings tag = scenario.tags.front();
    tag.arrives = seconds(1);
    tag.departs = seconds(2);
    tag.epc = {0xE2, 0x01};
    scenario.tags.insert(scenario.tags.begin(), tag);
    Bench bench(scenario);
    Population& field = bench.device.field();
    const std::vector<std::size_t> other{1};
    const std::vector<std::size_t> both{0, 1};
    EXPECT_EQ(field.present(seconds(0)), other);
    EXPECT_EQ(field.present(seconds(1)), both);
    EXPECT_EQ(field.present(seconds(3)), other);
    EXPECT_EQ(field.present(milliseconds(1500)), both);  // looked back
    EXPECT_EQ(field.present(seconds(3)), other);
    TagState dead = field[1].state();
    dead.killed = true;
    field[1].set_state(dead);
    EXPECT_THAT(field.present(seconds(4)), IsEmpty());
}

TEST(Radio, AnUnpluggedAntennaStaysSo)
{
    Bench bench(tag_at(1));
    bench.device.set_antenna(1, false);
    bench.device.restart();
    EXPECT_THAT(inventoried(bench), IsEmpty());
    bench.device.restore_factory();
    EXPECT_THAT(inventoried(bench), IsEmpty());
}

TEST(Radio, ATagThatPassesByRisesAndFalls)
{
    Scenario scenario = tag_at(0);
    scenario.tags.front().radio->path = {{{}, {-4, 2, 0}}, {seconds(4), {4, 2, 0}}};
    scenario.tags.front().radio->axis = {0, 0, 1};
    scenario.tags.front().departs = seconds(4);
    Bench bench(scenario);
    bench.command(0x50, {0});
    bench.pass(seconds(5));
    std::vector<int> loudness;
    for (const Frame& frame : bench.frames) {
        if (frame.kind == FrameKind::report) loudness.push_back(frame.bytes.at(8));
    }
    ASSERT_GT(loudness.size(), 100U);
    const auto loudest = std::max_element(loudness.begin(), loudness.end());
    EXPECT_TRUE(std::is_sorted(loudness.begin(), loudest));
    EXPECT_TRUE(std::is_sorted(loudest, loudness.end(), std::greater()));
    EXPECT_NEAR(static_cast<double>(loudest - loudness.begin()), static_cast<double>(loudness.size()) / 2,
                25);
}

TEST(Radio, ReadingTakesItsTimeWhereTagsHavePlaces)
{
    Scenario scenario = tag_at(1);
    scenario.reader.air_time = 1;
    scenario.reader.report_rate = 100000;
    Bench bench(scenario);
    bench.command(0x50, {0});
    bench.pass(seconds(1));
    // A pass that finds one tag among 16 slots takes 3 ms and more.
    EXPECT_GT(bench.frames.size(), 20U);
    EXPECT_LT(bench.frames.size(), 334U);
    bench.command(0x51);
    bench.command(0x76, {1});  // the active mode
    bench.frames.clear();
    bench.pass(seconds(1));
    EXPECT_GT(bench.frames.size(), 20U);
    EXPECT_LT(bench.frames.size(), 334U);
}

// -- singulation

TEST(Radio, SlotsWithOneTagAreAsManyAsChanceGives)
{
    constexpr unsigned rounds = 400;
    for (const auto& [tags, q] : {std::pair{4U, 4U}, {16U, 4U}, {40U, 4U}, {64U, 6U}, {8U, 3U}}) {
        Scenario scenario;
        for (unsigned i = 0; i < tags; ++i) {
            scenario.tags.emplace_back().epc = {0xE2, 0x00, 0x00, static_cast<std::uint8_t>(i)};
        }
        Bench bench(scenario);
        const double slots = std::pow(2, q);
        unsigned heard = 0;
        for (unsigned i = 0; i < rounds; ++i) {
            InventoryRule rule;
            rule.q = q;
            rule.antennas = {1};
            Singulation round(bench.device.field(), bench.device.settings(), bench.device.random(), rule, {},
                              0);
            while (round.rounds() < 2) heard += round.step() == Singulation::Event::tag ? 1 : 0;
            round.power_off();
        }
        const double share = heard / (rounds * slots);
        const double expected = tags / slots * std::pow(1 - 1 / slots, tags - 1);
        // Five standard deviations of as many independent slots.
        EXPECT_NEAR(share, expected, 5 * std::sqrt(expected * (1 - expected) / (rounds * slots)))
            << tags << " tags, Q " << q;
    }
}

// -- conveyors

struct Ride {
    std::set<std::string> read;  // EPCs
    std::size_t tags = 0;
};

Ride ride(const std::string& speed, const std::string& more = "")
{
    Bench bench("[reader]\nantennas = 1\nreport_rate = 1000\n" + more +
                "[radio]\nfading = 3\n"
                "[antenna.1]\nposition = [0, 0, 1.5]\nfacing = [0, 0, -1]\nbeam_width = 60\n"
                "[[conveyor]]\nepc = \"E280117000000207\"\ncount = 50\nspacing = 0.5\nspeed = " +
                speed +
                "\nfrom = [-2, 0, 0]\nto = [2, 0, 0]\naxis = \"any\"\nsensitivity = -8\n"
                "pattern = [[0, -0.2, 0], [0, -0.1, 0], [0, 0, 0], [0, 0.1, 0], [0, 0.2, 0],"
                " [0.2, -0.2, 0], [0.2, -0.1, 0], [0.2, 0, 0], [0.2, 0.1, 0], [0.2, 0.2, 0]]\n");
    bench.command(0x50, {0});
    std::set<std::string> read;
    std::optional<Time> end;
    for (std::size_t i = 0; i < bench.device.field().size(); ++i)
        end = std::max(end.value_or(Time{}), *bench.device.field()[i].settings().departs);
    bench.pass(*end);
    for (const Frame& frame : bench.frames) {
        if (frame.kind != FrameKind::report) continue;
        read.insert(to_hex(Bytes(frame.bytes.begin() + 6, frame.bytes.begin() + 18)));
    }
    return {read, bench.device.field().size()};
}

TEST(Conveyor, TheFasterItRunsTheFewerTagsAreRead)
{
    const Ride slow = ride("2");
    const Ride quick = ride("20");
    const Ride racing = ride("40");
    EXPECT_EQ(slow.tags, 500U);
    EXPECT_GT(slow.read.size(), quick.read.size());
    EXPECT_GT(quick.read.size(), racing.read.size());
    EXPECT_GT(racing.read.size(), 0U);
    EXPECT_EQ(ride("40").read, racing.read);  // chance is seeded
    EXPECT_NE(ride("40", "seed = 2\n").read, racing.read);
}

TEST(Conveyor, FollowsTheSeedThatTheReaderIsMadeWith)
{
    Scenario scenario = Scenario::from_text("[[conveyor]]\nepc = \"E200\"\ncount = 5\nspeed = 1\nrate = 1\n"
                                            "starts = 3\naxis = \"any\"\nfrom = [0, 0, 0]\nto = [1, 0, 0]\n");
    const auto chance = [](const Scenario& of) {
        std::vector<std::pair<Time, double>> arrivals;
        for (const TagSettings& tag : of.all_tags()) arrivals.emplace_back(tag.arrives, tag.radio->axis.x);
        return arrivals;
    };
    const auto first = chance(scenario);
    EXPECT_EQ(chance(scenario), first);
    EXPECT_EQ(first.front().first, seconds(3));
    scenario.reader.seed = 2;
    const auto second = chance(scenario);
    for (std::size_t i = 1; i < first.size(); ++i) {
        EXPECT_NE(second[i].first, first[i].first);
        EXPECT_NE(second[i].second, first[i].second);
    }
    const Bench bench(scenario);
    EXPECT_EQ(bench.device.field()[4].settings().arrives, second.back().first);
}

TEST(Conveyor, RefusesWhatNeverEndsOrHasNoLength)
{
    const std::string head = "[[conveyor]]\nepc = \"E200\"\nfrom = [0, 0, 0]\n";
    for (const auto& [text, line] :
         {std::pair{"to = [0.0005, 0, 0]\nspeed = 1\ncount = 1\n", 4U},
          {"to = [1, 0, 0]\nspeed = 0.001\ncount = 900\nspacing = 10000\nstarts = 1e9\n", 1U},
          {"to = [1, 0, 0]\nspeed = 1\ncount = 90000\nrate = 0.001\nstarts = 999999999\n", 1U}}) {
        try {
            Scenario::from_text(head + text);
            ADD_FAILURE() << text;
        } catch (const ScenarioError& error) {
            EXPECT_EQ(error.line(), line) << error.what();
        }
    }
}

TEST(Scenario, OfTheRadioIsCheckedWithoutAFileToo)
{
    using Edit = void (*)(Scenario&);
    const Edit edits[] = {
        [](Scenario& s) { s.radio.fading = NAN; },
        [](Scenario& s) { s.radio.sensitivity = 1; },
        [](Scenario& s) { s.antennas.front().facing = {}; },
        [](Scenario& s) {
            s.antennas.front().upright = {0, 1e-7, 0};
        },
        [](Scenario& s) { s.antennas.front().position.z = NAN; },
        [](Scenario& s) { s.antennas.front().beam_width = 0; },
        [](Scenario& s) { s.antennas.front().gain = NAN; },
        [](Scenario& s) { s.antennas.resize(2); },
        [](Scenario& s) { s.tags.front().radio->axis = {}; },
        [](Scenario& s) { s.tags.front().radio->bandwidth_mhz = 0; },
        [](Scenario& s) { s.tags.front().radio->path.clear(); },
        [](Scenario& s) { s.tags.front().radio->path.push_back({}); },
        [](Scenario& s) { s.tags.front().radio->path.front().position.x = NAN; },
        [](Scenario& s) { s.conveyors.front().speed = 0; },
        [](Scenario& s) { s.conveyors.front().to = s.conveyors.front().from; },
        [](Scenario& s) { s.conveyors.front().pattern.clear(); },
        [](Scenario& s) { s.conveyors.front().count = 200000; },
        [](Scenario& s) { s.conveyors.front().starts = 2e9; },
        [](Scenario& s) { s.conveyors.front().tag.radio.emplace().axis = {}; },
        [](Scenario& s) { s.conveyors.push_back(s.conveyors.front()); },  // the same EPCs
    };
    Scenario good = tag_at(1);
    good.antennas.resize(1);
    good.conveyors.emplace_back().tag.epc = {0xE3, 0x00};
    EXPECT_NO_THROW(good.check());
    for (const Edit& edit : edits) {
        Scenario bad = good;
        edit(bad);
        EXPECT_THROW(bad.check(), ScenarioError) << &edit - edits;
    }
    EXPECT_THROW(Scenario::from_text("[antenna.1]\nfacing = [0, 1e-7, 0]\n"), ScenarioError);
}

TEST(Conveyor, PutsTagsOnTheBeltOneAfterTheOther)
{
    const auto scenario = Scenario::from_text(R"(
[[conveyor]]
epc = "E200"
tid = "E280"
first_serial = 7
count = 3
speed = 2
spacing = 1
starts = 10
from = [0, 1, 0]
to = [4, 1, 0]
pattern = [[0, 0, 0], [0.5, 0, 0.25]]
tuned_mhz = 915
)");
    const std::vector<TagSettings> tags = scenario.all_tags();
    ASSERT_THAT(tags, SizeIs(6));
    const TagSettings& last = tags.back();
    EXPECT_EQ(to_hex(last.epc), "E2000000000C");
    EXPECT_EQ(to_hex(last.tid), "E2800000000C");
    EXPECT_EQ(last.arrives, seconds(11));
    EXPECT_EQ(last.departs, seconds(13));
    EXPECT_EQ(last.radio->tuned_mhz, 915);
    EXPECT_EQ(position_at(*last.radio, seconds(1)), (Vector{2.5, 1, 0.25}));
}

TEST(Conveyor, MayArriveByChance)
{
    const auto scenario =
        Scenario::from_text("[[conveyor]]\nepc = \"E200\"\ncount = 2000\nspeed = 1\nrate = 20\n"
                            "from = [0, 0, 0]\nto = [1, 0, 0]\n");
    const std::vector<TagSettings> tags = scenario.all_tags();
    const Time last = tags.back().arrives;
    EXPECT_NEAR(static_cast<double>(last.count()) / 1e9, 100, 12);  // five standard deviations
    std::set<Time> gaps;
    for (std::size_t i = 1; i < tags.size(); ++i) gaps.insert(tags[i].arrives - tags[i - 1].arrives);
    EXPECT_GT(gaps.size(), 1900U);
}

}  // namespace
}  // namespace tagwire::sim
