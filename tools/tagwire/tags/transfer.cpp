#include "tags/transfer.h"

#include <algorithm>
#include <utility>

#include "data_file.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

void add_first_option(CLI::App& command, Stretch& stretch, const Unit& unit)
{
    option(command, fmt::format("--{}", unit.name), stretch.first, number(0, unit.last),
           fmt::format("first {}, counted from 0", unit.bytes == 1 ? "byte" : "16-bit word"));
}

void add_chunk_option(CLI::App& command, Stretch& stretch, const Unit& unit, unsigned usual, unsigned most)
{
    stretch.chunk = usual;
    option(command, "--chunk", stretch.chunk, number(1, most),
           fmt::format("most {}s of one command, 1 to {}; never more than fit it", unit.name, most))
        ->default_str(std::to_string(usual));
}

void require_within(unsigned first, std::size_t count, const Unit& unit)
{
    if (count <= unit.last + 1 - first) return;
    throw UsageError(fmt::format("from {0} {1} on there are at most {2} {0}s, not {3}", unit.name, first,
                                 unit.last + 1 - first, count));
}

std::string_view as_text(const Bytes& data)
{
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

// What could be read before something went wrong is shown, too.
struct Part {
    Bytes data;
    std::optional<Error> error;
};

Part read_pieces(const Session& session, const Memory& memory, const Stretch& stretch)
{
    Part part;
    try {
        if (!stretch.count) return {memory.read_all(), {}};
        for (unsigned done = 0; done < *stretch.count;) {
            if (session.interrupts.interrupted())
                throw Error(Errc::aborted, "read memory", session.options.reader_name(), "interrupted");
            const auto count = std::min(*stretch.count - done, stretch.chunk);
            const auto piece = memory.read(stretch.first + done, count);
            part.data.insert(part.data.end(), piece.begin(), piece.end());
            done += count;
        }
    } catch (const Error& error) {
        part.error = error;
    }
    return part;
}

void show_read(Session& session, Deed& head, const Stretch& stretch, const Unit& unit, const Part& part)
{
    const auto units = part.data.size() / unit.bytes;
    head.fields[fmt::format("first_{}", unit.name)] = stretch.first;
    head.fields["count"] = stretch.count.value_or(static_cast<unsigned>(units));
    head.fields["complete"] = !part.error;
    head.is_silent = stretch.file == "-";
    if (head.is_silent) {
        session.out.text(as_text(part.data));
        session.out.flush();
        return;
    }
    // A part goes into no file.
    if (stretch.file.empty() || part.error) head.fields["data"] = head.text = to_hex(part.data);
    if (!stretch.file.empty() && !part.error) write_file(stretch.file, part.data);
    if (part.error && !session.options.json) show(session, head);
}

void tell_part(const Stretch& stretch, const Unit& unit, std::size_t units)
{
    const auto tell_range = [&](const char* label, std::size_t first, std::size_t count) {
        const MemoryRange range{static_cast<unsigned>(first), static_cast<unsigned>(count)};
        tell(fmt::format("{}: {}s {}", label, unit.name, range_text(range)));
    };
    if (units > 0) tell_range("read", stretch.first, units);
    if (stretch.count) tell_range("not read", stretch.first + units, *stretch.count - units);
}

// "1 word of user", "6 words of user"
std::string count_text(std::size_t count, const Unit& unit, const std::string& place)
{
    return fmt::format("{} {}{} of {}", count, unit.name, count == 1 ? "" : "s", place);
}

}  // namespace

void add_read_options(CLI::App& command, Stretch& stretch, const Unit& unit)
{
    add_first_option(command, stretch, unit);
    option(command, "--count", stretch.count, number(1, unit.last + 1),
           fmt::format("how many {}s; all there are when left out", unit.name));
    add_chunk_option(command, stretch, unit, unit.most_read, unit.most_read);
    command.add_option("--file", stretch.file, "write the data there as raw bytes; - is standard output")
        ->type_name("PATH");
}

void add_write_options(CLI::App& command, Stretch& stretch, const Unit& unit)
{
    add_first_option(command, stretch, unit);
    auto* const data =
        option(command, "--data", stretch.data, hex(unit.bytes), "the data, in hexadecimal digits", "HEX");
    command.add_option("--file", stretch.file, "the data as raw bytes in a file; - is standard input")
        ->type_name("PATH")
        ->excludes(data);
    add_chunk_option(command, stretch, unit, unit.usual_write, unit.most_write);
    command.add_flag("--verify")->description("what was written is always read back and compared");
}

void add_erase_options(CLI::App& command, Stretch& stretch, const Unit& unit, unsigned most)
{
    add_first_option(command, stretch, unit);
    option(command, "--count", stretch.count, number(1, most), fmt::format("how many {}s", unit.name))
        ->required();
    add_yes_option(command, stretch.yes);
}

Work read_work(const Deed& head, const Stretch& stretch, const Unit& unit, const OpenMemory& open)
{
    if (stretch.count) require_within(stretch.first, *stretch.count, unit);
    if (!stretch.count && stretch.first != 0)
        throw UsageError(
            fmt::format("--{} without --count: all {}s are read from the first on", unit.name, unit.name));
    if (!stretch.count && stretch.chunk != unit.most_read) throw UsageError("--chunk goes with --count");
    if (!stretch.file.empty() && stretch.file != "-") require_writable(stretch.file);
    return [=, &unit](Session& session) {
        Part part;
        const int code = run(session, head, [&](Reader& reader, Deed& deed) {
            part = read_pieces(session, open(reader), stretch);
            show_read(session, deed, stretch, unit, part);
            if (part.error) throw Error(*part.error);
            if (!stretch.file.empty()) deed.text.clear();
        });
        if (part.error) tell_part(stretch, unit, part.data.size() / unit.bytes);
        return code;
    };
}

Work write_work(Deed head, Stretch stretch, const Unit& unit, const std::string& place,
                const OpenMemory& open)
{
    if (stretch.data.empty() == stretch.file.empty())
        throw UsageError("give the data: use either --data HEX or --file PATH");
    if (stretch.data.empty()) stretch.data = read_file(stretch.file);
    if (stretch.data.empty()) throw UsageError(fmt::format("--file '{}' is empty", stretch.file));
    if (stretch.data.size() % unit.bytes != 0)
        throw UsageError(fmt::format("--file '{}' has {} bytes: give whole words of 2 bytes", stretch.file,
                                     stretch.data.size()));
    const auto count = stretch.data.size() / unit.bytes;
    require_within(stretch.first, count, unit);
    head.fields[fmt::format("first_{}", unit.name)] = stretch.first;
    head.fields["count"] = count;
    return work(head, [=, &unit](Reader& reader, Deed& deed) {
        open(reader).write(stretch);
        const auto range = MemoryRange{stretch.first, static_cast<unsigned>(count)};
        add_written(deed, {range});
        deed.text =
            fmt::format("{} written ({}) and read back", count_text(count, unit, place), range_text(range));
    });
}

Work erase_work(Deed head, const Stretch& stretch, const Unit& unit, const std::string& place,
                const std::string& tag, const OpenMemory& open)
{
    require_within(stretch.first, *stretch.count, unit);
    confirm(fmt::format("erase {} of tag {}, from {} {} on", count_text(*stretch.count, unit, place), tag,
                        unit.name, stretch.first),
            stretch.yes, "");
    head.fields[fmt::format("first_{}", unit.name)] = stretch.first;
    head.fields["count"] = *stretch.count;
    head.text = fmt::format("{} erased from {} {} on", count_text(*stretch.count, unit, place), unit.name,
                            stretch.first);
    return work(head, [=](Reader& reader, Deed&) { open(reader).erase(stretch.first, *stretch.count); });
}

}  // namespace tagwire::tool
