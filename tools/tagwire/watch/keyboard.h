// Single keys of a terminal, without waiting for the end of a line.
#pragma once

#include <optional>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace tagwire::tool {

// While it lives, keys come at once and are not shown. Does nothing without a terminal to read from.
class Keyboard {
  public:
    Keyboard()
    {
        if (tcgetattr(STDIN_FILENO, &before_) != 0 || tcgetpgrp(STDIN_FILENO) != getpgrp()) return;
        auto raw = before_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        is_there_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    }
    ~Keyboard()
    {
        if (is_there_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    // Readable while keys wait; -1 without a terminal.
    int fd() const { return is_there_ ? STDIN_FILENO : -1; }
    std::optional<char> take() const
    {
        pollfd waiting{fd(), POLLIN, 0};
        char key = 0;
        if (!is_there_ || poll(&waiting, 1, 0) <= 0 || read(STDIN_FILENO, &key, 1) != 1) return std::nullopt;
        return key;
    }

  private:
    termios before_{};
    bool is_there_ = false;
};

}  // namespace tagwire::tool
