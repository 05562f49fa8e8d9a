#include "xx/values/names.h"

#include <mutex>
#include <set>

namespace tagwire {
inline namespace v1 {

const std::string& lasting_name(std::string_view text)
{
    static std::mutex mutex;
    // Never freed: threads may still hold a name while the process ends.
    static auto& names = *new std::set<std::string, std::less<>>;
    const std::lock_guard lock(mutex);
    const auto found = names.find(text);
    return found != names.end() ? *found : *names.emplace(text).first;
}

}  // namespace v1
}  // namespace tagwire
