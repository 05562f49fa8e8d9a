#include "at_session.h"
#include "commands/groups.h"
#include "errors.h"
#include "line_reader.h"
#include "parse.h"
#include "printable.h"
#include "tag_options.h"
#include "tagwire/result.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct AtArguments {
    std::vector<std::string> commands;
    std::string timeout = "10";
};

struct AtPlan {
    std::vector<std::string> commands;  // none: lines of standard input
    std::uint8_t wait = 0;
};

// Sends lines, shows answers, and keeps the reader's place for messages.
class Conversation {
  public:
    Conversation(Session& session, const ReaderConnection& reader, AtSession& at)
        : session_(session), reader_(reader), at_(at)
    {}

    int run_commands(const std::vector<std::string>& commands)
    {
        for (const auto& command : commands) {
            if (session_.interrupts.interrupted()) return interrupted();
            if (exchange(command) != TAGWIRE_OK) return exit_failure;
            if (session_.out.closed()) break;
        }
        return exit_success;
    }

    int run_script()
    {
        LineReader lines(STDIN_FILENO, session_.interrupts.fd());
        while (const auto line = lines.next()) {
            if (exchange(*line) != TAGWIRE_OK) return exit_failure;
            if (session_.out.closed()) break;
        }
        return session_.interrupts.interrupted() ? interrupted() : exit_success;
    }

    int run_dialogue()
    {
        tell("Lines go to the module; an empty one asks for what it said since. Ctrl-D or Ctrl-C leaves.");
        LineReader lines(STDIN_FILENO, session_.interrupts.fd());
        int code = TAGWIRE_OK;
        while (code != TAGWIRE_BAD_HANDLE && !session_.out.closed()) {
            prompt();
            const auto line = lines.next();
            if (!line) break;
            code = exchange(*line);
        }
        if (code == TAGWIRE_BAD_HANDLE) return exit_failure;
        tell("");
        return exit_success;
    }

  private:
    static void prompt()
    {
        std::fputs("AT> ", stderr);
        std::fflush(stderr);
    }

    static int interrupted()
    {
        complain("AT commands: interrupted");
        return exit_failure;
    }

    int exchange(const std::string& line)
    {
        const auto answer = at_.pass(line);
        show(line, answer_lines(answer.text, line), answer.code == TAGWIRE_OK);
        if (answer.code != TAGWIRE_OK) complain(reader_.text(answer.code, Operation::AtCommand));
        return answer.code;
    }

    void show(const std::string& command, const std::vector<std::string>& lines, bool complete)
    {
        if (session_.options.json) {
            Json object;
            object["type"] = "at";
            object["command"] = command;
            object["answer"] = lines;
            if (complete) session_.out.line(json_line(object));
        } else {
            for (const auto& line : lines) session_.out.line(printable_text(line));
        }
        session_.out.flush();
    }

    Session& session_;
    const ReaderConnection& reader_;
    AtSession& at_;
};

// Says why nothing happens, when the reader takes its time after a signal.
class PatienceNote {
  public:
    explicit PatienceNote(InterruptWatch& watch)
        : hook_(watch, [runs = 0]() mutable {
              if (++runs == 2)
                  complain("leaving the AT mode, please wait: a second signal would leave the reader in it");
          })
    {}

  private:
    InterruptWatch::Hook hook_;
};

int converse(Session& session, const ReaderConnection& reader, AtSession& at, const AtPlan& plan)
{
    Conversation conversation(session, reader, at);
    if (!plan.commands.empty()) return conversation.run_commands(plan.commands);
    return isatty(STDIN_FILENO) != 0 ? conversation.run_dialogue() : conversation.run_script();
}

int converse_in_at_mode(Session& session, const ReaderConnection& reader, const AtPlan& plan)
{
    const PatienceNote note(session.interrupts);
    AtSession at(reader, plan.wait);
    const int exit_code = converse(session, reader, at, plan);
    const int code = at.leave();
    if (code == TAGWIRE_OK) return exit_code;
    complain(reader.text(code, Operation::LeaveAtMode));
    return exit_failure;
}

int run_at(Session& session, const AtPlan& plan)
{
    const auto url = session.options.reader_url();
    if (url.link == Link::Tcp) throw UsageError(result_text(TAGWIRE_BAD_HANDLE, Operation::AtMode, url));
    const auto reader = connect(session);
    const int code = converse_in_at_mode(session, *reader, plan);
    const int closed = reader->close();
    if (code == exit_success) reader->require_success(closed, Operation::Close);
    return code;
}

bool has_control(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20; });
}

Work plan_at(const AtArguments& arguments)
{
    AtPlan plan;
    plan.wait = static_cast<std::uint8_t>(parse_number(arguments.timeout, "--timeout", 0, 255));
    plan.commands = arguments.commands;
    for (const auto& command : plan.commands)
        if (has_control(command))
            throw UsageError(
                fmt::format("AT command '{}' is not valid: give every line as a command of its own",
                            printable_text(command)));
    return [plan](Session& session) { return run_at(session, plan); };
}

void add_at_options(CLI::App& command, AtArguments& arguments)
{
    command.add_option("COMMAND", arguments.commands,
                       "sent one after the other; without any, lines of standard input are");
    command
        .add_option("--timeout", arguments.timeout,
                    "how long the reader waits for the module's answer, 0 to 255 in its own units, mostly of "
                    "100 ms; after 7 s of silence it counts as lost")
        ->type_name("N")
        ->capture_default_str();
    command.footer(
        R"(Over serial lines only. Ctrl-D and Ctrl-C end it; the reader leaves the AT mode in any case. An empty
line passes nothing and shows what the module said since. What the module answers, ERROR too, is shown and is
no failure.

Examples:
  tagwire at
  tagwire at AT+CSQ "AT+CREG?" --json
  tagwire at --timeout 50 < commands.txt)");
}

}  // namespace

void add_at_commands(Application& application)
{
    add_command_with<AtArguments>(application, nullptr, "at",
                                  "Talk to the communication module in AT commands.", add_at_options,
                                  plan_at);
}

}  // namespace tagwire::tool
