// The small functions of the extension channel. Its answers begin with the function's number.
#include <algorithm>

#include "commands/codes.h"
#include "commands/services/extension.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

void answer_extension(Device& device, const Call& call, std::uint8_t status, const Bytes& results)
{
    Bytes data{call.data()[0]};
    append(data, results);
    device.answer(call, status, data);
}

void refuse_function(Device& device, const Call& call)
{
    answer_extension(device, call, status::bad_parameter);
}

namespace {

constexpr std::size_t description_size = 16;
constexpr std::size_t linkage_request_size = 8;

void describe_module(Device& device, const Call& call)
{
    if (call.data().size() != 1) return refuse_function(device, call);
    const std::string& text = device.settings().description;
    Bytes description(text.begin(), text.end());
    description.resize(description_size);
    answer_extension(device, call, status::success, description);
}

template <std::uint8_t Settings::*field> void set_by_function(Device& device, const Call& call)
{
    if (call.data().size() != one_value) return refuse_function(device, call);
    const bool done =
        device.change([value = call.data()[1]](Settings& settings) { settings.*field = value; });
    answer_extension(device, call, done ? status::success : status::bad_parameter);
}

void set_linkage(Device& device, const Call& call)
{
    if (call.data().size() != linkage_request_size || call.data()[1] >= linked_actions) {
        return refuse_function(device, call);
    }
    Fields fields(call.data(), 1);
    const std::uint8_t action = fields.byte();
    const auto linkage = fields.fixed<6>();
    device.change([&](Settings& settings) { settings.linkage[action] = linkage; });
    answer_extension(device, call, status::success);
}

void tell_linkage(Device& device, const Call& call)
{
    if (call.data().size() != one_value || call.data()[1] >= linked_actions) {
        return refuse_function(device, call);
    }
    Bytes results;
    give(results, device.config().linkage[call.data()[1]]);
    answer_extension(device, call, status::success, results);
}

}  // namespace

void add_extension_commands(CommandTable& table)
{
    table.add_extension(extension::module_description, describe_module);
    table.add_extension(extension::set_calibration_type, set_by_function<&Settings::calibration_type>);
    table.add_extension(extension::set_region_type, set_by_function<&Settings::region_type>);
    table.add_extension(extension::set_temperature_choice, set_by_function<&Settings::temperature_choice>);
    table.add_extension(extension::set_linkage, set_linkage);
    table.add_extension(extension::get_linkage, tell_linkage);
}

}  // namespace tagwire::sim
