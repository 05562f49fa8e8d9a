#include "live_screen.h"

#include <sys/ioctl.h>

#include <fmt/format.h>

namespace tagwire::tool {

TerminalSize terminal_size(int fd)
{
    winsize size{};
    if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
    return {size.ws_col, size.ws_row};
}

std::string LiveScreen::draw(const std::vector<std::string>& lines, TerminalSize size)
{
    std::string text;
    if (lines_drawn_ != 0 && size != last_size_) {
        // The terminal has wrapped the old lines anew, nobody knows where they are.
        text += "\x1b[H\x1b[2J";
    } else if (lines_drawn_ != 0) {
        text += fmt::format("\r\x1b[{}A", lines_drawn_);
    }
    for (const auto& line : lines) text += "\r\x1b[K" + line + "\n";
    text += "\x1b[J";
    lines_drawn_ = lines.size();
    last_size_ = size;
    return text;
}

}  // namespace tagwire::tool
