// Radio, antennas, lines, clock, modes and filter, in units.
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;
using namespace std::chrono;

class SettingsOf : public VirtualReader {
  protected:
    void SetUp() override { connect(make_scenario(2)); }
};
INSTANTIATE_TEST_SUITE_P(Links, SettingsOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(SettingsOf, PowerOfAllAndOfOnePort)
{
    Radio radio = reader().radio();
    patiently([&] { radio.set_power(Dbm(21)); });
    EXPECT_THAT(patiently([&] { return radio.power(); }), ElementsAre(Dbm(21), Dbm(21), Dbm(21), Dbm(21)));
    patiently([&] { radio.set_power(Dbm(9), Port(3)); });
    EXPECT_THAT(device->settings().power, ElementsAre(21, 21, 9, 21));
    patiently([&] { radio.set_power({Dbm(20), Dbm(21), Dbm(22), Dbm(23)}); });
    EXPECT_THAT(device->settings().power, ElementsAre(20, 21, 22, 23));
    EXPECT_EQ(error_of([&] { patiently([&] {
                                 radio.set_power({Dbm(20), Dbm(21)});
                             }); })->code(),
              Errc::invalid_value)
        << "it has four ports";
    EXPECT_THAT(device->settings().power, ElementsAre(20, 21, 22, 23));
    patiently([&] { radio.set_write_power(Dbm(30)); });
    EXPECT_EQ(patiently([&] { return radio.write_power(); }), Dbm(30));
    EXPECT_EQ(device->settings().writing_power, 30);
    expect_invalid([&] { radio.set_power(std::vector<Dbm>{}); });
    expect_invalid([&] { radio.set_power({Dbm(20), Dbm(41)}); });
    expect_invalid([&] { radio.set_power(Dbm(-1)); });
    expect_invalid([&] { radio.set_power(Dbm(41)); });
    expect_invalid([&] { radio.set_write_power(Dbm(41)); });
    expect_invalid([&] { radio.set_power(Dbm(9), Port(0)); });
    expect_invalid([&] { radio.set_power(Dbm(9), Port(65)); });
    EXPECT_EQ(error_of([&] { radio.set_power(Dbm(9), Port(5)); })->code(), Errc::invalid_value)
        << "it has four";
    const auto error = error_of([&] { patiently([&] { radio.set_power(Dbm(40), Port(1)); }); });
    EXPECT_EQ(error->code(), Errc::refused);
    EXPECT_EQ(error->result(), 0xFF);
}

TEST_P(SettingsOf, PowerOfManyPorts)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.antennas = 10;
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    connect(scenario);
    patiently([&] { reader().radio().set_power(Dbm(17), Port(10)); });
    EXPECT_THAT(device->settings().power, ElementsAre(30, 30, 30, 30, 30, 30, 30, 30, 30, 17));
}

TEST_P(SettingsOf, RegionsByName)
{
    Radio radio = reader().radio();
    patiently([&] { radio.set_region("eu"); });
    Region region = patiently([&] { return radio.region(); });
    EXPECT_EQ(region.name, "eu");
    EXPECT_EQ(region.from->value, 865'100U);
    EXPECT_EQ(region.to->value, 867'900U);
    EXPECT_EQ(device->settings().region, (sim::Region{4, 14, 0, 0, 0, {}}));
    EXPECT_EQ(patiently([&] { return reader().info(); }).region.name, "eu");

    patiently([&] { radio.set_region("us", {903'250}, {904'250}, Lasting::until_restart); });
    region = patiently([&] { return radio.region(); });
    EXPECT_EQ(region.lowest, 1U);
    EXPECT_EQ(region.highest, 3U);
    device->restart();
    EXPECT_EQ(patiently([&] { return radio.region(); }).name, "eu");

    patiently([&] { radio.set_region(4, 2, 5); });
    EXPECT_EQ(device->settings().region, (sim::Region{4, 5, 2, 0, 0, {}}));
    patiently([&] { radio.set_packed_region(4, 3, 6); });
    EXPECT_EQ(device->settings().region, (sim::Region{4, 6, 3, 0, 0, {}}));
    expect_invalid([&] { radio.set_packed_region(4, 3, 15); });
    expect_invalid([&] { radio.set_packed_region(16, 3, 5); });
    expect_invalid([&] { radio.set_packed_region(9, 3, 64); });
    expect_invalid([&] { radio.set_region(4, 2, 15); });
    expect_invalid([&] { radio.set_region(4, 5, 2); });
    expect_invalid([&] { radio.set_region(255, 0, 1); });
    expect_invalid([&] { radio.set_region(9, 0, 256); });
    expect_invalid([&] { radio.set_region("moon"); });
    expect_invalid([&] { radio.set_region("us", {903'000}, {904'250}); });
    expect_invalid([&] { radio.set_region("us", {902'250}, {904'250}); });
    expect_invalid([&] { radio.set_region("us", {902'750}, {927'750}); });
    expect_invalid([&] { radio.set_region("us", {904'250}, {903'250}); });
}

TEST_P(SettingsOf, ARegionOfOnesOwn)
{
    Radio radio = reader().radio();
    patiently([&] { radio.set_custom_region({866'000}, {200}, 5); });
    const Region region = patiently([&] { return radio.region(); });
    EXPECT_EQ(region.band, Region::custom);
    EXPECT_EQ(region.name, "custom");
    EXPECT_EQ(region.from->value, 866'000U);
    EXPECT_EQ(region.to->value, 866'800U);
    EXPECT_EQ(device->settings().region.spacing, 20);
    expect_invalid([&] { radio.set_custom_region({0}, {200}, 5); });
    expect_invalid([&] { radio.set_custom_region({5'200'000}, {200}, 5); });
    expect_invalid([&] { radio.set_custom_region({959'900}, {200}, 5); });
    expect_invalid([&] { radio.set_custom_region({0x1000000}, {200}, 5); });
    expect_invalid([&] { radio.set_custom_region({866'000}, {0}, 5); });
    expect_invalid([&] { radio.set_custom_region({866'000}, {205}, 5); });
    expect_invalid([&] { radio.set_custom_region({866'000}, {2560}, 5); });
    expect_invalid([&] { radio.set_custom_region({866'000}, {200}, 0); });
    expect_invalid([&] { radio.set_custom_region({866'000}, {200}, 256); });
}

TEST_P(SettingsOf, TheRestOfTheRadio)
{
    Radio radio = reader().radio();
    EXPECT_EQ(patiently([&] { return radio.return_loss(Port(2), {915'250}); }), 20);
    const sim::Bytes asked = device->last_request();
    EXPECT_THAT(sim::Bytes(asked.begin() + 3, asked.begin() + 8), ElementsAre(0, 0x0D, 0xF7, 0x32, 1));
    EXPECT_EQ(error_of([&] { radio.return_loss(Port(5), {915'250}); })->code(), Errc::refused);
    expect_invalid([&] { radio.return_loss(Port(0), {915'250}); });
    expect_invalid([&] { radio.return_loss(Port(1), {5'200'000}); });

    patiently([&] { radio.set_profile(0x0123); });
    EXPECT_EQ(patiently([&] { return radio.profile(); }), 0x0123);
    EXPECT_THAT(device->settings().profile, ElementsAre(0x01, 0x23));
    sim::Fault other = sim::Fault::set_byte(5, 0x77);
    other.command = 0x7F;
    device->inject(other);
    const auto refused = error_of([&] { patiently([&] { radio.set_profile(0x0102); }); });
    EXPECT_EQ(refused->code(), Errc::refused);
    EXPECT_EQ(refused->outcome(), Outcome::partial);
    expect_invalid([&] { radio.set_profile(0x10000); });
    expect_invalid([&] { radio.set_profile(-1); });

    patiently([&] { radio.set_q_and_session({.q = 7, .session = Session::s2}); });
    QAndSession both = patiently([&] { return radio.q_and_session(); });
    EXPECT_EQ(both.q, 7);
    EXPECT_EQ(both.session, Session::s2);
    patiently([&] { radio.set_q_and_session({.q = 3, .session = {}}); });
    EXPECT_EQ(device->settings().session, 255);
    EXPECT_FALSE(patiently([&] { return radio.q_and_session(); }).session);
    expect_invalid([&] { radio.set_q_and_session({.q = 16}); });
    expect_invalid([&] { radio.set_q_and_session({.session = static_cast<Session>(4)}); });

    patiently([&] { radio.set_carrier(true); });
    EXPECT_TRUE(device->panel().carrier);
    patiently([&] { radio.set_carrier(false); });
    EXPECT_FALSE(device->panel().carrier);
}

TEST_P(SettingsOf, AntennasInUse)
{
    Antennas antennas = reader().antennas();
    EXPECT_THAT(patiently([&] { return antennas.enabled(); }),
                ElementsAre(Port(1), Port(2), Port(3), Port(4)));
    patiently([&] { antennas.enable({Port(4), Port(2)}, Lasting::until_restart); });
    EXPECT_THAT(patiently([&] { return antennas.enabled(); }), ElementsAre(Port(2), Port(4)));
    device->restart();
    EXPECT_EQ(patiently([&] { return antennas.enabled(); }).size(), 4U);
    EXPECT_EQ(error_of([&] { antennas.enable({Port(5)}); })->code(), Errc::refused);
    for (const auto command : {PortsCommand::eight, PortsCommand::twelve, PortsCommand::sixteen}) {
        patiently([&] { antennas.enable({Port(1), Port(4)}, Lasting::stored, command); });
        EXPECT_THAT(device->settings().antennas, ElementsAre(1U, 4U));
        patiently([&] { antennas.enable({Port(2)}); });
        expect_invalid(
            [&] { antennas.enable({Port(static_cast<int>(command) + 1)}, Lasting::stored, command); });
    }
    patiently([&] { antennas.enable({Port(3)}, Lasting::until_restart, PortsCommand::sixteen); });
    device->restart();
    EXPECT_THAT(patiently([&] { return antennas.enabled(); }), ElementsAre(Port(2)));
    expect_invalid([&] { antennas.enable({Port(3)}, Lasting::until_restart, PortsCommand::eight); });
    expect_invalid([&] { antennas.enable({}); });
    expect_invalid([&] { antennas.enable({Port(0)}); });
    expect_invalid([&] { antennas.enable({Port(65)}); });
    EXPECT_FALSE(patiently([&] { return antennas.are_checked(); }));
    patiently([&] { antennas.set_check(true); });
    EXPECT_TRUE(patiently([&] { return antennas.are_checked(); }));
}

TEST_P(SettingsOf, InputsAndOutputs)
{
    Lines lines = reader().lines();
    device->set_input(2, true);
    patiently([&] { lines.set_output(1, true); });
    patiently([&] { lines.set_output(4, true); });
    LineState state = patiently([&] { return lines.state(); });
    EXPECT_EQ(state.outputs, 0b1001);
    EXPECT_EQ(state.inputs, 0b0010);
    EXPECT_TRUE(state.input(2));
    EXPECT_FALSE(state.input(1) || state.input(0) || state.input(5) || state.output(2));
    patiently([&] { lines.set_output(1, false); });
    EXPECT_EQ(device->panel().outputs, 0b1000);
    patiently([&] { lines.set_outputs(0b0110, 0b1000); });
    EXPECT_EQ(device->panel().outputs, 0b0110);
    expect_invalid([&] { lines.set_outputs(0b0011, 0b0001); });
    expect_invalid([&] { lines.set_outputs(0, 0); });
    expect_invalid([&] { lines.set_outputs(0x10, 0); });
    expect_invalid([&] { lines.set_output(0, true); });
    expect_invalid([&] { lines.set_output(5, true); });
}

TEST_P(SettingsOf, RelaysAndBeeper)
{
    Lines lines = reader().lines();
    patiently([&] { lines.close_relay(2); });
    EXPECT_EQ(device->panel().closed_relays, 0b0010);
    patiently([&] { lines.open_relay(2); });
    EXPECT_EQ(device->panel().closed_relays, 0);
    patiently([&] { lines.pulse_relay(250ms, 3); });
    EXPECT_EQ(device->last_request().at(5), 3) << "rounded up";
    expect_invalid([&] { lines.close_relay(0); });
    expect_invalid([&] { lines.open_relay(256); });
    expect_invalid([&] { lines.pulse_relay(0ms); });
    expect_invalid([&] { lines.pulse_relay(25'501ms); });
    EXPECT_TRUE(patiently([&] { return lines.beeps(); }));
    patiently([&] { lines.set_beeper(false); });
    EXPECT_FALSE(patiently([&] { return lines.beeps(); }));
    const std::uint64_t before = device->panel().flashes;
    patiently([&] { lines.beep(3, 2, 1); });
    EXPECT_GT(device->panel().flashes, before);
    EXPECT_EQ((device->panel().flashes - before) % 3, 0U);
    expect_invalid([&] { lines.beep(0); });
    expect_invalid([&] { lines.beep(1, 256); });
    expect_invalid([&] { lines.beep(1, 1, 0); });
}

TEST_P(SettingsOf, ARelayWithoutANumber)
{
    patiently([&] { reader().lines().pulse_relay(25s, 1, RelayCommand::single); });
    EXPECT_EQ(device->panel().closed_relays, 1);
    patiently([&] { reader().lines().open_relay(1, RelayCommand::single); });
    EXPECT_EQ(device->panel().closed_relays, 0);
    expect_invalid([&] { reader().lines().pulse_relay(1s, 2, RelayCommand::single); });

    connect_family(sim::ReaderFamily::relay);
    const auto pulse = [this](std::optional<ReaderFamily> family) {
        patiently([&] {
            Lines lines = reader().lines();
            family ? lines.pulse_relay(25s, 1, RelayCommand::relay_family, *family)
                   : lines.pulse_relay(25s, 1, RelayCommand::relay_family);
        });
    };
    pulse(ReaderFamily::relay);
    EXPECT_EQ(device->panel().closed_relays, 1);
    patiently([&] { reader().lines().open_relay(1, RelayCommand::relay_family, ReaderFamily::relay); });
    EXPECT_EQ(device->panel().closed_relays, 0);
}

// To one the command is a filter time, to others it tells their temperature.
TEST_P(SettingsOf, ARelayIsNotSwitchedWhereTheFamilyOfTheReaderIsNotKnown)
{
    const auto refused_text = [this](auto... family) {
        const auto error = error_of([&] {
            patiently([&] { reader().lines().pulse_relay(25s, 1, RelayCommand::relay_family, family...); });
        });
        EXPECT_EQ(error->code(), Errc::invalid_value);
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_EQ(device->counters().commands[0x92], 0U);
        return std::string(error->what());
    };
    for (const auto family : {sim::ReaderFamily::standard, sim::ReaderFamily::relay}) {
        connect_family(family);
        EXPECT_THAT(refused_text(), testing::HasSubstr("say so (ReaderFamily::relay)"));
        EXPECT_THAT(refused_text(ReaderFamily::standard), testing::HasSubstr("another family"));
    }
    for (const auto family : {sim::ReaderFamily::filter, sim::ReaderFamily::mobile}) {
        connect_family(family);
        EXPECT_THAT(refused_text(), testing::HasSubstr("another family"));
        EXPECT_THAT(refused_text(ReaderFamily::relay), testing::HasSubstr("another family"));
    }
}

TEST_P(SettingsOf, TheClock)
{
    Clock clock = reader().clock();
    const local_seconds time = local_days(2031y / February / 28) + 23h + 59min + 1s;
    patiently([&] { clock.set(time); });
    const local_seconds now = patiently([&] { return clock.time(); });
    EXPECT_GE(now, time);
    EXPECT_LT(now, time + 10min);
    patiently([&] { clock.set_utc(sys_days(2040y / January / 1)); });
    EXPECT_GE(patiently([&] { return clock.time(); }), local_days(2040y / January / 1));
    expect_invalid([&] { clock.set(local_days(1999y / December / 31)); });
    expect_invalid([&] { clock.set(local_days(2100y / January / 1)); });
    expect_invalid([&] { clock.set_utc(sys_days(1999y / December / 31)); });
}

TEST_P(SettingsOf, ReadingAlone)
{
    Modes modes = reader().modes();
    patiently([&] { modes.set_eas_sensitivity(3); });
    patiently([&] { modes.set_reports(1, 4); });
    patiently([&] { modes.set_inventory_interval(5); });
    patiently([&] { modes.set_tag_protocol(1); });
    patiently([&] { modes.set_mask(Mask{Bank::epc, 300, {0xAB, 0xC0}, 12}); });
    patiently([&] { modes.set_trigger_time(9s); });
    patiently([&] { modes.set_tid({2, 6}); });
    patiently([&] { modes.set_work_mode(WorkMode::triggered); });
    ReadingAlone now = patiently([&] { return modes.parameters(); });
    EXPECT_EQ(now.mode, WorkMode::triggered);
    EXPECT_EQ(now.eas_sensitivity, 3);
    EXPECT_EQ(now.report_condition, 1);
    EXPECT_EQ(now.report_pause, 4);
    EXPECT_EQ(now.inventory_interval, 5);
    EXPECT_EQ(now.tag_protocol, 1);
    ASSERT_TRUE(now.mask);
    EXPECT_EQ(now.mask->bank, Bank::epc);
    EXPECT_EQ(now.mask->bit, 300U);
    EXPECT_EQ(now.mask->bits, 12U);
    EXPECT_THAT(now.mask->bytes, ElementsAre(0xAB, 0xC0));
    EXPECT_EQ(now.trigger_time, 9s);
    EXPECT_EQ(now.tid->first, 2U);
    EXPECT_EQ(now.tid->count, 6U);
    patiently([&] { modes.set_work_mode(WorkMode::answering); });
    patiently([&] { modes.set_mask({}); });
    now = patiently([&] { return modes.parameters(); });
    EXPECT_EQ(now.mode, WorkMode::answering);
    EXPECT_FALSE(now.mask);

    expect_invalid([&] { modes.set_work_mode(static_cast<WorkMode>(3)); });
    expect_invalid([&] { modes.set_eas_sensitivity(256); });
    expect_invalid([&] { modes.set_reports(-1, 0); });
    expect_invalid([&] { modes.set_reports(0, 256); });
    expect_invalid([&] { modes.set_inventory_interval(-1); });
    expect_invalid([&] { modes.set_tag_protocol(256); });
    expect_invalid([&] { modes.set_mask(Mask{}); });
    expect_invalid([&] { modes.set_trigger_time(256s); });
    expect_invalid([&] { modes.set_tid({256, 1}); });
    expect_invalid([&] { modes.set_tid({0, 256}); });
}

TEST_P(SettingsOf, AReaderThatReportsByItselfIsStillTold)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.reader.air_time = 1;
    scenario.reader.report_rate = 100;
    connect(scenario);
    patiently([&] { reader().modes().set_work_mode(WorkMode::active); });
    ASSERT_TRUE(device->wait_until([](const sim::Counters& now) { return now.reports_sent > 2; }));
    patiently([&] { reader().modes().set_work_mode(WorkMode::answering); });
    EXPECT_EQ(device->settings().work_mode, 0);
    EXPECT_EQ(patiently([&] { return reader().inventory(); }).reads.size(), 2U);
}

TEST_P(SettingsOf, Filters)
{
    connect_family(sim::ReaderFamily::filter);
    Filter filter = reader().filter();
    patiently([&] { filter.set_time(12s); });
    EXPECT_EQ(patiently([&] { return filter.time(); }), 12s);
    patiently([&] { filter.set_rule({.window = 3s, .least_reads = 2, .least_rssi = 90}); });
    const FilterRule rule = patiently([&] { return filter.rule(); });
    EXPECT_EQ(rule.window, 3s);
    EXPECT_EQ(rule.least_reads, 2);
    EXPECT_EQ(rule.least_rssi, 90);
    expect_invalid([&] { filter.set_time(256s); });
    expect_invalid([&] { filter.set_time(-1s); });
    expect_invalid([&] { filter.set_rule({.window = 256s}); });
    expect_invalid([&] { filter.set_rule({.least_reads = 256}); });
    expect_invalid([&] { filter.set_rule({.least_rssi = -1}); });
}

TEST_P(SettingsOf, AReaderThatAcknowledgesAndKeepsWhatItHasIsToldOf)
{
    const auto expect_kept = [this](std::uint8_t command, auto act) {
        SCOPED_TRACE(int{command});
        const auto error = error_of([&] {
            patiently([&] {
                device->clear_faults();
                device->inject(sim::Fault::error(command, 0));
                act();
            });
        });
        EXPECT_EQ(error->code(), Errc::refused) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::partial);
        EXPECT_THAT(error->what(), testing::ContainsRegex("the reader took .* and has .* now"));
    };
    Radio radio = reader().radio();
    expect_kept(0x2F, [&] { radio.set_power(Dbm(21)); });
    expect_kept(0x2F, [&] { radio.set_power(Dbm(9), Port(3)); });
    expect_kept(0x2F, [&] { radio.set_power({Dbm(20), Dbm(21), Dbm(22), Dbm(23)}); });
    expect_kept(0x79, [&] { radio.set_write_power(Dbm(20)); });
    expect_kept(0x22, [&] { radio.set_region("eu"); });
    expect_kept(0x22, [&] { radio.set_region(4, 2, 5); });
    expect_kept(0x22, [&] { radio.set_custom_region({866'000}, {200}, 5); });
    expect_kept(0x22, [&] { radio.set_packed_region(4, 3, 6); });
    expect_kept(0x81, [&] { radio.set_q_and_session({.q = 9}); });
    Antennas antennas = reader().antennas();
    for (const auto command : {PortsCommand::eight, PortsCommand::sixteen, PortsCommand::widest})
        expect_kept(0x3F, [&] { antennas.enable({Port(2)}, Lasting::stored, command); });
    expect_kept(0x85, [&] { antennas.enable({Port(2)}, Lasting::stored, PortsCommand::twelve); });
    expect_kept(0x66, [&] { antennas.set_check(true); });
    expect_kept(0x40, [&] { reader().lines().set_beeper(false); });
    expect_kept(0x41, [&] { reader().clock().set(local_days(2031y / February / 28)); });
    Modes modes = reader().modes();
    expect_kept(0x35, [&] { modes.set_work_mode(WorkMode::active); });
    expect_kept(0x37, [&] { modes.set_eas_sensitivity(3); });
    expect_kept(0x3C, [&] { modes.set_reports(1, 4); });
    expect_kept(0x3D, [&] { modes.set_inventory_interval(5); });
    expect_kept(0x3E, [&] { modes.set_tag_protocol(1); });
    expect_kept(0x3B, [&] { modes.set_mask(Mask{Bank::epc, 300, {0xAB, 0xC0}, 12}); });
    expect_kept(0x49, [&] { modes.set_trigger_time(9s); });
    expect_kept(0x4A, [&] { modes.set_tid({2, 6}); });
    expect_kept(0x75, [&] { reader().filter().set_time(30s); });
    connect_family(sim::ReaderFamily::filter);
    expect_kept(0x92, [&] { reader().filter().set_time(30s); });
    expect_kept(0xB0, [&] { reader().filter().set_rule({.window = 3s}); });
}

TEST_P(SettingsOf, WhatAReaderDoesNotTellIsAcknowledged)
{
    for (const std::uint8_t command : {0x7A, 0x9E, 0x42, 0x36})
        device->inject(sim::Fault::error(command, 0xFE, 0));
    patiently([&] { reader().radio().set_write_power(Dbm(20)); });
    patiently([&] { reader().radio().set_region("eu"); });
    patiently([&] { reader().clock().set(local_days(2031y / February / 28)); });
    patiently([&] { reader().modes().set_eas_sensitivity(3); });
    EXPECT_EQ(device->settings().writing_power, 20);
    EXPECT_EQ(device->settings().region.band, 4);
    EXPECT_EQ(device->counters().commands[0x37], 1U);
}

TEST_P(SettingsOf, ShortAnswersAreNotShown)
{
    const auto set = [&](const char* name, const char* text) {
        return [this, name, text] { reader().settings().set(name, text); };
    };
    expect_short_answer_refused(0x94, {}, [&] { reader().radio().power(); });
    expect_short_answer_refused(0x7A, {}, [&] { reader().radio().write_power(); });
    expect_short_answer_refused(0x9E, {4, 14}, [&] { reader().radio().region(); });
    expect_short_answer_refused(0x91, {}, [&] { reader().radio().return_loss(Port(1), {915'250}); });
    expect_short_answer_refused(0x7F, {1}, [&] { reader().radio().profile(); });
    expect_short_answer_refused(0x7F, {1}, [&] { reader().radio().set_profile(0x0100); });
    expect_short_answer_refused(0x82, {4}, [&] { reader().radio().q_and_session(); });
    expect_short_answer_refused(0x3F, sim::Bytes(7), [&] { reader().antennas().enabled(); });
    expect_short_answer_refused(0x47, {}, [&] { reader().lines().state(); });
    expect_short_answer_refused(0x42, {31, 2, 28, 23, 59}, [&] { reader().clock().time(); });
    expect_short_answer_refused(0x42, {31, 13, 28, 23, 59, 0}, [&] { reader().clock().time(); });
    expect_short_answer_refused(0x36, sim::Bytes(41), [&] { reader().modes().parameters(); });
    expect_short_answer_refused(0xB1, {1}, [&] { reader().filter().rule(); });
    expect_short_answer_refused(0x77, sim::Bytes(5), [&] { reader().filter().time(); });
    for (const std::size_t size : {6U, 11U}) {  // the mask and the words of the TID are not known then
        expect_short_answer_refused(0x77, sim::Bytes(size), [&] { reader().filter().set_time(30s); });
        expect_short_answer_refused(0x77, sim::Bytes(size), set("filter-time", "30"));
        expect_short_answer_refused(0x77, sim::Bytes(size), set("read-parameters", "0106040602"));
    }
    EXPECT_EQ(device->counters().commands[0x75], 0U);
    const auto get = [&](const char* name) { return [this, name] { reader().settings().get(name); }; };
    expect_short_answer_refused(0x31, {}, get("reply-delay"));
    expect_short_answer_refused(0x4C, sim::Bytes(3), get("serial-number"));
    expect_short_answer_refused(0x82, {4}, get("session"));
    expect_short_answer_refused(0x9E, {4, 14}, get("region"));
    expect_short_answer_refused(0xD3, {40}, get("dwell-time"));
    expect_short_answer_refused(0x94, {}, get("power"));
    expect_short_answer_refused(0x3F, sim::Bytes(7), get("antennas"));
    expect_short_answer_refused(0x36, sim::Bytes(41), get("mask"));
    expect_short_answer_refused(0x77, sim::Bytes(5), get("read-parameters"));
    expect_short_answer_refused(0x39, sim::Bytes(4), get("wiegand-format"));
    expect_short_answer_refused(0xE6, {0x81, 1, 2, 3, 4, 5}, get("trigger-2"));
    expect_short_answer_refused(0xB1, {1}, get("gpo-time"));
    connect_family(sim::ReaderFamily::filter);
    expect_short_answer_refused(0x93, {}, [&] { reader().filter().time(); });
    expect_short_answer_refused(0x93, {}, get("filter-time"));
}

TEST_P(SettingsOf, TheShortFormOfOldReadersHasNoTriggerTime)
{
    sim::Fault shorter = sim::Fault::lose(0);
    shorter.command = 0x36;
    device->inject(shorter);
    sim::Bytes frame{42 + 5, 0x0A, 0x36, 0};
    frame.resize(4 + 42);
    frame[4] = 2;  // the mode
    const std::uint16_t crc = engine::crc16(frame.data(), frame.size());
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFFU));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8U));
    const auto get = [&](const char* name) {
        const std::uint64_t before = device->counters().commands[0x36];
        std::thread answering([&] {
            if (device->wait_for_command(0x36, before + 1)) device->send_raw(frame);
        });
        struct Joined {
            std::thread& thread;
            ~Joined() { thread.join(); }
        } joined{answering};
        return patiently([&] { return reader().settings().get(name); });
    };
    EXPECT_EQ(get("work-mode"), "triggered");
    EXPECT_EQ(error_of([&] { get("trigger-time"); })->code(), Errc::no_such_feature);
}

TEST_P(SettingsOf, HowLongTheAnswerIsTellsAPlanOfOnesOwn)
{
    patiently([&] { reader().radio().set_custom_region({866'000}, {200}, 5); });
    sim::Fault other_band = sim::Fault::set_byte(4, 0);
    other_band.command = 0x9E;
    other_band.count = 0;
    device->inject(other_band);
    EXPECT_EQ(patiently([&] { return reader().radio().region(); }).to->value, 866'800U);
    EXPECT_EQ(patiently([&] { return reader().settings().get("region"); }), "custom:866000:200:5");
}

TEST_P(SettingsOf, WhatMeansSomethingElseToReadersOfAnotherFamilyIsNotSent)
{
    connect_family(sim::ReaderFamily::relay);
    patiently([&] { reader().filter().set_time(30s); });
    EXPECT_EQ(patiently([&] { return reader().filter().time(); }), 30s);
    EXPECT_EQ(device->settings().filter_time, 30);
    EXPECT_EQ(device->panel().closed_relays, 0);
    EXPECT_EQ(device->counters().commands[0x92], 0U);
    EXPECT_EQ(device->counters().commands[0x93], 0U);
    for (const auto family : {sim::ReaderFamily::relay, sim::ReaderFamily::multiplexer}) {
        connect_family(family);
        EXPECT_EQ(error_of([&] { patiently([&] { return reader().filter().rule(); }); })->code(),
                  Errc::no_such_feature);
        EXPECT_EQ(error_of([&] { patiently([&] { reader().filter().set_rule({}); }); })->code(),
                  Errc::no_such_feature);
        EXPECT_EQ(device->counters().commands[0xB0], 0U) << "it would have switched an antenna";
    }
}

TEST_P(SettingsOf, AReaderThatDoesNotTellItsFamilyIsOfNoneWithCommandsOfItsOwn)
{
    device->inject(sim::Fault::error(0xB1, 0xFE, 0));
    patiently([&] { reader().filter().set_time(30s); });
    EXPECT_EQ(patiently([&] { return reader().filter().time(); }), 30s);
    EXPECT_EQ(device->settings().filter_time, 30);
    EXPECT_EQ(device->counters().commands[0x92], 0U);
}

TEST_P(SettingsOf, AChangeWhoseAnswerIsLostMayHaveBeenMade)
{
    sim::Fault lose = sim::Fault::lose();
    lose.command = 0x40;
    device->inject(lose);
    const auto error = error_of([&] { reader().lines().set_beeper(false); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_EQ(device->settings().beep, 0);
    lose.command = 0x47;
    device->inject(lose);
    EXPECT_EQ(error_of([&] { reader().lines().state(); })->outcome(), Outcome::nothing);
    // An answer that comes too late is nobody's.
    EXPECT_EQ(patiently([&] { return reader().inventory(); }).reads.size(), 2U);
}

TEST_P(SettingsOf, NothingIsSentBeforeAReaderThatFellSilentAnswersAgain)
{
    device->inject(sim::Fault::silence());
    EXPECT_EQ(error_of([&] { reader().lines().set_beeper(false); })->outcome(), Outcome::unknown);
    const auto error = error_of([&] { reader().lines().set_beeper(false); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    device->clear_faults();
    EXPECT_EQ(device->settings().beep, 1);
    patiently([&] { reader().lines().set_beeper(false); });
    EXPECT_EQ(device->settings().beep, 0);
}

TEST_P(SettingsOf, ACommandThatTheReaderDoesNotKnow)
{
    sim::Fault unknown;
    unknown.kind = sim::Fault::Kind::error;
    unknown.command = 0x7A;
    unknown.value = 0xFE;
    device->inject(unknown);
    EXPECT_EQ(error_of([&] { patiently([&] { return reader().radio().write_power(); }); })->code(),
              Errc::no_such_feature);
}

}  // namespace
}  // namespace tagwire::test
