// The sensor of a Gen2 tag: temperature, register file, memory with a log, LED, alarm and SPI peripheral.
#pragma once

#include <array>
#include <optional>

#include "field/other_tags.h"
#include "scenario/sensor_settings.h"

namespace tagwire::sim {

struct Measurement {
    double degrees = 0;
    std::int64_t utc = 0;  // by the reader's clock
};

// What has become of a sensor.
struct SensorState {
    double temperature = 0;
    Bytes registers;
    Bytes memory;
    std::optional<Measurement> latest;
    std::array<std::uint8_t, 6> time{};  // that a host gave it last
    bool logging = false;                // or waiting for the log's first sample
    bool log_is_full = false;
    unsigned samples = 0;
    bool led = false;
    std::uint8_t led_mode = 0;  // of the latest switching on
    unsigned led_count = 0;     // how often it was switched on
    bool alarm = false;
};

// Only advance() knows the time: everything else takes place at the moment that it was given last.
class Sensor {
  public:
    explicit Sensor(const SensorSettings& settings);

    const SensorSettings& settings() const { return settings_; }
    const SensorState& state() const { return state_; }
    void advance(Time now);

    void set_temperature(double degrees) { state_.temperature = degrees; }
    void set_alarm(bool raised) { state_.alarm = raised; }
    void set_time(const std::array<std::uint8_t, 6>& time) { state_.time = time; }
    const Measurement& measure(std::int64_t utc);
    Bytes sense_word(double degrees) const;

    bool has_register(std::size_t number) const { return number < settings_.register_count; }
    Bytes read_register(std::size_t number) const;
    void write_register(std::size_t number, const Bytes& word);
    void renew_registers();

    bool has_memory(std::size_t address, std::size_t count) const;
    Bytes read_memory(std::size_t address, std::size_t count) const;
    void write_memory(std::size_t address, const Bytes& bytes);

    // Times in units of the log.
    void start_log(unsigned delay, unsigned step);
    void stop_log() { state_.logging = false; }
    bool awaits_first_sample() const { return state_.logging && state_.samples == 0; }

    void switch_led_on(std::uint8_t mode, std::optional<Time> duration = std::nullopt);
    void switch_led_off();

    // What the peripheral sends behind the command; a line that nobody drives is high.
    Bytes exchange_spi(const Bytes& command, std::size_t size) const;

  private:
    void take_sample();

    SensorSettings settings_;
    SensorState state_;
    Time now_{};
    Time next_sample_{};
    Time step_{};
    std::optional<Time> led_until_;
};

// In hundredths of a degree, signed, high byte first.
Bytes hundredths(double degrees);

// User memory as the tag is made: with the calibration in its place, if it has a sensor.
Bytes initial_user_memory(const TagSettings& tag);

}  // namespace tagwire::sim
