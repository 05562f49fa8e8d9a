// The queue of a Stream: in the order of arrival over all sources, bounded for each of them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <tagwirexx/stream.hpp>

#include "xx/stream/chunked_queue.h"

namespace tagwire {
inline namespace v1 {

// What one source has in the queue, and what became of the rest. Guarded by the queue's lock.
class Lane {
  public:
    explicit Lane(const std::string& lasting_name) : name_(lasting_name) {}

  private:
    friend class EventQueue;

    struct Item {
        template <class What>
        Item(std::uint64_t number, const std::string& name, What&& what)
            : ticket(number), event(name, std::forward<What>(what))
        {}
        std::uint64_t ticket;  // the place in the order of all
        Event event;           // without content: taken back, not to be handed out
    };

    bool is_full(std::size_t capacity) const { return level_ >= capacity; }

    const std::string& name_;
    ChunkedQueue<Item> items_;
    std::size_t level_ = 0;      // events that count for the capacity
    std::size_t raw_level_ = 0;  // bytes that are no reports, which do not count
    bool has_turn_ = false;
    Gap untold_;  // reports for which there was no memory
    std::uint64_t sequence_ = 0;
    Event* unread_state_ = nullptr;
    bool waits_for_room_ = false;
    Counters counters_;
    Health health_;
};

class EventQueue {
  public:
    EventQueue(std::size_t capacity, Overflow overflow);
    ~EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Runs `put` with the lock held: what it puts is seen at once, and as one. Who is woken finds the lock free.
    template <class Put> void with_lock(Put put)
    {
        std::unique_lock lock(mutex_);
        put(*this);
        announce(std::move(lock));
    }

    // Reports that the lane takes now; no end of them unless the stream blocks.
    std::size_t room(const Lane& lane) const;
    // False when there is room already; else the next taker tells when there is.
    bool wait_for_room(Lane& lane);

    // Inside with_lock() only; nothing happens behind close().
    void put(const std::shared_ptr<Lane>& lane, Read&& read);
    void put(const std::shared_ptr<Lane>& lane, State state, std::string reason, unsigned attempts);
    bool put(const std::shared_ptr<Lane>& lane, InputChange change);  // false: there is no room
    void put(const std::shared_ptr<Lane>& lane, Raw raw);
    void count(Lane& lane, const Counters& more) const;
    // Nothing is taken in any more. Takers end when they have taken what is there.
    void close() { closed_ = true; }

    // Takes up to `most` events, waiting for the first one. Returns the lanes that have room again.
    std::size_t take(Event* to, std::size_t most, std::chrono::milliseconds timeout,
                     std::vector<Lane*>& relieved);
    bool is_at_end() const;
    // Kept level with the queue from the first call on.
    int fd();
    Counters counters(const Lane& lane) const;
    Health health(const Lane& lane) const;

  private:
    struct Turn {
        std::uint64_t ticket;
        std::shared_ptr<Lane> lane;
        friend bool operator<(const Turn& a, const Turn& b) { return a.ticket > b.ticket; }
    };

    template <class What> Event& append(const std::shared_ptr<Lane>& lane, What&& what);
    void append_read(const std::shared_ptr<Lane>& lane, Read& read);
    void give_turn(const std::shared_ptr<Lane>& lane);
    static void count_in(Lane& lane);
    static void drop_oldest(Lane& lane);
    static void tell_later(Lane& lane, std::uint64_t sequence);
    static void count_as_dropped(Lane& lane, const Read& read, Event& gap);
    static void remove(Lane& lane, std::size_t at);
    void drop_newest(const std::shared_ptr<Lane>& lane, std::uint64_t sequence);
    std::size_t take_turn(Event* to, std::size_t most, std::vector<Lane*>& relieved);
    void hand_out(Lane& lane, Event& to, std::vector<Lane*>& relieved);
    bool show();
    void announce(std::unique_lock<std::mutex> lock);

    const std::size_t capacity_;
    const Overflow overflow_;
    mutable std::mutex mutex_;
    std::condition_variable something_;
    std::vector<Turn> turns_;  // a heap: one for each lane that has items
    std::uint64_t tickets_ = 0;
    int readable_;
    bool is_shown_ = false;  // somebody has asked for the descriptor
    bool is_readable_ = false;
    bool closed_ = false;
};

}  // namespace v1
}  // namespace tagwire
