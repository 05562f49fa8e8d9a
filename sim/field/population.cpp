#include "field/population.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace tagwire::sim {

Population::Population(const Scenario& scenario, const Settings& config, Random& random)
    : radio_(scenario, config), random_(random)
{
    tags_.reserve(scenario.tags.size());
    for (const TagSettings& tag : scenario.tags) tags_.emplace_back(tag);
}

void Population::add(const std::vector<TagSettings>& tags, Time now)
{
    if (tags_.size() + tags.size() > most_tags)
        throw std::invalid_argument("a reader's field holds 100000 tags, those that have left included");
    std::set<Bytes> epcs;
    for (const Tag& tag : tags_) {
        if (!tag.has_left(now) && !tag.state().killed) epcs.insert(tag.epc());
    }
    for (const TagSettings& tag : tags) {
        if (epcs.count(tag.epc) > 0)
            throw std::invalid_argument("a tag has the EPC " + to_hex(tag.epc) + " already");
        if (tag.departs && *tag.departs <= now)
            throw std::invalid_argument("departs is over: it counts from the making of the reader");
    }
    for (TagSettings tag : tags) {
        tag.arrives = std::max(tag.arrives, now);
        radio_.note_new(tag);
        tags_.emplace_back(tag);
    }
}

bool Population::take(const Bytes& epc, Time now)
{
    const auto shows = [&](const Tag& tag) {
        return tag.epc() == epc && !tag.has_left(now) && !tag.state().killed;
    };
    const auto found = std::find_if(tags_.begin(), tags_.end(), shows);
    if (found == tags_.end()) return false;
    found->leave(now);
    return true;
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
