/* Tags that the reader keeps, and its search for tags by a list.
 *
 * Parameters that the calls share:
 *
 * address, ComAdr  in and out, 1 byte. In: bus address of the reader; out, with result 0 where nothing else
 *                  is said: address of the reader that answered
 *
 * The calls take no lock: one command at a time on a handle is the caller's duty. Outputs are written with
 * result 0 only, where nothing else is said. They wait as tagwire/calls.h says.
 *
 * Results where nothing else is said: 0 done; 48 no answer in time; 49 its CRC is wrong; 51 busy
 * (tagwire/calls.h); 55 no such handle, or its link is gone; 238 the answer belongs to another command; any other
 * value is the status of the reader. The calls that are not of the kind ANSWER give 48 in the place of 55
 * when the link is gone.
 */
#ifndef TAGWIRE_BUFFER_H
#define TAGWIRE_BUFFER_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Inventory into the reader's buffer (command 0x18). Waits as COUNT.
 *
 * QValue, Session, MaskMem, MaskAdr, MaskLen, MaskData, MaskFlag, Target, InAnt, Scantime and FastFlag are
 * those of tagwire/inventory.h.
 *
 * AdrTID       first word of the TID bank to keep instead of the EPC
 * LenTID       count of its words
 * TIDFlag      1 sends AdrTID and LenTID, any other value sends neither
 * BufferCount  out: tags in the buffer, 0 to 65535
 * TagNum       out: tags read this time, 0 to 65535
 */
TAGWIRE_API int InventoryBuffer_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                                   unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                                   unsigned char* MaskData, unsigned char MaskFlag, unsigned char AdrTID,
                                   unsigned char LenTID, unsigned char TIDFlag, unsigned char Target,
                                   unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
                                   int* BufferCount, int* TagNum, int FrmHandle);

/* Reads the buffer out (command 0x72); the tags stay in it. Waits as BUFFER.
 *
 * Totallen  out: count of bytes in pEPCList
 * CardNum   in and out: the count of tags is added to it, so set it to 0 before. An answer of 10 bytes or
 *           fewer sets it to 0
 * pEPCList  out: records as the reader stores them, back to back; at most 65536 bytes
 * ComAdr    in, 1 byte
 *
 * Results: 1 the buffer was read; 254 it is empty, and no output is touched; 48 no answer in time, or more
 * than the library can hold; 51 and 55 as above. The answers' CRC is not tested.
 */
TAGWIRE_API int ReadBuffer_G2(unsigned char* ComAdr, int* Totallen, int* CardNum, unsigned char* pEPCList,
                              int FrmHandle);

/* Counts the tags in the buffer (command 0x74).
 *
 * Count  out: 0 to 65535
 */
TAGWIRE_API int GetBufferCnt_G2(unsigned char* ComAdr, int* Count, int FrmHandle);

/* Empties the buffer (command 0x73). */
TAGWIRE_API int ClearBuffer_G2(unsigned char* ComAdr, int FrmHandle);

/* Sets and gets how much of a tag's EPC the buffer keeps (commands 0x70 and 0x71).
 *
 * SaveLen  in, and out of GetSaveLen, 1 byte: the reader's coding, passed on as it is
 */
TAGWIRE_API int SetSaveLen(unsigned char* ComAdr, unsigned char SaveLen, int FrmHandle);
TAGWIRE_API int GetSaveLen(unsigned char* ComAdr, unsigned char* SaveLen, int FrmHandle);

/* Reads the reader's separate tag buffer out (command 0x43). Waits as RECORDS.
 *
 * Data        out: records back to back: 11 bytes, a length byte, and so many bytes; at most 65536 bytes
 * dataLength  out: count of bytes in Data
 * ComAdr      in, 1 byte
 *
 * Results: 0; 48 no answer in time or one that is too short; 51 and 55 as above. The answers' CRC is not
 * tested.
 */
TAGWIRE_API int GetTagBufferInfo(unsigned char* ComAdr, unsigned char* Data, int* dataLength, int FrmHandle);

/* Empties the separate tag buffer (command 0x44). */
TAGWIRE_API int ClearTagBuffer(unsigned char* ComAdr, int FrmHandle);

/* Loads the list of IDs to search for (command 0xE6, function 0x01).
 *
 * opt      0 or 1, the reader's own coding
 * CardNum  count of IDs, 0 to 30
 * epc      in, epclen bytes: the IDs, as the reader takes them
 * epclen   0 to 246; below 0 counts as no ID, but the frame's length byte shrinks by it
 *
 * An argument above its range gives 255, with nothing sent.
 */
TAGWIRE_API int Find_epc_list_cfg(unsigned char* address, unsigned char opt, unsigned char CardNum,
                                  unsigned char* epc, int epclen, int FrmHandle);

/* Inventory that reports the tags of the list only (command 0xE7). Waits as INVENTORY.
 *
 * Fixed_Q  Q of all rounds, passed on as it is
 * Antenna  antennas as bits, low 16 bits, sent high byte first
 * CardNum  out: count of records; 0 with result 48
 * epc      out: the records back to back; at most 65536 bytes; untouched with result 48
 * epclen   out: count of bytes in epc; untouched with result 48
 * address  in, 1 byte
 *
 * Its tags never go to the callback. Results: the final status, of which 1 (all found) and 2 (scan time over)
 * are success; 48 when the reader fell silent, refused the command (echo 0xEE), or sent more than the library
 * can hold; 51 and 55 as above.
 */
TAGWIRE_API int Find_epc_by_list(unsigned char* address, unsigned char Fixed_Q, int Antenna, int* CardNum,
                                 unsigned char* epc, int* epclen, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
