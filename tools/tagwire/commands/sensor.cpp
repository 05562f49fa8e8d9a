#include "commands/groups.h"
#include "errors.h"
#include "memory_transfer.h"
#include "sensor_command.h"
#include "sensor_values.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/identification.h"
#include "tagwire/registers.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

struct SensorArguments {
    TagOptions tag;
    std::string first;
    std::string second;
    bool flag = false;
    bool yes = false;
};

// -- registers

Work plan_init(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    confirm(fmt::format("replace all registers of the tag {} by those of a new one",
                        name_text(target.name, sensor_family)),
            arguments.yes);
    return sensor_work(target, Operation::SensorRegister,
                       done_with("the register file is new now", "sensor-init", target.name),
                       TagCode::NotTold, [](TagCall& tag, std::uint8_t* password, Done&) {
                           return tag(Fd_InitRegfile, std::tuple(password));
                       });
}

void add_init_options(CLI::App& command, SensorArguments& arguments)
{
    add_target_options(command, arguments.tag);
    add_yes_option(command, arguments.yes);
    command.footer(R"(The command asks first, and refuses where it cannot ask.

Examples:
  tagwire sensor init --epc E28011700000020F00000001 --password 12345678)");
}

Work plan_read_register(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const auto number = parse_word_number(arguments.first, "REGISTER");
    auto done = done_with("", "sensor-read-reg", target.name);
    done.object["register"] = number;
    return sensor_work(target, Operation::SensorRegister, done, TagCode::NotTold,
                       [number](TagCall& tag, std::uint8_t* password, Done& shown) {
                           auto address = high_byte_first(number);
                           std::array<std::uint8_t, 2> value{};
                           const auto result =
                               tag(Fd_ReadReg, std::tuple(address.data(), password), value.data());
                           shown.text = hex_text(value);
                           shown.object["value"] = shown.text;
                           return result;
                       });
}

void add_read_register_options(CLI::App& command, SensorArguments& arguments)
{
    command.add_option("REGISTER", arguments.first, "number of the register, 0 to 65535")->required();
    add_target_options(command, arguments.tag);
    command.footer(R"(Examples:
  tagwire sensor read-reg 3 --epc E28011700000020F00000001)");
}

Work plan_write_register(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const auto number = parse_word_number(arguments.first, "REGISTER");
    const auto value = parse_units(arguments.second, "VALUE", 1);
    if (value.size() != 2)
        throw UsageError(fmt::format("VALUE '{}' is not valid: use 4 hexadecimal digits", arguments.second));
    auto done = done_with(fmt::format("register {} is {} now", number, hex_text(value)), "sensor-write-reg",
                          target.name);
    done.object["register"] = number;
    done.object["value"] = hex_text(value);
    return sensor_work(target, Operation::SensorRegister, done, TagCode::Told,
                       [number, value](TagCall& tag, std::uint8_t* password, Done&) {
                           auto address = high_byte_first(number);
                           auto bytes = value;
                           return tag(Fd_WriteReg, std::tuple(address.data(), bytes.data(), password));
                       });
}

void add_write_register_options(CLI::App& command, SensorArguments& arguments)
{
    command.add_option("REGISTER", arguments.first, "number of the register, 0 to 65535")->required();
    command.add_option("VALUE", arguments.second, "4 hexadecimal digits")->required();
    add_target_options(command, arguments.tag);
    command.footer(R"(Examples:
  tagwire sensor write-reg 3 00FF --epc E28011700000020F00000001 --password 12345678)");
}

// -- memory

struct SensorMemoryArguments {
    TagOptions tag;
    std::string memory_password;
    std::string byte = "0";
    std::string count;
    std::string file;
    DataOptions data;
    std::string chunk = std::to_string(usual_bytes_per_sensor_write);
    bool verify = false;
};

void add_place_options(CLI::App& command, SensorMemoryArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command
        .add_option("--memory-password", arguments.memory_password,
                    "password of the data memory, 8 hexadecimal digits; otherwise none is given")
        ->type_name("HEX");
    command.add_option("--byte", arguments.byte, "first byte, counted from 0")
        ->type_name("N")
        ->capture_default_str();
}

SensorPlace parse_place(const SensorMemoryArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    SensorPlace place{target.name, target.password, std::nullopt};
    if (!arguments.memory_password.empty())
        place.memory_password = parse_password(arguments.memory_password, "--memory-password");
    place.most_write = parse_number(arguments.chunk, "--chunk", 1, 238);
    return place;
}

MakeMemory maker_of(const SensorPlace& place)
{
    return [place](const ReaderConnection& reader) { return std::make_unique<SensorMemory>(reader, place); };
}

Work plan_read(const SensorMemoryArguments& arguments)
{
    const auto place = parse_place(arguments);
    const auto head = done_with("", "sensor-read", place.name).object;
    const auto run =
        parse_run(arguments.byte, arguments.count, "byte", {last_sensor_byte, last_sensor_byte + 1});
    const ReadJob job{head, "byte", run, arguments.file, maker_of(place)};
    return [job](Session& session) { return run_read(session, job); };
}

void add_read_options(CLI::App& command, SensorMemoryArguments& arguments)
{
    add_place_options(command, arguments);
    add_read_output_options(command, arguments.count, arguments.file, "byte");
    command.footer(R"(Examples:
  tagwire sensor read --epc E28011700000020F00000001 --count 16
  tagwire sensor read --epc E28011700000020F00000001 --byte 2048 --count 2048 --file log.bin
  tagwire sensor read --mask tid:0:E2C0 --count 16 --memory-password A1B2C3D4)");
}

Work plan_write(const SensorMemoryArguments& arguments)
{
    const auto place = parse_place(arguments);
    WriteJob job;
    job.head = done_with("", "sensor-write", place.name).object;
    job.unit = "byte";
    job.place = "sensor memory";
    job.data = parse_data(arguments.data, 1);
    job.first = run_of_data(arguments.byte, job.data, 1, last_sensor_byte).first;
    job.verify = arguments.verify;
    job.make_memory = maker_of(place);
    return [job](Session& session) { return run_write(session, job); };
}

void add_write_options(CLI::App& command, SensorMemoryArguments& arguments)
{
    add_place_options(command, arguments);
    add_data_options(command, arguments.data);
    add_chunk_option(command, arguments.chunk, "byte", 238);
    add_verify_option(command, arguments.verify);
    command.footer(R"(Examples:
  tagwire sensor write --epc E28011700000020F00000001 --byte 64 --data 48656C6C6F --password 12345678
  tagwire sensor write --epc E28011700000020F00000001 --file data.bin --password 12345678 --verify)");
}

// -- measuring

constexpr std::array quantity_names{Name{"temperature", 0}, Name{"voltage", 1}};
constexpr NameSet quantities{quantity_names, 255};
constexpr std::uint8_t temperature_quantity = 0;
constexpr std::uint8_t voltage_quantity = 1;

struct MeasureArguments {
    TagOptions tag;
    std::string quantity = "temperature";
    bool latest = false;
    bool field_check = false;
    std::string store_block;
};

void show_measurement(std::uint8_t quantity, const std::array<std::uint8_t, 2>& value, Done& done)
{
    done.object["raw"] = hex_text(value);
    if (quantity == temperature_quantity) {
        const auto temperature = temperature_from(value);
        done.text = celsius_text(temperature.celsius);
        done.object["celsius"] = *temperature.celsius;
    } else if (quantity == voltage_quantity) {
        done.text = fmt::format("{} mV", word_of(value));
        done.object["millivolts"] = word_of(value);
    } else {
        done.text = hex_text(value);
    }
}

Work plan_measure(const MeasureArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const auto quantity = parse_name(arguments.quantity, "--quantity", quantities);
    const std::uint8_t latest = arguments.latest ? 1 : 0;
    const std::uint8_t check = arguments.field_check ? 1 : 0;
    const std::uint8_t stores = arguments.store_block.empty() ? 0 : 1;
    const auto block = static_cast<std::uint8_t>(
        stores == 0 ? 0 : parse_number(arguments.store_block, "--store-block", 0, 255));
    auto done = done_with("", "sensor-temp", target.name);
    done.object["quantity"] = name_text(quantity, quantities);
    return sensor_work(target, Operation::SensorTemperature, done, TagCode::NotTold,
                       [=](TagCall& tag, std::uint8_t* password, Done& shown) {
                           std::array<std::uint8_t, 2> value{};
                           const auto result = tag(
                               Fd_GetTemperature,
                               std::tuple(quantity, latest, check, stores, block, password), value.data());
                           show_measurement(quantity, value, shown);
                           return result;
                       });
}

void add_measure_options(CLI::App& command, MeasureArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.add_option("--quantity", arguments.quantity, choices_text(quantities))
        ->type_name("WHAT")
        ->capture_default_str();
    command.add_flag("--latest", arguments.latest, "the latest result instead of a new one");
    command.add_flag("--field-check", arguments.field_check, "let the tag check the field first");
    command
        .add_option("--store-block", arguments.store_block,
                    "let the tag keep the result at this block of its memory, 0 to 255")
        ->type_name("N");
    command.footer(R"(Two bytes come: hundredths of a degree, or millivolts.

Examples:
  tagwire sensor temp --epc E28011700000020F00000001
  tagwire sensor temp --epc E28011700000020F00000001 --quantity voltage --json)");
}

// -- log

struct LogArguments {
    TagOptions tag;
    std::string delay = "0";
    std::string step;
    std::string stop_password = "00000000";
};

Work plan_log_start(const LogArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const auto delay = parse_word_number(arguments.delay, "--delay");
    const auto step = parse_number(arguments.step, "--step", 1, 65535);
    auto done = done_with("the log has begun", "sensor-log-start", target.name);
    done.object["delay"] = delay;
    done.object["step"] = step;
    return sensor_work(target, Operation::SensorLog, done, TagCode::Told,
                       [delay, step](TagCall& tag, std::uint8_t* password, Done&) {
                           auto delay_bytes = high_byte_first(delay);
                           auto step_bytes = high_byte_first(step);
                           return tag(Fd_StartLogging,
                                      std::tuple(delay_bytes.data(), step_bytes.data(), password));
                       });
}

void add_log_start_options(CLI::App& command, LogArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.add_option("--delay", arguments.delay, "before the first sample, 0 to 65535 in the tag's units")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--step", arguments.step, "from sample to sample, 1 to 65535 in the tag's units")
        ->type_name("N")
        ->required();
    command.footer(R"(A log that the tag has is begun anew. Read it with tagwire sensor read.

Examples:
  tagwire sensor log start --epc E28011700000020F00000001 --step 60 --password 12345678)");
}

Work plan_log_stop(const LogArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const auto stop_password = parse_password(arguments.stop_password, "--stop-password");
    return sensor_work(target, Operation::SensorLog,
                       done_with("the log has ended", "sensor-log-stop", target.name), TagCode::NotTold,
                       [stop_password](TagCall& tag, std::uint8_t* password, Done&) {
                           auto given = stop_password;
                           return tag(Fd_StopLogging, std::tuple(password, given.data()));
                       });
}

void add_log_stop_options(CLI::App& command, LogArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.add_option("--stop-password", arguments.stop_password, "8 hexadecimal digits")
        ->type_name("HEX")
        ->capture_default_str();
    command.footer(R"(Examples:
  tagwire sensor log stop --epc E28011700000020F00000001 --password 12345678 --stop-password 0BADF00D)");
}

// -- mode, sleep

Work plan_mode(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    const std::uint8_t refresh = arguments.flag ? 1 : 0;
    return sensor_work(target, Operation::SensorMode, done_with("", "sensor-mode", target.name),
                       TagCode::NotTold, [refresh](TagCall& tag, std::uint8_t* password, Done& shown) {
                           std::array<std::uint8_t, 2> status{};
                           const auto result =
                               tag(Fd_OP_Mode_Chk, std::tuple(refresh, password), status.data());
                           const auto mode = word_of(status);
                           shown.text = fmt::format("0x{:04X}  {}", mode, sensor_mode_text(mode));
                           shown.object["mode"] = mode;
                           shown.object["flags"] = sensor_mode_flags(mode);
                           return result;
                       });
}

void add_mode_options(CLI::App& command, SensorArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.add_flag("--refresh", arguments.flag, "let the tag read its configuration anew: wakes it");
    command.footer(R"(Examples:
  tagwire sensor mode --epc E28011700000020F00000001
  tagwire sensor mode --epc E28011700000020F00000001 --refresh --password 12345678)");
}

Work plan_sleep(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    return sensor_work(
        target, Operation::SensorMode, done_with("the tag sleeps now", "sensor-sleep", target.name),
        TagCode::NotTold,
        [](TagCall& tag, std::uint8_t* password, Done&) { return tag(Fd_DeepSleep, std::tuple(password)); });
}

void add_sleep_options(CLI::App& command, SensorArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.footer(R"(A sleeping tag is not heard until tagwire sensor mode --refresh wakes it.

Examples:
  tagwire sensor sleep --epc E28011700000020F00000001 --password 12345678)");
}

// -- SPI, alarm

constexpr std::uint32_t most_spi_answer = 7;
constexpr std::size_t most_spi_command = 200;

struct SpiArguments {
    TagOptions tag;
    std::string command;
    std::string answer = "0";
    std::string clock = "0";
    std::string delay = "0";
    std::string interval = "0";
};

struct SpiPlan {
    Bytes command;
    std::uint8_t answer = 0;
    std::uint8_t clock = 0;
    std::uint8_t delay = 0;
    std::uint8_t interval = 0;
};

TagResult exchange_spi(TagCall& tag, const SpiPlan& plan, std::uint8_t* password, Done& done)
{
    auto command = plan.command;
    std::array<std::uint8_t, most_spi_answer> answer{};
    const auto result = tag(GetSPI,
                            std::tuple(static_cast<std::uint8_t>(command.size()), plan.answer, plan.clock,
                                       plan.delay, plan.interval, command.data(), password),
                            answer.data());
    const auto text = hex_text(std::span(answer).first(plan.answer));
    done.text = text.empty() ? "done, without an answer" : text;
    done.object["answer"] = text;
    return result;
}

Work plan_spi(const SpiArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    SpiPlan plan{parse_units(arguments.command, "--command", 1),
                 static_cast<std::uint8_t>(parse_number(arguments.answer, "--answer", 0, most_spi_answer)),
                 parse_byte(arguments.clock, "--clock"), parse_byte(arguments.delay, "--delay"),
                 parse_byte(arguments.interval, "--interval")};
    if (plan.command.size() > most_spi_command)
        throw UsageError(
            fmt::format("--command has {} bytes: at most {}", plan.command.size(), most_spi_command));
    return sensor_work(target, Operation::SensorPeripheral, done_with("", "sensor-spi", target.name),
                       TagCode::Told, [plan](TagCall& tag, std::uint8_t* password, Done& shown) {
                           return exchange_spi(tag, plan, password, shown);
                       });
}

void add_spi_options(CLI::App& command, SpiArguments& arguments)
{
    add_target_options(command, arguments.tag);
    const auto add = [&command](const char* name, std::string& text, const char* description) {
        return command.add_option(name, text, description)->type_name("N")->capture_default_str();
    };
    command.add_option("--command", arguments.command, "what is sent, up to 200 bytes")
        ->type_name("HEX")
        ->required();
    add("--answer", arguments.answer, "how many bytes are read back, 0 to 7");
    add("--clock", arguments.clock, "clock, 0 to 255 in the tag's coding");
    add("--delay", arguments.delay, "delay before the first byte");
    add("--interval", arguments.interval, "time between two bytes");
    command.footer(R"(Examples:
  tagwire sensor spi --epc E28011700000020F00000001 --command 9F --answer 3)");
}

Work plan_reset_alarm(const SensorArguments& arguments)
{
    const auto target = parse_target_tag(arguments.tag);
    return sensor_work(
        target, Operation::SensorPeripheral,
        done_with("the alarm is reset", "sensor-reset-alarm", target.name), TagCode::Told,
        [](TagCall& tag, std::uint8_t* password, Done&) { return tag(ResetAlarm, std::tuple(password)); });
}

void add_reset_alarm_options(CLI::App& command, SensorArguments& arguments)
{
    add_target_options(command, arguments.tag);
    command.footer(R"(Examples:
  tagwire sensor reset-alarm --epc E28011700000020F00000001 --password 12345678)");
}

}  // namespace

void add_sensor_commands(Application& application)
{
    auto& sensor = application.add_group("sensor", "Sensor tags with registers, memory and a log.");
    add_to(application, sensor, "init", "Make the register file new.", add_init_options, plan_init);
    add_to(application, sensor, "read-reg", "Read a register.", add_read_register_options,
           plan_read_register);
    add_to(application, sensor, "write-reg", "Write a register.", add_write_register_options,
           plan_write_register);
    add_to(application, sensor, "read", "Read the data memory.", add_read_options, plan_read);
    add_to(application, sensor, "write", "Write the data memory.", add_write_options, plan_write);
    add_to(application, sensor, "temp", "Measure temperature or supply voltage.", add_measure_options,
           plan_measure);
    auto& log = *sensor.add_subcommand("log", "The temperature log.");
    log.fallthrough();
    log.require_subcommand(1);
    add_to(application, log, "start", "Begin the log.", add_log_start_options, plan_log_start);
    add_to(application, log, "stop", "End the log.", add_log_stop_options, plan_log_stop);
    add_to(application, sensor, "mode", "Show the mode of operation.", add_mode_options, plan_mode);
    add_to(application, sensor, "sleep", "Put the tag to sleep.", add_sleep_options, plan_sleep);
    add_to(application, sensor, "spi", "Talk to the SPI peripheral of a tag.", add_spi_options, plan_spi);
    add_to(application, sensor, "reset-alarm", "Reset the alarm of a tag.", add_reset_alarm_options,
           plan_reset_alarm);
}

}  // namespace tagwire::tool
