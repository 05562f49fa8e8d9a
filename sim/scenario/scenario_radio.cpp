#include "scenario/scenario_radio.h"

#include <cmath>

#include "random.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_id = 62;  // with the serial
constexpr double farthest = 10000;      // metres
constexpr std::uint64_t conveyor_seed = 0x9E3779B97F4A7C15;

Vector read_vector(const Section& section, const toml::node& node, std::string_view key,
                   std::size_t first = 0)
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
    if (direction == Vector{}) section.fail(*section.find(key), std::string(key) + " is no direction");
}

void read_antenna(Section& section, AntennaSettings& antenna)
{
    section.read_flag("plugged", antenna.plugged);
    if (section.find("return_loss")) section.read_integer("return_loss", antenna.return_loss.emplace());
    section.read_number("cable_loss", antenna.cable_loss, 0, 60);
    section.read_number("gain", antenna.gain, -30, 30);
    section.read_number("beam_width", antenna.beam_width, 1, 360);
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

void read_reception(Section& section, TagRadioSettings& radio)
{
    section.read_number("sensitivity", radio.sensitivity, -60, 30);
    section.read_number("tuned_mhz", radio.tuned_mhz, 100, 10000);
    section.read_number("bandwidth_mhz", radio.bandwidth_mhz, 1, 10000);
}

struct Conveyor {
    TagSettings tag;
    unsigned count = 0;
    std::uint32_t first_serial = 1;
    Vector from;
    Vector to;
    double speed = 0;
    double spacing = 1;
    std::optional<double> rate;
    Time starts{};
    std::vector<Vector> pattern{{}};
    bool any_axis = false;
};

void read_pattern(Section& section, std::vector<Vector>& pattern)
{
    const toml::node* node = section.find("pattern");
    if (!node) return;
    const toml::array* list = node->as_array();
    if (!list || list->empty())
        section.fail(*node, "pattern must be a list of places on the item, such as [[0, 0, 0], [0.2, 0, 0]]");
    pattern.clear();
    for (const toml::node& item : *list)
        pattern.push_back(read_vector(section, item, "the places of a pattern"));
}

void read_axis(Section& section, Conveyor& conveyor)
{
    const toml::node* node = section.find("axis");
    conveyor.any_axis = node && node->value_or(std::string()) == "any";
    if (!conveyor.any_axis) read_direction(section, "axis", conveyor.tag.radio->axis);
}

Conveyor read_conveyor(Section& section)
{
    Conveyor conveyor;
    conveyor.tag.radio.emplace();
    for (const char* const key : {"epc", "count", "from", "to", "speed"}) {
        if (!section.find(key)) section.fail(std::string("a conveyor needs the key ") + key);
    }
    section.read_hex("epc", conveyor.tag.epc);
    section.read_hex("tid", conveyor.tag.tid);
    for (const char* const key : {"epc", "tid"}) {
        const std::size_t size = (key[0] == 'e' ? conveyor.tag.epc : conveyor.tag.tid).size();
        if (size % 2 != 0 || size + serial_size > longest_id)
            section.fail(*section.find(key),
                         std::string(key) + " must be whole words, 29 at most: two are the serial");
    }
    section.read_integer("first_serial", conveyor.first_serial);
    section.read_integer("count", conveyor.count, 1, most_tags);
    read_vector(section, "from", conveyor.from);
    read_vector(section, "to", conveyor.to);
    if (conveyor.from == conveyor.to) section.fail(*section.find("to"), "a conveyor ends where it begins");
    section.read_number("speed", conveyor.speed, 0.001, 1000);
    section.read_number("spacing", conveyor.spacing, 0, farthest);
    if (section.find("rate")) section.read_number("rate", conveyor.rate.emplace(), 0.001, 1e6);
    section.read_seconds("starts", conveyor.starts);
    read_pattern(section, conveyor.pattern);
    read_axis(section, conveyor);
    read_reception(section, *conveyor.tag.radio);
    section.refuse_unknown_keys("[[conveyor]]");
    return conveyor;
}

Vector operator+(const Vector& a, const Vector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

// Even over all directions: a point of the cube that lies in the ball.
Vector any_direction(Random& random)
{
    while (true) {
        const Vector way{2 * random.share() - 1, 2 * random.share() - 1, 2 * random.share() - 1};
        const double square = way.x * way.x + way.y * way.y + way.z * way.z;
        if (square > 0.01 && square <= 1) return way;
    }
}

double next_arrival(const Conveyor& conveyor, Random& random)
{
    return conveyor.rate ? -std::log(1 - random.share()) / *conveyor.rate : conveyor.spacing / conveyor.speed;
}

void load(const Conveyor& conveyor, Random& random, std::vector<TagSettings>& tags)
{
    const Vector way{conveyor.to.x - conveyor.from.x, conveyor.to.y - conveyor.from.y,
                     conveyor.to.z - conveyor.from.z};
    const Time ride = seconds_to_time(std::hypot(way.x, way.y, way.z) / conveyor.speed);
    double arrives = 0;
    std::uint32_t serial = conveyor.first_serial;
    for (unsigned item = 0; item < conveyor.count; ++item) {
        for (const Vector& place : conveyor.pattern) {
            TagSettings& tag = tags.emplace_back(conveyor.tag);
            append_serial(tag.epc, serial);
            if (!tag.tid.empty()) append_serial(tag.tid, serial);
            ++serial;
            tag.arrives = conveyor.starts + seconds_to_time(arrives);
            tag.departs = tag.arrives + ride;
            tag.radio->path = {{Time{}, conveyor.from + place}, {ride, conveyor.to + place}};
            if (conveyor.any_axis) tag.radio->axis = any_direction(random);
        }
        arrives += next_arrival(conveyor, random);
    }
}

}  // namespace

void read_radio(Section& top, Scenario& scenario)
{
    top.read_table("radio", [&](Section& section) {
        section.read_number("fading", scenario.radio.fading, 0, 20);
        section.read_number("sensitivity", scenario.radio.sensitivity, -120, 0);
    });
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

void read_conveyors(Section& top, Scenario& scenario)
{
    Random random(scenario.reader.seed ^ conveyor_seed);
    top.read_tables("conveyor", [&](Section& section) {
        const Conveyor conveyor = read_conveyor(section);
        if (scenario.tags.size() + std::size_t{conveyor.count} * conveyor.pattern.size() > most_tags)
            section.fail("more than 100000 tags");
        load(conveyor, random, scenario.tags);
    });
}

void check_radio(const Scenario& scenario, const std::string& source)
{
    if (scenario.antennas.size() > scenario.reader.antennas)
        throw ScenarioError(source, 0, "more antennas than the reader has ports");
    for (const TagSettings& tag : scenario.tags) {
        if (tag.radio && tag.radio->path.empty())
            throw ScenarioError(source, 0, "a tag's path has no waypoint");
    }
}

}  // namespace tagwire::sim
