#include "truth/field_watch.h"

#include <algorithm>

namespace tagwire::sim {

namespace {

constexpr Time usual_step = std::chrono::milliseconds(20);

bool is_there(const Tag6b&) { return true; }
bool is_there(const TagGb& tag) { return !tag.is_killed(); }

}  // namespace

void FieldWatch::look(Time now, Truth& truth)
{
    next_ = now + usual_step;
    for (auto& [spot, stay] : stays_) stay.goes_on = false;
    Population& field = device_.field();
    for (const std::size_t i : field.present(now)) {
        const Tag& tag = field[i];
        look_again(now, tag.settings().departs);
        if (!tag.is_present(now)) continue;
        for (const unsigned port : device_.enabled_antennas()) {
            if (device_.in_reach(tag, port, now))
                see({Kind::gen2, i, port}, tag.epc(), tag.stored(Bank::tid), now, truth);
        }
    }
    look_again(now, field.next_arrival());
    const OtherTags& others = device_.other_tags();
    const std::vector<unsigned> ports = device_.plugged_antennas();
    look_for(Kind::iso_6b, others.iso_6b, ports, now, truth);
    if (device_.settings().protocol_family == ProtocolFamily::gb)
        look_for(Kind::gb, others.gb, ports, now, truth);
    else
        look_for(Kind::jb, others.jb, ports, now, truth);
    std::erase_if(stays_, [&](const auto& entry) {
        if (!entry.second.goes_on) leave(entry.second, now, truth);
        return !entry.second.goes_on;
    });
}

template <typename Tags>
void FieldWatch::look_for(Kind kind, const Tags& tags, const std::vector<unsigned>& ports, Time now,
                          Truth& truth)
{
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const TagPlace& place = tags[i].place();
        look_again(now, place.arrives);
        look_again(now, place.departs);
        if (!place.is_present(now) || !is_there(tags[i])) continue;
        for (const unsigned port : ports) {
            if (place.is_seen_by(port)) see({kind, i, port}, tags[i].id(), {}, now, truth);
        }
    }
}

void FieldWatch::end(Time now, Truth& truth)
{
    for (const auto& [spot, stay] : stays_) leave(stay, now, truth);
    stays_.clear();
}

void FieldWatch::look_again(Time now, const std::optional<Time>& then)
{
    if (then && *then > now) next_ = std::min(next_, *then);
}

// A tag that shows another EPC than before is another one.
void FieldWatch::see(const Spot& spot, const Bytes& epc, const Bytes& tid, Time now, Truth& truth)
{
    const auto [found, is_new] = stays_.try_emplace(spot);
    Stay& stay = found->second;
    stay.goes_on = true;
    if (!is_new && stay.tag.epc == epc) return;
    if (!is_new) leave(stay, now, truth);
    stay.tag = {epc, tid, spot.port};
    stay.since = now;
    truth.enters(origin_ + now, reader_, device_.antenna_byte(spot.port), stay.tag);
}

void FieldWatch::leave(const Stay& stay, Time now, Truth& truth) const
{
    truth.leaves(origin_ + now, origin_ + stay.since, reader_, stay.tag);
}

}  // namespace tagwire::sim
