// Results and statuses in words.
#pragma once

namespace tagwire::engine {

// After which calls a number came: see link/results.def.
enum class ResultFamily {
#define TAGWIRE_RESULT_FAMILY(name, calls) name,
#include "link/results.def"
};

// Two clauses without a capital letter or a full stop.
struct ResultText {
    const char* what;    // happened
    const char* advice;  // what to do
};

// Never null.
ResultText result_text(ResultFamily family, int value);

}  // namespace tagwire::engine
