// Writes recordings, see tagwirexx/recording.hpp.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include <tagwirexx/bytes.hpp>

#include "xx/link/descriptors.h"

namespace tagwire {
inline namespace v1 {

class Recorder {
  public:
    enum class Kind : std::uint8_t { session = 0, source = 1, received = 2, sent = 3, lost = 4 };

    // Begins a session behind what is in the file. Throws Error.
    explicit Recorder(const std::string& path);
    ~Recorder() { finish(); }
    // Returns when everything is written; nothing is noted any more. Once, or by the destructor.
    void finish();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // The number of a source from now on.
    std::uint16_t add_source(const std::string& name);
    // Never waits for the file: what does not fit into the buffer is counted instead.
    void note(std::uint16_t source, Kind kind, std::span<const std::uint8_t> bytes) noexcept;
    std::uint64_t lost_bytes() const;

  private:
    static constexpr std::size_t most_waiting = std::size_t{1} << 20U;

    void append(std::uint16_t source, Kind kind, std::int64_t time, std::span<const std::uint8_t> payload);
    std::int64_t elapsed() const;
    void run();
    bool write_whole(const Bytes& batch) const;

    const std::string path_;
    Descriptor file_;
    const std::chrono::steady_clock::time_point begin_;
    mutable std::mutex mutex_;
    std::condition_variable something_;
    Bytes waiting_;
    std::uint64_t lost_ = 0;        // in all
    std::uint64_t lost_since_ = 0;  // and not told in the file
    std::uint16_t sources_ = 0;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace v1
}  // namespace tagwire
