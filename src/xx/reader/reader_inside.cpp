#include "xx/reader/reader_inside.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <utility>

#include "link/adopted.h"
#include "link/response.h"
#include "link/serial.h"
#include "tagwire/result.h"
#include "xx/reader/both_ways.h"
#include "xx/values/ports.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call open_call{"open"};
constexpr const char* lost_text = "the link to the reader is gone: open it again";
constexpr Call information_call{"ask who the reader is"};

Errc code_of(int result, bool is_unknown)
{
    if (is_unknown) return Errc::no_such_feature;
    switch (result) {
    case TAGWIRE_NO_ANSWER: return Errc::no_answer;
    case TAGWIRE_BAD_CRC:
    case TAGWIRE_BAD_SEQUENCE:
    case TAGWIRE_WRONG_COMMAND: return Errc::bad_answer;
    case TAGWIRE_TAG_ERROR: return Errc::tag_refused;
    case TAGWIRE_INVENTORY_UNKNOWN: return Errc::no_such_feature;
    default: return Errc::refused;
    }
}

bool leaves_the_reader_in_doubt(Errc code)
{
    return code == Errc::no_answer || code == Errc::bad_answer || code == Errc::lost || code == Errc::aborted;
}

}  // namespace

void ReaderInside::Deleter::operator()(engine::Reader* reader) const
{
    engine::give_back_link(reader);
    Destroy_Reader(&reader);
}

ReaderInside::ReaderInside(OpenLink link, const engine::ReaderInformation* told)
    : link_(std::move(link)), hooks_{this, take_record, see_traffic}
{
    take_up_link();
    if (told == nullptr) {
        shake_hands();
        return;
    }
    told_ = *told;
    link_.address = told_.address;
    engine_->ReaderAddr = told_.address;
    engine_->inventoryScanTime = told_.scan_time;
}

void ReaderInside::take_up_link()
{
    engine_.reset(Create_Reader());
    if (engine_ == nullptr) throw_no_descriptor("open", errno);
    engine_->keeping.hooks = &hooks_;
    engine::adopt_link(engine_.get(), link_.serial ? engine::serial_link : engine::tcp_link, link_.fd.get());
}

Reader ReaderInside::around(OpenLink link, const engine::ReaderInformation& told)
{
    return Reader(std::make_unique<ReaderInside>(std::move(link), &told));
}

OpenLink ReaderInside::take_back(Reader reader)
{
    if (reader.inside_ == nullptr) return {};  // moved away
    reader.inside_->engine_.reset();
    return std::move(reader.inside_->link_);
}

void ReaderInside::take_record(void* own, const engine::TagRecord& record) noexcept
{
    RecordSink* const sink = static_cast<ReaderInside*>(own)->sink_;
    if (sink != nullptr) sink->take(record);
}

// On the thread of a call, or of an abort() of one.
void ReaderInside::see_traffic(void* own, engine::Direction direction, const u8* bytes, int count) noexcept
{
    auto& inside = *static_cast<ReaderInside*>(own);
    const bool is_received = direction == engine::Direction::received;
    if (is_received) inside.received_ += static_cast<unsigned>(count);
    if (inside.recorder_)
        inside.recorder_->note(inside.recorded_as_,
                               is_received ? Recorder::Kind::received : Recorder::Kind::sent,
                               {bytes, static_cast<std::size_t>(count)});
}

LinkCounters ReaderInside::link_counters()
{
    const Turn turn(*this);
    const auto& counters = engine_->keeping.counters;
    return {counters.bytes.load(), counters.frames.load(), counters.bad_crc.load(),
            counters.skipped_bytes.load()};
}

void ReaderInside::record(const std::string& path)
{
    const Turn turn(*this);
    recorder_.reset();
    recorder_.emplace(path);
    recorded_as_ = recorder_->add_source(name());
}

void ReaderInside::stop_recording()
{
    const Turn turn(*this);
    recorder_.reset();
}

std::uint64_t ReaderInside::recording_lost()
{
    const Turn turn(*this);
    return recorder_ ? recorder_->lost_bytes() : 0;
}

// A reader that a program has left reading is stopped first. Over TCP that shows: it goes on with its reports
// on the same connection only. A serial line may just be quiet between two of them.
void ReaderInside::shake_hands()
{
    constexpr int attempts = 4;
    constexpr int most_silences = 2;
    int result = TAGWIRE_NO_ANSWER;
    int silences = 0;
    bool is_stopped = !link_.serial;
    for (int i = 0; i < attempts && silences < most_silences && !is_lost(); ++i) {
        received_ = 0;
        const auto frames_before = engine_->keeping.counters.frames.load();
        result = ask_information(told_);
        const bool answered = result == TAGWIRE_OK;
        was_reading_ |= engine_->keeping.counters.frames.load() > frames_before + (answered ? 1 : 0);
        const bool more_came = received_ > (answered ? engine::ReaderInformation::frame_length : 0);
        if (answered && is_stopped && !more_came) break;
        u8 address = link_.address;
        answered || more_came ? engine_->operations.StopRead(engine_.get(), &address) : ++silences;
        is_stopped |= answered;
    }
    if (result != TAGWIRE_OK)
        fail_as(Errc::no_answer, open_call,
                link_.serial
                    ? "the device is there, but no reader answers on it: is it powered, and is its speed "
                      "another one (?baud=...)?"
                    : "the connection is there, but no reader answers on it: is this the reader's port?",
                result);
    link_.address = told_.address;
}

int ReaderInside::ask_information(engine::ReaderInformation& told)
{
    u8 address = link_.address;
    const int result = engine_->operations.GetReaderInformation(
        engine_.get(), &address, told.version, &told.type, &told.protocols, &told.highest_frequency,
        &told.lowest_frequency, &told.power, &told.scan_time, &told.antennas, &told.beeper,
        &told.output_report, &told.antenna_check);
    if (result == TAGWIRE_OK) told.address = address;
    return result;
}

const engine::ReaderInformation& ReaderInside::ask_information()
{
    const Turn turn(*this);
    begin(information_call);
    const int result = ask_information(told_);
    end(information_call, result);
    if (result != TAGWIRE_OK) fail(information_call, result);
    return told_;
}

int ReaderInside::ask_at(u8 address)
{
    constexpr int attempts = 2;
    const Turn turn(*this);
    if (is_lost()) fail_as(Errc::lost, information_call, lost_text);
    const u8 own = std::exchange(link_.address, address);
    // The engine keeps what the last one told who was asked.
    const auto restore = [this, own, engine_address = engine_->ReaderAddr,
                          scan_time = engine_->inventoryScanTime] {
        link_.address = own;
        engine_->ReaderAddr = engine_address;
        engine_->inventoryScanTime = scan_time;
    };
    engine::ReaderInformation told{};
    int result = TAGWIRE_NO_ANSWER;
    try {
        begin(information_call);
        for (int i = 0; i < attempts && result == TAGWIRE_NO_ANSWER && !is_aborted(); ++i)
            result = ask_information(told);
        end(information_call, result);
    } catch (const Error& error) {
        if (error.code() != Errc::no_answer) {
            restore();
            throw;
        }
    }
    restore();
    return result == TAGWIRE_OK && told.address != address ? TAGWIRE_WRONG_COMMAND : result;
}

void ReaderInside::move_to(u8 address)
{
    link_.address = address;
    told_.address = address;
    engine_->ReaderAddr = address;
}

std::optional<u8> ReaderInside::line_speed() const
{
    constexpr u8 codes[] = {0, 1, 2, 5, 6, 7};
    termios line{};
    if (!link_.serial || ::tcgetattr(link_.fd.get(), &line) != 0) return std::nullopt;
    for (const u8 code : codes)
        if (engine::line_speed(code) == ::cfgetospeed(&line)) return code;
    return std::nullopt;
}

// -- turns and aborts

ReaderInside::Turn::Turn(ReaderInside& inside) : inside_(inside), lock_(inside.calls_)
{
    const std::lock_guard lock(inside_.state_);
    ++inside_.depth_;
}

ReaderInside::Turn::~Turn()
{
    const std::lock_guard lock(inside_.state_);
    if (--inside_.depth_ == 0) inside_.aborted_ = false;
}

bool ReaderInside::is_aborted() const
{
    const std::lock_guard lock(state_);
    return aborted_;
}

// The lock is held throughout: while it is, the operation that runs has not ended for its caller.
void ReaderInside::abort() noexcept
{
    const std::lock_guard lock(state_);
    if (depth_ == 0 || aborted_) return;
    aborted_ = true;
    if (!running_) return;
    u8 address = link_.address;
    if (engine_->isInventoryCmd) engine_->operations.StopImmediately(engine_.get(), &address);
    engine::cancel(engine_.get());
}

void ReaderInside::begin(const Call& call)
{
    if (is_lost()) fail_as(Errc::lost, {call.name}, lost_text);
    if (stale_) settle(call);
    discard_input();
    const std::lock_guard lock(state_);
    if (aborted_) fail_as(Errc::aborted, {call.name}, "aborted before it was sent");
    received_ = 0;
    running_ = true;
}

void ReaderInside::end(const Call& call, int result)
{
    stale_ = result == TAGWIRE_NO_ANSWER || result == TAGWIRE_BAD_CRC || result == TAGWIRE_WRONG_COMMAND ||
             result == TAGWIRE_BAD_SEQUENCE;
    const std::lock_guard lock(state_);
    running_ = false;
    if (!aborted_) return;
    engine::resume(engine_.get());
    stale_ = true;
    fail_as(Errc::aborted, call, "aborted");
}

// The engine takes 5 s without a frame for the end of an inventory. One that lasts longer may find no tag for
// longer.
int ReaderInside::await_inventory(int result, std::chrono::steady_clock::time_point end)
{
    engine::Reader* const reader = engine_.get();
    while (result == TAGWIRE_NO_ANSWER && std::chrono::steady_clock::now() < end && !is_lost() &&
           !is_aborted())
        result = reader->operations.GetInventoryDataFromPort1(reader, reader->recvBuff, &reader->recvLength,
                                                              reader->sendBuff.comData.CMD);
    return result;
}

// -- what may still come

bool ReaderInside::is_lost() const
{
    pollfd watched{link_.fd.get(), POLLRDHUP, 0};
    return !link_.fd || (::poll(&watched, 1, 0) > 0 &&
                         (watched.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0);
}

// Pushed unasked, heartbeats for one. A serial line discards them with every command.
void ReaderInside::discard_input() const
{
    constexpr int most_chunks = 1000;
    pollfd watched{link_.fd.get(), POLLIN, 0};
    for (int i = 0; i < most_chunks && !link_.serial && ::poll(&watched, 1, 0) > 0; ++i)
        if (engine_->operations.ReadRfidData(engine_.get(), engine_->btRecvArr) <= 0) return;
}

// Answers come in the order of their questions: behind this one nothing older can come.
void ReaderInside::settle(const Call& call)
{
    constexpr std::chrono::milliseconds patience(600);
    constexpr int rounds = 2;
    for (int i = 0; i < rounds && !is_lost() && !is_aborted(); ++i) {
        if (!await_information(i == 0 ? longest_job_ + patience : patience)) continue;
        // Answers to what this has asked before.
        for (int late = 0; late < i; ++late) receive_information();
        stale_ = false;
        return;
    }
    if (is_aborted()) return;
    fail({.name = call.name, .family = call.family}, TAGWIRE_NO_ANSWER);  // nothing of the call was sent
}

bool ReaderInside::await_information(std::chrono::milliseconds patience)
{
    engine::ReaderInformation told{};
    if (ask_information(told) == TAGWIRE_OK) return true;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < end && !is_lost() && !is_aborted())
        if (receive_information()) return true;
    return false;
}

// One that was asked for before.
bool ReaderInside::receive_information()
{
    engine::Reader* const reader = engine_.get();
    return reader->operations.AutoGetDataFromPort(reader, reader->recvBuff, &reader->recvLength,
                                                  engine::information_command) == TAGWIRE_OK;
}

void ReaderInside::listen()
{
    using namespace std::chrono_literals;
    using SteadyClock = std::chrono::steady_clock;
    constexpr auto silence = 300ms;
    const Turn turn(*this);
    const auto end = SteadyClock::now() + 3s;
    for (auto heard = SteadyClock::now();
         SteadyClock::now() < std::min(heard + silence, end) && !is_lost();) {
        pollfd watched{link_.fd.get(), POLLIN, 0};
        const bool is_something_there = ::poll(&watched, 1, 10) > 0;
        if (is_something_there && engine_->operations.ReadRfidData(engine_.get(), engine_->btRecvArr) > 0)
            heard = SteadyClock::now();
    }
    stale_ = false;
}

// A serial device can be opened again only behind its release.
void ReaderInside::open_anew()
{
    close_link();
    try {
        Url url = parse_url(link_.name);
        if (kept_speed_) url.speed = speed_of(*kept_speed_);
        link_.fd = open_link(url).fd;
        take_up_link();
    } catch (...) {
        close_link();
        throw;
    }
}

void ReaderInside::reopen()
{
    const Turn turn(*this);
    open_anew();
    try {
        shake_hands();
    } catch (...) {
        close_link();
        throw;
    }
    stale_ = false;
}

void ReaderInside::reopen_unasked()
{
    const Turn turn(*this);
    open_anew();
    try {
        shake_hands();
    } catch (const Error&) {
        listen();
    }
    stale_ = false;
}

void ReaderInside::close_link()
{
    engine_.reset();
    link_.fd.reset();
}

// -- results

int ReaderInside::came() const { return engine::Response(engine_.get()).came(); }

int ReaderInside::status() const { return engine::Response(engine_.get()).status(); }

bool ReaderInside::report_came() const
{
    return engine_->recvBuff[engine::frame::command] == engine::report_command && status() == 0;
}

bool ReaderInside::is_unknown_command(int result) const
{
    return result == TAGWIRE_WRONG_COMMAND && !report_came() &&
           engine_->recvBuff[engine::frame::command] == engine::error_echo;
}

void ReaderInside::require(const Call& call, int bytes) const
{
    if (bytes < call.least)
        fail_as(Errc::bad_answer, call,
                "the answer was too short (" + std::to_string(bytes) + " bytes of data, " +
                    std::to_string(call.least) + " are needed): is this a reader of another kind?");
}

void ReaderInside::fail(const Call& call, int result) const
{
    if (result == TAGWIRE_BAD_HANDLE || (result == TAGWIRE_NO_ANSWER && is_lost()))
        fail_as(Errc::lost, call, lost_text, result);
    const engine::ResultText text = engine::result_text(call.family, result);
    fail_as(code_of(result, is_unknown_command(result)), call, std::string(text.what) + ": " + text.advice,
            result);
}

void ReaderInside::fail_as(Errc code, const Call& call, const std::string& text, int result) const
{
    const bool in_doubt = call.effect == Effect::change && leaves_the_reader_in_doubt(code);
    throw Error(code, call.name, link_.name, text, in_doubt ? Outcome::unknown : Outcome::nothing, result);
}

void fail_as_different(const ReaderInside& inside, const Call& change, const std::string& text)
{
    throw Error(Errc::differs, change.name, inside.name(), text, Outcome::unknown);
}

void fail_unread(const std::string& operation, const std::string& reader, const Error& error)
{
    throw Error(static_cast<Errc>(error.code().value()), operation, reader,
                "it was set, but cannot be read back: " + error.text(), Outcome::unknown, error.result());
}

void refuse_value(const ReaderInside& inside, const Call& call, const std::string& text)
{
    throw Error(Errc::invalid_value, call.name, inside.name(), text);
}

void refuse_problem(const ReaderInside& inside, const Call& call, const std::string& problem)
{
    if (!problem.empty()) refuse_value(inside, call, problem);
}

int checked(const ReaderInside& inside, const Call& call, const Range& range, long long value)
{
    refuse_problem(inside, call, problem_of(range, value));
    return static_cast<int>(value);
}

int checked(const ReaderInside& inside, const Call& call, const char* what, long long value, int lowest,
            int highest)
{
    return checked(inside, call, {what, lowest, highest}, value);
}

// -- ports

AntennaByte ReaderInside::antenna_byte()
{
    const Turn turn(*this);
    if (link_.antenna_byte) return *link_.antenna_byte;
    u8 powers[255];
    int count = 0;
    const int result = run({"ask for the antennas"}, &Operations::GetAntennaPower, powers, &count);
    // Where the answer was lost it is asked again the next time.
    if (result == TAGWIRE_NO_ANSWER || result == TAGWIRE_BAD_CRC) return AntennaByte::mask;
    link_.antenna_byte = antenna_byte_of(result == TAGWIRE_OK ? std::min(count, came()) : 0);
    return *link_.antenna_byte;
}

}  // namespace v1
}  // namespace tagwire
