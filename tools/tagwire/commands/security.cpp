#include "tagwire/security.h"
#include "commands/groups.h"
#include "errors.h"
#include "tag_call.h"
#include "tag_options.h"
#include "word_commands.h"

#include <array>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::array area_names{Name{"kill-password", 0}, Name{"access-password", 1}, Name{"epc", 2},
                                Name{"tid", 3}, Name{"user", 4}};
constexpr NameSet areas{area_names, 255};

constexpr std::uint8_t open_protection = 0;
constexpr std::uint8_t password_protection = 2;
constexpr std::array protection_names{Name{"open", open_protection}, Name{"permanently-open", 1},
                                      Name{"protected", password_protection},
                                      Name{"permanently-protected", 3}};
constexpr NameSet protections{protection_names, 255};

struct LockArguments {
    TagOptions tag;
    std::string area;
    std::string protection;
    bool yes = false;
};

Work plan_lock(const LockArguments& arguments)
{
    const auto name = parse_tag_name(arguments.tag, gen2_family);
    const auto password = parse_password(arguments.tag.password, "--password");
    const auto area = parse_name(arguments.area, "--area", areas);
    const auto protection = parse_name(arguments.protection, "--protection", protections);
    const auto area_text = name_text(area, areas);
    const auto protection_text = name_text(protection, protections);
    if (protection != open_protection && protection != password_protection) {
        confirm(fmt::format("make {} of tag {} {}", area_text, name_text(name, gen2_family), protection_text),
                arguments.yes);
    }
    Done done{fmt::format("{} is {} now", area_text, protection_text), {}};
    done.object["type"] = "lock";
    add_name(done.object, name, gen2_family);
    done.object["area"] = area_text;
    done.object["protection"] = protection_text;
    return [=](Session& session) {
        return run_tag_call(session, name, Operation::LockMemory, done, [&](TagCall& call, Done&) {
            auto given = password;
            return call(Lock_G2, std::tuple(area, protection, given.data()));
        });
    };
}

void add_lock_options(CLI::App& command, LockArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
    command.add_option("--area", arguments.area, choices_text(areas))->type_name("AREA")->required();
    command.add_option("--protection", arguments.protection, choices_text(protections))
        ->type_name("HOW")
        ->required();
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(protected: to be written with the access password only; passwords are not to be read without it
either. permanently-...: can never be changed again, and is asked for.

Examples:
  tagwire lock --epc E28011700000020F00000001 --area user --protection protected --password 12345678
  tagwire lock --epc E28011700000020F00000001 --area epc --protection open --password 12345678
  tagwire lock --mask tid:0:E2801160 --area tid --protection permanently-protected --yes)");
}

Work plan_gen2_kill(const KillArguments& arguments)
{
    return plan_kill(arguments, gen2_family, [](TagCall& tag, std::uint8_t* password) {
        return tag(KillTag_G2, std::tuple(password));
    });
}

void add_gen2_kill_options(CLI::App& command, KillArguments& arguments)
{
    add_kill_options(command, arguments, gen2_family);
    command.footer(
        R"(A killed tag never answers again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire kill --epc E28011700000020F00000001 --kill-password 87654321
  tagwire kill --epc E28011700000020F00000001 --kill-password 87654321 --yes --json)");
}

}  // namespace

void add_security_commands(Application& application)
{
    add_command_with<LockArguments>(application, nullptr, "lock", "Protect an area of a Gen2 tag.",
                                    add_lock_options, plan_lock);
    add_command_with<KillArguments>(application, nullptr, "kill", "Kill a Gen2 tag, for good.",
                                    add_gen2_kill_options, plan_gen2_kill);
}

}  // namespace tagwire::tool
