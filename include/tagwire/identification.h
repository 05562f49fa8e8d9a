/* Tags with an LED, an SPI peripheral or an alarm, and the identification of a tag.
 *
 * EPC, MaskMem, MaskAdr, MaskLen, MaskData, Password, Errorcode and the results are those of
 * tagwire/memory.h, and so is the waiting, but for what a call says otherwise.
 *
 * address  in and out, 1 byte. In: bus address of the reader; out, where the call says so: address of the
 *          reader that answered
 * ENum     as of tagwire/memory.h, with the limit that the call names: what is above it, but for 255 where
 *          there is a mask, gives 255
 */
#ifndef TAGWIRE_IDENTIFICATION_H
#define TAGWIRE_IDENTIFICATION_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Switch the LED of a tag (commands 0xCE, 0xCC, 0xE5). ENum at most 31, or the mask.
 *
 * Mode       what the LED does, passed on as it is
 * CarrTime   how long the carrier stays on, in the reader's unit
 * Errorcode  out: the tag's own error code with result 0xFC, untouched with any other
 * address    in, 1 byte
 */
TAGWIRE_API int YL_LED_Controll(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                unsigned char Mode, unsigned char CarrTime, unsigned char* Password,
                                unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                                unsigned char* MaskData, int* Errorcode, int FrmHandle);
TAGWIRE_API int KLW_LED_Controll(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                 unsigned char CarrTime, unsigned char* Password, unsigned char MaskMem,
                                 unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                 int* Errorcode, int FrmHandle);
TAGWIRE_API int BX_LED_Controll(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                unsigned char CarrTime, unsigned char* Password, unsigned char MaskMem,
                                unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                int* Errorcode, int FrmHandle);

/* Talks to the tag's SPI peripheral (command 0x87). ENum at most 15, or the mask. *address is written with
 * result 0.
 *
 * SPICmdSize    count of bytes in SPICmd
 * SPIResSize    count of bytes that the peripheral answers
 * SPISclk       clock of the SPI, passed on as it is
 * SPIInitDelay  delay at the beginning, passed on as it is
 * SPIInterval   interval, passed on as it is
 * SPICmd        in, SPICmdSize bytes: what is sent to the peripheral; with more than the frame has room for
 *               its length byte wraps
 * SPIResData    out, SPIResSize bytes, with result 0 and a SPIResSize of at most 7; with 8 or more nothing is
 *               copied
 */
TAGWIRE_API int GetSPI(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                       unsigned char SPICmdSize, unsigned char SPIResSize, unsigned char SPISclk,
                       unsigned char SPIInitDelay, unsigned char SPIInterval, unsigned char* SPICmd,
                       unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                       unsigned char MaskLen, unsigned char* MaskData, unsigned char* SPIResData,
                       int* Errorcode, int FrmHandle);

/* Resets the tag's alarm (command 0x88). ENum at most 15, or the mask. *address is written with result 0. */
TAGWIRE_API int ResetAlarm(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                           unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                           unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* How long the carrier stays on (command 0x84).
 *
 * CarrierTime  in and out, 1 byte. In: the time, in the reader's unit; out: what the reader has set
 *
 * *address and CarrierTime are written with every answer to the command, which all give 0: the status does
 * not show.
 */
TAGWIRE_API int SetCarrierTime(unsigned char* address, unsigned char* CarrierTime, int FrmHandle);

/* Asks for a tag and what identifies it (command 0x80). ENum at most 15, no mask. Outputs, *address among
 * them, are written with result 0 only.
 *
 * EPCLen  out, 1 byte: count of bytes in NewEPC, as the reader says. What it says beyond the answer's frame
 *         is not there: above 233 the end of the outputs behind it stays as it was
 * NewEPC  out, at most 248 bytes: the EPC
 * RSSI    out, 1 byte: signal strength, the reader's own scale
 * KI      out, 2 bytes: as received
 * TID     out, 12 bytes: as received
 */
TAGWIRE_API int QueryAndIdentify(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                 unsigned char* EPCLen, unsigned char* NewEPC, unsigned char* RSSI,
                                 unsigned char* KI, unsigned char* TID, int FrmHandle);

/* The two steps of an exchange of tokens with the reader (commands 0x81, 0x82). What the bytes mean is a
 * matter of reader and tag: they are passed on as they are.
 *
 * RT      out, 4 bytes
 * Token1  in, 8 bytes
 * Token2  out, 8 bytes
 * Handle  out, 2 bytes
 *
 * Outputs, *address among them, are written with every answer to the command, which all give 0: the status
 * does not show.
 */
TAGWIRE_API int FirstIdentify(unsigned char* address, unsigned char* RT, int FrmHandle);
TAGWIRE_API int SecondIdentify(unsigned char* address, unsigned char* Token1, unsigned char* Token2,
                               unsigned char* Handle, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
