#include "control/order.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "control/answers.h"
#include "scenario/scenario_tags.h"
#include "transport/core.h"

namespace tagwire::sim {

namespace {

using Words = std::vector<std::string>;
using Act = std::function<std::string(Core&, ReaderState&)>;

constexpr std::uint64_t most_noise = 1'000'000;  // bytes
constexpr double highest_rate = 1e9;             // reports a second

// A word, what stands behind it, and how that is read: an order that cannot be read has no act, and its words are shown
// as they should be.
struct Word {
    std::string_view name;
    std::string_view rest;
    Act (*read)(const Words& rest, const ReaderSettings& reader);
    bool only_asks = false;
};

template <typename Number>
std::optional<Number> number(const std::string& text, Number lowest, Number highest)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (!(value >= lowest && value <= highest)) return std::nullopt;
    return value;
}

// For what is done without an answer.
template <typename Do> Act quietly(Do act)
{
    return [act = std::move(act)](Core& core, ReaderState& reader) {
        act(core, reader);
        return std::string();
    };
}

template <bool plugged> Act read_plug(const Words& rest, const ReaderSettings& reader)
{
    const auto port = rest.size() == 1 ? number(rest[0], 1U, reader.antennas) : std::nullopt;
    if (!port) return nullptr;
    return quietly([port = *port](Core&, ReaderState& state) { state.device.set_antenna(port, plugged); });
}

Act read_input(const Words& rest, const ReaderSettings&)
{
    const auto line = rest.size() == 2 ? number(rest[0], 1U, io_lines) : std::nullopt;
    if (!line || (rest[1] != "high" && rest[1] != "low")) return nullptr;
    return quietly([line = *line, high = rest[1] == "high"](Core& core, ReaderState& reader) {
        reader.device.panel().set_input(line, high, core.now() - reader.origin);
    });
}

Act read_add_tag(const Words& rest, const ReaderSettings&)
{
    if (rest.empty()) return nullptr;
    return quietly([tags = tags_from_words(rest)](Core& core, ReaderState& reader) {
        reader.device.field().add(tags, core.now() - reader.origin);
    });
}

Act read_take_tag(const Words& rest, const ReaderSettings&)
{
    if (rest.size() != 1) return nullptr;
    return quietly([epc = from_hex(rest[0])](Core& core, ReaderState& reader) {
        if (!reader.device.field().take(epc, core.now() - reader.origin))
            throw std::invalid_argument("no tag in the field shows the EPC " + to_hex(epc));
    });
}

Act read_noise(const Words& rest, const ReaderSettings&)
{
    const auto count = rest.size() == 1 ? number<std::uint64_t>(rest[0], 1, most_noise) : std::nullopt;
    if (!count) return nullptr;
    return quietly([count = *count](Core& core, ReaderState& reader) {
        Bytes bytes(count);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(reader.chance.below(256));
        core.send_raw(reader, 0, bytes);
    });
}

Act read_fault(const Words& rest, const ReaderSettings&)
{
    if (rest.size() != 1) return nullptr;
    return quietly([fault = Fault::parse(rest[0])](Core&, ReaderState& reader) { reader.faults.add(fault); });
}

Act read_report_rate(const Words& rest, const ReaderSettings&)
{
    const auto rate = rest.size() == 1 ? number(rest[0], 0.0, highest_rate) : std::nullopt;
    if (!rate) return nullptr;
    return quietly([rate = *rate](Core& core, ReaderState& reader) {
        reader.device.set_report_rate(rate, core.now() - reader.origin);
    });
}

// Orders of one word.
template <auto act> Act read_plain(const Words& rest, const ReaderSettings&)
{
    if (!rest.empty()) return nullptr;
    return act;
}

std::string restart(Core&, ReaderState& reader)
{
    reader.device.restart();
    return {};
}

std::string cut_power(Core& core, ReaderState& reader)
{
    reader.device.cut_power(core.now() - reader.origin);
    return {};
}

std::string hang_up(Core& core, ReaderState& reader)
{
    core.hang_up(reader, 0);
    return {};
}

std::string clear_faults(Core&, ReaderState& reader)
{
    reader.faults.clear();
    return {};
}

std::string tell_counters(Core&, ReaderState& reader) { return describe(reader.counters); }

std::string tell_tags(Core& core, ReaderState& reader)
{
    return describe(reader.device.field(), core.now() - reader.origin);
}

constexpr std::array known_words{
    Word{"unplug", "PORT, one that the reader has", read_plug<false>},
    Word{"plug", "PORT, one that the reader has", read_plug<true>},
    Word{"input", "LINE high|low, LINE from 1 to 4", read_input},
    Word{"add-tag", "KEY=VALUE..., with keys of [[tag]], such as epc=E2801160 antennas=1,2", read_add_tag},
    Word{"take-tag", "EPC", read_take_tag},
    Word{"restart", "", read_plain<restart>},
    Word{"cut-power", "", read_plain<cut_power>},
    Word{"hang-up", "", read_plain<hang_up>},
    Word{"noise", "BYTES, from 1 to 1000000", read_noise},
    Word{"fault", "SPEC, such as lose:count=3", read_fault},
    Word{"clear-faults", "", read_plain<clear_faults>},
    Word{"report-rate", "REPORTS, a second, from 0 to 1e9", read_report_rate},
    Word{"counters", "", read_plain<tell_counters>, true},
    Word{"tags", "", read_plain<tell_tags>, true},
};

std::string usage(const Word& word)
{
    return std::string(word.name) + (word.rest.empty() ? "" : " ") + std::string(word.rest);
}

std::string all_names()
{
    std::string names;
    for (const Word& word : known_words) names += (names.empty() ? "" : ", ") + std::string(word.name);
    return names;
}

}  // namespace

std::string Order::list()
{
    std::string lines;
    for (const Word& word : known_words) lines += "  " + usage(word) + '\n';
    return lines;
}

Order Order::parse(const std::string& text, const ReaderSettings& reader)
{
    std::istringstream stream(text);
    std::string name;
    stream >> name;
    const auto word =
        std::find_if(known_words.begin(), known_words.end(), [&](const Word& w) { return w.name == name; });
    if (word == known_words.end())
        throw std::invalid_argument("'" + name + "' is no order; use " + all_names());
    const Words rest{std::istream_iterator<std::string>(stream), {}};
    Act act = word->read(rest, reader);
    if (!act) throw std::invalid_argument("write " + usage(*word));
    return {name, word->only_asks, std::move(act)};
}

}  // namespace tagwire::sim
