// Sensor tags: temperatures, registers, memory, log, identification.
#include "xx/sensors/degrees.h"
#include "xx/virtual_reader.h"

#include <tagwirexx/tagwire.hpp>

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const Password secret("01020304");
constexpr unsigned log_place = 2048;  // of the virtual tag
constexpr double a_step = 0.05;       // of a sensor word

sim::TagSettings make_sensor(unsigned serial, double degrees)
{
    sim::TagSettings tag = make_tag(serial);
    tag.tid = {0xE2, 0xC0, 0x1A, 0x20, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(serial)};
    tag.sensor.emplace().temperature = degrees;
    return tag;
}

std::vector<std::string> texts(const std::vector<MemoryRange>& ranges)
{
    std::vector<std::string> out;
    out.reserve(ranges.size());
    for (const MemoryRange& range : ranges) out.push_back((std::ostringstream() << range).str());
    return out;
}

Tid tid_of(unsigned serial) { return Tid(std::span<const std::uint8_t>(make_sensor(serial, 0).tid)); }

class SensorsOf : public VirtualReader {
  protected:
    // Two sensor tags, of which the second has a calibration of the other kind, and a plain one.
    static sim::Scenario cold_store()
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.tags = {make_sensor(1, -18.5), make_sensor(2, 4.25), make_tag(3)};
        scenario.tags[1].antennas = {2};
        scenario.tags[1].rssi = 77;
        scenario.tags[1].sensor->calibration = {0x27, 0x10, 0x00};
        return scenario;
    }
    void SetUp() override { connect(cold_store()); }

    Temperatures temperatures(const TemperaturePlan& plan)
    {
        return patiently([&] { return reader().temperatures(plan); });
    }
    static const Temperature& of(const Temperatures& all, unsigned serial) { return of(all, epc_of(serial)); }
    static const Temperature& of(const Temperatures& all, const Epc& epc)
    {
        const auto found = std::find_if(all.begin(), all.end(),
                                        [&](const Temperature& measured) { return measured.epc == epc; });
        if (found == all.end()) throw std::out_of_range("no such tag was measured");
        return *found;
    }
    SensorTag sensor(unsigned serial = 1) { return tag(epc_of(serial)).sensor(); }
    template <class Name> Tag tag(const Name& name, const Password& password = {})
    {
        return patiently([&] { return reader().tag(name, password); });
    }
    // With a password, without which nothing of it can be changed.
    SensorTag secured_sensor(sim::TagSettings tag)
    {
        tag.access_password = {1, 2, 3, 4};
        sim::Scenario scenario = make_scenario(0);
        scenario.tags = {std::move(tag)};
        connect(scenario);
        return this->tag(epc_of(1), secret).sensor();
    }
    SensorTag secured_sensor() { return secured_sensor(make_sensor(1, 20)); }
    // Of two tags the second shows the EPC of the first from show_twin() on.
    void connect_twins()
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.tags = {make_sensor(1, 20), make_sensor(2, 30)};
        scenario.tags[1].epc = scenario.tags[0].epc;
        scenario.tags[1].epc.resize(14);
        for (auto& tag : scenario.tags) tag.access_password = {1, 2, 3, 4};
        connect(scenario);
    }
    void show_twin() { show_words(tid_of(2), 6); }
    void show_words(const Tid& name, unsigned words)
    {
        Tag twin = tag(name, secret);
        patiently([&] { twin.make_untraceable({.epc_words = words}); });
    }
    std::uint64_t count(std::uint8_t command) { return device->counters().commands[command]; }
    // Once per act, where a busy machine has not lost another answer before.
    template <class Act> void losing(std::uint8_t command, Act act)
    {
        sim::Fault lose = sim::Fault::lose();
        lose.command = command;
        const std::uint64_t before = count(command);
        device->inject(lose);
        act();
        EXPECT_EQ(count(command), before + 1);
        device->clear_faults();
    }
    template <class Act> void expect_unknown(std::uint8_t command, Act act)
    {
        losing(command, [&] {
            const auto error = error_of(act);
            EXPECT_EQ(error->code(), Errc::no_answer) << error->what();
            EXPECT_EQ(error->outcome(), Outcome::unknown) << error->what();
        });
    }
};
INSTANTIATE_TEST_SUITE_P(Links, SensorsOf, testing::Values(Link::tcp, Link::pty), link_name);

// -- from bytes to degrees

struct Told {
    SensorChip chip;
    const char* raw;
    const char* calibration;
    std::optional<double> celsius;
    const char* problem;
};

TEST(SensorValues, AreDegreesOrAProblem)
{
    const Told rows[] = {
        {SensorChip::bx, "0000", "", 0.0, ""},
        {SensorChip::fd, "F8C6", "", -18.5, ""},
        {SensorChip::yl, "3A98", "", 150.0, ""},
        {SensorChip::yl, "3A99", "", {}, "outside"},
        {SensorChip::on, "F060", "", -40.0, ""},
        {SensorChip::on, "F05F", "", {}, "outside"},
        {SensorChip::ast010, "8000", "", {}, "no temperature"},
        {SensorChip::ast010, "954C", "", {}, "no temperature"},
        {SensorChip::ast010, "80", "", {}, "only 1 of the 2 bytes"},
        {SensorChip::g2, "F40000", "000020", {}, "only 3 of the 4 bytes"},
        {SensorChip::g2, "00000000", "000020", {}, "parity"},
        {SensorChip::em, "F0000007", "", {}, "did not come"},
        {SensorChip::em, "F0000007", "0000", {}, "did not come"},
        {SensorChip::g2, "F0000007", "000000", {}, "no calibration"},
        {SensorChip::g2, "F0000007", "000030", {}, "unknown kind"},
        {SensorChip::g2, "F0000007", "000120", {}, "no measurement"},  // for a high part of 4 only
        {SensorChip::g2, "00000007", "000120", {}, "no measurement"},  // does not begin with F
        {SensorChip::g2, "F2000007", "000120", {}, "outside"},
        {SensorChip::g2, "F0000007", "1F2710", {}, "no temperature"},  // a divisor of 0
    };
    for (const Told& row : rows) {
        Temperature measured;
        measured.raw = from_hex(row.raw);
        measured.calibration = from_hex(row.calibration);
        convert(*find_chip(row.chip), measured);
        EXPECT_EQ(measured.celsius, row.celsius) << row.raw << ' ' << row.calibration;
        EXPECT_THAT(measured.problem,
                    row.celsius ? IsEmpty() : testing::Matcher<std::string>(HasSubstr(row.problem)))
            << row.raw << ' ' << row.calibration;
    }
}

TEST(SensorValues, AreVoltsOrAProblem)
{
    for (const std::uint16_t raw : {0x0000, 0x0001, 0x0BAB, 0xFFFE, 0xFFFF}) {
        Measured measured{raw};
        convert_voltage(measured);
        const bool is_none = raw == 0 || raw == 0xFFFF;
        EXPECT_EQ(measured.millivolts, is_none ? std::optional<int>() : raw);
        EXPECT_EQ(measured.problem.empty(), !is_none);
    }
}

TEST(SensorValues, ModesInWords)
{
    const auto text = [](std::uint16_t bits) {
        std::ostringstream out;
        out << SensorMode{bits};
        return out.str();
    };
    EXPECT_EQ(text(0), "idle");
    EXPECT_EQ(text(0x21), "log running, alarm");
    EXPECT_EQ(text(0x1E), "log without a sample, log full, was asleep, LED on");
}

// -- many tags

TEST_P(SensorsOf, AnInventoryBringsTheTemperatures)
{
    for (const SensorChip chip : {SensorChip::g2, SensorChip::ltu32, SensorChip::ast010}) {
        const auto before = std::chrono::steady_clock::now();
        const Temperatures all = temperatures({.chip = chip});
        ASSERT_EQ(all.size(), 2U);
        EXPECT_TRUE(all.complete);
        EXPECT_NEAR(of(all, 1).celsius.value(), -18.5, a_step);
        const Temperature& second = of(all, 2);
        EXPECT_NEAR(second.celsius.value(), 4.25, a_step);
        EXPECT_EQ(second.problem, "");
        EXPECT_EQ(second.port, Port(2));
        EXPECT_EQ(second.rssi, 77);
        EXPECT_GE(second.received.steady, before);
        const bool has_sense_word = chip != SensorChip::ast010;
        EXPECT_EQ(second.raw.size(), has_sense_word ? 4U : 2U);
        EXPECT_EQ(second.calibration, has_sense_word ? (Bytes{0x27, 0x10, 0x00}) : Bytes{});
    }
}

TEST_P(SensorsOf, OneTagOrTheOnesThatMatch)
{
    EXPECT_EQ(temperatures({.epc = epc_of(2)}).readings.at(0).epc, epc_of(2));
    EXPECT_EQ(device->last_request().at(3), 6) << "words of the EPC";
    EXPECT_EQ(temperatures({.chip = SensorChip::ast010, .epc = epc_of(2)}).size(), 1U);
    const Mask second{Bank::tid, 0, {0xE2, 0xC0, 0x1A, 0x20, 0, 0, 0, 0, 0, 0, 0, 2}};
    const Temperatures masked = temperatures({.chip = SensorChip::ast010, .mask = second});
    ASSERT_EQ(masked.size(), 1U);
    EXPECT_EQ(masked.readings[0].epc, epc_of(2));
    EXPECT_EQ(temperatures({.chip = SensorChip::yl, .mask = second}).readings.at(0).epc, epc_of(2));
    EXPECT_EQ(temperatures({.chip = SensorChip::yl, .epc = epc_of(9)}).size(), 0U);
    EXPECT_EQ(temperatures({.antennas = {Port(2)}}).size(), 1U);
}

TEST_P(SensorsOf, ThoseAskedOneByOneHaveAProblemEach)
{
    for (const SensorChip chip :
         {SensorChip::em, SensorChip::bx, SensorChip::yl, SensorChip::on, SensorChip::fd}) {
        const Temperatures all = temperatures({.chip = chip});
        ASSERT_EQ(all.size(), 3U);
        EXPECT_NEAR(of(all, 1).celsius.value(), -18.5, a_step) << of(all, 1).problem;
        EXPECT_NEAR(of(all, 2).celsius.value(), 4.25, a_step) << of(all, 2).problem;
        EXPECT_EQ(of(all, 2).port, Port(2));
        EXPECT_FALSE(of(all, 3).celsius);
        EXPECT_THAT(of(all, 3).problem, HasSubstr("no such tag answered"));
    }
}

TEST_P(SensorsOf, BytesThatAreNotConvertedNeedNoCalibration)
{
    auto g2 = sensor();
    for (const SensorChip chip : {SensorChip::g2, SensorChip::em, SensorChip::yl}) {
        SensorQuestion question{.raw = true};
        if (chip != SensorChip::yl) question.calibration_word = 200;  // where the tag has no memory
        const Temperature measured = patiently([&] { return g2.temperature(chip, question); });
        EXPECT_EQ(measured.raw.size(), chip == SensorChip::yl ? 2U : 4U);
        EXPECT_FALSE(measured.celsius);
        EXPECT_EQ(measured.problem, "");
        EXPECT_TRUE(measured.calibration.empty());
    }
    expect_invalid([&] { reader().temperatures({.question = {.raw = true}}); });
}

TEST_P(SensorsOf, EachIsToldAsItComes)
{
    std::vector<Epc> told;
    const auto measure_until = [&](std::size_t most) {
        told.clear();
        return reader().temperatures({.chip = SensorChip::on}, [&](const Temperature& measured) {
            EXPECT_NE(measured.celsius.has_value(), !measured.problem.empty());
            told.push_back(measured.epc);
            return told.size() < most;
        });
    };
    const Temperatures two = patiently([&] { return measure_until(2); });
    EXPECT_EQ(two.size(), 2U);
    EXPECT_FALSE(two.complete);
    EXPECT_THAT(told, ElementsAre(two.readings.at(0).epc, two.readings.at(1).epc));
    const Temperatures all = patiently([&] { return measure_until(3); });
    EXPECT_EQ(all.size(), 3U);
    EXPECT_TRUE(all.complete);
}

TEST_P(SensorsOf, AReaderThatFallsSilentIsNotAskedForEveryTag)
{
    sim::Fault silence = sim::Fault::silence();
    silence.command = 0xCD;
    device->inject(silence);
    EXPECT_EQ(error_of([&] { reader().temperatures({.chip = SensorChip::yl}); })->code(), Errc::no_answer);
}

TEST_P(SensorsOf, AnEmTagTellsTimeAndIdToo)
{
    patiently([&] { reader().clock().set_utc(std::chrono::sys_days(std::chrono::year(2031) / 5 / 1)); });
    SensorQuestion question{.with_uid = true};
    const Temperatures all = temperatures({.chip = SensorChip::em, .epc = epc_of(1), .question = question});
    const Temperature& measured = all.readings.at(0);
    EXPECT_NEAR(measured.celsius.value(), -18.5, a_step);
    EXPECT_EQ(measured.uid, device->tag_memory(0, sim::Bank::tid));
    EXPECT_EQ(measured.calibration, (Bytes{0, 0, 0x20}));
    EXPECT_GE(measured.measured_at, std::chrono::sys_days(std::chrono::year(2031) / 5 / 1));
    device->set_temperature(0, 60);
    SensorTag tag = sensor(1);
    question = {.calibration = Bytes{0, 0, 0x20}, .latest = true};
    EXPECT_NEAR(patiently([&] { return tag.temperature(SensorChip::em, question); }).celsius.value(), -18.5,
                a_step);
    question = {.calibration_word = 0};
    EXPECT_THAT(patiently([&] { return tag.temperature(SensorChip::em, question); }).problem,
                HasSubstr("no calibration"));
}

TEST_P(SensorsOf, OneTagByItself)
{
    SensorTag tag = sensor(2);
    EXPECT_EQ(tag.epc(), epc_of(2));
    for (const SensorChip chip :
         {SensorChip::g2, SensorChip::em, SensorChip::bx, SensorChip::yl, SensorChip::on, SensorChip::fd}) {
        const Temperature measured = patiently([&] { return tag.temperature(chip); });
        EXPECT_NEAR(measured.celsius.value(), 4.25, a_step) << measured.problem;
        EXPECT_EQ(measured.epc, epc_of(2));
        EXPECT_FALSE(measured.port.known()) << "the reader does not tell it";
    }
    EXPECT_EQ(error_of([&] { patiently([&] { sensor(3).temperature(SensorChip::yl); }); })->code(),
              Errc::no_tag);
}

TEST_P(SensorsOf, WhicheverTagAnswers)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags = {make_sensor(1, 30)};
    connect(scenario);
    const Temperature measured = patiently([&] {
        return reader().temperature_of_any({.time = Bytes{1, 2, 3, 4, 5, 6}});
    });
    EXPECT_NEAR(measured.celsius.value(), 30, a_step);
    EXPECT_THAT(device->sensor(0).time, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_NEAR(patiently([&] { return reader().temperature_of_any(); }).celsius.value(), 30, a_step);
    expect_invalid([&] { reader().temperature_of_any({.time = Bytes(5)}); });
}

TEST_P(SensorsOf, WhatDidNotComeIsAProblem)
{
    SensorTag tag = sensor(1);
    const auto expect_short = [&](std::uint8_t command, const sim::Bytes& data, SensorChip chip) {
        const Temperature measured = with_answer(command, data, [&] { return tag.temperature(chip); });
        EXPECT_FALSE(measured.celsius);
        EXPECT_NE(measured.problem, "");
        EXPECT_LE(measured.raw.size(), data.size());
    };
    expect_short(0x13, {}, SensorChip::g2);
    expect_short(0x13, {0xF0, 0, 0}, SensorChip::g2);
    expect_short(0x13, {0xF0, 0, 0, 7, 0, 0}, SensorChip::g2);
    expect_short(0x86, sim::Bytes(7), SensorChip::em);
    for (const std::size_t size : {4U, 7U, 9U}) {
        sim::Bytes data{0xF4, 0, 0, 7};
        data.resize(size);
        const auto measured = with_answer(0x86, data, [&] { return tag.temperature(SensorChip::em); });
        EXPECT_THAT(measured.problem, HasSubstr(std::to_string(size) + " bytes and not 8"));
        EXPECT_THAT(measured.raw, ElementsAre(0xF4, 0, 0, 7));
        EXPECT_FALSE(measured.celsius);
    }
    EXPECT_FALSE(
        with_answer(0x86, sim::Bytes(8), [&] { return tag.temperature(SensorChip::em); }).measured_at);
    EXPECT_THAT(with_answer(0x02, {0, 0}, [&] { return tag.temperature(SensorChip::em); }).problem,
                HasSubstr("calibration did not come"));
    expect_short(0x8A, {}, SensorChip::bx);
    expect_short(0xCD, {9}, SensorChip::yl);
    expect_short(0xE8, {9}, SensorChip::on);
    expect_short(0xC5, {9}, SensorChip::fd);
    // A record of 6 bytes, and one that the frame has no end of.
    const auto short_record = with_answer(
        0x17, {1, 1, 6, 1, 2, 3, 4, 5, 6, 99}, [&] { return reader().temperatures({.antennas = {Port(1)}}); },
        1);
    ASSERT_EQ(short_record.size(), 1U);
    EXPECT_FALSE(short_record.complete);
    EXPECT_TRUE(short_record.readings[0].epc.empty());
    EXPECT_THAT(short_record.readings[0].problem, HasSubstr("not an EPC"));
    const auto odd_record = with_answer(
        0x17, {1, 1, 10, 1, 2, 3, 0xF4, 0, 0, 7, 0, 0, 0x20, 99},
        [&] { return reader().temperatures({.antennas = {Port(1)}}); }, 1);
    ASSERT_EQ(odd_record.size(), 1U);
    EXPECT_FALSE(odd_record.complete);
    EXPECT_TRUE(odd_record.readings[0].epc.empty());
    EXPECT_FALSE(odd_record.readings[0].celsius);
    EXPECT_THAT(odd_record.readings[0].raw, ElementsAre(1, 2, 3, 0xF4, 0, 0, 7, 0, 0, 0x20));
    const auto cut_record = with_answer(
        0x17, {1, 3, 20, 1, 2}, [&] { return reader().temperatures({.antennas = {Port(1)}}); }, 1);
    ASSERT_EQ(cut_record.size(), 1U);
    EXPECT_FALSE(cut_record.complete);
    EXPECT_THAT(cut_record.readings[0].problem, HasSubstr("cut off"));
    EXPECT_TRUE(cut_record.readings[0].raw.empty());
}

TEST_P(SensorsOf, WhatAChipDoesNotHaveIsRefused)
{
    const auto expect_refused = [&](const TemperaturePlan& plan) {
        expect_invalid([&] { reader().temperatures(plan); });
    };
    const Mask mask{Bank::tid, 0, {0xE2}};
    expect_refused({.chip = static_cast<SensorChip>(8)});
    expect_refused({.mask = mask});
    expect_refused({.chip = SensorChip::ast010, .epc = epc_of(1), .mask = mask});
    expect_refused({.epc = Epc()});
    expect_refused({.epc = Epc("010203")});
    expect_refused({.epc = Epc(std::string(60, '0'))});
    expect_refused({.q = 16});
    expect_refused({.session = static_cast<Session>(4)});
    expect_refused({.target = static_cast<Target>(2)});
    expect_refused({.chip = SensorChip::ast010, .select_target = 0});
    expect_refused({.select_target = 8});
    expect_refused({.select_action = 8});
    expect_refused({.password = secret});
    expect_refused({.chip = SensorChip::bx, .password = secret});
    expect_refused({.question = {.calibration = Bytes{0, 0, 0x20}}});
    expect_refused({.question = {.start_word = 1}});
    expect_refused({.question = {.wait_time = 256}});
    expect_refused({.chip = SensorChip::yl, .question = {.wait_time = 1}});
    expect_refused({.chip = SensorChip::yl, .question = {.latest = true}});
    expect_refused({.chip = SensorChip::fd, .question = {.with_uid = true}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes{0, 0, 0x30}}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes{0, 0}}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes(3), .calibration_word = 1}});
    SensorTag tag = sensor(1);
    expect_invalid([&] { tag.temperature(SensorChip::ltu32); });
    expect_invalid([&] { tag.temperature(SensorChip::ast010); });
}

// -- one tag

TEST_P(SensorsOf, ASensorIsItsTags)
{
    connect_twins();
    auto first = std::make_unique<Tag>(tag(epc_of(1), secret));
    SensorTag sensor = first->sensor();
    patiently([&] { first->write_epc(epc_of(5)); });
    EXPECT_EQ(sensor.epc(), epc_of(5));
    first.reset();
    EXPECT_EQ(patiently([&] { return sensor.measure(); }).celsius, 20);
    Tag second = tag(tid_of(2), secret);
    SensorTag other = second.sensor();
    patiently([&] { second.make_untraceable({.epc_words = 1}); });
    EXPECT_THROW(other.measure(), std::logic_error);
    EXPECT_THROW(second.sensor(), std::logic_error);
}

TEST_P(SensorsOf, TwoTagsWithOneEpcAreToldApart)
{
    connect_twins();
    show_twin();
    EXPECT_EQ(error_of([&] { tag(epc_of(1)); })->code(), Errc::several_tags);
    EXPECT_EQ(error_of([&] { tag(Mask{Bank::tid, 0, {0xE2, 0xC0}}); })->code(), Errc::several_tags);
    for (const unsigned serial : {1U, 2U}) {
        SensorTag sensor = tag(tid_of(serial), secret).sensor();
        const double degrees = 10 + 10 * serial;
        for (const SensorChip chip : {SensorChip::em, SensorChip::yl, SensorChip::on, SensorChip::fd}) {
            const Temperature measured = patiently([&] { return sensor.temperature(chip); });
            EXPECT_NEAR(measured.celsius.value(), degrees, a_step) << measured.problem;
            EXPECT_EQ(measured.tid, tid_of(serial));
        }
        patiently([&] { sensor.write_memory(0, Bytes{static_cast<std::uint8_t>(serial)}); });
        EXPECT_EQ(device->sensor(serial - 1).memory.at(0), serial);
        expect_invalid([&] { sensor.temperature(SensorChip::bx); });
        expect_invalid([&] { sensor.temperature(SensorChip::g2); });
    }
    const Temperatures all = temperatures({.chip = SensorChip::on});
    ASSERT_EQ(all.size(), 2U);
    for (const Temperature& measured : all)
        EXPECT_EQ(measured.celsius, measured.tid == tid_of(1) ? 20 : 30) << measured.problem;
    for (const Temperature& measured : temperatures({.chip = SensorChip::bx})) {
        EXPECT_FALSE(measured.celsius);
        EXPECT_THAT(measured.problem, HasSubstr("which others have"));
    }
    // A reader that reads no words in inventories does not see that there are two.
    device->inject(sim::Fault::error(0x19, 0xFE, 0));
    EXPECT_EQ(temperatures({.chip = SensorChip::on}).size(), 1U);
}

TEST_P(SensorsOf, OneThatDoesNotTellItsTidIsNotTakenForItsTwin)
{
    // Both TIDs are of 4 words; then one is so short that it is not told.
    for (const std::size_t bytes : {8U, 4U}) {
        sim::Scenario scenario = make_scenario(0);
        scenario.tags = {make_sensor(1, 20), make_sensor(2, 30)};
        scenario.tags[1].epc = scenario.tags[0].epc;
        scenario.tags[1].epc.resize(14);
        for (auto& tag : scenario.tags) {
            tag.tid[7] = tag.tid[11];
            tag.tid.resize(8);
            tag.access_password = {1, 2, 3, 4};
        }
        scenario.tags[1].tid.resize(bytes);
        connect(scenario);
        Tag twin = tag(Epc(std::span<const std::uint8_t>(scenario.tags[1].epc)), secret);
        patiently([&] { twin.make_untraceable({.epc_words = 6}); });
        const Temperatures all = temperatures({.chip = SensorChip::on});
        const Tid first(std::span<const std::uint8_t>(scenario.tags[0].tid));
        EXPECT_EQ(all.size(), bytes == 8 ? 2U : 1U);
        for (const Temperature& measured : all)
            EXPECT_EQ(measured.celsius, measured.tid == first ? 20 : 30) << measured.problem;
        for (const Temperature& measured : temperatures({.chip = SensorChip::bx}))
            EXPECT_THAT(measured.problem, HasSubstr("which others have"));
    }
}

TEST_P(SensorsOf, ATagWithoutAnEpcIsAskedByItsTidOrNotAtAll)
{
    sim::Scenario scenario = cold_store();
    scenario.tags[1].epc.clear();
    connect(scenario);
    EXPECT_NEAR(of(temperatures({.chip = SensorChip::on}), Epc()).celsius.value(), 4.25, a_step);
    device->inject(sim::Fault::error(0x19, 0xFE, 0));
    EXPECT_THAT(of(temperatures({.chip = SensorChip::on}), Epc()).problem, HasSubstr("neither an EPC nor"));
}

TEST_P(SensorsOf, WhoIsNotAloneAnyMoreLosesNothing)
{
    connect_twins();
    SensorTag sensor = tag(epc_of(1), secret).sensor();
    const auto expect_refused = [&](Errc code) {
        const auto refused = [&](auto act) {
            const auto error = error_of([&] { patiently(act); });
            EXPECT_EQ(error->code(), code) << error->what();
            EXPECT_EQ(error->outcome(), Outcome::nothing);
            EXPECT_FALSE(error->answered().empty());
        };
        const std::uint64_t looks = count(0xC8);
        refused([&] { sensor.start_log({}, log_place); });
        EXPECT_EQ(count(0xC8), looks) << "another's log is not looked at";
        refused([&] { sensor.start_log_anew({}); });
        refused([&] { sensor.stop_log(); });
        refused([&] { sensor.renew_registers(); });
        refused([&] { sensor.reset_alarm(); });
        refused([&] { sensor.write_register(1, 2); });
        refused([&] { sensor.measure({.block = 3}); });
        refused([&] { sensor.sleep(); });
    };
    show_twin();
    expect_refused(Errc::several_tags);
    show_words(tid_of(1), 1);
    expect_refused(Errc::no_tag);  // the other alone has the EPC now
    for (const std::uint8_t command : {0xC6, 0xC7, 0xC0, 0x88, 0xC2, 0xC5, 0xCA})
        EXPECT_EQ(count(command), 0U) << int{command};
}

TEST_P(SensorsOf, ALongEpcIsNamedByItsTid)
{
    sim::Scenario scenario = cold_store();
    scenario.tags[0].epc.resize(30, 0x55);
    connect(scenario);
    const Epc epc(std::span<const std::uint8_t>(scenario.tags[0].epc));
    SensorTag sensor = tag(epc).sensor();
    EXPECT_EQ(patiently([&] { return sensor.measure(); }).celsius, -18.5);
    expect_invalid([&] { sensor.temperature(SensorChip::g2); });
    // It leaves behind the first piece.
    sim::Fault gone = sim::Fault::error(0x19, 0xFB, 0);
    gone.skip = 1;
    device->inject(gone);
    const auto left = error_of([&] { sensor.write_memory(0, Bytes(32), {}, 8); });
    EXPECT_EQ(left->code(), Errc::no_tag);
    EXPECT_EQ(left->outcome(), Outcome::partial);
    EXPECT_THAT(texts(left->written()), ElementsAre("0-7"));
    EXPECT_THAT(texts(left->not_written()), ElementsAre("8-31"));
}

TEST_P(SensorsOf, Registers)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->registers = {0xAB, 0xCD, 0x12, 0x34};
    SensorTag tag = secured_sensor(settings);
    EXPECT_EQ(patiently([&] { return tag.read_register(1); }), 0x1234);
    patiently([&] { tag.write_register(1, 0xBEEF); });
    EXPECT_EQ(patiently([&] { return tag.read_register(1); }), 0xBEEF);
    patiently([&] { tag.renew_registers(); });
    EXPECT_EQ(patiently([&] { return tag.read_register(1); }), 0x1234);
    const auto error = error_of([&] { patiently([&] { tag.write_register(32, 0); }); });
    EXPECT_EQ(error->code(), Errc::tag_refused);
    EXPECT_THAT(error->what(), HasSubstr("no such memory"));
    expect_invalid([&] { tag.read_register(0x10000); });
    expect_invalid([&] { tag.write_register(0x10000, 0); });
}

TEST_P(SensorsOf, AValueThatReadsBackOtherwiseIsToldOf)
{
    SensorTag tag = secured_sensor();
    const auto error = error_of([&] { with_answer(0xC1, {0, 1}, [&] { tag.write_register(1, 0xBEEF); }); });
    EXPECT_EQ(error->code(), Errc::differs);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
}

TEST_P(SensorsOf, AValueThatCannotBeReadBackMayHaveBeenWritten)
{
    SensorTag tag = secured_sensor();
    const auto expect_unread = [&](std::uint8_t command, const char* operation, auto act) {
        sim::Fault lose = sim::Fault::lose();
        lose.command = command;
        // Where the machine was busy, it was the answer to the writing that came too late.
        const std::uint64_t before = device->counters().commands[command];
        std::unique_ptr<Error> error;
        do {
            device->clear_faults();
            device->inject(lose);
            error = error_of(act);
        } while (device->counters().commands[command] == before);
        EXPECT_EQ(error->operation(), operation);
        EXPECT_EQ(error->outcome(), Outcome::unknown);
        EXPECT_THAT(error->what(), HasSubstr("cannot be read back"));
    };
    expect_unread(0xC1, "write a register", [&] { tag.write_register(1, 0xBEEF); });
    EXPECT_EQ(patiently([&] { return tag.read_register(1); }), 0xBEEF);
}

TEST_P(SensorsOf, MemoryInPieces)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->memory_password = {9, 8, 7, 6};
    SensorTag tag = secured_sensor(settings);
    Bytes data(600);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 7);
    const Password key("09080706");
    patiently([&] { tag.write_memory(100, data, key, 255); });
    EXPECT_EQ(count(0xC4), 3U) << "of 226 bytes";
    EXPECT_EQ(patiently([&] { return tag.read_memory(100, 600, key); }), data);
    const Bytes stored = device->sensor(0).memory;
    EXPECT_TRUE(std::equal(data.begin(), data.end(), stored.begin() + 100));
    EXPECT_EQ(error_of([&] { patiently([&] { tag.read_memory(0, 1); }); })->code(), Errc::tag_refused);
    const auto wrong = error_of([&] { patiently([&] { tag.write_memory(0, data, Password("DEADBEEF")); }); });
    EXPECT_EQ(wrong->code(), Errc::refused);
    EXPECT_EQ(wrong->outcome(), Outcome::nothing);
    EXPECT_THAT(texts(wrong->not_written()), ElementsAre("0-599"));
    EXPECT_EQ(count(0xC4), 3U);
    expect_invalid([&] { tag.read_memory(65536, 1); });
    expect_invalid([&] { tag.read_memory(65535, 2); });
    expect_invalid([&] { tag.read_memory(0, 0); });
    expect_invalid([&] { tag.write_memory(0, data, key, 256); });
    expect_invalid([&] { tag.write_memory(0, data, key, 0); });
    expect_invalid([&] { tag.write_memory(0, {}, key); });
}

TEST_P(SensorsOf, AWritingThatEndsHalfWaySaysHowFarItCame)
{
    SensorTag tag = secured_sensor();
    const Bytes data(32, 0x5A);
    const auto refused = error_of([&] { patiently([&] { tag.write_memory(4080, data, {}, 8); }); });
    EXPECT_EQ(refused->code(), Errc::tag_refused);
    EXPECT_EQ(refused->outcome(), Outcome::unknown) << "the memory that there is not cannot be looked at";
    EXPECT_THAT(texts(refused->written()), ElementsAre("4080-4095"));
    EXPECT_THAT(texts(refused->unknown_words()), ElementsAre("4096-4103"));
    EXPECT_THAT(texts(refused->not_written()), ElementsAre("4104-4111"));
    EXPECT_THAT(refused->what(), HasSubstr("written: bytes 4080-4095"));
    // One that leaves.
    sim::Fault gone = sim::Fault::error(0xC4, 0xFB, 0);
    gone.skip = 1;
    device->inject(gone);
    device->inject(sim::Fault::error(0xC3, 0xFB, 0));
    const auto left = error_of([&] { tag.write_memory(0, data, {}, 8); });
    EXPECT_EQ(left->code(), Errc::no_tag);
    EXPECT_EQ(left->outcome(), Outcome::unknown);
    EXPECT_THAT(texts(left->written()), ElementsAre("0-7"));
    EXPECT_THAT(texts(left->unknown_words()), ElementsAre("8-15"));
    EXPECT_THAT(texts(left->not_written()), ElementsAre("16-31"));
}

TEST_P(SensorsOf, AWrongPasswordGoesOutOncePerCall)
{
    secured_sensor();
    const Password wrong("DEADBEEF");
    SensorTag sensor = tag(epc_of(1), wrong).sensor();
    const auto expect_sent_once = [&] {
        const auto requests = device->requests();
        const auto bytes = wrong.bytes();
        EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                                [&](const auto& request) {
                                    const auto& frame = request.frame;
                                    return std::search(frame.begin(), frame.end(), bytes.begin(),
                                                       bytes.end()) != frame.end();
                                }),
                  1);
    };
    const auto expect_once = [&](auto act) {
        device->forget_requests();
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), Errc::refused) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        expect_sent_once();
    };
    // Looking behind a lost answer does not make it a right one.
    for (int i = 0; i < 2; ++i)
        losing(0xC2, [&] {
            device->forget_requests();
            EXPECT_EQ(error_of([&] { sensor.write_register(1, 2); })->code(), Errc::no_answer);
            expect_sent_once();
        });
    expect_once([&] { sensor.temperature(SensorChip::em); });
    expect_once([&] { sensor.write_register(1, 2); });
    expect_once([&] { sensor.renew_registers(); });
    expect_once([&] { sensor.write_memory(0, Bytes(100)); });
    expect_once([&] { sensor.start_log({}, log_place); });
    expect_once([&] { sensor.start_log_anew({}); });
    expect_once([&] { sensor.stop_log(); });
}

TEST_P(SensorsOf, AWritingWhoseAnswerIsLostIsLookedAt)
{
    SensorTag tag = secured_sensor();
    const Bytes data(32, 0x5A);
    losing(0xC4, [&] { tag.write_memory(0, data); });
    EXPECT_EQ(patiently([&] { return tag.read_memory(0, 32); }), data);
    losing(0xC2, [&] { tag.write_register(1, 0xBEEF); });
    EXPECT_EQ(patiently([&] { return tag.read_register(1); }), 0xBEEF);
    sim::Fault silence = sim::Fault::silence(1);
    silence.command = 0xC2;
    device->inject(silence);
    const auto error = error_of([&] { tag.write_register(1, 0x1234); });
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("register 1 holds BEEF"));
    // A tag that refuses what it has done, and one that has not done it.
    sim::Fault refusal = sim::Fault::set_byte(3, 0xFC);
    refusal.command = 0xC2;
    device->inject(refusal);
    const auto done = error_of([&] { tag.write_register(1, 0x1234); });
    EXPECT_EQ(done->code(), Errc::tag_refused);
    EXPECT_EQ(done->outcome(), Outcome::unknown);
    EXPECT_THAT(done->what(), HasSubstr("register 1 holds 1234"));
    device->inject(sim::Fault::error(0xC2, 0xFC));
    const auto undone = error_of([&] { tag.write_register(1, 0xBEEF); });
    EXPECT_EQ(undone->outcome(), Outcome::nothing);
    EXPECT_THAT(undone->what(), HasSubstr("register 1 holds 1234"));
}

TEST_P(SensorsOf, MeasuringFurther)
{
    sim::TagSettings settings = make_sensor(1, -7.25);
    settings.sensor->voltage = 2987;
    settings.sensor->alarm = true;
    settings.sensor->spi = {{{0x9F}, {0xEF, 0x40, 0x18}}};
    SensorTag tag = secured_sensor(settings);
    const Measured voltage = patiently([&] { return tag.measure({.quantity = Quantity::voltage}); });
    EXPECT_EQ(voltage.millivolts, 2987);
    EXPECT_FALSE(voltage.celsius);
    EXPECT_EQ(patiently([&] { return tag.measure({.block = 3}); }).celsius, -7.25);
    device->set_temperature(0, 40);
    EXPECT_EQ(patiently([&] { return tag.measure({.latest = true}); }).celsius, -7.25);
    EXPECT_THAT(
        with_answer(0xC5, {0, 0}, [&] { return tag.measure({.quantity = Quantity::voltage}); }).problem,
        HasSubstr("no voltage"));
    EXPECT_THAT(with_answer(0xC5, {0x80, 0}, [&] { return tag.measure(); }).problem,
                HasSubstr("no temperature"));
    EXPECT_THAT(patiently([&] { return tag.read_memory(12, 2); }), ElementsAre(0xFD, 0x2B));
    EXPECT_TRUE(patiently([&] { return tag.mode(); }).has_alarm());
    patiently([&] { tag.reset_alarm(); });
    EXPECT_EQ(patiently([&] { return tag.mode(); }).bits, 0);
    EXPECT_THAT(patiently([&] { return tag.exchange_spi({.command = {0x9F}, .answer = 3}); }),
                ElementsAre(0xEF, 0x40, 0x18));
    expect_invalid([&] { tag.exchange_spi({.answer = 8}); });
    expect_invalid([&] { tag.exchange_spi({.command = Bytes(201)}); });
    expect_invalid([&] { tag.exchange_spi({.clock = 256}); });
    expect_invalid([&] { tag.measure({.block = 256}); });
}

TEST_P(SensorsOf, ATagThatSleepsIsWoken)
{
    SensorTag tag = secured_sensor();
    patiently([&] { tag.sleep(); });
    EXPECT_TRUE(device->tag_state(0).asleep);
    EXPECT_EQ(error_of([&] { sensor(1); })->code(), Errc::no_tag);
    EXPECT_TRUE(patiently([&] { return reader().wake_sensor(epc_of(1), secret); }).was_asleep());
    EXPECT_FALSE(patiently([&] { return tag.mode(); }).was_asleep());
    patiently([&] { tag.sleep(); });
    EXPECT_TRUE(patiently([&] { return reader().wake_sensor(tid_of(1), secret); }).was_asleep());
    EXPECT_FALSE(device->tag_state(0).asleep);
    expect_invalid([&] { reader().wake_sensor(Epc()); });
    expect_invalid([&] { reader().wake_sensor(Epc("010203")); });
    expect_invalid([&] { reader().wake_sensor(Tid()); });
}

// -- log

TEST_P(SensorsOf, ALogThatRunsOrLiesThereIsNotDestroyed)
{
    sim::TagSettings settings = make_sensor(1, 21.5);
    settings.sensor->stop_password = {4, 3, 2, 1};
    SensorTag tag = secured_sensor(settings);
    patiently([&] { tag.start_log({.delay = 0, .step = 3600}, log_place); });
    EXPECT_TRUE(device->sensor(0).logging);
    EXPECT_EQ(device->sensor(0).samples, 1U);
    const std::uint64_t starts = device->counters().commands[0xC6];
    const auto running = error_of([&] { patiently([&] { tag.start_log({.step = 1}, log_place); }); });
    EXPECT_EQ(running->code(), Errc::refused);
    EXPECT_EQ(running->outcome(), Outcome::nothing);
    EXPECT_THAT(running->what(), HasSubstr("a log runs"));
    EXPECT_EQ(error_of([&] { patiently([&] { tag.stop_log(); }); })->code(), Errc::refused)
        << "wrong password";
    patiently([&] { tag.stop_log(Password("04030201")); });
    EXPECT_FALSE(device->sensor(0).logging);
    const auto lying = error_of([&] { patiently([&] { tag.start_log({.step = 1}, log_place); }); });
    EXPECT_THAT(lying->what(), HasSubstr("a log of 1 samples"));
    EXPECT_EQ(device->counters().commands[0xC6], starts);

    const std::vector<LogSample> log = patiently([&] { return tag.read_log(log_place); });
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].celsius, 21.5);
    device->set_temperature(0, 22.25);
    patiently([&] { tag.start_log_anew({.delay = 0, .step = 3600}); });
    EXPECT_EQ(patiently([&] { return tag.read_log(log_place); }).at(0).celsius, 22.25);
    expect_invalid([&] { tag.start_log({.step = 0}, log_place); });
    expect_invalid([&] { tag.start_log({.delay = 0x10000}, log_place); });
    expect_invalid([&] { tag.start_log({}, 65535); });
    expect_invalid([&] { tag.read_log(65535); });
    expect_invalid([&] { tag.start_log_anew({.step = 0x10000}); });
}

TEST_P(SensorsOf, WhatIsNoLogIsNotReadAsOne)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->memory_size = 65536;
    settings.sensor->memory = Bytes(10, 0x80);
    settings.sensor->memory[0] = 0;
    settings.sensor->memory[1] = 2;
    SensorTag tag = secured_sensor(settings);
    const auto log = patiently([&] { return tag.read_log(0); });
    ASSERT_EQ(log.size(), 2U);
    EXPECT_FALSE(log[0].celsius);
    EXPECT_EQ(log[0].raw, 0x8080);
    EXPECT_THAT(log[0].problem, HasSubstr("no temperature"));
    EXPECT_THAT(patiently([&] { return tag.read_log(100); }), IsEmpty());
    EXPECT_EQ(error_of([&] {
                  with_answer(0xC3, {0xFF, 0xFF}, [&] { return tag.read_log(100); });
              })->code(),
              Errc::bad_answer);
    const auto erased = error_of([&] { with_answer(0xC3, {0xFF, 0xFF}, [&] { tag.start_log({}, 100); }); });
    EXPECT_EQ(erased->code(), Errc::refused);
    EXPECT_THAT(erased->what(), HasSubstr("there is no log"));
    EXPECT_EQ(count(0xC6), 0U);
}

TEST_P(SensorsOf, ALongReadingTellsHowFarItCame)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->memory = Bytes(802, 1);
    settings.sensor->memory[0] = 1;
    settings.sensor->memory[1] = 0x90;  // 400 samples
    SensorTag tag = secured_sensor(settings);
    std::vector<std::size_t> told;
    const auto tell = [&](const Progress& done) {
        EXPECT_EQ(done.total, 800U);
        told.push_back(done.bytes);
        return done.bytes < 500;
    };
    const auto error = error_of([&] { tag.read_log(0, {}, tell); });
    EXPECT_EQ(error->code(), Errc::aborted);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_THAT(error->what(), HasSubstr("500 of 800 bytes"));
    EXPECT_THAT(told, ElementsAre(250, 500));
    const auto log = patiently([&] {
        told.clear();
        return tag.read_log(0, {}, [&](const Progress& done) { return tell(done), true; });
    });
    EXPECT_EQ(log.size(), 400U);
    EXPECT_EQ(log.back().raw, 0x0101);
    EXPECT_THAT(told, ElementsAre(250, 500, 750, 800));
    EXPECT_EQ(patiently([&] { return tag.read_memory(2, 4, {}, [](const Progress&) { return false; }); }),
              Bytes(4, 1))
        << "all of it came";
}

TEST_P(SensorsOf, AChangeWhoseAnswerIsLostIsLookedAt)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->alarm = true;
    SensorTag tag = secured_sensor(settings);
    losing(0xC6, [&] { tag.start_log({.step = 3600}, log_place); });
    EXPECT_TRUE(device->sensor(0).logging);
    expect_unknown(0xC6, [&] { tag.start_log_anew({.step = 3600}); });  // a log ran already
    losing(0xC7, [&] { tag.stop_log(); });
    EXPECT_FALSE(device->sensor(0).logging);
    losing(0xC6, [&] { tag.start_log_anew({.step = 3600}); });
    EXPECT_TRUE(device->sensor(0).logging);

    const auto expect_not_done = [&](std::uint8_t command, auto act) {
        sim::Fault silence = sim::Fault::silence(1);
        silence.command = command;
        device->inject(silence);
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), Errc::no_answer);
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_THAT(error->what(), HasSubstr("looked at"));
    };
    expect_not_done(0xC7, [&] { tag.stop_log(); });
    patiently([&] { tag.stop_log(); });
    expect_not_done(0xC6, [&] { tag.start_log_anew({.step = 3600}); });
    EXPECT_FALSE(device->sensor(0).logging);

    // Looking cannot tell.
    expect_unknown(0xC0, [&] { tag.renew_registers(); });
    expect_unknown(0x88, [&] { tag.reset_alarm(); });
    EXPECT_FALSE(device->sensor(0).alarm);
    expect_unknown(0xC5, [&] { tag.measure({.block = 3}); });
    expect_unknown(0x87, [&] { tag.exchange_spi({.command = {0x9F}, .answer = 3}); });
    expect_unknown(0xCA, [&] { tag.sleep(); });
    EXPECT_TRUE(device->tag_state(0).asleep);
    expect_unknown(0xC8, [&] { reader().wake_sensor(epc_of(1), secret); });
    EXPECT_FALSE(device->tag_state(0).asleep);
    // The mode cannot be asked for either.
    sim::Fault mute = sim::Fault::silence(0);
    mute.command = 0xC8;
    mute.skip = 1;
    device->inject(mute);
    expect_unknown(0xC6, [&] { tag.start_log_anew({.step = 3600}); });
}

TEST_P(SensorsOf, ShortAnswersAreNotShown)
{
    SensorTag tag = secured_sensor();
    expect_short_answer_refused(0xC1, {1}, [&] { tag.read_register(0); });
    expect_short_answer_refused(0xC3, sim::Bytes(7), [&] { tag.read_memory(0, 8); });
    expect_short_answer_refused(0xC3, {}, [&] { tag.start_log({}, log_place); });
    expect_short_answer_refused(0xC5, {1}, [&] { tag.measure({.quantity = Quantity::voltage}); });
    expect_short_answer_refused(0xC8, {1}, [&] { tag.mode(); });
    expect_short_answer_refused(0x87, {1, 2}, [&] { tag.exchange_spi({.answer = 3}); });
    expect_short_answer_refused(0x80, sim::Bytes(16), [&] { reader().identification().tag(); });
    expect_short_answer_refused(0x80, {1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                                [&] { reader().identification().tag(); });
    sim::Bytes odd(17 + 3);
    odd[1] = 3;
    expect_short_answer_refused(0x80, odd, [&] { reader().identification().tag(); });
    expect_short_answer_refused(0x81, {1, 2, 3}, [&] { reader().identification().begin(); });
    expect_short_answer_refused(0x82, sim::Bytes(9), [&] { reader().identification().finish({}); });
}

TEST_P(SensorsOf, TagAndReaderAreIdentified)
{
    Identification identification = reader().identification();
    const IdentifiedTag tag = patiently([&] { return identification.tag(epc_of(2)); });
    EXPECT_EQ(tag.epc, epc_of(2));
    EXPECT_EQ(tag.rssi, 77);
    EXPECT_THAT(tag.key, ElementsAre(0, 0));
    EXPECT_EQ(tag.tid, Tid("E2C01A200000000000000002"));
    const auto random = patiently([&] { return identification.begin(); });
    const IdentificationToken token = patiently([&] { return identification.finish({}); });
    EXPECT_TRUE(std::equal(random.begin(), random.end(), token.token.begin()));
    EXPECT_EQ(error_of([&] { patiently([&] { return identification.finish({}); }); })->code(), Errc::refused)
        << "a second time";
    expect_invalid([&] { identification.tag(Epc(std::string(64, '0'))); });
    expect_invalid([&] { identification.tag(Epc("010203")); });
    expect_invalid([&] { identification.tag(Epc()); });
    EXPECT_EQ(error_of([&] { patiently([&] { identification.tag(epc_of(9)); }); })->code(), Errc::no_tag);
}

}  // namespace
}  // namespace tagwire::test
