// The one way of measuring: rounds, in each of which everything is measured once, in an order of chance. What was
// measured goes to standard output, a line of JSON for each value with what it was in each round.
#pragma once

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tagwire::bench {

using Bytes = std::vector<std::uint8_t>;

// The texts are literals, so that a child's are its parent's too.
struct Value {
    const char* row;
    const char* who;
    const char* unit;
    double value;
};
using Values = std::vector<Value>;

using Measurement = std::function<Values()>;

struct Column {
    Value first;
    std::vector<double> values;
};

inline void print(const Column& column)
{
    const char* comma = "";
    std::printf(R"({"row": "%s", "who": "%s", "unit": "%s", "values": [)", column.first.row, column.first.who,
                column.first.unit);
    for (const double value : column.values) std::printf("%s%.6g", std::exchange(comma, ", "), value);
    std::printf("]}\n");
}

inline void measure(std::vector<Measurement> measurements, int rounds = 7)
{
    std::mt19937 chance{std::random_device{}()};
    std::vector<Column> columns;
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(measurements.begin(), measurements.end(), chance);
        for (const auto& once : measurements)
            for (const Value& value : once()) {
                const auto is_same = [&](const Column& column) {
                    return std::string(column.first.row) == value.row &&
                           std::string(column.first.who) == value.who &&
                           std::string(column.first.unit) == value.unit;
                };
                auto found = std::find_if(columns.begin(), columns.end(), is_same);
                if (found == columns.end()) found = columns.insert(found, {value, {}});
                found->values.push_back(value.value);
            }
    }
    for (const Column& column : columns) print(column);
}

[[noreturn]] inline void fail(const char* what)
{
    std::perror(what);
    std::_Exit(1);
}

// A child, for as long as its parent has it.
class Child {
  public:
    template <class Work> explicit Child(Work work) : id_(::fork())
    {
        if (id_ < 0) fail("fork");
        if (id_ != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        std::_Exit(0);
    }
    Child(Child&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
    Child& operator=(Child&&) = delete;
    ~Child()
    {
        if (id_ == 0) return;
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }

  private:
    pid_t id_;
};

// A measurement in a process of its own, which ends without closing anything.
class Apart {
  public:
    explicit Apart(const Measurement& once) : child_(begin(once)) { ::close(ends_[1]); }
    Apart(Apart&&) = default;
    Values await() const
    {
        Values values;
        Value value{};
        while (::read(ends_[0], &value, sizeof value) == sizeof value) values.push_back(value);
        ::close(ends_[0]);
        if (values.empty()) fail("a measurement failed");
        return values;
    }

  private:
    Child begin(const Measurement& once)
    {
        if (::pipe(ends_) != 0) fail("pipe");
        return Child([&] {
            for (const Value& value : once())
                if (::write(ends_[1], &value, sizeof value) != sizeof value) fail("write");
        });
    }

    int ends_[2] = {};
    Child child_;
};

inline std::int64_t now_ns(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

// Of this process, all threads together.
inline double processor_us() { return static_cast<double>(now_ns(CLOCK_PROCESS_CPUTIME_ID)) / 1e3; }

inline long context_switches()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw + usage.ru_nivcsw;
}

// Exactly: what /proc/self/statm tells lags behind, by thread.
inline double resident_kib()
{
    double kib = 0;
    char line[256];
    std::FILE* file = std::fopen("/proc/self/smaps_rollup", "r");
    if (file == nullptr) fail("/proc/self/smaps_rollup");
    while (std::fgets(line, sizeof line, file) != nullptr && std::sscanf(line, "Rss: %lf", &kib) != 1) {
    }
    std::fclose(file);
    return kib;
}

// The calling thread and those it starts; where there is no such processor, they stay where they are.
inline void pin(int processor)
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    ::sched_setaffinity(0, sizeof one, &one);
}

inline void rest(std::chrono::milliseconds span)
{
    const timespec time{span.count() / 1000, span.count() % 1000 * 1'000'000};
    ::nanosleep(&time, nullptr);
}

inline void allow_descriptors()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// Keeps what was worked out.
template <class T> void keep(const T& value) { asm volatile("" : : "r"(&value) : "memory"); }

}  // namespace tagwire::bench
