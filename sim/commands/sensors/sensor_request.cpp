#include "commands/sensors/sensor_request.h"

namespace tagwire::sim {

std::optional<TagRequest> parse_named_request(const Bytes& data, std::size_t own_size)
{
    auto request = parse_tag_request(data, 0, own_size);
    if (request && request->tag.mask) return std::nullopt;
    return request;
}

std::function<bool(const Tag&)> is_meant_sensor(const TagChoice& choice)
{
    return [meant = is_meant(choice)](const Tag& tag) { return tag.sensor() != nullptr && meant(tag); };
}

TagAnswer ask_sensor(Device& device, Time now, const std::function<bool(const Tag&)>& fits,
                     const SensorAction& action)
{
    return try_on_tag(device, now, fits, {action.password, [&](TagAccess& tag) {
                                              tag.sensor()->advance(now);
                                              return action.act({device, tag, *tag.sensor(), now});
                                          }});
}

TagAnswer ask_sensor(Device& device, const Call& call, const std::optional<TagRequest>& request,
                     PrepareSensorAction prepare)
{
    if (!request) return {status::bad_parameter};
    Fields own(request->own, 0);
    const auto action = prepare(own);
    if (!action) return {status::bad_parameter};
    return ask_sensor(device, call.now, is_meant_sensor(request->tag), *action);
}

TagAnswer change_sensor(const SensorContact& contact, bool exists, const std::function<void(Sensor&)>& edit)
{
    if (!contact.tag.is_secured()) return tag_refuses(TagError::privileges);
    if (!exists) return tag_refuses(TagError::no_such_memory);
    if (!contact.tag.can_write()) return tag_refuses(TagError::power);
    edit(contact.sensor);
    return {};
}

}  // namespace tagwire::sim
