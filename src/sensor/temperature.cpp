// Tags that measure their temperature.
#include "inventory/tag_frames.h"
#include "tagops/addressing.h"

namespace tagwire::engine {
namespace {

int temperature_inventory(Reader* sthis, u8* address, u8 code, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction,
                          u8 WaitTime, u8 QValue, u8 Session, u8 Target, u8 inAnt, u8 Scantime,
                          const TagOutputs& out)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, code);
    command.byte(ENum).bytes(EPC, 2 * ENum);
    command.bytes({SelTarget, SelAction, WaitTime, QValue, Session, Target, inAnt, Scantime});
    const InventoryRules rules{.receiver = &Operations::GetInventoryDataFromPort_TP,
                               .end = asks_for_statistics(QValue) ? WalkEnd::at_last_byte
                                                                  : WalkEnd::at_final_status,
                               .callback_only = ListLength::zeroed,
                               .statistics = Statistics::with_status_26};
    return run_inventory(sthis, command, rules, out);
}

// Where the tag's ID comes back, it is in front of the 8 bytes of sensor data and time.
void put_sensor_data(const Response& response, bool with_uid, u8* UID, u8* SenserData, u8* UTC)
{
    const int uid_size = with_uid ? response.length() - 14 : 0;
    if (with_uid) {
        UID[0] = static_cast<u8>(uid_size);
        response.copy(0, UID + 1, uid_size);
    } else {
        std::memset(UID, 0, 12);
    }
    for (int i = 0; i < 4; ++i) {
        SenserData[i] = response.byte_or_zero(uid_size + i);
        UTC[i] = response.byte_or_zero(uid_size + 4 + i);
    }
}

int sensor_data(TagCommand& command, u8 SendUID, u8 NewSample, const u8* Password, u8* UID, u8* SenserData,
                u8* UTC, int* Errorcode)
{
    command.tag().bytes({SendUID, NewSample}).bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, [&](const Response& response) {
        put_sensor_data(response, SendUID != 0, UID, SenserData, UTC);
    });
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_GetTagTemperature(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8 ReadWordPtr,
                        u8 ReadWordCnt, u8 ReadWordFlag, u8* Data, int* Errorcode)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x13);
    command.byte(ENum).bytes(EPC, 2 * ENum).bytes({WordPtr, WaitTime});
    command.add_if(ReadWordFlag, {ReadWordPtr, ReadWordCnt});
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, all_data_to(Data));
}

int I_GetTMP_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8* Data,
                int* Errorcode)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x13);
    command.byte(ENum).bytes(EPC, 2 * ENum).bytes({WordPtr, WaitTime});
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, all_data_to(Data));
}

// The time stands at bytes 6 to 11 of the frame whatever the EPC: with an EPC it covers the end of it, and
// its own six bytes keep what the send buffer held.
int I_GetTagTemperatureByTime(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime,
                              u8* tTime, u8 ReadWordPtr, u8 ReadWordCnt, u8 ReadWordFlag, u8* Data,
                              int* Errorcode)
{
    constexpr std::size_t time_at = 6;
    constexpr std::size_t time_size = 6;
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x14);
    command.byte(ENum).bytes(EPC, 2 * ENum).bytes({WordPtr, WaitTime}).skip(time_size);
    command.overwrite(time_at, tTime, time_size);
    command.add_if(ReadWordFlag, {ReadWordPtr, ReadWordCnt});
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, all_data_to(Data));
}

int I_Inventory_Temperature(Reader* sthis, u8* address, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction,
                            u8 WaitTime, u8 QValue, u8 Session, u8 Target, u8 inAnt, u8 Scantime,
                            u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return temperature_inventory(sthis, address, 0x17, ENum, EPC, SelTarget, SelAction, WaitTime, QValue,
                                 Session, Target, inAnt, Scantime, {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_Temperature_ltu32(Reader* sthis, u8* address, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction,
                                  u8 WaitTime, u8 QValue, u8 Session, u8 Target, u8 inAnt, u8 Scantime,
                                  u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return temperature_inventory(sthis, address, 0xB0, ENum, EPC, SelTarget, SelAction, WaitTime, QValue,
                                 Session, Target, inAnt, Scantime, {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_Temperature_Ast010(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr,
                                   u8 MaskLen, u8* MaskData, u8 MaskFlag, u8 Target, u8 InAnt, u8 Scantime,
                                   u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, address, 0xB1, Inventory::yes);
    const FlagRaised reading(sthis->Reading);
    command.bytes({QValue, Session}).add_if(MaskFlag, Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    command.add_if(FastFlag, {Target, InAnt, Scantime});
    return run_inventory(sthis, command, plain_inventory, {pEPCList, Ant, Totallen, CardNum});
}

int I_GetTmpData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SendUID, u8 NewSample, u8* Password,
                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* UID, u8* SenserData, u8* UTC,
                 int* Errorcode)
{
    TagCommand command(sthis, address, 0x86, longest_epc_with_uid,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return sensor_data(command, SendUID, NewSample, Password, UID, SenserData, UTC, Errorcode);
}

int I_GetEMTmpData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SendUID, u8 NewSample, u8* Password,
                   u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* UID, u8* SenserData, u8* UTC,
                   int* Errorcode)
{
    TagCommand command(sthis, address, 0x86, longest_epc_with_uid,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    return sensor_data(command, SendUID, NewSample, Password, UID, SenserData, UTC, Errorcode);
}

int I_GetBxTagTemperature(Reader* sthis, u8* ComAdr, u8 ENum, u8* EPC, u8* TempData, int* Errorcode)
{
    Command command(sthis, ComAdr, 0x8A);
    command.byte(ENum).bytes(EPC, 2 * ENum);
    return command.exchange(AddressEcho::never, bx_error, Errorcode, data_to(TempData, 2));
}

int I_YL_GetTempData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0xCD, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode, data_to(Data, 2));
}

int I_ON_GetTempData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0xE8, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::never, tag_error, Errorcode, data_to(Data, 2));
}
