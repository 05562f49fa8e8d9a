#include "commands/groups.h"
#include "sensors/degrees.h"
#include "tag_options.h"
#include "tags/choice.h"
#include "tags/transfer.h"

#include <memory>
#include <sstream>

namespace tagwire::tool {

namespace {

constexpr unsigned last_number = 65535;
constexpr Unit memory_unit{"byte", 1, last_number, 250, 238, 32};

struct Sensor {
    TagChoice tag;
    bool yes = false;
    unsigned number = 0;  // of a register
    Bytes value;
    Stretch stretch;
    tagwire::Password own_password;  // of the memory, or of a log
    Measurement measurement;
    LogPlan log;
    std::optional<unsigned> log_byte;
    bool wakes = false;
    SpiExchange exchange;
};

using SensorAct = std::function<void(SensorTag&, Deed&)>;

Work sensor_work(const Sensor& sensor, Deed head, SensorAct act)
{
    return work(std::move(head), [tag = sensor.tag, act = std::move(act)](Reader& reader, Deed& done) {
        auto found = find(reader, tag).sensor();
        act(found, done);
    });
}

// Of an act that changes nothing.
Work reading_work(const Sensor& sensor, Deed head, const SensorAct& act)
{
    return sensor_work(sensor, std::move(head),
                       [retries = sensor.tag.retries, act](SensorTag& tag, Deed& done) {
                           again(retries, [&] { act(tag, done); });
                       });
}

// -- registers

void add_init_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    add_yes_option(command, sensor.yes);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire sensor init --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_init(const Sensor& sensor)
{
    const Deed head = deed_with("sensor-init", sensor.tag, "the register file is new now");
    confirm(fmt::format("replace all registers of the tag {} by those of a new one", text_of(sensor.tag)),
            sensor.yes);
    return sensor_work(sensor, head, [](SensorTag& tag, Deed&) { tag.renew_registers(); });
}

void add_register_option(CLI::App& command, Sensor& sensor)
{
    option(command, "REGISTER", sensor.number, number(0, last_number), "number of the register, 0 to 65535")
        ->required();
}

void add_read_register_options(CLI::App& command, Sensor& sensor)
{
    add_register_option(command, sensor);
    add_tag_options(command, sensor.tag);
    command.footer(R"(Examples:
  tagwire sensor read-reg 3 --epc E28011700000020F00000001)");
}

Work plan_read_register(const Sensor& sensor)
{
    Deed head = deed_with("sensor-read-reg", sensor.tag);
    head.fields["register"] = sensor.number;
    return reading_work(sensor, head, [number = sensor.number](SensorTag& tag, Deed& done) {
        done.text = fmt::format("{:04X}", tag.read_register(number));
        done.fields["value"] = done.text;
    });
}

void add_write_register_options(CLI::App& command, Sensor& sensor)
{
    add_register_option(command, sensor);
    option(command, "VALUE", sensor.value, exactly(2), "4 hexadecimal digits", "HEX")->required();
    add_tag_options(command, sensor.tag);
    command.footer(R"(What was written is read back and compared.

Examples:
  tagwire sensor write-reg 3 00FF --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_write_register(const Sensor& sensor)
{
    const auto value = static_cast<std::uint16_t>(sensor.value[0] << 8U | sensor.value[1]);
    Deed head = deed_with("sensor-write-reg", sensor.tag,
                          fmt::format("register {} is {} now", sensor.number, to_hex(sensor.value)));
    head.fields["register"] = sensor.number;
    head.fields["value"] = to_hex(sensor.value);
    return sensor_work(sensor, head, [number = sensor.number, value](SensorTag& tag, Deed&) {
        tag.write_register(number, value);
    });
}

// -- memory

void add_memory_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    option(command, "--memory-password", sensor.own_password, parse_secret,
           "password of the data memory: 8 hexadecimal digits, @FILE or -; otherwise none is given", "HEX");
}

OpenMemory opens(const Sensor& sensor)
{
    return [name = sensor.tag, password = sensor.own_password](Reader& reader) {
        const auto tag = std::make_shared<SensorTag>(find(reader, name).sensor());
        return Memory{[=, retries = name.retries](unsigned first, unsigned count) {
                          return again(retries, [&] { return tag->read_memory(first, count, password); });
                      },
                      {},
                      [=](const Stretch& to) { tag->write_memory(to.first, to.data, password, to.chunk); },
                      {}};
    };
}

void add_sensor_read_options(CLI::App& command, Sensor& sensor)
{
    add_memory_options(command, sensor);
    add_read_options(command, sensor.stretch, memory_unit);
    command.get_option("--count")->required();
    command.footer(R"(Examples:
  tagwire sensor read --epc E28011700000020F00000001 --count 16
  tagwire sensor read --epc E28011700000020F00000001 --byte 2048 --count 2048 --file log.bin
  tagwire sensor read --tid E2C01A200000000000000001 --count 16 --memory-password @secret.txt)");
}

Work plan_sensor_read(const Sensor& sensor)
{
    return read_work(deed_with("sensor-read", sensor.tag), sensor.stretch, memory_unit, opens(sensor));
}

void add_sensor_write_options(CLI::App& command, Sensor& sensor)
{
    add_memory_options(command, sensor);
    add_write_options(command, sensor.stretch, memory_unit);
    command.footer(R"(Examples:
  tagwire sensor write --epc E28011700000020F00000001 --byte 64 --data 48656C6C6F --password 12345678
  tagwire sensor write --epc E28011700000020F00000001 --file data.bin --password 12345678)");
}

Work plan_sensor_write(const Sensor& sensor)
{
    return write_work(deed_with("sensor-write", sensor.tag), sensor.stretch, memory_unit, "sensor memory",
                      opens(sensor));
}

// -- measuring

constexpr Choices<Quantity, 2> quantities{
    {{"temperature", Quantity::temperature}, {"voltage", Quantity::voltage}}};

void add_measure_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    auto& measurement = sensor.measurement;
    option(command, "--quantity", measurement.quantity, one_of(quantities, Others::taken),
           choices_text(quantities) + ", or a number from 0 to 255", "WHAT")
        ->default_str("temperature");
    command.add_flag("--latest", measurement.latest, "the latest result instead of a new one");
    command.add_flag("--field-check", measurement.check_field, "let the tag check the field first");
    option(command, "--store-block", measurement.block, number(0, 255),
           "let the tag keep the result at this block of its memory, 0 to 255");
    command.footer(R"(Two bytes come: hundredths of a degree, or millivolts.

Examples:
  tagwire sensor temp --epc E28011700000020F00000001
  tagwire sensor temp --epc E28011700000020F00000001 --quantity voltage --json)");
}

Work plan_measure(const Sensor& sensor)
{
    Deed head = deed_with("sensor-temp", sensor.tag);
    head.fields["quantity"] = name_of(sensor.measurement.quantity, quantities);
    const unsigned retries = sensor.measurement.block ? 0 : sensor.tag.retries;  // a block is changed
    return sensor_work(sensor, head, [plan = sensor.measurement, retries](SensorTag& tag, Deed& done) {
        const auto measured = again(retries, [&] { return tag.measure(plan); });
        done.fields["raw"] = done.text = fmt::format("{:04X}", measured.raw);
        if (!measured.problem.empty()) fail_for(done, measured.problem);
        if (measured.celsius) {
            done.text = celsius_text(measured.celsius);
            done.fields["celsius"] = *measured.celsius;
        }
        if (measured.millivolts) {
            done.text = fmt::format("{} mV", *measured.millivolts);
            done.fields["millivolts"] = *measured.millivolts;
        }
    });
}

// -- log

void add_log_byte_option(CLI::App& command, Sensor& sensor, const std::string& more)
{
    option(command, "--byte", sensor.log_byte, number(0, last_number),
           "where the log stands in the data memory, from a count of 2 bytes on" + more);
}

void add_log_start_options(CLI::App& command, Sensor& sensor)
{
    add_memory_options(command, sensor);
    option(command, "--delay", sensor.log.delay, number(0, last_number),
           "before the first sample, 0 to 65535 in the tag's units")
        ->default_str("0");
    option(command, "--step", sensor.log.step, number(1, last_number),
           "from sample to sample, 1 to 65535 in the tag's units")
        ->required();
    add_log_byte_option(command, sensor, ": nothing is begun where one lies there or runs");
    command.get_option("--memory-password")->needs(command.get_option("--byte"));
    add_yes_option(command, sensor.yes);
    command.footer(
        R"(With --byte a log that the tag has is kept, and none is begun then. Without, it is lost: the command
asks first, and refuses where it cannot ask.

Examples:
  tagwire sensor log start --epc E28011700000020F00000001 --step 60 --byte 2048 --password 12345678
  tagwire sensor log start --epc E28011700000020F00000001 --step 60 --password 12345678 --yes)");
}

Work plan_log_start(const Sensor& sensor)
{
    Deed head = deed_with("sensor-log-start", sensor.tag, "the log has begun");
    if (!sensor.log_byte)
        confirm(
            fmt::format("begin the log of the tag {} anew, and destroy one that it has", text_of(sensor.tag)),
            sensor.yes, "");
    head.fields["delay"] = sensor.log.delay;
    head.fields["step"] = sensor.log.step;
    return sensor_work(
        sensor, head,
        [plan = sensor.log, byte = sensor.log_byte, password = sensor.own_password](SensorTag& tag, Deed&) {
            byte ? tag.start_log(plan, *byte, password) : tag.start_log_anew(plan);
        });
}

void add_log_stop_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    option(command, "--stop-password", sensor.own_password, parse_secret,
           "password that ends the log: 8 hexadecimal digits, @FILE or -; otherwise zeros", "HEX");
    command.footer(R"(A log that has ended cannot go on.

Examples:
  tagwire sensor log stop --epc E28011700000020F00000001 --password 12345678 --stop-password 0BADF00D)");
}

Work plan_log_stop(const Sensor& sensor)
{
    return sensor_work(sensor, deed_with("sensor-log-stop", sensor.tag, "the log has ended"),
                       [password = sensor.own_password](SensorTag& tag, Deed&) { tag.stop_log(password); });
}

void add_log_read_options(CLI::App& command, Sensor& sensor)
{
    add_memory_options(command, sensor);
    add_log_byte_option(command, sensor, "");
    command.get_option("--byte")->required();
    command.footer(R"(One line for every sample, in their order.

Examples:
  tagwire sensor log read --epc E28011700000020F00000001 --byte 2048 --json)");
}

void add_sample(Deed& done, const LogSample& sample)
{
    Json object{{"celsius", sample.celsius ? Json(*sample.celsius) : Json()}, {"raw", sample.raw}};
    if (!sample.celsius) object["problem"] = sample.problem;
    done.fields["samples"].push_back(object);
    done.text += fmt::format("{}{}{}", done.text.empty() ? "" : "\n", celsius_text(sample.celsius),
                             sample.celsius ? "" : fmt::format("  ({})", sample.problem));
}

Work plan_log_read(const Sensor& sensor)
{
    return reading_work(
        sensor, deed_with("sensor-log-read", sensor.tag),
        [byte = *sensor.log_byte, password = sensor.own_password](SensorTag& tag, Deed& done) {
            done.fields["samples"] = Json::array();
            for (const auto& sample : tag.read_log(byte, password)) add_sample(done, sample);
        });
}

// -- mode, sleep

void add_mode_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    command.add_flag("--refresh", sensor.wakes, "let the tag read its configuration anew: wakes it");
    command.footer(R"(A tag that sleeps hears its whole EPC or TID only.

Examples:
  tagwire sensor mode --epc E28011700000020F00000001
  tagwire sensor mode --epc E28011700000020F00000001 --refresh --password 12345678)");
}

std::vector<std::string> flags_of(SensorMode mode)
{
    std::vector<std::string> flags;
    for (unsigned bit = 1; bit <= mode.bits; bit <<= 1U) {
        std::ostringstream text;
        text << SensorMode{static_cast<std::uint16_t>(mode.bits & bit)};
        if (text.str() != "idle") flags.push_back(text.str());
    }
    return flags;
}

void add_mode(Deed& done, SensorMode mode)
{
    std::ostringstream text;
    text << mode;
    done.text = fmt::format("0x{:04X}  {}", mode.bits, text.str());
    done.fields["mode"] = mode.bits;
    done.fields["flags"] = flags_of(mode);
}

Work plan_mode(const Sensor& sensor)
{
    const Deed head = deed_with("sensor-mode", sensor.tag);
    if (!sensor.wakes)
        return reading_work(sensor, head, [](SensorTag& tag, Deed& done) { add_mode(done, tag.mode()); });
    if (sensor.tag.mask) throw UsageError("a tag that sleeps hears its name only: use --epc or --tid");
    return work(head, [tag = sensor.tag](Reader& reader, Deed& done) {
        const auto password = tag.password.value();
        add_mode(done,
                 tag.epc ? reader.wake_sensor(*tag.epc, password) : reader.wake_sensor(*tag.tid, password));
    });
}

void add_sleep_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    add_yes_option(command, sensor.yes);
    command.footer(
        R"(A sleeping tag is not heard until tagwire sensor mode --refresh wakes it. The command asks first, and
refuses where it cannot ask.

Examples:
  tagwire sensor sleep --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_sleep(const Sensor& sensor)
{
    const Deed head = deed_with("sensor-sleep", sensor.tag, "the tag sleeps now");
    confirm(fmt::format("put the tag {} to sleep", text_of(sensor.tag)), sensor.yes, "");
    return sensor_work(sensor, head, [](SensorTag& tag, Deed&) { tag.sleep(); });
}

// -- SPI, alarm

void add_spi_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    auto& exchange = sensor.exchange;
    option(command, "--command", exchange.command, hex(1, 200), "what is sent, up to 200 bytes", "HEX")
        ->required();
    option(command, "--answer", exchange.answer, number(0, 7), "how many bytes are read back, 0 to 7")
        ->default_str("0");
    option(command, "--clock", exchange.clock, number(0, 255), "clock, 0 to 255 in the tag's coding")
        ->default_str("0");
    option(command, "--delay", exchange.delay, number(0, 255), "delay before the first byte")
        ->default_str("0");
    option(command, "--interval", exchange.interval, number(0, 255), "time between two bytes")
        ->default_str("0");
    command.footer(R"(Examples:
  tagwire sensor spi --epc E28011700000020F00000001 --command 9F --answer 3)");
}

Work plan_spi(const Sensor& sensor)
{
    return sensor_work(sensor, deed_with("sensor-spi", sensor.tag),
                       [exchange = sensor.exchange](SensorTag& tag, Deed& done) {
                           const auto answer = to_hex(tag.exchange_spi(exchange));
                           done.text = answer.empty() ? "done, without an answer" : answer;
                           done.fields["answer"] = answer;
                       });
}

void add_reset_alarm_options(CLI::App& command, Sensor& sensor)
{
    add_tag_options(command, sensor.tag);
    command.footer(R"(Examples:
  tagwire sensor reset-alarm --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_reset_alarm(const Sensor& sensor)
{
    return sensor_work(sensor, deed_with("sensor-reset-alarm", sensor.tag, "the alarm is reset"),
                       [](SensorTag& tag, Deed&) { tag.reset_alarm(); });
}

}  // namespace

void add_sensor_commands(Application& application)
{
    auto& sensor = application.add_group("sensor", "Sensor tags with registers, memory and a log.");
    const auto add = [&](const char* name, const char* help, void (*options)(CLI::App&, Sensor&),
                         Work (*plan)(const Sensor&)) {
        add_to(application, sensor, name, help, options, plan);
    };
    add("init", "Make the register file new.", add_init_options, plan_init);
    add("read-reg", "Read a register.", add_read_register_options, plan_read_register);
    add("write-reg", "Write a register.", add_write_register_options, plan_write_register);
    add("read", "Read the data memory.", add_sensor_read_options, plan_sensor_read);
    add("write", "Write the data memory.", add_sensor_write_options, plan_sensor_write);
    add("temp", "Measure temperature or supply voltage.", add_measure_options, plan_measure);
    add("mode", "Show the mode of operation.", add_mode_options, plan_mode);
    add("sleep", "Put the tag to sleep.", add_sleep_options, plan_sleep);
    add("spi", "Talk to the SPI peripheral of a tag.", add_spi_options, plan_spi);
    add("reset-alarm", "Reset the alarm of a tag.", add_reset_alarm_options, plan_reset_alarm);
    auto& log = *sensor.add_subcommand("log", "The temperature log.");
    log.fallthrough();
    log.require_subcommand(1);
    add_to(application, log, "start", "Begin the log.", add_log_start_options, plan_log_start);
    add_to(application, log, "stop", "End the log.", add_log_stop_options, plan_log_stop);
    add_to(application, log, "read", "Read the log.", add_log_read_options, plan_log_read);
}

}  // namespace tagwire::tool
