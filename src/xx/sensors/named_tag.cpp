#include "xx/sensors/named_tag.h"

#include <algorithm>

namespace tagwire {
inline namespace v1 {

PasswordBytes password_bytes(const ReaderInside& inside, const Call& call,
                             const std::optional<Bytes>& password)
{
    PasswordBytes out{};
    if (!password) return out;
    if (password->size() != out.size()) refuse_value(inside, call, "a password has 4 bytes");
    std::copy(password->begin(), password->end(), out.begin());
    return out;
}

void fail_of_tag(const ReaderInside& inside, const Call& call, int result, int tag_error)
{
    const bool tells_why = result == TAGWIRE_TAG_ERROR && tag_error > 0 && inside.came() > 0;
    if (!tells_why) inside.fail(call, result);
    const engine::ResultText text = engine::result_text(engine::ResultFamily::tag_error, tag_error);
    throw Error(Errc::tag_refused, call.name, inside.name(), std::string(text.what) + ": " + text.advice,
                Outcome::nothing, result);
}

NamedTag::NamedTag(ReaderInside& inside, const Call& call, const Epc& epc, unsigned longest) : inside_(inside)
{
    const auto bytes = epc.bytes();
    if (bytes.size() % 2 != 0 || bytes.size() > std::size_t{2} * longest)
        refuse_value(inside, call,
                     "the EPC " + epc.to_string() + " cannot be named to these tags: it may have up to " +
                         std::to_string(longest) + " words of 16 bits");
    std::copy(bytes.begin(), bytes.end(), epc_.begin());
    words_ = static_cast<u8>(bytes.size() / 2);
}

}  // namespace v1
}  // namespace tagwire
