#include "at_session.h"

#include "tagwire/network.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>

namespace tagwire::tool {

namespace {

constexpr std::uint8_t command_mode = 0;
constexpr std::uint8_t at_mode = 1;
constexpr char line_end = '\r';
// A module that never falls silent.
constexpr std::size_t most_answer_bytes = std::size_t{64} * 1024;

// The reader may have done what it was told.
bool is_uncertain(int code)
{
    return code == TAGWIRE_NO_ANSWER || code == TAGWIRE_BAD_CRC || code == TAGWIRE_WRONG_COMMAND;
}

}  // namespace

AtSession::AtSession(const ReaderConnection& reader, std::uint8_t wait) : reader_(reader), wait_(wait)
{
    const int code = change_mode(at_mode);
    if (code == TAGWIRE_OK) return;
    if (is_uncertain(code)) leave();
    reader_.require_success(code, Operation::AtMode);
}

AtSession::~AtSession()
{
    if (is_inside_) leave();
}

int AtSession::leave()
{
    is_inside_ = false;
    const int code = change_mode(command_mode);
    return is_uncertain(code) ? change_mode(command_mode) : code;
}

AtAnswer AtSession::pass(std::string_view line)
{
    std::string bytes(line);
    if (!line.empty()) bytes += line_end;
    AtAnswer answer;
    std::size_t at = 0;
    std::size_t latest = 0;
    do {
        const auto piece = std::string_view(bytes).substr(at, most_at_bytes);
        latest = exchange(piece, answer);
        at += piece.size();
    } while (answer.code == TAGWIRE_OK && at < bytes.size());
    fetch_rest(latest, answer);
    return answer;
}

int AtSession::change_mode(std::uint8_t mode) const
{
    auto address = reader_.address();
    return ChangeATMode(&address, mode, reader_.handle());
}

// How many bytes came back.
std::size_t AtSession::exchange(std::string_view bytes, AtAnswer& answer) const
{
    auto address = reader_.address();
    std::array<std::uint8_t, 256> given{};
    std::copy(bytes.begin(), bytes.end(), given.begin());
    std::array<std::uint8_t, 256> received{};
    int count = 0;
    answer.code = TransparentCMD(&address, wait_, given.data(), static_cast<int>(bytes.size()),
                                 received.data(), &count, reader_.handle());
    if (answer.code != TAGWIRE_OK) return 0;
    const auto size = static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(received.size())));
    answer.text.append(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(size));
    return size;
}

// What did not fit comes with the next request.
void AtSession::fetch_rest(std::size_t latest, AtAnswer& answer) const
{
    while (answer.code == TAGWIRE_OK && latest >= most_at_bytes && answer.text.size() < most_answer_bytes)
        latest = exchange({}, answer);
}

std::vector<std::string> answer_lines(std::string_view answer, std::string_view command)
{
    std::vector<std::string> lines;
    while (!answer.empty()) {
        const auto end = std::min(answer.find_first_of("\r\n"), answer.size());
        if (end > 0) lines.emplace_back(answer.substr(0, end));
        answer.remove_prefix(std::min(end + 1, answer.size()));
    }
    if (!lines.empty() && !command.empty() && lines.front() == command) lines.erase(lines.begin());
    return lines;
}

}  // namespace tagwire::tool
