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
#include "xx/values/reads.h"

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
// A frame comes in one go; what looked like one is noise when its rest does not follow.
constexpr milliseconds frame_limit(50);
constexpr std::size_t most_skipped = 256;
constexpr int reads_in_a_row = 8;
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

// On a thread of its own, which nobody waits for: a name that does not resolve holds up nothing. There is one
// at a time; a later attempt takes what an earlier one's brings.
void Source::open_aside()
{
    if (!opening_.expired()) return;
    auto opened = std::make_shared<Opened>();
    opening_ = opened;
    auto work = [url = url_, attempt = attempts_, mailbox = loop_.mailbox(), self = weak_from_this(),
                 opened]() mutable {
        try {
            bring(url, attempt, *opened);
            mailbox->post([self, opened = std::move(opened)] {
                if (const auto source = self.lock()) source->use(std::move(*opened));
            });
        } catch (...) {  // there was no memory: the attempt comes to its end, and another one follows
        }
    };
    try {
        const engine::AsynchronousSignalsBlocked blocked;
        std::thread(std::move(work)).detach();
    } catch (const std::exception& error) {
        lose(std::string("no thread for opening: ") + error.what());
    }
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

void Source::use(Opened opened)
{
    if (step_ != Step::opening) return;  // the attempt is over
    if (!opened.problem.empty()) return lose(opened.problem);
    if (!url_.serial) return connect(opened.host);
    link_.fd = std::move(opened.line.fd);
    link_.claim = std::move(opened.line.claim);
    if (!loop_.watch(link_.fd.get(), input, *this)) return lose(cannot_watch);
    ask_who(Step::asking);
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

void Source::start_reading(Step step)
{
    step_ = step;
    saw_reports_ = false;
    limit(start_limit);
    send(engine::make_question(url_.address, engine::start_command,
                               {static_cast<std::uint8_t>(options_.target)}));
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
    if (options_.duty && now >= duty_end_) return stop_reading(Step::stopping_to_rest);
    const SteadyTime probe = last_life_ + options_.probe_after;
    if (now >= probe) {
        show(State::probing, "nothing came for " + seconds_text(options_.probe_after));
        return ask_who(Step::probing);
    }
    step_end_ = options_.duty ? std::min(probe, duty_end_) : probe;
    arm();
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
    link_.fd.reset();  // in front of the claim
    link_ = {};
    skipped_.clear();
    is_out_of_room_ = false;
    incomplete_since_.reset();
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
    switch (step_) {
    case Step::starting:
    case Step::reading:
    case Step::probing:
    case Step::restarting:
    case Step::stopping_to_restart: stop_reading(Step::stopping_to_end); return go_on();
    case Step::parked: return;  // until the link comes back
    case Step::stopping_to_park:
        if (taker_) std::exchange(taker_, {})({{}, {}, "the stream has been stopped"});
        step_ = Step::stopping_to_end;
        return;
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
    loop_.clear_timer(*this);
    loop_.forget(link_.fd.get(), *this);
    incomplete_since_.reset();
    bytes_ = {buffer_, sizeof buffer_};
    step_ = Step::parked;
    show(State::paused, "paused by the program");
    link_.serial = url_.serial;
    link_.address = url_.address;
    link_.antenna_byte = url_.antenna_byte;
    link_.name = url_.text;
    std::exchange(taker_, {})({std::exchange(link_, {}), information_, {}});
}

void Source::unpark(OpenLink link, std::function<void()> resumed)
{
    resumed_ = std::move(resumed);
    if (step_ != Step::parked) return tell_resumed();
    step_ = Step::restarting;
    if (done_) return finish_end();
    if (!link.fd) return lose("lost while it was paused");
    if (link.antenna_byte) url_.antenna_byte = link.antenna_byte;  // the reader was asked
    link_ = std::move(link);
    if (!loop_.watch(link_.fd.get(), input, *this)) return lose(cannot_watch);
    start_reading(Step::restarting);
}

// ---- input

void Source::on_failure() noexcept
{
    try {
        lose("there was no memory");
    } catch (...) {
        step_ = Step::waiting;
    }
}

void Source::on_ready(std::uint32_t events)
{
    const auto alive = shared_from_this();
    if (step_ == Step::connecting) return finish_connecting();
    const bool is_empty = !take_input();
    // A socket tells by itself when all has been read; a device does not.
    const bool is_unplugged = url_.serial && is_empty && (events & (EPOLLHUP | EPOLLERR)) != 0;
    if (is_unplugged && has_link_in_use() && !is_out_of_room_) lose("the serial device is gone");
}

// False when nothing is left to read, or may be read.
bool Source::take_input()
{
    std::uint8_t chunk[sizeof buffer_];
    for (int i = 0; i < reads_in_a_row && has_link_in_use() && !is_out_of_room_; ++i) {
        const auto room = sizeof buffer_ - static_cast<std::size_t>(bytes_.size());
        const std::ptrdiff_t count = read_some(chunk, room);
        if (count <= 0) return false;
        received_ = {steady_clock::now(), std::chrono::system_clock::now()};
        counted_.bytes += static_cast<std::uint64_t>(count);
        if (recorder_)
            recorder_->note(number_, Recorder::Kind::received, {chunk, static_cast<std::size_t>(count)});
        bytes_.append(chunk, static_cast<int>(count));
        if (!scan()) return false;
        if (count < static_cast<std::ptrdiff_t>(room)) return false;
    }
    return has_link_in_use();
}

// 0 when there is nothing, below that when the link is gone, which is told already.
std::ptrdiff_t Source::read_some(std::uint8_t* to, std::size_t most)
{
    ssize_t count = -1;
    do {
        count = url_.serial ? calls.read(link_.fd.get(), to, most)
                            : calls.recv(link_.fd.get(), to, most, MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count > 0) return count;
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return 0;
    if (count == 0 && url_.serial) return 0;
    lose(count == 0 ? std::string("the reader closed the connection")
                    : std::generic_category().message(errno));
    return -1;
}

// False when the link is gone, or nothing more is taken for now.
bool Source::scan()
{
    for (;;) {
        const std::size_t room = queue_.room(*lane_);
        const auto is_full_now = [&] { return may_wait_for_room() && reads_.size() >= room; };
        while (has_link_in_use() && !is_full_now() && find_frame()) accept();
        if (!has_link_in_use()) return false;
        const bool is_full = is_full_now();
        hand_over();
        if (!is_full) break;
        if (!queue_.wait_for_room(*lane_)) continue;
        is_out_of_room_ = true;
        loop_.forget(link_.fd.get(), *this);
        loop_.clear_timer(*this);
        return false;
    }
    if (bytes_.size() == 0) incomplete_since_.reset();
    if (bytes_.size() == 0 || incomplete_since_) return true;
    incomplete_since_ = steady_clock::now();
    arm();
    return true;
}

void Source::go_on()
{
    if (!is_out_of_room_ || !link_.fd) return;
    is_out_of_room_ = false;
    if (!loop_.watch(link_.fd.get(), input, *this)) return lose(cannot_watch);
    last_life_ = steady_clock::now();
    arm();
    if (scan()) take_input();
}

bool Source::find_frame()
{
    return engine::find_frame(
        bytes_,
        [&] {
            const bool may_begin = bytes_[0] > 3;
            if (!may_begin) skip(bytes_[0]);
            return may_begin;
        },
        [&](const u8* front, int length) {
            const bool is_good = frame_.take(front, length);
            counted_.bad_crc += is_good ? 0 : 1;
            if (!is_good) skip(front[0]);
            return is_good;
        });
}

void Source::skip(std::uint8_t byte)
{
    ++counted_.skipped_bytes;
    if (!takes_reports()) return;
    skipped_.push_back(byte);
    if (skipped_.size() >= most_skipped) raws_.push_back(std::exchange(skipped_, {}));
}

// The rest did not follow: what is in front begins no frame.
void Source::give_frame_up()
{
    incomplete_since_.reset();
    skip(bytes_[0]);
    bytes_.drop(1);
    scan();
}

void Source::accept()
{
    bytes_.drop(frame_.length());
    incomplete_since_.reset();
    ++counted_.frames;
    if (!skipped_.empty()) raws_.push_back(std::exchange(skipped_, {}));
    const bool is_report = engine::is_report(frame_);
    life_seen(is_report);
    is_report ? accept_report() : accept_answer();
}

// Any whole frame is life; a report tells that reading runs. A reader that answers and has no tags may have been
// restarted meanwhile, behind a serial line or a converter: it is started again.
void Source::life_seen(bool is_report)
{
    last_life_ = steady_clock::now();
    saw_reports_ = saw_reports_ || is_report;
    if (is_report && (step_ == Step::reading || step_ == Step::probing)) {
        const bool was_probing = std::exchange(step_, Step::reading) == Step::probing;
        if (shown_ != State::streaming) show(State::streaming, {});
        if (was_probing) rest_or_probe();
    } else if (step_ == Step::probing) {
        is_quiet_ = true;
        stop_reading(Step::stopping_to_restart);
    }
}

bool Source::takes_reports() const
{
    switch (step_) {
    case Step::starting:
    case Step::reading:
    case Step::probing:
    case Step::stopping_to_restart:
    case Step::restarting:
    case Step::stopping_to_rest:
    case Step::stopping_to_park: return true;
    default: return false;
    }
}

void Source::accept_report()
{
    if (!takes_reports()) return;
    engine::for_each_record(frame_.bytes, engine::report_layout, [&](const engine::TagRecord& record) {
        if (!record.whole) return void(raws_.emplace_back(frame_.bytes, frame_.bytes + frame_.length()));
        Read read = read_from(record, url_.antenna_byte.value_or(AntennaByte::mask));
        read.received = received_;
        if (!is_wanted(read)) return void(++counted_.filtered);
        reads_.push_back(std::move(read));
    });
}

void Source::accept_answer()
{
    const auto status = frame_.status();
    switch (frame_.bytes[engine::frame::command]) {
    case engine::information_command:
        if (step_ != Step::asking && step_ != Step::asking_again) return;
        if (!engine::read_information(frame_, information_)) return;
        // A reader that still pushes for a program that is gone is stopped first.
        return saw_reports_ && step_ == Step::asking ? stop_reading(Step::clearing)
                                                     : start_reading(Step::starting);
    case engine::start_command:
        if (step_ != Step::starting && step_ != Step::restarting) return;
        if (status == 0) return begin_reading({});
        if (saw_reports_) return begin_reading("it reads by itself");
        return lose("the reader refuses to start reading: status " + std::to_string(status));
    case engine::stop_command:
        // What follows does not wait for the limit.
        if (step_ == Step::clearing || step_ == Step::stopping_to_restart ||
            step_ == Step::stopping_to_rest || step_ == Step::stopping_to_park ||
            step_ == Step::stopping_to_end)
            limit(milliseconds(0));
        return;
    default:
        if (takes_reports()) raws_.push_back(Bytes(frame_.bytes, frame_.bytes + frame_.length()));
        return;
    }
}

bool Source::is_wanted(const Read& read) const { return !options_.only || fits(*options_.only, read.epc); }

// What has been collected goes into the queue at once.
void Source::hand_over()
{
    if (is_ending_) {
        reads_.clear();
        raws_.clear();
        return;
    }
    if (step_ == Step::reading && !skipped_.empty()) raws_.push_back(std::exchange(skipped_, {}));
    queue_.with_lock([&](EventQueue& queue) {
        queue.count(*lane_, std::exchange(counted_, {}));
        for (Read& read : reads_) queue.put(lane_, std::move(read));
        for (Bytes& raw : raws_) queue.put(lane_, Raw{std::move(raw), received_});
    });
    reads_.clear();
    raws_.clear();
}

void Source::send(const engine::Question& question)
{
    const ssize_t sent =
        url_.serial ? calls.write(link_.fd.get(), question.bytes, question.size)
                    : calls.send(link_.fd.get(), question.bytes, question.size, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (recorder_) recorder_->note(number_, Recorder::Kind::sent, {question.bytes, question.size});
    // A link that takes nothing shows itself when its answer does not come.
    static_cast<void>(sent);
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
