#include "commands/groups.h"
#include "open_reader.h"
#include "sensors/chips.h"
#include "sensors/degrees.h"
#include "sensors/temperature_table.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/listing.h"

#include <array>
#include <chrono>
#include <memory>

#include <poll.h>

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Special = ChipOptions<SensorChip>;

constexpr Special::Chips with_password{SensorChip::em, SensorChip::yl, SensorChip::on, SensorChip::fd};

void add_chip_option(CLI::App& command, SensorChip& chip, const std::string& help)
{
    option(command, "--chip", chip, one_of(sensor_chips), help, "CHIP");
}

struct ChipsOfQuestions {
    Special::Chips calibration;
    Special::Chips wait_time;
};

void add_question_options(CLI::App& command, SensorQuestion& question, Special& special,
                          const ChipsOfQuestions& chips)
{
    auto* const calibration = option(command, "--calibration", question.calibration, exactly(3),
                                     "the tags' calibration, 3 bytes", "HEX");
    auto* const word = option(command, "--calibration-word", question.calibration_word, number(0, 255),
                              "the word of the user bank where tags have it; 8 without either option");
    special.add(calibration, chips.calibration);
    special.add(word->excludes(calibration), chips.calibration);
    special.add(option(command, "--wait-time", question.wait_time, number(0, 255),
                       "how long tags have power before, in the reader's units"),
                chips.wait_time);
    special.add(command.add_flag("--latest", question.latest, "the latest measurement instead of a new one"),
                {SensorChip::em, SensorChip::fd});
    special.add(command.add_flag("--uid", question.with_uid, "the tag's ID too"), {SensorChip::em});
}

// What em tells besides.
void add_details(Json& object, const Temperature& measured)
{
    if (measured.measured_at) object["measured"] = timestamp_text(*measured.measured_at);
    if (!measured.uid.empty()) object["uid"] = to_hex(measured.uid);
}

std::string details_text(const Temperature& measured)
{
    std::string text;
    if (measured.measured_at) text += "  measured " + timestamp_text(*measured.measured_at);
    if (!measured.uid.empty()) text += "  uid " + to_hex(measured.uid);
    return text;
}

// -- one tag

struct One {
    TagChoice tag;
    bool any = false;
    SensorChip chip{};
    AnyTagQuestion asked;
    Special special;
};

void add_one_options(CLI::App& command, One& one)
{
    using enum SensorChip;
    auto& question = one.asked.question;
    add_tag_options(command, one.tag);
    auto* const any = command.add_flag("--any", one.any, "whichever tag answers: have one only in the field");
    one.special.add(any, {g2});
    one.special.add(command.get_option("--password"), with_password);
    add_chip_option(command, one.chip, "whose command: g2, em, bx, yl, on or fd");
    command.get_option("--chip")->required();
    add_question_options(command, question, one.special, {{g2, em}, {g2}});
    one.special.add(option(command, "--start-word", question.start_word, number(0, 255),
                           "word that starts a measurement, 0 to 255; 0 when left out"),
                    {g2});
    one.special.add(
        option(command, "--time", one.asked.time, exactly(6), "6 bytes of time that the tag is given", "HEX")
            ->needs(any),
        {g2});
    command.add_flag("--raw", question.raw, "the bytes of the sensor, not converted");
    command.footer(
        R"(g2 and em tell a sensor word, which the tag's calibration turns into degrees. The others tell
hundredths of a degree.

Examples:
  tagwire temp read --chip g2 --epc E28011700000020F00000001
  tagwire temp read --chip em --epc E28011700000020F00000001 --calibration 000020 --uid
  tagwire temp read --chip yl --tid E2C01A200000000000000001 --json)");
}

void show_reading(const Temperature& measured, bool raw, Deed& done)
{
    if (!measured.epc.empty()) done.fields["epc"] = measured.epc.to_string();
    done.fields["raw"] = to_hex(measured.raw);
    if (!measured.calibration.empty()) done.fields["calibration"] = to_hex(measured.calibration);
    if (!measured.problem.empty()) {
        fail_for(done, measured.problem,
                 "bring the tag closer and try again, check the calibration, or see the bytes with --raw");
    }
    if (measured.celsius) done.fields["celsius"] = *measured.celsius;
    done.text = (raw ? to_hex(measured.raw) : celsius_text(measured.celsius)) + details_text(measured);
    add_details(done.fields, measured);
}

Work plan_one(const One& one)
{
    if (one.chip == SensorChip::ltu32 || one.chip == SensorChip::ast010)
        throw UsageError("this chip comes in 'tagwire temp inventory' only");
    one.special.require_all_of(one.chip);
    if (one.any && (one.tag.epc || one.tag.tid || one.tag.mask))
        throw UsageError("--any takes whichever tag answers: leave out --epc, --tid and --mask");
    Deed head = one.any ? deed("temperature") : deed_with("temperature", one.tag);
    head.fields["chip"] = name_of(one.chip, sensor_chips);
    return work(head, [one](Reader& reader, Deed& done) {
        const auto& question = one.asked.question;
        const auto measure_tag = [&] {
            auto tag = find(reader, one.tag).sensor();
            return again(one.tag.retries, [&] { return tag.temperature(one.chip, question); });
        };
        const auto measured =
            one.any ? again(one.tag.retries, [&] { return reader.temperature_of_any(one.asked); })
                    : measure_tag();
        show_reading(measured, question.raw, done);
    });
}

// -- many tags

struct Many {
    TemperaturePlan plan;
    Secret password;
    std::optional<Port> antenna;
    std::optional<milliseconds> duration;
    milliseconds interval{1000};
    bool reconnect = false;
    Special special;
};

void add_many_options(CLI::App& command, Many& many)
{
    using enum SensorChip;
    auto& plan = many.plan;
    add_chip_option(command, plan.chip, "whose tags: " + choices_text(sensor_chips));
    command.get_option("--chip")->default_str("g2");
    auto* const epc = option(command, "--epc", plan.epc, parse_epc, "tags of this EPC only", "HEX");
    many.special.add(
        add_mask_option(command, plan.mask, "only tags whose memory is so at this bit")->excludes(epc),
        {ast010, em, bx, yl, on, fd});
    option(command, "--q", plan.q, number(0, 15), "Q, 0 to 15: the reader expects about 2^Q tags")
        ->default_str("4");
    option(command, "--session", plan.session, one_of(sessions), "session, " + choices_text(sessions), "S")
        ->default_str("S0");
    option(command, "--target", plan.target, one_of(targets), "inventoried flag to look for, A or B", "A|B")
        ->default_str("A");
    add_scan_options(command, many.antenna, plan.scan_time);
    add_password_option(command, many.password);
    many.special.add(command.get_option("--password"), with_password);
    add_question_options(command, plan.question, many.special, {{em}, {g2, ltu32}});
    many.special.add(option(command, "--select-target", plan.select_target, number(0, 7),
                            "target of the Select command, 0 to 7; otherwise the session"),
                     {g2, ltu32});
    many.special.add(
        option(command, "--select-action", plan.select_action, number(0, 7), "its action, 0 to 7"),
        {g2, ltu32});
}

TemperaturePlan plan_of(const Many& many)
{
    many.special.require_all_of(many.plan.chip);
    auto plan = many.plan;
    if (many.antenna) plan.antennas = {*many.antenna};
    if (std::count(with_password.begin(), with_password.end(), plan.chip) != 0)
        plan.password = many.password.value();
    return plan;
}

std::string record_line(const Temperature& measured)
{
    const auto port = measured.port.number();
    auto text =
        fmt::format("{}{}  {}  antenna {}  rssi {}", shown_id(measured.epc.to_string()),
                    measured.tid ? "  tid " + measured.tid->to_string() : "", celsius_text(measured.celsius),
                    port > 0 ? std::to_string(port) : "?", measured.rssi);
    if (!measured.celsius) text += fmt::format("  ({})", measured.problem);
    return text + details_text(measured);
}

Json record_json(const Session& session, const Temperature& measured)
{
    Json object;
    object["type"] = "temperature_tag";
    object["time"] = timestamp_text(measured.received.wall);
    object["epc"] = measured.epc.to_string();
    if (measured.tid) object["tid"] = measured.tid->to_string();
    object["celsius"] = measured.celsius ? Json(*measured.celsius) : Json();
    if (!measured.celsius) object["problem"] = measured.problem;
    object["raw"] = to_hex(measured.raw);
    object["antenna"] = measured.port.number();
    object["antenna_byte"] = measured.antenna_byte;
    object["rssi"] = measured.rssi;
    add_details(object, measured);
    object["reader"] = session.options.reader_name();
    return object;
}

// Shows temperatures as they come, one line each or as a table that is kept up to date.
class TemperatureView {
  public:
    enum class Look { lines, timed_lines, live };

    TemperatureView(Session& session, Look look) : session_(session), look_(look) {}

    void add(const Temperature& measured)
    {
        table_.add(measured);
        if (session_.options.json) {
            session_.out.line(json_line(record_json(session_, measured)));
        } else if (look_ != Look::live) {
            const auto time = timestamp_text(measured.received.wall) + "  ";
            session_.out.line((look_ == Look::timed_lines ? time : "") + record_line(measured));
        }
    }
    // As they come where the reader asks one tag after the other. Returns whether it was complete.
    bool take(Reader& reader, const TemperaturePlan& plan)
    {
        std::size_t told = 0;
        const auto tell_one = [&](const Temperature& measured) {
            add(measured);
            redraw();
            ++told;
            return !session_.out.closed() && !session_.interrupts.interrupted();
        };
        const auto found = reader.temperatures(plan, tell_one);
        for (; told < found.size(); ++told) add(found.readings[told]);
        redraw();
        return found.complete;
    }
    const TemperatureTable& table() const { return table_; }
    std::string count_text() const
    {
        const auto count = table_.rows().size();
        return fmt::format("{} temperature tag{}", count, count == 1 ? "" : "s");
    }

  private:
    void redraw()
    {
        if (look_ == Look::live && !session_.options.json) {
            const auto size = terminal_size(session_.out.fd());
            session_.out.text(screen_.draw(render_temperatures(table_, size, steady_clock::now()), size));
        }
        session_.out.flush();
    }

    Session& session_;
    Look look_;
    TemperatureTable table_;
    LiveScreen screen_;
};

int list(Session& session, const TemperaturePlan& plan)
{
    TemperatureView view(session, TemperatureView::Look::lines);
    bool complete = false;
    try {
        auto reader = open_reader(session);
        const InterruptWatch::Hook hook(session.interrupts, [&reader] { reader.abort(); });
        complete = view.take(reader, plan);
    } catch (const Error& error) {
        if (!session.interrupts.interrupted()) {
            show_failure(session, deed("temp-inventory"), error);
            return exit_failure;
        }
    }
    if (session.out.closed()) return exit_success;
    const char* const why =
        session.interrupts.interrupted() ? "interrupted" : "the scan time was over or records were damaged";
    tell(complete ? view.count_text() : fmt::format("{}; {}, there may be more", view.count_text(), why));
    if (complete && view.table().rows().empty()) tell(no_tag_advice);
    return exit_success;
}

// Until then, unless there is a signal or nobody looks any more.
void wait_until(Session& session, steady_clock::time_point then)
{
    const auto left = std::chrono::ceil<milliseconds>(then - steady_clock::now()).count();
    std::array<pollfd, 2> fds{pollfd{session.interrupts.fd(), POLLIN, 0}, pollfd{session.out.fd(), 0, 0}};
    if (left > 0) poll(fds.data(), fds.size(), static_cast<int>(left));
    session.out.check();
}

// One inventory after the other, of a reader that is opened anew where something went wrong.
class TemperatureWatch {
  public:
    TemperatureWatch(Session& session, const Many& many, const TemperaturePlan& plan)
        : session_(session), many_(many), plan_(plan),
          view_(session,
                session.out.is_terminal() ? TemperatureView::Look::live : TemperatureView::Look::timed_lines)
    {}

    int run()
    {
        const auto start = steady_clock::now();
        const auto end = many_.duration ? start + *many_.duration : steady_clock::time_point::max();
        bool goes_on = true;
        while (goes_on) {
            const auto begin = steady_clock::now();
            goes_on = take_one() || (many_.reconnect && may_pass_);
            if (is_over()) break;
            if (goes_on) wait_until(session_, std::min(end, begin + pause()));
            goes_on = goes_on && steady_clock::now() < end && !is_over();
        }
        if (!session_.out.closed())
            tell(fmt::format("{}, {} readings", view_.count_text(), view_.table().reads()));
        return failed_ ? exit_failure : exit_success;
    }

  private:
    bool is_over() const { return session_.interrupts.interrupted() || session_.out.closed(); }
    milliseconds pause() const
    {
        constexpr milliseconds before_reconnecting{1000};
        return failed_ ? std::max(many_.interval, before_reconnecting) : many_.interval;
    }
    bool take_one()
    {
        try {
            if (!reader_) reader_.emplace(open_reader(session_));
            const InterruptWatch::Hook hook(session_.interrupts, [this] { reader_->abort(); });
            view_.take(*reader_, plan_);
            failed_ = false;
            return true;
        } catch (const Error& error) {
            if (session_.interrupts.interrupted()) return true;
            show_failure(session_, deed("temp-watch"), error);
            may_pass_ = error.code() != Errc::invalid_value && error.code() != Errc::no_such_feature;
        }
        reader_.reset();
        failed_ = true;
        return false;
    }

    Session& session_;
    const Many& many_;
    const TemperaturePlan& plan_;
    TemperatureView view_;
    std::optional<Reader> reader_;
    bool failed_ = false;
    bool may_pass_ = true;
};

void add_inventory_command_options(CLI::App& command, Many& many)
{
    add_many_options(command, many);
    command.footer(
        R"(Tags of g2, ltu32 and ast010 come in an inventory of their own; the others are looked for and asked one
by one.

Examples:
  tagwire temp inventory
  tagwire temp inventory --antenna 2 --json
  tagwire temp inventory --chip em --mask tid:0:E2C0 --uid)");
}

Work plan_inventory(const Many& many)
{
    return [plan = plan_of(many)](Session& session) { return list(session, plan); };
}

void add_watch_options(CLI::App& command, Many& many)
{
    add_many_options(command, many);
    option(
        command, "--seconds", many.duration,
        [](const std::string& text, const std::string&) { return parse_seconds(text); },
        "end after so many seconds; otherwise at Ctrl-C");
    option(
        command, "--interval", many.interval,
        [](const std::string& text, const std::string& name) {
            return milliseconds(parse_number(text, name, 0, 3600000));
        },
        "ms from inventory to inventory, 0 to 3600000", "MS")
        ->default_str("1000");
    command.add_flag("--reconnect", many.reconnect, "go on after a failure, with a connection made anew");
    command.footer(
        R"(The options are those of tagwire temp inventory. On a terminal a table of all tags is kept up
to date. Into a pipe or a file, and with --json, every reading is a line of its own. The exit code is 1 where
the last inventory failed.

Examples:
  tagwire temp watch
  tagwire temp watch --seconds 3600 --interval 60000 --reconnect --json > temperatures.jsonl)");
}

Work plan_watch(const Many& many)
{
    return [many, plan = plan_of(many)](Session& session) {
        return TemperatureWatch(session, many, plan).run();
    };
}

}  // namespace

void add_temperature_commands(Application& application)
{
    auto& group = application.add_group("temp", "Tags that measure their temperature.");
    add_to(application, group, "read", "Measure the temperature of one tag.", add_one_options, plan_one);
    auto& inventory = add_to(application, group, "inventory", "List all tags with their temperatures.",
                             add_inventory_command_options, plan_inventory);
    auto& watch = add_to(application, group, "watch", "Follow the temperatures of all tags.",
                         add_watch_options, plan_watch);
    for (const auto* const command : {&inventory, &watch}) application.set_readers(*command, Readers::each);
}

}  // namespace tagwire::tool
