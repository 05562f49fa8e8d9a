// What a command puts on the link, and single answers of any kind for it.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>

#include "api/handles.h"
#include "support/test_reader.h"

namespace tagwire::engine::test {

// Runs an operation, or with a handle above 0 the function exported for it.
template <auto Slot, auto Exported, class... Arguments>
int through(Reader* reader, int handle, Arguments... arguments)
{
    return handle > 0 ? Exported(arguments..., handle) : (reader->operations.*Slot)(reader, arguments...);
}

// A handle for a Reader, as long as it lives.
class OpenHandle {
  public:
    static constexpr int number = 201;

    explicit OpenHandle(Reader* reader) { EthReader[number] = reader; }
    ~OpenHandle() { EthReader[number] = nullptr; }
    OpenHandle(const OpenHandle&) = delete;
    OpenHandle& operator=(const OpenHandle&) = delete;
};

// Notes the last frame on its way to the link, and the Reader at that moment.
class WatchedSends {
  public:
    explicit WatchedSends(Reader* reader) : reader_(reader)
    {
        current_ = this;
        reader_->operations.SendDataToPort = send;
    }
    ~WatchedSends()
    {
        reader_->operations.SendDataToPort = I_SendDataToPort;
        current_ = nullptr;
    }
    WatchedSends(const WatchedSends&) = delete;
    WatchedSends& operator=(const WatchedSends&) = delete;

    // The frame sent since the last call, against one written without its CRC.
    void expect(const Bytes& without_crc)
    {
        EXPECT_EQ(count, 1);
        EXPECT_EQ(to_hex(frame), to_hex(with_crc(without_crc)));
        count = 0;
    }
    void expect_none() const { EXPECT_EQ(count, 0); }

    int count = 0;
    Bytes frame;
    bool in_inventory = false;
    bool reading = false;
    bool cleared = false;  // the first 5000 bytes of the receive buffer

  private:
    static int send(Reader* reader, u8* bytes, unsigned size)
    {
        ++current_->count;
        current_->frame.assign(bytes, bytes + size);
        current_->in_inventory = reader->isInventoryCmd;
        current_->reading = reader->Reading;
        current_->cleared =
            std::all_of(reader->recvBuff, reader->recvBuff + 5000, [](u8 b) { return b == 0; });
        return I_SendDataToPort(reader, bytes, size);
    }

    static inline WatchedSends* current_ = nullptr;
    Reader* reader_;
};

// Takes the place of the single-response receiver. Raises isInventoryCmd, so that it shows whether the
// command clears it.
class FixedAnswer {
  public:
    FixedAnswer(Reader* reader, Bytes bytes, int result = 0)
        : reader_(reader), bytes_(std::move(bytes)), result_(result)
    {
        current_ = this;
        reader_->operations.GetDataFromPort = receive;
    }
    ~FixedAnswer()
    {
        reader_->operations.GetDataFromPort = I_GetDataFromPort;
        current_ = nullptr;
    }
    FixedAnswer(const FixedAnswer&) = delete;
    FixedAnswer& operator=(const FixedAnswer&) = delete;

    bool in_inventory = false;

  private:
    static int receive(Reader* reader, u8* to, int* length)
    {
        current_->in_inventory = reader->isInventoryCmd;
        reader->isInventoryCmd = true;
        std::copy(current_->bytes_.begin(), current_->bytes_.end(), to);
        *length = static_cast<int>(current_->bytes_.size());
        return current_->result_;
    }

    static inline FixedAnswer* current_ = nullptr;
    Reader* reader_;
    Bytes bytes_;
    int result_;
};

inline Bytes spoiled(Bytes frame)
{
    frame.back() = static_cast<std::uint8_t>(frame.back() ^ 0x01U);
    return frame;
}

}  // namespace tagwire::engine::test
