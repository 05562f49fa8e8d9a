#include "commands/groups.h"
#include "errors.h"
#include "format.h"
#include "parse.h"
#include "reports.h"
#include "table_view.h"
#include "tag_table.h"
#include "tagwire/reading.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <poll.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::steady_clock;

struct WatchArguments {
    std::string target = "0";
    std::string seconds;
};

struct WatchPlan {
    std::uint8_t target = 0;
    std::optional<std::chrono::milliseconds> duration;
};

WatchPlan plan_from(const WatchArguments& arguments)
{
    WatchPlan plan;
    plan.target = static_cast<std::uint8_t>(parse_number(arguments.target, "--target", 0, 255));
    if (!arguments.seconds.empty()) plan.duration = parse_seconds(arguments.seconds);
    return plan;
}

// The reader reads on its own while this lives.
class ContinuousReading {
  public:
    ContinuousReading(const ReaderConnection& reader, std::uint8_t target) : reader_(reader)
    {
        auto address = reader.address();
        const int code = StartRead(&address, target, reader.handle());
        if (code == TAGWIRE_OK) return;
        // The reader may have understood, and only its answer been lost: it must not read on with nobody
        // listening.
        stop();
        reader.require_success(code, Operation::StartRead);
    }
    ~ContinuousReading() { stop(); }
    ContinuousReading(const ContinuousReading&) = delete;
    ContinuousReading& operator=(const ContinuousReading&) = delete;

    int stop()
    {
        if (std::exchange(stopped_, true)) return TAGWIRE_OK;
        auto address = reader_.address();
        return StopRead(&address, reader_.handle());
    }

  private:
    const ReaderConnection& reader_;
    bool stopped_ = false;
};

// Shows reports as they come, and keeps the account of them.
class WatchView {
  public:
    static constexpr std::chrono::milliseconds redraw_interval{200};

    explicit WatchView(Session& session)
        : out_(session.out), json_(session.options.json), live_(!json_ && out_.is_terminal()),
          start_(Moment::now())
    {}

    bool is_live() const { return live_; }

    void add(const std::vector<Report>& reports)
    {
        for (const auto& report : reports) {
            table_.add(report.tag, report.at);
            total_.add(report.at.steady);
            if (!live_) out_.line(json_ ? json_line(report_json(report)) : report_line(report));
        }
        if (!live_) out_.flush();
    }

    void redraw(std::uint64_t dropped)
    {
        if (!live_) return;
        const auto now = Moment::now();
        const auto size = terminal_size(out_.fd());
        const TableStatus status{now.steady - start_.steady, total_.rate(now.steady), dropped};
        out_.text(screen_.draw(render_table(table_, status, size, now), size));
        out_.flush();
    }

    std::string summary(std::chrono::duration<double> elapsed, std::uint64_t dropped) const
    {
        const auto rate = elapsed.count() > 0 ? static_cast<double>(table_.reads()) / elapsed.count() : 0;
        auto text = fmt::format("{} ({:.1f} reads/s)", summary_text(table_, elapsed), rate);
        if (dropped != 0) text += fmt::format(", {} reports dropped", dropped);
        return text;
    }

  private:
    Output& out_;
    bool json_;
    bool live_;
    Moment start_;
    TagTable table_;
    RateMeter total_;
    LiveScreen screen_;
};

// Waits for reports, for the next redraw, for the end, or until nobody looks any more.
void wait_for_news(const Session& session, const ReportQueue& queue, bool live,
                   std::optional<steady_clock::time_point> end)
{
    std::optional<std::chrono::milliseconds> timeout;
    if (live) timeout = WatchView::redraw_interval;
    if (end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - steady_clock::now());
        timeout = std::clamp(left, std::chrono::milliseconds(0), timeout.value_or(std::chrono::hours(1)));
    }
    // A live table is redrawn at its own pace, whether reports wait or not.
    std::array<pollfd, 3> fds{pollfd{session.interrupts.fd(), POLLIN, 0}, pollfd{session.out.fd(), 0, 0},
                              pollfd{live ? -1 : queue.fd(), POLLIN, 0}};
    poll(fds.data(), fds.size(), timeout ? static_cast<int>(timeout->count()) : -1);
}

void show_until_end(Session& session, ReportQueue& queue, WatchView& view,
                    std::optional<std::chrono::milliseconds> duration)
{
    std::optional<steady_clock::time_point> end;
    if (duration) end = steady_clock::now() + *duration;
    while (!session.interrupts.interrupted() && !session.out.closed()) {
        view.redraw(queue.dropped());
        if (end && steady_clock::now() >= *end) return;
        wait_for_news(session, queue, view.is_live(), end);
        view.add(queue.take());
        session.out.check();
    }
}

int watch(Session& session, const WatchPlan& plan)
{
    constexpr std::size_t most_waiting = 65536;
    const auto connection = connect(session);
    auto& reader = *connection;
    ReportQueue queue(most_waiting);
    std::optional<ReportSubscription> subscription(
        std::in_place, reader.handle(), ReportSubscription::Delivery::ReportsOnly,
        [&queue](const RFIDTag& report, int kind) { queue.push(report, kind); });
    ContinuousReading reading(reader, plan.target);
    WatchView view(session);
    const auto start = steady_clock::now();
    show_until_end(session, queue, view, plan.duration);

    const auto elapsed = steady_clock::now() - start;
    const int stopped = reading.stop();
    // Reports that were under way may come until the connection is closed.
    const int closed = reader.close();
    subscription.reset();
    view.add(queue.take());
    view.redraw(queue.dropped());
    if (!session.out.closed() || session.interrupts.interrupted())
        tell(view.summary(elapsed, queue.dropped()));
    reader.require_success(stopped, Operation::StopRead);
    reader.require_success(closed, Operation::Close);
    return exit_success;
}

}  // namespace

void add_watch_commands(Application& application)
{
    const auto arguments = std::make_shared<WatchArguments>();
    auto& command = application.add_command(
        "watch", "Let the reader read on its own and show every report.", [arguments] {
            return Work([plan = plan_from(*arguments)](Session& session) { return watch(session, plan); });
        });
    command.add_option("--seconds", arguments->seconds, "end after so many seconds; otherwise at Ctrl-C")
        ->type_name("N");
    command
        .add_option("--target", arguments->target,
                    "target byte that the reader is told to read with, 0 to 255")
        ->type_name("N")
        ->capture_default_str();
    command.footer(
        R"(On a terminal a table of all tags is kept up to date. Into a pipe or a file, and with --json,
every report is a line of its own.

Examples:
  tagwire watch --reader tcp://192.0.2.10:6000
  tagwire watch --seconds 60 --json > reports.jsonl
  tagwire watch | grep E280)");
}

}  // namespace tagwire::tool
