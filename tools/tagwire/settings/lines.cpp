// Inputs and outputs, relays, beeper.
#include "commands/groups.h"
#include "option.h"
#include "settings/setting.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

// -- gpio

auto line_list()
{
    return [](const std::string& text, const std::string& name) { return parse_ports(text, name, 4); };
}

void show_lines(Reader& reader, Deed& done)
{
    const auto lines = reader.lines().state();
    const auto outputs = numbers_in(lines.outputs);
    const auto inputs = numbers_in(lines.inputs);
    done.text = fmt::format("outputs on  {}\ninputs on   {}", ports_text(outputs), ports_text(inputs));
    done.fields["outputs"] = outputs;
    done.fields["inputs"] = inputs;
}

struct Outputs {
    std::uint8_t on = 0;
    std::uint8_t off = 0;
};

void add_gpio_set_options(CLI::App& command, Outputs& outputs)
{
    option(command, "--on", outputs.on, line_list(), "outputs to switch on, 1 to 4", "LINE,LINE,...");
    option(command, "--off", outputs.off, line_list(), "outputs to switch off", "LINE,LINE,...");
    command.footer(R"(Outputs that are not named stay as they are.

Examples:
  tagwire gpio set --on 1,3
  tagwire gpio set --on 2 --off 1)");
}

Work plan_gpio_set(const Outputs& outputs)
{
    if ((outputs.on | outputs.off) == 0)
        throw UsageError("say which outputs change: use --on LINE,LINE,... and --off LINE,LINE,...");
    const auto both = numbers_in(outputs.on & outputs.off);
    if (!both.empty()) throw UsageError(fmt::format("output {} cannot be both on and off", ports_text(both)));
    return work(deed("gpio-set"), [=](Reader& reader, Deed& done) {
        auto lines = reader.lines();
        const unsigned before = lines.state().outputs;
        lines.set_outputs(outputs.on, outputs.off);
        const auto now = numbers_in((before | outputs.on) & ~unsigned{outputs.off});
        done.text = fmt::format("outputs on now: {}", ports_text(now));
        done.fields["outputs"] = now;
    });
}

// -- relay

constexpr Choices<RelayCommand, 3> relay_commands{{{"numbered", RelayCommand::numbered},
                                                   {"single", RelayCommand::single},
                                                   {"old", RelayCommand::relay_family}}};
constexpr Choices<ReaderFamily, 1> relay_family{{{"relay", ReaderFamily::relay}}};

struct Relay {
    unsigned number = 1;
    RelayCommand command = RelayCommand::numbered;
    std::optional<ReaderFamily> family;
    std::chrono::milliseconds time{};
};

void add_relay_options(CLI::App& command, Relay& relay)
{
    option(command, "--relay", relay.number, number(1, 255), "which relay, 1 to 255")->default_str("1");
    option(command, "--kind", relay.command, one_of(relay_commands),
           "numbered; single: readers that know one relay; old: those that know it by another command",
           "KIND")
        ->default_str("numbered");
    option(command, "--family", relay.family, one_of(relay_family),
           "relay, with --kind old: to readers of other families its command is something else", "NAME");
    const auto verb = command.get_name();
    const auto time = verb == "pulse" ? " 500" : "";
    command.footer(
        fmt::format("Examples:\n  tagwire relay {0}{1}\n  tagwire relay {0}{1} --relay 2", verb, time));
}

void add_relay_pulse_options(CLI::App& command, Relay& relay)
{
    option(
        command, "MS", relay.time,
        [](const std::string& text, const std::string& name) {
            return std::chrono::milliseconds(parse_number(text, name, 1, 25500));
        },
        "for how long, 1 to 25500 ms, rounded up to 100 ms", "MS")
        ->required();
    add_relay_options(command, relay);
}

Deed relay_deed(const Relay& relay, const char* state, const std::string& text)
{
    const bool is_old = relay.command == RelayCommand::relay_family;
    if (relay.command != RelayCommand::numbered && relay.number != 1)
        throw UsageError("--relay needs --kind numbered: the other kinds know one relay only");
    if (is_old != relay.family.has_value())
        throw UsageError("--kind old goes with --family relay: to readers of other families its command sets "
                         "their filter time, or tells something");
    Deed head = deed("relay", fmt::format("relay {} is {}", relay.number, text));
    head.fields["relay"] = relay.number;
    head.fields["state"] = state;
    return head;
}

Work plan_relay_on(const Relay& relay)
{
    if (relay.command != RelayCommand::numbered)
        throw UsageError("this kind of relay closes for a time only: use tagwire relay pulse");
    return work(relay_deed(relay, "on", "on now"),
                [=](Reader& reader, Deed&) { reader.lines().close_relay(relay.number); });
}

Work plan_relay_off(const Relay& relay)
{
    return work(relay_deed(relay, "off", "off now"), [=](Reader& reader, Deed&) {
        auto lines = reader.lines();
        relay.family ? lines.open_relay(relay.number, relay.command, *relay.family)
                     : lines.open_relay(relay.number, relay.command);
    });
}

Work plan_relay_pulse(const Relay& relay)
{
    const auto units = (relay.time.count() + 99) / 100;
    return work(relay_deed(relay, "pulse", fmt::format("on for {} ms", units * 100)),
                [=](Reader& reader, Deed&) {
                    auto lines = reader.lines();
                    relay.family ? lines.pulse_relay(relay.time, relay.number, relay.command, *relay.family)
                                 : lines.pulse_relay(relay.time, relay.number, relay.command);
                });
}

// -- beeper

void add_beep_switch(Application& application, CLI::App& group, const std::string& state,
                     const char* description)
{
    Deed head = deed("beep", fmt::format("the beeper is {} now", state));
    head.fields["state"] = state;
    application
        .add_command(group, state, description, [=] { return set_work(head, checked_value("beep", state)); })
        .footer(fmt::format("Examples:\n  tagwire beep {}", state));
}

struct Beeping {
    int times = 1;
    int on = 1;
    int off = 1;
};

void add_beep_test_options(CLI::App& command, Beeping& beeping)
{
    option(command, "--on", beeping.on, number(1, 255), "how long each time, 1 to 255 in the reader's units")
        ->default_str("1");
    option(command, "--off", beeping.off, number(1, 255), "how long between two times")->default_str("1");
    option(command, "--times", beeping.times, number(1, 255), "how often, 1 to 255")->default_str("1");
    command.footer(R"(Examples:
  tagwire beep test
  tagwire beep test --times 3 --on 2 --off 2)");
}

Work plan_beep_test(const Beeping& beeping)
{
    Deed head = deed("beep-test", fmt::format("the reader beeps and flashes, times: {}", beeping.times));
    head.fields["times"] = beeping.times;
    return work(head,
                [=](Reader& reader, Deed&) { reader.lines().beep(beeping.times, beeping.on, beeping.off); });
}

}  // namespace

void add_line_commands(Application& application)
{
    auto& gpio = application.add_group("gpio", "Inputs and outputs.");
    gpio.footer("Examples:\n  tagwire gpio get\n  tagwire gpio set --on 1 --off 2");
    add_asking(application, gpio, "get", "Show which are on.", "gpio", show_lines);
    add_to(application, gpio, "set", "Switch outputs.", add_gpio_set_options, plan_gpio_set);
    auto& relay = application.add_group("relay", "Relays.");
    relay.footer("Examples:\n  tagwire relay on\n  tagwire relay pulse 500 --relay 2");
    add_to(application, relay, "on", "Close a relay.", add_relay_options, plan_relay_on);
    add_to(application, relay, "off", "Open a relay.", add_relay_options, plan_relay_off);
    add_to(application, relay, "pulse", "Close a relay for a time.", add_relay_pulse_options,
           plan_relay_pulse);
    auto& beep = application.add_group("beep", "Beeper.");
    beep.footer("Examples:\n  tagwire beep off\n  tagwire beep test --times 3");
    add_beep_switch(application, beep, "on", "Beep with every tag.");
    add_beep_switch(application, beep, "off", "Be silent.");
    add_to(application, beep, "test", "Beep and flash now.", add_beep_test_options, plan_beep_test);
}

}  // namespace tagwire::tool
