#include "device/settings.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

namespace tagwire::sim {

namespace {

constexpr std::size_t fewest_powers = 4;
constexpr std::uint8_t highest_power = 33;

struct Range {
    std::uint8_t Settings::*field;
    std::uint8_t highest;
};

// Fields that are not here take every value.
constexpr Range ranges[] = {
    {&Settings::address, 0xFE},
    {&Settings::heartbeat_time, 0x7F},
    {&Settings::power_mode, 3},
    {&Settings::retries, 0x7F},
    {&Settings::q, 15},
    {&Settings::protocol, 3},
    {&Settings::tag_function, 0x7F},
    {&Settings::dense_reader_mode, 1},
    {&Settings::check_antenna, 1},
    {&Settings::antenna_number, 127},
    {&Settings::work_mode, 2},
    {&Settings::tag_protocol, 3},
    {&Settings::mask_bank, 3},
    {&Settings::tid_words, 31},
    {&Settings::beep, 1},
    {&Settings::pulse_output, 0x0F},
};

constexpr std::pair<std::uint8_t, unsigned> speeds[] = {
    {0, 9600}, {1, 19200}, {2, 38400}, {5, 57600}, {6, 115200}, {7, 921600},
};

bool is_session(std::uint8_t session) { return session <= 3 || session == automatic_session; }

bool are_powers(const std::vector<std::uint8_t>& powers)
{
    return std::all_of(powers.begin(), powers.end(), [](auto power) { return power <= highest_power; });
}

bool are_ports(const std::vector<unsigned>& ports, unsigned highest)
{
    return !ports.empty() && std::all_of(ports.begin(), ports.end(),
                                         [highest](unsigned port) { return port >= 1 && port <= highest; });
}

}  // namespace

Settings factory_settings(const ReaderSettings& reader)
{
    Settings settings;
    settings.address = reader.address;
    settings.baud = reader.baud;
    settings.serial = reader.serial;
    settings.scan_time = reader.scan_time;
    settings.region = region_of(reader.max_frequency, reader.min_frequency);
    settings.power.assign(std::max<std::size_t>(reader.antennas, fewest_powers), reader.power);
    settings.antennas = reader.enabled_antennas;
    if (settings.antennas.empty()) {
        settings.antennas.resize(reader.antennas);
        std::iota(settings.antennas.begin(), settings.antennas.end(), 1U);
    }
    settings.antenna_number = static_cast<std::uint8_t>(reader.antennas);
    settings.check_antenna = reader.check_antenna;
    settings.beep = reader.beep;
    settings.pulse_output = reader.output;
    return settings;
}

bool may_change(const Settings& before, const Settings& after, const ReaderSettings& reader)
{
    const auto fits = [&](const Range& range) {
        return after.*range.field <= range.highest || after.*range.field == before.*range.field;
    };
    if (!std::all_of(std::begin(ranges), std::end(ranges), fits)) return false;
    if (after.baud != before.baud && speed_of_baud(after.baud) == 0) return false;
    if (!is_session(after.session)) return false;
    if (after.power != before.power && !are_powers(after.power)) return false;
    if (after.writing_power.value_or(0) > highest_power) return false;
    if (after.region_is_set && !is_known(after.region)) return false;
    return are_ports(after.antennas, reader.antennas);
}

unsigned speed_of_baud(std::uint8_t code)
{
    for (const auto& [known, speed] : speeds) {
        if (known == code) return speed;
    }
    return 0;
}

std::optional<std::uint8_t> baud_of_speed(unsigned bits_a_second)
{
    for (const auto& [code, speed] : speeds) {
        if (speed == bits_a_second) return code;
    }
    return std::nullopt;
}

}  // namespace tagwire::sim
