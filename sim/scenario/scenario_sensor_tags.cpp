#include "scenario/scenario_sensor_tags.h"

namespace tagwire::sim {

namespace {

constexpr unsigned most_registers = 65536;
constexpr unsigned last_calibration_word = 255;

void read_calibration(Section& section, Calibration& calibration)
{
    section.read_fixed_hex("calibration", calibration);
    if (covers(calibration, lowest_temperature, highest_temperature)) return;
    section.fail(*section.find("calibration"),
                 "with this calibration the tag cannot tell all temperatures from -40 to 150 degrees");
}

// Contents that must fit the size given.
void read_contents(Section& section, std::string_view key, Bytes& contents, std::size_t size)
{
    const toml::node* node = section.read_hex(key, contents);
    if (!node || contents.size() <= size) return;
    section.fail(*node, std::string(key) + " is longer than " + std::to_string(size) + " bytes");
}

void read_registers(Section& section, SensorSettings& sensor)
{
    section.read_integer("register_count", sensor.register_count, 1, most_registers);
    read_contents(section, "registers", sensor.registers, std::size_t{sensor.register_count} * 2);
}

void read_memory(Section& section, SensorSettings& sensor)
{
    section.read_integer("memory_size", sensor.memory_size, smallest_sensor_memory, largest_sensor_memory);
    read_contents(section, "memory", sensor.memory, sensor.memory_size);
    section.read_fixed_hex("memory_password", sensor.memory_password);
}

void read_log(Section& section, SensorSettings& sensor)
{
    if (section.find("log_address")) {
        section.read_integer("log_address", sensor.log_address.emplace(), 0, sensor.memory_size - 2);
    }
    section.read_milliseconds("log_unit_ms", sensor.log_unit);
    if (sensor.log_unit <= Time{} || sensor.log_unit > longest_log_unit) {
        section.fail(*section.find("log_unit_ms"), "log_unit_ms must be more than 0 and at most 3600000");
    }
    section.read_fixed_hex("stop_password", sensor.stop_password);
}

Bytes read_spi_bytes(const Section& section, const toml::node& node, std::string_view text)
{
    try {
        return from_hex(text);
    } catch (const std::invalid_argument& error) {
        section.fail(node, std::string("spi: ") + error.what());
    }
}

void read_spi(Section& section, std::map<Bytes, Bytes>& spi)
{
    const toml::node* node = section.find("spi");
    if (!node) return;
    const toml::table* table = node->as_table();
    if (!table) section.fail(*node, "spi must be a table, such as { \"9F\" = \"EF4018\" }");
    for (const auto& [key, answer] : *table) {
        if (!answer.is_string()) section.fail(answer, "the answer to an SPI command must be a string");
        spi[read_spi_bytes(section, answer, key.str())] =
            read_spi_bytes(section, answer, **answer.as_string());
    }
}

void read_keys(Section& section, SensorSettings& sensor)
{
    section.read_number("temperature", sensor.temperature, lowest_temperature, highest_temperature);
    read_calibration(section, sensor.calibration);
    section.read_integer("calibration_word", sensor.calibration_word, 0, last_calibration_word);
    read_registers(section, sensor);
    read_memory(section, sensor);
    read_log(section, sensor);
    section.read_integer("voltage", sensor.voltage);
    section.read_flag("alarm", sensor.alarm);
    section.read_fixed_hex("key_index", sensor.key_index);
    read_spi(section, sensor.spi);
}

}  // namespace

void read_sensor(Section& tag, std::optional<SensorSettings>& sensor)
{
    tag.read_table("sensor", [&sensor](Section& section) { read_keys(section, sensor.emplace()); });
}

void check_sensor(const SensorSettings& sensor, const std::string& source)
{
    const auto require = [&source](bool good, const std::string& problem) {
        if (!good) throw ScenarioError(source, 0, problem);
    };
    require(sensor.temperature >= lowest_temperature && sensor.temperature <= highest_temperature,
            "a sensor measures temperatures from -40 to 150 degrees");
    require(covers(sensor.calibration, lowest_temperature, highest_temperature),
            "a sensor's calibration cannot tell all temperatures from -40 to 150 degrees");
    require(sensor.register_count >= 1 && sensor.registers.size() <= std::size_t{sensor.register_count} * 2,
            "the registers of a sensor are more than it has");
    require(sensor.memory_size >= smallest_sensor_memory && sensor.memory_size <= largest_sensor_memory &&
                sensor.memory.size() <= sensor.memory_size,
            "the memory of a sensor has 16 to 65536 bytes");
    require(sensor.log_start() + 2 <= sensor.memory_size && sensor.log_unit > Time{} &&
                sensor.log_unit <= longest_log_unit,
            "the log of a sensor lies in its memory and has a time unit up to an hour");
}

}  // namespace tagwire::sim
