// Passwords of tags.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <tagwirexx/api.hpp>

namespace tagwire {
inline namespace v1 {

// 4 bytes; zeros are no password. It is wiped when it ends and where it is moved away, and cannot be printed.
class TAGWIREXX_API Password final {
  public:
    Password() = default;
    // 8 hexadecimal digits. Throws Error, which does not repeat the text.
    explicit Password(std::string_view hex);
    explicit Password(const std::string& hex) : Password(std::string_view(hex)) {}
    explicit Password(const char* hex) : Password(hex == nullptr ? std::string_view() : std::string_view(hex))
    {}
    // 4 bytes, as on the tag. Throws Error.
    explicit Password(std::span<const std::uint8_t> bytes);
    Password(const Password&) = default;
    Password(Password&& other) noexcept;
    Password& operator=(const Password&) = default;
    Password& operator=(Password&& other) noexcept;
    ~Password();

    std::span<const std::uint8_t, 4> bytes() const { return bytes_; }
    bool is_zero() const { return bytes_ == std::array<std::uint8_t, 4>{}; }
    friend bool operator==(const Password& a, const Password& b) { return a.bytes_ == b.bytes_; }

  private:
    std::array<std::uint8_t, 4> bytes_{};
};

}  // namespace v1
}  // namespace tagwire
