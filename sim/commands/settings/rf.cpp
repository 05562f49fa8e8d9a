// Frequencies, power and antennas.
#include <algorithm>
#include <iterator>

#include "commands/codes.h"
#include "commands/settings/setting_fields.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t power_counts[] = {1, 2, 4, 8, 9, 12, 16, 64};
constexpr std::size_t most_ports_in_mask = 64;
constexpr std::size_t return_loss_size = 5;
constexpr std::size_t frequency_size = 4;
constexpr unsigned dwell_set_bit = 0x10;

void change_region(Device& device, const Call& call, const Region& region, std::optional<Lasting> lasting)
{
    if (!lasting) return refuse(device, call);
    change(
        device, call,
        [&region](Settings& settings) {
            settings.region = region;
            settings.region_is_set = true;
        },
        *lasting);
}

void set_region(Device& device, const Call& call)
{
    change_region(device, call, region_of(call.data()[0], call.data()[1]), Lasting::stored);
}

void set_region_of_band(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const auto lasting = lasting_of(fields.byte());
    Region region;
    region.band = fields.byte();
    region.highest = fields.byte();
    region.lowest = fields.byte();
    change_region(device, call, region, lasting);
}

void set_custom_region(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const auto lasting = lasting_of(fields.byte());
    Region region;
    region.band = fields.byte();
    region.spacing = fields.byte();
    region.channels = fields.byte();
    region.start = fields.fixed<3>();
    if (region.band != Region::custom) return refuse(device, call);
    change_region(device, call, region, lasting);
}

void tell_region(Device& device, const Call& call)
{
    const Region& region = device.config().region;
    Bytes data{region.band};
    if (region.band == Region::custom) {
        append(data, {region.spacing, region.channels});
        give(data, region.start);
    } else {
        append(data, {region.highest, region.lowest});
    }
    device.answer(call, status::success, data);
}

// One value is for all antennas, several are for the first ones. Values for antennas that are not there are
// left out.
void set_power(Device& device, const Call& call)
{
    const Bytes& powers = call.data();
    change(device, call, [&powers](Settings& settings) {
        if (powers.size() == 1) return settings.power.assign(settings.power.size(), powers[0]);
        const std::size_t count = std::min(powers.size(), settings.power.size());
        std::copy_n(powers.begin(), count, settings.power.begin());
    });
}

void tell_power(Device& device, const Call& call)
{
    device.answer(call, status::success, device.config().power);
}

void set_writing_power(Device& device, const Call& call)
{
    change(device, call, [power = call.data()[0]](Settings& settings) { settings.writing_power = power; });
}

void tell_writing_power(Device& device, const Call& call)
{
    const Settings& config = device.config();
    device.answer(call, status::success, {config.writing_power.value_or(config.power.front())});
}

void switch_carrier(Device& device, const Call& call)
{
    if (call.data()[0] > 1) return refuse(device, call);
    device.panel().set_carrier(call.data()[0] == 1);
    device.answer(call, status::success);
}

// High byte first; bit 0 of the last byte is port 1.
std::vector<unsigned> ports_in(const Bytes& mask)
{
    std::vector<unsigned> ports;
    for (unsigned bit = 0; bit < mask.size() * 8; ++bit) {
        if ((mask[mask.size() - 1 - bit / 8] >> (bit % 8)) & 1U) ports.push_back(bit + 1);
    }
    return ports;
}

Bytes mask_of(const std::vector<unsigned>& ports)
{
    Bytes mask(most_ports_in_mask / 8);
    for (const unsigned port : ports) {
        if (port > most_ports_in_mask) continue;
        std::uint8_t& byte = mask[mask.size() - 1 - (port - 1) / 8];
        byte = static_cast<std::uint8_t>(byte | 1U << ((port - 1) % 8));
    }
    return mask;
}

void change_antennas(Device& device, const Call& call, std::size_t mask_at, std::optional<Lasting> lasting)
{
    if (!lasting) return refuse(device, call);
    Fields fields(call.data(), mask_at);
    const auto ports = ports_in(fields.bytes(fields.left()));
    change(
        device, call, [&ports](Settings& settings) { settings.antennas = ports; }, *lasting);
}

void set_antennas(Device& device, const Call& call) { change_antennas(device, call, 0, Lasting::stored); }

void set_antennas_for(Device& device, const Call& call)
{
    change_antennas(device, call, 1, lasting_of(call.data()[0]));
}

void exchange_antennas(Device& device, const Call& call)
{
    if (call.data()[0] != 0) return change_antennas(device, call, 2, lasting_of(call.data()[1]));
    device.answer(call, status::success, mask_of(device.config().antennas));
}

void measure_return_loss(Device& device, const Call& call)
{
    const unsigned port = call.data()[frequency_size] + 1U;
    if (port > device.settings().antennas) return device.answer(call, status::antenna_missing);
    device.answer(call, status::success, {device.radio().return_loss(port)});
}

void set_dwell(Device& device, const Call& call)
{
    Fields fields(call.data(), 0);
    const std::uint8_t flag = fields.byte();
    const auto lasting = lasting_of(static_cast<std::uint8_t>(flag & ~dwell_set_bit));
    if ((flag & dwell_set_bit) == 0 || !lasting) return refuse(device, call);
    const std::uint8_t time = fields.byte();
    const std::uint8_t repeats = fields.byte();
    change(
        device, call,
        [=](Settings& settings) {
            settings.dwell_time = time;
            settings.dwell_repeats = repeats;
        },
        *lasting);
}

void tell_dwell(Device& device, const Call& call)
{
    if (call.data()[0] != 0) return refuse(device, call);
    tell<&Settings::dwell_time, &Settings::dwell_repeats>(device, call);
}

}  // namespace

void add_rf_commands(CommandTable& table)
{
    table.add(command::set_region, 2, set_region);
    table.add(command::set_region, 4, set_region_of_band);
    table.add(command::set_region, 7, set_custom_region);
    table.add(command::get_region, 0, tell_region);
    for (const std::size_t count : power_counts) table.add(command::set_power, count, set_power);
    table.add(command::get_power, 0, tell_power);
    table.add(command::set_writing_power, 1, set_writing_power);
    table.add(command::get_writing_power, 0, tell_writing_power);
    table.add(command::switch_carrier, 1, switch_carrier);
    table.add(command::set_antennas, 1, set_antennas);
    table.add(command::set_antennas, 3, set_antennas_for);
    table.add(command::set_antennas, 10, exchange_antennas);
    table.add(command::set_utc, 3, set_antennas_for);
    table.add(command::return_loss, return_loss_size, measure_return_loss);
    table.add(command::dwell, 3, set_dwell);
    table.add(command::dwell, 1, tell_dwell);
    add_exchange<&Settings::antenna_number>(table, command::antenna_number);
    add_store<&Settings::check_antenna>(table, command::set_antenna_check);
}

}  // namespace tagwire::sim
