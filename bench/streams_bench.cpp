// What 255 idle streams cost: processor time per second of waiting, over TCP and over pseudo-terminals.
#include <cstdio>
#include <ctime>
#include <memory>
#include <sys/resource.h>
#include <vector>

#include "simulator.h"
#include "tagwire/tagwire.h"

namespace {

constexpr int streams = 255;
constexpr int measured_seconds = 10;

double processor_seconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

bool open_stream(tagwire::sim::Simulator& simulator, bool tcp, int i)
{
    tagwire::sim::Reader& reader = simulator.add_reader();
    unsigned char address = 0xFF;
    int handle = -1;
    if (tcp) {
        std::string ip = "127.0.0." + std::to_string(i);
        const int port = reader.listen(ip, 0);
        if (OpenNetPort(port, ip.data(), &address, &handle) != 0) return false;
    } else {
        std::string path = reader.open_pty();
        if (OpenComPort(path.data(), &address, 6, &handle) != 0) return false;
    }
    return StartRead(&address, 0, handle) == 0;
}

int measure(bool tcp)
{
    tagwire::sim::Simulator simulator;
    for (int i = 1; i <= streams; ++i) {
        if (open_stream(simulator, tcp, i)) continue;
        std::fprintf(stderr, "could not open stream %d\n", i);
        return 1;
    }
    const timespec pause{measured_seconds, 0};
    const double before = processor_seconds();
    nanosleep(&pause, nullptr);
    const double used = processor_seconds() - before;
    std::printf("%d idle streams over %s: %.2f %% of a core (virtual readers included)\n", streams,
                tcp ? "TCP" : "pseudo-terminals", 100 * used / measured_seconds);
    return 0;
}

}  // namespace

// One kind of link for each run: closing 255 serial lines one by one would take minutes.
int main(int argc, char** argv)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::string link = argc == 2 ? argv[1] : "tcp";
    std::fflush(stdout);
    const int result = measure(link == "tcp");
    std::fflush(stdout);
    std::_Exit(result);
}
