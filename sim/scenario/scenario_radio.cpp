#include "scenario/scenario_radio.h"

#include <algorithm>
#include <cmath>

namespace tagwire::sim {

namespace {

constexpr double shortest_direction = 1e-6;

// Calls `visit(key, number, range)` for all numbers of one of these.
template <typename Visit> void visit_numbers(RadioSettings& radio, const Visit& visit)
{
    visit("fading", radio.fading, Range{0, 20});
    visit("sensitivity", radio.sensitivity, Range{-120, 0});
}

template <typename Visit> void visit_numbers(AntennaSettings& antenna, const Visit& visit)
{
    visit("cable_loss", antenna.cable_loss, Range{0, 60});
    visit("gain", antenna.gain, Range{-30, 30});
    visit("beam_width", antenna.beam_width, Range{1, 360});
}

template <typename Visit> void visit_numbers(TagRadioSettings& tag, const Visit& visit)
{
    visit("sensitivity", tag.sensitivity, Range{-60, 30});
    visit("tuned_mhz", tag.tuned_mhz, Range{100, 10000});
    visit("bandwidth_mhz", tag.bandwidth_mhz, Range{1, 10000});
}

template <typename Settings> void read_numbers(Section& section, Settings& settings)
{
    visit_numbers(settings, [&section](const char* key, double& value, const Range& range) {
        section.read_number(key, value, range.lowest, range.highest);
    });
}

bool is_in_order(const std::vector<Waypoint>& path)
{
    const auto is_late = [](const Waypoint& a, const Waypoint& b) { return b.at <= a.at; };
    return path.front().at >= Time{} && std::adjacent_find(path.begin(), path.end(), is_late) == path.end();
}

}  // namespace

bool is_place(const Vector& place)
{
    const auto is_near = [](double metres) { return std::abs(metres) <= farthest; };
    return is_near(place.x) && is_near(place.y) && is_near(place.z);
}

bool is_direction(const Vector& direction)
{
    return is_place(direction) && std::hypot(direction.x, direction.y, direction.z) >= shortest_direction;
}

std::string Range::problem(std::string_view key) const
{
    std::ostringstream problem;
    problem << key << " must be a number from " << lowest << " to " << highest;
    return problem.str();
}

Vector read_vector(const Section& section, const toml::node& node, std::string_view key, std::size_t first)
{
    const toml::array* list = node.as_array();
    double numbers[3] = {};
    bool good = list && list->size() == first + 3;
    for (std::size_t i = 0; good && i < 3; ++i) {
        const toml::node& item = (*list)[first + i];
        numbers[i] = item.is_number() ? item.value<double>().value_or(NAN) : NAN;
        good = std::abs(numbers[i]) <= farthest;
    }
    if (!good) {
        section.fail(
            node,
            std::string(key) +
                (first > 0 ? " must be lists of seconds, x, y and z" : " must be a list of x, y and z") +
                ", in metres up to 10000, such as " + (first > 0 ? "[[0, 0, 1, 0]]" : "[0, 1, 0]"));
    }
    return {numbers[0], numbers[1], numbers[2]};
}

void read_vector(Section& section, std::string_view key, Vector& vector)
{
    if (const toml::node* node = section.find(key)) vector = read_vector(section, *node, key);
}

void read_direction(Section& section, std::string_view key, Vector& direction)
{
    read_vector(section, key, direction);
    if (!is_direction(direction)) section.fail(*section.find(key), std::string(key) + " is no direction");
}

void read_reception(Section& section, TagRadioSettings& radio) { read_numbers(section, radio); }

namespace {

void read_antenna(Section& section, AntennaSettings& antenna)
{
    section.read_flag("plugged", antenna.plugged);
    if (section.find("return_loss")) section.read_integer("return_loss", antenna.return_loss.emplace());
    read_numbers(section, antenna);
    if (const toml::node* node = section.find("polarisation")) {
        const std::string text = node->value_or(std::string());
        if (text != "circular" && text != "linear")
            section.fail(*node, "polarisation must be \"circular\" or \"linear\"");
        antenna.polarisation = text == "linear" ? Polarisation::linear : Polarisation::circular;
    }
    read_direction(section, "upright", antenna.upright);
    read_vector(section, "position", antenna.position);
    read_direction(section, "facing", antenna.facing);
}

Time read_instant(const Section& section, const toml::node& point)
{
    const toml::array* list = point.as_array();
    const auto seconds = list && !list->empty() ? (*list)[0].value<double>() : std::nullopt;
    if (!seconds || !(*seconds >= 0) || *seconds > 1e9)
        section.fail(point, "a waypoint begins with seconds, from 0 to 1e9");
    return seconds_to_time(*seconds);
}

std::vector<Waypoint> read_path(const Section& section, const toml::node& node)
{
    const toml::array* list = node.as_array();
    if (!list || list->empty())
        section.fail(node, "path must be a list of waypoints, such as [[0, -2, 1, 0], [4, 2, 1, 0]]");
    std::vector<Waypoint> path;
    for (const toml::node& point : *list) {
        const Time at = read_instant(section, point);
        if (!path.empty() && at <= path.back().at)
            section.fail(point, "every waypoint of a path is later than the one before");
        path.push_back({at, read_vector(section, point, "the waypoints of a path", 1)});
    }
    return path;
}

}  // namespace

void read_radio(Section& top, Scenario& scenario)
{
    top.read_table("radio", [&](Section& section) { read_numbers(section, scenario.radio); });
    scenario.antennas.resize(scenario.reader.antennas);
    top.read_numbered_tables("antenna", scenario.reader.antennas, [&](Section& section, unsigned port) {
        read_antenna(section, scenario.antennas[port - 1]);
    });
}

void read_tag_radio(Section& tag, std::optional<TagRadioSettings>& radio)
{
    const toml::node* place = tag.find("position");
    const toml::node* path = tag.find("path");
    if (place && path) tag.fail(*path, "a tag has either a position or a path");
    TagRadioSettings read;
    read_direction(tag, "axis", read.axis);
    read_reception(tag, read);
    if (place) read.path = {{Time{}, read_vector(tag, *place, "position")}};
    if (path) read.path = read_path(tag, *path);
    if (!read.path.empty()) {
        radio = read;
        return;
    }
    for (const char* const key : {"axis", "sensitivity", "tuned_mhz", "bandwidth_mhz"}) {
        if (const toml::node* node = tag.find(key))
            tag.fail(*node, std::string(key) + " is for a tag with a position or a path");
    }
}

void check_radio(const Scenario& scenario, const std::string& source)
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    const auto require_range = [&](const char* key, double value, const Range& range) {
        require(range.holds(value), range.problem(key));
    };
    RadioSettings radio = scenario.radio;
    visit_numbers(radio, require_range);
    require(scenario.antennas.size() <= scenario.reader.antennas, "more antennas than the reader has ports");
    for (AntennaSettings antenna : scenario.antennas) {
        visit_numbers(antenna, require_range);
        require(is_place(antenna.position), "an antenna's position is no place");
        require(is_direction(antenna.upright) && is_direction(antenna.facing),
                "an antenna's upright or facing is no direction");
    }
    for (const TagSettings& tag : scenario.tags) {
        if (!tag.radio) continue;
        require(!tag.radio->path.empty(), "a tag's path has no waypoint");
        require(is_in_order(tag.radio->path), "every waypoint of a path is later than the one before");
        for (const Waypoint& point : tag.radio->path)
            require(is_place(point.position), "a waypoint is no place");
        check_reception(*tag.radio, source);
    }
}

void check_reception(TagRadioSettings radio, const std::string& source)
{
    visit_numbers(radio, [&](const char* key, double value, const Range& range) {
        if (!range.holds(value)) throw ScenarioError(source, 0, range.problem(key));
    });
    if (!is_direction(radio.axis)) throw ScenarioError(source, 0, "a tag's axis is no direction");
}

}  // namespace tagwire::sim
