// Tags of the GB air interface and of its variant JB. Both use the same codes; the single-tag commands are
// the same frames, the inventories of JB carry the byte Algo in front.
#include "inventory/tag_frames.h"
#include "tagops/addressing.h"

namespace tagwire {
namespace {

// The optional groups of an inventory request, each there when its flag is 1.
struct GbRequest {
    u8 mask_flag;
    Mask mask;
    u8 fast_flag;
    u8 antenna;
    u8 scan_time;

    void put(Command& command) const
    {
        if (mask_flag == 1) command.add(mask);
        if (fast_flag == 1) command.byte(antenna).byte(scan_time);
    }
};

int run_gb_inventory(Reader* sthis, Command& command, u8 code, const TagOutputs& out)
{
    return run_inventory(sthis, command,
                         {code, &Operations::GetInventoryDataFromPort1, Inventory::yes,
                          WalkEnd::at_final_status, ListLength::zeroed, Statistics::none},
                         out);
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_Inventory_GB(Reader* sthis, u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag,
                   u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x56);
    command.add(GbRequest{MaskFlag, {MaskMem, MaskAdr, MaskLen, MaskData}, FastFlag, InAnt, Scantime});
    return run_gb_inventory(sthis, command, 0x56, {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_JB(Reader* sthis, u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                   u8 MaskFlag, u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen,
                   int* CardNum)
{
    Command command(sthis, address, 0x56);
    command.byte(Algo);
    command.add(GbRequest{MaskFlag, {MaskMem, MaskAdr, MaskLen, MaskData}, FastFlag, InAnt, Scantime});
    return run_gb_inventory(sthis, command, 0x56, {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryMix_GB(Reader* sthis, u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x57);
    command.byte(ReadMem).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    command.add(GbRequest{MaskFlag, {MaskMem, MaskAdr, MaskLen, MaskData}, FastFlag, InAnt, Scantime});
    return run_gb_inventory(sthis, command, 0x57, {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryMix_JB(Reader* sthis, u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x57);
    command.byte(Algo).byte(ReadMem).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    command.add(GbRequest{MaskFlag, {MaskMem, MaskAdr, MaskLen, MaskData}, FastFlag, InAnt, Scantime});
    return run_gb_inventory(sthis, command, 0x57, {pEPCList, Ant, Totallen, CardNum});
}

int I_ReadData_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum,
                  u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    const OneTag tag(TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_gb_id)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x58);
    command.byte(TNum).add(tag.id()).byte(ReadMem).bytes(WordPtr, 2).byte(WordNum).bytes(Password, 4);
    command.add(tag.mask()).send(Inventory::yes);
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        response.copy(0, Data, response.length() - 6);
    });
}

int I_WriteData_GB(Reader* sthis, u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_gb_id)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x59);
    command.byte(WNum).byte(TNum).add(tag.id()).byte(WMem).bytes(WordPtr, 2).bytes(Wdt, 2 * WNum);
    command.bytes(Password, 4).add(tag.mask()).send(Inventory::yes);
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

// ENum is the count of words to erase, 2 bytes.
int I_BlockErase_GB(Reader* sthis, u8* address, u8* EPC, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(TNum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_gb_id)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x5A);
    command.byte(TNum).add(tag.id()).byte(EMem).bytes(WordPtr, 2).bytes(ENum, 2).bytes(Password, 4);
    command.add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

int I_Lock_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_gb_id)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x5B);
    command.byte(TNum).add(tag.id()).byte(LockMem).byte(Cfg).byte(Action).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode);
}

int I_KillTag_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_gb_id)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x5C);
    command.byte(TNum).add(tag.id()).bytes(Killpwd, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode);
}

int I_ReadData_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum,
                  u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    return I_ReadData_GB(sthis, address, TagID, TNum, ReadMem, WordPtr, WordNum, Password, MaskMem, MaskAdr,
                         MaskLen, MaskData, Data, Errorcode);
}

int I_WriteData_JB(Reader* sthis, u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return I_WriteData_GB(sthis, address, TagID, WNum, TNum, WMem, WordPtr, Wdt, Password, MaskMem, MaskAdr,
                          MaskLen, MaskData, Errorcode);
}

int I_BlockErase_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return I_BlockErase_GB(sthis, address, TagID, TNum, EMem, WordPtr, ENum, Password, MaskMem, MaskAdr,
                           MaskLen, MaskData, Errorcode);
}

int I_Lock_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return I_Lock_GB(sthis, address, TagID, TNum, LockMem, Cfg, Action, Password, MaskMem, MaskAdr, MaskLen,
                     MaskData, Errorcode);
}

int I_KillTag_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return I_KillTag_GB(sthis, address, TagID, TNum, Killpwd, MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}
