// Looking at this process and its record locks, and putting system calls back after a test.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <thread>

#include "api/handles.h"
#include "link/system.h"

namespace tagwire::engine::test {

inline long open_descriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

inline bool is_open(int fd) { return ::fcntl(fd, F_GETFD) >= 0; }
inline bool is_close_on_exec(int fd) { return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0; }

// Asked from a process of its own, as record locks do not show to their owner.
inline bool is_locked(const char* path)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
        struct flock region {};
        region.l_type = F_WRLCK;
        const bool locked = ::fcntl(fd, F_GETLK, &region) == 0 && region.l_type != F_UNLCK;
        ::_exit(locked ? 1 : 0);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

// A directory of its own as the current one.
class InTemporaryDirectory {
  public:
    InTemporaryDirectory() : before_(std::filesystem::current_path())
    {
        std::string name = (std::filesystem::temp_directory_path() / "tagwire-api-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        here_ = name;
        std::filesystem::current_path(here_);
    }
    ~InTemporaryDirectory()
    {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(here_);
    }
    InTemporaryDirectory(const InTemporaryDirectory&) = delete;
    InTemporaryDirectory& operator=(const InTemporaryDirectory&) = delete;

    static void create(const char* name) { ::close(::open(name, O_CREAT | O_WRONLY | O_CLOEXEC, 0600)); }

  private:
    std::filesystem::path before_;
    std::filesystem::path here_;
};

// Puts every replaced call back.
class CallsRestored {
  public:
    CallsRestored() : before_(sys::calls) {}
    ~CallsRestored() { sys::calls = before_; }
    CallsRestored(const CallsRestored&) = delete;
    CallsRestored& operator=(const CallsRestored&) = delete;

  private:
    sys::Calls before_;
};

// A Reader in a slot of the table without any link; gone with the scope.
class SlotReader {
  public:
    explicit SlotReader(int handle) : handle_(handle), reader_(Create_Reader())
    {
        EthReader[handle_] = reader_;
    }
    ~SlotReader()
    {
        if (EthReader[handle_] != reader_) return;
        EthReader[handle_] = nullptr;
        Destroy_Reader(&reader_);
    }
    SlotReader(const SlotReader&) = delete;
    SlotReader& operator=(const SlotReader&) = delete;

    Reader* get() const { return reader_; }
    Reader* operator->() const { return reader_; }

  private:
    int handle_;
    Reader* reader_;
};

// A reference of the test's own, to look at a Reader after its end.
class Kept {
  public:
    explicit Kept(int handle) : reader_(EthReader[handle]) { retain(reader_); }
    ~Kept() { release(reader_); }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;

    Reader* get() const { return reader_; }
    Reader* operator->() const { return reader_; }
    // Everybody else has left it: the table, calls in progress, the worker.
    bool alone() const { return reader_->keeping.users.ordered_load() == 1; }

  private:
    Reader* reader_;
};

// Waits for something that another thread is about to do; false after half a minute.
template <class Condition> bool eventually(Condition condition)
{
    for (int i = 0; i < 30'000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace tagwire::engine::test
