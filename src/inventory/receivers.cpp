// The receivers of answers that span several frames or stand in a stream of others.
//
// They look alike and are not: what ends an answer, what is skipped, what is waited for and how long differs
// by receiver, and stands in each one's own lines.
#include <cstring>

#include "inventory/tag_frames.h"
#include "link/clock.h"
#include "link/descriptor.h"
#include "link/framing.h"
#include "reader/hooks.h"

namespace tagwire::engine {
namespace {

constexpr int silence_limit_ms = 5000;

bool carries_tags(u8 status) { return status >= 0x01 && status <= 0x03; }

bool ends_inventory(u8 status)
{
    switch (status) {
    case 0x01:
    case 0x02:
    case 0xF8:
    case 0xF9:
    case 0xFB:
    case 0xFD:
    case 0xFE:
    case 0xFF: return true;
    default: return false;
    }
}

enum class Tags { to_callback, to_list_only };

// The frames of an answer, back to back in btRecvArr. When somebody takes the tags, more may come than there
// is room for: the list keeps what came first and, in place of its last frames, the one that ends the answer.
class FrameList {
  public:
    FrameList(Reader* reader, Tags tags) : reader_(reader), tags_(tags) {}

    void add(const FrameCopy& frame, bool last)
    {
        const bool fits = frame.length() <= buffer_size - size_;
        if (!fits) overflowed_ = true;
        if (!fits && last) size_ = size_with_room_;
        if (overflowed_ && !last) return;
        std::memcpy(reader_->btRecvArr + size_, frame.bytes, static_cast<std::size_t>(frame.length()));
        size_ += frame.length();
        if (size_ <= buffer_size - static_cast<int>(frame::longest)) size_with_room_ = size_;
    }

    // Frames were left out, and nobody has taken their tags.
    bool is_cut() const { return overflowed_ && !tags_are_taken(); }
    // The same will be true of any further frame.
    bool is_full() const { return (overflowed_ || size_ >= buffer_size - 1) && !tags_are_taken(); }

    void copy_out(u8* to, int* length) const
    {
        std::memcpy(to, reader_->btRecvArr, static_cast<std::size_t>(size_));
        *length = size_;
    }

  private:
    bool tags_are_taken() const { return tags_ == Tags::to_callback && has_tag_taker(reader_); }

    Reader* reader_;
    Tags tags_;
    int size_ = 0;
    int size_with_room_ = 0;  // up to the last frame behind which any other one fits
    bool overflowed_ = false;
};

bool is_list_search(const Reader* /*reader*/, const Assembly& bytes, int command)
{
    return bytes[0] > 3 && bytes[2] == command && (bytes.size() < 5 || bytes[4] == 1);
}

// What the answers of inventories have in common: frames into the list, tags to the callback, an end.
class InventoryAnswer {
  public:
    InventoryAnswer(Reader* reader, int command, Tags tags)
        : reader_(reader), command_(command), tags_(tags),
          callback_only_(tags_go_to_callback_only(reader) && tags == Tags::to_callback),
          bytes_(assembly_of(reader)), frames_(reader, tags)
    {}

    bool is_lost() const { return frames_.is_full(); }

    // Of frames that the header test picks.
    Outcome feed(const u8* chunk, int count, HeaderTest is_good)
    {
        return take_timed(
            reader_->time1, chunk, count,
            [&](FrameCopy& frame) { return find_frame(reader_, bytes_, is_good, command_, frame); },
            [&](FrameCopy& frame) {
                return accept(frame, carries_tags(frame.status()), ends_inventory(frame.status()));
            });
    }

    // Of frames that each have a lead byte in front, and no header test. An antenna that failed its check
    // (0xF8) does not end the answer, and its frame may carry tags.
    Outcome feed_switch(const u8* chunk, int count)
    {
        return take_timed(
            reader_->time3, chunk, count, [&](FrameCopy& frame) { return find_behind_lead(frame); },
            [&](FrameCopy& frame) {
                const u8 status = frame.status();
                return accept(frame, carries_tags(status) || status == 0xF8,
                              ends_inventory(status) && status != 0xF8);
            });
    }

    // Once the answer has ended by itself, and where its list is wanted.
    void copy_out(u8* to, int* length) const
    {
        if (complete_ && !callback_only_) frames_.copy_out(to, length);
    }

  private:
    // `last_good` becomes the time at which the last good frame was taken. The clock is read once a chunk, and
    // again where tags are handed out in between, which takes as long as it likes.
    template <class Find, class Accept>
    Outcome take_timed(std::int64_t& last_good, const u8* chunk, int count, Find find, Accept accept)
    {
        const std::int64_t arrived = getCurrentTimeMsec();
        int frames = 0;
        return take_frames(bytes_, chunk, count, find, [&](FrameCopy& frame) {
            const bool is_later = frames++ > 0 && has_tag_taker(reader_);
            last_good = is_later ? getCurrentTimeMsec() : arrived;
            return accept(frame);
        });
    }

    Outcome accept(FrameCopy& frame, bool has_tags, bool last)
    {
        frames_.add(frame, last);
        if (has_tags && tags_ == Tags::to_callback && has_tag_taker(reader_))
            reader_->operations.parserRidTag(reader_, frame.bytes, command_);
        complete_ = last && !frames_.is_cut();
        if (last) return complete_ ? int{frame.status()} : int{TAGWIRE_NO_ANSWER};
        if (frame.bytes[frame::command] == error_echo) return TAGWIRE_WRONG_COMMAND;
        return {};
    }

    bool find_behind_lead(FrameCopy& frame)
    {
        constexpr u8 lead = 0xA0;
        for (; bytes_.size() > 0 && !reader_->isStopCmd; skip_byte()) {
            if (bytes_[0] != lead) continue;
            if (bytes_.size() < 2 || bytes_.size() <= bytes_[1] + 1) return false;
            if (!frame.take(reader_, bytes_, bytes_.front() + 1, bytes_[1] + 1)) continue;
            bytes_.drop(1);
            return true;
        }
        return false;
    }

    void skip_byte()
    {
        bytes_.drop(1);
        count_skipped(reader_, 1);
    }

    Reader* reader_;
    int command_;
    Tags tags_;
    bool callback_only_;
    Assembly bytes_;
    FrameList frames_;
    bool complete_ = false;
};

// An answer that lasts until its end status, 5 s of silence, or the stop flag.
int receive_inventory(Reader* sthis, u8* Recv, int* pLengthOfRecved, InventoryAnswer& answer,
                      HeaderTest is_good)
{
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    sthis->time1 = getCurrentTimeMsec();
    do {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n > 0) {
            if (const Outcome outcome = answer.feed(sthis->recvBuff, n, is_good)) {
                answer.copy_out(Recv, pLengthOfRecved);
                return *outcome;
            }
        }
        pause_behind_read(sthis, n, 10, 1);
        if (answer.is_lost()) return TAGWIRE_NO_ANSWER;
        sthis->time2 = getCurrentTimeMsec();
        if (sthis->time2 - sthis->time1 > silence_limit_ms) return TAGWIRE_NO_ANSWER;
    } while (!sthis->isStopCmd);
    return TAGWIRE_NO_ANSWER;
}

int receive_gen2(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    InventoryAnswer answer(sthis, cmd, Tags::to_callback);
    return receive_inventory(sthis, Recv, pLengthOfRecved, answer, is_addressed);
}

// The one frame that AutoGetDataFromPort waits for.
class ExpectedAnswer {
  public:
    ExpectedAnswer(Reader* reader, int command)
        : reader_(reader), bytes_(assembly_of(reader)), len_(len_of(command)), command_(command)
    {}

    bool feed(const u8* chunk, int count)
    {
        return bytes_.feed(chunk, count, [this] { return scan(); });
    }

    int copy_out(u8* to) const
    {
        std::memcpy(to, frame_.bytes, static_cast<std::size_t>(len_) + 1);
        return len_ + 1;
    }

  private:
    static int len_of(int command)
    {
        switch (command) {
        case 0x2F:
        case 0x35:
        case 0x51:
        case 0x76: return 5;
        case 0x21: return 17;
        default: return -1;
        }
    }

    bool scan()
    {
        while (bytes_.size() > 4) {
            const int len = bytes_[0];
            if (len == len_ && bytes_[2] == command_) return is_whole(len) && takes_answer(len);
            const bool is_other =
                len > 3 && is_whole(len) && frame_.take(reader_, bytes_, bytes_.front(), len + 1);
            if (!is_other) count_skipped(reader_, 1);
            bytes_.drop(is_other ? len + 1 : 1);
        }
        return false;
    }

    bool is_whole(int len) const { return bytes_.size() > len; }

    // With a bad CRC this position is never left, until the time limit ends it.
    bool takes_answer(int len)
    {
        stuck_ = stuck_ || !frame_.take(reader_, bytes_, bytes_.front(), len + 1);
        return !stuck_;
    }

    Reader* reader_;
    Assembly bytes_;
    FrameCopy frame_;
    int len_;
    int command_;
    bool stuck_ = false;
};

// Appends the chunk in btRecvArr to `to` at recvLength, `spare` bytes short of the buffer's end. False when
// it does not fit.
bool append_received(Reader* reader, u8* to, int count, int spare)
{
    const int length = reader->recvLength;  // once: a second command of the caller's may change it
    if (length < 0 || count > buffer_size - spare - length) return false;
    std::memcpy(to + length, reader->btRecvArr, static_cast<std::size_t>(count));
    reader->recvLength = length + count;
    return true;
}

u8 byte_at(const u8* buffer, int at) { return at < buffer_size ? buffer[at] : u8{0}; }

// Walks the frames of a buffer read as they arrive. True at the frame that ends it, whose status is left in
// `status`: 0xFE or 0x01, ending exactly where the data ends.
bool find_buffer_end(const Reader* reader, int& scan, u8& status)
{
    const u8* bytes = reader->recvBuff;
    while (scan < reader->recvLength && scan + bytes[scan] + 1 <= reader->recvLength) {
        const int next = scan + bytes[scan] + 1;
        status = byte_at(bytes, scan + static_cast<int>(frame::status));
        if (next == reader->recvLength && (status == 0xFE || status == 0x01)) return true;
        scan = next;
    }
    return false;
}

// Takes whole frames off the front of the bytes from `front` on. After each, the bytes now in front are
// tested for status 0 and command 0x43; where the next frame has not arrived they are still those of the
// frame just taken.
bool find_buffer_information(const u8* bytes, int& front, int& left)
{
    while (left > bytes[front]) {
        const int taken = front;
        const int length = bytes[front] + 1;
        front += length;
        left -= length;
        const auto now = [&](int i) { return byte_at(bytes, (i < left ? front : taken) + i); };
        if (now(static_cast<int>(frame::status)) == 0 && now(static_cast<int>(frame::command)) == 0x43)
            return true;
        if (left <= 0) return false;
    }
    return false;
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_GetInventoryDataFromPort1(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    return receive_gen2(sthis, Recv, pLengthOfRecved, cmd);
}

// Behaves as the first one; a command picks one or the other by bit 7 of its QValue.
int I_GetInventoryDataFromPort2(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    return receive_gen2(sthis, Recv, pLengthOfRecved, cmd);
}

// The stop flag ends it with 0.
int I_GetInventoryDataFromPort3(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    InventoryAnswer answer(sthis, cmd, Tags::to_callback);
    const int first_byte_limit = (sthis->isInventoryCmd ? 100 * sthis->inventoryScanTime : 1000) + 4000;
    bool data_came = false;
    sthis->time1 = getCurrentTimeMsec();
    sthis->time3 = sthis->time1;
    for (;;) {
        if (sthis->isStopCmd) return TAGWIRE_OK;
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n > 0) {
            data_came = true;
            if (const Outcome outcome = answer.feed_switch(sthis->recvBuff, n)) {
                answer.copy_out(Recv, pLengthOfRecved);
                sthis->time1 = getCurrentTimeMsec();
                return *outcome;
            }
            if (sthis->isStopCmd) return TAGWIRE_OK;
        }
        pause_behind_read(sthis, n, 10, 5);
        if (answer.is_lost()) return TAGWIRE_NO_ANSWER;
        sthis->time2 = getCurrentTimeMsec();
        if (sthis->time2 - sthis->time1 > first_byte_limit && !data_came) return TAGWIRE_NO_ANSWER;
        if (sthis->time2 - sthis->time3 > silence_limit_ms && sthis->time3 != 0) return TAGWIRE_NO_ANSWER;
    }
}

// Ends by its answer or by silence only: read errors and the stop flag do not count. A close ends it.
int I_GetInventoryDataFromPort_TP(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    InventoryAnswer answer(sthis, cmd, Tags::to_callback);
    sthis->time1 = getCurrentTimeMsec();
    sthis->time3 = 0;
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n > 0) {
            if (const Outcome outcome = answer.feed(sthis->recvBuff, n, is_addressed)) {
                answer.copy_out(Recv, pLengthOfRecved);
                return *outcome;
            }
        }
        pause_for_input(sthis, 5);
        if (answer.is_lost()) return TAGWIRE_NO_ANSWER;
        sthis->time2 = getCurrentTimeMsec();
        if (sthis->time2 - sthis->time1 > silence_limit_ms) return TAGWIRE_NO_ANSWER;
        if (sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}

// Its tags never reach the callback, and always the list.
int I_GetInventory_FindEPC_DataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    InventoryAnswer answer(sthis, cmd, Tags::to_list_only);
    return receive_inventory(sthis, Recv, pLengthOfRecved, answer, is_list_search);
}

int I_AutoGetDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved, int command)
{
    constexpr int limit_ms = 200;
    *pLengthOfRecved = 0;
    if (!link_usable(sthis)) return TAGWIRE_BAD_HANDLE;
    ExpectedAnswer answer(sthis, command);
    sthis->time1 = getCurrentTimeMsec();
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n > 0 && answer.feed(sthis->btRecvArr, n)) {
            *pLengthOfRecved = answer.copy_out(Recv);
            return TAGWIRE_OK;
        }
        pause_behind_read(sthis, n, 10, 1);
        sthis->time2 = getCurrentTimeMsec();
        if (sthis->time2 - sthis->time1 > limit_ms) return TAGWIRE_NO_ANSWER;
        if (sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}

// Any link type but serial becomes TCP.
int I_GetBufferDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int first_byte_limit_ms = 1000;
    constexpr int limit_ms = 10'000;
    *pLengthOfRecved = 0;
    if (sthis->m_type != serial_link) sthis->m_type = tcp_link;
    sthis->time1 = getCurrentTimeMsec();
    int scan = 0;
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n == 0) pause_for_input(sthis, 10);
        if (n > 0) {
            if (!append_received(sthis, sthis->recvBuff, n, 0)) return TAGWIRE_NO_ANSWER;
            u8 status = 0;
            if (find_buffer_end(sthis, scan, status)) {
                if (status == 0xFE) {
                    *pLengthOfRecved = 0;
                    return status;
                }
                std::memmove(Recv, sthis->recvBuff, static_cast<std::size_t>(sthis->recvLength));
                *pLengthOfRecved = sthis->recvLength;
                return TAGWIRE_OK;
            }
        }
        sthis->time2 = getCurrentTimeMsec();
        const std::int64_t elapsed = sthis->time2 - sthis->time1;
        if (elapsed > first_byte_limit_ms && sthis->recvLength == 0) return TAGWIRE_NO_ANSWER;
        if (elapsed > limit_ms || sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}

// The count of bytes stands in recvLength only.
int I_GetDataFromPort_buff(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int limit_ms = 60'000;
    constexpr int room_for_check = static_cast<int>(frame::crc_size);
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    sthis->time1 = getCurrentTimeMsec();
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n == 0) pause_for_input(sthis, 10);
        if (n > 0) {
            if (!append_received(sthis, Recv, n, room_for_check)) return TAGWIRE_NO_ANSWER;
            if (Recv[0] + 1 == sthis->recvLength && Recv[0] > 3) return TAGWIRE_OK;
        }
        sthis->time2 = getCurrentTimeMsec();
        if (sthis->time2 - sthis->time1 > limit_ms || sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}

int I_GetDataFromPort1(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int first_byte_limit_ms = 2000;
    constexpr int limit_ms = 6000;
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    sthis->time1 = getCurrentTimeMsec();
    int front = sthis->recvLength;
    int left = 0;
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n > 0) {
            if (!append_received(sthis, Recv, n, 0)) return TAGWIRE_NO_ANSWER;
            left += n;
            if (find_buffer_information(Recv, front, left)) {
                *pLengthOfRecved = sthis->recvLength;
                return TAGWIRE_OK;
            }
        }
        pause_behind_read(sthis, n, 10, 1);
        sthis->time2 = getCurrentTimeMsec();
        const std::int64_t elapsed = sthis->time2 - sthis->time1;
        if (elapsed > first_byte_limit_ms && sthis->recvLength == 0) return TAGWIRE_NO_ANSWER;
        if (elapsed > limit_ms || sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}
