// The tool as somebody sees it who sits in front of it.
#pragma once

#include <array>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {

// The tool at a terminal of its own, of 24 lines of 100 characters.
class TerminalSession {
  public:
    explicit TerminalSession(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> words{TAGWIRE_TOOL_PATH};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        for (auto& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        winsize size{24, 100, 0, 0};
        pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (pid_ != 0) return;
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    ~TerminalSession()
    {
        hang_up();
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    void type(const std::string& text) const
    {
        EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Until it is shown behind what was waited for before.
    bool wait_for(const std::string& text)
    {
        auto at = shown_.find(text, seen_);
        while (at == std::string::npos && read_more()) at = shown_.find(text, seen_);
        if (at == std::string::npos) return false;
        seen_ = at + text.size();
        return true;
    }
    void hang_up()
    {
        if (terminal_ >= 0) close(std::exchange(terminal_, -1));
    }
    // The exit code, or -1.
    int wait()
    {
        while (terminal_ >= 0 && read_more()) {
        }
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Without looking at how it ended; the terminal stays.
    void wait_for_end()
    {
        siginfo_t ended{};
        waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOWAIT);
    }
    // Whether what is typed is shown.
    bool echoes() const
    {
        termios mode{};
        EXPECT_EQ(tcgetattr(terminal_, &mode), 0);
        return (mode.c_lflag & ECHO) != 0;
    }
    const std::string& shown() const { return shown_; }

  private:
    // False at the end, or when nothing comes for long.
    bool read_more()
    {
        pollfd fd{terminal_, POLLIN, 0};
        if (poll(&fd, 1, 20'000) <= 0) return false;
        std::array<char, 1024> chunk{};
        const auto count = read(terminal_, chunk.data(), chunk.size());
        if (count > 0) shown_.append(chunk.data(), static_cast<std::size_t>(count));
        return count > 0;
    }

    int terminal_ = -1;
    pid_t pid_ = -1;
    std::string shown_;
    std::size_t seen_ = 0;
};

}  // namespace tagwire::tool::test
