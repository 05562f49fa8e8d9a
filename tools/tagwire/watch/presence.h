// Which tags are there: who came, and who left.
#pragma once

#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <tagwirexx/read.hpp>

namespace tagwire::tool {

struct Stay {
    Read first;
    Read last;
    std::string reader;  // that read it last
    std::uint64_t reads = 0;
};

class Presence {
  public:
    // A tag that nobody reads for so long has left.
    explicit Presence(std::chrono::milliseconds away_after) : away_after_(away_after) {}

    // Whether the tag has just come.
    bool add(const Read& read, const std::string& reader);
    // Those that have left by now, the one that was read longest ago first. What a reader read last that is away
    // itself stays.
    std::vector<Stay> take_departed(std::chrono::steady_clock::time_point now,
                                    const std::set<std::string>& away_readers);

  private:
    std::chrono::milliseconds away_after_;
    std::unordered_map<std::string, Stay> stays_;
};

}  // namespace tagwire::tool
