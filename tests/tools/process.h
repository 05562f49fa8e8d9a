// A program under test, with its output in pipes.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tagwire::tool::test {

struct Ended {
    int exit_code = -1;  // -1 when a signal ended it
    int signal_number = 0;
    std::string out;
    std::string err;
};

class Process {
  public:
    using Environment = std::vector<std::string>;  // NAME=VALUE, besides the rest

    Process(const std::string& program, const std::vector<std::string>& arguments,
            const Environment& environment = {}, const std::string& input_file = "/dev/null");
    // Kills it when it still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void send_signal(int signal_number) const;
    // The next line of standard output or error, without its end; nothing when it ended or 10 s passed.
    std::optional<std::string> next_line() { return next_line(out_, out_fd_); }
    std::optional<std::string> next_error_line() { return next_line(err_, err_fd_); }
    // Lets go of its standard output: it writes into a pipe without a reader from now on.
    void close_output();
    // Waits for the end and gathers what it wrote. Kills it when it takes 20 s.
    Ended wait();

  private:
    std::optional<std::string> next_line(std::string& text, const int& fd);
    bool read_more(std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    int out_fd_ = -1;
    int err_fd_ = -1;
    std::string out_;
    std::string err_;
};

// Runs a program to its end.
Ended run(const std::string& program, const std::vector<std::string>& arguments,
          const Process::Environment& environment = {}, const std::string& input_file = "/dev/null");

}  // namespace tagwire::tool::test
