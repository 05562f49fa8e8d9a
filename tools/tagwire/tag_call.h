// Commands that make one call of the library.
#pragma once

#include <functional>

#include "app.h"
#include "connection.h"
#include "errors.h"
#include "format.h"
#include "tag_name.h"

namespace tagwire::tool {

// What a command tells when it is done: a line, and an object for JSON.
struct Done {
    std::string text;
    Json object;
};

void show(Session& session, const Done& done);

// Connects, makes a call, closes the connection and shows what was done. `call` may complete what is shown.
// Throws Failure when the call fails.
int run_call(Session& session, Operation operation, Done done,
             const std::function<TagResult(const ReaderConnection&, Done&)>& call);

}  // namespace tagwire::tool
