// What particular chips can do.
#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call eas_call = tag_change("set the EAS state");
constexpr Call eas_alarm_call = tag_question("look for an EAS alarm");
constexpr Call qt_call = tag_question("ask for the QT control", 2);
constexpr Call set_qt_call = tag_change("set the QT control");
constexpr Call authenticate_call = tag_question("authenticate");
constexpr Call privacy_call = tag_change("set privacy");
constexpr Call end_privacy_call = tag_change("end privacy");
constexpr Call ask_privacy_call = tag_question("ask for privacy", 1);
constexpr Call untraceable_call = tag_change("make untraceable");
constexpr Call silence_call = tag_change("silence");
constexpr Call end_silence_call = tag_change("end silence");
constexpr Call led_call = tag_change("switch the LED", engine::ResultFamily::sensor);
constexpr Call carrier_call{"set the carrier time", Effect::change, 1};

u8 byte(const ReaderInside& reader, const Call& call, const char* what, long long value, int lowest = 0,
        int highest = 255)
{
    return static_cast<u8>(checked(reader, call, what, value, lowest, highest));
}

// For commands that whichever tag answers obeys.
template <class Operation, class... Own>
void ask_any(ReaderInside& reader, const Call& call, Operation operation, Own... own)
{
    const ReaderInside::Turn turn(reader);
    int error = -1;
    const int result = reader.run(call, operation, own..., &error);
    if (result != 0) fail_at_tag(reader, call, result, error);
    reader.require(call, reader.came());
}

// A call behind which the tag may answer to its name no more.
template <class Act> void hide(TagInside& tag, const char* by, Act act)
{
    try {
        act();
    } catch (const Error& error) {
        if (error.outcome() == Outcome::unknown) tag.hidden_by_ = by;
        throw;
    }
    tag.hidden_by_ = by;
}

bool has_mode(LedChip chip) { return chip == LedChip::fd || chip == LedChip::yl; }

// Its command takes EPCs of 14 words at most, and does not tell the tag's own code.
void switch_fd_led(TagInside& tag, u8 mode)
{
    constexpr unsigned most_words = 14;
    ReaderInside& reader = *tag.reader_;
    int unused = 0;
    const int result = run_for_tag(reader, led_call, tag.name(led_call, most_words), unused, &O::Fd_LedCtr,
                                   std::tuple(mode, in(tag.password_)));
    if (result != 0) fail_at_tag(reader, led_call, result, -1);
    tag.is_password_right_ = true;
}

void switch_led(TagInside& tag, LedChip chip, u8 mode, u8 time)
{
    u8* const password = in(tag.password_);
    switch (chip) {
    case LedChip::fd: return switch_fd_led(tag, mode);
    case LedChip::yl: return tag.ask(led_call, &O::YL_LED_Controll, std::tuple(mode, time, password));
    case LedChip::klw: return tag.ask(led_call, &O::KLW_LED_Controll, std::tuple(time, password));
    case LedChip::bx: return tag.ask(led_call, &O::BX_LED_Controll, std::tuple(time, password));
    }
}

// A tag that was woken; it is awake even where it is not found.
template <class Find> Tag found_again(const ReaderInside& reader, Find find)
{
    try {
        return find();
    } catch (const Error& error) {
        auto details = std::make_shared<ErrorDetails>();
        details->answered = error.answered();
        throw Error(static_cast<Errc>(error.code().value()), end_silence_call.name, reader.name(),
                    "the silence was ended, but finding the tag failed: " + error.text(), Outcome::partial,
                    error.result(), details);
    }
}

void end_silence(ReaderInside& reader, const NameOnWire& name, const Password& password)
{
    ask_tag(reader, end_silence_call, name, &O::Protected_mode_G2, std::tuple(u8{0}, in(password)));
}

}  // namespace

void Tag::set_eas(bool on)
{
    const auto turn = inside_->begin();
    inside_->ask(eas_call, &O::EASConfigure_G2, std::tuple(in(inside_->password_), static_cast<u8>(on)));
}

std::uint8_t Tag::qt()
{
    const auto turn = inside_->begin();
    u8 control = 0;
    inside_->ask(qt_call, &O::GetMonza4QTWorkParamter_G2, std::tuple(in(inside_->password_)), &control);
    return control;
}

void Tag::set_qt(std::uint8_t control)
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    hide(*inside_, "its QT control was set", [&] {
        inside_->ask(set_qt_call, &O::SetMonza4QTWorkParamter_G2,
                     std::tuple(control, in(inside_->password_)));
    });
}

Bytes Tag::authenticate(const AuthenticateMessage& message)
{
    constexpr int longest = 6;
    const auto turn = inside_->begin();
    ReaderInside& reader = *inside_->reader_;
    checked(reader, authenticate_call, "the count of bytes of a message",
            static_cast<long long>(message.message.size()), 0, longest);
    Bytes sent = message.message;
    sent.resize(longest);
    Bytes reply(250);
    u8 count = 0;
    Call call = authenticate_call;
    if (message.store) call.effect = Effect::change;
    inside_->ask(call, &O::Authenticate_G2,
                 std::tuple(static_cast<u8>(!message.store), static_cast<u8>(message.with_length),
                            message.suite, message.length, sent.data(), in(inside_->password_)),
                 &count, reply.data());
    reply.resize(static_cast<std::size_t>(reader.came()));
    return reply;
}

void Tag::set_privacy()
{
    const auto turn = inside_->begin();
    inside_->require_in_the_field();
    hide(*inside_, "its privacy was set",
         [&] { inside_->ask(privacy_call, &O::SetPrivacyByEPC_G2, std::tuple(in(inside_->password_))); });
}

Untraceable Tag::make_untraceable(const Untraceable& what)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    Untraceable sent = what;
    sent.epc_words = what.epc_words.value_or(static_cast<unsigned>(inside_->epc_.size() / 2));
    const u8 words = byte(reader, untraceable_call, "the count of words of the EPC", *sent.epc_words, 0, 31);
    const u8 tid = byte(reader, untraceable_call, "the TID's value", static_cast<int>(what.tid), 0, 2);
    const u8 range = byte(reader, untraceable_call, "the range's value", static_cast<int>(what.range), 0, 2);
    inside_->require_in_the_field();
    hide(*inside_, "it was made untraceable", [&] {
        inside_->ask(untraceable_call, &O::Untraceable_G2,
                     std::tuple(static_cast<u8>(what.flag), static_cast<u8>(what.epc_words.has_value()),
                                words, tid, static_cast<u8>(what.hide_user), range, in(inside_->password_)));
    });
    return sent;
}

void Tag::silence()
{
    const auto turn = inside_->begin();
    if (inside_->password_.is_zero())
        refuse_value(*inside_->reader_, silence_call,
                     "a silent tag is woken by its access password: set one");
    inside_->require_in_the_field();
    hide(*inside_, "it was silenced", [&] {
        inside_->ask(silence_call, &O::Protected_mode_G2, std::tuple(u8{1}, in(inside_->password_)));
    });
}

void Tag::light_led(const Led& led)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    checked(reader, led_call, "the chip", static_cast<int>(led.chip), 0, 3);
    if (led.mode && !has_mode(led.chip)) refuse_value(reader, led_call, "the LED of this chip has no modes");
    if (led.time && led.chip == LedChip::fd)
        refuse_value(reader, led_call,
                     "the LED of this chip has no time: it stays on until it is switched off");
    switch_led(*inside_, led.chip, byte(reader, led_call, "the mode", led.mode.value_or(1), 1),
               byte(reader, led_call, "the time", led.time.value_or(0)));
}

void Tag::switch_led_off(LedChip chip)
{
    const auto turn = inside_->begin();
    if (!has_mode(chip))
        refuse_value(*inside_->reader_, led_call,
                     "the LED of this chip ends by itself: it cannot be switched off");
    switch_led(*inside_, chip, 0, 0);
}

// -- whichever tag answers

void Reader::end_privacy(const Password& password)
{
    ask_any(*inside_, end_privacy_call, &O::ResetPrivacy_G2, in(password));
}

bool Reader::has_privacy()
{
    u8 is_protected = 0;
    ask_any(*inside_, ask_privacy_call, &O::CheckPrivacy_G2, &is_protected);
    return is_protected != 0;
}

bool Reader::eas_alarm()
{
    try {
        ask_any(*inside_, eas_alarm_call, &O::EASAlarm_G2);
        return true;
    } catch (const Error& error) {
        if (error.code() == Errc::no_tag) return false;
        throw;
    }
}

Tag Reader::end_silence(const Epc& name, const Password& password)
{
    const Inside::Turn turn(*inside_);
    if (name.size() % 2 != 0) refuse_value(*inside_, end_silence_call, "an EPC has whole words of 2 bytes");
    checked(*inside_, end_silence_call, "the count of words of the EPC",
            static_cast<long long>(name.size() / 2), 1, 31);
    tagwire::end_silence(*inside_, name_by(name.bytes()), password);
    return found_again(*inside_, [&] { return tag(name, password); });
}

Tag Reader::end_silence(const Tid& name, const Password& password)
{
    const Inside::Turn turn(*inside_);
    tagwire::end_silence(*inside_, name_by(*inside_, name), password);
    return found_again(*inside_, [&] { return tag(name, password); });
}

void Reader::set_carrier_time(int time)
{
    const Inside::Turn turn(*inside_);
    const u8 wanted = byte(*inside_, carrier_call, "the carrier time", time);
    u8 told = wanted;
    inside_->ask(carrier_call, &O::SetCarrierTime, &told);
    if (told != wanted)
        throw Error(Errc::differs, carrier_call.name, inside_->name(),
                    "the reader's carrier time is " + std::to_string(told) + ": it may have refused another");
}

}  // namespace v1
}  // namespace tagwire
