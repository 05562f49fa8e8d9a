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

}  // namespace tagwire::sim
