#include "device/modem.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace tagwire::sim {

namespace {

constexpr std::size_t longest_line = 512;
constexpr char line_end = '\r';
constexpr char line_feed = '\n';

std::string in_capitals(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    });
    return text;
}

}  // namespace

Modem::Modem(const ModemSettings& settings) : settings_(settings) { state_.echo = settings.echo; }

void Modem::restart()
{
    state_.passes = false;
    state_.echo = settings_.echo;
    line_.clear();
    said_.clear();
}

void Modem::receive(const Bytes& bytes, Time now)
{
    for (const std::uint8_t byte : bytes) take_byte(byte, now);
}

void Modem::take_byte(std::uint8_t byte, Time now)
{
    const char character = static_cast<char>(byte);
    if (state_.echo) say({character}, now);
    if (character == line_end) return run_line(now);
    if (character != line_feed && line_.size() < longest_line) line_ += character;
}

void Modem::run_line(Time now)
{
    const std::string command = std::exchange(line_, {});
    if (command.empty()) return;
    state_.commands.push_back(command);
    std::istringstream answer(answer_to(in_capitals(command)));
    for (std::string line; std::getline(answer, line);) {
        say("\r\n" + line + "\r\n", now + settings_.answer_time);
    }
}

std::string Modem::answer_to(const std::string& command)
{
    if (const auto found = settings_.answers.find(command); found != settings_.answers.end()) {
        return found->second;
    }
    if (command == "ATE0" || command == "ATE1") state_.echo = command.back() == '1';
    const bool known = command == "AT" || command == "ATE0" || command == "ATE1";
    return known ? "OK" : "ERROR";
}

// What is said later comes later.
void Modem::say(const std::string& text, Time due)
{
    if (!said_.empty()) due = std::max(due, said_.back().due);
    for (const char character : text) said_.push_back({due, static_cast<std::uint8_t>(character)});
}

Bytes Modem::take(std::size_t most, Time now)
{
    Bytes bytes;
    while (bytes.size() < most && !said_.empty() && said_.front().due <= now) {
        bytes.push_back(said_.front().byte);
        said_.pop_front();
    }
    return bytes;
}

}  // namespace tagwire::sim
