#include "support/every_call.h"

#include <type_traits>
#include <utility>

#include "reader/reader.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

// An argument that every call takes: bytes and counts of 1, and room for any output.
u8 room[3][buffer_size];
int number;
template <class T> T plausible(std::size_t place)
{
    if constexpr (std::is_same_v<T, u8*>)
        return room[place % 3];
    else if constexpr (std::is_same_v<T, int*>)
        return &number;
    else
        return T{1};
}

template <class... Arguments, std::size_t... Places>
int call_by(int (*exported)(Arguments...), int handle, std::index_sequence<Places...> /*places*/)
{
    const auto argument = [handle](auto type, std::size_t place) {
        using Type = typename decltype(type)::type;
        if constexpr (std::is_same_v<Type, int>)
            return place + 1 == sizeof...(Places) ? handle : plausible<int>(place);
        else
            return plausible<Type>(place);
    };
    return exported(argument(std::type_identity<Arguments>{}, Places)...);
}

template <class... Arguments> int call(int (*exported)(Arguments...), int handle)
{
    return call_by(exported, handle, std::index_sequence_for<Arguments...>{});
}

}  // namespace

const std::map<std::string, ExportedCall>& every_exported_call()
{
    static const std::map<std::string, ExportedCall> all = {
#define EXPORTED(name, how) {#name, {Exported::how, [](int handle) { return call(::name, handle); }}},
#define INTERNAL(name)
#define PLAIN(name) EXPORTED(name, plain)
#define LOCKED(name) EXPORTED(name, locked)
#define ASIDE(name) EXPORTED(name, aside)
#define UNBUSY(name) EXPORTED(name, unbusy)
#define TAGWIRE_OPERATION(exported, result, name, ...) exported(name)
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
#undef UNBUSY
#undef ASIDE
#undef LOCKED
#undef PLAIN
#undef INTERNAL
#undef EXPORTED
    };
    return all;
}

}  // namespace tagwire::engine::test
