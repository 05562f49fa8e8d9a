#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/groups.h"
#include "network/line_reader.h"
#include "open_reader.h"
#include "option.h"
#include "printable.h"
#include "rows.h"
#include "tag_options.h"

namespace tagwire::tool {

namespace {

struct Talk {
    std::vector<std::string> commands;  // none: lines of standard input
    int wait = 10;
};

// Sends lines and shows answers.
class Conversation {
  public:
    Conversation(Session& session, AtMode& at) : session_(session), at_(at) {}

    int run(const std::vector<std::string>& commands)
    {
        if (!commands.empty()) return run_commands(commands);
        return isatty(STDIN_FILENO) != 0 ? run_dialogue() : run_script();
    }

  private:
    int run_commands(const std::vector<std::string>& commands)
    {
        for (const auto& command : commands) {
            if (session_.interrupts.interrupted()) return interrupted();
            if (pass(command)) return exit_failure;
            if (session_.out.closed()) break;
        }
        return exit_success;
    }

    int run_script()
    {
        LineReader lines(STDIN_FILENO, session_.interrupts.fd());
        while (const auto line = lines.next()) {
            if (pass(*line)) return exit_failure;
            if (session_.out.closed()) break;
        }
        return session_.interrupts.interrupted() ? interrupted() : exit_success;
    }

    int run_dialogue()
    {
        tell("Lines go to the module; an empty one asks for what it said since. Ctrl-D or Ctrl-C leaves.");
        LineReader lines(STDIN_FILENO, session_.interrupts.fd());
        while (!session_.out.closed()) {
            std::fputs("AT> ", stderr);
            const auto line = lines.next();
            if (!line) break;
            if (pass(*line) == Errc::lost) return exit_failure;
        }
        tell("");
        return exit_success;
    }

    static int interrupted()
    {
        complain("AT commands: interrupted");
        return exit_failure;
    }

    // What went wrong.
    std::optional<Errc> pass(const std::string& line)
    {
        Deed done = deed("at");
        done.fields["command"] = line;
        try {
            auto answer = at_.ask(line);
            done.fields["answer"] = answer;
            for (auto& said : answer) said = printable_text(said);
            done.text = fmt::format("{}", fmt::join(answer, "\n"));
            show(session_, done);
            return std::nullopt;
        } catch (const Error& error) {
            show_failure(session_, done, error);
            return static_cast<Errc>(error.code().value());
        }
    }

    Session& session_;
    AtMode& at_;
};

int leave(Session& session, AtMode& at)
try {
    at.leave();
    return exit_success;
} catch (const Error& error) {
    show_failure(session, deed("at"), error);
    tell("the reader may still be in its AT mode: check power and cable, and run tagwire at < /dev/null");
    return exit_failure;
}

int talk(Session& session, const Talk& plan)
{
    return attempt(session, deed("at"), [&] {
        auto reader = open_reader(session);
        // Says why nothing happens, when the reader takes its time after a signal.
        const InterruptWatch::Hook note(session.interrupts, [runs = 0]() mutable {
            if (++runs == 2)
                complain("leaving the AT mode, please wait: a second signal would leave the reader in it");
        });
        auto at = reader.at_mode(plan.wait);
        const int code = Conversation(session, at).run(plan.commands);
        return std::max(code, leave(session, at));
    });
}

Work plan_talk(const Talk& plan)
{
    for (const auto& command : plan.commands) {
        if (printable_text(command) != command)
            throw UsageError(
                fmt::format("AT command '{}' is not valid: give every line as a command of its own",
                            printable_text(command)));
    }
    return [plan](Session& session) {
        if (session.options.reader.url.starts_with("tcp:"))
            throw UsageError("AT commands work over a serial line only: use --reader serial:/dev/DEVICE");
        return talk(session, plan);
    };
}

void add_talk_options(CLI::App& command, Talk& plan)
{
    command.add_option("COMMAND", plan.commands,
                       "sent one after the other; without any, lines of standard input are");
    option(command, "--timeout", plan.wait, number(0, 255),
           "how long the reader waits for the module's answer, 0 to 255 in its own units, mostly of 100 ms; "
           "after 7 s of silence it counts as lost")
        ->default_str("10");
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
    add_command_with<Talk>(application, nullptr, "at", "Talk to the communication module in AT commands.",
                           add_talk_options, plan_talk);
}

}  // namespace tagwire::tool
