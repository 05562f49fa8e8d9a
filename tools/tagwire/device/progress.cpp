#include "device/progress.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr double kibibyte = 1024;

std::string clock_of(std::chrono::seconds time)
{
    const auto seconds = time.count();
    if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

unsigned TransferStatus::percent() const
{
    return total == 0 ? 100 : static_cast<unsigned>(done * 100 / total);
}

double TransferStatus::bytes_per_second() const
{
    return elapsed.count() > 0 ? static_cast<double>(done) / elapsed.count() : 0;
}

std::optional<std::chrono::seconds> TransferStatus::time_left() const
{
    const double rate = bytes_per_second();
    if (rate <= 0) return std::nullopt;
    return std::chrono::seconds(std::llround(std::ceil(static_cast<double>(total - done) / rate)));
}

std::string progress_text(const TransferStatus& status)
{
    auto text =
        fmt::format("{:3} %  {:.1f} of {:.1f} KiB  {:.1f} KiB/s", status.percent(),
                    static_cast<double>(status.done) / kibibyte, static_cast<double>(status.total) / kibibyte,
                    status.bytes_per_second() / kibibyte);
    if (const auto left = status.time_left()) text += fmt::format("  {} left", clock_of(*left));
    return text;
}

std::string progress_bar(const TransferStatus& status, std::size_t columns)
{
    constexpr std::size_t frame = 4;  // brackets and gap
    constexpr std::size_t shortest = 10;
    constexpr std::size_t longest = 40;
    constexpr std::size_t usual_text = 56;  // a bar whose length changes is hard to read
    const auto text = progress_text(status);
    const auto reserved = std::max(text.size(), usual_text) + frame;
    if (columns < reserved + shortest) return text.substr(0, columns);
    const auto width = std::min(columns - reserved, longest);
    const auto filled = width * status.percent() / 100;
    return fmt::format("[{}{}]  {}", std::string(filled, '#'), std::string(width - filled, ' '), text);
}

bool ProgressPace::is_due(const TransferStatus& status, Clock::time_point now)
{
    const unsigned step = status.percent() / percent_step_;
    const bool late = !last_shown_ || now >= *last_shown_ + interval_;
    if (step == last_step_ && !late) return false;
    last_step_ = step;
    last_shown_ = now;
    return true;
}

}  // namespace tagwire::tool
