// The exported calls for reader information, inventories and continuous reading, and the proof that every
// export fits its operation.
#include <type_traits>

#include "api/exported.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine {
namespace {

// The export of an operation has its parameters without the Reader, and the handle behind them.
template <class Operation> struct ExportOf;
template <class... Parameters> struct ExportOf<int(Reader*, Parameters...)> {
    using Type = int(Parameters..., int);
};

#define INTERNAL(name)
#define PLAIN(name) static_assert(std::is_same_v<decltype(::name), ExportOf<decltype(::I_##name)>::Type>);
#define LOCKED(name) PLAIN(name)
#define ASIDE(name) PLAIN(name)
#define UNBUSY(name) PLAIN(name)
#define TAGWIRE_OPERATION(exported, result, name, ...) exported(name)
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
#undef UNBUSY
#undef ASIDE
#undef LOCKED
#undef PLAIN
#undef INTERNAL

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

// Reader information

int GetReaderInformation(u8* ComAdr, u8* VersionInfo, u8* ReaderType, u8* TrType, u8* dmaxfre, u8* dminfre,
                         u8* powerdBm, u8* ScanTime, u8* Ant, u8* BeepEn, u8* OutputRep, u8* CheckAnt,
                         int FrmHandle)
{
    return plain<&Operations::GetReaderInformation>(FrmHandle, ComAdr, VersionInfo, ReaderType, TrType,
                                                    dmaxfre, dminfre, powerdBm, ScanTime, Ant, BeepEn,
                                                    OutputRep, CheckAnt);
}

int GetModuleDetails(u8* address, u8* Version, u8* mType, u8* Tr_Type, int FrmHandle)
{
    return plain<&Operations::GetModuleDetails>(FrmHandle, address, Version, mType, Tr_Type);
}

// Gen2 inventory

int Inventory_G2(u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                 u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, u8 Target, u8 InAnt, u8 Scantime, u8 FastFlag,
                 u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return locked<&Operations::Inventory_G2>(FrmHandle, address, QValue, Session, MaskMem, MaskAdr, MaskLen,
                                             MaskData, MaskFlag, AdrTID, LenTID, TIDFlag, Target, InAnt,
                                             Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int InventoryMix_G2(u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData,
                    u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 Target, u8 InAnt,
                    u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum,
                    int FrmHandle)
{
    return locked<&Operations::InventoryMix_G2>(
        FrmHandle, address, QValue, Session, MaskMem, MaskAdr, MaskLen, MaskData, MaskFlag, ReadMem, ReadAdr,
        ReadLen, Psd, Target, InAnt, Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int InventoryExtMix_G2(u8* address, u8 QValue, u8 Session, u8 ParamCount, u8* param, u8 MaskMem, u8* MaskAdr,
                       u8 MaskLen, u8* MaskData, u8 MaskFlag, u8* Psd, u8 Target, u8 InAnt, u8 Scantime,
                       u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return locked<&Operations::InventoryExtMix_G2>(
        FrmHandle, address, QValue, Session, ParamCount, param, MaskMem, MaskAdr, MaskLen, MaskData, MaskFlag,
        Psd, Target, InAnt, Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int Inventory_EPC_G2(u8* address, u8 MatchType, u8* MatchLen, u8* MatchOffset, u8* EPCData, u8* pEPCList,
                     u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return locked<&Operations::Inventory_EPC_G2>(FrmHandle, address, MatchType, MatchLen, MatchOffset,
                                                 EPCData, pEPCList, Ant, Totallen, CardNum);
}

int Inventory_QT_G2(u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt, u8 Scantime, u8 FastFlag,
                    u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return locked<&Operations::Inventory_QT_G2>(FrmHandle, address, QValue, Session, Target, InAnt, Scantime,
                                                FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int Inventory_FastBID_NXP(u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt, u8 Scantime, u8 FastFlag,
                          u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::Inventory_FastBID_NXP>(FrmHandle, address, QValue, Session, Target, InAnt,
                                                     Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int Inventory_FastTID_NXP(u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt, u8 Scantime, u8 FastFlag,
                          u8* pEPCList, u8* Ant, int* Totallen, int* CardNum, int FrmHandle)
{
    return plain<&Operations::Inventory_FastTID_NXP>(FrmHandle, address, QValue, Session, Target, InAnt,
                                                     Scantime, FastFlag, pEPCList, Ant, Totallen, CardNum);
}

int SingleTagInventory_G2(u8* address, u8* EPC, int* EPCLength, int* CardNum, int FrmHandle)
{
    return plain<&Operations::SingleTagInventory_G2>(FrmHandle, address, EPC, EPCLength, CardNum);
}

int Fast_switch_ant_inventory(u8* address, u8 AntA, u8 StayA, u8 AntB, u8 StayB, u8 AntC, u8 StayC, u8 AntD,
                              u8 StayD, u8 Interval, u8 Repeat, int FrmHandle)
{
    return plain<&Operations::Fast_switch_ant_inventory>(FrmHandle, address, AntA, StayA, AntB, StayB, AntC,
                                                         StayC, AntD, StayD, Interval, Repeat);
}

// Continuous reading

int StartRead(u8* address, u8 target, int FrmHandle)
{
    return plain<&Operations::StartRead>(FrmHandle, address, target);
}

int StopRead(u8* address, int FrmHandle) { return unbusy<&Operations::StopRead>(FrmHandle, address); }

int StopImmediately(u8* address, int FrmHandle)
{
    return aside<&Operations::StopImmediately>(FrmHandle, address);
}

int ReadActiveModeData(u8* ScanModeData, int* ValidDatalength, int FrmHandle)
{
    return plain<&Operations::ReadActiveModeData>(FrmHandle, ScanModeData, ValidDatalength);
}

// Without function, kept for programs that are linked against them

int EnableTestFreq(u8* /*address*/, u8* /*TestFreq*/, u8 /*GainIndex*/, int /*FrmHandle*/)
{
    return TAGWIRE_OK;
}
int GetADValue(u8* /*address*/, u8 /*nFlag*/, u8* /*ADValue*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int SetAValue(u8* /*address*/, u8 /*nFlag*/, u8* /*A1*/, u8* /*A0*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int AutoTable(u8* /*address*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int AutoOffset(u8* /*address*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int GetAdjustPara(u8* /*address*/, u8* /*data*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int GetCheckPWR(u8* /*address*/, u8* /*FWDPWR*/, u8* /*REVPWR*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int SetDCOffset(u8* /*address*/, u8* /*DCOffset*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
int DeleteRfOutput(u8* /*address*/, u8* /*Reinfo*/, int /*FrmHandle*/) { return TAGWIRE_OK; }
