// What the commands that set up a reader have in common.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "device_calls.h"
#include "names.h"
#include "tag_call.h"
#include "tag_options.h"

namespace tagwire::tool {

using DeviceCall = std::function<int(const ReaderConnection&, Done&)>;

inline Work device_work(Operation operation, const Done& done, const DeviceCall& call)
{
    return [=](Session& session) {
        return run_call(session, operation, done, [&](const ReaderConnection& reader, Done& shown) {
            return TagResult{call(reader, shown)};
        });
    };
}

inline Done done_with(std::string text, const char* type) { return {std::move(text), Json{{"type", type}}}; }

// A command of the library that takes one byte.
using ByteCall = int (*)(unsigned char*, unsigned char, int);

inline DeviceCall sends(ByteCall call, std::uint8_t value)
{
    return [call, value](const ReaderConnection& reader, Done&) {
        auto address = reader.address();
        return call(&address, value, reader.handle());
    };
}

struct NoArguments {};

inline void add_temporary_option(CLI::App& command, bool& temporary)
{
    command.add_flag("--temporary", temporary, "until the reader restarts only");
}

inline Lasting lasting_of(bool temporary) { return temporary ? Lasting::UntilRestart : Lasting::Stored; }

inline constexpr std::array switch_names{Name{"off", 0}, Name{"on", 1}};
inline constexpr NameSet switch_values{switch_names, 1};

}  // namespace tagwire::tool
