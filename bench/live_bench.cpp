// What a Stream of many readers costs: reports taken, lost and out of order, processor time and memory.
//
// live_bench [READERS [REPORTS_PER_SECOND [SECONDS]]]
#include <tagwirexx/stream.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#include "simulator.h"

namespace {

using namespace std::chrono_literals;

struct Load {
    int readers = 1000;
    int rate = 20;
    int seconds = 120;

    std::uint64_t reports_each() const
    {
        return static_cast<std::uint64_t>(rate) * static_cast<std::uint64_t>(seconds);
    }
};

double processor_seconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long resident_kib()
{
    long pages = 0;
    long resident = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(file);
    }
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

void allow_descriptors()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// The virtual readers live in a process of their own, so that only the library is measured.
[[noreturn]] void be_the_readers(const Load& load, int to_parent)
{
    tagwire::sim::Simulator simulator;
    tagwire::sim::Scenario gate;
    gate.tags.resize(1);
    gate.tags[0].epc = {0xE2, 0x80, 0x11, 0x60, 0, 0, 0, 0, 0, 0, 0, 1};
    for (int i = 0; i < load.readers; ++i) {
        tagwire::sim::Reader& reader = simulator.add_reader(gate);
        reader.set_report_rate(load.rate);
        reader.set_batch(load.reports_each());
        const std::uint16_t port = reader.listen();
        if (::write(to_parent, &port, sizeof port) != sizeof port) std::_Exit(1);
    }
    for (;;) ::pause();
}

// Numbers of one source that do not follow each other.
struct Order {
    std::uint64_t last = 0;
    std::uint64_t broken = 0;

    void see(std::uint64_t sequence)
    {
        broken += sequence == last + 1 ? 0 : 1;
        last = sequence;
    }
};

int measure(const Load& load, int from_readers)
{
    const long empty = resident_kib();
    tagwire::Stream live;
    for (int i = 0; i < load.readers; ++i) {
        std::uint16_t port = 0;
        if (::read(from_readers, &port, sizeof port) != sizeof port) return 1;
        live.add("tcp://127.0.0.1:" + std::to_string(port), {.name = std::to_string(i)});
    }
    const double before = processor_seconds();
    const auto begin = std::chrono::steady_clock::now();
    live.start();
    const std::uint64_t expected = static_cast<std::uint64_t>(load.readers) * load.reports_each();
    std::unordered_map<const std::string*, Order> orders;
    std::vector<tagwire::Event> events(256);
    std::uint64_t taken = 0;
    long most_resident = 0;
    while (taken < expected) {
        const std::size_t count = live.take(events, 10s);
        if (count == 0) break;
        for (std::size_t i = 0; i < count; ++i) {
            const tagwire::Read* read = events[i].read();
            if (read == nullptr) continue;
            orders[&events[i].source()].see(read->sequence);
            ++taken;
        }
        if (taken % 4096 < count) most_resident = std::max(most_resident, resident_kib());
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    std::uint64_t broken = 0;
    for (const auto& [name, order] : orders) broken += order.broken;
    std::printf("%d readers, %d reports/s each, %.0f s: %llu taken, %llu missing, %llu out of order\n",
                load.readers, load.rate, seconds, static_cast<unsigned long long>(taken),
                static_cast<unsigned long long>(expected - taken), static_cast<unsigned long long>(broken));
    std::printf("%.1f %% of a core, %.1f us a report; %ld KiB resident, %.1f KiB a reader\n",
                100 * (processor_seconds() - before) / seconds,
                1e6 * (processor_seconds() - before) / static_cast<double>(taken), most_resident,
                static_cast<double>(most_resident - empty) / load.readers);
    return taken == expected && broken == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    Load load;
    if (argc > 1) load.readers = std::atoi(argv[1]);
    if (argc > 2) load.rate = std::atoi(argv[2]);
    if (argc > 3) load.seconds = std::atoi(argv[3]);
    allow_descriptors();
    int places[2];
    if (::pipe(places) != 0) return 1;
    const pid_t readers = ::fork();
    if (readers == 0) be_the_readers(load, places[1]);
    ::close(places[1]);
    const int result = measure(load, places[0]);
    ::kill(readers, SIGKILL);
    ::waitpid(readers, nullptr, 0);
    return result;
}
