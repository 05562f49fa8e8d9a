// What is said of images and of updates.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tagwire/result.h"
#include "xx/device/crc32.h"

#include <tagwirexx/error.hpp>
#include <tagwirexx/firmware.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr std::array<std::uint32_t, 256> make_crc_table()
{
    constexpr std::uint32_t polynomial = 0xEDB88320;  // lowest bit first
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? polynomial : 0);
        table[i] = crc;
    }
    return table;
}

constexpr auto crc_table = make_crc_table();

bool is_text(std::uint8_t byte) { return (byte >= ' ' && byte <= '~') || (byte >= '\t' && byte <= '\r'); }

[[noreturn]] void refuse_file(const std::string& path, const std::string& why)
{
    throw Error(Errc::file, "read a file", {}, "'" + path + "' " + why);
}

const char* state_text(UpdateState state)
{
    switch (state) {
    case UpdateState::old_program: return "nothing was changed: the reader runs its old program";
    case UpdateState::update_mode:
        return "nothing was changed: the reader runs its old program, and is in its update mode until it is "
               "updated, told to leave it, or switched off and on";
    case UpdateState::old_program_or_update_mode:
        return "nothing was changed: the reader keeps its old program, and may be in its update mode";
    case UpdateState::marked: return "the new program is marked: the reader runs it from its next start on";
    case UpdateState::unknown:
        return "the reader runs its new program if the mark arrived, and otherwise its old one";
    case UpdateState::new_program: return "the reader runs its new program";
    case UpdateState::untouched: return "nothing was changed: the reader is as it was";
    }
    return "";
}

const char* hint_text(UpdateEnd end)
{
    switch (end) {
    case UpdateEnd::updated: return "nothing is left to do";
    case UpdateEnd::not_back: return "wait, or switch the reader off and on, then ask for its version";
    case UpdateEnd::mark_unanswered: return "ask for its version; to update it again is safe either way";
    case UpdateEnd::mark_lost:
    case UpdateEnd::block_lost:
    case UpdateEnd::link_lost: return "check power and cable, then update it again: that starts over";
    case UpdateEnd::mark_refused: return "is the file made for this reader?";
    case UpdateEnd::checksum_differs:
        return "update it again: that starts over. If the numbers always differ in the same way, see the "
               "reader's manual for size and numbers of blocks and for the order of the checksum's bytes";
    case UpdateEnd::block_refused:
        return "see the reader's manual for size and numbers of blocks, then update it again: that starts "
               "over";
    case UpdateEnd::left_update_mode: return "check its power supply, then update it again: that starts over";
    case UpdateEnd::refused:
        return "switch the reader off and on and try again; not every reader is updated this way";
    case UpdateEnd::stopped: return "to update it after all, begin again: that starts over";
    case UpdateEnd::restarted:
        return "if its version should be another one, see whether the file is the right one";
    case UpdateEnd::no_checksum:
        return "to update it without a comparison, say so (without_checksum), or have it leave its update "
               "mode";
    }
    return "";
}

std::string text_of_checksum(std::uint32_t checksum)
{
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08X", static_cast<unsigned>(checksum));
    return text.data();
}

std::string text_of(const std::optional<Version>& version)
{
    return version ? std::to_string(version->major) + '.' + std::to_string(version->minor) : "unknown";
}

std::string text_of(int result)
{
    switch (result) {
    case TAGWIRE_NO_ANSWER: return "no answer in time (48)";
    case TAGWIRE_BAD_CRC: return "the answer was damaged on the way (49)";
    case TAGWIRE_BAD_HANDLE: return "the connection is gone (55)";
    case TAGWIRE_WRONG_COMMAND: return "the answer was to something else (238)";
    case TAGWIRE_INVENTORY_UNKNOWN: return "it does not know the command (254)";
    default: break;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "status 0x%02X (%d)", static_cast<unsigned>(result), result);
    return text.data();
}

}  // namespace

std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t so_far)
{
    std::uint32_t crc = ~so_far;
    for (const std::uint8_t byte : bytes) crc = crc >> 8U ^ crc_table[(crc ^ byte) & 0xFFU];
    return ~crc;
}

Bytes load_file(const std::string& path)
{
    constexpr std::size_t longest = std::size_t{64} * 1024 * 1024;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file) refuse_file(path, std::string("cannot be opened: ") + std::strerror(errno));
    Bytes out;
    std::array<std::uint8_t, 65536> chunk{};
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        out.insert(out.end(), chunk.begin(), chunk.begin() + count);
        if (out.size() > longest) refuse_file(path, "is longer than 64 MiB");
    }
    if (std::ferror(file.get()) != 0)
        refuse_file(path, std::string("cannot be read: ") + std::strerror(errno));
    return out;
}

FirmwareImage examine_firmware(std::span<const std::uint8_t> image)
{
    constexpr std::size_t least = 1024;
    FirmwareImage out{image.size(), crc32(image), {}};
    const auto doubt = [&](bool is_so, const char* text) {
        if (is_so) out.doubts.emplace_back(text);
    };
    if (image.empty()) return {0, out.crc32, {"it is empty"}};
    doubt(image.size() < least, "it has fewer than 1024 bytes");
    doubt(image.size() % 2 != 0, "it has an odd count of bytes");
    doubt(std::all_of(image.begin(), image.end(), is_text), "it is a text");
    doubt(std::all_of(image.begin(), image.end(), [&](std::uint8_t byte) { return byte == image.front(); }),
          "all its bytes are alike");
    return out;
}

std::ostream& operator<<(std::ostream& out, const Progress& progress)
{
    return out << progress.percent() << " %, " << progress.bytes << " of " << progress.total << " bytes";
}

const char* to_string(UpdateEnd end)
{
    switch (end) {
    case UpdateEnd::updated: return "updated";
    case UpdateEnd::not_back: return "not-back";
    case UpdateEnd::mark_unanswered: return "mark-unanswered";
    case UpdateEnd::mark_lost: return "mark-lost";
    case UpdateEnd::mark_refused: return "mark-refused";
    case UpdateEnd::checksum_differs: return "checksum-differs";
    case UpdateEnd::block_lost: return "block-lost";
    case UpdateEnd::block_refused: return "block-refused";
    case UpdateEnd::left_update_mode: return "left-update-mode";
    case UpdateEnd::refused: return "refused";
    case UpdateEnd::link_lost: return "link-lost";
    case UpdateEnd::stopped: return "stopped";
    case UpdateEnd::restarted: return "restarted";
    case UpdateEnd::no_checksum: return "no-checksum";
    }
    return "unknown";
}

const char* to_string(UpdateState state)
{
    switch (state) {
    case UpdateState::old_program: return "old-program";
    case UpdateState::update_mode: return "update-mode";
    case UpdateState::old_program_or_update_mode: return "old-program-or-update-mode";
    case UpdateState::marked: return "marked";
    case UpdateState::unknown: return "unknown";
    case UpdateState::new_program: return "new-program";
    case UpdateState::untouched: return "untouched";
    }
    return "unknown";
}

std::string UpdateReport::what() const
{
    const std::string who = reader.empty() ? "the reader" : "the reader " + reader;
    const std::string block = "block " + std::to_string(blocks_done + 1) + " of " + std::to_string(blocks);
    const std::string step = blocks_done < blocks ? block : "behind the last block";
    const std::string why = ": " + text_of(result);
    switch (end) {
    case UpdateEnd::updated:
        return who + " runs version " + text_of(version) + " now; it was " + text_of(old_version);
    case UpdateEnd::restarted:
        return who + " has started again behind the mark of the new program; its version is " +
               (old_version ? "still " + text_of(version) : text_of(version) + ", and was not told before") +
               (compared ? "" : ", and what it received could not be compared");
    case UpdateEnd::not_back: return who + " has marked the new program, but was not seen to run it";
    case UpdateEnd::mark_unanswered: return who + " did not confirm the mark of the new program" + why;
    case UpdateEnd::mark_lost: return "the mark of the new program did not reach " + who + why;
    case UpdateEnd::mark_refused: return who + " refused the mark of the new program" + why;
    case UpdateEnd::checksum_differs:
        return who + " received something else: its CRC-32 is " +
               text_of_checksum(found_checksum.value_or(0)) + ", that of the image " +
               text_of_checksum(checksum);
    case UpdateEnd::no_checksum: return who + " does not tell the CRC-32 of what it receives";
    case UpdateEnd::block_lost: return block + " could not be brought to " + who + why;
    case UpdateEnd::block_refused: return block + " was refused by " + who + why;
    case UpdateEnd::left_update_mode:
        return step + ": " + who + " is not in its update mode any more, it may have lost its power" + why;
    case UpdateEnd::refused: return who + " refused to go into its update mode" + why;
    case UpdateEnd::link_lost:
        return (state == UpdateState::untouched ? "before the first block: " : step + ": ") + who +
               " fell silent" + why;
    case UpdateEnd::stopped: return "stopped, " + step;
    }
    return {};
}

std::string UpdateReport::left_as() const { return state_text(state); }

std::string UpdateReport::hint() const { return hint_text(end); }

std::string UpdateReport::advice() const { return left_as() + "; " + hint(); }

std::string UpdateReport::text() const
{
    return end == UpdateEnd::updated ? what() : what() + "\n" + advice();
}

}  // namespace v1
}  // namespace tagwire
