#include "transport/descriptor.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace tagwire::sim {

namespace {

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void check(bool good, const std::string& what)
{
    if (!good) fail(what);
}

}  // namespace

void Descriptor::reset()
{
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

Descriptor listen_on(const std::string& address, std::uint16_t port)
{
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &place.sin_addr) != 1) {
        throw std::invalid_argument("'" + address + "' is not an IPv4 address; use one such as 127.0.0.1");
    }
    const std::string what = "cannot listen on " + address + ":" + std::to_string(port);
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    check(static_cast<bool>(socket), what);
    const int on = 1;
    check(::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0, what);
    check(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0, what);
    check(::listen(socket.get(), SOMAXCONN) == 0, what);
    return socket;
}

std::uint16_t port_of(const Descriptor& socket)
{
    sockaddr_in place{};
    socklen_t size = sizeof place;
    check(::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&place), &size) == 0, "getsockname");
    return ntohs(place.sin_port);
}

Descriptor accept_from(const Descriptor& listener)
{
    Descriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) return socket;
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

bool has_no_descriptors(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

PtyPair open_pty_pair()
{
    PtyPair pty;
    pty.master = Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    check(static_cast<bool>(pty.master), "cannot open a pseudo terminal");
    check(::grantpt(pty.master.get()) == 0 && ::unlockpt(pty.master.get()) == 0,
          "cannot unlock a pseudo terminal");
    std::array<char, 64> path{};
    check(::ptsname_r(pty.master.get(), path.data(), path.size()) == 0, "cannot name a pseudo terminal");
    pty.path = path.data();
    pty.slave = Descriptor(::open(path.data(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    check(static_cast<bool>(pty.slave), "cannot open " + pty.path);
    termios line{};
    check(::tcgetattr(pty.slave.get(), &line) == 0, "cannot read the settings of " + pty.path);
    ::cfmakeraw(&line);
    check(::tcsetattr(pty.slave.get(), TCSANOW, &line) == 0, "cannot set up " + pty.path);
    return pty;
}

PtyNames::~PtyNames()
{
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::string PtyNames::add(const std::string& terminal)
{
    if (folder_.empty()) {
        std::string folder = std::filesystem::temp_directory_path() / "tagwire-sim-XXXXXX";
        check(::mkdtemp(folder.data()) != nullptr, "cannot make " + folder);
        folder_ = folder;
    }
    std::string name = folder_ + "/pty" + std::to_string(++names_);
    lead(name, terminal);
    return name;
}

// At every moment the name leads to one or the other.
void PtyNames::lead(const std::string& name, const std::string& terminal)
{
    const std::string made = name + ".new";
    std::filesystem::create_symlink(terminal, made);
    std::filesystem::rename(made, name);
}

unsigned line_speed(const Descriptor& terminal)
{
    termios line{};
    if (::tcgetattr(terminal.get(), &line) != 0) return 0;
    switch (::cfgetospeed(&line)) {
    case B9600: return 9600;
    case B19200: return 19200;
    case B38400: return 38400;
    case B57600: return 57600;
    case B115200: return 115200;
    case B921600: return 921600;
    default: return 0;
    }
}

}  // namespace tagwire::sim
