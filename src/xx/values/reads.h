// Reads from what the engine decoded.
#pragma once

#include <tagwirexx/read.hpp>

#include "inventory/records.h"

namespace tagwire {
inline namespace v1 {

// With an EPC; the caller says when it came.
Read read_from(const engine::TagRecord& record, AntennaByte meaning);

// Whether the EPC has these bits. A mask of another bank fits none.
bool fits(const Mask& mask, const Epc& epc);

}  // namespace v1
}  // namespace tagwire
