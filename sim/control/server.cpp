#include "control/server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_line = 65536;
constexpr std::size_t most_clients = 64;
constexpr int waiting_clients = 16;
constexpr int retry_pause_ms = 50;
constexpr const char* done_line = "done\n";
constexpr const char* refused_line = "refused\n";

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

Descriptor local_socket(int flags)
{
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!socket) fail("socket");
    return socket;
}

sockaddr_un place_of(const std::string& path)
{
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof place.sun_path)
        throw std::runtime_error("'" + path + "': the path of a control socket has 1 to 107 bytes");
    std::memcpy(place.sun_path, path.data(), path.size());
    return place;
}

bool connects(const Descriptor& socket, const std::string& path)
{
    const sockaddr_un place = place_of(path);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

// Who listens behind the socket.
std::string listener_of(const Descriptor& socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid == 0)
        return "another program";
    return "process " + std::to_string(peer.pid);
}

// Removes a socket behind which nobody is any more.
void make_way(const std::string& path)
{
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) {
        if (errno == ENOENT) return;
        fail(path);
    }
    if (!S_ISSOCK(found.st_mode))
        throw std::runtime_error(path + " is there already and is no socket; give another path");
    const Descriptor probe = local_socket(SOCK_NONBLOCK);
    if (connects(probe, path))
        throw std::runtime_error(path + ": " + listener_of(probe) + " listens there; give another path");
    if (errno == EAGAIN)
        throw std::runtime_error(path + ": another program listens there; give another path");
    if (errno != ECONNREFUSED || ::unlink(path.c_str()) != 0) fail(path);
}

// Held while one of several programs that start at once makes way and listens.
Descriptor locked_folder_of(const std::string& path)
{
    const std::string folder = std::filesystem::path(path).parent_path();
    Descriptor lock(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock) fail(path);
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) fail(path);
    }
    return lock;
}

Descriptor listen_at(const std::string& path)
{
    const sockaddr_un place = place_of(path);
    const Descriptor lock = locked_folder_of(path);
    make_way(path);
    Descriptor socket = local_socket(SOCK_NONBLOCK);
    // The file gets the mode that the socket has, and is born with it.
    if (::fchmod(socket.get(), S_IRUSR | S_IWUSR) != 0) fail(path);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0) fail(path);
    if (::listen(socket.get(), waiting_clients) != 0) fail(path);
    return socket;
}

ino_t inode_of(const std::string& path)
{
    struct stat found {};
    return ::lstat(path.c_str(), &found) == 0 ? found.st_ino : 0;
}

bool try_again(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

ControlAnswer ask_control(const std::string& path, unsigned reader, const std::string& words,
                          std::chrono::milliseconds patience)
{
    const Descriptor socket = local_socket(0);
    const timeval limit{patience.count() / 1000, patience.count() % 1000 * 1000};
    for (const int waits : {SO_SNDTIMEO, SO_RCVTIMEO})
        ::setsockopt(socket.get(), SOL_SOCKET, waits, &limit, sizeof limit);
    const auto give_up = [&path](const std::string& otherwise) {
        if (try_again(errno)) throw std::runtime_error(path + ": what listens there does not answer in time");
        fail(otherwise);
    };
    if (!connects(socket, path)) give_up(path + ": nobody listens there");
    std::string line = std::to_string(reader) + ' ' + words;
    std::replace(line.begin(), line.end(), '\n', ' ');
    line += '\n';
    if (::send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        give_up(path);
    std::string text;
    std::array<char, 4096> chunk{};
    ssize_t count = 0;
    while ((count = ::read(socket.get(), chunk.data(), chunk.size())) > 0)
        text.append(chunk.data(), static_cast<std::size_t>(count));
    if (count < 0) give_up(path);
    for (const std::string_view first : {done_line, refused_line}) {
        if (text.starts_with(first)) return {first == done_line, text.substr(first.size())};
    }
    throw std::runtime_error(path + ": what listens there gives no answer");
}

ControlServer::ControlServer(std::string path, std::vector<Reader*> readers)
    : path_(std::move(path)), readers_(std::move(readers)), listener_(listen_at(path_)),
      inode_(inode_of(path_)), stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!stop_) fail("eventfd");
    thread_ = std::thread([this] { run(); });
}

ControlServer::~ControlServer()
{
    const std::uint64_t one = 1;
    while (::write(stop_.get(), &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    if (inode_of(path_) == inode_) ::unlink(path_.c_str());
}

void ControlServer::run()
{
    while (true) {
        const short accepts = clients_.size() < most_clients && !has_to_wait_ ? POLLIN : 0;
        std::vector<pollfd> watched{{stop_.get(), POLLIN, 0}, {listener_.get(), accepts, 0}};
        for (const Client& client : clients_)
            watched.push_back(
                {client.socket.get(), static_cast<short>(client.output.empty() ? POLLIN : POLLOUT), 0});
        const int timeout = std::exchange(has_to_wait_, false) ? retry_pause_ms : -1;
        if (::poll(watched.data(), watched.size(), timeout) < 0 && errno != EINTR) return;
        if (watched[0].revents != 0) return;
        std::size_t at = 2;
        for (Client& client : clients_) {
            if (watched[at++].revents != 0) serve(client);
        }
        clients_.remove_if([](const Client& client) { return client.over; });
        if (watched[1].revents != 0) accept_all();
    }
}

void ControlServer::accept_all()
{
    while (clients_.size() < most_clients) {
        Descriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            has_to_wait_ = has_no_descriptors(errno);
            return;
        }
        clients_.emplace_back().socket = std::move(socket);
    }
}

void ControlServer::serve(Client& client) const
{
    if (client.output.empty()) {
        read(client);
        const std::size_t end = client.input.find('\n');
        if (end != std::string::npos) client.output = answer(client.input.substr(0, end));
        if (client.output.empty() && client.input.size() > longest_line) client.over = true;
    }
    if (!client.output.empty()) write(client);
}

void ControlServer::read(Client& client)
{
    std::array<char, 4096> chunk{};
    const ssize_t count = ::read(client.socket.get(), chunk.data(), chunk.size());
    if (count > 0)
        client.input.append(chunk.data(), static_cast<std::size_t>(count));
    else
        client.over = count == 0 || !try_again(errno);
}

void ControlServer::write(Client& client)
{
    const ssize_t count =
        ::send(client.socket.get(), client.output.data(), client.output.size(), MSG_NOSIGNAL);
    if (count > 0) client.output.erase(0, static_cast<std::size_t>(count));
    client.over = client.output.empty() || (count < 0 && !try_again(errno));
}

std::string ControlServer::answer(const std::string& line) const
{
    unsigned number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (error != std::errc() || number < 1 || number > readers_.size())
        return refused_line +
               ("a line begins with the number of a reader, 1 to " + std::to_string(readers_.size()));
    try {
        return done_line + readers_[number - 1]->control({end, line.data() + line.size()});
    } catch (const std::exception& problem) {
        return refused_line + std::string(problem.what());
    }
}

}  // namespace tagwire::sim
