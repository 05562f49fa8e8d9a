// The AT mode.
#include <algorithm>
#include <array>
#include <utility>

#include "tagwire/result.h"
#include "xx/reader/reader_inside.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr Call enter_at_call{
    .name = "go into the AT mode", .effect = Effect::change, .family = engine::ResultFamily::services};
constexpr Call leave_at_call{
    .name = "leave the AT mode", .effect = Effect::change, .family = engine::ResultFamily::services};
constexpr Call at_call{
    .name = "AT command", .effect = Effect::change, .family = engine::ResultFamily::services};

constexpr u8 command_mode = 0;
constexpr u8 pass_mode = 1;
constexpr std::size_t most_at_bytes = 250;                   // of a request, and of an answer
constexpr std::size_t most_answer = std::size_t{64} * 1024;  // of a module that never falls silent

bool is_uncertain(const Error& error)
{
    return error.code() == Errc::no_answer || error.code() == Errc::bad_answer;
}

// A reader in its AT mode may not say who it is: what may still come to a lost answer is passed over by
// listening, behind the command and before the next one.
void change_mode(ReaderInside& inside, const Call& call, u8 mode)
{
    inside.listen_if_stale();
    try {
        inside.ask(call, &Operations::ChangeATMode, mode);
    } catch (const Error& error) {
        if (is_uncertain(error)) inside.listen();
        throw;
    }
}

bool says_who_it_is(ReaderInside& inside)
try {
    inside.ask_information();
    return true;
} catch (const Error&) {
    return false;
}

// Where the first answer was lost the reader may be out of the mode, and refuse to leave it once more.
void leave_at_mode(ReaderInside& inside)
{
    const ReaderInside::Turn turn(inside);
    try {
        return change_mode(inside, leave_at_call, command_mode);
    } catch (const Error& error) {
        if (!is_uncertain(error)) throw;
    }
    try {
        change_mode(inside, leave_at_call, command_mode);
    } catch (const Error& error) {
        const bool is_refused = error.code() == Errc::refused || error.code() == Errc::no_such_feature;
        if (!is_refused || !says_who_it_is(inside)) throw;
    }
}

bool try_to_leave(ReaderInside& inside) noexcept
try {
    leave_at_mode(inside);
    return true;
} catch (...) {
    return false;  // there is nobody to tell
}

// Where the answer is lost, or was not waited for, the reader is told to leave the mode again.
void enter_at_mode(ReaderInside& inside)
try {
    change_mode(inside, enter_at_call, pass_mode);
} catch (const Error& error) {
    if (error.outcome() != Outcome::unknown) throw;
    const bool is_out = try_to_leave(inside);
    throw Error(static_cast<Errc>(error.code().value()), error.operation(), error.reader(),
                error.text() + (is_out ? " [it was told to leave the mode again, and did]"
                                       : " [it may be in its AT mode now: switch it off and on]"),
                is_out ? Outcome::nothing : Outcome::unknown, error.result());
}

// A refusal is not among what the receiver of these answers takes for one.
[[noreturn]] void fail_command(ReaderInside& inside, const Error& error)
{
    const bool is_other = error.code() == Errc::no_answer && inside.something_came();
    if (is_uncertain(error)) inside.listen();
    if (!is_other) throw Error(error);
    throw Error(Errc::bad_answer, error.operation(), error.reader(),
                "what came was no answer of the module: the reader may have left its AT mode, as it does "
                "when it restarts: leave it, and go into it again",
                error.outcome(), error.result());
}

// How many bytes came back.
std::size_t exchange(ReaderInside& inside, int wait, std::string_view bytes, std::string& answer)
{
    std::array<u8, most_at_bytes> given{};
    std::copy(bytes.begin(), bytes.end(), given.begin());
    std::array<u8, 256> received{};
    int count = 0;
    inside.listen_if_stale();
    try {
        inside.ask(at_call, &Operations::TransparentCMD, static_cast<u8>(wait), given.data(),
                   static_cast<int>(bytes.size()), received.data(), &count);
    } catch (const Error& error) {
        fail_command(inside, error);
    }
    const int came = std::min(count, inside.came());
    answer.append(received.begin(), received.begin() + came);
    return static_cast<std::size_t>(came);
}

}  // namespace

AtMode::AtMode(ReaderInside& inside, int wait)
    : wait_(checked(inside, enter_at_call, "the time that the reader waits", wait, 0, 255))
{
    if (!inside.is_serial()) refuse_value(inside, enter_at_call, "AT commands work over a serial line only");
    enter_at_mode(inside);
    inside_ = &inside;
}

AtMode::AtMode(AtMode&& other) noexcept : inside_(std::exchange(other.inside_, nullptr)), wait_(other.wait_)
{}

// Of the same reader: it is in the mode of the other one then.
AtMode& AtMode::operator=(AtMode&& other) noexcept
{
    if (this != &other && inside_ == other.inside_) inside_ = nullptr;
    std::swap(inside_, other.inside_);
    std::swap(wait_, other.wait_);
    return *this;
}

AtMode::~AtMode()
{
    if (inside_ != nullptr) try_to_leave(*inside_);
}

void AtMode::leave()
{
    if (inside_ == nullptr) return;
    leave_at_mode(*inside_);
    inside_ = nullptr;
}

// What does not fit into one answer comes with the next request.
std::string AtMode::send(std::string_view line)
{
    if (inside_ == nullptr) throw std::logic_error("tagwire: the AT mode has been left");
    const auto is_control = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    if (std::any_of(line.begin(), line.end(), is_control))
        throw Error(Errc::invalid_text, at_call.name, inside_->name(),
                    "a command is one line without control characters");
    std::string bytes(line);
    if (!line.empty()) bytes += '\r';
    std::string answer;
    std::size_t at = 0;
    std::size_t latest = 0;
    const ReaderInside::Turn turn(*inside_);
    do {
        const auto piece = std::string_view(bytes).substr(at, most_at_bytes);
        latest = exchange(*inside_, wait_, piece, answer);
        at += piece.size();
    } while (at < bytes.size() || (latest >= most_at_bytes && answer.size() < most_answer));
    return answer;
}

std::vector<std::string> AtMode::ask(std::string_view line)
{
    const std::string answer = send(line);
    std::string_view left = answer;
    std::vector<std::string> lines;
    while (!left.empty()) {
        const auto end = std::min(left.find_first_of("\r\n"), left.size());
        if (end > 0) lines.emplace_back(left.substr(0, end));
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    if (!line.empty() && !lines.empty() && lines.front() == line) lines.erase(lines.begin());
    return lines;
}

}  // namespace v1
}  // namespace tagwire
