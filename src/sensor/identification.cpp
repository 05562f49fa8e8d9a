// Tags with an LED, an SPI peripheral or an alarm, and the identification of a tag.
#include "tagops/addressing.h"

using namespace tagwire::engine;

int I_YL_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mode, u8 CarrTime, u8* Password,
                      u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xCE, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({Mode, CarrTime}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, led_error, Errorcode);
}

int I_KLW_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem,
                       u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xCC, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(CarrTime).bytes(Password, 4);
    return command.exchange(AddressEcho::never, led_error, Errorcode);
}

int I_BX_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem,
                      u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xE5, longest_epc, {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(CarrTime).bytes(Password, 4);
    return command.exchange(AddressEcho::never, led_error, Errorcode);
}

// A result of 8 bytes or more is not copied.
int I_GetSPI(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SPICmdSize, u8 SPIResSize, u8 SPISclk,
             u8 SPIInitDelay, u8 SPIInterval, u8* SPICmd, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
             u8* MaskData, u8* SPIResData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x87, longest_epc_of_peripheral_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.byte(SPICmdSize).tag().bytes({SPIResSize, SPISclk, SPIInitDelay, SPIInterval});
    command.bytes(SPICmd, SPICmdSize).bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode, [&](const Response& r) {
        if (SPIResSize <= 7) r.copy(0, SPIResData, SPIResSize);
    });
}

int I_ResetAlarm(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0x88, longest_epc_of_peripheral_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::on_success, tag_error, Errorcode);
}

// 0 whatever the status, here and in the two steps of the identification.
int I_SetCarrierTime(Reader* sthis, u8* address, u8* CarrierTime)
{
    Command command(sthis, address, 0x84);
    command.byte(*CarrierTime).send();
    if (const int result = command.receive()) return result;
    command.finish(AddressEcho::always, Outputs::always, bytes_to(CarrierTime));
    return TAGWIRE_OK;
}

int I_QueryAndIdentify(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* EPCLen, u8* NewEPC, u8* RSSI, u8* KI,
                       u8* TID)
{
    if (ENum > longest_epc_of_peripheral_tag) return TAGWIRE_BAD_ARGUMENT;
    return Command(sthis, address, 0x80)
        .byte(ENum)
        .bytes(EPC, 2 * ENum)
        .exchange(AddressEcho::on_success, [&](const Response& d) {
            const u8 length = d[1];
            *EPCLen = length;
            d.copy(2, NewEPC, length);
            *RSSI = d[2U + length];
            d.copy(3U + length, KI, 2);
            d.copy(5U + length, TID, 12);
        });
}

int I_FirstIdentify(Reader* sthis, u8* address, u8* RT)
{
    Command command(sthis, address, 0x81);
    command.send();
    if (const int result = command.receive()) return result;
    command.finish(AddressEcho::always, Outputs::always, data_to(RT, 4));
    return TAGWIRE_OK;
}

int I_SecondIdentify(Reader* sthis, u8* address, u8* Token1, u8* Token2, u8* Handle)
{
    Command command(sthis, address, 0x82);
    command.bytes(Token1, 8).send();
    if (const int result = command.receive()) return result;
    command.finish(AddressEcho::always, Outputs::always, [&](const Response& d) {
        d.copy(0, Token2, 8);
        d.copy(8, Handle, 2);
    });
    return TAGWIRE_OK;
}
