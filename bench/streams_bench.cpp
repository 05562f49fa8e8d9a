// What 255 idle streams cost: processor time per second of waiting, over TCP and over pseudo-terminals.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

struct Place {
    int port;
    char path[64];
};

// The virtual readers live in a process of their own, so that only the library is measured.
[[noreturn]] void be_the_readers(bool tcp, int to_parent)
{
    tagwire::sim::Simulator simulator;
    for (int i = 1; i <= streams; ++i) {
        tagwire::sim::Reader& reader = simulator.add_reader();
        Place place{};
        if (tcp)
            place.port = reader.listen("127.0.0." + std::to_string(i), 0);
        else
            reader.open_pty().copy(place.path, sizeof place.path - 1);
        if (write(to_parent, &place, sizeof place) != sizeof place) std::_Exit(1);
    }
    for (;;) pause();
}

bool open_stream(bool tcp, int i, Place& place)
{
    unsigned char address = 0xFF;
    int handle = -1;
    std::string ip = "127.0.0." + std::to_string(i);
    const int result = tcp ? OpenNetPort(place.port, ip.data(), &address, &handle)
                           : OpenComPort(place.path, &address, 6, &handle);
    return result == 0 && StartRead(&address, 0, handle) == 0;
}

int measure(bool tcp, int from_readers)
{
    for (int i = 1; i <= streams; ++i) {
        Place place{};
        if (read(from_readers, &place, sizeof place) == sizeof place && open_stream(tcp, i, place)) continue;
        std::fprintf(stderr, "could not open stream %d\n", i);
        return 1;
    }
    const timespec pause{measured_seconds, 0};
    const double before = processor_seconds();
    nanosleep(&pause, nullptr);
    const double used = processor_seconds() - before;
    std::printf("%d idle streams over %s: %.2f %% of a core\n", streams, tcp ? "TCP" : "pseudo-terminals",
                100 * used / measured_seconds);
    return 0;
}

// One kind of link, in a child that ends without closing: closing 255 serial lines one by one takes minutes.
int run(bool tcp)
{
    int places[2];
    if (pipe(places) != 0) return 1;
    const pid_t readers = fork();
    if (readers == 0) be_the_readers(tcp, places[1]);
    const pid_t host = fork();
    if (host == 0) {
        const int result = measure(tcp, places[0]);
        std::fflush(stdout);
        std::_Exit(result);
    }
    int status = 1;
    waitpid(host, &status, 0);
    kill(readers, SIGKILL);
    waitpid(readers, nullptr, 0);
    close(places[0]);
    close(places[1]);
    return status;
}

}  // namespace

int main()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const bool good = run(true) == 0 && run(false) == 0;
    return good ? 0 : 1;
}
