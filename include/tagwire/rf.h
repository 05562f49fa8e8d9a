/* Frequencies, output power and antennas.
 *
 * address and the results are those of tagwire/settings.h, "address: ok" and "address: always" too, and so is
 * the waiting, where nothing else is said. Values are 1 byte where nothing else is said, in the reader's
 * coding, passed on as they are: frequencies are its channel numbers, powers are dBm. Outputs are written
 * with result 0 only, where nothing else is said.
 */
#ifndef TAGWIRE_RF_H
#define TAGWIRE_RF_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Highest and lowest channel, with bits of the band (command 0x22). Address: always.
 *
 * dmaxfre, dminfre  highest and lowest channel
 */
TAGWIRE_API int SetRegion(unsigned char* address, unsigned char dmaxfre, unsigned char dminfre,
                          int FrmHandle);

/* The same with the band as a byte of its own. Address: always.
 *
 * FLAG              whether the setting is kept
 * Band              the band
 * dmaxfre, dminfre  highest and lowest channel
 */
TAGWIRE_API int ExtSetRegion(unsigned char* address, unsigned char FLAG, unsigned char Band,
                             unsigned char dmaxfre, unsigned char dminfre, int FrmHandle);

/* A channel plan of one's own (command 0x22).
 *
 * FLAG      whether the setting is kept
 * freSpace  channel spacing
 * freNum    count of channels
 * freStart  in, 3 bytes: first frequency, sent in this order
 */
TAGWIRE_API int SetCustomRegion(unsigned char* address, unsigned char FLAG, unsigned char freSpace,
                                unsigned char freNum, unsigned char* freStart, int FrmHandle);

/* Band, highest and lowest channel (command 0x9E). Address: always. The outputs are written with every
 * answer, also where the reader refused.
 *
 * Band              out, 1 byte: the band
 * dmaxfre, dminfre  out, 1 byte: highest and lowest channel
 */
TAGWIRE_API int ExtGetRegion(unsigned char* address, unsigned char* Band, unsigned char* dmaxfre,
                             unsigned char* dminfre, int FrmHandle);

/* The channel plan of one's own (command 0x9E). The outputs are written whenever the answer has a plan,
 * whatever the status. 255: the reader has a standard region, whatever the status.
 *
 * freSpace  out, 1 byte: channel spacing
 * freNum    out, 1 byte: count of channels
 * freStart  out, 3 bytes: first frequency, as received
 */
TAGWIRE_API int GetCustomRegion(unsigned char* address, unsigned char* freSpace, unsigned char* freNum,
                                unsigned char* freStart, int FrmHandle);

/* How regions are given (command 0xE6, function 0x04). Address: always.
 *
 * regionType  passed on as it is
 */
TAGWIRE_API int SetRegionType(unsigned char* address, unsigned char regionType, int FrmHandle);

/* Output power of all antennas (command 0x2F). Address: ok. Waits as PICKED (tagwire/calls.h) and skips other
 * frames, damaged ones too, so that it works while the reader reports by itself: 48 in the place of 49 and
 * 238.
 *
 * PowerDbm  dBm
 */
TAGWIRE_API int SetRfPower(unsigned char* address, unsigned char PowerDbm, int FrmHandle);

/* Output power of each of 4 antennas (commands 0x2F, 0x94). Address: ok.
 *
 * PowerDbm  in, or out of GetRfPowerByAnt, 4 bytes: dBm
 */
TAGWIRE_API int SetRfPowerByAnt(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);
TAGWIRE_API int GetRfPowerByAnt(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);

/* Output power of each antenna (commands 0x2F, 0x94). Address: ok.
 *
 * PowerDbm  in, length bytes: dBm; out of GetAntennaPower at most 250 bytes
 * length    in, and out of GetAntennaPower: count of antennas; -1 can come from a broken answer. In: 1, 2, 4,
 *           8, 9, 12, 16 or 64
 *
 * SetAntennaPower gives 255 for any other length, and sends nothing.
 */
TAGWIRE_API int SetAntennaPower(unsigned char* address, unsigned char* PowerDbm, int length, int FrmHandle);
TAGWIRE_API int GetAntennaPower(unsigned char* address, unsigned char* PowerDbm, int* length, int FrmHandle);

/* Output power of writes (commands 0x79, 0x7A). Address: ok.
 *
 * PowerDbm  in, or out of ReadRfPower, 1 byte: dBm
 */
TAGWIRE_API int WriteRfPower(unsigned char* address, unsigned char PowerDbm, int FrmHandle);
TAGWIRE_API int ReadRfPower(unsigned char* address, unsigned char* PowerDbm, int FrmHandle);

/* Kind of power calibration (command 0xE6, function 0x03).
 *
 * powerType  passed on as it is
 */
TAGWIRE_API int SetCalibrationPowerType(unsigned char* address, unsigned char powerType, int FrmHandle);

/* Switches the carrier (command 0x30). Address: ok.
 *
 * OnOff  on or off, passed on as it is
 */
TAGWIRE_API int RfOutput(unsigned char* address, unsigned char OnOff, int FrmHandle);

/* Antennas that an inventory goes through (command 0x3F): by one byte of bits, by two with a byte that tells
 * whether the setting is kept, or by 8.
 *
 * Ant               antennas as bits
 * SetOnce           whether the setting is kept
 * AntCfg1, AntCfg2  antennas as bits
 * opt               0 reads, any other value writes
 * AntCfg            in, 8 bytes, also for a read; out of a read: written whenever the answer has 8 bytes,
 *                   whatever the status
 */
TAGWIRE_API int SetAntennaMultiplexing(unsigned char* address, unsigned char Ant, int FrmHandle);
TAGWIRE_API int SetAntenna(unsigned char* address, unsigned char SetOnce, unsigned char AntCfg1,
                           unsigned char AntCfg2, int FrmHandle);
TAGWIRE_API int OptAntenna(unsigned char* address, unsigned char opt, unsigned char SetOnce,
                           unsigned char* AntCfg, int FrmHandle);

/* The same for readers with 12 antennas (command 0x85).
 *
 * SetOnce           whether the setting is kept
 * AntCfg1, AntCfg2  antennas as bits
 */
TAGWIRE_API int SetAntennaA12(unsigned char* address, unsigned char SetOnce, unsigned char AntCfg1,
                              unsigned char AntCfg2, int FrmHandle);

/* Switches an antenna multiplexer (command 0xB0).
 *
 * TargetAddr  which multiplexer
 * antenna     which antenna
 */
TAGWIRE_API int MutipleAntennaSwitch(unsigned char* address, unsigned char TargetAddr, unsigned char antenna,
                                     int FrmHandle);

/* Count of antennas (command 0x7C).
 *
 * AntNum  in and out, 1 byte. In: the count; out: what the reader has set
 */
TAGWIRE_API int ConfigAntNum(unsigned char* address, unsigned char* AntNum, int FrmHandle);

/* Return loss of an antenna (command 0x91). Address: ok.
 *
 * TestFreq    in, 4 bytes: frequency, sent in this order
 * Ant         which antenna
 * ReturnLoss  out, 1 byte
 */
TAGWIRE_API int MeasureReturnLoss(unsigned char* address, unsigned char* TestFreq, unsigned char Ant,
                                  unsigned char* ReturnLoss, int FrmHandle);

/* How long the reader stays on a channel (command 0xD3). GetDwellTime writes its outputs with every answer,
 * also where the reader refused.
 *
 * flag                passed on with bit 4 set
 * FCCOnTime, S1Times  in, or out of GetDwellTime, 1 byte: passed on as they are
 */
TAGWIRE_API int SetDwellTime(unsigned char* address, unsigned char flag, unsigned char FCCOnTime,
                             unsigned char S1Times, int FrmHandle);
TAGWIRE_API int GetDwellTime(unsigned char* address, unsigned char* FCCOnTime, unsigned char* S1Times,
                             int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
