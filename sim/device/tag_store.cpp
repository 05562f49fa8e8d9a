#include "device/tag_store.h"

#include <limits>

namespace tagwire::sim {

void TagBuffer::note(const Heard& heard, const Bytes& id, std::uint8_t rssi, Time now)
{
    auto place = places_.find(std::pair<unsigned, const Bytes&>(heard.port, id));
    if (place == places_.end()) {
        if (tags_.size() >= capacity_) return;
        place = places_.emplace(std::pair(heard.port, id), tags_.size()).first;
        tags_.push_back({heard, id});
    }
    StoredTag& tag = tags_[place->second];
    tag.rssi = rssi;
    tag.latest = now;
    if (tag.readings < std::numeric_limits<std::uint32_t>::max()) ++tag.readings;
}

void TagBuffer::clear()
{
    tags_.clear();
    places_.clear();
}

}  // namespace tagwire::sim
