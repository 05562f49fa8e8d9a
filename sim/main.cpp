// tagwire-sim: virtual readers from the command line.
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <pthread.h>
#include <sys/resource.h>

#include "control/order.h"
#include "control/server.h"
#include "scenario/fault.h"
#include "scenario/scenario.h"
#include "simulator.h"
#include "truth/score.h"

namespace {

using namespace tagwire::sim;

constexpr int usage_error = 2;

constexpr const char* examples = R"(
Examples:
  tagwire-sim                                        a reader with an empty field on a port of the system's choice
  tagwire-sim --listen 127.0.0.1:6000 --scenario demo.toml
  tagwire-sim --pty --pty-link /tmp/reader --scenario demo.toml --trace
  tagwire-sim --readers 255 --listen 127.0.0.1:6000  on 127.0.0.1 to 127.0.0.255, port 6000
  tagwire-sim --rate 1000 --batch 100000             a start pushes 100000 reports, then the reader falls quiet
  tagwire-sim --fault lose:count=3 --fault error:command=0x21,status=0x05
  tagwire-sim --scenario demo.toml --control /tmp/control
  tagwire-sim --scenario demo.toml --truth truth.jsonl
  tagwire-sim score truth.jsonl reports.jsonl        what a program read of the tags that were there
  tagwire-sim ctl /tmp/control unplug 2              while it runs; `tagwire-sim ctl --help` lists the orders

Faults are written KIND:KEY=VALUE,KEY=VALUE...
  split:at=2+7,ms=5     frames go out in pieces, cut at these bytes, with a gap between them
  delay:ms=50           frames go out later
  noise:bytes=00FF      bytes go out before a frame; trail: behind it
  flip:byte=4,bit=0     a bit of the frame is flipped
  set:byte=2,value=0x22 a byte is changed and the CRC made to fit
  lose                  frames do not go out
  hangup:after=3        the connection is closed after so many bytes of a frame
  silence               requests are ignored
  error:status=0x05     requests are answered with the status
  power:command=0xF9    once a request has been served, the reader loses its power for a moment
All take count=N (how many frames; 1 if not given, 0 for all), skip=N (let N pass before), chance=0.1 (that share of
them), from=S and until=S (seconds since the start), command=CODE and on=answers|reports|all.
)";

struct Place {
    std::string address;
    std::uint16_t port = 0;
};

struct Options {
    std::vector<std::string> listen;
    int ptys = 0;
    std::string pty_link;
    std::string scenario;
    std::optional<unsigned> address;
    std::optional<std::uint64_t> seed;
    std::optional<double> rate;
    std::optional<std::uint64_t> batch;
    std::optional<double> start_gap_ms;
    std::optional<double> air_time;
    std::vector<std::string> faults;
    unsigned readers = 1;
    bool trace = false;
    std::string control;
    std::string truth;
};

struct ScoreOptions {
    std::string truth;
    std::string reports;
    bool json = false;
};

struct ControlOptions {
    std::string path;
    unsigned reader = 1;
    std::vector<std::string> words;
};

Place parse_place(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    unsigned port = 0;
    const char* end = text.data() + text.size();
    const bool has_port = colon != std::string::npos;
    const auto result =
        has_port ? std::from_chars(text.data() + colon + 1, end, port) : std::from_chars_result{};
    if (!has_port || result.ec != std::errc() || result.ptr != end || port > 65535) {
        throw std::invalid_argument("--listen " + text +
                                    ": write ADDRESS:PORT, such as 127.0.0.1:6000; port 0 lets "
                                    "the system choose");
    }
    return {text.substr(0, colon), static_cast<std::uint16_t>(port)};
}

// 127.0.0.1 and 3 give 127.0.0.4.
std::string nth_address(const std::string& address, unsigned n)
{
    const std::size_t dot = address.rfind('.');
    unsigned last = 0;
    const char* end = address.data() + address.size();
    if (dot == std::string::npos || std::from_chars(address.data() + dot + 1, end, last).ec != std::errc()) {
        throw std::invalid_argument("'" + address + "' is not an IPv4 address; use one such as 127.0.0.1");
    }
    if (last + n > 255) {
        throw std::invalid_argument("--readers: " + address +
                                    " leaves no room for so many addresses; begin lower");
    }
    return address.substr(0, dot + 1) + std::to_string(last + n);
}

Scenario make_scenario(const Options& options)
{
    Scenario scenario = options.scenario.empty() ? Scenario{} : Scenario::from_file(options.scenario);
    ReaderSettings& reader = scenario.reader;
    if (options.address) reader.address = static_cast<std::uint8_t>(*options.address);
    if (options.seed) reader.seed = *options.seed;
    if (options.rate) reader.report_rate = *options.rate;
    if (options.start_gap_ms) reader.start_gap = seconds_to_time(*options.start_gap_ms / 1000);
    if (options.air_time) reader.air_time = *options.air_time;
    return scenario;
}

class PtyLink {
  public:
    PtyLink() = default;
    PtyLink(const PtyLink&) = delete;
    PtyLink& operator=(const PtyLink&) = delete;
    ~PtyLink()
    {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove(path_, ignored);
    }

    void make(const std::string& path, const std::string& target)
    {
        if (std::filesystem::is_symlink(std::filesystem::symlink_status(path))) std::filesystem::remove(path);
        std::filesystem::create_symlink(target, path);
        path_ = path;
    }

  private:
    std::string path_;
};

void set_up(Reader& reader, const Options& options)
{
    for (const std::string& fault : options.faults) reader.inject(Fault::parse(fault));
    if (options.batch) reader.set_batch(*options.batch);
}

void open_places(Simulator& simulator, std::vector<Reader*>& readers, const Options& options, PtyLink& link)
{
    const Scenario scenario = make_scenario(options);
    std::vector<Place> places;
    for (const std::string& text : options.listen) places.push_back(parse_place(text));
    if (!options.pty_link.empty() && options.ptys == 0) {
        throw std::invalid_argument("--pty-link links to a pseudo terminal; give --pty as well");
    }
    if (places.empty() && options.ptys == 0) places.push_back({"127.0.0.1", 0});
    for (unsigned i = 0; i < options.readers; ++i) {
        Scenario own = scenario;
        own.reader.seed += i;
        readers.push_back(&simulator.add_reader(own));
        set_up(*readers.back(), options);
        for (const Place& place : places) {
            const std::string address = nth_address(place.address, i);
            const std::uint16_t port = readers.back()->listen(address, place.port);
            std::printf("listening on %s:%u\n", address.c_str(), unsigned{port});
        }
        for (int pty = 0; pty < options.ptys; ++pty) {
            const std::string path = readers.back()->open_pty();
            std::printf("pty %s\n", path.c_str());
            if (i == 0 && pty == 0 && !options.pty_link.empty()) link.make(options.pty_link, path);
        }
    }
}

void print_trace(const TraceEvent& event)
{
    const double seconds = std::chrono::duration<double>(event.at).count();
    std::fprintf(stderr, "%12.6f #%llu %02X %s %s\n", seconds,
                 static_cast<unsigned long long>(event.connection), unsigned{event.address},
                 event.to_reader ? "->" : "<-", to_hex(event.bytes, " ").c_str());
}

void print_summary(const std::vector<Reader*>& readers)
{
    Counters sum;
    for (const Reader* reader : readers) {
        const Counters counters = reader->counters();
        sum.connections += counters.connections;
        sum.requests += counters.requests;
        sum.frames_sent += counters.frames_sent;
        sum.reports_sent += counters.reports_sent;
        sum.reports_dropped += counters.reports_dropped;
        sum.bad_frames += counters.bad_frames;
    }
    const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
    std::fprintf(stderr,
                 "tagwire-sim: %llu connections, %llu requests, %llu frames sent, %llu of them reports, %llu "
                 "reports dropped, %llu bad frames received\n",
                 number(sum.connections), number(sum.requests), number(sum.frames_sent),
                 number(sum.reports_sent), number(sum.reports_dropped), number(sum.bad_frames));
}

sigset_t block_end_signals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// Hundreds of readers need more descriptors than are usual.
void allow_many_descriptors()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

int run(const Options& options)
{
    allow_many_descriptors();
    const sigset_t signals = block_end_signals();
    PtyLink link;
    std::vector<Reader*> readers;
    Simulator simulator;
    if (options.trace) simulator.set_trace(print_trace);
    if (!options.truth.empty()) simulator.record_truth(options.truth);
    open_places(simulator, readers, options, link);
    std::optional<ControlServer> server;
    if (!options.control.empty()) server.emplace(options.control, readers);
    std::puts("ready");
    std::fflush(stdout);
    int signal = 0;
    ::sigwait(&signals, &signal);
    print_summary(readers);
    simulator.end_truth();
    return EXIT_SUCCESS;
}

int control(const ControlOptions& options)
{
    std::string words;
    for (const std::string& word : options.words) words += (words.empty() ? "" : " ") + word;
    const ControlAnswer answer = ask_control(options.path, options.reader, words);
    const std::string end = answer.text.empty() ? "" : "\n";
    if (answer.done)
        std::printf("%s%s", answer.text.c_str(), end.c_str());
    else
        std::fprintf(stderr, "tagwire-sim: %s%s", answer.text.c_str(), end.c_str());
    return answer.done ? EXIT_SUCCESS : usage_error;
}

int tell_score(const ScoreOptions& options)
{
    const Score result = score(options.truth, options.reports);
    std::fputs((options.json ? result.json() + "\n" : result.text()).c_str(), stdout);
    return EXIT_SUCCESS;
}

CLI::App* add_score(CLI::App& app, ScoreOptions& options)
{
    CLI::App* command = app.add_subcommand("score", "Hold what a program reported against the truth");
    command->add_option("TRUTH", options.truth, "The file that was given with --truth")->required();
    command
        ->add_option("REPORTS", options.reports,
                     "JSON lines with epc, such as `tagwire watch --json` prints, or CSV with a column epc")
        ->required();
    command->add_flag("--json", options.json, "As JSON");
    return command;
}

CLI::App* add_control(CLI::App& app, ControlOptions& options)
{
    CLI::App* ctl = app.add_subcommand("ctl", "Give an order to a reader that runs with --control");
    ctl->add_option("PATH", options.path, "The path that was given with --control")->required();
    ctl->add_option("--reader", options.reader, "Which reader of the program; the first is 1");
    ctl->add_option("WORDS", options.words, "The order")->required();
    ctl->footer("\nOrders:\n" + Order::list());
    return ctl;
}

void add_options(CLI::App& app, Options& options)
{
    app.add_option("--listen", options.listen, "Listen on ADDRESS:PORT; may be given several times")
        ->type_name("ADDRESS:PORT");
    app.add_flag("--pty{1}", options.ptys, "Open a pseudo terminal; --pty=N opens N")->type_name("N");
    app.add_option("--pty-link", options.pty_link, "Link to the first pseudo terminal; removed at the end")
        ->type_name("PATH");
    app.add_option("--scenario", options.scenario, "The reader and its tags, a TOML file")->type_name("FILE");
    app.add_option("--address", options.address, "Bus address of the reader")->check(CLI::Range(0, 0xFE));
    app.add_option("--seed", options.seed, "Seed of all that is left to chance");
    app.add_option("--rate", options.rate, "Reports a second while reading continuously")
        ->check(CLI::Range(0.0, 1e9));
    app.add_option("--batch", options.batch, "Reports that a start of reading pushes before it falls quiet");
    app.add_option("--start-gap", options.start_gap_ms,
                   "Milliseconds from the answer to a start to the first report")
        ->check(CLI::Range(0.0, 1e9));
    app.add_option("--air-time", options.air_time,
                   "Seconds that pass per second of air time; 0 answers at once")
        ->check(CLI::Range(0.0, 1e6));
    app.add_option("--fault", options.faults, "A fault, as described below; may be given several times")
        ->type_name("SPEC");
    app.add_option("--readers", options.readers, "So many readers, on consecutive addresses from --listen on")
        ->check(CLI::Range(1, 255));
    app.add_flag("--trace", options.trace, "Write all bytes with time and direction to standard error");
    app.add_option("--control", options.control,
                   "Take orders from `tagwire-sim ctl PATH` over a socket there")
        ->type_name("PATH");
    app.add_option("--truth", options.truth, "Write who was in which field, and what became of each report")
        ->type_name("FILE");
    app.footer(examples);
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("Virtual UHF RFID readers on TCP ports and pseudo terminals", "tagwire-sim");
    Options options;
    ControlOptions control_options;
    ScoreOptions score_options;
    add_options(app, options);
    const CLI::App* ctl = add_control(app, control_options);
    const CLI::App* score = add_score(app, score_options);
    try {
        app.parse(argc, argv);
        if (score->parsed()) return tell_score(score_options);
        return ctl->parsed() ? control(control_options) : run(options);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : usage_error;
    } catch (const ScenarioError& error) {
        std::fprintf(stderr, "tagwire-sim: %s\n", error.what());
        return usage_error;
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "tagwire-sim: %s\n", error.what());
        return usage_error;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tagwire-sim: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
