/* Inventories of EPC Gen2 tags.
 *
 * Parameters that the calls share:
 *
 * address    1 byte, in only: bus address of the reader
 * QValue     bits 0-3 Q; bit 7 asks the reader for its statistics variant and is passed on with the other
 *            bits
 * Session    0 to 3 for S0 to S3, or what the reader takes besides
 * MaskFlag   1 sends the mask: MaskMem (bank), MaskAdr (2 bytes, bit address, high byte first), MaskLen
 *            (bits) and MaskData (MaskLen / 8 bytes, rounded up). Any other value sends none, and the mask's
 *            pointers are not looked at
 * FastFlag   1 sends Target (0 = A, 1 = B), InAnt (0x80 + antenna port, counted from 0) and Scantime (units
 *            of 100 ms). Any other value sends none: the reader uses its settings
 * pEPCList   out: the records of all tags back to back. At most 65536 bytes, 65542 with a final status of
 *            0x26; size it for the most tags you expect
 * Ant        out, 1 byte: antenna byte of the last frame with tags; untouched when there was none
 * Totallen   out: count of bytes in pEPCList
 * CardNum    out: count of records
 *
 * A record in pEPCList, L bytes of ID:
 *   Inventory_G2, _EPC, _QT, _FastBID, _FastTID:
 *                        length byte (bits 0-5 L, bit 6 phase flag), ID, RSSI, phase block
 *   InventoryMix_G2:     packet byte, length byte (as above), ID, RSSI, phase block
 *   InventoryExtMix_G2:  packet byte (bit 4 phase flag), length byte (L), ID, RSSI, phase block
 * The phase block is there when flagged: phase at begin (2 bytes), at end (2), frequency in kHz (3), each
 * high byte first.
 *
 * With a callback registered, every record also goes to it, as its frame arrives. If it was registered with
 * isBackUID true, the list stays empty: pEPCList and Ant are untouched, CardNum is 0. If it was registered
 * with false and more comes than the list holds, the callback gets every record and the list keeps the first
 * ones.
 *
 * Waits: until the reader ends the inventory; 5 s of silence end it with 48.
 *
 * Results:
 *   1, 2  the reader ended the inventory: all found, or its scan time over. Both are success, also with no
 *         tag
 *   48    the reader fell silent, the link is gone, the connection is being closed, or more than 65534 bytes
 *         came and no callback takes them. *CardNum is 0
 *   51    continuous reading runs, or the caller is inside a callback of an inventory on this handle
 *   55    no such handle
 *   238   the reader refused the command (echo 0xEE)
 *   255   a parameter is out of range, nothing was sent (InventoryExtMix_G2)
 *   else  the reader's final status, for example 0xFB: no tag answered
 */
#ifndef TAGWIRE_INVENTORY_H
#define TAGWIRE_INVENTORY_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Inventory of EPCs, or of TIDs when TIDFlag is 1 (command 0x01).
 *
 * AdrTID, LenTID  first word and count of words of the TID bank to report instead of the EPC
 *
 * pEPCList, Ant, Totallen and CardNum may be null. One inventory of this kind at a time on a handle: a second
 * thread waits.
 */
TAGWIRE_API int Inventory_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                             unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                             unsigned char* MaskData, unsigned char MaskFlag, unsigned char AdrTID,
                             unsigned char LenTID, unsigned char TIDFlag, unsigned char Target,
                             unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
                             unsigned char* pEPCList, unsigned char* Ant, int* Totallen, int* CardNum,
                             int FrmHandle);

/* Inventory that reports the EPC of a tag and words of another bank, each in a record of its own (0x19).
 *
 * ReadMem  bank
 * ReadAdr  2 bytes, first word, high byte first
 * ReadLen  count of words
 * Psd      4 bytes, access password
 *
 * pEPCList, Ant, Totallen and CardNum may be null. A second thread waits.
 */
TAGWIRE_API int InventoryMix_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                                unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                                unsigned char* MaskData, unsigned char MaskFlag, unsigned char ReadMem,
                                unsigned char* ReadAdr, unsigned char ReadLen, unsigned char* Psd,
                                unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                int* Totallen, int* CardNum, int FrmHandle);

/* Inventory that reports the EPC and words of up to three other places (command 0x20).
 *
 * ParamCount  1 to 3, else 255
 * param       4 x ParamCount bytes: bank, first word (2 bytes, high byte first), count of words, for each
 *             place
 * Psd         4 bytes, access password
 *
 * No pointer may be null. A second thread waits.
 */
TAGWIRE_API int InventoryExtMix_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                                   unsigned char ParamCount, unsigned char* param, unsigned char MaskMem,
                                   unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                   unsigned char MaskFlag, unsigned char* Psd, unsigned char Target,
                                   unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
                                   unsigned char* pEPCList, unsigned char* Ant, int* Totallen, int* CardNum,
                                   int FrmHandle);

/* Inventory of the tags whose EPC matches (command 0x1A).
 *
 * MatchType    passed to the reader as it is
 * MatchLen     2 bytes: count of bits, high byte first
 * MatchOffset  2 bytes: first bit, high byte first
 * EPCData      the bits to match, MatchLen / 8 bytes, rounded up. A frame has room for 246; with more, its
 *              length byte wraps and the frame is cut accordingly
 *
 * No pointer may be null. A second thread waits.
 */
TAGWIRE_API int Inventory_EPC_G2(unsigned char* address, unsigned char MatchType, unsigned char* MatchLen,
                                 unsigned char* MatchOffset, unsigned char* EPCData, unsigned char* pEPCList,
                                 unsigned char* Ant, int* Totallen, int* CardNum, int FrmHandle);

/* Inventory of tags in QT private or public mode (command 0x1B). No pointer may be null. A second thread
 * waits. With isBackUID true Totallen is untouched. */
TAGWIRE_API int Inventory_QT_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                                unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                int* Totallen, int* CardNum, int FrmHandle);

/* Inventory by FastBID (command 0x96) and by FastTID (command 0x97). No pointer may be null. They take no
 * lock: one at a time on a handle is the caller's duty. With isBackUID true Totallen is untouched. */
TAGWIRE_API int Inventory_FastBID_NXP(unsigned char* address, unsigned char QValue, unsigned char Session,
                                      unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                      unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                      int* Totallen, int* CardNum, int FrmHandle);
TAGWIRE_API int Inventory_FastTID_NXP(unsigned char* address, unsigned char QValue, unsigned char Session,
                                      unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                      unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                      int* Totallen, int* CardNum, int FrmHandle);

/* Asks for one tag (command 0x0F). Waits at most 2 s.
 *
 * address    1 byte, in: bus address; out, with result 1: address of the reader that answered
 * EPC        out: byte 0 the antenna byte, from byte 1 on the EPC; at most 248 bytes in all
 * EPCLength  out: the EPC's length byte as reported
 * CardNum    out: count of tags as reported
 *
 * 1     a tag was found; the only result with outputs
 * 48    no answer in time
 * 49    the answer's CRC is wrong
 * 51    continuous reading runs
 * 55    no such handle, or its link is gone
 * 238   the answer belongs to another command
 * else  the reader's status, 0 included
 */
TAGWIRE_API int SingleTagInventory_G2(unsigned char* address, unsigned char* EPC, int* EPCLength,
                                      int* CardNum, int FrmHandle);

/* Inventory that switches between four antennas in the reader (command 0x1C); its tags reach the callback
 * only.
 *
 * AntA .. AntD    antenna of each step
 * StayA .. StayD  how long it stays there
 * Interval        pause between rounds
 * Repeat          count of rounds
 *
 * Returns the reader's final status; 0 when the connection is being closed; 48 after 5 s of silence, or when
 * nothing came within the scan time and 4 s; 51, 55 and 238 as above.
 */
TAGWIRE_API int Fast_switch_ant_inventory(unsigned char* address, unsigned char AntA, unsigned char StayA,
                                          unsigned char AntB, unsigned char StayB, unsigned char AntC,
                                          unsigned char StayC, unsigned char AntD, unsigned char StayD,
                                          unsigned char Interval, unsigned char Repeat, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
