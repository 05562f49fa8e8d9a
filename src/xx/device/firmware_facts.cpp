// What is said of images and of updates.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "link/result_text.h"
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

const char* happened(UpdateEnd end)
{
    switch (end) {
    case UpdateEnd::updated: return "the new program runs";
    case UpdateEnd::not_back: return "the new program is marked, but was not seen to run";
    case UpdateEnd::mark_unanswered: return "the reader did not confirm the mark of the new program";
    case UpdateEnd::mark_lost: return "the mark of the new program did not reach the reader";
    case UpdateEnd::mark_refused: return "the reader refused the mark of the new program";
    case UpdateEnd::checksum_differs: return "the reader received something else";
    case UpdateEnd::block_lost: return "a block could not be brought to the reader";
    case UpdateEnd::block_refused: return "a block was refused";
    case UpdateEnd::left_update_mode:
        return "the reader is not in its update mode any more, it may have lost its power";
    case UpdateEnd::refused: return "the reader refused to go into its update mode";
    case UpdateEnd::link_lost: return "the reader fell silent";
    case UpdateEnd::stopped: return "stopped";
    }
    return "";
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
    }
    return "";
}

const char* hint(UpdateEnd end)
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
    }
    return "";
}

std::string checksum_text(std::uint32_t checksum)
{
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08X", static_cast<unsigned>(checksum));
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
    }
    return "unknown";
}

std::string UpdateReport::what() const
{
    std::string out = reader.empty() ? "" : reader + ": ";
    out += happened(end);
    if (end != UpdateEnd::updated && blocks_done > 0 && blocks_done < blocks)
        out += ", behind block " + std::to_string(blocks_done) + " of " + std::to_string(blocks);
    if (found_checksum)
        out += ": its CRC-32 is " + checksum_text(*found_checksum) + ", that of the image " +
               checksum_text(checksum);
    if (result != 0)
        out += std::string(": ") + engine::result_text(engine::ResultFamily::services, result).what + " (" +
               std::to_string(result) + ")";
    return out;
}

std::string UpdateReport::advice() const { return std::string(state_text(state)) + "; " + hint(end); }

std::string UpdateReport::text() const { return success() ? what() : what() + "\n" + advice(); }

}  // namespace v1
}  // namespace tagwire
