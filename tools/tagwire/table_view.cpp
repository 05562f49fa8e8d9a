#include "table_view.h"

#include "format.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <sys/ioctl.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct Column {
    std::string_view title;
    std::size_t width;
    std::string (*text)(const TagRow&, const Moment& now);
};

// The ones further right go first when the terminal is narrow.
const std::array columns{
    Column{"ANT", 3, [](const TagRow& row, const Moment&) { return fmt::to_string(row.latest.antenna); }},
    Column{"RSSI", 4, [](const TagRow& row, const Moment&) { return fmt::to_string(row.latest.rssi); }},
    Column{"COUNT", 9, [](const TagRow& row, const Moment&) { return fmt::to_string(row.reads); }},
    Column{"READS/S", 7,
           [](const TagRow& row, const Moment& now) {
               return fmt::format("{:.1f}", row.meter.rate(now.steady));
           }},
    Column{"FIRST", 8, [](const TagRow& row, const Moment&) { return clock_text(row.first.wall); }},
    Column{"LAST", 8, [](const TagRow& row, const Moment&) { return clock_text(row.last.wall); }},
};

constexpr std::size_t gap = 2;
constexpr std::size_t least_id_width = 12;
// An ID keeps this much before columns get their room.
constexpr std::size_t preferred_id_width = 24;

struct Layout {
    std::size_t id_width;
    std::size_t columns_shown;
};

Layout fit(std::size_t longest_id, std::size_t width)
{
    std::size_t used = 0;
    std::size_t shown = 0;
    const auto wanted = std::min(longest_id, preferred_id_width);
    while (shown < columns.size() && wanted + used + gap + columns[shown].width <= width) {
        used += gap + columns[shown].width;
        ++shown;
    }
    return {std::min(longest_id, width - used), shown};
}

std::string cut(std::string text, std::size_t width)
{
    if (text.size() > width) text.resize(width);
    return text;
}

// IDs of one kind begin alike and differ at the end: the end is what stays.
std::string shorten_id(std::string_view id, std::size_t width)
{
    if (id.size() <= width) return std::string(id);
    constexpr std::string_view mark = "..";
    if (width <= mark.size()) return std::string(id.substr(id.size() - width));
    return std::string(mark) + std::string(id.substr(id.size() - (width - mark.size())));
}

std::string title_line(const Layout& layout)
{
    auto line = fmt::format("{:<{}}", cut("EPC", layout.id_width), layout.id_width);
    for (std::size_t i = 0; i < layout.columns_shown; ++i) {
        line += fmt::format("{:{}}{:>{}}", "", gap, columns[i].title, columns[i].width);
    }
    return line;
}

std::string row_line(const TagRow& row, const Layout& layout, const Moment& now)
{
    auto line = fmt::format("{:<{}}", shorten_id(shown_id(row.latest.id), layout.id_width), layout.id_width);
    for (std::size_t i = 0; i < layout.columns_shown; ++i) {
        const auto text = cut(columns[i].text(row, now), columns[i].width);
        line += fmt::format("{:{}}{:>{}}", "", gap, text, columns[i].width);
    }
    return line;
}

std::string status_line(const TagTable& table, const TableStatus& status)
{
    auto line = fmt::format("{}, {:.1f} reads/s", summary_text(table, status.elapsed), status.rate);
    if (status.dropped != 0) line += fmt::format(", {} dropped", status.dropped);
    return line;
}

std::string hidden_text(std::size_t rows)
{
    return fmt::format("{} {} hidden: make the terminal larger", rows, rows == 1 ? "row" : "rows");
}

std::size_t longest_id(const std::vector<TagRow>& rows, std::size_t count)
{
    std::size_t longest = least_id_width;
    for (std::size_t i = 0; i < count; ++i) longest = std::max(longest, rows[i].latest.id.size());
    return longest;
}

}  // namespace

TerminalSize terminal_size(int fd)
{
    winsize size{};
    if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
    return {size.ws_col, size.ws_row};
}

std::vector<std::string> render_table(const TagTable& table, const TableStatus& status, TerminalSize size,
                                      const Moment& now)
{
    std::vector<std::string> lines;
    const auto room = size.rows > 1 ? size.rows - 1 : 0;
    if (room == 0 || size.columns == 0) return lines;
    lines.push_back(cut(status_line(table, status), size.columns));

    const auto& rows = table.rows();
    constexpr std::size_t heading_lines = 2;
    const bool all_fit = heading_lines + rows.size() <= room;
    if (!all_fit && room < heading_lines + 2) {
        if (room > 1) lines.push_back(cut(hidden_text(rows.size()), size.columns));
        return lines;
    }
    const auto shown = all_fit ? rows.size() : room - heading_lines - 1;
    const auto layout = fit(longest_id(rows, shown), size.columns);
    lines.push_back(title_line(layout));
    for (std::size_t i = 0; i < shown; ++i) lines.push_back(row_line(rows[i], layout, now));
    if (!all_fit) lines.push_back(cut(hidden_text(rows.size() - shown), size.columns));
    return lines;
}

std::string LiveScreen::draw(const std::vector<std::string>& lines, TerminalSize size)
{
    std::string text;
    if (lines_drawn_ != 0 && size != last_size_) {
        // The terminal has wrapped the old lines anew, nobody knows where they are.
        text += "\x1b[H\x1b[2J";
    } else if (lines_drawn_ != 0) {
        text += fmt::format("\r\x1b[{}A", lines_drawn_);
    }
    for (const auto& line : lines) text += "\r\x1b[K" + line + "\n";
    text += "\x1b[J";
    lines_drawn_ = lines.size();
    last_size_ = size;
    return text;
}

}  // namespace tagwire::tool
