/* Beeper and LED, relays, inputs and outputs, Wiegand output, triggers and the report filter.
 *
 * address and the results are those of tagwire/settings.h, "address: ok" too, and so is the waiting. Values
 * are 1 byte each, in the reader's coding and units, passed on as they are. Outputs are written with result 0
 * only, where nothing else is said.
 */
#ifndef TAGWIRE_IO_H
#define TAGWIRE_IO_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Beeps and flashes (command 0x33).
 *
 * AvtiveTime  time on
 * SilentTime  time off
 * Times       how often
 */
TAGWIRE_API int BuzzerAndLEDControl(unsigned char* address, unsigned char AvtiveTime,
                                    unsigned char SilentTime, unsigned char Times, int FrmHandle);

/* Relay, for a time (command 0x45).
 *
 * RelayTime  the time
 */
TAGWIRE_API int SetRelay(unsigned char* address, unsigned char RelayTime, int FrmHandle);

/* One relay of several (command 0x45). Address: ok.
 *
 * num     number of the relay
 * status  on or off
 * ntime   how long it stays so
 */
TAGWIRE_API int RelaysControll(unsigned char* address, unsigned char num, unsigned char status,
                               unsigned char ntime, int FrmHandle);

/* Relay, of readers that know it by command 0x92.
 *
 * RelayTime  in and out, 1 byte. In: the time; out: what the reader has set
 */
TAGWIRE_API int RelayControll(unsigned char* address, unsigned char* RelayTime, int FrmHandle);

/* Outputs and inputs (commands 0x46, 0x47).
 *
 * OutputPin  in, and out of GetGPIOStatus, 1 byte: pins as bits
 */
TAGWIRE_API int SetGPIO(unsigned char* address, unsigned char OutputPin, int FrmHandle);
TAGWIRE_API int GetGPIOStatus(unsigned char* address, unsigned char* OutputPin, int FrmHandle);

/* Pulse with every tag (command 0x48).
 *
 * OutputRep  passed on as it is
 */
TAGWIRE_API int SetNotificationPulseOutput(unsigned char* address, unsigned char OutputRep, int FrmHandle);

/* Output that follows the reading (commands 0xB0, 0xB1). Address: ok.
 *
 * Enableflag  in, and out of GetGPOParam, 1 byte: on or off
 * ActiveTime  in, and out of GetGPOParam, 1 byte: how long the output stays active
 */
TAGWIRE_API int SetGPOParam(unsigned char* address, unsigned char Enableflag, unsigned char ActiveTime,
                            int FrmHandle);
TAGWIRE_API int GetGPOParam(unsigned char* address, unsigned char* Enableflag, unsigned char* ActiveTime,
                            int FrmHandle);

/* Wiegand output (commands 0x38, 0x39); what one sets the other gets.
 *
 * WgCfg      format, 1 byte in or out
 * DataInvl   pause between tags, 1 byte in or out
 * PulWidth   pulse width, 1 byte in or out
 * PulsInvl   pulse distance, 1 byte in or out
 * OffsetAdr  first byte of the ID to send, 1 byte in or out
 */
TAGWIRE_API int SetWieGandParam(unsigned char* address, unsigned char WgCfg, unsigned char DataInvl,
                                unsigned char PulWidth, unsigned char PulsInvl, unsigned char OffsetAdr,
                                int FrmHandle);
TAGWIRE_API int GetWieGandParam(unsigned char* address, unsigned char* WgCfg, unsigned char* DataInvl,
                                unsigned char* PulWidth, unsigned char* PulsInvl, unsigned char* OffsetAdr,
                                int FrmHandle);

/* Report filter (commands 0xB0, 0xB1); what one sets the other gets.
 *
 * FilterTime    time within which a tag is reported once, 1 byte in or out
 * MinReadCount  how often it must be read, 1 byte in or out
 * MinRssi       how strongly it must be read, 1 byte in or out
 */
TAGWIRE_API int SetFilterParam(unsigned char* address, unsigned char FilterTime, unsigned char MinReadCount,
                               unsigned char MinRssi, int FrmHandle);
TAGWIRE_API int GetFilterParam(unsigned char* address, unsigned char* FilterTime, unsigned char* MinReadCount,
                               unsigned char* MinRssi, int FrmHandle);

/* What a trigger input does (command 0xE6, functions 0x80 and 0x81); what one sets the other gets.
 *
 * Action                  which action's parameters
 * mode                    mode of the action, 1 byte in or out
 * mtime                   time of the action, 1 byte in or out
 * RFU                     reserved by the reader, 1 byte in or out
 * Union                   how Condition1 and Condition2 are linked, 1 byte in or out
 * Condition1, Condition2  the conditions, 1 byte each, in or out
 *
 * 238 also when the answer belongs to another function. GetTriggerLinkageParam writes its outputs with every
 * answer of its function, also where the reader refused.
 */
TAGWIRE_API int SetTriggerLinkageParam(unsigned char* address, unsigned char Action, unsigned char mode,
                                       unsigned char mtime, unsigned char RFU, unsigned char Union,
                                       unsigned char Condition1, unsigned char Condition2, int FrmHandle);
TAGWIRE_API int GetTriggerLinkageParam(unsigned char* address, unsigned char Action, unsigned char* mode,
                                       unsigned char* mtime, unsigned char* RFU, unsigned char* Union,
                                       unsigned char* Condition1, unsigned char* Condition2, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
