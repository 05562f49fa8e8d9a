/* Tags that measure their temperature.
 *
 * EPC, MaskMem, MaskAdr, MaskLen, MaskData, Password, Errorcode and the results are those of
 * tagwire/memory.h, and so is the waiting, where nothing else is said. What waiting times, selections and the
 * bytes of a sensor mean is a matter of tag and reader: they are passed on as they are. An answer with status
 * 0 and no data leaves its CRC bytes in outputs of fixed size.
 *
 * address  in and out, 1 byte. In: bus address of the reader; out, where the call says so: address of the
 *          reader that answered
 * ENum     as of tagwire/memory.h, with a limit that each call names: a longer EPC gives 255, with nothing
 *          sent. Where a call has no mask, 255 is too long too
 */
#ifndef TAGWIRE_SENSOR_H
#define TAGWIRE_SENSOR_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Has the tag measure, and reads words of it back (command 0x13; 0x14 with a time). ENum at most 14, no mask.
 * *address is written with result 0.
 *
 * WordPtr       word that starts the measurement
 * WaitTime      how long the tag has power before it is read
 * tTime         in, 6 bytes. They stand at bytes 6 to 11 of the frame, which is their place for ENum 0 only:
 *               with an EPC they cover part of it
 * ReadWordFlag  1 sends ReadWordPtr and ReadWordCnt, any other value sends neither
 * ReadWordPtr   first word to read
 * ReadWordCnt   count of words to read
 * Data          out, with result 0: the answer's data, at most 250 bytes
 */
TAGWIRE_API int GetTagTemperature(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                  unsigned char WordPtr, unsigned char WaitTime, unsigned char ReadWordPtr,
                                  unsigned char ReadWordCnt, unsigned char ReadWordFlag, unsigned char* Data,
                                  int* Errorcode, int FrmHandle);
TAGWIRE_API int GetTMP_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                          unsigned char WordPtr, unsigned char WaitTime, unsigned char* Data, int* Errorcode,
                          int FrmHandle);
TAGWIRE_API int GetTagTemperatureByTime(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                        unsigned char WordPtr, unsigned char WaitTime, unsigned char* tTime,
                                        unsigned char ReadWordPtr, unsigned char ReadWordCnt,
                                        unsigned char ReadWordFlag, unsigned char* Data, int* Errorcode,
                                        int FrmHandle);

/* Inventories that report temperatures (commands 0x17, 0xB0 and 0xB1). For the first two, which wait as
 * TEMPERATURE (tagwire/calls.h), ENum is at most 14; the third waits as INVENTORY.
 *
 * address          in, 1 byte
 * SelTarget        Select: target
 * SelAction        Select: action
 * QValue           bits 0-3 Q; bit 7 asks for the statistics variant
 * WaitTime         how long tags have power before they are read
 * Session, Target  of the inventory, as of Inventory_G2
 * inAnt, InAnt     antenna
 * Scantime         how long the reader looks for tags, in units of 100 ms
 * MaskFlag         1 sends MaskMem, MaskAdr, MaskLen and MaskData, any other value sends none
 * FastFlag         1 sends Target, InAnt and Scantime, any other value sends none
 * pEPCList         out: records back to back, as of tagwire/inventory.h; at most 65536 bytes, and 6 bytes of
 *                  statistics in front of them with a final status of 0x26 (not of 0xB1)
 * Ant              out, 1 byte: antenna byte of the last frame with tags; untouched when there was none
 * Totallen         out: count of bytes in pEPCList
 * CardNum          out: count of records
 *
 * With a callback registered, every record goes to it too; if it was registered with isBackUID true, pEPCList
 * and Ant are untouched and Totallen and CardNum are 0. Inventory_Temperature and
 * Inventory_Temperature_ltu32 end by the reader's last frame, silence or a close only.
 *
 * Results as of Inventory_G2: 1 all found, 2 scan time over; 48 the reader fell silent, the link is gone, or
 * the reader refused the command (echo 0xEE); 51, 55 and 255 as above; any other value is the reader's final
 * status.
 */
TAGWIRE_API int Inventory_Temperature(unsigned char* address, unsigned char ENum, unsigned char* EPC,
                                      unsigned char SelTarget, unsigned char SelAction,
                                      unsigned char WaitTime, unsigned char QValue, unsigned char Session,
                                      unsigned char Target, unsigned char inAnt, unsigned char Scantime,
                                      unsigned char* pEPCList, unsigned char* Ant, int* Totallen,
                                      int* CardNum, int FrmHandle);
TAGWIRE_API int Inventory_Temperature_ltu32(unsigned char* address, unsigned char ENum, unsigned char* EPC,
                                            unsigned char SelTarget, unsigned char SelAction,
                                            unsigned char WaitTime, unsigned char QValue,
                                            unsigned char Session, unsigned char Target, unsigned char inAnt,
                                            unsigned char Scantime, unsigned char* pEPCList,
                                            unsigned char* Ant, int* Totallen, int* CardNum, int FrmHandle);
TAGWIRE_API int Inventory_Temperature_Ast010(
    unsigned char* address, unsigned char QValue, unsigned char Session, unsigned char MaskMem,
    unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData, unsigned char MaskFlag,
    unsigned char Target, unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
    unsigned char* pEPCList, unsigned char* Ant, int* Totallen, int* CardNum, int FrmHandle);

/* Reads a measurement with the time it was made (command 0x86). ENum at most 15, or the mask. *address is
 * written with result 0.
 *
 * SendUID     not 0: the answer has the tag's ID in front
 * NewSample   whether to measure anew
 * UID         out: a byte of length and the ID, at most 251 bytes; without SendUID its first 12 bytes become
 *             0. An answer too short for an ID gives a length of 248 to 255, and no ID
 * SenserData  out, 4 bytes
 * UTC         out, 4 bytes: when it was measured, as received
 */
TAGWIRE_API int GetEMTmpData(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                             unsigned char SendUID, unsigned char NewSample, unsigned char* Password,
                             unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                             unsigned char* MaskData, unsigned char* UID, unsigned char* SenserData,
                             unsigned char* UTC, int* Errorcode, int FrmHandle);

/* Reads a temperature (command 0x8A). No mask.
 *
 * ENum       length of the EPC in words; any value is sent
 * TempData   out, 2 bytes, with result 0
 * Errorcode  out: 0 with result 0, else the answer's byte behind the status
 * ComAdr     in, 1 byte: bus address
 */
TAGWIRE_API int GetBxTagTemperature(unsigned char* ComAdr, unsigned char ENum, unsigned char* EPC,
                                    unsigned char* TempData, int* Errorcode, int FrmHandle);

/* Read a temperature (commands 0xCD and 0xE8). ENum at most 31, or the mask.
 *
 * Data     out, 2 bytes, with result 0
 * address  in, 1 byte
 */
TAGWIRE_API int YL_GetTempData(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                               int* Errorcode, int FrmHandle);
TAGWIRE_API int ON_GetTempData(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                               int* Errorcode, int FrmHandle);

/* Whether a sensor word is whole. Needs no reader.
 *
 * sense  in, 4 bytes
 *
 * 0  its three parity bits are right
 * 1  they are not
 */
TAGWIRE_API int CheckSense(unsigned char* sense);

/* Degrees Celsius of a sensor word, in single precision and the same on every machine. Needs no reader.
 *
 * sense  in, 4 bytes: as read from the tag
 * adj    in, 3 bytes: the tag's calibration
 *
 * 9999.0 for a word that is no measurement, 0.0 for an unknown kind of calibration.
 */
TAGWIRE_API float GetTemperature(unsigned char* sense, unsigned char* adj);

#ifdef __cplusplus
}
#endif

#endif
