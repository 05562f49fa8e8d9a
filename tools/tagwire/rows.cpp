#include "rows.h"

#include <fmt/format.h>

namespace tagwire::tool {

Work rows_work(const char* type, const std::function<Rows(Reader&)>& ask)
{
    return [=](Session& session) {
        return run(session, deed(type), [&](Reader& reader, Deed& done) {
            const auto told = ask(reader);
            for (const auto& row : told.rows) show(session, row);
            tell(told.summary);
            done.is_silent = true;
        });
    };
}

void add_question(Application& application, CLI::App& group, const char* name, const char* help,
                  const Work& asks, const char* footer)
{
    auto& command = application.add_command(group, name, help, [asks] { return asks; });
    command.footer(footer);
    application.set_readers(command, Readers::each);
}

std::string counted(std::size_t count, std::string_view noun)
{
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace tagwire::tool
