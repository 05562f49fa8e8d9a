// The operation table of a Reader and the functions that fill it, both made from the one list.
#pragma once

#include "tagwire/types.h"

struct Reader;
using u8 = unsigned char;

namespace tagwire::engine {
using ::Reader;  // whatever else is called so in the namespaces around this one
}

// One slot per operation. Operations call one another through the table of their Reader, never directly.
struct Operations {
#define TAGWIRE_OPERATION(exported, result, name, ...)                                                       \
    result (*name)(Reader * sthis __VA_OPT__(, ) __VA_ARGS__);
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
};

extern "C" {
#define TAGWIRE_OPERATION(exported, result, name, ...)                                                       \
    TAGWIRE_API result I_##name(Reader* sthis __VA_OPT__(, ) __VA_ARGS__);
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
}
