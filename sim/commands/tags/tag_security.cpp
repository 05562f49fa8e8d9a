// Locking and killing one Gen2 tag, and what it shows of itself.
#include <algorithm>
#include <array>
#include <utility>

#include "commands/codes.h"
#include "commands/tags/tag_request.h"

namespace tagwire::sim {

namespace {

constexpr std::uint8_t qt_short_range = 0x01;  // bits of the QT word
constexpr std::uint8_t qt_public = 0x02;
constexpr std::uint8_t last_range = 2;
constexpr std::size_t message_size = 6;

using ChangeState = std::function<void(TagState&)>;

TagAction change_state(const Password& password, ChangeState change)
{
    return {password, [change = std::move(change)](TagAccess& tag) {
                TagState state = tag.tag().state();
                change(state);
                return tag.change(state);
            }};
}

bool replies(const Tag& tag) { return tag.state().replies(); }

std::optional<TagAction> prepare_lock(Fields& own)
{
    const std::uint8_t area = own.byte();
    const std::uint8_t lock = own.byte();
    if (area >= lock_areas || lock > static_cast<std::uint8_t>(Lock::closed_forever)) return std::nullopt;
    return TagAction{own.fixed<password_size>(), [area, lock](TagAccess& tag) {
                         return tag.lock(static_cast<Area>(area), static_cast<Lock>(lock));
                     }};
}

std::optional<TagAction> prepare_block_lock(Fields& own)
{
    const auto password = own.fixed<password_size>();
    return TagAction{password, [word = own.byte()](TagAccess& tag) { return tag.lock_block(word); }};
}

// The kill password opens nothing else, so the tag is not accessed first.
void kill_tag(Device& device, const Call& call)
{
    const auto request = parse_tag_request(call.data(), 0, password_size);
    if (!request) return device.answer(call, status::bad_parameter);
    const auto found = find_tag(device, call.now, is_meant(request->tag));
    if (!found) return device.answer(call, status::no_tag);
    const auto password = Fields(request->own, 0).fixed<password_size>();
    answer(device, call, kill(found->tag, password, device.writing_power(found->port)));
}

TagAction protect_reading(const Password& password, bool protect)
{
    return change_state(password, [protect](TagState& state) { state.read_protected = protect; });
}

std::optional<TagAction> prepare_privacy(Fields& own)
{
    return protect_reading(own.fixed<password_size>(), true);
}

// Only a tag whose reading is protected answers a reset.
template <bool protect> void set_privacy_of_any(Device& device, const Call& call)
{
    if (call.data().size() != password_size) return device.answer(call, status::bad_parameter);
    const auto fits = [](const Tag& tag) { return replies(tag) && (protect || tag.state().read_protected); };
    const auto password = Fields(call.data(), 0).fixed<password_size>();
    act_on_tag(device, call, fits, protect_reading(password, protect));
}

void check_privacy(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    const auto found = find_tag(device, call.now, replies);
    if (!found) return device.answer(call, status::no_tag);
    device.answer(call, status::success, {std::uint8_t{found->tag.state().read_protected}});
}

std::optional<TagAction> prepare_eas(Fields& own)
{
    const auto password = own.fixed<password_size>();
    const std::uint8_t eas = own.byte();
    if (eas > 1) return std::nullopt;
    return change_state(password, [eas](TagState& state) { state.eas = eas == 1; });
}

// All tags at the antennas hear it, selected or not.
void ask_for_eas_alarm(Device& device, const Call& call)
{
    if (!call.data().empty()) return device.answer(call, status::bad_parameter);
    Population& field = device.field();
    const auto antennas = device.enabled_antennas();
    for (const std::size_t index : field.present(call.now)) {
        Tag& tag = field[index];
        const auto hears = [&](unsigned antenna) { return field.meet(tag, antenna, call.now).is_heard; };
        if (tag.state().eas && tag.state().replies() &&
            std::any_of(antennas.begin(), antennas.end(), hears)) {
            return device.answer(call, status::success);
        }
    }
    device.answer(call, status::no_tag);
}

std::optional<TagAction> prepare_qt_reading(Fields& own)
{
    return TagAction{own.fixed<password_size>(), [](const TagAccess& tag) -> TagAnswer {
                         if (!tag.is_secured()) return tag_refuses(TagError::privileges);
                         const TagState& state = tag.tag().state();
                         const unsigned control = (state.short_range ? qt_short_range : 0U) |
                                                  (state.public_profile ? qt_public : 0U);
                         return {status::success, {0x00, static_cast<std::uint8_t>(control)}};
                     }};
}

std::optional<TagAction> prepare_qt(Fields& own)
{
    const std::uint16_t control = own.word();
    if (control > (qt_short_range | qt_public)) return std::nullopt;
    return change_state(own.fixed<password_size>(), [control](TagState& state) {
        state.short_range = (control & qt_short_range) != 0;
        state.public_profile = (control & qt_public) != 0;
    });
}

std::optional<TagAction> prepare_untraceable(Fields& own)
{
    const auto [flag, epc_hide, epc_words, tid_hide, user_hide, range] = own.fixed<6>();
    if (flag > 1 || epc_hide > 1 || user_hide > 1) return std::nullopt;
    if (epc_words > longest_epc || tid_hide > static_cast<std::uint8_t>(TidHiding::all) || range > last_range)
        return std::nullopt;
    const Untraceable hidden{flag == 1, epc_hide == 1, static_cast<TidHiding>(tid_hide), user_hide == 1,
                             range};
    return TagAction{own.fixed<password_size>(), [hidden, words = unsigned{epc_words}](TagAccess& tag) {
                         return tag.hide(hidden, words);
                     }};
}

// Each byte of the message, mixed with the suite and the tag's access password.
Bytes respond(const Bytes& message, std::uint8_t suite, const Password& secret)
{
    Bytes response;
    for (std::size_t i = 0; i < message.size(); ++i) {
        response.push_back(static_cast<std::uint8_t>(message[i] ^ suite ^ secret[i % secret.size()]));
    }
    return response;
}

// The length in front of a response counts its bits.
Bytes with_length(Bytes response)
{
    const std::size_t bits = response.size() * 8;
    const std::array<std::uint8_t, 2> length{static_cast<std::uint8_t>(bits >> 8U),
                                             static_cast<std::uint8_t>(bits & 0xFFU)};
    response.insert(response.begin(), length.begin(), length.end());
    return response;
}

std::optional<TagAction> prepare_authentication(Fields& own)
{
    const std::uint8_t sends = own.byte();
    const std::uint8_t has_length = own.byte();
    const std::uint8_t suite = own.byte();
    const std::size_t length = own.byte();
    Bytes message = own.bytes(message_size);
    if (sends > 1 || has_length > 1) return std::nullopt;
    message.resize(std::min(length, message_size));
    return TagAction{own.fixed<password_size>(),
                     [=, message = std::move(message)](const TagAccess& tag) -> TagAnswer {
                         if (sends == 0) return {};
                         Bytes response = respond(message, suite, tag.tag().access_password());
                         if (has_length == 1) response = with_length(std::move(response));
                         return {status::success, std::move(response)};
                     }};
}

// A silent tag hears this command alone, and only with its password.
void set_protected_mode(Device& device, const Call& call)
{
    const auto request = parse_tag_request(call.data(), 0, 1 + password_size);
    if (!request || request->own[0] > 1) return device.answer(call, status::bad_parameter);
    const bool silent = request->own[0] == 1;
    const auto password = Fields(request->own, 1).fixed<password_size>();
    const auto fits = [&](const Tag& tag) {
        if (tag.state().asleep || !request->tag.fits(tag)) return false;
        return !tag.state().silent || tag.access_password() == password;
    };
    act_on_tag(device, call, fits,
               change_state(password, [silent](TagState& state) { state.silent = silent; }));
}

}  // namespace

void add_tag_security_commands(CommandTable& table)
{
    table[command::kill_tag] = kill_tag;
    table[command::lock_tag] = act_on_tag<2 + password_size, prepare_lock>;
    table[command::set_privacy] = act_on_tag<password_size, prepare_privacy>;
    table[command::set_privacy_of_any] = set_privacy_of_any<true>;
    table[command::reset_privacy] = set_privacy_of_any<false>;
    table[command::check_privacy] = check_privacy;
    table[command::configure_eas] = act_on_tag<password_size + 1, prepare_eas>;
    table[command::eas_alarm] = ask_for_eas_alarm;
    table[command::lock_block] = act_on_tag<password_size + 1, prepare_block_lock>;
    table[command::get_qt] = act_on_tag<password_size, prepare_qt_reading>;
    table[command::set_qt] = act_on_tag<2 + password_size, prepare_qt>;
    table[command::untraceable] = act_on_tag<6 + password_size, prepare_untraceable>;
    table[command::authenticate] = act_on_tag<4 + message_size + password_size, prepare_authentication>;
    table[command::protected_mode] = set_protected_mode;
}

}  // namespace tagwire::sim
