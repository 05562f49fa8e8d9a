// Work modes, the parameters of reading without a host, and numbered parameters.
#include "tagops/addressing.h"

using namespace tagwire::engine;

int I_SetWorkMode(Reader* sthis, u8* address, u8 Read_mode)
{
    return Command(sthis, address, 0x35).byte(Read_mode).exchange_amid_reports(AddressEcho::never);
}

// The short form of the answer has no trigger time and no place in the TID bank.
int I_GetSystemParameter(Reader* sthis, u8* address, u8* Read_mode, u8* Accuracy, u8* RepCondition,
                         u8* RepPauseTime, u8* ReadPauseTim, u8* TagProtocol, u8* MaskMem, u8* MaskAdr,
                         u8* MaskLen, u8* MaskData, u8* TriggerTime, u8* AdrTID, u8* LenTID)
{
    constexpr u8 len_of_short_form = 47;
    return Command(sthis, address, 0x36).exchange(AddressEcho::never, [&](const Response& d) {
        *Read_mode = d[0];
        *Accuracy = d[1];
        *RepCondition = d[2];
        *RepPauseTime = d[3];
        *ReadPauseTim = d[4];
        *TagProtocol = d[5];
        *MaskMem = d[6];
        d.copy(7, MaskAdr, 2);
        *MaskLen = d[9];
        d.copy(10, MaskData, 32);
        *TriggerTime = d.len() == len_of_short_form ? u8{0} : d[42];
        if (d.len() == len_of_short_form) return;
        *AdrTID = d[43];
        *LenTID = d[44];
    });
}

int I_SetReadMode(Reader* sthis, u8* address, u8 ReadMode)
{
    return Command(sthis, address, 0x76).byte(ReadMode).exchange_amid_reports(AddressEcho::never);
}

int I_SetReadParameter(Reader* sthis, u8* address, u8* Parameter, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                       u8* MaskData, u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag)
{
    Command command(sthis, address, 0x75);
    command.bytes(Parameter, 5);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData}).add_if(TIDFlag, {AdrTID, LenTID});
    return command.exchange(AddressEcho::never);
}

int I_GetReadParameter(Reader* sthis, u8* address, u8* Parameter)
{
    return Command(sthis, address, 0x77).exchange(AddressEcho::never, all_data_to(Parameter));
}

int I_SetCfgParameter(Reader* sthis, u8* address, u8 opt, u8 cfgNo, u8* cfgData, int len)
{
    return Command(sthis, address, 0xEA).bytes({opt, cfgNo}).bytes(cfgData, len).exchange(AddressEcho::never);
}

int I_GetCfgParameter(Reader* sthis, u8* address, u8 cfgNo, u8* cfgData, int* len)
{
    return Command(sthis, address, 0xEB).byte(cfgNo).exchange(AddressEcho::never, [&](const Response& d) {
        *len = d.data_length();
        d.copy(0, cfgData, d.data_length());
    });
}
