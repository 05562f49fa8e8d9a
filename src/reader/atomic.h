// A value that several threads read and write. Trivial on purpose, with the size and layout of T, so that a
// Reader can start as zeroed memory.
#pragma once

namespace tagwire::engine {

template <class T> class Atomic {
  public:
    Atomic() = default;

    // Whole, and no order promised: the flags of a Reader.
    T load() const { return loaded<__ATOMIC_RELAXED>(); }
    operator T() const { return load(); }
    Atomic& operator=(T value)
    {
        __atomic_store(&value_, &value, __ATOMIC_RELAXED);
        return *this;
    }

    // Counts on, in no order.
    void count(T more) { __atomic_fetch_add(&value_, more, __ATOMIC_RELAXED); }

    // In one order with all others of this kind: what hands something over from one thread to another.
    T ordered_load() const { return loaded<__ATOMIC_SEQ_CST>(); }
    void ordered_store(T value) { __atomic_store(&value_, &value, __ATOMIC_SEQ_CST); }
    T exchange(T value) { return __atomic_exchange_n(&value_, value, __ATOMIC_SEQ_CST); }
    T add(T count) { return __atomic_add_fetch(&value_, count, __ATOMIC_SEQ_CST); }       // the new value
    T subtract(T count) { return __atomic_sub_fetch(&value_, count, __ATOMIC_SEQ_CST); }  // the new value
    // Stores `value` where `expected` stands; false, with what stands there, elsewhere.
    bool replace(T& expected, T value)
    {
        return __atomic_compare_exchange_n(&value_, &expected, value, false, __ATOMIC_SEQ_CST,
                                           __ATOMIC_RELAXED);
    }

    // Copying would suggest one access where there are two.
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

  private:
    template <int Order> T loaded() const
    {
        T value;
        __atomic_load(&value_, &value, Order);
        return value;
    }

    T value_;
};

static_assert(sizeof(Atomic<bool>) == 1);

}  // namespace tagwire::engine
