// As many readers as there are handles.
#include <algorithm>
#include <sys/resource.h>
#include <thread>

#include "e2e/connection.h"

namespace tagwire::test {
namespace {

// Both ends of 255 connections, and 255 listeners, live in this process.
bool raise_descriptor_limit(rlim_t wanted)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur >= wanted) return true;
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= wanted;
}

std::string ip_address(int i) { return "127.0.0." + std::to_string(i); }

TEST(ManyReaders, fill_all_handles_stream_and_close)
{
    ASSERT_TRUE(raise_descriptor_limit(1536)) << "raise the hard limit of open files: ulimit -Hn";
    Reports::clear();
    sim::Simulator simulator;
    std::vector<sim::Reader*> readers;
    std::vector<std::unique_ptr<Connection>> connections;
    for (int i = 1; i <= 255; ++i) {
        sim::Scenario scenario = make_scenario(1);
        scenario.tags[0].epc = make_tag(static_cast<unsigned>(i)).epc;
        scenario.reader.address = static_cast<std::uint8_t>(i % 255);
        readers.push_back(&simulator.add_reader(scenario));
        connections.push_back(std::make_unique<Connection>(*readers.back(), Link::tcp, ip_address(i)));
        ASSERT_EQ(connections.back()->open(), 0) << i;
        ASSERT_EQ(connections.back()->handle(), i);
    }

    {
        Connection one_too_many(simulator.add_reader(make_scenario(0)), Link::tcp, "127.0.1.1");
        EXPECT_EQ(one_too_many.open(), 48);
        EXPECT_EQ(one_too_many.handle(), -1);
    }

    for (auto& connection : connections) {
        InitRFIDCallBack(Reports::callback, true, connection->handle());
        ASSERT_EQ(StartRead(connection->address(), 0, connection->handle()), 0) << connection->handle();
    }
    for (auto* reader : readers) reader->set_report_rate(20);
    for (auto& connection : connections)
        EXPECT_TRUE(Reports::wait_for(connection->handle(), 3)) << connection->handle();
    EXPECT_EQ(Reports::uids().size(), 255U);

    std::vector<std::thread> closers;
    for (std::size_t first = 0; first < 15; ++first)
        closers.emplace_back([&connections, first] {
            for (std::size_t i = first; i < connections.size(); i += 15)
                EXPECT_EQ(connections[i]->close(), 0) << i;
        });
    for (auto& closer : closers) closer.join();
    EXPECT_EQ(CloseNetPort(1), 55);
    EXPECT_EQ(CloseNetPort(255), 55);
}

}  // namespace
}  // namespace tagwire::test
