#include "commands/groups.h"
#include "device_command.h"
#include "errors.h"
#include "parse.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/io.h"
#include "tagwire/result.h"
#include "tagwire/settings.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// -- gpio

struct GpioArguments {
    std::string on;
    std::string off;
};

Work plan_gpio_get(const NoArguments&)
{
    return device_work(Operation::IoLines, done_with("", "gpio"),
                       [](const ReaderConnection& reader, Done& done) {
                           Lines lines;
                           const int code = read_lines(reader, lines);
                           done.text = fmt::format("outputs on  {}\ninputs on   {}",
                                                   ports_text(lines.outputs), ports_text(lines.inputs));
                           done.object["outputs"] = port_list(lines.outputs);
                           done.object["inputs"] = port_list(lines.inputs);
                           return code;
                       });
}

void add_gpio_get_options(CLI::App& command, NoArguments&)
{
    command.footer("Examples:\n  tagwire gpio get\n  tagwire gpio get --json");
}

Work plan_gpio_set(const GpioArguments& arguments)
{
    if (arguments.on.empty() && arguments.off.empty())
        throw UsageError("say which outputs change: use --on LINE,LINE,... and --off LINE,LINE,...");
    const auto on = arguments.on.empty() ? 0 : parse_ports(arguments.on, "--on", most_lines);
    const auto off = arguments.off.empty() ? 0 : parse_ports(arguments.off, "--off", most_lines);
    if ((on & off) != 0)
        throw UsageError(fmt::format("output {} cannot be both on and off", ports_text(on & off)));
    return device_work(Operation::IoLines, done_with("", "gpio-set"),
                       [=](const ReaderConnection& reader, Done& done) {
                           Lines lines;
                           const int code = read_lines(reader, lines);
                           if (code != TAGWIRE_OK) return code;
                           const auto outputs = (lines.outputs | on) & ~off;
                           done.text = fmt::format("outputs on now: {}", ports_text(outputs));
                           done.object["outputs"] = port_list(outputs);
                           return set_outputs(reader, outputs);
                       });
}

void add_gpio_set_options(CLI::App& command, GpioArguments& arguments)
{
    command.add_option("--on", arguments.on, "outputs to switch on, 1 to 4")->type_name("LINE,LINE,...");
    command.add_option("--off", arguments.off, "outputs to switch off")->type_name("LINE,LINE,...");
    command.footer(R"(Outputs that are not named stay as they are.

Examples:
  tagwire gpio set --on 1,3
  tagwire gpio set --on 2 --off 1)");
}

// -- relay

constexpr std::array relay_kind_names{Name{"numbered", 0}, Name{"single", 1}, Name{"old", 2}};
constexpr NameSet relay_kinds{relay_kind_names, 2};
constexpr std::uint8_t numbered_relay = 0;
constexpr std::uint8_t single_relay = 1;

struct RelayArguments {
    std::string relay = "1";
    std::string kind = "numbered";
    std::string milliseconds;
};

struct RelayPlan {
    std::uint8_t relay = 1;
    std::uint8_t kind = numbered_relay;
    bool on = false;
    std::uint8_t time = 0;  // units of 100 ms; 0 until the next command
};

int switch_relay(const ReaderConnection& reader, const RelayPlan& plan)
{
    auto address = reader.address();
    auto time = plan.time;
    switch (plan.kind) {
    case numbered_relay: return RelaysControll(&address, plan.relay, plan.on ? 1 : 0, time, reader.handle());
    case single_relay: return SetRelay(&address, time, reader.handle());
    default: return RelayControll(&address, &time, reader.handle());
    }
}

RelayPlan relay_plan(const RelayArguments& arguments)
{
    RelayPlan plan;
    plan.relay = static_cast<std::uint8_t>(parse_number(arguments.relay, "--relay", 1, 255));
    plan.kind = parse_name(arguments.kind, "--kind", relay_kinds);
    if (plan.kind != numbered_relay && plan.relay != 1)
        throw UsageError("--relay needs --kind numbered: the other kinds know one relay only");
    return plan;
}

Work relay_work(const RelayPlan& plan, std::string_view state, std::string text)
{
    auto done = done_with(std::move(text), "relay");
    done.object["relay"] = plan.relay;
    done.object["state"] = state;
    return device_work(Operation::RelaySwitch, done,
                       [plan](const ReaderConnection& reader, Done&) { return switch_relay(reader, plan); });
}

Work plan_relay_on(const RelayArguments& arguments)
{
    auto plan = relay_plan(arguments);
    if (plan.kind != numbered_relay)
        throw UsageError("this kind of relay closes for a time only: use tagwire relay pulse");
    plan.on = true;
    return relay_work(plan, "on", fmt::format("relay {} is on now", plan.relay));
}

Work plan_relay_off(const RelayArguments& arguments)
{
    const auto plan = relay_plan(arguments);
    return relay_work(plan, "off", fmt::format("relay {} is off now", plan.relay));
}

Work plan_relay_pulse(const RelayArguments& arguments)
{
    constexpr std::uint32_t unit_ms = 100;
    auto plan = relay_plan(arguments);
    plan.on = true;
    const auto wanted = parse_number(arguments.milliseconds, "MS", 1, 255 * unit_ms);
    plan.time = static_cast<std::uint8_t>((wanted + unit_ms - 1) / unit_ms);
    return relay_work(plan, "pulse",
                      fmt::format("relay {} is on for {} ms", plan.relay, plan.time * unit_ms));
}

void add_relay_options(CLI::App& command, RelayArguments& arguments)
{
    command.add_option("--relay", arguments.relay, "which relay, 1 to 255")
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option(
            "--kind", arguments.kind,
            "numbered; single: readers that know one relay; old: those that know it by another command")
        ->type_name("KIND")
        ->capture_default_str();
    const auto verb = command.get_name();
    const auto time = verb == "pulse" ? " 500" : "";
    command.footer(
        fmt::format("Examples:\n  tagwire relay {0}{1}\n  tagwire relay {0}{1} --relay 2", verb, time));
}

void add_relay_pulse_options(CLI::App& command, RelayArguments& arguments)
{
    command.add_option("MS", arguments.milliseconds, "for how long, 1 to 25500 ms, rounded up to 100 ms")
        ->required();
    add_relay_options(command, arguments);
}

// -- beeper

struct BeepArguments {
    std::string on = "1";
    std::string off = "1";
    std::string times = "1";
};

Work beep_switch(std::uint8_t state)
{
    const auto text = name_text(state, switch_values);
    auto done = done_with(fmt::format("the beeper is {} now", text), "beep");
    done.object["state"] = text;
    return device_work(Operation::Beeper, done, sends(SetBeepNotification, state));
}

Work plan_beep_test(const BeepArguments& arguments)
{
    const auto byte = [](const std::string& text, const char* what) {
        return static_cast<std::uint8_t>(parse_number(text, what, 1, 255));
    };
    const auto on = byte(arguments.on, "--on");
    const auto off = byte(arguments.off, "--off");
    const auto times = byte(arguments.times, "--times");
    auto done = done_with(fmt::format("the reader beeps and flashes, times: {}", times), "beep-test");
    done.object["times"] = times;
    return device_work(Operation::Beeper, done, [=](const ReaderConnection& reader, Done&) {
        auto address = reader.address();
        return BuzzerAndLEDControl(&address, on, off, times, reader.handle());
    });
}

void add_beep_switch_options(CLI::App& command, NoArguments&)
{
    command.footer(fmt::format("Examples:\n  tagwire beep {}", command.get_name()));
}

void add_beep_test_options(CLI::App& command, BeepArguments& arguments)
{
    const auto add = [&command](const char* name, std::string& text, const char* description) {
        command.add_option(name, text, description)->type_name("N")->capture_default_str();
    };
    add("--on", arguments.on, "how long each time, 1 to 255 in the reader's units");
    add("--off", arguments.off, "how long between two times");
    add("--times", arguments.times, "how often, 1 to 255");
    command.footer(R"(Examples:
  tagwire beep test
  tagwire beep test --times 3 --on 2 --off 2)");
}

}  // namespace

void add_line_commands(Application& application)
{
    auto& gpio = application.add_group("gpio", "Inputs and outputs.");
    add_to(application, gpio, "get", "Show which are on.", add_gpio_get_options, plan_gpio_get);
    add_to(application, gpio, "set", "Switch outputs.", add_gpio_set_options, plan_gpio_set);
    auto& relay = application.add_group("relay", "Relays.");
    add_to(application, relay, "on", "Close a relay.", add_relay_options, plan_relay_on);
    add_to(application, relay, "off", "Open a relay.", add_relay_options, plan_relay_off);
    add_to(application, relay, "pulse", "Close a relay for a time.", add_relay_pulse_options,
           plan_relay_pulse);
    auto& beep = application.add_group("beep", "Beeper.");
    add_to<NoArguments>(application, beep, "on", "Beep with every tag.", add_beep_switch_options,
                        [](const NoArguments&) { return beep_switch(1); });
    add_to<NoArguments>(application, beep, "off", "Be silent.", add_beep_switch_options,
                        [](const NoArguments&) { return beep_switch(0); });
    add_to(application, beep, "test", "Beep and flash now.", add_beep_test_options, plan_beep_test);
}

}  // namespace tagwire::tool
