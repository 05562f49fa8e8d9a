// What a reader has besides its radio: its program, network, position, tables, and the AT mode.
#include <filesystem>
#include <fstream>
#include <stop_token>
#include <unistd.h>

#include "xx/reader/reader_inside.h"
#include "xx/values/url.h"
#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using sim::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr std::uint8_t begin_command = 0xF8;
constexpr std::uint8_t block_command = 0xF9;
constexpr std::uint8_t checksum_command = 0xFA;
constexpr std::uint8_t mark_command = 0xFB;
constexpr Version next_version{2, 7};

Bytes image_of(std::size_t size)
{
    Bytes image(size);
    std::uint32_t seed = 1;
    for (auto& byte : image) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(seed >> 24U);
    }
    return image;
}

Fault on(std::uint8_t command, Fault fault)
{
    fault.command = command;
    return fault;
}

template <class Value> std::string printed(const Value& value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

class DeviceOf : public VirtualReader {
  protected:
    static sim::Scenario plain_scenario()
    {
        sim::Scenario scenario = make_scenario(0);
        scenario.services.firmware.next_version = {next_version.major, next_version.minor};
        scenario.services.firmware.boot = 0ms;
        return scenario;
    }
    void SetUp() override { connect(plain_scenario()); }

    UpdateReport update(const std::function<void(const Progress&)>& told = {},
                        const std::stop_token& stop = {}, const UpdateOptions& options = {})
    {
        return reader().update_firmware(image_, told, stop, options);
    }
    void expect_updated(const UpdateReport& report)
    {
        EXPECT_TRUE(report.success()) << report.text();
        EXPECT_EQ(report.state, UpdateState::new_program);
        EXPECT_EQ(report.version, next_version);
        EXPECT_EQ(device->firmware().image, image_);
        EXPECT_EQ(device->firmware().marks, 1U);
        EXPECT_EQ(patiently([&] { return reader().info(); }).firmware, next_version);
    }
    void expect_old_program(const UpdateReport& report, UpdateEnd end, UpdateState state)
    {
        EXPECT_STREQ(to_string(report.end), to_string(end)) << report.text();
        EXPECT_STREQ(to_string(report.state), to_string(state));
        EXPECT_FALSE(report.success());
        EXPECT_THAT(report.text(), HasSubstr("old program"));
        EXPECT_EQ(device->firmware().marks, 0U);
    }

    const Bytes image_ = image_of(2048);
};
INSTANTIATE_TEST_SUITE_P(Links, DeviceOf, testing::Values(Link::tcp, Link::pty), link_name);

// -- files and images

TEST(FirmwareImages, AreExamined)
{
    EXPECT_EQ(examine_firmware(image_of(2048)).crc32, sim::crc32(image_of(2048)));
    EXPECT_EQ(examine_firmware(image_of(2048)).size, 2048U);
    EXPECT_THAT(examine_firmware(image_of(2048)).doubts, IsEmpty());
    EXPECT_THAT(examine_firmware({}).doubts, ElementsAre(HasSubstr("empty")));
    EXPECT_THAT(examine_firmware(image_of(1023)).doubts, ElementsAre(HasSubstr("fewer"), HasSubstr("odd")));
    EXPECT_THAT(examine_firmware(Bytes(2048, '<')).doubts,
                ElementsAre(HasSubstr("text"), HasSubstr("alike")));
}

TEST(FirmwareImages, AreLoadedWhole)
{
    const std::string path = testing::TempDir() + "tagwire_image_" + std::to_string(::getpid());
    const Bytes image = image_of(200'000);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
    EXPECT_EQ(load_file(path), image);
    std::filesystem::remove(path);
    EXPECT_EQ(error_of([&] { load_file(path); })->code(), Errc::file);
    EXPECT_EQ(error_of([&] { load_file(testing::TempDir()); })->code(), Errc::file) << "a folder";
}

// -- updates

TEST_P(DeviceOf, AProgramIsReplaced)
{
    sim::Scenario scenario = plain_scenario();
    scenario.services.firmware.boot = 300ms;
    connect(scenario);
    std::vector<std::size_t> bytes;
    std::string last;
    expect_updated(update([&](const Progress& progress) {
        bytes.push_back(progress.bytes);
        EXPECT_EQ(progress.total, image_.size());
        last = printed(progress);
    }));
    EXPECT_TRUE(std::is_sorted(bytes.begin(), bytes.end()));
    EXPECT_EQ(bytes.front(), 0U);
    EXPECT_EQ(last, "100 %, 2048 of 2048 bytes");
    EXPECT_GE(device->counters().commands[block_command], 9U);
}

TEST_P(DeviceOf, WhatMakesNoSenseIsNotSent)
{
    const Bytes doubtful = image_of(1023);
    expect_invalid([&] { reader().update_firmware({}); });
    expect_invalid([&] { reader().update_firmware({}, {}, {}, {.with_doubts = true}); });
    expect_invalid([&] { reader().update_firmware(doubtful); });
    expect_invalid([&] { update({}, {}, {.block = 0}); });
    expect_invalid([&] { update({}, {}, {.block = 251}); });
    expect_invalid([&] { update({}, {}, {.first_number = 256}); });
    expect_invalid([&] { update({}, {}, {.wrap_to = 256}); });
    expect_invalid([&] { update({}, {}, {.retries = 101}); });
    expect_invalid([&] { update({}, {}, {.boot_limit = 0ms}); });
    const UpdateReport report = reader().update_firmware(doubtful, {}, {}, {.with_doubts = true});
    EXPECT_TRUE(report.success()) << report.text();
}

TEST_P(DeviceOf, ABadLineLosesNothingOfIt)
{
    Fault damage = on(block_command, Fault::flip(3));
    damage.skip = 2;
    Fault silence = on(block_command, Fault::silence(1));
    silence.skip = 5;
    device->inject(on(block_command, Fault::lose()));
    device->inject(damage);
    device->inject(silence);
    device->inject(on(checksum_command, Fault::lose()));
    std::vector<bool> arrived;
    const UpdateReport report = update([&](const Progress& progress) {
        if (progress.lost) arrived.push_back(progress.lost->arrived);
    });
    expect_updated(report);
    EXPECT_GE(report.lost_answers, 3U);
    EXPECT_GE(std::count(arrived.begin(), arrived.end(), true), 2);
    EXPECT_GE(std::count(arrived.begin(), arrived.end(), false), 1);
}

TEST_P(DeviceOf, AReaderThatDoesNotSayWhoItIsDuringAnUpdate)
{
    device->inject(on(block_command, Fault::lose()));
    bool is_hidden = false;
    const UpdateReport report = update([&](const Progress& progress) {
        if (!std::exchange(is_hidden, true)) device->inject(on(0x21, Fault::silence()));
        if (progress.bytes == progress.total) device->clear_faults();
    });
    expect_updated(report);
    EXPECT_GE(report.lost_answers, 1U);
}

TEST_P(DeviceOf, AStopMidwayAndTheWayOut)
{
    std::stop_source stop;
    const UpdateReport report = update(
        [&](const Progress& progress) {
            if (progress.bytes >= 500) stop.request_stop();
        },
        stop.get_token());
    expect_old_program(report, UpdateEnd::stopped, UpdateState::update_mode);
    EXPECT_EQ(report.blocks_done, 2U);
    EXPECT_THAT(report.text(), HasSubstr("update mode until"));
    EXPECT_TRUE(device->firmware().updating);
    EXPECT_TRUE(patiently([&] { return reader().is_in_update_mode(); }));
    patiently([&] { reader().leave_update_mode(); });
    EXPECT_FALSE(device->firmware().updating);
    EXPECT_FALSE(patiently([&] { return reader().is_in_update_mode(); }));
    const std::uint64_t restarts = device->counters().commands[0x99];
    patiently([&] { reader().leave_update_mode(); });
    EXPECT_EQ(device->counters().commands[0x99], restarts) << "it is not in it";
    expect_updated(update());
}

TEST_P(DeviceOf, AnAbortEndsAnUpdateToo)
{
    const UpdateReport report = update([&](const Progress& progress) {
        if (progress.bytes > 0) reader().abort();
    });
    EXPECT_EQ(report.end, UpdateEnd::stopped) << report.text();
    EXPECT_EQ(device->firmware().marks, 0U);
    expect_updated(update());
}

TEST_P(DeviceOf, ARestartWhoseAnswerIsLostIsLookedAt)
{
    std::stop_source stop;
    update([&](const Progress&) { stop.request_stop(); }, stop.get_token());
    ASSERT_TRUE(device->firmware().updating);
    device->inject(on(0x99, Fault::lose()));
    patiently([&] { reader().leave_update_mode(); });
    EXPECT_FALSE(device->firmware().updating);
}

TEST_P(DeviceOf, ARestartMayCloseTheLink)
{
    device->inject(on(mark_command, Fault::hang_up(6)));  // behind the whole answer
    expect_updated(update());
}

TEST_P(DeviceOf, ALinkThatIsLostMidwayIsOpenedAgain)
{
    const UpdateReport report = update([&](const Progress& progress) {
        if (progress.bytes == 1000 && !progress.lost) device->hang_up();
    });
    expect_updated(report);
    EXPECT_GE(device->counters().connections, 2U);
}

TEST_P(DeviceOf, ALinkThatIsLostBeforeIsOpenedAgain)
{
    device->hang_up();
    ASSERT_TRUE(GetParam() == Link::pty || device->wait_for_disconnect());
    expect_updated(update());
}

TEST_P(DeviceOf, AReaderThatCannotBeOpenedAgainIsLost)
{
    if (GetParam() == Link::pty) return;  // another may be given the name of its device
    auto others = std::make_unique<sim::Simulator>();
    const std::string place = url_of(others->add_reader(plain_scenario()));
    const auto inside = patiently([&] { return open_reader(parse_url(place)); });
    others.reset();
    EXPECT_EQ(error_of([&] { inside->reopen(); })->code(), Errc::cannot_open);
    EXPECT_EQ(error_of([&] { inside->ask_at(1); })->code(), Errc::lost);
}

TEST_P(DeviceOf, AMarkWhoseAnswerIsLostIsLookedFor)
{
    device->inject(on(mark_command, Fault::lose()));
    const UpdateReport report = update();
    expect_updated(report);
    EXPECT_EQ(device->counters().commands[mark_command], 1U);
}

TEST_P(DeviceOf, AMarkThatDidNotArriveIsSentAgain)
{
    device->inject(on(mark_command, Fault::silence(1)));
    expect_updated(update());
    EXPECT_GE(device->counters().commands[mark_command], 2U);
}

TEST_P(DeviceOf, AMarkThatIsRefusedBehindALostOneMayBeThere)
{
    device->inject(Fault::error(mark_command, 0xF6, 0));
    device->inject(on(mark_command, Fault::lose()));
    const UpdateReport report = update();
    EXPECT_EQ(report.end, UpdateEnd::mark_unanswered) << report.text();
    EXPECT_EQ(report.state, UpdateState::unknown);
    EXPECT_EQ(report.result, 0xF6);
    EXPECT_EQ(device->counters().commands[mark_command], 2U);
}

// It answers to the mark, tells another version from the comparison on, and stays in its update mode.
TEST_P(DeviceOf, AnotherVersionInTheUpdateModeIsNotTheNewProgram)
{
    device->inject(Fault::error(mark_command, 0));
    bool is_told = false;
    const auto tell_another_version = [&](const Progress& progress) {
        if (progress.bytes != progress.total || std::exchange(is_told, true)) return;
        Fault other = on(0x21, Fault::set_byte(4, 9));
        other.count = 0;
        device->inject(other);
    };
    const UpdateReport report = update(tell_another_version, {}, {.boot_limit = 1s});
    EXPECT_EQ(report.end, UpdateEnd::not_back) << report.text();
    EXPECT_EQ(report.state, UpdateState::marked);
    EXPECT_EQ(device->firmware().marks, 0U);
}

TEST_P(DeviceOf, ANewProgramThatIsSilentWhenAskedForAChecksumIsSeen)
{
    device->inject(on(mark_command, Fault::delay(300ms)));
    std::jthread hiding([&] {
        if (device->wait_for_command(mark_command)) device->inject(on(checksum_command, Fault::silence()));
    });
    const UpdateReport report = update({}, {}, {.boot_limit = 60s});
    hiding.join();
    device->clear_faults();
    expect_updated(report);
}

TEST_P(DeviceOf, ALossOfPower)
{
    device->inject(Fault::power_loss(block_command, 2));
    expect_old_program(update(), UpdateEnd::left_update_mode, UpdateState::old_program);
    expect_updated(update());
}

TEST_P(DeviceOf, OtherBytesThanThoseThatWereSent)
{
    Fault other = on(checksum_command, Fault::set_byte(4, 0));
    other.count = 0;
    device->inject(other);
    const UpdateReport report = update();
    expect_old_program(report, UpdateEnd::checksum_differs, UpdateState::update_mode);
    EXPECT_TRUE(report.found_checksum);
    EXPECT_EQ(device->counters().commands[mark_command], 0U);
}

TEST_P(DeviceOf, RefusalsAndSilence)
{
    device->inject(Fault::error(0xF8, 0xFF, 0));
    expect_old_program(update(), UpdateEnd::refused, UpdateState::old_program);
    device->clear_faults();
    device->inject(Fault::error(block_command, 0xF6, 0));
    expect_old_program(update(), UpdateEnd::block_refused, UpdateState::update_mode);
    device->clear_faults();
    device->inject(Fault::error(mark_command, 0xF6, 0));
    expect_old_program(update(), UpdateEnd::mark_refused, UpdateState::update_mode);
    const UpdateReport silent = update(
        [&](const Progress& progress) {
            if (progress.bytes > 0) device->inject(Fault::silence());
        },
        {}, {.retries = 0});
    expect_old_program(silent, UpdateEnd::link_lost, UpdateState::old_program_or_update_mode);
    device->clear_faults();
}

TEST_P(DeviceOf, ARefusedUpdateModeMayBeOnAllTheSame)
{
    const auto refuse_again = [&] {
        Fault refusal = Fault::error(begin_command, 0xFF, 0);
        refusal.skip = 1;
        device->inject(refusal);
        device->inject(on(begin_command, Fault::lose()));
    };
    refuse_again();
    expect_old_program(update(), UpdateEnd::refused, UpdateState::update_mode);
    EXPECT_TRUE(device->firmware().updating);
    connect(plain_scenario());
    refuse_again();
    device->inject(Fault::error(checksum_command, 0xFE, 0));
    expect_old_program(update(), UpdateEnd::refused, UpdateState::old_program_or_update_mode);
}

TEST_P(DeviceOf, AShortChecksumIsNone)
{
    expect_updated(with_answer(checksum_command, {1, 2, 3}, [&] { return update({}, {}, {.retries = 0}); }));
    EXPECT_GE(device->counters().commands[checksum_command], 3U) << "twice to compare, once behind the mark";
}

TEST_P(DeviceOf, ALinkThatIsLostBeforeAnythingBeganLeavesTheReaderAsItWas)
{
    device->inject(Fault::silence());
    const UpdateReport report = update({}, {}, {.retries = 0});
    EXPECT_EQ(report.end, UpdateEnd::link_lost) << report.text();
    EXPECT_EQ(report.state, UpdateState::untouched);
    EXPECT_THAT(report.text(), HasSubstr("the reader is as it was"));
    EXPECT_EQ(device->counters().commands[begin_command], 0U);
}

// As readers do that answer under a command of their own.
TEST_P(DeviceOf, ACommandThatIsNotKnownIsRefused)
{
    device->inject(Fault::error(begin_command, 0xFE, 0));
    Fault echo = on(begin_command, Fault::set_byte(2, 0xEE));
    echo.count = 0;
    device->inject(echo);
    const UpdateReport report = update({}, {}, {.retries = 0});
    expect_old_program(report, UpdateEnd::refused, UpdateState::old_program);
    EXPECT_THAT(report.text(), HasSubstr("does not know the command"));
}

TEST_P(DeviceOf, WhetherItIsInItsUpdateModeMayNotBeKnown)
{
    EXPECT_FALSE(patiently([&] { return reader().is_in_update_mode(); }));
    expect_short_answer_refused(checksum_command, {1, 2}, [&] { reader().is_in_update_mode(); });
    device->inject(on(checksum_command, Fault::set_byte(2, 0x21)));
    EXPECT_EQ(error_of([&] { reader().is_in_update_mode(); })->code(), Errc::bad_answer);
}

TEST_P(DeviceOf, AProgramOfTheSameVersionIsToldApart)
{
    sim::Scenario scenario = plain_scenario();
    scenario.services.firmware.next_version = {1, 0};
    connect(scenario);
    const UpdateReport report = update();
    EXPECT_EQ(report.end, UpdateEnd::restarted) << report.text();
    EXPECT_EQ(report.old_version, (Version{1, 0}));
    EXPECT_EQ(report.version, (Version{1, 0}));
    EXPECT_TRUE(report.compared);
    EXPECT_TRUE(report.success());
    EXPECT_THAT(report.text(), HasSubstr("its version is still 1.0"));
    EXPECT_TRUE(report.success());
    EXPECT_THAT(report.text(),
                HasSubstr("the reader runs its new program; if its version should be another"));
}

TEST_P(DeviceOf, AReaderWithoutAChecksumIsUpdatedWhereThatIsWanted)
{
    device->inject(Fault::error(checksum_command, 0xFE, 0));
    expect_old_program(update(), UpdateEnd::no_checksum, UpdateState::old_program_or_update_mode);
    EXPECT_EQ(device->counters().commands[mark_command], 0U);
    patiently([&] { reader().leave_update_mode(); });
    EXPECT_FALSE(device->firmware().updating);

    constexpr UpdateOptions unproved{.without_checksum = true};
    device->inject(on(block_command, Fault::lose()));
    expect_old_program(update({}, {}, unproved), UpdateEnd::block_lost,
                       UpdateState::old_program_or_update_mode);
    const UpdateReport report = update({}, {}, unproved);
    EXPECT_FALSE(report.compared);
    expect_updated(report);

    sim::Scenario same = plain_scenario();
    same.services.firmware.next_version = {1, 0};
    connect(same);
    device->inject(Fault::error(checksum_command, 0xFE, 0));
    const UpdateReport unknown = update({}, {}, unproved);
    EXPECT_EQ(unknown.end, UpdateEnd::restarted) << unknown.text();
    EXPECT_EQ(unknown.state, UpdateState::marked);
    EXPECT_FALSE(unknown.success()) << "nothing shows it";
    EXPECT_THAT(unknown.text(), HasSubstr("could not be compared"));
}

TEST_P(DeviceOf, AReaderThatHidesInItsUpdateModeIsReachedAnew)
{
    const auto attach = [&] {
        opened.reset();
        return patiently([&] { return std::make_unique<Reader>(Reader::in_update_mode(url)); });
    };
    const auto fail = [&](const std::string& at) {
        return error_of([&] { patiently([&] { Reader::in_update_mode(at); }); })->code();
    };
    EXPECT_EQ(fail("serial:auto"), Errc::invalid_text);
    std::stop_source stop;
    update([&](const Progress&) { stop.request_stop(); }, stop.get_token());
    const auto hide = [&] { device->inject(on(0x21, Fault::silence(0))); };
    hide();
    opened = attach();
    const UpdateReport report = update([&](const Progress& progress) {
        if (progress.bytes == 1000 && !progress.lost) device->hang_up();
        if (progress.bytes == progress.total) device->clear_faults();
    });
    EXPECT_EQ(report.end, UpdateEnd::restarted) << report.text();
    EXPECT_TRUE(report.success());
    EXPECT_FALSE(report.old_version);
    EXPECT_EQ(report.version, next_version);
    EXPECT_EQ(device->firmware().image, image_);

    opened.reset();
    EXPECT_EQ(fail(url), Errc::refused);
    hide();
    device->inject(Fault::error(checksum_command, 0xFE, 0));
    opened = attach();
    stop = std::stop_source();
    const UpdateReport begun =
        update([&](const Progress&) { stop.request_stop(); }, stop.get_token(), {.without_checksum = true});
    EXPECT_EQ(begun.end, UpdateEnd::stopped) << begun.text();
    device->clear_faults();
    opened.reset();
    open();
    stop = std::stop_source();
    update([&](const Progress&) { stop.request_stop(); }, stop.get_token());
    hide();
    opened = attach();
    EXPECT_EQ(error_of([&] { reader().info(); })->code(), Errc::no_answer);
    EXPECT_TRUE(patiently([&] { return reader().is_in_update_mode(); }));
    device->inject(on(checksum_command, Fault::lose()));
    EXPECT_EQ(error_of([&] { reader().leave_update_mode(); })->code(), Errc::no_answer);
    const std::uint64_t before = device->counters().commands[0x99];
    std::jthread showing([&] {
        if (device->wait_for_command(0x99, before + 1)) device->clear_faults();
    });
    patiently([&] { reader().leave_update_mode(); });
    EXPECT_FALSE(device->firmware().updating);
    EXPECT_EQ(patiently([&] { return reader().info(); }).address, 0x0A);
}

TEST_P(DeviceOf, BlocksAreNumberedAsTheReaderWants)
{
    const UpdateReport report = update({}, {}, {.block = 7, .first_number = 0, .wrap_to = 0});
    expect_updated(report);
    EXPECT_EQ(report.blocks, 293U);
    const auto expect_refused = [&](const UpdateOptions& options, std::size_t behind) {
        connect(plain_scenario());
        const UpdateReport refused = update({}, {}, options);
        expect_old_program(refused, UpdateEnd::block_refused, UpdateState::update_mode);
        EXPECT_EQ(refused.blocks_done, behind);
    };
    expect_refused({.first_number = 1}, 0);
    expect_refused({.block = 7, .wrap_to = 1}, 256);
}

TEST_P(DeviceOf, TheOrderOfTheBytesOfTheChecksumIsKept)
{
    const UpdateReport report = update({}, {}, {.low_byte_first = true});
    expect_old_program(report, UpdateEnd::checksum_differs, UpdateState::update_mode);
    EXPECT_EQ(report.found_checksum, __builtin_bswap32(sim::crc32(image_)));
}

TEST_P(DeviceOf, AMarkThatNeverArrivesIsGivenUp)
{
    device->inject(on(mark_command, Fault::silence(2)));
    expect_old_program(update({}, {}, {.retries = 1}), UpdateEnd::mark_lost, UpdateState::update_mode);
    EXPECT_EQ(device->counters().commands[mark_command], 2U);
}

TEST_P(DeviceOf, AStopWhileAnAnswerIsLost)
{
    std::stop_source stop;
    device->inject(on(block_command, Fault::lose()));
    const UpdateReport report = update(
        [&](const Progress& progress) {
            if (progress.lost) stop.request_stop();
        },
        stop.get_token());
    expect_old_program(report, UpdateEnd::stopped, UpdateState::update_mode);
    EXPECT_EQ(report.lost_answers, 1U);
}

// -- network

TEST(NetworkValues, AreReadAndPrinted)
{
    EXPECT_EQ(printed(MacAddress("02-00-00-12-34-ab")), "02:00:00:12:34:AB");
    EXPECT_EQ(MacAddress("0200001234AB"), MacAddress("02:00:00:12:34:AB"));
    for (const char* text : {"", "02:00:00:12:34", "02:00-00:12:34:AB", "03:00:00:12:34:AB",
                             "00:00:00:00:00:00", "0x2:00:00:12:34:A", "02:00:00:12:34:AG", "02 0000 12 34"})
        EXPECT_EQ(error_of([&] { MacAddress mac(text); })->code(), Errc::invalid_text) << text;
    EXPECT_EQ(RemoteServer::parse("collect.example.com:9000"), (RemoteServer{"collect.example.com", 9000}));
    for (const char* text :
         {"", "host", ":1", "host:", "host:0", "host:65536", "host:99999999999", "ho st:1", "host:1x"})
        EXPECT_EQ(error_of([&] { RemoteServer::parse(text); })->code(), Errc::invalid_text) << text;
    EXPECT_EQ(error_of([&] { RemoteServer::parse(std::string(249, 'h') + ":1"); })->code(),
              Errc::invalid_text);
    EXPECT_EQ(printed(Ipv4Address{{192, 0, 2, 10}}), "192.0.2.10");
    EXPECT_EQ(printed(PositionAngle{'N', 52, 3, 456}), "N 52 03.00456");
    EXPECT_EQ(printed(PositionAngle{1, 52, 30, 0}), "0x01 52 30.00000");
}

TEST_P(DeviceOf, AddressesAndLinksOfInterfaces)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.services.network.links[1] = {true, {192, 0, 2, 10}, {255, 255, 255, 0}, {192, 0, 2, 1}};
    connect(scenario);
    Network network = reader().network();
    EXPECT_EQ(patiently([&] { return network.mac(Interface::ble); }), MacAddress("020000000004"));
    patiently([&] { network.set_mac(MacAddress("02:00:00:12:34:56")); });
    const auto all = patiently([&] { return network.interfaces(); });
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[0].mac, MacAddress("02:00:00:12:34:56"));
    EXPECT_EQ(all[0].link->state, 0);
    EXPECT_EQ(all[1].link->state, 1);
    EXPECT_EQ(all[1].link->address, (Ipv4Address{{192, 0, 2, 10}}));
    EXPECT_EQ(all[1].link->mask, (Ipv4Address{{255, 255, 255, 0}}));
    EXPECT_EQ(all[1].link->gateway, (Ipv4Address{{192, 0, 2, 1}}));
    EXPECT_FALSE(all[2].link);
    EXPECT_EQ(all[2].link_problem, "");
    expect_invalid([&] { network.link(Interface::bluetooth); });
    expect_invalid([&] { network.set_mac(MacAddress()); });
}

TEST_P(DeviceOf, AnInterfaceThatIsNotThereIsAProblemOfItsOwn)
{
    device->inject(Fault::error(0xF2, 0xFE, 2));
    const auto some = patiently([&] { return reader().network().interfaces(); });
    EXPECT_FALSE(some[0].mac);
    EXPECT_NE(some[0].mac_problem, "");
    EXPECT_TRUE(some[0].link);
    EXPECT_TRUE(some[2].mac);
    device->inject(Fault::error(0xF2, 0xFE, 0));
    device->inject(Fault::error(0xE6, 0xFF, 0));
    EXPECT_EQ(error_of([&] { patiently([&] { reader().network().interfaces(); }); })->code(),
              Errc::no_such_feature);
}

TEST_P(DeviceOf, SilenceIsNoInterfaceThatIsNotThere)
{
    Fault lose = Fault::lose();
    lose.command = 0xF2;
    lose.skip = 1;
    device->inject(lose);
    EXPECT_EQ(error_of([&] { reader().network().interfaces(); })->code(), Errc::no_answer);
    device->inject(Fault::silence(0));
    EXPECT_EQ(error_of([&] { reader().network().interfaces(); })->code(), Errc::no_answer);
}

TEST_P(DeviceOf, WhoseAnswerIsLostMayHaveBeenChangedUnlessItWasAQuestion)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.family = sim::ReaderFamily::mobile;
    connect(scenario);
    const auto outcome_without_answer = [this](std::uint8_t command, auto act) {
        Fault lose = Fault::lose();
        lose.command = command;
        device->inject(lose);
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), Errc::no_answer) << error->what();
        return error->outcome();
    };
    Network network = reader().network();
    EXPECT_EQ(outcome_without_answer(0xF1, [&] { network.set_mac(MacAddress("02:00:00:12:34:56")); }),
              Outcome::unknown);
    EXPECT_EQ(patiently([&] { return network.mac(Interface::ethernet); }), MacAddress("02:00:00:12:34:56"));
    const RemoteServer server{"collect.example.com", 9000};
    EXPECT_EQ(outcome_without_answer(0xB2, [&] { network.set_server(server); }), Outcome::unknown);
    EXPECT_EQ(patiently([&] { return network.server(); }), server);
    EXPECT_EQ(outcome_without_answer(0xB0, [&] { reader().position(); }), Outcome::nothing);
}

TEST_P(DeviceOf, AccessPoints)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.services.network.access_points = {{{2, 0, 0, 0, 0, 9}, -80, 6, 2, "dock"},
                                               {{2, 0, 0, 0, 0, 8}, -41, 11, 3, "hall \x01"}};
    connect(scenario);
    const WifiScan scan = patiently([&] { return reader().network().scan_wifi(); });
    EXPECT_EQ(scan.count, 2U);
    EXPECT_FALSE(scan.unknown);
    ASSERT_EQ(scan.access_points.size(), 2U);
    EXPECT_EQ(scan.access_points[0].ssid, "hall \x01");
    EXPECT_EQ(scan.access_points[0].rssi, -41);
    EXPECT_EQ(scan.access_points[1].bssid, MacAddress("020000000009"));
    EXPECT_EQ(scan.access_points[1].channel, 6);
    EXPECT_EQ(scan.access_points[1].security, 2);
    connect(make_scenario(0));
    EXPECT_EQ(patiently([&] { return reader().network().scan_wifi(); }).count, 0U);
}

TEST_P(DeviceOf, AModemAndItsServer)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.family = sim::ReaderFamily::mobile;
    scenario.services.modem.state = 3;
    scenario.services.modem.rssi = 21;
    scenario.services.modem.imei = "490154203237518";
    scenario.services.modem.iccid = "8901260000000000000";
    connect(scenario);
    Network network = reader().network();
    const Modem modem = patiently([&] { return network.modem(); });
    EXPECT_EQ(modem.state, 3);
    EXPECT_EQ(modem.rssi, 21);
    EXPECT_EQ(modem.imei, "490154203237518");
    EXPECT_EQ(modem.imsi, "");
    EXPECT_EQ(modem.iccid, "8901260000000000000");
    EXPECT_EQ(patiently([&] { return network.server(); }), RemoteServer());
    patiently([&] { network.set_server({"collect.example.com", 9000}); });
    EXPECT_EQ(patiently([&] { return network.server(); }), (RemoteServer{"collect.example.com", 9000}));
    expect_invalid([&] { network.set_server({"", 9000}); });
    expect_invalid([&] { network.set_server({"host", 0}); });
    expect_invalid([&] { network.set_server({"ho st", 1}); });
    expect_invalid([&] { network.set_server({std::string(249, 'h'), 1}); });
}

TEST_P(DeviceOf, ShortAnswersAreNotShown)
{
    Network network = reader().network();
    expect_short_answer_refused(0xF2, sim::Bytes(5), [&] { network.mac(Interface::wifi); });
    expect_short_answer_refused(0xE6, sim::Bytes(13), [&] { network.link(Interface::wifi); });
    expect_short_answer_refused(0xB1, {1, 2, 0, 0}, [&] { network.modem(); });
    expect_short_answer_refused(0xB1, {1, 2, 3, '1', '2', 0, 0}, [&] { network.modem(); });
    expect_short_answer_refused(0xB1, {1, 2, 1, 7, 0, 0}, [&] { network.modem(); });
    expect_short_answer_refused(0xB3, {2, 'a', 0, 1}, [&] { network.server(); });
    expect_short_answer_refused(0xB0, sim::Bytes(21), [&] { reader().position(); });
}

// -- position

TEST_P(DeviceOf, APositionWithAndWithoutAFix)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.family = sim::ReaderFamily::mobile;
    sim::GpsSettings gps;
    gps.latitude = -33.5;
    gps.longitude = 151.25;
    gps.time = 1'900'000'000;
    scenario.services.gps = gps;
    connect(scenario);
    const Position position = patiently([&] { return reader().position(); });
    EXPECT_TRUE(position.has_fix());
    EXPECT_EQ(position.satellites, 8);
    EXPECT_NEAR(position.latitude.value(), -33.5, 1e-6);
    EXPECT_NEAR(position.longitude.value(), 151.25, 1e-6);
    EXPECT_GE(position.time.value().time_since_epoch(), 1'900'000'000s);

    sim::Bytes told{5, 1, 0x31, 52, 30, 0, 0, 0, 1, 'E', 13, 24, 0, 0, 0, 2, 31, 5, 1, 12, 59, 60};
    const auto from = [&] { return with_answer(0xB0, told, [&] { return reader().position(); }); };
    const Position unknown_side = from();
    EXPECT_TRUE(unknown_side.has_fix());
    EXPECT_FALSE(unknown_side.latitude);
    EXPECT_EQ(printed(unknown_side.latitude_as_told), "0x31 52 30.00001");
    EXPECT_NEAR(unknown_side.longitude.value(), 13.4, 1e-6);
    EXPECT_TRUE(unknown_side.time);
    told[1] = 0;
    const Position no_fix = from();
    EXPECT_FALSE(no_fix.has_fix());
    EXPECT_FALSE(no_fix.latitude || no_fix.longitude || no_fix.time);
    told[1] = 7;
    told[2] = 'S';
    told[3] = 91;
    told[17] = 13;
    const Position odd = from();
    EXPECT_EQ(odd.state, 7);
    EXPECT_FALSE(odd.latitude || odd.time);
    EXPECT_THAT(odd.time_as_told, ElementsAre(31, 13, 1, 12, 59, 60));
}

// -- tables

TEST_P(DeviceOf, TablesAreReadAndWrittenWhole)
{
    Tables tables = reader().tables();
    const Bytes table = image_of(700);
    patiently([&] { tables.write(3, table); });
    EXPECT_EQ(device->table(3), table);
    EXPECT_EQ(patiently([&] { return tables.read(3); }), table);
    patiently([&] { tables.save_as_factory(); });
    patiently([&] { tables.write(3, {}); });
    EXPECT_THAT(patiently([&] { return tables.read(3); }), IsEmpty());
    patiently([&] { tables.restore_factory(); });
    EXPECT_EQ(device->table(3), table);
    patiently([&] { tables.clear(); });
    EXPECT_THAT(device->table(3), IsEmpty());
    expect_invalid([&] { tables.read(256); });
    expect_invalid([&] { tables.write(256, {}); });
    expect_invalid([&] { tables.write(0, Bytes(65536)); });
    expect_invalid([&] { tables.clear(0); });
    expect_invalid([&] { tables.clear(256); });
}

TEST_P(DeviceOf, ATableThatTheReaderDidNotTakeIsToldOf)
{
    device->set_table(3, {1, 2});
    device->inject(
        Fault::power_loss(0xE6));  // behind the first frame: the others are refused, and that does not show
    const auto error = error_of([&] { reader().tables().write(3, image_of(700)); });
    EXPECT_EQ(error->code(), Errc::differs) << error->what();
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_EQ(device->table(3), (sim::Bytes{1, 2}));
    device->inject(on(0xE6, Fault::lose()));
    EXPECT_EQ(error_of([&] { reader().tables().write(3, image_of(700)); })->outcome(), Outcome::unknown);
}

// -- AT mode

TEST_P(DeviceOf, AtCommands)
{
    if (GetParam() == Link::tcp) {
        expect_invalid([&] { reader().at_mode(); });
        return;
    }
    sim::Scenario scenario = make_scenario(0);
    scenario.services.modem.answers = {{"AT+CSQ", "+CSQ: 21,0\nOK\n"},
                                       {"AT+LONG", std::string(600, 'x') + "\nOK\n"}};
    connect(scenario);
    {
        AtMode at = patiently([&] { return reader().at_mode(); });
        EXPECT_TRUE(device->modem().passes);
        EXPECT_THAT(at.ask("AT+CSQ"), ElementsAre("+CSQ: 21,0", "OK"));
        EXPECT_THAT(at.ask("AT+LONG"), ElementsAre(std::string(600, 'x'), "OK"));
        EXPECT_THAT(at.ask(""), IsEmpty());
        expect_invalid([&] { at.send("AT\rATZ"); }, Errc::invalid_text);
        at.leave();
        EXPECT_FALSE(device->modem().passes);
        EXPECT_THROW(at.send("AT"), std::logic_error);
    }
    {
        AtMode at = patiently([&] { return reader().at_mode(); });
        const AtMode moved = std::move(at);
        EXPECT_TRUE(device->modem().passes);
    }
    EXPECT_FALSE(device->modem().passes) << "left at its end";
    expect_invalid([&] { reader().at_mode(256); });
}

// Each lost answer is waited for until the line was silent for long: one link will do.
class AtModeOf : public DeviceOf {
  protected:
    static constexpr std::uint8_t mode_command = 0x4D;
    static constexpr std::uint8_t pass_command = 0x4E;
    // A module that is passed through to does not say who the reader is.
    void hide() { device->inject(on(0x21, Fault::silence(0))); }
    std::uint64_t commands(std::uint8_t code) const { return device->counters().commands[code]; }
};
INSTANTIATE_TEST_SUITE_P(Links, AtModeOf, testing::Values(Link::pty), link_name);

TEST_P(AtModeOf, AnEntryWhoseAnswerIsLostIsTakenBack)
{
    device->inject(on(mode_command, Fault::lose()));
    const auto error = error_of([&] { reader().at_mode(); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_THAT(error->what(), HasSubstr("leave the mode again, and did"));
    EXPECT_FALSE(device->modem().passes);
}

TEST_P(AtModeOf, AnEntryThatIsAbortedIsTakenBack)
{
    device->inject(on(mode_command, Fault::lose()));
    const std::jthread aborting([&] {
        if (device->wait_for_command(mode_command)) reader().abort();
    });
    const auto error = error_of([&] { reader().at_mode(); });
    EXPECT_EQ(error->code(), Errc::aborted);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_FALSE(device->modem().passes);
}

TEST_P(AtModeOf, OneMayTakeThePlaceOfAnother)
{
    AtMode at = patiently([&] { return reader().at_mode(); });
    at = patiently([&] { return reader().at_mode(); });
    EXPECT_TRUE(device->modem().passes);
    EXPECT_THAT(at.ask("AT"), Contains("OK"));
    at.leave();
    EXPECT_FALSE(device->modem().passes);
}

TEST_P(AtModeOf, ACommandWhoseAnswerIsLostLeavesTheModeAsItIs)
{
    AtMode at = patiently([&] { return reader().at_mode(); });
    hide();
    device->inject(on(pass_command, Fault::lose()));
    const auto error = error_of([&] { at.send("AT"); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_EQ(commands(pass_command), 1U) << "nothing is repeated";
    EXPECT_THAT(at.ask("AT"), Contains("OK"));
    at.leave();
    EXPECT_FALSE(device->modem().passes);
}

TEST_P(AtModeOf, AReaderThatRestartedIsOutOfIt)
{
    AtMode at = patiently([&] { return reader().at_mode(); });
    device->inject(Fault::power_loss(pass_command));
    at.send("AT");
    const auto error = error_of([&] { at.send("AT"); });
    EXPECT_EQ(error->code(), Errc::bad_answer);
    EXPECT_THAT(error->what(), HasSubstr("may have left its AT mode"));
    at.leave();
    EXPECT_EQ(patiently([&] { return reader().info(); }).address, 0x0A);
}

TEST_P(AtModeOf, ALeaveWhoseAnswerIsLostIsTriedAgain)
{
    AtMode at = patiently([&] { return reader().at_mode(); });
    hide();
    device->inject(on(mode_command, Fault::silence(2)));
    EXPECT_EQ(error_of([&] { at.leave(); })->outcome(), Outcome::unknown);
    EXPECT_TRUE(device->modem().passes);
    at.leave();
    EXPECT_FALSE(device->modem().passes);
    EXPECT_THROW(at.send("AT"), std::logic_error);
    EXPECT_EQ(commands(mode_command), 4U);
}

TEST_P(AtModeOf, AReaderThatHasLeftMayRefuseToLeaveAgain)
{
    AtMode at = patiently([&] { return reader().at_mode(); });
    device->inject(on(mode_command, Fault::lose()));
    Fault refusal = Fault::error(mode_command, 0xF6);
    refusal.skip = 1;
    device->inject(refusal);
    at.leave();
    EXPECT_FALSE(device->modem().passes);
    EXPECT_EQ(patiently([&] { return reader().info(); }).address, 0x0A);
}

}  // namespace
}  // namespace tagwire::test
