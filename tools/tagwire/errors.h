// What ends a command before its time, and the exit code that belongs to it.
#pragma once

#include <stdexcept>

namespace tagwire::tool {

inline constexpr int exit_success = 0;
inline constexpr int exit_failure = 1;
inline constexpr int exit_usage = 2;
inline constexpr int exit_found = 3;  // all went well, and what was looked for is there

// The command line asks for something that cannot be. The message is complete: it says what would be right.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command was right, and failed.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace tagwire::tool
