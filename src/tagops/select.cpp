// The Select filter that the reader applies before its later operations.
#include "tagops/addressing.h"

using namespace tagwire::engine;

int I_SelectCMD(Reader* sthis, u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem, u8* MaskAdr,
                u8 MaskLen, u8* MaskData, u8 Truncate)
{
    Command command(sthis, address, 0x98);
    command.bytes({ant, Session, Selaction}).add(Mask{MaskMem, MaskAdr, MaskLen, MaskData}).byte(Truncate);
    return command.exchange(AddressEcho::never);
}

int I_SelectCmdWithCarrier(Reader* sthis, u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem,
                           u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate, u8 CarrierTime)
{
    Command command(sthis, address, 0x98);
    command.bytes({ant, Session, Selaction}).add(Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    return command.bytes({Truncate, CarrierTime}).exchange(AddressEcho::never);
}

int I_SelectCMDByAntenna(Reader* sthis, u8* address, int Antenna, u8 portNum, u8 Session, u8 Selaction,
                         u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate)
{
    const auto ports = static_cast<unsigned>(Antenna);
    Command command(sthis, address, 0x9A);
    if (portNum > 8) command.byte(static_cast<u8>(ports >> 8U));
    command.bytes({static_cast<u8>(ports), Session, Selaction});
    command.add(Mask{MaskMem, MaskAdr, MaskLen, MaskData}).byte(Truncate);
    return command.exchange(AddressEcho::never);
}

int I_SelectCMDByMutipleAntenna(Reader* sthis, u8* address, u8* Antenna, u8 Session, u8 Selaction, u8 MaskMem,
                                u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate)
{
    Command command(sthis, address, 0x9A);
    command.bytes(Antenna, 8).bytes({Session, Selaction});
    command.add(Mask{MaskMem, MaskAdr, MaskLen, MaskData}).byte(Truncate);
    return command.exchange(AddressEcho::never);
}
