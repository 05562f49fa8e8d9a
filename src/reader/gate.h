// A gate that threads pass through, and that another thread can shut and wait behind until all are out.
//
// Passing costs two atomic operations. Used for what a close must wait for: the system calls on a descriptor,
// the worker's reads of a link, the moment between deciding for a callback and calling it.
#pragma once

#include <pthread.h>

namespace tagwire {

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
        __atomic_add_fetch(&inside_, 1, __ATOMIC_SEQ_CST);
        if (!__atomic_load_n(&shut_, __ATOMIC_SEQ_CST)) return true;
        leave();
        return false;
    }

    void leave()
    {
        if (__atomic_sub_fetch(&inside_, 1, __ATOMIC_SEQ_CST) != 0) return;
        if (__atomic_load_n(&shut_, __ATOMIC_SEQ_CST)) announce_empty();
    }

    void open() { __atomic_store_n(&shut_, false, __ATOMIC_SEQ_CST); }
    // Nobody enters any more. False when it was shut already.
    bool shut() { return !__atomic_exchange_n(&shut_, true, __ATOMIC_SEQ_CST); }
    bool is_shut() const { return __atomic_load_n(&shut_, __ATOMIC_SEQ_CST); }
    void await_empty();  // after shut(): returns when nobody is inside

  private:
    void announce_empty();

    unsigned inside_;
    bool shut_;
    pthread_mutex_t mutex_;
    pthread_cond_t emptied_;
};

// Inside a gate for the length of a scope.
class Passage {
  public:
    explicit Passage(Gate& gate) : gate_(gate), inside_(gate.enter()) {}
    ~Passage() { leave(); }
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

    explicit operator bool() const { return inside_; }
    void leave()
    {
        if (inside_) gate_.leave();
        inside_ = false;
    }

  private:
    Gate& gate_;
    bool inside_;
};

}  // namespace tagwire
