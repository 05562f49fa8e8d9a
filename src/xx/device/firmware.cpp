// Replacing a reader's program.
#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "tagwire/result.h"
#include "xx/device/crc32.h"
#include "xx/reader/reader_inside.h"
#include "xx/values/url.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;
using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr Call begin_call{.name = "begin an update", .family = engine::ResultFamily::services};
constexpr Call block_call{.name = "write a block of an update", .family = engine::ResultFamily::services};
constexpr Call checksum_call{
    .name = "ask for the CRC-32 of an update", .least = 4, .family = engine::ResultFamily::services};
constexpr Call mark_call{.name = "mark the new program", .family = engine::ResultFamily::services};
constexpr Call update_call{.name = "update the firmware", .family = engine::ResultFamily::services};
constexpr Call leave_call{
    .name = "leave the update mode", .effect = Effect::change, .family = engine::ResultFamily::services};

constexpr auto between_looks = 200ms;
// A reader may answer for a while before it starts anew.
constexpr auto longest_farewell = 3s;

// The status with which readers answer to a command that they do not know; others echo another command.
constexpr int unknown_command = TAGWIRE_INVENTORY_UNKNOWN;

int told_apart(const ReaderInside& inside, int result)
{
    return inside.is_unknown_command(result) ? unknown_command : result;
}

// Nobody can tell what the reader made of the request.
bool is_lost(int result)
{
    return result == TAGWIRE_NO_ANSWER || result == TAGWIRE_BAD_CRC || result == TAGWIRE_WRONG_COMMAND ||
           result == TAGWIRE_BAD_HANDLE;
}

// The exchanges of an update. Their results are those of the engine; where there was no exchange at all,
// TAGWIRE_BAD_HANDLE for want of a link and else TAGWIRE_NO_ANSWER.
class UpdateLink {
  public:
    UpdateLink(ReaderInside& inside, std::stop_token stop) : inside_(inside), stop_(std::move(stop)) {}

    bool is_stopped() const { return is_aborted_ || stop_.stop_requested(); }

    int begin() { return exchange(begin_call, &O::ChangeToUpdateMode); }
    int write(std::uint8_t number, std::span<const std::uint8_t> block)
    {
        Bytes bytes(block.begin(), block.end());
        return exchange(block_call, &O::WriteBinData, number, bytes.data(), static_cast<int>(bytes.size()));
    }
    int mark() { return exchange(mark_call, &O::WriteMark); }
    int checksum(std::uint32_t& checksum, bool low_byte_first)
    {
        std::array<u8, 4> bytes{};
        const int result = exchange(checksum_call, &O::CheckCRC32, bytes.data());
        if (result == TAGWIRE_OK && inside_.came() < checksum_call.least) return TAGWIRE_BAD_CRC;
        if (low_byte_first) std::reverse(bytes.begin(), bytes.end());
        checksum = 0;
        for (const u8 byte : bytes) checksum = checksum << 8U | byte;
        return result;
    }
    std::optional<Version> version()
    {
        std::optional<Version> out;
        attempt([&] {
            const auto& told = inside_.ask_information();
            out = Version{told.version[0], told.version[1]};
            return TAGWIRE_OK;
        });
        return out;
    }
    // A stop ends it.
    void pause(std::chrono::milliseconds time)
    {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any().wait_for(lock, stop_, time, [] { return false; });
    }
    void reopen()
    {
        attempt([&] {
            inside_.reopen_unasked();
            return TAGWIRE_OK;
        });
    }

  private:
    template <class... Parameters, class... Arguments>
    int exchange(const Call& call, int (*Operations::*operation)(engine::Reader*, u8*, Parameters...),
                 Arguments... arguments)
    {
        return attempt([&] { return told_apart(inside_, inside_.run(call, operation, arguments...)); });
    }

    // Behind a lost answer the Reader asks who the reader is, and passes over all that comes before that. Not
    // every reader tells it in its update mode: then silence has to do.
    template <class Act> int attempt(Act act)
    try {
        return act();
    } catch (const Error& error) {
        if (error.code() == Errc::aborted) is_aborted_ = true;
        if (error.code() == Errc::no_answer) inside_.listen();
        return error.code() == Errc::lost || error.code() == Errc::cannot_open ? TAGWIRE_BAD_HANDLE
                                                                               : TAGWIRE_NO_ANSWER;
    }

    ReaderInside& inside_;
    std::stop_token stop_;
    bool is_aborted_ = false;
};

// What a reader shows of itself.
struct Look {
    std::optional<Version> version;  // not every reader tells it in its update mode
    int result = 0;  // of the question for the checksum, which a reader outside of its update mode refuses
    std::uint32_t checksum = 0;

    bool is_updating() const { return result == TAGWIRE_OK; }
    bool has_left() const { return !is_updating() && !is_lost(result); }
};

std::optional<Look> look_at(UpdateLink& link, bool may_hide_version, bool low_byte_first)
{
    Look out;
    out.version = link.version();
    if (!out.version && !may_hide_version) return std::nullopt;
    out.result = link.checksum(out.checksum, low_byte_first);
    return is_lost(out.result) && !out.version ? std::nullopt : std::optional(out);
}

// Until the reader shows what is wanted. One that starts anew may close its link.
template <class IsWanted>
std::optional<Look> await(UpdateLink& link, std::chrono::milliseconds limit, bool may_hide_version,
                          bool low_byte_first, IsWanted is_wanted)
{
    const auto end = SteadyClock::now() + limit;
    for (;;) {
        const auto seen = look_at(link, may_hide_version, low_byte_first);
        if (seen && is_wanted(*seen)) return seen;
        if (SteadyClock::now() >= end || link.is_stopped()) return std::nullopt;
        link.pause(between_looks);
        if (!seen) link.reopen();
    }
}

// Answers to blocks do not tell which block they belong to. So when one is lost the reader is asked for its
// checksum, which follows every answer that was still under way and tells whether the block arrived. Only
// then is a block sent again, or the next one.
class Update {
  public:
    Update(ReaderInside& inside, std::span<const std::uint8_t> image, const UpdateOptions& options,
           const std::function<void(const Progress&)>& told, const std::stop_token& stop)
        : link_(inside, stop), image_(image), options_(options), told_(told)
    {
        report_.reader = inside.name();
        report_.blocks = (image.size() + options.block - 1) / options.block;
        report_.checksum = crc32(image);
        progress_.total = image.size();
    }

    UpdateReport run()
    {
        if (ask_old_version() && begin() && write_blocks() && compare() && mark()) await_new_program();
        return report_;
    }

  private:
    // All steps return whether to go on.
    bool ask_old_version();
    bool begin();
    UpdateState state_behind_refusal(bool was_lost);
    bool write_blocks();
    bool write_block(std::uint8_t number, std::span<const std::uint8_t> block);
    bool compare();
    bool mark();
    bool find_out_about_mark(int result);
    void await_new_program();
    bool has_new_version() const
    {
        return report_.version && report_.old_version && *report_.version != *report_.old_version;
    }

    template <class Exchange> int ask(Exchange exchange);
    template <class Exchange> int ask_again(Exchange exchange, int result);
    int ask_checksum(std::uint32_t& checksum) { return link_.checksum(checksum, options_.low_byte_first); }
    template <class IsWanted> std::optional<Look> await_look(bool may_hide_version, IsWanted is_wanted)
    {
        return await(link_, options_.boot_limit, may_hide_version, options_.low_byte_first, is_wanted);
    }
    bool has_restarted(const Look& seen, SteadyClock::time_point marked) const;

    void tell(std::optional<LostBlock> lost = {});
    bool is_stopped(UpdateState state);
    bool give_up(UpdateEnd end, UpdateState state, int result = 0);
    bool give_up_refused(UpdateEnd end, int result);
    bool give_up_lost(UpdateState state = UpdateState::old_program_or_update_mode);

    UpdateLink link_;
    std::span<const std::uint8_t> image_;
    const UpdateOptions& options_;
    const std::function<void(const Progress&)>& told_;
    Progress progress_;
    UpdateReport report_;
    std::uint32_t written_checksum_ = 0;
};

bool Update::give_up(UpdateEnd end, UpdateState state, int result)
{
    report_.end = end;
    report_.state = state;
    report_.result = result;
    return false;
}

// Either the reader did not like it, or it is not in its update mode any more.
bool Update::give_up_refused(UpdateEnd end, int result)
{
    std::uint32_t checksum = 0;
    const int probe = ask([&] { return ask_checksum(checksum); });
    if (probe == TAGWIRE_OK) return give_up(end, UpdateState::update_mode, result);
    if (is_lost(probe) || probe == unknown_command)
        return give_up(end, UpdateState::old_program_or_update_mode, result);
    return give_up(UpdateEnd::left_update_mode, UpdateState::old_program, result);
}

// A stop ends the questions early. Silence it is, too, where the link cannot be opened again.
bool Update::give_up_lost(UpdateState state)
{
    return !is_stopped(state) && give_up(UpdateEnd::link_lost, state, TAGWIRE_NO_ANSWER);
}

bool Update::is_stopped(UpdateState state)
{
    if (!link_.is_stopped()) return false;
    give_up(UpdateEnd::stopped, state);
    return true;
}

void Update::tell(std::optional<LostBlock> lost)
{
    progress_.lost = lost;
    progress_.lost_answers = report_.lost_answers;
    if (told_) told_(progress_);
}

template <class Exchange> int Update::ask(Exchange exchange)
{
    const int result = exchange();
    return is_lost(result) ? ask_again(exchange, result) : result;
}

// After a loss, for what the reader may be asked twice. A link that is gone is opened again.
template <class Exchange> int Update::ask_again(Exchange exchange, int result)
{
    for (unsigned attempt = 0; attempt <= options_.retries && !link_.is_stopped(); ++attempt) {
        if (result == TAGWIRE_BAD_HANDLE) {
            link_.pause(between_looks);
            link_.reopen();
        }
        result = exchange();
        if (!is_lost(result)) break;
    }
    return result;
}

// A reader in its update mode may not tell its version, but tells its checksum, or that it has none.
bool Update::ask_old_version()
{
    std::uint32_t checksum = 0;
    const int result = ask([&]() -> int {
        report_.old_version = link_.version();
        if (report_.old_version) return TAGWIRE_OK;
        const int probe = ask_checksum(checksum);
        const bool has_none = options_.without_checksum && probe == unknown_command;
        if (probe != TAGWIRE_OK && !has_none) return probe == TAGWIRE_BAD_HANDLE ? probe : TAGWIRE_NO_ANSWER;
        report_.old_version = link_.version();  // it may have been lost
        return TAGWIRE_OK;
    });
    return result == TAGWIRE_OK || give_up_lost(UpdateState::untouched);
}

bool Update::begin()
{
    if (is_stopped(UpdateState::untouched)) return false;
    bool was_lost = false;
    const int result = ask([&] {
        const int latest = link_.begin();
        was_lost |= is_lost(latest);
        return latest;
    });
    if (result == TAGWIRE_OK) return true;
    if (is_lost(result)) return give_up_lost();
    return give_up(UpdateEnd::refused, state_behind_refusal(was_lost), result);
}

// It may have been in its update mode before, or be by a request whose answer was lost.
UpdateState Update::state_behind_refusal(bool was_lost)
{
    std::uint32_t checksum = 0;
    const int probe = ask([&] { return ask_checksum(checksum); });
    if (probe == TAGWIRE_OK) return UpdateState::update_mode;
    const bool is_untold = is_lost(probe) || (was_lost && probe == unknown_command);
    return is_untold ? UpdateState::old_program_or_update_mode : UpdateState::old_program;
}

bool Update::write_blocks()
{
    auto number = static_cast<std::uint8_t>(options_.first_number);
    tell();
    for (std::size_t begin = 0; begin < image_.size(); begin += options_.block) {
        if (is_stopped(UpdateState::update_mode)) return false;
        const auto block =
            image_.subspan(begin, std::min<std::size_t>(options_.block, image_.size() - begin));
        if (!write_block(number, block)) return false;
        written_checksum_ = crc32(block, written_checksum_);
        number = static_cast<std::uint8_t>(number == 0xFF ? options_.wrap_to : number + 1U);
        ++report_.blocks_done;
        progress_.bytes += block.size();
        tell();
    }
    return true;
}

bool Update::write_block(std::uint8_t number, std::span<const std::uint8_t> block)
{
    int result = TAGWIRE_OK;
    for (unsigned attempt = 0; attempt <= options_.retries; ++attempt) {
        result = link_.write(number, block);
        if (result == TAGWIRE_OK) return true;
        if (!is_lost(result)) return give_up_refused(UpdateEnd::block_refused, result);
        ++report_.lost_answers;
        std::uint32_t checksum = 0;
        const int probe = ask_again([&] { return ask_checksum(checksum); }, result);
        if (is_lost(probe)) return give_up_lost();
        if (probe == unknown_command)
            return give_up(UpdateEnd::block_lost, UpdateState::old_program_or_update_mode, result);
        if (probe != TAGWIRE_OK) return give_up(UpdateEnd::left_update_mode, UpdateState::old_program, probe);
        const bool arrived = checksum == crc32(block, written_checksum_);
        tell(LostBlock{report_.blocks_done + 1, result, arrived});
        if (arrived) return true;
    }
    return give_up(UpdateEnd::block_lost, UpdateState::update_mode, result);
}

bool Update::compare()
{
    if (is_stopped(UpdateState::update_mode)) return false;
    std::uint32_t checksum = 0;
    const int result = ask([&] { return ask_checksum(checksum); });
    if (is_lost(result)) return give_up_lost();
    if (result == unknown_command)
        return options_.without_checksum ||
               give_up(UpdateEnd::no_checksum, UpdateState::old_program_or_update_mode, result);
    if (result != TAGWIRE_OK) return give_up(UpdateEnd::left_update_mode, UpdateState::old_program, result);
    report_.compared = checksum == report_.checksum;
    if (report_.compared) return true;
    report_.found_checksum = checksum;
    return give_up(UpdateEnd::checksum_differs, UpdateState::update_mode);
}

bool Update::mark()
{
    int result = TAGWIRE_OK;
    for (unsigned attempt = 0; attempt <= options_.retries; ++attempt) {
        if (is_stopped(UpdateState::update_mode)) return false;
        result = link_.mark();
        if (result == TAGWIRE_OK) return true;
        if (!is_lost(result))
            return attempt == 0 ? give_up_refused(UpdateEnd::mark_refused, result)
                                : give_up(UpdateEnd::mark_unanswered, UpdateState::unknown, result);
        if (!find_out_about_mark(result)) return false;
    }
    return give_up(UpdateEnd::mark_lost, UpdateState::update_mode, result);
}

// Goes on only where the mark certainly did not arrive. A reader that has it may answer as before for a while,
// which no stop ends.
bool Update::find_out_about_mark(int result)
{
    const auto marked = SteadyClock::now();
    std::this_thread::sleep_for(longest_farewell);
    const auto has_no_mark = [this](const Look& now) {
        return now.is_updating() && now.checksum == report_.checksum;
    };
    const auto seen =
        await_look(true, [&](const Look& now) { return has_no_mark(now) || has_restarted(now, marked); });
    if (seen && has_no_mark(*seen)) return true;
    if (seen) report_.version = seen->version;
    if (has_new_version()) return give_up(UpdateEnd::updated, UpdateState::new_program);
    return give_up(UpdateEnd::mark_unanswered, UpdateState::unknown, result);
}

void Update::await_new_program()
{
    const auto seen = await_look(
        false, [&, marked = SteadyClock::now()](const Look& now) { return has_restarted(now, marked); });
    if (!seen) {
        give_up(UpdateEnd::not_back, UpdateState::marked);
        return;
    }
    report_.version = seen->version;
    if (has_new_version())
        give_up(UpdateEnd::updated, UpdateState::new_program);
    else
        give_up(UpdateEnd::restarted, report_.compared ? UpdateState::new_program : UpdateState::marked);
}

bool Update::has_restarted(const Look& seen, SteadyClock::time_point marked) const
{
    if (!seen.version || seen.is_updating()) return false;
    const bool is_another = report_.old_version && *seen.version != *report_.old_version;
    const bool is_late = SteadyClock::now() >= marked + longest_farewell;
    return seen.has_left() ? is_another || is_late : is_another && is_late;
}

void check_options(const ReaderInside& inside, const UpdateOptions& options)
{
    checked(inside, update_call, "the size of a block", options.block, 1, 250);
    checked(inside, update_call, "the number of the first block", options.first_number, 0, 255);
    checked(inside, update_call, "the number of the block behind number 255", options.wrap_to, 0, 255);
    checked(inside, update_call, "the count of retries", options.retries, 0, 100);
    checked(inside, update_call, "the time in ms for the new program to answer", options.boot_limit.count(),
            1, 3'600'000);
}

void check_image(const ReaderInside& inside, std::span<const std::uint8_t> image, bool with_doubts)
{
    const FirmwareImage facts = examine_firmware(image);
    if (facts.doubts.empty() || (with_doubts && !image.empty())) return;
    std::string text = "this is hardly a program of a reader: ";
    for (const auto& doubt : facts.doubts) text += (&doubt == facts.doubts.data() ? "" : ", ") + doubt;
    refuse_value(inside, update_call, text);
}

// TAGWIRE_OK in the update mode, or the status of a refusal; what is neither is an Error. A reader may not say
// who it is in that mode: behind a lost answer silence has to do.
int ask_for_checksum(ReaderInside& inside)
{
    std::array<u8, 4> checksum{};
    const ReaderInside::Turn turn(inside);
    inside.listen_if_stale();
    const int result = told_apart(inside, inside.run(checksum_call, &O::CheckCRC32, checksum.data()));
    if (is_lost(result)) inside.fail(checksum_call, result);
    if (result == TAGWIRE_OK) inside.require(checksum_call, inside.came());
    return result;
}

bool may_be_updating(int result) { return result == TAGWIRE_OK || result == unknown_command; }

}  // namespace

UpdateReport Reader::update_firmware(std::span<const std::uint8_t> image,
                                     const std::function<void(const Progress&)>& told,
                                     const std::stop_token& stop, const UpdateOptions& options)
{
    check_options(*inside_, options);
    check_image(*inside_, image, options.with_doubts);
    const Inside::Turn turn(*inside_);
    return Update(*inside_, image, options, told, stop).run();
}

Reader Reader::in_update_mode(std::string_view text)
{
    constexpr const char* name = "open a reader in its update mode";
    const Url url = parse_url(text);
    if (url.serial && url.device.empty())
        throw Error(Errc::invalid_text, name, url.text, "name its serial device, it cannot be looked for");
    engine::ReaderInformation untold{};
    untold.address = url.address;
    Reader reader = Inside::around(open_link(url), untold);
    if (!may_be_updating(ask_for_checksum(*reader.inside_)))
        throw Error(Errc::refused, name, url.text, "the reader is not in its update mode: open it as others");
    return reader;
}

bool Reader::is_in_update_mode() { return ask_for_checksum(*inside_) == TAGWIRE_OK; }

void Reader::leave_update_mode(std::chrono::milliseconds limit)
{
    const Inside::Turn turn(*inside_);
    if (!may_be_updating(ask_for_checksum(*inside_))) return;
    const int result = inside_->run(leave_call, &O::ResetReader);
    if (result != TAGWIRE_OK && !is_lost(result)) inside_->fail(leave_call, result);
    UpdateLink link(*inside_, {});
    const auto seen = await(link, limit, false, false, [](const Look& now) { return now.has_left(); });
    if (!seen)
        throw Error(link.is_stopped() ? Errc::aborted : Errc::no_answer, leave_call.name, inside_->name(),
                    "the reader was told to restart, and was not seen outside of its update mode",
                    Outcome::unknown);
}

}  // namespace v1
}  // namespace tagwire
