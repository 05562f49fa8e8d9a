#include "tagwire/buffer.h"
#include "buffer_records.h"
#include "records.h"
#include "commands/groups.h"
#include "errors.h"
#include "inventory_plan.h"
#include "inventory_run.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/result.h"

#include <memory>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// The most that the reader's lists write.
constexpr std::size_t list_bytes = 65536;

std::string plural(std::int64_t count, std::string_view noun)
{
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::span<const std::uint8_t> used_of(const Bytes& list, int bytes)
{
    return std::span(list).first(std::min(static_cast<std::size_t>(std::max(bytes, 0)), list.size()));
}

Done done_with(std::string text, const char* type)
{
    Done done{std::move(text), {}};
    done.object["type"] = type;
    return done;
}

// -- inventory

int count_tags(const ReaderConnection& reader, int& count)
{
    auto address = reader.address();
    return GetBufferCnt_G2(&address, &count, reader.handle());
}

int fill_buffer(const ReaderConnection& reader, InventoryPlan plan, Done& done)
{
    if (plan.is_fast()) plan.scan.scan_time = scan_time_of(plan.scan, reader);
    int buffered = 0;
    int tags = 0;
    int code = call_inventory(InventoryBuffer_G2, reader, plan, &buffered, &tags);
    const bool has_counts = code == TAGWIRE_OK;
    // Ended by its scan time: the answer's counts are not passed on.
    if (code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_TIME_OVER)
        code = count_tags(reader, buffered);
    done.text = fmt::format("{} in the buffer", plural(buffered, "tag"));
    if (has_counts) done.text = fmt::format("{} read, {}", plural(tags, "tag"), done.text);
    if (has_counts) done.object["tags"] = tags;
    done.object["buffered"] = buffered;
    return code;
}

Work plan_fill(const InventoryArguments& arguments)
{
    const auto plan = plan_from(arguments);
    return [plan](Session& session) {
        return run_call(session, Operation::BufferInventory, done_with("", "buffer-inventory"),
                        [&](const ReaderConnection& reader, Done& done) {
                            const InventoryAbort abort(session, reader);
                            return TagResult{fill_buffer(reader, plan, done)};
                        });
    };
}

void add_fill_options(CLI::App& command, InventoryArguments& arguments)
{
    add_inventory_options(command, arguments);
    command.footer(R"(The options are those of tagwire inventory.

Examples:
  tagwire buffer inventory
  tagwire buffer inventory --q 6 --session S1 --scan-time 2000 --json)");
}

// -- read

Json buffered_json(const BufferedTag& tag)
{
    Json object;
    object["type"] = "buffered_tag";
    object["epc"] = tag.epc;
    object["antenna"] = tag.antenna;
    object["rssi"] = tag.rssi;
    object["reads"] = tag.reads;
    return object;
}

void show_buffered(Session& session, const BufferedTag& tag)
{
    session.out.line(session.options.json ? json_line(buffered_json(tag))
                                          : fmt::format("{}  antenna {}  rssi {}  reads {}",
                                                        shown_id(tag.epc), tag.antenna, tag.rssi, tag.reads));
}

// A reader that stores tags in another way.
void show_unknown_records(Session& session, std::span<const std::uint8_t> list, int count)
{
    Json object;
    object["type"] = "buffer";
    object["tags"] = count;
    object["data"] = hex_text(list);
    session.out.line(session.options.json ? json_line(object) : hex_text(list));
    complain("the records are not in the usual form: shown as they came");
}

int read_buffer(Session& session)
{
    const auto reader = connect(session);
    auto address = reader->address();
    Bytes list(list_bytes);
    int bytes = 0;
    int count = 0;
    const int code = ReadBuffer_G2(&address, &bytes, &count, list.data(), reader->handle());
    const bool is_empty = code == TAGWIRE_INVENTORY_UNKNOWN;
    if (code != TAGWIRE_INVENTORY_DONE && code != TAGWIRE_OK && !is_empty)
        reader->require_success(code, Operation::BufferRead);
    reader->require_success(reader->close(), Operation::Close);

    const auto used = used_of(list, bytes);
    if (const auto tags = decode_buffer(used, count)) {
        for (const auto& tag : *tags) show_buffered(session, tag);
    } else {
        show_unknown_records(session, used, count);
    }
    session.out.flush();
    tell(fmt::format("{} in the buffer", plural(count, "tag")));
    return exit_success;
}

// -- count, clear, save length

Work plan_simple(const char* type, const char* text, int (*call)(unsigned char*, int))
{
    return [=](Session& session) {
        return run_call(session, Operation::BufferControl, done_with(text, type),
                        [&](const ReaderConnection& reader, Done&) {
                            auto address = reader.address();
                            return TagResult{call(&address, reader.handle())};
                        });
    };
}

int show_count(Session& session)
{
    return run_call(session, Operation::BufferControl, done_with("", "buffer-count"),
                    [](const ReaderConnection& reader, Done& done) {
                        int count = 0;
                        const TagResult result{count_tags(reader, count)};
                        done.text = std::to_string(count);
                        done.object["buffered"] = count;
                        return result;
                    });
}

struct SaveLengthArguments {
    std::string length;
};

TagResult use_save_length(const ReaderConnection& reader, std::optional<std::uint8_t> wanted, Done& done)
{
    auto address = reader.address();
    std::uint8_t length = wanted.value_or(0);
    const TagResult result{wanted ? SetSaveLen(&address, length, reader.handle())
                                  : GetSaveLen(&address, &length, reader.handle())};
    done.text = fmt::format("save length {}", length);
    done.object["save_length"] = length;
    return result;
}

Work plan_save_length(const SaveLengthArguments& arguments)
{
    std::optional<std::uint8_t> wanted;
    if (!arguments.length.empty())
        wanted = static_cast<std::uint8_t>(parse_number(arguments.length, "LENGTH", 0, 255));
    return [wanted](Session& session) {
        return run_call(session, Operation::BufferControl, done_with("", "buffer-save-length"),
                        [&](const ReaderConnection& reader, Done& done) {
                            return use_save_length(reader, wanted, done);
                        });
    };
}

void add_save_length_options(CLI::App& command, SaveLengthArguments& arguments)
{
    command.add_option("LENGTH", arguments.length,
                       "how much of an EPC is kept, 0 to 255 in the reader's own coding; shown without");
    command.footer(R"(Examples:
  tagwire buffer save-length
  tagwire buffer save-length 1)");
}

// -- the separate tag buffer

int read_tag_buffer(Session& session)
{
    const auto reader = connect(session);
    auto address = reader->address();
    Bytes data(list_bytes);
    int bytes = 0;
    reader->require_success(GetTagBufferInfo(&address, data.data(), &bytes, reader->handle()),
                            Operation::BufferRead);
    reader->require_success(reader->close(), Operation::Close);

    const auto stored = decode_tag_buffer(used_of(data, bytes));
    for (const auto& tag : stored.tags) {
        Json object;
        object["type"] = "stored_tag";
        object["epc"] = tag.id;
        object["details"] = tag.details;
        session.out.line(session.options.json ? json_line(object)
                                              : fmt::format("{}  details {}", shown_id(tag.id), tag.details));
    }
    session.out.flush();
    if (stored.undecoded != 0)
        complain(fmt::format("the reader's list ends with {} bytes that make no tag", stored.undecoded));
    tell(fmt::format("{} in the tag buffer", plural(static_cast<int>(stored.tags.size()), "tag")));
    return exit_success;
}

// -- find

struct FindArguments {
    std::vector<std::string> epcs;
    std::string q = "4";
    std::string antennas;
    bool add = false;
};

struct FindPlan {
    std::vector<SearchPart> parts;
    std::uint8_t q = 0;
    std::uint64_t antennas = 0;
    bool add = false;
};

FindPlan plan_from(const FindArguments& arguments)
{
    std::vector<Bytes> ids;
    for (const auto& epc : arguments.epcs) {
        ids.push_back(parse_units(epc, "EPC", 2));
        if (ids.back().size() > word_bytes * gen2_family.most_id_words)
            throw UsageError(fmt::format("EPC '{}' is longer than {} words", epc, gen2_family.most_id_words));
    }
    FindPlan plan;
    plan.parts = split_search(ids);
    plan.q = static_cast<std::uint8_t>(parse_number(arguments.q, "--q", 0, 15));
    if (!arguments.antennas.empty()) plan.antennas = parse_ports(arguments.antennas, "--antennas", 16);
    plan.add = arguments.add;
    return plan;
}

void load_list(const ReaderConnection& reader, const FindPlan& plan)
{
    bool add = plan.add;
    for (auto part : plan.parts) {
        auto address = reader.address();
        reader.require_success(Find_epc_list_cfg(&address, add ? 1 : 0, part.count, part.ids.data(),
                                                 static_cast<int>(part.ids.size()), reader.handle()),
                               Operation::ListSearch);
        add = true;
    }
}

bool is_end_of_search(int code)
{
    return code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_TIME_OVER ||
           code == TAGWIRE_INVENTORY_NO_TAG;
}

// The records carry no antenna.
void show_found(Session& session, const std::vector<TagRecord>& tags)
{
    for (const auto& tag : tags) {
        Json object;
        object["type"] = "found_tag";
        object["epc"] = tag.id;
        object["rssi"] = tag.rssi;
        session.out.line(session.options.json ? json_line(object)
                                              : fmt::format("{}  rssi {}", shown_id(tag.id), tag.rssi));
    }
    session.out.flush();
}

int find(Session& session, const FindPlan& plan)
{
    const auto reader = connect(session);
    load_list(*reader, plan);
    auto address = reader->address();
    Bytes list(list_bytes);
    int bytes = 0;
    int count = 0;
    {
        const InventoryAbort abort(session, *reader);
        const int code = Find_epc_by_list(&address, plan.q, static_cast<int>(plan.antennas), &count,
                                          list.data(), &bytes, reader->handle());
        if (!is_end_of_search(code)) reader->require_success(code, Operation::ListSearch);
    }
    reader->require_success(reader->close(), Operation::Close);
    const auto decoded = decode_list(used_of(list, bytes), 0);
    show_found(session, decoded.records);
    if (decoded.undecoded != 0)
        complain(fmt::format("the reader's list ends with {} bytes that make no tag", decoded.undecoded));
    tell(fmt::format("{} found", plural(static_cast<int>(decoded.records.size()), "tag")));
    return exit_success;
}

Work plan_find(const FindArguments& arguments)
{
    return [plan = plan_from(arguments)](Session& session) { return find(session, plan); };
}

void add_find_options(CLI::App& command, FindArguments& arguments)
{
    command.add_option("EPC", arguments.epcs, "what to look for, 4 hexadecimal digits a word")->required();
    command.add_option("--q", arguments.q, "Q of all rounds, 0 to 15")->type_name("N")->capture_default_str();
    command
        .add_option("--antennas", arguments.antennas,
                    "antenna ports to look with, 1 to 16; otherwise those that the reader uses")
        ->type_name("PORT,PORT,...");
    command.add_flag("--add", arguments.add, "add to the list that the reader has, instead of replacing it");
    command.footer(
        R"(The reader gets the list and reports the tags of the list only. A tag that is not there is no error.

Examples:
  tagwire buffer find E28011700000020F00000001 3034000040C0000400000003
  tagwire buffer find E28011700000020F00000001 --antennas 1,2 --json)");
}

}  // namespace

void add_buffer_commands(Application& application)
{
    auto& group = application.add_group("buffer", "Tags that the reader keeps, and its search by a list.");
    const auto add_plain = [&](const char* name, const char* description, const Prepare& prepare) {
        auto& command = application.add_command(group, name, description, prepare);
        command.footer(fmt::format("Examples:\n  tagwire buffer {}", name));
    };
    add_command_with<InventoryArguments>(application, &group, "inventory",
                                         "Inventory of Gen2 tags into the reader's buffer.", add_fill_options,
                                         plan_fill);
    add_plain("read", "Show the buffer; the tags stay in it.", [] { return Work(read_buffer); });
    add_plain("count", "Count the tags in the buffer.", [] { return Work(show_count); });
    add_plain("clear", "Empty the buffer.",
              [] { return plan_simple("buffer-clear", "the buffer is empty now", ClearBuffer_G2); });
    add_command_with<SaveLengthArguments>(application, &group, "save-length",
                                          "Show or set how much of an EPC the buffer keeps.",
                                          add_save_length_options, plan_save_length);
    add_plain("tags", "Show the separate tag buffer.", [] { return Work(read_tag_buffer); });
    add_plain("clear-tags", "Empty the separate tag buffer.",
              [] { return plan_simple("buffer-clear-tags", "the tag buffer is empty now", ClearTagBuffer); });
    add_command_with<FindArguments>(application, &group, "find", "Look for the tags of a list.",
                                    add_find_options, plan_find);
}

}  // namespace tagwire::tool
