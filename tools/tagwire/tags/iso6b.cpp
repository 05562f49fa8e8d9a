#include "commands/groups.h"
#include "tag_options.h"
#include "tags/listing.h"
#include "tags/transfer.h"

#include <memory>

namespace tagwire::tool {

namespace {

constexpr std::size_t id_bytes = 8;

using Comparison = Condition6b::Comparison;
constexpr Choices<Comparison, 4> comparisons{{{"equal", Comparison::equal},
                                              {"not-equal", Comparison::not_equal},
                                              {"greater", Comparison::greater},
                                              {"less", Comparison::less}}};

// -- inventory

struct Listing {
    std::optional<Comparison> comparison;
    std::optional<unsigned> first;
    std::optional<std::uint8_t> compared;
    Bytes content;
};

void add_inventory_options(CLI::App& command, Listing& listing)
{
    auto* const comparison =
        option(command, "--condition", listing.comparison, one_of(comparisons),
               "all tags whose memory is so, compared with --content: " + choices_text(comparisons), "HOW");
    auto* const content = option(command, "--content", listing.content, hex(1, id_bytes),
                                 "what is compared, 1 to 8 bytes", "HEX")
                              ->needs(comparison);
    comparison->needs(content);
    option(command, "--byte", listing.first, number(0, byte_unit.last),
           "first byte that is compared, 0 to 255")
        ->needs(comparison);
    option(
        command, "--compare", listing.compared, number(0, 255),
        "which of 8 bytes are compared, as bits: the highest stands for the first; as many as --content has "
        "when left out")
        ->needs(comparison);
    command.footer(R"(Without a condition one tag answers; with one, all that meet it.

Examples:
  tagwire 6b inventory
  tagwire 6b inventory --condition equal --byte 0 --content E004 --json)");
}

Work plan_inventory(const Listing& listing)
{
    std::optional<Condition6b> condition;
    if (listing.comparison)
        condition =
            Condition6b{*listing.comparison, listing.first.value_or(0), listing.content, listing.compared};
    return listing_work({"tag_6b", "id", {}}, {},
                        [condition](Reader& reader) { return reader.inventory_6b(condition); });
}

// -- one tag

struct Named {
    TagId id;
    Stretch stretch;
    unsigned byte = 0;
    unsigned retries = 0;
    bool yes = false;

    OpenMemory open() const
    {
        return [id = id, retries = retries](Reader& reader) {
            const auto tag = std::make_shared<Tag6b>(reader.tag_6b(id));
            return Memory{[=](unsigned first, unsigned count) {
                              return again(retries, [&] { return tag->read(first, count); });
                          },
                          {},
                          [=](const Stretch& to) { tag->write(to.first, to.data, to.chunk); },
                          {}};
        };
    }
    Deed head(const char* type, std::string text = {}) const
    {
        Deed named = deed(type, std::move(text));
        named.fields["id"] = id.to_string();
        return named;
    }
};

void add_id_option(CLI::App& command, Named& tag)
{
    option(command, "--id", tag.id, exactly(id_bytes), "the tag, by its ID of 8 bytes", "HEX")->required();
}

void add_6b_read_options(CLI::App& command, Named& tag)
{
    add_id_option(command, tag);
    add_read_options(command, tag.stretch, byte_unit);
    command.get_option("--count")->required();
    add_retries_option(command, tag.retries);
    command.footer(R"(Examples:
  tagwire 6b read --id E004000012345678 --byte 8 --count 16)");
}

void add_6b_write_options(CLI::App& command, Named& tag)
{
    add_id_option(command, tag);
    add_write_options(command, tag.stretch, byte_unit);
    command.footer(R"(Examples:
  tagwire 6b write --id E004000012345678 --byte 16 --data 0123456789)");
}

void add_byte_option(CLI::App& command, Named& tag)
{
    add_id_option(command, tag);
    option(command, "--byte", tag.byte, number(0, byte_unit.last), "the byte, 0 to 255")->required();
}

void add_lock_options(CLI::App& command, Named& tag)
{
    add_byte_option(command, tag);
    add_yes_option(command, tag.yes);
    command.footer(
        R"(A locked byte can never be written again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire 6b lock --id E004000012345678 --byte 16)");
}

void add_check_lock_options(CLI::App& command, Named& tag)
{
    add_byte_option(command, tag);
    add_retries_option(command, tag.retries);
    command.footer(R"(Examples:
  tagwire 6b check-lock --id E004000012345678 --byte 16 --json)");
}

Work plan_read(const Named& tag) { return read_work(tag.head("read"), tag.stretch, byte_unit, tag.open()); }

Work plan_write(const Named& tag)
{
    if (tag.stretch.first < id_bytes) throw UsageError("--byte: the first 8 bytes are the ID, give 8 to 255");
    return write_work(tag.head("write"), tag.stretch, byte_unit, "the tag", tag.open());
}

Work plan_lock(const Named& tag)
{
    confirm(fmt::format("lock byte {} of tag {}", tag.byte, tag.id.to_string()), tag.yes);
    Deed head = tag.head("lock", fmt::format("byte {} is locked for good", tag.byte));
    head.fields["byte"] = tag.byte;
    return work(head, [=](Reader& reader, Deed&) { reader.tag_6b(tag.id).lock_forever(tag.byte); });
}

Work plan_check_lock(const Named& tag)
{
    Deed head = tag.head("check-lock");
    head.fields["byte"] = tag.byte;
    return work(head, [=](Reader& reader, Deed& done) {
        const bool locked = again(tag.retries, [&] { return reader.tag_6b(tag.id).is_locked(tag.byte); });
        done.fields["locked"] = locked;
        done.text = fmt::format("byte {} is {}", tag.byte, locked ? "locked" : "not locked");
    });
}

}  // namespace

void add_iso6b_commands(Application& application)
{
    auto& group = application.add_group("6b", "ISO 18000-6B tags.");
    add_to(application, group, "inventory", "List tags in the field.", add_inventory_options, plan_inventory);
    add_to(application, group, "read", "Read bytes of a tag.", add_6b_read_options, plan_read);
    add_to(application, group, "write", "Write bytes of a tag.", add_6b_write_options, plan_write);
    add_to(application, group, "lock", "Lock a byte of a tag, for good.", add_lock_options, plan_lock);
    add_to(application, group, "check-lock", "Ask whether a byte of a tag is locked.", add_check_lock_options,
           plan_check_lock);
}

}  // namespace tagwire::tool
