#include "xx/stream/event_queue.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

#include "xx/link/descriptors.h"

namespace tagwire {
inline namespace v1 {
namespace {

// Of bytes that are no report: noise must not push the reports out.
constexpr std::size_t most_raw = 64;

bool is_empty(const Event& event)
{
    return event.read() == nullptr && event.state() == nullptr && event.gap() == nullptr &&
           event.input() == nullptr && event.raw() == nullptr;
}

}  // namespace

EventQueue::EventQueue(std::size_t capacity, Overflow overflow)
    : capacity_(std::max<std::size_t>(capacity, 1)), overflow_(overflow), readable_(make_event_descriptor())
{}

EventQueue::~EventQueue() { ::close(readable_); }

template <class What> Event& EventQueue::append(const std::shared_ptr<Lane>& lane, What&& what)
{
    Event& appended = lane->items_.emplace_back(tickets_++, lane->name_, std::forward<What>(what)).event;
    try {
        give_turn(lane);
    } catch (const std::bad_alloc&) {
        lane->items_.pop_back();  // all of it or nothing: the levels count what is there
        throw;
    }
    return appended;
}

void EventQueue::give_turn(const std::shared_ptr<Lane>& lane)
{
    if (lane->has_turn_ || lane->items_.empty()) return;
    turns_.push_back({lane->items_.front().ticket, lane});
    std::push_heap(turns_.begin(), turns_.end());
    lane->has_turn_ = true;
}

void EventQueue::count_in(Lane& lane)
{
    ++lane.level_;
    lane.counters_.highest_level = std::max(lane.counters_.highest_level, lane.level_);
}

std::size_t EventQueue::room(const Lane& lane) const
{
    if (overflow_ != Overflow::block) return SIZE_MAX;
    const std::lock_guard lock(mutex_);
    return lane.level_ < capacity_ ? capacity_ - lane.level_ : 0;
}

bool EventQueue::wait_for_room(Lane& lane)
{
    const std::lock_guard lock(mutex_);
    return lane.waits_for_room_ = lane.is_full(capacity_);
}

void EventQueue::count(Lane& lane, const Counters& more) const
{
    if (closed_) return;
    lane.counters_.bytes += more.bytes;
    lane.counters_.frames += more.frames;
    lane.counters_.bad_crc += more.bad_crc;
    lane.counters_.skipped_bytes += more.skipped_bytes;
    lane.counters_.filtered += more.filtered;
    lane.counters_.reconnects += more.reconnects;
    lane.counters_.overruns += more.overruns;
}

void EventQueue::put(const std::shared_ptr<Lane>& lane, Read&& read)
{
    if (closed_) return;
    ++lane->counters_.received;
    read.sequence = ++lane->sequence_;
    lane->health_.last_read = read.received;
    if (overflow_ != Overflow::block && lane->is_full(capacity_)) {
        if (overflow_ == Overflow::drop_newest) return drop_newest(lane, read.sequence);
        drop_oldest(*lane);
    }
    try {
        append_read(lane, read);
    } catch (const std::bad_alloc&) {
        ++lane->counters_.dropped;
        tell_later(*lane, lane->sequence_);
    }
}

// Of a report for which there was no memory, and none for its gap.
void EventQueue::tell_later(Lane& lane, std::uint64_t sequence)
{
    if (lane.untold_.count++ == 0) lane.untold_.first_sequence = sequence;
}

void EventQueue::append_read(const std::shared_ptr<Lane>& lane, Read& read)
{
    if (lane->untold_.count != 0) append(lane, lane->untold_);
    lane->untold_ = {};
    append(lane, std::move(read));
    count_in(*lane);
}

void EventQueue::put(const std::shared_ptr<Lane>& lane, State state, std::string reason, unsigned attempts)
{
    if (closed_) return;
    Health& health = lane->health_;
    health.attempts = attempts;
    const bool has_begun = health.since != std::chrono::steady_clock::time_point{};
    if (has_begun && health.state == state && health.reason == reason) return;
    health.state = state;
    health.reason = reason;
    health.since = std::chrono::steady_clock::now();
    StateChange change{state, std::move(reason), 1};
    if (lane->unread_state_ != nullptr) {
        change.changes += lane->unread_state_->state()->changes;
        const bool is_last = lane->unread_state_ == &lane->items_.back().event;
        *lane->unread_state_ = is_last ? Event(lane->name_, change) : Event();
        if (is_last) return;
        lane->unread_state_ = nullptr;  // also where there is no memory for the newer one
    }
    lane->unread_state_ = &append(lane, std::move(change));
}

bool EventQueue::put(const std::shared_ptr<Lane>& lane, InputChange change)
{
    if (closed_ || lane->is_full(capacity_)) return false;
    try {
        append(lane, change);
    } catch (const std::bad_alloc&) {
        return false;
    }
    count_in(*lane);
    return true;
}

void EventQueue::put(const std::shared_ptr<Lane>& lane, Raw raw)
{
    if (closed_ || lane->raw_level_ >= most_raw) return;
    try {
        append(lane, std::move(raw));
    } catch (const std::bad_alloc&) {
        return;
    }
    ++lane->raw_level_;
}

// The oldest event that counts gives way. In front of it there can be a state, and the gap of those before it.
void EventQueue::drop_oldest(Lane& lane)
{
    auto& items = lane.items_;
    std::size_t gap = items.size();
    for (std::size_t at = 0; at < items.size();) {
        Event& event = items[at].event;
        if (event.gap() != nullptr) gap = at;
        if (event.gap() != nullptr || event.state() != nullptr || event.raw() != nullptr) {
            ++at;
            continue;
        }
        const Read* read = event.read();
        if (read != nullptr) count_as_dropped(lane, *read, gap < items.size() ? items[gap].event : event);
        const bool counted = !is_empty(event);
        if (event.gap() == nullptr) remove(lane, at);
        if (counted) {
            --lane.level_;
            return;
        }
    }
}

// `gap` is where the report is told of: the gap in front of it, or its own place.
void EventQueue::count_as_dropped(Lane& lane, const Read& read, Event& gap)
{
    ++lane.counters_.dropped;
    const Gap* before = gap.gap();
    gap = before != nullptr ? Event(lane.name_, Gap{before->count + 1, before->first_sequence})
                            : Event(lane.name_, Gap{1, read.sequence});
}

// By moving what is in front of it, which is little.
void EventQueue::remove(Lane& lane, std::size_t at)
{
    auto& items = lane.items_;
    for (std::size_t i = at; i > 0; --i) items[i] = std::move(items[i - 1]);
    items.pop_front();
    for (std::size_t i = 0; i < at; ++i)
        if (items[i].event.state() != nullptr) lane.unread_state_ = &items[i].event;
}

void EventQueue::drop_newest(const std::shared_ptr<Lane>& lane, std::uint64_t sequence)
{
    ++lane->counters_.dropped;
    // Between this report and the gap of those before it there may be states, no report.
    for (std::size_t at = lane->items_.size(); at > 0; --at) {
        Event& event = lane->items_[at - 1].event;
        if (const Gap* gap = event.gap()) {
            event = Event(lane->name_, Gap{gap->count + 1, gap->first_sequence});
            return;
        }
        if (event.read() != nullptr || event.input() != nullptr) break;
    }
    try {
        append(lane, Gap{1, sequence});
    } catch (const std::bad_alloc&) {
        tell_later(*lane, sequence);
    }
}

std::size_t EventQueue::take(Event* to, std::size_t most, std::chrono::milliseconds timeout,
                             std::vector<Lane*>& relieved)
{
    std::unique_lock lock(mutex_);
    const auto is_over = [&] { return !turns_.empty() || closed_; };
    // A limit that the clock cannot hold is none.
    if (timeout > std::chrono::hours(24 * 365)) {
        something_.wait(lock, is_over);
    } else {
        something_.wait_for(lock, timeout, is_over);
    }
    std::size_t count = 0;
    while (count < most && !turns_.empty()) count += take_turn(to + count, most - count, relieved);
    announce(std::move(lock));
    return count;
}

// The events of the lane whose turn it is, up to the first one of another.
std::size_t EventQueue::take_turn(Event* to, std::size_t most, std::vector<Lane*>& relieved)
{
    std::pop_heap(turns_.begin(), turns_.end());
    const Turn turn = std::move(turns_.back());
    turns_.pop_back();
    turn.lane->has_turn_ = false;
    auto& items = turn.lane->items_;
    const std::uint64_t next = turns_.empty() ? UINT64_MAX : turns_.front().ticket;
    std::size_t count = 0;
    while (!items.empty() &&
           (is_empty(items.front().event) || (count < most && items.front().ticket < next))) {
        if (is_empty(items.front().event)) {
            items.pop_front();
        } else {
            hand_out(*turn.lane, to[count++], relieved);
        }
    }
    give_turn(turn.lane);
    return count;
}

void EventQueue::hand_out(Lane& lane, Event& to, std::vector<Lane*>& relieved)
{
    Event& front = lane.items_.front().event;
    if (&front == lane.unread_state_) lane.unread_state_ = nullptr;
    if (front.read() != nullptr) ++lane.counters_.delivered;
    if (front.raw() != nullptr) --lane.raw_level_;
    if (front.read() != nullptr || front.input() != nullptr) --lane.level_;
    to = std::move(front);
    lane.items_.pop_front();
    if (!lane.waits_for_room_ || lane.is_full(capacity_)) return;
    lane.waits_for_room_ = false;
    relieved.push_back(&lane);
}

// The descriptor tells what is in the queue, level for level. True when there is something, or never will be.
bool EventQueue::show()
{
    const bool readable = !turns_.empty() || closed_;
    if (!is_shown_ || readable == is_readable_) return readable;
    is_readable_ = readable;
    readable ? signal_event(readable_) : clear_event(readable_);
    return readable;
}

void EventQueue::announce(std::unique_lock<std::mutex> lock)
{
    const bool readable = show();
    lock.unlock();
    if (readable) something_.notify_all();
}

int EventQueue::fd()
{
    const std::lock_guard lock(mutex_);
    is_shown_ = true;
    show();
    return readable_;
}

bool EventQueue::is_at_end() const
{
    const std::lock_guard lock(mutex_);
    return closed_ && turns_.empty();
}

Counters EventQueue::counters(const Lane& lane) const
{
    const std::lock_guard lock(mutex_);
    return lane.counters_;
}

Health EventQueue::health(const Lane& lane) const
{
    const std::lock_guard lock(mutex_);
    return lane.health_;
}

}  // namespace v1
}  // namespace tagwire
