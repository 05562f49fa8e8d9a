#include "commands/groups.h"
#include "device_command.h"
#include "errors.h"
#include "parse.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/modes.h"
#include "tagwire/settings.h"
#include "tagwire/update.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct DeviceArguments {
    std::string value;
    bool temporary = false;
    bool yes = false;
};

// -- clock

struct ClockArguments {
    std::string time;
    bool now = false;
    bool utc = false;
};

Work plan_clock_show(const NoArguments&)
{
    return device_work(Operation::ReaderClock, done_with("", "clock"),
                       [](const ReaderConnection& reader, Done& done) {
                           auto address = reader.address();
                           ClockBytes bytes{};
                           const int code = GetTime(&address, bytes.data(), reader.handle());
                           done.text = clock_bytes_text(bytes);
                           done.object["time"] = done.text;
                           return code;
                       });
}

void add_clock_show_options(CLI::App& command, NoArguments&)
{
    command.footer(R"(The reader's clock has no time zone.

Examples:
  tagwire clock show)");
}

std::chrono::sys_seconds time_now(bool utc)
{
    return utc ? std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) : local_now();
}

int set_clock(const ReaderConnection& reader, std::chrono::sys_seconds time, bool utc)
{
    auto address = reader.address();
    auto seconds = utc_bytes(time);
    auto bytes = clock_bytes(time);
    return utc ? SetUTCTime(&address, seconds.data(), reader.handle())
               : SetReal_timeClock(&address, bytes.data(), reader.handle());
}

Work plan_clock_set(const ClockArguments& arguments)
{
    if (arguments.time.empty() == !arguments.now)
        throw UsageError("give the time: use either TIME, for example 2024-05-31T10:15:00, or --now");
    const auto given = arguments.now ? std::chrono::sys_seconds() : parse_clock(arguments.time, "TIME");
    return device_work(
        Operation::ReaderClock, done_with("", "clock-set"),
        [given, now = arguments.now, utc = arguments.utc](const ReaderConnection& reader, Done& done) {
            const auto time = now ? time_now(utc) : given;
            const auto text = clock_value_text(time);
            done.text = fmt::format("the clock is set to {}", text);
            done.object["time"] = text;
            return set_clock(reader, time, utc);
        });
}

void add_clock_set_options(CLI::App& command, ClockArguments& arguments)
{
    command.add_option("TIME", arguments.time, "YYYY-MM-DDTHH:MM:SS of the years 2000 to 2099");
    command.add_flag("--now", arguments.now, "the time of this computer: local, or with --utc UTC");
    command.add_flag("--utc", arguments.utc, "set as seconds since 1970, for readers that count so");
    command.footer(R"(Examples:
  tagwire clock set --now
  tagwire clock set 2024-05-31T10:15:00
  tagwire clock set --now --utc)");
}

// -- work mode

constexpr std::array mode_names{Name{"answering", 0}, Name{"active", 1}, Name{"triggered", 2}};
constexpr NameSet modes{mode_names, 255};

Work plan_mode_show(const NoArguments&)
{
    return device_work(Operation::WorkModes, done_with("", "mode"),
                       [](const ReaderConnection& reader, Done& done) {
                           std::uint8_t mode = 0;
                           const int code = read_work_mode(reader, mode);
                           done.text = name_text(mode, modes);
                           done.object["mode"] = done.text;
                           return code;
                       });
}

void add_mode_show_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire mode show");
}

Work plan_mode_set(const DeviceArguments& arguments)
{
    const auto mode = parse_name(arguments.value, "MODE", modes);
    auto done = done_with(fmt::format("the work mode is {} now", name_text(mode, modes)), "mode-set");
    done.object["mode"] = name_text(mode, modes);
    return device_work(Operation::WorkModes, done, sends(SetWorkMode, mode));
}

void add_mode_set_options(CLI::App& command, DeviceArguments& arguments)
{
    command.add_option("MODE", arguments.value, choices_text(modes))->required();
    command.footer(R"(answering: the reader waits for commands. active: it reads and reports by itself.
triggered: it does so when an input asks for it.

Examples:
  tagwire mode set active
  tagwire mode set answering)");
}

// -- reset

// The connection may go with the restart, and is not asked about any more.
Work restart_work(Operation operation, const Done& done, int (*call)(unsigned char*, int))
{
    return [=](Session& session) {
        const auto reader = connect(session);
        auto address = reader->address();
        reader->require_success(call(&address, reader->handle()), operation);
        reader->close();
        show(session, done);
        return exit_success;
    };
}

Work plan_restart(const NoArguments&)
{
    return restart_work(Operation::ReaderRestart, done_with("the reader restarts", "reset-restart"),
                        ResetReader);
}

void add_restart_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire reset restart");
}

Work plan_factory(const DeviceArguments& arguments)
{
    confirm("replace all settings and tables of the reader by the factory's", arguments.yes);
    return restart_work(
        Operation::FactoryRestore,
        done_with("the factory settings are restored: address and speed may have changed", "reset-factory"),
        RestoreFactoryDefaultParameterTable);
}

void add_factory_options(CLI::App& command, DeviceArguments& arguments)
{
    add_yes_option(command, arguments.yes);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire reset factory
  tagwire reset factory --yes)");
}

}  // namespace

void add_device_commands(Application& application)
{
    auto& clock = application.add_group("clock", "Clock of the reader.");
    add_to(application, clock, "show", "Show the time.", add_clock_show_options, plan_clock_show);
    add_to(application, clock, "set", "Set the time.", add_clock_set_options, plan_clock_set);
    auto& mode = application.add_group("mode", "Whether the reader waits for commands or reads by itself.");
    add_to(application, mode, "show", "Show the work mode.", add_mode_show_options, plan_mode_show);
    add_to(application, mode, "set", "Set the work mode.", add_mode_set_options, plan_mode_set);
    auto& reset = application.add_group("reset", "Restart, and factory settings.");
    add_to(application, reset, "restart", "Restart the reader.", add_restart_options, plan_restart);
    add_to(application, reset, "factory", "Restore the factory settings.", add_factory_options, plan_factory);
}

}  // namespace tagwire::tool
