// Lets system calls of the library fail or be watched for the length of a test.
#pragma once

#include <cerrno>
#include <cstdint>
#include <vector>

#include "link/system.h"

namespace tagwire::engine::test {

// Puts the system calls back as they were before. Declare it in front of the replacements.
class SystemSeam {
  public:
    SystemSeam() : before_(sys::calls) { recorded().clear(); }
    ~SystemSeam() { sys::calls = before_; }
    SystemSeam(const SystemSeam&) = delete;
    SystemSeam& operator=(const SystemSeam&) = delete;

    // Notes of the replacements, which are plain functions.
    static std::vector<std::int64_t>& recorded()
    {
        static std::vector<std::int64_t> list;
        return list;
    }
    static void record(std::int64_t value) { recorded().push_back(value); }

  private:
    sys::Calls before_;
};

// True for the first `count` calls since arm(): for calls that fail a few times and then work.
class Failures {
  public:
    static void arm(int count) { left_ = count; }
    static bool next() { return left_ > 0 && left_-- > 0; }

  private:
    static inline int left_ = 0;
};

template <class Result = int> Result fail_with(int error)
{
    errno = error;
    return Result{-1};
}

}  // namespace tagwire::engine::test
