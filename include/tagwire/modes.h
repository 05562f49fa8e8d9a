/* Work modes, the parameters of reading without a host, and numbered parameters.
 *
 * address is in only. The waits, outputs and results are those of tagwire/settings.h; values are 1 byte where
 * nothing else is said.
 */
#ifndef TAGWIRE_MODES_H
#define TAGWIRE_MODES_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Whether the reader waits for commands or reads and reports by itself (command 0x35). Waits at most 200 ms
 * and skips other frames, so that it works while the reader reports. */
TAGWIRE_API int SetWorkMode(unsigned char* address, unsigned char Read_mode, int FrmHandle);

/* Read mode (command 0x76). Waits as SetWorkMode does. */
TAGWIRE_API int SetReadMode(unsigned char* address, unsigned char ReadMode, int FrmHandle);

/* The whole parameter block (command 0x36).
 *
 * Read_mode     work mode
 * Accuracy      EAS accuracy
 * RepCondition  condition of reports
 * RepPauseTime  pause of reports
 * ReadPauseTim  pause between inventories
 * TagProtocol   air protocols
 * MaskMem       mask: bank,
 * MaskAdr         2 bytes, address of the first bit,
 * MaskLen         count of bits,
 * MaskData        32 bytes, always
 * TriggerTime   trigger time; 0 when the reader answers in the short form
 * AdrTID        first word of the TID bank to report; untouched in the short form
 * LenTID        count of its words; untouched in the short form
 */
TAGWIRE_API int GetSystemParameter(unsigned char* address, unsigned char* Read_mode, unsigned char* Accuracy,
                                   unsigned char* RepCondition, unsigned char* RepPauseTime,
                                   unsigned char* ReadPauseTim, unsigned char* TagProtocol,
                                   unsigned char* MaskMem, unsigned char* MaskAdr, unsigned char* MaskLen,
                                   unsigned char* MaskData, unsigned char* TriggerTime, unsigned char* AdrTID,
                                   unsigned char* LenTID, int FrmHandle);

/* Parameters of reading without a host (command 0x75).
 *
 * Parameter                           5 bytes
 * MaskFlag                            1 sends the mask: MaskMem, MaskAdr (2 bytes), MaskLen (bits), MaskData
 *                                     (rounded up to bytes). Any other value sends none, and the pointers are
 *                                     not looked at
 * TIDFlag                             1 sends AdrTID and LenTID, any other value sends neither
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
 * opt      passed on
 * cfgNo    number of the parameter
 * cfgData  len bytes, none for a len of 0 or less; as output at most 250, whatever len says
 * len      count of bytes. A frame has room for 249, with more, and below 0, its length byte wraps. As output
 *          the bytes received less 6: a broken answer can make that -1, or more than 250
 */
TAGWIRE_API int SetCfgParameter(unsigned char* address, unsigned char opt, unsigned char cfgNo,
                                unsigned char* cfgData, int len, int FrmHandle);
TAGWIRE_API int GetCfgParameter(unsigned char* address, unsigned char cfgNo, unsigned char* cfgData, int* len,
                                int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
