// Frequencies, output power and antennas.
#include <algorithm>
#include <array>

#include "link/command.h"

using namespace tagwire::engine;

int I_SetRegion(Reader* sthis, u8* address, u8 dmaxfre, u8 dminfre)
{
    return Command(sthis, address, 0x22).bytes({dmaxfre, dminfre}).exchange(AddressEcho::always);
}

int I_ExtSetRegion(Reader* sthis, u8* address, u8 FLAG, u8 Band, u8 dmaxfre, u8 dminfre)
{
    return Command(sthis, address, 0x22).bytes({FLAG, Band, dmaxfre, dminfre}).exchange(AddressEcho::always);
}

// 0xFF in the place of the band marks a channel plan of one's own.
int I_SetCustomRegion(Reader* sthis, u8* address, u8 FLAG, u8 freSpace, u8 freNum, u8* freStart)
{
    return Command(sthis, address, 0x22)
        .bytes({FLAG, 0xFF, freSpace, freNum})
        .bytes(freStart, 3)
        .exchange(AddressEcho::never);
}

int I_ExtGetRegion(Reader* sthis, u8* address, u8* Band, u8* dmaxfre, u8* dminfre)
{
    return Command(sthis, address, 0x9E)
        .exchange(AddressEcho::always, Outputs::always, bytes_to(Band, dmaxfre, dminfre));
}

// How long the answer is tells which kind of region the reader has.
int I_GetCustomRegion(Reader* sthis, u8* address, u8* freSpace, u8* freNum, u8* freStart)
{
    constexpr int custom_region = 12;
    constexpr int standard_region = 9;
    Command command(sthis, address, 0x9E);
    command.send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    if (response.length() == standard_region) return TAGWIRE_BAD_ARGUMENT;
    if (response.length() == custom_region) {
        *freSpace = response[1];
        *freNum = response[2];
        response.copy(3, freStart, 3);
    }
    return response.status();
}

int I_SetRfPower(Reader* sthis, u8* address, u8 PowerDbm)
{
    return Command(sthis, address, 0x2F).byte(PowerDbm).exchange_amid_reports(AddressEcho::on_success);
}

int I_SetRfPowerByAnt(Reader* sthis, u8* address, u8* PowerDbm)
{
    return Command(sthis, address, 0x2F).bytes(PowerDbm, 4).exchange(AddressEcho::on_success);
}

int I_SetAntennaPower(Reader* sthis, u8* address, u8* PowerDbm, int length)
{
    constexpr std::array antenna_counts{1, 2, 4, 8, 9, 12, 16, 64};
    if (std::find(antenna_counts.begin(), antenna_counts.end(), length) == antenna_counts.end())
        return TAGWIRE_BAD_ARGUMENT;
    return Command(sthis, address, 0x2F).bytes(PowerDbm, length).exchange(AddressEcho::on_success);
}

int I_GetRfPowerByAnt(Reader* sthis, u8* address, u8* PowerDbm)
{
    return Command(sthis, address, 0x94).exchange(AddressEcho::on_success, data_to(PowerDbm, 4));
}

int I_GetAntennaPower(Reader* sthis, u8* address, u8* PowerDbm, int* length)
{
    return Command(sthis, address, 0x94).exchange(AddressEcho::on_success, [&](const Response& d) {
        *length = d.len() - 5;
        d.copy(0, PowerDbm, d.len() - 5);
    });
}

int I_WriteRfPower(Reader* sthis, u8* address, u8 PowerDbm)
{
    return Command(sthis, address, 0x79).byte(PowerDbm).exchange(AddressEcho::on_success);
}

int I_ReadRfPower(Reader* sthis, u8* address, u8* PowerDbm)
{
    return Command(sthis, address, 0x7A).exchange(AddressEcho::on_success, bytes_to(PowerDbm));
}

int I_RfOutput(Reader* sthis, u8* address, u8 OnOff)
{
    return Command(sthis, address, 0x30).byte(OnOff).exchange(AddressEcho::on_success);
}

int I_SetAntennaMultiplexing(Reader* sthis, u8* address, u8 Ant)
{
    return Command(sthis, address, 0x3F).byte(Ant).exchange(AddressEcho::never);
}

int I_SetAntenna(Reader* sthis, u8* address, u8 SetOnce, u8 AntCfg1, u8 AntCfg2)
{
    return Command(sthis, address, 0x3F).bytes({SetOnce, AntCfg1, AntCfg2}).exchange(AddressEcho::never);
}

// `opt` 0 reads, any other value writes. What a read brings is copied whatever the status.
int I_OptAntenna(Reader* sthis, u8* address, u8 opt, u8 SetOnce, u8* AntCfg)
{
    constexpr u8 len_with_configuration = 13;
    return Command(sthis, address, 0x3F)
        .bytes({opt, SetOnce})
        .bytes(AntCfg, 8)
        .exchange(AddressEcho::never, Outputs::always, [&](const Response& d) {
            if (opt == 0 && d.len() == len_with_configuration) d.copy(0, AntCfg, 8);
        });
}

int I_SetAntennaA12(Reader* sthis, u8* address, u8 SetOnce, u8 AntCfg1, u8 AntCfg2)
{
    return Command(sthis, address, 0x85).bytes({SetOnce, AntCfg1, AntCfg2}).exchange(AddressEcho::never);
}

int I_MutipleAntennaSwitch(Reader* sthis, u8* address, u8 TargetAddr, u8 antenna)
{
    return Command(sthis, address, 0xB0).bytes({TargetAddr, antenna}).exchange(AddressEcho::never);
}

int I_ConfigAntNum(Reader* sthis, u8* address, u8* AntNum)
{
    return Command(sthis, address, 0x7C).byte(*AntNum).exchange(AddressEcho::never, bytes_to(AntNum));
}

int I_MeasureReturnLoss(Reader* sthis, u8* address, u8* TestFreq, u8 Ant, u8* ReturnLoss)
{
    return Command(sthis, address, 0x91)
        .bytes(TestFreq, 4)
        .byte(Ant)
        .exchange(AddressEcho::on_success, bytes_to(ReturnLoss));
}

int I_SetDwellTime(Reader* sthis, u8* address, u8 flag, u8 FCCOnTime, u8 S1Times)
{
    constexpr u8 write = 0x10;
    return Command(sthis, address, 0xD3)
        .bytes({static_cast<u8>(flag | write), FCCOnTime, S1Times})
        .exchange(AddressEcho::never);
}

int I_GetDwellTime(Reader* sthis, u8* address, u8* FCCOnTime, u8* S1Times)
{
    return Command(sthis, address, 0xD3)
        .byte(0x00)
        .exchange(AddressEcho::never, Outputs::always, bytes_to(FCCOnTime, S1Times));
}
