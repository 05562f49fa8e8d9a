// The reader's plain settings: one request, one answer each.
#include "link/descriptor.h"
#include "link/serial.h"
#include "link/system.h"
#include "tagops/addressing.h"

using namespace tagwire::engine;

int I_SetAddress(Reader* sthis, u8* address, u8 ComAdrData)
{
    return Command(sthis, address, 0x24)
        .byte(ComAdrData)
        .exchange(AddressEcho::always, Outputs::always,
                  [&](const Response& response) { sthis->ReaderAddr = response.address(); });
}

int I_SetInventoryScanTime(Reader* sthis, u8* address, u8 ScanTime)
{
    return Command(sthis, address, 0x25)
        .byte(ScanTime)
        .exchange(AddressEcho::always, Outputs::always,
                  [&](const Response&) { sthis->inventoryScanTime = ScanTime; });
}

// The test mode is left by one raw byte, which is no frame.
int I_InSelfTestMode(Reader* sthis, u8* address, bool IsSelfTestMode)
{
    constexpr u8 enter = 0x26;
    constexpr u8 leave = 0xA5;
    Command command(sthis, address, enter);
    if (IsSelfTestMode)
        command.send();
    else
        command.send_raw(leave);
    if (const int result = command.receive_any()) return result;
    const Response response = command.response();
    if (response.command() != enter && response.command() != leave) return TAGWIRE_WRONG_COMMAND;
    *address = response.address();
    return response.status();
}

int I_SetRevDelay(Reader* sthis, u8* address, u8 RevDelay)
{
    return Command(sthis, address, 0x27).byte(RevDelay).exchange(AddressEcho::never);
}

// The code of the answer is not looked at. On a serial line the host follows the reader to the new speed.
int I_SetBaudRate(Reader* sthis, u8* address, u8 baud)
{
    Command command(sthis, address, 0x28);
    command.byte(baud).send();
    if (const int result = command.receive_any()) return result;
    const u8 status = command.response().status();
    if (sthis->m_type != serial_link || status != 0) return status;

    const LinkUse link(sthis);
    if (!link.usable() || sys::calls.tcgetattr(link.fd(), &sthis->portDCB) != 0) return status;
    set_raw_8n1(sthis->portDCB, baud);
    apply_line(link.fd(), sthis->portDCB);
    return status;
}

int I_SetDAC(Reader* sthis, u8* address, u8 DACdata)
{
    return Command(sthis, address, 0x29).byte(DACdata).exchange(AddressEcho::always);
}

int I_GetDAC(Reader* sthis, u8* address, u8* DACdata)
{
    return Command(sthis, address, 0x2A).exchange(AddressEcho::on_success, bytes_to(DACdata));
}

int I_CheckPowerParameter(Reader* sthis, u8* address, u8* code)
{
    return Command(sthis, address, 0x2B).exchange(AddressEcho::on_success, bytes_to(code));
}

int I_SolidifyDACandPowerlist(Reader* sthis, u8* address, u8* dBm_list, u8* code)
{
    return Command(sthis, address, 0x2C)
        .bytes(dBm_list, 31)
        .exchange(AddressEcho::on_success, bytes_to(code));
}

int I_GetStartInformation(Reader* sthis, u8* address, u8* FreE, u8* addrE, u8* scnE, u8* xpwrE, u8* wgE,
                          u8* xRreadModeE, u8* xModeParaE, u8* xbpsE, u8* xEasAccuE)
{
    return Command(sthis, address, 0x2D)
        .exchange(AddressEcho::on_success,
                  bytes_to(FreE, addrE, scnE, xpwrE, wgE, xRreadModeE, xModeParaE, xbpsE, xEasAccuE));
}

int I_GetRevDelay(Reader* sthis, u8* address, u8* RevDelay)
{
    return Command(sthis, address, 0x31).exchange(AddressEcho::never, bytes_to(RevDelay));
}

int I_SetEASSensitivity(Reader* sthis, u8* address, u8 Accuracy)
{
    return Command(sthis, address, 0x37).byte(Accuracy).exchange(AddressEcho::never);
}

int I_SetTagCustomFunction(Reader* sthis, u8* address, u8* InlayType)
{
    return Command(sthis, address, 0x3A)
        .byte(*InlayType)
        .exchange(AddressEcho::on_success, bytes_to(InlayType));
}

int I_SetMask(Reader* sthis, u8* address, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData)
{
    return Command(sthis, address, 0x3B)
        .add(Mask{MaskMem, MaskAdr, MaskLen, MaskData})
        .exchange(AddressEcho::never);
}

int I_SetResponsePamametersofAuto_runningMode(Reader* sthis, u8* address, u8 RepCondition, u8 RepPauseTime)
{
    return Command(sthis, address, 0x3C).bytes({RepCondition, RepPauseTime}).exchange(AddressEcho::never);
}

int I_SetInventoryInterval(Reader* sthis, u8* address, u8 ReadPauseTim)
{
    return Command(sthis, address, 0x3D).byte(ReadPauseTim).exchange(AddressEcho::never);
}

int I_SelectTagType(Reader* sthis, u8* address, u8 TagProtocol)
{
    return Command(sthis, address, 0x3E).byte(TagProtocol).exchange(AddressEcho::never);
}

int I_SetBeepNotification(Reader* sthis, u8* address, u8 BeepEn)
{
    return Command(sthis, address, 0x40).byte(BeepEn).exchange(AddressEcho::never);
}

int I_SetReal_timeClock(Reader* sthis, u8* address, u8* paramer)
{
    return Command(sthis, address, 0x41).bytes(paramer, 6).exchange(AddressEcho::never);
}

int I_GetTime(Reader* sthis, u8* address, u8* paramer)
{
    return Command(sthis, address, 0x42).exchange(AddressEcho::never, data_to(paramer, 6));
}

int I_SetTriggerTime(Reader* sthis, u8* address, u8 TriggerTime)
{
    return Command(sthis, address, 0x49).byte(TriggerTime).exchange(AddressEcho::never);
}

int I_SetTIDParameter(Reader* sthis, u8* address, u8 AdrTID, u8 LenTID)
{
    return Command(sthis, address, 0x4A).bytes({AdrTID, LenTID}).exchange(AddressEcho::on_success);
}

int I_SetSeriaNo(Reader* sthis, u8* address, u8* SeriaNo)
{
    return Command(sthis, address, 0x4B)
        .bytes({0x52, 0x52})
        .bytes(SeriaNo, 4)
        .exchange(AddressEcho::on_success);
}

int I_GetSeriaNo(Reader* sthis, u8* address, u8* SeriaNo)
{
    return Command(sthis, address, 0x4C).exchange(AddressEcho::on_success, data_to(SeriaNo, 4));
}

int I_SetCheckAnt(Reader* sthis, u8* address, u8 CheckAnt)
{
    return Command(sthis, address, 0x66).byte(CheckAnt).exchange(AddressEcho::on_success);
}

int I_SetCommType(Reader* sthis, u8* address, u8 CommType)
{
    return Command(sthis, address, 0x6A).byte(CommType).exchange(AddressEcho::on_success);
}

int I_SetPowerMode(Reader* sthis, u8* address, u8* PowerMode)
{
    return Command(sthis, address, 0x6B)
        .byte(*PowerMode)
        .exchange(AddressEcho::on_success, bytes_to(PowerMode));
}

int I_SetHeartBeatTime(Reader* sthis, u8* address, u8* HeartBeatTime)
{
    return Command(sthis, address, 0x78)
        .byte(*HeartBeatTime)
        .exchange(AddressEcho::on_success, bytes_to(HeartBeatTime));
}

int I_RetryTimes(Reader* sthis, u8* address, u8* Times)
{
    return Command(sthis, address, 0x7B).byte(*Times).exchange(AddressEcho::on_success, bytes_to(Times));
}

int I_SetUserPwd(Reader* sthis, u8* address, u8* UserPwd)
{
    return Command(sthis, address, 0x7D).bytes(UserPwd, 4).exchange(AddressEcho::always);
}

int I_GetUserPwd(Reader* sthis, u8* address, u8* UserPwd)
{
    return Command(sthis, address, 0x7E).exchange(AddressEcho::always, Outputs::always, data_to(UserPwd, 4));
}

int I_SetProfile(Reader* sthis, u8* address, u8* Profile)
{
    return Command(sthis, address, 0x7F).byte(*Profile).exchange(AddressEcho::on_success, bytes_to(Profile));
}

int I_SetExtProfile(Reader* sthis, u8* address, u8 Opt, int* Profile)
{
    return Command(sthis, address, 0x7F)
        .byte(Opt)
        .word(static_cast<unsigned>(*Profile))
        .exchange(AddressEcho::on_success, [&](const Response& d) { *Profile = d.word(0); });
}

int I_SetQS(Reader* sthis, u8* address, u8 Qvalue, u8 Session)
{
    return Command(sthis, address, 0x81).bytes({Qvalue, Session}).exchange(AddressEcho::on_success);
}

int I_GetQS(Reader* sthis, u8* address, u8* Qvalue, u8* Session)
{
    return Command(sthis, address, 0x82).exchange(AddressEcho::on_success, bytes_to(Qvalue, Session));
}

int I_GetModuleVersion(Reader* sthis, u8* address, u8* Version)
{
    return Command(sthis, address, 0x83).exchange(AddressEcho::never, data_to(Version, 2));
}

int I_SetFlashRom(Reader* sthis, u8* address)
{
    return Command(sthis, address, 0x84).exchange(AddressEcho::never);
}

int I_SetUTCTime(Reader* sthis, u8* address, u8* UTCTime)
{
    return Command(sthis, address, 0x85).bytes(UTCTime, 4).exchange(AddressEcho::always);
}

int I_SetFTime(Reader* sthis, u8* address, u8 FTime)
{
    return Command(sthis, address, 0x86).byte(FTime).exchange(AddressEcho::on_success);
}

int I_GetFTime(Reader* sthis, u8* address, u8* FTime)
{
    return Command(sthis, address, 0x87).exchange(AddressEcho::on_success, bytes_to(FTime));
}

int I_SetDRM(Reader* sthis, u8* address, u8 DRM)
{
    return Command(sthis, address, 0x90).byte(DRM | 0x80).exchange(AddressEcho::on_success);
}

int I_GetDRM(Reader* sthis, u8* address, u8* DRM)
{
    return Command(sthis, address, 0x90).byte(0x00).exchange(AddressEcho::on_success, bytes_to(DRM));
}

int I_GetReaderTemperature(Reader* sthis, u8* address, u8* PlusMinus, u8* Temperature)
{
    return Command(sthis, address, 0x92).exchange(AddressEcho::on_success, bytes_to(PlusMinus, Temperature));
}

int I_SetFilterTime(Reader* sthis, u8* address, u8 FilterTime)
{
    return Command(sthis, address, 0x92).byte(FilterTime).exchange(AddressEcho::on_success);
}

int I_GetFilterTime(Reader* sthis, u8* address, u8* FilterTime)
{
    return Command(sthis, address, 0x93).exchange(AddressEcho::on_success, bytes_to(FilterTime));
}

int I_SetReaderPwd(Reader* sthis, u8* address, u8* Password)
{
    return Command(sthis, address, 0x92).byte(0x01).bytes(Password, 4).exchange(AddressEcho::never);
}

// The caller's buffer is cleared first, and goes out as the four data bytes.
int I_GetReaderPwd(Reader* sthis, u8* address, u8* Password)
{
    std::memset(Password, 0, 4);
    return Command(sthis, address, 0x92)
        .byte(0x00)
        .bytes(Password, 4)
        .exchange(AddressEcho::never, Outputs::always, data_to(Password, 4));
}

int I_ResetReader(Reader* sthis, u8* address)
{
    return Command(sthis, address, 0x99).bytes({0x52, 0x25}).exchange(AddressEcho::on_success);
}

int I_SwitchProtocol(Reader* sthis, u8* address, u8* protocol)
{
    return Command(sthis, address, 0xCE)
        .byte(*protocol)
        .exchange(AddressEcho::on_success, bytes_to(protocol));
}

int I_GetEx10Version(Reader* sthis, u8* address, u8* TVersion, u8* Ex10Type)
{
    return Command(sthis, address, 0xEC).byte(0x00).exchange(AddressEcho::on_success, [&](const Response& d) {
        d.copy(1, TVersion, 2);
        *Ex10Type = d[3];
    });
}

// The first data byte echoes the request's; it is looked at before the status.
int I_GetEx10InternalVersion(Reader* sthis, u8* address, u8* Version, u8* type)
{
    Command command(sthis, address, 0xEC);
    command.byte(0x00).send();
    if (const int result = command.receive_repeating(0x00)) return result;
    return command.finish(AddressEcho::never, Outputs::on_success, [&](const Response& d) {
        d.copy(1, Version, 2);
        *type = d[3];
    });
}
