#include "firmware_update.h"

#include "tagwire/result.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds between_looks{200};
// A reader may answer for a while before it starts anew.
constexpr milliseconds longest_farewell{3000};

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

// Nobody can tell what the reader made of the request.
bool is_lost(int code)
{
    return code == TAGWIRE_NO_ANSWER || code == TAGWIRE_BAD_CRC || code == TAGWIRE_WRONG_COMMAND ||
           code == TAGWIRE_BUSY || code == TAGWIRE_BAD_HANDLE;
}

class Update {
  public:
    Update(UpdateLink& link, std::span<const std::uint8_t> image, const UpdatePlan& plan,
           const UpdateWatcher& watcher)
        : link_(link), image_(image), plan_(plan), watcher_(watcher)
    {
        report_.blocks = plan_.blocks(image_.size());
        report_.checksum = crc32(image_);
    }

    UpdateReport run()
    {
        if (ask_old_version() && begin() && write_blocks() && compare() && mark()) await_new_program();
        return report_;
    }

  private:
    struct Seen {
        std::optional<FirmwareVersion> version;  // not every reader tells it in its update mode
        int code = 0;  // of the question for the checksum, which a reader outside of its update mode refuses
        std::uint32_t checksum = 0;
    };

    // All steps return whether to go on.
    bool ask_old_version();
    bool begin();
    bool write_blocks();
    bool write_block(std::uint8_t number, std::span<const std::uint8_t> block);
    bool compare();
    bool mark();
    bool find_out_about_mark(int code);
    void await_new_program();

    int ask(const std::function<int()>& exchange);
    int ask_again(const std::function<int()>& exchange);
    int ask_checksum(std::uint32_t& checksum);
    std::optional<Seen> look(bool may_hide_version);
    bool has_restarted(const Seen& seen, UpdateLink::Clock::time_point marked) const;
    std::optional<Seen> await(bool may_hide_version, const std::function<bool(const Seen&)>& is_wanted);

    std::uint8_t number_behind(std::uint8_t number) const;
    bool is_interrupted(ReaderState state);
    bool give_up(UpdateEnd end, ReaderState state, int code = 0);
    bool give_up_refused(UpdateEnd end, int code);
    bool give_up_lost(int code);

    UpdateLink& link_;
    std::span<const std::uint8_t> image_;
    const UpdatePlan& plan_;
    const UpdateWatcher& watcher_;
    UpdateReport report_;
    std::uint32_t written_checksum_ = 0;
};

bool Update::give_up(UpdateEnd end, ReaderState state, int code)
{
    report_.end = end;
    report_.state = state;
    report_.code = code;
    return false;
}

// Either the reader did not like it, or it is not in its update mode any more.
bool Update::give_up_refused(UpdateEnd end, int code)
{
    std::uint32_t checksum = 0;
    const int probe = ask_again([&] { return ask_checksum(checksum); });
    if (probe == TAGWIRE_OK) return give_up(end, ReaderState::update_mode, code);
    if (is_lost(probe)) return give_up(end, ReaderState::old_program_or_update_mode, code);
    return give_up(UpdateEnd::left_update_mode, ReaderState::old_program, code);
}

// An interrupt ends the questions early.
bool Update::give_up_lost(int code)
{
    const auto state = ReaderState::old_program_or_update_mode;
    return !is_interrupted(state) && give_up(UpdateEnd::link_lost, state, code);
}

bool Update::is_interrupted(ReaderState state)
{
    if (!watcher_.interrupted()) return false;
    give_up(UpdateEnd::interrupted, state);
    return true;
}

std::uint8_t Update::number_behind(std::uint8_t number) const
{
    return number == 0xFF ? plan_.wrap_to : static_cast<std::uint8_t>(number + 1);
}

int Update::ask_checksum(std::uint32_t& checksum)
{
    UpdateLink::Checksum bytes{};
    const int code = link_.checksum(bytes);
    if (plan_.low_byte_first) std::reverse(bytes.begin(), bytes.end());
    checksum = 0;
    for (const std::uint8_t byte : bytes) checksum = checksum << 8U | byte;
    return code;
}

int Update::ask(const std::function<int()>& exchange)
{
    const int code = exchange();
    return is_lost(code) ? ask_again(exchange) : code;
}

// After a loss, for what the reader may be asked twice.
int Update::ask_again(const std::function<int()>& exchange)
{
    int code = TAGWIRE_NO_ANSWER;
    bool all_answered = true;
    for (unsigned attempt = 0; attempt <= plan_.retries && !watcher_.interrupted(); ++attempt) {
        FirmwareVersion version;
        all_answered = link_.ask_version(version) && all_answered;
        code = exchange();
        if (!is_lost(code)) {
            if (!all_answered) link_.listen();
            return code;
        }
        all_answered = false;
    }
    return code;
}

bool Update::ask_old_version()
{
    const int code =
        ask([&] { return link_.ask_version(report_.old_version) ? TAGWIRE_OK : TAGWIRE_NO_ANSWER; });
    return code == TAGWIRE_OK || give_up_lost(code);
}

bool Update::begin()
{
    if (is_interrupted(ReaderState::old_program)) return false;
    const int code = ask([&] { return link_.begin(); });
    if (code == TAGWIRE_OK) return true;
    if (is_lost(code)) return give_up_lost(code);
    return give_up(UpdateEnd::refused, ReaderState::old_program, code);
}

bool Update::write_blocks()
{
    std::uint8_t number = plan_.first_number;
    for (std::size_t begin = 0; begin < image_.size(); begin += plan_.block) {
        if (is_interrupted(ReaderState::update_mode)) return false;
        const auto block = image_.subspan(begin, std::min(plan_.block, image_.size() - begin));
        if (!write_block(number, block)) return false;
        written_checksum_ = crc32(block, written_checksum_);
        number = number_behind(number);
        ++report_.blocks_done;
        watcher_.progress({begin + block.size(), image_.size()});
    }
    return true;
}

bool Update::write_block(std::uint8_t number, std::span<const std::uint8_t> block)
{
    int code = TAGWIRE_OK;
    int probe = TAGWIRE_OK;
    for (unsigned attempt = 0; attempt <= plan_.retries; ++attempt) {
        code = link_.write(number, block);
        if (code == TAGWIRE_OK) return true;
        if (!is_lost(code)) return give_up_refused(UpdateEnd::block_refused, code);
        ++report_.lost_answers;
        std::uint32_t checksum = 0;
        probe = ask_again([&] { return ask_checksum(checksum); });
        if (is_lost(probe)) return give_up_lost(probe);
        const bool arrived = probe == TAGWIRE_OK && checksum == crc32(block, written_checksum_);
        watcher_.lost({report_.blocks_done + 1, code, arrived});
        if (arrived) return true;
    }
    const bool is_updating = probe == TAGWIRE_OK;
    return give_up(UpdateEnd::block_lost,
                   is_updating ? ReaderState::update_mode : ReaderState::old_program_or_update_mode, code);
}

bool Update::compare()
{
    if (is_interrupted(ReaderState::update_mode)) return false;
    std::uint32_t checksum = 0;
    const int code = ask([&] { return ask_checksum(checksum); });
    if (is_lost(code)) return give_up_lost(code);
    if (code != TAGWIRE_OK) return give_up(UpdateEnd::left_update_mode, ReaderState::old_program, code);
    if (checksum == report_.checksum) return true;
    report_.found_checksum = checksum;
    return give_up(UpdateEnd::checksum_differs, ReaderState::update_mode);
}

bool Update::mark()
{
    int code = TAGWIRE_OK;
    for (unsigned attempt = 0; attempt <= plan_.retries; ++attempt) {
        if (is_interrupted(ReaderState::update_mode)) return false;
        code = link_.mark();
        if (code == TAGWIRE_OK) return true;
        if (!is_lost(code)) return give_up_refused(UpdateEnd::mark_refused, code);
        if (!find_out_about_mark(code)) return false;
    }
    return give_up(UpdateEnd::mark_lost, ReaderState::update_mode, code);
}

// Goes on only when the mark certainly did not arrive.
bool Update::find_out_about_mark(int code)
{
    const auto is_still_updating = [this](const Seen& now) {
        return now.code == TAGWIRE_OK && now.checksum == report_.checksum;
    };
    const auto seen = await(true, [&, marked = link_.now()](const Seen& now) {
        return is_still_updating(now) || has_restarted(now, marked);
    });
    if (seen && is_still_updating(*seen)) return true;
    if (seen) report_.version = seen->version;
    if (report_.version.value_or(report_.old_version) != report_.old_version)
        return give_up(UpdateEnd::updated, ReaderState::new_program);
    return give_up(UpdateEnd::mark_unanswered, ReaderState::unknown, code);
}

void Update::await_new_program()
{
    const auto seen =
        await(false, [&, marked = link_.now()](const Seen& now) { return has_restarted(now, marked); });
    if (!seen) {
        give_up(UpdateEnd::not_back, ReaderState::marked);
        return;
    }
    report_.version = seen->version;
    give_up(UpdateEnd::updated, ReaderState::new_program);
}

std::optional<Update::Seen> Update::look(bool may_hide_version)
{
    Seen seen;
    FirmwareVersion version;
    if (link_.ask_version(version)) {
        seen.version = version;
    } else if (!may_hide_version) {
        return std::nullopt;
    }
    seen.code = ask_checksum(seen.checksum);
    if (is_lost(seen.code)) return std::nullopt;
    return seen;
}

bool Update::has_restarted(const Seen& seen, UpdateLink::Clock::time_point marked) const
{
    if (!seen.version) return false;
    if (*seen.version != report_.old_version) return true;
    return seen.code != TAGWIRE_OK && link_.now() >= marked + longest_farewell;
}

// A reader that starts anew may lose its connections.
std::optional<Update::Seen> Update::await(bool may_hide_version,
                                          const std::function<bool(const Seen&)>& is_wanted)
{
    const auto end = link_.now() + plan_.boot_limit;
    while (true) {
        const auto seen = look(may_hide_version);
        if (seen && is_wanted(*seen)) return seen;
        if (link_.now() >= end || watcher_.interrupted()) return std::nullopt;
        link_.pause(between_looks);
        link_.reconnect();
    }
}

std::string code_text(int code)
{
    if (code == TAGWIRE_NO_ANSWER) return "no answer in time (48)";
    if (code == TAGWIRE_BAD_CRC) return "the answer was damaged on the way (49)";
    if (code == TAGWIRE_WRONG_COMMAND) return "the answer was to something else (238)";
    if (code == TAGWIRE_BAD_HANDLE) return "the connection is gone (55)";
    if (code == TAGWIRE_BUSY) return "the connection is busy (51)";
    return fmt::format("status 0x{:02X} ({})", static_cast<unsigned>(code), code);
}

std::string block_text(const UpdateReport& report)
{
    return fmt::format("block {} of {}", report.blocks_done + 1, report.blocks);
}

// The step that was under way.
std::string step_text(const UpdateReport& report)
{
    if (report.blocks_done < report.blocks) return block_text(report);
    return "after the last block";
}

std::string_view state_text(ReaderState state)
{
    switch (state) {
    case ReaderState::old_program: return "nothing was changed: the reader runs its old program";
    case ReaderState::update_mode:
        return "nothing was changed: the reader runs its old program, and is in its update mode until it is "
               "updated or switched off and on";
    case ReaderState::old_program_or_update_mode:
        return "nothing was changed: the reader keeps its old program, and may be in its update mode";
    case ReaderState::marked: return "the new program is marked: the reader runs it from its next start on";
    case ReaderState::unknown:
        return "the reader runs its new program if the mark arrived, and otherwise its old one";
    case ReaderState::new_program: return "the reader runs its new program";
    }
    return "";
}

std::string_view hint_text(UpdateEnd end)
{
    switch (end) {
    case UpdateEnd::updated: return "nothing is left to do";
    case UpdateEnd::not_back:
        return "wait, or switch the reader off and on, then see tagwire info for its version";
    case UpdateEnd::mark_unanswered:
        return "see tagwire info for its version; to run the same command again is safe either way";
    case UpdateEnd::mark_lost:
    case UpdateEnd::block_lost:
    case UpdateEnd::link_lost:
        return "check power and cable, then run the same command again: it starts over";
    case UpdateEnd::mark_refused: return "is the file made for this reader?";
    case UpdateEnd::checksum_differs:
        return "run the same command again: it starts over. If the numbers always differ in the same way, "
               "see "
               "the reader's manual for --block-size, --first-number and --low-byte-first";
    case UpdateEnd::block_refused:
        return "see the reader's manual for --block-size, --first-number and --wrap-to, then run the command "
               "again: it starts over";
    case UpdateEnd::left_update_mode:
        return "check its power supply, then run the same command again: it starts over";
    case UpdateEnd::refused:
        return "switch the reader off and on and try again; not every reader is updated this way";
    case UpdateEnd::interrupted: return "to update it after all, run the same command again: it starts over";
    }
    return "";
}

}  // namespace

std::string version_text(const FirmwareVersion& version)
{
    return fmt::format("{}.{}", version[0], version[1]);
}

std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t so_far)
{
    std::uint32_t crc = ~so_far;
    for (const std::uint8_t byte : bytes) crc = crc >> 8U ^ crc_table[(crc ^ byte) & 0xFFU];
    return ~crc;
}

UpdateReport update_firmware(UpdateLink& link, std::span<const std::uint8_t> image, const UpdatePlan& plan,
                             const UpdateWatcher& watcher)
{
    return Update(link, image, plan, watcher).run();
}

std::string problem_text(const UpdateReport& report, const std::string& place)
{
    const auto code = code_text(report.code);
    switch (report.end) {
    case UpdateEnd::updated: return "done";
    case UpdateEnd::not_back:
        return fmt::format("the new program is marked, but was not seen to run on the reader {}", place);
    case UpdateEnd::mark_unanswered:
        return fmt::format("the reader {} did not confirm the mark of the new program: {}", place, code);
    case UpdateEnd::mark_lost:
        return fmt::format("the mark of the new program did not reach the reader {}: {}", place, code);
    case UpdateEnd::mark_refused:
        return fmt::format("the reader {} refused the mark of the new program: {}", place, code);
    case UpdateEnd::checksum_differs:
        return fmt::format("the reader {} received something else: its CRC-32 is {:08X}, that of the file "
                           "{:08X}",
                           place, report.found_checksum.value_or(0), report.checksum);
    case UpdateEnd::block_lost:
        return fmt::format("{} could not be brought to the reader {}: {}", block_text(report), place, code);
    case UpdateEnd::block_refused:
        return fmt::format("{} was refused by the reader {}: {}", block_text(report), place, code);
    case UpdateEnd::left_update_mode:
        return fmt::format(
            "{}: the reader {} is not in its update mode any more, it may have lost its power: "
            "{}",
            step_text(report), place, code);
    case UpdateEnd::refused:
        return fmt::format("the reader {} refused to go into its update mode: {}", place, code);
    case UpdateEnd::link_lost:
        return fmt::format("{}: the reader {} fell silent: {}", step_text(report), place, code);
    case UpdateEnd::interrupted: return fmt::format("interrupted, {}", step_text(report));
    }
    return "failed";
}

std::string advice_text(const UpdateReport& report)
{
    return fmt::format("{}; {}", state_text(report.state), hint_text(report.end));
}

std::string end_name(UpdateEnd end)
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
    case UpdateEnd::interrupted: return "interrupted";
    }
    return "failed";
}

std::string state_name(ReaderState state)
{
    switch (state) {
    case ReaderState::old_program: return "old-program";
    case ReaderState::update_mode: return "update-mode";
    case ReaderState::old_program_or_update_mode: return "old-program-or-update-mode";
    case ReaderState::marked: return "marked";
    case ReaderState::unknown: return "unknown";
    case ReaderState::new_program: return "new-program";
    }
    return "unknown";
}

}  // namespace tagwire::tool
