// What comes over the link of a source: frames, reports, answers.
#include "xx/stream/source.h"

#include <cerrno>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <utility>

#include "inventory/records.h"
#include "link/system.h"
#include "xx/values/ports.h"
#include "xx/values/reads.h"

namespace tagwire {
inline namespace v1 {
namespace {

using engine::sys::calls;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t most_skipped = 256;
constexpr int reads_in_a_row = 8;

}  // namespace

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
    const bool more = read_input();
    hand_over();
    return more;
}

bool Source::read_input()
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
        count_overruns(received_.steady);
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

// What the driver of a serial line had no room for. Not every driver counts it.
void Source::count_overruns(SteadyTime now)
{
    if (!url_.serial || now < overruns_due_) return;
    overruns_due_ = now + std::chrono::seconds(1);
    serial_icounter_struct counts{};
    if (calls.ioctl(link_.fd.get(), TIOCGICOUNT, &counts) != 0) return;
    const auto lost =
        static_cast<std::uint32_t>(counts.overrun) + static_cast<std::uint32_t>(counts.buf_overrun);
    counted_.overruns += lost - std::exchange(overruns_, lost).value_or(lost);
}

// False when the link is gone, or nothing more is taken for now.
bool Source::scan()
{
    for (;;) {
        const std::size_t room = queue_.room(*lane_);
        const auto is_full_now = [&] { return may_wait_for_room() && reads_.size() >= room; };
        while (has_link_in_use() && !is_full_now() && find_frame()) accept();
        if (!has_link_in_use()) return false;
        if (!is_full_now()) break;
        hand_over();
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
    if (!watch_input()) return;
    last_life_ = steady_clock::now();
    arm();
    if (scan()) take_input();
    hand_over();
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
            const bool is_good = frame_.take(bytes_, front, length);
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
    if (skipped_.size() >= most_skipped) set_aside(std::exchange(skipped_, {}));
}

// The rest did not follow: what is in front begins no frame.
void Source::give_frame_up()
{
    incomplete_since_.reset();
    skip(bytes_[0]);
    bytes_.drop(1);
    scan();
    hand_over();
}

void Source::accept()
{
    bytes_.drop(frame_.length());
    incomplete_since_.reset();
    ++counted_.frames;
    if (!skipped_.empty()) set_aside(std::exchange(skipped_, {}));
    const bool is_report = engine::is_report(frame_);
    if (frame_.bytes[engine::frame::command] != engine::lines_command) life_seen(is_report);
    is_report ? accept_report() : accept_answer();
}

// Any whole frame is life; a report tells that reading runs. A reader that answers and has no tags may have been
// restarted meanwhile, behind a serial line or a converter: it is started again.
void Source::life_seen(bool is_report)
{
    last_life_ = received_.steady;
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
        if (!record.whole) return set_aside(Bytes(frame_.bytes, frame_.bytes + frame_.length()));
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
        return saw_reports_ && step_ == Step::asking ? stop_reading(Step::clearing) : learn_ports();
    case engine::antenna_power_command:
        if (status == 0) return accept_ports(frame_.data_size());
        return step_ == Step::asking_ports ? prepare() : void();  // asked again at the next connection
    case engine::lines_command:
        if (status == 0 && frame_.data_size() > 0) asides_.push_back({reads_.size(), *frame_.data(), {}});
        return;
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
        if (step_ == Step::asking_ports && frame_.bytes[engine::frame::command] == engine::error_echo)
            return accept_ports(0);  // it does not know the question
        if (takes_reports()) set_aside(Bytes(frame_.bytes, frame_.bytes + frame_.length()));
        return;
    }
}

// One power a port.
void Source::accept_ports(int ports)
{
    if (step_ != Step::asking_ports) return;
    url_.antenna_byte = antenna_byte_of(ports);
    prepare();
}

// Bytes that are no report, in their place among those that are.
void Source::set_aside(Bytes bytes) { asides_.push_back({reads_.size(), {}, {std::move(bytes), received_}}); }

// Inputs stand above the outputs, four each. A change for which there is no room now is told at the next look.
void Source::put_lines(EventQueue& queue, std::uint8_t bits)
{
    constexpr unsigned line_count = 4;
    const auto inputs = static_cast<std::uint8_t>(bits >> line_count);
    if (!inputs_) inputs_ = inputs;
    for (unsigned line = 1; line <= line_count; ++line) {
        const auto bit = static_cast<std::uint8_t>(1U << (line - 1));
        const bool before = (*inputs_ & bit) != 0;
        const bool now = (inputs & bit) != 0;
        if (before != now && queue.put(lane_, InputChange{line, before, now})) *inputs_ ^= bit;
    }
}

bool Source::is_wanted(const Read& read) const { return !options_.only || fits(*options_.only, read.epc); }

// What has been collected goes into the queue at once.
void Source::hand_over()
{
    if (step_ == Step::reading && !skipped_.empty()) set_aside(std::exchange(skipped_, {}));
    if (!is_ending_) queue_.with_lock([this](EventQueue& queue) { put_all(queue); });
    reads_.clear();
    asides_.clear();
}

void Source::put_all(EventQueue& queue)
{
    queue.count(*lane_, std::exchange(counted_, {}));
    auto read = reads_.begin();
    for (Aside& aside : asides_) {
        for (; read != reads_.begin() + static_cast<std::ptrdiff_t>(aside.reads_in_front); ++read)
            queue.put(lane_, std::move(*read));
        if (aside.lines)
            put_lines(queue, *aside.lines);
        else
            queue.put(lane_, std::move(aside.raw));
    }
    for (; read != reads_.end(); ++read) queue.put(lane_, std::move(*read));
}

void Source::send(const engine::Question& question)
{
    const ssize_t sent =
        url_.serial ? calls.write(link_.fd.get(), question.bytes, question.size)
                    : calls.send(link_.fd.get(), question.bytes, question.size, MSG_NOSIGNAL | MSG_DONTWAIT);
    // A link that takes nothing shows itself when its answer does not come.
    if (recorder_ && sent > 0)
        recorder_->note(number_, Recorder::Kind::sent, {question.bytes, static_cast<std::size_t>(sent)});
}

}  // namespace v1
}  // namespace tagwire
