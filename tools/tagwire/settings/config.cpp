// All settings of a reader by name, and profiles of them in files.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <iostream>
#include <iterator>
#include <sstream>

#include <unistd.h>

#include "commands/groups.h"
#include "option.h"
#include "settings/setting.h"
#include "tag_options.h"
#include "tags/choice.h"

namespace tagwire::tool {

namespace {

constexpr std::string_view masked = "********";

constexpr Choices<ReaderFamily, 5> families{{{"standard", ReaderFamily::standard},
                                             {"filter", ReaderFamily::filter},
                                             {"relay", ReaderFamily::relay},
                                             {"multiplexer", ReaderFamily::multiplexer},
                                             {"mobile", ReaderFamily::mobile}}};

constexpr Choices<Outcome, 3> outcomes{
    {{"nothing", Outcome::nothing}, {"partial", Outcome::partial}, {"unknown", Outcome::unknown}}};

void add_dialect_options(CLI::App& command, SettingsOptions& options)
{
    option(
        command, "--family", options.family, one_of(families),
        "what kind of reader it is, where a command means different things to each and the reader does not "
        "tell: " +
            choices_text(families),
        "NAME");
    command.add_flag(
        "--two-way", options.two_way,
        "the reader's two-way commands set a value with bit 7 and tell it without; for other readers "
        "these settings cannot be read");
}

void add_secrets_option(CLI::App& command, bool& secrets, const std::string& help)
{
    command.add_flag("--secrets", secrets, help);
}

const char* const show_secrets = "show passwords, which are ******** otherwise";

// Where standard error is a terminal.
class ProgressLine {
  public:
    explicit ProgressLine(bool is_shown) : is_shown_(is_shown && isatty(STDERR_FILENO) != 0) {}
    ~ProgressLine() { show(""); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(const std::string& text) const
    {
        if (is_shown_) std::fputs(("\r\033[K" + text).c_str(), stderr);
    }

  private:
    bool is_shown_;
};

template <class Ask>
auto read_many(const Session& session, Reader& reader, SettingsOptions options, const Ask& ask)
{
    const ProgressLine line(session.options.chosen().size() == 1);
    options.told = [&line](std::size_t done, std::size_t all) {
        line.show(fmt::format("reading {} of {}", done, all));
    };
    auto settings = reader.settings(options);
    return ask(settings);
}

// -- what is shown of a setting

std::string line_of(std::string_view name, std::string_view text)
{
    return fmt::format("{:<22}  {}", name, text);
}

Deed deed_of(const SettingReading& reading, bool with_secrets)
{
    const auto info = Settings::describe(reading.name, {});
    Deed shown = deed("setting");
    shown.fields["name"] = reading.name;
    if (!reading.text) {
        shown.text = line_of(reading.name, reading.problem);
        shown.fields[reading.is_silent ? "answered" : "served"] = false;
        shown.fields["problem"] = reading.problem;
        return shown;
    }
    const bool is_masked = info.kind == SettingKind::secret && !with_secrets;
    shown.text = line_of(reading.name, is_masked ? masked : value_text(info, *reading.text));
    shown.fields["value"] = is_masked ? Json() : value_json(info, *reading.text);
    if (is_masked) shown.fields["masked"] = true;
    if (!info.unit.empty()) shown.fields["unit"] = info.unit;
    return shown;
}

template <class Range> std::vector<std::string> names_of(const Range& items)
{
    std::vector<std::string> names(items.size());
    std::transform(items.begin(), items.end(), names.begin(), [](const auto& item) { return item.name; });
    return names;
}

Json notes_json(const std::vector<SettingNote>& notes)
{
    auto list = Json::array();
    for (const auto& note : notes) list.push_back({{"name", note.name}, {"problem", note.text}});
    return list;
}

// "q, session: no answer; reader-password: it is not known of which family the reader is"
std::string reasons_text(const std::vector<SettingNote>& notes)
{
    std::vector<std::pair<std::string, std::vector<std::string>>> reasons;
    for (const auto& note : notes) {
        auto known = std::find_if(reasons.begin(), reasons.end(),
                                  [&](const auto& reason) { return reason.first == note.text; });
        if (known == reasons.end()) known = reasons.insert(known, {note.text, {}});
        known->second.push_back(note.name);
    }
    std::string text;
    for (const auto& [reason, names] : reasons)
        text += fmt::format("{}{}: {}", text.empty() ? "" : "; ", names_text(names), reason);
    return text;
}

// -- show, get

struct Listing {
    SettingsOptions options;
    std::vector<std::string> names;  // all
    bool all = false;
    bool secrets = false;
};

// What was asked for by its name must be there; of the rest the reader need not have everything.
Work listing_work(const Listing& listing)
{
    return [listing](Session& session) {
        return run(session, deed("setting"), [&](Reader& reader, Deed& done) {
            const bool is_named = !listing.names.empty();
            std::vector<SettingNote> silent;
            const auto readings = read_many(session, reader, listing.options,
                                            [&](Settings& settings) { return settings.read(listing.names); });
            for (const auto& reading : readings) {
                const bool is_there = reading.text && (is_named || !reading.text->empty());
                if (is_there || listing.all || (is_named && session.options.json))
                    show(session, deed_of(reading, listing.secrets));
                if (reading.is_silent) silent.push_back({reading.name, reading.problem});
                if (is_named && !reading.text) {
                    complain(fmt::format("{}: {}", reading.name, reading.problem));
                    done.exit_code = exit_failure;
                }
            }
            done.is_silent = true;
            if (is_named || silent.empty()) return;
            complain(reasons_text(silent));
            done.exit_code = exit_failure;
        });
    };
}

void add_show_options(CLI::App& command, Listing& listing)
{
    add_dialect_options(command, listing.options);
    command.add_flag("--all", listing.all, "also settings that this reader does not serve or leaves empty");
    add_secrets_option(command, listing.secrets, show_secrets);
    command.footer(R"(A code that only the reader knows the meaning of is shown in hexadecimal as it came.

Examples:
  tagwire config show
  tagwire config show --all --family filter --json)");
}

std::string settings_help()
{
    std::string text = "Settings:";
    std::string_view topic;
    for (const auto& [first, names] : runs_of(Settings::names({}))) {
        const auto info = Settings::describe(first, {});
        if (info.topic != topic) text += fmt::format("\n{}:", info.topic);
        topic = info.topic;
        text += fmt::format("\n  {:<20}  {}", names, info.help);
        if (!info.range.empty()) text += fmt::format("\n{:24}{}", "", info.range);
    }
    return text + "\n\n";
}

void add_settings_footer(CLI::App& command, const char* examples)
{
    command.footer("");
    command.footer([examples] { return settings_help() + examples; });
}

void add_get_options(CLI::App& command, Listing& listing)
{
    add_dialect_options(command, listing.options);
    add_secrets_option(command, listing.secrets, show_secrets);
    command.add_option("NAME", listing.names, "settings, see below")->required();
    add_settings_footer(command, R"(Examples:
  tagwire config get power scan-time
  tagwire config get filter-rssi --family filter --json)");
}

// Throws UsageError for a name that is none.
SettingInfo checked_name(const std::string& name, const SettingsOptions& options = {})
{
    try {
        return Settings::describe(name, options);
    } catch (const Error& error) {
        throw UsageError(error.text());
    }
}

Work plan_get(const Listing& listing)
{
    for (const auto& name : listing.names) {
        if (checked_name(name, listing.options).readable) continue;
        const bool is_two_way = checked_name(name, {{}, true}).readable;
        throw UsageError(fmt::format("setting '{}' can be set, but not read from this reader{}", name,
                                     is_two_way ? ": see --family and --two-way" : ""));
    }
    return listing_work(listing);
}

// -- set

struct Setting {
    SettingsOptions options;
    std::vector<std::string> words;
    Lasting lasting = Lasting::stored;
    bool secrets = false;
    bool yes = false;
};

void add_set_options(CLI::App& command, Setting& setting)
{
    add_dialect_options(command, setting.options);
    command.add_option("NAME VALUE", setting.words, "what to set, see below")->required();
    add_temporary_option(command, setting.lasting);
    add_secrets_option(command, setting.secrets, show_secrets);
    add_yes_option(command, setting.yes);
    add_settings_footer(
        command,
        R"(Every name and value is looked at before anything is sent. What was set is read back where the reader
tells it; a failure says what was set before it. A password may be @FILE for the first line of a file, or - to be
asked for it. What the reader is known or reached by (serial-number, address, baud, communication) is asked for.

Examples:
  tagwire config set power 27
  tagwire config set q 5 session 1
  tagwire config set region eu:0-14
  tagwire config set antennas 1-4 --temporary
  tagwire config set user-password @secret.txt
  tagwire config set address 17 --yes)");
}

std::string value_given(const std::string& name, const std::string& text)
{
    const bool is_elsewhere = text == "-" || text.starts_with('@');
    if (checked_name(name).kind != SettingKind::secret || !is_elsewhere) return text;
    return tagwire::to_hex(parse_secret(text, "--" + name).bytes());
}

std::vector<Profile::Value> values_in(const Setting& setting)
{
    const auto& words = setting.words;
    if (words.size() % 2 != 0)
        throw UsageError(fmt::format("'{}' has no value: give pairs of NAME VALUE", words.back()));
    std::vector<Profile::Value> values;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const auto& name = words[i];
        const auto is_same = [&](const Profile::Value& value) { return value.name == name; };
        if (std::any_of(values.begin(), values.end(), is_same))
            throw UsageError(fmt::format("setting '{}' is given twice", name));
        values.push_back(checked_value(name, value_given(name, words[i + 1]), setting.options));
    }
    return values;
}

void confirm_identity(const std::vector<Profile::Value>& values, bool yes)
{
    std::vector<std::string> names;
    for (const auto& value : values) {
        if (Settings::describe(value.name, {}).kind == SettingKind::identity) names.push_back(value.name);
    }
    if (!names.empty())
        confirm(fmt::format("change what the reader is known or reached by ({})", names_text(names)), yes,
                "");
}

void tell_new_way(std::string_view name, std::string_view text)
{
    if (name == "address") tell(fmt::format("the reader's address is {0} now: --address {0}", text));
    if (name == "baud") tell(fmt::format("the reader's serial line has {0} bit/s now: --baud {0}", text));
}

Work plan_set(const Setting& setting)
{
    const auto values = values_in(setting);
    confirm_identity(values, setting.yes);
    return [setting, values](Session& session) {
        Deed head = deed("setting");
        head.fields["names"] = names_of(values);
        return run(session, head, [&](Reader& reader, Deed& done) {
            const auto now = reader.settings(setting.options).set(values, setting.lasting);
            for (std::size_t i = 0; i < now.size(); ++i) {
                show(session, deed_of({values[i].name, now[i]}, setting.secrets));
                tell_new_way(values[i].name, now[i]);
            }
            done.is_silent = true;
        });
    };
}

// -- save

struct Saving {
    SettingsOptions options;
    std::string file;
    bool secrets = false;
};

void add_save_options(CLI::App& command, Saving& saving)
{
    add_dialect_options(command, saving.options);
    add_secrets_option(command, saving.secrets, "save the reader's passwords, too");
    command
        .add_option("FILE", saving.file,
                    "where to; a file that is there is replaced. {reader} stands for the reader's name")
        ->required();
    command.footer(
        R"(The file is TOML, NAME = VALUE, for the owner's eyes only. An older one is replaced when all was read. The
clock, measured values and states are not saved. What the reader does not have is named in short; where it
gave no answer, the file is not complete, which the file says, too, and the exit code is 1.

Examples:
  tagwire config save portal.toml
  tagwire config save whole.toml --secrets --family relay
  tagwire config save '{reader}.toml' --reader gate1=tcp://192.0.2.10:6000 --reader gate2=tcp://192.0.2.11:6000)");
}

// A file of its own for each reader. Throws UsageError unless it can be written.
std::string file_for(const Session& session, std::string file)
{
    constexpr std::string_view place = "{reader}";
    const auto at = file.find(place);
    if (at == std::string::npos && session.options.chosen().size() > 1)
        throw UsageError("several readers need files of their own: use {reader} in its name");
    if (at != std::string::npos) {
        std::string name = session.options.reader_name();
        std::replace(name.begin(), name.end(), '/', '_');
        file.replace(at, place.size(), name);
    }
    try {
        Profile::require_writable(file);
    } catch (const Error& error) {
        throw UsageError(error.what());
    }
    return file;
}

void add_saved(Deed& done, const Profile& profile, const std::string& file)
{
    const auto refused = names_of(profile.refused());
    done.text = fmt::format("{} settings saved in {}", profile.values().size(), file);
    done.fields["settings"] = profile.values().size();
    done.fields["complete"] = profile.complete();
    done.fields["refused"] = refused;
    done.fields["silent"] = names_of(profile.silent());
    if (!refused.empty()) tell(fmt::format("not served by this reader: {}", names_text(refused)));
    if (profile.complete()) return;
    complain(fmt::format("'{}' is not complete: {}", file, reasons_text(profile.silent())));
    done.exit_code = exit_failure;
}

Work plan_save(const Saving& saving)
{
    if (saving.file == "-") throw UsageError("config save needs the name of a file");
    return [saving](Session& session) {
        const auto file = file_for(session, saving.file);
        Deed head = deed("config-saved");
        head.fields["file"] = file;
        return run(session, head, [&](Reader& reader, Deed& done) {
            const auto profile = read_many(session, reader, saving.options, [&](Settings& settings) {
                return settings.snapshot({saving.secrets});
            });
            profile.save(file);
            add_saved(done, profile, file);
        });
    };
}

// -- load

struct Loading {
    SettingsOptions options;
    ApplyOptions what;
    std::string file;
    bool dry_run = false;
};

void add_load_options(CLI::App& command, Loading& loading)
{
    add_dialect_options(command, loading.options);
    command.add_option("FILE", loading.file, "what tagwire config save wrote; - is standard input")
        ->required();
    command.add_flag("--dry-run", loading.dry_run,
                     "show what differs and change nothing; the exit code is 0 where nothing does, 3 where "
                     "something does");
    command.add_flag("--identity", loading.what.identity,
                     "also serial number, bus address, speed and interface of the line");
    add_secrets_option(command, loading.what.secrets, "also passwords");
    command.add_flag("--other-model", loading.what.other_model,
                     "even though the file is of another type of reader or another firmware; what this one "
                     "does not have is left out");
    add_temporary_option(command, loading.what.lasting);
    command.footer(
        R"(The whole file is looked at before anything is sent. What differs is written, and read back in the end.
Address, speed of the line and work mode come last. Calibration belongs to one unit and is never written.

Examples:
  tagwire config load portal.toml --dry-run
  tagwire config load portal.toml
  tagwire config load whole.toml --identity --secrets)");
}

Profile profile_in(const std::string& file)
{
    try {
        if (file != "-") return Profile::load(file);
        const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
        return Profile::parse(text, "standard input");
    } catch (const Error& error) {
        throw UsageError(error.what());
    }
}

// What stands in a file and what a reader has. Passwords are told by their name only.
Json change_json(const Change& change)
{
    const auto info = Settings::describe(change.name, {});
    Json object{{"name", change.name}};
    if (change.is_secret) {
        object["masked"] = true;
        return object;
    }
    object["reader"] = change.before ? value_json(info, *change.before) : Json();
    object["file"] = value_json(info, change.wanted);
    if (!change.unit.empty()) object["unit"] = change.unit;
    return object;
}

void add_changes(Deed& done, const std::vector<Change>& changes)
{
    done.fields["differences"] = Json::array();
    for (const auto& change : changes) {
        done.fields["differences"].push_back(change_json(change));
        std::ostringstream text;
        text << change;
        done.text += '\n' + line_of(change.name, text.str().substr(change.name.size() + 2));
    }
}

void add_skipped(Deed& done, const std::vector<SettingNote>& skipped)
{
    done.fields["skipped"] = notes_json(skipped);
    if (!skipped.empty()) tell(fmt::format("left alone: {}", reasons_text(skipped)));
}

const char* verdict_of(const Comparison& found, bool other_model)
{
    if (!found.silent.empty()) return "failed";
    const bool is_refused = !found.refused.empty() && !other_model;
    return found.changes.empty() && !is_refused ? "same" : "differs";
}

void add_comparison(Deed& done, const Comparison& found, bool other_model)
{
    const std::string verdict = verdict_of(found, other_model);
    done.fields["verdict"] = verdict;
    done.text = verdict == "same" ? "the reader has all settings of the file"
                                  : fmt::format("{} setting{}", found.changes.size(),
                                                found.changes.size() == 1 ? " differs" : "s differ");
    add_changes(done, found.changes);
    for (const auto& note : found.refused) done.text += '\n' + line_of(note.name, note.text);
    for (const auto& note : found.silent) complain(fmt::format("{}: {}", note.name, note.text));
    done.fields["refused"] = notes_json(found.refused);
    done.fields["silent"] = notes_json(found.silent);
    add_skipped(done, found.skipped);
    done.verdict =
        verdict == "differs" ? fmt::format("differs: {}", names_text(names_of(found.changes))) : verdict;
    done.exit_code = verdict == "same" ? exit_success : verdict == "differs" ? exit_found : exit_failure;
}

void add_report(Deed& done, const ApplyReport& report)
{
    done.verdict = report.ok() ? "same" : "failed";
    done.fields["verdict"] = done.verdict;
    const auto all = report.changed.size() + report.same.size() + report.failed.size();
    done.text = report.ok() ? fmt::format("the reader has all {} settings of the file", all)
                            : fmt::format("{} of {} settings could not be set", report.failed.size(), all);
    done.text += fmt::format(", {} changed", report.changed.size());
    add_changes(done, report.changed);
    done.fields["same"] = report.same.size();
    done.fields["failed"] = Json::array();
    for (const auto& failure : report.failed) {
        done.fields["failed"].push_back({{"name", failure.name},
                                         {"problem", failure.text},
                                         {"outcome", name_of(failure.outcome, outcomes)}});
        complain(fmt::format("{}: {}", failure.name, failure.text));
    }
    add_skipped(done, report.skipped);
    for (const auto& change : report.changed) tell_new_way(change.name, change.wanted);
    done.exit_code = report.ok() ? exit_success : exit_failure;
}

Work plan_load(const Loading& loading)
{
    const auto profile = profile_in(loading.file);
    Deed head = deed("config-load");
    head.fields["file"] = loading.file;
    head.fields["dry_run"] = loading.dry_run;
    head.fields["verdict"] = "failed";  // until it is known
    return [=](Session& session) {
        return run(session, head, [&](Reader& reader, Deed& done) {
            const auto ask = [&](auto act) { return read_many(session, reader, loading.options, act); };
            const auto& what = loading.what;
            if (loading.dry_run)
                add_comparison(done, ask([&](Settings& settings) { return settings.compare(profile, what); }),
                               what.other_model);
            else
                add_report(done, ask([&](Settings& settings) { return settings.apply(profile, what); }));
        });
    };
}

}  // namespace

void add_config_commands(Application& application)
{
    auto& group = application.add_group("config", "Show, change, save and restore the reader's settings.");
    group.footer(R"(Examples:
  tagwire config show
  tagwire config set q 5 session 1
  tagwire config save portal.toml
  tagwire config load portal.toml --dry-run)");
    const auto add = [&](const char* name, const char* description, auto add_options, auto plan) {
        application.set_readers(add_to(application, group, name, description, add_options, plan),
                                Readers::each);
    };
    add("show", "Show all settings of the reader.", add_show_options, listing_work);
    add("get", "Show some settings.", add_get_options, plan_get);
    add("set", "Change settings.", add_set_options, plan_set);
    add("save", "Save the reader's settings in a file.", add_save_options, plan_save);
    add("load", "Restore the settings of a file.", add_load_options, plan_load);
}

}  // namespace tagwire::tool
