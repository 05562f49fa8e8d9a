#include "commands/groups.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/transfer.h"

#include <memory>

namespace tagwire::tool {

namespace {

constexpr unsigned last_erased = 255;

// -- read, write, erase

struct Place {
    TagChoice tag;
    Bank bank{};
    Stretch stretch;

    OpenMemory open() const
    {
        return [tag = tag, bank = bank](Reader& reader) {
            return memory_of(find(reader, tag), bank, tag.retries);
        };
    }
    Deed head(const char* type) const
    {
        Deed named = deed_with(type, tag);
        named.fields["bank"] = name_of(bank, banks);
        return named;
    }
};

void add_place_options(CLI::App& command, Place& place)
{
    add_tag_options(command, place.tag);
    option(command, "--bank", place.bank, one_of(banks), choices_text(banks), "NAME")->required();
}

void add_gen2_read_options(CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_read_options(command, place.stretch, word_unit);
    command.footer(R"(Examples:
  tagwire read --epc E28011700000020F00000001 --bank user --count 8
  tagwire read --tid E2801160200000010000AB01 --bank tid --json
  tagwire read --epc E28011700000020F00000001 --bank user --word 300 --count 500 --file user.bin
  tagwire read --epc E28011700000020F00000001 --bank reserved --password @secret.txt)");
}

void add_gen2_write_options(CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_write_options(command, place.stretch, word_unit);
    command.add_flag("--block", place.stretch.block, "use the tag's block write, which not every tag has");
    command.footer(
        R"(Long data is written in pieces, then read back and compared. When a piece fails, the tag is asked which
of its words hold the new data, and standard error says which words were written and which were not.

Examples:
  tagwire write --epc E28011700000020F00000001 --bank user --data 0123456789ABCDEF
  tagwire write --epc E28011700000020F00000001 --bank user --word 16 --file data.bin
  tagwire write --tid E2801160200000010000AB01 --bank reserved --word 2 --data 12345678
  printf 'hello!' | tagwire write --epc E28011700000020F00000001 --bank user --file - --block)");
}

void add_gen2_erase_options(CLI::App& command, Place& place)
{
    add_place_options(command, place);
    add_erase_options(command, place.stretch, word_unit, last_erased);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire erase --epc E28011700000020F00000001 --bank user --count 8
  tagwire erase --epc E28011700000020F00000001 --bank user --word 4 --count 2 --password 12345678)");
}

Work plan_read(const Place& place)
{
    return read_work(place.head("read"), place.stretch, word_unit, place.open());
}

Work plan_write(const Place& place)
{
    return write_work(place.head("write"), place.stretch, word_unit, name_of(place.bank, banks),
                      place.open());
}

Work plan_erase(const Place& place)
{
    if (place.stretch.first + place.stretch.count.value_or(0) > last_erased + 1)
        throw UsageError("words 0 to 255 can be erased");
    return erase_work(place.head("erase"), place.stretch, word_unit, name_of(place.bank, banks),
                      text_of(place.tag), place.open());
}

// -- a new EPC

struct Rename {
    TagChoice tag;
    Epc epc;
    bool any = false;
    bool yes = false;
};

void add_write_epc_options(CLI::App& command, Rename& rename)
{
    option(
        command, "NEW_EPC", rename.epc,
        [](const std::string& text, const std::string&) { return Epc(hex(2, 62)(text, "the new EPC")); },
        "the new EPC, 4 hexadecimal digits a word", "HEX")
        ->required();
    add_tag_options(command, rename.tag);
    command.add_flag("--any", rename.any, "the only tag that answers: several are refused");
    add_yes_option(command, rename.yes);
    command.add_flag("--verify")->description("what was written is always read back and compared");
    command.footer(
        R"(The length in the protocol control word follows the new EPC, its other bits stay. An EPC that another
tag in the field has already is refused.

Examples:
  tagwire write-epc 3034000040C0000400000007 --epc E28011700000020F00000001
  tagwire write-epc 3034000040C0000400000007 --tid E2801160200000010000AB01
  tagwire write-epc 3034000040C0000400000007 --any --yes)");
}

Work plan_write_epc(const Rename& rename)
{
    if (rename.any && (rename.tag.epc || rename.tag.tid || rename.tag.mask))
        throw UsageError("--any takes the only tag that answers: leave out --epc, --tid and --mask");
    Deed head = rename.any ? deed("write-epc") : deed_with("write-epc", rename.tag);
    if (rename.any) confirm("give the only tag that answers another EPC", rename.yes, "");
    if (rename.any) head.fields["any"] = true;
    head.fields["new_epc"] = rename.epc.to_string();
    head.text = fmt::format("the tag has the EPC {} now", rename.epc.to_string());
    return work(head, [=](Reader& reader, Deed& done) {
        Tag tag = rename.any ? reader.only_tag(rename.tag.password.value()) : find(reader, rename.tag);
        tag.write_epc(rename.epc);
        done.fields["complete"] = true;
        done.fields["verified"] = true;
    });
}

// -- lock, kill

constexpr Choices<Area, 5> areas{{{"kill-password", Area::kill_password},
                                  {"access-password", Area::access_password},
                                  {"epc", Area::epc},
                                  {"tid", Area::tid},
                                  {"user", Area::user}}};

enum class Locking : std::uint8_t { open, open_forever, protect, lock_forever };
constexpr Choices<Locking, 4> lockings{{{"open", Locking::open},
                                        {"permanently-open", Locking::open_forever},
                                        {"protected", Locking::protect},
                                        {"permanently-protected", Locking::lock_forever}}};

struct Lock {
    TagChoice tag;
    Area area{};
    Locking how{};
    bool without_password = false;
    bool yes = false;
};

void add_lock_options(CLI::App& command, Lock& lock)
{
    add_tag_options(command, lock.tag);
    option(command, "--area", lock.area, one_of(areas), choices_text(areas), "AREA")->required();
    option(command, "--protection", lock.how, one_of(lockings), choices_text(lockings), "HOW")->required();
    command.add_flag("--no-password", lock.without_password,
                     "protect it even though the tag's password is zero, which keeps nobody out");
    add_yes_option(command, lock.yes);
    command.footer(
        R"(protected: to be written with the access password only; passwords are not to be read without it
either. It keeps nobody out while the tag's access password is zero, and is refused then; set one with
'tagwire write --bank reserved --word 2'. permanently-...: can never be changed again, and is asked for.

Examples:
  tagwire lock --epc E28011700000020F00000001 --area user --protection protected --password 12345678
  tagwire lock --epc E28011700000020F00000001 --area epc --protection open --password 12345678
  tagwire lock --tid E2801160200000010000AB01 --area user --protection permanently-protected --yes)");
}

Work plan_lock(const Lock& lock)
{
    const auto area = name_of(lock.area, areas);
    const auto how = name_of(lock.how, lockings);
    Deed head = deed_with("lock", lock.tag, fmt::format("{} is {} now", area, how));
    if (lock.without_password && lock.how != Locking::protect)
        throw UsageError("--no-password goes with --protection protected");
    if (lock.without_password && lock.how != Locking::protect)
        throw UsageError("--no-password goes with --protection protected");
    if (lock.how == Locking::protect && lock.tag.password.value().is_zero() && !lock.without_password) {
        throw UsageError(
            "a lock by a password keeps nobody out while the tag's access password is zero: give it with "
            "--password, set one with 'tagwire password set access', or use --no-password");
    }
    if (lock.how == Locking::open_forever || lock.how == Locking::lock_forever)
        confirm(fmt::format("make {} of tag {} {}", area, text_of(lock.tag), how), lock.yes);
    head.fields["area"] = area;
    head.fields["protection"] = how;
    return work(head, [=](Reader& reader, Deed&) {
        Tag tag = find(reader, lock.tag);
        switch (lock.how) {
        case Locking::open: return tag.lock(lock.area, Protection::open);
        case Locking::protect: return tag.lock(lock.area, Protection::password, {lock.without_password});
        case Locking::open_forever: return tag.open_forever(lock.area);
        case Locking::lock_forever: return tag.lock_forever(lock.area);
        }
    });
}

struct Kill {
    TagChoice tag;
    tagwire::Password password;
    bool yes = false;
};

void add_kill_options(CLI::App& command, Kill& kill)
{
    add_tag_options(command, kill.tag);
    option(command, "--kill-password", kill.password, parse_secret,
           "kill password: 8 hexadecimal digits, @FILE or -; a tag without one cannot be killed", "HEX")
        ->required();
    add_yes_option(command, kill.yes);
    command.footer(
        R"(A killed tag never answers again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire kill --epc E28011700000020F00000001 --kill-password 87654321
  tagwire kill --epc E28011700000020F00000001 --kill-password @secret.txt --yes --json)");
}

Work plan_kill(const Kill& kill)
{
    Deed head = deed_with("kill", kill.tag);
    if (kill.password.is_zero()) throw UsageError("--kill-password: zeros are no password, and kill no tag");
    head.text = fmt::format("the tag {} is dead", text_of(kill.tag));
    confirm(fmt::format("kill the tag {}", text_of(kill.tag)), kill.yes);
    return work(head, [=](Reader& reader, Deed&) { find(reader, kill.tag).kill(kill.password); });
}

// -- passwords

enum class Which : std::uint8_t { access, kill };
constexpr Choices<Which, 2> passwords{{{"access", Which::access}, {"kill", Which::kill}}};

struct NewPassword {
    TagChoice tag;
    Which which{};
    tagwire::Password password;
};

void add_password_set_options(CLI::App& command, NewPassword& given)
{
    option(command, "WHICH", given.which, one_of(passwords), choices_text(passwords), "WHICH")->required();
    add_tag_options(command, given.tag);
    option(command, "--new-password", given.password, parse_secret,
           "the new one: 8 hexadecimal digits, @FILE for the first line of a file, - to be asked; zeros are "
           "none",
           "HEX")
        ->required();
    command.footer(
        R"(--password is the access password that the tag has now. The new one is read back and compared.

Examples:
  tagwire password set access --epc E28011700000020F00000001 --new-password @secret.txt
  tagwire password set kill --tid E2801160200000010000AB01 --password 12345678 --new-password -)");
}

Work plan_password_set(const NewPassword& given)
{
    const auto which = name_of(given.which, passwords);
    Deed head =
        deed_with("password-set", given.tag, fmt::format("the {} password is written and read back", which));
    head.fields["which"] = which;
    return work(head, [=](Reader& reader, Deed& done) {
        Tag tag = find(reader, given.tag);
        given.which == Which::access ? tag.set_access_password(given.password)
                                     : tag.set_kill_password(given.password);
        done.fields["verified"] = true;
    });
}

// -- features of chips

struct Feature {
    TagChoice tag;
    bool any = false;
    bool on = false;
    unsigned number = 0;
    bool yes = false;
};

constexpr Choices<bool, 2> switches{{{"off", false}, {"on", true}}};

void add_switch(CLI::App& command, Feature& feature)
{
    option(command, "STATE", feature.on, one_of(switches), choices_text(switches), "STATE")->required();
}

void add_privacy_set_options(CLI::App& command, Feature& feature)
{
    add_tag_options(command, feature.tag);
    command.add_flag("--any", feature.any, "the only tag that answers: several are refused");
    add_yes_option(command, feature.yes);
    command.footer(
        R"(A private tag shows zeros to everybody; only 'tagwire privacy reset' with its password ends that.

Examples:
  tagwire privacy set --epc E28011700000020F00000001 --password 12345678
  tagwire privacy set --any --password 12345678 --yes)");
}

Work plan_privacy_set(const Feature& feature)
{
    if (feature.any && (feature.tag.epc || feature.tag.tid || feature.tag.mask))
        throw UsageError("--any takes the only tag that answers: leave out --epc, --tid and --mask");
    const char* const text = "the tag is protected against being read";
    const Deed head = feature.any ? deed("privacy-set", text) : deed_with("privacy-set", feature.tag, text);
    confirm(fmt::format("hide {} from everybody without its password",
                        feature.any ? "the tag that answers" : "the tag " + text_of(feature.tag)),
            feature.yes, "");
    return work(head, [=](Reader& reader, Deed&) {
        Tag tag = feature.any ? reader.only_tag(feature.tag.password.value()) : find(reader, feature.tag);
        tag.set_privacy();
    });
}

void add_privacy_reset_options(CLI::App& command, Feature& feature)
{
    add_password_option(command, feature.tag.password);
    command.footer(R"(Whichever tag answers: have one only in the field.

Examples:
  tagwire privacy reset --password 12345678)");
}

Work plan_privacy_reset(const Feature& feature)
{
    return work(deed("privacy-reset", "the tag can be read again"),
                [=](Reader& reader, Deed&) { reader.end_privacy(feature.tag.password.value()); });
}

void add_privacy_check_options(CLI::App& command, Feature&)
{
    command.footer(R"(Examples:
  tagwire privacy check --json)");
}

Work plan_privacy_check(const Feature&)
{
    return work(deed("privacy-check"), [](Reader& reader, Deed& done) {
        const bool is_private = reader.has_privacy();
        done.text = fmt::format("protected against being read: {}", is_private ? "yes" : "no");
        done.fields["protected"] = is_private;
    });
}

void add_eas_set_options(CLI::App& command, Feature& feature)
{
    add_switch(command, feature);
    add_tag_options(command, feature.tag);
    command.footer(R"(Examples:
  tagwire eas set on --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_eas_set(const Feature& feature)
{
    const auto state = name_of(feature.on, switches);
    Deed head = deed_with("eas-set", feature.tag, fmt::format("EAS is {} now", state));
    head.fields["state"] = state;
    return work(head, [=](Reader& reader, Deed&) { find(reader, feature.tag).set_eas(feature.on); });
}

void add_eas_alarm_options(CLI::App& command, Feature&)
{
    command.footer(R"(That no tag raises an alarm is no error.

Examples:
  tagwire eas alarm)");
}

Work plan_eas_alarm(const Feature&)
{
    return work(deed("eas-alarm"), [](Reader& reader, Deed& done) {
        const bool alarm = reader.eas_alarm();
        done.text = alarm ? "alarm" : "no alarm";
        done.fields["alarm"] = alarm;
    });
}

void add_qt_get_options(CLI::App& command, Feature& feature)
{
    add_tag_options(command, feature.tag);
    command.footer(R"(Examples:
  tagwire qt get --epc E28011700000020F00000001)");
}

Work plan_qt_get(const Feature& feature)
{
    return work(deed_with("qt-get", feature.tag), [=](Reader& reader, Deed& done) {
        auto tag = find(reader, feature.tag);
        const auto control = again(feature.tag.retries, [&] { return tag.qt(); });
        done.text = fmt::format("QT control 0x{:02X}", control);
        done.fields["control"] = control;
    });
}

void add_qt_set_options(CLI::App& command, Feature& feature)
{
    option(command, "CONTROL", feature.number, number(0, 255), "low byte of the control word, 0 to 255")
        ->required();
    add_tag_options(command, feature.tag);
    command.footer(R"(Examples:
  tagwire qt set 0x01 --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_qt_set(const Feature& feature)
{
    Deed head = deed_with("qt-set", feature.tag, fmt::format("QT control 0x{:02X} written", feature.number));
    head.fields["control"] = feature.number;
    return work(head, [=](Reader& reader, Deed&) {
        find(reader, feature.tag).set_qt(static_cast<std::uint8_t>(feature.number));
    });
}

void add_block_lock_options(CLI::App& command, Feature& feature)
{
    add_tag_options(command, feature.tag);
    option(command, "--word", feature.number, number(0, 255), "a word in the block, 0 to 255")->required();
    add_yes_option(command, feature.yes);
    command.footer(
        R"(A locked block can never be written again. The command asks first, and refuses where it cannot ask.

Examples:
  tagwire block-lock --epc E28011700000020F00000001 --word 4 --password 12345678)");
}

Work plan_block_lock(const Feature& feature)
{
    Deed head = deed_with("block-lock", feature.tag,
                          fmt::format("the block of user word {} is locked for good", feature.number));
    confirm(fmt::format("lock the block of user word {} of tag {}", feature.number, text_of(feature.tag)),
            feature.yes);
    head.fields["word"] = feature.number;
    return work(head,
                [=](Reader& reader, Deed&) { find(reader, feature.tag).lock_block_forever(feature.number); });
}

void add_protected_mode_options(CLI::App& command, Feature& feature)
{
    add_switch(command, feature);
    add_tag_options(command, feature.tag);
    add_yes_option(command, feature.yes);
    command.footer(
        R"(In its protected mode a tag answers nobody. Switching it off, by --epc or --tid, needs its password.

Examples:
  tagwire protected-mode on --epc E28011700000020F00000001 --password 12345678
  tagwire protected-mode off --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_protected_mode(const Feature& feature)
{
    const auto state = name_of(feature.on, switches);
    Deed head = deed_with("protected-mode", feature.tag, fmt::format("protected mode is {} now", state));
    if (!feature.on && feature.tag.mask)
        throw UsageError("a silent tag hears its name only: use --epc or --tid");
    if (feature.tag.password.value().is_zero())
        throw UsageError("protected mode needs the tag's access password: give it with --password");
    if (feature.on) confirm(fmt::format("silence the tag {}", text_of(feature.tag)), feature.yes, "");
    head.fields["state"] = state;
    return work(head, [=](Reader& reader, Deed&) {
        if (feature.on) return find(reader, feature.tag).silence();
        if (feature.tag.epc) {
            reader.end_silence(*feature.tag.epc, feature.tag.password.value());
        } else {
            reader.end_silence(*feature.tag.tid, feature.tag.password.value());
        }
    });
}

struct Hide {
    TagChoice tag;
    Untraceable what;
    bool yes = false;
};

constexpr Choices<Untraceable::Tid, 3> tid_hidings{{{"none", Untraceable::Tid::show},
                                                    {"part", Untraceable::Tid::hide_serial},
                                                    {"all", Untraceable::Tid::hide}}};
constexpr Choices<Untraceable::Range, 3> ranges{{{"normal", Untraceable::Range::normal},
                                                 {"toggle", Untraceable::Range::toggle},
                                                 {"reduced", Untraceable::Range::reduced}}};

void add_untraceable_options(CLI::App& command, Hide& hide)
{
    add_tag_options(command, hide.tag);
    command.add_flag("--flag", hide.what.flag, "set the tag's U indicator");
    option(command, "--epc-words", hide.what.epc_words, number(0, 31),
           "show so many words of the EPC only, 0 to 31; as many as now when left out");
    option(command, "--hide-tid", hide.what.tid, one_of(tid_hidings),
           "how much of the TID: " + choices_text(tid_hidings) + "; part is its serial number", "HOW")
        ->default_str("none");
    command.add_flag("--hide-user", hide.what.hide_user, "hide the user bank");
    option(command, "--range", hide.what.range, one_of(ranges), choices_text(ranges), "HOW")
        ->default_str("normal");
    add_yes_option(command, hide.yes);
    command.footer(
        R"(All of it is set at once: what is left out is shown again. The command asks first, and refuses where it
cannot ask.

Examples:
  tagwire untraceable --epc E28011700000020F00000001 --password 12345678 --hide-tid all --hide-user
  tagwire untraceable --tid E2801160200000010000AB01 --password 12345678 --epc-words 2 --range reduced)");
}

Work plan_untraceable(const Hide& hide)
{
    const Deed head = deed_with("untraceable", hide.tag);
    confirm(fmt::format("change what the tag {} shows", text_of(hide.tag)), hide.yes, "");
    return work(head, [=](Reader& reader, Deed& done) {
        const auto sent = find(reader, hide.tag).make_untraceable(hide.what);
        const auto tid = name_of(sent.tid, tid_hidings);
        const auto range = name_of(sent.range, ranges);
        done.fields["flag"] = sent.flag;
        done.fields["epc_words"] = sent.epc_words.value_or(0);
        done.fields["hidden_tid"] = tid;
        done.fields["user_hidden"] = sent.hide_user;
        done.fields["range"] = range;
        done.text = fmt::format(
            "EPC: {} words shown; hidden of the TID: {}, of the user bank: {}; range: {}; U indicator: {}",
            sent.epc_words.value_or(0), tid, sent.hide_user ? "all" : "none", range,
            name_of(sent.flag, switches));
    });
}

struct Challenge {
    TagChoice tag;
    AuthenticateMessage message;
};

void add_authenticate_options(CLI::App& command, Challenge& challenge)
{
    add_tag_options(command, challenge.tag);
    option(command, "--suite", challenge.message.suite, number(0, 255), "cryptographic suite, 0 to 255")
        ->required();
    option(command, "--message", challenge.message.message, hex(1, 6), "the message, up to 6 bytes", "HEX")
        ->required();
    option(command, "--message-length", challenge.message.length, number(0, 255),
           "its length as the tag is told, 0 to 255: the unit is that of tag and reader")
        ->required();
    command.add_flag("--store", challenge.message.store, "let the tag store its reply instead of sending it");
    command.add_flag("--with-length", challenge.message.with_length, "let the reply contain its length");
    command.footer(R"(Examples:
  tagwire authenticate --epc E28011700000020F00000001 --suite 1 --message 010203040506 --message-length 48)");
}

Work plan_authenticate(const Challenge& challenge)
{
    return work(deed_with("authenticate", challenge.tag), [=](Reader& reader, Deed& done) {
        const auto reply = to_hex(find(reader, challenge.tag).authenticate(challenge.message));
        done.text = reply.empty() ? "done, without a reply" : reply;
        done.fields["reply"] = reply;
    });
}

}  // namespace

void add_tag_commands(Application& application)
{
    const auto add = [&application]<typename Options>(CLI::App* group, const char* name, const char* help,
                                                      void (*options)(CLI::App&, Options&),
                                                      Work (*plan)(const Options&)) {
        add_command_with<Options>(application, group, name, help, options, plan);
    };
    add(nullptr, "read", "Read memory of a Gen2 tag.", add_gen2_read_options, plan_read);
    add(nullptr, "write", "Write memory of a Gen2 tag.", add_gen2_write_options, plan_write);
    add(nullptr, "write-epc", "Give a Gen2 tag a new EPC.", add_write_epc_options, plan_write_epc);
    add(nullptr, "erase", "Erase words of a Gen2 tag.", add_gen2_erase_options, plan_erase);
    add(nullptr, "lock", "Protect an area of a Gen2 tag.", add_lock_options, plan_lock);
    auto& password = application.add_group("password", "The passwords of a Gen2 tag.");
    add(&password, "set", "Set one.", add_password_set_options, plan_password_set);
    add(nullptr, "kill", "Kill a Gen2 tag, for good.", add_kill_options, plan_kill);
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
    add(nullptr, "untraceable", "Hide parts of a tag.", add_untraceable_options, plan_untraceable);
    add(nullptr, "authenticate", "Have a tag authenticate itself.", add_authenticate_options,
        plan_authenticate);
    add_commission_commands(application);
}

}  // namespace tagwire::tool
