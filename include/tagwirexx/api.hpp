// What every header of the C++ API shares.
#pragma once

#if defined(__GNUC__)
#define TAGWIREXX_API __attribute__((visibility("default")))
#else
#define TAGWIREXX_API
#endif
