// How a command is written: code, fields in frame order, then the exchange and what is copied out.
//
//   return Command(sthis, address, 0x7B).byte(*Times).exchange(AddressEcho::on_success,
//                                                              [&](const Response& d) { *Times = d[0]; });
//
// or, where more than that happens,
//
//   Command command(sthis, address, 0x83);
//   command.byte(0x00).send();
//   if (const int result = command.receive()) return result;
//   const Response response = command.response();
//   if (response.status() != 0) return response.status();
//   response.copy(0, Version, 2);
//
// The frame grows in the Reader's own send buffer. Len is one byte and wraps; the bytes on the wire are those
// that it announces, and what would fall behind the buffer is dropped.
#pragma once

#include <cstring>

#include "link/frame.h"
#include "link/turn.h"
#include "tagwire/result.h"

namespace tagwire {

// The first bytes of the receive buffer that a command clears before it sends.
inline constexpr int cleared_by_command = 5000;

// The data of an answer in the receive buffer, counted from the byte behind the status.
class Response {
  public:
    explicit Response(const Reader* reader) : frame_(reader->recvBuff), length_(reader->recvLength) {}

    u8 len() const { return frame_[frame::len]; }
    u8 address() const { return frame_[frame::address]; }
    u8 command() const { return frame_[frame::command]; }
    u8 status() const { return frame_[frame::status]; }
    int length() const { return length_; }  // bytes received, the whole frame
    u8 operator[](std::size_t i) const { return frame_[frame::response_data + i]; }
    // What lies in front of the buffer is 0.
    u8 byte_or_zero(int i) const
    {
        const int at = static_cast<int>(frame::response_data) + i;
        return at >= 0 ? frame_[at] : u8{0};
    }
    int word(std::size_t i) const { return (*this)[i] << 8 | (*this)[i + 1]; }  // high byte first

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

// What the flag isInventoryCmd becomes before the frame is sent. It is cleared behind the response.
enum class Inventory { no, yes };
enum class Clear { no, yes };

// When *address becomes the address of the reader that answered, and when outputs are written: never, with
// status 0, or with every answer to this command.
enum class AddressEcho { never, on_success, always };
enum class Outputs { on_success, always };

class Command {
  public:
    Command(Reader* reader, u8* address, u8 code)
        : reader_(reader), turn_(reader, Purpose::command), address_(address), code_(code)
    {
        put(frame::address, *address);
        put(frame::command, code);
    }

    Command& byte(u8 value)
    {
        put(end_++, value);
        return *this;
    }
    // A count below zero copies nothing; Len counts it all the same.
    Command& bytes(const u8* from, int count)
    {
        for (int i = 0; i < count && end_ + i < sizeof reader_->sendBuff.whole; ++i) put(end_ + i, from[i]);
        end_ += static_cast<std::size_t>(count);
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

    // Counts nothing as received, for the commands that say so; the send does it too.
    Command& drop_received()
    {
        reader_->recvLength = 0;
        return *this;
    }
    // Leaves room: the bytes of the send buffer stay as they are.
    Command& skip(std::size_t count)
    {
        end_ += count;
        return *this;
    }
    // Writes over bytes of the frame, or in front of its end.
    Command& overwrite(std::size_t at, const u8* from, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) put(at + i, from[i]);
        return *this;
    }

    // Finishes the frame and sends it. Most commands leave a failed send to the receiver's time limit.
    int send(Inventory inventory = Inventory::no, Clear clear = Clear::yes)
    {
        u8* whole = reader_->sendBuff.whole;
        const u8 len = static_cast<u8>(end_ - 1 + frame::crc_size);
        whole[frame::len] = len;
        reader_->operations.GetCRC(reader_, whole, len - 1);
        reader_->isInventoryCmd = inventory == Inventory::yes;
        if (clear == Clear::yes) std::memset(reader_->recvBuff, 0, cleared_by_command);
        return reader_->operations.SendDataToPort(reader_, whole, static_cast<unsigned>(len) + 1);
    }

    // Sends one byte in place of a frame.
    void send_raw(u8 byte)
    {
        put(frame::len, byte);
        reader_->isInventoryCmd = false;
        std::memset(reader_->recvBuff, 0, cleared_by_command);
        reader_->operations.SendDataToPort(reader_, reader_->sendBuff.whole, 1);
    }

    // One answer, by the single-response receiver: its error, 49, 238 or 0.
    int receive()
    {
        const int result = receive_any();
        return result != TAGWIRE_OK ? result : check_command();
    }
    // The same for an answer with any code.
    int receive_any()
    {
        const int result =
            reader_->operations.GetDataFromPort(reader_, reader_->recvBuff, &reader_->recvLength);
        reader_->isInventoryCmd = false;
        return result != TAGWIRE_OK ? result : check_crc();
    }

    // What every answer must show: a good CRC (49) and the command's own code (238).
    int check() const
    {
        const int result = check_crc();
        return result != TAGWIRE_OK ? result : check_command();
    }

    Response response() const { return Response(reader_); }

    // Sends, receives one answer and returns its status; `put_out` gets the answer.
    template <class PutOut> int exchange(AddressEcho echo, Outputs outputs, PutOut put_out)
    {
        send();
        const int result = receive();
        return result != TAGWIRE_OK ? result : finish(echo, outputs, put_out);
    }
    template <class PutOut> int exchange(AddressEcho echo, PutOut put_out)
    {
        return exchange(echo, Outputs::on_success, put_out);
    }
    int exchange(AddressEcho echo)
    {
        return exchange(echo, [](const Response&) {});
    }

    // The same for a reader that may be reporting by itself: other frames are skipped until the answer is
    // there.
    int exchange_amid_reports(AddressEcho echo)
    {
        send();
        const int result =
            reader_->operations.AutoGetDataFromPort(reader_, reader_->recvBuff, &reader_->recvLength, code_);
        reader_->isInventoryCmd = false;
        if (result != TAGWIRE_OK) return result;
        const int problem = check();
        return problem != TAGWIRE_OK ? problem : finish(echo, Outputs::on_success, [](const Response&) {});
    }

    // What exchange() does with the answer once it is there.
    template <class PutOut> int finish(AddressEcho echo, Outputs outputs, PutOut put_out)
    {
        const Response received = response();
        const bool success = received.status() == TAGWIRE_OK;
        if (echo == AddressEcho::always || (echo == AddressEcho::on_success && success))
            *address_ = received.address();
        if (outputs == Outputs::always || success) put_out(received);
        return received.status();
    }

  private:
    int check_crc() const
    {
        return reader_->operations.CheckCRC(reader_, reader_->recvBuff, reader_->recvLength) == TAGWIRE_OK
                   ? TAGWIRE_OK
                   : TAGWIRE_BAD_CRC;
    }
    int check_command() const
    {
        return reader_->recvBuff[frame::command] == code_ ? TAGWIRE_OK : TAGWIRE_WRONG_COMMAND;
    }

    void put(std::size_t at, u8 value)
    {
        if (at < sizeof reader_->sendBuff.whole) reader_->sendBuff.whole[at] = value;
    }

    Reader* reader_;
    Turn turn_;
    u8* address_;
    u8 code_;
    std::size_t end_ = frame::request_data;
};

// Bits that tags must hold: the block of bank, bit address, count of bits and the bits, rounded up to bytes.
struct Mask {
    u8 bank;
    const u8* address;
    u8 length;
    const u8* data;

    void put(Command& command) const
    {
        command.byte(bank).bytes(address, 2).byte(length).bytes(data, (length + 7) / 8);
    }
};

}  // namespace tagwire
