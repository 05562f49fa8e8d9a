// What few errors carry.
#pragma once

#include <tagwirexx/error.hpp>
#include <tagwirexx/inventory.hpp>

namespace tagwire {
inline namespace v1 {

struct ErrorDetails {
    std::vector<MemoryRange> written = {};
    std::vector<MemoryRange> not_written = {};
    std::vector<MemoryRange> unknown = {};
    std::vector<SeenTag> answered = {};
    std::vector<Read> reads = {};
    int tag_error = -1;
};

}  // namespace v1
}  // namespace tagwire
