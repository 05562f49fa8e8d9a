// One tag, as commands for sensor tags name it.
#pragma once

#include <array>
#include <tuple>

#include "tagwire/result.h"
#include "xx/reader/scan.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {

using PasswordBytes = std::array<u8, 4>;
// Zeros where none is given. Throws Error.
PasswordBytes password_bytes(const ReaderInside& inside, const Call& call,
                             const std::optional<Bytes>& password);

// Says what the tag's error code means.
[[noreturn]] void fail_of_tag(const ReaderInside& inside, const Call& call, int result, int tag_error);

constexpr std::array<u8, 2> high_byte_first(unsigned value)
{
    return {static_cast<u8>(value >> 8U), static_cast<u8>(value)};
}

class NamedTag {
  public:
    // Throws Error for an EPC that the command has no room for; `longest` is in words.
    NamedTag(ReaderInside& inside, const Call& call, const Epc& epc, unsigned longest);

    u8* epc() { return epc_.data(); }
    u8 words() const { return words_; }

    // `fields` stand in front of the mask, which is none, `outputs` behind it.
    template <class Operation, class... Fields, class... Outputs>
    void ask(const Call& call, Operation operation, std::tuple<Fields...> fields, Outputs... outputs)
    {
        GivenMask none;
        int tag_error = -1;
        const ReaderInside::Turn turn(inside_);
        const int result = std::apply(
            [&](auto... own) {
                return inside_.run(call, operation, epc_.data(), words_, own..., none.bank, none.bit.data(),
                                   none.bits, none.bytes.data(), outputs..., &tag_error);
            },
            fields);
        check(call, result, tag_error);
    }
    // For commands that have their fields in an order of their own.
    void check(const Call& call, int result, int tag_error) const
    {
        if (result != TAGWIRE_OK) fail_of_tag(inside_, call, result, tag_error);
        inside_.require(call, inside_.came());
    }

  private:
    ReaderInside& inside_;
    std::array<u8, 64> epc_{};
    u8 words_ = 0;
};

}  // namespace v1
}  // namespace tagwire
