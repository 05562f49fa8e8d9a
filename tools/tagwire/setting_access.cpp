#include "setting_access.h"

#include "errors.h"
#include "setting_commands.h"
#include "tagwire/result.h"

#include <algorithm>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

constexpr int most_attempts = 10;
constexpr int most_silences = 2;  // of a reader that answers other commands
constexpr int unknown_command = TAGWIRE_INVENTORY_UNKNOWN;

bool is_garbled(int code) { return code == TAGWIRE_BAD_CRC || code == TAGWIRE_WRONG_COMMAND; }

using Reading = SettingAccess::Reading;

// The part of an answer that begins at `first`; nothing when the answer ends before.
bool cut(Bytes& bytes, std::size_t first, std::size_t size)
{
    if (first > bytes.size() || (size != to_the_end && size > bytes.size() - first)) return false;
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(first));
    if (size != to_the_end) bytes.resize(size);
    return true;
}

bool belong_together(const Setting& one, const Setting& other)
{
    return one.writer == other.writer && one.index == other.index;
}

void require_whole(const std::vector<Change>& group)
{
    const auto& setting = *group.front().setting;
    if (setting.is_written_alone() || setting.writer->source != nullptr) return;
    std::size_t given = 0;
    for (const auto& change : group) given += change.setting->size;
    if (given == setting.writer->size) return;
    throw UsageError(fmt::format("setting {} goes with others in one command, and none of them can be read "
                                 "from this family of readers: give all of them",
                                 setting.name));
}

}  // namespace

std::vector<std::vector<Change>> grouped(std::vector<Change> changes)
{
    std::stable_sort(changes.begin(), changes.end(), [](const Change& one, const Change& other) {
        return one.setting->writer->reach < other.setting->writer->reach;
    });
    std::vector<std::vector<Change>> groups;
    for (auto& change : changes) {
        const auto found = std::find_if(groups.begin(), groups.end(), [&](const auto& group) {
            return belong_together(*group.front().setting, *change.setting);
        });
        if (found == groups.end()) {
            groups.push_back({std::move(change)});
        } else {
            found->push_back(std::move(change));
        }
    }
    for (const auto& group : groups) require_whole(group);
    return groups;
}

SettingAccess::SettingAccess(const ReaderConnection& reader, bool two_way)
    : reader_(reader), address_(reader.address()), two_way_(two_way)
{
    if (reader.url().link != Link::Tcp) line_speed_ = baud_index(reader.url().baud);
}

Reading SettingAccess::read(const Setting& setting)
{
    Reading reading = answer(*setting.source, setting.index);
    if (reading.is_served() && !cut(reading.bytes, setting.first, setting.size))
        reading.code = TAGWIRE_WRONG_COMMAND;
    if (reading.is_served()) reading.bytes = setting.format.normalised(reading.bytes);
    return reading;
}

const Reading& SettingAccess::answer(const Source& source, std::uint8_t index)
{
    const auto [found, is_new] = answers_.try_emplace({&source, index});
    Reading& reading = found->second;
    if (!is_new) return reading;
    if (unknown_.contains(&source)) {
        reading.code = unknown_command;
        return reading;
    }
    try {
        const Request ask = [&](const SettingCall& call) {
            reading.bytes.clear();
            return source.read(call, reading.bytes);
        };
        reading.code = exchange(index, ask);
    } catch (...) {
        answers_.erase(found);
        throw;
    }
    if (reading.code == TAGWIRE_NO_ANSWER || reading.code == unknown_command) unknown_.insert(&source);
    return reading;
}

SettingCall SettingAccess::call_to(std::uint8_t& address, std::uint8_t index) const
{
    return {&address, reader_.handle(), index, line_speed_, two_way_};
}

int SettingAccess::exchange(std::uint8_t index, const Request& request)
{
    int silences = 0;
    for (int attempt = 1;; ++attempt) {
        auto address = address_;
        const int code = request(call_to(address, index));
        if (code == TAGWIRE_BAD_HANDLE || code == TAGWIRE_BUSY) throw Failure(text(code));
        if (!is_garbled(code) && code != TAGWIRE_NO_ANSWER) return code;
        require_answer(code);
        if (code == TAGWIRE_NO_ANSWER && ++silences == most_silences) return code;
        if (attempt < most_attempts) continue;
        if (code == TAGWIRE_BAD_CRC) throw Failure(text(code));
        return code;
    }
}

// What a reader reports by itself may stand in its answer's way: that is no silence.
bool SettingAccess::answers_at(std::uint8_t address)
{
    Bytes ignored;
    int silences = 0;
    for (int attempt = 0; attempt < most_attempts && silences < most_silences; ++attempt) {
        auto asked = address;
        const int code = sources::information.read(call_to(asked, 0), ignored);
        if (code == TAGWIRE_OK) return true;
        if (!is_garbled(code)) ++silences;
    }
    return false;
}

void SettingAccess::require_answer(int code)
{
    if (!answers_at(address_)) throw Failure(text(code));
}

int SettingAccess::write(std::span<const Change> group)
{
    const auto& setting = *group.front().setting;
    Bytes block;
    const int code = block_of(group, block);
    if (code != TAGWIRE_OK) return code;
    forget();
    switch (setting.writer->reach) {
    case Reach::Address: return write_address(*setting.writer, block);
    case Reach::Baud: return write_baud(*setting.writer, block);
    default: break;
    }
    return exchange(setting.index, [&](const SettingCall& call) {
        auto sent = block;
        return setting.writer->write(call, sent);
    });
}

int SettingAccess::block_of(std::span<const Change> group, Bytes& block)
{
    const auto& setting = *group.front().setting;
    const auto& writer = *setting.writer;
    if (setting.is_written_alone()) {
        block = group.front().value;
        return TAGWIRE_OK;
    }
    if (writer.source == nullptr) {
        block.assign(writer.size, 0);
    } else {
        const auto& present = answer(*writer.source, setting.index);
        if (!present.is_served()) return present.code;
        block = present.bytes;
        if (!cut(block, writer.first, writer.size)) return TAGWIRE_WRONG_COMMAND;
    }
    for (const auto& change : group) {
        const auto place = static_cast<std::ptrdiff_t>(change.setting->first - writer.first);
        std::copy(change.value.begin(), change.value.end(), block.begin() + place);
    }
    return TAGWIRE_OK;
}

int SettingAccess::write_address(const Writer& writer, Bytes& block)
{
    auto address = address_;
    const int code = writer.write(call_to(address, 0), block);
    const bool may_be_done = code == TAGWIRE_OK || code == TAGWIRE_NO_ANSWER || code == TAGWIRE_BAD_CRC ||
                             code == TAGWIRE_WRONG_COMMAND;
    if (may_be_done && answers_at(block[0])) {
        address_ = block[0];
        return TAGWIRE_OK;
    }
    if (may_be_done && !answers_at(address_)) {
        throw Failure(fmt::format("the reader {} answers neither at its old address {} nor at the new one {}",
                                  reader_.url().place(), address_, block[0]));
    }
    return code;
}

int SettingAccess::write_baud(const Writer& writer, Bytes& block)
{
    const int code = exchange(0, [&](const SettingCall& call) { return writer.write(call, block); });
    if (code != TAGWIRE_OK || reader_.url().link == Link::Tcp) return code;
    line_speed_ = block[0];
    if (answers_at(address_)) return code;
    throw Failure(
        fmt::format("the reader {} took the new speed and does not answer at it: try it with --baud",
                    reader_.url().place()));
}

}  // namespace tagwire::tool
