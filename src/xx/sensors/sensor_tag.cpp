// One sensor tag: registers, memory, log, mode.
#include <algorithm>
#include <map>
#include <utility>

#include "xx/sensors/measure.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call sensor_call(const char* name, Effect effect = Effect::none, int least = 0)
{
    return {.name = name, .effect = effect, .least = least, .family = engine::ResultFamily::sensor};
}

constexpr Call find_call = sensor_call("look for a sensor tag");
constexpr Call measure_call = sensor_call("measure", Effect::none, hundredths_size);
constexpr Call read_register_call = sensor_call("read a register", Effect::none, 2);
constexpr Call write_register_call = sensor_call("write a register", Effect::change);
constexpr Call renew_call = sensor_call("renew the registers", Effect::change);
constexpr Call read_memory_call = sensor_call("read sensor memory");
constexpr Call write_memory_call = sensor_call("write sensor memory", Effect::change);
constexpr Call start_log_call = sensor_call("start the log", Effect::change);
constexpr Call stop_log_call = sensor_call("stop the log", Effect::change);
constexpr Call read_log_call = sensor_call("read the log");
constexpr Call mode_call = sensor_call("ask for the mode of a sensor tag", Effect::none, 2);
constexpr Call wake_call = sensor_call("wake a sensor tag", Effect::change, 2);
constexpr Call sleep_call = sensor_call("put a sensor tag to sleep", Effect::change);
constexpr Call spi_call = sensor_call("talk to an SPI peripheral", Effect::change);
constexpr Call alarm_call = sensor_call("reset the alarm", Effect::change);

constexpr unsigned longest_epc = 14;             // words, of fd tags
constexpr unsigned longest_peripheral_epc = 15;  // of tags with an SPI peripheral or an alarm
constexpr unsigned memory_size = 65536;
constexpr unsigned most_bytes_in_answer = 250;
constexpr unsigned sample_size = 2;

// -- finding one

[[noreturn]] void refuse_tags(const ReaderInside& inside, const std::string& text)
{
    throw Error(Errc::invalid_value, find_call.name, inside.name(), text);
}

// Of tags with one EPC the strongest; refused where TIDs tell that they are several.
Read the_one(const ReaderInside& inside, std::vector<Read> reads, const std::optional<Epc>& wanted)
{
    std::map<Epc, std::optional<Tid>> tids;
    for (const Read& read : reads) {
        std::optional<Tid>& known = tids[read.epc];
        if (known && read.tid && *known != *read.tid && (!wanted || read.epc == *wanted))
            refuse_tags(inside, "several tags have the EPC " + read.epc.to_string());
        if (read.tid) known = read.tid;
    }
    std::vector<Read> found = strongest_of_each(std::move(reads), wanted);
    if (found.size() == 1 && found.front().epc.empty())
        refuse_tags(inside, "the tag has no EPC to be named by");
    if (found.size() == 1) return std::move(found.front());
    if (found.empty()) refuse_tags(inside, "no such tag answers: is it close to an antenna, and awake?");
    std::string text = std::to_string(found.size()) + " tags answer, name one of them:";
    for (const Read& read : found) text += " " + read.epc.to_string();
    refuse_tags(inside, text);
}

Read find_one(Reader& reader, const ReaderInside& inside, const Mask& mask, const std::optional<Epc>& wanted)
{
    constexpr unsigned tid_words = 6;
    InventoryResult found = reader.inventory({.mask = mask, .words = Words{Bank::tid, 0, tid_words}});
    if (!found.complete || found.bad_records != 0)
        refuse_tags(
            inside,
            "the inventory did not tell for sure which tags are there: try it again, with fewer of them");
    return the_one(inside, std::move(found.reads), wanted);
}

// -- memory

// What goes with every reading and writing of it.
struct MemoryKey {
    u8 type = 0;  // whether there is a password
    PasswordBytes password{};
};

MemoryKey memory_key(const ReaderInside& inside, const Call& call, const std::optional<Bytes>& password)
{
    return {u8{password.has_value()}, password_bytes(inside, call, password)};
}

void check_range(const ReaderInside& inside, const Call& call, unsigned first, std::size_t count)
{
    checked(inside, call, "the first byte", first, 0, memory_size - 1);
    checked(inside, call, "the count of bytes", static_cast<long long>(count), 1,
            static_cast<int>(memory_size - first));
}

Bytes read_piece(NamedTag& tag, PasswordBytes password, MemoryKey key, unsigned first, unsigned count)
{
    Bytes out(count);
    Call call = read_memory_call;
    call.least = static_cast<int>(count);
    auto address = high_byte_first(first);
    tag.ask(
        call, &O::Fd_ReadMemory,
        std::tuple(address.data(), static_cast<u8>(count), password.data(), key.type, key.password.data()),
        out.data());
    return out;
}

Bytes read_pieces(NamedTag& tag, const PasswordBytes& password, const MemoryKey& key, unsigned first,
                  unsigned count)
{
    Bytes out;
    while (out.size() < count) {
        const unsigned done = static_cast<unsigned>(out.size());
        const Bytes piece =
            read_piece(tag, password, key, first + done, std::min(count - done, most_bytes_in_answer));
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}

void write_piece(NamedTag& tag, PasswordBytes password, MemoryKey key, unsigned first,
                 std::span<const std::uint8_t> piece)
{
    Bytes bytes(piece.begin(), piece.end());
    auto address = high_byte_first(first);
    tag.ask(write_memory_call, &O::Fd_WriteMemory,
            std::tuple(address.data(), static_cast<u8>(bytes.size()), bytes.data(), password.data(), key.type,
                       key.password.data()));
}

std::string range_text(std::size_t first, std::size_t count)
{
    return "bytes " + std::to_string(first) + " to " + std::to_string(first + count - 1);
}

// Says how far a writing came that ended at `piece` bytes behind `done`.
[[noreturn]] void fail_half_way(const Error& error, unsigned first, std::size_t done, std::size_t piece)
{
    const bool is_in_doubt = error.outcome() == Outcome::unknown;
    const Outcome outcome = is_in_doubt ? Outcome::unknown : done > 0 ? Outcome::partial : Outcome::nothing;
    std::string text = done > 0 ? range_text(first, done) + " were written, " : "";
    text += range_text(first + done, piece) + (is_in_doubt ? " may have been, " : " were not, ");
    throw Error(static_cast<Errc>(error.code().value()), error.operation(), error.reader(),
                text + "nothing behind them: " + error.text(), outcome, error.result());
}

[[noreturn]] void refuse_difference(const ReaderInside& inside, const Call& call, const std::string& what)
{
    fail_as_different(inside, call,
                      what + " read back otherwise than they were written: look before you write again");
}

// -- mode

SensorMode ask_mode(ReaderInside& inside, const Call& call, const Epc& epc, PasswordBytes password,
                    bool wakes)
{
    std::array<u8, 2> bits{};
    NamedTag(inside, call, epc, longest_epc)
        .ask(call, &O::Fd_OP_Mode_Chk, std::tuple(u8{wakes}, password.data()), bits.data());
    return {static_cast<std::uint16_t>(bits[0] << 8U | bits[1])};
}

void refuse_log(const ReaderInside& inside, const std::string& what)
{
    throw Error(Errc::refused, start_log_call.name, inside.name(),
                what + ": read it first; start_log_anew() would destroy it");
}

}  // namespace

std::ostream& operator<<(std::ostream& out, SensorMode mode)
{
    constexpr std::array texts{"log running", "log without a sample", "log full", "was asleep", "LED on",
                               "alarm"};
    const char* between = "";
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if ((mode.bits >> i & 1U) == 0) continue;
        out << between << texts[i];
        between = ", ";
    }
    return *between == '\0' ? out << "idle" : out;
}

SensorTag Reader::sensor(const Epc& epc, const std::optional<Bytes>& password)
{
    const PasswordBytes bytes = password_bytes(*inside_, find_call, password);
    if (epc.empty()) refuse_value(*inside_, find_call, "the EPC is empty");
    return SensorTag(*inside_, find_one(*this, *inside_, epc_mask(epc), epc), bytes);
}

SensorTag Reader::sensor(const Mask& mask, const std::optional<Bytes>& password)
{
    const PasswordBytes bytes = password_bytes(*inside_, find_call, password);
    given_mask(*inside_, find_call, mask);
    return SensorTag(*inside_, find_one(*this, *inside_, mask, {}), bytes);
}

SensorMode Reader::wake_sensor(const Epc& epc, const std::optional<Bytes>& password)
{
    if (epc.empty()) refuse_value(*inside_, wake_call, "the EPC is empty");
    return ask_mode(*inside_, wake_call, epc, password_bytes(*inside_, wake_call, password), true);
}

// -- measuring

Temperature SensorTag::temperature(SensorChip chip, const SensorQuestion& question)
{
    check_question(*inside_, temperature_call, chip, Asked::one_by_one, question);
    const PasswordBytes password =
        question.password ? password_bytes(*inside_, temperature_call, question.password) : password_;
    Temperature out{.epc = found_.epc, .port = found_.port, .rssi = found_.rssi};
    out.antenna_byte = found_.antenna_byte;
    measure_one(*inside_, chip, password, question, out);
    return out;
}

Measured SensorTag::measure(const Measurement& measurement)
{
    Call call = measure_call;
    if (measurement.block) {
        checked(*inside_, call, "the block", *measurement.block, 0, 255);
        call.effect = Effect::change;
    }
    const Bytes raw = measure_fd(*inside_, call, epc(), password_, measurement);
    Measured out{static_cast<std::uint16_t>(raw[0] << 8U | raw[1])};
    if (measurement.quantity == Quantity::temperature)
        convert(*find_chip(SensorChip::fd), raw, out.celsius, out.problem);
    if (measurement.quantity == Quantity::voltage) out.millivolts = out.raw;
    return out;
}

// -- registers

std::uint16_t SensorTag::read_register(unsigned number)
{
    checked(*inside_, read_register_call, "the register", number, 0, 0xFFFF);
    auto address = high_byte_first(number);
    std::array<u8, 2> value{};
    NamedTag(*inside_, read_register_call, epc(), longest_epc)
        .ask(read_register_call, &O::Fd_ReadReg, std::tuple(address.data(), password_.data()), value.data());
    return static_cast<std::uint16_t>(value[0] << 8U | value[1]);
}

void SensorTag::write_register(unsigned number, std::uint16_t value)
{
    checked(*inside_, write_register_call, "the register", number, 0, 0xFFFF);
    auto address = high_byte_first(number);
    auto bytes = high_byte_first(value);
    const ReaderInside::Turn turn(*inside_);
    NamedTag(*inside_, write_register_call, epc(), longest_epc)
        .ask(write_register_call, &O::Fd_WriteReg,
             std::tuple(address.data(), bytes.data(), password_.data()));
    if (read_back(*inside_, write_register_call, [&] { return read_register(number); }) != value)
        refuse_difference(*inside_, write_register_call, "the bits of register " + std::to_string(number));
}

void SensorTag::renew_registers()
{
    NamedTag(*inside_, renew_call, epc(), longest_epc)
        .ask(renew_call, &O::Fd_InitRegfile, std::tuple(password_.data()));
}

// -- memory

Bytes SensorTag::read_memory(unsigned first, unsigned count, const std::optional<Bytes>& memory_password)
{
    const MemoryKey key = memory_key(*inside_, read_memory_call, memory_password);
    check_range(*inside_, read_memory_call, first, count);
    const ReaderInside::Turn turn(*inside_);
    NamedTag tag(*inside_, read_memory_call, epc(), longest_epc);
    return read_pieces(tag, password_, key, first, count);
}

void SensorTag::write_memory(unsigned first, std::span<const std::uint8_t> data,
                             const std::optional<Bytes>& memory_password, unsigned bytes_at_once)
{
    constexpr unsigned frame_room = 238;  // for the data and the EPC
    const MemoryKey key = memory_key(*inside_, write_memory_call, memory_password);
    check_range(*inside_, write_memory_call, first, data.size());
    checked(*inside_, write_memory_call, "the count of bytes at once", bytes_at_once, 1,
            static_cast<int>(frame_room - epc().size()));
    const ReaderInside::Turn turn(*inside_);
    NamedTag tag(*inside_, write_memory_call, epc(), longest_epc);
    for (std::size_t done = 0; done < data.size();) {
        const auto piece = data.subspan(done, std::min<std::size_t>(bytes_at_once, data.size() - done));
        try {
            write_piece(tag, password_, key, first + static_cast<unsigned>(done), piece);
        } catch (const Error& error) {
            fail_half_way(error, first, done, piece.size());
        }
        done += piece.size();
    }
    const Bytes found = read_back(*inside_, write_memory_call, [&] {
        return read_pieces(tag, password_, key, first, static_cast<unsigned>(data.size()));
    });
    if (!std::equal(found.begin(), found.end(), data.begin(), data.end()))
        refuse_difference(*inside_, write_memory_call, range_text(first, data.size()));
}

// -- log

void SensorTag::start_log(const LogPlan& plan, const LogPlace& place)
{
    const ReaderInside::Turn turn(*inside_);
    memory_key(*inside_, start_log_call, place.memory_password);
    check_range(*inside_, start_log_call, place.first_byte, sample_size);
    checked(*inside_, start_log_call, "the step", plan.step, 1, 0xFFFF);
    checked(*inside_, start_log_call, "the delay", plan.delay, 0, 0xFFFF);
    const SensorMode now = mode();
    if (now.logs()) refuse_log(*inside_, "a log runs");
    const Bytes count = read_memory(place.first_byte, sample_size, place.memory_password);
    if (now.log_is_full() || count != Bytes(sample_size))
        refuse_log(*inside_,
                   "the tag holds a log of " + std::to_string(count[0] << 8U | count[1]) + " samples");
    start_log_anew(plan);
}

void SensorTag::start_log_anew(const LogPlan& plan)
{
    checked(*inside_, start_log_call, "the delay", plan.delay, 0, 0xFFFF);
    checked(*inside_, start_log_call, "the step", plan.step, 1, 0xFFFF);
    auto delay = high_byte_first(plan.delay);
    auto step = high_byte_first(plan.step);
    NamedTag(*inside_, start_log_call, epc(), longest_epc)
        .ask(start_log_call, &O::Fd_StartLogging, std::tuple(delay.data(), step.data(), password_.data()));
}

void SensorTag::stop_log(const std::optional<Bytes>& stop_password)
{
    PasswordBytes stop = password_bytes(*inside_, stop_log_call, stop_password);
    NamedTag(*inside_, stop_log_call, epc(), longest_epc)
        .ask(stop_log_call, &O::Fd_StopLogging, std::tuple(password_.data(), stop.data()));
}

std::vector<LogSample> SensorTag::read_log(const LogPlace& place)
{
    const ReaderInside::Turn turn(*inside_);
    const Bytes head = read_memory(place.first_byte, sample_size, place.memory_password);
    const unsigned count = static_cast<unsigned>(head[0]) << 8U | head[1];
    if (count == 0) return {};
    const unsigned first = place.first_byte + sample_size;
    if (first + count * sample_size > memory_size)
        throw Error(Errc::bad_answer, read_log_call.name, inside_->name(),
                    "there is no log: " + std::to_string(count) + " samples have no room behind byte " +
                        std::to_string(place.first_byte));
    const Bytes samples = read_memory(first, count * sample_size, place.memory_password);
    std::vector<LogSample> out(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto bytes = std::span(samples).subspan(i * sample_size, sample_size);
        out[i].raw = static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
        convert(*find_chip(SensorChip::fd), bytes, out[i].celsius, out[i].problem);
    }
    return out;
}

// -- the rest

SensorMode SensorTag::mode() { return ask_mode(*inside_, mode_call, epc(), password_, false); }

void SensorTag::sleep()
{
    NamedTag(*inside_, sleep_call, epc(), longest_epc)
        .ask(sleep_call, &O::Fd_DeepSleep, std::tuple(password_.data()));
}

Bytes SensorTag::exchange_spi(const SpiExchange& exchange)
{
    const auto byte = [this](const char* what, unsigned value) {
        return static_cast<u8>(checked(*inside_, spi_call, what, value, 0, 255));
    };
    const int answer = checked(*inside_, spi_call, "the count of bytes to read back", exchange.answer, 0, 7);
    const int size = checked(*inside_, spi_call, "the count of bytes of the command",
                             static_cast<long long>(exchange.command.size()), 0, 200);
    Bytes command = exchange.command;
    Bytes out(static_cast<std::size_t>(answer));
    Call call = spi_call;
    call.least = answer;
    NamedTag(*inside_, call, epc(), longest_peripheral_epc)
        .ask(call, &O::GetSPI,
             std::tuple(static_cast<u8>(size), static_cast<u8>(answer), byte("the clock", exchange.clock),
                        byte("the delay", exchange.delay), byte("the interval", exchange.interval),
                        command.data(), password_.data()),
             out.data());
    return out;
}

void SensorTag::reset_alarm()
{
    NamedTag(*inside_, alarm_call, epc(), longest_peripheral_epc)
        .ask(alarm_call, &O::ResetAlarm, std::tuple(password_.data()));
}

}  // namespace v1
}  // namespace tagwire
