// A value that several threads read and write, each access whole and no order promised: the flags of a
// Reader. Trivial on purpose, with the size and layout of T, so that a Reader can start as zeroed memory.
#pragma once

namespace tagwire {

template <class T> class Relaxed {
  public:
    Relaxed() = default;

    T load() const
    {
        T value;
        __atomic_load(&value_, &value, __ATOMIC_RELAXED);
        return value;
    }
    void store(T value) { __atomic_store(&value_, &value, __ATOMIC_RELAXED); }

    operator T() const { return load(); }
    Relaxed& operator=(T value)
    {
        store(value);
        return *this;
    }

    // Copying would suggest one access where there are two.
    Relaxed(const Relaxed&) = delete;
    Relaxed& operator=(const Relaxed&) = delete;

  private:
    T value_;
};

static_assert(sizeof(Relaxed<bool>) == 1);

}  // namespace tagwire
