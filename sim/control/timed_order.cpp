#include "control/timed_order.h"

#include <algorithm>

namespace tagwire::sim {

namespace {

bool is_earlier(const TimedOrder& a, const TimedOrder& b) { return a.at < b.at; }

}  // namespace

std::optional<Time> TimedOrders::next() const
{
    const auto first = std::min_element(orders_.begin(), orders_.end(), is_earlier);
    if (first == orders_.end()) return std::nullopt;
    return first->at;
}

std::optional<std::string> TimedOrders::take(Time now)
{
    const auto first = std::min_element(orders_.begin(), orders_.end(), is_earlier);
    if (first == orders_.end() || first->at > now) return std::nullopt;
    std::string words = first->words;
    if (first->every)
        first->at += *first->every * ((now - first->at) / *first->every + 1);
    else
        orders_.erase(first);
    return words;
}

}  // namespace tagwire::sim
