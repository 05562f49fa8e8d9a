// What the commands for sensor tags have in common.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "parse.h"
#include "sensor_memory.h"
#include "tag_call.h"
#include "tag_options.h"

namespace tagwire::tool {

// A tag and the password that its commands go with.
struct SensorTarget {
    TagName name;
    Password password{};
};

inline void add_target_options(CLI::App& command, TagOptions& options)
{
    add_name_options(command, options, sensor_family);
    add_password_option(command, options);
}

inline SensorTarget parse_target_tag(const TagOptions& options)
{
    return {parse_tag_name(options, sensor_family), parse_password(options.password, "--password")};
}

inline Done done_with(std::string text, const char* type, const TagName& name)
{
    Done done{std::move(text), Json{{"type", type}}};
    add_name(done.object, name, sensor_family);
    return done;
}

// Most of these commands tell nothing of the tag's error code.
enum class TagCode : bool { NotTold, Told };

using SensorCall = std::function<TagResult(TagCall&, std::uint8_t* password, Done&)>;

inline Work sensor_work(const SensorTarget& target, Operation operation, const Done& done, TagCode code,
                        const SensorCall& call)
{
    return [=](Session& session) {
        return run_tag_call(session, target.name, operation, done, [&](TagCall& tag, Done& shown) {
            auto password = target.password;
            auto result = call(tag, password.data(), shown);
            if (code == TagCode::NotTold) result.tag_error = -1;
            return result;
        });
    };
}

inline std::uint32_t parse_word_number(const std::string& text, std::string_view what)
{
    return parse_number(text, what, 0, 65535);
}

inline std::uint8_t parse_byte(const std::string& text, std::string_view what)
{
    return static_cast<std::uint8_t>(parse_number(text, what, 0, 255));
}

inline std::uint16_t word_of(const std::array<std::uint8_t, 2>& bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

}  // namespace tagwire::tool
