// Firmware update: the exchanges of which an application makes one.
#include "link/command.h"

using namespace tagwire::engine;

int I_ChangeToUpdateMode(Reader* sthis, u8* ComAdr)
{
    const u8 enter[8] = {0x01};
    return Command(sthis, ComAdr, 0xF8).drop_received().bytes(enter, 8).exchange(AddressEcho::never);
}

int I_FwUpdate(Reader* sthis, u8* ComAdr, u8* SRFU, u8* DATA)
{
    return Command(sthis, ComAdr, 0xF8)
        .drop_received()
        .bytes(SRFU, 8)
        .exchange(AddressEcho::never, Outputs::always, data_to(DATA, 8));
}

int I_WriteBinData(Reader* sthis, u8* ComAdr, u8 Index, u8* data, int len)
{
    return Command(sthis, ComAdr, 0xF9)
        .drop_received()
        .byte(Index)
        .bytes(data, len)
        .exchange(AddressEcho::never);
}

int I_CheckCRC32(Reader* sthis, u8* ComAdr, u8* crc32)
{
    return Command(sthis, ComAdr, 0xFA).drop_received().exchange(AddressEcho::never, data_to(crc32, 4));
}

int I_WriteMark(Reader* sthis, u8* ComAdr)
{
    return Command(sthis, ComAdr, 0xFB).drop_received().exchange(AddressEcho::never);
}
