/* The reader's settings, one call for each.
 *
 * The values are the reader's own codes and units: they are passed on as they are, and the reader refuses
 * what it does not take. A value is 1 byte where nothing else is said.
 *
 * address  in and out, 1 byte. In: bus address of the reader. Out: address of the reader that answered;
 *          marked "address: always" where it is written with every answer, "address: ok" where with result 0
 *          only, else it is not written
 *
 * Outputs are written with result 0 only, where nothing else is said. No pointer may be null. Waits as ANSWER
 * (tagwire/calls.h). The calls take no lock: one command at a time on a handle is the caller's duty.
 *
 * Results:
 *   0     done
 *   48    no answer in time, or the link is broken
 *   49    the answer's CRC is wrong
 *   51    busy (tagwire/calls.h)
 *   55    no such handle, or its link is gone
 *   238   the answer belongs to another command
 *   else  the reader's status: it refused
 */
#ifndef TAGWIRE_SETTINGS_H
#define TAGWIRE_SETTINGS_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bus address (command 0x24). Address: always. The library takes the address of the answer for the reader's.
 *
 * ComAdrData  the new address
 */
TAGWIRE_API int SetAddress(unsigned char* address, unsigned char ComAdrData, int FrmHandle);

/* Inventory scan time (command 0x25). Address: always. The library's own time limits follow the value with
 * every answer, also where the reader refused.
 *
 * ScanTime  in units of 100 ms
 */
TAGWIRE_API int SetInventoryScanTime(unsigned char* address, unsigned char ScanTime, int FrmHandle);

/* Enters the self test mode (command 0x26) or leaves it (one raw byte 0xA5). Address: always. An answer to
 * either is taken.
 *
 * IsSelfTestMode  true enters, false leaves
 */
TAGWIRE_API int InSelfTestMode(unsigned char* address, bool IsSelfTestMode, int FrmHandle);

/* Delay before an answer (commands 0x27, 0x31).
 *
 * RevDelay  in, or out of GetRevDelay, 1 byte: the delay
 */
TAGWIRE_API int SetRevDelay(unsigned char* address, unsigned char RevDelay, int FrmHandle);
TAGWIRE_API int GetRevDelay(unsigned char* address, unsigned char* RevDelay, int FrmHandle);

/* Speed of the serial line (command 0x28).
 *
 * baud  0 9600, 1 19200, 2 38400, 5 57600, 6 115200, 7 921600 bit/s; the host takes any other for 57600
 *
 * On a serial link with result 0 the host's line follows at once, and what waits on standard input is
 * discarded if that is a terminal; over TCP nothing changes on the host. The answer's command code is not
 * looked at: 238 does not occur.
 */
TAGWIRE_API int SetBaudRate(unsigned char* address, unsigned char baud, int FrmHandle);

/* Power calibration: converter value (commands 0x29, address: always; 0x2A, address: ok), its check (0x2B,
 * address: ok), and storing it with the power list (0x2C, address: ok).
 *
 * DACdata   in, or out of GetDAC, 1 byte: the converter value
 * dBm_list  in, 31 bytes: the power list
 * code      out, 1 byte: how it went
 */
TAGWIRE_API int SetDAC(unsigned char* address, unsigned char DACdata, int FrmHandle);
TAGWIRE_API int GetDAC(unsigned char* address, unsigned char* DACdata, int FrmHandle);
TAGWIRE_API int CheckPowerParameter(unsigned char* address, unsigned char* code, int FrmHandle);
TAGWIRE_API int SolidifyDACandPowerlist(unsigned char* address, unsigned char* dBm_list, unsigned char* code,
                                        int FrmHandle);

/* How the reader's start went (command 0x2D). Address: ok.
 *
 * FreE, addrE, scnE, xpwrE, wgE, xRreadModeE, xModeParaE, xbpsE, xEasAccuE  out, 1 byte: error code
 */
TAGWIRE_API int GetStartInformation(unsigned char* address, unsigned char* FreE, unsigned char* addrE,
                                    unsigned char* scnE, unsigned char* xpwrE, unsigned char* wgE,
                                    unsigned char* xRreadModeE, unsigned char* xModeParaE,
                                    unsigned char* xbpsE, unsigned char* xEasAccuE, int FrmHandle);

/* EAS sensitivity (command 0x37).
 *
 * Accuracy  the sensitivity
 */
TAGWIRE_API int SetEASSensitivity(unsigned char* address, unsigned char Accuracy, int FrmHandle);

/* Function of a kind of inlay (command 0x3A). Address: ok.
 *
 * InlayType  in and out, 1 byte. In: the kind; out: what the reader has set
 */
TAGWIRE_API int SetTagCustomFunction(unsigned char* address, unsigned char* InlayType, int FrmHandle);

/* Mask of the reader's own inventories (command 0x3B).
 *
 * MaskMem   bank
 * MaskAdr   in, 2 bytes: address of the first bit, sent in this order
 * MaskLen   count of bits
 * MaskData  in, MaskLen / 8 bytes, rounded up
 */
TAGWIRE_API int SetMask(unsigned char* address, unsigned char MaskMem, unsigned char* MaskAdr,
                        unsigned char MaskLen, unsigned char* MaskData, int FrmHandle);

/* Reports of the auto-running mode (command 0x3C), and the pause between its inventories (0x3D).
 *
 * RepCondition  condition of reports
 * RepPauseTime  pause of reports
 * ReadPauseTim  pause between inventories
 */
TAGWIRE_API int SetResponsePamametersofAuto_runningMode(unsigned char* address, unsigned char RepCondition,
                                                        unsigned char RepPauseTime, int FrmHandle);
TAGWIRE_API int SetInventoryInterval(unsigned char* address, unsigned char ReadPauseTim, int FrmHandle);

/* Air protocols that the reader looks for (command 0x3E).
 *
 * TagProtocol  the protocols
 */
TAGWIRE_API int SelectTagType(unsigned char* address, unsigned char TagProtocol, int FrmHandle);

/* Beep with every tag (command 0x40).
 *
 * BeepEn  on or off
 */
TAGWIRE_API int SetBeepNotification(unsigned char* address, unsigned char BeepEn, int FrmHandle);

/* Clock (commands 0x41, 0x42).
 *
 * paramer  in, or out of GetTime, 6 bytes: the time in the reader's coding
 */
TAGWIRE_API int SetReal_timeClock(unsigned char* address, unsigned char* paramer, int FrmHandle);
TAGWIRE_API int GetTime(unsigned char* address, unsigned char* paramer, int FrmHandle);

/* Clock as 4 bytes (command 0x85). Address: always.
 *
 * UTCTime  in, 4 bytes: the time in the reader's coding
 */
TAGWIRE_API int SetUTCTime(unsigned char* address, unsigned char* UTCTime, int FrmHandle);

/* Time that a trigger lasts (command 0x49).
 *
 * TriggerTime  the time
 */
TAGWIRE_API int SetTriggerTime(unsigned char* address, unsigned char TriggerTime, int FrmHandle);

/* Words of the TID bank that the reader's own inventories report (command 0x4A). Address: ok.
 *
 * AdrTID  first word
 * LenTID  count of words
 */
TAGWIRE_API int SetTIDParameter(unsigned char* address, unsigned char AdrTID, unsigned char LenTID,
                                int FrmHandle);

/* Serial number (commands 0x4B, 0x4C). Address: ok.
 *
 * SeriaNo  in, or out of GetSeriaNo, 4 bytes
 */
TAGWIRE_API int SetSeriaNo(unsigned char* address, unsigned char* SeriaNo, int FrmHandle);
TAGWIRE_API int GetSeriaNo(unsigned char* address, unsigned char* SeriaNo, int FrmHandle);

/* Antenna check before an inventory (command 0x66). Address: ok.
 *
 * CheckAnt  on or off
 */
TAGWIRE_API int SetCheckAnt(unsigned char* address, unsigned char CheckAnt, int FrmHandle);

/* Interface over which the reader talks (command 0x6A). Address: ok.
 *
 * CommType  the interface
 */
TAGWIRE_API int SetCommType(unsigned char* address, unsigned char CommType, int FrmHandle);

/* Power mode (command 0x6B). Address: ok.
 *
 * PowerMode  in and out, 1 byte. In: the mode; out: what the reader has set
 */
TAGWIRE_API int SetPowerMode(unsigned char* address, unsigned char* PowerMode, int FrmHandle);

/* Interval of heartbeat messages (command 0x78). Address: ok.
 *
 * HeartBeatTime  in and out, 1 byte. In: the interval; out: what the reader has set
 */
TAGWIRE_API int SetHeartBeatTime(unsigned char* address, unsigned char* HeartBeatTime, int FrmHandle);

/* How often the reader tries an operation on a tag again (command 0x7B). Address: ok.
 *
 * Times  in and out, 1 byte. In: how often; out: what the reader has set
 */
TAGWIRE_API int RetryTimes(unsigned char* address, unsigned char* Times, int FrmHandle);

/* User password (commands 0x7D, 0x7E). Address: always. GetUserPwd writes UserPwd with every answer, also
 * where the reader refused.
 *
 * UserPwd  in, or out of GetUserPwd, 4 bytes
 */
TAGWIRE_API int SetUserPwd(unsigned char* address, unsigned char* UserPwd, int FrmHandle);
TAGWIRE_API int GetUserPwd(unsigned char* address, unsigned char* UserPwd, int FrmHandle);

/* Link profile (command 0x7F). Address: ok.
 *
 * Profile  in and out, 1 byte; of SetExtProfile the low 16 bits. In: the profile; out: what the reader has
 *          set
 * Opt      passed on as it is
 */
TAGWIRE_API int SetProfile(unsigned char* address, unsigned char* Profile, int FrmHandle);
TAGWIRE_API int SetExtProfile(unsigned char* address, unsigned char Opt, int* Profile, int FrmHandle);

/* Q and session of the reader's inventories (commands 0x81, 0x82). Address: ok.
 *
 * Qvalue   in, or out of GetQS, 1 byte: Q
 * Session  in, or out of GetQS, 1 byte: session
 */
TAGWIRE_API int SetQS(unsigned char* address, unsigned char Qvalue, unsigned char Session, int FrmHandle);
TAGWIRE_API int GetQS(unsigned char* address, unsigned char* Qvalue, unsigned char* Session, int FrmHandle);

/* Version of the radio module (command 0x83).
 *
 * Version  out, 2 bytes: version, sub-version
 */
TAGWIRE_API int GetModuleVersion(unsigned char* address, unsigned char* Version, int FrmHandle);

/* Stores the settings in flash memory (command 0x84). */
TAGWIRE_API int SetFlashRom(unsigned char* address, int FrmHandle);

/* Dense reader mode (command 0x90). Address: ok.
 *
 * DRM  in, or out of GetDRM, 1 byte: the mode. Bit 7 is set in the byte that is sent
 */
TAGWIRE_API int SetDRM(unsigned char* address, unsigned char DRM, int FrmHandle);
TAGWIRE_API int GetDRM(unsigned char* address, unsigned char* DRM, int FrmHandle);

/* Temperature of the reader (command 0x92 without data). Address: ok.
 *
 * PlusMinus    out, 1 byte: sign
 * Temperature  out, 1 byte: degrees
 */
TAGWIRE_API int GetReaderTemperature(unsigned char* address, unsigned char* PlusMinus,
                                     unsigned char* Temperature, int FrmHandle);

/* Time within which a tag is reported once (commands 0x92, 0x93). Address: ok.
 *
 * FilterTime  in, or out of GetFilterTime, 1 byte: the time
 */
TAGWIRE_API int SetFilterTime(unsigned char* address, unsigned char FilterTime, int FrmHandle);
TAGWIRE_API int GetFilterTime(unsigned char* address, unsigned char* FilterTime, int FrmHandle);

/* Password of the reader (command 0x92).
 *
 * Password  in, or out of GetReaderPwd, 4 bytes. GetReaderPwd clears it first and writes it with every
 *           answer, also where the reader refused
 */
TAGWIRE_API int SetReaderPwd(unsigned char* address, unsigned char* Password, int FrmHandle);
TAGWIRE_API int GetReaderPwd(unsigned char* address, unsigned char* Password, int FrmHandle);

/* Restarts the reader (command 0x99). Address: ok. */
TAGWIRE_API int ResetReader(unsigned char* address, int FrmHandle);

/* Air protocol (command 0xCE). Address: ok.
 *
 * protocol  in and out, 1 byte. In: the protocol; out: what the reader has set
 */
TAGWIRE_API int SwitchProtocol(unsigned char* address, unsigned char* protocol, int FrmHandle);

/* Version and kind of the radio chip (command 0xEC). Of GetEx10Version address: ok. GetEx10InternalVersion
 * gives 238 also when the answer's first data byte is not 0.
 *
 * TVersion, Version  out, 2 bytes: version
 * Ex10Type, type     out, 1 byte: kind
 */
TAGWIRE_API int GetEx10Version(unsigned char* address, unsigned char* TVersion, unsigned char* Ex10Type,
                               int FrmHandle);
TAGWIRE_API int GetEx10InternalVersion(unsigned char* address, unsigned char* Version, unsigned char* type,
                                       int FrmHandle);

/* Which temperature is measured (command 0xE6, function 0x09).
 *
 * TempSelect  passed on as it is
 */
TAGWIRE_API int SetTempSelect(unsigned char* address, unsigned char TempSelect, int FrmHandle);

/* Description of the radio module (command 0xE6, function 0x02).
 *
 * describeInfor  out, 16 bytes, whenever the answer has them, whatever the status
 */
TAGWIRE_API int GetModuleDescribe(unsigned char* address, unsigned char* describeInfor, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
