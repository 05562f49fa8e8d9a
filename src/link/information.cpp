// Who is the reader? The first command is also the handshake of every open.
#include "link/command.h"

using namespace tagwire;

int I_GetReaderInformation(Reader* sthis, u8* ComAdr, u8* VersionInfo, u8* ReaderType, u8* TrType,
                           u8* dmaxfre, u8* dminfre, u8* powerdBm, u8* ScanTime, u8* Ant, u8* BeepEn,
                           u8* OutputRep, u8* CheckAnt)
{
    Command command(sthis, ComAdr, 0x21);
    command.send(Inventory::no, Clear::no);
    if (const int result =
            sthis->operations.AutoGetDataFromPort(sthis, sthis->recvBuff, &sthis->recvLength, 0x21))
        return result;
    if (const int result = command.check()) return result;

    const Answer answer = command.answer();
    if (answer.status() != 0) return answer.status();
    *ComAdr = answer.address();
    answer.copy(0, VersionInfo, 2);
    *ReaderType = answer[2];
    *TrType = answer[3];
    *dmaxfre = answer[4];
    *dminfre = answer[5];
    *powerdBm = answer[6];
    *ScanTime = answer[7];
    *Ant = answer[8];
    *BeepEn = answer[9];
    *OutputRep = answer[10];
    *CheckAnt = answer[11];
    sthis->ReaderAddr = answer.address();
    sthis->inventoryScanTime = answer[7];
    return answer.status();
}

int I_GetModuleDetails(Reader* sthis, u8* address, u8* Version, u8* mType, u8* Tr_Type)
{
    Command command(sthis, address, 0x83);
    command.byte(0x00).send();
    if (const int result = command.receive()) return result;

    const Answer answer = command.answer();
    if (answer.status() != 0) return answer.status();
    answer.copy(0, Version, 2);
    *mType = answer[2];
    *Tr_Type = answer[3];
    return answer.status();
}
