// Another mode of the terminal on standard input, for a while.
#pragma once

#include <array>

#include <signal.h>
#include <termios.h>
#include <unistd.h>

namespace tagwire::tool {

// While it lives, these local modes are off; also a signal that ends the program puts them back. One at a time.
class TerminalMode {
  public:
    explicit TerminalMode(tcflag_t off)
    {
        is_mine_ = tcgetattr(STDIN_FILENO, &before_) == 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
        if (!is_mine_) return;
        is_set_ = true;
        for (std::size_t i = 0; i < deadly.size(); ++i) {
            struct sigaction restore_first {};
            restore_first.sa_handler = die;
            sigaction(deadly[i], nullptr, &actions_[i]);
            if (actions_[i].sa_handler != SIG_IGN) sigaction(deadly[i], &restore_first, nullptr);
        }
        auto mode = before_;
        mode.c_lflag &= ~off;
        tcsetattr(STDIN_FILENO, TCSADRAIN, &mode);
    }
    ~TerminalMode()
    {
        if (!is_mine_) return;
        restore();
        for (std::size_t i = 0; i < deadly.size(); ++i) sigaction(deadly[i], &actions_[i], nullptr);
    }
    TerminalMode(const TerminalMode&) = delete;
    TerminalMode& operator=(const TerminalMode&) = delete;

    // Whether there is a terminal, and this program is in front of it.
    bool is_set() const { return is_mine_; }

    // For who is about to die of a signal.
    static void restore()
    {
        if (is_set_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        is_set_ = false;
    }

  private:
    static constexpr std::array deadly{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    static void die(int signal_number)
    {
        restore();
        signal(signal_number, SIG_DFL);
        raise(signal_number);
    }

    static inline termios before_{};
    static inline volatile bool is_set_ = false;
    bool is_mine_ = false;
    std::array<struct sigaction, deadly.size()> actions_{};
};

}  // namespace tagwire::tool
