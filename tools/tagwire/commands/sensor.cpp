#include "commands/groups.h"
#include "errors.h"
#include "memory_transfer.h"
#include "sensor_memory.h"
#include "sensor_values.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/identification.h"
#include "tagwire/registers.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// A tag and the password that its commands go with.
struct SensorTarget {
    TagName name;
    Password password{};
};

struct SensorArguments {
    TagOptions tag;
    std::string first;
    std::string second;
    bool flag = false;
    bool yes = false;
};

void add_target_options(CLI::App& command, TagOptions& options)
{
    add_name_options(command, options, sensor_family);
    add_password_option(command, options);
}

SensorTarget parse_target_tag(const TagOptions& options)
{
    return {parse_tag_name(options, sensor_family), parse_password(options.password, "--password")};
}

Done done_with(std::string text, const char* type, const TagName& name)
{
    Done done{std::move(text), Json{{"type", type}}};
    add_name(done.object, name, sensor_family);
    return done;
}

// Most of these commands tell nothing of the tag's error code.
enum class TagCode : bool { NotTold, Told };

using SensorCall = std::function<TagResult(TagCall&, std::uint8_t* password, Done&)>;

Work sensor_work(const SensorTarget& target, Operation operation, const Done& done, TagCode code,
                 const SensorCall& call)
{
    return [=](Session& session) {
        return run_tag_call(session, target.name, operation, done, [&](TagCall& tag, Done& shown) {
            auto password = target.password;
            auto result = call(tag, password.data(), shown);
            if (code == TagCode::NotTold) result.tag_error = -1;
            return result;
        });
    };
}

std::uint32_t parse_word_number(const std::string& text, std::string_view what)
{
    return parse_number(text, what, 0, 65535);
}

std::uint8_t parse_byte(const std::string& text, std::string_view what)
{
    return static_cast<std::uint8_t>(parse_number(text, what, 0, 255));
}

std::uint16_t word_of(const std::array<std::uint8_t, 2>& bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

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

// -- identification

constexpr TagFamily identified_family{"--epc", "epc", 15, "bank", gen2_banks};

struct IdentifyArguments {
    std::string epc;
    std::string token;
};

TagResult identify_tag(const ReaderConnection& reader, const TagName& name, Done& done)
{
    auto address = reader.address();
    TagArguments tag(name);
    std::uint8_t size = 0;
    Bytes epc(255);
    std::uint8_t rssi = 0;
    std::array<std::uint8_t, 2> key{};
    std::array<std::uint8_t, 12> tid{};
    const TagResult result{QueryAndIdentify(&address, tag.id.data(), tag.id_words, &size, epc.data(), &rssi,
                                            key.data(), tid.data(), reader.handle())};
    epc.resize(size);
    done.text = fmt::format("{}  rssi {}  key {}  tid {}", hex_text(epc), rssi, hex_text(key), hex_text(tid));
    done.object["epc"] = hex_text(epc);
    done.object["rssi"] = rssi;
    done.object["key"] = hex_text(key);
    done.object["tid"] = hex_text(tid);
    return result;
}

Work plan_identify_tag(const IdentifyArguments& arguments)
{
    const auto name = arguments.epc.empty()
                          ? TagName{}
                          : parse_tag_name({.id = arguments.epc, .mask = {}}, identified_family);
    return [name](Session& session) {
        return run_call(
            session, Operation::TagIdentity, Done{"", Json{{"type", "identify-tag"}}},
            [&name](const ReaderConnection& reader, Done& done) { return identify_tag(reader, name, done); });
    };
}

void add_identify_tag_options(CLI::App& command, IdentifyArguments& arguments)
{
    command.add_option("--epc", arguments.epc, "the tag, 1 to 15 words; otherwise whichever answers")
        ->type_name("HEX");
    command.footer(R"(Examples:
  tagwire identify tag
  tagwire identify tag --epc E28011700000020F00000001 --json)");
}

Work plan_identify_begin(const IdentifyArguments&)
{
    return [](Session& session) {
        return run_call(session, Operation::TagIdentity, Done{"", Json{{"type", "identify-begin"}}},
                        [](const ReaderConnection& reader, Done& done) {
                            auto address = reader.address();
                            std::array<std::uint8_t, 4> random{};
                            const TagResult result{FirstIdentify(&address, random.data(), reader.handle())};
                            done.text = hex_text(random);
                            done.object["random"] = done.text;
                            return result;
                        });
    };
}

void add_identify_begin_options(CLI::App& command, IdentifyArguments&)
{
    command.footer(R"(Shows the reader's 4 random bytes.

Examples:
  tagwire identify begin)");
}

using Token = std::array<std::uint8_t, 8>;

TagResult finish_identification(const ReaderConnection& reader, Token token, Done& done)
{
    auto address = reader.address();
    Token answer{};
    std::array<std::uint8_t, 2> handle{};
    const TagResult result{
        SecondIdentify(&address, token.data(), answer.data(), handle.data(), reader.handle())};
    done.text = fmt::format("{}  handle {}", hex_text(answer), hex_text(handle));
    done.object["token"] = hex_text(answer);
    done.object["handle"] = hex_text(handle);
    return result;
}

Work plan_identify_finish(const IdentifyArguments& arguments)
{
    const auto bytes = parse_units(arguments.token, "TOKEN", 1);
    Token token{};
    if (bytes.size() != token.size())
        throw UsageError(fmt::format("TOKEN '{}' is not valid: use 16 hexadecimal digits", arguments.token));
    std::copy(bytes.begin(), bytes.end(), token.begin());
    return [token](Session& session) {
        return run_call(session, Operation::TagIdentity, Done{"", Json{{"type", "identify-finish"}}},
                        [token](const ReaderConnection& reader, Done& done) {
                            return finish_identification(reader, token, done);
                        });
    };
}

void add_identify_finish_options(CLI::App& command, IdentifyArguments& arguments)
{
    command
        .add_option("TOKEN", arguments.token, "8 bytes, made of the random bytes of tagwire identify begin")
        ->required();
    command.footer(
        R"(Shows the reader's token and its handle. A reader that refuses answers with meaningless bytes.

Examples:
  tagwire identify finish 0102030405060708)");
}

// -- LED

enum class LedChip : std::uint8_t { Fd, Yl, Klw, Bx };
constexpr std::array led_chip_names{Name{"fd", 0}, Name{"yl", 1}, Name{"klw", 2}, Name{"bx", 3}};
constexpr NameSet led_chips{led_chip_names, 3};

struct LedArguments {
    TagOptions tag;
    std::string chip;
    std::string time = "0";
    std::string mode = "1";
};

struct LedPlan {
    SensorTarget target;
    LedChip chip = LedChip::Fd;
    std::uint8_t time = 0;
    std::uint8_t mode = 0;
};

LedPlan led_plan(const LedArguments& arguments)
{
    LedPlan plan;
    plan.chip = static_cast<LedChip>(parse_name(arguments.chip, "--chip", led_chips));
    const auto& family = plan.chip == LedChip::Fd ? sensor_family : gen2_family;
    plan.target = {parse_tag_name(arguments.tag, family),
                   parse_password(arguments.tag.password, "--password")};
    plan.time = parse_byte(arguments.time, "--time");
    plan.mode = parse_byte(arguments.mode, "--mode");
    return plan;
}

TagResult switch_led(TagCall& tag, const LedPlan& plan, std::uint8_t* password)
{
    switch (plan.chip) {
    case LedChip::Fd: return {tag(Fd_LedCtr, std::tuple(plan.mode, password)).code, -1};
    case LedChip::Yl: return tag(YL_LED_Controll, std::tuple(plan.mode, plan.time, password));
    case LedChip::Klw: return tag(KLW_LED_Controll, std::tuple(plan.time, password));
    case LedChip::Bx: break;
    }
    return tag(BX_LED_Controll, std::tuple(plan.time, password));
}

Work led_work(const LedPlan& plan, const char* state)
{
    auto done = done_with(fmt::format("the LED is {}", state), "led", plan.target.name);
    done.object["state"] = state;
    return sensor_work(
        plan.target, Operation::TagLed, done, TagCode::Told,
        [plan](TagCall& tag, std::uint8_t* password, Done&) { return switch_led(tag, plan, password); });
}

Work plan_led_on(const LedArguments& arguments)
{
    const auto plan = led_plan(arguments);
    if (plan.mode == 0) throw UsageError("--mode 0 is off: use tagwire led off");
    return led_work(plan, "on");
}

Work plan_led_off(const LedArguments& arguments)
{
    auto plan = led_plan(arguments);
    if (plan.chip == LedChip::Klw || plan.chip == LedChip::Bx)
        throw UsageError("this chip switches its LED off by itself: use fd or yl");
    plan.mode = 0;
    return led_work(plan, "off");
}

void add_led_options(CLI::App& command, LedArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    add_password_option(command, arguments.tag);
    command.add_option("--chip", arguments.chip, "whose command: " + choices_text(led_chips))
        ->type_name("CHIP")
        ->required();
}

void add_led_on_options(CLI::App& command, LedArguments& arguments)
{
    add_led_options(command, arguments);
    command
        .add_option(
            "--time", arguments.time,
            "yl, klw, bx: how long the carrier feeds the tag, 0 to 255 in the reader's units; 0 is the "
            "time of tagwire led carrier-time")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--mode", arguments.mode, "fd, yl: how, 1 to 255 in the tag's coding")
        ->type_name("N")
        ->capture_default_str();
    command.footer(R"(Examples:
  tagwire led on --chip fd --epc E28011700000020F00000001
  tagwire led on --chip yl --mode 2 --time 50 --epc E28011700000020F00000001)");
}

void add_led_off_options(CLI::App& command, LedArguments& arguments)
{
    add_led_options(command, arguments);
    command.footer(R"(Examples:
  tagwire led off --chip fd --epc E28011700000020F00000001)");
}

struct CarrierTimeArguments {
    std::string time;
};

Work plan_carrier_time(const CarrierTimeArguments& arguments)
{
    const auto time = parse_byte(arguments.time, "TIME");
    return [time](Session& session) {
        return run_call(session, Operation::TagLed, Done{"", Json{{"type", "led-carrier-time"}}},
                        [time](const ReaderConnection& reader, Done& done) {
                            auto address = reader.address();
                            auto set = time;
                            const TagResult result{SetCarrierTime(&address, &set, reader.handle())};
                            done.text = fmt::format("the reader's carrier time is {}", set);
                            done.object["time"] = set;
                            return result;
                        });
    };
}

void add_carrier_time_options(CLI::App& command, CarrierTimeArguments& arguments)
{
    command.add_option("TIME", arguments.time, "0 to 255 in the reader's units")->required();
    command.footer(R"(Shows what the reader has set.

Examples:
  tagwire led carrier-time 20)");
}

template <typename Arguments>
void add(Application& application, CLI::App& group, const char* name, const char* description,
         void (*options)(CLI::App&, Arguments&), Work (*plan)(const Arguments&))
{
    add_command_with<Arguments>(application, &group, name, description, options, plan);
}

void add_led_commands(Application& application)
{
    auto& led = application.add_group("led", "LEDs of tags.");
    add(application, led, "on", "Switch the LED of a tag on.", add_led_on_options, plan_led_on);
    add(application, led, "off", "Switch it off.", add_led_off_options, plan_led_off);
    add(application, led, "carrier-time", "Set how long the reader feeds a tag with an LED.",
        add_carrier_time_options, plan_carrier_time);
}

}  // namespace

void add_sensor_commands(Application& application)
{
    auto& sensor = application.add_group("sensor", "Sensor tags with registers, memory and a log.");
    add(application, sensor, "init", "Make the register file new.", add_init_options, plan_init);
    add(application, sensor, "read-reg", "Read a register.", add_read_register_options, plan_read_register);
    add(application, sensor, "write-reg", "Write a register.", add_write_register_options,
        plan_write_register);
    add(application, sensor, "read", "Read the data memory.", add_read_options, plan_read);
    add(application, sensor, "write", "Write the data memory.", add_write_options, plan_write);
    add(application, sensor, "temp", "Measure temperature or supply voltage.", add_measure_options,
        plan_measure);
    auto& log = *sensor.add_subcommand("log", "The temperature log.");
    log.fallthrough();
    log.require_subcommand(1);
    add(application, log, "start", "Begin the log.", add_log_start_options, plan_log_start);
    add(application, log, "stop", "End the log.", add_log_stop_options, plan_log_stop);
    add(application, sensor, "mode", "Show the mode of operation.", add_mode_options, plan_mode);
    add(application, sensor, "sleep", "Put the tag to sleep.", add_sleep_options, plan_sleep);
    add(application, sensor, "spi", "Talk to the SPI peripheral of a tag.", add_spi_options, plan_spi);
    add(application, sensor, "reset-alarm", "Reset the alarm of a tag.", add_reset_alarm_options,
        plan_reset_alarm);
    auto& identify = application.add_group("identify", "Identification of tag and reader.");
    add(application, identify, "tag", "Ask for a tag and what identifies it.", add_identify_tag_options,
        plan_identify_tag);
    add(application, identify, "begin", "Begin an exchange of tokens with the reader.",
        add_identify_begin_options, plan_identify_begin);
    add(application, identify, "finish", "Finish it.", add_identify_finish_options, plan_identify_finish);
    add_led_commands(application);
}

}  // namespace tagwire::tool
