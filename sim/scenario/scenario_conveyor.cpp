#include "scenario/scenario_conveyor.h"

#include <algorithm>
#include <cmath>

#include "random.h"
#include "scenario/scenario_radio.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_id = 62;  // with the serial
constexpr double shortest_belt = 1e-3;
constexpr double latest_arrival = 1e9;  // seconds
constexpr std::uint64_t conveyor_seed = 0x9E3779B97F4A7C15;

constexpr Range speeds{0.001, 1000};
constexpr Range spacings{0, farthest};
constexpr Range rates{0.001, 1e6};
constexpr Range starting_times{0, latest_arrival};

constexpr const char* belt_too_short = "a conveyor ends where it begins; it is 0.001 metres long or more";
constexpr const char* last_too_late = "the last item comes later than 1e9 seconds";

Vector operator+(const Vector& a, const Vector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

double length_of(const ConveyorSettings& conveyor)
{
    const Vector& from = conveyor.from;
    const Vector& to = conveyor.to;
    return std::hypot(to.x - from.x, to.y - from.y, to.z - from.z);
}

// Seconds from one item to the next, on the average.
double gap_of(const ConveyorSettings& conveyor)
{
    return conveyor.rate ? 1 / *conveyor.rate : conveyor.spacing / conveyor.speed;
}

bool ends_too_late(const ConveyorSettings& conveyor)
{
    return conveyor.starts + (conveyor.count - 1) * gap_of(conveyor) > latest_arrival;
}

std::size_t tags_on(const ConveyorSettings& conveyor)
{
    return std::size_t{conveyor.count} * conveyor.pattern.size();
}

bool is_id(const Bytes& id) { return id.size() % 2 == 0 && id.size() + serial_size <= longest_id; }

void read_range(Section& section, std::string_view key, double& value, const Range& range)
{
    section.read_number(key, value, range.lowest, range.highest);
}

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

void read_axis(Section& section, ConveyorSettings& conveyor)
{
    const toml::node* node = section.find("axis");
    conveyor.any_axis = node && node->value_or(std::string()) == "any";
    if (!conveyor.any_axis) read_direction(section, "axis", conveyor.tag.radio->axis);
}

void read_ids(Section& section, ConveyorSettings& conveyor)
{
    section.read_hex("epc", conveyor.tag.epc);
    section.read_hex("tid", conveyor.tag.tid);
    for (const auto& [key, id] : {std::pair{"epc", &conveyor.tag.epc}, {"tid", &conveyor.tag.tid}}) {
        if (!is_id(*id))
            section.fail(*section.find(key),
                         std::string(key) + " must be whole words, 29 at most: two are the serial");
    }
    section.read_integer("first_serial", conveyor.first_serial);
}

void read_belt(Section& section, ConveyorSettings& conveyor)
{
    read_vector(section, "from", conveyor.from);
    read_vector(section, "to", conveyor.to);
    if (length_of(conveyor) < shortest_belt) section.fail(*section.find("to"), belt_too_short);
    section.read_integer("count", conveyor.count, 1, most_tags);
    read_range(section, "speed", conveyor.speed, speeds);
    read_range(section, "spacing", conveyor.spacing, spacings);
    if (section.find("rate")) read_range(section, "rate", conveyor.rate.emplace(), rates);
    read_range(section, "starts", conveyor.starts, starting_times);
    if (ends_too_late(conveyor)) section.fail(last_too_late);
}

ConveyorSettings read_conveyor(Section& section)
{
    for (const char* const key : {"epc", "count", "from", "to", "speed"}) {
        if (!section.find(key)) section.fail(std::string("a conveyor needs the key ") + key);
    }
    ConveyorSettings conveyor;
    conveyor.tag.radio.emplace();
    read_ids(section, conveyor);
    read_belt(section, conveyor);
    read_pattern(section, conveyor.pattern);
    read_axis(section, conveyor);
    read_reception(section, *conveyor.tag.radio);
    section.refuse_unknown_keys("[[conveyor]]");
    return conveyor;
}

std::size_t tags_of(const Scenario& scenario)
{
    std::size_t tags = scenario.tags.size();
    for (const ConveyorSettings& conveyor : scenario.conveyors) tags += tags_on(conveyor);
    return tags;
}

// Even over all directions: a point of the cube that lies in the ball.
Vector any_direction(Random& random)
{
    while (true) {
        const Vector way{2 * random.share() - 1, 2 * random.share() - 1, 2 * random.share() - 1};
        const double square = way.x * way.x + way.y * way.y + way.z * way.z;
        if (square > 0.01 && square <= 1) return way;
    }
}

double next_gap(const ConveyorSettings& conveyor, Random& random)
{
    return gap_of(conveyor) * (conveyor.rate ? -std::log(1 - random.share()) : 1);
}

TagSettings make_tag(const ConveyorSettings& conveyor, std::uint32_t serial, double arrives)
{
    const Time ride = seconds_to_time(length_of(conveyor) / conveyor.speed);
    TagSettings tag = conveyor.tag;
    append_serial(tag.epc, serial);
    if (!tag.tid.empty()) append_serial(tag.tid, serial);
    tag.arrives = seconds_to_time(std::min(arrives, latest_arrival));
    tag.departs = tag.arrives + ride;
    if (!tag.radio) tag.radio.emplace();
    tag.radio->path = {{Time{}, conveyor.from}, {ride, conveyor.to}};
    return tag;
}

void load(const ConveyorSettings& conveyor, Random& random, std::vector<TagSettings>& tags)
{
    double arrives = conveyor.starts;
    std::uint32_t serial = conveyor.first_serial;
    for (unsigned item = 0; item < conveyor.count; ++item) {
        for (const Vector& place : conveyor.pattern) {
            TagSettings& tag = tags.emplace_back(make_tag(conveyor, serial++, arrives));
            for (Waypoint& point : tag.radio->path) point.position = point.position + place;
            if (conveyor.any_axis) tag.radio->axis = any_direction(random);
        }
        arrives += next_gap(conveyor, random);
    }
}

void check(const ConveyorSettings& conveyor, const std::string& source)
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    require(is_id(conveyor.tag.epc) && is_id(conveyor.tag.tid),
            "a conveyor's epc and tid are whole words, 29 at most: two are the serial");
    require(is_place(conveyor.from) && is_place(conveyor.to), "a conveyor's end is no place");
    require(length_of(conveyor) >= shortest_belt, belt_too_short);
    require(conveyor.count >= 1 && !conveyor.pattern.empty(), "a conveyor has no tag");
    require(std::all_of(conveyor.pattern.begin(), conveyor.pattern.end(), is_place),
            "a conveyor's pattern has what is no place");
    require(speeds.holds(conveyor.speed), speeds.problem("speed"));
    require(spacings.holds(conveyor.spacing), spacings.problem("spacing"));
    require(!conveyor.rate || rates.holds(*conveyor.rate), rates.problem("rate"));
    require(starting_times.holds(conveyor.starts), starting_times.problem("starts"));
    require(!ends_too_late(conveyor), last_too_late);
    if (conveyor.tag.radio) check_reception(*conveyor.tag.radio, source);
}

}  // namespace

void read_conveyors(Section& top, Scenario& scenario)
{
    top.read_tables("conveyor", [&](Section& section) {
        scenario.conveyors.push_back(read_conveyor(section));
        if (tags_of(scenario) > most_tags) section.fail("more than 100000 tags");
    });
}

void check_conveyors(const Scenario& scenario, const std::string& source)
{
    for (const ConveyorSettings& conveyor : scenario.conveyors) check(conveyor, source);
    if (!scenario.conveyors.empty() && tags_of(scenario) > most_tags)
        throw ScenarioError(source, 0, "more than 100000 tags");
}

std::vector<TagSettings> Scenario::all_tags() const
{
    Random random(reader.seed ^ conveyor_seed);
    std::vector<TagSettings> all = tags;
    for (const ConveyorSettings& conveyor : conveyors) load(conveyor, random, all);
    return all;
}

}  // namespace tagwire::sim
