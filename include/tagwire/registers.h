/* Sensor tags with a register file, a memory, a temperature log and an LED.
 *
 * EPC, the mask, Password, the waits and the results are those of tagwire/memory.h, with two differences:
 * ENum is at most 14 (or 255, the mask), and Errorcode has rules of its own. It is written with every status:
 *
 *   Fd_WriteReg, Fd_WriteMemory, Fd_StartLogging   the answer's byte behind the status
 *   Fd_ExtReadMemory                               never
 *   all others                                     0
 *
 * address is in only. Fields of 2 bytes are sent in the order given.
 */
#ifndef TAGWIRE_REGISTERS_H
#define TAGWIRE_REGISTERS_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Initialises the register file (command 0xC0). */
TAGWIRE_API int Fd_InitRegfile(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Reads and writes a register (commands 0xC1, 0xC2).
 *
 * RegAddr  2 bytes
 * Data     out, 2 bytes, with result 0
 * RegData  2 bytes
 */
TAGWIRE_API int Fd_ReadReg(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                           unsigned char* RegAddr, unsigned char* Password, unsigned char MaskMem,
                           unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                           unsigned char* Data, int* Errorcode, int FrmHandle);
TAGWIRE_API int Fd_WriteReg(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                            unsigned char* RegAddr, unsigned char* RegData, unsigned char* Password,
                            unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                            unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Reads memory (command 0xC3).
 *
 * StartAddr  2 bytes
 * ReadLen    count of bytes
 * AuthType   authentication, with AuthPwd
 * AuthPwd    4 bytes
 * Data       out, ReadLen bytes (at most 250), with result 0. A reader that sends less leaves meaningless
 *            bytes at the end
 */
TAGWIRE_API int Fd_ReadMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                              unsigned char* StartAddr, unsigned char ReadLen, unsigned char* Password,
                              unsigned char AuthType, unsigned char* AuthPwd, unsigned char MaskMem,
                              unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                              unsigned char* Data, int* Errorcode, int FrmHandle);

/* Reads memory of any length, which comes in several packets (command 0xCB). Waits at most 15 s.
 *
 * ReadLen  2 bytes, count of bytes
 * Data     out: what the packets bring, at most 65536 bytes
 * recvLen  out: count of bytes in Data
 *
 * Results: 1 the memory was read (another final status of the reader also writes Data and recvLen); 176 a
 * packet was out of order (Data may have been written); any other as above.
 */
TAGWIRE_API int Fd_ExtReadMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                 unsigned char* StartAddr, unsigned char* ReadLen, unsigned char* Password,
                                 unsigned char AuthType, unsigned char* AuthPwd, unsigned char MaskMem,
                                 unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                 unsigned char* Data, int* recvLen, int* Errorcode, int FrmHandle);

/* Writes memory (command 0xC4).
 *
 * WriteData  WriteLen bytes; with more than the frame has room for its length byte wraps
 */
TAGWIRE_API int Fd_WriteMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* StartAddr, unsigned char WriteLen, unsigned char* WriteData,
                               unsigned char* Password, unsigned char AuthType, unsigned char* AuthPwd,
                               unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                               unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Measures (command 0xC5).
 *
 * Temp  out, 2 bytes, with every status
 */
TAGWIRE_API int Fd_GetTemperature(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                  unsigned char MeaType, unsigned char ResultSel, unsigned char FieldChkEn,
                                  unsigned char EPStorageEn, unsigned char UserBlockAddr,
                                  unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                                  unsigned char MaskLen, unsigned char* MaskData, unsigned char* Temp,
                                  int* Errorcode, int FrmHandle);

/* Starts and stops the temperature log (commands 0xC6, 0xC7).
 *
 * StartDelay, VdetStep  2 bytes each
 * StopPwd               4 bytes
 */
TAGWIRE_API int Fd_StartLogging(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                unsigned char* StartDelay, unsigned char* VdetStep, unsigned char* Password,
                                unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                                unsigned char* MaskData, int* Errorcode, int FrmHandle);
TAGWIRE_API int Fd_StopLogging(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* Password, unsigned char* StopPwd, unsigned char MaskMem,
                               unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                               int* Errorcode, int FrmHandle);

/* Asks for the mode of operation (command 0xC8).
 *
 * ModeStatus  out, 2 bytes, with every status
 */
TAGWIRE_API int Fd_OP_Mode_Chk(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char RefreshCfg, unsigned char* Password, unsigned char MaskMem,
                               unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                               unsigned char* ModeStatus, int* Errorcode, int FrmHandle);

/* Switches the LED (command 0xC9), and puts the tag to sleep (0xCA). */
TAGWIRE_API int Fd_LedCtr(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                          unsigned char LedCtrl, unsigned char* Password, unsigned char MaskMem,
                          unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                          int* Errorcode, int FrmHandle);
TAGWIRE_API int Fd_DeepSleep(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                             unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                             unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
