// The tags of one reader's field.
#pragma once

#include <vector>

#include "bytes.h"
#include "field/tag.h"
#include "radio/radio.h"
#include "radio/selection.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

class Population {
  public:
    Population(const Scenario& scenario, const Settings& config, Random& random);

    std::size_t size() const { return tags_.size(); }
    Tag& operator[](std::size_t index) { return tags_[index]; }
    const Tag& operator[](std::size_t index) const { return tags_[index]; }
    const Tag& at(std::size_t index) const { return tags_.at(index); }

    // Behind those that are there; they arrive now at the earliest. Throws std::invalid_argument when there are too many, or two would show one EPC.
    void add(const std::vector<TagSettings>& tags, Time now);
    // The tag that shows this EPC leaves the field, but keeps its place here. False when there is none.
    bool take(const Bytes& epc, Time now);

    Radio& radio() { return radio_; }
    const Radio& radio() const { return radio_; }
    // Of those that are in the field and reply, whether any may be reached.
    bool anyone_in_reach(const std::vector<unsigned>& antennas, Time now) const;
    void lose_power();

    Selection& selection() { return selection_; }
    const Selection& selection() const { return selection_; }
    // Sends the antenna's Select commands to the tags there.
    void apply_selection(unsigned antenna, Time now, const ReaderSettings& reader);
    void apply(const Select& select, unsigned antenna, Time now, const ReaderSettings& reader);
    // Whether this moment gives the tag power, if it is in the field at all; one without forgets its session 0.
    bool gives_power(Tag& tag, unsigned antenna, Time now);

  private:
    std::vector<Tag> tags_;
    Selection selection_;
    Radio radio_;
    Random& random_;
};

}  // namespace tagwire::sim
