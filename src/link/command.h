// How a command is written: code, fields in frame order, then the exchange and what is copied out.
//
//   Command command(sthis, *address, 0x83);
//   command.byte(0x00).send();
//   if (const int result = command.receive()) return result;
//   const Answer answer = command.answer();
//   if (answer.status() != 0) return answer.status();
//   answer.copy(0, Version, 2);
//
// The frame grows in the Reader's own send buffer. Len is one byte and wraps; the bytes on the wire are those
// that it announces, and what would fall behind the buffer is dropped.
#pragma once

#include <cstring>

#include "link/exchange.h"
#include "link/frame.h"
#include "reader/reader.h"
#include "tagwire/result.h"

namespace tagwire {

// The first bytes of the receive buffer that a command clears before it sends.
inline constexpr int cleared_by_command = 5000;

// The data of an answer in the receive buffer, counted from the byte behind the status.
class Answer {
  public:
    explicit Answer(const Reader* reader) : frame_(reader->recvBuff), length_(reader->recvLength) {}

    u8 len() const { return frame_[frame::len]; }
    u8 address() const { return frame_[frame::address]; }
    u8 status() const { return frame_[frame::status]; }
    int length() const { return length_; }  // bytes received, the whole frame
    u8 operator[](std::size_t i) const { return frame_[frame::response_data + i]; }

    // A count below zero copies nothing. One frame holds at most 250 bytes of data.
    void copy(std::size_t from, u8* to, int count) const
    {
        if (count <= 0) return;
        const int most = most_data - static_cast<int>(from);
        if (count > most) count = most;
        if (count > 0) std::memcpy(to, frame_ + frame::response_data + from, static_cast<std::size_t>(count));
    }

  private:
    static constexpr int most_data = 250;
    const u8* frame_;
    int length_;
};

// What the flag isInventoryCmd becomes before the frame is sent. It is cleared behind the answer.
enum class Inventory { no, yes, kept };
enum class Clear { no, yes };

class Command {
  public:
    Command(Reader* reader, u8 address, u8 code)
        : reader_(reader), exchange_(reader, Purpose::command), code_(code)
    {
        put(frame::address, address);
        put(frame::command, code);
    }

    Command& byte(u8 value)
    {
        put(end_++, value);
        return *this;
    }
    Command& bytes(const u8* from, int count)
    {
        const std::size_t end = end_ + static_cast<std::size_t>(count > 0 ? count : 0);
        for (; end_ < end && end_ < sizeof reader_->sendBuff.whole; ++end_) put(end_, *from++);
        end_ = end;
        return *this;
    }
    // A group of fields that puts itself into the frame.
    template <class Fields> Command& add(const Fields& fields)
    {
        fields.put(*this);
        return *this;
    }
    // High byte first.
    Command& word(unsigned value) { return byte(static_cast<u8>(value >> 8U)).byte(static_cast<u8>(value)); }

    // Finishes the frame and sends it. A failed send shows as the receiver's time limit.
    void send(Inventory inventory = Inventory::no, Clear clear = Clear::yes)
    {
        u8* whole = reader_->sendBuff.whole;
        const u8 len = static_cast<u8>(end_ - 1 + frame::crc_size);
        whole[frame::len] = len;
        reader_->operations.GetCRC(reader_, whole, len - 1);
        if (inventory != Inventory::kept) reader_->isInventoryCmd = inventory == Inventory::yes;
        if (clear == Clear::yes) std::memset(reader_->recvBuff, 0, cleared_by_command);
        reader_->operations.SendDataToPort(reader_, whole, static_cast<unsigned>(len) + 1);
    }

    // One answer, by the single-response receiver: its error, 49, 238 or 0.
    int receive()
    {
        const int result =
            reader_->operations.GetDataFromPort(reader_, reader_->recvBuff, &reader_->recvLength);
        reader_->isInventoryCmd = false;
        return result != TAGWIRE_OK ? result : check();
    }

    // What every answer must show: a good CRC (49) and the command's own code (238).
    int check() const
    {
        if (reader_->operations.CheckCRC(reader_, reader_->recvBuff, reader_->recvLength) != TAGWIRE_OK)
            return TAGWIRE_BAD_CRC;
        return reader_->recvBuff[frame::command] == code_ ? TAGWIRE_OK : TAGWIRE_WRONG_COMMAND;
    }

    Answer answer() const { return Answer(reader_); }

  private:
    void put(std::size_t at, u8 value)
    {
        if (at < sizeof reader_->sendBuff.whole) reader_->sendBuff.whole[at] = value;
    }

    Reader* reader_;
    Exchange exchange_;
    u8 code_;
    std::size_t end_ = frame::request_data;
};

}  // namespace tagwire
