#include "tagwire/identification.h"
#include "commands/groups.h"
#include "errors.h"
#include "sensor_command.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/registers.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// -- identification

constexpr TagFamily identified_family{"--epc", "epc", 15, "bank", gen2_banks};

struct IdentifyArguments {
    std::string epc;
    std::string token;
};

TagResult identify_tag(const ReaderConnection& reader, const TagName& name, Done& done)
{
    auto address = reader.address();
    TagArguments tag(name);
    std::uint8_t size = 0;
    Bytes epc(255);
    std::uint8_t rssi = 0;
    std::array<std::uint8_t, 2> key{};
    std::array<std::uint8_t, 12> tid{};
    const TagResult result{QueryAndIdentify(&address, tag.id.data(), tag.id_words, &size, epc.data(), &rssi,
                                            key.data(), tid.data(), reader.handle())};
    epc.resize(size);
    done.text = fmt::format("{}  rssi {}  key {}  tid {}", hex_text(epc), rssi, hex_text(key), hex_text(tid));
    done.object["epc"] = hex_text(epc);
    done.object["rssi"] = rssi;
    done.object["key"] = hex_text(key);
    done.object["tid"] = hex_text(tid);
    return result;
}

Work plan_identify_tag(const IdentifyArguments& arguments)
{
    const auto name = arguments.epc.empty()
                          ? TagName{}
                          : parse_tag_name({.id = arguments.epc, .mask = {}}, identified_family);
    return [name](Session& session) {
        return run_call(
            session, Operation::TagIdentity, Done{"", Json{{"type", "identify-tag"}}},
            [&name](const ReaderConnection& reader, Done& done) { return identify_tag(reader, name, done); });
    };
}

void add_identify_tag_options(CLI::App& command, IdentifyArguments& arguments)
{
    command.add_option("--epc", arguments.epc, "the tag, 1 to 15 words; otherwise whichever answers")
        ->type_name("HEX");
    command.footer(R"(Examples:
  tagwire identify tag
  tagwire identify tag --epc E28011700000020F00000001 --json)");
}

Work plan_identify_begin(const IdentifyArguments&)
{
    return [](Session& session) {
        return run_call(session, Operation::TagIdentity, Done{"", Json{{"type", "identify-begin"}}},
                        [](const ReaderConnection& reader, Done& done) {
                            auto address = reader.address();
                            std::array<std::uint8_t, 4> random{};
                            const TagResult result{FirstIdentify(&address, random.data(), reader.handle())};
                            done.text = hex_text(random);
                            done.object["random"] = done.text;
                            return result;
                        });
    };
}

void add_identify_begin_options(CLI::App& command, IdentifyArguments&)
{
    command.footer(R"(Shows the reader's 4 random bytes.

Examples:
  tagwire identify begin)");
}

using Token = std::array<std::uint8_t, 8>;

TagResult finish_identification(const ReaderConnection& reader, Token token, Done& done)
{
    auto address = reader.address();
    Token answer{};
    std::array<std::uint8_t, 2> handle{};
    const TagResult result{
        SecondIdentify(&address, token.data(), answer.data(), handle.data(), reader.handle())};
    done.text = fmt::format("{}  handle {}", hex_text(answer), hex_text(handle));
    done.object["token"] = hex_text(answer);
    done.object["handle"] = hex_text(handle);
    return result;
}

Work plan_identify_finish(const IdentifyArguments& arguments)
{
    const auto bytes = parse_units(arguments.token, "TOKEN", 1);
    Token token{};
    if (bytes.size() != token.size())
        throw UsageError(fmt::format("TOKEN '{}' is not valid: use 16 hexadecimal digits", arguments.token));
    std::copy(bytes.begin(), bytes.end(), token.begin());
    return [token](Session& session) {
        return run_call(session, Operation::TagIdentity, Done{"", Json{{"type", "identify-finish"}}},
                        [token](const ReaderConnection& reader, Done& done) {
                            return finish_identification(reader, token, done);
                        });
    };
}

void add_identify_finish_options(CLI::App& command, IdentifyArguments& arguments)
{
    command
        .add_option("TOKEN", arguments.token, "8 bytes, made of the random bytes of tagwire identify begin")
        ->required();
    command.footer(
        R"(Shows the reader's token and its handle. A reader that refuses answers with meaningless bytes.

Examples:
  tagwire identify finish 0102030405060708)");
}

// -- LED

enum class LedChip : std::uint8_t { Fd, Yl, Klw, Bx };
constexpr std::array led_chip_names{Name{"fd", 0}, Name{"yl", 1}, Name{"klw", 2}, Name{"bx", 3}};
constexpr NameSet led_chips{led_chip_names, 3};

struct LedArguments {
    TagOptions tag;
    std::string chip;
    std::string time = "0";
    std::string mode = "1";
};

struct LedPlan {
    SensorTarget target;
    LedChip chip = LedChip::Fd;
    std::uint8_t time = 0;
    std::uint8_t mode = 0;
};

LedPlan led_plan(const LedArguments& arguments)
{
    LedPlan plan;
    plan.chip = static_cast<LedChip>(parse_name(arguments.chip, "--chip", led_chips));
    const auto& family = plan.chip == LedChip::Fd ? sensor_family : gen2_family;
    plan.target = {parse_tag_name(arguments.tag, family),
                   parse_password(arguments.tag.password, "--password")};
    plan.time = parse_byte(arguments.time, "--time");
    plan.mode = parse_byte(arguments.mode, "--mode");
    return plan;
}

TagResult switch_led(TagCall& tag, const LedPlan& plan, std::uint8_t* password)
{
    switch (plan.chip) {
    case LedChip::Fd: return {tag(Fd_LedCtr, std::tuple(plan.mode, password)).code, -1};
    case LedChip::Yl: return tag(YL_LED_Controll, std::tuple(plan.mode, plan.time, password));
    case LedChip::Klw: return tag(KLW_LED_Controll, std::tuple(plan.time, password));
    case LedChip::Bx: break;
    }
    return tag(BX_LED_Controll, std::tuple(plan.time, password));
}

Work led_work(const LedPlan& plan, const char* state)
{
    auto done = done_with(fmt::format("the LED is {}", state), "led", plan.target.name);
    done.object["state"] = state;
    return sensor_work(
        plan.target, Operation::TagLed, done, TagCode::Told,
        [plan](TagCall& tag, std::uint8_t* password, Done&) { return switch_led(tag, plan, password); });
}

Work plan_led_on(const LedArguments& arguments)
{
    const auto plan = led_plan(arguments);
    if (plan.mode == 0) throw UsageError("--mode 0 is off: use tagwire led off");
    return led_work(plan, "on");
}

Work plan_led_off(const LedArguments& arguments)
{
    auto plan = led_plan(arguments);
    if (plan.chip == LedChip::Klw || plan.chip == LedChip::Bx)
        throw UsageError("this chip switches its LED off by itself: use fd or yl");
    plan.mode = 0;
    return led_work(plan, "off");
}

void add_led_options(CLI::App& command, LedArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
    command.add_option("--chip", arguments.chip, "whose command: " + choices_text(led_chips))
        ->type_name("CHIP")
        ->required();
}

void add_led_on_options(CLI::App& command, LedArguments& arguments)
{
    add_led_options(command, arguments);
    command
        .add_option(
            "--time", arguments.time,
            "yl, klw, bx: how long the carrier feeds the tag, 0 to 255 in the reader's units; 0 is the "
            "time of tagwire led carrier-time")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--mode", arguments.mode, "fd, yl: how, 1 to 255 in the tag's coding")
        ->type_name("N")
        ->capture_default_str();
    command.footer(R"(Examples:
  tagwire led on --chip fd --epc E28011700000020F00000001
  tagwire led on --chip yl --mode 2 --time 50 --epc E28011700000020F00000001)");
}

void add_led_off_options(CLI::App& command, LedArguments& arguments)
{
    add_led_options(command, arguments);
    command.footer(R"(Examples:
  tagwire led off --chip fd --epc E28011700000020F00000001)");
}

struct CarrierTimeArguments {
    std::string time;
};

Work plan_carrier_time(const CarrierTimeArguments& arguments)
{
    const auto time = parse_byte(arguments.time, "TIME");
    return [time](Session& session) {
        return run_call(session, Operation::TagLed, Done{"", Json{{"type", "led-carrier-time"}}},
                        [time](const ReaderConnection& reader, Done& done) {
                            auto address = reader.address();
                            auto set = time;
                            const TagResult result{SetCarrierTime(&address, &set, reader.handle())};
                            if (result.code == 0 && set != time) {
                                throw Failure(
                                    fmt::format("the reader's carrier time is {}, not {}: it may have "
                                                "refused the new one",
                                                set, time));
                            }
                            done.text = fmt::format("the reader's carrier time is {}", set);
                            done.object["time"] = set;
                            return result;
                        });
    };
}

void add_carrier_time_options(CLI::App& command, CarrierTimeArguments& arguments)
{
    command.add_option("TIME", arguments.time, "0 to 255 in the reader's units")->required();
    command.footer(R"(Shows what the reader has set.

Examples:
  tagwire led carrier-time 20)");
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
