// What a host sets on the reader is in force there, is told as it was set, and acts.
#include <algorithm>
#include <array>

#include "e2e/asked_reader.h"
#include "transport/wire.h"

namespace tagwire::test {
namespace {

using sim::Fault;

constexpr unsigned all_allowed = 256;

class Settings : public AskedReader {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = scenario_of(1);
        scenario.reader.family = sim::ReaderFamily::filter;
        scenario.reader.module_version = {3, 7};
        scenario.reader.module_type = 9;
        scenario.reader.description = "gate";
        scenario.reader.temperature = -7;
        scenario.reader.s2_persistence = std::chrono::hours(1);
        connect(scenario);
    }
    int single_tag()
    {
        Bytes epc(248);
        int length = 0;
        int count = 0;
        return SingleTagInventory_G2(address(), epc.data(), &length, &count, handle);
    }
    Bytes time()
    {
        Bytes told(6, 0x5A);
        expect_done(ask(GetTime, told.data(), handle));
        return told;
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Settings, testing::Values(Link::tcp, Link::pty), link_name);

// --- One byte ---

using SetByte = int (*)(unsigned char*, unsigned char, int);
using ExchangeByte = int (*)(unsigned char*, unsigned char*, int);  // also tells it

struct ByteSetting {
    const char* name;
    SetByte set;
    ExchangeByte get;  // null: no command tells it
    std::uint8_t sim::Settings::*field;
    std::uint8_t highest;
    unsigned refused;
    Echo set_echo = Echo::never;
    Echo get_echo = Echo::never;
};

using S = sim::Settings;

const ByteSetting byte_settings[] = {
    {"scan time", SetInventoryScanTime, nullptr, &S::scan_time, 255, all_allowed, Echo::always},
    {"reply delay", SetRevDelay, GetRevDelay, &S::reply_delay, 255, all_allowed},
    {"DAC", SetDAC, GetDAC, &S::dac, 255, all_allowed, Echo::always, Echo::on_success},
    {"EAS", SetEASSensitivity, nullptr, &S::eas_accuracy, 255, all_allowed},
    {"interval", SetInventoryInterval, nullptr, &S::interval, 255, all_allowed},
    {"tag type", SelectTagType, nullptr, &S::tag_protocol, 3, 4},
    {"beep", SetBeepNotification, nullptr, &S::beep, 1, 2},
    {"trigger time", SetTriggerTime, nullptr, &S::trigger_time, 255, all_allowed},
    {"antenna check", SetCheckAnt, nullptr, &S::check_antenna, 1, 2, Echo::on_success},
    {"communication", SetCommType, nullptr, &S::communication, 255, all_allowed, Echo::on_success},
    {"dense reader mode", SetDRM, GetDRM, &S::dense_reader_mode, 1, 2, Echo::on_success, Echo::on_success},
    {"filter time", SetFilterTime, GetFilterTime, &S::filter_time, 255, all_allowed, Echo::on_success,
     Echo::on_success},
    {"temperature", SetTempSelect, nullptr, &S::temperature_choice, 255, all_allowed},
    {"calibration", SetCalibrationPowerType, nullptr, &S::calibration_type, 255, all_allowed},
    {"region type", SetRegionType, nullptr, &S::region_type, 255, all_allowed, Echo::always},
    {"pulse output", SetNotificationPulseOutput, nullptr, &S::pulse_output, 15, 16},
    {"work mode", SetWorkMode, nullptr, &S::work_mode, 2, 3},
    {"read mode", SetReadMode, nullptr, &S::work_mode, 2, 3},
};

TEST_P(Settings, of_one_byte_are_in_force_and_told)
{
    for (const ByteSetting& item : byte_settings) {
        SCOPED_TRACE(item.name);
        for (const std::uint8_t value : {item.highest, std::uint8_t{0}}) {
            expect_change([&](S& settings) { settings.*item.field = value; },
                          [&] { return ask_briefly(item.set, value, handle); }, item.set_echo);
            if (!item.get) continue;
            unsigned char told = 0x5A;
            expect_done(ask(item.get, &told, handle), item.get_echo);
            EXPECT_EQ(told, value);
        }
        if (item.refused == all_allowed) continue;
        const auto value = static_cast<unsigned char>(item.refused);
        expect_no_change([&] { return ask_briefly(item.set, value, handle); }, item.set_echo);
    }
}

struct ExchangedSetting {
    const char* name;
    ExchangeByte exchange;
    std::uint8_t sim::Settings::*field;
    std::uint8_t highest;
    unsigned refused;
    Echo echo = Echo::on_success;
};

const ExchangedSetting exchanged_settings[] = {
    {"tag function", SetTagCustomFunction, &S::tag_function, 127, all_allowed},
    {"power mode", SetPowerMode, &S::power_mode, 3, 4},
    {"heartbeat time", SetHeartBeatTime, &S::heartbeat_time, 127, all_allowed},
    {"retries", RetryTimes, &S::retries, 127, all_allowed},
    {"protocol", SwitchProtocol, &S::protocol, 3, 4},
    {"antenna number", ConfigAntNum, &S::antenna_number, 127, all_allowed, Echo::never},
};

TEST_P(Settings, that_are_set_and_told_by_one_command)
{
    constexpr unsigned set_bit = 0x80;
    for (const ExchangedSetting& item : exchanged_settings) {
        SCOPED_TRACE(item.name);
        for (const std::uint8_t value : {item.highest, std::uint8_t{0}}) {
            auto byte = static_cast<unsigned char>(set_bit | value);
            expect_change([&](S& settings) { settings.*item.field = value; },
                          [&] { return ask(item.exchange, &byte, handle); }, item.echo);
            EXPECT_EQ(byte, value);
            byte = 0;
            expect_done(ask(item.exchange, &byte, handle), item.echo);
            EXPECT_EQ(byte, value);
        }
        if (item.refused == all_allowed) continue;
        auto byte = static_cast<unsigned char>(set_bit | item.refused);
        expect_no_change([&] { return ask(item.exchange, &byte, handle); }, item.echo);
        EXPECT_EQ(byte, set_bit | item.refused);
    }
}

TEST_P(Settings, profiles_have_a_short_and_a_long_form)
{
    unsigned char profile = 0x80 | 0x7F;
    expect_change(
        [](S& settings) {
            settings.profile = {0, 0x7F};
        },
        [&] { return ask(SetProfile, &profile, handle); }, Echo::on_success);
    EXPECT_EQ(profile, 0x7F);
    for (const int value : {0xFFFF, 0x0123, 0}) {
        int number = value;
        expect_change(
            [value](S& settings) {
                settings.profile = {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
            },
            [&] { return ask(SetExtProfile, 1, &number, handle); }, Echo::on_success);
        EXPECT_EQ(number, value);
        number = -1;
        expect_done(ask(SetExtProfile, 0, &number, handle), Echo::on_success);
        EXPECT_EQ(number, value);
        profile = 0;
        expect_done(ask(SetProfile, &profile, handle), Echo::on_success);
        EXPECT_EQ(profile, value & 0xFF);
    }
    int number = 77;
    expect_no_change([&] { return ask(SetExtProfile, 2, &number, handle); }, Echo::on_success);
    EXPECT_EQ(number, 77);
}

// --- Several bytes ---

struct FourBytes {
    const char* name;
    ExchangeByte set;
    ExchangeByte get;
    std::array<std::uint8_t, 4> sim::Settings::*field;
    Echo echo;
};

const FourBytes four_bytes[] = {
    {"serial number", SetSeriaNo, GetSeriaNo, &S::serial, Echo::on_success},
    {"user password", SetUserPwd, GetUserPwd, &S::user_password, Echo::always},
    {"reader password", SetReaderPwd, GetReaderPwd, &S::reader_password, Echo::never},
};

TEST_P(Settings, of_four_bytes_are_in_force_and_told)
{
    for (const FourBytes& item : four_bytes) {
        SCOPED_TRACE(item.name);
        for (const Bytes& value : {Bytes(4, 0xFF), Bytes{1, 2, 3, 4}, Bytes(4, 0)}) {
            Bytes bytes = value;
            expect_change(
                [&](S& settings) { std::copy(value.begin(), value.end(), (settings.*item.field).begin()); },
                [&] { return ask(item.set, bytes.data(), handle); }, item.echo);
            bytes.assign(4, 0x5A);
            expect_done(ask(item.get, bytes.data(), handle), item.echo);
            EXPECT_EQ(bytes, value);
        }
    }
}

TEST_P(Settings, q_and_session_hold_for_inventories_that_name_none)
{
    struct Pair {
        std::uint8_t q;
        std::uint8_t session;
    };
    unsigned char q = 0x5A;
    unsigned char session = 0x5A;
    for (const Pair pair : {Pair{15, 3}, Pair{0, 255}, Pair{0, 0}}) {
        expect_change(
            [&](S& settings) {
                settings.q = pair.q;
                settings.session = pair.session;
            },
            [&] { return ask(SetQS, pair.q, pair.session, handle); }, Echo::on_success);
        expect_done(ask(GetQS, &q, &session, handle), Echo::on_success);
        EXPECT_EQ(q, pair.q);
        EXPECT_EQ(session, pair.session);
    }
    for (const Pair pair : {Pair{16, 0}, Pair{0, 4}, Pair{0, 254}})
        expect_no_change([&] { return ask(SetQS, pair.q, pair.session, handle); }, Echo::on_success);

    EXPECT_EQ(single_tag(), 1);
    EXPECT_EQ(single_tag(), 1);
    expect_done(ask(SetQS, 4, 2, handle), Echo::on_success);
    EXPECT_EQ(single_tag(), 1);
    EXPECT_EQ(single_tag(), 0xFB) << "the tag's flag of session 2 lasts";
    expect_done(ask(SetQS, 4, 255, handle), Echo::on_success);
    EXPECT_EQ(single_tag(), 1);
}

TEST_P(Settings, of_power_calibration_come_through)
{
    Bytes powers(31);
    for (std::size_t i = 0; i < powers.size(); ++i) powers[i] = static_cast<unsigned char>(0xE0 + i);
    unsigned char code = 0x5A;
    expect_change([&](S& settings) { std::copy(powers.begin(), powers.end(), settings.power_table.begin()); },
                  [&] { return ask(SolidifyDACandPowerlist, powers.data(), &code, handle); },
                  Echo::on_success);
    EXPECT_EQ(code, 0);
    code = 0x5A;
    expect_done(ask(CheckPowerParameter, &code, handle), Echo::on_success);
    EXPECT_EQ(code, 0);
}

TEST_P(Settings, the_reader_tells_of_itself)
{
    Bytes faults(9, 0x5A);
    expect_done(ask(GetStartInformation, &faults[0], &faults[1], &faults[2], &faults[3], &faults[4],
                    &faults[5], &faults[6], &faults[7], &faults[8], handle),
                Echo::on_success);
    EXPECT_EQ(faults, Bytes(9, 0));
    Bytes version(2, 0x5A);
    expect_done(ask(GetModuleVersion, version.data(), handle));
    EXPECT_EQ(version, (Bytes{3, 7}));
    unsigned char sign = 0x5A;
    unsigned char degrees = 0x5A;
    expect_done(ask(GetReaderTemperature, &sign, &degrees, handle), Echo::on_success);
    EXPECT_EQ(sign, 0);
    EXPECT_EQ(degrees, 7);
}

TEST_P(Settings, chip_versions_differ_in_what_they_check)
{
    Bytes version(2, 0x5A);
    unsigned char type = 0x5A;
    const auto forget = [&] {
        version.assign(2, 0x5A);
        type = 0x5A;
    };
    const auto was_told = [&] { return version == Bytes{3, 7} && type == 9; };
    expect_done(ask(GetEx10Version, version.data(), &type, handle), Echo::on_success);
    EXPECT_TRUE(was_told());
    forget();
    expect_done(ask(GetEx10InternalVersion, version.data(), &type, handle));
    EXPECT_TRUE(was_told());

    constexpr std::size_t first_data_byte = 4;
    forget();
    reader->inject(Fault::set_byte(first_data_byte, 1));
    EXPECT_EQ(ask(GetEx10InternalVersion, version.data(), &type, handle), 238);
    EXPECT_FALSE(was_told());
    reader->inject(Fault::set_byte(first_data_byte, 1));
    expect_done(ask(GetEx10Version, version.data(), &type, handle), Echo::on_success);
    EXPECT_TRUE(was_told());
}

TEST_P(Settings, the_module_is_described_in_16_bytes_or_not_at_all)
{
    constexpr std::size_t status = 3;
    Bytes text(16, 0x5A);
    const Bytes untouched = text;
    reader->inject(Fault::error(0xE6, 5));
    EXPECT_EQ(ask(GetModuleDescribe, text.data(), handle), 5);
    EXPECT_EQ(text, untouched);
    Bytes gate{'g', 'a', 't', 'e'};
    gate.resize(16);
    reader->inject(Fault::set_byte(status, 5));
    EXPECT_EQ(ask(GetModuleDescribe, text.data(), handle), 5);
    EXPECT_EQ(text, gate) << "whatever the status";
    text = untouched;
    for (const std::size_t size : {16, 18}) {
        expect_done(answered_with(sim::make_answer(own, 0xE6, 0, Bytes(size, 2)),
                                  [&] { return ask(GetModuleDescribe, text.data(), handle); }));
        EXPECT_EQ(text, untouched);
    }
    expect_done(ask(GetModuleDescribe, text.data(), handle));
    EXPECT_EQ(text, gate);
}

// --- Settings that act ---

TEST_P(Settings, a_new_address_is_the_one_to_talk_to)
{
    reader->set_table(3, Bytes(500, 0xC3));
    for (const unsigned char next : {0x42, 0xFE, 0x00}) {
        expect_change([next](S& settings) { settings.address = next; },
                      [&] { return ask(SetAddress, next, handle); }, Echo::always);
        EXPECT_EQ(answered_by, next);
        unsigned char to = next;
        Bytes told(4);
        EXPECT_EQ(GetSeriaNo(&to, told.data(), handle), 0);
        // Comes in several frames, which are taken from this address only.
        Bytes content(65536);
        unsigned char length[2] = {};
        EXPECT_EQ(ask_briefly(ReadParameterTable, 3, content.data(), length, handle), 0);
        EXPECT_EQ(Bytes(content.begin(), content.begin() + 500), Bytes(500, 0xC3));
    }
    expect_no_change([&] { return ask(SetAddress, 0xFF, handle); }, Echo::always);
    unsigned char nobody = own;
    Bytes told(4, 0x5A);
    EXPECT_EQ(GetSeriaNo(&nobody, told.data(), handle), 48);
    EXPECT_EQ(told, Bytes(4, 0x5A));
    EXPECT_TRUE(talks());
}

TEST_P(Settings, the_scan_time_ends_inventories)
{
    sim::Scenario scenario = scenario_of(300);
    scenario.reader.air_time = 1;
    connect(scenario);
    expect_done(ask(SetInventoryScanTime, 1, handle), Echo::always);
    const InventoryResult cut = run_inventory(*connection, 4, 0);
    EXPECT_EQ(cut.status, 2);
    EXPECT_LT(cut.count, 300);
    expect_done(ask(SetInventoryScanTime, 255, handle), Echo::always);
    const InventoryResult whole = run_inventory(*connection, 8, 0);
    EXPECT_EQ(whole.status, 1);
    EXPECT_EQ(whole.count, 300);
}

TEST_P(Settings, the_beeper_beeps_when_it_may)
{
    for (const unsigned char beep : {0, 1}) {
        expect_done(ask(SetBeepNotification, beep, handle));
        const std::uint64_t before = reader->panel().beeps;
        EXPECT_EQ(run_inventory(*connection, 4, 0).count, 1);
        EXPECT_EQ(reader->panel().beeps - before, beep);
    }
}

TEST_P(Settings, the_clock_runs_from_where_it_was_set)
{
    Bytes last_second{99, 12, 31, 23, 59, 59};
    expect_done(ask(SetReal_timeClock, last_second.data(), handle));
    EXPECT_EQ(time(), last_second) << "no later century is shown";
    for (Bytes wrong : {Bytes{23, 2, 29, 0, 0, 0}, Bytes{24, 1, 1, 24, 0, 0}, Bytes{100, 1, 1, 0, 0, 0}})
        expect_refused(ask(SetReal_timeClock, wrong.data(), handle));
    EXPECT_EQ(time(), last_second);

    Bytes leap_day{24, 2, 28, 23, 59, 59};
    expect_done(ask(SetReal_timeClock, leap_day.data(), handle));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (time() == leap_day && std::chrono::steady_clock::now() < limit) {
    }
    const Bytes later = time();
    EXPECT_EQ(Bytes(later.begin(), later.begin() + 4), (Bytes{24, 2, 29, 0}));

    Bytes new_year{0x65, 0x92, 0x00, 0x80};
    expect_done(ask(SetUTCTime, new_year.data(), handle), Echo::always);
    const Bytes shown = time();
    EXPECT_EQ(Bytes(shown.begin(), shown.begin() + 4), (Bytes{24, 1, 1, 0}));
    Bytes before_2000(4, 0);
    expect_refused(ask(SetUTCTime, before_2000.data(), handle), Echo::always);
    EXPECT_EQ(time()[0], 24);
}

TEST_P(Settings, the_self_test_ends_by_one_byte)
{
    expect_done(ask(InSelfTestMode, true, handle), Echo::always);
    EXPECT_TRUE(reader->panel().self_test);
    const std::uint64_t before = reader->counters().bytes_received;
    expect_done(ask(InSelfTestMode, false, handle), Echo::always);
    EXPECT_FALSE(reader->panel().self_test);
    EXPECT_EQ(reader->counters().bytes_received - before, 1U);
    reader->inject(Fault::set_byte(2, 0x27));
    EXPECT_EQ(ask(InSelfTestMode, true, handle), 238);
    EXPECT_EQ(answered_by, everyone);
    EXPECT_TRUE(talks());
}

TEST_P(Settings, stored_ones_outlast_a_restart)
{
    const auto restart = [&] { expect_done(ask(ResetReader, handle), Echo::on_success); };
    expect_done(ask(SetAntenna, 1, 0, 0x02, handle));
    expect_done(ask(SetRevDelay, 9, handle));
    restart();
    EXPECT_EQ(reader->settings().antennas, (std::vector<unsigned>{1, 2, 3, 4}));
    EXPECT_EQ(reader->settings().reply_delay, 9);
    expect_done(ask(SetAntenna, 1, 0, 0x02, handle));
    expect_done(ask(SetFlashRom, handle));
    restart();
    EXPECT_EQ(reader->settings().antennas, std::vector<unsigned>{2});
}

TEST_P(Settings, are_the_factorys_again_when_the_host_says_so)
{
    const S factory = reader->settings();
    expect_done(ask(SetQS, 7, 2, handle), Echo::on_success);
    expect_done(ask(SetAddress, 0x42, handle), Echo::always);
    EXPECT_FALSE(reader->settings() == factory);
    EXPECT_EQ(ask(RestoreFactoryDefaultParameterTable, handle), 0);
    EXPECT_TRUE(reader->settings() == factory);
    EXPECT_TRUE(talks());
    EXPECT_EQ(answered_by, own);

    expect_done(ask(SetQS, 7, 2, handle), Echo::on_success);
    EXPECT_EQ(ask(OverwriteFactoryDefaultParameterTable, handle), 0);
    expect_done(ask(SetQS, 4, 0, handle), Echo::on_success);
    EXPECT_EQ(ask(ClearAllParameters, 0, handle), 0);
    EXPECT_EQ(reader->settings().q, 7);
    EXPECT_EQ(reader->settings().session, 2);
}

// --- The speed of the line ---

TEST_P(Settings, host_and_reader_go_on_at_every_speed)
{
    for (const unsigned char baud : {0, 1, 2, 5, 7, 6}) {
        SCOPED_TRACE(static_cast<int>(baud));
        expect_change([baud](S& settings) { settings.baud = baud; },
                      [&] { return ask(SetBaudRate, baud, handle); }, Echo::never);
        EXPECT_TRUE(talks());
        for (const unsigned char none : {3, 4, 8, 255})
            expect_no_change([&] { return ask(SetBaudRate, none, handle); }, Echo::never);
        EXPECT_TRUE(talks());
    }
    EXPECT_EQ(reader->counters().garbled_bytes, 0U);
}

TEST_P(Settings, the_host_follows_any_answer_of_success)
{
    constexpr std::size_t code = 2;
    constexpr std::size_t status = 3;
    reader->inject(Fault::set_byte(code, 0x99));
    expect_done(ask(SetBaudRate, 5, handle));
    EXPECT_TRUE(talks());
    // Unknown to the reader, 57600 to the host.
    reader->inject(Fault::set_byte(status, 0));
    expect_done(ask(SetBaudRate, 4, handle));
    EXPECT_TRUE(talks());
    EXPECT_EQ(reader->counters().garbled_bytes, 0U);

    expect_done(ask(SetBaudRate, 6, handle));
    reader->inject(Fault::set_byte(status, 0));
    expect_done(ask(SetBaudRate, 3, handle));
    EXPECT_EQ(talks(), GetParam() == Link::tcp) << "a network has no speed";
}

}  // namespace
}  // namespace tagwire::test
