// Beeper and LED, relays, inputs and outputs, Wiegand output, triggers and the report filter.
#include "link/command.h"

using namespace tagwire;

int I_BuzzerAndLEDControl(Reader* sthis, u8* address, u8 AvtiveTime, u8 SilentTime, u8 Times)
{
    return Command(sthis, address, 0x33)
        .byte(AvtiveTime)
        .byte(SilentTime)
        .byte(Times)
        .exchange(AddressEcho::never);
}

int I_SetRelay(Reader* sthis, u8* address, u8 RelayTime)
{
    return Command(sthis, address, 0x45).byte(RelayTime).exchange(AddressEcho::never);
}

int I_RelaysControll(Reader* sthis, u8* address, u8 num, u8 status, u8 ntime)
{
    return Command(sthis, address, 0x45).byte(num).byte(status).byte(ntime).exchange(AddressEcho::on_success);
}

int I_RelayControll(Reader* sthis, u8* address, u8* RelayTime)
{
    return Command(sthis, address, 0x92)
        .byte(*RelayTime)
        .exchange(AddressEcho::never, [&](const Response& d) { *RelayTime = d[0]; });
}

int I_SetGPIO(Reader* sthis, u8* address, u8 OutputPin)
{
    return Command(sthis, address, 0x46).byte(OutputPin).exchange(AddressEcho::never);
}

int I_GetGPIOStatus(Reader* sthis, u8* address, u8* OutputPin)
{
    return Command(sthis, address, 0x47).exchange(AddressEcho::never, [&](const Response& d) {
        *OutputPin = d[0];
    });
}

int I_SetNotificationPulseOutput(Reader* sthis, u8* address, u8 OutputRep)
{
    return Command(sthis, address, 0x48).byte(OutputRep).exchange(AddressEcho::never);
}

int I_SetGPOParam(Reader* sthis, u8* address, u8 Enableflag, u8 ActiveTime)
{
    return Command(sthis, address, 0xB0).byte(Enableflag).byte(ActiveTime).exchange(AddressEcho::on_success);
}

int I_GetGPOParam(Reader* sthis, u8* address, u8* Enableflag, u8* ActiveTime)
{
    return Command(sthis, address, 0xB1).exchange(AddressEcho::on_success, [&](const Response& d) {
        *Enableflag = d[0];
        *ActiveTime = d[1];
    });
}

int I_SetWieGandParam(Reader* sthis, u8* address, u8 WgCfg, u8 DataInvl, u8 PulWidth, u8 PulsInvl,
                      u8 OffsetAdr)
{
    return Command(sthis, address, 0x38)
        .drop_received()
        .byte(WgCfg)
        .byte(DataInvl)
        .byte(PulWidth)
        .byte(PulsInvl)
        .byte(OffsetAdr)
        .exchange(AddressEcho::never);
}

int I_GetWieGandParam(Reader* sthis, u8* address, u8* WgCfg, u8* DataInvl, u8* PulWidth, u8* PulsInvl,
                      u8* OffsetAdr)
{
    return Command(sthis, address, 0x39).drop_received().exchange(AddressEcho::never, [&](const Response& d) {
        *WgCfg = d[0];
        *DataInvl = d[1];
        *PulWidth = d[2];
        *PulsInvl = d[3];
        *OffsetAdr = d[4];
    });
}

int I_SetFilterParam(Reader* sthis, u8* address, u8 FilterTime, u8 MinReadCount, u8 MinRssi)
{
    return Command(sthis, address, 0xB0)
        .drop_received()
        .byte(FilterTime)
        .byte(MinReadCount)
        .byte(MinRssi)
        .exchange(AddressEcho::never);
}

int I_GetFilterParam(Reader* sthis, u8* address, u8* FilterTime, u8* MinReadCount, u8* MinRssi)
{
    return Command(sthis, address, 0xB1).drop_received().exchange(AddressEcho::never, [&](const Response& d) {
        *FilterTime = d[0];
        *MinReadCount = d[1];
        *MinRssi = d[2];
    });
}

int I_SetTriggerLinkageParam(Reader* sthis, u8* address, u8 Action, u8 mode, u8 mtime, u8 RFU, u8 Union,
                             u8 Condition1, u8 Condition2)
{
    constexpr u8 write = 0x80;
    Command command(sthis, address, 0xE6);
    command.byte(write)
        .byte(Action)
        .byte(mode)
        .byte(mtime)
        .byte(RFU)
        .byte(Union)
        .byte(Condition1)
        .byte(Condition2);
    command.send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    if (response[0] != write) return TAGWIRE_WRONG_COMMAND;
    return response.status();
}

// The echo of the sub-command decides, and not the status, whether the outputs are written.
int I_GetTriggerLinkageParam(Reader* sthis, u8* address, u8 Action, u8* mode, u8* mtime, u8* RFU, u8* Union,
                             u8* Condition1, u8* Condition2)
{
    constexpr u8 read = 0x81;
    Command command(sthis, address, 0xE6);
    command.byte(read).byte(Action).send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    if (response[0] != read) return TAGWIRE_WRONG_COMMAND;
    *mode = response[1];
    *mtime = response[2];
    *RFU = response[3];
    *Union = response[4];
    *Condition1 = response[5];
    *Condition2 = response[6];
    return response.status();
}
