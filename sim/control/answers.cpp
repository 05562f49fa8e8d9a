#include "control/answers.h"

#include <nlohmann/json.hpp>

#include "field/population.h"

namespace tagwire::sim {

namespace {

using Json = nlohmann::ordered_json;

Json commands_json(const Counters& counters)
{
    Json commands = Json::object();
    for (std::size_t code = 0; code < counters.commands.size(); ++code) {
        const std::uint64_t count = counters.commands[code];
        if (count > 0) commands["0x" + to_hex({static_cast<std::uint8_t>(code)})] = count;
    }
    return commands;
}

Json faults_json(const Counters& counters)
{
    Json faults = Json::object();
    for (std::size_t kind = 0; kind < counters.faults.size(); ++kind) {
        const std::uint64_t count = counters.faults[kind];
        if (count > 0) faults[std::string(Fault::name(static_cast<Fault::Kind>(kind)))] = count;
    }
    return faults;
}

}  // namespace

std::string describe(const Counters& counters)
{
    const Json json{
        {"requests", counters.requests},
        {"requests_refused", counters.requests_refused},
        {"commands", commands_json(counters)},
        {"bytes_received", counters.bytes_received},
        {"bad_frames", counters.bad_frames},
        {"skipped_bytes", counters.skipped_bytes},
        {"garbled_bytes", counters.garbled_bytes},
        {"frames_sent", counters.frames_sent},
        {"reports_sent", counters.reports_sent},
        {"bytes_sent", counters.bytes_sent},
        {"reports_dropped", counters.reports_dropped},
        {"reports_queued", counters.reports_queued},
        {"connections", counters.connections},
        {"open_connections", counters.open_connections},
        {"had_to_wait", counters.had_to_wait},
        {"faults", faults_json(counters)},
        {"orders", Json(counters.orders)},
        {"orders_refused", counters.orders_refused},
    };
    return json.dump();
}

std::string describe(const Population& field, Time now)
{
    Json tags = Json::array();
    for (std::size_t i = 0; i < field.size(); ++i) {
        const Tag& tag = field[i];
        tags.push_back({{"epc", to_hex(tag.epc())},
                        {"tid", to_hex(tag.settings().tid)},
                        {"antennas", tag.settings().antennas},
                        {"in_field", tag.is_in_field(now)}});
    }
    return tags.dump();
}

}  // namespace tagwire::sim
