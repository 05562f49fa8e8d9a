// The queue of a stream: order, bounds, and what is told of what was dropped.
#include "xx/stream/event_queue.h"

#include <cstdlib>
#include <new>
#include <poll.h>
#include <thread>

#include <gmock/gmock.h>

#include "xx/values/names.h"

namespace {

// Allocations of this thread until one fails; none does below 0.
thread_local int allocations_left = -1;

void* allocate(std::size_t size)
{
    if (allocations_left == 0) throw std::bad_alloc();
    if (allocations_left > 0) --allocations_left;
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace tagwire {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr milliseconds no_time(0);

class Queue {
  public:
    Queue(std::size_t capacity, Overflow overflow) : queue(capacity, overflow) {}

    std::shared_ptr<Lane> lane(const std::string& name) { return std::make_shared<Lane>(lasting_name(name)); }
    void put_reads(const std::shared_ptr<Lane>& lane, int count)
    {
        for (int i = 0; i < count; ++i)
            queue.with_lock([&](EventQueue& inside) { inside.put(lane, Read{}); });
    }
    void put_state(const std::shared_ptr<Lane>& lane, State state)
    {
        queue.with_lock([&](EventQueue& inside) { inside.put(lane, state, "", 0); });
    }
    void put_raw(const std::shared_ptr<Lane>& lane)
    {
        queue.with_lock([&](EventQueue& inside) { inside.put(lane, Raw{{1}, {}}); });
    }

    // Each event in a few letters: the sequence of a read, g with count and first of a gap, s with the number of
    // changes, r for raw bytes.
    std::vector<std::string> take(std::size_t most = 1000)
    {
        std::vector<Event> events(most);
        events.resize(queue.take(events.data(), most, no_time, relieved));
        std::vector<std::string> texts;
        for (const Event& event : events) texts.push_back(brief(event));
        return texts;
    }

    EventQueue queue;
    std::vector<Lane*> relieved;

  private:
    static std::string brief(const Event& event)
    {
        if (const Read* read = event.read()) return event.source() + std::to_string(read->sequence);
        if (const Gap* gap = event.gap())
            return event.source() + "g" + std::to_string(gap->count) + "@" +
                   std::to_string(gap->first_sequence);
        if (const StateChange* state = event.state())
            return event.source() + "s" + std::to_string(state->changes);
        return event.raw() != nullptr ? event.source() + "r" : "nothing";
    }
};

bool is_readable(int fd)
{
    pollfd watched{fd, POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1;
}

TEST(EventQueue, keeps_the_order_over_all_sources)
{
    Queue queue(10, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    const auto b = queue.lane("b");
    queue.put_reads(a, 2);
    queue.put_reads(b, 1);
    queue.put_state(a, State::quiet);
    queue.put_reads(b, 1);
    queue.put_reads(a, 1);
    EXPECT_THAT(queue.take(3), ElementsAre("a1", "a2", "b1"));
    EXPECT_THAT(queue.take(), ElementsAre("as1", "b2", "a3"));
    EXPECT_THAT(queue.take(), IsEmpty());
}

TEST(EventQueue, drops_the_oldest_and_tells_of_it_where_they_are_missing)
{
    Queue queue(3, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    const auto b = queue.lane("b");
    queue.put_reads(b, 1);
    queue.put_reads(a, 8);
    EXPECT_THAT(queue.take(), ElementsAre("b1", "ag5@1", "a6", "a7", "a8"));
    const Counters counters = queue.queue.counters(*a);
    EXPECT_EQ(counters.received, 8U);
    EXPECT_EQ(counters.dropped, 5U);
    EXPECT_EQ(counters.delivered, 3U);
    EXPECT_EQ(counters.highest_level, 3U);
    EXPECT_EQ(queue.queue.counters(*b).dropped, 0U);
}

TEST(EventQueue, drops_the_newest_and_tells_of_it_where_they_are_missing)
{
    Queue queue(3, Overflow::drop_newest);
    const auto a = queue.lane("a");
    queue.put_reads(a, 5);
    EXPECT_THAT(queue.take(1), ElementsAre("a1"));
    queue.put_reads(a, 3);
    EXPECT_THAT(queue.take(), ElementsAre("a2", "a3", "ag2@4", "a6", "ag2@7"));
    EXPECT_EQ(queue.queue.counters(*a).dropped, 4U);
}

TEST(EventQueue, replaces_an_unread_state_by_its_newer_one)
{
    Queue queue(10, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    queue.put_state(a, State::connecting);
    queue.put_state(a, State::streaming);
    queue.put_reads(a, 1);
    queue.put_state(a, State::lost);
    queue.put_reads(a, 1);
    queue.put_state(a, State::connecting);
    EXPECT_THAT(queue.take(), ElementsAre("a1", "a2", "as4"));
    queue.put_state(a, State::streaming);
    EXPECT_THAT(queue.take(), ElementsAre("as1"));
    queue.put_state(a, State::streaming);
    EXPECT_THAT(queue.take(), IsEmpty()) << "nothing has changed";
}

TEST(EventQueue, keeps_a_state_in_front_of_reports_that_are_dropped)
{
    Queue queue(2, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    queue.put_state(a, State::streaming);
    queue.put_reads(a, 1000);
    EXPECT_THAT(queue.take(), ElementsAre("as1", "ag998@1", "a999", "a1000"));
}

TEST(EventQueue, stays_bounded_while_states_change_and_reports_are_dropped)
{
    Queue queue(2, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    for (int i = 0; i < 1000; ++i) {
        queue.put_reads(a, 1);
        queue.put_state(a, i % 2 == 0 ? State::lost : State::streaming);
    }
    EXPECT_THAT(queue.take(), ElementsAre("ag998@1", "a999", "a1000", "as1000"));
    queue.put_reads(a, 1);
    EXPECT_THAT(queue.take(), ElementsAre("a1001"));
}

TEST(EventQueue, stays_bounded_while_only_states_change)
{
    for (const Overflow overflow : {Overflow::drop_oldest, Overflow::drop_newest, Overflow::block}) {
        Queue queue(2, overflow);
        const auto a = queue.lane("a");
        queue.put_reads(a, 2);
        for (int i = 0; i < 100'000; ++i) queue.put_state(a, i % 2 == 0 ? State::lost : State::connecting);
        EXPECT_THAT(queue.take(), ElementsAre("a1", "a2", "as100000"));
    }
}

TEST(EventQueue, merges_the_gaps_of_new_reports_over_states)
{
    Queue queue(1, Overflow::drop_newest);
    const auto a = queue.lane("a");
    queue.put_reads(a, 2);
    queue.put_state(a, State::lost);
    queue.put_reads(a, 1);
    queue.put_state(a, State::streaming);
    queue.put_reads(a, 1);
    EXPECT_THAT(queue.take(), ElementsAre("a1", "ag3@2", "as2"));
}

TEST(EventQueue, goes_on_after_the_only_event_of_a_source_gave_way)
{
    Queue queue(1, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    queue.put_raw(a);
    queue.put_reads(a, 1);
    queue.queue.with_lock([&](EventQueue& inside) { inside.put(a, InputChange{1, false, true}); });
    queue.put_reads(a, 1);
    EXPECT_THAT(queue.take(), ElementsAre("ar", "ag1@1", "a2"));
    EXPECT_FALSE(is_readable(queue.queue.fd()));
    Event event;
    EXPECT_EQ(queue.queue.take(&event, 1, no_time, queue.relieved), 0U);
}

TEST(EventQueue, does_not_let_bytes_that_are_no_report_push_reports_out)
{
    Queue queue(200, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    for (int i = 0; i < 500; ++i) queue.put_raw(a);
    queue.put_reads(a, 136);
    EXPECT_EQ(queue.take(64).back(), "ar");
    EXPECT_EQ(queue.take(1).front(), "a1");
    EXPECT_EQ(queue.queue.counters(*a).dropped, 0U);
}

TEST(EventQueue, tells_when_a_source_that_blocks_has_room)
{
    Queue queue(4, Overflow::block);
    const auto a = queue.lane("a");
    EXPECT_EQ(queue.queue.room(*a), 4U);
    queue.put_reads(a, 3);
    EXPECT_FALSE(queue.queue.wait_for_room(*a));
    queue.put_reads(a, 2);
    EXPECT_EQ(queue.queue.room(*a), 0U) << "one more than fits, while a pause is waited for";
    EXPECT_TRUE(queue.queue.wait_for_room(*a));
    queue.take(1);
    EXPECT_THAT(queue.relieved, IsEmpty());
    queue.take(1);
    EXPECT_THAT(queue.relieved, ElementsAre(a.get()));
    EXPECT_EQ(queue.queue.counters(*a).dropped, 0U);
}

TEST(EventQueue, shows_in_its_descriptor_whether_something_is_there)
{
    Queue queue(4, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    EXPECT_FALSE(is_readable(queue.queue.fd()));
    queue.put_reads(a, 2);
    EXPECT_TRUE(is_readable(queue.queue.fd()));
    queue.take(1);
    EXPECT_TRUE(is_readable(queue.queue.fd()));
    queue.take(1);
    EXPECT_FALSE(is_readable(queue.queue.fd()));
    queue.queue.with_lock([](EventQueue& inside) { inside.close(); });
    EXPECT_TRUE(is_readable(queue.queue.fd()));
}

TEST(EventQueue, hands_out_what_is_left_after_its_end_and_takes_nothing_more)
{
    Queue queue(4, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    queue.put_reads(a, 1);
    queue.queue.with_lock([](EventQueue& inside) { inside.close(); });
    queue.put_reads(a, 1);
    EXPECT_FALSE(queue.queue.is_at_end());
    EXPECT_THAT(queue.take(), ElementsAre("a1"));
    EXPECT_TRUE(queue.queue.is_at_end());
    EXPECT_EQ(queue.queue.counters(*a).received, 1U);
}

// Whichever allocation fails, and however long none succeeds.
TEST(EventQueue, counts_what_it_has_no_memory_for_and_tells_of_it_where_it_is_missing)
{
    constexpr unsigned reports = 40;
    for (int failing = 0; failing < 12; ++failing) {
        Queue one(1000, Overflow::drop_oldest);
        const auto lane = one.lane("a");
        one.put_reads(lane, 3);
        allocations_left = failing;
        one.put_reads(lane, reports);
        allocations_left = -1;
        one.put_reads(lane, 1);
        std::vector<Event> events(1000);
        events.resize(one.queue.take(events.data(), events.size(), no_time, one.relieved));
        std::uint64_t next = 1;
        for (const Event& event : events) {
            if (const Gap* gap = event.gap()) {
                EXPECT_EQ(gap->first_sequence, next);
                next += gap->count;
            } else {
                ASSERT_NE(event.read(), nullptr);
                EXPECT_EQ(event.read()->sequence, next++);
            }
        }
        EXPECT_EQ(next, 3 + reports + 1 + 1) << "with " << failing << " allocations";
        const Counters counters = one.queue.counters(*lane);
        EXPECT_EQ(counters.received, 3 + reports + 1);
        EXPECT_EQ(counters.delivered + counters.dropped, counters.received);
        EXPECT_TRUE(failing > 0 || counters.dropped > 0);
    }
}

TEST(EventQueue, wakes_who_waits)
{
    Queue queue(4, Overflow::drop_oldest);
    const auto a = queue.lane("a");
    std::thread putter([&] { queue.put_reads(a, 1); });
    Event event;
    std::vector<Lane*> relieved;
    EXPECT_EQ(queue.queue.take(&event, 1, milliseconds::max(), relieved), 1U);
    putter.join();
    std::thread closer([&] { queue.queue.with_lock([](EventQueue& inside) { inside.close(); }); });
    EXPECT_EQ(queue.queue.take(&event, 1, milliseconds::max(), relieved), 0U);
    closer.join();
}

}  // namespace
}  // namespace tagwire
