// The command line: what is common to all commands, and the list of command groups.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "connection.h"
#include "interrupt.h"
#include "output.h"
#include "reader_url.h"

namespace tagwire::tool {

struct GlobalOptions {
    std::string reader;
    std::string address = "255";
    std::string baud;
    bool json = false;

    // All throw UsageError.
    ReaderUrl reader_url() const;
    // What output calls the reader.
    std::string reader_name() const { return reader_url().text(); }
    std::uint8_t reader_address() const;
};

// What a command works with while it runs.
struct Session {
    const GlobalOptions& options;
    Output& out;
    InterruptWatch& interrupts;
};

// Checks the options of a command, and throws UsageError for wrong ones; the function it returns does the
// work and returns the exit code.
using Work = std::function<int(Session&)>;
using Prepare = std::function<Work()>;

// The application that the groups add their commands to.
class Application {
  public:
    Application();

    // A new command. Its options belong to the caller; `prepare` runs when the command was chosen.
    CLI::App& add_command(const std::string& name, const std::string& description, Prepare prepare);
    // A command of commands, and a command in it.
    CLI::App& add_group(const std::string& name, const std::string& description);
    CLI::App& add_command(CLI::App& group, const std::string& name, const std::string& description,
                          Prepare prepare);

    int run(int argc, const char* const* argv);

  private:
    int execute();

    CLI::App app_{"Works with UHF RFID readers on a serial line or the network.", "tagwire"};
    GlobalOptions options_;
    Prepare chosen_;
};

// A line on standard error, where failing to write it is no failure: nobody is there to be told.
void tell(std::string_view text);

// The same with the name of the program in front.
void complain(std::string_view text);

// The reader of the session's options. Until it is open a signal ends the process, from then on it asks to
// stop.
std::unique_ptr<ReaderConnection> connect(const Session& session);

}  // namespace tagwire::tool
