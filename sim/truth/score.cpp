#include "truth/score.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <sstream>
#include <string_view>
#include <system_error>

#include <nlohmann/json.hpp>

#include "bytes.h"

namespace tagwire::sim {

namespace {

using Json = nlohmann::ordered_json;
using Fields = std::map<std::string, std::string>;

constexpr std::size_t longest_line = 1U << 20U;  // bytes
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

struct NumberedLine {
    unsigned number = 0;
    bool ends = true;
    std::string text;
};

void read_lines(const std::string& path, const std::function<void(const NumberedLine&)>& take)
{
    std::error_code ignored;
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path, ignored))
        throw ScoreError(path, 0, "cannot read the file");
    std::vector<char> line(longest_line + 1);
    unsigned number = 1;
    for (; file.getline(line.data(), static_cast<std::streamsize>(line.size())); ++number) {
        const auto size = static_cast<std::size_t>(file.gcount()) - (file.eof() ? 0 : 1);
        std::string_view text(line.data(), size);
        if (number == 1 && text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
        if (text.ends_with('\r')) text.remove_suffix(1);
        if (text.find_first_not_of(" \t") != std::string_view::npos)
            take({number, !file.eof(), std::string(text)});
    }
    if (file.gcount() > 0)
        throw ScoreError(path, number, "a line has more than " + std::to_string(longest_line) + " bytes");
    if (file.bad()) throw ScoreError(path, 0, "cannot read the file to its end");
}

// The members of a JSON object as text; what is neither text nor a number is left out.
Fields fields_of_json(const std::string& line)
{
    const Json json = Json::parse(line);
    if (!json.is_object()) throw std::invalid_argument("no JSON object");
    Fields fields;
    for (const auto& [key, value] : json.items()) {
        if (value.is_string()) fields[key] = value.get<std::string>();
        if (value.is_number()) fields[key] = value.dump();
    }
    return fields;
}

// Cells between commas; one in quotes may have commas, and quotes twice.
std::vector<std::string> cells_of(const std::string& line)
{
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"')
            cells.back() += line[i++];
        else if (line[i] == '"')
            quoted = !quoted;
        else if (line[i] == ',' && !quoted)
            cells.emplace_back();
        else
            cells.back() += line[i];
    }
    if (quoted) throw std::invalid_argument("a quote that does not end");
    return cells;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    });
    return text;
}

// A report file, line by line.
class ReportLines {
  public:
    // Nothing for the line that names the columns of a CSV.
    std::optional<Fields> take(const std::string& line)
    {
        if (is_json_ < 0) is_json_ = line[line.find_first_not_of(" \t")] == '{' ? 1 : 0;
        if (is_json_ == 1) return fields_of_json(line);
        std::vector<std::string> cells = cells_of(line);
        if (columns_.empty()) {
            for (const std::string& cell : cells) columns_.push_back(lower(cell));
            if (std::find(columns_.begin(), columns_.end(), "epc") == columns_.end())
                throw std::invalid_argument(
                    "neither a JSON object nor a line of columns with epc among them");
            return std::nullopt;
        }
        if (cells.size() != columns_.size())
            throw std::invalid_argument(std::to_string(cells.size()) + " cells in " +
                                        std::to_string(columns_.size()) + " columns");
        Fields fields;
        for (std::size_t i = 0; i < cells.size(); ++i) fields[columns_[i]] = std::move(cells[i]);
        return fields;
    }

  private:
    int is_json_ = -1;  // not known yet
    std::vector<std::string> columns_;
};

const std::string& text_of(const Fields& fields, const std::string& key)
{
    const auto found = fields.find(key);
    if (found == fields.end()) throw std::invalid_argument("there is no '" + key + "'");
    return found->second;
}

std::optional<unsigned> number_if_any(const Fields& fields, const std::string& key)
{
    const auto found = fields.find(key);
    if (found == fields.end()) return std::nullopt;
    const std::string& text = found->second;
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<unsigned> number_of(const Fields& fields, const std::string& key)
{
    const auto value = number_if_any(fields, key);
    const auto found = fields.find(key);
    if (!value && found != fields.end() && !found->second.empty())
        throw std::invalid_argument(key + " is not a whole number: " + found->second);
    return value;
}

std::string epc_of(const Fields& fields) { return to_hex(from_hex(text_of(fields, "epc"))); }

class Counting {
  public:
    void take_truth(const Fields& fields)
    {
        const std::string& what = text_of(fields, "what");
        if (what == "end") score_.complete = true;
        if (what == "start" || what == "end") return;
        const auto reader = number_of(fields, "reader");
        const auto port = number_of(fields, "port");
        if (!reader || !port) throw std::invalid_argument("there is no reader or no port");
        readers_.insert(*reader);
        PortScore& port_score = score_.ports[{*reader, *port}];
        if (const auto antenna = number_of(fields, "antenna")) antennas_[{*reader, *antenna}] = *port;
        ConnectionScore nobody;
        const auto number = number_of(fields, "connection");
        ConnectionScore& connection = number ? score_.connections[*number] : nobody;
        if (what == "enter") {
            score_.tags.insert(epc_of(fields));
            port_score.tags.insert(epc_of(fields));
        } else if (what == "sent") {
            heard_.insert(epc_of(fields));
            ++score_.sent;
            ++port_score.sent;
            ++connection.sent;
        } else if (what == "destroyed") {
            ++score_.destroyed[text_of(fields, "why")];
            ++port_score.destroyed;
            ++connection.destroyed;
        } else if (what != "leave") {
            throw std::invalid_argument("'" + what + "' is nothing that a truth tells");
        }
    }

    // Behind all of the truth.
    void take_report(const Fields& fields)
    {
        if (fields.count("epc") == 0) return;
        const std::string epc = epc_of(fields);
        const std::uint64_t reads = number_of(fields, "reads").value_or(1);
        score_.received += reads;
        kind_of(epc).insert(epc);
        PortScore* const port = port_of(fields);
        if (!port) return;
        score_.ports_are_told = true;
        port->received += reads;
        if (port->tags.count(epc) > 0) port->read.insert(epc);
    }

    const Score& score() const { return score_; }

  private:
    std::set<std::string>& kind_of(const std::string& epc)
    {
        if (score_.tags.count(epc) > 0) return score_.read;
        return heard_.count(epc) > 0 ? score_.at_edge : score_.never_there;
    }

    PortScore* port_of(const Fields& fields)
    {
        std::optional<unsigned> reader;
        if (readers_.size() == 1) reader = *readers_.begin();
        auto port = number_if_any(fields, "port");
        auto antenna = number_if_any(fields, "antenna_byte");
        if (!antenna) antenna = number_if_any(fields, "antenna");
        if (!reader || (!port && !antenna)) return nullptr;
        if (!port) {
            const auto known = antennas_.find({*reader, *antenna});
            if (known == antennas_.end()) return nullptr;
            port = known->second;
        }
        const auto found = score_.ports.find({*reader, *port});
        return found == score_.ports.end() ? nullptr : &found->second;
    }

    Score score_;
    std::set<std::string> heard_;
    std::set<unsigned> readers_;
    std::map<std::pair<unsigned, unsigned>, unsigned> antennas_;  // reader and antenna byte to port
};

void read_file(const std::string& path, const std::function<void(const std::string&)>& take)
{
    read_lines(path, [&](const NumberedLine& line) {
        try {
            take(line.text);
        } catch (const Json::exception&) {
            if (line.ends) throw ScoreError(path, line.number, "this is not JSON");
        } catch (const std::invalid_argument& problem) {
            if (line.ends) throw ScoreError(path, line.number, problem.what());
        }
    });
}

// Nothing of no tags.
std::optional<double> share(const Score& score)
{
    if (score.tags.empty()) return std::nullopt;
    return static_cast<double>(score.read.size()) / static_cast<double>(score.tags.size());
}

// What a file says, as it can be shown on any terminal.
std::string plain(std::string_view text)
{
    std::string shown;
    for (const char letter : text) {
        const bool is_plain = letter >= ' ' && letter <= '~';
        shown += is_plain ? std::string(1, letter) : "\\x" + to_hex({static_cast<std::uint8_t>(letter)});
    }
    return shown;
}

void list(std::ostream& out, const std::set<std::string>& epcs)
{
    for (const std::string& epc : epcs) out << "  " << (epc.empty() ? "-" : epc) << '\n';
}

}  // namespace

ScoreError::ScoreError(const std::string& file, unsigned line, const std::string& problem)
    : std::runtime_error(file + (line > 0 ? ':' + std::to_string(line) : "") + ": " + plain(problem))
{}

std::set<std::string> Score::missed() const
{
    std::set<std::string> rest;
    std::set_difference(tags.begin(), tags.end(), read.begin(), read.end(), std::inserter(rest, rest.end()));
    return rest;
}

std::uint64_t Score::all_destroyed() const
{
    return std::accumulate(destroyed.begin(), destroyed.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& entry) { return sum + entry.second; });
}

std::string Score::text() const
{
    std::ostringstream out;
    out.precision(1);
    out << std::fixed;
    out << "tags in a field: " << tags.size() << '\n';
    out << "read: " << read.size();
    if (const auto part = share(*this))
        out << " (" << 100 * *part << " %)\n";
    else
        out << " (-)\n";
    out << "missed: " << missed().size() << '\n';
    list(out, missed());
    out << "read at the edge of a field: " << at_edge.size() << '\n';
    out << "reported, but never there: " << never_there.size() << '\n';
    list(out, never_there);
    out << "reports sent: " << sent << ", destroyed: " << all_destroyed() << ", received: " << received
        << '\n';
    for (const auto& [why, count] : destroyed)
        out << "  destroyed by " << plain(why) << ": " << count << '\n';
    for (const auto& [place, port] : ports) {
        out << "reader " << place.first << " port " << place.second << ": tags " << port.tags.size();
        if (ports_are_told) out << ", read " << port.read.size();
        out << ", sent " << port.sent << ", destroyed " << port.destroyed;
        if (ports_are_told) out << ", received " << port.received;
        out << '\n';
    }
    if (connections.size() > 1) {
        for (const auto& [number, connection] : connections)
            out << "connection " << number << ": sent " << connection.sent << ", destroyed "
                << connection.destroyed << '\n';
    }
    if (!complete) out << "the truth is not complete: it does not tell of its end\n";
    return out.str();
}

std::string Score::json() const
{
    Json by_port = Json::array();
    for (const auto& [place, port] : ports) {
        Json& entry = by_port.emplace_back(Json{{"reader", place.first}, {"port", place.second}});
        entry["tags"] = port.tags.size();
        if (ports_are_told) entry["read"] = port.read.size();
        entry["sent"] = port.sent;
        entry["destroyed"] = port.destroyed;
        if (ports_are_told) entry["received"] = port.received;
    }
    Json by_connection = Json::array();
    for (const auto& [number, connection] : connections)
        by_connection.push_back(
            {{"connection", number}, {"sent", connection.sent}, {"destroyed", connection.destroyed}});
    const auto part = share(*this);
    const Json json{{"complete", complete},         {"tags", tags.size()},
                    {"read", read.size()},          {"share", part ? Json(*part) : Json()},
                    {"missed", missed()},           {"at_edge", at_edge},
                    {"never_there", never_there},   {"sent", sent},
                    {"destroyed", all_destroyed()}, {"destroyed_by", Json(destroyed)},
                    {"received", received},         {"ports", by_port},
                    {"connections", by_connection}};
    return json.dump();
}

Score score(const std::string& truth_file, const std::string& reports_file)
{
    Counting counting;
    read_file(truth_file, [&](const std::string& line) { counting.take_truth(fields_of_json(line)); });
    ReportLines lines;
    read_file(reports_file, [&](const std::string& line) {
        if (const auto fields = lines.take(line)) counting.take_report(*fields);
    });
    return counting.score();
}

}  // namespace tagwire::sim
