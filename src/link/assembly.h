// Bytes from the link that are not yet framed.
#pragma once

#include <cstring>

#include "link/overlapping.h"
#include "reader/operations.h"

namespace tagwire::engine {

// A window over a buffer: bytes are dropped by moving a cursor, so that finding the next frame in noise takes
// time in proportion to the noise.
class Assembly {
  public:
    Assembly(u8* buffer, int capacity) : buffer_(buffer), capacity_(capacity) {}

    int size() const { return end_ - begin_; }
    const u8* front() const { return buffer_ + begin_; }
    u8 operator[](int i) const { return buffer_[begin_ + i]; }
    void drop(int count) { begin_ += count; }

    // False only where these of its bytes have a bad CRC. To be asked from front to back.
    bool may_be_frame(const u8* from, int length)
    {
        return windows_.may_be_good(from, static_cast<std::size_t>(length));
    }

    // Takes what there is room for and returns how much that was.
    int append(const u8* from, int count)
    {
        make_room();
        const int taken = count < capacity_ - end_ ? count : capacity_ - end_;
        std::memcpy(buffer_ + end_, from, static_cast<std::size_t>(taken));
        end_ += taken;
        return taken;
    }

    // Appends a chunk piece by piece and calls `scan` after each. Ends early when scan returns true (it is
    // done) or when it leaves no room; true in the first case.
    template <class Scan> bool feed(const u8* from, int count, Scan scan)
    {
        while (count > 0) {
            const int taken = append(from, count);
            if (scan()) return true;
            if (taken == 0) return false;
            from += taken;
            count -= taken;
        }
        return false;
    }

  private:
    void make_room()
    {
        if (begin_ == 0) return;
        windows_.forget();
        std::memmove(buffer_, buffer_ + begin_, static_cast<std::size_t>(size()));
        end_ -= begin_;
        begin_ = 0;
    }

    u8* buffer_;
    int capacity_;
    int begin_ = 0;
    int end_ = 0;
    OverlappingWindows windows_;
};

}  // namespace tagwire::engine
