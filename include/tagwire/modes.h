/* Work modes, the parameters of reading without a host, and numbered parameters.
 *
 * The results are those of tagwire/settings.h, and so is the waiting, where nothing else is said. Values are
 * 1 byte where nothing else is said, in the reader's coding, passed on as they are. Outputs are written with
 * result 0 only.
 *
 * address  in, 1 byte: bus address of the reader
 */
#ifndef TAGWIRE_MODES_H
#define TAGWIRE_MODES_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Whether the reader waits for commands or reads and reports by itself (command 0x35). Waits as PICKED
 * (tagwire/calls.h) and skips other frames, damaged ones too, so that it works while the reader reports: 48
 * in the place of 49 and 238.
 *
 * Read_mode  the work mode
 */
TAGWIRE_API int SetWorkMode(unsigned char* address, unsigned char Read_mode, int FrmHandle);

/* Read mode (command 0x76). Waits as SetWorkMode does, and skips what it skips.
 *
 * ReadMode  the read mode
 */
TAGWIRE_API int SetReadMode(unsigned char* address, unsigned char ReadMode, int FrmHandle);

/* The whole parameter block (command 0x36).
 *
 * Read_mode     out, 1 byte: work mode
 * Accuracy      out, 1 byte: EAS accuracy
 * RepCondition  out, 1 byte: condition of reports
 * RepPauseTime  out, 1 byte: pause of reports
 * ReadPauseTim  out, 1 byte: pause between inventories
 * TagProtocol   out, 1 byte: air protocols
 * MaskMem       out, 1 byte: bank of the mask
 * MaskAdr       out, 2 bytes: address of its first bit, as received
 * MaskLen       out, 1 byte: count of bits
 * MaskData      out, 32 bytes, always
 * TriggerTime   out, 1 byte: trigger time; 0 when the reader answers in the short form
 * AdrTID        out, 1 byte: first word of the TID bank to report; untouched in the short form
 * LenTID        out, 1 byte: count of its words; untouched in the short form
 */
TAGWIRE_API int GetSystemParameter(unsigned char* address, unsigned char* Read_mode, unsigned char* Accuracy,
                                   unsigned char* RepCondition, unsigned char* RepPauseTime,
                                   unsigned char* ReadPauseTim, unsigned char* TagProtocol,
                                   unsigned char* MaskMem, unsigned char* MaskAdr, unsigned char* MaskLen,
                                   unsigned char* MaskData, unsigned char* TriggerTime, unsigned char* AdrTID,
                                   unsigned char* LenTID, int FrmHandle);

/* Parameters of reading without a host (command 0x75).
 *
 * Parameter  in, 5 bytes
 * MaskFlag   1 sends the mask. Any other value sends none, and its pointers are not looked at
 * MaskMem    bank of the mask
 * MaskAdr    in, 2 bytes: address of its first bit, sent in this order
 * MaskLen    count of bits
 * MaskData   in, MaskLen / 8 bytes, rounded up
 * TIDFlag    1 sends AdrTID and LenTID, any other value sends neither
 * AdrTID     first word of the TID bank to report
 * LenTID     count of its words
 */
TAGWIRE_API int SetReadParameter(unsigned char* address, unsigned char* Parameter, unsigned char MaskMem,
                                 unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                 unsigned char MaskFlag, unsigned char AdrTID, unsigned char LenTID,
                                 unsigned char TIDFlag, int FrmHandle);

/* The same parameters as the reader keeps them (command 0x77).
 *
 * Parameter  out, at most 250 bytes: what the answer has
 */
TAGWIRE_API int GetReadParameter(unsigned char* address, unsigned char* Parameter, int FrmHandle);

/* A numbered parameter (commands 0xEA, 0xEB).
 *
 * opt      passed on as it is
 * cfgNo    number of the parameter
 * cfgData  in, len bytes, none for a len of 0 or less; out of GetCfgParameter, at most 250 bytes, whatever
 *          len says
 * len      in, and out of GetCfgParameter: count of bytes. A frame has room for 249, with more, and below 0,
 *          its length byte wraps. What comes out is the bytes received less 6: a broken answer can make that
 *          -1, or more than 250
 */
TAGWIRE_API int SetCfgParameter(unsigned char* address, unsigned char opt, unsigned char cfgNo,
                                unsigned char* cfgData, int len, int FrmHandle);
TAGWIRE_API int GetCfgParameter(unsigned char* address, unsigned char cfgNo, unsigned char* cfgData, int* len,
                                int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
