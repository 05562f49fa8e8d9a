// Sensor tags: temperatures, registers, memory, log, identification.
#include "xx/sensors/degrees.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double a_step = 0.05;  // of a sensor word

sim::TagSettings make_sensor(unsigned serial, double degrees)
{
    sim::TagSettings tag = make_tag(serial);
    tag.tid = {0xE2, 0xC0, 0x1A, 0x20, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(serial)};
    tag.sensor.emplace().temperature = degrees;
    return tag;
}

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
    static const Temperature& of(const Temperatures& all, unsigned serial)
    {
        const auto found = std::find_if(all.begin(), all.end(), [serial](const Temperature& measured) {
            return measured.epc == epc_of(serial);
        });
        if (found == all.end()) throw std::out_of_range("no such tag was measured");
        return *found;
    }
    SensorTag sensor(unsigned serial = 1)
    {
        return patiently([&] { return reader().sensor(epc_of(serial)); });
    }
    // With a password, without which nothing of it can be changed.
    SensorTag secured_sensor(sim::TagSettings tag)
    {
        tag.access_password = {1, 2, 3, 4};
        sim::Scenario scenario = make_scenario(0);
        scenario.tags = {std::move(tag)};
        connect(scenario);
        return patiently([&] { return reader().sensor(epc_of(1), Bytes{1, 2, 3, 4}); });
    }
    SensorTag secured_sensor() { return secured_sensor(make_sensor(1, 20)); }
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
        EXPECT_EQ(measured.port, Port(2));
    }
    EXPECT_EQ(error_of([&] { patiently([&] { sensor(3).temperature(SensorChip::yl); }); })->code(),
              Errc::refused);
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
    expect_short(0x8A, {}, SensorChip::bx);
    expect_short(0xCD, {9}, SensorChip::yl);
    expect_short(0xE8, {9}, SensorChip::on);
    expect_short(0xC5, {9}, SensorChip::fd);
    // A record of 6 bytes, and one that the frame has no end of.
    const auto short_record = with_answer(
        0x17, {1, 1, 6, 1, 2, 3, 4, 5, 6, 99}, [&] { return reader().temperatures({.antennas = {Port(1)}}); },
        1);
    ASSERT_EQ(short_record.size(), 1U);
    EXPECT_TRUE(short_record.readings[0].epc.empty());
    EXPECT_THAT(short_record.readings[0].problem, HasSubstr("no room"));
    const auto cut_record = with_answer(
        0x17, {1, 1, 20, 1, 2}, [&] { return reader().temperatures({.antennas = {Port(1)}}); }, 1);
    ASSERT_EQ(cut_record.size(), 1U);
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
    expect_refused({.question = {.password = Bytes(4)}});
    expect_refused({.question = {.calibration = Bytes{0, 0, 0x20}}});
    expect_refused({.question = {.start_word = 1}});
    expect_refused({.question = {.wait_time = 256}});
    expect_refused({.chip = SensorChip::yl, .question = {.password = Bytes(3)}});
    expect_refused({.chip = SensorChip::yl, .question = {.wait_time = 1}});
    expect_refused({.chip = SensorChip::yl, .question = {.latest = true}});
    expect_refused({.chip = SensorChip::fd, .question = {.with_uid = true}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes{0, 0, 0x30}}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes{0, 0}}});
    expect_refused({.chip = SensorChip::em, .question = {.calibration = Bytes(3), .calibration_word = 1}});
    SensorTag tag = sensor(1);
    expect_invalid([&] { tag.temperature(SensorChip::ltu32); });
    expect_invalid([&] { tag.temperature(SensorChip::ast010); });
    expect_invalid([&] { tag.temperature(SensorChip::bx, {.password = Bytes(4)}); });
}

// -- one tag

TEST_P(SensorsOf, ATagIsLookedForBeforeAnythingIsWritten)
{
    const auto both = error_of([&] {
        patiently([&] { reader().sensor(Mask{Bank::tid, 0, {0xE2, 0xC0}}); });
    });
    EXPECT_EQ(both->code(), Errc::invalid_value);
    EXPECT_THAT(both->what(), HasSubstr(epc_of(1).to_string()));
    EXPECT_THAT(both->what(), HasSubstr(epc_of(2).to_string()));
    EXPECT_THAT(error_of([&] { patiently([&] { reader().sensor(epc_of(9)); }); })->what(),
                HasSubstr("no such tag"));
    const Mask second{Bank::tid, 80, {0, 2}};
    EXPECT_EQ(patiently([&] { return reader().sensor(second); }).epc(), epc_of(2));
    expect_invalid([&] { reader().sensor(Epc()); });
    expect_invalid([&] { reader().sensor(Mask{}); });
    expect_invalid([&] { reader().sensor(epc_of(1), Bytes(3)); });

    // An EPC of which another one is the beginning is named all the same.
    sim::Scenario alike = cold_store();
    alike.tags[2].epc.insert(alike.tags[2].epc.end(), {0, 1});
    alike.tags[0].epc.assign(alike.tags[2].epc.begin(), alike.tags[2].epc.end() - 2);
    connect(alike);
    for (const std::size_t tag : {0, 2}) {
        const Epc epc(std::span<const std::uint8_t>(alike.tags[tag].epc));
        EXPECT_EQ(patiently([&] { return reader().sensor(epc); }).epc(), epc);
    }
}

TEST_P(SensorsOf, TwoTagsWithOneEpcAreNotTakenForOne)
{
    sim::Bytes answer{1, 4};  // antenna and count
    for (const std::uint8_t serial : {1, 2}) {
        sim::TagSettings tag = make_sensor(serial, 20);
        const sim::Bytes epc = make_tag(9).epc;
        for (const std::uint8_t item : {0, 1}) {
            const sim::Bytes& id = item == 0 ? epc : tag.tid;
            answer.insert(answer.end(), {item, static_cast<std::uint8_t>(id.size())});
            answer.insert(answer.end(), id.begin(), id.end());
            answer.push_back(99);
        }
    }
    const auto error = error_of([&] {
        with_answer(
            0x19, answer, [&] { return reader().sensor(epc_of(9)); }, 1);
    });
    EXPECT_EQ(error->code(), Errc::invalid_value);
    EXPECT_THAT(error->what(), HasSubstr("several tags have the EPC"));
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
    expect_unread(0xC3, "write sensor memory", [&] { tag.write_memory(0, Bytes{1, 2}); });
}

TEST_P(SensorsOf, MemoryInPieces)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->memory_password = {9, 8, 7, 6};
    SensorTag tag = secured_sensor(settings);
    Bytes data(600);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 7);
    const Bytes key{9, 8, 7, 6};
    patiently([&] { tag.write_memory(100, data, key, 226); });
    EXPECT_EQ(patiently([&] { return tag.read_memory(100, 600, key); }), data);
    const Bytes stored = device->sensor(0).memory;
    EXPECT_TRUE(std::equal(data.begin(), data.end(), stored.begin() + 100));
    EXPECT_EQ(error_of([&] { patiently([&] { tag.read_memory(0, 1); }); })->code(), Errc::tag_refused);
    EXPECT_EQ(error_of([&] { patiently([&] { tag.read_memory(0, 1, Bytes(4)); }); })->code(), Errc::refused);
    expect_invalid([&] { tag.read_memory(65536, 1); });
    expect_invalid([&] { tag.read_memory(65535, 2); });
    expect_invalid([&] { tag.read_memory(0, 0); });
    expect_invalid([&] { tag.read_memory(0, 1, Bytes(5)); });
    expect_invalid([&] { tag.write_memory(0, data, key, 227); });
    expect_invalid([&] { tag.write_memory(0, data, key, 0); });
    expect_invalid([&] { tag.write_memory(0, {}, key); });
}

TEST_P(SensorsOf, AWritingThatEndsHalfWaySaysHowFarItCame)
{
    SensorTag tag = secured_sensor();
    const Bytes data(32, 0x5A);
    const auto refused = error_of([&] { patiently([&] { tag.write_memory(4080, data, {}, 8); }); });
    EXPECT_EQ(refused->code(), Errc::tag_refused);
    EXPECT_EQ(refused->outcome(), Outcome::partial);
    EXPECT_THAT(refused->what(), HasSubstr("bytes 4080 to 4095 were written, bytes 4096 to 4103 were not"));
    sim::Fault lose = sim::Fault::lose();
    lose.command = 0xC4;
    lose.skip = 1;
    device->inject(lose);
    const auto lost = error_of([&] { tag.write_memory(0, data, {}, 16); });
    EXPECT_EQ(lost->code(), Errc::no_answer);
    EXPECT_EQ(lost->outcome(), Outcome::unknown);
    device->clear_faults();
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
    EXPECT_THAT(error_of([&] { patiently([&] { reader().sensor(epc_of(1)); }); })->what(),
                HasSubstr("awake"));
    const Bytes password{1, 2, 3, 4};
    EXPECT_TRUE(patiently([&] { return reader().wake_sensor(epc_of(1), password); }).was_asleep());
    EXPECT_FALSE(patiently([&] { return tag.mode(); }).was_asleep());
    expect_invalid([&] { reader().wake_sensor(Epc()); });
}

// -- log

TEST_P(SensorsOf, ALogThatRunsOrLiesThereIsNotDestroyed)
{
    sim::TagSettings settings = make_sensor(1, 21.5);
    settings.sensor->stop_password = {4, 3, 2, 1};
    SensorTag tag = secured_sensor(settings);
    patiently([&] { tag.start_log({.delay = 0, .step = 3600}); });
    EXPECT_TRUE(device->sensor(0).logging);
    EXPECT_EQ(device->sensor(0).samples, 1U);
    const std::uint64_t starts = device->counters().commands[0xC6];
    const auto running = error_of([&] { patiently([&] { tag.start_log({.step = 1}); }); });
    EXPECT_EQ(running->code(), Errc::refused);
    EXPECT_EQ(running->outcome(), Outcome::nothing);
    EXPECT_THAT(running->what(), HasSubstr("a log runs"));
    EXPECT_EQ(error_of([&] { patiently([&] { tag.stop_log(); }); })->code(), Errc::refused)
        << "wrong password";
    patiently([&] { tag.stop_log(Bytes{4, 3, 2, 1}); });
    EXPECT_FALSE(device->sensor(0).logging);
    const auto lying = error_of([&] { patiently([&] { tag.start_log({.step = 1}); }); });
    EXPECT_THAT(lying->what(), HasSubstr("a log of 1 samples"));
    EXPECT_EQ(device->counters().commands[0xC6], starts);

    const std::vector<LogSample> log = patiently([&] { return tag.read_log(); });
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].celsius, 21.5);
    device->set_temperature(0, 22.25);
    patiently([&] { tag.start_log_anew({.delay = 0, .step = 3600}); });
    EXPECT_EQ(patiently([&] { return tag.read_log(); }).at(0).celsius, 22.25);
    expect_invalid([&] { tag.start_log({.step = 0}); });
    expect_invalid([&] { tag.start_log({.delay = 0x10000}); });
    expect_invalid([&] { tag.start_log({}, {.first_byte = 65535}); });
    expect_invalid([&] { tag.start_log({}, {.memory_password = Bytes(3)}); });
    expect_invalid([&] { tag.start_log_anew({.step = 0x10000}); });
    expect_invalid([&] { tag.stop_log(Bytes(3)); });
}

TEST_P(SensorsOf, WhatIsNoLogIsNotReadAsOne)
{
    sim::TagSettings settings = make_sensor(1, 20);
    settings.sensor->memory_size = 65536;
    settings.sensor->memory = Bytes(10, 0x80);
    settings.sensor->memory[0] = 0;
    settings.sensor->memory[1] = 2;
    SensorTag tag = secured_sensor(settings);
    const auto log = patiently([&] { return tag.read_log({.first_byte = 0}); });
    ASSERT_EQ(log.size(), 2U);
    EXPECT_FALSE(log[0].celsius);
    EXPECT_EQ(log[0].raw, 0x8080);
    EXPECT_THAT(log[0].problem, HasSubstr("no temperature"));
    EXPECT_THAT(patiently([&] { return tag.read_log({.first_byte = 100}); }), IsEmpty());
    EXPECT_EQ(error_of([&] {
                  with_answer(0xC3, {0xFF, 0xFF}, [&] { return tag.read_log({.first_byte = 100}); });
              })->code(),
              Errc::bad_answer);
}

TEST_P(SensorsOf, AChangeOfATagWhoseAnswerIsLostMayHaveBeenMade)
{
    SensorTag tag = secured_sensor();
    sim::Fault lose = sim::Fault::lose();
    lose.command = 0xC6;
    device->inject(lose);
    const auto error = error_of([&] { tag.start_log_anew({.step = 60}); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_TRUE(device->sensor(0).logging);
    EXPECT_TRUE(patiently([&] { return tag.mode(); }).logs());
}

TEST_P(SensorsOf, ShortAnswersAreNotShown)
{
    SensorTag tag = secured_sensor();
    expect_short_answer_refused(0xC1, {1}, [&] { tag.read_register(0); });
    expect_short_answer_refused(0xC3, sim::Bytes(7), [&] { tag.read_memory(0, 8); });
    expect_short_answer_refused(0xC3, {}, [&] { tag.start_log({}); });
    expect_short_answer_refused(0xC5, {1}, [&] { tag.measure({.quantity = Quantity::voltage}); });
    expect_short_answer_refused(0xC8, {1}, [&] { tag.mode(); });
    expect_short_answer_refused(0x87, {1, 2}, [&] { tag.exchange_spi({.answer = 3}); });
    expect_short_answer_refused(0x80, sim::Bytes(16), [&] { reader().identification().tag(); });
    expect_short_answer_refused(0x80, {1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                                [&] { reader().identification().tag(); });
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
}

}  // namespace
}  // namespace tagwire::test
