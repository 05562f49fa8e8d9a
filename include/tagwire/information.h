/* Who is the reader?
 *
 * Outputs are written with result 0 only. For GetReaderInformation, which waits as PICKED (tagwire/calls.h;
 * GetModuleDetails as ANSWER), frames that are damaged or answer another command do not count: it ends
 * with 48 in the place of 49 and 238.
 *
 * Results:
 *   0     done
 *   48    no answer in time
 *   49    the answer's CRC is wrong (GetModuleDetails)
 *   51    busy (tagwire/calls.h)
 *   55    no such handle, or its link is gone
 *   238   the answer belongs to another command (GetModuleDetails)
 *   else  the status of the reader: it refused
 */
#ifndef TAGWIRE_INFORMATION_H
#define TAGWIRE_INFORMATION_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Asks the reader for its information (command 0x21). What a byte means where nothing is said of it is the
 * reader's coding, passed on as it is.
 *
 * ComAdr       in and out, 1 byte. In: bus address to ask; out: address of the reader that answered
 * VersionInfo  out, 2 bytes: firmware version, sub-version
 * ReaderType   out, 1 byte
 * TrType       out, 1 byte: air protocols
 * dmaxfre      out, 1 byte: highest frequency, with bits of the band
 * dminfre      out, 1 byte: lowest frequency, with bits of the band
 * powerdBm     out, 1 byte: output power in dBm
 * ScanTime     out, 1 byte: inventory scan time in units of 100 ms
 * Ant          out, 1 byte: antenna setting
 * BeepEn       out, 1 byte: beeper on notification
 * OutputRep    out, 1 byte: output report setting
 * CheckAnt     out, 1 byte: antenna check
 *
 * A reader that refuses with a short error frame is not recognised; the call ends with 48.
 */
TAGWIRE_API int GetReaderInformation(unsigned char* ComAdr, unsigned char* VersionInfo,
                                     unsigned char* ReaderType, unsigned char* TrType, unsigned char* dmaxfre,
                                     unsigned char* dminfre, unsigned char* powerdBm, unsigned char* ScanTime,
                                     unsigned char* Ant, unsigned char* BeepEn, unsigned char* OutputRep,
                                     unsigned char* CheckAnt, int FrmHandle);

/* Asks for the radio module inside the reader (command 0x83 with one data byte).
 *
 * address  in, 1 byte: bus address to ask
 * Version  out, 2 bytes: module version, sub-version
 * mType    out, 1 byte: module type
 * Tr_Type  out, 1 byte: air protocols of the module
 */
TAGWIRE_API int GetModuleDetails(unsigned char* address, unsigned char* Version, unsigned char* mType,
                                 unsigned char* Tr_Type, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
