// Sensor tags of the virtual reader through the library: the temperature of the scenario comes back, registers
// and memory hold what was written, and what a tag refuses is told.
#include <algorithm>
#include <cmath>
#include <tuple>

#include "e2e/linked_reader.h"
#include "e2e/named_tag.h"
#include "field/sense_word.h"

namespace tagwire::test {
namespace {

constexpr const char* store = R"(
[reader]
antennas = 2
enabled_antennas = [1]
air_time = 0
report_rate = 0
[[tag]]
epc = "1111 2222"
tid = "E200 0001 0203 0405 0607 0809 0A0B 0C0D"
rssi = 100
[tag.sensor]
registers = "A0A1 A2A3"
register_count = 4
memory = "00010203 04050607"
memory_size = 512
log_address = 504
log_unit_ms = 1
spi = { "9F" = "EF4018" }
[[tag]]
epc = "3333"
access_password = "01020304"
rssi = 90
[tag.sensor]
temperature = -7.25
calibration = "271000"
memory_password = "AABBCCDD"
stop_password = "0A0B0C0D"
alarm = true
key_index = "BEEF"
[[tag]]
epc = "4444"
)";

const Bytes open_epc{0x11, 0x11, 0x22, 0x22};
const Bytes guarded_epc{0x33, 0x33};
constexpr std::size_t open_tag = 0;  // places in the scenario
constexpr std::size_t guarded_tag = 1;

constexpr int no_tag = 0xFB;
constexpr int wrong_password = 5;
constexpr int tag_error = 0xFC;
constexpr int bad_argument = 255;
constexpr unsigned char filler = 0x5A;

Bytes filled(std::size_t size) { return Bytes(size, filler); }

class Sensors : public LinkedReader {
  protected:
    void SetUp() override { connect(sim::Scenario::from_text(store)); }

    // A command whose own arguments, the password among them, stand between the tag's name and the mask, and
    // its results behind that.
    template <typename Command, typename... Own, typename... Results>
    Outcome ask(Command command, Naming tag, const std::tuple<Own...>& own,
                const std::tuple<Results...>& results)
    {
        int code = untouched;
        const auto name = std::make_tuple(address(), tag.epc.data(), tag.words);
        const auto mask = std::make_tuple(tag.bank, tag.at.data(), tag.bits, tag.mask.data());
        const auto all = std::tuple_cat(name, own, mask, results, std::make_tuple(&code, handle));
        const int result = std::apply([command](auto... each) { return command(each...); }, all);
        return {result, code};
    }
    // The same for the tag without password.
    template <typename Command, typename... Own, typename... Results>
    Outcome ask(Command command, const std::tuple<Own...>& own, const std::tuple<Results...>& results)
    {
        return ask(command, by_epc(open_epc), own, results);
    }

    Outcome write_memory(const Naming& tag, Bytes at, Bytes data, Password password, unsigned char type = 0,
                         Password memory_password = {})
    {
        return ask(Fd_WriteMemory, tag,
                   std::make_tuple(at.data(), static_cast<unsigned char>(data.size()), data.data(),
                                   password.data(), type, memory_password.data()),
                   std::make_tuple());
    }
    Outcome read_memory(const Naming& tag, Bytes at, unsigned char count, Bytes& data, unsigned char type = 0,
                        Password memory_password = {})
    {
        data = filled(255);
        const Outcome outcome = ask(
            Fd_ReadMemory, tag, std::make_tuple(at.data(), count, none.data(), type, memory_password.data()),
            std::make_tuple(data.data()));
        data.resize(count);
        return outcome;
    }
    // Result of a long read of `count` bytes from 0 on.
    int read_long(unsigned char count, Bytes& data, unsigned char first = 0)
    {
        Bytes at{0, first};
        Bytes length{0, count};
        data.assign(65536, filler);
        int size = -1;
        const Outcome outcome =
            ask(Fd_ExtReadMemory, std::make_tuple(at.data(), length.data(), none.data(), 0, none.data()),
                std::make_tuple(data.data(), &size));
        EXPECT_EQ(outcome.code, untouched);
        if (size >= 0) data.resize(static_cast<std::size_t>(size));
        return outcome.result;
    }
    unsigned mode_of(const Naming& tag, unsigned char refresh = 0, Password password = {})
    {
        Bytes mode(2);
        EXPECT_EQ(
            ask(Fd_OP_Mode_Chk, tag, std::make_tuple(refresh, password.data()), std::make_tuple(mode.data())),
            (Outcome{0, 0}));
        return mode[0] << 8U | mode[1];
    }

    Password none{};
    Password access{1, 2, 3, 4};
};

INSTANTIATE_TEST_SUITE_P(Links, Sensors, testing::Values(Link::tcp, Link::pty), link_name);

TEST(SenseWords, give_their_temperature_back)
{
    struct Kind {
        sim::Calibration calibration;
        float resolution;
    };
    for (Kind kind : {Kind{{0, 0, 0x20}, 0.03F}, Kind{{0xC0, 0, 0x2F}, 0.03F},
                      Kind{{0x27, 0x10, 0x00}, 0.005F}, Kind{{0x24, 0x00, 0x10}, 0.005F}}) {
        for (double degrees = -40; degrees <= 150; degrees += 0.0625) {
            sim::SenseWord word = sim::make_sense_word(degrees, kind.calibration);
            ASSERT_EQ(CheckSense(word.data()), 0) << degrees;
            ASSERT_NEAR(GetTemperature(word.data(), kind.calibration.data()), degrees, kind.resolution);
        }
    }
}

TEST_P(Sensors, tell_the_temperature_of_the_scenario)
{
    const auto measure = [&](Bytes epc) {
        Bytes data = filled(255);
        int code = untouched;
        EXPECT_EQ(GetTagTemperature(address(), epc.data(), static_cast<unsigned char>(epc.size() / 2), 8, 5,
                                    8, 2, 1, data.data(), &code, handle),
                  0);
        EXPECT_EQ(code, -1);
        EXPECT_EQ(CheckSense(data.data()), 0);
        data.resize(9);
        return data;
    };
    EXPECT_EQ(measure(open_epc), (Bytes{0xF2, 0x08, 0x04, 0x28, 0, 0, 0x20, 0, filler}));
    for (const double degrees : {-40.0, -0.5, 36.6, 124.9}) {
        reader->set_temperature(open_tag, degrees);
        Bytes data = measure(open_epc);
        EXPECT_NEAR(GetTemperature(data.data(), data.data() + 4), degrees, 0.03);
    }
    Bytes data = measure(guarded_epc);
    EXPECT_NEAR(GetTemperature(data.data(), data.data() + 4), -7.25, 0.005);
}

TEST_P(Sensors, measure_with_and_without_a_time)
{
    Bytes epc = open_epc;
    const Bytes warm{0xF2, 0x08, 0x04, 0x28, filler};
    Bytes data = filled(255);
    int code = untouched;
    EXPECT_EQ(GetTMP_G2(address(), epc.data(), 2, 8, 5, data.data(), &code, handle), 0);
    EXPECT_EQ(code, -1);
    EXPECT_TRUE(std::equal(warm.begin(), warm.end(), data.begin()));

    data = filled(255);
    EXPECT_EQ(GetTagTemperature(address(), epc.data(), 2, 8, 5, 0, 200, 0, data.data(), &code, handle), 0);
    EXPECT_TRUE(std::equal(warm.begin(), warm.end(), data.begin()));

    Bytes time{0x18, 0x0C, 0x1F, 0x17, 0x3B, 0x3A};
    data = filled(255);
    EXPECT_EQ(GetTagTemperatureByTime(address(), epc.data(), 0, 8, 5, time.data(), 0, 0, 0, data.data(),
                                      &code, handle),
              0);
    EXPECT_TRUE(std::equal(warm.begin(), warm.end(), data.begin()));
    EXPECT_TRUE(std::equal(time.begin(), time.end(), reader->sensor(open_tag).time.begin()));
    EXPECT_EQ(GetTagTemperatureByTime(address(), epc.data(), 0, 8, 5, time.data(), 9, 1, 1, data.data(),
                                      &code, handle),
              0);
    EXPECT_EQ(data[4], 0x20);

    code = untouched;
    EXPECT_EQ(GetTMP_G2(address(), epc.data(), 1, 8, 5, data.data(), &code, handle), no_tag);
    EXPECT_EQ(code, untouched);
    EXPECT_EQ(GetTagTemperature(address(), epc.data(), 2, 8, 5, 10, 1, 1, data.data(), &code, handle),
              tag_error);
    EXPECT_EQ(code, 3);
}

TEST_P(Sensors, tell_temperatures_in_two_bytes)
{
    for (const auto command : {YL_GetTempData, ON_GetTempData}) {
        Bytes data = filled(3);
        EXPECT_EQ(ask(command, std::make_tuple(none.data()), std::make_tuple(data.data())), done);
        EXPECT_EQ(data, (Bytes{0x09, 0xC4, filler}));
        EXPECT_EQ(ask(command, by_mask(1, 32, 12, {0x33, 0x30}), std::make_tuple(access.data()),
                      std::make_tuple(data.data())),
                  done);
        EXPECT_EQ(data, (Bytes{0xFD, 0x2B, filler}));
        Password wrong{9, 9, 9, 9};
        EXPECT_EQ(ask(command, std::make_tuple(wrong.data()), std::make_tuple(data.data())),
                  (Outcome{wrong_password, untouched}));
    }
    Bytes epc = open_epc;
    Bytes data = filled(3);
    int code = untouched;
    EXPECT_EQ(GetBxTagTemperature(address(), 2, epc.data(), data.data(), &code, handle), 0);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(data, (Bytes{0x09, 0xC4, filler}));
    EXPECT_EQ(GetBxTagTemperature(address(), 1, epc.data(), data.data(), &code, handle), no_tag);
}

TEST_P(Sensors, keep_their_latest_measurement)
{
    Bytes seconds{0x65, 0x00, 0x00, 0x00};
    Bytes uid = filled(255);
    Bytes sense(4);
    Bytes utc(4);
    const auto sample = [&](unsigned char with_uid, unsigned char anew) {
        EXPECT_EQ(ask(GetEMTmpData, std::make_tuple(with_uid, anew, none.data()),
                      std::make_tuple(uid.data(), sense.data(), utc.data())),
                  done);
        EXPECT_EQ(CheckSense(sense.data()), 0);
    };
    sample(1, 1);
    EXPECT_EQ(Bytes(uid.begin(), uid.begin() + 14),
              (Bytes{12, 0xE2, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, filler}));
    EXPECT_EQ(sense, (Bytes{0xF2, 0x08, 0x04, 0x28}));
    EXPECT_EQ(Bytes(utc.begin(), utc.begin() + 2), (Bytes{0x38, 0x6D})) << "the reader's clock of 2000";
    const Bytes before = utc;
    reader->set_temperature(open_tag, 30);
    sample(0, 0);
    EXPECT_EQ(Bytes(uid.begin(), uid.begin() + 14), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, filler}));
    EXPECT_EQ(sense, (Bytes{0xF2, 0x08, 0x04, 0x28}));
    EXPECT_EQ(utc, before);
    sample(0, 1);
    Bytes calibration{0, 0, 0x20};
    EXPECT_NEAR(GetTemperature(sense.data(), calibration.data()), 30, 0.02);
}

struct Found {
    int result = -1;
    Bytes list = filled(65536);
    unsigned char antenna = 0;
    int size = -1;
    int count = -1;
};

class SensorInventories : public Sensors {
  protected:
    using Inventory = decltype(&Inventory_Temperature);
    Found inventory(Inventory command, Bytes epc)
    {
        Found found;
        found.result =
            command(address(), static_cast<unsigned char>(epc.size() / 2), epc.data(), 4, 0, 1, 4, 0, 0, 0x80,
                    0, found.list.data(), &found.antenna, &found.size, &found.count, handle);
        return found;
    }
    Found inventory_degrees(bool masked, bool fast)
    {
        Found found;
        Bytes at{0, 32};
        Bytes bits{0x33};
        found.result = Inventory_Temperature_Ast010(
            address(), 4, 0, 1, at.data(), 8, bits.data(), masked ? 1 : 0, 0, 0x80, 0, fast ? 1 : 0,
            found.list.data(), &found.antenna, &found.size, &found.count, handle);
        return found;
    }
    void expect(Found found, const Bytes& list, int count)
    {
        EXPECT_EQ(found.result, 1);
        EXPECT_EQ(found.count, count);
        EXPECT_EQ(found.antenna, 1);
        ASSERT_EQ(found.size, static_cast<int>(list.size()));
        EXPECT_EQ(found.list[list.size()], filler);
        found.list.resize(list.size());
        EXPECT_EQ(found.list, list);
    }
    // Seven tags with sensors, two records in a frame.
    void connect_to_many()
    {
        sim::Scenario scenario = make_scenario(7);
        scenario.reader.records_per_frame = 2;
        scenario.reader.antennas = 1;
        for (sim::TagSettings& tag : scenario.tags) tag.sensor.emplace();
        connect(scenario);
    }
    static std::set<std::string> uids_of(const sim::Scenario& scenario, const std::string& tail)
    {
        std::set<std::string> uids;
        for (const std::string& epc : epcs_of(scenario)) uids.insert(epc + tail);
        return uids;
    }
};
INSTANTIATE_TEST_SUITE_P(Links, SensorInventories, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(SensorInventories, tell_sense_words_with_the_calibration)
{
    const Bytes first{11, 0x11, 0x11, 0x22, 0x22, 0xF2, 0x08, 0x04, 0x28, 0, 0, 0x20, 100};
    const Bytes second{9, 0x33, 0x33, 0xFA, 0x02, 0x08, 0x5B, 0x27, 0x10, 0, 90};
    for (const Inventory command : {Inventory_Temperature, Inventory_Temperature_ltu32}) {
        expect(inventory(command, open_epc), first, 1);
        expect(inventory(command, guarded_epc), second, 1);
        const Found all = inventory(command, {});
        EXPECT_EQ(all.result, 1);
        EXPECT_EQ(all.count, 2);
        EXPECT_EQ(all.size, static_cast<int>(first.size() + second.size()));
    }
}

TEST_P(SensorInventories, tell_temperatures_in_two_bytes)
{
    for (const bool fast : {false, true}) {
        expect(inventory_degrees(true, fast), {4, 0x33, 0x33, 0xFD, 0x2B, 90}, 1);
        EXPECT_EQ(inventory_degrees(false, fast).count, 2);
    }
}

TEST_P(SensorInventories, come_in_several_frames)
{
    connect_to_many();
    for (const Inventory command : {Inventory_Temperature, Inventory_Temperature_ltu32}) {
        const std::uint64_t frames = reader->counters().frames_sent;
        const Found found = inventory(command, {});
        EXPECT_EQ(found.result, 1);
        EXPECT_EQ(found.count, 7);
        EXPECT_EQ(found.size, 7 * (1 + 12 + 7 + 1));
        EXPECT_TRUE(
            reader->wait_until([&](const auto& counters) { return counters.frames_sent >= frames + 4; }));
    }
    const Found found = inventory_degrees(false, true);
    EXPECT_EQ(found.count, 7);
    EXPECT_EQ(found.size, 7 * (1 + 12 + 2 + 1));
}

TEST_P(SensorInventories, go_to_the_callback_alone_when_that_is_asked_for)
{
    connect_to_many();
    InitRFIDCallBack(Reports::callback, true, handle);
    const sim::Scenario tags = make_scenario(7);
    const auto expect_callbacks = [&](const Found& found, const std::string& tail) {
        EXPECT_EQ(found.result, 1);
        EXPECT_EQ(found.size, 0);
        EXPECT_EQ(found.count, 0);
        EXPECT_EQ(found.list[0], filler);
        EXPECT_EQ(Reports::count(handle), 7U);
        EXPECT_EQ(Reports::uids(), uids_of(tags, tail));
    };
    for (const Inventory command : {Inventory_Temperature, Inventory_Temperature_ltu32}) {
        Reports::clear();
        expect_callbacks(inventory(command, {}), "F2080428000020");
    }
    Reports::clear();
    expect_callbacks(inventory_degrees(false, false), "09C4");
}

TEST_P(SensorInventories, find_nothing_or_are_refused)
{
    const Found nothing = inventory(Inventory_Temperature, {0x55, 0x55});
    EXPECT_EQ(nothing.result, 1);
    EXPECT_EQ(nothing.count, 0);
    EXPECT_EQ(nothing.size, 0);
    Found missing;
    Bytes epc = open_epc;
    EXPECT_EQ(Inventory_Temperature_ltu32(address(), 2, epc.data(), 4, 0, 1, 4, 0, 0, 0x82, 0,
                                          missing.list.data(), &missing.antenna, &missing.size,
                                          &missing.count, handle),
              0xF8);
    EXPECT_EQ(missing.size, 0);
}

TEST_P(Sensors, are_found_by_ordinary_inventories) { EXPECT_EQ(run_inventory(*connection, 4, 0).count, 3); }

TEST_P(Sensors, keep_registers)
{
    Bytes number{0, 3};
    Bytes beyond{0, 4};
    Bytes word{0xBE, 0xEF};
    Bytes read(2);
    const auto read_register = [&](Bytes& at, const Naming& tag) {
        read = {filler, filler};
        return ask(Fd_ReadReg, tag, std::make_tuple(at.data(), none.data()), std::make_tuple(read.data()));
    };
    const auto write_register = [&](Bytes& at, const Naming& tag, Password password) {
        return ask(Fd_WriteReg, tag, std::make_tuple(at.data(), word.data(), password.data()),
                   std::make_tuple());
    };
    const Naming open = by_epc(open_epc);
    const Naming guarded = by_epc(guarded_epc);
    EXPECT_EQ(write_register(number, open, none), (Outcome{0, 0}));
    EXPECT_EQ(read_register(number, open), (Outcome{0, 0}));
    EXPECT_EQ(read, word);
    EXPECT_EQ(write_register(beyond, open, none), (Outcome{tag_error, 3}));
    EXPECT_EQ(read_register(beyond, open), (Outcome{tag_error, 0}));
    EXPECT_EQ(read, filled(2));
    EXPECT_EQ(write_register(number, guarded, none), (Outcome{tag_error, 2}));
    EXPECT_EQ(write_register(number, guarded, {9, 9, 9, 9}), (Outcome{wrong_password, 0}));
    EXPECT_EQ(write_register(number, by_mask(1, 32, 16, guarded_epc), access), (Outcome{0, 0}));
    EXPECT_EQ(write_register(number, by_epc({0x44, 0x44}), none), (Outcome{no_tag, 0}));
    EXPECT_EQ(ask(Fd_InitRegfile, std::make_tuple(none.data()), std::make_tuple()), (Outcome{0, 0}));
    EXPECT_EQ(read_register(number, open), (Outcome{0, 0}));
    EXPECT_EQ(read, (Bytes{0, 0}));
    number = {0, 1};
    EXPECT_EQ(read_register(number, open), (Outcome{0, 0}));
    EXPECT_EQ(read, (Bytes{0xA2, 0xA3}));
}

TEST_P(Sensors, keep_memory)
{
    const Naming open = by_epc(open_epc);
    const Naming guarded = by_epc(guarded_epc);
    const Password memory_password{0xAA, 0xBB, 0xCC, 0xDD};
    Bytes data;
    EXPECT_EQ(read_memory(open, {0, 2}, 5, data), (Outcome{0, 0}));
    EXPECT_EQ(data, (Bytes{2, 3, 4, 5, 6}));
    const Bytes text{'c', 'o', 'l', 'd'};
    EXPECT_EQ(write_memory(open, {1, 0}, text, none), (Outcome{0, 0}));
    EXPECT_EQ(read_memory(by_mask(1, 32, 9, {0x11, 0x00}), {1, 0}, 4, data), (Outcome{0, 0}));
    EXPECT_EQ(data, text);
    EXPECT_EQ(write_memory(open, {1, 0xFD}, text, none), (Outcome{tag_error, 3}));
    EXPECT_EQ(read_memory(open, {1, 0xFD}, 4, data), (Outcome{tag_error, 0}));
    EXPECT_EQ(data, filled(4));

    EXPECT_EQ(write_memory(guarded, {0, 0}, text, access), (Outcome{tag_error, 2}));
    EXPECT_EQ(write_memory(guarded, {0, 0}, text, none, 1, memory_password), (Outcome{tag_error, 2}));
    EXPECT_EQ(write_memory(guarded, {0, 0}, text, access, 1, {9, 9, 9, 9}), (Outcome{wrong_password, 0}));
    EXPECT_EQ(write_memory(guarded, {0, 0}, text, access, 1, memory_password), (Outcome{0, 0}));
    EXPECT_EQ(read_memory(guarded, {0, 0}, 4, data), (Outcome{tag_error, 0}));
    EXPECT_EQ(read_memory(guarded, {0, 0}, 4, data, 1, memory_password), (Outcome{0, 0}));
    EXPECT_EQ(data, text);
}

TEST_P(Sensors, send_long_reads_in_packets)
{
    Bytes text(250);
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<unsigned char>(i * 7);
    for (const std::size_t at : {std::size_t{0}, std::size_t{125}}) {
        EXPECT_EQ(write_memory(by_epc(open_epc), {0, static_cast<unsigned char>(at)},
                               Bytes(text.begin() + static_cast<std::ptrdiff_t>(at),
                                     text.begin() + static_cast<std::ptrdiff_t>(at + 125)),
                               none),
                  (Outcome{0, 0}));
    }
    Bytes data;
    const auto reads_all = [&] { return read_long(250, data) == 1 && data == text; };
    EXPECT_TRUE(reads_all());
    EXPECT_EQ(read_long(3, data, 64), 1);
    EXPECT_EQ(data, (Bytes{text[64], text[65], text[66]}));

    constexpr std::size_t number_at = 5;
    const auto strike = [&](sim::Fault fault, std::uint64_t packet) {
        fault.command = 0xCB;
        fault.skip = packet;
        reader->inject(fault);
    };
    strike(sim::Fault::split({1, 4, 30}, std::chrono::milliseconds(2)), 1);
    EXPECT_TRUE(reads_all()) << "a packet in pieces";
    strike(sim::Fault::noise({0x00, 0xCB, 0x10}), 2);
    EXPECT_TRUE(reads_all()) << "noise between packets";
    strike(sim::Fault::delay(std::chrono::milliseconds(30)), 1);
    EXPECT_TRUE(reads_all()) << "a late packet";

    constexpr int out_of_order = 176;
    for (const std::uint64_t packet : {0, 1, 2}) {
        strike(sim::Fault::lose(), packet);
        EXPECT_EQ(read_long(250, data), out_of_order) << "lost packet " << packet;
    }
    // With less data behind it a damaged packet is waited for, as a longer one might have begun in it.
    strike(sim::Fault::flip(20), 0);
    EXPECT_EQ(read_long(250, data), out_of_order) << "a damaged packet";
    strike(sim::Fault::set_byte(number_at, 2), 1);
    strike(sim::Fault::set_byte(number_at, 1), 1);
    EXPECT_EQ(read_long(250, data), out_of_order) << "packets in another order";
    reader->clear_faults();
    EXPECT_TRUE(reads_all());
}

TEST_P(Sensors, refuse_long_reads)
{
    Bytes data;
    EXPECT_EQ(read_long(255, data, 255), 1);
    EXPECT_EQ(data.size(), 255U);
    Bytes at{1, 0xF0};
    Bytes length{0, 0x11};
    int size = -1;
    const auto read = [&](const Naming& tag, Password memory_password) {
        return ask(Fd_ExtReadMemory, tag,
                   std::make_tuple(at.data(), length.data(), none.data(), 1, memory_password.data()),
                   std::make_tuple(data.data(), &size));
    };
    EXPECT_EQ(read(by_epc(open_epc), none), (Outcome{0xF9, untouched}));
    EXPECT_EQ(size, 0);
    EXPECT_EQ(read(by_epc(guarded_epc), none), (Outcome{0xF9, untouched}));
    EXPECT_EQ(read(by_mask(1, 32, 16, {0x44, 0x44}), none), (Outcome{no_tag, untouched}));
    EXPECT_EQ(read(by_epc(guarded_epc), {0xAA, 0xBB, 0xCC, 0xDD}), (Outcome{1, untouched}));
    EXPECT_EQ(size, 17);
}

TEST_P(Sensors, measure_on_demand)
{
    Bytes temperature = filled(3);
    const auto measure = [&](unsigned char type, unsigned char stores, unsigned char block) {
        return ask(Fd_GetTemperature, std::make_tuple(type, 0, 0, stores, block, none.data()),
                   std::make_tuple(temperature.data()));
    };
    EXPECT_EQ(measure(0, 0, 0), (Outcome{0, 0}));
    EXPECT_EQ(temperature, (Bytes{0x09, 0xC4, filler}));
    reader->set_temperature(open_tag, -12.34);
    EXPECT_EQ(measure(0, 1, 16), (Outcome{0, 0}));
    EXPECT_EQ(temperature, (Bytes{0xFB, 0x2E, filler}));
    Bytes data;
    EXPECT_EQ(read_memory(by_epc(open_epc), {0, 64}, 2, data), (Outcome{0, 0}));
    EXPECT_EQ(data, (Bytes{0xFB, 0x2E}));
    EXPECT_EQ(measure(1, 0, 0), (Outcome{0, 0}));
    EXPECT_EQ(temperature, (Bytes{0x05, 0xDC, filler}));
    EXPECT_EQ(measure(2, 0, 0), (Outcome{0xFF, 0}));
}

TEST_P(Sensors, log_until_the_memory_is_full)
{
    constexpr unsigned log_is_full = 0x04;
    Bytes delay{0, 0};
    Bytes step{0, 1};
    const auto start = [&](const Naming& tag, Password password) {
        return ask(Fd_StartLogging, tag, std::make_tuple(delay.data(), step.data(), password.data()),
                   std::make_tuple());
    };
    EXPECT_EQ(start(by_epc(open_epc), none), (Outcome{0, 0}));
    unsigned mode = 0;
    for (int i = 0; i < 10000 && (mode & log_is_full) == 0; ++i) mode = mode_of(by_epc(open_epc));
    EXPECT_EQ(mode, log_is_full);
    Bytes data;
    EXPECT_EQ(read_memory(by_epc(open_epc), {1, 0xF8}, 8, data), (Outcome{0, 0}));
    EXPECT_EQ(data, (Bytes{0, 3, 0x09, 0xC4, 0x09, 0xC4, 0x09, 0xC4}));
    EXPECT_EQ(reader->sensor(open_tag).samples, 3U);

    delay = {0xFF, 0xFF};
    EXPECT_EQ(start(by_epc(guarded_epc), none), (Outcome{tag_error, 2}));
    EXPECT_EQ(start(by_epc(guarded_epc), access), (Outcome{0, 0}));
    EXPECT_EQ(mode_of(by_epc(guarded_epc)), 0x23U) << "armed, no sample, alarm";
    Password stop{0x0A, 0x0B, 0x0C, 0x0D};
    EXPECT_EQ(ask(Fd_StopLogging, by_epc(guarded_epc), std::make_tuple(access.data(), none.data()),
                  std::make_tuple()),
              (Outcome{wrong_password, 0}));
    EXPECT_EQ(ask(Fd_StopLogging, by_epc(guarded_epc), std::make_tuple(access.data(), stop.data()),
                  std::make_tuple()),
              (Outcome{0, 0}));
    EXPECT_FALSE(reader->sensor(guarded_tag).logging);
}

TEST_P(Sensors, sleep_until_they_are_woken)
{
    const Naming guarded = by_epc(guarded_epc);
    EXPECT_EQ(ask(Fd_DeepSleep, guarded, std::make_tuple(access.data()), std::make_tuple()), (Outcome{0, 0}));
    EXPECT_TRUE(reader->tag_state(guarded_tag).asleep);
    EXPECT_EQ(run_inventory(*connection, 4, 0).count, 2);
    Bytes mode = filled(2);
    EXPECT_EQ(
        ask(Fd_OP_Mode_Chk, guarded, std::make_tuple(0, access.data()), std::make_tuple(mode.data())).result,
        no_tag);
    EXPECT_EQ(mode_of(guarded, 1, access), 0x28U);
    EXPECT_EQ(run_inventory(*connection, 4, 0).count, 3);
    EXPECT_EQ(mode_of(guarded), 0x20U);
}

TEST_P(Sensors, switch_their_led)
{
    for (const bool on : {true, false}) {
        EXPECT_EQ(ask(Fd_LedCtr, std::make_tuple(on ? 1 : 0, none.data()), std::make_tuple()),
                  (Outcome{0, 0}));
        EXPECT_EQ(reader->sensor(open_tag).led, on);
    }
    constexpr unsigned char long_time = 255;
    EXPECT_EQ(ask(YL_LED_Controll, std::make_tuple(3, long_time, none.data()), std::make_tuple()),
              (Outcome{0, untouched}));
    EXPECT_TRUE(reader->sensor(open_tag).led);
    EXPECT_EQ(reader->sensor(open_tag).led_mode, 3);
    EXPECT_EQ(ask(YL_LED_Controll, std::make_tuple(0, long_time, none.data()), std::make_tuple()),
              (Outcome{0, untouched}));
    EXPECT_FALSE(reader->sensor(open_tag).led);
    for (const auto command : {KLW_LED_Controll, BX_LED_Controll}) {
        const Naming guarded = by_mask(1, 32, 16, guarded_epc);
        EXPECT_EQ(ask(command, guarded, std::make_tuple(long_time, access.data()), std::make_tuple()),
                  (Outcome{0, untouched}));
        Password wrong{9, 9, 9, 9};
        EXPECT_EQ(ask(command, guarded, std::make_tuple(long_time, wrong.data()), std::make_tuple()),
                  (Outcome{wrong_password, untouched}));
    }
    EXPECT_EQ(reader->sensor(guarded_tag).led_count, 2U);
}

TEST_P(Sensors, pass_bytes_to_their_spi_peripheral)
{
    Bytes command{0x9F};
    Bytes data = filled(10);
    const auto exchange = [&](unsigned char size) {
        return ask(GetSPI, std::make_tuple(1, size, 4, 5, 6, command.data(), none.data()),
                   std::make_tuple(data.data()));
    };
    EXPECT_EQ(exchange(8), done);
    EXPECT_EQ(data, filled(10)) << "more than 7 bytes are not copied";
    EXPECT_EQ(exchange(4), done);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 5), (Bytes{0xEF, 0x40, 0x18, 0xFF, filler}));
}

TEST_P(Sensors, reset_their_alarm)
{
    const Naming guarded = by_epc(guarded_epc);
    const auto reset = [&](Password password) {
        return ask(ResetAlarm, guarded, std::make_tuple(password.data()), std::make_tuple());
    };
    EXPECT_EQ(reset(none), (Outcome{tag_error, 2}));
    EXPECT_TRUE(reader->sensor(guarded_tag).alarm);
    EXPECT_EQ(reset(access), done);
    EXPECT_FALSE(reader->sensor(guarded_tag).alarm);
    unsigned char time = 7;
    EXPECT_EQ(SetCarrierTime(address(), &time, handle), 0);
    EXPECT_EQ(time, 7);
    EXPECT_EQ(reader->settings().carrier_time, 7);
}

TEST_P(Sensors, are_identified)
{
    Bytes epc = guarded_epc;
    Bytes found = filled(248);
    unsigned char length = 0;
    unsigned char rssi = 0;
    Bytes key(2);
    Bytes tid(12);
    const auto query = [&](unsigned char words) {
        return QueryAndIdentify(address(), epc.data(), words, &length, found.data(), &rssi, key.data(),
                                tid.data(), handle);
    };
    EXPECT_EQ(query(1), 0);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(Bytes(found.begin(), found.begin() + 3), (Bytes{0x33, 0x33, filler}));
    EXPECT_EQ(rssi, 90);
    EXPECT_EQ(key, (Bytes{0xBE, 0xEF}));
    EXPECT_EQ(tid, Bytes(12));
    EXPECT_EQ(query(0), 0);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(tid, (Bytes{0xE2, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    epc = {0x55, 0x55};
    EXPECT_EQ(query(1), no_tag);

    Bytes token(4);
    Bytes first{1, 2, 3, 4, 5, 6, 7, 8};
    Bytes second = filled(8);
    Bytes number = filled(2);
    const auto second_step = [&] {
        return SecondIdentify(address(), first.data(), second.data(), number.data(), handle);
    };
    EXPECT_EQ(second_step(), 0) << "the status does not show";
    EXPECT_EQ(second, Bytes(8));
    EXPECT_EQ(number, Bytes(2));
    EXPECT_EQ(FirstIdentify(address(), token.data(), handle), 0);
    EXPECT_EQ(second_step(), 0);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(second[i] ^ token[i % 4], first[i]);
}

TEST_P(Sensors, are_named_by_short_epcs_only)
{
    Bytes epc(64, 0x11);
    Bytes two(2);
    Bytes data(255);
    int code = untouched;
    const auto named = [&epc](unsigned char words) {
        Naming tag = by_epc(epc);
        tag.words = words;
        return tag;
    };
    const std::uint64_t before = reader->counters().requests;
    const Outcome refused{bad_argument, untouched};
    for (const unsigned char words : {15, 254}) {
        EXPECT_EQ(GetTMP_G2(address(), epc.data(), words, 0, 0, data.data(), &code, handle), bad_argument);
        EXPECT_EQ(ask(Fd_InitRegfile, named(words), std::make_tuple(none.data()), std::make_tuple()),
                  refused);
        EXPECT_EQ(ask(Fd_ReadReg, named(words), std::make_tuple(two.data(), none.data()),
                      std::make_tuple(data.data())),
                  refused);
        EXPECT_EQ(ask(Fd_LedCtr, named(words), std::make_tuple(1, none.data()), std::make_tuple()), refused);
    }
    EXPECT_EQ(ask(ResetAlarm, named(16), std::make_tuple(none.data()), std::make_tuple()), refused);
    EXPECT_EQ(ask(YL_GetTempData, named(32), std::make_tuple(none.data()), std::make_tuple(data.data())),
              refused);
    EXPECT_EQ(reader->counters().requests, before);
    EXPECT_EQ(ask(Fd_LedCtr, named(14), std::make_tuple(1, none.data()), std::make_tuple()),
              (Outcome{no_tag, 0}));
}

}  // namespace
}  // namespace tagwire::test
