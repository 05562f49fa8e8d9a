// The tags of one reader's field.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "bytes.h"
#include "field/tag.h"
#include "radio/radio.h"
#include "radio/selection.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

class Population {
  public:
    Population(const Scenario& scenario, const Settings& config);

    std::size_t size() const { return tags_.size(); }
    Tag& operator[](std::size_t index) { return tags_[index]; }
    const Tag& operator[](std::size_t index) const { return tags_[index]; }
    const Tag& at(std::size_t index) const { return tags_.at(index); }
    // Who may be in the field at that time, in their order; a few may have left already, and some are dead or silent.
    const std::vector<std::size_t>& present(Time now);
    // Of those who were not there yet when present() was asked.
    std::optional<Time> next_arrival() const;
    // The first that shows this EPC and has not left, though it may still have to come.
    std::optional<std::size_t> find(const Bytes& epc, Time now);

    // Behind those that are there; they arrive now at the earliest. Throws std::invalid_argument when there are too many, or two would show one EPC.
    void add(const std::vector<TagSettings>& tags, Time now);
    // The tag that shows this EPC leaves the field, but keeps its place here. False when there is none.
    bool take(const Bytes& epc, Time now);

    Radio& radio() { return radio_; }
    const Radio& radio() const { return radio_; }
    // Whether this moment lets any be heard.
    bool anyone_in_reach(const std::vector<unsigned>& antennas, Time now);
    void lose_power();

    Selection& selection() { return selection_; }
    const Selection& selection() const { return selection_; }
    // Sends the antenna's Select commands to the tags there.
    void apply_selection(unsigned antenna, Time now, const ReaderSettings& reader);
    void apply(const Select& select, unsigned antenna, Time now, const ReaderSettings& reader);
    // What this moment makes of the tag, if it is in the field at all; one that it leaves without power forgets its
    // session 0.
    Contact meet(Tag& tag, unsigned antenna, Time now);

  private:
    void note_new();
    void recall(Time now);

    std::vector<Tag> tags_;
    bool epc_changes_ = false;                  // since by_epc_ was made
    std::multimap<Bytes, std::size_t> by_epc_;  // the first of `tags_`
    std::vector<std::size_t>
        arriving_;             // all of `tags_`, those who are still to come in the order of their arrival
    std::size_t arrived_ = 0;  // so many of `arriving_`
    std::vector<std::size_t> present_;
    Time present_since_{};  // from then on nobody is missing among them
    Selection selection_;
    Radio radio_;
};

}  // namespace tagwire::sim
