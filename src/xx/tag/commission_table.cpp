#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "xx/tag/commission_plan.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr const char* load_name = "load the commissioning";

// The text of a file, which has passwords in it.
class SecretText {
  public:
    explicit SecretText(const std::string& path)
    {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(path, error);
        if (!error) text_.resize(static_cast<std::size_t>(size));
        std::ifstream file(path, std::ios::binary);
        if (error || !file.read(text_.data(), static_cast<std::streamsize>(text_.size())))
            throw Error(Errc::file, load_name, {},
                        path + " cannot be read: does it exist, and may you read it?");
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() { ::explicit_bzero(text_.data(), text_.size()); }

    std::string_view text() const { return text_; }

  private:
    std::string text_;
};

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view unquoted(std::string_view text)
{
    const bool is_quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return is_quoted ? text.substr(1, text.size() - 2) : text;
}

std::vector<std::string_view> split_at(std::string_view text, char separator)
{
    std::vector<std::string_view> out;
    for (std::size_t end = 0; end != std::string_view::npos; text.remove_prefix(end + 1)) {
        end = text.find(separator);
        out.push_back(unquoted(trimmed(text.substr(0, end))));
        if (end == std::string_view::npos) break;
    }
    return out;
}

[[noreturn]] void refuse_text(const std::string& text)
{
    throw Error(Errc::invalid_text, load_name, {}, text);
}

// What a column puts into a plan.
struct Column {
    std::string_view name;
    void (*put)(CommissioningPlan& plan, std::string_view cell);
};

constexpr std::array columns{
    Column{"tid", [](CommissioningPlan& plan, std::string_view cell) { plan.tid = Tid(cell); }},
    Column{"epc", [](CommissioningPlan& plan, std::string_view cell) { plan.epc = Epc(cell); }},
    Column{"access", [](CommissioningPlan& plan, std::string_view cell) { plan.access = Password(cell); }},
    Column{"kill", [](CommissioningPlan& plan, std::string_view cell) { plan.kill = Password(cell); }},
    Column{"lock",
           [](CommissioningPlan& plan, std::string_view cell) {
               for (const std::string_view lock : split_at(cell, ' '))
                   if (!lock.empty()) plan.locks.push_back(commissioning_lock(lock));
           }},
    Column{"password",
           [](CommissioningPlan& plan, std::string_view cell) { plan.password = Password(cell); }},
};

std::vector<const Column*> columns_of(std::string_view line)
{
    std::vector<const Column*> out;
    for (const std::string_view name : split_at(line, ',')) {
        const std::string number = "column " + std::to_string(out.size() + 1);
        const auto* const column =
            std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
        if (column == columns.end())
            refuse_text(number +
                        ": the first line names the columns, which are tid, epc, access, kill, lock and "
                        "password; this is none of them");  // but a secret, where there is no such line
        if (std::find(out.begin(), out.end(), column) != out.end())
            refuse_text(number + ": " + std::string(name) + " is there twice");
        out.push_back(column);
    }
    if (std::find(out.begin(), out.end(), columns.data()) == out.end())
        refuse_text("the first line names the columns, and there is no tid");
    return out;
}

void put_cell(CommissioningPlan& plan, const Column& column, std::string_view cell)
{
    try {
        column.put(plan, cell);
    } catch (const Error& error) {
        refuse_text("column " + std::string(column.name) + ": " + error.text());
    }
}

bool is_beginning(const Tid& beginning, const Tid& whole)
{
    const auto bytes = beginning.bytes();
    return bytes.size() <= whole.size() && std::equal(bytes.begin(), bytes.end(), whole.bytes().begin());
}

CommissioningPlan plan_of(const std::vector<const Column*>& header, std::string_view line)
{
    const auto cells = split_at(line, ',');
    if (cells.size() != header.size())
        refuse_text("there are " + std::to_string(header.size()) + " columns, and " +
                    std::to_string(cells.size()) + " values");
    CommissioningPlan plan;
    for (std::size_t i = 0; i < cells.size(); ++i)
        if (!cells[i].empty()) put_cell(plan, *header[i], cells[i]);
    if (const std::string problem = problem_of(plan); !problem.empty()) refuse_text(problem);
    return plan;
}

class Table {
  public:
    void add(std::string_view line)
    {
        line = trimmed(line);
        if (line.empty() || line.front() == '#') return;
        if (header_.empty()) {
            header_ = columns_of(line);
            return;
        }
        CommissioningPlan plan = plan_of(header_, line);
        // One that begins another comes right before it.
        const auto [at, is_new] = tids_.insert(plan.tid);
        if (!is_new) refuse_text("the TID is there twice");
        const auto next = std::next(at);
        if ((next != tids_.end() && is_beginning(*at, *next)) ||
            (at != tids_.begin() && is_beginning(*std::prev(at), *at)))
            refuse_text("the TID is the beginning of another one, or another one is of it");
        if (plan.epc && !epcs_.insert(*plan.epc).second) refuse_text("the EPC is there twice");
        plans_.push_back(std::move(plan));
    }
    std::vector<CommissioningPlan> take() { return std::move(plans_); }

  private:
    std::vector<const Column*> header_;
    std::set<Tid> tids_;
    std::set<Epc> epcs_;
    std::vector<CommissioningPlan> plans_;
};

}  // namespace

CommissioningLock commissioning_lock(std::string_view text)
{
    const std::size_t colon = text.find(':');
    const std::string_view how = colon == std::string_view::npos ? "" : text.substr(colon + 1);
    const bool is_open = how == "open" || how == "open_forever";
    const bool is_forever = how == "forever" || how == "open_forever";
    const Protection protection = is_open ? Protection::open : Protection::password;
    for (const Area area : {Area::kill_password, Area::access_password, Area::epc, Area::tid, Area::user})
        if (text.substr(0, colon) == name_of(area) && (is_open || is_forever || how == "password"))
            return {area, protection, is_forever};
    refuse_text('\'' + std::string(text) +
                "' is no lock: AREA:HOW, where AREA is kill_password, access_password, epc, tid or user, and "
                "HOW is open, password, forever or open_forever");
}

std::vector<CommissioningPlan> load_commissioning(const std::string& path)
{
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    const SecretText file(path);
    std::string_view rest = file.text();
    if (rest.starts_with(byte_order_mark)) rest.remove_prefix(byte_order_mark.size());
    Table table;
    for (unsigned line = 1; !rest.empty(); ++line) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        try {
            table.add(rest.substr(0, end));
        } catch (const Error& error) {
            throw Error(Errc::invalid_text, load_name, {},
                        path + ':' + std::to_string(line) + ": " + error.text());
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return table.take();
}

}  // namespace v1
}  // namespace tagwire
