#include "link/result_text.h"

#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

enum Family {
    shared = -1,
#define TAGWIRE_RESULT_FAMILY(name, calls) name,
#include "link/results.def"
};

struct Row {
    int family;
    int value;
    ResultText text;
};

constexpr Row rows[] = {
#define TAGWIRE_RESULT(family, value, what, advice) {family, value, {what, advice}},
#include "link/results.def"
};

constexpr int any_other = -1;

const ResultText* find(int family, int value)
{
    for (const Row& row : rows)
        if (row.family == family && row.value == value) return &row.text;
    return nullptr;
}

}  // namespace

// What a tag says is a number of another kind than the others, which are shared.
ResultText result_text(ResultFamily family, int value)
{
    const int of = static_cast<int>(family);
    const ResultText* text = find(of, value);
    if (text == nullptr && of != tag_error) text = find(shared, value);
    return text != nullptr ? *text : *find(of, any_other);
}

}  // namespace tagwire::engine
