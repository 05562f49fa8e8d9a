#include "tagwire/select.h"
#include "commands/groups.h"
#include "errors.h"
#include "tag_call.h"
#include "tag_options.h"

#include <array>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::array target_names{Name{"S0", 0}, Name{"S1", 1}, Name{"S2", 2}, Name{"S3", 3}, Name{"SL", 4}};
constexpr NameSet targets{target_names, 255};

struct SelectArguments {
    std::string antennas;
    std::string ports = "4";
    std::string antenna_byte;
    std::string carrier_time;
    std::string target = "S0";
    std::string action = "0";
    std::string mask;
    bool all = false;
    bool truncate = false;
};

struct SelectPlan {
    std::uint64_t antennas = 0;
    std::uint32_t ports = 0;
    std::optional<std::uint8_t> antenna_byte;
    std::optional<std::uint8_t> carrier_time;
    std::uint8_t target = 0;
    std::uint8_t action = 0;
    std::optional<Mask> mask;
    std::uint8_t truncate = 0;
};

std::optional<std::uint8_t> parse_byte(const std::string& text, std::string_view what)
{
    if (text.empty()) return std::nullopt;
    return static_cast<std::uint8_t>(parse_number(text, what, 0, 255));
}

SelectPlan plan_from(const SelectArguments& arguments)
{
    if (arguments.antennas.empty() == arguments.antenna_byte.empty())
        throw UsageError("name the antennas: use either --antennas PORT,PORT,... or --antenna-byte N");
    if (arguments.mask.empty() != arguments.all)
        throw UsageError("say which tags match: use either --mask BANK:BITADDR:HEX[/BITS] or --all");
    SelectPlan plan;
    plan.ports = parse_number(arguments.ports, "--ports", 1, 64);
    if (!arguments.antennas.empty())
        plan.antennas = parse_ports(arguments.antennas, "--antennas", plan.ports);
    plan.antenna_byte = parse_byte(arguments.antenna_byte, "--antenna-byte");
    plan.carrier_time = parse_byte(arguments.carrier_time, "--carrier-time");
    if (plan.carrier_time && !plan.antenna_byte)
        throw UsageError("--carrier-time goes with --antenna-byte only");
    plan.target = parse_name(arguments.target, "--target", targets);
    plan.action = static_cast<std::uint8_t>(parse_number(arguments.action, "--action", 0, 255));
    if (!arguments.all) plan.mask = parse_mask(arguments.mask);
    plan.truncate = arguments.truncate ? 1 : 0;
    return plan;
}

std::array<std::uint8_t, 8> antenna_field(std::uint64_t antennas)
{
    std::array<std::uint8_t, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(antennas >> (8 * (bytes.size() - 1 - i)) & 0xFF);
    return bytes;
}

std::vector<int> port_numbers(std::uint64_t antennas)
{
    std::vector<int> numbers;
    for (int port = 1; antennas != 0; ++port, antennas >>= 1) {
        if ((antennas & 1) != 0) numbers.push_back(port);
    }
    return numbers;
}

int send(const ReaderConnection& reader, const SelectPlan& plan)
{
    constexpr std::uint32_t most_ports_of_short_form = 16;
    auto address = reader.address();
    MaskArguments mask(plan.mask);
    if (!plan.mask) mask.bank = epc_bank;
    // What all four calls end with.
    const auto finish = [&](auto call, auto... antenna) {
        return call(&address, antenna..., plan.target, plan.action, mask.bank, mask.address.data(), mask.bits,
                    mask.data.data(), plan.truncate, reader.handle());
    };
    if (plan.antenna_byte && plan.carrier_time) {
        return SelectCmdWithCarrier(&address, *plan.antenna_byte, plan.target, plan.action, mask.bank,
                                    mask.address.data(), mask.bits, mask.data.data(), plan.truncate,
                                    *plan.carrier_time, reader.handle());
    }
    if (plan.antenna_byte) return finish(SelectCMD, *plan.antenna_byte);
    if (plan.ports <= most_ports_of_short_form) {
        return finish(SelectCMDByAntenna, static_cast<int>(plan.antennas),
                      static_cast<std::uint8_t>(plan.ports));
    }
    auto field = antenna_field(plan.antennas);
    return finish(SelectCMDByMutipleAntenna, field.data());
}

Work plan_select(const SelectArguments& arguments)
{
    const auto plan = plan_from(arguments);
    Done done{"select filter set", {}};
    done.object["type"] = "select";
    if (plan.antenna_byte) {
        done.object["antenna_byte"] = *plan.antenna_byte;
    } else {
        done.object["antennas"] = port_numbers(plan.antennas);
    }
    done.object["target"] = name_text(plan.target, targets);
    done.object["action"] = plan.action;
    done.object["mask"] = plan.mask ? Json(mask_text(*plan.mask)) : Json();
    done.object["truncate"] = arguments.truncate;
    return [plan, done](Session& session) {
        return run_call(
            session, Operation::SelectFilter, done,
            [&plan](const ReaderConnection& reader, Done&) { return TagResult{send(reader, plan)}; });
    };
}

void add_select_options(CLI::App& command, SelectArguments& arguments)
{
    command.add_option("--antennas", arguments.antennas, "antenna ports that get the filter, counted from 1")
        ->type_name("PORT,PORT,...");
    command
        .add_option(
            "--ports", arguments.ports,
            "antenna ports that the reader has, 1 to 64: with more than 8, and with more than 16, the "
            "command has another form")
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--antenna-byte", arguments.antenna_byte,
                    "one antenna, by the reader's own byte, 0 to 255, instead of --antennas")
        ->type_name("N");
    command
        .add_option("--carrier-time", arguments.carrier_time,
                    "how long the carrier stays on, 0 to 255, the reader's unit; with --antenna-byte")
        ->type_name("N");
    command
        .add_option("--target", arguments.target, "flag that the filter changes: " + choices_text(targets))
        ->type_name("FLAG")
        ->capture_default_str();
    command
        .add_option("--action", arguments.action,
                    "what happens to tags that match and to the others: the air interface's 0 to 7")
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--mask", arguments.mask, "tags match whose memory holds these bits from bit BITADDR on")
        ->type_name("BANK:BITADDR:HEX[/BITS]");
    command.add_flag("--all", arguments.all, "all tags match");
    command.add_flag("--truncate", arguments.truncate, "tags answer with the EPC behind the mask only");
    command.footer(
        R"(The reader applies the filter to what it does afterwards. Action 0 sets the flag of tags that match to
A (or asserts SL) and that of the others to B, so that inventories of target A find the former.

Examples:
  tagwire select --antennas 1,2 --mask epc:32:E280
  tagwire select --antennas 1 --target SL --action 0 --mask tid:0:E2801160/32
  tagwire select --antennas 1,2,3,4 --all
  tagwire select --antennas 17 --ports 32 --mask user:0:CAFE --json)");
}

}  // namespace

void add_select_commands(Application& application)
{
    add_command_with<SelectArguments>(application, nullptr, "select", "Set the reader's filter of Gen2 tags.",
                                      add_select_options, plan_select);
}

}  // namespace tagwire::tool
