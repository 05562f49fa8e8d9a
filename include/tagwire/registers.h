/* Sensor tags with a register file, a memory, a temperature log and an LED.
 *
 * EPC, MaskMem, MaskAdr, MaskLen, MaskData, Password and the results are those of tagwire/memory.h, and so is
 * the waiting, where nothing else is said. Fields of several bytes are sent in the order given; what they
 * mean is a matter of the tag, and they are passed on as they are.
 *
 * address    in, 1 byte: bus address of the reader
 * ENum       as of tagwire/memory.h, but at most 14 (or 255, the mask); any other gives 255
 * Errorcode  out: 0, with every status; where a call says "with code" the answer's byte behind the status,
 *            with every status
 *
 * Outputs are copied also from an answer without data: they are then its CRC bytes.
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

/* Reads and writes a register (command 0xC1, and 0xC2 with code).
 *
 * RegAddr  in, 2 bytes: address of the register
 * Data     out, 2 bytes, with result 0
 * RegData  in, 2 bytes
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
 * StartAddr  in, 2 bytes: first byte
 * ReadLen    count of bytes
 * AuthType   kind of authentication
 * AuthPwd    in, 4 bytes: its password
 * Data       out, ReadLen bytes (at most 250), with result 0. A reader that sends less leaves meaningless
 *            bytes at the end
 */
TAGWIRE_API int Fd_ReadMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                              unsigned char* StartAddr, unsigned char ReadLen, unsigned char* Password,
                              unsigned char AuthType, unsigned char* AuthPwd, unsigned char MaskMem,
                              unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                              unsigned char* Data, int* Errorcode, int FrmHandle);

/* Reads memory of any length, which comes in several packets (command 0xCB). Waits as MEMORY
 * (tagwire/calls.h).
 *
 * StartAddr  in, 2 bytes: first byte
 * ReadLen    in, 2 bytes: count of bytes, sent in this order
 * AuthType   kind of authentication
 * AuthPwd    in, 4 bytes: its password
 * Data       out: what the packets bring, at most 65536 bytes
 * recvLen    out: count of bytes in Data
 * Errorcode  neither in nor out: it stays as it was
 *
 * Results: 1 the memory was read (another final status of the reader also writes Data and recvLen); 176 a
 * packet was out of order (Data may have been written); 48 also when the reader refused the command (echo
 * 0xEE), at the end of the wait; 51, 55 and 255 as above.
 */
TAGWIRE_API int Fd_ExtReadMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                 unsigned char* StartAddr, unsigned char* ReadLen, unsigned char* Password,
                                 unsigned char AuthType, unsigned char* AuthPwd, unsigned char MaskMem,
                                 unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                 unsigned char* Data, int* recvLen, int* Errorcode, int FrmHandle);

/* Writes memory (command 0xC4), with code.
 *
 * StartAddr  in, 2 bytes: first byte
 * WriteLen   count of bytes
 * WriteData  in, WriteLen bytes; with more than the frame has room for its length byte wraps
 * AuthType   kind of authentication
 * AuthPwd    in, 4 bytes: its password
 */
TAGWIRE_API int Fd_WriteMemory(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char* StartAddr, unsigned char WriteLen, unsigned char* WriteData,
                               unsigned char* Password, unsigned char AuthType, unsigned char* AuthPwd,
                               unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                               unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Measures (command 0xC5).
 *
 * MeaType, ResultSel, FieldChkEn, EPStorageEn, UserBlockAddr  what and how the tag measures, passed on as
 *                                                             they are
 * Temp                                                        out, 2 bytes, with every status: as received
 */
TAGWIRE_API int Fd_GetTemperature(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                  unsigned char MeaType, unsigned char ResultSel, unsigned char FieldChkEn,
                                  unsigned char EPStorageEn, unsigned char UserBlockAddr,
                                  unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                                  unsigned char MaskLen, unsigned char* MaskData, unsigned char* Temp,
                                  int* Errorcode, int FrmHandle);

/* Starts the temperature log with code (command 0xC6), and stops it (0xC7).
 *
 * StartDelay, VdetStep  in, 2 bytes: passed on as they are
 * StopPwd               in, 4 bytes: password for stopping
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
 * RefreshCfg  passed on as it is
 * ModeStatus  out, 2 bytes, with every status: as received
 */
TAGWIRE_API int Fd_OP_Mode_Chk(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char RefreshCfg, unsigned char* Password, unsigned char MaskMem,
                               unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                               unsigned char* ModeStatus, int* Errorcode, int FrmHandle);

/* Switches the LED (command 0xC9), and puts the tag to sleep (0xCA).
 *
 * LedCtrl  passed on as it is
 */
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
