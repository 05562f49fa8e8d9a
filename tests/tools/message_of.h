// The message of the UsageError that a call throws.
#pragma once

#include <string>

#include "errors.h"

namespace tagwire::tool::test {

template <typename Call> std::string message_of(Call call)
{
    try {
        call();
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace tagwire::tool::test
