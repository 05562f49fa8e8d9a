// What a command does with the reader, and what it tells of it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <tagwirexx/error.hpp>
#include <tagwirexx/reader.hpp>

#include "app.h"
#include "errors.h"
#include "format.h"

namespace tagwire::tool {

// A line for people, and the fields of an object for programs.
struct Deed {
    std::string text;
    Json fields;
    bool is_silent = false;        // standard output is taken by something else
    int exit_code = exit_success;  // another where all went well and something was found
    std::string verdict{};         // in a few words, for a table of several readers
};

inline Deed deed(const char* type, std::string text = {}) { return {std::move(text), Json{{"type", type}}}; }

// One more thing to tell: "label  shown" on a line of its own for people, `key` and `value` for programs.
void add(Deed& done, std::string_view label, std::string_view shown, const char* key, Json value);

// Shows a deed that was done; of one that failed, or was done in part, the object with what became of it.
void show(Session& session, Deed done);
std::string error_text(const Error& error);
void show_failure(Session& session, Deed tried, const Error& error);

// Of a write that was done whole and read back.
void add_written(Deed& done, const std::vector<MemoryRange>& ranges);
std::string range_text(const MemoryRange& range);

// Opens the reader and acts, which may complete the deed. Ctrl-C ends the call that waits. Returns the exit code.
using Act = std::function<void(Reader&, Deed&)>;
int run(Session& session, Deed deed, const Act& act);

// The same as a command's work.
inline Work work(Deed planned, Act act)
{
    return [planned = std::move(planned), act = std::move(act)](Session& session) {
        return run(session, planned, act);
    };
}

}  // namespace tagwire::tool
