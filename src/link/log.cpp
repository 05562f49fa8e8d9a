// The diagnostic log, and two small helpers for looking at bytes.
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "link/hex.h"
#include "link/log.h"
#include "link/system.h"
#include "reader/reader.h"

namespace tagwire::engine {
namespace {

// The text of one line: direction, ':' and two digits a byte, in 4096 characters with the NUL. More bytes
// than fit are left out.
constexpr int line_text_size = 4096;
constexpr int most_bytes = (line_text_size - 1 - 2) / 2;

int format_line(char* line, std::size_t size, const tm& local, long milliseconds, char direction,
                const u8* bytes, int count)
{
    char text[line_text_size];
    text[0] = direction;
    text[1] = ':';
    const int shown = std::clamp(count, 0, most_bytes);
    *write_hex(text + 2, bytes, static_cast<std::size_t>(shown)) = '\0';
    return std::snprintf(line, size, "[%02d:%02d:%02d %03ld] %s\n", local.tm_hour, local.tm_min, local.tm_sec,
                         milliseconds, text);
}

}  // namespace
}  // namespace tagwire::engine

void I_log(Reader* sthis, char IOFlag, u8* str, int len)
{
    if (!sthis->LogFileFlag || str == nullptr) return;

    timeval now{};
    tagwire::engine::sys::calls.wall_clock(&now);
    tm local{};
    localtime_r(&now.tv_sec, &local);

    char name[64];
    std::snprintf(name, sizeof name, "%02d%02d%02d%02d%02d.log", (local.tm_year + 1900) % 100,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min);
    char line[tagwire::engine::line_text_size + 32];
    const int length = tagwire::engine::format_line(line, sizeof line, local,
                                                    static_cast<long>(now.tv_usec / 1000), IOFlag, str, len);

    const int fd = tagwire::engine::sys::calls.open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) return;
    // One write for the whole line, so that lines of two threads do not mix. A line that cannot be written is
    // dropped, like one whose file cannot be opened.
    const ssize_t written = tagwire::engine::sys::calls.write(fd, line, static_cast<std::size_t>(length));
    static_cast<void>(written);
    tagwire::engine::sys::calls.close(fd);
}

void printHexToString(u8* Hex, u8 lenth, int /*flag*/)
{
    char line[4 + 2 * 255 + 1] = "QVN:";
    *tagwire::engine::write_hex(line + 4, Hex, lenth) = '\0';
    std::puts(line);
}

u8 IntToStr(u8 aChar) { return static_cast<u8>(aChar < 16 ? tagwire::engine::hex_digits[aChar] : ' '); }
