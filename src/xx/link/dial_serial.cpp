#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "link/serial.h"
#include "xx/link/dial.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

std::string failure_text(const Url& url, int error)
{
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO: return " is not there: is the reader plugged in and powered?";
    case EACCES:
    case EPERM:
        return " may not be opened by this user: add the user to the device's group (often dialout), and log "
               "in "
               "again";
    case EBUSY: return " is another connection's already: close that one first";
    case ENOTTY: return " is no serial line";
    case EINVAL: return " does not take " + std::to_string(url.speed) + " bit/s";
    default: return ": " + std::generic_category().message(error);
    }
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

Descriptor open_serial(const Url& url)
{
    engine::HeldPort* held = nullptr;
    const int fd = engine::open_port(url.device.c_str(), baud_index(url.speed), &held);
    const int error = errno;
    if (fd >= 0) {
        ::tcflush(fd, TCIOFLUSH);
        return Descriptor(fd, held);
    }
    if (error == EMFILE || error == ENFILE) throw_no_descriptor("open", error);
    throw Error(error == EBUSY ? Errc::in_use : Errc::cannot_open, "open", url.text,
                url.device + failure_text(url, error));
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
