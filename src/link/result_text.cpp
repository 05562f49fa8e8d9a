#include "link/result_text.h"

#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

struct Row {
    ResultFamily family;
    int value;
    ResultText text;
};

constexpr Row rows[] = {
#define TAGWIRE_RESULT(family, value, what, advice) {ResultFamily::family, value, {what, advice}},
#include "link/results.def"
};

constexpr int any_other = -1;

const ResultText* find(ResultFamily family, int value)
{
    for (const Row& row : rows)
        if (row.family == family && row.value == value) return &row.text;
    return nullptr;
}

}  // namespace

// What a tag says is a number of another kind than the others, which are shared.
ResultText result_text(ResultFamily family, int value)
{
    const ResultText* text = find(family, value);
    if (text == nullptr && family != ResultFamily::tag_error) text = find(ResultFamily::shared, value);
    return text != nullptr ? *text : *find(family, any_other);
}

}  // namespace tagwire::engine
