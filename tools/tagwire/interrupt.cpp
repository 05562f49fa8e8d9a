#include "interrupt.h"

#include "errors.h"
#include "terminal_mode.h"

#include <array>
#include <chrono>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tagwire::tool {

namespace {

bool is_ignored(int signal_number)
{
    struct sigaction current {};
    return sigaction(signal_number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

void set_default(int signal_number)
{
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal_number, &action, nullptr);
}

void ignore(int signal_number)
{
    struct sigaction action {};
    action.sa_handler = SIG_IGN;
    sigaction(signal_number, &action, nullptr);
}

// Ends the process as the signal does when nobody catches it.
void die_of(int signal_number)
{
    TerminalMode::restore();
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal_number);
    set_default(signal_number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    raise(signal_number);
}

}  // namespace

InterruptWatch::InterruptWatch()
{
    ignore(SIGPIPE);
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    // Under nohup a closed terminal is no reason to end.
    if (!is_ignored(SIGHUP)) sigaddset(&signals_, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_mask_);

    signal_fd_ = signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK);
    event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    stop_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (signal_fd_ < 0 || event_ < 0 || stop_ < 0) throw Failure("no descriptors left for signals");
    thread_ = std::thread([this] { run(); });
}

InterruptWatch::~InterruptWatch()
{
    eventfd_write(stop_, 1);
    thread_.join();
    for (const int fd : {signal_fd_, event_, stop_}) close(fd);
    pthread_sigmask(SIG_SETMASK, &previous_mask_, nullptr);
}

void InterruptWatch::run()
{
    constexpr int repeat_ms = 300;
    while (true) {
        std::array<pollfd, 2> fds{pollfd{stop_, POLLIN, 0}, pollfd{signal_fd_, POLLIN, 0}};
        poll(fds.data(), fds.size(), interrupted() ? repeat_ms : -1);
        if ((fds[0].revents & POLLIN) != 0) return;
        if ((fds[1].revents & POLLIN) != 0) take_signal();
        if (interrupted()) act();
    }
}

void InterruptWatch::take_signal()
{
    using std::chrono::steady_clock;
    // Programs that end others may send one signal twice, to the process and to its group.
    constexpr std::chrono::milliseconds same_signal{250};

    signalfd_siginfo info{};
    if (read(signal_fd_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return;
    if (armed_ && !interrupted()) {
        signalfd_siginfo same_again{};
        while (read(signal_fd_, &same_again, sizeof same_again) > 0) {
        }
        first_signal_ = steady_clock::now();
        interrupted_ = true;
        eventfd_write(event_, 1);
        return;
    }
    if (!armed_ || steady_clock::now() - first_signal_ >= same_signal)
        die_of(static_cast<int>(info.ssi_signo));
}

// The first time may take long, and what came meanwhile is the same signal.
void InterruptWatch::act()
{
    const std::lock_guard lock(mutex_);
    if (actions_.empty()) return;
    for (const auto& action : actions_) action();
    if (std::exchange(has_acted_, true)) return;
    first_signal_ = std::chrono::steady_clock::now();
}

InterruptWatch::Hook::Hook(InterruptWatch& watch, std::function<void()> action) : watch_(watch)
{
    const std::lock_guard lock(watch_.mutex_);
    action_ = watch_.actions_.insert(watch_.actions_.end(), std::move(action));
}

InterruptWatch::Hook::~Hook()
{
    const std::lock_guard lock(watch_.mutex_);
    watch_.actions_.erase(action_);
}

}  // namespace tagwire::tool
