// The handle table: which Reader a handle names.
#pragma once

#include "reader/reader.h"

extern "C" {
// Slot 0 is never used. Applications go through the functions that take a handle.
TAGWIRE_API extern Reader* EthReader[256];
// True while OpenNetPort runs.
TAGWIRE_API extern bool isOpening;
}

namespace tagwire::engine {

inline constexpr int first_handle = 1;
inline constexpr int last_handle = 255;

// The table's lock, held for moments only: never around a wait or a system call on a link.
extern pthread_mutex_t table_mutex;

// The Reader of a handle, kept alive for a scope.
class Borrowed {
  public:
    explicit Borrowed(int handle);                              // looks it up; empty when there is none
    explicit Borrowed(Reader* retained) : reader_(retained) {}  // takes over a reference
    ~Borrowed()
    {
        if (reader_ != nullptr) release(reader_);
    }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    explicit operator bool() const { return reader_ != nullptr; }
    Reader* operator->() const { return reader_; }
    Reader* get() const { return reader_; }

  private:
    Reader* reader_ = nullptr;
};

// A new Reader in the lowest free slot, with a reference for the caller. It is marked as opening, and so are
// the calls of other threads kept from it until its handle is given out; null when no slot, memory or
// descriptor is left.
Reader* occupy_slot(int& handle);

// Frees the slot if this Reader is in it.
void clear_slot(int handle, const Reader* reader);

// The Reader connected to this IP address, with a reference for the caller and its handle; null when there is
// none.
Reader* find_by_address(const char* ip_address, int& handle);

}  // namespace tagwire::engine
