// Inventories of tags of any kind: options, repetition, and what is shown of the tags.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <tagwirexx/reader.hpp>

#include "app.h"
#include "option.h"

namespace tagwire::tool {

inline constexpr const char* no_tag_advice =
    "no tag answered. If one should: see that its antenna is enabled ('tagwire antenna show') and has power "
    "('tagwire power show'), that --mask fits it, that no select filter is left ('tagwire select --all'), "
    "and "
    "that its flag is not still set by an inventory before (--target B, or another --session). 'tagwire "
    "doctor' looks for why";

// Whether tags are counted only, and how often the inventory is repeated.
struct Repeat {
    std::optional<std::chrono::milliseconds> duration;
    bool count = false;
};

void add_repeat_options(CLI::App& command, Repeat& repeat);
void add_scan_options(CLI::App& command, std::optional<Port>& antenna,
                      std::optional<std::chrono::milliseconds>& scan_time);

// Of an inventory of Gen2 tags.
struct InventoryOptions {
    InventoryPlan plan;
    std::optional<Port> antenna;

    InventoryPlan chosen() const;
};
void add_plan_options(CLI::App& command, InventoryOptions& options);

using TakeInventory = std::function<InventoryResult(Reader&)>;
// What JSON calls such a tag, and its identifier.
struct Kind {
    std::string type;
    std::string id_key;
    std::string advice;  // where no tag answered
};
Work listing_work(const Kind& kind, const Repeat& repeat, const TakeInventory& take);

}  // namespace tagwire::tool
