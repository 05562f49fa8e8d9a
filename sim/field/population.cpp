#include "field/population.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tagwire::sim {

namespace {

// By how much the times may go back that are asked for; more costs a look at all tags.
constexpr Time disorder = std::chrono::milliseconds(100);

}  // namespace

Population::Population(const Scenario& scenario, const Settings& config) : radio_(scenario, config)
{
    const std::vector<TagSettings> tags = scenario.all_tags();
    tags_.reserve(tags.size());
    for (const TagSettings& tag : tags) {
        radio_.note_new(tag);
        tags_.emplace_back(tag, &epc_changes_);
    }
}

void Population::add(const std::vector<TagSettings>& tags, Time now)
{
    if (tags_.size() + tags.size() > most_tags)
        throw std::invalid_argument("a reader's field holds 100000 tags, those that have left included");
    for (const TagSettings& tag : tags) {
        if (find(tag.epc, now))
            throw std::invalid_argument("a tag has the EPC " + to_hex(tag.epc) + " already");
        if (tag.departs && *tag.departs <= now)
            throw std::invalid_argument("departs is over: it counts from the making of the reader");
    }
    for (TagSettings tag : tags) {
        tag.arrives = std::max(tag.arrives, now);
        radio_.note_new(tag);
        tags_.emplace_back(tag, &epc_changes_);
    }
}

bool Population::take(const Bytes& epc, Time now)
{
    const auto found = find(epc, now);
    if (!found) return false;
    tags_[*found].leave(now);
    return true;
}

std::optional<std::size_t> Population::find(const Bytes& epc, Time now)
{
    if (std::exchange(epc_changes_, false)) by_epc_.clear();
    for (std::size_t i = by_epc_.size(); i < tags_.size(); ++i) by_epc_.emplace(tags_[i].epc(), i);
    const auto [begin, end] = by_epc_.equal_range(epc);
    const auto found = std::find_if(begin, end, [&](const auto& entry) {
        return !tags_[entry.second].has_left(now) && !tags_[entry.second].state().killed;
    });
    return found == end ? std::nullopt : std::optional(found->second);
}

void Population::note_new()
{
    if (arriving_.size() == tags_.size()) return;
    while (arriving_.size() < tags_.size()) arriving_.push_back(arriving_.size());
    std::stable_sort(arriving_.begin() + static_cast<std::ptrdiff_t>(arrived_), arriving_.end(),
                     [this](std::size_t a, std::size_t b) {
                         return tags_[a].settings().arrives < tags_[b].settings().arrives;
                     });
}

const std::vector<std::size_t>& Population::present(Time now)
{
    note_new();
    const std::size_t before = present_.size();
    for (; arrived_ < arriving_.size(); ++arrived_) {
        if (tags_[arriving_[arrived_]].settings().arrives > now) break;
        present_.push_back(arriving_[arrived_]);
    }
    if (present_.size() > before) std::sort(present_.begin(), present_.end());
    if (now < present_since_ || now > present_since_ + 2 * disorder) recall(now - disorder);
    return present_;
}

std::optional<Time> Population::next_arrival() const
{
    if (arrived_ == arriving_.size()) return std::nullopt;
    return tags_[arriving_[arrived_]].settings().arrives;
}

// Requests, rounds and reports ask at slightly different times.
void Population::recall(Time now)
{
    const auto is_gone = [&](std::size_t index) {
        return tags_[index].has_left(now) || tags_[index].state().killed;
    };
    if (now < present_since_) {
        present_.assign(arriving_.begin(), arriving_.begin() + static_cast<std::ptrdiff_t>(arrived_));
        std::sort(present_.begin(), present_.end());
    }
    std::erase_if(present_, is_gone);
    present_since_ = now;
}

bool Population::anyone_in_reach(const std::vector<unsigned>& antennas, Time now)
{
    const auto is_heard = [&](std::size_t index) {
        const Tag& tag = tags_[index];
        return tag.is_present(now) && std::any_of(antennas.begin(), antennas.end(), [&](unsigned port) {
                   return radio_.contact(port, tag, now).is_heard;
               });
    };
    const auto& tags = present(now);
    return std::any_of(tags.begin(), tags.end(), is_heard);
}

Contact Population::meet(Tag& tag, unsigned antenna, Time now)
{
    Contact contact;
    if (tag.is_in_field(now)) contact = radio_.contact(antenna, tag, now);
    if (!contact.has_power && tag.settings().radio) tag.lose_power();
    return contact;
}

void Population::lose_power()
{
    for (const std::size_t index : present_) tags_[index].lose_power();
}

void Population::apply_selection(unsigned antenna, Time now, const ReaderSettings& reader)
{
    for (const Select& select : selection_.at(antenna)) apply(select, antenna, now, reader);
}

void Population::apply(const Select& select, unsigned antenna, Time now, const ReaderSettings& reader)
{
    for (const std::size_t index : present(now)) {
        Tag& tag = tags_[index];
        if (!meet(tag, antenna, now).has_power) continue;
        tag.energise(now, reader);
        tag.obey(select, now);
    }
}

}  // namespace tagwire::sim
