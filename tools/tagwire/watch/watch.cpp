#include "commands/groups.h"

#include <algorithm>
#include <array>
#include <set>

#include <poll.h>

#include <tagwirexx/stream.hpp>

#include "format.h"
#include "option.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "watch/keyboard.h"
#include "watch/live_table.h"
#include "watch/presence.h"

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds redraw_interval{200};
constexpr milliseconds departure_interval{100};
constexpr milliseconds usual_away{3000};
constexpr std::size_t batch = 256;
constexpr int most_batches = 64;  // between two looks at the keys and the clock

struct Options {
    Target target = Target::a;
    std::optional<milliseconds> duration;
    milliseconds quiet_after = std::chrono::seconds(10);
    std::optional<milliseconds> away_after;
    std::string recording;
    bool reconnect = false;
    bool events = false;
    bool csv = false;
};

enum class Form { live, text, json, csv };

Form form_of(const Session& session, const Options& options)
{
    if (session.options.json) return Form::json;
    if (options.csv) return Form::csv;
    return session.out.is_terminal() && !options.events ? Form::live : Form::text;
}

// Text that commas and quotes do not break.
std::string csv_cell(const std::string& text)
{
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string cell = "\"";
    for (const char c : text) cell += c == '"' ? "\"\"" : std::string(1, c);
    return cell + '"';
}

// A line for each report, or for each tag that comes or leaves.
class Lines {
  public:
    Lines(Session& session, const Options& options, Form form)
        : out_(session.out), form_(form), names_readers_(session.readers.size() > 1), options_(options),
          presence_(options.away_after.value_or(usual_away))
    {
        if (form == Form::csv)
            out_.line(options.events ? "time,reader,event,epc,antenna,rssi,reads,seconds"
                                     : "time,reader,epc,tid,antenna,rssi");
    }

    void report(const Read& read, const std::string& reader)
    {
        if (options_.events) {
            if (presence_.add(read, reader)) event("arrive", {read, read, reader, 1}, read.received.wall);
            return;
        }
        if (form_ == Form::json) return object(report_json(read), reader);
        if (form_ == Form::text) return line(report_line(read), reader);
        out_.line(fmt::format("{},{},{},{},{},{}", timestamp_text(read.received.wall), csv_cell(reader),
                              id_of(read), read.tid ? read.tid->to_string() : "", read.port.number(),
                              read.rssi));
    }
    void departures(const std::set<std::string>& away_readers)
    {
        if (!options_.events) return;
        const auto now = moment_now();
        for (const auto& stay : presence_.take_departed(now.steady, away_readers))
            event("depart", stay, now.wall);
    }
    void object(Json fields, const std::string& reader)
    {
        fields["reader"] = reader;
        out_.line(json_line(fields));
    }

  private:
    void line(std::string text, const std::string& reader)
    {
        if (names_readers_) text.insert(text.find("  ") + 2, reader + "  ");
        out_.line(text);
    }
    void event(const std::string& what, const Stay& stay, std::chrono::system_clock::time_point at)
    {
        const std::chrono::duration<double> length = stay.last.received.steady - stay.first.received.steady;
        const auto time = timestamp_text(at);
        if (form_ == Form::json) {
            Json fields{{"type", what}, {"time", time}};
            add_reading(fields, stay.last);
            if (what == "depart") fields.update({{"reads", stay.reads}, {"seconds", length.count()}});
            return object(fields, stay.reader);
        }
        if (form_ == Form::csv)
            return out_.line(fmt::format("{},{},{},{},{},{},{},{:.3f}", time, csv_cell(stay.reader), what,
                                         id_of(stay.last), stay.last.port.number(), stay.last.rssi,
                                         stay.reads, length.count()));
        line(fmt::format("{}  {}  {}{}", time, what, reading_text(stay.last),
                         what == "depart" ? fmt::format("  reads {} in {:.1f} s", stay.reads, length.count())
                                          : ""),
             stay.reader);
    }

    Output& out_;
    Form form_;
    bool names_readers_;
    const Options& options_;
    Presence presence_;
};

class Watch {
  public:
    Watch(Session& session, const Options& options)
        : session_(session), out_(session.out), options_(options), form_(form_of(session, options)),
          lines_(session, options, form_)
    {
        for (const auto& reader : session.readers) {
            SourceOptions source{.name = reader.name, .probe_after = options.quiet_after};
            source.plan.target = options.target;
            stream_.add(reader.url, source);
            live_.readers.push_back({reader.name, State::connecting, {}, {}, 0});
        }
        if (!options.recording.empty()) stream_.record(options.recording);
    }

    int run()
    {
        if (form_ == Form::live) keyboard_.emplace();
        session_.interrupts.arm();
        stream_.start();
        start_ = steady_clock::now();
        while (goes_on()) {
            redraw();
            wait();
            take();
            press_keys();
            out_.check();
        }
        finish();
        return has_failed_ ? exit_failure : exit_success;
    }

  private:
    bool goes_on() const
    {
        return !is_over_ && !session_.interrupts.interrupted() && !out_.closed() &&
               (!options_.duration || steady_clock::now() - start_ < *options_.duration);
    }

    // For events, for the next redraw, for the end, or until nobody looks any more.
    void wait() const
    {
        std::optional<milliseconds> timeout;
        if (form_ == Form::live) timeout = redraw_interval;
        if (options_.events) timeout = departure_interval;
        if (options_.duration) {
            const auto left =
                std::chrono::ceil<milliseconds>(start_ + *options_.duration - steady_clock::now());
            timeout = std::clamp(left, milliseconds(0), timeout.value_or(std::chrono::hours(1)));
        }
        // A live table is redrawn at its own pace, whether reports wait or not.
        std::array<pollfd, 4> fds{pollfd{session_.interrupts.fd(), POLLIN, 0}, pollfd{out_.fd(), 0, 0},
                                  pollfd{form_ == Form::live ? -1 : stream_.fd(), POLLIN, 0},
                                  pollfd{keyboard_ ? keyboard_->fd() : -1, POLLIN, 0}};
        poll(fds.data(), fds.size(), timeout ? static_cast<int>(timeout->count()) : -1);
    }

    void take()
    {
        std::size_t count = events_.size();
        for (int batches = 0; batches < most_batches && count == events_.size(); ++batches) {
            count = stream_.take(events_, milliseconds(0));
            for (std::size_t i = 0; i < count; ++i) take_event(events_[i]);
            if (form_ != Form::live) out_.flush();
        }
        lines_.departures(away_);
        if (form_ != Form::live) out_.flush();
    }

    void take_event(const Event& event)
    {
        if (const auto* const read = event.read()) {
            live_.tags.add(*read, event.source());
            total_.add(read->received.steady);
            rates_[event.source()].add(read->received.steady);
            if (form_ != Form::live) lines_.report(*read, event.source());
        } else if (const auto* const change = event.state()) {
            take_state(event.source(), *change);
        } else if (const auto* const missing = event.gap()) {
            dropped_ += missing->count;
            if (form_ == Form::json)
                lines_.object(
                    {{"type", "gap"}, {"count", missing->count}, {"first", missing->first_sequence}},
                    event.source());
        }
    }

    void take_state(const std::string& reader, const StateChange& change)
    {
        // What one that was given up did before it knew is no news.
        if (change.state == State::stopped || (!options_.reconnect && away_.contains(reader))) return;
        auto& line = *std::find_if(live_.readers.begin(), live_.readers.end(),
                                   [&](const ReaderLine& known) { return known.name == reader; });
        const bool is_away = change.state == State::lost || change.state == State::waiting;
        const bool is_back = change.state == State::streaming || change.state == State::quiet;
        if (change.state != State::connecting || line.reason.empty()) line.state = change.state;
        if (is_away || is_back) {
            const bool is_news = is_away ? line.reason != change.reason : away_.contains(reader);
            line.reason = is_away ? change.reason : "";
            if (is_news) tell_state(reader, change);
        }
        if (is_back) away_.erase(reader);
        if (!is_away) return;
        away_.insert(reader);
        if (options_.reconnect) return;
        has_failed_ = true;
        count();
        stream_.remove(reader);
        is_over_ = away_.size() == live_.readers.size();
    }

    // Nobody waits for a reader that is lost for good.
    Json state_fields(const StateChange& change) const
    {
        const bool is_back = change.reason.empty() || change.state == State::streaming;
        const bool is_over = !is_back && !options_.reconnect;
        const auto state = is_over && change.state == State::waiting ? State::stopped : change.state;
        Json fields{{"type", "state"}, {"state", to_string(state)}, {"reason", change.reason}};
        if (is_over) fields["error"] = change.reason;
        return fields;
    }
    void tell_state(const std::string& reader, const StateChange& change)
    {
        if (form_ == Form::json) lines_.object(state_fields(change), reader);
        const std::string what = change.state == State::lost ? "connection lost: " + change.reason
                                 : change.reason.empty()     ? "connected again"
                                                             : change.reason;
        if (form_ != Form::live) return complain(fmt::format("{}: {}", reader, what));
        if (!options_.reconnect) told_later_.push_back(fmt::format("{}: {}", reader, what));
    }

    void count()
    {
        const auto sources = stream_.sources();
        for (auto& reader : live_.readers) {
            if (std::find(sources.begin(), sources.end(), reader.name) != sources.end())
                reader.counters = stream_.counters(reader.name);
            reader.rate = rates_[reader.name].rate(steady_clock::now());
        }
        live_.elapsed = steady_clock::now() - start_;
        live_.rate = total_.rate(steady_clock::now());
    }

    void redraw()
    {
        if (form_ != Form::live) return;
        count();
        if (!view_.is_paused()) frozen_.reset();
        if (view_.is_paused() && !frozen_) frozen_.emplace(live_, moment_now());
        const auto size = terminal_size(out_.fd());
        const auto lines = frozen_ ? view_.render(frozen_->first, size, frozen_->second, has_colours(out_))
                                   : view_.render(live_, size, moment_now(), has_colours(out_));
        out_.text(screen_.draw(lines, size));
        out_.flush();
    }

    void press_keys()
    {
        while (const auto key = keyboard_ ? keyboard_->take() : std::nullopt) {
            if (!view_.press(*key)) is_over_ = true;
        }
    }

    void finish()
    {
        const auto elapsed = steady_clock::now() - start_;
        stream_.stop();
        while (!stream_.stopped()) take();
        count();
        if (!options_.recording.empty()) stream_.stop_recording();
        if (const auto lost = stream_.recording_lost(); lost != 0) {
            complain(fmt::format("{}: {} bytes could not be written", options_.recording, lost));
            has_failed_ = true;
        }
        frozen_.reset();
        redraw();
        if (form_ == Form::json)
            for (const auto& reader : live_.readers) show_link(reader);
        out_.flush();
        for (const auto& text : told_later_) complain(text);
        if (!out_.closed() || session_.interrupts.interrupted()) tell(summary(elapsed));
    }

    void show_link(const ReaderLine& reader)
    {
        const auto& counted = reader.counters;
        lines_.object({{"type", "link"},
                       {"bytes", counted.bytes},
                       {"frames", counted.frames},
                       {"bad_crc", counted.bad_crc},
                       {"skipped_bytes", counted.skipped_bytes},
                       {"reports", counted.received},
                       {"dropped", counted.dropped},
                       {"reconnects", counted.reconnects},
                       {"overruns", counted.overruns}},
                      reader.name);
    }

    std::string summary(std::chrono::duration<double> elapsed) const
    {
        const auto reads = static_cast<double>(live_.tags.reads());
        auto text = fmt::format("{} ({:.1f} reads/s)", summary_text(live_.tags, elapsed),
                                elapsed.count() > 0 ? reads / elapsed.count() : 0);
        std::uint64_t bad = 0;
        std::uint64_t skipped = 0;
        for (const auto& reader : live_.readers) {
            bad += reader.counters.bad_crc;
            skipped += reader.counters.skipped_bytes;
        }
        if (dropped_ != 0) text += fmt::format(", {} reports dropped", dropped_);
        if (bad != 0) text += fmt::format(", {} frames damaged on the line", bad);
        if (skipped != 0) text += fmt::format(", {} bytes skipped", skipped);
        if (live_.tags.reads() == 0 && !has_failed_)
            text += "; should there be tags, 'tagwire doctor' looks for why";
        return text;
    }

    Session& session_;
    Output& out_;
    Options options_;
    Form form_;
    Lines lines_;
    Stream stream_{StreamOptions{.capacity = 65536}};
    std::array<Event, batch> events_;
    steady_clock::time_point start_;
    LiveState live_;
    RateMeter total_;
    std::map<std::string, RateMeter> rates_;
    std::set<std::string> away_;           // readers
    std::vector<std::string> told_later_;  // behind the live table
    std::uint64_t dropped_ = 0;
    bool has_failed_ = false;
    bool is_over_ = false;
    std::optional<Keyboard> keyboard_;
    LiveView view_;
    LiveScreen screen_;
    std::optional<std::pair<LiveState, Received>> frozen_;
};

void add_options(CLI::App& command, Options& options)
{
    const auto time = [](const std::string& text, const std::string& name) {
        return parse_seconds(text, name);
    };
    option(command, "--seconds", options.duration, time, "end after so many seconds; otherwise at Ctrl-C");
    option(command, "--target", options.target, one_of(targets), "whose tags are read, A or B", "A|B");
    command.add_flag("--events", options.events,
                     "a line for each tag that comes or leaves, not for each report");
    option(command, "--away-after", options.away_after, time,
           "seconds without a report after which a tag has left, with --events; 3 by default");
    command.add_flag("--reconnect", options.reconnect, "when a reader is lost, go on until it is back");
    option(command, "--quiet-after", options.quiet_after, time,
           "seconds without a report after which the reader is asked whether it is still there");
    command.add_option("--record", options.recording, "keep every byte of the links in this file")
        ->type_name("FILE");
    command.add_flag("--csv", options.csv, "print comma-separated values");
    command.footer(
        R"(On a terminal a table of all tags is kept up to date: n e p r c s a sort by first seen, EPC, port, RSSI,
count, reads/s and age; / shows some EPCs only, space pauses, q ends. Tags that have just come are green, those
not read for 3 s are faint. Into a pipe or a file, and with --json or --csv, every report is a line of its own.

A reader that is lost ends the command with exit code 1, once no reader is left, unless --reconnect is given.
After 10 s without a report a reader is asked whether it is still there (--quiet-after).

Examples:
  tagwire watch --reader tcp://192.0.2.10:6000
  tagwire watch --reader in=tcp://192.0.2.10:6000 --reader out=tcp://192.0.2.11:6000 --reconnect
  tagwire watch --seconds 60 --json > reports.jsonl
  tagwire watch --events --away-after 5 | grep E280)");
}

Work plan(const Options& options)
{
    if (options.away_after && !options.events) throw UsageError("--away-after is for --events");
    return [options](Session& session) {
        if (options.csv && session.options.json) throw UsageError("use either --json or --csv");
        return Watch(session, options).run();
    };
}

}  // namespace

void add_watch_commands(Application& application)
{
    auto& command =
        add_command_with<Options>(application, nullptr, "watch",
                                  "Let readers read on their own and show every report.", add_options, plan);
    application.set_readers(command, Readers::together);
}

}  // namespace tagwire::tool
