#include "device_calls.h"

#include "tagwire/io.h"
#include "tagwire/modes.h"
#include "tagwire/result.h"
#include "tagwire/rf.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "errors.h"

namespace tagwire::tool {

namespace {

// As many powers as the library sends at once.
constexpr std::array<std::size_t, 8> power_counts{1, 2, 4, 8, 9, 12, 16, 64};
constexpr std::size_t most_powers = 250;

std::uint8_t byte_of(std::uint64_t number, unsigned lowest_bit)
{
    return static_cast<std::uint8_t>(number >> lowest_bit);
}

int read_antenna_powers(const ReaderConnection& reader, std::vector<std::uint8_t>& powers)
{
    auto address = reader.address();
    powers.assign(most_powers, 0);
    int count = 0;
    const int code = GetAntennaPower(&address, powers.data(), &count, reader.handle());
    powers.resize(static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(most_powers))));
    return code;
}

int read_custom_plan(const ReaderConnection& reader, FrequencyPlan& plan)
{
    auto address = reader.address();
    std::uint8_t spacing = 0;
    std::array<std::uint8_t, 3> first{};
    const int code = GetCustomRegion(&address, &spacing, &plan.channels, first.data(), reader.handle());
    plan.spacing_khz = spacing * spacing_unit_khz;
    plan.first_khz = std::uint32_t{first[0]} << 16U | std::uint32_t{first[1]} << 8U | first[2];
    return code;
}

int set_custom_plan(const ReaderConnection& reader, const FrequencyPlan& plan, Lasting lasting)
{
    auto address = reader.address();
    std::array<std::uint8_t, 3> first{byte_of(plan.first_khz, 16), byte_of(plan.first_khz, 8),
                                      byte_of(plan.first_khz, 0)};
    return SetCustomRegion(&address, static_cast<std::uint8_t>(lasting),
                           static_cast<std::uint8_t>(plan.spacing_khz / spacing_unit_khz), plan.channels,
                           first.data(), reader.handle());
}

}  // namespace

// -- power

int read_powers(const ReaderConnection& reader, Powers& powers)
{
    const int code = read_antenna_powers(reader, powers.antennas);
    if (code != TAGWIRE_OK) return code;
    auto address = reader.address();
    std::uint8_t writing = 0;
    if (ReadRfPower(&address, &writing, reader.handle()) == TAGWIRE_OK) powers.writing = writing;
    return code;
}

int set_all_powers(const ReaderConnection& reader, std::uint8_t dbm)
{
    auto address = reader.address();
    return SetRfPower(&address, dbm, reader.handle());
}

std::vector<std::uint8_t> sendable_powers(std::vector<std::uint8_t> powers)
{
    const auto* const count = std::lower_bound(power_counts.begin(), power_counts.end(), powers.size());
    if (count != power_counts.end() && !powers.empty()) powers.resize(*count, powers.back());
    return powers;
}

int set_powers(const ReaderConnection& reader, std::uint8_t dbm, PortBits ports)
{
    std::vector<std::uint8_t> powers;
    const int code = read_antenna_powers(reader, powers);
    if (code != TAGWIRE_OK) return code;
    for (const auto port : port_list(ports)) {
        if (port > powers.size()) {
            throw Failure(fmt::format("the reader tells the power of {} antennas: there is no antenna {}",
                                      powers.size(), port));
        }
        powers[port - 1] = dbm;
    }
    auto sent = sendable_powers(powers);
    auto address = reader.address();
    return SetAntennaPower(&address, sent.data(), static_cast<int>(sent.size()), reader.handle());
}

int set_write_power(const ReaderConnection& reader, std::uint8_t dbm)
{
    auto address = reader.address();
    return WriteRfPower(&address, dbm, reader.handle());
}

// -- region

unsigned FrequencyPlan::channel_count() const
{
    if (is_custom()) return channels;
    return highest_channel < lowest_channel ? 0U : highest_channel - lowest_channel + 1U;
}

std::optional<std::uint32_t> FrequencyPlan::khz(unsigned channel) const
{
    if (is_custom()) return first_khz + channel * spacing_khz;
    const auto* const known = find_band(band);
    return known != nullptr ? std::optional(known->khz(channel)) : std::nullopt;
}

std::optional<std::uint32_t> FrequencyPlan::lowest_khz() const
{
    return khz(is_custom() ? 0 : lowest_channel);
}

std::optional<std::uint32_t> FrequencyPlan::highest_khz() const
{
    return khz(is_custom() ? std::max(channels - 1, 0) : highest_channel);
}

std::optional<std::uint32_t> FrequencyPlan::middle_khz() const
{
    return khz(is_custom() ? channels / 2 : (lowest_channel + highest_channel) / 2);
}

int read_plan(const ReaderConnection& reader, FrequencyPlan& plan)
{
    auto address = reader.address();
    const int code =
        ExtGetRegion(&address, &plan.band, &plan.highest_channel, &plan.lowest_channel, reader.handle());
    if (code != TAGWIRE_OK || !plan.is_custom()) return code;
    plan.highest_channel = 0;
    plan.lowest_channel = 0;
    return read_custom_plan(reader, plan);
}

int set_plan(const ReaderConnection& reader, const FrequencyPlan& plan, Lasting lasting)
{
    if (plan.is_custom()) return set_custom_plan(reader, plan, lasting);
    auto address = reader.address();
    return ExtSetRegion(&address, static_cast<std::uint8_t>(lasting), plan.band, plan.highest_channel,
                        plan.lowest_channel, reader.handle());
}

int set_packed_plan(const ReaderConnection& reader, const FrequencyPlan& plan)
{
    constexpr unsigned band_shift = 6;
    const auto packed = [](unsigned band_bits, unsigned channel) {
        return static_cast<std::uint8_t>((band_bits & 3U) << band_shift | channel);
    };
    auto address = reader.address();
    return SetRegion(&address, packed(plan.band >> 2U, plan.highest_channel),
                     packed(plan.band, plan.lowest_channel), reader.handle());
}

// -- antennas

int read_ports(const ReaderConnection& reader, PortBits& ports)
{
    auto address = reader.address();
    PortBytes bytes{};
    const int code = OptAntenna(&address, 0, 0, bytes.data(), reader.handle());
    ports = ports_in(bytes);
    return code;
}

int set_ports(const ReaderConnection& reader, PortBits ports, std::uint32_t width, Lasting lasting)
{
    auto address = reader.address();
    auto bytes = port_bytes(ports);
    const auto once = static_cast<std::uint8_t>(lasting);
    const auto high = byte_of(ports, 8);
    const auto low = byte_of(ports, 0);
    switch (width) {
    case 8: return SetAntennaMultiplexing(&address, low, reader.handle());
    case 12: return SetAntennaA12(&address, once, high, low, reader.handle());
    case 16: return SetAntenna(&address, once, high, low, reader.handle());
    default: return OptAntenna(&address, 1, once, bytes.data(), reader.handle());
    }
}

int measure_return_loss(const ReaderConnection& reader, std::uint32_t khz, unsigned port,
                        std::uint8_t& decibels)
{
    auto address = reader.address();
    std::array<std::uint8_t, 4> frequency{byte_of(khz, 24), byte_of(khz, 16), byte_of(khz, 8),
                                          byte_of(khz, 0)};
    return MeasureReturnLoss(&address, frequency.data(), static_cast<std::uint8_t>(port - 1), &decibels,
                             reader.handle());
}

// -- lines, modes

int read_lines(const ReaderConnection& reader, Lines& lines)
{
    auto address = reader.address();
    std::uint8_t bits = 0;
    const int code = GetGPIOStatus(&address, &bits, reader.handle());
    lines.outputs = bits & ((1U << most_lines) - 1);
    lines.inputs = bits >> most_lines;
    return code;
}

int set_outputs(const ReaderConnection& reader, PortBits outputs)
{
    auto address = reader.address();
    return SetGPIO(&address, byte_of(outputs, 0), reader.handle());
}

int read_work_mode(const ReaderConnection& reader, std::uint8_t& mode)
{
    auto address = reader.address();
    std::uint8_t unused = 0;
    std::array<std::uint8_t, 2> mask_address{};
    std::array<std::uint8_t, 32> mask{};
    return GetSystemParameter(&address, &mode, &unused, &unused, &unused, &unused, &unused, &unused,
                              mask_address.data(), &unused, mask.data(), &unused, &unused, &unused,
                              reader.handle());
}

}  // namespace tagwire::tool
