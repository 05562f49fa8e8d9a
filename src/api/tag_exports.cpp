// The exported calls for single tags, the tag buffer and the select filter.
#include "api/exported.h"
#include "tagwire/buffer.h"
#include "tagwire/gb.h"
#include "tagwire/iso6b.h"
#include "tagwire/memory.h"
#include "tagwire/security.h"
#include "tagwire/select.h"

using namespace tagwire::engine;

int ReadData_G2(u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password, u8 MaskMem,
                u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ReadData_G2>(FrmHandle, address, EPC, ENum, Mem, WordPtr, Num, Password,
                                           MaskMem, MaskAdr, MaskLen, MaskData, Data, Errorcode);
}

// 256 is a handle to this call alone, and one that is never open: it gives 55, as any number without a
// reader.
int WriteData_G2(u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt, u8* Password,
                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::WriteData_G2>(FrmHandle, address, EPC, WNum, ENum, Mem, WordPtr, Wdt, Password,
                                            MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int WriteEPC_G2(u8* address, u8* Password, u8* WriteEPC, u8 ENum, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::WriteEPC_G2>(FrmHandle, address, Password, WriteEPC, ENum, Errorcode);
}

int BlockErase_G2(u8* address, u8* EPC, u8 ENum, u8 Mem, u8 WordPtr, u8 Num, u8* Password, u8 MaskMem,
                  u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BlockErase_G2>(FrmHandle, address, EPC, ENum, Mem, WordPtr, Num, Password,
                                             MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int BlockWrite_G2(u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8 WordPtr, u8* Wdt, u8* Password,
                  u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BlockWrite_G2>(FrmHandle, address, EPC, WNum, ENum, Mem, WordPtr, Wdt, Password,
                                             MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int ExtReadData_G2(u8* address, u8* EPC, u8 ENum, u8 Mem, u8* WordPtr, u8 Num, u8* Password, u8 MaskMem,
                   u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ExtReadData_G2>(FrmHandle, address, EPC, ENum, Mem, WordPtr, Num, Password,
                                              MaskMem, MaskAdr, MaskLen, MaskData, Data, Errorcode);
}

int ExtWriteData_G2(u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt, u8* Password,
                    u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ExtWriteData_G2>(FrmHandle, address, EPC, WNum, ENum, Mem, WordPtr, Wdt,
                                               Password, MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int ExtBlockWrite_G2(u8* address, u8* EPC, u8 WNum, u8 ENum, u8 Mem, u8* WordPtr, u8* Wdt, u8* Password,
                     u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ExtBlockWrite_G2>(FrmHandle, address, EPC, WNum, ENum, Mem, WordPtr, Wdt,
                                                Password, MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int KillTag_G2(u8* address, u8* EPC, u8 ENum, u8* Killpwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
               int* Errorcode, int FrmHandle)
{
    return plain<&Operations::KillTag_G2>(FrmHandle, address, EPC, ENum, Killpwd, MaskMem, MaskAdr, MaskLen,
                                          MaskData, Errorcode);
}

int Lock_G2(u8* address, u8* EPC, u8 ENum, u8 select, u8 setprotect, u8* Password, u8 MaskMem, u8* MaskAdr,
            u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Lock_G2>(FrmHandle, address, EPC, ENum, select, setprotect, Password, MaskMem,
                                       MaskAdr, MaskLen, MaskData, Errorcode);
}

int SetPrivacyByEPC_G2(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                       u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::SetPrivacyByEPC_G2>(FrmHandle, address, EPC, ENum, Password, MaskMem, MaskAdr,
                                                  MaskLen, MaskData, Errorcode);
}

int SetPrivacyWithoutEPC_G2(u8* address, u8* Password, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::SetPrivacyWithoutEPC_G2>(FrmHandle, address, Password, Errorcode);
}

int ResetPrivacy_G2(u8* address, u8* Password, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ResetPrivacy_G2>(FrmHandle, address, Password, Errorcode);
}

int CheckPrivacy_G2(u8* address, u8* readpro, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::CheckPrivacy_G2>(FrmHandle, address, readpro, Errorcode);
}

int EASConfigure_G2(u8* address, u8* EPC, u8 ENum, u8* Password, u8 EAS, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                    u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::EASConfigure_G2>(FrmHandle, address, EPC, ENum, Password, EAS, MaskMem, MaskAdr,
                                               MaskLen, MaskData, Errorcode);
}

int EASAlarm_G2(u8* address, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::EASAlarm_G2>(FrmHandle, address, Errorcode);
}

int BlockLock_G2(u8* address, u8* EPC, u8 ENum, u8* Password, u8 WrdPointer, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BlockLock_G2>(FrmHandle, address, EPC, ENum, Password, WrdPointer, MaskMem,
                                            MaskAdr, MaskLen, MaskData, Errorcode);
}

int GetMonza4QTWorkParamter_G2(u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                               u8 MaskLen, u8* MaskData, u8* QTcontrol, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::GetMonza4QTWorkParamter_G2>(FrmHandle, address, EPC, ENum, Password, MaskMem,
                                                          MaskAdr, MaskLen, MaskData, QTcontrol, Errorcode);
}

int SetMonza4QTWorkParamter_G2(u8* address, u8* EPC, u8 ENum, u8 QTcontrol, u8* Password, u8 MaskMem,
                               u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::SetMonza4QTWorkParamter_G2>(FrmHandle, address, EPC, ENum, QTcontrol, Password,
                                                          MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int Untraceable_G2(u8* address, u8* EPC, u8 ENum, u8 UFlag, u8 EPCHide, u8 NewEPCLen, u8 TIDHide, u8 UserHide,
                   u8 Range, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode,
                   int FrmHandle)
{
    return plain<&Operations::Untraceable_G2>(FrmHandle, address, EPC, ENum, UFlag, EPCHide, NewEPCLen,
                                              TIDHide, UserHide, Range, Password, MaskMem, MaskAdr, MaskLen,
                                              MaskData, Errorcode);
}

int Authenticate_G2(u8* address, u8* EPC, u8 ENum, u8 sendRep, u8 increpLen, u8 CSI, u8 MsgLen, u8* MsgData,
                    u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* auth_rep_len,
                    u8* auth_rep_data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Authenticate_G2>(FrmHandle, address, EPC, ENum, sendRep, increpLen, CSI, MsgLen,
                                               MsgData, Password, MaskMem, MaskAdr, MaskLen, MaskData,
                                               auth_rep_len, auth_rep_data, Errorcode);
}

int Protected_mode_G2(u8* address, u8* EPC, u8 ENum, u8 enableflag, u8* Password, u8 MaskMem, u8* MaskAdr,
                      u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Protected_mode_G2>(FrmHandle, address, EPC, ENum, enableflag, Password, MaskMem,
                                                 MaskAdr, MaskLen, MaskData, Errorcode);
}

int SelectCMD(u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
              u8* MaskData, u8 Truncate, int FrmHandle)
{
    return plain<&Operations::SelectCMD>(FrmHandle, address, ant, Session, Selaction, MaskMem, MaskAdr,
                                         MaskLen, MaskData, Truncate);
}

int SelectCmdWithCarrier(u8* address, u8 ant, u8 Session, u8 Selaction, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                         u8* MaskData, u8 Truncate, u8 CarrierTime, int FrmHandle)
{
    return plain<&Operations::SelectCmdWithCarrier>(FrmHandle, address, ant, Session, Selaction, MaskMem,
                                                    MaskAdr, MaskLen, MaskData, Truncate, CarrierTime);
}

int SelectCMDByAntenna(u8* address, int Antenna, u8 portNum, u8 Session, u8 Selaction, u8 MaskMem,
                       u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 Truncate, int FrmHandle)
{
    return plain<&Operations::SelectCMDByAntenna>(FrmHandle, address, Antenna, portNum, Session, Selaction,
                                                  MaskMem, MaskAdr, MaskLen, MaskData, Truncate);
}

int SelectCMDByMutipleAntenna(u8* address, u8* Antenna, u8 Session, u8 Selaction, u8 MaskMem, u8* MaskAdr,
                              u8 MaskLen, u8* MaskData, u8 Truncate, int FrmHandle)
{
    return plain<&Operations::SelectCMDByMutipleAntenna>(FrmHandle, address, Antenna, Session, Selaction,
                                                         MaskMem, MaskAdr, MaskLen, MaskData, Truncate);
}

int InventorySingle_6B(u8* address, u8* Ant, u8* ID_6B, int FrmHandle)
{
    return plain<&Operations::InventorySingle_6B>(FrmHandle, address, Ant, ID_6B);
}

int InventoryMultiple_6B(u8* address, u8 Condition, u8 StartAddress, u8 mask, u8* ConditionContent, u8* Ant,
                         u8* ID_6B, int* Cardnum, int FrmHandle)
{
    return plain<&Operations::InventoryMultiple_6B>(FrmHandle, address, Condition, StartAddress, mask,
                                                    ConditionContent, Ant, ID_6B, Cardnum);
}

int ReadData_6B(u8* address, u8* ID_6B, u8 StartAddress, u8 Num, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ReadData_6B>(FrmHandle, address, ID_6B, StartAddress, Num, Data, Errorcode);
}

int WriteData_6B(u8* address, u8* ID_6B, u8 StartAddress, u8* Writedata, u8 Writedatalen, u8* writtenbyte,
                 int* Errorcode, int FrmHandle)
{
    return plain<&Operations::WriteData_6B>(FrmHandle, address, ID_6B, StartAddress, Writedata, Writedatalen,
                                            writtenbyte, Errorcode);
}

int CheckLock_6B(u8* address, u8* ID_6B, u8 StartAddress, u8* ReLockState, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::CheckLock_6B>(FrmHandle, address, ID_6B, StartAddress, ReLockState, Errorcode);
}

int Lock_6B(u8* address, u8* ID_6B, u8 StartAddress, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Lock_6B>(FrmHandle, address, ID_6B, StartAddress, Errorcode);
}

int Inventory_GB(u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag, u8 InAnt,
                 u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::Inventory_GB>(FrmHandle, address, MaskMem, MaskAdr, MaskLen, MaskData, MaskFlag,
                                            InAnt, Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int InventoryMix_GB(u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag, u8 ReadMem,
                    u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList,
                    u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::InventoryMix_GB>(FrmHandle, address, MaskMem, MaskAdr, MaskLen, MaskData,
                                               MaskFlag, ReadMem, ReadAdr, ReadLen, Psd, InAnt, Scantime,
                                               FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int ReadData_GB(u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum, u8* Password,
                u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ReadData_GB>(FrmHandle, address, TagID, TNum, ReadMem, WordPtr, WordNum,
                                           Password, MaskMem, MaskAdr, MaskLen, MaskData, Data, Errorcode);
}

int WriteData_GB(u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt, u8* Password,
                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::WriteData_GB>(FrmHandle, address, TagID, WNum, TNum, WMem, WordPtr, Wdt,
                                            Password, MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int BlockErase_GB(u8* address, u8* TagID, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum, u8* Password, u8 MaskMem,
                  u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BlockErase_GB>(FrmHandle, address, TagID, TNum, EMem, WordPtr, ENum, Password,
                                             MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int Lock_GB(u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password, u8 MaskMem,
            u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Lock_GB>(FrmHandle, address, TagID, TNum, LockMem, Cfg, Action, Password,
                                       MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int KillTag_GB(u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
               u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::KillTag_GB>(FrmHandle, address, TagID, TNum, Killpwd, MaskMem, MaskAdr, MaskLen,
                                          MaskData, Errorcode);
}

int Inventory_JB(u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag,
                 u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum,
                 int FrmHandle)
{
    return plain<&Operations::Inventory_JB>(FrmHandle, address, Algo, MaskMem, MaskAdr, MaskLen, MaskData,
                                            MaskFlag, InAnt, Scantime, FastFlag, pEPCList, Ant, Totallen,
                                            CardNum);
}

int InventoryMix_JB(u8* address, u8 Algo, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag,
                    u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 InAnt, u8 Scantime, u8 FastFlag,
                    u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::InventoryMix_JB>(FrmHandle, address, Algo, MaskMem, MaskAdr, MaskLen, MaskData,
                                               MaskFlag, ReadMem, ReadAdr, ReadLen, Psd, InAnt, Scantime,
                                               FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int ReadData_JB(u8* address, u8* TagID, u8 TNum, u8 ReadMem, u8* WordPtr, u8 WordNum, u8* Password,
                u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::ReadData_JB>(FrmHandle, address, TagID, TNum, ReadMem, WordPtr, WordNum,
                                           Password, MaskMem, MaskAdr, MaskLen, MaskData, Data, Errorcode);
}

int WriteData_JB(u8* address, u8* TagID, u8 WNum, u8 TNum, u8 WMem, u8* WordPtr, u8* Wdt, u8* Password,
                 u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::WriteData_JB>(FrmHandle, address, TagID, WNum, TNum, WMem, WordPtr, Wdt,
                                            Password, MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int BlockErase_JB(u8* address, u8* TagID, u8 TNum, u8 EMem, u8* WordPtr, u8* ENum, u8* Password, u8 MaskMem,
                  u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::BlockErase_JB>(FrmHandle, address, TagID, TNum, EMem, WordPtr, ENum, Password,
                                             MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int Lock_JB(u8* address, u8* TagID, u8 TNum, u8 LockMem, u8 Cfg, u8 Action, u8* Password, u8 MaskMem,
            u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::Lock_JB>(FrmHandle, address, TagID, TNum, LockMem, Cfg, Action, Password,
                                       MaskMem, MaskAdr, MaskLen, MaskData, Errorcode);
}

int KillTag_JB(u8* address, u8* TagID, u8 TNum, u8* Killpwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
               u8* MaskData, int* Errorcode, int FrmHandle)
{
    return plain<&Operations::KillTag_JB>(FrmHandle, address, TagID, TNum, Killpwd, MaskMem, MaskAdr, MaskLen,
                                          MaskData, Errorcode);
}

int InventoryBuffer_G2(u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                       u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, u8 Target, u8 InAnt, u8 Scantime,
                       u8 FastFlag, int* BufferCount, int* TagNum, int FrmHandle)
{
    return plain<&Operations::InventoryBuffer_G2>(FrmHandle, address, QValue, Session, MaskMem, MaskAdr,
                                                  MaskLen, MaskData, MaskFlag, AdrTID, LenTID, TIDFlag,
                                                  Target, InAnt, Scantime, FastFlag, BufferCount, TagNum);
}

int ReadBuffer_G2(u8* ComAdr, int* Totallen, int* CardNum, u8* pEPCList, int FrmHandle)
{
    return plain<&Operations::ReadBuffer_G2>(FrmHandle, ComAdr, Totallen, CardNum, pEPCList);
}

int GetBufferCnt_G2(u8* ComAdr, int* Count, int FrmHandle)
{
    return plain<&Operations::GetBufferCnt_G2>(FrmHandle, ComAdr, Count);
}

int ClearBuffer_G2(u8* ComAdr, int FrmHandle)
{
    return plain<&Operations::ClearBuffer_G2>(FrmHandle, ComAdr);
}

int SetSaveLen(u8* ComAdr, u8 SaveLen, int FrmHandle)
{
    return plain<&Operations::SetSaveLen>(FrmHandle, ComAdr, SaveLen);
}

int GetSaveLen(u8* ComAdr, u8* SaveLen, int FrmHandle)
{
    return plain<&Operations::GetSaveLen>(FrmHandle, ComAdr, SaveLen);
}

int GetTagBufferInfo(u8* ComAdr, u8* Data, int* dataLength, int FrmHandle)
{
    return plain<&Operations::GetTagBufferInfo>(FrmHandle, ComAdr, Data, dataLength);
}

int ClearTagBuffer(u8* ComAdr, int FrmHandle)
{
    return plain<&Operations::ClearTagBuffer>(FrmHandle, ComAdr);
}

int Find_epc_list_cfg(u8* address, u8 opt, u8 CardNum, u8* epc, int epclen, int FrmHandle)
{
    return plain<&Operations::Find_epc_list_cfg>(FrmHandle, address, opt, CardNum, epc, epclen);
}

int Find_epc_by_list(u8* address, u8 Fixed_Q, int Antenna, int* CardNum, u8* epc, int* epclen, int FrmHandle)
{
    return plain<&Operations::Find_epc_by_list>(FrmHandle, address, Fixed_Q, Antenna, CardNum, epc, epclen);
}
