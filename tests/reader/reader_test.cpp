#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "api/handles.h"
#include "support/test_reader.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

// The 263 slots in their order, written out apart from the list.
constexpr const char* slot_order = R"(
log LOCK UNLOCK trylock_fd unlock_fd GetCRC CheckCRC Open_Net Open_Com SendDataToPortS SendDataToPort
SendStopDataToPort ReadRfidData GetDataFromPort AutoGetDataFromPort GetInventoryDataFromPort1
GetInventoryDataFromPort2 GetInventoryDataFromPort3 GetInventoryDataFromPort_TP GetBufferDataFromPort
GetDataFromPort_buff GetDataFromPort1 GetDataFromPort2 GetWifiDataFromPort GetParemTabDataFromPort
parserRidTag GraceClose CloseTCP OpenTCP CloseCom OpenCom GetReaderInformation GetModuleDetails Inventory_G2
InventoryMix_G2 InventoryExtMix_G2 Inventory_EPC_G2 Inventory_QT_G2 Inventory_FastBID_NXP
Inventory_FastTID_NXP ReadData_G2 WriteData_G2 WriteEPC_G2 KillTag_G2 Lock_G2 BlockErase_G2
SetPrivacyByEPC_G2 SetPrivacyWithoutEPC_G2 ResetPrivacy_G2 CheckPrivacy_G2 EASConfigure_G2 EASAlarm_G2
BlockLock_G2 SingleTagInventory_G2 BlockWrite_G2 InventorySingle_6B InventoryMultiple_6B ReadData_6B
WriteData_6B Lock_6B CheckLock_6B SetRegion ExtGetRegion ExtSetRegion SetAddress SetInventoryScanTime
InSelfTestMode SetBaudRate SetRfPower BuzzerAndLEDControl SetWorkMode GetSystemParameter SetDAC GetDAC
CheckPowerParameter SolidifyDACandPowerlist GetStartInformation SetEASSensitivity SetTriggerTime SetMask
SetResponsePamametersofAuto_runningMode SetInventoryInterval SelectTagType SetAntennaMultiplexing SetAntenna
OptAntenna SetBeepNotification SetReal_timeClock GetTime GetTagBufferInfo ClearTagBuffer SetRelay
SetRevDelay GetRevDelay GetGPIOStatus SetGPIO SetNotificationPulseOutput ReadActiveModeData SetTIDParameter
ChangeATMode TransparentCMD ATGetDataFromPort SetSeriaNo GetSeriaNo SetCheckAnt SetTagCustomFunction
GetMonza4QTWorkParamter_G2 SetMonza4QTWorkParamter_G2 SetCommType SetQS GetQS GetModuleVersion SetFlashRom
ExtReadData_G2 ExtWriteData_G2 InventoryBuffer_G2 SetSaveLen GetSaveLen ReadBuffer_G2 ClearBuffer_G2
GetBufferCnt_G2 SetReadMode SetReadParameter GetReadParameter WriteRfPower ReadRfPower RetryTimes
SetHeartBeatTime GetTMP_G2 GetTmpData ConfigAntNum SetUserPwd GetUserPwd SetUTCTime GetEMTmpData GetSPI
ResetAlarm SetCarrierTime SecondIdentify FirstIdentify QueryAndIdentify SetFTime GetFTime SetDRM GetDRM
SetAntennaA12 GetReaderTemperature MeasureReturnLoss StopImmediately Untraceable_G2 SetRfPowerByAnt
GetRfPowerByAnt SetAntennaPower GetAntennaPower SetPowerMode SetFilterTime GetFilterTime RfOutput
GetTagTemperature GetTagTemperatureByTime Inventory_Temperature Inventory_Temperature_ltu32
Inventory_Temperature_Ast010 Inventory_GB InventoryMix_GB ReadData_GB WriteData_GB BlockErase_GB Lock_GB
KillTag_GB SelectCMD SelectCmdWithCarrier RelayControll Fd_InitRegfile Fd_ReadReg Fd_WriteReg Fd_ReadMemory
GetMemDataFromPort Fd_ExtReadMemory Fd_WriteMemory Fd_GetTemperature Fd_StartLogging Fd_StopLogging
Fd_OP_Mode_Chk Fd_LedCtr Fd_DeepSleep Inventory_JB InventoryMix_JB ReadData_JB WriteData_JB BlockErase_JB
Lock_JB KillTag_JB SetProfile SetReaderPwd GetReaderPwd GetBxTagTemperature YL_GetTempData YL_LED_Controll
ON_GetTempData Fast_switch_ant_inventory KLW_LED_Controll BX_LED_Controll SwitchProtocol ExtBlockWrite_G2
SelectCMDByAntenna SelectCMDByMutipleAntenna SetDwellTime GetDwellTime SetCfgParameter GetCfgParameter
StartRead StopRead GetRfidTagData SetCustomRegion GetCustomRegion SetCalibrationPowerType GetModuleDescribe
SetRegionType GetInventory_FindEPC_DataFromPort Find_epc_list_cfg Find_epc_by_list SetTempSelect
MutipleAntennaSwitch SetTriggerLinkageParam GetTriggerLinkageParam SetMacAddr GetMacAddr ResetReader
Protected_mode_G2 Authenticate_G2 SetGPOParam GetGPOParam SearchWIFI SetRJ45MacAddr GetRJ45MacAddr
GetWIFIMacAddr GetBluetoothMacAddr GetBleMacAddr RelaysControll ReadRJ45ConnectStatus ReadWIFIConnectStatus
ChangeToUpdateMode WriteBinData CheckCRC32 WriteMark SetWieGandParam GetWieGandParam SetFilterParam
GetFilterParam GetGPSInformation Get4GConnectStatus Set4GRemoteServerInformation
Get4GRemoteServerInformation FwUpdate GetEx10InternalVersion ReadParameterTable WriteParameterTable
OverwriteFactoryDefaultParameterTable RestoreFactoryDefaultParameterTable ClearAllParameters SetExtProfile
GetEx10Version
)";

constexpr const char* listed_names[] = {
#define TAGWIRE_OPERATION(exported, result, name, ...) #name,
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
};

std::vector<std::string> slots()
{
    std::vector<std::string> all;
    std::istringstream words(slot_order);
    for (std::string slot; words >> slot;) all.push_back(slot);
    return all;
}

TEST(Operations, stand_in_slot_order)
{
    EXPECT_EQ(std::size(listed_names), 263U);
    EXPECT_THAT(listed_names, testing::ElementsAreArray(slots()));
    EXPECT_EQ(sizeof(Operations), std::size(listed_names) * sizeof(void (*)()));
}

TEST(Operations, every_slot_holds_the_function_of_its_name)
{
    Reader* reader = Create_Reader();
    ASSERT_NE(reader, nullptr);
#define TAGWIRE_OPERATION(exported, result, name, ...) EXPECT_EQ(reader->operations.name, I_##name);
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
    Destroy_Reader(&reader);
}

TEST(CreateReader, starts_closed_idle_and_zeroed)
{
    Reader* reader = Create_Reader();
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->sServer, -1);
    EXPECT_EQ(reader->hCommPort, -1);
    EXPECT_EQ(reader->m_type, 0);
    EXPECT_TRUE(reader->isStopStocktaking);
    EXPECT_FALSE(reader->LogFileFlag);
    EXPECT_FALSE(reader->isInventoryCmd);
    EXPECT_FALSE(reader->isStopCmd);
    EXPECT_FALSE(reader->DeviceIsOpen);
    EXPECT_FALSE(reader->Reading);
    EXPECT_FALSE(reader->InventoryBackUID);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_EQ(reader->recvLength, 0);
    EXPECT_EQ(reader->time1, 0);
    EXPECT_EQ(reader->time2, 0);
    EXPECT_EQ(reader->time3, 0);
    EXPECT_EQ(reader->inventoryScanTime, 0);
    EXPECT_EQ(reader->ATstate, 0);
    const Bytes zeros(65536);
    for (const u8* buffer :
         {reader->recvBuff, reader->btRecvArr, reader->btArBuff, reader->szBuff, reader->szBuff1})
        EXPECT_EQ(std::memcmp(buffer, zeros.data(), zeros.size()), 0);
    EXPECT_EQ(std::memcmp(reader->ipAddress, zeros.data(), sizeof reader->ipAddress), 0);
    Destroy_Reader(&reader);
}

TEST(CreateReader, has_its_fields_in_declaration_order)
{
    EXPECT_EQ(offsetof(Reader, sendBuff), 0U);
    EXPECT_EQ(sizeof(Reader::sendBuff), 256U);
    EXPECT_LT(offsetof(Reader, sServer), offsetof(Reader, netport));
    EXPECT_LT(offsetof(Reader, portDCB), offsetof(Reader, hCommPort));
    EXPECT_LT(offsetof(Reader, hCommPort), offsetof(Reader, time1));
    EXPECT_LT(offsetof(Reader, inventoryScanTime), offsetof(Reader, recvBuff));
    EXPECT_LT(offsetof(Reader, szBuff1), offsetof(Reader, recvLength));
    EXPECT_LT(offsetof(Reader, ReaderAddr), offsetof(Reader, g_cs));
    EXPECT_LT(offsetof(Reader, g_cs), offsetof(Reader, g_writecs));
    EXPECT_LT(offsetof(Reader, isStopCmd), offsetof(Reader, isStopStocktaking));
    EXPECT_LT(offsetof(Reader, m_type), offsetof(Reader, FrmHandle));
    EXPECT_LT(offsetof(Reader, MypCallBack), offsetof(Reader, operations));
}

TEST(DestroyReader, clears_the_pointer)
{
    Reader* reader = Create_Reader();
    Destroy_Reader(&reader);
    EXPECT_EQ(reader, nullptr);
}

TEST(DestroyReader, leaves_an_open_socket_open)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    Reader* reader = Create_Reader();
    reader->m_type = tcp_link;
    reader->sServer = ends[0];
    reader->DeviceIsOpen = true;
    Destroy_Reader(&reader);
    EXPECT_EQ(::write(ends[0], "x", 1), 1);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(DestroyReader, keeps_the_memory_for_a_user_that_is_left)
{
    Reader* reader = Create_Reader();
    Reader* in_use = reader;
    retain(in_use);
    reader->isInventoryCmd = true;
    Destroy_Reader(&reader);
    EXPECT_TRUE(in_use->isStopStocktaking);
    EXPECT_TRUE(in_use->isStopCmd);
    EXPECT_FALSE(in_use->isInventoryCmd);
    release(in_use);
}

TEST(FreshReader, is_idle_but_has_no_link)
{
    Reader* reader = Create_Reader();
    int length = 99;
    EXPECT_EQ(reader->operations.GetDataFromPort(reader, reader->recvBuff, &length), TAGWIRE_BAD_HANDLE);
    EXPECT_EQ(length, 0);
    Destroy_Reader(&reader);
}

}  // namespace
}  // namespace tagwire::engine::test
