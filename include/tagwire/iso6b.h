/* ISO 18000-6B tags: an ID of 8 bytes, memory addressed by bytes, each of which can be locked.
 *
 * Parameters that the calls share:
 *
 * address       in and out, 1 byte. In: bus address of the reader; out: address of the reader that answered,
 *               with every status, but for CheckLock_6B, which writes it with result 0 only
 * ID_6B         in, 8 bytes: the tag's ID
 * StartAddress  address of the byte, or of the first one, 0 to 255
 * Errorcode     out: -1 with result 0; the tag's own error code, 0 to 255, with result 0xFC; untouched with
 *               any other
 *
 * Waits as ANSWER (tagwire/calls.h). The calls take no lock: one command at a time on a handle is the
 * caller's duty. No pointer may be null.
 *
 * Results: the reader's status, 0 for success where nothing else is said; 0xFC the tag refused, see
 * Errorcode; 48 no answer in time; 49 its CRC is wrong; 51 busy (tagwire/calls.h); 55 no such handle, or its
 * link is gone; 238 the answer belongs to another command.
 */
#ifndef TAGWIRE_ISO6B_H
#define TAGWIRE_ISO6B_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Asks for one tag (command 0x50). The result is the reader's status, which tells whether there was one.
 *
 * Ant    out, 1 byte: antenna byte; untouched by an answer without data
 * ID_6B  out, 10 bytes: the ID as reported; untouched by an answer without data
 */
TAGWIRE_API int InventorySingle_6B(unsigned char* address, unsigned char* Ant, unsigned char* ID_6B,
                                   int FrmHandle);

/* Asks for the tags whose memory meets a condition (command 0x51). The result is the reader's status.
 *
 * Condition         how memory is compared, passed on as it is
 * mask              which of the 8 bytes are compared, passed on as it is
 * ConditionContent  in, 8 bytes: what to compare with
 * Ant               out, 1 byte: antenna byte
 * ID_6B             out: the IDs back to back, as reported; at most 248 bytes
 * Cardnum           out: count of tags, 0 to 255
 *
 * An answer without data leaves the three outputs as they were.
 */
TAGWIRE_API int InventoryMultiple_6B(unsigned char* address, unsigned char Condition,
                                     unsigned char StartAddress, unsigned char mask,
                                     unsigned char* ConditionContent, unsigned char* Ant,
                                     unsigned char* ID_6B, int* Cardnum, int FrmHandle);

/* Reads bytes (command 0x52).
 *
 * Num   count of bytes
 * Data  out, Num bytes (at most 250), with result 0 and an answer with data. A reader that sends less leaves
 *       meaningless bytes at the end
 */
TAGWIRE_API int ReadData_6B(unsigned char* address, unsigned char* ID_6B, unsigned char StartAddress,
                            unsigned char Num, unsigned char* Data, int* Errorcode, int FrmHandle);

/* Writes bytes (command 0x53).
 *
 * Writedata     in, Writedatalen bytes
 * Writedatalen  count of bytes; a frame has room for 242, with more its length byte wraps
 * writtenbyte   out, 1 byte, with result 0: Writedatalen, as the reader reports no count
 */
TAGWIRE_API int WriteData_6B(unsigned char* address, unsigned char* ID_6B, unsigned char StartAddress,
                             unsigned char* Writedata, unsigned char Writedatalen, unsigned char* writtenbyte,
                             int* Errorcode, int FrmHandle);

/* Asks whether a byte is locked (command 0x54).
 *
 * ReLockState  out, 1 byte, with result 0: as the reader gives it
 */
TAGWIRE_API int CheckLock_6B(unsigned char* address, unsigned char* ID_6B, unsigned char StartAddress,
                             unsigned char* ReLockState, int* Errorcode, int FrmHandle);

/* Locks a byte, for good (command 0x55). */
TAGWIRE_API int Lock_6B(unsigned char* address, unsigned char* ID_6B, unsigned char StartAddress,
                        int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
