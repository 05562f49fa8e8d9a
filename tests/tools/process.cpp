#include "process.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tagwire::tool::test {

namespace {

using std::chrono::steady_clock;

struct Pipe {
    int read_end;
    int write_end;
};

Pipe make_pipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    return {ends[0], ends[1]};
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> all;
    for (auto& text : texts) all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

std::vector<std::string> full_environment(const Process::Environment& more)
{
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!text.starts_with("TAGWIRE_")) all.push_back(text);
    }
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

// A test may run with signals blocked or ignored; the program starts without.
void use_plain_signals(posix_spawnattr_t& attributes)
{
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaddset(&defaults, number);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

int take(int fd, std::string& text)
{
    std::array<char, 4096> chunk{};
    const auto count = read(fd, chunk.data(), chunk.size());
    if (count > 0) text.append(chunk.data(), static_cast<std::size_t>(count));
    return static_cast<int>(count);
}

void close_fd(int& fd)
{
    if (fd >= 0) close(std::exchange(fd, -1));
}

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& arguments,
                 const Environment& environment, const std::string& input_file)
{
    const auto out = make_pipe();
    const auto err = make_pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input_file.c_str(), O_RDONLY | O_NOCTTY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.write_end, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.write_end, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    use_plain_signals(attributes);

    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    auto variables = full_environment(environment);
    const int error = posix_spawn(&pid_, program.c_str(), &actions, &attributes, pointers(words).data(),
                                  pointers(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(out.write_end);
    close(err.write_end);
    out_fd_ = out.read_end;
    err_fd_ = err.read_end;
    if (error == 0) return;
    pid_ = -1;
    close_fd(out_fd_);
    close_fd(err_fd_);
    throw std::runtime_error("cannot start " + program);
}

Process::~Process()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close_fd(out_fd_);
    close_fd(err_fd_);
}

void Process::send_signal(int signal_number) const { kill(pid_, signal_number); }

void Process::close_output() { close_fd(out_fd_); }

bool Process::read_more(steady_clock::time_point deadline)
{
    if (out_fd_ < 0 && err_fd_ < 0) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    if (left.count() <= 0) return false;
    std::array<pollfd, 2> fds{pollfd{out_fd_, POLLIN, 0}, pollfd{err_fd_, POLLIN, 0}};
    if (poll(fds.data(), fds.size(), static_cast<int>(left.count())) <= 0) return false;
    if (fds[0].revents != 0 && take(out_fd_, out_) <= 0) close_fd(out_fd_);
    if (fds[1].revents != 0 && take(err_fd_, err_) <= 0) close_fd(err_fd_);
    return true;
}

std::optional<std::string> Process::next_line(std::string& text, const int& fd)
{
    const auto deadline = steady_clock::now() + std::chrono::seconds(10);
    auto end = text.find('\n');
    while (end == std::string::npos && fd >= 0 && read_more(deadline)) end = text.find('\n');
    if (end == std::string::npos) return std::nullopt;
    auto line = text.substr(0, end);
    text.erase(0, end + 1);
    return line;
}

Ended Process::wait()
{
    const auto deadline = steady_clock::now() + std::chrono::seconds(20);
    while (read_more(deadline)) {
    }
    if (steady_clock::now() >= deadline) kill(pid_, SIGKILL);
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    Ended ended;
    if (WIFEXITED(status)) ended.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) ended.signal_number = WTERMSIG(status);
    ended.out = std::move(out_);
    ended.err = std::move(err_);
    return ended;
}

Ended run(const std::string& program, const std::vector<std::string>& arguments,
          const Process::Environment& environment, const std::string& input_file)
{
    return Process(program, arguments, environment, input_file).wait();
}

}  // namespace tagwire::tool::test
