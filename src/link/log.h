// Helpers for looking at bytes; nothing in the library calls them.
#pragma once

#include "tagwire/types.h"

extern "C" {
// Prints "QVN:" and two upper-case hexadecimal digits for each of `lenth` bytes as one line on standard
// output.
TAGWIRE_API void printHexToString(unsigned char* Hex, unsigned char lenth, int flag);

// The character of a hexadecimal digit, '0'..'9' and 'A'..'F'; a space for any other value.
TAGWIRE_API unsigned char IntToStr(unsigned char aChar);
}
