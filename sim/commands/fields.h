// Taking a request's data apart.
#pragma once

#include <array>
#include <optional>

#include "bytes.h"

namespace tagwire::sim {

inline std::size_t bytes_for(std::size_t bits) { return (bits + 7) / 8; }

// Takes the fields out of a request whose length is known to suffice.
class Fields {
  public:
    Fields(const Bytes& data, std::size_t at) : data_(data), at_(at) {}

    std::size_t left() const { return data_.size() - at_; }
    std::uint8_t byte() { return data_[at_++]; }
    std::uint16_t word()
    {
        const unsigned high = byte();
        return static_cast<std::uint16_t>(high << 8U | byte());
    }
    Bytes bytes(std::size_t count)
    {
        const auto first = data_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ += count;
        return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
    }
    template <std::size_t size> std::array<std::uint8_t, size> fixed()
    {
        std::array<std::uint8_t, size> taken{};
        for (std::uint8_t& byte_taken : taken) byte_taken = byte();
        return taken;
    }

  private:
    const Bytes& data_;
    std::size_t at_;
};

inline constexpr std::size_t mask_header_size = 4;  // memory, address (2), bits

// The size of the mask block that begins at this place, if there is one.
inline std::optional<std::size_t> mask_size(const Bytes& data, std::size_t at)
{
    const std::size_t length_at = at + mask_header_size - 1;
    if (length_at >= data.size()) return std::nullopt;
    return mask_header_size + bytes_for(data[length_at]);
}

// A request for one tag: it is named by its ID, in front of the command's own fields, or by a mask behind them.
struct OneTagRequest {
    Bytes id;
    Bytes own;
    std::optional<std::size_t> mask_at;
};

// `head` is where the count of the ID's words stands. Nothing for a length that does not fit.
inline std::optional<OneTagRequest> take_one_tag(const Bytes& data, std::size_t head, std::uint8_t longest_id,
                                                 std::size_t own_size)
{
    constexpr std::uint8_t by_mask = 0xFF;
    if (data.size() <= head) return std::nullopt;
    const std::uint8_t words = data[head];
    const bool masked = words == by_mask;
    if (!masked && words > longest_id) return std::nullopt;
    const std::size_t id_size = masked ? 0 : std::size_t{words} * 2;
    const std::size_t own_end = head + 1 + id_size + own_size;
    const std::size_t mask = masked ? mask_size(data, own_end).value_or(mask_header_size) : 0;
    if (data.size() != own_end + mask) return std::nullopt;
    Fields fields(data, head + 1);
    OneTagRequest request;
    request.id = fields.bytes(id_size);
    request.own = fields.bytes(own_size);
    if (masked) request.mask_at = own_end;
    return request;
}

}  // namespace tagwire::sim
