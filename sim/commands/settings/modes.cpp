// Work modes, the parameters of reading without being asked, and numbered parameters.
#include <algorithm>

#include "commands/codes.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t parameter_size = 5;
constexpr std::size_t tid_size = 2;
constexpr std::size_t numbered_head = 2;

struct Parts {
    bool mask = false;
    bool tid = false;
};

std::optional<Parts> parts_of_read_parameters(const Bytes& data)
{
    if (data.size() == parameter_size) return Parts{};
    if (data.size() == parameter_size + tid_size) return Parts{false, true};
    const auto mask = mask_size(data, parameter_size);
    if (!mask) return std::nullopt;
    if (data.size() == parameter_size + *mask) return Parts{true, false};
    if (data.size() == parameter_size + *mask + tid_size) return Parts{true, true};
    return std::nullopt;
}

void take_mask(Fields& fields, Settings& settings)
{
    settings.mask_bank = fields.byte();
    settings.mask_address = fields.fixed<2>();
    settings.mask_bits = fields.byte();
    const Bytes bits = fields.bytes(bytes_for(settings.mask_bits));
    settings.mask = {};
    std::copy(bits.begin(), bits.end(), settings.mask.begin());
}

void set_mask(Device& device, const Call& call)
{
    if (mask_size(call.data(), 0) != call.data().size()) return refuse(device, call);
    change(device, call, [&call](Settings& settings) {
        Fields fields(call.data(), 0);
        take_mask(fields, settings);
    });
}

// What the request leaves out is switched off.
void take_read_parameters(const Bytes& data, const Parts& parts, Settings& settings)
{
    Fields fields(data, 0);
    settings.tag_protocol = fields.byte();
    settings.interval = fields.byte();
    settings.filter_time = fields.byte();
    settings.q = fields.byte();
    settings.session = fields.byte();
    settings.mask_bits = 0;
    settings.tid_words = 0;
    if (parts.mask) take_mask(fields, settings);
    if (!parts.tid) return;
    settings.tid_address = fields.byte();
    settings.tid_words = fields.byte();
}

void set_read_parameters(Device& device, const Call& call)
{
    const auto parts = parts_of_read_parameters(call.data());
    if (!parts) return refuse(device, call);
    change(device, call, [&](Settings& settings) { take_read_parameters(call.data(), *parts, settings); });
}

void tell_read_parameters(Device& device, const Call& call)
{
    const Settings& config = device.config();
    Bytes data;
    for (const std::uint8_t field : {config.work_mode, config.tag_protocol, config.interval,
                                     config.filter_time, config.q, config.session, config.mask_bank,
                                     config.mask_address[0], config.mask_address[1], config.mask_bits}) {
        give(data, field);
    }
    for (std::size_t i = 0; i < bytes_for(config.mask_bits); ++i) give(data, config.mask[i]);
    give(data, config.tid_address);
    give(data, config.tid_words);
    device.answer(call, status::success, data);
}

void set_numbered(Device& device, const Call& call)
{
    if (call.data().size() < numbered_head) return refuse(device, call);
    Fields fields(call.data(), 0);
    const auto lasting = lasting_of(fields.byte());
    if (!lasting) return refuse(device, call);
    const std::uint8_t number = fields.byte();
    const Bytes value = fields.bytes(fields.left());
    change(
        device, call, [&](Settings& settings) { settings.numbered[number] = value; }, *lasting);
}

void tell_numbered(Device& device, const Call& call)
{
    const auto& numbered = device.config().numbered;
    const auto found = numbered.find(call.data()[0]);
    device.answer(call, status::success, found == numbered.end() ? Bytes{} : found->second);
}

}  // namespace

void add_mode_commands(CommandTable& table)
{
    using S = Settings;
    table[command::set_active_mask] = set_mask;
    table[command::set_read_parameters] = set_read_parameters;
    table.add(command::get_read_parameters, 0, tell_read_parameters);
    table[command::set_numbered] = set_numbered;
    table.add(command::get_numbered, 1, tell_numbered);
    add_store<&S::work_mode>(table, command::set_work_mode);
    add_store<&S::work_mode>(table, command::set_read_mode);
    add_tell<&S::work_mode, &S::eas_accuracy, &S::report_condition, &S::report_pause, &S::interval,
             &S::tag_protocol, &S::mask_bank, &S::mask_address, &S::mask_bits, &S::mask, &S::trigger_time,
             &S::tid_address, &S::tid_words>(table, command::get_system_parameters);
    add_store<&S::eas_accuracy>(table, command::set_eas_accuracy);
    add_store<&S::report_condition, &S::report_pause>(table, command::set_report_condition);
    add_store<&S::interval>(table, command::set_interval);
    add_store<&S::tag_protocol>(table, command::set_tag_protocol);
    add_store<&S::trigger_time>(table, command::set_trigger_time);
    add_store<&S::tid_address, &S::tid_words>(table, command::set_tid_range);
}

}  // namespace tagwire::sim
