// abort(), and several threads on one Reader.
#include <atomic>
#include <thread>

#include "xx/virtual_reader.h"

namespace tagwire::test {
namespace {

using namespace std::chrono_literals;

class AbortedReader : public VirtualReader {};
INSTANTIATE_TEST_SUITE_P(Links, AbortedReader, testing::Values(Link::tcp, Link::pty), link_name);

constexpr std::uint8_t inventory_command = 0x01;

sim::Scenario slow_scenario()
{
    sim::Scenario scenario = make_scenario(3000);
    scenario.reader.air_time = 1;
    return scenario;
}

TEST_P(AbortedReader, AnInventoryEndsAndTheNextCallIsWhole)
{
    connect(slow_scenario());
    std::thread aborting([&] {
        ASSERT_TRUE(device->wait_for_command(inventory_command));
        reader().abort();
    });
    const auto error =
        error_of([&] { reader().inventory({.q = 8, .antennas = {Port(1)}, .scan_time = 25s}); });
    aborting.join();
    EXPECT_EQ(error->code(), Errc::aborted) << error->what();
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    // Whatever the reader still had to say is not taken for an answer.
    EXPECT_EQ(patiently([&] { return reader().info(); }).address, 0x0A);
    EXPECT_FALSE(
        patiently([&] { return reader().inventory({.antennas = {Port(1)}, .scan_time = 200ms}); }).complete);
}

TEST_P(AbortedReader, WhatAnInventoryHadBroughtIsTold)
{
    connect(slow_scenario());
    std::vector<Read> reads;
    // Where the machine is so busy that nothing was taken yet, once more.
    for (int i = 0; i < 20 && reads.empty(); ++i) {
        const std::uint64_t before = device->counters().bytes_sent;
        std::thread aborting([&] {
            ASSERT_TRUE(
                device->wait_until([&](const sim::Counters& now) { return now.bytes_sent > before + 2000; }));
            reader().abort();
        });
        const auto error = error_of([&] {
            reader().inventory({.q = 8, .session = Session::s1, .antennas = {Port(1)}, .scan_time = 25s});
        });
        aborting.join();
        reads = error->reads();
    }
    ASSERT_FALSE(reads.empty());
    EXPECT_EQ(reads.front().port, Port(1));
    EXPECT_FALSE(reads.front().epc.empty());
}

TEST_P(AbortedReader, AStocktakeEndsAtOnceWhereverItIs)
{
    sim::Scenario scenario = make_scenario(1);
    scenario.reader.air_time = 1;
    connect(scenario);
    std::thread aborting([&] {
        ASSERT_TRUE(device->wait_for_command(inventory_command, 5));
        reader().abort();
    });
    const auto error = error_of([&] {
        reader().stocktake({.scan_time = 100ms, .quiet_rounds = 1'000'000, .most_rounds = 1'000'000});
    });
    aborting.join();
    EXPECT_EQ(error->code(), Errc::aborted) << error->what();
}

TEST_P(AbortedReader, AReaderThatIsSilentIsNotWaitedFor)
{
    connect(make_scenario(1), "antenna_byte=mask");
    device->inject(sim::Fault::silence());
    const std::uint64_t before = device->counters().bytes_received;
    std::thread aborting([&] {
        ASSERT_TRUE(
            device->wait_until([&](const sim::Counters& now) { return now.bytes_received > before + 4; }));
        reader().abort();
    });
    const auto error = error_of([&] { reader().inventory({.antennas = {Port(1)}, .scan_time = 4s}); });
    aborting.join();
    EXPECT_EQ(error->code(), Errc::aborted) << error->what();
    device->clear_faults();
    EXPECT_EQ(patiently([&] { return reader().inventory(); }).reads.size(), 1U);
}

TEST_P(AbortedReader, WithoutACallNothingHappens)
{
    connect(make_scenario(1));
    const std::uint64_t before = device->counters().requests;
    reader().abort();
    EXPECT_EQ(device->counters().requests, before);
    EXPECT_EQ(patiently([&] { return reader().inventory(); }).reads.size(), 1U);
}

TEST_P(AbortedReader, CallsOfManyThreadsTakeTurns)
{
    connect(make_scenario(20));
    std::vector<std::thread> threads;
    std::atomic<int> whole{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 10; ++n)
                whole += patiently([&] { return reader().inventory(); }).reads.size() == 20;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(whole, 40);
}

TEST_P(AbortedReader, AbortsFromManyThreadsLeaveItWhole)
{
    connect(make_scenario(20));
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            while (!over) {
                reader().abort();
                std::this_thread::yield();
            }
        });
    for (int n = 0; n < 20; ++n) {
        try {
            reader().inventory();
        } catch (const Error& error) {
            EXPECT_TRUE(error.code() == Errc::aborted || error.code() == Errc::no_answer) << error.what();
        }
    }
    over = true;
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(patiently([&] { return reader().inventory(); }).reads.size(), 20U);
}

}  // namespace
}  // namespace tagwire::test
