// What tags are told apart by.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {

namespace detail {
[[noreturn]] TAGWIREXX_API void refuse_identifier(std::size_t bytes, std::size_t longest);
}

// Up to 63 bytes, held in place: no allocation. Printed as upper-case hexadecimal without separators and
// compared byte by byte; of two that begin alike the shorter one comes first.
template <class Kind> class Identifier {
  public:
    static constexpr std::size_t longest = 63;

    constexpr Identifier() = default;
    // Throws Error for text that is no hexadecimal, see from_hex(), and for more than 63 bytes.
    explicit Identifier(std::string_view hex) : Identifier(std::span<const std::uint8_t>(from_hex(hex))) {}
    explicit Identifier(const char* hex)
        : Identifier(hex == nullptr ? std::string_view() : std::string_view(hex))
    {}
    explicit Identifier(const std::string& hex) : Identifier(std::string_view(hex)) {}
    explicit Identifier(std::span<const std::uint8_t> bytes)
    {
        if (bytes.size() > longest) detail::refuse_identifier(bytes.size(), longest);
        std::copy(bytes.begin(), bytes.end(), bytes_.begin());
        size_ = static_cast<std::uint8_t>(bytes.size());
    }

    std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size_}; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::string to_string() const { return to_hex(bytes()); }

    friend bool operator==(const Identifier& a, const Identifier& b)
    {
        return a.size_ == b.size_ &&
               std::equal(a.bytes_.begin(), a.bytes_.begin() + a.size_, b.bytes_.begin());
    }
    friend std::strong_ordering operator<=>(const Identifier& a, const Identifier& b)
    {
        return std::lexicographical_compare_three_way(a.bytes_.begin(), a.bytes_.begin() + a.size_,
                                                      b.bytes_.begin(), b.bytes_.begin() + b.size_);
    }
    friend std::ostream& operator<<(std::ostream& out, const Identifier& id) { return out << id.to_string(); }

  private:
    std::uint8_t size_ = 0;
    std::array<std::uint8_t, longest> bytes_{};
};

using Epc = Identifier<struct EpcKind>;
using Tid = Identifier<struct TidKind>;
// The identifier of a 6B, GB or JB tag.
using TagId = Identifier<struct TagIdKind>;

}  // namespace v1
}  // namespace tagwire

template <class Kind> struct std::hash<tagwire::Identifier<Kind>> {
    std::size_t operator()(const tagwire::Identifier<Kind>& id) const noexcept
    {
        const auto bytes = id.bytes();
        return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
};
