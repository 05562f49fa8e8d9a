#include "inventory/tag_frames.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tagwire::engine {

FrameWalk::FrameWalk(Reader* reader, const TagFrameLayout& layout)
    : layout_(layout), frames_(reader->szBuff), list_(reader->szBuff1), list_used_(reader->keeping.list_used),
      left_(std::clamp(reader->recvLength, 0, buffer_size))
{
    std::memcpy(frames_, reader->recvBuff, static_cast<std::size_t>(left_));
    reader->keeping.frames_used = std::max(reader->keeping.frames_used, left_);
}

void FrameWalk::run(WalkEnd end, const TagOutputs& out)
{
    while (left_ > 0) {
        const int length = front_byte(frame::len) + 1;
        const u8 status = front_status();
        const bool has_tags = status >= 0x01 && status <= 0x03;
        // Receivers deliver whole frames.
        if (length > left_) return;
        // Where it is not passed, such a frame stays in front until the count of bytes has run out.
        if (!has_tags && layout_.others == OtherFrames::end_the_walk) return;
        if (has_tags) take_records(out);
        if (has_tags && status != 0x03 && end == WalkEnd::at_final_status) return;
        left_ -= length;
        if (left_ > 0) front_ += length;
    }
}

u8 FrameWalk::front_byte(std::size_t at) const
{
    const std::size_t position = static_cast<std::size_t>(front_) + at;
    return position < buffer_size ? frames_[position] : u8{0};
}

void FrameWalk::take_records(const TagOutputs& out)
{
    if (layout_.antenna_at != 0) put(out.antenna, front_byte(layout_.antenna_at));
    if (out.tag_count != nullptr) *out.tag_count += front_byte(layout_.count_at);
    const int length = front_byte(frame::len) - static_cast<int>(layout_.records_at) - 1;
    if (length <= 0 || length > buffer_size - list_length_) return;
    std::memcpy(list_ + list_length_, frames_ + front_ + layout_.records_at,
                static_cast<std::size_t>(length));
    list_length_ += length;
    list_used_ = std::max(list_used_, list_length_);
}

void FrameWalk::copy_list(const TagOutputs& out, int bytes_in_front) const
{
    put(out.list_length, bytes_in_front + list_length_);
    if (out.list != nullptr)
        std::memcpy(out.list + bytes_in_front, list_, static_cast<std::size_t>(list_length_));
}

void clear_scratch(Reader* sthis)
{
    Keeping& keeping = sthis->keeping;
    std::memset(sthis->szBuff, 0, static_cast<std::size_t>(std::exchange(keeping.frames_used, 0)));
    std::memset(sthis->szBuff1, 0, static_cast<std::size_t>(std::exchange(keeping.list_used, 0)));
}

int run_inventory(Reader* sthis, Command& command, const InventoryRules& rules, const TagOutputs& out)
{
    constexpr u8 with_statistics = 0x26;
    constexpr std::size_t statistics_at = 5;
    constexpr int statistics_size = 6;

    clear_scratch(sthis);
    const TagsDecision tags(sthis);
    command.send();
    const int result = command.receive_by(rules.receiver);

    put(out.tag_count, 0);
    if (result == TAGWIRE_NO_ANSWER) return result;
    if (tags.callback_only()) {
        if (rules.callback_only == ListLength::zeroed) put(out.list_length, 0);
        return result;
    }
    if (result == TAGWIRE_BAD_HANDLE || result == TAGWIRE_WRONG_COMMAND) return result;

    FrameWalk walk(sthis, inventory_layout);
    walk.run(rules.end, out);
    if (rules.statistics == Statistics::none || walk.front_status() != with_statistics) {
        walk.copy_list(out);
        return walk.front_status();
    }
    if (out.list != nullptr) {
        for (std::size_t i = 0; i < statistics_size; ++i) out.list[i] = walk.front_byte(statistics_at + i);
    }
    walk.copy_list(out, statistics_size);
    return walk.front_status();
}

}  // namespace tagwire::engine
