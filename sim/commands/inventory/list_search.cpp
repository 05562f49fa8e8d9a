// The search for listed tags: loading the list, and inventories that report only tags of the list.
#include <set>
#include <utility>

#include "commands/codes.h"
#include "commands/dispatch.h"
#include "commands/fields.h"
#include "commands/inventory/inventory_job.h"

namespace tagwire::sim {

namespace {

constexpr std::uint8_t sub_command = extension::load_list;
constexpr std::size_t list_header_size = 3;
constexpr std::uint8_t add_to_list = 1;
constexpr unsigned most_in_request = 30;
constexpr std::size_t most_in_list = 255;
constexpr std::size_t search_size = 4;
constexpr unsigned ports_in_mask = 16;

// Entries of a length byte and so many bytes; as many as the request says and nothing behind them.
std::optional<std::set<Bytes>> parse_entries(Fields& fields, unsigned count)
{
    std::set<Bytes> entries;
    for (unsigned i = 0; i < count; ++i) {
        if (fields.left() == 0) return std::nullopt;
        const std::size_t size = fields.byte();
        if (size > fields.left()) return std::nullopt;
        entries.insert(fields.bytes(size));
    }
    if (fields.left() > 0) return std::nullopt;
    return entries;
}

void load_list(Device& device, const Call& call)
{
    const auto refuse = [&] { device.answer(call, status::bad_parameter); };
    if (call.data().size() < list_header_size) return refuse();
    Fields fields(call.data(), 1);
    const std::uint8_t option = fields.byte();
    const std::uint8_t count = fields.byte();
    if (option > add_to_list || count > most_in_request) return refuse();
    auto list = parse_entries(fields, count);
    if (!list) return refuse();
    std::set<Bytes>& wanted = device.store().wanted;
    if (option == add_to_list) list->insert(wanted.begin(), wanted.end());
    if (list->size() > most_in_list) return refuse();
    wanted = std::move(*list);
    device.answer(call, status::success);
}

// All frames of a search have the sub-command, an antenna byte and a count, those without records as well.
void refuse_search(Device& device, const Call& call, std::uint8_t status)
{
    device.answer(call, status, {sub_command, 0, 0});
}

// Bit 0 is the first port; none stands for all that are enabled.
std::vector<unsigned> ports_of(const Device& device, std::uint16_t mask)
{
    if (mask == 0) return device.enabled_antennas();
    std::vector<unsigned> ports;
    for (unsigned bit = 0; bit < ports_in_mask; ++bit) {
        if ((mask >> bit) & 1U) ports.push_back(bit + 1);
    }
    return ports;
}

void find_by_list(Device& device, const Call& call)
{
    if (call.data().size() != search_size || call.data()[0] != sub_command) {
        return refuse_search(device, call, status::bad_parameter);
    }
    Fields fields(call.data(), 1);
    InventoryRule rule = own_rule(device);
    rule.q = fields.byte() & 0x0FU;
    rule.antennas = ports_of(device, fields.word());
    if (!has_antennas(device, rule.antennas)) {
        return refuse_search(device, call, status::antenna_missing);
    }
    const auto describe_listed = [&device](const Sighting& sighting) -> std::vector<Bytes> {
        if (device.store().wanted.count(sighting.tag->epc()) == 0) return {};
        return describe_epc(sighting);
    };
    run_inventory(device, call, std::move(rule), describe_listed, {sub_command});
}

}  // namespace

void add_list_search_commands(CommandTable& table)
{
    table.add_extension(extension::load_list, load_list);
    table[command::find_by_list] = find_by_list;
}

}  // namespace tagwire::sim
