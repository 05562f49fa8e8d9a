// Small functions of the extension channel: the first data byte selects the function, and the answer repeats
// it.
#include "link/command.h"

using namespace tagwire::engine;

int I_SetCalibrationPowerType(Reader* sthis, u8* address, u8 powerType)
{
    return Command(sthis, address, 0xE6).bytes({0x03, powerType}).exchange(AddressEcho::never);
}

int I_SetRegionType(Reader* sthis, u8* address, u8 regionType)
{
    return Command(sthis, address, 0xE6).bytes({0x04, regionType}).exchange(AddressEcho::always);
}

int I_SetTempSelect(Reader* sthis, u8* address, u8 TempSelect)
{
    return Command(sthis, address, 0xE6).bytes({0x09, TempSelect}).exchange(AddressEcho::never);
}

// An answer of another length has no description; the status does not matter.
int I_GetModuleDescribe(Reader* sthis, u8* address, u8* describeInfor)
{
    constexpr int length_with_description = 23;
    return Command(sthis, address, 0xE6)
        .byte(0x02)
        .exchange(AddressEcho::never, Outputs::always, [&](const Response& d) {
            if (d.length() == length_with_description) d.copy(1, describeInfor, 16);
        });
}
