// The Gen2 inventory commands.
#include "inventory/tag_frames.h"
#include "tagops/addressing.h"

namespace tagwire::engine {
namespace {

InventoryRules rules_for(u8 QValue, ListLength callback_only)
{
    const bool statistics = asks_for_statistics(QValue);
    return {.receiver =
                statistics ? &Operations::GetInventoryDataFromPort2 : &Operations::GetInventoryDataFromPort1,
            .end = statistics ? WalkEnd::at_last_byte : WalkEnd::at_final_status,
            .callback_only = callback_only,
            .statistics = Statistics::with_status_26};
}

int fast_inventory(Reader* sthis, u8* address, u8 code, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                   u8 Scantime, u8 FastFlag, const TagOutputs& out)
{
    Command command(sthis, address, code, Inventory::yes);
    command.bytes({QValue, Session}).add_if(FastFlag, {Target, InAnt, Scantime});
    return run_inventory(sthis, command, rules_for(QValue, ListLength::kept), out);
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_Inventory_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                   u8* MaskData, u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, u8 Target, u8 InAnt,
                   u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x01, Inventory::yes);
    const FlagRaised reading(sthis->Reading);
    command.bytes({QValue, Session}).add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    command.add_if(TIDFlag, {AdrTID, LenTID}).add_if(FastFlag, {Target, InAnt, Scantime});
    return run_inventory(sthis, command, rules_for(QValue, ListLength::zeroed),
                         {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryMix_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                      u8* MaskData, u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 Target,
                      u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0x19, Inventory::yes);
    command.bytes({QValue, Session}).add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    command.byte(ReadMem).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    command.add_if(FastFlag, {Target, InAnt, Scantime});
    return run_inventory(sthis, command, rules_for(QValue, ListLength::zeroed),
                         {pEPCList, Ant, Totallen, CardNum});
}

int I_InventoryExtMix_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 ParamCount, u8* param,
                         u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag, u8* Psd, u8 Target,
                         u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen,
                         int* CardNum)
{
    if (ParamCount < 1 || ParamCount > 3) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x20, Inventory::yes);
    command.bytes({QValue, Session, ParamCount}).bytes(param, 4 * ParamCount);
    command.add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    command.bytes(Psd, 4).add_if(FastFlag, {Target, InAnt, Scantime});
    return run_inventory(sthis, command, rules_for(QValue, ListLength::zeroed),
                         {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_EPC_G2(Reader* sthis, u8* address, u8 MatchType, u8* MatchLen, u8* MatchOffset, u8* EPCData,
                       u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    const int bits = MatchLen[0] << 8 | MatchLen[1];
    Command command(sthis, address, 0x1A, Inventory::yes);
    command.byte(MatchType).bytes(MatchLen, 2).bytes(MatchOffset, 2).bytes(EPCData, (bits + 7) / 8);
    return run_inventory(sthis, command, rules_for(0, ListLength::zeroed),
                         {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_QT_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x1B, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_FastBID_NXP(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                            u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x96, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_FastTID_NXP(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                            u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x97, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_SingleTagInventory_G2(Reader* sthis, u8* address, u8* EPC, int* EPCLength, int* CardNum)
{
    Command command(sthis, address, 0x0F);
    command.send();
    if (const int result = command.receive()) return result;

    const Response response = command.response();
    if (response.status() != 0x01) return response.status();
    *address = response.address();
    *CardNum = response[1];
    *EPCLength = response[2];
    EPC[0] = response[0];
    response.copy(3, EPC + 1, response.length() - 9);
    return response.status();
}

// Its tags reach the callback only.
int I_Fast_switch_ant_inventory(Reader* sthis, u8* address, u8 AntA, u8 StayA, u8 AntB, u8 StayB, u8 AntC,
                                u8 StayC, u8 AntD, u8 StayD, u8 Interval, u8 Repeat)
{
    Command command(sthis, address, 0x1C, Inventory::yes);
    clear_scratch(sthis);
    command.bytes({AntA, StayA, AntB, StayB, AntC, StayC, AntD, StayD, Interval, Repeat}).send();
    return command.receive_by(&Operations::GetInventoryDataFromPort3);
}
