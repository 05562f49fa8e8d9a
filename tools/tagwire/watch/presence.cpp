#include "watch/presence.h"

#include <algorithm>

#include "tag_table.h"

namespace tagwire::tool {

bool Presence::add(const Read& read, const std::string& reader)
{
    const auto [at, is_new] = stays_.try_emplace(id_of(read));
    auto& stay = at->second;
    if (is_new) stay.first = read;
    stay.last = read;
    stay.reader = reader;
    ++stay.reads;
    return is_new;
}

std::vector<Stay> Presence::take_departed(std::chrono::steady_clock::time_point now,
                                          const std::set<std::string>& away_readers)
{
    std::vector<Stay> departed;
    for (auto at = stays_.begin(); at != stays_.end();) {
        const auto& stay = at->second;
        if (now - stay.last.received.steady < away_after_ || away_readers.contains(stay.reader)) {
            ++at;
            continue;
        }
        departed.push_back(stay);
        at = stays_.erase(at);
    }
    std::sort(departed.begin(), departed.end(),
              [](const Stay& a, const Stay& b) { return a.last.received.steady < b.last.received.steady; });
    return departed;
}

}  // namespace tagwire::tool
