#include <unistd.h>

#include <fmt/format.h>

#include "commands/groups.h"
#include "data_file.h"
#include "open_reader.h"
#include "option.h"
#include "rows.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

constexpr std::size_t most_table_bytes = 65535;

struct Table {
    unsigned number = 0;
    std::string file;
    Bytes data;
    unsigned cleared = 1;
    bool yes = false;
};

Deed deed_of(const char* type, const Table& table)
{
    Deed head = deed(type);
    head.fields["table"] = table.number;
    return head;
}

void add_number_option(CLI::App& command, Table& table)
{
    option(command, "N", table.number, number(0, 255), "number of the table, 0 to 255")->required();
}

// -- read

void add_table_read_options(CLI::App& command, Table& table)
{
    add_number_option(command, table);
    command.add_option("FILE", table.file, "put the raw bytes there; - is standard output");
    command.footer(R"(Without FILE hexadecimal digits are printed.

Examples:
  tagwire table read 3
  tagwire table read 3 table3.bin)");
}

void show_table(Session& session, const Bytes& data, const std::string& file, Deed& done)
{
    done.fields["bytes"] = data.size();
    if (file.empty()) {
        done.fields["data"] = done.text = to_hex(data);
    } else if (file != "-") {
        write_file(file, data);
    } else {
        session.out.text({reinterpret_cast<const char*>(data.data()), data.size()});
        session.out.flush();
    }
}

Work plan_table_read(const Table& table)
{
    Deed head = deed_of("table", table);
    head.is_silent = table.file == "-";
    if (!table.file.empty() && !head.is_silent) require_writable(table.file);
    return [=](Session& session) {
        return run(session, head, [&](Reader& reader, Deed& done) {
            const auto data = reader.tables().read(table.number);
            show_table(session, data, table.file, done);
            tell(fmt::format("{} in table {}", counted(data.size(), "byte"), table.number));
        });
    };
}

// -- write

void add_table_write_options(CLI::App& command, Table& table)
{
    add_number_option(command, table);
    auto* const data = option(command, "--data", table.data, hex(1, most_table_bytes),
                              "the table in hexadecimal digits", "HEX");
    command.add_option("FILE", table.file, "the table as raw bytes; - is standard input")->excludes(data);
    command.add_flag("--verify")->description("what was written is always read back and compared");
    add_yes_option(command, table.yes);
    command.footer(
        R"(Replaces the whole table; an empty file makes it empty. The command asks first, and refuses where it
cannot ask. The table is read back and compared.

Examples:
  tagwire table write 3 table3.bin
  tagwire table write 3 --data 0102A0 --yes)");
}

// A write that stops half way leaves the table in doubt.
int write_whole(Session& session, const Table& table, const Deed& done)
{
    constexpr std::size_t long_table = 2048;
    return attempt(session, done, [&] {
        auto reader = open_reader(session);
        const InterruptWatch::Hook note(session.interrupts, [runs = 0]() mutable {
            if (++runs == 2) complain("finishing the table first: a second signal would end half way");
        });
        if (table.data.size() >= long_table && isatty(STDERR_FILENO) != 0)
            tell(fmt::format("writing {} bytes ...", table.data.size()));
        reader.tables().write(table.number, table.data);
        show(session, done);
        return exit_success;
    });
}

Work plan_table_write(Table table)
{
    if (table.file.empty() == table.data.empty())
        throw UsageError("give the table: use either FILE or --data HEX");
    if (!table.file.empty()) table.data = read_file(table.file, most_table_bytes);
    const auto bytes = counted(table.data.size(), "byte");
    confirm(fmt::format("replace parameter table {} with {}", table.number, bytes), table.yes);
    Deed done = deed_of("table-write", table);
    done.text = fmt::format("{} of table {} written and read back", bytes, table.number);
    done.fields["bytes"] = table.data.size();
    done.fields["verified"] = true;
    return [=](Session& session) { return write_whole(session, table, done); };
}

// -- all parameters

// One command without arguments of its own, which asks first.
void add_asking(Application& application, CLI::App& group, const char* name, const char* help,
                const char* question, const char* done, void (*act)(Tables, const Table&))
{
    const auto add_options = [=](CLI::App& command, Table& table) {
        if (std::string_view(name) == "clear") {
            option(command, "--option", table.cleared, number(1, 255),
                   "what to clear, 1 to 255 in the reader's own coding")
                ->default_str("1");
        }
        add_yes_option(command, table.yes);
        command.footer(fmt::format("Examples:\n  tagwire table {}", name));
    };
    add_command_with<Table>(application, &group, name, help, add_options, [=](const Table& table) {
        confirm(question, table.yes);
        return work(deed(fmt::format("table-{}", name).c_str(), done),
                    [=](Reader& reader, Deed&) { act(reader.tables(), table); });
    });
}

}  // namespace

void add_table_commands(Application& application)
{
    auto& group = application.add_group("table", "The reader's parameter tables.");
    add_to(application, group, "read", "Read a table.", add_table_read_options, plan_table_read);
    add_command_with<Table>(application, &group, "write", "Replace a table.", add_table_write_options,
                            plan_table_write);
    add_asking(application, group, "save-factory", "Make the parameters in use the factory's.",
               "replace the factory's parameters with those in use",
               "the parameters in use are the factory's now",
               [](Tables tables, const Table&) { tables.save_as_factory(); });
    add_asking(application, group, "restore", "Go back to the factory's parameters.",
               "replace all parameters with the factory's", "the factory's parameters are in use now",
               [](Tables tables, const Table&) { tables.restore_factory(); });
    add_asking(application, group, "clear", "Clear parameters.", "clear parameters",
               "the parameters are cleared",
               [](Tables tables, const Table& table) { tables.clear(table.cleared); });
}

}  // namespace tagwire::tool
