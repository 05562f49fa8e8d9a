// A gate that threads pass through, and that another thread can shut and wait behind until all are out.
//
// Used for what a close or a stop must wait for: the system calls on a descriptor, the worker's reads of a
// link. Passing costs two atomic operations.
#pragma once

#include "reader/atomic.h"
#include "reader/lock.h"

namespace tagwire::engine {

class Gate {
  public:
    Gate() = default;
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void init();     // open, nobody inside
    void destroy();  // nobody may be inside or waiting

    // False when the gate is shut; only after true must leave() follow.
    bool enter()
    {
        inside_.add(1);
        if (!is_shut()) return true;
        leave();
        return false;
    }
    void leave()
    {
        if (inside_.subtract(1) == 0 && is_shut()) announce_empty();
    }

    void open() { shut_.ordered_store(false); }
    // Nobody enters any more. False when it was shut already.
    bool shut() { return !shut_.exchange(true); }
    bool is_shut() const { return shut_.ordered_load(); }
    void await_empty();  // after shut(): returns when nobody is inside

  private:
    void announce_empty();

    Atomic<unsigned> inside_;
    Atomic<bool> shut_;
    pthread_mutex_t mutex_;
    pthread_cond_t emptied_;
};

// Inside a gate for the length of a scope.
class Passage {
  public:
    explicit Passage(Gate& gate) : gate_(gate), inside_(gate.enter()) {}
    ~Passage()
    {
        if (inside_) gate_.leave();
    }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    explicit operator bool() const { return inside_; }

  private:
    Gate& gate_;
    bool inside_;
};

}  // namespace tagwire::engine
