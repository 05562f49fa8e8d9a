// Work modes, numbered parameters, inputs and outputs: what a host sets there, and what it brings.
#include <algorithm>
#include <array>
#include <numeric>

#include "e2e/portal.h"
#include "transport/wire.h"

namespace tagwire::test {
namespace {

using sim::Fault;
using S = sim::Settings;
using Texts = std::set<std::string>;

class Peripherals : public Portal {
  protected:
    // The bytes that the reader pushes in its own time, from now until there are so many reports.
    Bytes push(std::uint64_t reports)
    {
        const sim::Counters before = reader->counters();
        reader->set_report_rate(500);
        EXPECT_TRUE(reader->wait_until(
            [&](const sim::Counters& now) { return now.reports_sent >= before.reports_sent + reports; }));
        reader->set_report_rate(0);
        return pushed_since(before);
    }
    Bytes pushed_since(const sim::Counters& before)
    {
        Bytes all;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < limit) {
            const sim::Counters now = reader->counters();
            if (now.reports_queued == 0 && all.size() == now.bytes_sent - before.bytes_sent) break;
            Bytes some(2048);
            int count = 0;
            const int result = ReadActiveModeData(some.data(), &count, handle);
            EXPECT_TRUE(result == 0 || result == 251) << result;
            if (result == 0) all.insert(all.end(), some.begin(), some.begin() + count);
        }
        return all;
    }
    // The IDs in reports, each of which has antenna byte, length, ID, RSSI and phase.
    static Texts ids_in(const Bytes& bytes)
    {
        Texts ids;
        for (std::size_t at = 0; at < bytes.size(); at += bytes[at] + 1U) {
            if (at + bytes[at] >= bytes.size()) {
                ADD_FAILURE() << "a report is cut";
                break;
            }
            EXPECT_EQ(bytes[at + 2], 0xEE);
            EXPECT_EQ(bytes[at + status_at], 0);
            const auto id = bytes.begin() + static_cast<std::ptrdiff_t>(at + 6);
            ids.insert(text_of({id, id + (bytes[at + 5] & 0x3F)}));
        }
        return ids;
    }
    Texts ids_in_active_mode(std::uint64_t reports = 20)
    {
        expect_done(ask_briefly(SetWorkMode, 1, handle));
        const Texts ids = ids_in(push(reports));
        expect_done(ask_briefly(SetWorkMode, 0, handle));
        return ids;
    }
    unsigned char lines()
    {
        unsigned char told = 0x5A;
        expect_done(ask(GetGPIOStatus, &told, handle));
        return told;
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Peripherals, testing::Values(Link::tcp, Link::pty), link_name);

// --- Work modes ---

struct SystemParameters {
    std::array<unsigned char, 7> head{};  // work mode to mask bank
    std::array<unsigned char, 2> mask_address{};
    unsigned char mask_bits = 0;
    Bytes mask = Bytes(32, 0x5A);
    std::array<unsigned char, 3> tail{0x5A, 0x5A, 0x5A};  // trigger time, TID address and words
};
using Head = std::array<unsigned char, 7>;
using Tail = std::array<unsigned char, 3>;

int get_system_parameters(unsigned char* address, SystemParameters* out, int handle)
{
    auto& head = out->head;
    return GetSystemParameter(address, &head[0], &head[1], &head[2], &head[3], &head[4], &head[5], &head[6],
                              out->mask_address.data(), &out->mask_bits, out->mask.data(), &out->tail[0],
                              &out->tail[1], &out->tail[2], handle);
}

TEST_P(Peripherals, the_system_parameters_hold_all_of_the_active_mode)
{
    Bytes at{0x01, 0x02};
    Bytes bits(32);
    std::iota(bits.begin(), bits.end(), static_cast<unsigned char>(1));
    expect_done(ask(SetEASSensitivity, 5, handle));
    expect_done(ask(SetResponsePamametersofAuto_runningMode, 6, 7, handle));
    expect_done(ask(SetInventoryInterval, 8, handle));
    expect_done(ask(SelectTagType, 3, handle));
    expect_done(ask(SetMask, 3, at.data(), 255, bits.data(), handle));
    expect_done(ask(SetTriggerTime, 9, handle));
    expect_done(ask(SetTIDParameter, 2, 31, handle), Echo::on_success);
    expect_done(ask_briefly(SetReadMode, 2, handle));
    SystemParameters told;
    expect_done(ask(get_system_parameters, &told, handle));
    EXPECT_EQ(told.head, (Head{2, 5, 6, 7, 8, 3, 3}));
    EXPECT_EQ(told.mask_address, (std::array<unsigned char, 2>{1, 2}));
    EXPECT_EQ(told.mask_bits, 255);
    EXPECT_EQ(told.mask, bits);
    EXPECT_EQ(told.tail, (Tail{9, 2, 31}));

    const S settings = reader->settings();
    EXPECT_EQ(settings.report_condition, 6);
    EXPECT_EQ(settings.report_pause, 7);
    EXPECT_TRUE(std::equal(bits.begin(), bits.end(), settings.mask.begin()));
    expect_no_change([&] { return ask(SetMask, 4, at.data(), 8, bits.data(), handle); }, Echo::never);
    for (const auto& [count, len] : {std::pair{9, 10}, std::pair{0, 8}}) {
        expect_done(ask(SetMask, 1, at.data(), static_cast<unsigned char>(count), bits.data(), handle));
        EXPECT_EQ(reader->last_request().at(0), len);
        EXPECT_EQ(reader->settings().mask_bits, count);
    }
    expect_no_change([&] { return ask(SetTIDParameter, 0, 32, handle); }, Echo::on_success);

    const SystemParameters before;
    SystemParameters untouched;
    reader->inject(Fault::set_byte(status_at, 5));
    EXPECT_EQ(ask(get_system_parameters, &untouched, handle), 5);
    EXPECT_EQ(untouched.head, before.head);
    EXPECT_EQ(untouched.mask, before.mask);
    EXPECT_EQ(untouched.tail, before.tail);
}

// An older reader answers with 42 bytes of data.
TEST_P(Peripherals, the_short_system_parameters_have_no_trigger_time_and_no_tid)
{
    Bytes data{1, 2, 3, 4, 5, 1, 2, 0, 32, 8, 0xE2};
    data.resize(42);
    SystemParameters told;
    expect_done(answered_with(sim::make_answer(own, 0x36, 0, data),
                              [&] { return ask(get_system_parameters, &told, handle); }));
    EXPECT_EQ(told.head, (Head{1, 2, 3, 4, 5, 1, 2}));
    EXPECT_EQ(told.mask_bits, 8);
    EXPECT_EQ(told.mask[0], 0xE2);
    EXPECT_EQ(told.tail, (Tail{0, 0x5A, 0x5A}));
}

TEST_P(Peripherals, the_active_mode_pushes_reports_that_the_host_fetches)
{
    EXPECT_EQ(ids_in_active_mode(), (Texts{epc(1), epc(2), epc(3), epc(4)}));
    const std::uint64_t after = reader->counters().reports_sent;
    reader->set_report_rate(500);
    lines();
    reader->set_report_rate(0);
    EXPECT_EQ(reader->counters().reports_sent, after);
}

TEST_P(Peripherals, the_work_mode_and_the_power_are_set_amid_reports)
{
    // One stands right in front of the answer.
    const auto amid_reports = [&](int (*command)(unsigned char*, unsigned char, int), unsigned char value) {
        int result = 48;
        for (int attempt = 0; attempt < 20 && result == 48; ++attempt) {
            reader->inject(Fault::noise(sim::make_answer(own, 0xEE, 0, {1, 1, 2, 0xE2, 0x00, 200})));
            result = ask(command, value, handle);
        }
        return result;
    };
    expect_done(ask_briefly(SetReadMode, 1, handle));
    reader->set_report_rate(100);
    EXPECT_TRUE(reader->wait_until([](const sim::Counters& now) { return now.reports_sent >= 5; }));
    EXPECT_EQ(amid_reports(SetRfPower, 7), 0);
    EXPECT_EQ(reader->settings().power[0], 7);
    EXPECT_EQ(amid_reports(SetReadMode, 3), refused);
    EXPECT_EQ(reader->settings().work_mode, 1);
    EXPECT_EQ(amid_reports(SetWorkMode, 0), 0);
    EXPECT_EQ(reader->settings().work_mode, 0);
}

TEST_P(Peripherals, mask_and_tid_range_hold_in_the_active_mode)
{
    Bytes at{0, 32 + 80};  // the end of the EPC
    Bytes bits{0, 2};
    expect_done(ask(SetMask, 1, at.data(), 16, bits.data(), handle));
    EXPECT_EQ(ids_in_active_mode(), Texts{epc(2)});
    expect_done(ask(SetTIDParameter, 1, 2, handle), Echo::on_success);
    EXPECT_EQ(ids_in_active_mode(), Texts{"11600002"});
    expect_done(ask(SetMask, 1, at.data(), 0, bits.data(), handle));
    EXPECT_EQ(ids_in_active_mode(), (Texts{"11600001", "11600002", "11600003", "11600004"}));
    expect_done(ask(SetTIDParameter, 0, 0, handle), Echo::on_success);
    EXPECT_EQ(ids_in_active_mode().count(epc(4)), 1U);
}

TEST_P(Peripherals, read_parameters_have_four_forms)
{
    Bytes parameters{1, 2, 0, 5, 1};
    Bytes at{0, 32 + 80};
    Bytes bits{0, 0x30};
    Bytes told(250, 0x5A);
    const auto set = [&](unsigned char mask_flag, unsigned char mask_bits, unsigned char tid_flag) {
        return ask(SetReadParameter, parameters.data(), 1, at.data(), mask_bits, bits.data(), mask_flag, 1, 2,
                   tid_flag, handle);
    };
    const auto expect_told = [&](int len, const Bytes& data) {
        EXPECT_EQ(reader->last_request().at(0), len);
        told.assign(250, 0x5A);
        expect_done(ask(GetReadParameter, told.data(), handle));
        EXPECT_EQ(Bytes(told.begin(), told.begin() + static_cast<std::ptrdiff_t>(data.size())), data);
        EXPECT_EQ(told[data.size()], 0x5A);
    };
    expect_done(set(1, 12, 1));
    expect_told(17, {0, 1, 2, 0, 5, 1, 1, 0, 112, 12, 0, 0x30, 1, 2});
    expect_done(set(1, 12, 2));
    expect_told(15, {0, 1, 2, 0, 5, 1, 1, 0, 112, 12, 0, 0x30, 1, 0});
    expect_done(set(0, 12, 1));
    expect_told(11, {0, 1, 2, 0, 5, 1, 1, 0, 112, 0, 1, 2});
    EXPECT_EQ(ids_in_active_mode(4), (Texts{"11600001", "11600002", "11600003", "11600004"}));
    expect_done(set(255, 12, 0));
    expect_told(9, {0, 1, 2, 0, 5, 1, 1, 0, 112, 0, 1, 0});
    const S settings = reader->settings();
    EXPECT_EQ(settings.tag_protocol, 1);
    EXPECT_EQ(settings.interval, 2);
    EXPECT_EQ(settings.q, 5);
    EXPECT_EQ(settings.session, 1);
    parameters[3] = 16;
    expect_no_change([&] { return set(1, 12, 1); }, Echo::never);
}

TEST_P(Peripherals, the_report_filter_holds_back_weak_and_repeated_readings)
{
    sim::Scenario scenario = portal();
    scenario.reader.family = sim::ReaderFamily::filter;
    connect(scenario);
    unsigned char time = 0x5A;
    unsigned char readings = 0x5A;
    unsigned char rssi = 0x5A;
    expect_done(ask(SetFilterParam, 0, 0, 141, handle));
    EXPECT_EQ(ids_in_active_mode(), (Texts{epc(3), epc(4)}));
    for (const unsigned char value : {255, 0}) {
        expect_change(
            [value](S& settings) {
                settings.filter_time = settings.least_readings = settings.least_rssi = value;
            },
            [&] { return ask(SetFilterParam, value, value, value, handle); }, Echo::never);
        expect_done(ask(GetFilterParam, &time, &readings, &rssi, handle));
        EXPECT_EQ(time, value);
        EXPECT_EQ(readings, value);
        EXPECT_EQ(rssi, value);
    }

    expect_done(ask(SetFilterTime, 255, handle), Echo::on_success);
    expect_done(ask_briefly(SetWorkMode, 1, handle));
    const sim::Counters before = reader->counters();
    const std::uint64_t beeps = reader->panel().beeps;
    reader->set_report_rate(500);
    EXPECT_TRUE(reader->wait_for_panel([&](const sim::PanelState& now) { return now.beeps >= beeps + 40; }));
    reader->set_report_rate(0);
    EXPECT_EQ(ids_in(pushed_since(before)), (Texts{epc(1), epc(2), epc(3), epc(4)}));
    EXPECT_EQ(reader->counters().reports_sent - before.reports_sent, 4U) << "each tag once";
}

TEST_P(Peripherals, a_trigger_lets_the_reader_report)
{
    const auto reports = [&] { return reader->counters().reports_sent; };
    const auto expect_more = [&] {
        const std::uint64_t before = reports();
        EXPECT_TRUE(
            reader->wait_until([&](const sim::Counters& now) { return now.reports_sent >= before + 10; }));
    };
    expect_done(ask(SetTriggerTime, 255, handle));
    expect_done(ask_briefly(SetWorkMode, 2, handle));
    const sim::Counters before = reader->counters();
    reader->set_report_rate(500);
    lines();
    lines();
    EXPECT_EQ(reports(), before.reports_sent) << "no input is high";
    const sim::Counters start = reader->counters();
    reader->set_input(2, true);
    expect_more();
    reader->set_input(2, false);
    expect_more();  // for the trigger time
    reader->set_report_rate(0);
    EXPECT_EQ(ids_in(pushed_since(start)), (Texts{epc(1), epc(2), epc(3), epc(4)}));
    expect_done(ask(SetTriggerTime, 0, handle));
    const std::uint64_t quiet = reports();
    reader->set_report_rate(500);
    lines();
    lines();
    EXPECT_EQ(reports(), quiet);
}

TEST_P(Peripherals, numbered_parameters_have_any_length)
{
    Bytes told(250, 0x5A);
    int length = -1;
    const auto get = [&](unsigned char number) {
        told.assign(250, 0x5A);
        length = -1;
        expect_done(ask(GetCfgParameter, number, told.data(), &length, handle));
        return told;
    };
    EXPECT_EQ(get(7), Bytes(250, 0x5A)) << "never set";
    EXPECT_EQ(length, 0);
    for (const int size : {249, 1, 0}) {
        Bytes value(static_cast<std::size_t>(size), 0xC3);
        expect_change([&](S& settings) { settings.numbered[7] = value; },
                      [&] { return ask(SetCfgParameter, 0, 7, value.data(), size, handle); }, Echo::never);
        EXPECT_EQ(reader->last_request().at(0), 6 + size);
        get(7);
        EXPECT_EQ(length, size);
        EXPECT_EQ(Bytes(told.begin(), told.begin() + size), value);
        EXPECT_EQ(told[249], size == 249 ? 0x5A : told[249]);
    }
    Bytes value{1};
    expect_done(ask(SetCfgParameter, 1, 9, value.data(), 1, handle));
    expect_no_change([&] { return ask(SetCfgParameter, 2, 7, value.data(), 1, handle); }, Echo::never);
    expect_done(ask(ResetReader, handle), Echo::on_success);
    get(9);
    EXPECT_EQ(length, 0) << "it was not stored";
}

// --- Inputs, outputs, relays ---

TEST_P(Peripherals, lines_are_switched_and_told)
{
    for (const unsigned char outputs : {0x0F, 0x00, 0x05}) {
        expect_done(ask(SetGPIO, outputs, handle));
        EXPECT_EQ(reader->panel().outputs, outputs);
        EXPECT_EQ(lines(), outputs);
    }
    expect_refused(ask(SetGPIO, 0x10, handle));
    reader->set_input(1, true);
    reader->set_input(4, true);
    EXPECT_EQ(lines(), 0x95);
    reader->set_input(1, false);
    EXPECT_EQ(lines(), 0x85);
}

TEST_P(Peripherals, relays_close_and_open)
{
    const auto closed = [&] { return reader->panel().closed_relays; };
    expect_done(ask(SetRelay, 255, handle));
    EXPECT_EQ(closed(), 0x01);
    expect_done(ask(RelaysControll, 4, 1, 0, handle), Echo::on_success);
    EXPECT_EQ(closed(), 0x09);
    expect_done(ask(SetRelay, 0, handle));
    EXPECT_EQ(closed(), 0x08);
    expect_done(ask(RelaysControll, 4, 0, 0, handle), Echo::on_success);
    EXPECT_EQ(closed(), 0x00);
    for (const unsigned char relay : {0, 5})
        expect_refused(ask(RelaysControll, relay, 1, 0, handle), Echo::on_success);
    expect_refused(ask(RelaysControll, 1, 2, 0, handle), Echo::on_success);

    expect_done(ask(RelaysControll, 1, 1, 1, handle), Echo::on_success);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (closed() != 0 && std::chrono::steady_clock::now() < limit) lines();
    EXPECT_EQ(closed(), 0);
}

TEST_P(Peripherals, beeps_flashes_and_pulses_are_counted)
{
    for (const unsigned char times : {255, 0, 3}) {
        const sim::PanelState before = reader->panel();
        expect_done(ask(BuzzerAndLEDControl, 1, 1, times, handle));
        EXPECT_EQ(reader->panel().beeps - before.beeps, times);
        EXPECT_EQ(reader->panel().flashes - before.flashes, times);
    }
    for (const unsigned char output : {0x0F, 0x00}) {
        expect_done(ask(SetNotificationPulseOutput, output, handle));
        const std::uint64_t before = reader->panel().pulses;
        EXPECT_EQ(run_inventory(*connection, 4, 0).count, 4);
        EXPECT_EQ(reader->panel().pulses - before, output == 0 ? 0U : 4U);
    }
}

TEST_P(Peripherals, wiegand_parameters_come_through)
{
    for (const Bytes& value : {Bytes(5, 255), Bytes{1, 2, 3, 4, 5}, Bytes(5, 0)}) {
        expect_change(
            [&](S& settings) { std::copy(value.begin(), value.end(), settings.wiegand.begin()); },
            [&] { return ask(SetWieGandParam, value[0], value[1], value[2], value[3], value[4], handle); },
            Echo::never);
        Bytes told(5, 0x5A);
        expect_done(ask(GetWieGandParam, &told[0], &told[1], &told[2], &told[3], &told[4], handle));
        EXPECT_EQ(told, value);
    }
}

TEST_P(Peripherals, trigger_actions_are_linked)
{
    Bytes told(6, 0x5A);
    const auto get = [&](unsigned char action) {
        told.assign(6, 0x5A);
        return ask(GetTriggerLinkageParam, action, &told[0], &told[1], &told[2], &told[3], &told[4], &told[5],
                   handle);
    };
    for (const unsigned char action : {0, 15}) {
        expect_change([action](S& settings) { settings.linkage[action] = {1, 2, 3, 4, 5, action}; },
                      [&] { return ask(SetTriggerLinkageParam, action, 1, 2, 3, 4, 5, action, handle); },
                      Echo::never);
        expect_done(get(action));
        EXPECT_EQ(told, (Bytes{1, 2, 3, 4, 5, action}));
    }
    expect_no_change([&] { return ask(SetTriggerLinkageParam, 16, 1, 2, 3, 4, 5, 6, handle); }, Echo::never);
    expect_refused(get(16));

    reader->inject(Fault::set_byte(status_at, 1));
    EXPECT_EQ(get(15), 1);
    EXPECT_EQ(told, (Bytes{1, 2, 3, 4, 5, 15})) << "with every status";
    // Without the function's number it is nobody's answer.
    reader->inject(Fault::error(0xE6, 1));
    EXPECT_EQ(get(15), 238);
    EXPECT_EQ(told, Bytes(6, 0x5A));
    reader->inject(Fault::error(0xE6, 1));
    EXPECT_EQ(ask(SetTriggerLinkageParam, 0, 9, 9, 9, 9, 9, 9, handle), 238);
    EXPECT_EQ(reader->settings().linkage[0][0], 1);
    constexpr std::size_t function_at = 4;
    reader->inject(Fault::set_byte(function_at, 0x81));
    EXPECT_EQ(ask(SetTriggerLinkageParam, 0, 1, 2, 3, 4, 5, 0, handle), 238) << "whatever the status";
    EXPECT_EQ(answered_by, everyone);
}

// --- Families ---

struct Family {
    const char* name;
    sim::ReaderFamily family;
    int position;      // what asking for it gives
    int filter_time;   // the same
    bool relay;        // whether command 0x92 with a byte pulls it
    bool multiplexer;  // whether command 0xB0 with two bytes switches it
};

constexpr int unknown_command = 0xFE;

const Family families[] = {
    {"standard", sim::ReaderFamily::standard, unknown_command, 48, false, false},
    {"filter", sim::ReaderFamily::filter, unknown_command, 0, false, false},
    {"relay", sim::ReaderFamily::relay, unknown_command, 48, true, false},
    {"multiplexer", sim::ReaderFamily::multiplexer, unknown_command, 48, false, true},
    {"mobile", sim::ReaderFamily::mobile, 0, 48, false, false},
};

class Families : public Peripherals {
  protected:
    void SetUp() override {}
    int position()
    {
        Bytes out(64);
        return ask(GetGPSInformation, &out[0], &out[1], &out[2], &out[3], &out[4], &out[8], &out[12],
                   &out[13], &out[14], &out[18], &out[22], &out[24], &out[25], &out[26], &out[27], &out[28],
                   handle);
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Families, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Families, answer_what_is_theirs)
{
    for (const Family& item : families) {
        SCOPED_TRACE(item.name);
        sim::Scenario scenario = portal();
        scenario.reader.family = item.family;
        connect(scenario);
        EXPECT_EQ(position(), item.position);

        unsigned char time = 200;
        EXPECT_EQ(ask(RelayControll, &time, handle), 0);
        EXPECT_EQ(reader->panel().closed_relays, item.relay ? 1 : 0);
        EXPECT_EQ(reader->settings().filter_time, item.relay ? 0 : 200);
        EXPECT_TRUE(!item.relay || time == 200);

        time = 0x5A;
        EXPECT_EQ(ask(GetFilterTime, &time, handle), item.filter_time);
        EXPECT_EQ(time, item.filter_time == 0 ? 200 : 0x5A);

        EXPECT_EQ(ask(MutipleAntennaSwitch, 7, 3, handle), 0);
        const S settings = reader->settings();
        EXPECT_EQ(settings.switch_target, item.multiplexer ? 7 : 0);
        EXPECT_EQ(settings.switch_antenna, item.multiplexer ? 3 : 0);
        EXPECT_EQ(settings.output_parameters[0], item.multiplexer ? 0 : 7);
    }
}

TEST_P(Families, that_have_them_tell_their_output_parameters)
{
    for (const auto family : {sim::ReaderFamily::standard, sim::ReaderFamily::relay}) {
        sim::Scenario scenario = portal();
        scenario.reader.family = family;
        connect(scenario);
        for (const unsigned char value : {255, 0}) {
            expect_change(
                [value](S& settings) {
                    settings.output_parameters = {value, value};
                },
                [&] { return ask(SetGPOParam, value, value, handle); }, Echo::on_success);
            unsigned char enabled = 0x5A;
            unsigned char time = 0x5A;
            expect_done(ask(GetGPOParam, &enabled, &time, handle), Echo::on_success);
            EXPECT_EQ(enabled, value);
            EXPECT_EQ(time, value);
        }
    }
}

}  // namespace
}  // namespace tagwire::test
