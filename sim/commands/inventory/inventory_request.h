// The requests of the Gen2 inventories, taken apart. Which of the optional blocks a request has is told by
// its length alone. Every function gives nothing for a length that fits no layout or a value out of range.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "field/population.h"

namespace tagwire::sim {

// The tail of a request that sets target, antenna and scan time.
struct FastTail {
    std::uint8_t target = 0;
    std::uint8_t antenna = 0;  // 0x80 + port, the first port being 0; without bit 7: all enabled antennas
    std::uint8_t scan_time = 0;
};

// Words of a bank to be read from every tag found.
struct MemoryRead {
    Bank bank = Bank::epc;
    std::uint16_t word_address = 0;
    std::uint8_t word_count = 0;
};

struct InventoryRequest {
    std::uint8_t q = 0;
    std::uint8_t session = 0;
    std::optional<Mask> mask;
    std::optional<MemoryRead> instead_of_epc;
    std::vector<MemoryRead> reads;
    std::array<std::uint8_t, 4> password{};
    std::optional<FastTail> fast;
};

struct EpcMatchRequest {
    Mask mask;
    bool excludes = false;
};

struct FastSwitchRequest {
    struct Stay {
        std::uint8_t antenna;  // the first port is 0
        std::uint8_t passes;
    };
    std::vector<Stay> stays;
    std::uint8_t interval_ms = 0;
    std::uint8_t cycles = 1;
};

std::optional<InventoryRequest> parse_inventory(const Bytes& data);
std::optional<InventoryRequest> parse_mixed_inventory(const Bytes& data);
std::optional<InventoryRequest> parse_extended_inventory(const Bytes& data);
std::optional<InventoryRequest> parse_short_inventory(const Bytes& data);
std::optional<InventoryRequest>
parse_masked_inventory(const Bytes& data);  // the same, with or without a mask
std::optional<EpcMatchRequest> parse_epc_match(const Bytes& data);
std::optional<FastSwitchRequest> parse_fast_switch(const Bytes& data);

}  // namespace tagwire::sim
