// One sensor tag: registers, memory, log, mode.
#include <utility>

#include "xx/sensors/measure.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr SensorCall peripheral_call(const char* name)
{
    constexpr unsigned most_words = 15;
    return {{name, Effect::change, 0, false, engine::ResultFamily::sensor}, most_words};
}

constexpr SensorCall measure_call = fd_call("measure", Effect::none, hundredths_size);
constexpr SensorCall read_register_call = fd_call("read a register", Effect::none, 2);
constexpr SensorCall write_register_call = fd_call("write a register", Effect::change, 0, TagCode::told);
constexpr SensorCall renew_call = fd_call("renew the registers", Effect::change);
constexpr SensorCall start_log_call = fd_call("start the log", Effect::change, 0, TagCode::told);
constexpr SensorCall stop_log_call = fd_call("stop the log", Effect::change);
constexpr SensorCall read_log_call = fd_call("read the log");
constexpr SensorCall mode_call = fd_call("ask for the mode of a sensor tag", Effect::none, 2);
constexpr SensorCall wake_call = fd_call("wake a sensor tag", Effect::change, 2);
constexpr SensorCall sleep_call = fd_call("put a sensor tag to sleep", Effect::change);
constexpr SensorCall spi_call = peripheral_call("talk to an SPI peripheral");
constexpr SensorCall alarm_call = peripheral_call("reset the alarm");

constexpr unsigned sample_size = 2;

std::uint16_t number_of(std::span<const u8> bytes)
{
    return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

// Behind a change that failed: looks whether it was done all the same, and throws Error unless it was.
template <class IsDone> void require_seen_done(const Error& error, IsDone is_done, const char* not_done)
{
    if (!may_have_been_done(error)) throw error;
    const auto done = look_until_told(is_done);
    if (!done) throw told_again(error, "; whether it was done could not be seen", Outcome::unknown);
    if (!*done) throw told_again(error, not_done, Outcome::nothing);
    if (error.outcome() != Outcome::unknown)
        throw told_again(error, "; looked at, it is so all the same", Outcome::unknown);
}

// -- registers

std::uint16_t ask_register(TagInside& tag, unsigned number, const Password& password)
{
    auto address = word_bytes(number);
    std::array<u8, 2> value{};
    ask_sensor_with(password, tag, read_register_call, &O::Fd_ReadReg,
                    std::tuple(address.data(), in(password)), value.data());
    return number_of(value);
}

void send_register(TagInside& tag, unsigned number, std::uint16_t value)
{
    auto address = word_bytes(number);
    auto bytes = word_bytes(value);
    ask_sensor(tag, write_register_call, &O::Fd_WriteReg,
               std::tuple(address.data(), bytes.data(), in(tag.password_)));
}

// -- log

SensorMode look_at_mode(TagInside& tag) { return ask_mode(tag, mode_call, tag.proven_password(), false); }

void check_plan(const ReaderInside& reader, const LogPlan& plan)
{
    checked(reader, start_log_call.call, "the delay", plan.delay, 0, 0xFFFF);
    checked(reader, start_log_call.call, "the step", plan.step, 1, 0xFFFF);
}

[[noreturn]] void refuse_log(const ReaderInside& reader, const std::string& what)
{
    throw Error(Errc::refused, start_log_call.call.name, reader.name(),
                what + ": read it first; start_log_anew() would destroy it");
}

// Where a log runs already it cannot be seen whether it was begun anew.
void begin_log(TagInside& tag, const LogPlan& plan, SensorMode before)
{
    auto delay = word_bytes(plan.delay);
    auto step = word_bytes(plan.step);
    tag.require_in_the_field();
    try {
        ask_sensor(tag, start_log_call, &O::Fd_StartLogging,
                   std::tuple(delay.data(), step.data(), in(tag.password_)));
    } catch (const Error& error) {
        if (before.logs()) throw;
        const auto has_begun = [&] {
            const SensorMode now = look_at_mode(tag);
            return now.logs() || (now.log_is_full() && !before.log_is_full());
        };
        require_seen_done(error, has_begun, "; looked at, no log runs");
    }
}

MemoryRange place_of_log(const ReaderInside& reader, const SensorCall& how, unsigned first_byte)
{
    checked(reader, how.call, "the first byte of the log", first_byte, 0, SensorMemory::end - sample_size);
    return {first_byte, sample_size};
}

bool has_room(unsigned first_byte, unsigned samples)
{
    return first_byte + (1 + samples) * sample_size <= SensorMemory::end;
}

std::string no_log(unsigned first_byte, unsigned samples)
{
    return "there is no log: " + std::to_string(samples) + " samples have no room behind byte " +
           std::to_string(first_byte);
}

LogSample sample_of(std::span<const u8> bytes)
{
    LogSample out;
    out.raw = number_of(bytes);
    convert_hundredths(bytes, out.celsius, out.problem);
    return out;
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

SensorTag Tag::sensor() const
{
    const auto turn = inside_->begin();
    return SensorTag(inside_);
}

SensorTag::SensorTag(std::shared_ptr<TagInside> inside) : inside_(std::move(inside)) {}

const Epc& SensorTag::epc() const noexcept { return inside_->epc_; }

// -- measuring

Temperature SensorTag::temperature(SensorChip chip, const SensorQuestion& question)
{
    const auto turn = inside_->begin();
    check_question(*inside_->reader_, temperature_call, chip, Asked::one_by_one, question);
    Temperature out{.epc = inside_->epc_, .tid = inside_->tid_};
    measure_one(*inside_, chip, question, out);
    return out;
}

Measured SensorTag::measure(const Measurement& measurement)
{
    const auto turn = inside_->begin();
    SensorCall how = measure_call;
    if (measurement.block) {
        checked(*inside_->reader_, how.call, "the block", *measurement.block, 0, 255);
        how.call.effect = Effect::change;
        inside_->require_in_the_field();
    }
    const Bytes raw = measure_fd(*inside_, how, measurement);
    Measured out{number_of(raw)};
    if (measurement.quantity == Quantity::temperature) convert_hundredths(raw, out.celsius, out.problem);
    if (measurement.quantity == Quantity::voltage) convert_voltage(out);
    return out;
}

// -- registers

std::uint16_t SensorTag::read_register(unsigned number)
{
    const auto turn = inside_->begin();
    checked(*inside_->reader_, read_register_call.call, "the register", number, 0, 0xFFFF);
    return ask_register(*inside_, number, inside_->password_);
}

void SensorTag::write_register(unsigned number, std::uint16_t value)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    const Call& call = write_register_call.call;
    checked(reader, call, "the register", number, 0, 0xFFFF);
    const auto look = [&] { return ask_register(*inside_, number, inside_->proven_password()); };
    const auto text = [&](std::uint16_t found) {
        return "register " + std::to_string(number) + " holds " + to_hex(word_bytes(found));
    };
    inside_->require_in_the_field();
    try {
        send_register(*inside_, number, value);
    } catch (const Error& error) {
        if (!may_have_been_done(error)) throw;
        const auto found = look_until_told(look);
        if (found == value && error.outcome() == Outcome::unknown) return;
        throw told_again(error, found ? "; " + text(*found) : "; what it holds could not be seen",
                         found && found != value ? error.outcome() : Outcome::unknown);
    }
    if (const std::uint16_t found = read_back(reader, call, look); found != value)
        fail_as_different(reader, call, text(found) + ", which is not what was written");
}

void SensorTag::renew_registers()
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    ask_sensor(*inside_, renew_call, &O::Fd_InitRegfile, std::tuple(in(inside_->password_)));
}

// -- memory

Bytes SensorTag::read_memory(unsigned first, unsigned count, const Password& memory_password,
                             const ReadingTold& told)
{
    const auto turn = inside_->begin();
    SensorMemory memory(*inside_, memory_password);
    return memory.read_told(
        checked_range(memory.reader(), read_sensor_memory_call.call, first, count, SensorMemory::end), told);
}

void SensorTag::write_memory(unsigned first, std::span<const std::uint8_t> data,
                             const Password& memory_password, unsigned most_bytes)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    const Call& call = write_sensor_memory_call.call;
    const MemoryRange range = checked_range(reader, call, first, data.size(), SensorMemory::end);
    checked(reader, call, "the count of bytes of one command", most_bytes, 1, 255);
    SensorMemory memory(*inside_, memory_password, most_bytes);
    try {
        memory.open(range);
    } catch (const Error& error) {
        throw told_unwritten(error, range, 1);
    }
    write_pieces(memory, first, data);
}

// -- log

void SensorTag::start_log(const LogPlan& plan, unsigned first_byte, const Password& memory_password)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    check_plan(reader, plan);
    const MemoryRange place = place_of_log(reader, start_log_call, first_byte);
    inside_->require_in_the_field();  // what is looked at now is of this tag
    const SensorMode now = mode();
    if (now.logs()) refuse_log(reader, "a log runs");
    const unsigned count = number_of(SensorMemory(*inside_, memory_password).read(place));
    if (!has_room(first_byte, count))
        throw Error(Errc::refused, start_log_call.call.name, reader.name(),
                    no_log(first_byte, count) + ", as in erased memory, or behind a wrong place: "
                                                "start_log_anew() begins one wherever it stands");
    if (now.log_is_full() || count != 0)
        refuse_log(reader, "the tag holds a log of " + std::to_string(count) + " samples");
    begin_log(*inside_, plan, now);
}

void SensorTag::start_log_anew(const LogPlan& plan)
{
    const auto turn = inside_->begin();
    check_plan(*inside_->reader_, plan);
    begin_log(*inside_, plan, mode());
}

void SensorTag::stop_log(const Password& stop_password)
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    try {
        ask_sensor(*inside_, stop_log_call, &O::Fd_StopLogging,
                   std::tuple(in(inside_->password_), in(stop_password)));
    } catch (const Error& error) {
        require_seen_done(
            error, [&] { return !look_at_mode(*inside_).logs(); }, "; looked at, the log runs on");
    }
}

std::vector<LogSample> SensorTag::read_log(unsigned first_byte, const Password& memory_password,
                                           const ReadingTold& told)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    const MemoryRange place = place_of_log(reader, read_log_call, first_byte);
    SensorMemory memory(*inside_, memory_password);
    const unsigned count = number_of(memory.read(place));
    const unsigned first = first_byte + sample_size;
    if (!has_room(first_byte, count))
        throw Error(Errc::bad_answer, read_log_call.call.name, reader.name(), no_log(first_byte, count));
    const Bytes samples = memory.read_told({first, count * sample_size}, told);
    std::vector<LogSample> out;
    for (std::size_t at = 0; at < samples.size(); at += sample_size)
        out.push_back(sample_of(std::span(samples).subspan(at, sample_size)));
    return out;
}

// -- mode

SensorMode SensorTag::mode()
{
    const auto turn = inside_->begin();
    return ask_mode(*inside_, mode_call, inside_->password_, false);
}

void SensorTag::sleep()
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    ask_sensor(*inside_, sleep_call, &O::Fd_DeepSleep, std::tuple(in(inside_->password_)));
}

SensorMode Reader::wake_sensor(const Epc& name, const Password& password)
{
    if (name.empty()) refuse_value(*inside_, wake_call.call, "the EPC is empty");
    TagInside tag(*inside_, {.epc = name}, false, password);
    return ask_mode(tag, wake_call, password, true);
}

SensorMode Reader::wake_sensor(const Tid& name, const Password& password)
{
    TagInside tag(*inside_, {.tid = name}, true, password);
    return ask_mode(tag, wake_call, password, true);
}

// -- the rest

Bytes SensorTag::exchange_spi(const SpiExchange& exchange)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    SensorCall how = spi_call;
    const auto byte = [&](const char* what, unsigned value) {
        return static_cast<u8>(checked(reader, how.call, what, value, 0, 255));
    };
    const int answer = checked(reader, how.call, "the count of bytes to read back", exchange.answer, 0, 7);
    const int size = checked(reader, how.call, "the count of bytes of the command",
                             static_cast<long long>(exchange.command.size()), 0, 200);
    Bytes out(static_cast<std::size_t>(answer));
    how.call.least = answer;
    ask_sensor(*inside_, how, &O::GetSPI,
               std::tuple(static_cast<u8>(size), static_cast<u8>(answer), byte("the clock", exchange.clock),
                          byte("the delay", exchange.delay), byte("the interval", exchange.interval),
                          in(exchange.command), in(inside_->password_)),
               out.data());
    return out;
}

void SensorTag::reset_alarm()
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    ask_sensor(*inside_, alarm_call, &O::ResetAlarm, std::tuple(in(inside_->password_)));
}

}  // namespace v1
}  // namespace tagwire
