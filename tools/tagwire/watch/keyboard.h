// Single keys of a terminal, without waiting for the end of a line.
#pragma once

#include <optional>

#include <poll.h>
#include <unistd.h>

#include "terminal_mode.h"

namespace tagwire::tool {

// While it lives, keys come at once and are not shown. Does nothing without a terminal to read from.
class Keyboard {
  public:
    // Readable while keys wait; -1 without a terminal.
    int fd() const { return mode_.is_set() ? STDIN_FILENO : -1; }
    std::optional<char> take() const
    {
        pollfd waiting{fd(), POLLIN, 0};
        char key = 0;
        if (!mode_.is_set() || poll(&waiting, 1, 0) <= 0 || read(STDIN_FILENO, &key, 1) != 1)
            return std::nullopt;
        return key;
    }

  private:
    TerminalMode mode_{ICANON | ECHO};
};

}  // namespace tagwire::tool
