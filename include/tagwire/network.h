/* The reader's Ethernet, WiFi, Bluetooth and 4G modules, its position, and bytes passed through to its
 * communication module.
 *
 * address, the waits, outputs and results are those of tagwire/settings.h, "address: ok" too. Values are 1
 * byte where nothing else is said, in the reader's coding. MAC addresses are 6 bytes, IPv4 addresses and
 * masks 4.
 */
#ifndef TAGWIRE_NETWORK_H
#define TAGWIRE_NETWORK_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* MAC address of the Ethernet interface (commands 0xF1, 0xF2). Address: ok, but not of SetRJ45MacAddr. */
TAGWIRE_API int SetMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int SetRJ45MacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetRJ45MacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);

/* MAC addresses of the radios (command 0xF2). Address: ok. */
TAGWIRE_API int GetWIFIMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetBluetoothMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetBleMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);

/* Link state and IPv4 settings (command 0xE6, function 0x0C). Address: ok. */
TAGWIRE_API int ReadRJ45ConnectStatus(unsigned char* address, unsigned char* rj45state,
                                      unsigned char* localIP, unsigned char* subnet, unsigned char* gatewayIp,
                                      int FrmHandle);
TAGWIRE_API int ReadWIFIConnectStatus(unsigned char* address, unsigned char* WIFIstate,
                                      unsigned char* localIP, unsigned char* subnet, unsigned char* gatewayIp,
                                      int FrmHandle);

/* Looks for WiFi access points (command 0xE6, function 0x0B). 20 s of silence end the call with 48.
 *
 * APInfo  out: a record for each access point, in the reader's layout, back to back; at most 60000 bytes
 * length  out: count of bytes in APInfo
 * Count   out: count of records
 *
 * Without any access point the three stay as they were. The result is the status of the last frame, 0 for
 * success; 238 when the reader refused the command; 48 also for more than 60000 bytes of answer; 51 and 55 as
 * above.
 */
TAGWIRE_API int SearchWIFI(unsigned char* address, unsigned char* APInfo, int* length, int* Count,
                           int FrmHandle);

/* Position and time (command 0xB0). The fractions of minutes are 4 bytes each.
 *
 * NUM_SV                            satellites in use
 * GPS_State                         state of the fix
 * NorthSouth, EastWest              hemispheres
 * Latitude_dd, Longitude_dd         degrees
 * Latitude_mm, Longitude_mm         whole minutes
 * Latitude_mmFraction, Longitude_mmFraction  4 bytes each
 */
TAGWIRE_API int GetGPSInformation(unsigned char* address, unsigned char* NUM_SV, unsigned char* GPS_State,
                                  unsigned char* NorthSouth, unsigned char* Latitude_dd,
                                  unsigned char* Latitude_mm, unsigned char* Latitude_mmFraction,
                                  unsigned char* EastWest, unsigned char* Longitude_dd,
                                  unsigned char* Longitude_mm, unsigned char* Longitude_mmFraction,
                                  unsigned char* Date_Year, unsigned char* Date_Month,
                                  unsigned char* Date_Day, unsigned char* UTC_hh, unsigned char* UTC_mm,
                                  unsigned char* UTC_ss, int FrmHandle);

/* State of the 4G modem and its identities (command 0xB1). IMEI, IMSI and ICCID get as many bytes as their
 * length says, at most 247 each, without a NUL: what a length says beyond the answer's frame is not there. */
TAGWIRE_API int Get4GConnectStatus(unsigned char* address, unsigned char* State4G, unsigned char* RSSI,
                                   unsigned char* IMEILen, unsigned char* IMEI, unsigned char* IMSILen,
                                   unsigned char* IMSI, unsigned char* ICCIDLen, unsigned char* ICCID,
                                   int FrmHandle);

/* Server that the 4G link connects to (commands 0xB2, 0xB3).
 *
 * ServerAddr  ServerAddrLen bytes, without a NUL. A frame has room for 248, with more its length byte wraps;
 *             as output at most 249
 * ServerPort  16 bits
 */
TAGWIRE_API int Set4GRemoteServerInformation(unsigned char* address, unsigned char ServerAddrLen,
                                             unsigned char* ServerAddr, int ServerPort, int FrmHandle);
TAGWIRE_API int Get4GRemoteServerInformation(unsigned char* address, unsigned char* ServerAddrLen,
                                             unsigned char* ServerAddr, int* ServerPort, int FrmHandle);

/* Switches the pass-through to the communication module (command 0x4D). Address: ok. Waits up to 10 s, 7 s
 * for the first byte. Serial links only: a TCP link gives 55. */
TAGWIRE_API int ChangeATMode(unsigned char* address, unsigned char ATMode, int FrmHandle);

/* Passes bytes to the communication module and gets its answer (command 0x4E). Waits as ChangeATMode does.
 *
 * timeout   how long the reader waits for the module
 * cmddata   nlen bytes; a frame has room for 250, with more its length byte wraps
 * recvdata  out, at most 250 bytes
 * recvLen   out: count of bytes in recvdata
 *
 * An answer with another status than 0, or with bytes behind it, is not recognised and ends in 48.
 */
TAGWIRE_API int TransparentCMD(unsigned char* address, unsigned char timeout, unsigned char* cmddata,
                               int nlen, unsigned char* recvdata, int* recvLen, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
