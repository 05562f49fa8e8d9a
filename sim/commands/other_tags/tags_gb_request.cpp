#include "commands/other_tags/tags_gb_request.h"

#include <utility>

#include "commands/fields.h"

namespace tagwire::sim {

namespace {

constexpr std::uint8_t longest_id = 15;  // words
constexpr std::size_t read_size = 8;     // area, address (2), words, password (4)
constexpr std::size_t fast_size = 2;
constexpr std::uint8_t longest_record_read = 31;  // words that a record holds

std::optional<GbMask> take_mask(Fields& fields)
{
    const auto area = gb_area(fields.byte());
    if (!area) return std::nullopt;
    GbMask mask;
    mask.area = *area;
    mask.bit_address = fields.word();
    mask.bit_count = fields.byte();
    mask.bits = fields.bytes(bytes_for(mask.bit_count));
    return mask;
}

bool take_read(Fields& fields, GbInventoryRequest& request)
{
    const auto area = gb_area(fields.byte());
    const std::uint16_t address = fields.word();
    const std::uint8_t count = fields.byte();
    request.password = fields.fixed<4>();
    if (!area || count == 0 || count > longest_record_read) return false;
    request.read = GbWords{*area, address, count};
    return true;
}

bool is_size(std::size_t size, std::size_t expected)
{
    return size == expected || size == expected + fast_size;
}

}  // namespace

std::optional<GbTagRequest> parse_gb_tag_request(const Bytes& data, std::size_t head, std::size_t own_size)
{
    auto taken = take_one_tag(data, head, longest_id, own_size);
    if (!taken) return std::nullopt;
    GbTagRequest request;
    request.target.tag_id = std::move(taken->id);
    request.own = std::move(taken->own);
    if (!taken->mask_at) return request;
    Fields fields(data, *taken->mask_at);
    if (!(request.target.mask = take_mask(fields))) return std::nullopt;
    return request;
}

std::optional<GbInventoryRequest> parse_gb_inventory(const Bytes& data, ProtocolFamily family, bool reads)
{
    const std::size_t read_at = family == ProtocolFamily::jb ? 1 : 0;
    const std::size_t mask_at = read_at + (reads ? read_size : 0);
    const auto mask = mask_size(data, mask_at);
    const bool masked = mask && is_size(data.size(), mask_at + *mask);
    if (!masked && !is_size(data.size(), mask_at)) return std::nullopt;
    Fields fields(data, read_at);
    GbInventoryRequest request;
    if (reads && !take_read(fields, request)) return std::nullopt;
    if (masked && !(request.mask = take_mask(fields))) return std::nullopt;
    if (fields.left() > 0) {
        request.antenna = fields.byte();
        request.scan_time = fields.byte();
    }
    return request;
}

}  // namespace tagwire::sim
