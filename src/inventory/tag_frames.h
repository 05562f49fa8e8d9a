// How an inventory runs: the request goes out, frames with tag records come in, and their records become a
// list.
#pragma once

#include "link/command.h"

namespace tagwire::engine {

// Where an inventory's outcome goes. Null outputs are left out.
struct TagOutputs {
    u8* list;
    u8* antenna;
    int* list_length;
    int* tag_count;
};

template <class T> void put(T* output, T value)
{
    if (output != nullptr) *output = value;
}

class FlagRaised {
  public:
    explicit FlagRaised(Atomic<bool>& flag) : flag_(flag) { flag_ = true; }
    ~FlagRaised() { flag_ = false; }
    FlagRaised(const FlagRaised&) = delete;
    FlagRaised& operator=(const FlagRaised&) = delete;

  private:
    Atomic<bool>& flag_;
};

// Whether the inventory in progress leaves its lists alone. Decided once, before its frame is sent, and kept
// until its end, whatever is registered or closed meanwhile.
class TagsDecision {
  public:
    explicit TagsDecision(Reader* reader) : reader_(reader), callback_only_(reader->InventoryBackUID)
    {
        reader_->keeping.tags_go = callback_only_ ? TagsGo::to_the_callback_only : TagsGo::to_the_list;
    }
    ~TagsDecision() { reader_->keeping.tags_go = TagsGo::undecided; }
    TagsDecision(const TagsDecision&) = delete;
    TagsDecision& operator=(const TagsDecision&) = delete;

    bool callback_only() const { return callback_only_; }

  private:
    Reader* reader_;
    bool callback_only_;
};

// The same for a receiver, which decides for itself where no inventory has.
inline bool tags_go_to_callback_only(const Reader* reader)
{
    const TagsGo decided = reader->keeping.tags_go;
    return decided == TagsGo::undecided ? reader->InventoryBackUID : decided == TagsGo::to_the_callback_only;
}

// What becomes of a frame without tags in front of others: the walk ends at it, or passes it.
enum class OtherFrames { end_the_walk, are_passed };

// Where a frame has its antenna byte (0: nowhere), its count of records and the records, which end at the
// CRC.
struct TagFrameLayout {
    std::size_t antenna_at;
    std::size_t count_at;
    std::size_t records_at;
    OtherFrames others;
};
inline constexpr TagFrameLayout inventory_layout{4, 5, 6, OtherFrames::end_the_walk};
inline constexpr TagFrameLayout list_search_layout{0, 6, 7, OtherFrames::are_passed};

// Behind a frame with status 1 or 2 an answer is over, but for the statistics variant.
enum class WalkEnd { at_final_status, at_last_byte };

// The frames of an answer, as the list of tag records they carry. Works on szBuff (frames) and szBuff1
// (list).
class FrameWalk {
  public:
    FrameWalk(Reader* reader, const TagFrameLayout& layout);

    void run(WalkEnd end, const TagOutputs& out);
    void copy_list(const TagOutputs& out, int bytes_in_front = 0) const;

    u8 front_byte(std::size_t at) const;
    u8 front_status() const { return front_byte(frame::status); }

  private:
    void take_records(const TagOutputs& out);

    const TagFrameLayout layout_;
    u8* frames_;
    u8* list_;
    int& list_used_;
    int front_ = 0;
    int left_ = 0;
    int list_length_ = 0;
};

void clear_scratch(Reader* sthis);

// What Totallen becomes when the tags went to the callback only.
enum class ListLength { zeroed, kept };
// Whether a final status of 0x26 puts 6 bytes of statistics in front of the list.
enum class Statistics { none, with_status_26 };

// How one inventory differs from another.
struct InventoryRules {
    ReceiverOfCode receiver;
    WalkEnd end;
    ListLength callback_only;
    Statistics statistics;
};
inline constexpr InventoryRules plain_inventory{.receiver = &Operations::GetInventoryDataFromPort1,
                                                .end = WalkEnd::at_final_status,
                                                .callback_only = ListLength::zeroed,
                                                .statistics = Statistics::none};

// Bit 7 of QValue asks for the variant with statistics.
inline bool asks_for_statistics(u8 QValue) { return (QValue & 0x80) != 0; }

// Sends the inventory, receives its frames and hands them out.
int run_inventory(Reader* sthis, Command& command, const InventoryRules& rules, const TagOutputs& out);

}  // namespace tagwire::engine
