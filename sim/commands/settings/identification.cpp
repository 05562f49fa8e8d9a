// LEDs, alarms and SPI peripherals of sensor tags, and the identification of tags.
#include <utility>

#include "commands/dispatch.h"
#include "commands/sensors/sensor_request.h"
#include "device/records.h"

namespace tagwire::sim {

namespace {

constexpr Time carrier_unit = std::chrono::milliseconds(100);
constexpr std::uint8_t lit = 1;  // the only mode of LEDs that know no other
constexpr std::size_t spi_fields = 4;
constexpr std::size_t told_tid = 12;
constexpr std::size_t token_size = 8;
constexpr std::size_t refusal_size = 10;  // bytes of the second step's results

TagAnswer light_led(const SensorContact& contact, std::uint8_t mode, std::uint8_t carrier)
{
    const std::uint8_t units = carrier > 0 ? carrier : contact.device.config().carrier_time;
    if (mode == 0)
        contact.sensor.switch_led_off();
    else
        contact.sensor.switch_led_on(mode, carrier_unit * units);
    return {};
}

template <bool has_mode> std::optional<SensorAction> prepare_led(Fields& own)
{
    std::uint8_t mode = lit;
    if (has_mode) mode = own.byte();
    const std::uint8_t carrier = own.byte();
    return SensorAction{own.fixed<password_size>(), [mode, carrier](const SensorContact& contact) {
                            return light_led(contact, mode, carrier);
                        }};
}

std::optional<SensorAction> prepare_spi(Fields& own)
{
    const std::uint8_t size = own.byte();
    own.bytes(spi_fields - 1);
    const Bytes sent = own.bytes(own.left() - password_size);
    if (size > longest_read) return std::nullopt;
    return SensorAction{own.fixed<password_size>(), [size, sent](const SensorContact& contact) {
                            return TagAnswer{status::success, contact.sensor.exchange_spi(sent, size)};
                        }};
}

// The number of bytes sent stands before everything else.
void exchange_spi(Device& device, const Call& call)
{
    const std::size_t sent = call.data().empty() ? 0 : call.data()[0];
    const auto request = parse_tag_request(call.data(), 1, spi_fields + sent + password_size);
    answer(device, call, ask_sensor(device, call, request, prepare_spi));
}

std::optional<SensorAction> prepare_alarm_reset(Fields& own)
{
    return SensorAction{own.fixed<password_size>(), [](const SensorContact& contact) {
                            return change_sensor(contact, true,
                                                 [](Sensor& sensor) { sensor.set_alarm(false); });
                        }};
}

void set_carrier_time(Device& device, const Call& call)
{
    const std::uint8_t time = call.data()[0];
    device.change([time](Settings& settings) { settings.carrier_time = time; });
    device.answer(call, status::success, {time});
}

Bytes describe_identity(Device& device, const Tag& tag, unsigned port, Time now)
{
    const Sighting sighting = sight(device, tag, port, now);
    const auto key = tag.sensor() ? tag.sensor()->settings().key_index : std::array<std::uint8_t, 2>{};
    Bytes tid = tag.bank(Bank::tid);
    tid.resize(told_tid);
    Bytes data{device.antenna_byte(sighting.antenna), static_cast<std::uint8_t>(tag.epc().size())};
    append(data, tag.epc());
    append(data, {sighting.rssi, key[0], key[1]});
    append(data, tid);
    return data;
}

void identify_tag(Device& device, const Call& call)
{
    const auto request = parse_named_request(call.data(), 0);
    if (!request) return device.answer(call, status::bad_parameter);
    act_on_tag(
        device, call, is_meant(request->tag),
        {{}, [&device, now = call.now](TagAccess& access) {
             return TagAnswer{status::success, describe_identity(device, access.tag(), access.port(), now)};
         }});
}

std::uint8_t any_byte(Device& device) { return static_cast<std::uint8_t>(device.random().below(256)); }

void begin_identification(Device& device, const Call& call)
{
    auto& token = device.services().identification.emplace();
    for (std::uint8_t& byte : token) byte = any_byte(device);
    device.answer(call, status::success, Bytes(token.begin(), token.end()));
}

void end_identification(Device& device, const Call& call)
{
    const auto token = std::exchange(device.services().identification, std::nullopt);
    if (!token) return device.answer(call, status::out_of_order, Bytes(refusal_size));
    Bytes data = call.data();
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(data[i] ^ (*token)[i % token->size()]);
    }
    for (int i = 0; i < 2; ++i) data.push_back(any_byte(device));
    device.answer(call, status::success, data);
}

}  // namespace

void add_identification_commands(CommandTable& table)
{
    table[command::switch_protocol] = act_on_sensor<2 + password_size, prepare_led<true>>;
    table[command::light_led] = act_on_sensor<1 + password_size, prepare_led<false>>;
    table[command::light_other_led] = act_on_sensor<1 + password_size, prepare_led<false>>;
    table[command::get_f_time] = exchange_spi;
    table[command::reset_alarm] = act_on_sensor<password_size, prepare_alarm_reset>;
    table.add(command::store_settings, 1, set_carrier_time);
    table[command::identify_tag] = identify_tag;
    table.add(command::set_q_and_session, 0, begin_identification);
    table.add(command::get_q_and_session, token_size, end_identification);
}

}  // namespace tagwire::sim
