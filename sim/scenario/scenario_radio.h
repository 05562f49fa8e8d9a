// The part of a scenario that says where antennas and tags are: [radio], [antenna.N], and the place of a [[tag]].
#pragma once

#include <string>
#include <string_view>

#include "scenario/scenario_section.h"

namespace tagwire::sim {

inline constexpr double farthest = 10000;  // metres

struct Range {
    double lowest;
    double highest;

    bool holds(double value) const { return value >= lowest && value <= highest; }  // no NaN
    std::string problem(std::string_view key) const;
};

bool is_place(const Vector& place);
bool is_direction(const Vector& direction);

// x, y and z behind `first` other numbers.
Vector read_vector(const Section& section, const toml::node& node, std::string_view key,
                   std::size_t first = 0);
void read_vector(Section& section, std::string_view key, Vector& vector);
void read_direction(Section& section, std::string_view key, Vector& direction);
// What a tag needs and the frequency that suits it.
void read_reception(Section& section, TagRadioSettings& radio);

// [radio] and the antennas; the reader's settings are there already.
void read_radio(Section& top, Scenario& scenario);
// The keys of a tag that has a place.
void read_tag_radio(Section& tag, std::optional<TagRadioSettings>& radio);

// Both throw ScenarioError.
void check_radio(const Scenario& scenario, const std::string& source);
void check_reception(TagRadioSettings radio, const std::string& source);

}  // namespace tagwire::sim
