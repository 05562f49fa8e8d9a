#include "field/population.h"

#include <algorithm>

namespace tagwire::sim {

Population::Population(const Scenario& scenario, const Settings& config, Random& random)
    : radio_(scenario, config), random_(random)
{
    tags_.reserve(scenario.tags.size());
    for (const TagSettings& tag : scenario.tags) tags_.emplace_back(tag);
}

bool Population::anyone_in_reach(const std::vector<unsigned>& antennas, Time now) const
{
    const auto in_reach = [&](const Tag& tag) {
        return tag.is_present(now) && std::any_of(antennas.begin(), antennas.end(), [&](unsigned port) {
                   return radio_.may_reach(port, tag, now);
               });
    };
    return std::any_of(tags_.begin(), tags_.end(), in_reach);
}

bool Population::gives_power(Tag& tag, unsigned antenna, Time now)
{
    if (tag.is_in_field(now) && radio_.powers(antenna, tag, now, random_)) return true;
    if (tag.settings().radio) tag.lose_power();
    return false;
}

void Population::lose_power()
{
    for (Tag& tag : tags_) tag.lose_power();
}

void Population::apply_selection(unsigned antenna, Time now, const ReaderSettings& reader)
{
    for (const Select& select : selection_.at(antenna)) apply(select, antenna, now, reader);
}

void Population::apply(const Select& select, unsigned antenna, Time now, const ReaderSettings& reader)
{
    for (Tag& tag : tags_) {
        if (!gives_power(tag, antenna, now)) continue;
        tag.energise(now, reader);
        tag.obey(select, now);
    }
}

}  // namespace tagwire::sim
