/* Frequencies, output power and antennas.
 *
 * address, the waits, outputs and results are those of tagwire/settings.h, "address: ok" and "address:
 * always" too. Values are 1 byte where nothing else is said, in the reader's coding: frequencies are its
 * channel numbers, powers are dBm.
 */
#ifndef TAGWIRE_RF_H
#define TAGWIRE_RF_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Highest and lowest channel, with bits of the band (command 0x22). Address: always. */
TAGWIRE_API int SetRegion(unsigned char* address, unsigned char dmaxfre, unsigned char dminfre,
                          int FrmHandle);

/* The same with the band as a byte of its own. Address: always.
 *
 * FLAG  whether the setting is kept
 */
TAGWIRE_API int ExtSetRegion(unsigned char* address, unsigned char FLAG, unsigned char Band,
                             unsigned char dmaxfre, unsigned char dminfre, int FrmHandle);

/* A channel plan of one's own (command 0x22).
 *
 * freSpace  channel spacing
 * freNum    count of channels
 * freStart  3 bytes, first frequency
 */
TAGWIRE_API int SetCustomRegion(unsigned char* address, unsigned char FLAG, unsigned char freSpace,
                                unsigned char freNum, unsigned char* freStart, int FrmHandle);

/* Band, highest and lowest channel (command 0x9E). Address: always. The outputs are written with every
 * answer, also where the reader refused. */
TAGWIRE_API int ExtGetRegion(unsigned char* address, unsigned char* Band, unsigned char* dmaxfre,
                             unsigned char* dminfre, int FrmHandle);

/* The channel plan of one's own (command 0x9E). 255: the reader has a standard region, whatever the
 * status. The outputs (freStart
 * 3 bytes) are written whenever the answer has a plan, whatever the status. */
TAGWIRE_API int GetCustomRegion(unsigned char* address, unsigned char* freSpace, unsigned char* freNum,
                                unsigned char* freStart, int FrmHandle);

/* How regions are given (command 0xE6, function 0x04). Address: always. */
TAGWIRE_API int SetRegionType(unsigned char* address, unsigned char regionType, int FrmHandle);

/* Output power of all antennas (command 0x2F). Address: ok. Waits at most 200 ms and skips other frames, so
 * that it works while the reader reports by itself. */
TAGWIRE_API int SetRfPower(unsigned char* address, unsigned char PowerDbm, int FrmHandle);

/* Output power of each of 4 antennas, 4 bytes (commands 0x2F, 0x94). Address: ok. */
TAGWIRE_API int SetRfPowerByAnt(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);
TAGWIRE_API int GetRfPowerByAnt(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);

/* Output power of each antenna (commands 0x2F, 0x94). Address: ok.
 *
 * PowerDbm  length bytes; as output at most 250
 * length    count of antennas; -1 can come from a broken answer. To be set: 1, 2, 4, 8, 9, 12, 16 or 64, any
 *           other gives 255 and nothing is sent
 */
TAGWIRE_API int SetAntennaPower(unsigned char* address, unsigned char* PowerDbm, int length, int FrmHandle);
TAGWIRE_API int GetAntennaPower(unsigned char* address, unsigned char* PowerDbm, int* length, int FrmHandle);

/* Output power of writes (commands 0x79, 0x7A). Address: ok. */
TAGWIRE_API int WriteRfPower(unsigned char* address, unsigned char PowerDbm, int FrmHandle);
TAGWIRE_API int ReadRfPower(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);

/* Kind of power calibration (command 0xE6, function 0x03). */
TAGWIRE_API int SetCalibrationPowerType(unsigned char* address, unsigned char powerType, int FrmHandle);

/* Switches the carrier (command 0x30). Address: ok. */
TAGWIRE_API int RfOutput(unsigned char* address, unsigned char OnOff, int FrmHandle);

/* Antennas that an inventory goes through (command 0x3F): by one byte of bits, by two with a byte that tells
 * whether the setting is kept, or by 8.
 *
 * opt     OptAntenna: 0 reads, any other value writes
 * AntCfg  8 bytes, in; out when read: written whenever the answer has them, whatever the status
 */
TAGWIRE_API int SetAntennaMultiplexing(unsigned char* address, unsigned char Ant, int FrmHandle);
TAGWIRE_API int SetAntenna(unsigned char* address, unsigned char SetOnce, unsigned char AntCfg1,
                           unsigned char AntCfg2, int FrmHandle);
TAGWIRE_API int OptAntenna(unsigned char* address, unsigned char opt, unsigned char SetOnce,
                           unsigned char* AntCfg, int FrmHandle);

/* The same for readers with 12 antennas (command 0x85). */
TAGWIRE_API int SetAntennaA12(unsigned char* address, unsigned char SetOnce, unsigned char AntCfg1,
                              unsigned char AntCfg2, int FrmHandle);

/* Switches an antenna multiplexer (command 0xB0). */
TAGWIRE_API int MutipleAntennaSwitch(unsigned char* address, unsigned char TargetAddr, unsigned char antenna,
                                     int FrmHandle);

/* Count of antennas (command 0x7C). */
TAGWIRE_API int ConfigAntNum(unsigned char* address, unsigned char* AntNum, int FrmHandle);

/* Return loss of an antenna (command 0x91). Address: ok.
 *
 * TestFreq    4 bytes, frequency
 * ReturnLoss  out
 */
TAGWIRE_API int MeasureReturnLoss(unsigned char* address, unsigned char* TestFreq, unsigned char Ant,
                                  unsigned char* ReturnLoss, int FrmHandle);

/* How long the reader stays on a channel (command 0xD3). Bit 4 is set in the flag that is sent. GetDwellTime
 * writes its outputs with every answer, also where the reader refused. */
TAGWIRE_API int SetDwellTime(unsigned char* address, unsigned char flag, unsigned char FCCOnTime,
                             unsigned char S1Times, int FrmHandle);
TAGWIRE_API int GetDwellTime(unsigned char* address, unsigned char* FCCOnTime, unsigned char* S1Times,
                             int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
