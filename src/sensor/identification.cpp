// Tags with an LED, an SPI peripheral or an alarm, and the identification of a tag.
#include "tagops/addressing.h"

namespace tagwire {
namespace {

constexpr u8 longest_epc_of_peripheral_tag = 15;

// Errorcode stays as it was on success.
int led_result(Command& command, int* Errorcode)
{
    command.send();
    if (const int result = command.receive()) return result;
    const Response response = command.response();
    if (response.status() == TAGWIRE_TAG_ERROR) *Errorcode = response[0];
    return response.status();
}

int switch_led(Reader* sthis, u8* address, u8 code, const OneTag& tag, u8 ENum, u8 CarrTime, u8* Password,
               int* Errorcode)
{
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, code);
    command.byte(ENum).add(tag.id()).byte(CarrTime).bytes(Password, 4).add(tag.mask());
    return led_result(command, Errorcode);
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_YL_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 Mode, u8 CarrTime, u8* Password,
                      u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0xCE);
    command.byte(ENum).add(tag.id()).byte(Mode).byte(CarrTime).bytes(Password, 4).add(tag.mask());
    return led_result(command, Errorcode);
}

int I_KLW_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem,
                       u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return switch_led(sthis, address, 0xCC, tag, ENum, CarrTime, Password, Errorcode);
}

int I_BX_LED_Controll(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 CarrTime, u8* Password, u8 MaskMem,
                      u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    return switch_led(sthis, address, 0xE5, tag, ENum, CarrTime, Password, Errorcode);
}

// A result of 8 bytes or more is not copied.
int I_GetSPI(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 SPICmdSize, u8 SPIResSize, u8 SPISclk,
             u8 SPIInitDelay, u8 SPIInterval, u8* SPICmd, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
             u8* MaskData, u8* SPIResData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc_of_peripheral_tag)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x87);
    command.byte(SPICmdSize).byte(ENum).add(tag.id()).byte(SPIResSize).byte(SPISclk).byte(SPIInitDelay);
    command.byte(SPIInterval).bytes(SPICmd, SPICmdSize).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) {
        *address = response.address();
        if (SPIResSize <= 7) response.copy(0, SPIResData, SPIResSize);
    });
}

int I_ResetAlarm(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                 u8 MaskLen, u8* MaskData, int* Errorcode)
{
    const OneTag tag(ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData});
    if (!tag.is_at_most(longest_epc_of_peripheral_tag)) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, address, 0x88);
    command.byte(ENum).add(tag.id()).bytes(Password, 4).add(tag.mask()).send();
    return tag_result(command, Errorcode, [&](const Response& response) { *address = response.address(); });
}

// 0 whatever the status, here and in the two steps of the identification.
int I_SetCarrierTime(Reader* sthis, u8* address, u8* CarrierTime)
{
    Command command(sthis, address, 0x84);
    command.byte(*CarrierTime).send();
    if (const int result = command.receive()) return result;
    command.finish(AddressEcho::always, Outputs::always, [&](const Response& d) { *CarrierTime = d[0]; });
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
    command.finish(AddressEcho::always, Outputs::always, [&](const Response& d) { d.copy(0, RT, 4); });
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
