// Replacing a reader's program.
//
//     const auto report = reader.update_firmware(tagwire::load_file(path));
//     std::cout << report.text() << '\n';
//     return report.success() ? 0 : 1;
//
// The program goes over block by block, is compared by its CRC-32, and is marked as the one to run. Until the
// mark nothing changes: the reader runs its old program on, and an update that ended early can be begun anew.
// A reader that was left in its update mode leaves it by leave_update_mode(). One that does not say who it is
// there is opened by Reader::in_update_mode().
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
    // A reader that has no CRC-32 to tell, too: nothing is compared in front of the mark then, and a lost answer
    // to a block ends the update.
    bool without_checksum = false;
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
    updated,          // the new program answers: its version is another one
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
    restarted,  // behind the mark, with a version that tells nothing: it is the same, or what it was is not known
    no_checksum,  // the reader has none to tell, see UpdateOptions::without_checksum
};
TAGWIREXX_API const char* to_string(UpdateEnd end);

// What a reader was left as.
enum class UpdateState {
    old_program,
    update_mode,
    old_program_or_update_mode,
    marked,
    unknown,
    new_program,
    untouched,  // as it was before
};
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
    bool compared = false;  // in front of the mark the reader's CRC-32 was that of the image
    std::optional<Version> old_version = {};  // none where the reader did not tell it in its update mode
    std::optional<Version> version = {};      // seen after the mark

    // The new program runs: its version shows it, or the comparison and the restart behind the mark.
    bool success() const { return end == UpdateEnd::updated || (end == UpdateEnd::restarted && compared); }
    TAGWIREXX_API std::string what() const;     // happened
    TAGWIREXX_API std::string left_as() const;  // what state the reader was left in
    TAGWIREXX_API std::string hint() const;     // what to do
    TAGWIREXX_API std::string advice() const;   // left_as() and hint()
    TAGWIREXX_API std::string text() const;     // what() and advice()
};

}  // namespace v1
}  // namespace tagwire
