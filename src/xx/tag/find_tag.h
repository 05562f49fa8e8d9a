// Which tags answer to a name.
#pragma once

#include "xx/reader/reader_inside.h"

namespace tagwire {
inline namespace v1 {

// The tags that meet the mask, or all; with their TIDs, as far as these can be read. Throws Error where it is
// not sure that there are no more.
std::vector<SeenTag> find_tags(ReaderInside& reader, const std::optional<Mask>& mask);
// Those with exactly this EPC.
std::vector<SeenTag> find_tags(ReaderInside& reader, const Epc& epc);

// Whether one is the beginning of the other.
bool begin_alike(const Tid& a, const Tid& b);

Mask mask_of(const Epc& epc);
Mask mask_of(const Tid& tid);

// The one tag; throws Error with those that there are.
SeenTag only_one(const ReaderInside& reader, const std::vector<SeenTag>& tags, const std::string& name);

}  // namespace v1
}  // namespace tagwire
