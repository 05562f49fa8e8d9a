#include "tagwire/memory.h"
#include "commands/groups.h"
#include "errors.h"
#include "gen2_memory.h"
#include "memory_transfer.h"
#include "tag_call.h"
#include "tag_options.h"
#include "word_commands.h"

#include <memory>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::uint32_t control_word = 1;

std::unique_ptr<TagMemory> make_memory(const ReaderConnection& reader, const WordPlace& place)
{
    return std::make_unique<Gen2Memory>(reader, place);
}

Work plan_read(const WordArguments& arguments) { return plan_word_read(arguments, gen2_family, make_memory); }

Work plan_write(const WordArguments& arguments)
{
    return plan_word_write(arguments, gen2_family, make_memory);
}

TagResult erase(TagCall& tag, const WordPlace& place, const Run& run)
{
    auto password = place.password;
    return tag(BlockErase_G2, std::tuple(place.bank, static_cast<std::uint8_t>(run.first),
                                         static_cast<std::uint8_t>(run.count), password.data()));
}

Work plan_erase(const WordArguments& arguments)
{
    return plan_word_erase(arguments, gen2_family, {255, 255}, erase);
}

struct EpcArguments {
    TagOptions tag;
    std::string new_epc;
    bool any = false;
    bool verify = false;
};

// The new EPC behind a control word with its length; the other bits of the control word stay.
Bytes control_word_and_epc(const ReaderConnection& reader, TagMemory& memory, const Bytes& epc)
{
    Bytes word;
    const auto result = memory.read({control_word, 1}, word);
    if (!result.is_success()) {
        throw Failure(fmt::format("nothing was written, the length of the EPC could not be read: {}",
                                  reader.text(result, Operation::ReadMemory)));
    }
    const auto old = static_cast<std::uint16_t>(word[0] << 8 | word[1]);
    const auto control = high_byte_first(control_word_with_length(old, epc.size() / 2));
    Bytes data(control.begin(), control.end());
    data.insert(data.end(), epc.begin(), epc.end());
    return data;
}

int write_epc_of_named(Session& session, const WordPlace& place, WriteJob job, const Bytes& epc)
{
    const auto reader = connect(session);
    Gen2Memory memory(*reader, place);
    job.data = control_word_and_epc(*reader, memory, epc);
    const int code = write_and_show(session, *reader, memory, job);
    const int closed = reader->close();
    if (code == exit_success) reader->require_success(closed, Operation::Close);
    return code;
}

WriteJob epc_job(const EpcArguments& arguments)
{
    WriteJob job;
    job.head["type"] = "write-epc";
    job.head["new_epc"] = hex_text(parse_units(arguments.new_epc, "the new EPC", 2));
    job.unit = "word";
    job.place = "epc";
    job.first = control_word;
    job.verify = arguments.verify;
    job.operation = Operation::WriteEpc;
    return job;
}

// Writes with the one command that needs no name. The tag answers to its new EPC then.
class AnyTagEpc : public TagMemory {
  public:
    AnyTagEpc(const ReaderConnection& reader, const Bytes& epc, const Password& password)
        : reader_(reader), password_(password), renamed_(reader, {{epc, {}}, password, epc_bank})
    {}

    TransferLimits limits() const override { return renamed_.limits(); }
    TagResult read(const Run& run, Bytes& data) override { return renamed_.read(run, data); }
    TagResult write(std::uint32_t, std::span<const std::uint8_t> data) override
    {
        Bytes epc(data.begin(), data.end());
        auto password = password_;
        TagCall call(reader_, {});
        return call.unaddressed(WriteEPC_G2, password.data(), epc.data(),
                                static_cast<std::uint8_t>(epc.size() / 2));
    }

  private:
    const ReaderConnection& reader_;
    Password password_;
    Gen2Memory renamed_;
};

Work plan_write_any_epc(const EpcArguments& arguments, const Bytes& epc)
{
    if (!arguments.tag.id.empty() || !arguments.tag.mask.empty())
        throw UsageError("--any takes whichever tag answers: leave out --epc and --mask");
    const auto password = parse_password(arguments.tag.password, "--password");
    auto job = epc_job(arguments);
    job.head["any"] = true;
    job.first = control_word + 1;
    job.data = epc;
    job.make_memory = [epc, password](const ReaderConnection& reader) {
        return std::make_unique<AnyTagEpc>(reader, epc, password);
    };
    return [job](Session& session) { return run_write(session, job); };
}

Work plan_write_epc(const EpcArguments& arguments)
{
    const auto epc = parse_units(arguments.new_epc, "the new EPC", 2);
    if (epc.size() > word_bytes * gen2_family.most_id_words)
        throw UsageError(fmt::format("the new EPC has {} words: a tag holds at most {}", epc.size() / 2,
                                     gen2_family.most_id_words));
    if (arguments.any) return plan_write_any_epc(arguments, epc);
    WordPlace place;
    place.name = parse_tag_name(arguments.tag, gen2_family);
    place.password = parse_password(arguments.tag.password, "--password");
    place.bank = epc_bank;
    auto job = epc_job(arguments);
    add_name(job.head, place.name, gen2_family);
    return [place, job, epc](Session& session) { return write_epc_of_named(session, place, job, epc); };
}

void add_gen2_read_options(CLI::App& command, WordArguments& arguments)
{
    add_read_options(command, arguments, gen2_family);
    command.footer(R"(Examples:
  tagwire read --epc E28011700000020F00000001 --bank user --count 8
  tagwire read --mask tid:0:E2801160 --bank tid --count 6 --json
  tagwire read --epc E28011700000020F00000001 --bank user --word 300 --count 500 --file user.bin
  tagwire read --epc E28011700000020F00000001 --bank reserved --count 4 --password 12345678)");
}

void add_gen2_write_options(CLI::App& command, WordArguments& arguments)
{
    add_write_options(command, arguments, gen2_family);
    command.add_flag("--block", arguments.block, "use the tag's block write, which not every tag has");
    command.footer(
        R"(Long data is written in pieces. When one fails, the tag is asked which of its words hold the new
data, and standard error says which words were written and which were not.

Examples:
  tagwire write --epc E28011700000020F00000001 --bank user --data 0123456789ABCDEF --verify
  tagwire write --epc E28011700000020F00000001 --bank user --word 16 --file data.bin
  tagwire write --mask tid:0:E2801160/32 --bank reserved --word 2 --data 12345678
  printf 'hello!' | tagwire write --epc E28011700000020F00000001 --bank user --file - --block)");
}

void add_write_epc_options(CLI::App& command, EpcArguments& arguments)
{
    command.add_option("NEW_EPC", arguments.new_epc, "the new EPC, 4 hexadecimal digits a word")->required();
    add_name_options(command, arguments.tag, gen2_family);
    command.add_flag("--any", arguments.any, "whichever tag answers: have one only in the field");
    add_password_option(command, arguments.tag);
    add_verify_option(command, arguments.verify);
    command.footer(R"(The length in the protocol control word follows the new EPC, its other bits stay.

Examples:
  tagwire write-epc 3034000040C0000400000007 --epc E28011700000020F00000001 --verify
  tagwire write-epc 3034000040C0000400000007 --mask tid:0:E2801160200000010000AB01
  tagwire write-epc 3034000040C0000400000007 --any)");
}

void add_gen2_erase_options(CLI::App& command, WordArguments& arguments)
{
    add_erase_options(command, arguments, gen2_family);
    command.footer(R"(Examples:
  tagwire erase --epc E28011700000020F00000001 --bank user --count 8
  tagwire erase --epc E28011700000020F00000001 --bank user --word 4 --count 2 --password 12345678)");
}

}  // namespace

void add_memory_commands(Application& application)
{
    add_command_with<WordArguments>(application, nullptr, "read", "Read memory of a Gen2 tag.",
                                    add_gen2_read_options, plan_read);
    add_command_with<WordArguments>(application, nullptr, "write", "Write memory of a Gen2 tag.",
                                    add_gen2_write_options, plan_write);
    add_command_with<EpcArguments>(application, nullptr, "write-epc", "Give a Gen2 tag a new EPC.",
                                   add_write_epc_options, plan_write_epc);
    add_command_with<WordArguments>(application, nullptr, "erase", "Erase words of a Gen2 tag.",
                                    add_gen2_erase_options, plan_erase);
}

}  // namespace tagwire::tool
