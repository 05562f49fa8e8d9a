// What a Stream sets in a reader before reading starts.
#pragma once

#include <tagwirexx/stream.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;

// Throws Error for what is outside its range.
void check(const ReadingPlan& plan, const std::string& url);

// Asks for what the reader has, and sets what differs. Throws Error.
void prepare(Reader& reader, const SourceOptions& options);

}  // namespace v1
}  // namespace tagwire
