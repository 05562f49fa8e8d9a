#include "xx/stream/source.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netdb.h>
#include <thread>
#include <utility>

#include <tagwirexx/error.hpp>

#include "inventory/records.h"
#include "link/signals.h"
#include "link/system.h"
#include "xx/stream/reading_plan.h"

namespace tagwire {
inline namespace v1 {
namespace {

using engine::sys::calls;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr milliseconds attempt_limit = seconds(3);
constexpr milliseconds shortest_wait(250);
constexpr milliseconds answer_limit(500);
constexpr milliseconds start_limit(1500);
constexpr milliseconds probe_limit(1000);
constexpr milliseconds stop_limit(300);
constexpr milliseconds preparing_limit = seconds(1);  // then whether the helper is there is looked at
// A frame comes in one go; what looked like one is noise when its rest does not follow.
constexpr milliseconds frame_limit(50);
constexpr std::uint32_t input = EPOLLIN | EPOLLRDHUP;
constexpr const char* cannot_watch = "the system cannot watch another connection";

// Where any device will do, the next one at each attempt.
Url device_for(Url url, unsigned attempt)
{
    if (!url.device.empty()) return url;
    const auto devices = find_serial_devices();
    if (devices.empty()) throw Error(Errc::cannot_open, "open", url.text, "no serial device is there");
    url.device = devices[attempt % devices.size()];
    return url;
}

// A name may take as long as the system likes; of several addresses, the next one at each attempt.
in_addr host_of(const Url& url, unsigned attempt)
{
    std::vector<in_addr> hosts;
    const int error = look_up(url.host, hosts);
    if (error != 0 || hosts.empty())
        throw Error(Errc::cannot_open, "open", url.text,
                    std::string("the name cannot be resolved: ") + ::gai_strerror(error));
    return hosts[attempt % hosts.size()];
}

std::string seconds_text(milliseconds time) { return std::to_string(time.count() / 1000) + " s"; }

}  // namespace

Source::Source(IoLoop& loop, EventQueue& queue, std::shared_ptr<Lane> lane, Url url, SourceOptions options,
               milliseconds longest_wait)
    : loop_(loop), queue_(queue), lane_(std::move(lane)), url_(std::move(url)), options_(std::move(options)),
      longest_wait_(std::max(longest_wait, shortest_wait)), bytes_(buffer_, sizeof buffer_),
      random_(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this) >> 4U))
{}

// ---- connecting

void Source::begin() { attempt(); }

void Source::attempt()
{
    ++attempts_;
    show(State::connecting, {});
    step_ = Step::opening;
    limit(attempt_limit);
    in_addr host{};
    if (!url_.serial && ::inet_pton(AF_INET, url_.host.c_str(), &host) == 1) return connect(host);
    open_aside();
}

// On a thread of its own, which nobody waits for. `then` takes what it brings on the loop's thread. False where
// there is no thread for it.
template <class Brought>
bool Source::aside(const std::shared_ptr<Brought>& brought, std::function<void(Brought&)> bring,
                   void (Source::*then)(Brought&))
{
    auto work = [mailbox = loop_.mailbox(), self = weak_from_this(), brought, bring = std::move(bring),
                 then]() mutable {
        try {
            bring(*brought);
            mailbox->post([self, brought = std::move(brought), then] {
                if (const auto source = self.lock()) (source.get()->*then)(*brought);
            });
        } catch (...) {  // there was no memory: the step comes to its end, and another attempt follows
        }
    };
    try {
        const engine::AsynchronousSignalsBlocked blocked;
        std::thread(std::move(work)).detach();
        return true;
    } catch (const std::exception& error) {
        lose(std::string("no thread for a helper: ") + error.what());
        return false;
    }
}

// A name that does not resolve holds up nothing. There is one helper at a time; a later attempt takes what an
// earlier one's brings.
void Source::open_aside()
{
    if (!opening_.expired()) return;
    const auto opened = std::make_shared<Opened>();
    opening_ = opened;
    aside<Opened>(
        opened, [url = url_, attempt = attempts_](Opened& out) { bring(url, attempt, out); }, &Source::use);
}

void Source::bring(const Url& url, unsigned attempt, Opened& opened)
{
    try {
        if (url.serial) opened.line = open_serial(device_for(url, attempt));
        if (!url.serial) opened.host = host_of(url, attempt);
    } catch (const Error& error) {
        opened.problem = error.what();
    }
}

void Source::use(Opened& opened)
{
    if (step_ != Step::opening) return;  // the attempt is over
    if (!opened.problem.empty()) return lose(opened.problem);
    if (!url_.serial) return connect(opened.host);
    link_.fd = std::move(opened.line);
    if (watch_input()) ask_who(Step::asking);
}

void Source::connect(const in_addr& host)
{
    int error = 0;
    try {
        link_.fd = begin_connect(host, url_.port, error);
    } catch (const Error& failure) {
        return lose(failure.what());
    }
    if (error != 0 && error != EINPROGRESS) return lose(connect_failure_text(url_.host, error));
    step_ = Step::connecting;
    if (!loop_.watch(link_.fd.get(), EPOLLOUT, *this)) lose(cannot_watch);
}

void Source::finish_connecting()
{
    int error = 0;
    socklen_t size = sizeof error;
    if (calls.getsockopt(link_.fd.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    if (error != 0) return lose(connect_failure_text(url_.host, error));
    loop_.change(link_.fd.get(), input, *this);
    ask_who(Step::asking);
}

void Source::ask_who(Step step)
{
    step_ = step;
    saw_reports_ = false;
    limit(step == Step::probing ? probe_limit : answer_limit);
    send(engine::make_question(url_.address, engine::information_command));
}

// How the reader tells ports, where nobody has said it: those with more than fit into a mask tell their number.
void Source::learn_ports()
{
    if (url_.antenna_byte) return prepare();
    step_ = Step::asking_ports;
    limit(answer_limit);
    send(engine::make_question(url_.address, engine::antenna_power_command));
}

// Sets what the program wants set, on a helper's thread, as a Reader.
void Source::prepare()
{
    if (!options_.profile && options_.plan.is_empty()) return start_reading(Step::starting);
    const auto lent = std::make_shared<Lent>();
    lent->link = lend_link();
    step_ = Step::preparing;
    lending_ = lent;
    limit(preparing_limit);
    aside<Lent>(
        lent,
        [information = information_, options = options_](Lent& out) {
            try {
                Reader reader = Reader::Inside::around(std::move(out.link), information);
                tagwire::prepare(reader, options);
                out.link = Reader::Inside::take_back(std::move(reader));
            } catch (const Error& error) {
                out.problem = error.what();
            }
        },
        &Source::go_on_prepared);
}

void Source::go_on_prepared(Lent& lent)
{
    if (step_ != Step::preparing) return;
    step_ = Step::starting;
    if (done_) return finish_end();
    if (!lent.problem.empty()) return lose("the reader cannot be set as it is wanted: " + lent.problem);
    if (take_link(std::move(lent.link))) start_reading(Step::starting);
}

// The link is somebody else's until it comes back.
OpenLink Source::lend_link()
{
    loop_.clear_timer(*this);
    loop_.forget(link_.fd.get(), *this);
    incomplete_since_.reset();
    bytes_ = {buffer_, sizeof buffer_};
    link_.serial = url_.serial;
    link_.address = url_.address;
    link_.antenna_byte = url_.antenna_byte;
    link_.name = url_.text;
    return std::exchange(link_, {});
}

bool Source::take_link(OpenLink link)
{
    if (link.antenna_byte) url_.antenna_byte = link.antenna_byte;  // the reader was asked
    link_ = std::move(link);
    return watch_input();
}

bool Source::watch_input()
{
    if (loop_.watch(link_.fd.get(), input, *this)) return true;
    lose(cannot_watch);
    return false;
}

void Source::start_reading(Step step)
{
    step_ = step;
    saw_reports_ = false;
    limit(start_limit);
    send(engine::make_question(url_.address, engine::start_command,
                               {static_cast<std::uint8_t>(options_.plan.target)}));
}

void Source::stop_reading(Step step)
{
    step_ = step;
    limit(stop_limit);
    send(engine::make_question(url_.address, engine::stop_command));
}

// ---- reading

void Source::begin_reading(const std::string& remark)
{
    if (step_ == Step::starting && has_streamed_) ++counted_.reconnects;
    has_streamed_ = true;
    step_ = Step::reading;
    attempts_ = 0;
    last_life_ = steady_clock::now();
    if (options_.duty && !is_quiet_) duty_end_ = last_life_ + options_.duty->on;
    if (std::exchange(is_quiet_, false) && !saw_reports_)
        show(State::quiet, "the reader answers, no tag is read");
    else
        show(State::streaming, remark);
    tell_resumed();
    if (taker_) return stop_reading(Step::stopping_to_park);
    rest_or_probe();
}

void Source::tell_resumed()
{
    if (resumed_) std::exchange(resumed_, {})();
}

void Source::begin_resting()
{
    step_ = Step::resting;
    if (taker_) return give_link_away();
    show(State::paused, "duty cycle");
    limit(options_.duty->off);
}

// What comes next by itself while reading runs.
void Source::rest_or_probe()
{
    const SteadyTime now = steady_clock::now();
    count_overruns(now);
    if (options_.duty && now >= duty_end_) return stop_reading(Step::stopping_to_rest);
    const SteadyTime probe = last_life_ + options_.probe_after;
    if (now >= probe) {
        show(State::probing, "nothing came for " + seconds_text(options_.probe_after));
        return ask_who(Step::probing);
    }
    step_end_ = options_.duty ? std::min(probe, duty_end_) : probe;
    if (options_.inputs_every) step_end_ = std::min(step_end_, ask_inputs(now));
    arm();
}

// When they are to be asked for next.
SteadyTime Source::ask_inputs(SteadyTime now)
{
    if (now >= inputs_due_) {
        inputs_due_ = now + *options_.inputs_every;
        send(engine::make_question(url_.address, engine::lines_command));
    }
    return inputs_due_;
}

void Source::on_time()
{
    const auto alive = shared_from_this();
    const SteadyTime now = steady_clock::now();
    if (incomplete_since_ && now >= *incomplete_since_ + frame_limit) give_frame_up();
    if (step_ == Step::ended || is_out_of_room_) return;
    if (now < step_end_) return arm();
    switch (step_) {
    case Step::waiting: return attempt();
    case Step::opening:
    case Step::connecting: return lose("no connection within " + seconds_text(attempt_limit));
    case Step::asking: return stop_reading(Step::clearing);
    case Step::clearing: return ask_who(Step::asking_again);
    case Step::asking_again:
        return lose("connected, but nobody answers: is it a reader, and its address right?");
    case Step::asking_ports: return prepare();
    case Step::preparing:
        return lending_.expired() ? lose("there was no memory to set the reader") : limit(preparing_limit);
    case Step::starting:
    case Step::restarting:
        if (saw_reports_) return begin_reading("it reads by itself");
        return lose("the reader does not answer the start of reading");
    case Step::reading: return rest_or_probe();
    case Step::probing: return stop_reading(Step::stopping_to_restart);
    case Step::stopping_to_restart: return start_reading(Step::restarting);
    case Step::stopping_to_rest: return begin_resting();
    case Step::resting: return start_reading(Step::restarting);
    case Step::stopping_to_park: return give_link_away();
    case Step::stopping_to_end: return finish_end();
    case Step::idle:
    case Step::parked:
    case Step::ended: return;
    }
}

// ---- ends

void Source::lose(const std::string& reason)
{
    close_link();
    if (taker_) std::exchange(taker_, {})({{}, {}, reason});
    tell_resumed();
    is_quiet_ = false;
    if (done_) return finish_end();
    const bool streamed = attempts_ == 0;
    show(streamed ? State::lost : State::waiting, reason);
    step_ = Step::waiting;
    const unsigned doublings = std::min(attempts_ > 0 ? attempts_ - 1 : 0U, 16U);
    const auto wait = std::min(shortest_wait * (1 << doublings), longest_wait_);
    // Earlier by up to a quarter, so that many readers do not come all at once.
    limit(wait - wait * static_cast<int>(random_() % 256) / 1024);
}

void Source::close_link()
{
    if (has_link_in_use() && !is_out_of_room_) loop_.forget(link_.fd.get(), *this);
    link_ = {};
    skipped_.clear();
    is_out_of_room_ = false;
    incomplete_since_.reset();
    overruns_.reset();
    overruns_due_ = {};
    bytes_ = {buffer_, sizeof buffer_};
}

void Source::end(std::function<void()> done)
{
    if (step_ == Step::ended) return done();
    if (done_) {
        done_ = [first = std::move(done_), second = std::move(done)] {
            first();
            second();
        };
        return;
    }
    done_ = std::move(done);
    is_ending_ = true;
    if (taker_) std::exchange(taker_, {})({{}, {}, "the stream has been stopped"});
    switch (step_) {
    case Step::starting:
    case Step::reading:
    case Step::probing:
    case Step::restarting:
    case Step::stopping_to_restart: stop_reading(Step::stopping_to_end); return go_on();
    case Step::preparing:
    case Step::parked: return;  // until the link comes back
    case Step::stopping_to_park: step_ = Step::stopping_to_end; return;
    case Step::stopping_to_rest:
        step_ = Step::stopping_to_end;
        limit(stop_limit);
        return;
    default: return finish_end();
    }
}

void Source::end_now()
{
    if (step_ != Step::ended) finish_end();
}

void Source::finish_end()
{
    loop_.clear_timer(*this);
    close_link();
    step_ = Step::ended;
    tell_resumed();
    if (done_) std::exchange(done_, {})();
}

void Source::park(TakeLink taker)
{
    switch (step_) {
    case Step::reading:
    case Step::probing:
    case Step::resting: break;
    case Step::starting:
    case Step::stopping_to_restart:
    case Step::restarting:
    case Step::stopping_to_rest: taker_ = std::move(taker); return;  // when that has come to its end
    default: return taker({{}, {}, std::string("the reader is not there now: ") + to_string(shown_)});
    }
    taker_ = std::move(taker);
    if (step_ == Step::resting) return give_link_away();
    stop_reading(Step::stopping_to_park);
    go_on();  // what comes until the answer is taken in any case
}

void Source::record(std::shared_ptr<Recorder> recorder, std::uint16_t number)
{
    recorder_ = std::move(recorder);
    number_ = number;
}

void Source::give_link_away()
{
    OpenLink link = lend_link();
    step_ = Step::parked;
    show(State::paused, "paused by the program");
    std::exchange(taker_, {})({std::move(link), information_, {}});
}

void Source::unpark(OpenLink link, std::function<void()> resumed)
{
    resumed_ = std::move(resumed);
    if (step_ != Step::parked) return tell_resumed();
    step_ = Step::restarting;
    if (done_) return finish_end();
    if (!link.fd) return lose("lost while it was paused");
    if (take_link(std::move(link))) start_reading(Step::restarting);
}

// ---- time and state

void Source::on_failure() noexcept
{
    try {
        lose("there was no memory");
    } catch (...) {
        step_ = Step::waiting;
    }
}

void Source::limit(milliseconds time)
{
    step_end_ = steady_clock::now() + time;
    arm();
}

void Source::arm()
{
    loop_.set_timer(*this,
                    incomplete_since_ ? std::min(step_end_, *incomplete_since_ + frame_limit) : step_end_);
}

void Source::show(State state, const std::string& reason)
{
    shown_ = state;
    hand_over();
    if (is_ending_) return;
    queue_.with_lock([&](EventQueue& queue) { queue.put(lane_, state, reason, attempts_); });
}

}  // namespace v1
}  // namespace tagwire
