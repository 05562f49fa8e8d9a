// Options that several commands for one tag have.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app.h"
#include "tag_memory.h"
#include "tag_name.h"

namespace tagwire::tool {

struct TagOptions {
    std::string id;
    std::string mask;
    std::string password = "00000000";
};

void add_name_options(CLI::App& command, TagOptions& options, const TagFamily& family);
void add_password_option(CLI::App& command, TagOptions& options);

// Throws UsageError unless the tag is named in exactly one way.
TagName parse_tag_name(const TagOptions& options, const TagFamily& family);

// Whole words or bytes from --data or --file.
struct DataOptions {
    std::string hex;
    std::string file;
};

void add_data_options(CLI::App& command, DataOptions& options);
Bytes parse_data(const DataOptions& options, std::size_t unit_bytes);

// Of commands that read or write memory; `unit` is "word" or "byte".
void add_read_output_options(CLI::App& command, std::string& count, std::string& file,
                             const std::string& unit);
void add_chunk_option(CLI::App& command, std::string& chunk, const std::string& unit, std::uint32_t most);
void add_verify_option(CLI::App& command, bool& verify);

// Units of memory that a command works on, at most `most` of them and none beyond `last_unit`.
struct RunLimits {
    std::uint32_t last_unit;
    std::uint32_t most;
};

Run parse_run(const std::string& first, const std::string& count, const std::string& unit,
              const RunLimits& limits);

// Throws UsageError when data from that unit on goes beyond the last one.
Run run_of_data(const std::string& first, const Bytes& data, std::size_t unit_bytes, std::uint32_t last_unit);

// Before something that cannot be undone: asks on a terminal, unless `yes`. Throws UsageError where nobody
// can be asked, and Failure when the answer is no. `deed` reads like "kill the tag E280...".
void confirm(const std::string& deed, bool yes, std::string_view how_long = " for good");
void add_yes_option(CLI::App& command, bool& yes);

// A command with arguments of its own: add(command, *arguments) makes its options, plan(*arguments) checks
// them and returns the work.
template <typename Arguments>
CLI::App& add_command_with(Application& application, CLI::App* group, const std::string& name,
                           const std::string& description,
                           const std::function<void(CLI::App&, Arguments&)>& add_options,
                           const std::function<Work(const Arguments&)>& plan)
{
    const auto arguments = std::make_shared<Arguments>();
    const auto prepare = [arguments, plan] { return plan(*arguments); };
    auto& command = group != nullptr ? application.add_command(*group, name, description, prepare)
                                     : application.add_command(name, description, prepare);
    add_options(command, *arguments);
    return command;
}

// The same for plain functions, in a group.
template <typename Arguments>
CLI::App& add_to(Application& application, CLI::App& group, const char* name, const char* description,
                 void (*add_options)(CLI::App&, Arguments&), Work (*plan)(const Arguments&))
{
    return add_command_with<Arguments>(application, &group, name, description, add_options, plan);
}

}  // namespace tagwire::tool
