#include "tag_options.h"

#include "data_file.h"
#include "errors.h"
#include "parse.h"

#include <algorithm>
#include <iostream>

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

void add_name_options(CLI::App& command, TagOptions& options, const TagFamily& family)
{
    const std::string id_option(family.id_option);
    command
        .add_option(id_option, options.id,
                    fmt::format("the tag, by its whole ID: 4 hexadecimal digits a word, 1 to {} words",
                                family.most_id_words))
        ->type_name("HEX");
    command
        .add_option("--mask", options.mask,
                    fmt::format("the tag, by bits that its memory holds from bit BITADDR on; BANK is {}",
                                choices_text(family.banks)))
        ->type_name("BANK:BITADDR:HEX[/BITS]");
}

void add_password_option(CLI::App& command, TagOptions& options)
{
    command.add_option("--password", options.password, "access password, 8 hexadecimal digits")
        ->type_name("HEX")
        ->capture_default_str();
}

TagName parse_tag_name(const TagOptions& options, const TagFamily& family)
{
    if (options.id.empty() == options.mask.empty()) {
        throw UsageError(fmt::format("name the tag: use either {} HEX or --mask BANK:BITADDR:HEX[/BITS]",
                                     family.id_option));
    }
    if (!options.mask.empty()) return {{}, parse_mask(options.mask, family.banks)};
    auto id = parse_units(options.id, family.id_option, 2);
    if (id.size() > word_bytes * family.most_id_words) {
        throw UsageError(fmt::format("{} has {} words: at most {} can be sent, use --mask", family.id_option,
                                     id.size() / 2, family.most_id_words));
    }
    return {std::move(id), std::nullopt};
}

void add_data_options(CLI::App& command, DataOptions& options)
{
    command.add_option("--data", options.hex, "the data, in hexadecimal digits")->type_name("HEX");
    command.add_option("--file", options.file, "the data as raw bytes in a file; - is standard input")
        ->type_name("PATH");
}

Bytes parse_data(const DataOptions& options, std::size_t unit_bytes)
{
    if (options.hex.empty() == options.file.empty())
        throw UsageError("give the data: use either --data HEX or --file PATH");
    if (!options.hex.empty()) return parse_units(options.hex, "--data", unit_bytes);
    auto data = read_file(options.file);
    if (data.empty()) throw UsageError(fmt::format("--file '{}' is empty", options.file));
    if (data.size() % unit_bytes == 0) return data;
    throw UsageError(
        fmt::format("--file '{}' has {} bytes: give whole words of 2 bytes", options.file, data.size()));
}

void add_read_output_options(CLI::App& command, std::string& count, std::string& file,
                             const std::string& unit)
{
    command.add_option("--count", count, fmt::format("how many {}s", unit))->type_name("N")->required();
    command.add_option("--file", file, "write the data there as raw bytes; - is standard output")
        ->type_name("PATH");
}

void add_chunk_option(CLI::App& command, std::string& chunk, const std::string& unit, std::uint32_t most)
{
    command
        .add_option(
            "--chunk", chunk,
            fmt::format("most {}s to write with one command, 1 to {}; never more than fit it", unit, most))
        ->type_name("N")
        ->capture_default_str();
}

void add_verify_option(CLI::App& command, bool& verify)
{
    command.add_flag("--verify", verify, "read back and compare one by one");
}

Run parse_run(const std::string& first, const std::string& count, const std::string& unit,
              const RunLimits& limits)
{
    Run run;
    run.first = parse_number(first, "--" + unit, 0, limits.last_unit);
    run.count = parse_number(count, "--count", 1, std::min(limits.most, limits.last_unit + 1 - run.first));
    return run;
}

Run run_of_data(const std::string& first, const Bytes& data, std::size_t unit_bytes, std::uint32_t last_unit)
{
    const std::string unit = unit_bytes == 1 ? "byte" : "word";
    const Run run{parse_number(first, "--" + unit, 0, last_unit),
                  static_cast<std::uint32_t>(data.size() / unit_bytes)};
    if (run.count <= last_unit + 1 - run.first) return run;
    throw UsageError(fmt::format("the data has {0} {1}s: from {1} {2} on there are at most {3}", run.count,
                                 unit, run.first, last_unit + 1 - run.first));
}

void confirm(const std::string& deed, bool yes, std::string_view how_long)
{
    if (yes) return;
    if (isatty(STDIN_FILENO) == 0) {
        throw UsageError(fmt::format(
            "this would {}{}: nothing was sent. Add --yes, or use a terminal to be asked", deed, how_long));
    }
    std::cerr << fmt::format("This will {}{}. Type yes to go on: ", deed, how_long) << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "yes" && answer != "y") throw Failure("not confirmed, nothing was sent");
}

void add_yes_option(CLI::App& command, bool& yes)
{
    command.add_flag("--yes", yes, "do not ask for confirmation");
}

}  // namespace tagwire::tool
