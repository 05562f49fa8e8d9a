#include <tagwirexx/settings.hpp>

#include <algorithm>
#include <sstream>

#include "tagwire/result.h"
#include "xx/settings/profile_inside.h"
#include "xx/settings/writing.h"

namespace tagwire {
inline namespace v1 {
namespace {

using rows::Access;
using rows::answering;
using rows::comes_last;
using rows::Group;
using rows::Row;
using rows::Wanted;
using rows::write_and_compare;

const Row& work_mode() { return rows::require_row("work-mode"); }

std::string shown(const Row& row, const Bytes& value) { return rows::show(row.format, value); }

std::string with_unit(const Change& change, const std::string& text)
{
    if (change.is_secret) return std::string(rows::secret_text);
    const bool is_number = !text.empty() && text.find_first_not_of("0123456789,") == std::string::npos;
    return change.unit.empty() || !is_number ? text : text + ' ' + std::string(change.unit);
}

// -- one

bool overlap(const Row& one, const Row& other)
{
    const auto is_before = [](const Row& left, const Row& right) {
        return left.size != 0 && left.first + left.size <= right.first;
    };
    return one.writer == other.writer && one.index == other.index && !is_before(one, other) &&
           !is_before(other, one);
}

std::vector<Wanted> parsed(const std::vector<Profile::Value>& values, const std::string& reader)
{
    std::vector<Wanted> out;
    for (const auto& [name, text] : values) {
        const Row& row = rows::require_row(name, reader);
        if (row.kind == SettingKind::state || row.writer == nullptr)
            throw Error(Errc::invalid_text, row.name, reader, "it can be shown only, not set");
        const auto is_known = [&](const Wanted& wanted) { return overlap(*wanted.row, row); };
        if (std::any_of(out.begin(), out.end(), is_known))
            throw Error(Errc::invalid_text, row.name, reader, "it is given twice");
        out.push_back({&row, rows::parse_value(row, text, reader)});
    }
    return out;
}

// -- all

std::vector<const Row*> first_rows()
{
    std::vector<const Row*> out;
    for (const Row& row : rows::all_rows())
        if (rows::is_first(row)) out.push_back(&row);
    return out;
}

template <class Items, class Act>
void for_each_told(const SettingsOptions& options, const Items& items, const Act& act)
{
    const auto tell = [&](std::size_t done) {
        if (options.told) options.told(done, items.size());
    };
    std::size_t done = 0;
    for (const auto& item : items) {
        tell(done++);
        act(item);
    }
    tell(done);
}

// A setting that is told by another one, which the reader has, is not kept twice.
bool is_told(Access& access, const Row& row)
{
    if (row.told_by.empty()) return false;
    const Row* const other = access.find_readable(rows::require_row(row.told_by));
    return other != nullptr && !access.read(*other).error;
}

bool is_family_silent(Access& access, const Row& named)
{
    return named.families != every_family && access.is_family_silent();
}

bool is_to_be_kept(const Row& row, const SnapshotOptions& options)
{
    return row.is_kept && row.kind != SettingKind::state &&
           (options.secrets || row.kind != SettingKind::secret);
}

void take(Profile& profile, Access& access, const Row& row)
{
    const auto reading = access.read(row);
    if (reading.is_silent) return ProfileInside::add_silent(profile, {row.name, reading.error->text()});
    if (reading.error) return ProfileInside::add_refused(profile, {row.name, reading.error->text()});
    if (reading.bytes.empty()) return;
    std::string text = shown(row, reading.bytes);
    const rows::WipedAtEnd wiping_text(text);
    auto again = rows::parse(row.format, text);
    const rows::WipedAtEnd wiping_bytes(again.bytes);
    if (!again.problem.empty())
        return ProfileInside::add_refused(
            profile, {row.name, "the reader has " + show_to_all(row, reading.bytes) + ": " + again.problem});
    ProfileInside::add(profile, row, text);
}

// A reader that reports by itself hides answers among its reports, this one for one.
void expect_reports(Access& access)
{
    access.expect_reports(true);
    const auto mode = access.read(work_mode());
    access.expect_reports(mode.is_garbled || (!mode.error && mode.bytes[0] != answering));
}

// -- a profile and a reader

struct Step {
    Wanted wanted;
    Bytes before = {};
    bool is_readable = true;
    bool differs = true;
    std::optional<FailedSetting> failure = {};

    ~Step() { rows::wipe(before); }
    const Row& row() const { return *wanted.row; }
    Change change() const
    {
        return {row().name, is_readable ? std::optional(shown(row(), before)) : std::nullopt,
                shown(row(), wanted.value), row().format.unit, row().kind == SettingKind::secret};
    }
};

class Application {
  public:
    Application(ReaderInside& inside, const SettingsOptions& settings, const ApplyOptions& options)
        : inside_(inside), access_(inside, settings, options.lasting), options_(options)
    {}

    Comparison compare(const Profile& profile);
    ApplyReport apply();

  private:
    void check_model(const Profile& profile, const engine::ReaderInformation& told);
    bool is_left_alone(const Row& row, Comparison& out) const;
    void compare(const Profile::Value& value, Comparison& out);
    std::vector<Group> planned();
    void write(const Group& group);
    void fail(const Group& group, const std::string& text, Outcome outcome);
    void stop_reports();
    void set_mode_back();
    void try_to_verify(Step& step);
    void verify(Step& step);
    void verify();
    void verify_last();
    ApplyReport report() const;

    ReaderInside& inside_;
    Access access_;
    ApplyOptions options_;
    std::vector<Step> steps_;
    Comparison comparison_;
    std::vector<FailedSetting> others_;  // that the profile does not name
    std::optional<Bytes> mode_;          // of one that reports by itself, but not while it is written to
    bool is_over_ = false;               // the reader is lost, or not known to be the same
    bool may_be_another_ = false;        // at its address
};

bool Application::is_left_alone(const Row& row, Comparison& out) const
{
    const char* why = nullptr;
    if (row.kind == SettingKind::calibration || row.kind == SettingKind::state)
        why = "of this unit only: never written";
    if (row.kind == SettingKind::identity && !options_.identity) why = "identity: left as it is";
    if (row.kind == SettingKind::secret && !options_.secrets) why = "secret: left as it is";
    if (why != nullptr) out.skipped.push_back({row.name, why});
    return why != nullptr;
}

void Application::check_model(const Profile& profile, const engine::ReaderInformation& told)
{
    const auto note = [this](const char* what, const auto& wanted, const auto& now) {
        std::ostringstream text;
        text << "the profile is of " << what << ' ' << wanted << ", this reader has " << now;
        if (!options_.other_model)
            throw Error(Errc::invalid_value, "compare with a profile", access_.reader(),
                        text.str() +
                            ": if that is right, allow another model, or take the line out of the profile");
        comparison_.skipped.push_back({what, text.str()});
    };
    const Version now{told.version[0], told.version[1]};
    if (profile.type().value_or(told.type) != told.type) note("type", *profile.type(), int{told.type});
    if (profile.firmware().value_or(now) != now) note("firmware", *profile.firmware(), now);
}

Comparison Application::compare(const Profile& profile)
{
    check_model(profile, inside_.ask_information());
    expect_reports(access_);
    access_.check_family();
    for_each_told(access_.options(), profile.values(),
                  [this](const Profile::Value& value) { compare(value, comparison_); });
    return comparison_;
}

void Application::compare(const Profile::Value& value, Comparison& out)
{
    const Row& named = rows::require_row(value.name);
    if (is_left_alone(named, out)) return;
    Step step{{&named, rows::parse_value(named, value.text)}};
    try {
        const Row* const row = access_.find_readable(named);
        step.is_readable = row != nullptr;
        if (!step.is_readable) {
            step.wanted.row = &access_.writable(named);
        } else {
            step.wanted.row = row;
            const auto reading = access_.read(*row);
            if (reading.error) {
                auto& list = reading.is_silent ? out.silent : out.refused;
                list.push_back({named.name, reading.error->text()});
                return;
            }
            step.before = reading.bytes;
            step.differs = !rows::agree(row->format, step.wanted.value, reading.bytes);
            if (step.differs && row->writer == nullptr) access_.writable(*row);  // an Error
        }
    } catch (const Error& error) {
        if (error.code() != Errc::no_such_feature && error.code() != Errc::invalid_value &&
            error.code() != Errc::invalid_text)
            throw;
        (is_family_silent(access_, named) ? out.silent : out.refused).push_back({named.name, error.text()});
        return;
    }
    if (step.differs) out.changes.push_back(step.change());
    steps_.push_back(step);
}

void Application::fail(const Group& group, const std::string& text, Outcome outcome)
{
    for (const Wanted& wanted : group) {
        const auto step = std::find_if(steps_.begin(), steps_.end(),
                                       [&](const Step& known) { return known.wanted.row == wanted.row; });
        const FailedSetting failure{wanted.row->name, text, outcome};
        if (step != steps_.end())
            step->failure = failure;
        else
            others_.push_back(failure);
    }
}

void Application::write(const Group& group)
{
    if (is_over_) return fail(group, "not tried: what came before ended the work", Outcome::nothing);
    const Row& row = *group.front().row;
    if (&row == &work_mode()) mode_.reset();
    try {
        for (const Wanted& wanted : group) access_.writable(*wanted.row);
        const auto failure = access_.write(group);
        if (!failure) return;
        may_be_another_ = failure->is_the_end && row.writer->order != rows::Order::plain;
        const bool is_silent = failure->error.code() == Errc::no_answer;
        is_over_ =
            failure->is_the_end || (is_silent && inside_.ask_at(inside_.address()) == TAGWIRE_NO_ANSWER);
        fail(group, failure->error.text(), failure->error.outcome());
    } catch (const Error& error) {  // not of the command itself
        is_over_ = error.code() == Errc::lost || error.code() == Errc::aborted;
        fail(group, error.text(), error.outcome());
    }
}

void Application::verify(Step& step)
{
    const Row& row = step.row();
    const auto reading = access_.read(row);
    const std::string why = step.failure ? step.failure->text + "; " : "";
    if (reading.error) {
        const Outcome outcome = step.differs ? Outcome::unknown : Outcome::nothing;
        step.failure = FailedSetting{row.name, why + "it cannot be read back: " + reading.error->text(),
                                     step.failure ? step.failure->outcome : outcome};
    } else if (rows::agree(row.format, step.wanted.value, reading.bytes)) {
        step.failure.reset();  // an answer was lost, or another write has done it
    } else {
        const std::string has =
            row.kind == SettingKind::secret
                ? "the reader has another one"
                : "the reader has " + shown(row, reading.bytes) + ", not " + shown(row, step.wanted.value);
        const bool is_as_before = rows::agree(row.format, step.before, reading.bytes);
        step.failure = FailedSetting{row.name, why + has, is_as_before ? Outcome::nothing : Outcome::partial};
    }
}

void Application::try_to_verify(Step& step)
{
    try {
        if (step.is_readable && !is_over_) verify(step);
    } catch (const Error& error) {
        is_over_ = true;
        if (!step.failure) step.failure = FailedSetting{step.row().name, error.text(), Outcome::unknown};
    }
}

// All but what is written behind this.
void Application::verify()
{
    access_.forget();
    for (Step& step : steps_) {
        if (comes_last(step.row())) continue;
        try_to_verify(step);
        if (is_over_ && step.differs && !step.failure)
            step.failure = FailedSetting{step.row().name, "it was written and is not read back after that",
                                         Outcome::unknown};
    }
}

// The reader may report again: it is asked only where its answer to the command was lost.
void Application::verify_last()
{
    access_.expect_reports(true);
    for (Step& step : steps_)
        if (comes_last(step.row()) && step.failure && step.failure->outcome == Outcome::unknown)
            try_to_verify(step);
}

// Where it is not known whether the reader heard, it is set back.
void Application::stop_reports()
{
    const auto failure = access_.write({{&work_mode(), {answering}}});
    if (!failure) return;
    const Error& error = failure->error;
    if (error.outcome() != Outcome::unknown || failure->is_the_end) throw Error(error);
    const bool is_back = !access_.write({{&work_mode(), *mode_}});
    const std::string mode = shown(work_mode(), *mode_);
    throw Error(static_cast<Errc>(error.code().value()), error.operation(), access_.reader(),
                std::string(error.what()) + (is_back ? " [work-mode was set back to " + mode + "]"
                                                     : " [work-mode was " + mode + ", and may not be now]"),
                is_back ? Outcome::nothing : Outcome::unknown, error.result());
}

// A reader that fell silent may hear all the same: it is not left without its reports where that can be helped.
void Application::set_mode_back()
{
    const Row& row = work_mode();
    const std::string mode = shown(row, *mode_);
    bool is_back = false;
    if (!may_be_another_) {
        inside_.listen();
        is_back = !access_.write({{&row, *mode_}});
    }
    const std::string text =
        is_back ? "it was set back to " + mode : "it was " + mode + ", and may not be now";
    const Outcome outcome = is_back ? Outcome::nothing : Outcome::unknown;
    std::erase_if(others_, [&](const FailedSetting& failure) { return failure.name == row.name; });
    const auto step =
        std::find_if(steps_.begin(), steps_.end(), [&](const Step& known) { return &known.row() == &row; });
    if (step != steps_.end() && step->failure)
        step->failure = FailedSetting{row.name, step->failure->text + "; " + text, outcome};
    else if (is_back)
        comparison_.skipped.push_back({row.name, text});
    else
        others_.push_back({row.name, text, outcome});
}

// What is to be written. A reader that reports by itself does so again behind that.
std::vector<Group> Application::planned()
{
    const Row& mode = work_mode();
    std::vector<Wanted> wanted;
    for (const Step& step : steps_)
        if (step.differs) wanted.push_back(step.wanted);
    const auto now = access_.read(mode);
    if (!wanted.empty() && !now.error && now.bytes[0] != answering) mode_ = now.bytes;
    const auto is_mode = [&](const Wanted& one) { return one.row == &mode; };
    if (mode_ && std::none_of(wanted.begin(), wanted.end(), is_mode)) wanted.push_back({&mode, *mode_});
    return access_.grouped(std::move(wanted));
}

ApplyReport Application::apply()
{
    const auto groups = planned();
    if (mode_) stop_reports();
    const auto last = std::find_if(groups.begin(), groups.end(),
                                   [](const Group& group) { return comes_last(*group.front().row); });
    std::for_each(groups.begin(), last, [this](const Group& group) { write(group); });
    if (!groups.empty()) verify();
    std::for_each(last, groups.end(), [this](const Group& group) { write(group); });
    if (is_over_ && mode_) set_mode_back();
    verify_last();
    return report();
}

ApplyReport Application::report() const
{
    ApplyReport out;
    out.skipped = comparison_.skipped;
    out.failed = others_;
    for (const SettingNote& note : comparison_.refused) {
        if (options_.other_model)
            out.skipped.push_back(note);
        else
            out.failed.push_back({note.name, note.text});
    }
    for (const SettingNote& note : comparison_.silent) out.failed.push_back({note.name, note.text});
    for (const Step& step : steps_) {
        if (step.failure)
            out.failed.push_back(*step.failure);
        else if (step.differs)
            out.changed.push_back(step.change());
        else
            out.same.push_back(step.row().name);
    }
    return out;
}

}  // namespace

// -- the view

std::string_view to_string(ReaderFamily family) noexcept
{
    constexpr std::string_view names[] = {"standard", "filter", "relay", "multiplexer", "mobile"};
    const auto number = static_cast<std::size_t>(family);
    return number < std::size(names) ? names[number] : "unknown";
}

Change::~Change()
{
    if (before) rows::wipe(*before);
    rows::wipe(wanted);
}

SettingReading::~SettingReading()
{
    if (text) rows::wipe(*text);
}

std::ostream& operator<<(std::ostream& out, const Change& change)
{
    return out << change.name << ": " << (change.before ? with_unit(change, *change.before) : "unknown")
               << " -> " << with_unit(change, change.wanted);
}

std::vector<std::string> Settings::names(const SettingsOptions& options)
{
    const Families families = options.family ? bit_of(*options.family) : every_family;
    std::vector<std::string> out;
    for (const Row& row : rows::all_rows())
        if ((row.families & families) != 0 && (out.empty() || out.back() != row.name))
            out.push_back(row.name);
    return out;
}

SettingInfo Settings::describe(std::string_view name, const SettingsOptions& options)
{
    const Row& named = rows::require_row(name);
    const Families families = options.family ? bit_of(*options.family) : every_family;
    const rows::Format& format = named.format;
    SettingInfo out{named.name, named.topic, named.help, named.format.unit, {}, named.kind};
    out.is_number =
        format.shape == rows::Format::Shape::number && (rows::number_in(rows::show(format, {0})).has_value());
    for (const Row& row : rows::all_rows()) {
        if (row.name != named.name || (row.families & families) == 0) continue;
        out.readable |= row.readable(options.two_way);
        out.writable |= row.writer != nullptr;
        out.until_restart |= row.writer != nullptr && row.writer->until_restart;
    }
    if (out.writable) out.range = rows::range_of(named.format);
    return out;
}

std::string Settings::get(std::string_view name)
{
    const Row& named = rows::require_row(name, inside_->name());
    Access access(*inside_, options_);
    return access.show(access.readable(named));
}

std::vector<SettingReading> Settings::read(const std::vector<std::string>& names)
{
    std::vector<const Row*> wanted;
    wanted.reserve(names.size());
    for (const std::string& name : names) wanted.push_back(&rows::require_row(name, inside_->name()));
    Access access(*inside_, options_);
    expect_reports(access);
    access.check_family();
    std::vector<SettingReading> out;
    const auto add = [&](const Row& named, bool is_asked_for) {
        const Row* row = nullptr;
        try {
            row = &access.readable(named);
        } catch (const Error& error) {
            if (error.code() != Errc::no_such_feature && error.code() != Errc::invalid_value) throw;
            if (is_asked_for || error.code() == Errc::invalid_value)
                out.push_back({named.name, {}, error.text(), is_family_silent(access, named)});
            return;
        }
        const auto reading = access.read(*row);
        SettingReading& now = out.emplace_back(SettingReading{named.name});
        now.is_silent = reading.is_silent;
        if (reading.error)
            now.problem = reading.error->text();
        else
            now.text = shown(*row, reading.bytes);
    };
    const bool is_asked_for = !names.empty();
    if (!is_asked_for) wanted = first_rows();
    for_each_told(options_, wanted, [&](const Row* named) { add(*named, is_asked_for); });
    return out;
}

std::string Settings::set(std::string_view name, std::string_view text, Lasting lasting)
{
    auto wanted = parsed({{std::string(name), std::string(text)}}, inside_->name());
    Access access(*inside_, options_, lasting);
    return write_and_compare(access, std::move(wanted), lasting).front();
}

std::vector<std::string> Settings::set(const std::vector<Profile::Value>& values, Lasting lasting)
{
    auto wanted = parsed(values, inside_->name());
    Access access(*inside_, options_, lasting);
    return write_and_compare(access, std::move(wanted), lasting);
}

Profile Settings::snapshot(const SnapshotOptions& options)
{
    Access access(*inside_, options_);
    Profile profile;
    const auto& told = inside_->ask_information();
    ProfileInside::set_reader(profile, told.type, Version{told.version[0], told.version[1]});
    expect_reports(access);
    access.check_family();
    for_each_told(options_, first_rows(), [&](const Row* first) {
        const Row& named = *first;
        const Row* const row = access.find_readable(named);
        if (row != nullptr && is_to_be_kept(*row, options) && !is_told(access, *row))
            take(profile, access, *row);
        if (row == nullptr && is_family_silent(access, named))
            ProfileInside::add_silent(profile, {named.name, "the reader did not tell its family"});
        else if (row == nullptr && is_to_be_kept(named, options) && access.is_unsettled(named))
            ProfileInside::add_silent(profile, {named.name, "it is not known of which family the reader is"});
    });
    return profile;
}

Comparison Settings::compare(const Profile& profile, const ApplyOptions& options)
{
    return Application(*inside_, options_, options).compare(profile);
}

ApplyReport Settings::apply(const Profile& profile, const ApplyOptions& options)
{
    Application application(*inside_, options_, options);
    application.compare(profile);
    return application.apply();
}

}  // namespace v1
}  // namespace tagwire
