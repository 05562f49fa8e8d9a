// The tags of one reader's field.
#pragma once

#include <vector>

#include "bytes.h"
#include "field/tag.h"
#include "radio/selection.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

class Population {
  public:
    explicit Population(const Scenario& scenario);

    std::size_t size() const { return tags_.size(); }
    Tag& operator[](std::size_t index) { return tags_[index]; }
    const Tag& operator[](std::size_t index) const { return tags_[index]; }
    const Tag& at(std::size_t index) const { return tags_.at(index); }

    bool anyone_seen_by(const std::vector<unsigned>& antennas, Time now) const;
    void lose_power();

    Selection& selection() { return selection_; }
    const Selection& selection() const { return selection_; }
    // Sends the antenna's Select commands to the tags there.
    void apply_selection(unsigned antenna, Time now, const ReaderSettings& reader);
    void apply(const Select& select, unsigned antenna, Time now, const ReaderSettings& reader);

  private:
    std::vector<Tag> tags_;
    Selection selection_;
};

}  // namespace tagwire::sim
