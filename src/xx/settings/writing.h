// Writes settings, reads them back and compares.
#pragma once

#include "xx/settings/access.h"

namespace tagwire {
inline namespace v1 {
namespace rows {

// Whether the reader may report by itself behind it, or be reached otherwise: it is written behind the rest.
bool comes_last(const Row& row);

// Gives what the reader has of each, as text. Throws Error where it has something else.
std::vector<std::string> write_and_compare(Access& access, std::vector<Wanted> wanted, Lasting lasting);

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
