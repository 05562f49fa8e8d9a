#include "radio/singulation.h"

#include <algorithm>
#include <utility>

namespace tagwire::sim {

namespace {

using std::chrono::microseconds;

constexpr Time round_air = microseconds(1000);
constexpr Time antenna_air = microseconds(2000);
constexpr Time empty_slot_air = microseconds(100);
constexpr Time collision_air = microseconds(400);
constexpr Time reply_air = microseconds(2000);

constexpr Time longest_scan = std::chrono::milliseconds(25500);

constexpr unsigned largest_q = 15;
constexpr std::uint32_t longest_empty_run = 128;

// The smallest Q whose slots hold `tags`.
unsigned fitting_q(unsigned tags)
{
    unsigned q = 0;
    while (q < largest_q && (1U << q) < tags) ++q;
    return q;
}

}  // namespace

Singulation::Singulation(Population& field, const ReaderSettings& reader, Random& random, InventoryRule rule,
                         Time start, double factor)
    : field_(field), reader_(reader), random_(random), rule_(std::move(rule)), start_(start), factor_(factor),
      scan_time_(rule_.scan_time.value_or(longest_scan)), q_(std::min(rule_.q, largest_q))
{}

Time Singulation::world_time() const
{
    return start_ + Time(static_cast<Time::rep>(static_cast<double>(air_.count()) * factor_));
}

void Singulation::power_off() { field_.lose_power(); }

Singulation::Event Singulation::step()
{
    if (finished_) return Event::all_done;
    if (air_ >= scan_time_) return Event::scan_time_over;
    if (switching_) {
        switch_antenna();
        return Event::slot;
    }
    if (!in_round_) {
        begin_round();
        return Event::slot;
    }
    if (slot_ == 1U << q_) return end_round();
    const std::uint32_t next = next_reply_ < replies_.size() ? replies_[next_reply_].slot : 1U << q_;
    if (next > slot_) {
        pass_empty_slots(std::min(next - slot_, longest_empty_run));
        return Event::slot;
    }
    return take_replies();
}

void Singulation::switch_antenna()
{
    switching_ = false;
    power_off();
    ++antenna_;
    selected_ = false;
    air_ += antenna_air;
    q_ = std::min(rule_.q, largest_q);
}

// A long run of silence means that Q is far too large: the round is broken off.
void Singulation::pass_empty_slots(std::uint32_t count)
{
    slot_ += count;
    air_ += empty_slot_air * count;
    if (count < longest_empty_run || slot_ == 1U << q_) return;
    q_ -= 2;
    in_round_ = false;
}

Singulation::Event Singulation::take_replies()
{
    const std::size_t first = next_reply_;
    while (next_reply_ < replies_.size() && replies_[next_reply_].slot == slot_) ++next_reply_;
    ++slot_;
    if (next_reply_ - first == 1) return hear(replies_[first].tag);
    ++collisions_;
    air_ += collision_air;
    return Event::slot;
}

bool Singulation::takes_part(std::size_t index, Time now)
{
    Tag& tag = field_[index];
    const Contact contact = field_.meet(tag, antenna(), now);
    if (contact.has_power) tag.energise(now, reader_);
    if (!contact.is_heard || !tag.state().replies()) return false;
    if (only_sl_ && !tag.is_selected()) return false;
    if (rule_.mask && tag.matches(*rule_.mask) == rule_.mask_excludes) return false;
    return tag.is_in_b(rule_.session) == rule_.target_b;
}

void Singulation::begin_antenna()
{
    selected_ = true;
    only_sl_ = field_.selection().asks_for_sl(antenna());
    field_.apply_selection(antenna(), world_time(), reader_);
}

void Singulation::begin_round()
{
    if (!selected_) begin_antenna();
    air_ += round_air;
    ++rounds_;
    in_round_ = true;
    slot_ = 0;
    collisions_ = 0;
    next_reply_ = 0;
    replies_.clear();
    const Time now = world_time();
    for (const std::size_t i : field_.present(now)) {
        if (takes_part(i, now)) replies_.push_back({random_.below(1U << q_), i});
    }
    std::stable_sort(replies_.begin(), replies_.end(),
                     [](const Reply& a, const Reply& b) { return a.slot < b.slot; });
}

Singulation::Event Singulation::hear(std::size_t index)
{
    Tag& tag = field_[index];
    const Time now = world_time();
    if (!field_.meet(tag, antenna(), now).is_heard || !tag.state().replies()) {
        air_ += empty_slot_air;
        return Event::slot;
    }
    heard_at_ = now;
    air_ += reply_air + rule_.extra_air_per_tag;
    tag.energise(world_time(), reader_);
    tag.set_flag(rule_.session, !rule_.target_b, world_time());
    heard_ = index;
    return Event::tag;
}

Singulation::Event Singulation::end_round()
{
    in_round_ = false;
    const bool quiet = replies_.empty();
    // Some 2.39 tags share a slot in which tags collide.
    q_ = fitting_q((collisions_ * 239 + 99) / 100);
    if (!quiet) return Event::slot;
    if (antenna_ + 1 < rule_.antennas.size()) {
        switching_ = true;
        return Event::antenna_done;
    }
    finished_ = true;
    power_off();
    return Event::all_done;
}

}  // namespace tagwire::sim
