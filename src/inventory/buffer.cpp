// The tags that a reader keeps, and its search for tags by a list.
#include <algorithm>
#include <cstring>

#include "inventory/tag_frames.h"
#include "tagops/addressing.h"

namespace tagwire::engine {
namespace {

// Bytes of the receive buffer; behind it are zeros.
u8 received(const Reader* reader, int at) { return at < buffer_size ? reader->recvBuff[at] : u8{0}; }

// The records of the frame at `front`: a byte of count, then records up to the CRC.
void take_buffered(const Reader* reader, int front, u8* list, int* length, int* count)
{
    constexpr int count_at = 4;
    constexpr int records_at = 5;
    *count += received(reader, front + count_at);
    const int size = std::min(received(reader, front) - 6, buffer_size - *length);
    for (int i = 0; i < size; ++i) list[(*length)++] = received(reader, front + records_at + i);
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_InventoryBuffer_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr,
                         u8 MaskLen, u8* MaskData, u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, u8 Target,
                         u8 InAnt, u8 Scantime, u8 FastFlag, int* BufferCount, int* TagNum)
{
    Command command(sthis, address, 0x18, Inventory::yes);
    command.bytes({QValue, Session}).add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    command.add_if(TIDFlag, {AdrTID, LenTID}).add_if(FastFlag, {Target, InAnt, Scantime});
    return command.exchange_by(&Operations::GetDataFromPort_buff, AddressEcho::on_success,
                               Outputs::on_success, [&](const Response& r) {
                                   *BufferCount = r.word(0);
                                   *TagNum = r.word(2);
                               });
}

int I_ReadBuffer_G2(Reader* sthis, u8* ComAdr, int* Totallen, int* CardNum, u8* pEPCList)
{
    constexpr int longest_without_tags = 10;
    Command command(sthis, ComAdr, 0x72);
    command.send();
    if (const int result = command.receive_by(&Operations::GetBufferDataFromPort)) return result;

    *Totallen = 0;
    if (sthis->recvLength <= longest_without_tags) {
        *CardNum = 0;
        return received(sthis, frame::status);
    }
    u8 status = 0;
    for (int front = 0; front < sthis->recvLength; front += received(sthis, front) + 1) {
        status = received(sthis, front + static_cast<int>(frame::status));
        if (status == 0x01 || status == 0x03) take_buffered(sthis, front, pEPCList, Totallen, CardNum);
    }
    return status;
}

int I_GetBufferCnt_G2(Reader* sthis, u8* ComAdr, int* Count)
{
    return Command(sthis, ComAdr, 0x74).exchange(AddressEcho::on_success, [&](const Response& d) {
        *Count = d.word(0);
    });
}

int I_ClearBuffer_G2(Reader* sthis, u8* ComAdr)
{
    return Command(sthis, ComAdr, 0x73).exchange(AddressEcho::on_success);
}

int I_SetSaveLen(Reader* sthis, u8* ComAdr, u8 SaveLen)
{
    return Command(sthis, ComAdr, 0x70).byte(SaveLen).exchange(AddressEcho::on_success);
}

int I_GetSaveLen(Reader* sthis, u8* ComAdr, u8* SaveLen)
{
    return Command(sthis, ComAdr, 0x71).exchange(AddressEcho::on_success, bytes_to(SaveLen));
}

// A record is 11 bytes, a length byte and so many bytes; it may be longer than its frame.
int I_GetTagBufferInfo(Reader* sthis, u8* ComAdr, u8* Data, int* dataLength)
{
    constexpr int record_at = 4;
    constexpr int length_at = 15;
    constexpr int fixed_size = 12;
    Command command(sthis, ComAdr, 0x43);
    command.send();
    if (const int result = command.receive_by(&Operations::GetDataFromPort1)) return result;
    if (sthis->recvLength < static_cast<int>(frame::shortest_response)) return TAGWIRE_NO_ANSWER;

    int length = 0;
    int front = 0;
    while (sthis->recvLength - front > static_cast<int>(frame::shortest_response)) {
        const int size = fixed_size + received(sthis, front + length_at);
        if (size > buffer_size - length) break;
        for (int i = 0; i < size; ++i) Data[length++] = received(sthis, front + record_at + i);
        front += received(sthis, front) + 1;
    }
    *dataLength = length;
    return TAGWIRE_OK;
}

int I_ClearTagBuffer(Reader* sthis, u8* ComAdr)
{
    return Command(sthis, ComAdr, 0x44).exchange(AddressEcho::on_success);
}

int I_Find_epc_list_cfg(Reader* sthis, u8* address, u8 opt, u8 CardNum, u8* epc, int epclen)
{
    if (CardNum >= 31 || opt >= 2 || epclen >= 247) return TAGWIRE_BAD_ARGUMENT;
    return Command(sthis, address, 0xE6)
        .bytes({0x01, opt, CardNum})
        .bytes(epc, epclen)
        .exchange(AddressEcho::on_success);
}

// The tags never go to the callback.
int I_Find_epc_by_list(Reader* sthis, u8* address, u8 Fixed_Q, int Antenna, int* CardNum, u8* epc,
                       int* epclen)
{
    Command command(sthis, address, 0xE7, Inventory::yes);
    const FlagRaised reading(sthis->Reading);
    clear_scratch(sthis);
    command.bytes({0x01, Fixed_Q}).word(static_cast<unsigned>(Antenna)).send();
    const int result = command.receive_by(&Operations::GetInventory_FindEPC_DataFromPort);
    *CardNum = 0;
    if (result == TAGWIRE_NO_ANSWER || result == TAGWIRE_BAD_HANDLE || result == TAGWIRE_WRONG_COMMAND)
        return result;

    FrameWalk walk(sthis, list_search_layout);
    const TagOutputs out{epc, nullptr, epclen, CardNum};
    walk.run(WalkEnd::at_final_status, out);
    walk.copy_list(out);
    return walk.front_status();
}
