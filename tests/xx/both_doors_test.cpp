// Both libraries in one process, at work at the same time.
#include <tagwirexx/tagwire.hpp>

#include <atomic>

#include <gmock/gmock.h>

#include "simulator.h"
#include "tagwire/tagwire.h"

namespace tagwire {
namespace {

std::atomic<std::uint64_t> reports{0};

void count_report(RFIDTagStruct /*tag*/, int /*kind*/) { ++reports; }

sim::Scenario gate()
{
    sim::Scenario scenario;
    scenario.tags.resize(1);
    scenario.tags[0].epc = {0xE2, 0x80, 0x11, 0x60, 0, 0, 0, 0, 0, 0, 0, 1};
    return scenario;
}

TEST(BothDoors, read_side_by_side)
{
    sim::Simulator simulator;
    sim::Reader& for_c = simulator.add_reader(gate());
    sim::Reader& for_cpp = simulator.add_reader(gate());
    char ip_address[] = "127.0.0.1";
    unsigned char address = 0xFF;
    int handle = -1;
    ASSERT_EQ(OpenNetPort(for_c.listen(), ip_address, &address, &handle), 0);
    InitRFIDCallBack(count_report, true, handle);
    ASSERT_EQ(StartRead(&address, 0, handle), 0);

    Stream stream;
    stream.add("tcp://127.0.0.1:" + std::to_string(for_cpp.listen()));
    stream.start();
    std::uint64_t reads = 0;
    while (reads < 10 || reports < 10) {
        const auto event = stream.next(std::chrono::seconds(60));
        ASSERT_TRUE(event);
        reads += event->read() != nullptr ? 1 : 0;
    }
    EXPECT_EQ(StopRead(&address, handle), 0);
    EXPECT_EQ(CloseNetPort(handle), 0);
    EXPECT_TRUE(stream.next(std::chrono::seconds(60))) << "the other goes on";
}

TEST(BothDoors, do_not_take_a_serial_line_from_each_other)
{
    sim::Simulator simulator;
    std::string path = simulator.add_reader(gate()).open_pty();
    unsigned char address = 0xFF;
    int handle = -1;
    {
        const Reader reader("serial:" + path + "?baud=115200");
        EXPECT_EQ(OpenComPort(path.data(), &address, 6, &handle), 57);
    }
    address = 0xFF;
    ASSERT_EQ(OpenComPort(path.data(), &address, 6, &handle), 0);
    EXPECT_THROW(Reader("serial:" + path), Error);
    EXPECT_EQ(CloseSpecComPort(handle), 0);
}

}  // namespace
}  // namespace tagwire
