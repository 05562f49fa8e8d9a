#include "radio/selection.h"

#include <algorithm>
#include <array>

namespace tagwire::sim {

namespace {

constexpr std::size_t most_selects = 16;

struct Action {
    FlagChange matching;
    FlagChange others;
};

constexpr std::array<Action, Select::last_action + 1> actions{{
    {FlagChange::raise, FlagChange::clear},
    {FlagChange::raise, FlagChange::keep},
    {FlagChange::keep, FlagChange::clear},
    {FlagChange::negate, FlagChange::keep},
    {FlagChange::clear, FlagChange::raise},
    {FlagChange::clear, FlagChange::keep},
    {FlagChange::keep, FlagChange::raise},
    {FlagChange::keep, FlagChange::negate},
}};

}  // namespace

FlagChange Select::change(bool matches) const
{
    const Action& effect = actions.at(action);
    return matches ? effect.matching : effect.others;
}

bool Selection::add(const std::vector<unsigned>& antennas, const Select& select)
{
    const auto is_full = [&](unsigned antenna) { return at(antenna).size() >= most_selects; };
    if (!select.decides_all() && std::any_of(antennas.begin(), antennas.end(), is_full)) return false;
    for (const unsigned antenna : antennas) {
        std::vector<Select>& selects = selects_[antenna];
        if (select.decides_all()) {
            std::erase_if(selects, [&](const Select& earlier) { return earlier.target == select.target; });
        }
        selects.push_back(select);
    }
    return true;
}

void Selection::clear(const std::vector<unsigned>& antennas)
{
    for (const unsigned antenna : antennas) selects_.erase(antenna);
}

const std::vector<Select>& Selection::at(unsigned antenna) const
{
    static const std::vector<Select> none;
    const auto found = selects_.find(antenna);
    return found == selects_.end() ? none : found->second;
}

bool Selection::asks_for_sl(unsigned antenna) const
{
    const auto& selects = at(antenna);
    return std::any_of(selects.begin(), selects.end(),
                       [](const Select& select) { return select.target == Select::sl_target; });
}

std::optional<unsigned> Selection::session(unsigned antenna) const
{
    std::optional<unsigned> session;
    for (const Select& select : at(antenna)) {
        if (select.target != Select::sl_target) session = select.target;
    }
    return session;
}

}  // namespace tagwire::sim
