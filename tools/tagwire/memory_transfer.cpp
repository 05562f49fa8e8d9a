#include "memory_transfer.h"

#include "data_file.h"
#include "errors.h"
#include "write_report.h"

#include <optional>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct Problem {
    std::string text;
    TagResult result;
};

std::optional<Problem> problem_of(const ReadReport& report, const ReaderConnection& reader,
                                  std::string_view unit)
{
    switch (report.stop) {
    case Stop::None: return std::nullopt;
    case Stop::Failed: return Problem{reader.text(report.result, Operation::ReadMemory), report.result};
    case Stop::Interrupted: return Problem{"reading memory: interrupted", {}};
    case Stop::TooShort: break;
    }
    return Problem{
        fmt::format("reading memory: fewer {}s came than were asked for: try a smaller --count", unit), {}};
}

std::optional<Problem> problem_of(const WriteReport& report, const ReaderConnection& reader,
                                  const WriteJob& job)
{
    if (report.stop == Stop::Interrupted) return Problem{"writing memory: interrupted", {}};
    if (report.stop == Stop::Failed) return Problem{reader.text(report.result, job.operation), report.result};
    if (const auto count = report.differences.size(); count != 0) {
        const bool one = count == 1;
        return Problem{fmt::format("verify: {} {}{} from what was written", count, job.unit,
                                   one ? " differs" : "s differ"),
                       {}};
    }
    if (!report.failed_reading) return std::nullopt;
    auto problem = problem_of(*report.failed_reading, reader, job.unit);
    problem->text = "verify: " + problem->text;
    return problem;
}

void add_problem(Json& object, const std::optional<Problem>& problem)
{
    if (!problem) return;
    object["error"] = problem->text;
    if (!problem->result.is_success()) object["code"] = problem->result.code;
    if (problem->result.tag_error >= 0) object["tag_error"] = problem->result.tag_error;
}

std::string_view as_text(const Bytes& data)
{
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

Json read_json(const ReadJob& job, const ReadReport& report, const std::optional<Problem>& problem)
{
    auto object = job.head;
    object["first_" + job.unit] = job.run.first;
    object["count"] = job.run.count;
    object["complete"] = !problem;
    if (job.file.empty()) object["data"] = hex_text(report.data);
    add_problem(object, problem);
    return object;
}

void show_read(Session& session, const ReadJob& job, const ReadReport& report,
               const std::optional<Problem>& problem)
{
    const bool to_output = job.file == "-";
    if (to_output) {
        session.out.text(as_text(report.data));
    } else if (!job.file.empty()) {
        write_file(job.file, report.data);
    }
    if (session.options.json && !to_output) session.out.line(json_line(read_json(job, report, problem)));
    if (!session.options.json && job.file.empty() && !report.data.empty())
        session.out.line(hex_text(report.data));
    session.out.flush();
}

// What there is of data that is not complete.
void tell_part(const ReadJob& job, const ReadReport& report, std::size_t unit_bytes)
{
    const auto done = static_cast<std::uint32_t>(report.data.size() / unit_bytes);
    if (done > 0) tell(fmt::format("read: {}s {}", job.unit, runs_text({{job.run.first, done}})));
    tell(
        fmt::format("not read: {}s {}", job.unit, runs_text({{job.run.first + done, job.run.count - done}})));
}

void show_write(Session& session, const WriteJob& job, const WriteReport& report,
                const std::optional<Problem>& problem)
{
    if (session.options.json) {
        auto object = job.head;
        add_write_report(object, report, job.unit);
        add_problem(object, problem);
        session.out.line(json_line(object));
        session.out.flush();
    }
    for (const auto& line : write_report_lines(report, job.unit, job.place)) {
        if (problem) {
            tell(line);
        } else if (!session.options.json) {
            session.out.line(line);
        }
    }
}

}  // namespace

int run_read(Session& session, const ReadJob& job)
{
    const auto reader = connect(session);
    const auto memory = job.make_memory(*reader);
    const auto report = read_units(*memory, job.run, [&session] { return session.interrupts.interrupted(); });
    const auto problem = problem_of(report, *reader, job.unit);
    const int closed = reader->close();
    if (problem) complain(problem->text);
    if (problem) tell_part(job, report, memory->limits().unit_bytes);
    show_read(session, job, report, problem);
    if (problem) return exit_failure;
    reader->require_success(closed, Operation::Close);
    return exit_success;
}

int run_write(Session& session, const WriteJob& job)
{
    const auto reader = connect(session);
    const auto memory = job.make_memory(*reader);
    const int code = write_and_show(session, *reader, *memory, job);
    const int closed = reader->close();
    if (code == exit_success) reader->require_success(closed, Operation::Close);
    return code;
}

int write_and_show(Session& session, const ReaderConnection& reader, TagMemory& memory, const WriteJob& job)
{
    const auto report = write_units(memory, job.first, job.data, job.verify,
                                    [&session] { return session.interrupts.interrupted(); });
    const auto problem = problem_of(report, reader, job);
    if (problem) complain(problem->text);
    show_write(session, job, report, problem);
    if (report.stop == Stop::Failed && report.failed_reading) {
        const auto why = problem_of(*report.failed_reading, reader, job.unit);
        tell(fmt::format("what the tag holds could not be read back: {}", why->text));
    }
    return problem ? exit_failure : exit_success;
}

}  // namespace tagwire::tool
