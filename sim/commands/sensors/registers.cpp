// Sensor tags with a register file, a memory, a temperature log and an LED.
#include <algorithm>
#include <cmath>
#include <utility>

#include "commands/dispatch.h"
#include "commands/sensors/sensor_request.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t authentication_size = 1 + password_size;
constexpr std::size_t packet_data = 64;
constexpr std::size_t block_size = 4;   // of the memory in which a measurement is stored
constexpr std::uint8_t refused = 0xF9;  // of a read in packets
constexpr std::uint8_t password_code = 0xFF;

enum ModeBit : unsigned {
    mode_logging = 0x01,
    mode_no_sample = 0x02,
    mode_log_full = 0x04,
    mode_asleep = 0x08,
    mode_led = 0x10,
    mode_alarm = 0x20,
};

template <PrepareSensorAction prepare>
TagAnswer ask(Device& device, const Call& call, std::size_t own_size, std::size_t head = 0)
{
    return ask_sensor(device, call, parse_tag_request(call.data(), head, own_size), prepare);
}

// Behind every status stands the tag's error code.
void answer_with_code(Device& device, const Call& call, TagAnswer outcome)
{
    if (outcome.data.empty()) outcome.data.push_back(0);
    answer(device, call, outcome);
}

template <std::size_t own_size, PrepareSensorAction prepare>
void act_and_tell_code(Device& device, const Call& call)
{
    answer_with_code(device, call, ask<prepare>(device, call, own_size));
}

std::optional<SensorAction> prepare_renewal(Fields& own)
{
    return SensorAction{own.fixed<password_size>(), [](const SensorContact& contact) {
                            return change_sensor(contact, true,
                                                 [](Sensor& sensor) { sensor.renew_registers(); });
                        }};
}

std::optional<SensorAction> prepare_register_read(Fields& own)
{
    const std::uint16_t number = own.word();
    return SensorAction{own.fixed<password_size>(), [number](const SensorContact& contact) {
                            if (!contact.sensor.has_register(number))
                                return tag_refuses(TagError::no_such_memory);
                            return TagAnswer{status::success, contact.sensor.read_register(number)};
                        }};
}

std::optional<SensorAction> prepare_register_write(Fields& own)
{
    const std::uint16_t number = own.word();
    const Bytes word = own.bytes(2);
    return SensorAction{own.fixed<password_size>(), [number, word](const SensorContact& contact) {
                            return change_sensor(
                                contact, contact.sensor.has_register(number),
                                [&](Sensor& sensor) { sensor.write_register(number, word); });
                        }};
}

struct Authentication {
    bool given = false;
    Password password{};
};

std::optional<Authentication> take_authentication(Fields& own)
{
    const std::uint8_t type = own.byte();
    const auto password = own.fixed<password_size>();
    if (!is_flag(type)) return std::nullopt;
    return Authentication{type == 1, password};
}

std::optional<TagAnswer> refusal(const Sensor& sensor, const Authentication& authentication)
{
    const Password& password = sensor.settings().memory_password;
    if (password == Password{}) return std::nullopt;
    if (!authentication.given) return tag_refuses(TagError::privileges);
    if (authentication.password != password) return TagAnswer{status::wrong_password};
    return std::nullopt;
}

std::optional<SensorAction> prepare_memory_read(std::size_t address, std::size_t count, Fields& own)
{
    const auto password = own.fixed<password_size>();
    const auto authentication = take_authentication(own);
    if (!authentication || count == 0) return std::nullopt;
    return SensorAction{password, [=](const SensorContact& contact) -> TagAnswer {
                            if (const auto refused_by_tag = refusal(contact.sensor, *authentication))
                                return *refused_by_tag;
                            if (!contact.sensor.has_memory(address, count))
                                return tag_refuses(TagError::no_such_memory);
                            return {status::success, contact.sensor.read_memory(address, count)};
                        }};
}

std::optional<SensorAction> prepare_short_read(Fields& own)
{
    const std::uint16_t address = own.word();
    const std::uint8_t count = own.byte();
    if (count > longest_read) return std::nullopt;
    return prepare_memory_read(address, count, own);
}

std::optional<SensorAction> prepare_long_read(Fields& own)
{
    const std::uint16_t address = own.word();
    const std::uint16_t count = own.word();
    return prepare_memory_read(address, count, own);
}

std::optional<SensorAction> prepare_memory_write(Fields& own)
{
    const std::uint16_t address = own.word();
    const Bytes bytes = own.bytes(own.left() - password_size - authentication_size);
    const auto password = own.fixed<password_size>();
    const auto authentication = take_authentication(own);
    if (!authentication || bytes.empty()) return std::nullopt;
    return SensorAction{password, [=](const SensorContact& contact) -> TagAnswer {
                            if (const auto refused_by_tag = refusal(contact.sensor, *authentication))
                                return *refused_by_tag;
                            return change_sensor(
                                contact, contact.sensor.has_memory(address, bytes.size()),
                                [&](Sensor& sensor) { sensor.write_memory(address, bytes); });
                        }};
}

// The number of bytes stands before everything else.
void write_memory(Device& device, const Call& call)
{
    const std::size_t count = call.data().empty() ? 0 : call.data()[0];
    const std::size_t own_size = 2 + count + password_size + authentication_size;
    answer_with_code(device, call, ask<prepare_memory_write>(device, call, own_size, 1));
}

void send_packets(Device& device, const Call& call, const Bytes& bytes)
{
    std::uint64_t number = 0;
    for (std::size_t at = 0; at < bytes.size(); at += packet_data) {
        const std::size_t count = std::min(packet_data, bytes.size() - at);
        const bool last = at + count == bytes.size();
        Bytes data;
        append_number(data, number++, 2);
        data.push_back(static_cast<std::uint8_t>(count));
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        data.insert(data.end(), first, first + static_cast<std::ptrdiff_t>(count));
        device.answer(call, last ? status::inventory_done : status::more_follow, data);
    }
}

// A host waits for further packets behind the usual refusals of a tag.
void read_long_memory(Device& device, const Call& call)
{
    const TagAnswer outcome = ask<prepare_long_read>(device, call, 4 + password_size + authentication_size);
    switch (outcome.status) {
    case status::success: return send_packets(device, call, outcome.data);
    case status::wrong_password: return device.answer(call, refused, {password_code});
    case status::tag_error: return device.answer(call, refused, outcome.data);
    default: return answer(device, call, outcome);
    }
}

enum class Quantity : std::uint8_t { temperature = 0, voltage = 1 };

struct MeasureRequest {
    Quantity quantity = Quantity::temperature;
    bool latest = false;
    bool stores = false;
    std::size_t address = 0;
};

std::optional<MeasureRequest> take_measure_request(Fields& own)
{
    const std::uint8_t type = own.byte();
    const std::uint8_t result = own.byte();
    const std::uint8_t checks_field = own.byte();
    const std::uint8_t stores = own.byte();
    const std::size_t block = own.byte();
    if (!is_flag(type) || !is_flag(result) || !is_flag(checks_field) || !is_flag(stores)) return std::nullopt;
    return MeasureRequest{static_cast<Quantity>(type), result == 1, stores == 1, block * block_size};
}

Bytes measure(const SensorContact& contact, const MeasureRequest& request)
{
    if (request.quantity == Quantity::voltage) {
        Bytes millivolts;
        append_number(millivolts, contact.sensor.settings().voltage, 2);
        return millivolts;
    }
    const auto& latest = contact.sensor.state().latest;
    return hundredths(request.latest && latest ? latest->degrees : contact.measure().degrees);
}

std::optional<SensorAction> prepare_measure(Fields& own)
{
    const auto request = take_measure_request(own);
    if (!request) return std::nullopt;
    return SensorAction{own.fixed<password_size>(), [request](const SensorContact& contact) {
                            TagAnswer told{status::success, measure(contact, *request)};
                            if (!request->stores) return told;
                            const TagAnswer stored = change_sensor(
                                contact, contact.sensor.has_memory(request->address, told.data.size()),
                                [&](Sensor& sensor) { sensor.write_memory(request->address, told.data); });
                            return stored.status == status::success ? told : stored;
                        }};
}

std::optional<SensorAction> prepare_log(Fields& own)
{
    const unsigned delay = own.word();
    const unsigned step = own.word();
    if (step == 0) return std::nullopt;
    return SensorAction{own.fixed<password_size>(), [=](const SensorContact& contact) {
                            return change_sensor(contact, true,
                                                 [=](Sensor& sensor) { sensor.start_log(delay, step); });
                        }};
}

std::optional<SensorAction> prepare_log_stop(Fields& own)
{
    const auto password = own.fixed<password_size>();
    const auto stop_password = own.fixed<password_size>();
    return SensorAction{password, [stop_password](const SensorContact& contact) {
                            if (stop_password != contact.sensor.settings().stop_password)
                                return TagAnswer{status::wrong_password};
                            return change_sensor(contact, true, [](Sensor& sensor) { sensor.stop_log(); });
                        }};
}

Bytes mode_of(const SensorContact& contact)
{
    const SensorState& state = contact.sensor.state();
    unsigned mode = 0;
    if (state.logging) mode |= mode_logging;
    if (contact.sensor.awaits_first_sample()) mode |= mode_no_sample;
    if (state.log_is_full) mode |= mode_log_full;
    if (contact.tag.tag().state().asleep) mode |= mode_asleep;
    if (state.led) mode |= mode_led;
    if (state.alarm) mode |= mode_alarm;
    Bytes bytes;
    append_number(bytes, mode, 2);
    return bytes;
}

TagAnswer set_asleep(const SensorContact& contact, bool asleep)
{
    TagState state = contact.tag.tag().state();
    state.asleep = asleep;
    return contact.tag.change(state);
}

TagAnswer tell_mode(const SensorContact& contact, bool wakes)
{
    TagAnswer mode{status::success, mode_of(contact)};
    if (!wakes) return mode;
    const TagAnswer woken = set_asleep(contact, false);
    return woken.status == status::success ? mode : woken;
}

// A tag that sleeps hears the command when it is to wake it.
void check_mode(Device& device, const Call& call)
{
    const auto request = parse_tag_request(call.data(), 0, 1 + password_size);
    if (!request || !is_flag(request->own[0])) return device.answer(call, status::bad_parameter);
    const bool wakes = request->own[0] == 1;
    const auto fits = [&](const Tag& tag) {
        if (!tag.sensor() || !request->tag.fits(tag)) return false;
        return tag.state().replies() || (wakes && !tag.state().silent);
    };
    answer(device, call,
           ask_sensor(device, call.now, fits,
                      {Fields(request->own, 1).fixed<password_size>(),
                       [wakes](const SensorContact& contact) { return tell_mode(contact, wakes); }}));
}

std::optional<SensorAction> prepare_led(Fields& own)
{
    const std::uint8_t control = own.byte();
    if (!is_flag(control)) return std::nullopt;
    return SensorAction{own.fixed<password_size>(), [control](const SensorContact& contact) {
                            if (control == 1)
                                contact.sensor.switch_led_on(1);
                            else
                                contact.sensor.switch_led_off();
                            return TagAnswer{};
                        }};
}

std::optional<SensorAction> prepare_sleep(Fields& own)
{
    return SensorAction{own.fixed<password_size>(),
                        [](const SensorContact& contact) { return set_asleep(contact, true); }};
}

}  // namespace

void add_register_commands(CommandTable& table)
{
    table[command::renew_registers] = act_on_sensor<password_size, prepare_renewal>;
    table[command::read_register] = act_on_sensor<2 + password_size, prepare_register_read>;
    table[command::write_register] = act_and_tell_code<4 + password_size, prepare_register_write>;
    table[command::read_sensor_memory] =
        act_on_sensor<3 + password_size + authentication_size, prepare_short_read>;
    table[command::write_sensor_memory] = write_memory;
    table[command::measure] = act_on_sensor<5 + password_size, prepare_measure>;
    table[command::start_log] = act_and_tell_code<4 + password_size, prepare_log>;
    table[command::stop_log] = act_on_sensor<2 * password_size, prepare_log_stop>;
    table[command::check_mode] = check_mode;
    table[command::switch_led] = act_on_sensor<1 + password_size, prepare_led>;
    table[command::deep_sleep] = act_on_sensor<password_size, prepare_sleep>;
    table[command::read_long_memory] = read_long_memory;
}

}  // namespace tagwire::sim
