#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include "link/serial.h"
#include "xx/dial.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

[[noreturn]] void fail(Errc code, const Url& url, const std::string& text)
{
    throw Error(code, "open", url.text, url.device + text);
}

[[noreturn]] void fail_to_open(const Url& url, int error)
{
    switch (error) {
    case EMFILE:
    case ENFILE: throw_no_descriptor("open", error);
    case ENOENT:
    case ENODEV:
    case ENXIO: fail(Errc::cannot_open, url, " is not there: is the reader plugged in and powered?");
    case EACCES:
    case EPERM:
        fail(
            Errc::cannot_open, url,
            " may not be opened by this user: add the user to the device's group (often dialout), and log in "
            "again");
    case EBUSY: fail(Errc::in_use, url, " is in use by another program");
    default: fail(Errc::cannot_open, url, ": " + std::generic_category().message(error));
    }
}

Descriptor open_device(const Url& url)
{
    int fd = -1;
    do {
        fd = ::open(url.device.c_str(), O_RDWR | O_EXCL | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) fail_to_open(url, errno);
    return Descriptor(fd);
}

// A name that one socket of this computer can have: whoever has it has the device, in whatever process.
Descriptor claim(const Url& url, dev_t device)
{
    Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) throw_no_descriptor("open", errno);
    const std::string name =
        "tagwire-serial-" + std::to_string(major(device)) + "-" + std::to_string(minor(device));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0)
        fail(Errc::in_use, url, " is another connection's already: close that one first");
    return fd;
}

void lock(const Url& url, int fd)
{
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (::fcntl(fd, F_OFD_SETLK, &whole) != 0) fail(Errc::in_use, url, " is locked by another program");
}

void set_line(const Url& url, int fd)
{
    termios line{};
    engine::set_raw_8n1(line, baud_index(url.speed));
    int result = -1;
    do {
        result = ::tcsetattr(fd, TCSANOW, &line);
    } while (result != 0 && errno == EINTR);
    if (result != 0)
        fail(Errc::cannot_open, url,
             " does not take " + std::to_string(url.speed) + " bit/s: is it a serial line?");
    ::tcflush(fd, TCIOFLUSH);
}

bool is_standard_input(dev_t device)
{
    struct stat input {};
    return ::fstat(STDIN_FILENO, &input) == 0 && S_ISCHR(input.st_mode) && input.st_rdev == device;
}

bool is_console(dev_t device)
{
    std::ifstream consoles("/sys/class/tty/console/active");
    struct stat about {};
    for (std::string name; consoles >> name;)
        if (::stat(("/dev/" + name).c_str(), &about) == 0 && about.st_rdev == device) return true;
    return false;
}

std::vector<std::string> sorted_entries(const std::string& folder)
{
    std::vector<std::string> out;
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        out.push_back(at->path().string());
    std::sort(out.begin(), out.end());
    return out;
}

bool is_named_like_a_reader(const std::string& path)
{
    const auto name = std::string_view(path).substr(path.rfind('/') + 1);
    return name.starts_with("ttyUSB") || name.starts_with("ttyACM") || name.starts_with("ttyAMA");
}

}  // namespace

SerialLine open_serial(const Url& url)
{
    struct stat about {};
    if (::stat(url.device.c_str(), &about) != 0) fail_to_open(url, errno);
    if (!S_ISCHR(about.st_mode)) fail(Errc::cannot_open, url, " is no serial device");
    SerialLine out;
    out.claim = claim(url, about.st_rdev);
    out.fd = open_device(url);
    struct stat opened {};
    if (::fstat(out.fd.get(), &opened) != 0 || opened.st_rdev != about.st_rdev)
        fail(Errc::cannot_open, url, " was replaced while it was opened: try again");
    lock(url, out.fd.get());
    set_line(url, out.fd.get());
    return out;
}

std::vector<std::string> find_serial_devices(const std::string& folder)
{
    auto paths = sorted_entries(folder + "/serial/by-id");
    for (auto& path : sorted_entries(folder))
        if (is_named_like_a_reader(path)) paths.push_back(std::move(path));
    std::vector<std::string> out;
    std::vector<dev_t> seen;
    for (auto& path : paths) {
        struct stat about {};
        if (::stat(path.c_str(), &about) != 0 || !S_ISCHR(about.st_mode)) continue;
        if (is_standard_input(about.st_rdev) || is_console(about.st_rdev)) continue;
        if (std::find(seen.begin(), seen.end(), about.st_rdev) != seen.end()) continue;
        seen.push_back(about.st_rdev);
        out.push_back(std::move(path));
    }
    return out;
}

}  // namespace v1
}  // namespace tagwire
