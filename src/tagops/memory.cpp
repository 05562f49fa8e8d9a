// Reading and writing the memory of one Gen2 tag.
#include "tagops/words.h"

using namespace tagwire::engine;

int I_ReadData_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password,
                  u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0x02, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}},
                       Inventory::yes);
    return read_words(command, {Mem, &WordPtr, 1}, Num, Password, Data, Errorcode);
}

int I_ExtReadData_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8* WordPtr, u8 Num, u8* Password,
                     u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0x15, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return read_words(command, {Mem, WordPtr, 2}, Num, Password, Data, Errorcode);
}

int I_WriteData_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x03, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}},
                       Inventory::yes);
    return write_words(command, {Mem, &WordPtr, 1}, WNum, Wdt, Password, Errorcode);
}

int I_BlockWrite_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x10, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return write_words(command, {Mem, &WordPtr, 1}, WNum, Wdt, Password, Errorcode);
}

int I_ExtWriteData_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt,
                      u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x16, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return write_words(command, {Mem, WordPtr, 2}, WNum, Wdt, Password, Errorcode);
}

int I_ExtBlockWrite_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt,
                       u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xCF, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return write_words(command, {Mem, WordPtr, 2}, WNum, Wdt, Password, Errorcode);
}

// Writes the tag that answers, whichever it is. The address stays as it was, as with BlockErase_G2.
int I_WriteEPC_G2(Reader* sthis, u8* address, u8* Password, u8* WriteEPC, u8 ENum, int* Errorcode)
{
    Command command(sthis, address, 0x04, Inventory::yes);
    command.byte(ENum).bytes(Password, 4).bytes(WriteEPC, 2 * ENum);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}

int I_BlockErase_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password,
                    u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x07, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({Mem, WordPtr, Num}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode);
}
