#include "tag_memory.h"

#include <algorithm>

namespace tagwire::tool {

namespace {

std::span<const std::uint8_t> units_of(std::span<const std::uint8_t> data, const Run& part, const Run& whole,
                                       std::size_t unit_bytes)
{
    return data.subspan((part.first - whole.first) * unit_bytes, part.count * unit_bytes);
}

// Compares the units of a run with what was read from the tag.
class Comparison {
  public:
    Comparison(WriteReport& report, std::span<const std::uint8_t> expected, std::size_t unit_bytes)
        : report_(report), expected_(expected), unit_bytes_(unit_bytes)
    {}

    // Returns the units that differ.
    std::vector<Difference> compare(const ReadReport& read)
    {
        std::vector<Difference> differences;
        const auto count = static_cast<std::uint32_t>(read.data.size() / unit_bytes_);
        for (std::uint32_t i = 0; i < count; ++i) {
            const Run unit{read.run.first + i, 1};
            const auto expected = units_of(expected_, unit, report_.run, unit_bytes_);
            const auto found = std::span(read.data).subspan(i * unit_bytes_, unit_bytes_);
            const bool equal = std::equal(expected.begin(), expected.end(), found.begin());
            report_.states[unit.first - report_.run.first] =
                equal ? UnitState::Written : UnitState::NotWritten;
            if (!equal) {
                differences.push_back(
                    {unit.first, {expected.begin(), expected.end()}, {found.begin(), found.end()}});
            }
        }
        return differences;
    }

  private:
    WriteReport& report_;
    std::span<const std::uint8_t> expected_;
    std::size_t unit_bytes_;
};

void set_states(WriteReport& report, const Run& part, UnitState state)
{
    std::fill_n(report.states.begin() + (part.first - report.run.first), part.count, state);
}

// Writes pieces until one fails. Returns the piece that failed.
std::optional<Run> write_pieces(TagMemory& memory, WriteReport& report, std::span<const std::uint8_t> data,
                                const StopRequest& stop_requested)
{
    const auto limits = memory.limits();
    for (const auto& part : split_run(report.run, limits.most_write)) {
        if (stop_requested()) {
            report.stop = Stop::Interrupted;
            return std::nullopt;
        }
        report.result = memory.write(part.first, units_of(data, part, report.run, limits.unit_bytes));
        if (!report.result.is_success()) {
            report.stop = Stop::Failed;
            set_states(report, part, UnitState::Unknown);
            return part;
        }
        set_states(report, part, UnitState::Written);
    }
    return std::nullopt;
}

}  // namespace

std::uint32_t words_in_frame(std::size_t other_bytes)
{
    constexpr std::size_t room = 251;
    return static_cast<std::uint32_t>(other_bytes + 2 > room ? 1 : (room - other_bytes) / 2);
}

std::vector<Run> split_run(const Run& whole, std::uint32_t most)
{
    std::vector<Run> parts;
    for (std::uint32_t done = 0; done < whole.count;) {
        const Run part{whole.first + done, std::min(most, whole.count - done)};
        parts.push_back(part);
        done += part.count;
    }
    return parts;
}

ReadReport read_units(TagMemory& memory, const Run& run, const StopRequest& stop_requested)
{
    ReadReport report;
    report.run = run;
    const auto limits = memory.limits();
    for (const auto& part : split_run(run, limits.most_read)) {
        if (stop_requested()) {
            report.stop = Stop::Interrupted;
            return report;
        }
        Bytes data;
        report.result = memory.read(part, data);
        if (!report.result.is_success()) {
            report.stop = Stop::Failed;
            return report;
        }
        const auto wanted = part.count * limits.unit_bytes;
        const auto whole_units = std::min(data.size(), wanted) / limits.unit_bytes * limits.unit_bytes;
        report.data.insert(report.data.end(), data.begin(),
                           data.begin() + static_cast<std::ptrdiff_t>(whole_units));
        if (data.size() != wanted) {
            report.stop = Stop::TooShort;
            return report;
        }
    }
    return report;
}

std::vector<Run> WriteReport::runs(UnitState state) const
{
    std::vector<Run> found;
    for (std::uint32_t i = 0; i < run.count; ++i) {
        if (states[i] != state) continue;
        const auto unit = run.first + i;
        if (!found.empty() && found.back().first + found.back().count == unit) {
            ++found.back().count;
        } else {
            found.push_back({unit, 1});
        }
    }
    return found;
}

WriteReport write_units(TagMemory& memory, std::uint32_t first, std::span<const std::uint8_t> data,
                        bool verify, const StopRequest& stop_requested)
{
    const auto unit_bytes = memory.limits().unit_bytes;
    WriteReport report;
    report.run = {first, static_cast<std::uint32_t>(data.size() / unit_bytes)};
    report.states.assign(report.run.count, UnitState::NotWritten);
    const auto failed = write_pieces(memory, report, data, stop_requested);
    const bool reads_all = verify && report.stop == Stop::None;
    if (!failed && !reads_all) return report;

    const auto read = read_units(memory, failed.value_or(report.run), stop_requested);
    auto differences = Comparison(report, data, unit_bytes).compare(read);
    if (read.stop != Stop::None) report.failed_reading = read;
    report.verified = reads_all && read.stop == Stop::None;
    if (reads_all) report.differences = std::move(differences);
    return report;
}

}  // namespace tagwire::tool
