#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <utility>

#include "link/descriptor.h"
#include "link/serial.h"
#include "link/system.h"
#include "link/turn.h"
#include "reader/hooks.h"
#include "tagwire/result.h"

namespace tagwire::engine {

// A record lock does not refuse the process that holds it, and closing a second descriptor of a device would
// drop the lock of the first. So the devices that are open here are kept in a list, and none is opened twice. Others,
// and other copies of this list in one process, see the claim: a local socket with the name of the device.
struct HeldPort {
    std::uint64_t device;
    std::uint64_t node;  // 0 for a device; a plain file is told by its inode
    int claim;           // the socket's descriptor; -1 for a plain file, and where there are no such sockets
    HeldPort* next;
};

namespace {

constexpr std::size_t serial_chunk = 256;

pthread_mutex_t held_ports_mutex = PTHREAD_MUTEX_INITIALIZER;
HeldPort* held_ports = nullptr;

bool is_held(const HeldPort& port)
{
    for (const HeldPort* other = held_ports; other != nullptr; other = other->next)
        if (other->device == port.device && other->node == port.node) return true;
    return false;
}

void identify(HeldPort& port, const struct stat& about)
{
    const bool is_device = S_ISCHR(about.st_mode);
    port.device = is_device ? about.st_rdev : about.st_dev;
    port.node = is_device ? 0 : about.st_ino;
}

// What was opened is what was noted, also when the path was given to another device in between.
bool is_descriptor_of(const HeldPort& port, int fd)
{
    struct stat about {};
    if (sys::calls.fstat(fd, &about) != 0) return false;
    HeldPort opened{};
    identify(opened, about);
    return opened.device == port.device && opened.node == port.node;
}

// False when another one has claimed it.
bool claim_device(HeldPort& port)
{
    port.claim = -1;
    const int fd = port.node == 0 ? sys::calls.local_socket() : -1;
    if (fd < 0) return true;
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const dev_t device = port.device;
    const int length = std::snprintf(name.sun_path + 1, sizeof name.sun_path - 1, "tagwire-serial-%u-%u",
                                     major(device), minor(device));
    const std::size_t size = offsetof(sockaddr_un, sun_path) + 1 + static_cast<std::size_t>(length);
    if (sys::calls.bind(fd, reinterpret_cast<const sockaddr*>(&name), static_cast<socklen_t>(size)) == 0) {
        port.claim = fd;
        return true;
    }
    const bool is_claimed = errno == EADDRINUSE;
    sys::calls.close(fd);
    return !is_claimed;
}

// Notes the device behind `path` as open in this process. Null, with errno, when it is not there, or somebody has it.
HeldPort* hold_port(const char* path)
{
    struct stat about {};
    if (path == nullptr || sys::calls.stat(path, &about) != 0) return nullptr;
    HeldPort* port = new (std::nothrow) HeldPort;
    if (port == nullptr) return nullptr;
    identify(*port, about);
    const Lock lock(held_ports_mutex);
    if (is_held(*port) || !claim_device(*port)) {
        delete port;
        errno = EBUSY;
        return nullptr;
    }
    port->next = held_ports;
    held_ports = port;
    return port;
}

// Closes the device. Another process may be given its number as soon as the descriptor is closed, so the claim goes
// first; this process forgets the device last.
bool close_held(int fd, HeldPort* port)
{
    if (port != nullptr && port->claim >= 0) sys::calls.close(port->claim);
    const bool closed = fd >= 0 && sys::calls.close(fd) == 0;
    if (port == nullptr) return closed;
    const Lock lock(held_ports_mutex);
    HeldPort** link = &held_ports;
    while (*link != port) link = &(*link)->next;
    *link = port->next;
    delete port;
    return closed;
}

// Standard input, not the reader's port. A background job that flushes its terminal would be stopped by
// SIGTTOU; blocked, the flush goes through.
void flush_standard_input()
{
    sigset_t background_write;
    sigset_t before;
    sigemptyset(&background_write);
    sigaddset(&background_write, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &background_write, &before);
    sys::calls.tcflush(STDIN_FILENO, TCIOFLUSH);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

int open_device(const char* path)
{
    int fd = -1;
    do {
        fd = sys::calls.open(path, O_RDWR | O_EXCL | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, 0);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

int open_held(const char* path, HeldPort** held)
{
    *held = hold_port(path);
    if (*held == nullptr) return -1;
    const int fd = open_device(path);
    if (fd >= 0 && is_descriptor_of(**held, fd)) return fd;
    const int error = fd < 0 ? errno : ENODEV;
    close_port(fd, *held);
    errno = error;
    return -1;
}

int apply_settings(int fd, const termios& settings)
{
    int result = -1;
    do {
        result = sys::calls.tcsetattr(fd, &settings);
    } while (result != 0 && errno == EINTR);
    return result;
}

ssize_t write_once(int fd, const u8* frame, unsigned count)
{
    ssize_t written = -1;
    do {
        written = sys::calls.write(fd, frame, count);
    } while (written < 0 && errno == EINTR);
    return written;
}

struct flock whole_file(short type)
{
    struct flock region {};
    region.l_type = type;
    region.l_whence = SEEK_SET;
    return region;
}

int set_region_lock(int fd, short type)
{
    struct flock region = whole_file(type);
    return sys::calls.lock(fd, &region) < 0 ? -1 : 0;
}

bool is_locked_by_another(int fd)
{
    struct flock region = whole_file(F_WRLCK);
    return sys::calls.lock_file(fd, &region) < 0;
}

int prepare_device(Reader* reader, int fd, u8 baud)
{
    if (reader->operations.trylock_fd(reader, fd) != 0) return TAGWIRE_NO_DEVICE;
    set_raw_8n1(reader->portDCB, baud);
    return apply_line(fd, reader->portDCB) == 0 ? TAGWIRE_OK : TAGWIRE_LINE_SETTINGS;
}

int write_frame(Reader* reader, int fd, u8* frame, unsigned count)
{
    const ssize_t written = write_once(fd, frame, count);
    if (written < 0 || static_cast<unsigned>(written) < count) return TAGWIRE_NO_ANSWER;
    note_traffic(reader, Direction::sent, frame, static_cast<int>(count));
    return TAGWIRE_OK;
}

}  // namespace

speed_t line_speed(u8 baud)
{
    switch (baud) {
    case 0: return B9600;
    case 1: return B19200;
    case 2: return B38400;
    case 6: return B115200;
    case 7: return B921600;
    default: return B57600;
    }
}

void set_raw_8n1(termios& line, u8 baud)
{
    line.c_cflag |= CLOCAL | CREAD;
    line.c_cflag &= ~static_cast<tcflag_t>(CSIZE);
    cfsetispeed(&line, line_speed(baud));
    cfsetospeed(&line, line_speed(baud));
    line.c_cflag |= CS8;
    line.c_cflag &= ~static_cast<tcflag_t>(PARENB);
    line.c_iflag &= ~static_cast<tcflag_t>(INPCK);
    line.c_cflag &= ~static_cast<tcflag_t>(CSTOPB);
    line.c_cc[VTIME] = 0;
    line.c_cc[VMIN] = 0;
}

int apply_line(int fd, const termios& line)
{
    flush_standard_input();
    return apply_settings(fd, line);
}

int open_port(const char* path, u8 baud, HeldPort** held)
{
    const int fd = open_held(path, held);
    if (fd < 0) return -1;
    termios line{};
    set_raw_8n1(line, baud);
    const bool is_locked = is_locked_by_another(fd);
    if (!is_locked && apply_settings(fd, line) == 0) return fd;
    const int error = is_locked ? EBUSY : errno;
    close_port(fd, *held);
    errno = error;
    return -1;
}

void close_port(int fd, HeldPort* held) { close_held(fd, held); }

bool close_port(Reader* reader)
{
    const int fd = reader->hCommPort;
    if (!shut_link(reader)) return false;
    return close_held(fd, std::exchange(reader->keeping.port, nullptr));
}

int read_serial(Reader* reader, u8* to)
{
    if (reader->hCommPort < 0) return -1;
    ssize_t count = -1;
    {
        const LinkUse link(reader);
        if (!link.usable()) return 0;
        do {
            count = sys::calls.read(link.fd(), to, serial_chunk);
        } while (count < 0 && errno == EINTR);
    }
    if (count <= 0) return 0;
    note_traffic(reader, Direction::received, to, static_cast<int>(count));
    return static_cast<int>(count);
}

int send_serial(Reader* reader, u8* frame, unsigned count)
{
    const LinkUse link(reader);
    if (reader->hCommPort < 0) return TAGWIRE_NO_ANSWER;
    clear_received(reader, Purpose::command);
    if (!link.usable()) return TAGWIRE_NO_ANSWER;
    sys::calls.tcflush(link.fd(), TCOFLUSH);
    sys::calls.tcflush(link.fd(), TCIFLUSH);
    return write_frame(reader, link.fd(), frame, count);
}

int send_stop_serial(Reader* reader, u8* frame, unsigned count)
{
    const LinkUse link(reader);
    if (!link.usable()) return TAGWIRE_NO_ANSWER;
    return write_frame(reader, link.fd(), frame, count);
}

}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_trylock_fd(Reader* /*sthis*/, int fd) { return set_region_lock(fd, F_WRLCK); }

int I_unlock_fd(Reader* /*sthis*/, int fd) { return set_region_lock(fd, F_UNLCK); }

int I_Open_Com(Reader* sthis, char* Port, u8 fbaud)
{
    std::memset(&sthis->portDCB, 0, sizeof sthis->portDCB);
    HeldPort* port = nullptr;
    const int fd = open_held(Port, &port);
    if (fd < 0) return TAGWIRE_NO_DEVICE;
    if (const int result = prepare_device(sthis, fd, fbaud)) {
        close_port(fd, port);
        return result;
    }
    sthis->keeping.port = port;
    sthis->hCommPort = fd;
    open_link(sthis);
    return TAGWIRE_OK;
}
