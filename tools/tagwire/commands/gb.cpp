#include "tagwire/gb.h"
#include "commands/groups.h"
#include "errors.h"
#include "inventory_run.h"
#include "memory_transfer.h"
#include "tag_call.h"
#include "tag_options.h"
#include "word_commands.h"

#include <array>
#include <optional>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::array area_names{Name{"info", 0x00}, Name{"coding", 0x10}, Name{"security", 0x20},
                                Name{"user", 0x30}};
constexpr NameSet areas{area_names, 255};
constexpr TagFamily gb_family{"--id", "id", 15, "area", areas};

// The calls of one of the two families.
struct Calls {
    const char* group;
    bool has_algorithm;
    decltype(&ReadData_GB) read;
    decltype(&WriteData_GB) write;
    decltype(&BlockErase_GB) erase;
    decltype(&Lock_GB) lock;
    decltype(&KillTag_GB) kill;
};

constexpr Calls gb_calls{"gb", false, ReadData_GB, WriteData_GB, BlockErase_GB, Lock_GB, KillTag_GB};
constexpr Calls jb_calls{"jb", true, ReadData_JB, WriteData_JB, BlockErase_JB, Lock_JB, KillTag_JB};

class GbMemory : public TagMemory {
  public:
    GbMemory(const ReaderConnection& reader, const Calls& calls, WordPlace place)
        : reader_(reader), calls_(calls), place_(std::move(place))
    {}

    TransferLimits limits() const override { return place_.limits(); }

    TagResult read(const Run& run, Bytes& data) override
    {
        data.assign(word_bytes * most_words_per_read, 0);
        auto pointer = high_byte_first(run.first);
        auto password = place_.password;
        TagCall call(reader_, place_.name);
        const auto result = call(
            calls_.read,
            std::tuple(place_.bank, pointer.data(), static_cast<std::uint8_t>(run.count), password.data()),
            data.data());
        data.resize(word_bytes * run.count);
        return result;
    }

    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override
    {
        auto pointer = high_byte_first(first);
        TagCall call(reader_, place_.name);
        const auto result = call.write(calls_.write, static_cast<std::uint8_t>(data.size() / 2), place_.bank,
                                       pointer.data(), Bytes(data.begin(), data.end()), place_.password);
        if (result.is_success() && place_.name.mask)
            place_.name.mask = mask_after(*place_.name.mask, {place_.bank, first, data});
        return result;
    }

  private:
    const ReaderConnection& reader_;
    const Calls& calls_;
    WordPlace place_;
};

// -- inventory

struct InventoryArgumentsGb {
    ScanArguments scan;
    RepeatArguments repeat;
    std::string read;
    std::string password = "00000000";
    std::string algorithm = "0";
};

struct ReadPlan {
    std::uint8_t area = 0;
    Run run;
};

struct InventoryPlanGb {
    ScanPlan scan;
    std::optional<ReadPlan> read;
    Password password{};
    std::uint8_t algorithm = 0;
};

// AREA:WORD:COUNT
ReadPlan parse_read(const std::string& text)
{
    // A record counts its bytes in six bits.
    constexpr std::uint32_t most_words = 31;
    const auto first_colon = text.find(':');
    const auto second_colon =
        text.find(':', first_colon == std::string::npos ? first_colon : first_colon + 1);
    if (second_colon == std::string::npos)
        throw UsageError(
            fmt::format("--read '{}' is not valid: use AREA:WORD:COUNT, for example user:0:4", text));
    ReadPlan plan;
    plan.area = parse_name(text.substr(0, first_colon), "area to read", areas);
    plan.run.first = parse_number(text.substr(first_colon + 1, second_colon - first_colon - 1), "first word",
                                  0, last_word);
    plan.run.count = parse_number(text.substr(second_colon + 1), "count of words", 1, most_words);
    return plan;
}

InventoryPlanGb plan_from(const InventoryArgumentsGb& arguments)
{
    InventoryPlanGb plan;
    plan.scan = plan_from(arguments.scan, areas);
    if (!arguments.read.empty()) plan.read = parse_read(arguments.read);
    plan.password = parse_password(arguments.password, "--password");
    plan.algorithm = static_cast<std::uint8_t>(parse_number(arguments.algorithm, "--algorithm", 0, 255));
    return plan;
}

int send(const Calls& calls, const ReaderConnection& reader, const InventoryPlanGb& plan, InventoryList& list,
         std::uint8_t& antenna, int& list_bytes)
{
    auto address = reader.address();
    auto password = plan.password;
    MaskArguments mask(plan.scan.mask);
    const std::uint8_t has_mask = plan.scan.mask ? 1 : 0;
    const std::uint8_t is_fast = plan.scan.antenna || plan.scan.scan_time ? 1 : 0;
    const auto antenna_byte = plan.scan.antenna.value_or(first_antenna);
    const auto scan_time = plan.scan.scan_time.value_or(0);
    int tags = 0;
    // Between the algorithm, which only one family has, and the outputs.
    const auto finish = [&](auto call, auto... algorithm) {
        return [&, call, algorithm...](auto... read) {
            return call(&address, algorithm..., mask.bank, mask.address.data(), mask.bits, mask.data.data(),
                        has_mask, read..., antenna_byte, scan_time, is_fast, list.data(), &antenna,
                        &list_bytes, &tags, reader.handle());
        };
    };
    if (!plan.read) {
        return calls.has_algorithm ? finish(Inventory_JB, plan.algorithm)() : finish(Inventory_GB)();
    }
    auto first = high_byte_first(plan.read->run.first);
    const auto count = static_cast<std::uint8_t>(plan.read->run.count);
    const auto read = [&](auto call) { return call(plan.read->area, first.data(), count, password.data()); };
    return calls.has_algorithm ? read(finish(InventoryMix_JB, plan.algorithm))
                               : read(finish(InventoryMix_GB));
}

Work plan_inventory(const Calls& calls, const InventoryArgumentsGb& arguments)
{
    const auto plan = plan_from(arguments);
    InventoryJob job;
    job.repeat = plan_from(arguments.repeat);
    job.layout = plan.read ? RecordLayout::Mixed : RecordLayout::Plain;
    job.id_key = gb_family.id_key;
    job.prepare = [&calls, plan](const ReaderConnection& reader) {
        auto complete = plan;
        if (plan.scan.antenna) complete.scan.scan_time = scan_time_of(plan.scan, reader);
        return [&calls, complete, &reader](InventoryList& list, std::uint8_t& antenna, int& list_bytes) {
            return send(calls, reader, complete, list, antenna, list_bytes);
        };
    };
    return [job](Session& session) { return run_inventory(session, job); };
}

void add_inventory_options(const Calls& calls, CLI::App& command, InventoryArgumentsGb& arguments)
{
    add_scan_options(command, arguments.scan, areas);
    add_repeat_options(command, arguments.repeat);
    command
        .add_option("--read", arguments.read,
                    "read COUNT words (1 to 31) of every tag, from word WORD of AREA on: " +
                        choices_text(areas))
        ->type_name("AREA:WORD:COUNT");
    command.add_option("--password", arguments.password, "access password for --read, 8 hexadecimal digits")
        ->type_name("HEX")
        ->capture_default_str();
    if (calls.has_algorithm) {
        command.add_option("--algorithm", arguments.algorithm, "anti-collision algorithm, 0 to 255")
            ->type_name("N")
            ->capture_default_str();
    }
    command.footer(fmt::format(R"(Examples:
  tagwire {0} inventory
  tagwire {0} inventory --read user:0:4 --json
  tagwire {0} inventory --antenna 2 --scan-time 500 --mask coding:0:A5)",
                               calls.group));
}

// -- read, write, erase

MakeWordMemory maker_of(const Calls& calls)
{
    return [&calls](const ReaderConnection& reader, const WordPlace& place) {
        return std::make_unique<GbMemory>(reader, calls, place);
    };
}

Work plan_read(const Calls& calls, const WordArguments& arguments)
{
    return plan_word_read(arguments, gb_family, maker_of(calls));
}

Work plan_write(const Calls& calls, const WordArguments& arguments)
{
    return plan_word_write(arguments, gb_family, maker_of(calls));
}

Work plan_erase(const Calls& calls, const WordArguments& arguments)
{
    return plan_word_erase(
        arguments, gb_family, {last_word, last_word},
        [&calls](TagCall& tag, const WordPlace& place, const Run& run) {
            auto password = place.password;
            auto first = high_byte_first(run.first);
            auto count = high_byte_first(run.count);
            return tag(calls.erase, std::tuple(place.bank, first.data(), count.data(), password.data()));
        });
}

void add_gb_read_options(const Calls& calls, CLI::App& command, WordArguments& arguments)
{
    add_read_options(command, arguments, gb_family);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} read --id A5A50001 --area user --count 8
  tagwire {0} read --mask coding:0:A5A5 --area info --count 2 --json)",
                               calls.group));
}

void add_gb_write_options(const Calls& calls, CLI::App& command, WordArguments& arguments)
{
    add_write_options(command, arguments, gb_family);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} write --id A5A50001 --area user --data 0123456789ABCDEF --verify)",
                               calls.group));
}

void add_gb_erase_options(const Calls& calls, CLI::App& command, WordArguments& arguments)
{
    add_erase_options(command, arguments, gb_family);
    command.footer(fmt::format(R"(Examples:
  tagwire {0} erase --id A5A50001 --area user --count 8)",
                               calls.group));
}

// -- lock, kill

constexpr std::array config_names{Name{"attribute", 0}, Name{"security", 1}};
constexpr NameSet configs{config_names, 255};
constexpr std::array attribute_names{Name{"read-write", 0}, Name{"read-only", 1}, Name{"write-only", 2},
                                     Name{"none", 3}};
constexpr NameSet attributes{attribute_names, 255};
constexpr std::array security_names{Name{"open", 1}, Name{"password", 2}};
constexpr NameSet securities{security_names, 255};

struct LockArgumentsGb {
    TagOptions tag;
    std::string area;
    std::string config;
    std::string action;
};

Work plan_lock(const Calls& calls, const LockArgumentsGb& arguments)
{
    const auto name = parse_tag_name(arguments.tag, gb_family);
    const auto password = parse_password(arguments.tag.password, "--password");
    const auto area = parse_name(arguments.area, "--area", areas);
    const auto config = parse_name(arguments.config, "--config", configs);
    const auto& actions = config == 1 ? securities : attributes;
    const auto action = parse_name(arguments.action, "--action", actions);
    const auto area_text = name_text(area, areas);
    const auto config_text = name_text(config, configs);
    const auto action_text = name_text(action, actions);
    Done done{fmt::format("{} of {} is {} now", config_text, area_text, action_text), {}};
    done.object["type"] = "lock";
    add_name(done.object, name, gb_family);
    done.object["area"] = area_text;
    done.object["config"] = config_text;
    done.object["action"] = action_text;
    return [=, &calls](Session& session) {
        return run_tag_call(session, name, Operation::LockMemory, done, [&](TagCall& call, Done&) {
            auto given = password;
            return call(calls.lock, std::tuple(area, config, action, given.data()));
        });
    };
}

void add_lock_options(const Calls& calls, CLI::App& command, LockArgumentsGb& arguments)
{
    add_name_options(command, arguments.tag, gb_family);
    add_password_option(command, arguments.tag);
    command.add_option("--area", arguments.area, choices_text(areas))->type_name("AREA")->required();
    command.add_option("--config", arguments.config, "what is set: " + choices_text(configs))
        ->type_name("WHAT")
        ->required();
    command
        .add_option(
            "--action", arguments.action,
            fmt::format("attribute: {}; security: {}", choices_text(attributes), choices_text(securities)))
        ->type_name("HOW")
        ->required();
    command.footer(fmt::format(R"(Examples:
  tagwire {0} lock --id A5A50001 --area user --config attribute --action read-only --password 12345678
  tagwire {0} lock --id A5A50001 --area user --config security --action password --password 12345678)",
                               calls.group));
}

Work plan_gb_kill(const Calls& calls, const KillArguments& arguments)
{
    return plan_kill(arguments, gb_family, [&calls](TagCall& tag, std::uint8_t* password) {
        return tag(calls.kill, std::tuple(password));
    });
}

void add_gb_kill_options(const Calls& calls, CLI::App& command, KillArguments& arguments)
{
    add_kill_options(command, arguments, gb_family);
    command.footer(fmt::format(
        R"(A killed tag never answers again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire {0} kill --id A5A50001 --kill-password 87654321)",
        calls.group));
}

void add_family(Application& application, const Calls& calls, const std::string& description)
{
    auto& group = application.add_group(calls.group, description);
    const auto add = [&]<typename Arguments>(const char* name, const char* text,
                                             void (*options)(const Calls&, CLI::App&, Arguments&),
                                             Work (*plan)(const Calls&, const Arguments&)) {
        add_command_with<Arguments>(
            application, &group, name, text,
            [&calls, options](CLI::App& command, Arguments& arguments) {
                options(calls, command, arguments);
            },
            [&calls, plan](const Arguments& arguments) { return plan(calls, arguments); });
    };
    add("inventory", "List tags in the field.", add_inventory_options, plan_inventory);
    add("read", "Read memory of a tag.", add_gb_read_options, plan_read);
    add("write", "Write memory of a tag.", add_gb_write_options, plan_write);
    add("erase", "Erase words of a tag.", add_gb_erase_options, plan_erase);
    add("lock", "Protect an area of a tag.", add_lock_options, plan_lock);
    add("kill", "Kill a tag, for good.", add_gb_kill_options, plan_gb_kill);
}

}  // namespace

void add_gb_commands(Application& application)
{
    add_family(application, gb_calls, "Tags of the GB air interface.");
    add_family(application, jb_calls, "Tags of the JB variant of the GB air interface.");
}

}  // namespace tagwire::tool
