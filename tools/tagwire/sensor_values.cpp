#include "sensor_values.h"

#include "tagwire/sensor.h"

#include <algorithm>

#include <fmt/format.h>

#include "bytes.h"
#include "errors.h"
#include "parse.h"

namespace tagwire::tool {

namespace {

constexpr std::array<std::uint8_t, 3> known_kinds{0x00, 0x10, 0x20};
constexpr float no_measurement = 9999.0F;

struct ModeFlag {
    std::uint16_t bit;
    const char* text;
};

constexpr std::array mode_flags{ModeFlag{0x01, "log running"}, ModeFlag{0x02, "log without a sample"},
                                ModeFlag{0x04, "log full"},    ModeFlag{0x08, "was asleep"},
                                ModeFlag{0x10, "LED on"},      ModeFlag{0x20, "alarm"}};

bool is_known_kind(const Calibration& calibration)
{
    const auto kind = static_cast<std::uint8_t>(calibration[2] & 0xF0U);
    return std::find(known_kinds.begin(), known_kinds.end(), kind) != known_kinds.end();
}

std::size_t tail_bytes(RecordTail tail)
{
    return tail == RecordTail::Hundredths ? 2 : sense_bytes + std::tuple_size_v<Calibration>;
}

Temperature temperature_in(std::span<const std::uint8_t> bytes, RecordTail tail)
{
    if (tail == RecordTail::Hundredths) return temperature_from(std::array{bytes[0], bytes[1]});
    SenseWord sense{};
    Calibration calibration{};
    std::copy_n(bytes.begin(), sense.size(), sense.begin());
    std::copy_n(bytes.begin() + sense.size(), calibration.size(), calibration.begin());
    return temperature_from(sense, calibration);
}

}  // namespace

Calibration parse_calibration(std::string_view text, std::string_view what)
{
    const auto bytes = parse_units(text, what, 1);
    Calibration calibration{};
    if (bytes.size() != calibration.size())
        throw UsageError(fmt::format("{} '{}' is not valid: use 6 hexadecimal digits", what, text));
    std::copy(bytes.begin(), bytes.end(), calibration.begin());
    if (is_known_kind(calibration)) return calibration;
    throw UsageError(fmt::format(
        "{} '{}' is of an unknown kind: the fifth digit is 0, 1 or 2; --raw shows the bytes of the sensor",
        what, text));
}

Temperature temperature_from(const SenseWord& sense, const Calibration& calibration)
{
    auto word = sense;
    auto adjustment = calibration;
    if (CheckSense(word.data()) != 0)
        return {std::nullopt, fmt::format("the sensor word {} fails its parity check", hex_text(sense))};
    if (!is_known_kind(calibration))
        return {std::nullopt, fmt::format("the calibration {} is of an unknown kind", hex_text(calibration))};
    const float celsius = GetTemperature(word.data(), adjustment.data());
    if (celsius == no_measurement) {
        return {std::nullopt, fmt::format("the sensor word {} is no measurement with the calibration {}",
                                          hex_text(sense), hex_text(calibration))};
    }
    return {celsius, {}};
}

Temperature temperature_from(const std::array<std::uint8_t, 2>& hundredths)
{
    const auto number = static_cast<std::int16_t>(hundredths[0] << 8U | hundredths[1]);
    return {number / 100.0, {}};
}

std::string celsius_text(const std::optional<double>& celsius)
{
    return celsius ? fmt::format("{:.2f} C", *celsius) : "-";
}

TemperatureRecord temperature_record(const TagRecord& tag, RecordTail tail)
{
    const auto digits = 2 * tail_bytes(tail);
    TemperatureRecord record{tag.id, {}, {}, tag.antenna, tag.rssi};
    if (tag.id.size() < digits) {
        record.temperature.problem = "the record is too short for a temperature";
        return record;
    }
    record.epc = tag.id.substr(0, tag.id.size() - digits);
    record.raw = tag.id.substr(record.epc.size());
    record.temperature = temperature_in(parse_hex(record.raw, "record"), tail);
    return record;
}

std::vector<std::string> sensor_mode_flags(std::uint16_t mode)
{
    std::vector<std::string> flags;
    for (const auto& flag : mode_flags) {
        if ((mode & flag.bit) != 0) flags.emplace_back(flag.text);
    }
    return flags;
}

std::string sensor_mode_text(std::uint16_t mode)
{
    const auto flags = sensor_mode_flags(mode);
    return flags.empty() ? "idle" : fmt::format("{}", fmt::join(flags, ", "));
}

}  // namespace tagwire::tool
