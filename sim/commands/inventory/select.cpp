// The select filter of the reader.
#include <algorithm>
#include <optional>

#include "commands/codes.h"
#include "commands/tags/tag_request.h"

namespace tagwire::sim {

namespace {

constexpr std::size_t rule_head = 2;  // session and action, before the mask
constexpr std::size_t byte_field = 1;
constexpr std::size_t word_field = 2;
constexpr std::size_t wide_field = 8;
constexpr unsigned ports_of_byte = 8;
constexpr unsigned ports_of_word = 16;

struct SelectRequest {
    Bytes antennas;  // as it stands in the frame
    Select select;
};

// The request read with an antenna field of that size, `extra` bytes behind the truncate byte; nothing when
// it does not fit.
std::optional<SelectRequest> parse(const Bytes& data, std::size_t field, std::size_t extra)
{
    const auto mask = mask_size(data, field + rule_head);
    if (!mask || data.size() != field + rule_head + *mask + 1 + extra) return std::nullopt;
    Fields fields(data, 0);
    SelectRequest request;
    request.antennas = fields.bytes(field);
    request.select.target = fields.byte();
    request.select.action = fields.byte();
    const auto bits = take_mask_field(fields);
    const std::uint8_t truncate = fields.byte();
    if (!bits || truncate > 1 || request.select.target > Select::sl_target ||
        request.select.action > Select::last_action)
        return std::nullopt;
    request.select.mask = *bits;
    request.select.truncate = truncate == 1;
    return request;
}

std::vector<unsigned> all_ports(const Device& device)
{
    std::vector<unsigned> ports(device.settings().antennas);
    std::generate(ports.begin(), ports.end(), [port = 0U]() mutable { return ++port; });
    return ports;
}

// The ports whose bits are set, port 1 being the lowest bit of the last byte; all of them when none is.
std::vector<unsigned> ports_in(const Device& device, const Bytes& field)
{
    std::vector<unsigned> ports = all_ports(device);
    if (std::all_of(field.begin(), field.end(), [](std::uint8_t byte) { return byte == 0; })) return ports;
    std::erase_if(ports, [&field](unsigned port) {
        const std::size_t byte = (port - 1) / 8;
        if (byte >= field.size()) return true;
        return ((field[field.size() - 1 - byte] >> ((port - 1) % 8)) & 1U) == 0;
    });
    return ports;
}

// One byte names an antenna as the reader's frames do.
std::vector<unsigned> port_named(const Device& device, std::uint8_t antenna)
{
    if (antenna == 0 || device.settings().antenna_byte == AntennaByte::mask)
        return ports_in(device, {antenna});
    if (antenna > device.settings().antennas) return {};
    return {antenna};
}

// Without mask bits the tags there all match once more, then the filter is gone.
bool set_filter(Device& device, Time now, const std::vector<unsigned>& ports, const Select& select)
{
    Population& field = device.field();
    if (select.mask.bit_count > 0) return field.selection().add(ports, select);
    field.selection().clear(ports);
    for (const unsigned port : ports) field.apply(select, port, now, device.settings());
    return true;
}

void select_at(Device& device, const Call& call, const std::vector<unsigned>& ports, const Select& select)
{
    if (ports.empty()) return device.answer(call, status::antenna_missing);
    const bool done = set_filter(device, call.now, ports, select);
    device.answer(call, done ? status::success : status::bad_parameter);
}

// A byte more is the time that the carrier stays on, which has no effect.
void select_at_antenna(Device& device, const Call& call)
{
    auto request = parse(call.data(), byte_field, 0);
    if (!request) request = parse(call.data(), byte_field, 1);
    if (!request) return device.answer(call, status::bad_parameter);
    select_at(device, call, port_named(device, request->antennas[0]), request->select);
}

std::size_t usual_field(const Device& device)
{
    const unsigned antennas = device.settings().antennas;
    if (antennas <= ports_of_byte) return byte_field;
    return antennas <= ports_of_word ? word_field : wide_field;
}

// Where a request fits several sizes of the antenna field, the one that the reader's ports need counts.
void select_at_antennas(Device& device, const Call& call)
{
    auto request = parse(call.data(), usual_field(device), 0);
    for (const std::size_t field : {byte_field, word_field, wide_field}) {
        if (!request) request = parse(call.data(), field, 0);
    }
    if (!request) return device.answer(call, status::bad_parameter);
    select_at(device, call, ports_in(device, request->antennas), request->select);
}

}  // namespace

void add_select_commands(CommandTable& table)
{
    table[command::select] = select_at_antenna;
    table[command::select_by_antennas] = select_at_antennas;
}

}  // namespace tagwire::sim
