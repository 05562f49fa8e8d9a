// Names that outlive everything that carries them.
#pragma once

#include <string>
#include <string_view>

namespace tagwire {
inline namespace v1 {

// The same string for the same text, as long as the process lives.
const std::string& lasting_name(std::string_view text);

}  // namespace v1
}  // namespace tagwire
