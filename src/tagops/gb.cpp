// Tags of the GB air interface and of its variant JB. Both use the same codes; the single-tag commands are
// the same frames, the inventories of JB carry the byte Algo in front.
#include "inventory/tag_frames.h"
#include "tagops/words.h"

using namespace tagwire::engine;

int I_Inventory_GB(Reader* sthis, u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag,
                   u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x56, Inventory::yes);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData}).add_if(FastFlag, {InAnt, Scantime});
    return run_inventory(sthis, command, plain_inventory, {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_JB(Reader* sthis, u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                   u8 MaskFlag, u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen,
                   int* CardNum)
{
    Command command(sthis, address, 0x56, Inventory::yes);
    command.byte(Algo);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData}).add_if(FastFlag, {InAnt, Scantime});
    return run_inventory(sthis, command, plain_inventory, {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryMix_GB(Reader* sthis, u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x57, Inventory::yes);
    command.byte(ReadMem).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData}).add_if(FastFlag, {InAnt, Scantime});
    return run_inventory(sthis, command, plain_inventory, {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryMix_JB(Reader* sthis, u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x57, Inventory::yes);
    command.bytes({Algo, ReadMem}).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData}).add_if(FastFlag, {InAnt, Scantime});
    return run_inventory(sthis, command, plain_inventory, {pEPCList, Ant, Totallen, CardNum});
}

int I_ReadData_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum,
                  u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0x58, longest_gb_id,
                       {TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData}}, Inventory::yes);
    return read_words(command, {ReadMem, WordPtr, 2}, WordNum, Password, Data, Errorcode);
}

int I_WriteData_GB(Reader* sthis, u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x59, longest_gb_id,
                       {TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData}}, Inventory::yes);
    return write_words(command, {WMem, WordPtr, 2}, WNum, Wdt, Password, Errorcode);
}

// ENum is the count of words to erase, 2 bytes.
int I_BlockErase_GB(Reader* sthis, u8* address, u8* EPC, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x5A, longest_gb_id,
                       {TNum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(EMem).bytes(WordPtr, 2).bytes(ENum, 2).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_Lock_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x5B, longest_gb_id,
                       {TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({LockMem, Cfg, Action}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_KillTag_GB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x5C, longest_gb_id,
                       {TNum, TagID, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Killpwd, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_ReadData_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum,
                  u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    return sthis->operations.ReadData_GB(sthis, address, TagID, TNum, ReadMem, WordPtr, WordNum, Password,
                                         MaskMem, MaskAdr, MaskLen, MaskData, Data, Errorcode);
}

int I_WriteData_JB(Reader* sthis, u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return sthis->operations.WriteData_GB(sthis, address, TagID, WNum, TNum, WMem, WordPtr, Wdt, Password,
                                          MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int I_BlockErase_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return sthis->operations.BlockErase_GB(sthis, address, TagID, TNum, EMem, WordPtr, ENum, Password,
                                           MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int I_Lock_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password,
              u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return sthis->operations.Lock_GB(sthis, address, TagID, TNum, LockMem, Cfg, Action, Password, MaskMem,
                                     MaskAdr, MaskLen, MaskData, Errorcode);
}

int I_KillTag_JB(Reader* sthis, u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    return sthis->operations.KillTag_GB(sthis, address, TagID, TNum, Killpwd, MaskMem, MaskAdr, MaskLen,
                                        MaskData, Errorcode);
}
