// What sensor tags tell, for people.
#pragma once

#include <optional>
#include <string>

#include <fmt/format.h>

#include "deed.h"

namespace tagwire::tool {

// "-18.50 C", or a dash
inline std::string celsius_text(const std::optional<double>& celsius)
{
    return celsius ? fmt::format("{:.2f} C", *celsius) : "-";
}

// What is no measurement is none of the fields.
[[noreturn]] inline void fail_for(Deed& done, const std::string& problem,
                                  const std::string& more = "bring the tag closer and try again")
{
    done.text.clear();
    done.fields["problem"] = problem;
    throw Failure(fmt::format("{}: {}", problem, more));
}

}  // namespace tagwire::tool
