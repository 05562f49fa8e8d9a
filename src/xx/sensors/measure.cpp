#include "xx/sensors/measure.h"

#include <algorithm>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr unsigned usual_calibration_word = 8;
constexpr u8 calibration_words = 2;
constexpr std::size_t longest_answer = 250;

// As many bytes as came, and no more than `most`.
Bytes taken(std::span<const u8> from, int came, std::size_t most)
{
    const std::size_t count = std::min({from.size(), static_cast<std::size_t>(std::max(came, 0)), most});
    return {from.begin(), from.begin() + static_cast<std::ptrdiff_t>(count)};
}

u8 byte_or(const std::optional<unsigned>& value, unsigned otherwise)
{
    return static_cast<u8>(value.value_or(otherwise));
}

// The calibration comes with the same answer, behind the sensor word.
void measure_g2(ReaderInside& inside, NamedTag& tag, const SensorQuestion& question,
                const std::optional<Bytes>& time, Temperature& measured)
{
    std::array<u8, longest_answer + 6> data{};
    int tag_error = -1;
    const u8 start = byte_or(question.start_word, 0);
    const u8 wait = byte_or(question.wait_time, 0);
    const u8 word = byte_or(question.calibration_word, usual_calibration_word);
    const u8 reads_back = question.calibration ? 0 : 1;
    Bytes given_time = time.value_or(Bytes{});
    const int result =
        time ? inside.run(temperature_call, &O::GetTagTemperatureByTime, tag.epc(), tag.words(), start, wait,
                          given_time.data(), word, calibration_words, reads_back, data.data(), &tag_error)
             : inside.run(temperature_call, &O::GetTagTemperature, tag.epc(), tag.words(), start, wait, word,
                          calibration_words, reads_back, data.data(), &tag_error);
    tag.check(temperature_call, result, tag_error);
    const int came = inside.came();
    measured.raw = taken(data, came, sense_size);
    if (!question.calibration)
        measured.calibration =
            taken(std::span(data).subspan(sense_size), came - int{sense_size}, calibration_size);
}

Bytes read_calibration(ReaderInside& inside, NamedTag& tag, PasswordBytes password, u8 word)
{
    constexpr u8 user_bank = 3;
    std::array<u8, longest_answer> words{};
    tag.ask(temperature_call, &O::ReadData_G2,
            std::tuple(user_bank, word, calibration_words, password.data()), words.data());
    return taken(words, inside.came(), calibration_size);
}

// The answer is the ID where it was asked for, the sensor word, and the time.
void measure_em(ReaderInside& inside, NamedTag& tag, PasswordBytes password, const SensorQuestion& question,
                Temperature& measured)
{
    constexpr int fixed_size = 8;
    std::array<u8, longest_answer + 6> uid{};
    std::array<u8, sense_size> sense{};
    std::array<u8, 4> utc{};
    const u8 sends_uid{question.with_uid};
    const u8 anew{!question.latest};
    tag.ask(temperature_call, &O::GetEMTmpData, std::tuple(sends_uid, anew, password.data()), uid.data(),
            sense.data(), utc.data());
    const int uid_size = inside.came() - fixed_size;
    const bool is_whole = question.with_uid ? uid_size >= 0 && uid[0] == uid_size : uid_size >= 0;
    if (!is_whole) return;
    measured.raw.assign(sense.begin(), sense.end());
    measured.measured_at = std::chrono::sys_seconds(std::chrono::seconds(
        std::uint32_t{utc[0]} << 24U | std::uint32_t{utc[1]} << 16U | std::uint32_t{utc[2]} << 8U | utc[3]));
    if (question.with_uid) measured.uid.assign(uid.begin() + 1, uid.begin() + 1 + uid_size);
    if (!question.calibration)
        measured.calibration = read_calibration(inside, tag, password,
                                                byte_or(question.calibration_word, usual_calibration_word));
}

void measure_bx(ReaderInside& inside, NamedTag& tag, Temperature& measured)
{
    std::array<u8, hundredths_size> data{};
    int tag_error = -1;
    const int result = inside.run(temperature_call, &O::GetBxTagTemperature, tag.words(), tag.epc(),
                                  data.data(), &tag_error);
    tag.check(temperature_call, result, tag_error);
    measured.raw = taken(data, inside.came(), data.size());
}

template <class Operation>
void measure_hundredths(ReaderInside& inside, NamedTag& tag, Operation operation, PasswordBytes password,
                        Temperature& measured)
{
    std::array<u8, hundredths_size> data{};
    tag.ask(temperature_call, operation, std::tuple(password.data()), data.data());
    measured.raw = taken(data, inside.came(), data.size());
}

}  // namespace

const ChipRule& chip_rule(const ReaderInside& inside, const Call& call, SensorChip chip)
{
    const ChipRule* const rule = find_chip(chip);
    if (rule == nullptr) refuse_value(inside, call, "there is no such chip");
    return *rule;
}

void check_question(const ReaderInside& inside, const Call& call, SensorChip chip, Asked asked,
                    const SensorQuestion& question)
{
    const ChipRule& rule = chip_rule(inside, call, chip);
    const auto require = [&](bool given, bool fits, const char* what) {
        if (given && !fits)
            refuse_value(inside, call, std::string(what) + " is not for the chip " + rule.name + " here");
    };
    const bool is_em = chip == SensorChip::em;
    const bool is_one_g2 = chip == SensorChip::g2 && asked == Asked::one_by_one;
    const bool has_password = !rule.comes_in_inventory && chip != SensorChip::bx;
    require(asked == Asked::one_by_one, !rule.comes_in_inventory || is_one_g2, "one tag by itself");
    require(question.password.has_value(), has_password, "a password");
    require(question.calibration.has_value(), is_em || is_one_g2, "a calibration");
    require(question.calibration_word.has_value(), is_em || is_one_g2, "the word of a calibration");
    require(question.start_word.has_value(), is_one_g2, "a word that starts the measurement");
    require(question.wait_time.has_value(), is_one_g2 || (rule.comes_in_inventory && rule.has_sense_word),
            "a time to wait");
    require(question.latest, is_em || chip == SensorChip::fd, "the latest measurement");
    require(question.with_uid, is_em, "the tag's ID");
    if (question.calibration && question.calibration_word)
        refuse_value(inside, call, "give the calibration, or the word where it stands");
    if (question.calibration && !is_known_kind(*question.calibration))
        refuse_value(inside, call, "a calibration has 3 bytes, of which the last one begins with 0, 1 or 2");
    for (const auto& byte : {question.calibration_word, question.start_word, question.wait_time})
        checked(inside, call, "a word, or a time to wait,", byte.value_or(0), 0, 255);
    password_bytes(inside, call, question.password);
}

Bytes measure_fd(ReaderInside& inside, const Call& call, const Epc& epc, PasswordBytes password,
                 const Measurement& measurement)
{
    std::array<u8, hundredths_size> data{};
    NamedTag tag(inside, call, epc, find_chip(SensorChip::fd)->longest_epc);
    const u8 latest{measurement.latest};
    const u8 check{measurement.check_field};
    const u8 stores{measurement.block.has_value()};
    const ReaderInside::Turn turn(inside);
    tag.ask(call, &O::Fd_GetTemperature,
            std::tuple(static_cast<u8>(measurement.quantity), latest, check, stores,
                       byte_or(measurement.block, 0), password.data()),
            data.data());
    return taken(data, inside.came(), data.size());
}

void measure_one(ReaderInside& inside, SensorChip chip, PasswordBytes password,
                 const SensorQuestion& question, Temperature& measured, const std::optional<Bytes>& time)
{
    const ChipRule& rule = chip_rule(inside, temperature_call, chip);
    NamedTag tag(inside, temperature_call, measured.epc, rule.longest_epc);
    const ReaderInside::Turn turn(inside);
    measured.calibration = question.calibration.value_or(Bytes{});
    switch (chip) {
    case SensorChip::em: measure_em(inside, tag, password, question, measured); break;
    case SensorChip::bx: measure_bx(inside, tag, measured); break;
    case SensorChip::yl: measure_hundredths(inside, tag, &O::YL_GetTempData, password, measured); break;
    case SensorChip::on: measure_hundredths(inside, tag, &O::ON_GetTempData, password, measured); break;
    case SensorChip::fd:
        measured.raw =
            measure_fd(inside, temperature_call, measured.epc, password, {.latest = question.latest});
        break;
    default: measure_g2(inside, tag, question, time, measured);
    }
    measured.received = {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
    convert(rule, measured);
}

}  // namespace v1
}  // namespace tagwire
