// Locking and killing a Gen2 tag, and the features of particular chips.
#include "tagops/addressing.h"

using namespace tagwire;

int I_KillTag_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x05);
    command.byte(ENum).add(tag.id()).bytes(Killpwd, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

int I_Lock_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 select, u8 setprotect, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x06);
    command.byte(ENum).add(tag.id()).byte(select).byte(setprotect).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode);
}

int I_SetPrivacyByEPC_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                         u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x08);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

int I_SetPrivacyWithoutEPC_G2(Reader* sthis, u8* address, u8* Password, int* Errorcode)
{
    Command command(sthis, address, 0x09);
    command.bytes(Password, 4).send();
    return tag_result(command, Errorcode);
}

int I_ResetPrivacy_G2(Reader* sthis, u8* address, u8* Password, int* Errorcode)
{
    Command command(sthis, address, 0x0A);
    command.bytes(Password, 4).send();
    return tag_result(command, Errorcode);
}

int I_CheckPrivacy_G2(Reader* sthis, u8* address, u8* readpro, int* Errorcode)
{
    Command command(sthis, address, 0x0B);
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) { *readpro = response[0]; });
}

int I_EASConfigure_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 EAS, u8 MaskMem,
                      u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x0C);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).byte(EAS).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

int I_EASAlarm_G2(Reader* sthis, u8* address, int* Errorcode)
{
    Command command(sthis, address, 0x0D);
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

int I_BlockLock_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 WrdPointer, u8 MaskMem,
                   u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x0E);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).byte(WrdPointer).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

int I_GetMonza4QTWorkParamter_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem,
                                 u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* QTcontrol, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x11);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        *QTcontrol = response[1];
    });
}

// The work parameter is a word of which the caller gives the low byte.
int I_SetMonza4QTWorkParamter_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 QTcontrol, u8* Password,
                                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x12);
    command.byte(ENum).add(tag.id()).byte(0x00).byte(QTcontrol).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

int I_Untraceable_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 UFlag, u8 EPCHide, u8 NewEPCLen,
                     u8 TIDHide, u8 UserHide, u8 Range, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                     u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x1F);
    command.byte(ENum).add(tag.id()).byte(UFlag).byte(EPCHide).byte(NewEPCLen).byte(TIDHide).byte(UserHide);
    command.byte(Range).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

// Sends 6 bytes of the message, whatever MsgLen says.
int I_Authenticate_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 sendRep, u8 increpLen, u8 CSI,
                      u8 MsgLen, u8* MsgData, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8* auth_rep_len, u8* auth_rep_data, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0xE4);
    command.byte(ENum).add(tag.id()).byte(sendRep).byte(increpLen).byte(CSI).byte(MsgLen).bytes(MsgData, 6);
    command.bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        const int count = response.len() - 5;
        *auth_rep_len = static_cast<u8>(count);
        response.copy(0, auth_rep_data, count);
    });
}

int I_Protected_mode_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 enableflag, u8* Password, u8 MaskMem,
                        u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0xE9);
    command.byte(ENum).add(tag.id()).byte(enableflag).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}
