// Singling out tags by slotted rounds. A round has 2^Q slots; every tag that takes part replies in one that
// it draws. One reply is heard, several spoil each other, and the outcome of a round sets the Q of the next.
// A round without any reply tells that the antenna has no tag left.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "field/population.h"
#include "random.h"

namespace tagwire::sim {

struct InventoryRule {
    unsigned q = 4;
    unsigned session = 0;
    bool target_b = false;
    std::optional<Mask> mask;
    bool mask_excludes = false;      // only tags that do not match take part
    std::vector<unsigned> antennas;  // in turn
    std::optional<Time> scan_time;   // of air time, for all antennas together; none is 25.5 s
    Time extra_air_per_tag{};        // for reading more than the EPC
};

class Singulation {
  public:
    enum class Event { slot, tag, antenna_done, all_done, scan_time_over };

    // `factor` is the time that passes in the world for each unit of air time.
    Singulation(Population& field, const ReaderSettings& reader, Random& random, InventoryRule rule,
                Time start, double factor);

    // Goes on by one slot, or by a run of empty ones.
    Event step();

    std::size_t tag() const { return heard_; }   // of the last Event::tag
    Time heard_at() const { return heard_at_; }  // in the world
    unsigned antenna() const { return rule_.antennas[antenna_]; }
    unsigned rounds() const { return rounds_; }  // begun so far
    Time air_time() const { return air_; }
    Time world_time() const;
    const InventoryRule& rule() const { return rule_; }
    // Where the factor is 0, nothing but this moves the world on.
    void set_world_time(Time now) { start_ = now; }
    // Switches the field off, as it is when all is done: to be called when the inventory ends before.
    void power_off();

  private:
    struct Reply {
        std::uint32_t slot;
        std::size_t tag;
    };

    void begin_antenna();
    void begin_round();
    Event end_round();
    void switch_antenna();
    void pass_empty_slots(std::uint32_t count);
    Event take_replies();
    Event hear(std::size_t tag);
    bool takes_part(std::size_t index, Time now);

    Population& field_;
    const ReaderSettings& reader_;
    Random& random_;
    InventoryRule rule_;
    Time start_;
    double factor_;
    Time scan_time_;

    Time air_{};
    unsigned q_;
    std::size_t antenna_ = 0;
    bool selected_ = false;  // this antenna's Select commands have gone out
    bool only_sl_ = false;   // of its tags, only those with the SL flag take part
    bool in_round_ = false;
    bool switching_ = false;
    bool finished_ = false;
    std::uint32_t slot_ = 0;
    std::vector<Reply> replies_;  // by slot
    std::size_t next_reply_ = 0;
    unsigned collisions_ = 0;
    unsigned rounds_ = 0;
    std::size_t heard_ = 0;
    Time heard_at_{};
};

}  // namespace tagwire::sim
