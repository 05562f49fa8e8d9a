#include "commands/groups.h"
#include "data_file.h"
#include "errors.h"
#include "hang_up.h"
#include "parse.h"
#include "table_transfer.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/update.h"

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// On a terminal: a long one takes its time, and nothing else tells.
constexpr std::size_t long_table = 2048;

struct TableArguments {
    std::string number;
    std::string file;
    std::string hex;
    std::string option = "1";
    bool verify = false;
    bool yes = false;
};

std::uint8_t parse_table(const TableArguments& arguments)
{
    return static_cast<std::uint8_t>(parse_number(arguments.number, "N", 0, 255));
}

Json head_of(const char* type, std::uint8_t number, std::size_t bytes)
{
    Json object;
    object["type"] = type;
    object["table"] = number;
    object["bytes"] = bytes;
    return object;
}

Bytes read_whole(Session& session, ReaderConnection& reader, std::uint8_t number)
{
    TableReading reading;
    {
        const HangUpOnSignal hang_up(session.interrupts, reader);
        reading = read_table(reader, number);
    }
    if (session.interrupts.interrupted()) throw Failure("reading the table: interrupted");
    reader.require_success(reading.code, Operation::TableRead);
    return std::move(reading.data);
}

// -- read

void show_table(Session& session, std::uint8_t number, const Bytes& data, const std::string& file)
{
    if (file == "-") {
        session.out.text({reinterpret_cast<const char*>(data.data()), data.size()});
    } else if (session.options.json) {
        auto object = head_of("table", number, data.size());
        if (file.empty()) object["data"] = hex_text(data);
        session.out.line(json_line(object));
    } else if (file.empty() && !data.empty()) {
        session.out.line(hex_text(data));
    }
    session.out.flush();
    tell(fmt::format("{} byte{} in table {}", data.size(), data.size() == 1 ? "" : "s", number));
}

Work plan_read(const TableArguments& arguments)
{
    const auto number = parse_table(arguments);
    return [number, file = arguments.file](Session& session) {
        const auto reader = connect(session);
        const auto data = read_whole(session, *reader, number);
        const int closed = reader->close();
        if (!file.empty() && file != "-") write_file(file, data);
        show_table(session, number, data, file);
        reader->require_success(closed, Operation::Close);
        return exit_success;
    };
}

// -- write

struct TablePlan {
    std::uint8_t number = 0;
    Bytes data;
    bool verify = false;
};

Bytes parse_table_data(const TableArguments& arguments)
{
    if (arguments.file.empty() == arguments.hex.empty())
        throw UsageError("give the table: use either FILE or --data HEX");
    auto data = arguments.file.empty() ? parse_units(arguments.hex, "--data", 1) : read_file(arguments.file);
    if (data.size() > most_table_bytes)
        throw UsageError(
            fmt::format("the data is longer than {} bytes, the most of a table", most_table_bytes));
    return data;
}

// A write that stops half way leaves the table in doubt.
void write_whole(Session& session, const ReaderConnection& reader, const TablePlan& plan)
{
    const InterruptWatch::Hook note(session.interrupts, [runs = 0]() mutable {
        if (++runs == 2) complain("finishing the table first: a second signal would end half way");
    });
    if (plan.data.size() >= long_table && isatty(STDERR_FILENO) != 0)
        tell(fmt::format("writing {} bytes ...", plan.data.size()));
    reader.require_success(write_table(reader, plan.number, plan.data), Operation::TableWrite);
}

// Throws Failure unless the reader holds the table.
void verify(Session& session, ReaderConnection& reader, const TablePlan& plan)
{
    if (session.interrupts.interrupted()) throw Failure("verify: interrupted, the whole table was sent");
    const auto difference = difference_text(plan.data, read_whole(session, reader, plan.number));
    if (!difference) return;
    throw Failure(
        fmt::format("verify: {}: the reader did not take it; is the table free to be written?", *difference));
}

int write(Session& session, const TablePlan& plan)
{
    const auto reader = connect(session);
    write_whole(session, *reader, plan);
    if (plan.verify) verify(session, *reader, plan);
    reader->require_success(reader->close(), Operation::Close);
    auto object = head_of("table-write", plan.number, plan.data.size());
    object["verified"] = plan.verify;
    show(session, {fmt::format("{} byte{} of table {} {}", plan.data.size(), plan.data.size() == 1 ? "" : "s",
                               plan.number, plan.verify ? "written and read back" : "sent"),
                   object});
    if (!plan.verify) tell("the reader does not say whether it took them: --verify reads them back");
    return exit_success;
}

Work plan_write(const TableArguments& arguments)
{
    const TablePlan plan{parse_table(arguments), parse_table_data(arguments), arguments.verify};
    confirm(fmt::format("replace parameter table {} with {} byte{}", plan.number, plan.data.size(),
                        plan.data.size() == 1 ? "" : "s"),
            arguments.yes);
    return [plan](Session& session) { return write(session, plan); };
}

// -- factory settings

Work plan_control(const char* type, const char* text, const std::function<int(std::uint8_t*, int)>& call)
{
    Done done{text, {}};
    done.object["type"] = type;
    return [=](Session& session) {
        return run_call(session, Operation::TableControl, done, [&](const ReaderConnection& reader, Done&) {
            auto address = reader.address();
            return TagResult{call(&address, reader.handle())};
        });
    };
}

Work plan_save(const TableArguments& arguments)
{
    confirm("replace the factory's parameters with those in use", arguments.yes);
    return plan_control("table-save-factory", "the parameters in use are the factory's now",
                        OverwriteFactoryDefaultParameterTable);
}

Work plan_restore(const TableArguments& arguments)
{
    confirm("replace all parameters with the factory's", arguments.yes);
    return plan_control("table-restore", "the factory's parameters are in use now",
                        RestoreFactoryDefaultParameterTable);
}

Work plan_clear(const TableArguments& arguments)
{
    const auto option = static_cast<std::uint8_t>(parse_number(arguments.option, "--option", 1, 255));
    confirm("clear parameters", arguments.yes);
    return plan_control(
        "table-clear", "the parameters are cleared",
        [option](std::uint8_t* address, int handle) { return ClearAllParameters(address, option, handle); });
}

// -- options

void add_number_option(CLI::App& command, TableArguments& arguments)
{
    command.add_option("N", arguments.number, "number of the table, 0 to 255")->required();
}

void add_read_options(CLI::App& command, TableArguments& arguments)
{
    add_number_option(command, arguments);
    command.add_option("FILE", arguments.file, "put the raw bytes there; - is standard output");
    command.footer(R"(Without FILE hexadecimal digits are printed.

Examples:
  tagwire table read 3
  tagwire table read 3 table3.bin)");
}

void add_write_options(CLI::App& command, TableArguments& arguments)
{
    add_number_option(command, arguments);
    command.add_option("FILE", arguments.file, "the table as raw bytes; - is standard input");
    command.add_option("--data", arguments.hex, "the table in hexadecimal digits")->type_name("HEX");
    command.add_flag("--verify", arguments.verify, "read the table back and compare");
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(Replaces the whole table; an empty file makes it empty. The command asks first, and refuses where it
cannot ask. The reader does not tell whether it accepts a table: --verify does.

Examples:
  tagwire table write 3 table3.bin --verify
  tagwire table write 3 --data 0102A0 --yes)");
}

void add_clear_options(CLI::App& command, TableArguments& arguments)
{
    command.add_option("--option", arguments.option, "what to clear, 1 to 255 in the reader's own coding")
        ->type_name("N")
        ->capture_default_str();
    add_yes_option(command, arguments.yes);
    command.footer("Examples:\n  tagwire table clear");
}

}  // namespace

void add_table_commands(Application& application)
{
    auto& group = application.add_group("table", "The reader's parameter tables.");
    const auto add = [&](const char* name, const char* description, auto options, auto plan) {
        add_command_with<TableArguments>(application, &group, name, description, options, plan);
    };
    const auto options_of = [](const char* name) {
        return [name](CLI::App& command, TableArguments& arguments) {
            add_yes_option(command, arguments.yes);
            command.footer(fmt::format("Examples:\n  tagwire table {}", name));
        };
    };
    add("read", "Read a table.", add_read_options, plan_read);
    add("write", "Replace a table.", add_write_options, plan_write);
    add("save-factory", "Make the parameters in use the factory's.", options_of("save-factory"), plan_save);
    add("restore", "Go back to the factory's parameters.", options_of("restore"), plan_restore);
    add("clear", "Clear parameters.", add_clear_options, plan_clear);
}

}  // namespace tagwire::tool
