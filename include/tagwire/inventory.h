/* Inventories of EPC Gen2 tags.
 *
 * Parameters that the calls share:
 *
 * address   in, 1 byte: bus address of the reader
 * QValue    bits 0-3 Q; bit 7 asks the reader for its statistics variant and is passed on with the other bits
 * Session   0 to 3 for S0 to S3, or what the reader takes besides; passed on as it is
 * MaskFlag  1 sends the mask, MaskMem to MaskData. Any other value sends none, and its pointers are not
 *           looked at
 * MaskMem   bank of the mask: 1 EPC, 2 TID, 3 user
 * MaskAdr   in, 2 bytes: address of the mask's first bit, high byte first
 * MaskLen   count of bits
 * MaskData  in, MaskLen / 8 bytes, rounded up
 * FastFlag  1 sends Target, InAnt and Scantime. Any other value sends none: the reader uses its settings
 * Target    0 = A, 1 = B; passed on as it is
 * InAnt     0x80 + antenna port, counted from 0; passed on as it is
 * Scantime  how long the reader looks for tags, in units of 100 ms; 0 to 255
 * pEPCList  out: the records of all tags back to back. At most 65536 bytes, 65542 with a final status of
 *           0x26, whose 6 bytes of statistics stand in front; size it for the most tags you expect
 * Ant       out, 1 byte: antenna byte of the last frame with tags; untouched when there was none
 * Totallen  out: count of bytes in pEPCList
 * CardNum   out: count of records
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
 * isBackUID true, the list stays empty: pEPCList and Ant are untouched, Totallen and CardNum are 0. If it was
 * registered with false and more comes than the list holds, the callback gets every record and the list keeps
 * the first ones.
 *
 * With results 48, 51 and 55 outputs are untouched, but for CardNum, which 48 makes 0.
 *
 * Waits as INVENTORY (tagwire/calls.h), where nothing else is said.
 *
 * Results:
 *   1, 2  the reader ended the inventory: all found, or its scan time over. Both are success, also with no
 *         tag
 *   48    the reader fell silent, the link is gone, the connection is being closed, or more than 65534 bytes
 *         came and no callback takes them. Also where the reader does not know the command: its frame with
 *         the echo 0xEE is passed over, and the silence after it ends the call
 *   51    busy (tagwire/calls.h)
 *   55    no such handle
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
 * AdrTID   first word of the TID bank to report instead of the EPC
 * LenTID   count of its words
 * TIDFlag  1 sends AdrTID and LenTID, any other value sends neither
 *
 * pEPCList, Ant, Totallen and CardNum may be null.
 */
TAGWIRE_API int Inventory_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                             unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                             unsigned char* MaskData, unsigned char MaskFlag, unsigned char AdrTID,
                             unsigned char LenTID, unsigned char TIDFlag, unsigned char Target,
                             unsigned char InAnt, unsigned char Scantime, unsigned char FastFlag,
                             unsigned char* pEPCList, unsigned char* Ant, int* Totallen, int* CardNum,
                             int FrmHandle);

/* Inventory that reports the EPC of a tag and words of another bank, each in a record of its own (command
 * 0x19).
 *
 * ReadMem  bank
 * ReadAdr  in, 2 bytes: first word, high byte first
 * ReadLen  count of words
 * Psd      in, 4 bytes: access password
 *
 * pEPCList, Ant, Totallen and CardNum may be null.
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
 * param       in, 4 x ParamCount bytes: bank, first word (2 bytes, high byte first), count of words, for each
 *             place
 * Psd         in, 4 bytes: access password
 *
 * No pointer may be null but those of a mask that is not sent.
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
 * MatchType    passed on as it is
 * MatchLen     in, 2 bytes: count of bits, high byte first
 * MatchOffset  in, 2 bytes: first bit, high byte first
 * EPCData      in, MatchLen / 8 bytes, rounded up: the bits to match. A frame has room for 246; with more,
 *              its length byte wraps and the frame is cut accordingly
 *
 * No pointer may be null.
 */
TAGWIRE_API int Inventory_EPC_G2(unsigned char* address, unsigned char MatchType, unsigned char* MatchLen,
                                 unsigned char* MatchOffset, unsigned char* EPCData, unsigned char* pEPCList,
                                 unsigned char* Ant, int* Totallen, int* CardNum, int FrmHandle);

/* Inventory of tags in QT private or public mode (command 0x1B). No pointer may be null. With isBackUID true
 * Totallen is untouched. */
TAGWIRE_API int Inventory_QT_G2(unsigned char* address, unsigned char QValue, unsigned char Session,
                                unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                int* Totallen, int* CardNum, int FrmHandle);

/* Inventory by FastBID (command 0x96) and by FastTID (command 0x97). No pointer may be null. With
 * isBackUID true Totallen is untouched. */
TAGWIRE_API int Inventory_FastBID_NXP(unsigned char* address, unsigned char QValue, unsigned char Session,
                                      unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                      unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                      int* Totallen, int* CardNum, int FrmHandle);
TAGWIRE_API int Inventory_FastTID_NXP(unsigned char* address, unsigned char QValue, unsigned char Session,
                                      unsigned char Target, unsigned char InAnt, unsigned char Scantime,
                                      unsigned char FastFlag, unsigned char* pEPCList, unsigned char* Ant,
                                      int* Totallen, int* CardNum, int FrmHandle);

/* Asks for one tag (command 0x0F). Waits as ANSWER.
 *
 * address    in and out, 1 byte. In: bus address; out, with result 1: address of the reader that answered
 * EPC        out: byte 0 the antenna byte, from byte 1 on the EPC; at most 248 bytes in all
 * EPCLength  out: the EPC's length byte as reported
 * CardNum    out: count of tags as reported
 *
 * 1     a tag was found; the only result with outputs
 * 48    no answer in time
 * 49    the answer's CRC is wrong
 * 51    busy (tagwire/calls.h)
 * 55    no such handle, or its link is gone
 * 238   the answer belongs to another command
 * else  the reader's status, 0 included
 */
TAGWIRE_API int SingleTagInventory_G2(unsigned char* address, unsigned char* EPC, int* EPCLength,
                                      int* CardNum, int FrmHandle);

/* Inventory that switches between four antennas in the reader (command 0x1C); its tags reach the callback
 * only. Waits as SWITCHING. Units and ranges are the reader's; passed on as they are.
 *
 * AntA, AntB, AntC, AntD      antenna of each step
 * StayA, StayB, StayC, StayD  how long it stays there
 * Interval                    pause between rounds
 * Repeat                      count of rounds
 *
 * 0     the connection is being closed
 * 48    the reader fell silent, the link is gone, or more than 65534 bytes came and there is no callback
 * 51    busy (tagwire/calls.h)
 * 55    no such handle
 * 238   the reader refused the command (echo 0xEE)
 * else  the reader's final status, as above
 */
TAGWIRE_API int Fast_switch_ant_inventory(unsigned char* address, unsigned char AntA, unsigned char StayA,
                                          unsigned char AntB, unsigned char StayB, unsigned char AntC,
                                          unsigned char StayC, unsigned char AntD, unsigned char StayD,
                                          unsigned char Interval, unsigned char Repeat, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
