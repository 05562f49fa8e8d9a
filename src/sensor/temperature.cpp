// Tags that measure their temperature.
#include "inventory/tag_frames.h"
#include "tagops/addressing.h"

namespace tagwire {
namespace {

constexpr u8 longest_epc_of_sensor = 14;
constexpr u8 longest_epc_with_uid = 15;

int temperature_words(Command& command, u8* address, u8* Data, int* Errorcode)
{
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        response.copy(0, Data, response.length() - 6);
    });
}

int temperature_inventory(Reader* sthis, u8* address, u8 code, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction,
                          u8 WaitTime, u8 QValue, u8 Session, u8 Target, u8 inAnt, u8 Scantime,
                          const TagOutputs& out)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, code);
    command.byte(ENum).bytes(EPC, 2 * ENum).byte(SelTarget).byte(SelAction).byte(WaitTime).byte(QValue);
    command.byte(Session).byte(Target).byte(inAnt).byte(Scantime);
    const bool with_statistics = (QValue & 0x80) != 0;
    return run_inventory(sthis, command,
                         {code, &Operations::GetInventoryDataFromPort_TP, Inventory::no,
                          with_statistics ? WalkEnd::at_last_byte : WalkEnd::at_final_status,
                          ListLength::zeroed, Statistics::with_status_26},
                         out);
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

int sensor_data(Reader* sthis, u8* address, const OneTag& tag, u8 ENum, u8 SendUID, u8 NewSample,
                u8* Password, u8* UID, u8* SenserData, u8* UTC, int* Errorcode)
{
    if (!tag.is_at_most(longest_epc_with_uid)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x86);
    command.byte(ENum).add(tag.id()).byte(SendUID).byte(NewSample).bytes(Password, 4).add(tag.mask());
    command.send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        put_sensor_data(response, SendUID != 0, UID, SenserData, UTC);
    });
}

int two_bytes(Reader* sthis, u8* address, u8 code, const OneTag& tag, u8 ENum, u8* Password, u8* Data,
              int* Errorcode)
{
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, code);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) { response.copy(0, Data, 2); });
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_GetTagTemperature(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8 ReadWordPtr,
                        u8 ReadWordCnt, u8 ReadWordFlag, u8* Data, int* Errorcode)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x13);
    command.byte(ENum).bytes(EPC, 2 * ENum).byte(WordPtr).byte(WaitTime);
    if (ReadWordFlag == 1) command.byte(ReadWordPtr).byte(ReadWordCnt);
    return temperature_words(command, address, Data, Errorcode);
}

int I_GetTMP_G2(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8* Data,
                int* Errorcode)
{
    if (ENum > longest_epc_of_sensor) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x13);
    command.byte(ENum).bytes(EPC, 2 * ENum).byte(WordPtr).byte(WaitTime);
    return temperature_words(command, address, Data, Errorcode);
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
    command.byte(ENum).bytes(EPC, 2 * ENum).byte(WordPtr).byte(WaitTime).skip(time_size);
    command.overwrite(time_at, tTime, time_size);
    if (ReadWordFlag == 1) command.byte(ReadWordPtr).byte(ReadWordCnt);
    return temperature_words(command, address, Data, Errorcode);
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
    const FlagRaised reading(sthis->Reading);
    Command command(sthis, address, 0xB1);
    command.byte(QValue).byte(Session);
    if (MaskFlag == 1) command.add(Mask{MaskMem, MaskAdr, MaskLen, MaskData});
    if (FastFlag == 1) command.byte(Target).byte(InAnt).byte(Scantime);
    return run_inventory(sthis, command,
                         {0xB1, &Operations::GetInventoryDataFromPort1, Inventory::yes,
                          WalkEnd::at_final_status, ListLength::zeroed, Statistics::none},
                         {pEPCList, Ant, Totallen, CardNum});
}

int I_GetTmpData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SendUID, u8 NewSample, u8* Password,
                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* UID, u8* SenserData, u8* UTC,
                 int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return sensor_data(sthis, address, tag, ENum, SendUID, NewSample, Password, UID, SenserData, UTC,
                       Errorcode);
}

int I_GetEMTmpData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SendUID, u8 NewSample, u8* Password,
                   u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* UID, u8* SenserData, u8* UTC,
                   int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return sensor_data(sthis, address, tag, ENum, SendUID, NewSample, Password, UID, SenserData, UTC,
                       Errorcode);
}

// *Errorcode is 0 on success, and a byte of the answer with every other status.
int I_GetBxTagTemperature(Reader* sthis, u8* ComAdr, u8 ENum, u8* EPC, u8* TempData, int* Errorcode)
{
    Command command(sthis, ComAdr, 0x8A);
    command.byte(ENum).bytes(EPC, 2 * ENum).send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    if (response.status() == 0) {
        *Errorcode = 0;
        response.copy(0, TempData, 2);
    } else {
        *Errorcode = response[0];
    }
    return response.status();
}

int I_YL_GetTempData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return two_bytes(sthis, address, 0xCD, tag, ENum, Password, Data, Errorcode);
}

int I_ON_GetTempData(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return two_bytes(sthis, address, 0xE8, tag, ENum, Password, Data, Errorcode);
}
