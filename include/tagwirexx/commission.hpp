// Tags made ready for use: EPC, passwords and locks, one by one or from a table.
//
//     const auto plans = tagwire::load_commissioning("tags.csv");
//     for (const auto& report : reader.commission(plans)) std::cout << report << '\n';
//
// A tag is named by its whole TID, of 8 bytes or more: another run could find another tag of that beginning.
// What it has already is found and left alone, so that a run that broke off is run again as it was: it goes on
// where it stands, and the reports say so. Everything but locks, which no tag tells, is read back.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/identifier.hpp>
#include <tagwirexx/password.hpp>
#include <tagwirexx/tag.hpp>

namespace tagwire {
inline namespace v1 {

struct CommissioningLock {
    Area area = Area::user;
    Protection protection = Protection::password;
    bool forever = false;
};
// AREA:HOW, as in a table. Throws Error.
TAGWIREXX_API CommissioningLock commissioning_lock(std::string_view text);

// What is left out stays as it is.
struct CommissioningPlan {
    Tid tid = {};
    Password password = {};  // that opens the tag before; zeros: it has none
    std::optional<Epc> epc = {};
    std::optional<Password> access = {};
    std::optional<Password> kill = {};
    std::vector<CommissioningLock> locks = {};  // behind all else, in this order
};

struct CommissioningStep {
    enum class State {
        found,        // it was so already
        done,         // now
        failed,       // and the tag is as it was, or as the text says
        unknown,      // an answer was lost, and looking did not tell
        not_reached,  // because of what came before
    };
    std::string what = {};
    State state = State::not_reached;
    std::string text = {};  // of what failed: why; what else is to be said
};

struct CommissioningReport {
    Tid tid = {};
    std::vector<CommissioningStep> steps = {};

    TAGWIREXX_API bool ok() const;  // all found or done
    // Part of it was found: an earlier run had broken off, or is repeated.
    TAGWIREXX_API bool resumed() const;
    // One line.
    TAGWIREXX_API std::string text() const;
    friend std::ostream& operator<<(std::ostream& out, const CommissioningReport& report)
    {
        return out << report.text();
    }
};

// A table of comma-separated values. Its first line names the columns, in any order: tid, and any of epc,
// access, kill, lock, password. Lines that are empty or begin with # are passed over; an empty cell leaves out.
// Locks are AREA:HOW, with blanks between them: kill_password, access_password, epc, tid or user; open,
// password, forever or open_forever. Throws Error, with the line, where anything cannot be understood or
// cannot be done; two lines for one tag or one EPC are refused.
TAGWIREXX_API std::vector<CommissioningPlan> load_commissioning(const std::string& path);

}  // namespace v1
}  // namespace tagwire
