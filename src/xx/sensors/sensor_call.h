// How commands for one sensor tag are called.
#pragma once

#include <algorithm>

#include "tagwire/result.h"
#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {

// Whether the tag's own code comes with its refusal.
enum class TagCode { told, not_told };

struct SensorCall {
    Call call;
    unsigned most_words = 31;  // of an EPC that the command has room for
    TagCode code = TagCode::told;
};

// The bytes of an output that came, and no more than `most`.
inline Bytes as_came(std::span<const u8> output, int came, std::size_t most)
{
    const auto bytes =
        output.first(std::min({output.size(), static_cast<std::size_t>(std::max(came, 0)), most}));
    return {bytes.begin(), bytes.end()};
}

inline void require_done(const TagInside& tag, const SensorCall& how, int result, int tag_error)
{
    const ReaderInside& reader = *tag.reader_;
    if (result != TAGWIRE_OK)
        fail_at_tag(reader, how.call, result, how.code == TagCode::told ? tag_error : -1);
    reader.require(how.call, reader.came());
}

// As ask_tag(), with a password that may be another than the tag's.
template <class Operation, class... Own, class... Out>
void ask_sensor_with(const Password& password, TagInside& tag, const SensorCall& how, Operation operation,
                     const std::tuple<Own...>& own, Out... out)
{
    const ReaderInside::Turn turn(*tag.reader_);
    int error = -1;
    const int result = run_for_tag(*tag.reader_, how.call, tag.name(how.call, how.most_words), error,
                                   operation, own, out...);
    require_done(tag, how, result, error);
    if (password == tag.password_) tag.is_password_right_ = true;
}

// With the tag's own.
template <class Operation, class... Own, class... Out>
void ask_sensor(TagInside& tag, const SensorCall& how, Operation operation, const std::tuple<Own...>& own,
                Out... out)
{
    ask_sensor_with(tag.password_, tag, how, operation, own, out...);
}

}  // namespace v1
}  // namespace tagwire
