// Many readers at once, which come and go.
#include <tagwirexx/stream.hpp>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <sys/resource.h>
#include <thread>

#include <gmock/gmock.h>

#include "simulator.h"

namespace tagwire {
namespace {

using namespace std::chrono_literals;

sim::Scenario gate()
{
    sim::Scenario scenario;
    scenario.tags.resize(4);
    for (std::size_t i = 0; i < scenario.tags.size(); ++i)
        scenario.tags[i].epc = {0xE2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(i)};
    return scenario;
}

// What was taken, and whether a source's numbers came one after the other.
class Taker {
  public:
    explicit Taker(Stream& stream) : stream_(stream), thread_([this] { run(); }) {}
    ~Taker() { thread_.join(); }

    bool in_order() const { return in_order_; }
    bool has_gaps() const { return has_gaps_; }

  private:
    void run()
    {
        for (const Event& event : stream_) {
            has_gaps_ = has_gaps_ || event.gap() != nullptr;
            if (const Read* read = event.read())
                in_order_ = in_order_ && read->sequence == ++last_[&event.source()];
        }
    }

    Stream& stream_;
    std::map<const std::string*, std::uint64_t> last_;
    std::atomic<bool> in_order_{true};
    std::atomic<bool> has_gaps_{false};
    std::thread thread_;
};

// Restarted at random all the time, they lose only what a reader could not hand to the system any more.
TEST(ManyReaders, lose_nothing_when_they_are_restarted_at_random)
{
    constexpr unsigned count = 64;
    const char* const wanted = std::getenv("TAGWIRE_RESTARTS");
    const int restarts = wanted != nullptr ? std::atoi(wanted) : 3000;
    sim::Simulator simulator;
    std::vector<sim::Reader*> readers;
    Stream stream;
    for (unsigned i = 0; i < count; ++i) {
        readers.push_back(&simulator.add_reader(gate()));
        readers.back()->set_report_rate(50);
        stream.add("tcp://127.0.0.1:" + std::to_string(readers.back()->listen()),
                   {.name = std::to_string(i)});
    }
    stream.start();
    Taker taker(stream);
    std::minstd_rand random(17);
    for (int i = 0; i < restarts; ++i) {
        sim::Reader& reader = *readers[random() % count];
        reader.restart();
        reader.hang_up();
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 7));
    }

    // They fall quiet, and everything that was sent arrives.
    for (sim::Reader* reader : readers) {
        ASSERT_TRUE(reader->wait_for_reading());
        reader->set_batch(0);
    }
    std::uint64_t reconnects = 0;
    for (unsigned i = 0; i < count; ++i) {
        const std::uint64_t sent = readers[i]->counters().reports_sent;
        const std::string name = std::to_string(i);
        const auto limit = std::chrono::steady_clock::now() + 60s;
        while (stream.counters(name).received < sent && std::chrono::steady_clock::now() < limit)
            std::this_thread::yield();
        EXPECT_EQ(stream.counters(name).received, sent) << name;
        EXPECT_EQ(stream.counters(name).bad_crc, 0U) << name;
        reconnects += stream.counters(name).reconnects;
    }
    EXPECT_GT(reconnects, count);
    stream.stop();
    EXPECT_TRUE(taker.in_order());
    EXPECT_FALSE(taker.has_gaps());
}

TEST(ManyReaders, open_at_once_although_some_are_dead)
{
    constexpr unsigned count = 1000;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 8192);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 4096) GTEST_SKIP() << "needs 4096 descriptors";
    sim::Simulator simulator;
    Stream stream;
    unsigned alive = 0;
    for (unsigned i = 0; i < count; ++i) {
        sim::Reader& reader = simulator.add_reader(gate());
        reader.set_report_rate(1);
        const bool dead = i % 10 == 0;
        if (dead) reader.inject(sim::Fault::silence());
        alive += dead ? 0 : 1;
        stream.add("tcp://127.0.0.1:" + std::to_string(reader.listen()), {.name = std::to_string(i)});
    }
    const auto begin = std::chrono::steady_clock::now();
    stream.start();
    unsigned streaming = 0;
    while (streaming < alive) {
        const auto event = stream.next(60s);
        ASSERT_TRUE(event) << streaming << " of " << alive;
        if (event->state() != nullptr && event->state()->state == State::streaming) ++streaming;
    }
    const auto took = std::chrono::steady_clock::now() - begin;
    RecordProperty("milliseconds", static_cast<int>(took / 1ms));
    std::printf("%u readers stream after %d ms\n", streaming, static_cast<int>(took / 1ms));
    EXPECT_LT(took, 60s);
}

}  // namespace
}  // namespace tagwire
