// Every function that is exported for an operation, with plausible arguments and a handle.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace tagwire::engine::test {

enum class Exported { plain, locked, aside, unbusy };

struct ExportedCall {
    Exported how;
    std::function<int(int handle)> run;
};

// By name.
const std::map<std::string, ExportedCall>& every_exported_call();

}  // namespace tagwire::engine::test
