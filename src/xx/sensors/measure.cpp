#include "xx/sensors/measure.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr unsigned usual_calibration_word = 8;
constexpr u8 calibration_words = 2;
constexpr std::size_t longest_answer = 250;

u8 byte_or(const std::optional<unsigned>& value, unsigned otherwise)
{
    return static_cast<u8>(value.value_or(otherwise));
}

bool reads_calibration(const SensorQuestion& question) { return !question.calibration && !question.raw; }

// The calibration comes with the same answer, behind the sensor word.
void measure_g2(TagInside& tag, const SensorCall& how, const SensorQuestion& question,
                const std::optional<Bytes>& time, Temperature& measured)
{
    std::array<u8, longest_answer + 6> data{};
    int tag_error = -1;
    ReaderInside& reader = *tag.reader_;
    NameOnWire name = tag.name_by_epc(how.call, how.most_words);
    const u8 start = byte_or(question.start_word, 0);
    const u8 wait = byte_or(question.wait_time, 0);
    const u8 word = byte_or(question.calibration_word, usual_calibration_word);
    const u8 reads_back{reads_calibration(question)};
    const int result =
        time ? reader.run(how.call, &O::GetTagTemperatureByTime, name.id.data(), name.words, start, wait,
                          in(*time), word, calibration_words, reads_back, data.data(), &tag_error)
             : reader.run(how.call, &O::GetTagTemperature, name.id.data(), name.words, start, wait, word,
                          calibration_words, reads_back, data.data(), &tag_error);
    require_done(tag, how, result, tag_error);
    const int came = reader.came();
    measured.raw = as_came(data, came, sense_size);
    if (reads_back != 0)
        measured.calibration =
            as_came(std::span(data).subspan(sense_size), came - int{sense_size}, calibration_size);
}

Bytes read_calibration(TagInside& tag, u8 word)
{
    std::array<u8, longest_answer> words{};
    ask_sensor(tag, {temperature_call}, &O::ReadData_G2,
               std::tuple(static_cast<u8>(Bank::user), word, calibration_words, in(tag.password_)),
               words.data());
    return as_came(words, tag.reader_->came(), calibration_size);
}

// The answer is the ID where it was asked for, the sensor word, and the time.
void measure_em(TagInside& tag, const SensorCall& how, const SensorQuestion& question, Temperature& measured)
{
    constexpr int fixed_size = 8;
    std::array<u8, longest_answer + 6> uid{};
    std::array<u8, sense_size> sense{};
    std::array<u8, 4> utc{};
    const u8 sends_uid{question.with_uid};
    const u8 anew{!question.latest};
    ask_sensor(tag, how, &O::GetEMTmpData, std::tuple(sends_uid, anew, in(tag.password_)), uid.data(),
               sense.data(), utc.data());
    const int came = tag.reader_->came();
    const int uid_size = came - fixed_size;
    if (uid_size != (question.with_uid ? int{uid[0]} : 0)) {
        if (!question.with_uid) measured.raw = as_came(sense, came, sense_size);
        measured.problem = "the answer has " + std::to_string(came) + " bytes and not " +
                           (question.with_uid ? "an ID and " : "") + std::to_string(fixed_size);
        return;
    }
    measured.raw.assign(sense.begin(), sense.end());
    const std::uint32_t seconds =
        std::uint32_t{utc[0]} << 24U | std::uint32_t{utc[1]} << 16U | std::uint32_t{utc[2]} << 8U | utc[3];
    if (seconds != 0) measured.measured_at.emplace(std::chrono::seconds(seconds));
    if (question.with_uid) measured.uid.assign(uid.begin() + 1, uid.begin() + 1 + uid_size);
    if (reads_calibration(question))
        measured.calibration =
            read_calibration(tag, byte_or(question.calibration_word, usual_calibration_word));
}

void measure_bx(TagInside& tag, const SensorCall& how, Temperature& measured)
{
    std::array<u8, hundredths_size> data{};
    int tag_error = -1;
    NameOnWire name = tag.name_by_epc(how.call, how.most_words);
    const int result = tag.reader_->run(how.call, &O::GetBxTagTemperature, name.words, name.id.data(),
                                        data.data(), &tag_error);
    require_done(tag, how, result, tag_error);
    measured.raw = as_came(data, tag.reader_->came(), data.size());
}

template <class Operation>
void measure_hundredths(TagInside& tag, const SensorCall& how, Operation operation, Temperature& measured)
{
    std::array<u8, hundredths_size> data{};
    ask_sensor(tag, how, operation, std::tuple(in(tag.password_)), data.data());
    measured.raw = as_came(data, tag.reader_->came(), data.size());
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
    require(asked == Asked::one_by_one, !rule.comes_in_inventory || is_one_g2, "one tag by itself");
    require(question.calibration.has_value(), is_em || is_one_g2, "a calibration");
    require(question.calibration_word.has_value(), is_em || is_one_g2, "the word of a calibration");
    require(question.start_word.has_value(), is_one_g2, "a word that starts the measurement");
    require(question.wait_time.has_value(), is_one_g2 || (rule.comes_in_inventory && rule.has_sense_word),
            "a time to wait");
    require(question.latest, is_em || chip == SensorChip::fd, "the latest measurement");
    require(question.with_uid, is_em, "the tag's ID");
    require(question.raw, asked == Asked::one_by_one, "bytes that are not converted");
    if (question.calibration && question.calibration_word)
        refuse_value(inside, call, "give the calibration, or the word where it stands");
    if (question.calibration && !is_known_kind(*question.calibration))
        refuse_value(inside, call, "a calibration has 3 bytes, of which the last one begins with 0, 1 or 2");
    for (const auto& byte : {question.calibration_word, question.start_word, question.wait_time})
        checked(inside, call, "a word, or a time to wait,", byte.value_or(0), 0, 255);
}

void measure_one(TagInside& tag, SensorChip chip, const SensorQuestion& question, Temperature& measured,
                 const std::optional<Bytes>& time)
{
    const ChipRule& rule = chip_rule(*tag.reader_, temperature_call, chip);
    const SensorCall how{temperature_call, rule.longest_epc,
                         chip == SensorChip::fd ? TagCode::not_told : TagCode::told};
    const ReaderInside::Turn turn(*tag.reader_);
    measured.calibration = question.calibration.value_or(Bytes{});
    switch (chip) {
    case SensorChip::em: measure_em(tag, how, question, measured); break;
    case SensorChip::bx: measure_bx(tag, how, measured); break;
    case SensorChip::yl: measure_hundredths(tag, how, &O::YL_GetTempData, measured); break;
    case SensorChip::on: measure_hundredths(tag, how, &O::ON_GetTempData, measured); break;
    case SensorChip::fd: measured.raw = measure_fd(tag, how, {.latest = question.latest}); break;
    default: measure_g2(tag, how, question, time, measured);
    }
    measured.received = {std::chrono::steady_clock::now(), std::chrono::system_clock::now()};
    if (!measured.problem.empty()) return;
    question.raw ? require_whole(rule, measured) : convert(rule, measured);
}

}  // namespace v1
}  // namespace tagwire
