// Threads of the library's own leave the application's signals alone.
#pragma once

#include <csignal>
#include <initializer_list>

namespace tagwire::engine {

// The application's signal handlers stay on the application's threads. Faults keep their meaning.
class AsynchronousSignalsBlocked {
  public:
    AsynchronousSignalsBlocked()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    ~AsynchronousSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AsynchronousSignalsBlocked(const AsynchronousSignalsBlocked&) = delete;
    AsynchronousSignalsBlocked& operator=(const AsynchronousSignalsBlocked&) = delete;

  private:
    sigset_t before_;
};

}  // namespace tagwire::engine
