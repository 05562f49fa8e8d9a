// Frequencies, power and antennas: what a host sets there, and what tags see of it.
#include <algorithm>

#include "e2e/portal.h"
#include "transport/wire.h"

namespace tagwire::test {
namespace {

using sim::Fault;
using S = sim::Settings;
using Ports = std::vector<unsigned>;

// Runs inside inventories only, on the thread of the test.
struct Seen {
    static inline std::set<std::uint32_t> frequencies;
    static inline std::set<unsigned> antennas;
    static void callback(RFIDTagStruct tag, int /*kind*/)
    {
        frequencies.insert(tag->Freqkhz);
        antennas.insert(tag->ANT);
    }
};

class Rf : public Portal {
  protected:
    void inventory()
    {
        Seen::frequencies.clear();
        Seen::antennas.clear();
        InitRFIDCallBack(Seen::callback, true, handle);
        EXPECT_EQ(run_inventory(*connection, 4, 0).status, 1);
    }
    // The channels that readings come from, until there are so many.
    std::set<std::uint32_t> channels(std::size_t count)
    {
        std::set<std::uint32_t> all;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (all.size() < count && std::chrono::steady_clock::now() < limit) {
            inventory();
            all.insert(Seen::frequencies.begin(), Seen::frequencies.end());
        }
        return all;
    }
    // What a write to the tag at antenna 2 gives.
    int write()
    {
        Bytes tag = make_tag(2).epc;
        Bytes zeros(4, 0);
        Bytes word{0xBE, 0xEF};
        int code = -1;
        const int result = WriteData_G2(address(), tag.data(), 1, 6, 3, 0, word.data(), zeros.data(), 0,
                                        zeros.data(), 0, zeros.data(), &code, handle);
        return result == 0xFC ? result << 8 | code : result;
    }
    static constexpr int too_weak = 0xFC0B;
};

INSTANTIATE_TEST_SUITE_P(Links, Rf, testing::Values(Link::tcp, Link::pty), link_name);

// --- Frequencies ---

TEST_P(Rf, regions_are_told_and_their_channels_are_used)
{
    expect_done(ask(SetDwellTime, 0, 1, 0, handle));
    unsigned char band = 0x5A;
    unsigned char highest = 0x5A;
    unsigned char lowest = 0x5A;
    const auto expect_told = [&](int of_band, int of_highest, int of_lowest) {
        expect_done(ask(ExtGetRegion, &band, &highest, &lowest, handle), Echo::always);
        EXPECT_EQ(band, of_band);
        EXPECT_EQ(highest, of_highest);
        EXPECT_EQ(lowest, of_lowest);
    };
    expect_done(ask(SetRegion, 0x42, 0x00, handle), Echo::always);
    expect_told(4, 2, 0);
    EXPECT_EQ(channels(3), (std::set<std::uint32_t>{865100, 865300, 865500}));
    expect_done(ask(ExtSetRegion, 0, 1, 19, 18, handle), Echo::always);
    expect_told(1, 19, 18);
    EXPECT_EQ(channels(2), (std::set<std::uint32_t>{924625, 924875}));
    expect_done(ask(ExtSetRegion, 1, 2, 49, 49, handle), Echo::always);
    EXPECT_EQ(channels(1), (std::set<std::uint32_t>{927250}));
    expect_done(ask(ResetReader, handle), Echo::on_success);
    expect_told(1, 19, 18);

    expect_no_change([&] { return ask(SetRegion, 0xC0, 0xC0, handle); }, Echo::always);
    expect_no_change([&] { return ask(ExtSetRegion, 0, 4, 15, 0, handle); }, Echo::always);
    expect_no_change([&] { return ask(ExtSetRegion, 0, 4, 1, 2, handle); }, Echo::always);
    expect_no_change([&] { return ask(ExtSetRegion, 2, 4, 2, 0, handle); }, Echo::always);
    reader->inject(Fault::set_byte(status_at, 5));
    band = 0x5A;
    EXPECT_EQ(ask(ExtGetRegion, &band, &highest, &lowest, handle), 5);
    expect_address(Echo::always, 5);
    EXPECT_EQ(band, 1) << "with every status";
}

TEST_P(Rf, a_plan_of_ones_own_is_told_in_12_bytes)
{
    unsigned char spacing = 0x5A;
    unsigned char count = 0x5A;
    Bytes start(3, 0x5A);
    const auto told = [&] { return Bytes{spacing, count, start[0], start[1], start[2]}; };
    const Bytes untouched(5, 0x5A);
    EXPECT_EQ(ask(GetCustomRegion, &spacing, &count, start.data(), handle), 255);
    EXPECT_EQ(answered_by, everyone);
    EXPECT_EQ(told(), untouched);
    reader->inject(Fault::set_byte(status_at, 5));
    EXPECT_EQ(ask(GetCustomRegion, &spacing, &count, start.data(), handle), 255) << "whatever the status";
    reader->inject(Fault::error(0x9E, 5));
    EXPECT_EQ(ask(GetCustomRegion, &spacing, &count, start.data(), handle), 5);
    EXPECT_EQ(told(), untouched);

    Bytes first{0x0D, 0x2F, 0x10};  // 864016 kHz
    expect_done(ask(SetDwellTime, 0, 1, 0, handle));
    expect_done(ask(SetCustomRegion, 0, 50, 2, first.data(), handle));
    expect_done(ask(GetCustomRegion, &spacing, &count, start.data(), handle));
    EXPECT_EQ(told(), (Bytes{50, 2, 0x0D, 0x2F, 0x10}));
    EXPECT_EQ(channels(2), (std::set<std::uint32_t>{864016, 864516}));
    expect_no_change([&] { return ask(SetCustomRegion, 0, 50, 0, first.data(), handle); }, Echo::never);

    reader->inject(Fault::set_byte(status_at, 5));
    start.assign(3, 0x5A);
    EXPECT_EQ(ask(GetCustomRegion, &spacing, &count, start.data(), handle), 5);
    EXPECT_EQ(start, first) << "whatever the status";
}

TEST_P(Rf, dwell_times_are_told_with_every_status)
{
    unsigned char time = 0x5A;
    unsigned char repeats = 0x5A;
    for (const unsigned char value : {255, 0, 7}) {
        expect_change(
            [value](S& settings) {
                settings.dwell_time = value;
                settings.dwell_repeats = value;
            },
            [&] { return ask(SetDwellTime, 0, value, value, handle); }, Echo::never);
        expect_done(ask(GetDwellTime, &time, &repeats, handle));
        EXPECT_EQ(time, value);
        EXPECT_EQ(repeats, value);
    }
    expect_no_change([&] { return ask(SetDwellTime, 2, 1, 1, handle); }, Echo::never);
    time = 0x5A;
    reader->inject(Fault::set_byte(status_at, 5));
    EXPECT_EQ(ask(GetDwellTime, &time, &repeats, handle), 5);
    EXPECT_EQ(time, 7);
}

// --- Power ---

TEST_P(Rf, power_decides_whether_a_tag_can_be_written)
{
    EXPECT_EQ(write(), 0);
    expect_done(ask_briefly(SetRfPower, 19, handle), Echo::on_success);
    EXPECT_EQ(reader->settings().power, (Bytes{19, 19, 19, 19}));
    EXPECT_EQ(write(), too_weak);
    Bytes powers{0, 20, 33, 1};
    expect_done(ask(SetRfPowerByAnt, powers.data(), handle), Echo::on_success);
    EXPECT_EQ(reader->settings().power, powers);
    Bytes told(4, 0x5A);
    expect_done(ask(GetRfPowerByAnt, told.data(), handle), Echo::on_success);
    EXPECT_EQ(told, powers);
    EXPECT_EQ(write(), 0);
    expect_done(ask(WriteRfPower, 19, handle), Echo::on_success);
    EXPECT_EQ(write(), too_weak);
    unsigned char writing = 0x5A;
    for (const unsigned char power : {0, 33}) {
        expect_change([power](S& settings) { settings.writing_power = power; },
                      [&] { return ask(WriteRfPower, power, handle); }, Echo::on_success);
        expect_done(ask(ReadRfPower, &writing, handle), Echo::on_success);
        EXPECT_EQ(writing, power);
    }
    EXPECT_EQ(write(), 0);

    Bytes wrong{1, 2, 3, 34};
    expect_no_change([&] { return ask_briefly(SetRfPower, 34, handle); }, Echo::on_success);
    expect_no_change([&] { return ask(SetRfPowerByAnt, wrong.data(), handle); }, Echo::on_success);
    expect_no_change([&] { return ask(SetAntennaPower, wrong.data(), 4, handle); }, Echo::on_success);
    expect_no_change([&] { return ask(WriteRfPower, 34, handle); }, Echo::on_success);
}

TEST_P(Rf, powers_of_64_antennas_come_through)
{
    sim::Scenario scenario = scenario_of(0);
    scenario.reader.antennas = 64;
    scenario.reader.antenna_byte = sim::AntennaByte::number;
    connect(scenario);
    unsigned char first = 0;
    for (const int count : {1, 2, 4, 8, 9, 12, 16, 64}) {
        SCOPED_TRACE(count);
        Bytes expected = reader->settings().power;
        Bytes powers(static_cast<std::size_t>(count));
        for (unsigned char& power : powers) power = static_cast<unsigned char>(first++ % 34);
        std::copy(powers.begin(), powers.end(), expected.begin());
        if (count == 1) expected.assign(64, powers[0]);
        expect_done(ask(SetAntennaPower, powers.data(), count, handle), Echo::on_success);
        EXPECT_EQ(reader->last_request().at(0), 4 + count);
        EXPECT_EQ(reader->settings().power, expected);
        Bytes told(250, 0x5A);
        int length = 0;
        expect_done(ask(GetAntennaPower, told.data(), &length, handle), Echo::on_success);
        EXPECT_EQ(length, 64);
        told.resize(64);
        EXPECT_EQ(told, expected);
    }
    EXPECT_EQ(reader->counters().commands[0x2F], 8U);
    for (const int count : {0, 3, 5, 32, 65, -1}) {
        Bytes powers(65);
        EXPECT_EQ(ask(SetAntennaPower, powers.data(), count, handle), 255);
        EXPECT_EQ(answered_by, everyone);
    }
    EXPECT_EQ(reader->counters().commands[0x2F], 8U) << "nothing was sent";
}

TEST_P(Rf, the_carrier_is_switched)
{
    for (const bool on : {true, false}) {
        expect_done(ask(RfOutput, on, handle), Echo::on_success);
        EXPECT_EQ(reader->panel().carrier, on);
    }
    expect_refused(ask(RfOutput, 2, handle), Echo::on_success);
    EXPECT_FALSE(reader->panel().carrier);
}

// --- Antennas ---

TEST_P(Rf, only_enabled_antennas_read)
{
    const auto expect_antennas = [&](int result, const Ports& ports) {
        expect_done(result);
        EXPECT_EQ(reader->settings().antennas, ports);
        std::set<unsigned> bytes;
        for (const unsigned port : ports) bytes.insert(1U << (port - 1));
        inventory();
        EXPECT_EQ(Seen::antennas, bytes);
    };
    Bytes mask(8);
    const auto told = [&] {
        mask.assign(8, 0xFF);
        expect_done(ask(OptAntenna, 0, 0, mask.data(), handle));
        return mask;
    };
    expect_antennas(ask(SetAntennaMultiplexing, 0x0F, handle), {1, 2, 3, 4});
    expect_antennas(ask(SetAntennaMultiplexing, 0x05, handle), {1, 3});
    EXPECT_EQ(told(), (Bytes{0, 0, 0, 0, 0, 0, 0, 5}));
    expect_antennas(ask(SetAntenna, 0, 0x00, 0x02, handle), {2});
    expect_antennas(ask(SetAntennaA12, 0, 0x00, 0x0C, handle), {3, 4});
    mask = {0, 0, 0, 0, 0, 0, 0, 9};
    expect_antennas(ask(OptAntenna, 1, 0, mask.data(), handle), {1, 4});
    EXPECT_EQ(told(), mask);
    mask = {0, 0, 0, 0, 0, 0, 0, 1};
    expect_antennas(ask(OptAntenna, 255, 1, mask.data(), handle), {1});
    expect_done(ask(ResetReader, handle), Echo::on_success);
    EXPECT_EQ(told(), (Bytes{0, 0, 0, 0, 0, 0, 0, 9}));

    for (const unsigned char none : {0x00, 0x10}) {
        expect_no_change([&] { return ask(SetAntennaMultiplexing, none, handle); }, Echo::never);
        expect_no_change([&] { return ask(SetAntenna, 0, 0, none, handle); }, Echo::never);
        expect_no_change([&] { return ask(SetAntennaA12, 0, 0, none, handle); }, Echo::never);
        mask.assign(8, 0);
        mask[7] = none;
        expect_no_change([&] { return ask(OptAntenna, 1, 0, mask.data(), handle); }, Echo::never);
    }
    expect_no_change([&] { return ask(SetAntenna, 2, 0, 1, handle); }, Echo::never);
}

TEST_P(Rf, the_antenna_configuration_is_read_with_every_status_and_not_by_a_write)
{
    Bytes mask{0, 0, 0, 0, 0, 0, 0, 3};
    expect_done(ask(OptAntenna, 1, 0, mask.data(), handle));
    EXPECT_EQ(mask[7], 3);
    mask.assign(8, 0x5A);
    reader->inject(Fault::error(0x3F, 5));
    EXPECT_EQ(ask(OptAntenna, 0, 0, mask.data(), handle), 5);
    EXPECT_EQ(mask, Bytes(8, 0x5A)) << "the answer has none";
    reader->inject(Fault::set_byte(status_at, 5));
    EXPECT_EQ(ask(OptAntenna, 0, 0, mask.data(), handle), 5);
    EXPECT_EQ(mask, (Bytes{0, 0, 0, 0, 0, 0, 0, 3}));
    expect_done(answered_with(sim::make_answer(own, 0x3F, 0, Bytes(8, 0x77)),
                              [&] { return ask(OptAntenna, 1, 0, mask.data(), handle); }));
    EXPECT_EQ(mask, (Bytes{0, 0, 0, 0, 0, 0, 0, 3}));
}

TEST_P(Rf, return_loss_is_measured_at_antennas_that_are_there)
{
    Bytes frequency{0x00, 0x0D, 0x3A, 0x00};
    unsigned char loss = 0x5A;
    expect_done(ask(MeasureReturnLoss, frequency.data(), 3, &loss, handle), Echo::on_success);
    EXPECT_EQ(loss, 18);
    loss = 0x5A;
    EXPECT_EQ(ask(MeasureReturnLoss, frequency.data(), 4, &loss, handle), 0xF8);
    EXPECT_EQ(answered_by, everyone);
    EXPECT_EQ(loss, 0x5A);
}

TEST_P(Rf, the_reader_information_shows_what_was_set)
{
    expect_done(ask(SetRegion, 0x42, 0x00, handle), Echo::always);
    expect_done(ask_briefly(SetRfPower, 20, handle), Echo::on_success);
    expect_done(ask(SetInventoryScanTime, 5, handle), Echo::always);
    expect_done(ask(SetAntennaMultiplexing, 0x09, handle));
    expect_done(ask(SetBeepNotification, 0, handle));
    expect_done(ask(SetNotificationPulseOutput, 3, handle));
    expect_done(ask(SetCheckAnt, 1, handle), Echo::on_success);
    Bytes out(12, 0x5A);
    expect_done(ask_briefly(GetReaderInformation, &out[0], &out[2], &out[3], &out[4], &out[5], &out[6],
                            &out[7], &out[8], &out[9], &out[10], &out[11], handle),
                Echo::on_success);
    EXPECT_EQ(Bytes(out.begin() + 4, out.end()), (Bytes{0x42, 0x00, 20, 5, 0x09, 0, 3, 1}));
}

}  // namespace
}  // namespace tagwire::test
