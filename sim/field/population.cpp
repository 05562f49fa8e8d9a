#include "field/population.h"

#include <algorithm>

namespace tagwire::sim {

Population::Population(const Scenario& scenario)
{
    tags_.reserve(scenario.tags.size());
    for (const TagSettings& tag : scenario.tags) tags_.emplace_back(tag);
}

bool Population::anyone_seen_by(const std::vector<unsigned>& antennas, Time now) const
{
    const auto seen = [&](const Tag& tag) {
        return tag.is_present(now) && std::any_of(antennas.begin(), antennas.end(),
                                                  [&](unsigned port) { return tag.is_seen_by(port); });
    };
    return std::any_of(tags_.begin(), tags_.end(), seen);
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
        if (!tag.is_in_field(now) || !tag.is_seen_by(antenna)) continue;
        tag.energise(now, reader);
        tag.obey(select, now);
    }
}

}  // namespace tagwire::sim
