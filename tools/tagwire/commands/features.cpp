#include "commands/groups.h"
#include "errors.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/result.h"
#include "tagwire/security.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr std::array switch_names{Name{"off", 0}, Name{"on", 1}};
constexpr NameSet switch_values{switch_names, 255};

struct FeatureArguments {
    TagOptions tag;
    bool any = false;
    std::string value;
    bool yes = false;
};

// The tag and the password that a feature command was given.
struct Addressed {
    TagName name;
    Password password;
};

Addressed parse_addressed(const TagOptions& options)
{
    return {parse_tag_name(options, gen2_family), parse_password(options.password, "--password")};
}

void add_addressed_options(CLI::App& command, FeatureArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
}

Done done_with(std::string text, const char* type, const TagName& name)
{
    Done done{std::move(text), {}};
    done.object["type"] = type;
    if (!name.id.empty() || name.mask) add_name(done.object, name, gen2_family);
    return done;
}

// A command whose call has `own` arguments and the password: call(tag, password bytes, done).
using FeatureCall = std::function<TagResult(TagCall&, std::uint8_t*, Done&)>;

Work feature_work(const Addressed& addressed, Operation operation, const Done& done, const FeatureCall& call)
{
    return [=](Session& session) {
        return run_tag_call(session, addressed.name, operation, done, [&](TagCall& tag, Done& shown) {
            auto password = addressed.password;
            return call(tag, password.data(), shown);
        });
    };
}

std::uint8_t parse_byte(const std::string& text, std::string_view what)
{
    return static_cast<std::uint8_t>(parse_number(text, what, 0, 255));
}

// -- privacy

Work plan_privacy_set(const FeatureArguments& arguments)
{
    if (!arguments.any) {
        const auto addressed = parse_addressed(arguments.tag);
        return feature_work(
            addressed, Operation::Privacy,
            done_with("the tag is protected against being read", "privacy-set", addressed.name),
            [](TagCall& tag, std::uint8_t* password, Done&) {
                return tag(SetPrivacyByEPC_G2, std::tuple(password));
            });
    }
    if (!arguments.tag.id.empty() || !arguments.tag.mask.empty())
        throw UsageError("--any takes whichever tag answers: leave out --epc and --mask");
    const Addressed addressed{{}, parse_password(arguments.tag.password, "--password")};
    return feature_work(addressed, Operation::Privacy,
                        done_with("the tag is protected against being read", "privacy-set", {}),
                        [](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag.unaddressed(SetPrivacyWithoutEPC_G2, password);
                        });
}

Work plan_privacy_reset(const FeatureArguments& arguments)
{
    const Addressed addressed{{}, parse_password(arguments.tag.password, "--password")};
    return feature_work(addressed, Operation::Privacy,
                        done_with("the tag can be read again", "privacy-reset", {}),
                        [](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag.unaddressed(ResetPrivacy_G2, password);
                        });
}

Work plan_privacy_check(const FeatureArguments&)
{
    return feature_work({}, Operation::Privacy, done_with("", "privacy-check", {}),
                        [](TagCall& tag, std::uint8_t*, Done& done) {
                            std::uint8_t is_protected = 0;
                            const auto result = tag.unaddressed(CheckPrivacy_G2, &is_protected);
                            done.text = fmt::format("protected against being read: {}",
                                                    is_protected == 0 ? "no" : "yes");
                            done.object["protected"] = is_protected != 0;
                            done.object["value"] = is_protected;
                            return result;
                        });
}

// -- EAS

Work plan_eas_set(const FeatureArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto state = parse_name(arguments.value, "STATE", switch_values);
    auto done =
        done_with(fmt::format("EAS is {} now", name_text(state, switch_values)), "eas-set", addressed.name);
    done.object["state"] = name_text(state, switch_values);
    return feature_work(addressed, Operation::Eas, done,
                        [state](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag(EASConfigure_G2, std::tuple(password, state));
                        });
}

Work plan_eas_alarm(const FeatureArguments&)
{
    return feature_work({}, Operation::Eas, done_with("", "eas-alarm", {}),
                        [](TagCall& tag, std::uint8_t*, Done& done) {
                            const auto result = tag.unaddressed(EASAlarm_G2);
                            done.text = result.is_success() ? "alarm" : "no alarm";
                            done.object["alarm"] = result.is_success();
                            return result.code == TAGWIRE_NO_DATA ? TagResult{} : result;
                        });
}

// -- QT

Work plan_qt_get(const FeatureArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    return feature_work(addressed, Operation::Qt, done_with("", "qt-get", addressed.name),
                        [](TagCall& tag, std::uint8_t* password, Done& done) {
                            std::uint8_t control = 0;
                            const auto result =
                                tag(GetMonza4QTWorkParamter_G2, std::tuple(password), &control);
                            done.text = fmt::format("QT control 0x{:02X}", control);
                            done.object["control"] = control;
                            return result;
                        });
}

Work plan_qt_set(const FeatureArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto control = parse_byte(arguments.value, "CONTROL");
    auto done = done_with(fmt::format("QT control 0x{:02X} written", control), "qt-set", addressed.name);
    done.object["control"] = control;
    return feature_work(addressed, Operation::Qt, done,
                        [control](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag(SetMonza4QTWorkParamter_G2, std::tuple(control, password));
                        });
}

// -- block lock, protected mode

Work plan_block_lock(const FeatureArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto word = parse_byte(arguments.value, "--word");
    const auto tag_text = name_text(addressed.name, gen2_family);
    confirm(fmt::format("lock the block of user word {} of tag {}", word, tag_text), arguments.yes);
    auto done = done_with(fmt::format("the block of user word {} is locked for good", word), "block-lock",
                          addressed.name);
    done.object["word"] = word;
    return feature_work(addressed, Operation::LockMemory, done,
                        [word](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag(BlockLock_G2, std::tuple(password, word));
                        });
}

Work plan_protected_mode(const FeatureArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto state = parse_name(arguments.value, "STATE", switch_values);
    auto done = done_with(fmt::format("protected mode is {} now", name_text(state, switch_values)),
                          "protected-mode", addressed.name);
    done.object["state"] = name_text(state, switch_values);
    return feature_work(addressed, Operation::ProtectedMode, done,
                        [state](TagCall& tag, std::uint8_t* password, Done&) {
                            return tag(Protected_mode_G2, std::tuple(state, password));
                        });
}

// -- untraceable

struct UntraceableArguments {
    TagOptions tag;
    bool flag = false;
    std::string epc_words;
    std::string tid = "show";
    bool hide_user = false;
    std::string range = "normal";
};

constexpr std::array tid_hiding_names{Name{"show", 0}, Name{"hide-serial", 1}, Name{"hide", 2}};
constexpr NameSet tid_hidings{tid_hiding_names, 255};
constexpr std::array range_names{Name{"normal", 0}, Name{"toggle", 1}, Name{"reduced", 2}};
constexpr NameSet ranges{range_names, 255};

Work plan_untraceable(const UntraceableArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto words = static_cast<std::uint8_t>(
        arguments.epc_words.empty() ? addressed.name.id.size() / 2
                                    : parse_number(arguments.epc_words, "--epc-words", 0, 31));
    if (arguments.epc_words.empty() && addressed.name.mask)
        throw UsageError("--epc-words is needed with --mask: how many words of the EPC are shown");
    const std::uint8_t flag = arguments.flag ? 1 : 0;
    const std::uint8_t hides_epc = arguments.epc_words.empty() ? 0 : 1;
    const auto tid = parse_name(arguments.tid, "--tid", tid_hidings);
    const std::uint8_t user = arguments.hide_user ? 1 : 0;
    const auto range = parse_name(arguments.range, "--range", ranges);
    auto done = done_with("the tag hides what was asked for", "untraceable", addressed.name);
    done.object["epc_words"] = words;
    done.object["tid"] = name_text(tid, tid_hidings);
    done.object["user_hidden"] = arguments.hide_user;
    done.object["range"] = name_text(range, ranges);
    return feature_work(
        addressed, Operation::Untraceable, done, [=](TagCall& tag, std::uint8_t* password, Done&) {
            return tag(Untraceable_G2, std::tuple(flag, hides_epc, words, tid, user, range, password));
        });
}

void add_untraceable_options(CLI::App& command, UntraceableArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
    command.add_flag("--flag", arguments.flag, "set the tag's U indicator");
    command.add_option("--epc-words", arguments.epc_words, "show so many words of the EPC only, 0 to 31")
        ->type_name("N");
    command.add_option("--tid", arguments.tid, choices_text(tid_hidings))
        ->type_name("HOW")
        ->capture_default_str();
    command.add_flag("--hide-user", arguments.hide_user, "hide the user bank");
    command.add_option("--range", arguments.range, choices_text(ranges))
        ->type_name("HOW")
        ->capture_default_str();
    command.footer(R"(Examples:
  tagwire untraceable --epc E28011700000020F00000001 --password 12345678 --tid hide --hide-user
  tagwire untraceable --epc E28011700000020F00000001 --password 12345678 --epc-words 2 --range reduced)");
}

// -- authenticate

constexpr std::size_t message_bytes = 6;

struct AuthenticateArguments {
    TagOptions tag;
    std::string suite;
    std::string message;
    std::string message_length;
    bool store = false;
    bool with_length = false;
};

Work plan_authenticate(const AuthenticateArguments& arguments)
{
    const auto addressed = parse_addressed(arguments.tag);
    const auto suite = parse_byte(arguments.suite, "--suite");
    auto message = parse_units(arguments.message, "--message", 1);
    if (message.size() > message_bytes)
        throw UsageError(fmt::format("--message has {} bytes: at most {}", message.size(), message_bytes));
    message.resize(message_bytes);
    const auto length = parse_byte(arguments.message_length, "--message-length");
    const std::uint8_t send = arguments.store ? 0 : 1;
    const std::uint8_t with_length = arguments.with_length ? 1 : 0;
    return feature_work(addressed, Operation::Authenticate, done_with("", "authenticate", addressed.name),
                        [=](TagCall& tag, std::uint8_t* password, Done& done) {
                            auto given = message;
                            std::array<std::uint8_t, 250> reply{};
                            std::uint8_t count = 0;
                            const auto result =
                                tag(Authenticate_G2,
                                    std::tuple(send, with_length, suite, length, given.data(), password),
                                    &count, reply.data());
                            const auto shown = std::min<std::size_t>(count, reply.size());
                            const auto text = hex_text(std::span(reply).first(shown));
                            done.text = shown == 0 ? "done, without a reply" : text;
                            done.object["reply"] = text;
                            return result;
                        });
}

void add_authenticate_options(CLI::App& command, AuthenticateArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
    command.add_option("--suite", arguments.suite, "cryptographic suite, 0 to 255")
        ->type_name("N")
        ->required();
    command.add_option("--message", arguments.message, "the message, up to 6 bytes; the rest are zeros")
        ->type_name("HEX")
        ->required();
    command
        .add_option("--message-length", arguments.message_length,
                    "its length as the tag is told, 0 to 255: the unit is that of tag and reader")
        ->type_name("N")
        ->required();
    command.add_flag("--store", arguments.store, "let the tag store its reply instead of sending it");
    command.add_flag("--with-length", arguments.with_length, "let the reply contain its length");
    command.footer(R"(Examples:
  tagwire authenticate --epc E28011700000020F00000001 --suite 1 --message 010203040506 --message-length 48)");
}

// -- options of the short ones

void add_privacy_set_options(CLI::App& command, FeatureArguments& arguments)
{
    add_addressed_options(command, arguments);
    command.add_flag("--any", arguments.any, "whichever tag answers: have one only in the field");
    command.footer(R"(Examples:
  tagwire privacy set --epc E28011700000020F00000001 --password 12345678
  tagwire privacy set --any --password 12345678)");
}

void add_privacy_reset_options(CLI::App& command, FeatureArguments& arguments)
{
    add_password_option(command, arguments.tag);
    command.footer(R"(Whichever tag answers: have one only in the field.

Examples:
  tagwire privacy reset --password 12345678)");
}

void add_privacy_check_options(CLI::App& command, FeatureArguments&)
{
    command.footer(R"(Examples:
  tagwire privacy check --json)");
}

void add_eas_set_options(CLI::App& command, FeatureArguments& arguments)
{
    command.add_option("STATE", arguments.value, choices_text(switch_values))->required();
    add_addressed_options(command, arguments);
    command.footer(R"(Examples:
  tagwire eas set on --epc E28011700000020F00000001 --password 12345678)");
}

void add_eas_alarm_options(CLI::App& command, FeatureArguments&)
{
    command.footer(R"(That no tag raises an alarm is no error.

Examples:
  tagwire eas alarm)");
}

void add_qt_get_options(CLI::App& command, FeatureArguments& arguments)
{
    add_addressed_options(command, arguments);
    command.footer(R"(Examples:
  tagwire qt get --epc E28011700000020F00000001)");
}

void add_qt_set_options(CLI::App& command, FeatureArguments& arguments)
{
    command.add_option("CONTROL", arguments.value, "low byte of the control word, 0 to 255")->required();
    add_addressed_options(command, arguments);
    command.footer(R"(Examples:
  tagwire qt set 0x01 --epc E28011700000020F00000001 --password 12345678)");
}

void add_block_lock_options(CLI::App& command, FeatureArguments& arguments)
{
    add_addressed_options(command, arguments);
    command.add_option("--word", arguments.value, "a word in the block, 0 to 255")
        ->type_name("N")
        ->required();
    add_yes_option(command, arguments.yes);
    command.footer(
        R"(A locked block can never be written again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire block-lock --epc E28011700000020F00000001 --word 4 --password 12345678)");
}

void add_protected_mode_options(CLI::App& command, FeatureArguments& arguments)
{
    command.add_option("STATE", arguments.value, choices_text(switch_values))->required();
    add_addressed_options(command, arguments);
    command.footer(R"(Examples:
  tagwire protected-mode on --epc E28011700000020F00000001 --password 12345678)");
}

}  // namespace

void add_feature_commands(Application& application)
{
    const auto add = [&application](CLI::App* group, const char* name, const char* description, auto options,
                                    auto plan) {
        add_command_with<FeatureArguments>(application, group, name, description, options, plan);
    };
    auto& privacy = application.add_group("privacy", "Protect tags against being read, and end that.");
    add(&privacy, "set", "Protect a tag against being read.", add_privacy_set_options, plan_privacy_set);
    add(&privacy, "reset", "End the protection.", add_privacy_reset_options, plan_privacy_reset);
    add(&privacy, "check", "Ask whether the tag that answers is protected.", add_privacy_check_options,
        plan_privacy_check);
    auto& eas = application.add_group("eas", "Electronic article surveillance.");
    add(&eas, "set", "Switch the EAS state of a tag.", add_eas_set_options, plan_eas_set);
    add(&eas, "alarm", "Look for a tag that raises an alarm.", add_eas_alarm_options, plan_eas_alarm);
    auto& qt = application.add_group("qt", "The QT control byte of a tag.");
    add(&qt, "get", "Read it.", add_qt_get_options, plan_qt_get);
    add(&qt, "set", "Write it.", add_qt_set_options, plan_qt_set);
    add(nullptr, "block-lock", "Lock a block of the user bank, for good.", add_block_lock_options,
        plan_block_lock);
    add(nullptr, "protected-mode", "Switch the protected mode of a tag.", add_protected_mode_options,
        plan_protected_mode);
    add_command_with<UntraceableArguments>(application, nullptr, "untraceable", "Hide parts of a tag.",
                                           add_untraceable_options, plan_untraceable);
    add_command_with<AuthenticateArguments>(application, nullptr, "authenticate",
                                            "Have a tag authenticate itself.", add_authenticate_options,
                                            plan_authenticate);
}

}  // namespace tagwire::tool
