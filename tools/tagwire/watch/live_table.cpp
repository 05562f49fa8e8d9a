#include "watch/live_table.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <fmt/format.h>

#include "format.h"
#include "printable.h"

namespace tagwire::tool {

namespace {

using std::chrono::duration;
using std::chrono::seconds;

constexpr std::size_t gap = 2;
constexpr std::size_t least_id_width = 12;
// An ID keeps this much before columns get their room.
constexpr std::size_t preferred_id_width = 24;
constexpr std::size_t bar_width = 8;
constexpr seconds arriving{2};
constexpr seconds leaving{3};
constexpr std::string_view mark = "..";

// What a cell may look at besides its row.
struct Around {
    Received now;
    int loudest = 0;
    std::size_t reader_width = 0;
};

struct Column {
    const char* title;
    std::size_t (*width)(const Around&);
    bool is_left;
    std::string (*text)(const TagRow&, const Around&);
};

template <std::size_t width> std::size_t wide(const Around&) { return width; }

double age_of(const TagRow& row, const Received& now)
{
    return duration<double>(now.steady - row.latest.received.steady).count();
}

std::string bar_text(const TagRow& row, const Around& around)
{
    const auto rssi = static_cast<std::size_t>(std::max(row.latest.rssi, 0));
    const auto most = static_cast<std::size_t>(std::max(around.loudest, 1));
    return fmt::format("{:>3} {:<{}}", rssi, std::string(rssi * bar_width / most, '|'), bar_width);
}

std::string age_text(double age) { return age < 1 ? "now" : fmt::format("{:.0f} s", age); }

// The ones further right go first when the terminal is narrow.
constexpr std::array columns{
    Column{"PORT", wide<4>, false,
           [](const TagRow& row, const Around&) {
               return row.latest.port.known() ? fmt::to_string(row.latest.port.number()) : std::string("?");
           }},
    Column{"RSSI", wide<4 + bar_width>, true, bar_text},
    Column{"COUNT", wide<7>, false,
           [](const TagRow& row, const Around&) { return fmt::to_string(row.reads); }},
    Column{"READS/S", wide<7>, false,
           [](const TagRow& row, const Around& around) {
               return fmt::format("{:.1f}", row.meter.rate(around.now.steady));
           }},
    Column{"AGE", wide<6>, false,
           [](const TagRow& row, const Around& around) { return age_text(age_of(row, around.now)); }},
    Column{"READER", [](const Around& around) { return around.reader_width; }, true,
           [](const TagRow& row, const Around&) { return printable_text(row.reader); }},
};

struct Layout {
    std::size_t id_width;
    std::size_t columns_shown;
};

// The reader's column has no width where there is only one reader.
Layout fit(std::size_t longest_id, std::size_t width, const Around& around)
{
    std::size_t used = 0;
    std::size_t shown = 0;
    const auto wanted = std::min(longest_id, preferred_id_width);
    for (; shown < columns.size(); ++shown) {
        const auto needed = columns[shown].width(around);
        if (needed == 0 || wanted + used + gap + needed > width) break;
        used += gap + needed;
    }
    return {std::min(longest_id, width - used), shown};
}

std::string cut(std::string text, std::size_t width)
{
    if (text.size() > width) text.resize(width);
    return text;
}

// IDs of one kind begin alike and differ at the end: the end is what stays.
std::string shorten_id(const std::string& id, std::size_t width)
{
    if (id.size() <= width) return id;
    if (width <= mark.size()) return id.substr(id.size() - width);
    return std::string(mark) + id.substr(id.size() - (width - mark.size()));
}

std::string cell(std::string text, const Column& column, const Around& around)
{
    const auto width = column.width(around);
    text = cut(std::move(text), width);
    return column.is_left ? fmt::format("{:{}}{:<{}}", "", gap, text, width)
                          : fmt::format("{:{}}{:>{}}", "", gap, text, width);
}

std::string title_line(const Layout& layout, const Around& around)
{
    auto line = fmt::format("{:<{}}", cut("EPC", layout.id_width), layout.id_width);
    for (std::size_t i = 0; i < layout.columns_shown; ++i) line += cell(columns[i].title, columns[i], around);
    return line;
}

std::string row_line(const TagRow& row, const Layout& layout, const Around& around)
{
    const std::string id(shown_id(id_of(row.latest)));
    auto line = fmt::format("{:<{}}", shorten_id(id, layout.id_width), layout.id_width);
    for (std::size_t i = 0; i < layout.columns_shown; ++i)
        line += cell(columns[i].text(row, around), columns[i], around);
    return line;
}

Style style_of(const TagRow& row, const Received& now)
{
    if (age_of(row, now) > duration<double>(leaving).count()) return Style::faint;
    return now.steady - row.first.steady < arriving ? Style::good : Style::plain;
}

Style style_of(State state)
{
    switch (state) {
    case State::streaming: return Style::good;
    case State::lost:
    case State::waiting:
    case State::stopped: return Style::bad;
    default: return Style::warning;
    }
}

std::string reader_line(const ReaderLine& reader, std::size_t width)
{
    const auto& counted = reader.counters;
    auto line = fmt::format("{:<{}}  {:<10}  {:>7.1f} reports/s  {} bad CRCs  {} dropped",
                            printable_text(reader.name), width, to_string(reader.state), reader.rate,
                            counted.bad_crc, counted.dropped);
    if (counted.reconnects != 0) line += fmt::format("  {} reconnects", counted.reconnects);
    if (!reader.reason.empty()) line += "  " + printable_text(reader.reason);
    return line;
}

std::size_t longest_name(const LiveState& state)
{
    std::size_t longest = 0;
    for (const auto& reader : state.readers) longest = std::max(longest, printable_text(reader.name).size());
    return longest;
}

using Order = bool (*)(const TagRow&, const TagRow&, const Received&);

Order order_of(SortBy sort)
{
    switch (sort) {
    case SortBy::id:
        return [](const TagRow& a, const TagRow& b, const Received&) {
            return id_of(a.latest) < id_of(b.latest);
        };
    case SortBy::port:
        return
            [](const TagRow& a, const TagRow& b, const Received&) { return a.latest.port < b.latest.port; };
    case SortBy::rssi:
        return
            [](const TagRow& a, const TagRow& b, const Received&) { return a.latest.rssi > b.latest.rssi; };
    case SortBy::count:
        return [](const TagRow& a, const TagRow& b, const Received&) { return a.reads > b.reads; };
    case SortBy::rate:
        return [](const TagRow& a, const TagRow& b, const Received& now) {
            return a.meter.rate(now.steady) > b.meter.rate(now.steady);
        };
    case SortBy::age:
        return [](const TagRow& a, const TagRow& b, const Received&) {
            return a.latest.received.steady > b.latest.received.steady;
        };
    case SortBy::first_seen: break;
    }
    return nullptr;
}

struct SortKey {
    char key;
    SortBy sort;
    const char* text;
};
constexpr std::array sort_keys{SortKey{'n', SortBy::first_seen, "first seen"},
                               SortKey{'e', SortBy::id, "EPC"},
                               SortKey{'p', SortBy::port, "port"},
                               SortKey{'r', SortBy::rssi, "RSSI"},
                               SortKey{'c', SortBy::count, "count"},
                               SortKey{'s', SortBy::rate, "reads/s"},
                               SortKey{'a', SortBy::age, "age"}};

const char* text_of(SortBy sort)
{
    return std::find_if(sort_keys.begin(), sort_keys.end(),
                        [sort](const SortKey& key) { return key.sort == sort; })
        ->text;
}

// Lines that fit, and their colours.
class Page {
  public:
    Page(TerminalSize size, bool colours)
        : room_(size.rows > 1 && size.columns > 0 ? size.rows - 1 : 0), columns_(size.columns),
          colours_(colours)
    {}

    std::size_t room() const { return room_ - lines_.size(); }
    void add(std::string line, Style style = Style::plain)
    {
        if (room() == 0) return;
        line = cut(std::move(line), columns_);
        lines_.push_back(colours_ ? styled(line, style) : std::move(line));
    }
    std::vector<std::string> take() { return std::move(lines_); }

  private:
    std::size_t room_;
    std::size_t columns_;
    bool colours_;
    std::vector<std::string> lines_;
};

}  // namespace

bool LiveView::press_in_filter(char key)
{
    constexpr char escape = 27;
    constexpr char backspace = 8;
    constexpr char rubout = 127;
    if (key == '\n' || key == '\r') {
        is_typing_ = false;
    } else if (key == escape) {
        is_typing_ = false;
        filter_.clear();
    } else if (key == backspace || key == rubout) {
        if (!filter_.empty()) filter_.pop_back();
    } else if (std::isalnum(static_cast<unsigned char>(key)) != 0) {
        filter_ += static_cast<char>(std::toupper(static_cast<unsigned char>(key)));
    }
    return true;
}

bool LiveView::press(char key)
{
    if (is_typing_) return press_in_filter(key);
    if (key == 'q') return false;
    if (key == ' ') paused_ = !paused_;
    if (key == '/') is_typing_ = true;
    for (const auto& known : sort_keys) {
        if (known.key == key) sort_ = known.sort;
    }
    return true;
}

std::string LiveView::head_line(const LiveState& state) const
{
    return fmt::format("{}, {:.1f} reads/s{}", summary_text(state.tags, state.elapsed), state.rate,
                       paused_ ? ", paused" : "");
}

std::string LiveView::foot_line(std::size_t hidden) const
{
    if (is_typing_) return fmt::format("show EPCs with: {}_  (Enter to go on, Esc for all)", filter_);
    std::string line;
    if (hidden != 0)
        line = fmt::format("{} {} hidden: make the terminal larger.  ", hidden, hidden == 1 ? "row" : "rows");
    if (!filter_.empty()) line += fmt::format("with {}.  ", filter_);
    return line + fmt::format("by {}: n e p r c s a.  / filter  space {}  q ends", text_of(sort_),
                              paused_ ? "goes on" : "pauses");
}

std::vector<const TagRow*> LiveView::chosen_rows(const LiveState& state, const Received& now) const
{
    std::vector<const TagRow*> rows;
    for (const auto& row : state.tags.rows()) {
        if (filter_.empty() || id_of(row.latest).find(filter_) != std::string::npos) rows.push_back(&row);
    }
    if (const auto before = order_of(sort_)) {
        std::stable_sort(rows.begin(), rows.end(),
                         [&](const TagRow* a, const TagRow* b) { return before(*a, *b, now); });
    }
    return rows;
}

std::vector<std::string> LiveView::render(const LiveState& state, TerminalSize size, const Received& now,
                                          bool colours) const
{
    Page page(size, colours);
    page.add(head_line(state), Style::bold);
    const auto name_width = longest_name(state);
    // Readers never take the room of all tags.
    constexpr std::size_t lines_of_tags = 4;  // title, two tags, foot
    for (const auto& reader : state.readers) {
        if (page.room() > lines_of_tags) page.add(reader_line(reader, name_width), style_of(reader.state));
    }
    const auto rows = chosen_rows(state, now);
    constexpr std::size_t title_and_foot = 2;
    const auto shown = page.room() > title_and_foot ? std::min(rows.size(), page.room() - title_and_foot) : 0;
    constexpr std::size_t reader_title = 6;
    Around around{now, 0, state.readers.size() > 1 ? std::max(name_width, reader_title) : 0};
    std::size_t longest_id = least_id_width;
    for (const auto* const row : rows) around.loudest = std::max(around.loudest, row->latest.rssi);
    for (std::size_t i = 0; i < shown; ++i) longest_id = std::max(longest_id, id_of(rows[i]->latest).size());
    const auto layout = fit(longest_id, size.columns, around);
    if (page.room() > title_and_foot) page.add(title_line(layout, around), Style::bold);
    for (std::size_t i = 0; i < shown; ++i)
        page.add(row_line(*rows[i], layout, around), style_of(*rows[i], now));
    page.add(foot_line(rows.size() - shown), Style::faint);
    return page.take();
}

}  // namespace tagwire::tool
