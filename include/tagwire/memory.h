/* Reading and writing the memory of one EPC Gen2 tag.
 *
 * Parameters that the calls share:
 *
 * address    in and out, 1 byte. In: bus address of the reader; out, where the call says so: address of the
 *            reader that answered
 * ENum       how the tag is named: 0 to 31 by its EPC, of so many 16-bit words (0: no EPC is sent); 255 by
 *            the mask; 32 to 254 give 255, with nothing sent and no output touched
 * EPC        in, 2 x ENum bytes: as on the tag; not looked at when the mask is used
 * MaskMem    bank of the mask, which is used with ENum 255 only: 1 EPC, 2 TID, 3 user
 * MaskAdr    in, 2 bytes: address of the mask's first bit, high byte first; not looked at without the mask
 * MaskLen    count of bits
 * MaskData   in, MaskLen / 8 bytes, rounded up; not looked at without the mask
 * Mem        bank: 0 reserved, 1 EPC, 2 TID, 3 user; passed on as it is
 * Password   in, 4 bytes: access password; zeros when the tag has none
 * Errorcode  out: -1 with result 0; the tag's own error code, 0 to 255, with result 0xFC; untouched with any
 *            other
 *
 * Words are 2 bytes, high byte first, here and on the tag. A frame has room for 251 bytes behind its command
 * code: with more (long data, or a long EPC) its length byte wraps and it is cut accordingly, so split long
 * writes.
 *
 * Waits as ANSWER (tagwire/calls.h). The calls take no lock: one command at a time on a handle is the
 * caller's duty.
 *
 * Results:
 *   0     done
 *   0xFC  the tag refused, see Errorcode
 *   48    no answer in time, or the link is broken
 *   49    the answer's CRC is wrong
 *   51    busy (tagwire/calls.h)
 *   55    no such handle, or its link is gone
 *   238   the answer belongs to another command
 *   255   ENum is out of range, nothing was sent
 *   else  the reader's status, for example 0xFB: no tag answered
 */
#ifndef TAGWIRE_MEMORY_H
#define TAGWIRE_MEMORY_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads words (command 0x02).
 *
 * WordPtr  first word, 0 to 255
 * Num      count of words to read
 * Data     out, with result 0: the words. The answer decides how many they are, at most 250 bytes; size it
 *          for 2 x Num bytes, and for 250 where the reader is not trusted
 * address  in and out, 1 byte: written with result 0
 */
TAGWIRE_API int ReadData_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum, unsigned char Mem,
                            unsigned char WordPtr, unsigned char Num, unsigned char* Password,
                            unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                            unsigned char* MaskData, unsigned char* Data, int* Errorcode, int FrmHandle);

/* Reads words, with a word pointer of 2 bytes (command 0x15); else as ReadData_G2.
 *
 * WordPtr  in, 2 bytes: first word, high byte first
 * Num      count of words to read
 * Data     out, with result 0, at most 250 bytes: the words
 */
TAGWIRE_API int ExtReadData_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char Mem, unsigned char* WordPtr, unsigned char Num,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                               int* Errorcode, int FrmHandle);

/* Writes words (command 0x03).
 *
 * WordPtr  first word, 0 to 255
 * WNum     count of words
 * Wdt      in, 2 x WNum bytes: the words
 * address  in and out, 1 byte: written with result 0
 *
 * Takes handles 1 to 256; 256 is never open and gives 55.
 */
TAGWIRE_API int WriteData_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                             unsigned char ENum, unsigned char Mem, unsigned char WordPtr, unsigned char* Wdt,
                             unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                             unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Writes words, with a word pointer of 2 bytes (command 0x16); else as WriteData_G2, but for the handles.
 *
 * WordPtr  in, 2 bytes: first word, high byte first
 * WNum     count of words
 * Wdt      in, 2 x WNum bytes: the words
 */
TAGWIRE_API int ExtWriteData_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                                unsigned char ENum, unsigned char Mem, unsigned char* WordPtr,
                                unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                                unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                int* Errorcode, int FrmHandle);

/* Writes words by the tag's own block write (command 0x10, and 0xCF with a word pointer of 2 bytes); else as
 * WriteData_G2, but for the handles.
 *
 * WordPtr  first word; of ExtBlockWrite_G2 in, 2 bytes, high byte first
 * WNum     count of words
 * Wdt      in, 2 x WNum bytes: the words
 */
TAGWIRE_API int BlockWrite_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                              unsigned char ENum, unsigned char Mem, unsigned char WordPtr,
                              unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                              unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                              int* Errorcode, int FrmHandle);
TAGWIRE_API int ExtBlockWrite_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                                 unsigned char ENum, unsigned char Mem, unsigned char* WordPtr,
                                 unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                                 unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                 int* Errorcode, int FrmHandle);

/* Erases words (command 0x07).
 *
 * WordPtr  first word, 0 to 255
 * Num      count of words
 * address  in, 1 byte
 */
TAGWIRE_API int BlockErase_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                              unsigned char Mem, unsigned char WordPtr, unsigned char Num,
                              unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                              unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Writes the EPC of the tag that answers, whichever it is: have one tag only in the field (command 0x04).
 *
 * WriteEPC  in, 2 x ENum bytes: the new EPC
 * ENum      length of the new EPC in words; any value is sent
 * address   in, 1 byte
 */
TAGWIRE_API int WriteEPC_G2(unsigned char* address, unsigned char* Password, unsigned char* WriteEPC,
                            unsigned char ENum, int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
