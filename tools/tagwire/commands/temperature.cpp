#include "commands/groups.h"
#include "errors.h"
#include "inventory_plan.h"
#include "inventory_run.h"
#include "reports.h"
#include "sensor_table.h"
#include "sensor_values.h"
#include "tag_call.h"
#include "tag_options.h"
#include "tagwire/memory.h"
#include "tagwire/result.h"
#include "tagwire/sensor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <poll.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::steady_clock;

// -- one tag

enum class Chip : std::uint8_t { G2, Em, Bx, Yl, On };
constexpr std::array chip_names{Name{"g2", 0}, Name{"em", 1}, Name{"bx", 2}, Name{"yl", 3}, Name{"on", 4}};
constexpr NameSet chips{chip_names, 4};
// The most words of an EPC that the command of a chip takes.
constexpr std::array<std::uint32_t, 5> most_id_words{14, 15, 31, 31, 31};

constexpr std::uint32_t usual_calibration_word = 8;
constexpr std::uint8_t user_bank = 3;
// The calibration and what fills its last word.
constexpr std::uint8_t calibration_words = 2;
constexpr std::size_t longest_answer = 250;

struct ReadArguments {
    TagOptions tag;
    bool any = false;
    std::string chip;
    std::string calibration;
    std::string calibration_word;
    std::string start_word = "0";
    std::string wait_time = "0";
    std::string time;
    bool latest = false;
    bool uid = false;
    bool raw = false;
};

using TimeBytes = std::array<std::uint8_t, 6>;

struct ReadPlan {
    Chip chip = Chip::G2;
    TagName name;
    Password password{};
    std::optional<Calibration> calibration;
    std::uint8_t calibration_word = usual_calibration_word;
    std::uint8_t start_word = 0;
    std::uint8_t wait_time = 0;
    std::optional<TimeBytes> time;
    bool latest = false;
    bool uid = false;
    bool raw = false;

    bool has_sense_word() const { return chip == Chip::G2 || chip == Chip::Em; }
    bool reads_calibration() const { return has_sense_word() && !raw && !calibration; }
};

// What a tag has told.
struct Reading {
    Bytes raw;
    std::optional<Calibration> calibration;
    std::optional<std::uint32_t> utc;
    Bytes uid;
};

std::uint8_t parse_byte(const std::string& text, std::string_view what)
{
    return static_cast<std::uint8_t>(parse_number(text, what, 0, 255));
}

TagFamily family_of(Chip chip)
{
    auto family = gen2_family;
    family.most_id_words = most_id_words.at(static_cast<std::size_t>(chip));
    return family;
}

TagName parse_name_for(const ReadArguments& arguments, Chip chip)
{
    if (arguments.any) {
        if (chip != Chip::G2) throw UsageError("--any goes with --chip g2 only: name the tag with --epc HEX");
        if (!arguments.tag.id.empty() || !arguments.tag.mask.empty())
            throw UsageError("--any takes whichever tag answers: leave out --epc and --mask");
        return {};
    }
    const bool takes_mask = chip != Chip::G2 && chip != Chip::Bx;
    if (!takes_mask && !arguments.tag.mask.empty())
        throw UsageError(fmt::format("the command of --chip {} knows no mask: name the tag with --epc HEX",
                                     arguments.chip));
    return parse_tag_name(arguments.tag, family_of(chip));
}

// Options that only some chips have.
void check_options(const ReadArguments& arguments, const ReadPlan& plan)
{
    const auto require = [&arguments](bool given, bool fits, const char* name) {
        if (given && !fits)
            throw UsageError(fmt::format("{} does not go with --chip {}", name, arguments.chip));
    };
    const bool is_g2 = plan.chip == Chip::G2;
    const bool is_em = plan.chip == Chip::Em;
    require(!arguments.calibration.empty(), plan.has_sense_word(), "--calibration");
    require(!arguments.calibration_word.empty(), plan.has_sense_word(), "--calibration-word");
    require(arguments.start_word != "0", is_g2, "--start-word");
    require(arguments.wait_time != "0", is_g2, "--wait-time");
    require(!arguments.time.empty(), is_g2, "--time");
    require(arguments.latest, is_em, "--latest");
    require(arguments.uid, is_em, "--uid");
    if (!arguments.calibration.empty() && !arguments.calibration_word.empty())
        throw UsageError("give the calibration, or where it stands: use either --calibration HEX or "
                         "--calibration-word N");
}

std::optional<TimeBytes> parse_time(const ReadArguments& arguments)
{
    if (arguments.time.empty()) return std::nullopt;
    // The command has the time in the place of a tag's name.
    if (!arguments.any) throw UsageError("--time goes with --any only");
    const auto bytes = parse_units(arguments.time, "--time", 1);
    TimeBytes time{};
    if (bytes.size() != time.size())
        throw UsageError(fmt::format("--time '{}' is not valid: use 12 hexadecimal digits", arguments.time));
    std::copy(bytes.begin(), bytes.end(), time.begin());
    return time;
}

ReadPlan plan_from(const ReadArguments& arguments)
{
    ReadPlan plan;
    plan.chip = static_cast<Chip>(parse_name(arguments.chip, "--chip", chips));
    check_options(arguments, plan);
    plan.name = parse_name_for(arguments, plan.chip);
    plan.password = parse_password(arguments.tag.password, "--password");
    if (!arguments.calibration.empty())
        plan.calibration = parse_calibration(arguments.calibration, "--calibration");
    if (!arguments.calibration_word.empty())
        plan.calibration_word = parse_byte(arguments.calibration_word, "--calibration-word");
    plan.start_word = parse_byte(arguments.start_word, "--start-word");
    plan.wait_time = parse_byte(arguments.wait_time, "--wait-time");
    plan.time = parse_time(arguments);
    plan.latest = arguments.latest;
    plan.uid = arguments.uid;
    plan.raw = arguments.raw;
    return plan;
}

Calibration calibration_in(std::span<const std::uint8_t> bytes)
{
    Calibration calibration{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), calibration.size()), calibration.begin());
    return calibration;
}

// The calibration comes with the same answer, behind the sensor word.
TagResult read_g2(const ReaderConnection& reader, const ReadPlan& plan, Reading& reading)
{
    TagArguments tag(plan.name);
    auto address = reader.address();
    const std::uint8_t reads_back = plan.reads_calibration() ? 1 : 0;
    Bytes data(longest_answer);
    TagResult result;
    if (plan.time) {
        auto time = *plan.time;
        result.code =
            GetTagTemperatureByTime(&address, tag.id.data(), tag.id_words, plan.start_word, plan.wait_time,
                                    time.data(), plan.calibration_word, calibration_words, reads_back,
                                    data.data(), &result.tag_error, reader.handle());
    } else {
        result.code = GetTagTemperature(&address, tag.id.data(), tag.id_words, plan.start_word,
                                        plan.wait_time, plan.calibration_word, calibration_words, reads_back,
                                        data.data(), &result.tag_error, reader.handle());
    }
    const auto sense_end = data.begin() + sense_bytes;
    reading.raw.assign(data.begin(), sense_end);
    if (plan.reads_calibration()) reading.calibration = calibration_in({sense_end, data.end()});
    return result;
}

TagResult read_calibration(TagCall& tag, const ReadPlan& plan, Reading& reading)
{
    auto password = plan.password;
    Bytes words(longest_answer);
    const auto result =
        tag(ReadData_G2, std::tuple(user_bank, plan.calibration_word, calibration_words, password.data()),
            words.data());
    reading.calibration = calibration_in(words);
    return result;
}

TagResult read_em(TagCall& tag, const ReadPlan& plan, Reading& reading)
{
    auto password = plan.password;
    const std::uint8_t send_uid = plan.uid ? 1 : 0;
    const std::uint8_t anew = plan.latest ? 0 : 1;
    Bytes uid(longest_answer + 6);
    SenseWord sense{};
    std::array<std::uint8_t, 4> utc{};
    const auto result =
        tag(GetEMTmpData, std::tuple(send_uid, anew, password.data()), uid.data(), sense.data(), utc.data());
    if (!result.is_success()) return result;
    reading.raw.assign(sense.begin(), sense.end());
    reading.utc =
        std::uint32_t{utc[0]} << 24U | std::uint32_t{utc[1]} << 16U | std::uint32_t{utc[2]} << 8U | utc[3];
    // A length of more than an answer can have stands for no ID.
    if (plan.uid && uid[0] < 248) reading.uid.assign(uid.begin() + 1, uid.begin() + 1 + uid[0]);
    return plan.reads_calibration() ? read_calibration(tag, plan, reading) : result;
}

TagResult read_bx(const ReaderConnection& reader, const ReadPlan& plan, Reading& reading)
{
    TagArguments tag(plan.name);
    auto address = reader.address();
    TagResult result;
    reading.raw.assign(2, 0);
    result.code = GetBxTagTemperature(&address, tag.id_words, tag.id.data(), reading.raw.data(),
                                      &result.tag_error, reader.handle());
    return result;
}

template <typename Call>
TagResult read_degrees(TagCall& tag, Call call, const ReadPlan& plan, Reading& reading)
{
    auto password = plan.password;
    reading.raw.assign(2, 0);
    return tag(call, std::tuple(password.data()), reading.raw.data());
}

TagResult read_chip(const ReaderConnection& reader, const ReadPlan& plan, Reading& reading)
{
    TagCall tag(reader, plan.name);
    reading.calibration = plan.calibration;
    switch (plan.chip) {
    case Chip::G2: return read_g2(reader, plan, reading);
    case Chip::Em: return read_em(tag, plan, reading);
    case Chip::Bx: return read_bx(reader, plan, reading);
    case Chip::Yl: return read_degrees(tag, YL_GetTempData, plan, reading);
    case Chip::On: break;
    }
    return read_degrees(tag, ON_GetTempData, plan, reading);
}

Temperature temperature_of(const Reading& reading)
{
    if (!reading.calibration) return temperature_from(std::array{reading.raw.at(0), reading.raw.at(1)});
    SenseWord sense{};
    std::copy_n(reading.raw.begin(), sense.size(), sense.begin());
    return temperature_from(sense, *reading.calibration);
}

std::string utc_text(std::uint32_t seconds)
{
    return timestamp_text(std::chrono::system_clock::time_point(std::chrono::seconds(seconds)));
}

void show_reading(const ReadPlan& plan, const Reading& reading, Done& done)
{
    done.object["raw"] = hex_text(reading.raw);
    if (reading.calibration) done.object["calibration"] = hex_text(*reading.calibration);
    if (plan.raw) {
        done.text = hex_text(reading.raw);
    } else {
        const auto temperature = temperature_of(reading);
        if (!temperature.celsius) {
            throw Failure(fmt::format("{}: bring the tag closer and try again, check the calibration, or see "
                                      "the bytes with --raw",
                                      temperature.problem));
        }
        done.text = celsius_text(temperature.celsius);
        done.object["celsius"] = *temperature.celsius;
    }
    if (reading.utc) {
        done.object["measured"] = utc_text(*reading.utc);
        done.text += fmt::format("  measured {}", utc_text(*reading.utc));
    }
    if (plan.uid) {
        done.object["uid"] = hex_text(reading.uid);
        done.text += fmt::format("  uid {}", shown_id(hex_text(reading.uid)));
    }
}

Work plan_read(const ReadArguments& arguments)
{
    const auto plan = plan_from(arguments);
    Done done{"", Json{{"type", "temperature"}}};
    if (!arguments.any) add_name(done.object, plan.name, gen2_family);
    done.object["chip"] = name_text(static_cast<std::uint8_t>(plan.chip), chips);
    return [plan, done](Session& session) {
        return run_call(session, Operation::SensorTemperature, done,
                        [&plan](const ReaderConnection& reader, Done& shown) {
                            Reading reading;
                            const auto result = read_chip(reader, plan, reading);
                            if (result.is_success()) show_reading(plan, reading, shown);
                            return result;
                        });
    };
}

void add_read_options(CLI::App& command, ReadArguments& arguments)
{
    add_name_options(command, arguments.tag, gen2_family);
    command.add_flag("--any", arguments.any, "g2: whichever tag answers: have one only in the field");
    add_password_option(command, arguments.tag);
    const auto add = [&command](const char* name, std::string& text, const char* type,
                                const std::string& description) {
        return command.add_option(name, text, description)->type_name(type);
    };
    add("--chip", arguments.chip, "CHIP", "whose command: " + choices_text(chips))->required();
    add("--calibration", arguments.calibration, "HEX", "g2, em: the tag's calibration, 3 bytes");
    add("--calibration-word", arguments.calibration_word, "N",
        fmt::format("g2, em: the word of the user bank where the tag has it; {} without either option",
                    usual_calibration_word));
    add("--start-word", arguments.start_word, "N", "g2: word that starts a measurement, 0 to 255")
        ->capture_default_str();
    add("--wait-time", arguments.wait_time, "N",
        "g2: how long the tag has power before, in the reader's units")
        ->capture_default_str();
    add("--time", arguments.time, "HEX", "g2 with --any: 6 bytes of time that the tag is given");
    command.add_flag("--latest", arguments.latest, "em: the latest measurement instead of a new one");
    command.add_flag("--uid", arguments.uid, "em: the tag's ID too");
    command.add_flag("--raw", arguments.raw, "show the bytes of the sensor, and do not convert them");
    command.footer(
        R"(g2 and em tell a sensor word, which the tag's calibration turns into degrees. The others tell
hundredths of a degree.

Examples:
  tagwire temp read --chip g2 --epc E28011700000020F00000001
  tagwire temp read --chip em --epc E28011700000020F00000001 --calibration 000020 --uid
  tagwire temp read --chip yl --mask tid:0:E2C0 --json)");
}

// -- many tags

enum class InventoryKind : std::uint8_t { Plain, Ltu32, Ast010 };
constexpr std::array kind_names{Name{"plain", 0}, Name{"ltu32", 1}, Name{"ast010", 2}};
constexpr NameSet kinds{kind_names, 2};

struct ManyArguments {
    ScanArguments scan;
    std::string kind = "plain";
    std::string epc;
    std::string q = "4";
    std::string session = "S0";
    std::string target = "A";
    std::string select_target;
    std::string select_action = "0";
    std::string wait_time = "0";
    std::string seconds;
    std::string interval = "1000";
};

struct ManyPlan {
    ScanPlan scan;
    InventoryKind kind = InventoryKind::Plain;
    TagName name;
    std::uint8_t q = 0;
    std::uint8_t session = 0;
    std::uint8_t target = 0;
    std::uint8_t select_target = 0;
    std::uint8_t select_action = 0;
    std::uint8_t wait_time = 0;
    std::optional<std::chrono::milliseconds> duration;
    std::chrono::milliseconds interval{};

    RecordTail tail() const
    {
        return kind == InventoryKind::Ast010 ? RecordTail::Hundredths : RecordTail::SenseAndCalibration;
    }
};

ManyPlan plan_from(const ManyArguments& arguments)
{
    ManyPlan plan;
    plan.kind = static_cast<InventoryKind>(parse_name(arguments.kind, "--kind", kinds));
    plan.scan = plan_from(arguments.scan, gen2_banks);
    if (plan.scan.mask && plan.kind != InventoryKind::Ast010)
        throw UsageError("--mask goes with --kind ast010 only: use --epc HEX");
    if (!arguments.epc.empty() && plan.kind == InventoryKind::Ast010)
        throw UsageError("--epc does not go with --kind ast010: use --mask epc:32:HEX");
    if (!arguments.epc.empty())
        plan.name = parse_tag_name({.id = arguments.epc, .mask = {}}, family_of(Chip::G2));
    plan.q = static_cast<std::uint8_t>(parse_number(arguments.q, "--q", 0, 15));
    plan.session = parse_session(arguments.session);
    plan.target = parse_target(arguments.target);
    plan.select_target =
        arguments.select_target.empty()
            ? plan.session
            : static_cast<std::uint8_t>(parse_number(arguments.select_target, "--select-target", 0, 7));
    plan.select_action =
        static_cast<std::uint8_t>(parse_number(arguments.select_action, "--select-action", 0, 7));
    plan.wait_time = parse_byte(arguments.wait_time, "--wait-time");
    if (!arguments.seconds.empty()) plan.duration = parse_seconds(arguments.seconds);
    plan.interval = std::chrono::milliseconds(parse_number(arguments.interval, "--interval", 0, 3600000));
    return plan;
}

// Without an antenna named the reader goes through its own.
constexpr std::uint8_t own_antennas = 0;

using NamedCall = decltype(&Inventory_Temperature);

int call_named(NamedCall call, const ReaderConnection& reader, const ManyPlan& plan, InventoryList& list,
               std::uint8_t& antenna, int& bytes)
{
    auto address = reader.address();
    TagArguments tag(plan.name);
    int count = 0;
    return call(&address, tag.id_words, tag.id.data(), plan.select_target, plan.select_action, plan.wait_time,
                plan.q, plan.session, plan.target, plan.scan.antenna.value_or(own_antennas),
                plan.scan.scan_time.value_or(0), list.data(), &antenna, &bytes, &count, reader.handle());
}

int call_masked(const ReaderConnection& reader, const ManyPlan& plan, InventoryList& list,
                std::uint8_t& antenna, int& bytes)
{
    auto address = reader.address();
    MaskArguments mask(plan.scan.mask);
    int count = 0;
    return Inventory_Temperature_Ast010(
        &address, plan.q, plan.session, mask.bank, mask.address.data(), mask.bits, mask.data.data(),
        plan.scan.mask ? 1 : 0, plan.target, plan.scan.antenna.value_or(own_antennas),
        plan.scan.scan_time.value_or(0), 1, list.data(), &antenna, &bytes, &count, reader.handle());
}

int call_temperatures(const ReaderConnection& reader, const ManyPlan& plan, InventoryList& list,
                      std::uint8_t& antenna, int& bytes)
{
    switch (plan.kind) {
    case InventoryKind::Plain: return call_named(Inventory_Temperature, reader, plan, list, antenna, bytes);
    case InventoryKind::Ltu32:
        return call_named(Inventory_Temperature_ltu32, reader, plan, list, antenna, bytes);
    case InventoryKind::Ast010: break;
    }
    return call_masked(reader, plan, list, antenna, bytes);
}

// Makes inventories one after the other, on one connection.
class TemperatureRunner {
  public:
    TemperatureRunner(const ReaderConnection& reader, ManyPlan plan)
        : reader_(reader), plan_(std::move(plan)), list_(std::make_unique<InventoryList>()),
          subscription_(reader.handle(), ReportSubscription::Delivery::ReportsAndList,
                        [this](const RFIDTag& report, int kind) {
                            reports_.push_back(record_from_report(report, kind));
                        })
    {
        plan_.scan.scan_time = scan_time_of(plan_.scan, reader);
    }

    // Returns the result of the library.
    int run(std::vector<TemperatureRecord>& records)
    {
        reports_.clear();
        std::uint8_t antenna = 0;
        int bytes = 0;
        const int code = call_temperatures(reader_, plan_, *list_, antenna, bytes);
        const auto used = std::min(static_cast<std::size_t>(std::max(bytes, 0)), list_->size());
        auto decoded = decode_list({list_->data(), used}, antenna);
        for (const auto& tag : combine(std::move(decoded.records), reports_))
            records.push_back(temperature_record(tag, plan_.tail()));
        return code;
    }

  private:
    const ReaderConnection& reader_;
    ManyPlan plan_;
    std::unique_ptr<InventoryList> list_;
    std::vector<TagRecord> reports_;
    ReportSubscription subscription_;
};

bool is_success(int code)
{
    return code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_TIME_OVER ||
           code == TAGWIRE_INVENTORY_NO_TAG;
}

Json record_json(const TemperatureRecord& record, const Moment& at)
{
    Json object;
    object["type"] = "temperature_tag";
    object["time"] = timestamp_text(at.wall);
    object["epc"] = record.epc;
    object["celsius"] = record.temperature.celsius ? Json(*record.temperature.celsius) : Json(nullptr);
    if (!record.temperature.celsius) object["problem"] = record.temperature.problem;
    object["raw"] = record.raw;
    object["antenna"] = record.antenna;
    object["rssi"] = record.rssi;
    return object;
}

std::string record_line(const TemperatureRecord& record)
{
    const auto& temperature = record.temperature;
    return fmt::format("{}  {}  antenna {}  rssi {}{}", shown_id(record.epc),
                       celsius_text(temperature.celsius), record.antenna, record.rssi,
                       temperature.celsius ? "" : fmt::format("  ({})", temperature.problem));
}

std::string count_text(std::size_t count)
{
    return fmt::format("{} temperature tag{}", count, count == 1 ? "" : "s");
}

int take_inventory(Session& session, const ManyPlan& plan)
{
    const auto reader = connect(session);
    std::vector<TemperatureRecord> records;
    int code = TAGWIRE_OK;
    {
        TemperatureRunner runner(*reader, plan);
        const InventoryAbort abort(session, *reader);
        code = runner.run(records);
    }
    const auto now = Moment::now();
    for (const auto& record : records)
        session.out.line(session.options.json ? json_line(record_json(record, now)) : record_line(record));
    session.out.flush();
    if (!is_success(code) && !session.interrupts.interrupted())
        reader->require_success(code, Operation::Inventory);
    tell(count_text(records.size()));
    reader->require_success(reader->close(), Operation::Close);
    return exit_success;
}

// Shows inventory after inventory.
class TemperatureView {
  public:
    explicit TemperatureView(Session& session)
        : session_(session), live_(!session.options.json && session.out.is_terminal())
    {}

    void add(const std::vector<TemperatureRecord>& records)
    {
        const auto now = Moment::now();
        for (const auto& record : records) {
            table_.add(record, now);
            if (!live_) show(record, now);
        }
        if (live_) redraw(now);
        session_.out.flush();
    }
    std::string summary() const
    {
        return fmt::format("{}, {} readings", count_text(table_.rows().size()), table_.reads());
    }

  private:
    void show(const TemperatureRecord& record, const Moment& now)
    {
        session_.out.line(session_.options.json
                              ? json_line(record_json(record, now))
                              : fmt::format("{}  {}", timestamp_text(now.wall), record_line(record)));
    }
    void redraw(const Moment& now)
    {
        const auto size = terminal_size(session_.out.fd());
        session_.out.text(screen_.draw(render_temperatures(table_, size, now), size));
    }

    Session& session_;
    bool live_;
    TemperatureTable table_;
    LiveScreen screen_;
};

// Until then, unless there is a signal or nobody looks any more.
void wait_until(Session& session, steady_clock::time_point then)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(then - steady_clock::now()).count();
    std::array<pollfd, 2> fds{pollfd{session.interrupts.fd(), POLLIN, 0}, pollfd{session.out.fd(), 0, 0}};
    if (left > 0) poll(fds.data(), fds.size(), static_cast<int>(left));
    session.out.check();
}

// Returns the text of the failure that ended it, if any.
std::optional<std::string> watch_until_end(Session& session, const ReaderConnection& reader,
                                           const ManyPlan& plan, TemperatureView& view)
{
    const auto start = steady_clock::now();
    TemperatureRunner runner(reader, plan);
    const InventoryAbort abort(session, reader);
    while (true) {
        const auto begin = steady_clock::now();
        std::vector<TemperatureRecord> records;
        const int code = runner.run(records);
        view.add(records);
        if (session.interrupts.interrupted()) return std::nullopt;
        if (!is_success(code)) return reader.text(code, Operation::Inventory);
        auto next = begin + plan.interval;
        if (plan.duration) next = std::min(next, start + *plan.duration);
        wait_until(session, next);
        const bool is_over = plan.duration && steady_clock::now() - start >= *plan.duration;
        if (is_over || session.interrupts.interrupted() || session.out.closed()) return std::nullopt;
    }
}

int watch(Session& session, const ManyPlan& plan)
{
    const auto reader = connect(session);
    TemperatureView view(session);
    const auto problem = watch_until_end(session, *reader, plan, view);
    if (problem) complain(*problem);
    if (!session.out.closed()) tell(view.summary());
    reader->require_success(reader->close(), Operation::Close);
    return problem ? exit_failure : exit_success;
}

Work plan_inventory(const ManyArguments& arguments)
{
    return [plan = plan_from(arguments)](Session& session) { return take_inventory(session, plan); };
}

Work plan_watch(const ManyArguments& arguments)
{
    return [plan = plan_from(arguments)](Session& session) { return watch(session, plan); };
}

void add_many_options(CLI::App& command, ManyArguments& arguments)
{
    const auto add = [&command](const char* name, std::string& text, const char* type,
                                const std::string& description) {
        command.add_option(name, text, description)->type_name(type)->capture_default_str();
    };
    add("--kind", arguments.kind, "KIND", "whose inventory: " + choices_text(kinds));
    add("--epc", arguments.epc, "HEX", "plain, ltu32: this tag only");
    add("--q", arguments.q, "N", "Q, 0 to 15: the reader expects about 2^Q tags");
    add("--session", arguments.session, "S", "session, S0 to S3");
    add("--target", arguments.target, "A|B", "inventoried flag to look for, A or B");
    add_scan_options(command, arguments.scan, gen2_banks);
    add("--wait-time", arguments.wait_time, "N",
        "plain, ltu32: how long tags have power before, in the reader's units");
    add("--select-target", arguments.select_target, "N",
        "plain, ltu32: target of the Select command, 0 to 7; otherwise the session");
    add("--select-action", arguments.select_action, "N", "plain, ltu32: its action, 0 to 7");
}

void add_inventory_command_options(CLI::App& command, ManyArguments& arguments)
{
    add_many_options(command, arguments);
    command.footer(
        R"(plain and ltu32 report a sensor word and the tag's calibration with every EPC, ast010 hundredths
of a degree. --mask goes with ast010 only.

Examples:
  tagwire temp inventory
  tagwire temp inventory --antenna 2 --json
  tagwire temp inventory --kind ast010 --mask tid:0:E2C0)");
}

void add_watch_options(CLI::App& command, ManyArguments& arguments)
{
    add_many_options(command, arguments);
    command.add_option("--seconds", arguments.seconds, "end after so many seconds; otherwise at Ctrl-C")
        ->type_name("N");
    command.add_option("--interval", arguments.interval, "ms from inventory to inventory, 0 to 3600000")
        ->type_name("MS")
        ->capture_default_str();
    command.footer(
        R"(The options are those of tagwire temp inventory. On a terminal a table of all tags is kept up
to date. Into a pipe or a file, and with --json, every reading is a line of its own.

Examples:
  tagwire temp watch
  tagwire temp watch --seconds 3600 --interval 60000 --json > temperatures.jsonl)");
}

}  // namespace

void add_temperature_commands(Application& application)
{
    auto& group = application.add_group("temp", "Tags that measure their temperature.");
    add_command_with<ReadArguments>(application, &group, "read", "Measure the temperature of one tag.",
                                    add_read_options, plan_read);
    add_command_with<ManyArguments>(application, &group, "inventory",
                                    "List all tags with their temperatures.", add_inventory_command_options,
                                    plan_inventory);
    add_command_with<ManyArguments>(application, &group, "watch", "Follow the temperatures of all tags.",
                                    add_watch_options, plan_watch);
}

}  // namespace tagwire::tool
