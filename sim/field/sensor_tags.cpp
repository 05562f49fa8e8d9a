#include "field/sensor_tags.h"

#include <algorithm>
#include <cmath>

namespace tagwire::sim {

namespace {

constexpr std::uint8_t idle_line = 0xFF;

void put(Bytes& bytes, std::size_t at, const Bytes& content)
{
    std::copy(content.begin(), content.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

Bytes part(const Bytes& bytes, std::size_t at, std::size_t count)
{
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

Bytes two_bytes(unsigned number)
{
    return {static_cast<std::uint8_t>(number >> 8U & 0xFFU), static_cast<std::uint8_t>(number & 0xFFU)};
}

}  // namespace

Sensor::Sensor(const SensorSettings& settings) : settings_(settings)
{
    state_.temperature = settings.temperature;
    state_.alarm = settings.alarm;
    state_.memory = settings.memory;
    state_.memory.resize(settings.memory_size);
    renew_registers();
}

void Sensor::advance(Time now)
{
    now_ = std::max(now_, now);
    while (state_.logging && next_sample_ <= now_) take_sample();
    if (!led_until_ || now_ < *led_until_) return;
    switch_led_off();
}

const Measurement& Sensor::measure(std::int64_t utc)
{
    return state_.latest.emplace(Measurement{state_.temperature, utc});
}

Bytes Sensor::sense_word(double degrees) const
{
    const SenseWord word = make_sense_word(degrees, settings_.calibration);
    return {word.begin(), word.end()};
}

Bytes Sensor::read_register(std::size_t number) const
{
    return part(state_.registers, number * word_size, word_size);
}

void Sensor::write_register(std::size_t number, const Bytes& word)
{
    put(state_.registers, number * word_size, word);
}

void Sensor::renew_registers()
{
    state_.registers = settings_.registers;
    state_.registers.resize(settings_.register_count * word_size);
}

bool Sensor::has_memory(std::size_t address, std::size_t count) const
{
    return address + count <= state_.memory.size();
}

Bytes Sensor::read_memory(std::size_t address, std::size_t count) const
{
    return part(state_.memory, address, count);
}

void Sensor::write_memory(std::size_t address, const Bytes& bytes) { put(state_.memory, address, bytes); }

void Sensor::start_log(unsigned delay, unsigned step)
{
    state_.logging = true;
    state_.log_is_full = false;
    state_.samples = 0;
    put(state_.memory, settings_.log_start(), two_bytes(0));
    next_sample_ = now_ + settings_.log_unit * delay;
    step_ = settings_.log_unit * step;
    advance(now_);
}

// The log begins with the number of its samples.
void Sensor::take_sample()
{
    const std::size_t at = settings_.log_start() + word_size * (state_.samples + 1);
    if (!has_memory(at, word_size)) {
        state_.logging = false;
        state_.log_is_full = true;
        return;
    }
    put(state_.memory, at, hundredths(state_.temperature));
    put(state_.memory, settings_.log_start(), two_bytes(++state_.samples));
    next_sample_ += step_;
}

void Sensor::switch_led_on(std::uint8_t mode, std::optional<Time> duration)
{
    state_.led = true;
    state_.led_mode = mode;
    ++state_.led_count;
    led_until_ = duration ? std::optional<Time>(now_ + *duration) : std::nullopt;
}

void Sensor::switch_led_off()
{
    state_.led = false;
    led_until_.reset();
}

Bytes Sensor::exchange_spi(const Bytes& command, std::size_t size) const
{
    const auto found = settings_.spi.find(command);
    Bytes answer = found != settings_.spi.end() ? found->second : Bytes();
    answer.resize(size, idle_line);
    return answer;
}

Bytes hundredths(double degrees)
{
    return two_bytes(static_cast<unsigned>(std::lround(degrees * 100)) & 0xFFFFU);
}

Bytes initial_user_memory(const TagSettings& tag)
{
    Bytes user = tag.user;
    if (!tag.sensor) return user;
    const Calibration& calibration = tag.sensor->calibration;
    const std::size_t at = tag.sensor->calibration_word * word_size;
    user.resize(std::max(user.size(), at + 2 * word_size));
    std::copy(calibration.begin(), calibration.end(), user.begin() + static_cast<std::ptrdiff_t>(at));
    return user;
}

}  // namespace tagwire::sim
