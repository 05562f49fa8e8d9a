/* Beeper and LED, relays, inputs and outputs, Wiegand output, triggers and the report filter.
 *
 * address, the waits, outputs and results are those of tagwire/settings.h, "address: ok" too. Values are 1
 * byte each, in the reader's coding.
 */
#ifndef TAGWIRE_IO_H
#define TAGWIRE_IO_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Beeps and flashes (command 0x33): time on, time off, how often. */
TAGWIRE_API int BuzzerAndLEDControl(unsigned char* address, unsigned char AvtiveTime,
                                    unsigned char SilentTime, unsigned char Times, int FrmHandle);

/* Relay, for a time (command 0x45). */
TAGWIRE_API int SetRelay(unsigned char* address, unsigned char RelayTime, int FrmHandle);

/* One relay of several: number, state and time (command 0x45). Address: ok. */
TAGWIRE_API int RelaysControll(unsigned char* address, unsigned char num, unsigned char status,
                               unsigned char ntime, int FrmHandle);

/* Relay, of readers that know it by command 0x92. RelayTime is set and read. */
TAGWIRE_API int RelayControll(unsigned char* address, unsigned char* RelayTime, int FrmHandle);

/* Outputs and inputs as bits (commands 0x46, 0x47). */
TAGWIRE_API int SetGPIO(unsigned char* address, unsigned char OutputPin, int FrmHandle);
TAGWIRE_API int GetGPIOStatus(unsigned char* address, unsigned char* OutputPin, int FrmHandle);

/* Pulse with every tag (command 0x48). */
TAGWIRE_API int SetNotificationPulseOutput(unsigned char* address, unsigned char OutputRep, int FrmHandle);

/* Output that follows the reading (commands 0xB0, 0xB1). Address: ok. */
TAGWIRE_API int SetGPOParam(unsigned char* address, unsigned char Enableflag, unsigned char ActiveTime,
                            int FrmHandle);
TAGWIRE_API int GetGPOParam(unsigned char* address, unsigned char* Enableflag, unsigned char* ActiveTime,
                            int FrmHandle);

/* Wiegand output: format, pause between tags, pulse width, pulse distance, and the first byte of the ID to
 * send (commands 0x38, 0x39). */
TAGWIRE_API int SetWieGandParam(unsigned char* address, unsigned char WgCfg, unsigned char DataInvl,
                                unsigned char PulWidth, unsigned char PulsInvl, unsigned char OffsetAdr,
                                int FrmHandle);
TAGWIRE_API int GetWieGandParam(unsigned char* address, unsigned char* WgCfg, unsigned char* DataInvl,
                                unsigned char* PulWidth, unsigned char* PulsInvl, unsigned char* OffsetAdr,
                                int FrmHandle);

/* Report filter (commands 0xB0, 0xB1): time within which a tag is reported once, how often and how strongly
 * it must be read. */
TAGWIRE_API int SetFilterParam(unsigned char* address, unsigned char FilterTime, unsigned char MinReadCount,
                               unsigned char MinRssi, int FrmHandle);
TAGWIRE_API int GetFilterParam(unsigned char* address, unsigned char* FilterTime, unsigned char* MinReadCount,
                               unsigned char* MinRssi, int FrmHandle);

/* What a trigger input does (command 0xE6, functions 0x80 and 0x81).
 *
 * Action                  which action's parameters
 * Condition1, Condition2  conditions, which Union links
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
