// The command line: what is common to all commands, and the list of command groups.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "interrupt.h"
#include "output.h"

namespace tagwire::tool {

// Both outlive the command that works with them.
struct NamedReader {
    std::string name;  // what output calls it
    std::string url;   // for the library, with the address
};

struct GlobalOptions {
    std::vector<std::string> readers;
    std::string readers_file;
    std::string address = "255";
    std::string baud;
    bool json = false;

    // All that were named, at least one, each once. Throws UsageError.
    std::vector<NamedReader> chosen() const;

    // Of a command's session, which has one reader.
    const std::string& reader_name() const { return reader.name; }
    NamedReader reader;
};

// What a command works with while it runs.
struct Session {
    const GlobalOptions& options;
    Output& out;
    InterruptWatch& interrupts;
    std::vector<NamedReader> readers;
    std::string verdict;  // of this reader, in a few words: a table of several readers shows it
};

// How many readers a command works on: one; one after the other asked for, each by itself and all at a time; or
// all by its own means.
enum class Readers { one, each, together };

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

    // Said of a command that takes more than one reader.
    void set_readers(const CLI::App& command, Readers readers) { readers_of_[&command] = readers; }

    int run(int argc, const char* const* argv);

  private:
    int execute();
    int run_each(const Work& work, Session& together);

    CLI::App app_{"Works with UHF RFID readers on a serial line or the network.", "tagwire"};
    GlobalOptions options_;
    Prepare chosen_;
    const CLI::App* command_ = nullptr;
    std::map<const CLI::App*, Readers> readers_of_;
};

// Lines on standard error, behind the name of the reader that this thread works for where there are several.
// Failing to write them is no failure: nobody is there to be told.
void tell(std::string_view text);

// The same with the name of the program in front.
void complain(std::string_view text);

}  // namespace tagwire::tool
