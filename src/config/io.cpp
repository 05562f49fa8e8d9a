// Beeper and LED, relays, inputs and outputs, Wiegand output, triggers and the report filter.
#include "link/command.h"

using namespace tagwire::engine;

int I_BuzzerAndLEDControl(Reader* sthis, u8* address, u8 AvtiveTime, u8 SilentTime, u8 Times)
{
    return Command(sthis, address, 0x33).bytes({AvtiveTime, SilentTime, Times}).exchange(AddressEcho::never);
}

int I_SetRelay(Reader* sthis, u8* address, u8 RelayTime)
{
    return Command(sthis, address, 0x45).byte(RelayTime).exchange(AddressEcho::never);
}

int I_RelaysControll(Reader* sthis, u8* address, u8 num, u8 status, u8 ntime)
{
    return Command(sthis, address, 0x45).bytes({num, status, ntime}).exchange(AddressEcho::on_success);
}

int I_RelayControll(Reader* sthis, u8* address, u8* RelayTime)
{
    return Command(sthis, address, 0x92).byte(*RelayTime).exchange(AddressEcho::never, bytes_to(RelayTime));
}

int I_SetGPIO(Reader* sthis, u8* address, u8 OutputPin)
{
    return Command(sthis, address, 0x46).byte(OutputPin).exchange(AddressEcho::never);
}

int I_GetGPIOStatus(Reader* sthis, u8* address, u8* OutputPin)
{
    return Command(sthis, address, 0x47).exchange(AddressEcho::never, bytes_to(OutputPin));
}

int I_SetNotificationPulseOutput(Reader* sthis, u8* address, u8 OutputRep)
{
    return Command(sthis, address, 0x48).byte(OutputRep).exchange(AddressEcho::never);
}

int I_SetGPOParam(Reader* sthis, u8* address, u8 Enableflag, u8 ActiveTime)
{
    return Command(sthis, address, 0xB0).bytes({Enableflag, ActiveTime}).exchange(AddressEcho::on_success);
}

int I_GetGPOParam(Reader* sthis, u8* address, u8* Enableflag, u8* ActiveTime)
{
    return Command(sthis, address, 0xB1).exchange(AddressEcho::on_success, bytes_to(Enableflag, ActiveTime));
}

int I_SetWieGandParam(Reader* sthis, u8* address, u8 WgCfg, u8 DataInvl, u8 PulWidth, u8 PulsInvl,
                      u8 OffsetAdr)
{
    return Command(sthis, address, 0x38)
        .drop_received()
        .bytes({WgCfg, DataInvl, PulWidth, PulsInvl, OffsetAdr})
        .exchange(AddressEcho::never);
}

int I_GetWieGandParam(Reader* sthis, u8* address, u8* WgCfg, u8* DataInvl, u8* PulWidth, u8* PulsInvl,
                      u8* OffsetAdr)
{
    return Command(sthis, address, 0x39)
        .drop_received()
        .exchange(AddressEcho::never, bytes_to(WgCfg, DataInvl, PulWidth, PulsInvl, OffsetAdr));
}

int I_SetFilterParam(Reader* sthis, u8* address, u8 FilterTime, u8 MinReadCount, u8 MinRssi)
{
    return Command(sthis, address, 0xB0)
        .drop_received()
        .bytes({FilterTime, MinReadCount, MinRssi})
        .exchange(AddressEcho::never);
}

int I_GetFilterParam(Reader* sthis, u8* address, u8* FilterTime, u8* MinReadCount, u8* MinRssi)
{
    return Command(sthis, address, 0xB1)
        .drop_received()
        .exchange(AddressEcho::never, bytes_to(FilterTime, MinReadCount, MinRssi));
}

int I_SetTriggerLinkageParam(Reader* sthis, u8* address, u8 Action, u8 mode, u8 mtime, u8 RFU, u8 Union,
                             u8 Condition1, u8 Condition2)
{
    constexpr u8 write = 0x80;
    Command command(sthis, address, 0xE6);
    command.bytes({write, Action, mode, mtime, RFU, Union, Condition1, Condition2}).send();
    if (const int result = command.receive_repeating(write)) return result;
    return command.response().status();
}

// The echo of the sub-command decides, and not the status, whether the outputs are written.
int I_GetTriggerLinkageParam(Reader* sthis, u8* address, u8 Action, u8* mode, u8* mtime, u8* RFU, u8* Union,
                             u8* Condition1, u8* Condition2)
{
    constexpr u8 read = 0x81;
    Command command(sthis, address, 0xE6);
    command.bytes({read, Action}).send();
    if (const int result = command.receive_repeating(read)) return result;
    return command.finish(AddressEcho::never, Outputs::always, [&](const Response& r) {
        *mode = r[1];
        *mtime = r[2];
        *RFU = r[3];
        *Union = r[4];
        *Condition1 = r[5];
        *Condition2 = r[6];
    });
}
