#include "tagwire/iso6b.h"
#include "commands/groups.h"
#include "errors.h"
#include "iso6b_tags.h"
#include "memory_transfer.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::uint32_t last_byte = 255;
constexpr std::uint32_t most_bytes_per_read = 250;
// Longer writes may take the reader more time than the library waits for.
constexpr std::uint32_t usual_bytes_per_write = 32;
constexpr std::uint32_t most_bytes_per_write = 242;

using Id = std::array<std::uint8_t, id_bytes_6b>;

struct TagArguments6b {
    std::string id;
    std::string byte = "0";
    std::string count;
    std::string file;
    DataOptions data;
    std::string chunk = std::to_string(usual_bytes_per_write);
    bool verify = false;
    bool yes = false;
};

Id parse_id(const std::string& text)
{
    const auto bytes = parse_units(text, "--id", 1);
    Id id{};
    if (bytes.size() != id.size())
        throw UsageError(fmt::format("--id '{}' is not valid: use 16 hexadecimal digits", text));
    std::copy(bytes.begin(), bytes.end(), id.begin());
    return id;
}

std::uint8_t parse_address(const TagArguments6b& arguments)
{
    return static_cast<std::uint8_t>(parse_number(arguments.byte, "--byte", 0, last_byte));
}

class Memory6b : public TagMemory {
  public:
    Memory6b(const ReaderConnection& reader, const Id& id, std::uint32_t most_write)
        : reader_(reader), id_(id), most_write_(most_write)
    {}

    TransferLimits limits() const override { return {1, most_bytes_per_read, most_write_}; }

    TagResult read(const Run& run, Bytes& data) override
    {
        data.assign(run.count, 0);
        return call(ReadData_6B, run.first, static_cast<std::uint8_t>(run.count), data.data());
    }

    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override
    {
        Bytes bytes(data.begin(), data.end());
        std::uint8_t written = 0;
        return call(WriteData_6B, first, bytes.data(), static_cast<std::uint8_t>(bytes.size()), &written);
    }

  private:
    template <typename Call, typename... More>
    TagResult call(Call function, std::uint32_t first, More... more)
    {
        auto address = reader_.address();
        TagResult result;
        result.code = function(&address, id_.data(), static_cast<std::uint8_t>(first), more...,
                               &result.tag_error, reader_.handle());
        return result;
    }

    const ReaderConnection& reader_;
    Id id_;
    std::uint32_t most_write_;
};

MakeMemory maker_of(const Id& id, std::uint32_t most_write)
{
    return [id, most_write](const ReaderConnection& reader) {
        return std::make_unique<Memory6b>(reader, id, most_write);
    };
}

Json head_of(const char* type, const Id& id)
{
    Json object;
    object["type"] = type;
    object["id"] = hex_text(id);
    return object;
}

// -- inventory

constexpr std::array condition_names{Name{"equal", 0}, Name{"not-equal", 1}, Name{"greater", 2},
                                     Name{"less", 3}};
constexpr NameSet conditions{condition_names, 255};

struct InventoryArguments6b {
    std::string condition;
    std::string byte = "0";
    std::string content;
    std::string compare;
};

struct Condition6b {
    std::uint8_t condition = 0;
    std::uint8_t first = 0;
    std::uint8_t mask = 0;
    std::array<std::uint8_t, 8> content{};
};

std::optional<Condition6b> parse_condition(const InventoryArguments6b& arguments)
{
    if (arguments.condition.empty() && arguments.content.empty()) return std::nullopt;
    if (arguments.condition.empty() || arguments.content.empty())
        throw UsageError("--condition and --content go together");
    Condition6b condition;
    condition.condition = parse_name(arguments.condition, "--condition", conditions);
    condition.first = static_cast<std::uint8_t>(parse_number(arguments.byte, "--byte", 0, last_byte));
    const auto content = parse_units(arguments.content, "--content", 1);
    if (content.size() > condition.content.size())
        throw UsageError(fmt::format("--content has {} bytes: at most 8", content.size()));
    std::copy(content.begin(), content.end(), condition.content.begin());
    condition.mask = arguments.compare.empty()
                         ? compare_first_bytes(content.size())
                         : static_cast<std::uint8_t>(parse_number(arguments.compare, "--compare", 0, 255));
    return condition;
}

struct Found6b {
    int code = 0;
    std::uint8_t antenna = 0;
    std::vector<Tag6b> tags;
};

Found6b ask_for_one(const ReaderConnection& reader)
{
    auto address = reader.address();
    std::array<std::uint8_t, 10> reported{};
    Found6b found;
    found.code = InventorySingle_6B(&address, &found.antenna, reported.data(), reader.handle());
    found.tags = decode_single_6b(reported);
    return found;
}

Found6b ask_for_many(const ReaderConnection& reader, Condition6b condition)
{
    auto address = reader.address();
    std::array<std::uint8_t, 256> list{};
    int count = 0;
    Found6b found;
    found.code =
        InventoryMultiple_6B(&address, condition.condition, condition.first, condition.mask,
                             condition.content.data(), &found.antenna, list.data(), &count, reader.handle());
    found.tags = decode_list_6b(list, count);
    return found;
}

bool is_answer(int code)
{
    return code == TAGWIRE_OK || code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_NO_TAG;
}

void show_tags(Session& session, const Found6b& found)
{
    for (const auto& tag : found.tags) {
        Json object;
        object["type"] = "tag_6b";
        object["id"] = tag.id;
        object["antenna"] = found.antenna;
        object["rssi"] = tag.rssi;
        session.out.line(session.options.json
                             ? json_line(object)
                             : fmt::format("{}  antenna {}  rssi {}", tag.id, found.antenna, tag.rssi));
    }
    session.out.flush();
}

Work plan_inventory(const InventoryArguments6b& arguments)
{
    const auto condition = parse_condition(arguments);
    return [condition](Session& session) {
        const auto reader = connect(session);
        const auto found = condition ? ask_for_many(*reader, *condition) : ask_for_one(*reader);
        if (!is_answer(found.code)) reader->require_success(found.code, Operation::Inventory);
        reader->require_success(reader->close(), Operation::Close);
        show_tags(session, found);
        tell(fmt::format("{} tag{}", found.tags.size(), found.tags.size() == 1 ? "" : "s"));
        return exit_success;
    };
}

void add_inventory_options(CLI::App& command, InventoryArguments6b& arguments)
{
    command.add_option("--condition", arguments.condition, choices_text(conditions))->type_name("HOW");
    command.add_option("--byte", arguments.byte, "first byte of memory to compare")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--content", arguments.content, "what to compare with, up to 8 bytes")
        ->type_name("HEX");
    command
        .add_option("--compare", arguments.compare,
                    "which of the 8 bytes are compared, as bits: the highest stands for the first; otherwise "
                    "as many as --content has")
        ->type_name("N");
    command.footer(R"(Without a condition one tag is asked for. The ID is the first 8 bytes of the memory.

Examples:
  tagwire 6b inventory
  tagwire 6b inventory --condition equal --byte 0 --content E004 --json)");
}

// -- read, write, lock

Work plan_read(const TagArguments6b& arguments)
{
    const auto id = parse_id(arguments.id);
    ReadJob job;
    job.head = head_of("read", id);
    job.unit = "byte";
    job.run = parse_run(arguments.byte, arguments.count, job.unit, {last_byte, last_byte + 1});
    job.file = arguments.file;
    job.make_memory = maker_of(id, usual_bytes_per_write);
    return [job](Session& session) { return run_read(session, job); };
}

Work plan_write(const TagArguments6b& arguments)
{
    const auto id = parse_id(arguments.id);
    WriteJob job;
    job.head = head_of("write", id);
    job.unit = "byte";
    job.place = "the tag";
    job.data = parse_data(arguments.data, 1);
    job.first = run_of_data(arguments.byte, job.data, 1, last_byte).first;
    job.verify = arguments.verify;
    job.make_memory = maker_of(id, parse_number(arguments.chunk, "--chunk", 1, most_bytes_per_write));
    return [job](Session& session) { return run_write(session, job); };
}

Work plan_lock(const TagArguments6b& arguments)
{
    const auto id = parse_id(arguments.id);
    const auto address = parse_address(arguments);
    confirm(fmt::format("lock byte {} of tag {}", address, hex_text(id)), arguments.yes);
    Done done{fmt::format("byte {} is locked for good", address), head_of("lock", id)};
    done.object["byte"] = address;
    return [=](Session& session) {
        return run_call(session, Operation::LockMemory, done, [&](const ReaderConnection& reader, Done&) {
            auto given = id;
            auto bus_address = reader.address();
            TagResult result;
            result.code = Lock_6B(&bus_address, given.data(), address, &result.tag_error, reader.handle());
            return result;
        });
    };
}

Work plan_check_lock(const TagArguments6b& arguments)
{
    const auto id = parse_id(arguments.id);
    const auto address = parse_address(arguments);
    const Done done{"", head_of("check-lock", id)};
    return [=](Session& session) {
        return run_call(
            session, Operation::CheckLock, done, [&](const ReaderConnection& reader, Done& shown) {
                auto given = id;
                auto bus_address = reader.address();
                std::uint8_t state = 0;
                TagResult result;
                result.code = CheckLock_6B(&bus_address, given.data(), address, &state, &result.tag_error,
                                           reader.handle());
                shown.text = fmt::format("byte {} is {}", address, state == 0 ? "not locked" : "locked");
                shown.object["byte"] = address;
                shown.object["locked"] = state != 0;
                return result;
            });
    };
}

void add_id_options(CLI::App& command, TagArguments6b& arguments)
{
    command.add_option("--id", arguments.id, "the tag, by its ID of 8 bytes")->type_name("HEX")->required();
}

void add_place_options(CLI::App& command, TagArguments6b& arguments)
{
    add_id_options(command, arguments);
    command.add_option("--byte", arguments.byte, "first byte, 0 to 255")
        ->type_name("N")
        ->capture_default_str();
}

void add_read_options(CLI::App& command, TagArguments6b& arguments)
{
    add_place_options(command, arguments);
    add_read_output_options(command, arguments.count, arguments.file, "byte");
    command.footer(R"(Examples:
  tagwire 6b read --id E004000012345678 --byte 8 --count 16)");
}

void add_write_options(CLI::App& command, TagArguments6b& arguments)
{
    add_place_options(command, arguments);
    add_data_options(command, arguments.data);
    add_chunk_option(command, arguments.chunk, "byte", most_bytes_per_write);
    add_verify_option(command, arguments.verify);
    command.footer(R"(Examples:
  tagwire 6b write --id E004000012345678 --byte 16 --data 0123456789 --verify)");
}

void add_one_byte_options(CLI::App& command, TagArguments6b& arguments)
{
    add_id_options(command, arguments);
    command.add_option("--byte", arguments.byte, "the byte, 0 to 255")->type_name("N")->required();
}

void add_lock_options(CLI::App& command, TagArguments6b& arguments)
{
    add_one_byte_options(command, arguments);
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(A locked byte can never be written again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire 6b lock --id E004000012345678 --byte 16)");
}

void add_check_lock_options(CLI::App& command, TagArguments6b& arguments)
{
    add_one_byte_options(command, arguments);
    command.footer(R"(Examples:
  tagwire 6b check-lock --id E004000012345678 --byte 16 --json)");
}

}  // namespace

void add_iso6b_commands(Application& application)
{
    auto& group = application.add_group("6b", "ISO 18000-6B tags.");
    const auto add = [&](const char* name, const char* description, auto options, auto plan) {
        add_command_with<TagArguments6b>(application, &group, name, description, options, plan);
    };
    add_command_with<InventoryArguments6b>(application, &group, "inventory", "List tags in the field.",
                                           add_inventory_options, plan_inventory);
    add("read", "Read bytes of a tag.", add_read_options, plan_read);
    add("write", "Write bytes of a tag.", add_write_options, plan_write);
    add("lock", "Lock a byte of a tag, for good.", add_lock_options, plan_lock);
    add("check-lock", "Ask whether a byte of a tag is locked.", add_check_lock_options, plan_check_lock);
}

}  // namespace tagwire::tool
