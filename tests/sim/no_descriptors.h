#pragma once

#include <chrono>
#include <ctime>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace tagwire::sim {

// As if this process had no descriptors left.
class NoDescriptors {
  public:
    NoDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{3, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
};

// What this process has used.
inline std::chrono::nanoseconds processor_time()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace tagwire::sim
