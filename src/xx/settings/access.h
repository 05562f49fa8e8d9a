// Reads and writes the settings of one reader, for as long as one call lasts.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "xx/settings/rows.h"
#include "xx/settings/wipe.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace rows {

struct Wanted {
    const Row* row;
    Bytes value;

    ~Wanted() { wipe(value); }
};
// What one command writes.
using Group = std::vector<Wanted>;

// The Error of a group that was not written.
struct WriteFailure {
    Error error;
    bool is_the_end = false;  // the reader cannot be reached any more where it was
    bool is_hidden = false;   // what it answered: a tag was reported in place of that
};

inline bool is_the_end(const Error& error)
{
    return error.code() == Errc::lost || error.code() == Errc::aborted;
}

class Access {
  public:
    Access(ReaderInside& inside, const SettingsOptions& options, Lasting lasting = Lasting::stored)
        : inside_(inside), turn_(inside), options_(options), lasting_(lasting)
    {}

    const std::string& reader() const { return inside_.name(); }
    const SettingsOptions& options() const { return options_; }

    // Throws Error where the reader does not answer like one of the family that was given.
    void check_family()
    {
        if (options_.family) families();
    }
    // Whether it would have to be known, but the reader did not answer.
    bool is_family_silent();
    // The row of a name for this reader. Where the reader does not tell its family and families differ in it, an
    // Error; also where the family has no such setting, or it cannot be read or written.
    const Row& readable(const Row& named);
    const Row& writable(const Row& named);
    // Null in place of the Error.
    const Row* find_readable(const Row& named);
    // Whether it could be read were it known of which family the reader is.
    bool is_unsettled(const Row& named);

    // What was read is remembered until the next write; a refusal for good, for all that share the command.
    struct Reading {
        Bytes bytes = {};
        std::optional<Error> error = {};  // the reader refused, or was silent about this only
        bool is_silent = false;
        bool is_garbled = false;  // something else came

        ~Reading() { wipe(bytes); }
    };
    // Throws Error where the reader is lost, silent altogether, or the call was aborted.
    Reading read(const Row& row);
    std::string show(const Row& row);  // throws the Error of the Reading, too
    void forget() { answers_.clear(); }
    // A reader that reports by itself is asked more often.
    void expect_reports(bool reports) { most_garbled_ = reports ? 5 : 2; }

    // By command, in the order in which they are to be written. Throws Error where a command needs what is
    // neither given nor can be read.
    std::vector<Group> grouped(std::vector<Wanted> wanted) const;
    std::optional<WriteFailure> write(const Group& group);

  private:
    // What commands that were refused or not answered have cost so far.
    struct Memory {
        int refusals = 0;
        int silences = 0;
        int garbled = 0;
        std::optional<Reading> last = {};  // counts from now on
    };

    Families families();
    Families told_families();
    std::vector<const Row*> candidates(const Row& named);
    [[noreturn]] void refuse_unsettled(const Row& row);
    const Reading& answer(const Source& source, u8 index, const std::string& name);
    Reading ask(const Source& source, u8 index, const std::string& name, Memory& memory);
    bool is_final(const Error& error, Memory& memory, Reading& reading);
    Bytes block_of(const Group& group);
    void write_block(const Group& group, const std::string& name, const Bytes& block);
    void write_address(const Group& group, const std::string& name, const Bytes& block);
    void write_speed(const Group& group, const std::string& name, const Bytes& block);
    [[noreturn]] void fail(Errc code, const std::string& name, const std::string& text,
                           Outcome outcome) const;
    Send sending(const std::string& name, u8 index) const
    {
        return {inside_, name.c_str(), index, options_.two_way, lasting_};
    }

    ReaderInside& inside_;
    ReaderInside::Turn turn_;
    SettingsOptions options_;
    Lasting lasting_;
    std::optional<Families> families_;
    std::map<std::pair<const Source*, u8>, Reading> answers_;
    std::map<const Source*, Memory> memories_;
    int most_garbled_ = 2;
    bool is_lost_ = false;
};

std::string names_of(const Group& group);

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
