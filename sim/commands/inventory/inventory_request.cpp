#include "commands/inventory/inventory_request.h"

#include <algorithm>

#include "commands/fields.h"
#include "commands/tags/tag_request.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t fast_size = 3;
constexpr std::size_t tid_size = 2;
constexpr std::size_t read_size = 4;
constexpr unsigned longest_plain_read = 31;      // words
constexpr unsigned longest_extended_read = 119;  // words
constexpr std::uint32_t epc_bit = 32;            // of the EPC bank

bool is_bank(std::uint8_t bank) { return bank <= 3; }

bool take_read(Fields& fields, unsigned longest, InventoryRequest& request)
{
    const std::uint8_t bank = fields.byte();
    const std::uint16_t word_address = fields.word();
    const std::uint8_t word_count = fields.byte();
    if (!is_bank(bank) || word_count == 0 || word_count > longest) return false;
    request.reads.push_back({static_cast<Bank>(bank), word_address, word_count});
    return true;
}

void take_password(Fields& fields, InventoryRequest& request)
{
    request.password = fields.fixed<password_size>();
}

bool take_fast(Fields& fields, InventoryRequest& request)
{
    FastTail fast;
    fast.target = fields.byte();
    fast.antenna = fields.byte();
    fast.scan_time = fields.byte();
    if (fast.target > 1) return false;
    request.fast = fast;
    return true;
}

bool is_optional_tail(std::size_t size)
{
    return size == 0 || size == tid_size || size == fast_size || size == tid_size + fast_size;
}

// Seven bytes are a mask of up to 8 bits alone, or the TID block and the fast tail: then the byte in the
// place of MaskLen is the antenna.
bool inventory_has_mask(const Bytes& data)
{
    const auto mask = mask_size(data, 2);
    return mask && data.size() >= 2 + *mask && is_optional_tail(data.size() - 2 - *mask) && is_bank(data[2]);
}

bool take_session(Fields& fields, InventoryRequest& request)
{
    request.q = fields.byte() & 0x0FU;
    request.session = fields.byte();
    return request.session <= 3;
}

// Reads and password, then the fast tail if bytes are left.
bool take_mixed_tail(Fields& fields, InventoryRequest& request)
{
    take_password(fields, request);
    return fields.left() == 0 || take_fast(fields, request);
}

bool is_size(std::size_t size, std::size_t expected)
{
    return size == expected || size == expected + fast_size;
}

}  // namespace

std::optional<InventoryRequest> parse_inventory(const Bytes& data)
{
    const bool masked = inventory_has_mask(data);
    if (data.size() < 2 || (!masked && !is_optional_tail(data.size() - 2))) return std::nullopt;
    InventoryRequest request;
    Fields fields(data, 0);
    if (!take_session(fields, request)) return std::nullopt;
    if (masked && !(request.mask = take_mask_field(fields))) return std::nullopt;
    if (fields.left() == tid_size || fields.left() == tid_size + fast_size) {
        const std::uint8_t word_address = fields.byte();
        const std::uint8_t word_count = fields.byte();
        if (word_count == 0 || word_count > longest_plain_read) return std::nullopt;
        request.instead_of_epc = MemoryRead{Bank::tid, word_address, word_count};
    }
    if (fields.left() > 0 && !take_fast(fields, request)) return std::nullopt;
    return request;
}

std::optional<InventoryRequest> parse_mixed_inventory(const Bytes& data)
{
    constexpr std::size_t plain = 2 + read_size + password_size;
    const auto mask = mask_size(data, 2);
    const bool masked = mask && is_size(data.size(), plain + *mask);
    if (!masked && !is_size(data.size(), plain)) return std::nullopt;
    InventoryRequest request;
    Fields fields(data, 0);
    if (!take_session(fields, request)) return std::nullopt;
    if (masked && !(request.mask = take_mask_field(fields))) return std::nullopt;
    if (!take_read(fields, longest_plain_read, request) || !take_mixed_tail(fields, request))
        return std::nullopt;
    return request;
}

std::optional<InventoryRequest> parse_extended_inventory(const Bytes& data)
{
    if (data.size() < 3 || data[2] < 1 || data[2] > 3) return std::nullopt;
    const std::size_t mask_at = 3 + data[2] * read_size;
    const std::size_t plain = mask_at + password_size;
    const auto mask = mask_size(data, mask_at);
    const bool masked = mask && is_size(data.size(), plain + *mask);
    if (!masked && !is_size(data.size(), plain)) return std::nullopt;
    InventoryRequest request;
    Fields fields(data, 0);
    if (!take_session(fields, request)) return std::nullopt;
    const std::uint8_t count = fields.byte();
    for (unsigned i = 0; i < count; ++i) {
        if (!take_read(fields, longest_extended_read, request)) return std::nullopt;
    }
    if (masked && !(request.mask = take_mask_field(fields))) return std::nullopt;
    if (!take_mixed_tail(fields, request)) return std::nullopt;
    return request;
}

std::optional<InventoryRequest> parse_short_inventory(const Bytes& data)
{
    if (!is_size(data.size(), 2)) return std::nullopt;
    InventoryRequest request;
    Fields fields(data, 0);
    if (!take_session(fields, request)) return std::nullopt;
    if (fields.left() > 0 && !take_fast(fields, request)) return std::nullopt;
    return request;
}

std::optional<InventoryRequest> parse_masked_inventory(const Bytes& data)
{
    const auto mask = mask_size(data, 2);
    const bool masked = mask && is_size(data.size(), 2 + *mask);
    if (!masked) return parse_short_inventory(data);
    InventoryRequest request;
    Fields fields(data, 0);
    if (!take_session(fields, request) || !(request.mask = take_mask_field(fields))) return std::nullopt;
    if (fields.left() > 0 && !take_fast(fields, request)) return std::nullopt;
    return request;
}

std::optional<EpcMatchRequest> parse_epc_match(const Bytes& data)
{
    constexpr std::size_t header = 5;
    if (data.size() < header) return std::nullopt;
    Fields fields(data, 0);
    const std::uint8_t match_type = fields.byte();
    EpcMatchRequest request;
    request.excludes = match_type == 1;
    request.mask.bank = Bank::epc;
    request.mask.bit_count = fields.word();
    request.mask.bit_address = epc_bit + fields.word();
    if (match_type > 1 || data.size() != header + bytes_for(request.mask.bit_count)) return std::nullopt;
    request.mask.bits = fields.bytes(fields.left());
    return request;
}

std::optional<FastSwitchRequest> parse_fast_switch(const Bytes& data)
{
    constexpr std::size_t size = 10;
    constexpr unsigned antennas = 4;
    if (data.size() != size) return std::nullopt;
    FastSwitchRequest request;
    Fields fields(data, 0);
    for (unsigned i = 0; i < antennas; ++i) {
        const std::uint8_t antenna = fields.byte();
        const std::uint8_t passes = fields.byte();
        if (passes > 0 && antenna != 0xFF) request.stays.push_back({antenna, passes});
    }
    request.interval_ms = fields.byte();
    request.cycles = std::max<std::uint8_t>(fields.byte(), 1);
    if (request.stays.empty()) return std::nullopt;
    return request;
}

}  // namespace tagwire::sim
