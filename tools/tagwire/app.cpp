#include "app.h"

#include "commands/groups.h"
#include "errors.h"
#include "help/suggestion.h"
#include "option.h"
#include "parse.h"
#include "printable.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <thread>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr const char* footer = R"(Examples:
  tagwire --reader tcp://192.0.2.10:6000 info
  tagwire --reader serial:/dev/ttyUSB0?baud=115200 inventory --seconds 5
  export TAGWIRE_READER=serial:auto; tagwire watch --json | head

Exit codes: 0 success, 1 failure, 2 wrong usage, 3 a difference or a finding was looked for and is there.
'tagwire COMMAND --help' tells more about a command.)";

// A value that is empty is seldom meant: a variable of a script was not set.
void refuse_empty_values(const CLI::App& command)
{
    for (const auto* const option : command.get_options()) {
        const auto& values = option->results();
        if (option->get_expected_min() > 0 && std::find(values.begin(), values.end(), "") != values.end())
            throw UsageError(fmt::format("{}: the value is empty", option->get_name()));
    }
    for (const auto* const chosen : command.get_subcommands()) refuse_empty_values(*chosen);
}

}  // namespace

Application::Application()
{
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.footer(footer);
    app_.set_version_flag("--version", "tagwire " TAGWIRE_TOOL_VERSION);
    app_.add_option(
            "--reader", options_.readers,
            "[NAME=]tcp://HOST:PORT, serial:/dev/DEVICE[?baud=N] or serial:auto[?baud=N]; again for more "
            "readers. Without any, the environment variable TAGWIRE_READER names one")
        ->type_name("URL")
        ->type_size(1)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app_.add_option("--readers", options_.readers_file,
                    "readers of a TOML file: [[reader]] with name and url")
        ->type_name("FILE");
    app_.add_option("--address", options_.address,
                    "bus address of the reader, 0 to 255 or 0x00 to 0xFF; 255 is whichever reader answers")
        ->type_name("N")
        ->capture_default_str();
    app_.add_option("--baud", options_.baud,
                    "speed of the serial line: 9600, 19200, 38400, 57600 (default), 115200 or 921600")
        ->type_name("N");
    app_.add_flag("--json", options_.json, "print one JSON object a line");
    add_information_commands(*this);
    add_inventory_commands(*this);
    add_watch_commands(*this);
    add_tag_commands(*this);
    add_select_commands(*this);
    add_buffer_commands(*this);
    add_iso6b_commands(*this);
    add_gb_commands(*this);
    add_config_commands(*this);
    add_doctor_commands(*this);
    add_firmware_commands(*this);
    add_network_commands(*this);
    add_at_commands(*this);
    add_table_commands(*this);
    add_radio_commands(*this);
    add_line_commands(*this);
    add_device_commands(*this);
    add_temperature_commands(*this);
    add_sensor_commands(*this);
    add_identification_commands(*this);
    add_help_commands(*this);
}

CLI::App& Application::add_command(const std::string& name, const std::string& description, Prepare prepare)
{
    return add_command(app_, name, description, std::move(prepare));
}

CLI::App& Application::add_group(const std::string& name, const std::string& description)
{
    auto* const group = app_.add_subcommand(name, description);
    group->fallthrough();
    group->require_subcommand(1);
    return *group;
}

CLI::App& Application::add_command(CLI::App& group, const std::string& name, const std::string& description,
                                   Prepare prepare)
{
    auto* const command = group.add_subcommand(name, description);
    command->fallthrough();
    command->callback([this, command, prepare = std::move(prepare)] {
        chosen_ = prepare;
        command_ = command;
    });
    return *command;
}

int Application::run(int argc, const char* const* argv)
{
    try {
        app_.parse(argc, argv);
        return execute();
    } catch (const CLI::Success& request) {
        return app_.exit(request);
    } catch (const CLI::ParseError& error) {
        const auto unknown = unknown_word(app_, {argv + 1, argv + argc});
        complain(fmt::format("{} (see tagwire --help)", unknown.empty() ? error.what() : unknown));
        return exit_usage;
    } catch (const UsageError& error) {
        complain(error.what());
        return exit_usage;
    } catch (const std::exception& error) {
        complain(error.what());
        return exit_failure;
    }
}

int Application::execute()
{
    refuse_empty_values(app_);
    for (const auto& parse : put_off()) parse();
    const auto readers = options_.chosen();
    const auto kind = readers_of_.count(command_) != 0 ? readers_of_.at(command_) : Readers::one;
    if (kind == Readers::one && readers.size() > 1)
        throw UsageError(
            fmt::format("{} works on one reader, and {} are named", command_->get_name(), readers.size()));
    options_.reader = readers.front();
    const auto work = chosen_();

    InterruptWatch interrupts;
    Output out(STDOUT_FILENO, interrupts.fd());
    Session session{options_, out, interrupts, readers, {}};
    const bool is_alone = kind != Readers::each || readers.size() == 1;
    const int code = is_alone ? work(session) : run_each(work, session);
    out.flush();
    return code;
}

namespace {

// The reader that this thread works for, where others work for others.
thread_local std::string speaker;

struct EndOfOne {
    int code = exit_failure;
    std::string verdict;
};

EndOfOne run_one(const Work& work, const Session& together, const NamedReader& reader)
{
    auto options = together.options;
    options.reader = reader;
    speaker = reader.name + ": ";
    Output out(together.out, options.json ? "" : speaker);
    Session session{options, out, together.interrupts, {reader}, {}};
    EndOfOne end;
    try {
        end.code = work(session);
        out.flush();
    } catch (const UsageError& error) {
        complain(error.what());
        end.code = exit_usage;
    } catch (const std::exception& error) {
        complain(error.what());
    }
    end.verdict = end.code == exit_failure && session.verdict.empty() ? "failed" : session.verdict;
    return end;
}

// What failed weighs most, then what could not be asked for, then what was found.
int heaviest(const std::vector<EndOfOne>& ends)
{
    for (const int code : {exit_failure, exit_usage, exit_found}) {
        if (std::any_of(ends.begin(), ends.end(), [code](const EndOfOne& end) { return end.code == code; }))
            return code;
    }
    return exit_success;
}

void show_verdicts(Session& together, const std::vector<EndOfOne>& ends)
{
    const auto has_verdict = [](const EndOfOne& end) {
        return end.code != exit_failure && !end.verdict.empty();
    };
    if (together.options.json || std::none_of(ends.begin(), ends.end(), has_verdict)) return;
    std::size_t width = 0;
    for (const auto& reader : together.readers) width = std::max(width, reader.name.size());
    for (std::size_t i = 0; i < ends.size(); ++i)
        together.out.line(
            fmt::format("{:<{}}  {}", printable_text(together.readers[i].name), width, ends[i].verdict));
}

}  // namespace

int Application::run_each(const Work& work, Session& together)
{
    std::vector<EndOfOne> ends(together.readers.size());
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < ends.size(); ++i)
            threads.emplace_back([&, i] { ends[i] = run_one(work, together, together.readers[i]); });
    }
    show_verdicts(together, ends);
    return heaviest(ends);
}

void tell(std::string_view text)
{
    std::string shown;
    for (std::size_t begin = 0; begin <= text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size());
        shown += printable_text(speaker + std::string(text.substr(begin, end - begin))) + '\n';
        begin = end + 1;
    }
    std::fputs(shown.c_str(), stderr);
}

void complain(std::string_view text)
{
    const auto whose = std::exchange(speaker, {});
    tell(fmt::format("tagwire: {}{}", whose, text));
    speaker = whose;
}

}  // namespace tagwire::tool
