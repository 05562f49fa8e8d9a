// The temperatures of sensor tags, one by one and in inventories.
#include <utility>

#include "commands/dispatch.h"
#include "commands/inventory/inventory_job.h"
#include "commands/sensors/sensor_request.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t plain_size = 2;  // start word and waiting time
constexpr std::size_t time_size = 6;
constexpr std::size_t read_back_size = 2;
constexpr std::size_t longest_uid = 12;
constexpr std::size_t inventory_size = 8;
constexpr std::uint32_t epc_bit = 32;  // of the EPC bank
constexpr std::uint8_t last_target = 4;
constexpr std::uint8_t last_action = 7;
constexpr Time wait_unit = std::chrono::milliseconds(1);

TagAnswer with_words(const SensorContact& contact, Bytes sense, const std::optional<Words>& words)
{
    if (!words) return {status::success, std::move(sense)};
    TagAnswer answer = contact.tag.read(*words);
    if (answer.status != status::success) return answer;
    append(sense, answer.data);
    return {status::success, std::move(sense)};
}

// A measurement, with a time for the tag in front of the words to be read back, or without.
template <std::size_t own_time_size> std::optional<SensorAction> prepare_measurement(Fields& own)
{
    own.bytes(plain_size);
    const Bytes time = own.bytes(own_time_size);
    std::optional<Words> words;
    if (own.left() > 0) {
        const std::uint8_t first = own.byte();
        words = Words{Bank::user, first, own.byte()};
        constexpr std::size_t room = longest_answer_data - std::tuple_size_v<SenseWord>;
        if (words->count == 0 || words->count * 2 > room) return std::nullopt;
    }
    return SensorAction{{}, [time, words](const SensorContact& contact) {
                            if (!time.empty()) contact.sensor.set_time(Fields(time, 0).fixed<time_size>());
                            const Measurement measured = contact.measure();
                            return with_words(contact, contact.sensor.sense_word(measured.degrees), words);
                        }};
}

template <std::size_t own_time_size> void measure(Device& device, const Call& call)
{
    constexpr std::size_t short_size = plain_size + own_time_size;
    auto request = parse_named_request(call.data(), short_size);
    if (!request) request = parse_named_request(call.data(), short_size + read_back_size);
    answer(device, call, ask_sensor(device, call, request, prepare_measurement<own_time_size>));
}

Bytes uid_of(const Tag& tag)
{
    Bytes uid = tag.bank(Bank::tid);
    if (uid.size() > longest_uid) uid.resize(longest_uid);
    return uid;
}

std::optional<SensorAction> prepare_sample(Fields& own)
{
    const std::uint8_t with_uid = own.byte();
    const std::uint8_t anew = own.byte();
    if (!is_flag(with_uid) || !is_flag(anew)) return std::nullopt;
    return SensorAction{own.fixed<password_size>(), [=](const SensorContact& contact) {
                            const auto& latest = contact.sensor.state().latest;
                            const Measurement sample = anew == 0 && latest ? *latest : contact.measure();
                            Bytes data = with_uid == 1 ? uid_of(contact.tag.tag()) : Bytes();
                            append(data, contact.sensor.sense_word(sample.degrees));
                            append_number(data, static_cast<std::uint64_t>(sample.utc), 4);
                            return TagAnswer{status::success, std::move(data)};
                        }};
}

TagAnswer tell_degrees(const SensorContact& contact)
{
    return {status::success, hundredths(contact.measure().degrees)};
}

std::optional<SensorAction> prepare_degrees(Fields& own)
{
    return SensorAction{own.fixed<password_size>(), tell_degrees};
}

std::optional<SensorAction> prepare_open_degrees(Fields&) { return SensorAction{{}, tell_degrees}; }

void tell_degrees_of_epc(Device& device, const Call& call)
{
    answer(device, call, ask_sensor(device, call, parse_named_request(call.data(), 0), prepare_open_degrees));
}

// What stands behind the EPC in a record.
using DescribeSensor = Bytes (*)(const Sensor& sensor);

Bytes sense_and_calibration(const Sensor& sensor)
{
    const Calibration& calibration = sensor.settings().calibration;
    Bytes bytes = sensor.sense_word(sensor.state().temperature);
    bytes.insert(bytes.end(), calibration.begin(), calibration.end());
    return bytes;
}

Bytes degrees(const Sensor& sensor) { return hundredths(sensor.state().temperature); }

template <DescribeSensor describe_sensor> std::vector<Bytes> describe(const Sighting& sighting)
{
    const Sensor* const sensor = sighting.tag->sensor();
    if (!sensor) return {};
    Bytes id = sighting.tag->epc();
    append(id, describe_sensor(*sensor));
    if (id.size() > longest_plain_id) return {};
    return {plain_record(sighting, id)};
}

struct SenseInventory {
    InventoryRequest inventory;
    std::uint8_t wait = 0;
};

std::optional<SenseInventory> parse_sense_inventory(const Bytes& data)
{
    const auto request = parse_named_request(data, inventory_size);
    if (!request) return std::nullopt;
    SenseInventory sense;
    const Bytes& epc = request->tag.epc;
    const auto bits = static_cast<std::uint32_t>(epc.size() * 8);
    if (bits > 0) sense.inventory.mask = Mask{Bank::epc, epc_bit, bits, epc};
    Fields own(request->own, 0);
    const std::uint8_t target = own.byte();
    const std::uint8_t action = own.byte();
    sense.wait = own.byte();
    sense.inventory.q = own.byte() & 0x0FU;
    sense.inventory.session = own.byte();
    FastTail& fast = sense.inventory.fast.emplace();
    fast.target = own.byte();
    fast.antenna = own.byte();
    fast.scan_time = own.byte();
    const bool good = target <= last_target && action <= last_action && sense.inventory.session <= 3;
    if (!good || !is_flag(fast.target)) return std::nullopt;
    return sense;
}

void inventory_senses(Device& device, const Call& call)
{
    const auto request = parse_sense_inventory(call.data());
    if (!request) return device.answer(call, status::bad_parameter);
    InventoryRule rule = make_rule(device, request->inventory);
    rule.extra_air_per_tag += wait_unit * request->wait;
    run_inventory(device, call, std::move(rule), describe<sense_and_calibration>);
}

void inventory_degrees(Device& device, const Call& call)
{
    const auto request = parse_masked_inventory(call.data());
    if (!request) return device.answer(call, status::bad_parameter);
    run_inventory(device, call, make_rule(device, *request), describe<degrees>);
}

}  // namespace

void add_temperature_commands(CommandTable& table)
{
    table[command::measure_temperature] = measure<0>;
    table[command::measure_temperature_at] = measure<time_size>;
    table[command::set_f_time] = act_on_sensor<2 + password_size, prepare_sample>;
    table[command::tell_temperature_of_epc] = tell_degrees_of_epc;
    table[command::tell_temperature] = act_on_sensor<password_size, prepare_degrees>;
    table[command::tell_other_temperature] = act_on_sensor<password_size, prepare_degrees>;
    table[command::sense_inventory] = inventory_senses;
    table[command::set_family_parameters] = inventory_senses;
    table[command::get_family_parameters] = inventory_degrees;
}

}  // namespace tagwire::sim
