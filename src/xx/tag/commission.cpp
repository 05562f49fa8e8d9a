#include <algorithm>

#include "xx/tag/commission_plan.h"
#include "xx/tag/gen2_memory.h"

namespace tagwire {
inline namespace v1 {
namespace {

using State = CommissioningStep::State;

constexpr Call commission_call = tag_change("commission");
constexpr MemoryRange kill_words{0, 2};
constexpr MemoryRange access_words{2, 2};

bool sets_password_lock(const CommissioningLock& lock)
{
    return lock.protection == Protection::password && !lock.forever;
}

bool hides_kill_password(const CommissioningLock& lock)
{
    return lock.area == Area::kill_password && lock.protection == Protection::password && lock.forever;
}

bool is_known(const CommissioningLock& lock)
{
    return lock.area <= Area::user && lock.protection <= Protection::password;
}

State state_of(const Error& error)
{
    if (error.outcome() == Outcome::unknown) return State::unknown;
    const bool is_end = error.code() == Errc::lost || error.code() == Errc::aborted;
    return is_end ? State::not_reached : State::failed;
}

// A password that the tag has; nothing where it is locked so that it cannot be read, with this one at least.
std::optional<Password> read_password(TagInside& tag, const Password& with, const MemoryRange& words)
{
    try {
        const Bytes read = Gen2Memory(tag, Bank::reserved).read_with(with, words);
        return Password(std::span<const u8>(read));
    } catch (const Error& error) {
        if (error.tag_error() != memory_locked) throw;
        return std::nullopt;
    }
}

// One tag, step by step.
class Commissioning {
  public:
    Commissioning(Reader& reader, const CommissioningPlan& plan) : reader_(reader), plan_(plan)
    {
        report_.tid = plan.tid;
    }

    CommissioningReport run()
    {
        step("find", [&] { return find(); });
        if (plan_.access || !plan_.password.is_zero()) step("open", [&] { return open(); });
        if (plan_.epc) step("EPC", [&] { return set_epc(); });
        if (plan_.access) step("access password", [&] { return set_access(); });
        if (plan_.kill) step("kill password", [&] { return set_kill(); });
        for (const CommissioningLock& lock : plan_.locks)
            step("lock " + name_of(lock.area), [&] { return set_lock(lock); });
        std::erase_if(report_.steps, [](const CommissioningStep& done) {
            return done.state == State::done && (done.what == "find" || done.what == "open");
        });
        return std::move(report_);
    }

  private:
    // Behind one that did not come to its end nothing is done.
    template <class Act> void step(std::string what, Act act)
    {
        CommissioningStep out{std::move(what), State::not_reached, {}};
        try {
            if (!is_over_) out.state = act();
            out.text = std::exchange(note_, {});
        } catch (const Error& error) {
            is_over_ = true;
            out.state = state_of(error);
            out.text = error.text();
        }
        report_.steps.push_back(std::move(out));
    }

    State find()
    {
        tag_ = reader_.tag(plan_.tid);
        const Tid whole = whole_tid();
        if (whole.size() > plan_.tid.size())
            throw Error(Errc::refused, commission_call.name, reader_.url(),
                        "that is the beginning of the TID " + whole.to_string() +
                            " only, which other tags may have: give all of it");
        return State::done;
    }

    // Of a tag that is named by it the inventory may have told nothing: not every reader reads words in one.
    Tid whole_tid()
    {
        constexpr unsigned words = 6;
        const Tid& told = *tag_->tid();
        if (!inside().by_tid_ || told.size() >= std::size_t{2} * words) return told;
        try {
            const Bytes read = tag_->read(Bank::tid, 0, words);
            return Tid(std::span<const u8>(read));
        } catch (const Error& error) {
            if (error.tag_error() != no_such_memory) throw;
            return told;
        }
    }

    // Finds out whether the new password is set already. What can be read without a password is read; otherwise
    // the old one goes out once, then the new one.
    State open()
    {
        TagInside& tag = inside();
        if (const auto read = read_password(tag, {}, access_words)) return take(*read);
        const bool has_other = plan_.access && *plan_.access != plan_.password;
        for (const Password* const password : {&plan_.password, has_other ? &*plan_.access : nullptr}) {
            if (password == nullptr || password->is_zero()) continue;
            try {
                read_password(tag, *password, access_words);
                return take(*password);
            } catch (const Error& error) {
                if (error.result() != wrong_password) throw;
            }
        }
        throw Error(Errc::refused, commission_call.name, reader_.url(),
                    "the tag opens neither with its password nor with the new one", Outcome::nothing,
                    wrong_password);
    }

    State take(const Password& password)
    {
        is_access_set_ = plan_.access && password == *plan_.access;
        if (!is_access_set_ && password != plan_.password)
            throw Error(Errc::refused, commission_call.name, reader_.url(),
                        "the tag has an access password that is neither the one given nor the new one");
        inside().password_ = password;
        return State::done;
    }

    State set_epc()
    {
        if (tag_->epc() == *plan_.epc) return State::found;
        tag_->write_epc(*plan_.epc);
        return State::done;
    }

    State set_access()
    {
        if (is_access_set_) return State::found;
        tag_->set_access_password(*plan_.access);
        return State::done;
    }

    State set_kill()
    {
        const auto read = read_password(inside(), inside().password_, kill_words);
        if (read == plan_.kill) return State::found;
        const bool is_to_be_hidden = std::any_of(plan_.locks.begin(), plan_.locks.end(), hides_kill_password);
        if (!read && is_to_be_hidden) {
            note_ = "locked for good, so that it cannot be compared";
            return State::found;
        }
        tag_->set_kill_password(*plan_.kill);
        return State::done;
    }

    State set_lock(const CommissioningLock& lock)
    {
        if (!lock.forever)
            tag_->lock(lock.area, lock.protection);
        else if (lock.protection == Protection::open)
            tag_->open_forever(lock.area);
        else
            tag_->lock_forever(lock.area);
        return State::done;
    }

    TagInside& inside() { return TagInside::of(*tag_); }

    Reader& reader_;
    const CommissioningPlan& plan_;
    std::optional<Tag> tag_;
    bool is_access_set_ = false;
    bool is_over_ = false;
    std::string note_;
    CommissioningReport report_;
};

const char* word_for(State state)
{
    switch (state) {
    case State::found: return "found";
    case State::done: return "done";
    case State::failed: return "failed";
    case State::unknown: return "not known";
    case State::not_reached: return "not reached";
    }
    return "";
}

}  // namespace

std::string name_of(Area area)
{
    constexpr std::array names{"kill_password", "access_password", "epc", "tid", "user"};
    return names.at(static_cast<std::size_t>(area));
}

std::string problem_of(const CommissioningPlan& plan)
{
    constexpr std::size_t longest_epc = 62;
    constexpr std::size_t shortest_tid = 8;  // that has a serial number
    if (plan.tid.size() < shortest_tid) return "a tag is named by its whole TID, of 8 bytes or more";
    if (plan.epc && (plan.epc->empty() || plan.epc->size() % 2 != 0 || plan.epc->size() > longest_epc))
        return "an EPC has 1 to 31 whole words of 2 bytes";
    if (!std::all_of(plan.locks.begin(), plan.locks.end(), is_known))
        return "a lock is of an area or a protection that there is not";
    const bool has_password = !plan.access.value_or(plan.password).is_zero();
    if (!has_password && std::any_of(plan.locks.begin(), plan.locks.end(), sets_password_lock))
        return "a lock by a password keeps nobody out without an access password: give one";
    return {};
}

bool CommissioningReport::ok() const
{
    return std::all_of(steps.begin(), steps.end(), [](const CommissioningStep& step) {
        return step.state == State::found || step.state == State::done;
    });
}

bool CommissioningReport::resumed() const
{
    return std::any_of(steps.begin(), steps.end(),
                       [](const CommissioningStep& step) { return step.state == State::found; });
}

std::string CommissioningReport::text() const
{
    std::string out = tid.to_string() + (ok() ? " ok" : " not done");
    for (const CommissioningStep& step : steps) {
        out += (&step == steps.data() ? ": " : "; ") + step.what + ' ' + word_for(step.state);
        if (!step.text.empty()) out += " (" + step.text + ')';
    }
    return out;
}

CommissioningReport Reader::commission(const CommissioningPlan& plan)
{
    return std::move(commission(std::vector{plan}).front());
}

std::vector<CommissioningReport> Reader::commission(const std::vector<CommissioningPlan>& plans)
{
    const Inside::Turn turn(*inside_);  // abort() ends all of them
    for (const CommissioningPlan& plan : plans)
        if (const std::string problem = problem_of(plan); !problem.empty())
            refuse_value(*inside_, commission_call, plan.tid.to_string() + ": " + problem);
    std::vector<CommissioningReport> out;
    out.reserve(plans.size());
    for (const CommissioningPlan& plan : plans) out.push_back(Commissioning(*this, plan).run());
    return out;
}

}  // namespace v1
}  // namespace tagwire
