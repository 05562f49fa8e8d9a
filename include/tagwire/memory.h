/* Reading and writing the memory of one EPC Gen2 tag.
 *
 * Parameters that the calls share:
 *
 * address    1 byte, in: bus address of the reader; out, where the call says so: address of the reader that
 *            answered
 * ENum       how the tag is named: 0 to 31 by its EPC, of so many 16-bit words (0: no EPC is sent); 255 by
 *            the mask; 32 to 254 give 255, with nothing sent and no output touched
 * EPC        2 x ENum bytes, as on the tag; not looked at when the mask is used
 * MaskMem    the mask, used with ENum 255 only: bank,
 * MaskAdr      2 bytes, address of its first bit, high byte first,
 * MaskLen      count of bits,
 * MaskData     MaskLen / 8 bytes, rounded up. The pointers are not looked at without the mask
 * Mem        bank: 0 reserved, 1 EPC, 2 TID, 3 user
 * WordPtr    first 16-bit word: 1 byte, or 2 bytes high byte first in the Ext calls
 * Password   4 bytes, access password; zeros when the tag has none
 * Errorcode  out: -1 with result 0; the tag's own error code with result 0xFC; untouched with any other
 *
 * Words are 2 bytes, high byte first, here and on the tag. Fields are passed on as they are. A frame has room
 * for 251 bytes behind its command code: with more (long data, or a long EPC) its length byte wraps and it is
 * cut accordingly, so split long writes.
 *
 * Waits: at most 2 s for the answer. The calls take no lock: one command at a time on a handle is the
 * caller's duty.
 *
 * Results:
 *   0     done
 *   0xFC  the tag refused, see Errorcode
 *   48    no answer in time, or the link is broken
 *   49    the answer's CRC is wrong
 *   51    continuous reading runs
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
 * Num      count of words to read
 * Data     out, with result 0: the words. The answer decides how many they are, at most 250 bytes; size it
 *          for 2 x Num bytes, and for 250 where the reader is not trusted
 * address  written with result 0
 */
TAGWIRE_API int ReadData_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum, unsigned char Mem,
                            unsigned char WordPtr, unsigned char Num, unsigned char* Password,
                            unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                            unsigned char* MaskData, unsigned char* Data, int* Errorcode, int FrmHandle);

/* Reads words, with a word pointer of 2 bytes (command 0x15); else as ReadData_G2. */
TAGWIRE_API int ExtReadData_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char Mem, unsigned char* WordPtr, unsigned char Num,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                               int* Errorcode, int FrmHandle);

/* Writes words (command 0x03).
 *
 * WNum     count of words
 * Wdt      2 x WNum bytes
 * address  written with result 0
 *
 * Takes handles 1 to 256; 256 is never open and gives 55.
 */
TAGWIRE_API int WriteData_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                             unsigned char ENum, unsigned char Mem, unsigned char WordPtr, unsigned char* Wdt,
                             unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                             unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Writes words, with a word pointer of 2 bytes (command 0x16); else as WriteData_G2, but for the handles. */
TAGWIRE_API int ExtWriteData_G2(unsigned char* address, unsigned char* EPC, unsigned char WNum,
                                unsigned char ENum, unsigned char Mem, unsigned char* WordPtr,
                                unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                                unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                int* Errorcode, int FrmHandle);

/* Writes words by the tag's own block write (commands 0x10 and, with a word pointer of 2 bytes, 0xCF); else
 * as WriteData_G2 and ExtWriteData_G2. */
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
 * Num      count of words
 * address  in only
 */
TAGWIRE_API int BlockErase_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                              unsigned char Mem, unsigned char WordPtr, unsigned char Num,
                              unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                              unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Writes the EPC of the tag that answers, whichever it is: have one tag only in the field (command 0x04).
 *
 * WriteEPC  2 x ENum bytes
 * ENum      length of the new EPC in words; any value is sent
 * address   in only
 */
TAGWIRE_API int WriteEPC_G2(unsigned char* address, unsigned char* Password, unsigned char* WriteEPC,
                            unsigned char ENum, int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
