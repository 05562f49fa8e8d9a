// Locking and killing a Gen2 tag, and the features of particular chips.
#include "tagops/addressing.h"

using namespace tagwire::engine;

int I_KillTag_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x05, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Killpwd, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_Lock_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 select, u8 setprotect, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x06, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({select, setprotect}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_SetPrivacyByEPC_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                         u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x08, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_SetPrivacyWithoutEPC_G2(Reader* sthis, u8* address, u8* Password, int* Errorcode)
{
    return Command(sthis, address, 0x09)
        .bytes(Password, 4)
        .exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_ResetPrivacy_G2(Reader* sthis, u8* address, u8* Password, int* Errorcode)
{
    return Command(sthis, address, 0x0A)
        .bytes(Password, 4)
        .exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_CheckPrivacy_G2(Reader* sthis, u8* address, u8* readpro, int* Errorcode)
{
    return Command(sthis, address, 0x0B)
        .exchange(AddressEcho::never, tag_error, Errorcode, bytes_to(readpro));
}

int I_EASConfigure_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 EAS, u8 MaskMem,
                      u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x0C, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4).byte(EAS);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode);
}

int I_EASAlarm_G2(Reader* sthis, u8* address, int* Errorcode)
{
    return Command(sthis, address, 0x0D).exchange(AddressEcho::on_success, tag_error, Errorcode);
}

int I_BlockLock_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 WrdPointer, u8 MaskMem,
                   u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x0E, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4).byte(WrdPointer);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_GetMonza4QTWorkParamter_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem,
                                 u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* QTcontrol, int* Errorcode)
{
    TagCommand command(sthis, address, 0x11, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode,
                            [&](const Response& r) { *QTcontrol = r[1]; });
}

// The work parameter is a word of which the caller gives the low byte.
int I_SetMonza4QTWorkParamter_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 QTcontrol, u8* Password,
                                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x12, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({0x00, QTcontrol}).bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode);
}

int I_Untraceable_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 UFlag, u8 EPCHide, u8 NewEPCLen,
                     u8 TIDHide, u8 UserHide, u8 Range, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                     u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x1F, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({UFlag, EPCHide, NewEPCLen, TIDHide, UserHide, Range}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

// Sends 6 bytes of the message, whatever MsgLen says.
int I_Authenticate_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 sendRep, u8 increpLen, u8 CSI,
                      u8 MsgLen, u8* MsgData, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8* auth_rep_len, u8* auth_rep_data, int* Errorcode)
{
    TagCommand command(sthis, address, 0xE4, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({sendRep, increpLen, CSI, MsgLen}).bytes(MsgData, 6).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode, [&](const Response& r) {
        const int count = r.len() - 5;
        *auth_rep_len = static_cast<u8>(count);
        r.copy(0, auth_rep_data, count);
    });
}

int I_Protected_mode_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 enableflag, u8* Password, u8 MaskMem,
                        u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xE9, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(enableflag).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}
