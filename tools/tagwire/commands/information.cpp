#include "commands/groups.h"
#include "errors.h"
#include "format.h"
#include "information_view.h"
#include "tagwire/result.h"

namespace tagwire::tool {

namespace {

int show_information(Session& session)
{
    const auto connection = connect(session);
    auto& reader = *connection;
    InformationReport report;
    report.reader = reader.url().text();
    report.information = read_information(reader);
    if (session.interrupts.interrupted()) throw Failure("interrupted");
    ModuleDetails module;
    report.module_code = read_module_details(reader, module);
    if (report.module_code == TAGWIRE_OK) {
        report.module = module;
    } else {
        report.module_error = reader.text(report.module_code, Operation::ModuleDetails);
    }
    reader.require_success(reader.close(), Operation::Close);

    if (session.options.json) {
        session.out.line(json_line(information_json(report)));
    } else {
        for (const auto& line : information_lines(report)) session.out.line(line);
    }
    session.out.flush();
    if (!report.module) complain(report.module_error);
    return exit_success;
}

}  // namespace

void add_information_commands(Application& application)
{
    auto& command = application.add_command("info", "Show what the reader says about itself.",
                                            [] { return Work(show_information); });
    application.set_readers(command, Readers::each);
    command.footer(R"(Examples:
  tagwire --reader tcp://192.0.2.10:6000 info
  tagwire info --reader serial:/dev/ttyUSB0 --json)");
}

}  // namespace tagwire::tool
