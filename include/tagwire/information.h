/* Who is the reader?
 *
 * Results of both calls: 0; 48 no answer in time; 49 its CRC is wrong; 51 continuous reading runs; 55 no such
 * handle; 238 the answer belongs to another command; any other value is the status of the reader. Outputs are
 * written only with 0; no pointer may be null.
 */
#ifndef TAGWIRE_INFORMATION_H
#define TAGWIRE_INFORMATION_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Asks the reader for its information (command 0x21). Waits at most 200 ms on a serial line, 1 s on TCP.
 *
 * ComAdr       1 byte, in: bus address to ask; out: address of the reader that answered
 * VersionInfo  2 bytes: firmware version, sub-version
 * ReaderType   1 byte
 * TrType       1 byte: air protocols
 * dmaxfre      1 byte: highest frequency, with bits of the band
 * dminfre      1 byte: lowest frequency, with bits of the band
 * powerdBm     1 byte: output power in dBm
 * ScanTime     1 byte: inventory scan time in units of 100 ms
 * Ant          1 byte: antenna setting
 * BeepEn       1 byte: beeper on notification
 * OutputRep    1 byte: output report setting
 * CheckAnt     1 byte: antenna check
 *
 * A reader that answers with a short error frame is not recognised; the call ends with 48.
 */
TAGWIRE_API int GetReaderInformation(unsigned char* ComAdr, unsigned char* VersionInfo,
                                     unsigned char* ReaderType, unsigned char* TrType, unsigned char* dmaxfre,
                                     unsigned char* dminfre, unsigned char* powerdBm, unsigned char* ScanTime,
                                     unsigned char* Ant, unsigned char* BeepEn, unsigned char* OutputRep,
                                     unsigned char* CheckAnt, int FrmHandle);

/* Asks for the radio module inside the reader (command 0x83 with one data byte). Waits at most 2 s.
 *
 * address  1 byte, in only: bus address to ask
 * Version  2 bytes: module version, sub-version
 * mType    1 byte: module type
 * Tr_Type  1 byte: air protocols of the module
 */
TAGWIRE_API int GetModuleDetails(unsigned char* address, unsigned char* Version, unsigned char* mType,
                                 unsigned char* Tr_Type, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
