// What a reader keeps of the tags it has read, to be handed over later, and the list of tags it searches for.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "bytes.h"
#include "truth/heard.h"

namespace tagwire::sim {

struct StoredTag {
    Heard heard;  // the first time
    Bytes id;
    std::uint8_t rssi = 0;  // of the latest reading, as the time is
    std::uint32_t readings = 0;
    Time latest{};
};

// Holds every ID once per antenna, in the order of their first reading.
class TagBuffer {
  public:
    explicit TagBuffer(std::size_t capacity) : capacity_(capacity) {}

    // When the buffer is full, a tag that is not in it is left out.
    void note(const Heard& heard, const Bytes& id, std::uint8_t rssi, Time now);
    const std::vector<StoredTag>& tags() const { return tags_; }
    void clear();

  private:
    struct Order {
        using is_transparent = void;
        template <typename A, typename B> bool operator()(const A& a, const B& b) const
        {
            return std::tie(a.first, a.second) < std::tie(b.first, b.second);
        }
    };

    std::size_t capacity_;
    std::vector<StoredTag> tags_;
    std::map<std::pair<unsigned, Bytes>, std::size_t, Order> places_;
};

struct TagStore {
    explicit TagStore(std::size_t capacity) : inventoried(capacity), read(capacity) {}

    TagBuffer inventoried;  // by inventories into the buffer
    TagBuffer read;         // while reading continuously
    std::uint8_t save_length = 0;
    std::set<Bytes> wanted;
};

}  // namespace tagwire::sim
