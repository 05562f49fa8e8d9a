/* Tags of the GB air interface and of its variant JB.
 *
 * The calls of the two families send the same frames, but for the byte Algo of the JB inventories; which
 * family is meant is the reader's setting.
 *
 * Parameters that the calls share:
 *
 * address    in and out, 1 byte. In: bus address of the reader; out, where the call says so: address of the
 *            reader that answered
 * MaskMem    bank of the mask, passed on as it is
 * MaskAdr    in, 2 bytes: address of the mask's first bit, high byte first
 * MaskLen    count of bits
 * MaskData   in, MaskLen / 8 bytes, rounded up
 * TNum       how a single tag is named: 0 to 15 by its ID, of so many 16-bit words; 255 by the mask; 16 to
 *            254 give 255, with nothing sent and no output touched
 * TagID      in, 2 x TNum bytes: not looked at when the mask is used
 * WordPtr    in, 2 bytes: first 16-bit word, high byte first
 * Password   in, 4 bytes: access password
 * Errorcode  out: -1 with result 0; the tag's own error code, 0 to 255, with result 0xFC; untouched with any
 *            other
 *
 * The mask's pointers are looked at only where the mask is sent. The calls take no lock: one command at a
 * time on a handle is the caller's duty. Those of a single tag wait as ANSWER, inventories as INVENTORY
 * (tagwire/calls.h).
 *
 * Results of the single-tag calls: 0; 0xFC the tag refused, see Errorcode; 48 no answer in time; 49 its CRC
 * is wrong; 51 busy (tagwire/calls.h); 55 no such handle, or its link is gone; 238 the answer belongs to
 * another command; 255 TNum is out of range; any other value is the status of the reader.
 */
#ifndef TAGWIRE_GB_H
#define TAGWIRE_GB_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Inventories (command 0x56), and inventories that read memory of each tag (command 0x57).
 *
 * address   in, 1 byte
 * Algo      JB: anti-collision algorithm, passed on as it is
 * MaskFlag  1 sends the mask, any other value sends none
 * ReadMem   bank to read
 * ReadAdr   in, 2 bytes: first word to read, high byte first
 * ReadLen   count of words to read
 * Psd       in, 4 bytes: access password
 * FastFlag  1 sends InAnt and Scantime, any other value sends neither
 * InAnt     antenna, passed on as it is
 * Scantime  how long the reader looks for tags, in units of 100 ms
 * pEPCList  out: the records back to back, those of Inventory_G2 and, with a memory read, of InventoryMix_G2
 *           (see tagwire/inventory.h); at most 65536 bytes
 * Ant       out, 1 byte: antenna byte of the last frame with tags; untouched when there was none
 * Totallen  out: count of bytes in pEPCList
 * CardNum   out: count of records
 *
 * With result 48 CardNum is 0 and the other outputs are untouched. Outputs may be null. With a callback
 * registered, every record goes to it too; if it was registered with isBackUID true, pEPCList and Ant are
 * untouched and Totallen and CardNum are 0.
 *
 * Results: the final status, of which 1 (all found) and 2 (scan time over) are success; 48 the reader fell
 * silent, refused the command (echo 0xEE), or the link is gone; 51 and 55 as above.
 */
TAGWIRE_API int Inventory_GB(unsigned char* address, unsigned char MaskMem, unsigned char* MaskAdr,
                             unsigned char MaskLen, unsigned char* MaskData, unsigned char MaskFlag,
                             unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
                             unsigned char* pEPCList, unsigned char* Ant, int* Totallen, int* CardNum,
                             int FrmHandle);
TAGWIRE_API int Inventory_JB(unsigned char* address, unsigned char Algo, unsigned char MaskMem,
                             unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                             unsigned char MaskFlag, unsigned char InAnt, unsigned char Scantime,
                             unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                             int* Totallen, int* CardNum, int FrmHandle);
TAGWIRE_API int InventoryMix_GB(unsigned char* address, unsigned char MaskMem, unsigned char* MaskAdr,
                                unsigned char MaskLen, unsigned char* MaskData, unsigned char MaskFlag,
                                unsigned char ReadMem, unsigned char* ReadAdr, unsigned char ReadLen,
                                unsigned char* Psd, unsigned char InAnt, unsigned char Scantime,
                                unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                int* Totallen, int* CardNum, int FrmHandle);
TAGWIRE_API int InventoryMix_JB(unsigned char* address, unsigned char Algo, unsigned char MaskMem,
                                unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                unsigned char MaskFlag, unsigned char ReadMem, unsigned char* ReadAdr,
                                unsigned char ReadLen, unsigned char* Psd, unsigned char InAnt,
                                unsigned char Scantime, unsigned char FastFlag, unsigned char* pEPCList,
                                unsigned char* Ant, int* Totallen, int* CardNum, int FrmHandle);

/* Reads words (command 0x58).
 *
 * ReadMem  memory area, passed on as it is
 * WordNum  count of words
 * Data     out, with result 0: the words. The answer decides how many they are, at most 250 bytes
 * address  in and out, 1 byte: written with result 0
 */
TAGWIRE_API int ReadData_GB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                            unsigned char ReadMem, unsigned char* WordPtr, unsigned char WordNum,
                            unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                            unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                            int* Errorcode, int FrmHandle);
TAGWIRE_API int ReadData_JB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                            unsigned char ReadMem, unsigned char* WordPtr, unsigned char WordNum,
                            unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                            unsigned char MaskLen, unsigned char* MaskData, unsigned char* Data,
                            int* Errorcode, int FrmHandle);

/* Writes words (command 0x59).
 *
 * WNum     count of words
 * WMem     memory area, passed on as it is
 * Wdt      in, 2 x WNum bytes: the words; with more than the frame has room for its length byte wraps
 * address  in and out, 1 byte: written with result 0
 */
TAGWIRE_API int WriteData_GB(unsigned char* address, unsigned char* TagID, unsigned char WNum,
                             unsigned char TNum, unsigned char WMem, unsigned char* WordPtr,
                             unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                             unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                             int* Errorcode, int FrmHandle);
TAGWIRE_API int WriteData_JB(unsigned char* address, unsigned char* TagID, unsigned char WNum,
                             unsigned char TNum, unsigned char WMem, unsigned char* WordPtr,
                             unsigned char* Wdt, unsigned char* Password, unsigned char MaskMem,
                             unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                             int* Errorcode, int FrmHandle);

/* Erases words (command 0x5A).
 *
 * EMem     memory area, passed on as it is
 * ENum     in, 2 bytes: count of words, high byte first
 * address  in, 1 byte
 */
TAGWIRE_API int BlockErase_GB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                              unsigned char EMem, unsigned char* WordPtr, unsigned char* ENum,
                              unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                              unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);
TAGWIRE_API int BlockErase_JB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                              unsigned char EMem, unsigned char* WordPtr, unsigned char* ENum,
                              unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                              unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Locks a memory area (command 0x5B). The fields are passed on as they are.
 *
 * LockMem  memory area
 * Cfg      what is configured
 * Action   how
 * address  in, 1 byte
 */
TAGWIRE_API int Lock_GB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                        unsigned char LockMem, unsigned char Cfg, unsigned char Action,
                        unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                        unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);
TAGWIRE_API int Lock_JB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                        unsigned char LockMem, unsigned char Cfg, unsigned char Action,
                        unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                        unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Kills the tag, for good (command 0x5C).
 *
 * Killpwd  in, 4 bytes: kill password
 * address  in, 1 byte
 */
TAGWIRE_API int KillTag_GB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                           unsigned char* Killpwd, unsigned char MaskMem, unsigned char* MaskAdr,
                           unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);
TAGWIRE_API int KillTag_JB(unsigned char* address, unsigned char* TagID, unsigned char TNum,
                           unsigned char* Killpwd, unsigned char MaskMem, unsigned char* MaskAdr,
                           unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
