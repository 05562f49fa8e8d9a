#include "transport/core.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "commands/dispatch.h"
#include "control/order.h"

namespace tagwire::sim {

namespace {

constexpr std::uint64_t wake_id = 1;
constexpr std::uint64_t alarm_id = 2;
constexpr std::uint64_t first_free_id = 16;
constexpr std::size_t most_requests_kept = 65536;
constexpr int most_timers_in_a_row = 1024;
// Looks at the field that are later than this are left out; one that takes this long is followed by a rest.
constexpr Time longest_delay = std::chrono::milliseconds(100);
constexpr Time long_look = std::chrono::milliseconds(5);
constexpr Time retry_pause = std::chrono::milliseconds(50);

Descriptor opened(int fd, const char* what)
{
    if (fd < 0) throw std::system_error(errno, std::generic_category(), what);
    return Descriptor(fd);
}

void drain(const Descriptor& descriptor)
{
    std::uint64_t count = 0;
    while (::read(descriptor.get(), &count, sizeof count) < 0 && errno == EINTR) {
    }
}

}  // namespace

void ReaderState::send(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
                       std::vector<Heard> heard)
{
    core.send(*this, to, lead, std::move(frame), kind, std::move(heard));
}

void ReaderState::lose(ConnectionId to, FrameKind kind, const std::vector<Heard>& heard, std::string_view why)
{
    core.note_lost(*this, to, kind, heard, why);
}

bool ReaderState::has_room(ConnectionId to) const { return core.has_room(to); }

std::vector<ConnectionId> ReaderState::peers() const { return core.connections_of(*this); }

Core::Core()
    : poll_(opened(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wake_(opened(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      alarm_(opened(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create")),
      last_id_(first_free_id)
{
    watch(wake_.get(), wake_id, EPOLLIN, EPOLL_CTL_ADD);
    watch(alarm_.get(), alarm_id, EPOLLIN, EPOLL_CTL_ADD);
    thread_ = std::thread([this] { run(); });
}

Core::~Core()
{
    {
        const auto held = lock();
        stopping_ = true;
        touch();
    }
    thread_.join();
    try {
        record_truth(nullptr);
    } catch (const std::system_error&) {
        // Whoever wants to know asks before.
    }
}

void Core::touch()
{
    const std::uint64_t one = 1;
    while (::write(wake_.get(), &one, sizeof one) < 0 && errno == EINTR) {
    }
    changed_.notify_all();
}

bool Core::wait(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    auto held = lock();
    return changed_.wait_for(held, timeout, condition);
}

Time Core::now() const { return std::chrono::steady_clock::now() - start_; }

void Core::run()
{
    std::array<epoll_event, 64> events{};
    auto held = lock();
    while (!stopping_) {
        const auto next = timers_.next();
        const bool due = next && *next <= now();
        if (!due) arm();
        held.unlock();
        const int count =
            ::epoll_wait(poll_.get(), events.data(), static_cast<int>(events.size()), due ? 0 : -1);
        held = lock();
        for (int i = 0; i < count; ++i) {
            const auto& event = events[static_cast<std::size_t>(i)];
            handle_event(event.data.u64, event.events);
        }
        run_timers();
        finish_turn();
    }
}

void Core::arm()
{
    const auto next = timers_.next();
    if (next == armed_) return;
    armed_ = next;
    itimerspec when{};
    if (next) {
        const auto from_now = std::max(*next - now(), Time(1));
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(from_now);
        when.it_value.tv_sec = seconds.count();
        when.it_value.tv_nsec = (from_now - seconds).count();
    }
    ::timerfd_settime(alarm_.get(), 0, &when, nullptr);
}

void Core::handle_event(std::uint64_t id, std::uint32_t events)
{
    if (id == wake_id) return drain(wake_);
    if (id == alarm_id) {
        armed_.reset();
        return drain(alarm_);
    }
    if (const auto endpoint = endpoints_.find(id); endpoint != endpoints_.end())
        return accept_all(endpoint->second);
    const auto connection = connections_.find(id);
    if (connection == connections_.end()) return;
    if (events & EPOLLOUT) to_write_.insert(id);
    if (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) read_from(*connection->second);
}

void Core::run_timers()
{
    const Time time = now();
    for (int i = 0; i < most_timers_in_a_row; ++i) {
        const auto id = timers_.take(time);
        if (!id) return;
        if (const auto reader = readers_.find(*id); reader != readers_.end()) {
            reader->second->device.advance(time - reader->second->origin);
            watch_field(*reader->second);
            run_events(*reader->second);
            schedule(*reader->second);
            continue;
        }
        if (const auto endpoint = endpoints_.find(*id); endpoint != endpoints_.end()) {
            try_again(endpoint->second);
            continue;
        }
        const auto connection = connections_.find(*id);
        if (connection == connections_.end()) continue;
        connection->second->parser().expire(time);
        take_requests(*connection->second);
        to_write_.insert(*id);
    }
}

void Core::run_events(ReaderState& reader)
{
    // Those that come due meanwhile wait for the next turn: others have theirs before.
    const Time time = now() - reader.origin;
    while (const auto words = reader.events.take(time)) {
        try {
            obey(reader, *words);
        } catch (const std::invalid_argument&) {
            // It was understood, but what it is about is not there now; it is counted.
        }
    }
}

void Core::watch_field(ReaderState& reader) const
{
    const Time time = now() - reader.origin;
    FieldWatch& watch = reader.field_watch;
    if (!truth_ || watch.next() > time) return;
    watch.look(std::max(watch.next(), time - longest_delay), *truth_);
    while (watch.next() <= time) watch.look(watch.next(), *truth_);
    truth_->flush();
    // In a field of very many tags most of the time is left to the readers.
    const Time took = now() - reader.origin - time;
    if (took > long_look) watch.rest_until(time + 4 * took);
}

void Core::record_truth(std::unique_ptr<Truth> truth)
{
    const Time time = now();
    for (auto& [id, reader] : readers_) {
        watch_field(*reader);
        if (truth_) reader->field_watch.end(time - reader->origin, *truth_);
    }
    const std::unique_ptr<Truth> ended = std::exchange(truth_, std::move(truth));
    for (auto& [id, reader] : readers_) {
        if (truth_) reader->field_watch.look(time - reader->origin, *truth_);
        schedule(*reader);
    }
    touch();
    if (ended) ended->end(time);
}

std::string Core::obey(ReaderState& reader, const std::string& words)
{
    try {
        const Order order = Order::parse(words, reader.device.settings());
        watch_field(reader);
        std::string answer = order.carry_out(*this, reader);
        ++reader.counters.orders[order.word];
        if (truth_) reader.field_watch.look(now() - reader.origin, *truth_);
        advance(reader);
        return answer;
    } catch (const std::invalid_argument&) {
        ++reader.counters.orders_refused;
        throw;
    }
}

// Everything that one turn of the thread has to say to a peer goes out together.
void Core::finish_turn()
{
    while (!to_write_.empty()) {
        const ConnectionId id = *to_write_.begin();
        to_write_.erase(to_write_.begin());
        if (const auto found = connections_.find(id); found != connections_.end()) write_to(*found->second);
    }
    changed_.notify_all();
}

ReaderState& Core::add_reader(const Scenario& scenario)
{
    const std::uint64_t id = ++last_id_;
    const auto number = static_cast<unsigned>(readers_.size() + 1);
    ReaderState& reader =
        *readers_.emplace(id, std::make_unique<ReaderState>(*this, id, number, scenario, now()))
             .first->second;
    if (truth_) reader.field_watch.look(Time{}, *truth_);
    schedule(reader);
    touch();
    return reader;
}

std::uint16_t Core::listen(ReaderState& reader, const std::string& address, std::uint16_t port)
{
    for (const auto& [id, endpoint] : endpoints_) {
        if (port == 0 || endpoint->port != port || endpoint->address != address) continue;
        join(reader, *endpoint);
        return port;
    }
    auto endpoint = std::make_shared<Endpoint>();
    endpoint->id = ++last_id_;
    endpoint->listener = listen_on(address, port);
    endpoint->address = address;
    endpoint->port = port_of(endpoint->listener);
    endpoint->readers.push_back(&reader);
    watch(endpoint->listener.get(), endpoint->id, EPOLLIN, EPOLL_CTL_ADD);
    endpoints_.emplace(endpoint->id, endpoint);
    return endpoint->port;
}

std::string Core::open_pty(ReaderState& reader)
{
    PtyPair pty = open_pty_pair();
    auto endpoint = std::make_shared<Endpoint>();
    endpoint->id = ++last_id_;
    endpoint->pty_name = pty_names_.add(pty.path);
    endpoint->readers.push_back(&reader);
    endpoints_.emplace(endpoint->id, endpoint);
    add_connection(std::make_unique<Connection>(++last_id_, endpoint, std::move(pty)));
    return endpoint->pty_name;
}

// As a reader on USB that is plugged in again: who has the old terminal open hears nothing more of it.
void Core::reopen_pty(const std::shared_ptr<Endpoint>& endpoint)
{
    try {
        PtyPair pty = open_pty_pair();
        pty_names_.lead(endpoint->pty_name, pty.path);
        add_connection(std::make_unique<Connection>(++last_id_, endpoint, std::move(pty)));
        endpoint->has_to_wait = false;
    } catch (const std::system_error&) {
        try_later(*endpoint);
    }
}

// Until then the system may have descriptors again.
void Core::try_later(Endpoint& endpoint)
{
    if (!endpoint.has_to_wait) {
        for (ReaderState* reader : endpoint.readers) ++reader->counters.had_to_wait;
    }
    endpoint.has_to_wait = true;
    if (endpoint.listener) watch(endpoint.listener.get(), endpoint.id, 0, EPOLL_CTL_MOD);
    timers_.set(endpoint.id, now() + retry_pause);
}

void Core::try_again(const std::shared_ptr<Endpoint>& endpoint)
{
    if (!endpoint->listener) return reopen_pty(endpoint);
    watch(endpoint->listener.get(), endpoint->id, EPOLLIN, EPOLL_CTL_MOD);
    accept_all(endpoint);
}

void Core::share(ReaderState& reader, const ReaderState& other)
{
    for (auto& [id, endpoint] : endpoints_) {
        if (serves(*endpoint, other)) join(reader, *endpoint);
    }
    for (auto& [id, connection] : connections_) {
        if (serves(connection->endpoint(), other)) join(reader, connection->endpoint());
    }
}

// Who is connected there is so to this reader too.
void Core::join(ReaderState& reader, Endpoint& endpoint)
{
    if (serves(endpoint, reader)) return;
    endpoint.readers.push_back(&reader);
    for (auto& [id, connection] : connections_) {
        if (&connection->endpoint() != &endpoint) continue;
        ++reader.counters.connections;
        ++reader.counters.open_connections;
    }
}

void Core::stop_listening(ReaderState& reader)
{
    std::erase_if(endpoints_, [&](auto& entry) {
        auto& readers = entry.second->readers;
        if (readers.size() > 1 || readers.front() != &reader) return false;
        entry.second->listener.reset();
        timers_.set(entry.first, std::nullopt);
        return true;
    });
}

bool Core::serves(const Endpoint& endpoint, const ReaderState& reader)
{
    const auto& readers = endpoint.readers;
    return std::find(readers.begin(), readers.end(), &reader) != readers.end();
}

std::vector<ConnectionId> Core::connections_of(const ReaderState& reader) const
{
    std::vector<ConnectionId> ids;
    for (const auto& [id, connection] : connections_) {
        if (serves(connection->endpoint(), reader)) ids.push_back(id);
    }
    return ids;
}

void Core::hang_up(const ReaderState& reader, ConnectionId connection)
{
    for (const ConnectionId id : connections_of(reader)) {
        if (connection == 0 || connection == id) close_connection(id);
    }
}

void Core::accept_all(const std::shared_ptr<Endpoint>& endpoint)
{
    while (Descriptor socket = accept_from(endpoint->listener)) {
        add_connection(std::make_unique<Connection>(++last_id_, endpoint, std::move(socket)));
    }
    if (has_no_descriptors(errno)) return try_later(*endpoint);
    endpoint->has_to_wait = false;
}

void Core::add_connection(std::unique_ptr<Connection> connection)
{
    for (ReaderState* reader : connection->endpoint().readers) {
        ++reader->counters.connections;
        ++reader->counters.open_connections;
    }
    watch(connection->descriptor(), connection->id(), EPOLLIN, EPOLL_CTL_ADD);
    const ConnectionId id = connection->id();
    connections_.emplace(id, std::move(connection));
}

void Core::close_connection(ConnectionId id)
{
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    const std::unique_ptr<Connection> connection = std::move(found->second);
    connections_.erase(found);
    timers_.set(id, std::nullopt);
    for (const Output& output : connection->queued()) {
        if (output.reader && output.ends_frame && output.kind == FrameKind::report)
            --output.reader->counters.reports_queued;
        if (output.reader) note_lost(*output.reader, id, output.kind, output.heard, loss::hung_up);
    }
    for (ReaderState* reader : connection->endpoint().readers) {
        --reader->counters.open_connections;
        reader->device.forget_connection(now() - reader->origin, id);
        schedule(*reader);
    }
    if (connection->is_pty() && endpoints_.count(connection->endpoint().id) > 0)
        reopen_pty(connection->shared_endpoint());
}

void Core::read_from(Connection& connection)
{
    Bytes bytes;
    const auto input = connection.read(bytes);
    if (input == Connection::Input::nothing) return;
    if (input == Connection::Input::broken) return close_connection(connection.id());
    if (input == Connection::Input::ended) {
        connection.closing = true;
        to_write_.insert(connection.id());
        return;
    }
    for (ReaderState* reader : connection.endpoint().readers) {
        reader->counters.bytes_received += bytes.size();
        if (!hears(connection, *reader)) reader->counters.garbled_bytes += bytes.size();
    }
    if (trace_) tell(connection.id(), *connection.endpoint().readers.front(), true, bytes);
    if (end_self_test(connection, bytes)) return;
    connection.parser().feed(now(), bytes.data(), bytes.size());
    take_requests(connection);
}

bool Core::end_self_test(Connection& connection, const Bytes& bytes)
{
    for (ReaderState* reader : connection.endpoint().readers) {
        if (hears(connection, *reader) && reader->device.end_self_test(connection.id(), bytes)) return true;
    }
    return false;
}

// On a serial line, both sides must have the same speed.
bool Core::hears(const Connection& connection, const ReaderState& reader)
{
    const unsigned speed = speed_of_baud(reader.device.config().baud);
    return !connection.is_pty() || speed == 0 || connection.line_speed() == speed;
}

void Core::take_requests(Connection& connection)
{
    while (const auto request = connection.parser().next()) handle_request(connection, *request);
    count_noise(connection);
    schedule(connection);
}

void Core::count_noise(Connection& connection)
{
    const std::uint64_t bad = connection.parser().bad_frames();
    const std::uint64_t skipped = connection.parser().skipped_bytes();
    for (ReaderState* reader : connection.endpoint().readers) {
        reader->counters.bad_frames += bad - connection.bad_frames_seen;
        reader->counters.skipped_bytes += skipped - connection.skipped_bytes_seen;
    }
    connection.bad_frames_seen = bad;
    connection.skipped_bytes_seen = skipped;
}

void Core::handle_request(Connection& connection, const Request& request)
{
    constexpr std::uint8_t any_address = 0xFF;
    const auto& readers = connection.endpoint().readers;
    const auto found = std::find_if(readers.begin(), readers.end(), [&](const ReaderState* reader) {
        if (!hears(connection, *reader)) return false;
        return request.address == any_address || reader->device.address() == request.address;
    });
    if (found == readers.end()) return;
    ReaderState& reader = **found;
    const Time time = now();
    ++reader.counters.requests;
    ++reader.counters.commands[request.command];
    reader.requests.push_back({connection.id(), request.command, request.frame, time});
    if (reader.requests.size() > most_requests_kept) reader.requests.pop_front();
    reader.faults.set_time(time - reader.origin);
    if (reader.faults.silences(connection.id(), request)) return;
    if (const auto status = reader.faults.error_for(connection.id(), request)) {
        send(reader, connection.id(), lead_of(request.command),
             make_answer(reader.device.address(), request.command, *status), FrameKind::answer);
        return;
    }
    reader.device.receive(time - reader.origin, connection.id(), request);
    if (reader.faults.cuts_power(connection.id(), request)) reader.device.cut_power(time - reader.origin);
    reader.counters.requests_refused = reader.device.refused_requests();
    schedule(reader);
}

void Core::send(ReaderState& reader, ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
                std::vector<Heard> heard)
{
    const auto found = connections_.find(to);
    if (found == connections_.end()) return note_lost(reader, to, kind, heard, loss::hung_up);
    Connection& connection = *found->second;
    if (kind == FrameKind::report && connection.queued_bytes() > Connection::report_limit) {
        ++reader.counters.reports_dropped;
        return note_lost(reader, to, kind, heard, loss::slow_peer);
    }
    reader.faults.set_time(now() - reader.origin);
    const Struck struck = reader.faults.strike(to, lead, std::move(frame), kind);
    if (struck.pieces.empty()) return note_lost(reader, to, kind, heard, Fault::name(Fault::Kind::lose));
    queue(connection, reader, struck, kind, std::move(heard));
}

void Core::queue(Connection& connection, ReaderState& reader, const Struck& struck, FrameKind kind,
                 std::vector<Heard> heard)
{
    const Time time = now();
    for (std::size_t i = 0; i < struck.pieces.size(); ++i) {
        const Piece& piece = struck.pieces[i];
        Output output;
        output.bytes = piece.bytes;
        output.reader = &reader;
        output.kind = kind;
        output.ends_frame = i + 1 == struck.pieces.size();
        output.hang_up = output.ends_frame && struck.hang_up;
        output.destroyed_by = struck.destroyed_by;
        if (output.ends_frame) output.heard.swap(heard);
        if (output.ends_frame && kind == FrameKind::report) ++reader.counters.reports_queued;
        connection.queue(time, piece.wait, std::move(output));
    }
    to_write_.insert(connection.id());
}

void Core::note_lost(const ReaderState& reader, ConnectionId to, FrameKind kind,
                     const std::vector<Heard>& heard, std::string_view why) const
{
    if (truth_) truth_->destroyed(now(), {reader.device, reader.number, to, kind, heard}, why);
}

bool Core::has_room(ConnectionId to) const
{
    const auto found = connections_.find(to);
    return found == connections_.end() || found->second->queued_bytes() < Connection::batch_limit;
}

void Core::send_raw(ReaderState& reader, ConnectionId connection, const Bytes& bytes)
{
    for (const ConnectionId id : connections_of(reader)) {
        if (connection != 0 && connection != id) continue;
        Output output;
        output.bytes = bytes;
        output.reader = &reader;
        connections_.at(id)->queue(now(), Time{}, std::move(output));
        to_write_.insert(id);
    }
}

void Core::write_to(Connection& connection)
{
    const ConnectionId id = connection.id();
    const Time time = now();
    std::vector<Output> done;
    const bool open = connection.write(time, done);
    count_written(connection, done);
    const bool finished = connection.closing && connection.queued().empty();
    if (!open || finished || connection.queued_bytes() > Connection::answer_limit)
        return close_connection(id);
    const bool wants = connection.wants_to_write(time);
    if (wants != connection.watched_for_writing || connection.closing) {
        connection.watched_for_writing = wants;
        const std::uint32_t reading = connection.closing ? 0U : std::uint32_t{EPOLLIN};
        watch(connection.descriptor(), id, reading | (wants ? std::uint32_t{EPOLLOUT} : 0U), EPOLL_CTL_MOD);
    }
    schedule(connection);
}

void Core::count_written(Connection& connection, const std::vector<Output>& done)
{
    for (const Output& output : done) {
        Counters& counters = output.reader->counters;
        counters.bytes_sent += output.bytes.size();
        if (trace_) tell(connection.id(), *output.reader, false, output.bytes);
        if (!output.ends_frame) continue;
        ++counters.frames_sent;
        if (output.destroyed_by)
            note_lost(*output.reader, connection.id(), output.kind, output.heard,
                      Fault::name(*output.destroyed_by));
        else if (truth_)
            truth_->sent(now(), {output.reader->device, output.reader->number, connection.id(), output.kind,
                                 output.heard});
        if (output.kind != FrameKind::report) continue;
        ++counters.reports_sent;
        --counters.reports_queued;
    }
}

void Core::watch(int descriptor, std::uint64_t id, std::uint32_t events, int operation)
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    if (::epoll_ctl(poll_.get(), operation, descriptor, &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
}

void Core::schedule(ReaderState& reader)
{
    auto due = reader.device.next_event();
    if (const auto event = reader.events.next(); event && (!due || *event < *due)) due = event;
    if (truth_ && (!due || reader.field_watch.next() < *due)) due = reader.field_watch.next();
    if (due) *due += reader.origin;
    timers_.set(reader.id, due);
}

void Core::advance(ReaderState& reader)
{
    reader.device.advance(now() - reader.origin);
    schedule(reader);
    touch();
}

void Core::schedule(Connection& connection) { timers_.set(connection.id(), connection.next_event()); }

void Core::tell(ConnectionId connection, const ReaderState& reader, bool to_reader, const Bytes& bytes) const
{
    trace_({now(), connection, reader.device.address(), to_reader, bytes});
}

}  // namespace tagwire::sim
