#include "word_commands.h"

#include "errors.h"

#include <algorithm>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr const char* unit = "word";

std::string bank_option(const TagFamily& family) { return fmt::format("--{}", family.bank_word); }

void add_place_options(CLI::App& command, WordArguments& arguments, const TagFamily& family)
{
    add_name_options(command, arguments.tag, family);
    add_password_option(command, arguments.tag);
    command.add_option(bank_option(family), arguments.bank, choices_text(family.banks))
        ->type_name("NAME")
        ->required();
    command.add_option("--word", arguments.word, "first 16-bit word, counted from 0")
        ->type_name("N")
        ->capture_default_str();
}

WordPlace parse_place(const WordArguments& arguments, const TagFamily& family)
{
    WordPlace place;
    place.name = parse_tag_name(arguments.tag, family);
    place.password = parse_password(arguments.tag.password, "--password");
    place.bank = parse_name(arguments.bank, bank_option(family), family.banks);
    place.most_write = parse_number(arguments.chunk, "--chunk", 1, 255);
    place.block_write = arguments.block;
    return place;
}

Json head_of(const char* type, const WordPlace& place, const TagFamily& family)
{
    Json object;
    object["type"] = type;
    add_name(object, place.name, family);
    object[std::string(family.bank_word)] = name_text(place.bank, family.banks);
    return object;
}

}  // namespace

std::uint32_t words_per_write(const TagName& name)
{
    // Counts, bank, word pointer and password; the mask block.
    constexpr std::size_t fixed_bytes = 9;
    constexpr std::size_t mask_header = 4;
    if (name.mask) return words_in_frame(fixed_bytes + mask_header + name.mask->data.size());
    return words_in_frame(fixed_bytes + name.id.size());
}

TransferLimits WordPlace::limits() const
{
    return {2, most_words_per_read, std::min(most_write, words_per_write(name))};
}

void add_read_options(CLI::App& command, WordArguments& arguments, const TagFamily& family)
{
    add_place_options(command, arguments, family);
    add_read_output_options(command, arguments.count, arguments.file, unit);
}

void add_write_options(CLI::App& command, WordArguments& arguments, const TagFamily& family)
{
    add_place_options(command, arguments, family);
    add_data_options(command, arguments.data);
    add_chunk_option(command, arguments.chunk, unit, 255);
    add_verify_option(command, arguments.verify);
}

void add_erase_options(CLI::App& command, WordArguments& arguments, const TagFamily& family)
{
    add_place_options(command, arguments, family);
    command.add_option("--count", arguments.count, "how many words")->type_name("N")->required();
}

Work plan_word_read(const WordArguments& arguments, const TagFamily& family, const MakeWordMemory& make)
{
    const auto place = parse_place(arguments, family);
    ReadJob job;
    job.head = head_of("read", place, family);
    job.unit = unit;
    job.run = parse_run(arguments.word, arguments.count, job.unit, {last_word, last_word + 1});
    job.file = arguments.file;
    job.make_memory = [make, place](const ReaderConnection& reader) { return make(reader, place); };
    return [job](Session& session) { return run_read(session, job); };
}

Work plan_word_write(const WordArguments& arguments, const TagFamily& family, const MakeWordMemory& make)
{
    const auto place = parse_place(arguments, family);
    WriteJob job;
    job.head = head_of("write", place, family);
    job.unit = unit;
    job.place = name_text(place.bank, family.banks);
    job.data = parse_data(arguments.data, 2);
    job.first = run_of_data(arguments.word, job.data, 2, last_word).first;
    job.verify = arguments.verify;
    job.make_memory = [make, place](const ReaderConnection& reader) { return make(reader, place); };
    return [job](Session& session) { return run_write(session, job); };
}

Work plan_word_erase(const WordArguments& arguments, const TagFamily& family, const RunLimits& limits,
                     const EraseCall& erase)
{
    const auto place = parse_place(arguments, family);
    const auto run = parse_run(arguments.word, arguments.count, unit, limits);
    Done done;
    done.object = head_of("erase", place, family);
    done.object["first_word"] = run.first;
    done.object["count"] = run.count;
    done.text = fmt::format("{} word{} of {} erased from word {} on", run.count, run.count == 1 ? "" : "s",
                            name_text(place.bank, family.banks), run.first);
    return [=](Session& session) {
        return run_tag_call(session, place.name, Operation::EraseMemory, done,
                            [&](TagCall& tag, Done&) { return erase(tag, place, run); });
    };
}

void add_kill_options(CLI::App& command, KillArguments& arguments, const TagFamily& family)
{
    add_name_options(command, arguments.tag, family);
    command
        .add_option("--kill-password", arguments.kill_password,
                    "kill password, 8 hexadecimal digits; a tag without one cannot be killed")
        ->type_name("HEX")
        ->required();
    add_yes_option(command, arguments.yes);
}

Work plan_kill(const KillArguments& arguments, const TagFamily& family, const KillCall& kill)
{
    const auto name = parse_tag_name(arguments.tag, family);
    const auto password = parse_password(arguments.kill_password, "--kill-password");
    const auto tag_text = name_text(name, family);
    confirm(fmt::format("kill the tag {}", tag_text), arguments.yes);
    Done done{fmt::format("the tag {} is dead", tag_text), {}};
    done.object["type"] = "kill";
    add_name(done.object, name, family);
    return [=](Session& session) {
        return run_tag_call(session, name, Operation::KillTag, done, [&](TagCall& tag, Done&) {
            auto given = password;
            return kill(tag, given.data());
        });
    };
}

}  // namespace tagwire::tool
