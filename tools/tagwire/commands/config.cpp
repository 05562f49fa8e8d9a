#include "commands/groups.h"
#include "config_file.h"
#include "config_load.h"
#include "errors.h"
#include "format.h"
#include "reader_information.h"
#include "setting_access.h"
#include "tag_options.h"
#include "tagwire/result.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <span>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// -- what all have in common

// Which readers' meaning the commands have.
struct DialectArguments {
    std::string family;
    bool two_way = false;
};

struct Dialect {
    ReaderFamily family;
    bool two_way;
};

SettingCatalogue catalogue_for(const std::string& reader_url, const Dialect& dialect)
{
    return {dialect.family, parse_reader_url(reader_url).link != Link::Tcp, dialect.two_way};
}

void add_dialect_options(CLI::App& command, DialectArguments& dialect)
{
    command
        .add_option("--family", dialect.family,
                    "what kind of reader it is where commands mean different things: standard (default), "
                    "filter, relay, multiplexer or mobile")
        ->type_name("NAME");
    command.add_flag(
        "--two-way", dialect.two_way,
        "the reader's two-way commands set a value with bit 7 and tell it without; for other readers "
        "these settings cannot be read");
}

Dialect dialect_of(const DialectArguments& dialect)
{
    const auto& name = dialect.family;
    return {name.empty() ? ReaderFamily::Standard : parse_family(name, "--family"), dialect.two_way};
}

// A line on a terminal while work goes on, and the end of it at Ctrl-C.
class Progress {
  public:
    explicit Progress(const Session& session) : session_(session) {}
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void operator()(std::string_view task, std::size_t done, std::size_t total)
    {
        if (session_.interrupts.interrupted()) throw Failure("interrupted");
        if (isatty(STDERR_FILENO) == 0) return;
        shown_ = true;
        const auto line = fmt::format("\r{} {} of {}", task, done, total);
        std::fputs(line.c_str(), stderr);
    }

    void clear()
    {
        if (shown_) std::fputs("\r\033[K", stderr);
        shown_ = false;
    }

  private:
    const Session& session_;
    bool shown_ = false;
};

Json value_json(const Setting& setting, const Bytes& value)
{
    const auto text = setting.format.show(value);
    if (setting.format.is_number) return std::stoll(text);
    return text;
}

Json setting_json(const Setting& setting, const Bytes& value)
{
    Json object;
    object["type"] = "setting";
    object["name"] = setting.name;
    object["value"] = value_json(setting, value);
    if (!setting.format.unit.empty()) object["unit"] = setting.format.unit;
    return object;
}

std::string setting_line(std::string_view name, std::string_view text)
{
    return fmt::format("{:<22}  {}", name, text);
}

void show_setting(Session& session, const Setting& setting, const Bytes& value)
{
    session.out.line(session.options.json ? json_line(setting_json(setting, value))
                                          : setting_line(setting.name, setting.format.shown(value)));
}

void show_not_served(Session& session, const Setting& setting, int code)
{
    Json object;
    object["type"] = "setting";
    object["name"] = setting.name;
    object["served"] = false;
    object["code"] = code;
    session.out.line(session.options.json ? json_line(object)
                                          : setting_line(setting.name, fmt::format("not served ({})", code)));
}

void close(ReaderConnection& reader) { reader.require_success(reader.close(), Operation::Close); }

// -- show

struct ShowArguments : DialectArguments {
    bool all = false;
};

void show_all(Session& session, SettingAccess& access, const SettingCatalogue& catalogue, bool all)
{
    Progress progress(session);
    std::size_t done = 0;
    for (const auto& setting : catalogue.settings()) {
        progress("reading", done++, catalogue.settings().size());
        if (!setting.can_be_read()) continue;
        const auto reading = access.read(setting);
        if (!reading.is_served()) {
            if (all) show_not_served(session, setting, reading.code);
        } else if (all || !reading.bytes.empty()) {
            show_setting(session, setting, reading.bytes);
        }
    }
}

Work plan_show(const ShowArguments& arguments)
{
    return [dialect = dialect_of(arguments), all = arguments.all](Session& session) {
        const auto catalogue = catalogue_for(session.options.reader_name(), dialect);
        const auto reader = connect(session);
        SettingAccess access(*reader, catalogue.two_way());
        show_all(session, access, catalogue, all);
        close(*reader);
        session.out.flush();
        return exit_success;
    };
}

void add_show_options(CLI::App& command, ShowArguments& arguments)
{
    add_dialect_options(command, arguments);
    command.add_flag("--all", arguments.all, "also settings that this reader does not serve or leaves empty");
    command.footer(R"(A code that only the reader knows the meaning of is shown in hexadecimal as it came.

Examples:
  tagwire config show
  tagwire config show --all --family filter --json)");
}

// -- get

struct GetArguments : DialectArguments {
    std::vector<std::string> names;
};

[[noreturn]] void fail_to_get(const std::string& name, const Dialect& dialect)
{
    const bool is_two_way = SettingCatalogue(dialect.family, true, true).require(name).can_be_read();
    const auto hint = is_two_way ? ": it is told by the command that sets it, see --two-way" : "";
    throw UsageError(fmt::format("setting '{}' can be set, but not read from this reader{}", name, hint));
}

int get(Session& session, const Dialect& dialect, const std::vector<std::string>& names)
{
    const auto catalogue = catalogue_for(session.options.reader_name(), dialect);
    std::vector<const Setting*> settings;
    for (const auto& name : names) {
        settings.push_back(&catalogue.require(name));
        if (!settings.back()->can_be_read()) fail_to_get(name, dialect);
    }
    const auto reader = connect(session);
    SettingAccess access(*reader, catalogue.two_way());
    for (const auto* const setting : settings) {
        if (session.interrupts.interrupted()) throw Failure("interrupted");
        const auto reading = access.read(*setting);
        if (!reading.is_served()) {
            session.out.flush();
            throw Failure(
                fmt::format("this reader does not serve {}: {}", setting->name, access.text(reading.code)));
        }
        show_setting(session, *setting, reading.bytes);
    }
    close(*reader);
    session.out.flush();
    return exit_success;
}

Work plan_get(const GetArguments& arguments)
{
    return [dialect = dialect_of(arguments), names = arguments.names](Session& session) {
        return get(session, dialect, names);
    };
}

std::string catalogue_footer(std::string_view examples)
{
    return fmt::format("Settings:\n{}\n{}", catalogue_text(), examples);
}

void add_get_options(CLI::App& command, GetArguments& arguments)
{
    add_dialect_options(command, arguments);
    command.add_option("NAME", arguments.names, "settings, see below")->required();
    command.footer([] {
        return catalogue_footer(R"(Examples:
  tagwire config get power scan-time
  tagwire config get filter-rssi --family filter --json)");
    });
}

// -- set

struct SetArguments : DialectArguments {
    std::vector<std::string> words;
};

std::vector<Change> changes_in(const std::vector<std::string>& words, const SettingCatalogue& catalogue)
{
    if (words.size() % 2 != 0)
        throw UsageError(fmt::format("'{}' has no value: give pairs of NAME VALUE", words.back()));
    std::vector<Change> changes;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const auto& setting = catalogue.require(words[i]);
        const bool is_twice = std::any_of(changes.begin(), changes.end(), [&setting](const Change& change) {
            return change.setting == &setting;
        });
        if (is_twice) throw UsageError(fmt::format("setting '{}' is given twice", setting.name));
        changes.push_back({&setting, parse_setting(setting, words[i + 1])});
    }
    return changes;
}

std::string names_of(std::span<const Change> changes)
{
    std::vector<std::string_view> names;
    for (const auto& change : changes) names.push_back(change.setting->name);
    return fmt::format("{}", fmt::join(names, ", "));
}

std::string account_of(std::span<const Change> written)
{
    return written.empty() ? "nothing was changed before"
                           : fmt::format("changed before: {}", names_of(written));
}

[[noreturn]] void fail_to_set(const SettingAccess& access, std::span<const Change> group, int code,
                              std::span<const Change> written)
{
    const bool is_refused =
        code != TAGWIRE_NO_ANSWER && code != TAGWIRE_BAD_CRC && code != TAGWIRE_WRONG_COMMAND;
    throw Failure(fmt::format("{} {}: {} [{}]", names_of(group),
                              is_refused ? "not set" : "not known to be set", access.text(code),
                              account_of(written)));
}

std::vector<Change> write_groups(const Session& session, SettingAccess& access,
                                 const std::vector<std::vector<Change>>& groups)
{
    std::vector<Change> written;
    for (const auto& group : groups) {
        if (session.interrupts.interrupted())
            throw Failure(
                fmt::format("interrupted before {} was set [{}]", names_of(group), account_of(written)));
        int code = TAGWIRE_OK;
        try {
            code = access.write(group);
        } catch (const Failure& failure) {
            throw Failure(fmt::format("{} not known to be set: {} [{}]", names_of(group), failure.what(),
                                      account_of(written)));
        }
        if (code != TAGWIRE_OK) fail_to_set(access, group, code, written);
        written.insert(written.end(), group.begin(), group.end());
    }
    return written;
}

void show_written(Session& session, SettingAccess& access, const Change& change)
{
    const auto& setting = *change.setting;
    if (!setting.can_be_read()) return show_setting(session, setting, change.value);
    const auto reading = access.read(setting);
    if (!reading.is_served())
        throw Failure(
            fmt::format("{} was set, but cannot be read back: {}", setting.name, access.text(reading.code)));
    if (!setting.format.is_same(change.value, reading.bytes)) {
        throw Failure(fmt::format("{}: the reader took {} and has {} now", setting.name,
                                  setting.format.shown(change.value), setting.format.shown(reading.bytes)));
    }
    show_setting(session, setting, reading.bytes);
}

void tell_new_ways(const std::vector<Change>& written)
{
    for (const auto& [setting, value] : written) {
        const auto text = setting->format.show(value);
        if (setting->writer->reach == Reach::Address)
            tell(fmt::format("the reader's address is {0} now: --address {0}", text));
        if (setting->writer->reach == Reach::Baud)
            tell(fmt::format("the reader's serial line has {0} bit/s now: --baud {0}", text));
    }
}

int set(Session& session, const Dialect& dialect, const std::vector<std::string>& words)
{
    const auto catalogue = catalogue_for(session.options.reader_name(), dialect);
    const auto groups = grouped(changes_in(words, catalogue));
    const auto reader = connect(session);
    SettingAccess access(*reader, catalogue.two_way());
    const auto written = write_groups(session, access, groups);
    for (const auto& change : written) show_written(session, access, change);
    close(*reader);
    session.out.flush();
    tell_new_ways(written);
    return exit_success;
}

Work plan_set(const SetArguments& arguments)
{
    return [dialect = dialect_of(arguments), words = arguments.words](Session& session) {
        return set(session, dialect, words);
    };
}

void add_set_options(CLI::App& command, SetArguments& arguments)
{
    add_dialect_options(command, arguments);
    command.add_option("NAME VALUE", arguments.words, "what to set, see below")->required();
    command.footer([] {
        return catalogue_footer(R"(The reader refuses what it does not take; then nothing is changed.

Examples:
  tagwire config set power 27
  tagwire config set q 5 session 1
  tagwire config set region eu:0-14)");
    });
}

// -- save

struct FileArguments : DialectArguments {
    std::string file;
    bool dry_run = false;
};

struct Saved {
    std::vector<Change> values;
    std::vector<std::string> not_served;
};

bool is_to_be_saved(const Setting& setting, SettingAccess& access, const SettingCatalogue& catalogue)
{
    if (setting.kept != Kept::Saved) return false;
    return setting.told_by.empty() || !access.read(catalogue.require(setting.told_by)).is_served();
}

Saved collect(const Session& session, SettingAccess& access, const SettingCatalogue& catalogue)
{
    Progress progress(session);
    Saved saved;
    std::size_t done = 0;
    for (const auto& setting : catalogue.settings()) {
        progress("reading", done++, catalogue.settings().size());
        if (!is_to_be_saved(setting, access, catalogue)) continue;
        const auto reading = access.read(setting);
        if (!reading.is_served()) {
            saved.not_served.push_back(setting.name);
        } else if (!reading.bytes.empty()) {
            saved.values.push_back({&setting, reading.bytes});
        }
    }
    return saved;
}

std::vector<std::string> head_of(const ReaderInformation& info)
{
    return {fmt::format("Settings of a reader of type 0x{:02X}, firmware {}.{}", info.type, info.version[0],
                        info.version[1]),
            "tagwire config load FILE writes them back. What has no line here is left as it is.",
            "The file holds the passwords of the reader."};
}

void tell_saved(Session& session, const std::string& file, const Saved& saved)
{
    Json object;
    object["type"] = "config-saved";
    object["file"] = file;
    object["settings"] = saved.values.size();
    object["not_served"] = saved.not_served;
    if (session.options.json) {
        session.out.line(json_line(object));
    } else {
        session.out.line(fmt::format("{} settings saved in {}", saved.values.size(), file));
    }
    session.out.flush();
    if (!saved.not_served.empty() && !session.options.json)
        tell(fmt::format("not served by this reader: {}", fmt::join(saved.not_served, ", ")));
}

int save(Session& session, const Dialect& dialect, const std::string& file)
{
    const auto catalogue = catalogue_for(session.options.reader_name(), dialect);
    const auto reader = connect(session);
    const auto info = read_information(*reader);
    SettingAccess access(*reader, catalogue.two_way());
    const auto saved = collect(session, access, catalogue);
    close(*reader);
    write_config(file, config_text(head_of(info), catalogue, saved.values));
    tell_saved(session, file, saved);
    return exit_success;
}

Work plan_save(const FileArguments& arguments)
{
    if (arguments.file == "-") throw UsageError("config save needs the name of a file");
    return [dialect = dialect_of(arguments), file = arguments.file](Session& session) {
        return save(session, dialect, file);
    };
}

void add_save_options(CLI::App& command, FileArguments& arguments)
{
    add_dialect_options(command, arguments);
    command.add_option("FILE", arguments.file, "where to; a file that is there is replaced")->required();
    command.footer(R"(The file is TOML: NAME = VALUE. The clock, measured values and states are not saved.

Examples:
  tagwire config save reader.toml)");
}

// -- load

const char* outcome_of(const LoadStep& step, bool dry_run)
{
    if (!step.is_served()) return "not-served";
    if (!step.differs()) return dry_run || step.is_restored() ? "same" : "different";
    if (dry_run) return "differs";
    if (!step.is_restored()) return step.write_code != 0 ? "refused" : "different";
    return step.setting().can_be_read() ? "restored" : "written";
}

void show_step(Session& session, const LoadStep& step, bool dry_run)
{
    const auto& setting = step.setting();
    const auto before = step.before ? setting.format.show(*step.before) : "unknown";
    if (!session.options.json) {
        session.out.line(setting_line(setting.name, fmt::format("{} -> {}", before.empty() ? "-" : before,
                                                                setting.format.shown(step.wanted.value))));
        return;
    }
    Json object;
    object["type"] = "config-change";
    object["name"] = setting.name;
    object["from"] = step.before ? value_json(setting, *step.before) : Json();
    object["to"] = value_json(setting, step.wanted.value);
    object["outcome"] = outcome_of(step, dry_run);
    if (step.read_code != 0 || step.write_code != 0)
        object["code"] = step.read_code != 0 ? step.read_code : step.write_code;
    session.out.line(json_line(object));
}

void show_result(Session& session, const std::vector<LoadStep>& steps, bool dry_run)
{
    const std::string same = "same";
    for (const auto& step : steps) {
        if (session.options.json ? outcome_of(step, dry_run) != same : step.differs())
            show_step(session, step, dry_run);
    }
    session.out.flush();
}

void tell_loaded(Session& session, const std::vector<LoadStep>& steps)
{
    std::vector<std::string> failed;
    for (const auto& step : steps) {
        if (!step.is_restored()) failed.push_back(step.setting().name);
    }
    Json object;
    object["type"] = "config-loaded";
    object["settings"] = steps.size();
    object["differ"] =
        std::count_if(steps.begin(), steps.end(), [](const LoadStep& step) { return step.differs(); });
    object["failed"] = failed;
    if (session.options.json) {
        session.out.line(json_line(object));
    } else if (failed.empty()) {
        session.out.line(fmt::format("the reader has all {} settings of the file", steps.size()));
    }
    session.out.flush();
}

// What the reader does not have after all, in one message.
void require_restored(const std::vector<LoadStep>& steps, const SettingAccess& access)
{
    std::vector<std::string> failures;
    for (const auto& step : steps) {
        if (!step.is_restored()) failures.push_back(failure_text(step, access));
    }
    if (failures.empty()) return;
    throw Failure(fmt::format("{} of {} settings could not be restored:\n  {}", failures.size(), steps.size(),
                              fmt::join(failures, "\n  ")));
}

std::vector<Change> written_in(const std::vector<LoadStep>& steps)
{
    std::vector<Change> written;
    for (const auto& step : steps) {
        if (step.was_written) written.push_back(step.wanted);
    }
    return written;
}

void tell_summary(Session& session, const std::vector<LoadStep>& steps)
{
    if (session.options.json) return;
    session.out.line(summary_text(steps));
    session.out.flush();
}

int load(Session& session, const SettingCatalogue& catalogue, const std::vector<Change>& wanted, bool dry_run)
{
    const auto reader = connect(session);
    SettingAccess access(*reader, catalogue.two_way());
    Progress progress(session);
    ConfigLoad config(access, catalogue, std::ref(progress));
    config.compare(wanted);
    progress.clear();
    const auto& steps = config.steps();
    tell_summary(session, steps);
    if (!dry_run) config.apply();
    progress.clear();
    close(*reader);
    show_result(session, steps, dry_run);
    if (dry_run) return exit_success;
    tell_loaded(session, steps);
    tell_new_ways(written_in(steps));
    require_restored(steps, access);
    return exit_success;
}

Work plan_load(const FileArguments& arguments)
{
    const auto file = std::make_shared<ConfigFile>(read_config(arguments.file));
    auto dialect = dialect_of(arguments);
    if (!arguments.family.empty() && file->family.value_or(dialect.family) != dialect.family) {
        throw UsageError(fmt::format("'{}' is of the family {}: leave out --family {}", arguments.file,
                                     family_name(*file->family), arguments.family));
    }
    dialect.family = file->family.value_or(dialect.family);
    dialect.two_way = file->two_way.value_or(dialect.two_way);
    return [=, dry_run = arguments.dry_run](Session& session) {
        const auto catalogue = catalogue_for(session.options.reader_name(), dialect);
        const auto wanted = changes_of(*file, catalogue);
        grouped(wanted);
        return load(session, catalogue, wanted, dry_run);
    };
}

void add_load_options(CLI::App& command, FileArguments& arguments)
{
    add_dialect_options(command, arguments);
    command.add_option("FILE", arguments.file, "what tagwire config save wrote; - is standard input")
        ->required();
    command.add_flag("--dry-run", arguments.dry_run, "show what differs and change nothing");
    command.footer(
        R"(The whole file is checked before anything is sent. Only what differs is written, and read again in the
end. Address, speed of the line and work mode come last.

Examples:
  tagwire config load reader.toml --dry-run
  tagwire config load reader.toml)");
}

}  // namespace

void add_config_commands(Application& application)
{
    auto& group = application.add_group("config", "Show, change, save and restore the reader's settings.");
    add_command_with<ShowArguments>(application, &group, "show", "Show all settings of the reader.",
                                    add_show_options, plan_show);
    add_command_with<GetArguments>(application, &group, "get", "Show some settings.", add_get_options,
                                   plan_get);
    add_command_with<SetArguments>(application, &group, "set", "Change settings.", add_set_options, plan_set);
    add_command_with<FileArguments>(application, &group, "save", "Save the reader's settings in a file.",
                                    add_save_options, plan_save);
    add_command_with<FileArguments>(application, &group, "load", "Restore the settings of a file.",
                                    add_load_options, plan_load);
}

}  // namespace tagwire::tool
