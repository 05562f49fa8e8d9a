// Who is the reader? The first command is also the handshake of every open.
#include "link/command.h"
#include "link/questions.h"

using namespace tagwire::engine;

int I_GetReaderInformation(Reader* sthis, u8* ComAdr, u8* VersionInfo, u8* ReaderType, u8* TrType,
                           u8* dmaxfre, u8* dminfre, u8* powerdBm, u8* ScanTime, u8* Ant, u8* BeepEn,
                           u8* OutputRep, u8* CheckAnt)
{
    Command command(sthis, ComAdr, information_command);
    command.send(Clear::no);
    if (const int result = command.receive_by(&Operations::AutoGetDataFromPort)) return result;
    if (const int result = command.check()) return result;
    return command.finish(AddressEcho::on_success, Outputs::on_success, [&](const Response& response) {
        response.copy(0, VersionInfo, 2);
        *ReaderType = response[2];
        *TrType = response[3];
        *dmaxfre = response[4];
        *dminfre = response[5];
        *powerdBm = response[6];
        *ScanTime = response[7];
        *Ant = response[8];
        *BeepEn = response[9];
        *OutputRep = response[10];
        *CheckAnt = response[11];
        sthis->ReaderAddr = response.address();
        sthis->inventoryScanTime = response[7];
    });
}

int I_GetModuleDetails(Reader* sthis, u8* address, u8* Version, u8* mType, u8* Tr_Type)
{
    return Command(sthis, address, 0x83)
        .byte(0x00)
        .exchange(AddressEcho::never, [&](const Response& response) {
            response.copy(0, Version, 2);
            *mType = response[2];
            *Tr_Type = response[3];
        });
}
