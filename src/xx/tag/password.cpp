#include <tagwirexx/password.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

[[noreturn]] void refuse_password()
{
    throw Error(Errc::invalid_text, "password", {}, "a password has 4 bytes: 8 hexadecimal digits");
}

}  // namespace

Password::Password(std::string_view hex)
{
    std::uint32_t value = 0;
    const char* const end = hex.data() + hex.size();
    const auto [read, error] = std::from_chars(hex.data(), end, value, 16);
    if (hex.size() != 2 * bytes_.size() || error != std::errc() || read != end) refuse_password();
    for (std::size_t i = 0; i < bytes_.size(); ++i)
        bytes_[i] = static_cast<std::uint8_t>(value >> (8 * (bytes_.size() - 1 - i)));
}

Password::Password(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() != bytes_.size()) refuse_password();
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
}

Password::Password(Password&& other) noexcept : bytes_(other.bytes_)
{
    ::explicit_bzero(other.bytes_.data(), other.bytes_.size());
}

Password& Password::operator=(Password&& other) noexcept
{
    if (this == &other) return *this;
    bytes_ = other.bytes_;
    ::explicit_bzero(other.bytes_.data(), other.bytes_.size());
    return *this;
}

Password::~Password() { ::explicit_bzero(bytes_.data(), bytes_.size()); }

}  // namespace v1
}  // namespace tagwire
