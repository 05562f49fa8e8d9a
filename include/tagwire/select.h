/* The Gen2 Select filter that the reader applies before its later operations.
 *
 * Parameters that the calls share; all are passed on as they are:
 *
 * address    in, 1 byte: bus address of the reader
 * Session    target of the filter
 * Selaction  what happens to tags that match and to those that do not
 * MaskMem    bank
 * MaskAdr    in, 2 bytes: address of the first bit, high byte first
 * MaskLen    count of bits
 * MaskData   in, MaskLen / 8 bytes, rounded up
 * Truncate   whether tags answer with the part of the EPC behind the mask only
 *
 * Waits as ANSWER (tagwire/calls.h). The calls take no lock: one command at a time on a handle is the
 * caller's duty.
 *
 * Results: the reader's status, 0 for success; 48 no answer in time; 49 its CRC is wrong; 51 busy
 * (tagwire/calls.h); 55 no such handle, or its link is gone; 238 the answer belongs to another command.
 */
#ifndef TAGWIRE_SELECT_H
#define TAGWIRE_SELECT_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the filter of one antenna port (command 0x98).
 *
 * ant  the port's byte, passed on as it is
 */
TAGWIRE_API int SelectCMD(unsigned char* address, unsigned char ant, unsigned char Session,
                          unsigned char Selaction, unsigned char MaskMem, unsigned char* MaskAdr,
                          unsigned char MaskLen, unsigned char* MaskData, unsigned char Truncate,
                          int FrmHandle);

/* The same with a time for which the carrier stays on (command 0x98 with one byte more).
 *
 * ant          the port's byte, passed on as it is
 * CarrierTime  the time, in the reader's unit
 */
TAGWIRE_API int SelectCmdWithCarrier(unsigned char* address, unsigned char ant, unsigned char Session,
                                     unsigned char Selaction, unsigned char MaskMem, unsigned char* MaskAdr,
                                     unsigned char MaskLen, unsigned char* MaskData, unsigned char Truncate,
                                     unsigned char CarrierTime, int FrmHandle);

/* Sets the filter of the antenna ports whose bits are set (command 0x9A).
 *
 * Antenna  bit 0 is port 1; bits 0 to 15 count
 * portNum  ports that the reader has: above 8, 2 bytes of Antenna are sent, high byte first; else its low
 *          byte
 */
TAGWIRE_API int SelectCMDByAntenna(unsigned char* address, int Antenna, unsigned char portNum,
                                   unsigned char Session, unsigned char Selaction, unsigned char MaskMem,
                                   unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                   unsigned char Truncate, int FrmHandle);

/* Sets the filter of antenna ports given as a field of 64 bits (command 0x9A).
 *
 * Antenna  in, 8 bytes: sent in this order
 */
TAGWIRE_API int SelectCMDByMutipleAntenna(unsigned char* address, unsigned char* Antenna,
                                          unsigned char Session, unsigned char Selaction,
                                          unsigned char MaskMem, unsigned char* MaskAdr,
                                          unsigned char MaskLen, unsigned char* MaskData,
                                          unsigned char Truncate, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
