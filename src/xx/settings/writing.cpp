#include "xx/settings/writing.h"

#include <algorithm>

#include "tagwire/result.h"

namespace tagwire {
inline namespace v1 {
namespace rows {
namespace {

// A reader that was told to report by itself may hide its answers, or give none.
bool may_report(const Wanted& wanted)
{
    return wanted.row->writer->order == Order::work_mode && wanted.value[0] != answering;
}

// It does not tell the setting, then.
bool is_refusal(const Error& error)
{
    return error.code() == Errc::no_such_feature || error.code() == Errc::refused;
}

class Writing {
  public:
    explicit Writing(Access& access) : access_(access) {}

    void write(const Group& group);
    // Gives what the reader has, as text; where it does not tell it, what it has acknowledged.
    std::string compare(const Wanted& wanted);

  private:
    Access::Reading read_back(const Wanted& wanted);

    Access& access_;
    std::string before_;
    std::vector<std::pair<const Row*, Error>> hidden_;  // answers that a report came in place of
};

void Writing::write(const Group& group)
{
    const auto failure = access_.write(group);
    if (failure && failure->is_hidden) {
        for (const Wanted& wanted : group) hidden_.emplace_back(wanted.row, failure->error);
    } else if (failure) {
        if (before_.empty()) throw Error(failure->error);
        throw Error(static_cast<Errc>(failure->error.code().value()), failure->error.operation(),
                    access_.reader(), std::string(failure->error.what()) + " [set before: " + before_ + "]",
                    Outcome::partial, failure->error.result());
    }
    before_ += (before_.empty() ? "" : ", ") + names_of(group);
}

Access::Reading Writing::read_back(const Wanted& wanted)
{
    Access::Reading reading;
    try {
        if (const Row* const readable = access_.find_readable(*wanted.row)) return access_.read(*readable);
        reading.error.emplace(Errc::no_such_feature, wanted.row->name, access_.reader(), "it is not told");
    } catch (const Error& error) {
        reading.error = error;
    }
    return reading;
}

std::string Writing::compare(const Wanted& wanted)
{
    const Row& row = *wanted.row;
    const auto reading = read_back(wanted);
    const bool is_same = !reading.error && agree(row.format, wanted.value, reading.bytes);
    if (is_same) return show(row.format, reading.bytes);
    for (const auto& [hidden, error] : hidden_)
        if (hidden == &row) throw Error(error);
    if (!reading.error)
        throw Error(Errc::refused, "set " + row.name, access_.reader(),
                    "the reader took " + show_to_all(row, wanted.value) + " and has " +
                        show_to_all(row, reading.bytes) + " now",
                    Outcome::partial);
    const bool is_acknowledged = is_refusal(*reading.error) || may_report(wanted);
    if (!is_acknowledged || is_the_end(*reading.error))
        fail_unread("set " + row.name, access_.reader(), *reading.error);
    return show(row.format, wanted.value);
}

std::vector<Wanted> wanted_of(const std::vector<SettingValue>& values)
{
    std::vector<Wanted> out;
    for (const SettingValue& value : values) {
        const Row& row = require_row(value.name);
        out.push_back({&row, without_rest(row.format, value.bytes)});
    }
    return out;
}

}  // namespace

bool comes_last(const Row& row) { return row.writer != nullptr && row.writer->order >= Order::work_mode; }

std::vector<std::string> write_and_compare(Access& access, std::vector<Wanted> wanted, Lasting lasting)
{
    for (Wanted& one : wanted) {
        one.row = &access.writable(*one.row);
        if (lasting == Lasting::until_restart && !one.row->writer->until_restart)
            throw Error(Errc::invalid_value, "set " + one.row->name, access.reader(),
                        "it cannot be set until the restart only");
    }
    const auto groups = access.grouped(wanted);
    const auto last = std::find_if(groups.begin(), groups.end(),
                                   [](const Group& group) { return comes_last(*group.front().row); });
    Writing writing(access);
    std::vector<std::string> now(wanted.size());
    const auto compare = [&](bool those_that_come_last) {
        for (std::size_t i = 0; i < wanted.size(); ++i)
            if (comes_last(*wanted[i].row) == those_that_come_last) now[i] = writing.compare(wanted[i]);
    };
    std::for_each(groups.begin(), last, [&](const Group& group) { writing.write(group); });
    compare(false);
    std::for_each(last, groups.end(), [&](const Group& group) { writing.write(group); });
    compare(true);
    return now;
}

}  // namespace rows

void set_values(ReaderInside& inside, const std::vector<SettingValue>& values, Lasting lasting)
{
    rows::Access access(inside, {}, lasting);
    rows::write_and_compare(access, rows::wanted_of(values), lasting);
}

void require_values(ReaderInside& inside, const std::vector<SettingValue>& values)
{
    rows::Access access(inside, {});
    rows::Writing writing(access);
    for (const rows::Wanted& wanted : rows::wanted_of(values)) writing.compare(wanted);
}

}  // namespace v1
}  // namespace tagwire
