// Replaces a reader's program: block by block, compared by checksum, then marked as the one to run.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "bytes.h"

namespace tagwire::tool {

inline constexpr std::size_t longest_block = 250;

using FirmwareVersion = std::array<std::uint8_t, 2>;

// "1.0"
std::string version_text(const FirmwareVersion& version);

// As zlib computes it; `so_far` is the checksum of the bytes before.
std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t so_far = 0);

// What an update asks of the reader. The results are those of the library.
class UpdateLink {
  public:
    using Clock = std::chrono::steady_clock;
    using Checksum = std::array<std::uint8_t, 4>;

    UpdateLink() = default;
    virtual ~UpdateLink() = default;

    virtual int begin() = 0;
    virtual int write(std::uint8_t number, std::span<const std::uint8_t> block) = 0;
    virtual int checksum(Checksum& checksum) = 0;
    virtual int mark() = 0;
    // Throws away all that comes before its own answer. False when that does not come.
    virtual bool ask_version(FirmwareVersion& version) = 0;
    // Throws away what comes until nothing does.
    virtual void listen() = 0;
    virtual void reconnect() = 0;
    virtual void pause(std::chrono::milliseconds time) = 0;
    virtual Clock::time_point now() const = 0;

  protected:
    UpdateLink(const UpdateLink&) = default;
    UpdateLink& operator=(const UpdateLink&) = default;
};

struct UpdatePlan {
    std::size_t block = longest_block;  // bytes, at least 1
    std::uint8_t first_number = 0;      // of the first block
    std::uint8_t wrap_to = 0;           // the number behind 255
    unsigned retries = 3;               // of one exchange
    bool low_byte_first = false;        // the reader's checksum
    std::chrono::milliseconds boot_limit{30'000};

    std::size_t blocks(std::size_t bytes) const { return (bytes + block - 1) / block; }
};

struct UpdateProgress {
    std::size_t bytes = 0;
    std::size_t total = 0;
};

struct LostAnswer {
    std::size_t block = 0;  // the first is 1
    int code = 0;
    bool arrived = false;  // the reader has the block all the same
};

struct UpdateWatcher {
    std::function<bool()> interrupted = [] { return false; };
    std::function<void(const UpdateProgress&)> progress = [](const UpdateProgress&) {};
    std::function<void(const LostAnswer&)> lost = [](const LostAnswer&) {};
};

enum class UpdateEnd {
    updated,          // the new program answers
    not_back,         // marked, but not seen to run
    mark_unanswered,  // not known whether it is marked
    mark_lost,        // known not to be marked: no try arrived
    mark_refused,
    checksum_differs,
    block_lost,  // no try of a block arrived, or none that could be told
    block_refused,
    left_update_mode,  // the reader did so of its own accord: it lost its power
    refused,           // the update mode
    link_lost,
    interrupted
};

// In what state the reader was left.
enum class ReaderState { old_program, update_mode, old_program_or_update_mode, marked, unknown, new_program };

struct UpdateReport {
    UpdateEnd end = UpdateEnd::link_lost;
    ReaderState state = ReaderState::old_program;
    int code = 0;  // that ended it, or 0
    std::size_t blocks = 0;
    std::size_t blocks_done = 0;
    std::size_t lost_answers = 0;
    std::uint32_t checksum = 0;                   // of the file
    std::optional<std::uint32_t> found_checksum;  // of the reader, when it differs
    FirmwareVersion old_version{};
    std::optional<FirmwareVersion> version;  // seen after the mark

    bool is_success() const { return end == UpdateEnd::updated; }
};

// Nothing of the reader's program changes before the mark, and the mark is not written unless the checksums
// agree. The reader may be in its update mode already: it starts over. `interrupted` is looked at between
// exchanges.
//
// A lost answer that comes after all must not be taken for that to the next block: answers to blocks do not
// tell which block they belong to. So after a loss the reader is asked for its version, and all that comes
// before this answer is thrown away; then for its checksum, which follows every answer that was still under
// way and tells whether the block arrived. Only then is a block sent again, or the next one. When one of
// these questions stayed without answer too, the tool also listens until the link is silent.
UpdateReport update_firmware(UpdateLink& link, std::span<const std::uint8_t> image, const UpdatePlan& plan,
                             const UpdateWatcher& watcher);

// What went wrong, with the number of the result; `place` is where the reader is.
std::string problem_text(const UpdateReport& report, const std::string& place);
// In what state the reader was left, and how to go on.
std::string advice_text(const UpdateReport& report);

// For programs.
std::string end_name(UpdateEnd end);
std::string state_name(ReaderState state);

}  // namespace tagwire::tool
