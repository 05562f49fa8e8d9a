// How a command is written: code, fields in frame order, then the exchange and what is copied out.
//
//   return Command(sthis, address, 0x7B).byte(*Times).exchange(AddressEcho::on_success, bytes_to(Times));
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
// exchange() sends, receives, checks the answer and finishes with what it brought; where one of these steps
// differs, the command takes them one by one.
//
// The frame grows in the Reader's own send buffer. Len is one byte and wraps; the bytes on the wire are those
// that it announces, and what would fall behind the buffer is dropped.
#pragma once

#include <cstring>
#include <initializer_list>

#include "link/response.h"
#include "link/turn.h"

namespace tagwire::engine {

// The first bytes of the receive buffer that a command clears before it sends.
inline constexpr int cleared_by_command = 5000;

// What the flag isInventoryCmd becomes before the frame is sent. It is cleared behind the answer.
enum class Inventory { no, yes };
enum class Clear { no, yes };

// When *address becomes the address of the reader that answered, and when outputs are written: never, with
// status 0, or with every answer to this command.
enum class AddressEcho { never, on_success, always };
enum class Outputs { on_success, always };

// A receiver's slot in the operation table.
using Receiver = int (*Operations::*)(Reader*, u8*, int*);
using ReceiverOfCode = int (*Operations::*)(Reader*, u8*, int*, int);

class Command {
  public:
    Command(Reader* reader, u8* address, u8 code, Inventory mark = Inventory::no)
        : reader_(reader), turn_(reader, Purpose::command), address_(address), code_(code), mark_(mark)
    {
        set(frame::address, *address);
        set(frame::command, code);
    }

    Command& byte(u8 value)
    {
        set(end_++, value);
        return *this;
    }
    Command& bytes(std::initializer_list<u8> values)
    {
        return bytes(values.begin(), static_cast<int>(values.size()));
    }
    // A count below zero copies nothing; Len counts it all the same.
    Command& bytes(const u8* from, int count)
    {
        for (int i = 0; i < count && end_ + i < sizeof reader_->sendBuff.whole; ++i) set(end_ + i, from[i]);
        end_ += static_cast<std::size_t>(count);
        return *this;
    }
    // High byte first.
    Command& word(unsigned value) { return byte(static_cast<u8>(value >> 8U)).byte(static_cast<u8>(value)); }
    // A group of fields that adds itself.
    template <class Fields> Command& add(const Fields& fields)
    {
        fields.add_to(*this);
        return *this;
    }
    // A group that is there when its flag is 1.
    template <class Fields> Command& add_if(u8 flag, const Fields& fields)
    {
        return flag == 1 ? add(fields) : *this;
    }
    Command& add_if(u8 flag, std::initializer_list<u8> values) { return flag == 1 ? bytes(values) : *this; }

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
        for (std::size_t i = 0; i < count; ++i) set(at + i, from[i]);
        return *this;
    }

    // Finishes the frame and sends it. Most commands leave a failed send to the receiver's time limit.
    int send(Clear clear = Clear::yes)
    {
        u8* whole = reader_->sendBuff.whole;
        const u8 len = static_cast<u8>(end_ - 1 + frame::crc_size);
        whole[frame::len] = len;
        reader_->operations.GetCRC(reader_, whole, len - 1);
        reader_->isInventoryCmd = mark_ == Inventory::yes;
        if (clear == Clear::yes) std::memset(reader_->recvBuff, 0, cleared_by_command);
        return reader_->operations.SendDataToPort(reader_, whole, static_cast<unsigned>(len) + 1);
    }

    // Sends one byte in place of a frame.
    void send_raw(u8 byte)
    {
        set(frame::len, byte);
        reader_->isInventoryCmd = false;
        std::memset(reader_->recvBuff, 0, cleared_by_command);
        reader_->operations.SendDataToPort(reader_, reader_->sendBuff.whole, 1);
    }

    // Whatever the receiver in that slot of the table brings, unchecked. Some receivers are told the code.
    int receive_by(Receiver receiver) { return receive_by(receiver, reader_->recvBuff); }
    int receive_by(Receiver receiver, u8* to)
    {
        const int result = (reader_->operations.*receiver)(reader_, to, &reader_->recvLength);
        reader_->isInventoryCmd = false;
        return result;
    }
    int receive_by(ReceiverOfCode receiver)
    {
        const int result =
            (reader_->operations.*receiver)(reader_, reader_->recvBuff, &reader_->recvLength, code_);
        reader_->isInventoryCmd = false;
        return result;
    }

    // One answer, by the single-response receiver: its error, 49, 238 or 0.
    int receive()
    {
        const int result = receive_by(&Operations::GetDataFromPort);
        return result != TAGWIRE_OK ? result : check();
    }
    // The same for an answer with any code.
    int receive_any()
    {
        const int result = receive_by(&Operations::GetDataFromPort);
        return result != TAGWIRE_OK ? result : check_crc();
    }
    // The same for an answer whose first data byte repeats the request's; 238 when it does not.
    int receive_repeating(u8 first)
    {
        if (const int result = receive()) return result;
        return response()[0] == first ? TAGWIRE_OK : TAGWIRE_WRONG_COMMAND;
    }

    // What every answer must show: a good CRC (49) and the command's own code (238).
    int check() const
    {
        const int result = check_crc();
        if (result != TAGWIRE_OK) return result;
        return response().command() == code_ ? TAGWIRE_OK : TAGWIRE_WRONG_COMMAND;
    }

    Response response() const { return Response(reader_); }

    // Sends, receives one answer and returns its status; `put_out` gets the answer.
    template <class PutOut> int exchange(AddressEcho echo, Outputs outputs, PutOut put_out)
    {
        return exchange_by(&Operations::GetDataFromPort, echo, outputs, put_out);
    }
    template <class PutOut> int exchange(AddressEcho echo, PutOut put_out)
    {
        return exchange(echo, Outputs::on_success, put_out);
    }
    int exchange(AddressEcho echo) { return exchange(echo, no_output); }
    // With *Errorcode by its rule, whatever the status, and other outputs on success.
    template <class PutOut>
    int exchange(AddressEcho echo, const ErrorRule& rule, int* Errorcode, PutOut put_out)
    {
        return exchange(echo, Outputs::always, [&](const Response& response) {
            rule.put(response, Errorcode);
            if (response.status() == TAGWIRE_OK) put_out(response);
        });
    }
    int exchange(AddressEcho echo, const ErrorRule& rule, int* Errorcode)
    {
        return exchange(echo, rule, Errorcode, no_output);
    }

    // The same by another receiver.
    template <class AnyReceiver, class PutOut>
    int exchange_by(AnyReceiver receiver, AddressEcho echo, Outputs outputs, PutOut put_out)
    {
        send();
        if (const int result = receive_by(receiver)) return result;
        const int problem = check();
        return problem != TAGWIRE_OK ? problem : finish(echo, outputs, put_out);
    }
    // For a reader that may be reporting by itself: other frames are skipped until the answer is there.
    int exchange_amid_reports(AddressEcho echo)
    {
        return exchange_by(&Operations::AutoGetDataFromPort, echo, Outputs::on_success, no_output);
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

    void set(std::size_t at, u8 value)
    {
        if (at < sizeof reader_->sendBuff.whole) reader_->sendBuff.whole[at] = value;
    }

    Reader* reader_;
    Turn turn_;
    u8* address_;
    u8 code_;
    Inventory mark_;
    std::size_t end_ = frame::request_data;
};

}  // namespace tagwire::engine
