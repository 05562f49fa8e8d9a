#include "scenario/scenario_other_tags.h"

#include <set>

#include "field/other_tags.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_gb_id = 30;     // 15 words
constexpr std::size_t longest_area = 131072;  // 65536 words
constexpr std::size_t longest_6b_memory = Tag6b::memory_size - Tag6b::id_size;

void read_place(Section& section, TagPlace& place)
{
    section.read_ports("antennas", place.antennas);
    section.read_integer("rssi", place.rssi);
    section.read_integer("rssi_noise", place.rssi_noise);
    section.read_stay(place.arrives, place.departs);
}

// How many tags one table makes, and from which serial on.
struct Series {
    explicit Series(Section& section)
    {
        if (section.find("count")) section.read_integer("count", count.emplace(), 1, most_tags);
        section.read_integer("first_serial", first_serial);
    }

    // Reads an ID, completed by the serial if there is one.
    Bytes read_id(Section& section, const char* key, std::size_t least, std::size_t most) const
    {
        Bytes id;
        if (!section.read_hex(key, id)) section.fail(std::string("a tag needs the key ") + key);
        const std::size_t size = id.size() + (count ? serial_size : 0);
        if (size < least || size > most || size % 2 != 0) {
            section.fail(*section.find(key), std::string(key) + " has " + std::to_string(size) +
                                                 " bytes, which do not make an ID");
        }
        return id;
    }

    template <typename Settings, typename SetId>
    void make(const Settings& tag, const Bytes& id, std::vector<Settings>& tags, const SetId& set_id) const
    {
        for (unsigned i = 0; i < count.value_or(1); ++i) {
            Bytes full = id;
            if (count) append_serial(full, first_serial + i);
            set_id(tags.emplace_back(tag), full);
        }
    }

    std::optional<unsigned> count;
    std::uint32_t first_serial = 1;
};

void finish_table(Section& section, const char* name, std::size_t tags)
{
    section.refuse_unknown_keys(name);
    if (tags > most_tags) section.fail("more than 100000 tags");
}

void read_tag_6b(Section& section, std::vector<Tag6bSettings>& tags)
{
    const Series series(section);
    Tag6bSettings tag;
    const Bytes id = series.read_id(section, "id", Tag6b::id_size, Tag6b::id_size);
    const toml::node* memory = section.read_hex("memory", tag.memory);
    if (memory && tag.memory.size() > longest_6b_memory)
        section.fail(*memory, "memory is longer than 216 bytes");
    section.read_integers("locked", tag.locked, Tag6b::id_size, Tag6b::memory_size - 1);
    read_place(section, tag);
    finish_table(section, "[[tag_6b]]", tags.size() + series.count.value_or(1));
    series.make(tag, id, tags, [](Tag6bSettings& made, const Bytes& full) {
        std::copy(full.begin(), full.end(), made.id.begin());
    });
}

void read_area(Section& section, const char* key, Bytes& area)
{
    const toml::node* node = section.read_hex(key, area);
    if (!node) return;
    if (area.size() % 2 != 0)
        section.fail(*node, std::string(key) + " is not a whole number of 16-bit words");
    if (area.size() > longest_area) section.fail(*node, std::string(key) + " is longer than 65536 words");
}

void read_tag_gb(Section& section, const char* name, std::vector<TagGbSettings>& tags)
{
    const Series series(section);
    TagGbSettings tag;
    const Bytes id = series.read_id(section, "tag_id", 2, longest_gb_id);
    read_area(section, "info", tag.info);
    read_area(section, "user", tag.user);
    section.read_fixed_hex("access_password", tag.access_password);
    section.read_fixed_hex("kill_password", tag.kill_password);
    read_place(section, tag);
    finish_table(section, name, tags.size() + series.count.value_or(1));
    series.make(tag, id, tags, [](TagGbSettings& made, const Bytes& full) { made.tag_id = full; });
}

class Checker {
  public:
    explicit Checker(const std::string& source) : source_(source) {}

    void require(bool good, const std::string& problem) const
    {
        if (!good) throw ScenarioError(source_, 0, problem);
    }

    void check_place(const TagPlace& place, const Bytes& id)
    {
        require(!place.departs || *place.departs > place.arrives, "a tag departs before it arrives");
        require(ids_.insert(id).second, "two tags have the ID " + to_hex(id));
    }

    void check_gb(const TagGbSettings& tag)
    {
        check_place(tag, tag.tag_id);
        require(!tag.tag_id.empty() && tag.tag_id.size() <= longest_gb_id, "a tag ID is 1 to 15 words");
        require(tag.tag_id.size() % 2 == 0 && tag.info.size() % 2 == 0 && tag.user.size() % 2 == 0,
                "an area is a number of whole words");
    }

  private:
    const std::string& source_;
    std::set<Bytes> ids_;
};

void check_gb_tags(const std::vector<TagGbSettings>& tags, const std::string& source)
{
    Checker checker(source);
    for (const TagGbSettings& tag : tags) checker.check_gb(tag);
}

}  // namespace

void read_protocol_family(Section& reader, ProtocolFamily& family)
{
    const toml::node* node = reader.find("protocol_family");
    if (!node) return;
    const std::string text = node->value_or(std::string());
    if (text != "gb" && text != "jb") reader.fail(*node, "protocol_family must be \"gb\" or \"jb\"");
    family = text == "gb" ? ProtocolFamily::gb : ProtocolFamily::jb;
}

void read_other_tags(Section& top, Scenario& scenario)
{
    top.read_tables("tag_6b", [&](Section& section) { read_tag_6b(section, scenario.tags_6b); });
    top.read_tables("tag_gb",
                    [&](Section& section) { read_tag_gb(section, "[[tag_gb]]", scenario.tags_gb); });
    top.read_tables("tag_jb",
                    [&](Section& section) { read_tag_gb(section, "[[tag_jb]]", scenario.tags_jb); });
}

void check_other_tags(const Scenario& scenario, const std::string& source)
{
    Checker checker(source);
    for (const Tag6bSettings& tag : scenario.tags_6b) {
        checker.check_place(tag, Bytes(tag.id.begin(), tag.id.end()));
        checker.require(tag.memory.size() <= longest_6b_memory,
                        "the memory of a tag is longer than 216 bytes");
        for (const unsigned address : tag.locked) {
            checker.require(address < Tag6b::memory_size, "a tag has no address " + std::to_string(address));
        }
    }
    check_gb_tags(scenario.tags_gb, source);
    check_gb_tags(scenario.tags_jb, source);
}

}  // namespace tagwire::sim
