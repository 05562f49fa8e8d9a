// Requests to one sensor tag.
#pragma once

#include "commands/codes.h"
#include "commands/tags/tag_request.h"

namespace tagwire::sim {

inline constexpr std::uint8_t longest_read = longest_answer_data;  // bytes

// A sensor tag that a command has reached.
struct SensorContact {
    Device& device;
    TagAccess& tag;
    Sensor& sensor;
    Time now;

    const Measurement& measure() const { return sensor.measure(device.clock().seconds_since_1970(now)); }
};

struct SensorAction {
    Password password{};
    std::function<TagAnswer(const SensorContact&)> act;
};

// Takes a command's own fields; nothing when one is out of range.
using PrepareSensorAction = std::optional<SensorAction> (*)(Fields& own);

// A request that names its tag by the EPC only, whose length stands first.
std::optional<TagRequest> parse_named_request(const Bytes& data, std::size_t own_size);

// Whether it is a sensor tag, meant, and replies.
std::function<bool(const Tag&)> is_meant_sensor(const TagChoice& choice);

TagAnswer ask_sensor(Device& device, Time now, const std::function<bool(const Tag&)>& fits,
                     const SensorAction& action);
TagAnswer ask_sensor(Device& device, const Call& call, const std::optional<TagRequest>& request,
                     PrepareSensorAction prepare);

// Whether a byte is one of a flag.
inline bool is_flag(std::uint8_t byte) { return byte <= 1; }

// Changes the tag, if it is secured, has what is to be changed, and gets enough power.
TagAnswer change_sensor(const SensorContact& contact, bool exists, const std::function<void(Sensor&)>& edit);

template <std::size_t own_size, PrepareSensorAction prepare>
void act_on_sensor(Device& device, const Call& call)
{
    answer(device, call, ask_sensor(device, call, parse_tag_request(call.data(), 0, own_size), prepare));
}

}  // namespace tagwire::sim
