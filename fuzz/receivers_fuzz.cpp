// Every receiver, fed with chunks cut from the input.
//
// Byte 0 chooses the receiver, byte 1 its surroundings (callback, list, flags), byte 2 the command; then
// chunks, each with a length byte in front.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "reader/reader.h"
#include "support/virtual_time.h"

namespace {

struct Input {
    const std::uint8_t* at;
    const std::uint8_t* end;
};
Input input;

int read_chunk(Reader* /*sthis*/, u8* to)
{
    if (input.at == input.end) {
        // Nothing comes any more: no reason to wait for the end of a limit in steps of some milliseconds.
        tagwire::engine::test::VirtualTime::advance_ms(500);
        return 0;
    }
    const auto left = static_cast<std::size_t>(input.end - input.at);
    const std::size_t length = std::min<std::size_t>(*input.at, left - 1);
    std::memcpy(to, input.at + 1, length);
    input.at += length + 1;
    return static_cast<int>(length);
}

// There is no link to look at: a wait is time that passes.
int wait_in_vain(pollfd* /*fds*/, nfds_t /*count*/, const timespec* limit)
{
    tagwire::engine::test::VirtualTime::advance_ms(limit->tv_sec * 1000 +
                                                   (limit->tv_nsec + 999'999) / 1'000'000);
    return 0;
}

// The one Reader of all inputs, as it was created: to allocate one takes longer than most inputs do.
Reader* fresh_reader()
{
    static std::array<std::byte, sizeof(Reader)> created;
    static Reader* const reader = [] {
        Reader* one = Create_Reader();
        std::memcpy(created.data(), one, sizeof *one);
        return one;
    }();
    if (reader->keeping.users != 1) std::abort();
    std::memcpy(static_cast<void*>(reader), created.data(), sizeof *reader);
    return reader;
}

void ignore(RFIDTagStruct tag, int /*kind*/)
{
    if (std::strlen(tag->UID) > 510) std::abort();
}

int receive(Reader* reader, int which, int command)
{
    const Operations& operations = reader->operations;
    u8* to = reader->recvBuff;
    int* length = &reader->recvLength;
    switch (which) {
    case 0: return operations.GetDataFromPort(reader, to, length);
    case 1: return operations.AutoGetDataFromPort(reader, to, length, command);
    case 2: return operations.GetInventoryDataFromPort1(reader, to, length, command);
    case 3: return operations.GetInventoryDataFromPort2(reader, to, length, command);
    case 4: return operations.GetInventoryDataFromPort3(reader, to, length, command);
    case 5: return operations.GetInventoryDataFromPort_TP(reader, to, length, command);
    case 6: return operations.GetBufferDataFromPort(reader, to, length);
    case 7: return operations.GetDataFromPort_buff(reader, to, length);
    case 8: return operations.GetDataFromPort1(reader, to, length);
    default: return operations.GetInventory_FindEPC_DataFromPort(reader, to, length, command);
    }
}

// A whole command on top of the receiver, with outputs of their documented sizes.
void inventory(Reader* reader, std::uint8_t q)
{
    static u8 list[65542];
    u8 address = 0;
    u8 antenna = 0;
    int length = 0;
    int count = 0;
    reader->operations.Inventory_G2(reader, &address, q, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0, 0, 0,
                                    list, &antenna, &length, &count);
    if (length < 0 || length > static_cast<int>(sizeof list)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) return 0;
    const tagwire::engine::test::VirtualTime time;
    tagwire::engine::sys::calls.ppoll = wait_in_vain;
    Reader* reader = fresh_reader();
    reader->m_type = data[1] & 1;
    reader->sServer = 1000000;  // never used: reads come from the input, sends fail
    reader->hCommPort = 1000000;
    reader->isInventoryCmd = (data[1] & 2) != 0;
    reader->inventoryScanTime = 3;
    reader->InventoryBackUID = (data[1] & 4) != 0;
    reader->MypCallBack = (data[1] & 8) != 0 ? ignore : nullptr;
    reader->operations.ReadRfidData = read_chunk;
    input = {data + 3, data + size};
    const int which = data[0] % 11;
    if (which == 10)
        inventory(reader, data[1]);
    else
        receive(reader, which, data[2]);
    if (reader->recvLength < 0 || reader->recvLength > tagwire::engine::buffer_size) std::abort();
    return 0;
}
