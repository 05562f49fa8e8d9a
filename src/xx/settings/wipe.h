// Overwrites what may hold a password before it is freed.
#pragma once

#include <cstring>
#include <string>

#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {

template <class Value> void wipe(Value& value) noexcept
{
    if (!value.empty()) ::explicit_bzero(value.data(), value.size());
}

// At the end of a block.
template <class Value> class WipedAtEnd {
  public:
    explicit WipedAtEnd(Value& value) : value_(value) {}
    ~WipedAtEnd() { wipe(value_); }
    WipedAtEnd(const WipedAtEnd&) = delete;
    WipedAtEnd& operator=(const WipedAtEnd&) = delete;

  private:
    Value& value_;
};

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
