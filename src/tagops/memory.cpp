// Reading and writing the memory of one Gen2 tag.
#include "tagops/addressing.h"

using namespace tagwire;

int I_ReadData_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password,
                  u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x02);
    command.byte(ENum).add(tag.id()).byte(Mem).byte(WordPtr).byte(Num).bytes(Password, 4).add(tag.mask());
    command.send(Inventory::yes);
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        response.copy(0, Data, response.length() - 6);
    });
}

int I_ExtReadData_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8* WordPtr, u8 Num, u8* Password,
                     u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x15);
    command.byte(ENum).add(tag.id()).byte(Mem).bytes(WordPtr, 2).byte(Num).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        response.copy(0, Data, response.length() - 6);
    });
}

int I_WriteData_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt,
                   u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x03);
    command.byte(WNum).byte(ENum).add(tag.id()).byte(Mem).byte(WordPtr).bytes(Wdt, 2 * WNum);
    command.bytes(Password, 4).add(tag.mask()).send(Inventory::yes);
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

int I_BlockWrite_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x10);
    command.byte(WNum).byte(ENum).add(tag.id()).byte(Mem).byte(WordPtr).bytes(Wdt, 2 * WNum);
    command.bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

namespace {

int write_with_long_pointer(Reader* sthis, u8* address, u8 code, const OneTag& tag, u8 WNum, u8 ENum, u8 Mem,
                            const u8* WordPtr, const u8* Wdt, const u8* Password, int* Errorcode)
{
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, code);
    command.byte(WNum).byte(ENum).add(tag.id()).byte(Mem).bytes(WordPtr, 2).bytes(Wdt, 2 * WNum);
    command.bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

}  // namespace

int I_ExtWriteData_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt,
                      u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return write_with_long_pointer(sthis, address, 0x16, tag, WNum, ENum, Mem, WordPtr, Wdt, Password,
                                   Errorcode);
}

int I_ExtBlockWrite_G2(Reader* sthis, u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt,
                       u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return write_with_long_pointer(sthis, address, 0xCF, tag, WNum, ENum, Mem, WordPtr, Wdt, Password,
                                   Errorcode);
}

// Writes the tag that answers, whichever it is. The address stays as it was, as with BlockErase_G2.
int I_WriteEPC_G2(Reader* sthis, u8* address, u8* Password, u8* WriteEPC, u8 ENum, int* Errorcode)
{
    Command command(sthis, address, 0x04);
    command.byte(ENum).bytes(Password, 4).bytes(WriteEPC, 2 * ENum).send(Inventory::yes);
    return tag_result(command, Errorcode);
}

int I_BlockErase_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password,
                    u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x07);
    command.byte(ENum).add(tag.id()).byte(Mem).byte(WordPtr).byte(Num).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode);
}
