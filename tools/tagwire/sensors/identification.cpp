#include "commands/groups.h"
#include "sensors/chips.h"
#include "tag_options.h"
#include "tags/choice.h"

namespace tagwire::tool {

namespace {

// -- identification

struct Identify {
    std::optional<Epc> epc;
    Bytes token;
};

void add_identify_tag_options(CLI::App& command, Identify& identify)
{
    option(command, "--epc", identify.epc, parse_epc, "the tag, 1 to 15 words; otherwise whichever answers",
           "HEX");
    command.footer(R"(Examples:
  tagwire identify tag
  tagwire identify tag --epc E28011700000020F00000001 --json)");
}

Work plan_identify_tag(const Identify& identify)
{
    return work(deed("identify-tag"), [epc = identify.epc](Reader& reader, Deed& done) {
        const auto tag = reader.identification().tag(epc);
        done.text = fmt::format("{}  rssi {}  key {}  tid {}", tag.epc.to_string(), tag.rssi, to_hex(tag.key),
                                tag.tid.to_string());
        done.fields["epc"] = tag.epc.to_string();
        done.fields["rssi"] = tag.rssi;
        done.fields["key"] = to_hex(tag.key);
        done.fields["tid"] = tag.tid.to_string();
    });
}

void add_identify_begin_options(CLI::App& command, Identify&)
{
    command.footer(R"(Shows the reader's 4 random bytes.

Examples:
  tagwire identify begin)");
}

Work plan_identify_begin(const Identify&)
{
    return work(deed("identify-begin"), [](Reader& reader, Deed& done) {
        done.text = to_hex(reader.identification().begin());
        done.fields["random"] = done.text;
    });
}

void add_identify_finish_options(CLI::App& command, Identify& identify)
{
    option(command, "TOKEN", identify.token, exactly(8),
           "8 bytes, made of the random bytes of tagwire identify begin", "HEX")
        ->required();
    command.footer(
        R"(Shows the reader's token and its handle. A reader that refuses answers with meaningless bytes.

Examples:
  tagwire identify finish 0102030405060708)");
}

Work plan_identify_finish(const Identify& identify)
{
    return work(deed("identify-finish"), [given = identify.token](Reader& reader, Deed& done) {
        std::array<std::uint8_t, 8> token{};
        std::copy_n(given.begin(), token.size(), token.begin());
        const auto answer = reader.identification().finish(token);
        done.text = fmt::format("{}  handle {}", to_hex(answer.token), to_hex(answer.handle));
        done.fields["token"] = to_hex(answer.token);
        done.fields["handle"] = to_hex(answer.handle);
    });
}

// -- LED

struct Lamp {
    TagChoice tag;
    Led led;
    int carrier_time = 0;
    ChipOptions<LedChip> special;
};

void add_led_options(CLI::App& command, Lamp& lamp)
{
    add_tag_options(command, lamp.tag);
    option(command, "--chip", lamp.led.chip, one_of(led_chips), "whose command: " + choices_text(led_chips),
           "CHIP")
        ->required();
}

void add_led_on_options(CLI::App& command, Lamp& lamp)
{
    add_led_options(command, lamp);
    lamp.special.add(
        option(command, "--time", lamp.led.time, number(0, 255),
               "how long the carrier feeds the tag, 0 to 255 in the reader's units; 0, as without "
               "it, is the time of tagwire led carrier-time"),
        {LedChip::yl, LedChip::klw, LedChip::bx});
    lamp.special.add(option(command, "--mode", lamp.led.mode, number(1, 255),
                            "how, 1 to 255 in the tag's coding; 1 when left out"),
                     {LedChip::fd, LedChip::yl});
    command.footer(R"(Examples:
  tagwire led on --chip fd --epc E28011700000020F00000001
  tagwire led on --chip yl --mode 2 --time 50 --epc E28011700000020F00000001)");
}

Deed led_deed(const Lamp& lamp, const char* state)
{
    lamp.special.require_all_of(lamp.led.chip);
    Deed head = deed_with("led", lamp.tag, fmt::format("the LED is {}", state));
    head.fields["state"] = state;
    return head;
}

Work plan_led_on(const Lamp& lamp)
{
    return work(led_deed(lamp, "on"), [tag = lamp.tag, led = lamp.led](Reader& reader, Deed&) {
        find(reader, tag).light_led(led);
    });
}

void add_led_off_options(CLI::App& command, Lamp& lamp)
{
    add_led_options(command, lamp);
    command.footer(R"(The LEDs of the chips klw and bx go out by themselves.

Examples:
  tagwire led off --chip fd --epc E28011700000020F00000001)");
}

Work plan_led_off(const Lamp& lamp)
{
    const auto chip = lamp.led.chip;
    if (chip == LedChip::klw || chip == LedChip::bx)
        throw UsageError("this chip switches its LED off by itself: use fd or yl");
    return work(led_deed(lamp, "off"),
                [tag = lamp.tag, chip](Reader& reader, Deed&) { find(reader, tag).switch_led_off(chip); });
}

void add_carrier_time_options(CLI::App& command, Lamp& lamp)
{
    option(command, "TIME", lamp.carrier_time, number(0, 255), "0 to 255 in the reader's units")->required();
    command.footer(R"(Shows what the reader has set.

Examples:
  tagwire led carrier-time 20)");
}

Work plan_carrier_time(const Lamp& lamp)
{
    Deed head = deed("led-carrier-time", fmt::format("the reader's carrier time is {}", lamp.carrier_time));
    head.fields["time"] = lamp.carrier_time;
    return work(head, [time = lamp.carrier_time](Reader& reader, Deed&) { reader.set_carrier_time(time); });
}

}  // namespace

void add_identification_commands(Application& application)
{
    auto& identify = application.add_group("identify", "Identification of tag and reader.");
    add_to(application, identify, "tag", "Ask for a tag and what identifies it.", add_identify_tag_options,
           plan_identify_tag);
    add_to(application, identify, "begin", "Begin an exchange of tokens with the reader.",
           add_identify_begin_options, plan_identify_begin);
    add_to(application, identify, "finish", "Finish it.", add_identify_finish_options, plan_identify_finish);
    auto& led = application.add_group("led", "LEDs of tags.");
    add_to(application, led, "on", "Switch the LED of a tag on.", add_led_on_options, plan_led_on);
    add_to(application, led, "off", "Switch it off.", add_led_off_options, plan_led_off);
    add_to(application, led, "carrier-time", "Set how long the reader feeds a tag with an LED.",
           add_carrier_time_options, plan_carrier_time);
}

}  // namespace tagwire::tool
