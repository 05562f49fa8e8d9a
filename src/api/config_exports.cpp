// The exported calls for the reader's settings.
#include "api/exported.h"
#include "tagwire/io.h"
#include "tagwire/modes.h"
#include "tagwire/rf.h"
#include "tagwire/settings.h"

using namespace tagwire::engine;

int SetAddress(u8* address, u8 ComAdrData, int FrmHandle)
{
    return plain<&Operations::SetAddress>(FrmHandle, address, ComAdrData);
}

int SetInventoryScanTime(u8* address, u8 ScanTime, int FrmHandle)
{
    return plain<&Operations::SetInventoryScanTime>(FrmHandle, address, ScanTime);
}

int InSelfTestMode(u8* address, bool IsSelfTestMode, int FrmHandle)
{
    return plain<&Operations::InSelfTestMode>(FrmHandle, address, IsSelfTestMode);
}

int SetRevDelay(u8* address, u8 RevDelay, int FrmHandle)
{
    return plain<&Operations::SetRevDelay>(FrmHandle, address, RevDelay);
}

int SetBaudRate(u8* address, u8 baud, int FrmHandle)
{
    return plain<&Operations::SetBaudRate>(FrmHandle, address, baud);
}

int SetDAC(u8* address, u8 DACdata, int FrmHandle)
{
    return plain<&Operations::SetDAC>(FrmHandle, address, DACdata);
}

int GetDAC(u8* address, u8* DACdata, int FrmHandle)
{
    return plain<&Operations::GetDAC>(FrmHandle, address, DACdata);
}

int CheckPowerParameter(u8* address, u8* code, int FrmHandle)
{
    return plain<&Operations::CheckPowerParameter>(FrmHandle, address, code);
}

int SolidifyDACandPowerlist(u8* address, u8* dBm_list, u8* code, int FrmHandle)
{
    return plain<&Operations::SolidifyDACandPowerlist>(FrmHandle, address, dBm_list, code);
}

int GetStartInformation(u8* address, u8* FreE, u8* addrE, u8* scnE, u8* xpwrE, u8* wgE, u8* xRreadModeE,
                        u8* xModeParaE, u8* xbpsE, u8* xEasAccuE, int FrmHandle)
{
    return plain<&Operations::GetStartInformation>(FrmHandle, address, FreE, addrE, scnE, xpwrE, wgE,
                                                   xRreadModeE, xModeParaE, xbpsE, xEasAccuE);
}

int GetRevDelay(u8* address, u8* RevDelay, int FrmHandle)
{
    return plain<&Operations::GetRevDelay>(FrmHandle, address, RevDelay);
}

int SetEASSensitivity(u8* address, u8 Accuracy, int FrmHandle)
{
    return plain<&Operations::SetEASSensitivity>(FrmHandle, address, Accuracy);
}

int SetTagCustomFunction(u8* address, u8* InlayType, int FrmHandle)
{
    return plain<&Operations::SetTagCustomFunction>(FrmHandle, address, InlayType);
}

int SetMask(u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int FrmHandle)
{
    return plain<&Operations::SetMask>(FrmHandle, address, MaskMem, MaskAdr, MaskLen, MaskData);
}

int SetResponsePamametersofAuto_runningMode(u8* address, u8 RepCondition, u8 RepPauseTime, int FrmHandle)
{
    return plain<&Operations::SetResponsePamametersofAuto_runningMode>(FrmHandle, address, RepCondition,
                                                                       RepPauseTime);
}

int SetInventoryInterval(u8* address, u8 ReadPauseTim, int FrmHandle)
{
    return plain<&Operations::SetInventoryInterval>(FrmHandle, address, ReadPauseTim);
}

int SelectTagType(u8* address, u8 TagProtocol, int FrmHandle)
{
    return plain<&Operations::SelectTagType>(FrmHandle, address, TagProtocol);
}

int SetBeepNotification(u8* address, u8 BeepEn, int FrmHandle)
{
    return plain<&Operations::SetBeepNotification>(FrmHandle, address, BeepEn);
}

int SetReal_timeClock(u8* address, u8* paramer, int FrmHandle)
{
    return plain<&Operations::SetReal_timeClock>(FrmHandle, address, paramer);
}

int GetTime(u8* address, u8* paramer, int FrmHandle)
{
    return plain<&Operations::GetTime>(FrmHandle, address, paramer);
}

int SetTriggerTime(u8* address, u8 TriggerTime, int FrmHandle)
{
    return plain<&Operations::SetTriggerTime>(FrmHandle, address, TriggerTime);
}

int SetTIDParameter(u8* address, u8 AdrTID, u8 LenTID, int FrmHandle)
{
    return plain<&Operations::SetTIDParameter>(FrmHandle, address, AdrTID, LenTID);
}

int SetSeriaNo(u8* address, u8* SeriaNo, int FrmHandle)
{
    return plain<&Operations::SetSeriaNo>(FrmHandle, address, SeriaNo);
}

int GetSeriaNo(u8* address, u8* SeriaNo, int FrmHandle)
{
    return plain<&Operations::GetSeriaNo>(FrmHandle, address, SeriaNo);
}

int SetCheckAnt(u8* address, u8 CheckAnt, int FrmHandle)
{
    return plain<&Operations::SetCheckAnt>(FrmHandle, address, CheckAnt);
}

int SetCommType(u8* address, u8 CommType, int FrmHandle)
{
    return plain<&Operations::SetCommType>(FrmHandle, address, CommType);
}

int SetPowerMode(u8* address, u8* PowerMode, int FrmHandle)
{
    return plain<&Operations::SetPowerMode>(FrmHandle, address, PowerMode);
}

int SetHeartBeatTime(u8* address, u8* HeartBeatTime, int FrmHandle)
{
    return plain<&Operations::SetHeartBeatTime>(FrmHandle, address, HeartBeatTime);
}

int RetryTimes(u8* address, u8* Times, int FrmHandle)
{
    return plain<&Operations::RetryTimes>(FrmHandle, address, Times);
}

int SetUserPwd(u8* address, u8* UserPwd, int FrmHandle)
{
    return plain<&Operations::SetUserPwd>(FrmHandle, address, UserPwd);
}

int GetUserPwd(u8* address, u8* UserPwd, int FrmHandle)
{
    return plain<&Operations::GetUserPwd>(FrmHandle, address, UserPwd);
}

int SetProfile(u8* address, u8* Profile, int FrmHandle)
{
    return plain<&Operations::SetProfile>(FrmHandle, address, Profile);
}

int SetExtProfile(u8* address, u8 Opt, int* Profile, int FrmHandle)
{
    return plain<&Operations::SetExtProfile>(FrmHandle, address, Opt, Profile);
}

int SetQS(u8* address, u8 Qvalue, u8 Session, int FrmHandle)
{
    return plain<&Operations::SetQS>(FrmHandle, address, Qvalue, Session);
}

int GetQS(u8* address, u8* Qvalue, u8* Session, int FrmHandle)
{
    return plain<&Operations::GetQS>(FrmHandle, address, Qvalue, Session);
}

int GetModuleVersion(u8* address, u8* Version, int FrmHandle)
{
    return plain<&Operations::GetModuleVersion>(FrmHandle, address, Version);
}

int SetFlashRom(u8* address, int FrmHandle) { return plain<&Operations::SetFlashRom>(FrmHandle, address); }

int SetUTCTime(u8* address, u8* UTCTime, int FrmHandle)
{
    return plain<&Operations::SetUTCTime>(FrmHandle, address, UTCTime);
}

int SetDRM(u8* address, u8 DRM, int FrmHandle) { return plain<&Operations::SetDRM>(FrmHandle, address, DRM); }

int GetDRM(u8* address, u8* DRM, int FrmHandle)
{
    return plain<&Operations::GetDRM>(FrmHandle, address, DRM);
}

int GetReaderTemperature(u8* address, u8* PlusMinus, u8* Temperature, int FrmHandle)
{
    return plain<&Operations::GetReaderTemperature>(FrmHandle, address, PlusMinus, Temperature);
}

int SetFilterTime(u8* address, u8 FilterTime, int FrmHandle)
{
    return plain<&Operations::SetFilterTime>(FrmHandle, address, FilterTime);
}

int GetFilterTime(u8* address, u8* FilterTime, int FrmHandle)
{
    return plain<&Operations::GetFilterTime>(FrmHandle, address, FilterTime);
}

int SetReaderPwd(u8* address, u8* Password, int FrmHandle)
{
    return plain<&Operations::SetReaderPwd>(FrmHandle, address, Password);
}

int GetReaderPwd(u8* address, u8* Password, int FrmHandle)
{
    return plain<&Operations::GetReaderPwd>(FrmHandle, address, Password);
}

int ResetReader(u8* address, int FrmHandle) { return plain<&Operations::ResetReader>(FrmHandle, address); }

int SwitchProtocol(u8* address, u8* protocol, int FrmHandle)
{
    return plain<&Operations::SwitchProtocol>(FrmHandle, address, protocol);
}

int GetEx10Version(u8* address, u8* TVersion, u8* Ex10Type, int FrmHandle)
{
    return plain<&Operations::GetEx10Version>(FrmHandle, address, TVersion, Ex10Type);
}

int GetEx10InternalVersion(u8* address, u8* Version, u8* type, int FrmHandle)
{
    return plain<&Operations::GetEx10InternalVersion>(FrmHandle, address, Version, type);
}

int SetRegion(u8* address, u8 dmaxfre, u8 dminfre, int FrmHandle)
{
    return plain<&Operations::SetRegion>(FrmHandle, address, dmaxfre, dminfre);
}

int ExtSetRegion(u8* address, u8 FLAG, u8 Band, u8 dmaxfre, u8 dminfre, int FrmHandle)
{
    return plain<&Operations::ExtSetRegion>(FrmHandle, address, FLAG, Band, dmaxfre, dminfre);
}

int SetCustomRegion(u8* address, u8 FLAG, u8 freSpace, u8 freNum, u8* freStart, int FrmHandle)
{
    return plain<&Operations::SetCustomRegion>(FrmHandle, address, FLAG, freSpace, freNum, freStart);
}

int ExtGetRegion(u8* address, u8* Band, u8* dmaxfre, u8* dminfre, int FrmHandle)
{
    return plain<&Operations::ExtGetRegion>(FrmHandle, address, Band, dmaxfre, dminfre);
}

int GetCustomRegion(u8* address, u8* freSpace, u8* freNum, u8* freStart, int FrmHandle)
{
    return plain<&Operations::GetCustomRegion>(FrmHandle, address, freSpace, freNum, freStart);
}

int SetRfPower(u8* address, u8 PowerDbm, int FrmHandle)
{
    return plain<&Operations::SetRfPower>(FrmHandle, address, PowerDbm);
}

int SetRfPowerByAnt(u8* address, u8* PowerDbm, int FrmHandle)
{
    return plain<&Operations::SetRfPowerByAnt>(FrmHandle, address, PowerDbm);
}

int SetAntennaPower(u8* address, u8* PowerDbm, int length, int FrmHandle)
{
    return plain<&Operations::SetAntennaPower>(FrmHandle, address, PowerDbm, length);
}

int GetRfPowerByAnt(u8* address, u8* PowerDbm, int FrmHandle)
{
    return plain<&Operations::GetRfPowerByAnt>(FrmHandle, address, PowerDbm);
}

int GetAntennaPower(u8* address, u8* PowerDbm, int* length, int FrmHandle)
{
    return plain<&Operations::GetAntennaPower>(FrmHandle, address, PowerDbm, length);
}

int WriteRfPower(u8* address, u8 PowerDbm, int FrmHandle)
{
    return plain<&Operations::WriteRfPower>(FrmHandle, address, PowerDbm);
}

int ReadRfPower(u8* address, u8* PowerDbm, int FrmHandle)
{
    return plain<&Operations::ReadRfPower>(FrmHandle, address, PowerDbm);
}

int RfOutput(u8* address, u8 OnOff, int FrmHandle)
{
    return plain<&Operations::RfOutput>(FrmHandle, address, OnOff);
}

int SetAntennaMultiplexing(u8* address, u8 Ant, int FrmHandle)
{
    return plain<&Operations::SetAntennaMultiplexing>(FrmHandle, address, Ant);
}

int SetAntenna(u8* address, u8 SetOnce, u8 AntCfg1, u8 AntCfg2, int FrmHandle)
{
    return plain<&Operations::SetAntenna>(FrmHandle, address, SetOnce, AntCfg1, AntCfg2);
}

int OptAntenna(u8* address, u8 opt, u8 SetOnce, u8* AntCfg, int FrmHandle)
{
    return plain<&Operations::OptAntenna>(FrmHandle, address, opt, SetOnce, AntCfg);
}

int SetAntennaA12(u8* address, u8 SetOnce, u8 AntCfg1, u8 AntCfg2, int FrmHandle)
{
    return plain<&Operations::SetAntennaA12>(FrmHandle, address, SetOnce, AntCfg1, AntCfg2);
}

int MutipleAntennaSwitch(u8* address, u8 TargetAddr, u8 antenna, int FrmHandle)
{
    return plain<&Operations::MutipleAntennaSwitch>(FrmHandle, address, TargetAddr, antenna);
}

int ConfigAntNum(u8* address, u8* AntNum, int FrmHandle)
{
    return plain<&Operations::ConfigAntNum>(FrmHandle, address, AntNum);
}

int MeasureReturnLoss(u8* address, u8* TestFreq, u8 Ant, u8* ReturnLoss, int FrmHandle)
{
    return plain<&Operations::MeasureReturnLoss>(FrmHandle, address, TestFreq, Ant, ReturnLoss);
}

int SetDwellTime(u8* address, u8 flag, u8 FCCOnTime, u8 S1Times, int FrmHandle)
{
    return plain<&Operations::SetDwellTime>(FrmHandle, address, flag, FCCOnTime, S1Times);
}

int GetDwellTime(u8* address, u8* FCCOnTime, u8* S1Times, int FrmHandle)
{
    return plain<&Operations::GetDwellTime>(FrmHandle, address, FCCOnTime, S1Times);
}

int SetWorkMode(u8* address, u8 Read_mode, int FrmHandle)
{
    return plain<&Operations::SetWorkMode>(FrmHandle, address, Read_mode);
}

int GetSystemParameter(u8* address, u8* Read_mode, u8* Accuracy, u8* RepCondition, u8* RepPauseTime,
                       u8* ReadPauseTim, u8* TagProtocol, u8* MaskMem, u8* MaskAdr, u8* MaskLen, u8* MaskData,
                       u8* TriggerTime, u8* AdrTID, u8* LenTID, int FrmHandle)
{
    return plain<&Operations::GetSystemParameter>(FrmHandle, address, Read_mode, Accuracy, RepCondition,
                                                  RepPauseTime, ReadPauseTim, TagProtocol, MaskMem, MaskAdr,
                                                  MaskLen, MaskData, TriggerTime, AdrTID, LenTID);
}

int SetReadMode(u8* address, u8 ReadMode, int FrmHandle)
{
    return plain<&Operations::SetReadMode>(FrmHandle, address, ReadMode);
}

int SetReadParameter(u8* address, u8* Parameter, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                     u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, int FrmHandle)
{
    return plain<&Operations::SetReadParameter>(FrmHandle, address, Parameter, MaskMem, MaskAdr, MaskLen,
                                                MaskData, MaskFlag, AdrTID, LenTID, TIDFlag);
}

int GetReadParameter(u8* address, u8* Parameter, int FrmHandle)
{
    return plain<&Operations::GetReadParameter>(FrmHandle, address, Parameter);
}

int SetCfgParameter(u8* address, u8 opt, u8 cfgNo, u8* cfgData, int len, int FrmHandle)
{
    return plain<&Operations::SetCfgParameter>(FrmHandle, address, opt, cfgNo, cfgData, len);
}

int GetCfgParameter(u8* address, u8 cfgNo, u8* cfgData, int* len, int FrmHandle)
{
    return plain<&Operations::GetCfgParameter>(FrmHandle, address, cfgNo, cfgData, len);
}

int BuzzerAndLEDControl(u8* address, u8 AvtiveTime, u8 SilentTime, u8 Times, int FrmHandle)
{
    return plain<&Operations::BuzzerAndLEDControl>(FrmHandle, address, AvtiveTime, SilentTime, Times);
}

int SetRelay(u8* address, u8 RelayTime, int FrmHandle)
{
    return plain<&Operations::SetRelay>(FrmHandle, address, RelayTime);
}

int RelaysControll(u8* address, u8 num, u8 status, u8 ntime, int FrmHandle)
{
    return plain<&Operations::RelaysControll>(FrmHandle, address, num, status, ntime);
}

int RelayControll(u8* address, u8* RelayTime, int FrmHandle)
{
    return plain<&Operations::RelayControll>(FrmHandle, address, RelayTime);
}

int SetGPIO(u8* address, u8 OutputPin, int FrmHandle)
{
    return plain<&Operations::SetGPIO>(FrmHandle, address, OutputPin);
}

int GetGPIOStatus(u8* address, u8* OutputPin, int FrmHandle)
{
    return plain<&Operations::GetGPIOStatus>(FrmHandle, address, OutputPin);
}

int SetNotificationPulseOutput(u8* address, u8 OutputRep, int FrmHandle)
{
    return plain<&Operations::SetNotificationPulseOutput>(FrmHandle, address, OutputRep);
}

int SetGPOParam(u8* address, u8 Enableflag, u8 ActiveTime, int FrmHandle)
{
    return plain<&Operations::SetGPOParam>(FrmHandle, address, Enableflag, ActiveTime);
}

int GetGPOParam(u8* address, u8* Enableflag, u8* ActiveTime, int FrmHandle)
{
    return plain<&Operations::GetGPOParam>(FrmHandle, address, Enableflag, ActiveTime);
}

int SetWieGandParam(u8* address, u8 WgCfg, u8 DataInvl, u8 PulWidth, u8 PulsInvl, u8 OffsetAdr, int FrmHandle)
{
    return plain<&Operations::SetWieGandParam>(FrmHandle, address, WgCfg, DataInvl, PulWidth, PulsInvl,
                                               OffsetAdr);
}

int GetWieGandParam(u8* address, u8* WgCfg, u8* DataInvl, u8* PulWidth, u8* PulsInvl, u8* OffsetAdr,
                    int FrmHandle)
{
    return plain<&Operations::GetWieGandParam>(FrmHandle, address, WgCfg, DataInvl, PulWidth, PulsInvl,
                                               OffsetAdr);
}

int SetFilterParam(u8* address, u8 FilterTime, u8 MinReadCount, u8 MinRssi, int FrmHandle)
{
    return plain<&Operations::SetFilterParam>(FrmHandle, address, FilterTime, MinReadCount, MinRssi);
}

int GetFilterParam(u8* address, u8* FilterTime, u8* MinReadCount, u8* MinRssi, int FrmHandle)
{
    return plain<&Operations::GetFilterParam>(FrmHandle, address, FilterTime, MinReadCount, MinRssi);
}

int SetTriggerLinkageParam(u8* address, u8 Action, u8 mode, u8 mtime, u8 RFU, u8 Union, u8 Condition1,
                           u8 Condition2, int FrmHandle)
{
    return plain<&Operations::SetTriggerLinkageParam>(FrmHandle, address, Action, mode, mtime, RFU, Union,
                                                      Condition1, Condition2);
}

int GetTriggerLinkageParam(u8* address, u8 Action, u8* mode, u8* mtime, u8* RFU, u8* Union, u8* Condition1,
                           u8* Condition2, int FrmHandle)
{
    return plain<&Operations::GetTriggerLinkageParam>(FrmHandle, address, Action, mode, mtime, RFU, Union,
                                                      Condition1, Condition2);
}

int SetCalibrationPowerType(u8* address, u8 powerType, int FrmHandle)
{
    return plain<&Operations::SetCalibrationPowerType>(FrmHandle, address, powerType);
}

int SetRegionType(u8* address, u8 regionType, int FrmHandle)
{
    return plain<&Operations::SetRegionType>(FrmHandle, address, regionType);
}

int SetTempSelect(u8* address, u8 TempSelect, int FrmHandle)
{
    return plain<&Operations::SetTempSelect>(FrmHandle, address, TempSelect);
}

int GetModuleDescribe(u8* address, u8* describeInfor, int FrmHandle)
{
    return plain<&Operations::GetModuleDescribe>(FrmHandle, address, describeInfor);
}
