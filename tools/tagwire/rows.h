// Commands that tell many things alike, and those that open the reader in a way of their own.
#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "deed.h"

namespace tagwire::tool {

// A line or an object each, then `summary` on standard error.
struct Rows {
    std::vector<Deed> rows = {};
    std::string summary = {};
};

Work rows_work(const char* type, const std::function<Rows(Reader&)>& ask);

// A command without options of its own, which any number of readers may run at a time.
void add_question(Application& application, CLI::App& group, const char* name, const char* help,
                  const Work& asks, const char* footer);

// "1 tag", "2 tags"
std::string counted(std::size_t count, std::string_view noun);

// As it prints itself.
template <typename Value> std::string printed(const Value& value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

// Does what opens the reader by itself, and shows a failure as run() does.
template <typename Does> int attempt(Session& session, const Deed& deed, Does does)
try {
    return does();
} catch (const Error& error) {
    show_failure(session, deed, error);
    return exit_failure;
}

}  // namespace tagwire::tool
