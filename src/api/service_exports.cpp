// The exported calls for sensor tags and the reader's services.
#include "api/exported.h"
#include "tagwire/identification.h"
#include "tagwire/network.h"
#include "tagwire/registers.h"
#include "tagwire/sensor.h"
#include "tagwire/update.h"

using namespace tagwire::engine;

int GetTagTemperature(u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8 ReadWordPtr, u8 ReadWordCnt,
                      u8 ReadWordFlag, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetTagTemperature>(FrmHandle, address, EPC, ENum, WordPtr, WaitTime,
                                                 ReadWordPtr, ReadWordCnt, ReadWordFlag, Data, Errorcode);
}

int GetTMP_G2(u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetTMP_G2>(FrmHandle, address, EPC, ENum, WordPtr, WaitTime, Data, Errorcode);
}

int GetTagTemperatureByTime(u8* address, u8* EPC, u8 ENum, u8 WordPtr, u8 WaitTime, u8* tTime, u8 ReadWordPtr,
                            u8 ReadWordCnt, u8 ReadWordFlag, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetTagTemperatureByTime>(FrmHandle, address, EPC, ENum, WordPtr, WaitTime,
                                                       tTime, ReadWordPtr, ReadWordCnt, ReadWordFlag, Data,
                                                       Errorcode);
}

int Inventory_Temperature(u8* address, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction, u8 WaitTime, u8 QValue,
                          u8 Session, u8 Target, u8 inAnt, u8 Scantime, u8* pEPCList, u8* Ant, int* Totallen,
                          int* CardNum, int FrmHandle)
{
    return plain<&Operations::Inventory_Temperature>(FrmHandle, address, ENum, EPC, SelTarget, SelAction,
                                                     WaitTime, QValue, Session, Target, inAnt, Scantime,
                                                     pEPCList, Ant, Totallen, CardNum);
}

int Inventory_Temperature_ltu32(u8* address, u8 ENum, u8* EPC, u8 SelTarget, u8 SelAction, u8 WaitTime,
                                u8 QValue, u8 Session, u8 Target, u8 inAnt, u8 Scantime, u8* pEPCList,
                                u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::Inventory_Temperature_ltu32>(FrmHandle, address, ENum, EPC, SelTarget,
                                                           SelAction, WaitTime, QValue, Session, Target,
                                                           inAnt, Scantime, pEPCList, Ant, Totallen, CardNum);
}

int Inventory_Temperature_Ast010(u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                                 u8* MaskData, u8 MaskFlag, u8 Target, u8 InAnt, u8 Scantime, u8 FastFlag,
                                 u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return locked<&Operations::Inventory_Temperature_Ast010>(
        FrmHandle, address, QValue, Session, MaskMem, MaskAdr, MaskLen, MaskData, MaskFlag, Target, InAnt,
        Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int GetEMTmpData(u8* address, u8* EPC, u8 ENum, u8 SendUID, u8 NewSample, u8* Password, u8 MaskMem,
                 u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* UID, u8* SenserData, u8* UTC, int* Errorcode,
                 int FrmHandle)
{
    return plain<&Operations::GetEMTmpData>(FrmHandle, address, EPC, ENum, SendUID, NewSample, Password,
                                            MaskMem, MaskAdr, MaskLen, MaskData, UID, SenserData, UTC,
                                            Errorcode);
}

int GetBxTagTemperature(u8* ComAdr, u8 ENum, u8* EPC, u8* TempData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetBxTagTemperature>(FrmHandle, ComAdr, ENum, EPC, TempData, Errorcode);
}

int YL_GetTempData(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                   u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::YL_GetTempData>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr,
                                              MaskLen, MaskData, Data, Errorcode);
}

int ON_GetTempData(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                   u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ON_GetTempData>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr,
                                              MaskLen, MaskData, Data, Errorcode);
}

int Fd_InitRegfile(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                   u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_InitRegfile>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr,
                                              MaskLen, MaskData, Errorcode);
}

int Fd_ReadReg(u8* address, u8* EPC, u8 ENum, u8* RegAddr, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
               u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_ReadReg>(FrmHandle, address, EPC, ENum, RegAddr, Password, MaskMem, MaskAdr,
                                          MaskLen, MaskData, Data, Errorcode);
}

int Fd_WriteReg(u8* address, u8* EPC, u8 ENum, u8* RegAddr, u8* RegData, u8* Password, u8 MaskMem,
                u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_WriteReg>(FrmHandle, address, EPC, ENum, RegAddr, RegData, Password, MaskMem,
                                           MaskAdr, MaskLen, MaskData, Errorcode);
}

int Fd_ReadMemory(u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8 ReadLen, u8* Password, u8 AuthType,
                  u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode,
                  int FrmHandle)
{
    return plain<&Operations::Fd_ReadMemory>(FrmHandle, address, EPC, ENum, StartAddr, ReadLen, Password,
                                             AuthType, AuthPwd, MaskMem, MaskAdr, MaskLen, MaskData, Data,
                                             Errorcode);
}

int Fd_WriteMemory(u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8 WriteLen, u8* WriteData, u8* Password,
                   u8 AuthType, u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                   int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_WriteMemory>(FrmHandle, address, EPC, ENum, StartAddr, WriteLen, WriteData,
                                              Password, AuthType, AuthPwd, MaskMem, MaskAdr, MaskLen,
                                              MaskData, Errorcode);
}

int Fd_GetTemperature(u8* address, u8* EPC, u8 ENum, u8 MeaType, u8 ResultSel, u8 FieldChkEn, u8 EPStorageEn,
                      u8 UserBlockAddr, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                      u8* Temp, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_GetTemperature>(FrmHandle, address, EPC, ENum, MeaType, ResultSel,
                                                 FieldChkEn, EPStorageEn, UserBlockAddr, Password, MaskMem,
                                                 MaskAdr, MaskLen, MaskData, Temp, Errorcode);
}

int Fd_StartLogging(u8* address, u8* EPC, u8 ENum, u8* StartDelay, u8* VdetStep, u8* Password, u8 MaskMem,
                    u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_StartLogging>(FrmHandle, address, EPC, ENum, StartDelay, VdetStep, Password,
                                               MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int Fd_StopLogging(u8* address, u8* EPC, u8 ENum, u8* Password, u8* StopPwd, u8 MaskMem, u8* MaskAdr,
                   u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_StopLogging>(FrmHandle, address, EPC, ENum, Password, StopPwd, MaskMem,
                                              MaskAdr, MaskLen, MaskData, Errorcode);
}

int Fd_OP_Mode_Chk(u8* address, u8* EPC, u8 ENum, u8 RefreshCfg, u8* Password, u8 MaskMem, u8* MaskAdr,
                   u8 MaskLen, u8* MaskData, u8* ModeStatus, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_OP_Mode_Chk>(FrmHandle, address, EPC, ENum, RefreshCfg, Password, MaskMem,
                                              MaskAdr, MaskLen, MaskData, ModeStatus, Errorcode);
}

int Fd_LedCtr(u8* address, u8* EPC, u8 ENum, u8 LedCtrl, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
              u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_LedCtr>(FrmHandle, address, EPC, ENum, LedCtrl, Password, MaskMem, MaskAdr,
                                         MaskLen, MaskData, Errorcode);
}

int Fd_DeepSleep(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                 u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_DeepSleep>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr,
                                            MaskLen, MaskData, Errorcode);
}

int Fd_ExtReadMemory(u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8* ReadLen, u8* Password, u8 AuthType,
                     u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* recvLen,
                     int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Fd_ExtReadMemory>(FrmHandle, address, EPC, ENum, StartAddr, ReadLen, Password,
                                                AuthType, AuthPwd, MaskMem, MaskAdr, MaskLen, MaskData, Data,
                                                recvLen, Errorcode);
}

int YL_LED_Controll(u8* address, u8* EPC, u8 ENum, u8 Mode, u8 CarrTime, u8* Password, u8 MaskMem,
                    u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::YL_LED_Controll>(FrmHandle, address, EPC, ENum, Mode, CarrTime, Password,
                                               MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int KLW_LED_Controll(u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::KLW_LED_Controll>(FrmHandle, address, EPC, ENum, CarrTime, Password, MaskMem,
                                                MaskAdr, MaskLen, MaskData, Errorcode);
}

int BX_LED_Controll(u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem, u8* MaskAdr,
                    u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BX_LED_Controll>(FrmHandle, address, EPC, ENum, CarrTime, Password, MaskMem,
                                               MaskAdr, MaskLen, MaskData, Errorcode);
}

int GetSPI(u8* address, u8* EPC, u8 ENum, u8 SPICmdSize, u8 SPIResSize, u8 SPISclk, u8 SPIInitDelay,
           u8 SPIInterval, u8* SPICmd, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
           u8* SPIResData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetSPI>(FrmHandle, address, EPC, ENum, SPICmdSize, SPIResSize, SPISclk,
                                      SPIInitDelay, SPIInterval, SPICmd, Password, MaskMem, MaskAdr, MaskLen,
                                      MaskData, SPIResData, Errorcode);
}

int ResetAlarm(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
               int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ResetAlarm>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr, MaskLen,
                                          MaskData, Errorcode);
}

int SetCarrierTime(u8* address, u8* CarrierTime, int FrmHandle)
{
    return plain<&Operations::SetCarrierTime>(FrmHandle, address, CarrierTime);
}

int QueryAndIdentify(u8* address, u8* EPC, u8 ENum, u8* EPCLen, u8* NewEPC, u8* RSSI, u8* KI, u8* TID,
                     int FrmHandle)
{
    return plain<&Operations::QueryAndIdentify>(FrmHandle, address, EPC, ENum, EPCLen, NewEPC, RSSI, KI, TID);
}

int FirstIdentify(u8* address, u8* RT, int FrmHandle)
{
    return plain<&Operations::FirstIdentify>(FrmHandle, address, RT);
}

int SecondIdentify(u8* address, u8* Token1, u8* Token2, u8* Handle, int FrmHandle)
{
    return plain<&Operations::SecondIdentify>(FrmHandle, address, Token1, Token2, Handle);
}

int SetMacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::SetMacAddr>(FrmHandle, address, mac);
}

int SetRJ45MacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::SetRJ45MacAddr>(FrmHandle, address, mac);
}

int GetMacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::GetMacAddr>(FrmHandle, address, mac);
}

int GetRJ45MacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::GetRJ45MacAddr>(FrmHandle, address, mac);
}

int GetWIFIMacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::GetWIFIMacAddr>(FrmHandle, address, mac);
}

int GetBluetoothMacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::GetBluetoothMacAddr>(FrmHandle, address, mac);
}

int GetBleMacAddr(u8* address, u8* mac, int FrmHandle)
{
    return plain<&Operations::GetBleMacAddr>(FrmHandle, address, mac);
}

int ReadRJ45ConnectStatus(u8* address, u8* rj45state, u8* localIP, u8* subnet, u8* gatewayIp, int FrmHandle)
{
    return plain<&Operations::ReadRJ45ConnectStatus>(FrmHandle, address, rj45state, localIP, subnet,
                                                     gatewayIp);
}

int ReadWIFIConnectStatus(u8* address, u8* WIFIstate, u8* localIP, u8* subnet, u8* gatewayIp, int FrmHandle)
{
    return plain<&Operations::ReadWIFIConnectStatus>(FrmHandle, address, WIFIstate, localIP, subnet,
                                                     gatewayIp);
}

int SearchWIFI(u8* address, u8* APInfo, int* length, int* Count, int FrmHandle)
{
    return plain<&Operations::SearchWIFI>(FrmHandle, address, APInfo, length, Count);
}

int GetGPSInformation(u8* address, u8* NUM_SV, u8* GPS_State, u8* NorthSouth, u8* Latitude_dd,
                      u8* Latitude_mm, u8* Latitude_mmFraction, u8* EastWest, u8* Longitude_dd,
                      u8* Longitude_mm, u8* Longitude_mmFraction, u8* Date_Year, u8* Date_Month, u8* Date_Day,
                      u8* UTC_hh, u8* UTC_mm, u8* UTC_ss, int FrmHandle)
{
    return plain<&Operations::GetGPSInformation>(FrmHandle, address, NUM_SV, GPS_State, NorthSouth,
                                                 Latitude_dd, Latitude_mm, Latitude_mmFraction, EastWest,
                                                 Longitude_dd, Longitude_mm, Longitude_mmFraction, Date_Year,
                                                 Date_Month, Date_Day, UTC_hh, UTC_mm, UTC_ss);
}

int Get4GConnectStatus(u8* address, u8* State4G, u8* RSSI, u8* IMEILen, u8* IMEI, u8* IMSILen, u8* IMSI,
                       u8* ICCIDLen, u8* ICCID, int FrmHandle)
{
    return plain<&Operations::Get4GConnectStatus>(FrmHandle, address, State4G, RSSI, IMEILen, IMEI, IMSILen,
                                                  IMSI, ICCIDLen, ICCID);
}

int Set4GRemoteServerInformation(u8* address, u8 ServerAddrLen, u8* ServerAddr, int ServerPort, int FrmHandle)
{
    return plain<&Operations::Set4GRemoteServerInformation>(FrmHandle, address, ServerAddrLen, ServerAddr,
                                                            ServerPort);
}

int Get4GRemoteServerInformation(u8* address, u8* ServerAddrLen, u8* ServerAddr, int* ServerPort,
                                 int FrmHandle)
{
    return plain<&Operations::Get4GRemoteServerInformation>(FrmHandle, address, ServerAddrLen, ServerAddr,
                                                            ServerPort);
}

int ChangeATMode(u8* address, u8 ATMode, int FrmHandle)
{
    return plain<&Operations::ChangeATMode>(FrmHandle, address, ATMode);
}

int TransparentCMD(u8* address, u8 timeout, u8* cmddata, int nlen, u8* recvdata, int* recvLen, int FrmHandle)
{
    return plain<&Operations::TransparentCMD>(FrmHandle, address, timeout, cmddata, nlen, recvdata, recvLen);
}

int ChangeToUpdateMode(u8* ComAdr, int FrmHandle)
{
    return plain<&Operations::ChangeToUpdateMode>(FrmHandle, ComAdr);
}

int FwUpdate(u8* ComAdr, u8* SRFU, u8* DATA, int FrmHandle)
{
    return plain<&Operations::FwUpdate>(FrmHandle, ComAdr, SRFU, DATA);
}

int WriteBinData(u8* ComAdr, u8 Index, u8* data, int len, int FrmHandle)
{
    return plain<&Operations::WriteBinData>(FrmHandle, ComAdr, Index, data, len);
}

int CheckCRC32(u8* ComAdr, u8* crc32, int FrmHandle)
{
    return plain<&Operations::CheckCRC32>(FrmHandle, ComAdr, crc32);
}

int WriteMark(u8* ComAdr, int FrmHandle) { return plain<&Operations::WriteMark>(FrmHandle, ComAdr); }

int ReadParameterTable(u8* ComAdr, u8 ParemTab, u8* pdat, u8* ParamLen, int FrmHandle)
{
    return plain<&Operations::ReadParameterTable>(FrmHandle, ComAdr, ParemTab, pdat, ParamLen);
}

int WriteParameterTable(u8* ComAdr, u8 ParemTab, u8* PDat, int PDatLen, int FrmHandle)
{
    return plain<&Operations::WriteParameterTable>(FrmHandle, ComAdr, ParemTab, PDat, PDatLen);
}

int OverwriteFactoryDefaultParameterTable(u8* ComAdr, int FrmHandle)
{
    return plain<&Operations::OverwriteFactoryDefaultParameterTable>(FrmHandle, ComAdr);
}

int RestoreFactoryDefaultParameterTable(u8* ComAdr, int FrmHandle)
{
    return plain<&Operations::RestoreFactoryDefaultParameterTable>(FrmHandle, ComAdr);
}

int ClearAllParameters(u8* ComAdr, u8 Opt, int FrmHandle)
{
    return plain<&Operations::ClearAllParameters>(FrmHandle, ComAdr, Opt);
}
