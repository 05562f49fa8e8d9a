// What a program reported, held against the truth.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tagwire::sim {

// Says where a file is wrong and how: "truth.jsonl:12: ...".
class ScoreError : public std::runtime_error {
  public:
    ScoreError(const std::string& file, unsigned line, const std::string& problem);
};

struct PortScore {
    std::set<std::string> tags;  // EPCs, that were in its field
    std::set<std::string> read;  // of them
    std::uint64_t sent = 0;
    std::uint64_t destroyed = 0;
    std::uint64_t received = 0;
};

struct ConnectionScore {
    std::uint64_t sent = 0;
    std::uint64_t destroyed = 0;
};

struct Score {
    bool complete = false;          // the truth tells of its end
    std::set<std::string> tags;     // EPCs, that were in a field
    std::set<std::string> read;     // of them
    std::set<std::string> at_edge;  // not of them, but a moment of luck let it be heard and reported
    std::set<std::string> never_there;
    std::uint64_t sent = 0;
    std::map<std::string, std::uint64_t> destroyed;  // by what
    std::uint64_t received = 0;
    std::map<std::pair<unsigned, unsigned>, PortScore> ports;  // by reader and port
    bool ports_are_told = false;                               // the reports say by which port they came
    std::map<std::uint64_t, ConnectionScore> connections;      // by number

    std::set<std::string> missed() const;
    std::uint64_t all_destroyed() const;
    std::string text() const;
    std::string json() const;
};

// The reports are JSON lines with `epc`, or CSV with a column `epc`; `reads` makes so many of one. Those of a single
// reader may tell their port as `port`, or by the antenna byte, as `antenna_byte` or else `antenna`; what is no
// number there tells none. A last line that does not end is taken if it is whole. Throws ScoreError.
Score score(const std::string& truth_file, const std::string& reports_file);

}  // namespace tagwire::sim
