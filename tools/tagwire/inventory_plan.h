// Options of inventories, as typed and as they are sent.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "connection.h"
#include "parse.h"
#include "tag_name.h"

namespace tagwire::tool {

// Where and how long an inventory looks.
struct ScanArguments {
    std::string antenna;
    std::string scan_time;
    std::string mask;
};

struct ScanPlan {
    std::optional<std::uint8_t> antenna;    // as the command carries it
    std::optional<std::uint8_t> scan_time;  // units of 100 ms
    std::optional<Mask> mask;
};

// The byte of the first antenna port.
inline constexpr std::uint8_t first_antenna = 0x80;

void add_scan_options(CLI::App& command, ScanArguments& arguments, const NameSet& banks);
ScanPlan plan_from(const ScanArguments& arguments, const NameSet& banks);

// Of Gen2 tags.
struct InventoryArguments {
    ScanArguments scan;
    std::string q = "4";
    std::string session = "S0";
    std::string target;
    std::string tid = "0:6";
    CLI::Option* tid_given = nullptr;
};

struct InventoryPlan {
    ScanPlan scan;
    std::uint8_t q = 0;
    std::uint8_t session = 0;
    std::optional<std::uint8_t> target;
    std::optional<WordRange> tid;

    bool is_fast() const { return target || scan.antenna || scan.scan_time; }
};

void add_inventory_options(CLI::App& command, InventoryArguments& arguments);
InventoryPlan plan_from(const InventoryArguments& arguments);

// The values of fast inventories go together: a scan time that was not asked for stays that of the reader.
std::uint8_t scan_time_of(const ScanPlan& plan, const ReaderConnection& reader);

// Calls a function of the library whose first arguments are those of Inventory_G2, up to FastFlag; `more` are
// those behind.
template <typename Call, typename... More>
int call_inventory(Call call, const ReaderConnection& reader, const InventoryPlan& plan, More... more)
{
    auto address = reader.address();
    MaskArguments mask(plan.scan.mask);
    const auto tid = plan.tid.value_or(WordRange{0, 0});
    const std::uint8_t is_fast = plan.is_fast() ? 1 : 0;
    return call(&address, plan.q, plan.session, mask.bank, mask.address.data(), mask.bits, mask.data.data(),
                static_cast<std::uint8_t>(plan.scan.mask ? 1 : 0), tid.first, tid.count,
                static_cast<std::uint8_t>(plan.tid ? 1 : 0), plan.target.value_or(0),
                plan.scan.antenna.value_or(first_antenna), plan.scan.scan_time.value_or(0), is_fast, more...,
                reader.handle());
}

}  // namespace tagwire::tool
