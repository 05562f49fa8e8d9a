// How far a long transfer is: a bar on a terminal, and a line now and then elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace tagwire::tool {

struct TransferStatus {
    std::size_t done = 0;  // bytes
    std::size_t total = 0;
    std::chrono::duration<double> elapsed{};

    unsigned percent() const;
    double bytes_per_second() const;
    std::optional<std::chrono::seconds> time_left() const;
};

// "45 %  118.0 of 256.0 KiB  5.2 KiB/s  0:26 left"
std::string progress_text(const TransferStatus& status);

// The same behind a bar, at most `columns` characters; the text alone, or its beginning, where it is too
// narrow.
std::string progress_bar(const TransferStatus& status, std::size_t columns);

// Tells when enough has changed to show it again.
class ProgressPace {
  public:
    using Clock = std::chrono::steady_clock;

    // Shown at every so many percent, and in between whenever so much time has passed.
    ProgressPace(unsigned percent_step, std::chrono::milliseconds interval)
        : percent_step_(percent_step), interval_(interval)
    {}

    bool is_due(const TransferStatus& status, Clock::time_point now);

  private:
    unsigned percent_step_;
    std::chrono::milliseconds interval_;
    unsigned last_step_ = 0;
    std::optional<Clock::time_point> last_shown_;
};

}  // namespace tagwire::tool
