// Replacing a reader's program.
//
//     const auto report = reader.update_firmware(tagwire::load_file(path));
//     std::cout << report.text() << '\n';
//     return report.success() ? 0 : 1;
//
// The program goes over block by block, is compared by its CRC-32, and is marked as the one to run. Until the
// mark nothing changes: the reader runs its old program on, and an update that ended early can be begun anew.
// A reader that was left in its update mode leaves it by leave_update_mode().
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>
#include <tagwirexx/info.hpp>

namespace tagwire {
inline namespace v1 {

// A whole file, up to 64 MiB. Throws Error.
TAGWIREXX_API Bytes load_file(const std::string& path);

struct FirmwareImage {
    std::size_t size = 0;
    std::uint32_t crc32 = 0;
    // Why it may be no program of a reader: empty, small, an odd count of bytes, text, one byte over and over.
    std::vector<std::string> doubts = {};
};
TAGWIREXX_API FirmwareImage examine_firmware(std::span<const std::uint8_t> image);

struct UpdateOptions {
    unsigned block = 250;         // bytes, 1 to 250
    unsigned first_number = 0;    // of the first block, 0 to 255
    unsigned wrap_to = 0;         // number of the block behind number 255
    unsigned retries = 3;         // how often a block or a question is sent again when it is lost, 0 to 100
    bool low_byte_first = false;  // how the reader tells its CRC-32
    std::chrono::milliseconds boot_limit = std::chrono::seconds(30);  // until the new program answers
    bool with_doubts = false;  // an image that there are doubts about, too; never an empty one
};

// A block whose answer was lost. Before anything is sent again the reader is asked whether it has the block.
struct LostBlock {
    std::size_t block = 0;  // the first is 1
    int result = 0;
    bool arrived = false;  // all the same
};

struct Progress {
    std::size_t bytes = 0;
    std::size_t total = 0;
    std::size_t lost_answers = 0;        // of blocks
    std::optional<LostBlock> lost = {};  // what is told of now, where it is not a block that arrived

    int percent() const { return total == 0 ? 100 : static_cast<int>(bytes * 100 / total); }
    // " 42 %, 10750 of 25600 bytes"
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, const Progress& progress);
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
    stopped,  // as was asked for
};
TAGWIREXX_API const char* to_string(UpdateEnd end);

// What a reader was left as.
enum class UpdateState { old_program, update_mode, old_program_or_update_mode, marked, unknown, new_program };
TAGWIREXX_API const char* to_string(UpdateState state);

struct UpdateReport {
    UpdateEnd end = UpdateEnd::link_lost;
    UpdateState state = UpdateState::old_program;
    int result = 0;  // that ended it, or 0
    std::string reader = {};
    std::size_t blocks = 0;
    std::size_t blocks_done = 0;
    std::size_t lost_answers = 0;
    std::uint32_t checksum = 0;                        // of the image
    std::optional<std::uint32_t> found_checksum = {};  // of the reader, where it differs
    Version old_version = {};
    std::optional<Version> version = {};  // seen after the mark

    bool success() const { return end == UpdateEnd::updated; }
    TAGWIREXX_API std::string what() const;    // happened
    TAGWIREXX_API std::string advice() const;  // what state the reader was left in, and what to do
    TAGWIREXX_API std::string text() const;    // both
};

}  // namespace v1
}  // namespace tagwire
