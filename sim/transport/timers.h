// One alarm per object, by the object's number.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "bytes.h"

namespace tagwire::sim {

class Timers {
  public:
    void set(std::uint64_t id, std::optional<Time> due)
    {
        const auto known = due_.find(id);
        if (known != due_.end()) {
            if (due && *due == known->second) return;
            order_.erase({known->second, id});
            due_.erase(known);
        }
        if (!due) return;
        due_[id] = *due;
        order_.insert({*due, id});
    }

    std::optional<Time> next() const
    {
        if (order_.empty()) return std::nullopt;
        return order_.begin()->first;
    }

    // Takes out one whose time has come.
    std::optional<std::uint64_t> take(Time now)
    {
        if (order_.empty() || order_.begin()->first > now) return std::nullopt;
        const std::uint64_t id = order_.begin()->second;
        order_.erase(order_.begin());
        due_.erase(id);
        return id;
    }

  private:
    std::set<std::pair<Time, std::uint64_t>> order_;
    std::unordered_map<std::uint64_t, Time> due_;
};

}  // namespace tagwire::sim
