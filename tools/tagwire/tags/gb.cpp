#include "commands/groups.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/listing.h"
#include "tags/transfer.h"

#include <memory>

namespace tagwire::tool {

namespace {

constexpr Choices<GbArea, 4> areas{{{"info", GbArea::information},
                                    {"coding", GbArea::coding},
                                    {"security", GbArea::security},
                                    {"user", GbArea::user}}};
constexpr std::size_t most_id_bytes = 30;
const char* const areas_text =
    "info, coding, security, user or a number from 0 to 255; user areas go on at 0x31";
constexpr unsigned most_read_words = 31;

enum class Family { gb, jb };
const char* name_of(Family family) { return family == Family::gb ? "gb" : "jb"; }

struct GbTag {
    std::optional<TagId> id;
    std::optional<PlacedMask<GbArea>> mask;
    Secret password;
    unsigned retries = 0;
};

OtherTagsPlan::AreaMask area_mask(const PlacedMask<GbArea>& mask)
{
    return {static_cast<std::uint8_t>(mask.place), mask.bit, mask.bytes, mask.bits};
}

void add_mask_option(CLI::App& command, std::optional<PlacedMask<GbArea>>& mask, const std::string& help)
{
    option(command, "--mask", mask, placed_mask(areas, Others::taken),
           help + "; AREA is " + choices_text(areas), "AREA:BITADDR:HEX[/BITS]");
}

void add_gb_tag_options(CLI::App& command, GbTag& tag)
{
    option(
        command, "--id", tag.id,
        [](const std::string& text, const std::string& name) {
            return TagId(hex(2, most_id_bytes)(text, name));
        },
        "the tag, by its whole ID: 4 hexadecimal digits a word, 1 to 15 words", "HEX");
    add_mask_option(command, tag.mask, "the tag, by bits that its memory holds from bit BITADDR on");
    add_password_option(command, tag.password);
    add_retries_option(command, tag.retries);
}

std::string text_of(const GbTag& tag)
{
    return tag.id ? tag.id->to_string() : "with mask " + mask_text(*tag.mask, areas);
}

Deed deed_with(const char* type, const GbTag& tag, std::string text = {})
{
    if (tag.id.has_value() == tag.mask.has_value())
        throw UsageError("name the tag: use either --id HEX or --mask AREA:BITADDR:HEX[/BITS]");
    Deed named = deed(type, std::move(text));
    if (tag.id) named.fields["id"] = tag.id->to_string();
    if (tag.mask) named.fields["mask"] = mask_text(*tag.mask, areas);
    return named;
}

TagGb find(Reader& reader, Family family, const GbTag& tag)
{
    const auto named = [&](const auto& name) {
        return family == Family::gb ? reader.tag_gb(name, tag.password.value())
                                    : reader.tag_jb(name, tag.password.value());
    };
    return again(tag.retries, [&] { return tag.id ? named(*tag.id) : named(area_mask(*tag.mask)); });
}

// -- inventory

struct Listing {
    OtherTagsPlan plan;
    std::optional<PlacedMask<GbArea>> mask;
    Repeat repeat;
};

// AREA:WORD:COUNT
OtherTagsPlan::Area parse_words(const std::string& text, const std::string& name)
{
    const auto first = text.find(':');
    const auto second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos)
        throw UsageError(
            fmt::format("{} '{}' is not valid: use AREA:WORD:COUNT, for example user:0:4", name, text));
    return {static_cast<std::uint8_t>(one_of(areas, Others::taken)(text.substr(0, first), "area to read")),
            parse_number(text.substr(first + 1, second - first - 1), "first word", 0, word_unit.last),
            parse_number(text.substr(second + 1), "count of words", 1, most_read_words)};
}

void add_inventory_options(Family family, CLI::App& command, Listing& listing)
{
    add_scan_options(command, listing.plan.antenna, listing.plan.scan_time);
    add_mask_option(command, listing.mask, "only tags whose memory begins so at this bit");
    add_repeat_options(command, listing.repeat);
    auto* const words =
        option(command, "--read", listing.plan.words, parse_words,
               "read COUNT words (1 to 31) of every tag, from word WORD of AREA on: " + choices_text(areas),
               "AREA:WORD:COUNT");
    option(command, "--password", listing.plan.password, parse_secret,
           "access password for --read: 8 hexadecimal digits, @FILE or -", "HEX")
        ->needs(words);
    if (family == Family::jb)
        option(command, "--algorithm", listing.plan.algorithm, number(0, 255),
               "anti-collision algorithm, 0 to 255");
    command.footer(fmt::format(R"(Examples:
  tagwire {0} inventory
  tagwire {0} inventory --read user:0:4 --json
  tagwire {0} inventory --antenna 2 --scan-time 500 --mask coding:0:A5)",
                               name_of(family)));
}

Work plan_inventory(Family family, const Listing& listing)
{
    auto plan = listing.plan;
    if (listing.mask) plan.mask = area_mask(*listing.mask);
    return listing_work({"tag", "id", {}}, listing.repeat, [family, plan](Reader& reader) {
        return family == Family::gb ? reader.inventory_gb(plan) : reader.inventory_jb(plan);
    });
}

// -- read, write, erase

struct Place {
    GbTag tag;
    GbArea area{};
    Stretch stretch;

    OpenMemory open(Family family) const
    {
        return [family, tag = tag, area = area](Reader& reader) {
            return memory_of(find(reader, family, tag), area, tag.retries);
        };
    }
    Deed head(const char* type) const
    {
        Deed named = deed_with(type, tag);
        named.fields["area"] = name_of(area, areas);
        return named;
    }
};

void add_place_options(CLI::App& command, Place& place)
{
    add_gb_tag_options(command, place.tag);
    option(command, "--area", place.area, one_of(areas, Others::taken), areas_text, "NAME")->required();
}

void add_gb_read_options(Family family, CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_read_options(command, place.stretch, word_unit);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} read --id A5A50001 --area user --count 8
  tagwire {0} read --mask coding:0:A5A5 --area info --json)",
                               name_of(family)));
}

void add_gb_write_options(Family family, CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_write_options(command, place.stretch, word_unit);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} write --id A5A50001 --area user --data 0123456789ABCDEF)",
                               name_of(family)));
}

void add_gb_erase_options(Family family, CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_erase_options(command, place.stretch, word_unit, word_unit.last);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} erase --id A5A50001 --area user --count 8 --yes)",
                               name_of(family)));
}

Work plan_read(Family family, const Place& place)
{
    return read_work(place.head("read"), place.stretch, word_unit, place.open(family));
}

Work plan_write(Family family, const Place& place)
{
    return write_work(place.head("write"), place.stretch, word_unit, name_of(place.area, areas),
                      place.open(family));
}

Work plan_erase(Family family, const Place& place)
{
    return erase_work(place.head("erase"), place.stretch, word_unit, name_of(place.area, areas),
                      text_of(place.tag), place.open(family));
}

// -- lock, kill

enum class Config : std::uint8_t { attribute, security };
constexpr Choices<Config, 2> configs{{{"attribute", Config::attribute}, {"security", Config::security}}};
constexpr Choices<GbAccess, 4> accesses{{{"read-write", GbAccess::read_write},
                                         {"read-only", GbAccess::read_only},
                                         {"write-only", GbAccess::write_only},
                                         {"none", GbAccess::none}}};
constexpr Choices<GbSecurity, 2> securities{{{"open", GbSecurity::open}, {"password", GbSecurity::password}}};

struct Lock {
    GbTag tag;
    GbArea area{};
    Config config{};
    std::string action;
    bool yes = false;
};

void add_lock_options(Family family, CLI::App& command, Lock& lock)
{
    add_gb_tag_options(command, lock.tag);
    option(command, "--area", lock.area, one_of(areas, Others::taken), areas_text, "AREA")->required();
    option(command, "--config", lock.config, one_of(configs), "what is set: " + choices_text(configs), "WHAT")
        ->required();
    command
        .add_option(
            "--action", lock.action,
            fmt::format("attribute: {}; security: {}", choices_text(accesses), choices_text(securities)))
        ->type_name("HOW")
        ->required();
    add_yes_option(command, lock.yes);
    command.footer(fmt::format(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire {0} lock --id A5A50001 --area user --config attribute --action read-only --password 12345678 --yes
  tagwire {0} lock --id A5A50001 --area user --config security --action password --password 12345678 --yes)",
                               name_of(family)));
}

Work plan_lock(Family family, const Lock& lock)
{
    const bool is_access = lock.config == Config::attribute;
    const auto access = is_access ? one_of(accesses)(lock.action, "--action") : GbAccess{};
    const auto security = is_access ? GbSecurity::open : one_of(securities)(lock.action, "--action");
    const auto action = is_access ? name_of(access, accesses) : name_of(security, securities);
    const auto area = name_of(lock.area, areas);
    const auto config = name_of(lock.config, configs);
    Deed head = deed_with("lock", lock.tag, fmt::format("{} of {} is {} now", config, area, action));
    if (!is_access && security == GbSecurity::password && lock.tag.password.value().is_zero())
        throw UsageError("security by a password needs the tag's access password: give it with --password");
    confirm(fmt::format("set {} of {} of tag {} to {}", config, area, text_of(lock.tag), action), lock.yes,
            "");
    head.fields["area"] = area;
    head.fields["config"] = config;
    head.fields["action"] = action;
    return work(head, [=](Reader& reader, Deed&) {
        TagGb tag = find(reader, family, lock.tag);
        if (is_access) return tag.set_access(lock.area, access);
        tag.set_security(lock.area, security);
    });
}

struct Kill {
    GbTag tag;
    tagwire::Password password;
    bool yes = false;
};

void add_kill_options(Family family, CLI::App& command, Kill& kill)
{
    add_gb_tag_options(command, kill.tag);
    option(command, "--kill-password", kill.password, parse_secret,
           "kill password: 8 hexadecimal digits, @FILE or -", "HEX")
        ->required();
    add_yes_option(command, kill.yes);
    command.footer(fmt::format(
        R"(A killed tag never answers again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire {0} kill --id A5A50001 --kill-password 87654321)",
        name_of(family)));
}

Work plan_kill(Family family, const Kill& kill)
{
    Deed head = deed_with("kill", kill.tag);
    if (kill.password.is_zero()) throw UsageError("--kill-password: zeros are no password, and kill no tag");
    head.text = fmt::format("the tag {} is dead", text_of(kill.tag));
    confirm(fmt::format("kill the tag {}", text_of(kill.tag)), kill.yes);
    return work(head, [=](Reader& reader, Deed&) { find(reader, family, kill.tag).kill(kill.password); });
}

void add_family(Application& application, Family family, const std::string& description)
{
    auto& group = application.add_group(name_of(family), description);
    const auto add = [&]<typename Options>(const char* name, const char* help,
                                           void (*options)(Family, CLI::App&, Options&),
                                           Work (*plan)(Family, const Options&)) {
        add_command_with<Options>(
            application, &group, name, help,
            [family, options](CLI::App& command, Options& given) { options(family, command, given); },
            [family, plan](const Options& given) { return plan(family, given); });
    };
    add("inventory", "List tags in the field.", add_inventory_options, plan_inventory);
    add("read", "Read memory of a tag.", add_gb_read_options, plan_read);
    add("write", "Write memory of a tag.", add_gb_write_options, plan_write);
    add("erase", "Erase words of a tag.", add_gb_erase_options, plan_erase);
    add("lock", "Protect an area of a tag.", add_lock_options, plan_lock);
    add("kill", "Kill a tag, for good.", add_kill_options, plan_kill);
}

}  // namespace

void add_gb_commands(Application& application)
{
    add_family(application, Family::gb, "Tags of the GB air interface.");
    add_family(application, Family::jb, "Tags of the JB variant of the GB air interface.");
}

}  // namespace tagwire::tool
