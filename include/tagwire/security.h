/* Locking and killing a Gen2 tag, and features of particular chips.
 *
 * ENum, EPC, MaskMem, MaskAdr, MaskLen, MaskData, Password, Errorcode and the results are those of
 * tagwire/memory.h, and so is the waiting. What the bits of a field mean is a matter of tag and reader: they
 * are passed on as they are.
 *
 * address  in and out, 1 byte. In: bus address of the reader; out, where the call says that it is written,
 *          with result 0: address of the reader that answered
 */
#ifndef TAGWIRE_SECURITY_H
#define TAGWIRE_SECURITY_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Kills the tag, for good (command 0x05).
 *
 * Killpwd  in, 4 bytes: kill password
 */
TAGWIRE_API int KillTag_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                           unsigned char* Killpwd, unsigned char MaskMem, unsigned char* MaskAdr,
                           unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Sets the protection of one area of the tag (command 0x06).
 *
 * select      which area, passed on as it is
 * setprotect  which protection, passed on as it is
 */
TAGWIRE_API int Lock_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum, unsigned char select,
                        unsigned char setprotect, unsigned char* Password, unsigned char MaskMem,
                        unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                        int* Errorcode, int FrmHandle);

/* Locks blocks of the user bank for good (command 0x0E).
 *
 * WrdPointer  word in the block, passed on as it is
 */
TAGWIRE_API int BlockLock_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                             unsigned char* Password, unsigned char WrdPointer, unsigned char MaskMem,
                             unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                             int* Errorcode, int FrmHandle);

/* Protects the tag against being read: the named tag (command 0x08), or the one that answers (0x09). */
TAGWIRE_API int SetPrivacyByEPC_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                   unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                                   unsigned char MaskLen, unsigned char* MaskData, int* Errorcode,
                                   int FrmHandle);
TAGWIRE_API int SetPrivacyWithoutEPC_G2(unsigned char* address, unsigned char* Password, int* Errorcode,
                                        int FrmHandle);

/* Ends the protection against being read, of the one tag that answers (command 0x0A). */
TAGWIRE_API int ResetPrivacy_G2(unsigned char* address, unsigned char* Password, int* Errorcode,
                                int FrmHandle);

/* Asks whether the tag that answers is protected against being read (command 0x0B).
 *
 * readpro  out, 1 byte, with result 0: as the reader gives it
 */
TAGWIRE_API int CheckPrivacy_G2(unsigned char* address, unsigned char* readpro, int* Errorcode,
                                int FrmHandle);

/* Sets or clears the tag's EAS state (command 0x0C). *address is written.
 *
 * EAS  the state, passed on as it is
 */
TAGWIRE_API int EASConfigure_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                unsigned char* Password, unsigned char EAS, unsigned char MaskMem,
                                unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                int* Errorcode, int FrmHandle);

/* Looks for a tag that raises an EAS alarm (command 0x0D). Without one the reader answers with a status of
 * its own, which is returned. *address is written. */
TAGWIRE_API int EASAlarm_G2(unsigned char* address, int* Errorcode, int FrmHandle);

/* Reads the QT control byte of the tag (command 0x11). *address is written.
 *
 * QTcontrol  out, 1 byte, with result 0: the low byte of the control word
 */
TAGWIRE_API int GetMonza4QTWorkParamter_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                           unsigned char* Password, unsigned char MaskMem,
                                           unsigned char* MaskAdr, unsigned char MaskLen,
                                           unsigned char* MaskData, unsigned char* QTcontrol, int* Errorcode,
                                           int FrmHandle);

/* Writes the QT control byte of the tag (command 0x12). *address is written.
 *
 * QTcontrol  the low byte of the control word; its high byte is sent as 0
 */
TAGWIRE_API int SetMonza4QTWorkParamter_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                           unsigned char QTcontrol, unsigned char* Password,
                                           unsigned char MaskMem, unsigned char* MaskAdr,
                                           unsigned char MaskLen, unsigned char* MaskData, int* Errorcode,
                                           int FrmHandle);

/* Hides parts of the tag (command 0x1F). All fields are passed on as they are.
 *
 * UFlag      the tag's U indicator
 * EPCHide    whether to hide the EPC behind NewEPCLen
 * NewEPCLen  length of the EPC that is still shown, in words
 * TIDHide    what to hide of the TID bank
 * UserHide   whether to hide the user bank
 * Range      reduced operating range
 */
TAGWIRE_API int Untraceable_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                               unsigned char UFlag, unsigned char EPCHide, unsigned char NewEPCLen,
                               unsigned char TIDHide, unsigned char UserHide, unsigned char Range,
                               unsigned char* Password, unsigned char MaskMem, unsigned char* MaskAdr,
                               unsigned char MaskLen, unsigned char* MaskData, int* Errorcode, int FrmHandle);

/* Switches the tag's protected mode (command 0xE9).
 *
 * enableflag  on or off, passed on as it is
 */
TAGWIRE_API int Protected_mode_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                  unsigned char enableflag, unsigned char* Password, unsigned char MaskMem,
                                  unsigned char* MaskAdr, unsigned char MaskLen, unsigned char* MaskData,
                                  int* Errorcode, int FrmHandle);

/* Has the tag authenticate itself (command 0xE4). Fields are passed on as they are.
 *
 * sendRep        whether the tag sends its reply or stores it
 * increpLen      whether the reply contains its length
 * CSI            cryptographic suite
 * MsgLen         length of the message as the tag is told
 * MsgData        in, 6 bytes, always, whatever MsgLen says
 * auth_rep_len   out, 1 byte, with result 0: count of bytes in auth_rep_data; 251 to 255 for a broken answer
 *                without any
 * auth_rep_data  out, with result 0: the reply, at most 250 bytes
 */
TAGWIRE_API int Authenticate_G2(unsigned char* address, unsigned char* EPC, unsigned char ENum,
                                unsigned char sendRep, unsigned char increpLen, unsigned char CSI,
                                unsigned char MsgLen, unsigned char* MsgData, unsigned char* Password,
                                unsigned char MaskMem, unsigned char* MaskAdr, unsigned char MaskLen,
                                unsigned char* MaskData, unsigned char* auth_rep_len,
                                unsigned char* auth_rep_data, int* Errorcode, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
