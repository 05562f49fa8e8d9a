// Bytes that a serial line lost, as the system counts them.
#include <atomic>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include "link/system_seam.h"
#include "xx/virtual_reader.h"

#include <tagwirexx/stream.hpp>

namespace tagwire::test {
namespace {

using namespace std::chrono_literals;

TEST(SerialOverruns, AreCountedFromTheOpening)
{
    static std::atomic<int> lost{0};
    const engine::test::SystemSeam seam;
    engine::sys::calls.ioctl = [](int fd, unsigned long request, void* value) {
        if (request != TIOCGICOUNT) return engine::sys::Direct::ioctl(fd, request, value);
        auto& counts = *static_cast<serial_icounter_struct*>(value);
        counts = {};
        counts.overrun = 3 + lost;
        counts.buf_overrun = 4;
        return 0;
    };
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(make_scenario(0));
    Stream stream;
    stream.add("serial:" + reader.open_pty(), {.name = "line", .probe_after = 20ms});
    stream.start();
    ASSERT_TRUE(reader.wait_for_command(0x21, 2)) << "it is probed";
    EXPECT_EQ(stream.counters("line").overruns, 0U) << "those before are not ours";
    lost = 5;
    while (stream.counters("line").overruns == 0) stream.next(100ms);
    EXPECT_EQ(stream.counters("line").overruns, 5U);
}

}  // namespace
}  // namespace tagwire::test
