// The Select filter that the reader applies before its later operations.
#include "tagops/addressing.h"

namespace tagwire {
namespace {

struct Filter {
    u8 session;
    u8 action;
    Mask mask;
    u8 truncate;

    void put(Command& command) const { command.byte(session).byte(action).add(mask).byte(truncate); }
};

int select(Command& command)
{
    command.send();
    if (const int result = command.receive()) return result;
    return command.response().status();
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_SelectCMD(Reader* sthis, u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem, u8* MaskAdr,
                u8 MaskLen, u8* MaskData, u8 Truncate)
{
    Command command(sthis, address, 0x98);
    command.byte(ant).add(Filter{Session, Selaction, {MaskMem, MaskAdr, MaskLen, MaskData}, Truncate});
    return select(command);
}

int I_SelectCmdWithCarrier(Reader* sthis, u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem,
                           u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate, u8 CarrierTime)
{
    Command command(sthis, address, 0x98);
    command.byte(ant).add(Filter{Session, Selaction, {MaskMem, MaskAdr, MaskLen, MaskData}, Truncate});
    command.byte(CarrierTime);
    return select(command);
}

int I_SelectCMDByAntenna(Reader* sthis, u8* address, int Antenna, u8 portNum, u8 Session, u8 Selaction,
                         u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate)
{
    const auto ports = static_cast<unsigned>(Antenna);
    Command command(sthis, address, 0x9A);
    if (portNum > 8) command.byte(static_cast<u8>(ports >> 8U));
    command.byte(static_cast<u8>(ports));
    command.add(Filter{Session, Selaction, {MaskMem, MaskAdr, MaskLen, MaskData}, Truncate});
    return select(command);
}

int I_SelectCMDByMutipleAntenna(Reader* sthis, u8* address, u8* Antenna, u8 Session, u8 Selaction, u8 MaskMem,
                                u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate)
{
    Command command(sthis, address, 0x9A);
    command.bytes(Antenna, 8);
    command.add(Filter{Session, Selaction, {MaskMem, MaskAdr, MaskLen, MaskData}, Truncate});
    return select(command);
}
