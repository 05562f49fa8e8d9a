/* The reader's Ethernet, WiFi, Bluetooth and 4G modules, its position, and bytes passed through to its
 * communication module.
 *
 * address and the results are those of tagwire/settings.h, "address: ok" too, and so is the waiting, where
 * nothing else is said. Values are 1 byte where nothing else is said, in the reader's coding, passed on as
 * they are. MAC addresses, IPv4 addresses and masks keep the order of their bytes. Outputs are written with
 * result 0 only, where nothing else is said.
 */
#ifndef TAGWIRE_NETWORK_H
#define TAGWIRE_NETWORK_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* MAC address of the Ethernet interface (commands 0xF1, 0xF2). Address: ok, but not of SetRJ45MacAddr.
 *
 * mac  in, or out of the calls that get it, 6 bytes
 */
TAGWIRE_API int SetMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int SetRJ45MacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetRJ45MacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);

/* MAC addresses of the radios (command 0xF2). Address: ok.
 *
 * mac  out, 6 bytes
 */
TAGWIRE_API int GetWIFIMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetBluetoothMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);
TAGWIRE_API int GetBleMacAddr(unsigned char* address, unsigned char* mac, int FrmHandle);

/* Link state and IPv4 settings (command 0xE6, function 0x0C). Address: ok.
 *
 * rj45state, WIFIstate  out, 1 byte: state of the link
 * localIP               out, 4 bytes: address
 * subnet                out, 4 bytes: mask
 * gatewayIp             out, 4 bytes: gateway
 */
TAGWIRE_API int ReadRJ45ConnectStatus(unsigned char* address, unsigned char* rj45state,
                                      unsigned char* localIP, unsigned char* subnet, unsigned char* gatewayIp,
                                      int FrmHandle);
TAGWIRE_API int ReadWIFIConnectStatus(unsigned char* address, unsigned char* WIFIstate,
                                      unsigned char* localIP, unsigned char* subnet, unsigned char* gatewayIp,
                                      int FrmHandle);

/* Looks for WiFi access points (command 0xE6, function 0x0B). Waits as SCAN (tagwire/calls.h).
 *
 * address  in, 1 byte
 * APInfo   out: a record for each access point, in the reader's layout, back to back; at most 60000 bytes
 * length   out: count of bytes in APInfo
 * Count    out: count of records
 *
 * Without any access point the three stay as they were. The result is the status of the last frame, 0 for
 * success; 48 when the scan did not come to its end, or the reader answered with the command 0xEE, or with
 * more than 60000 bytes, and the outputs are untouched; 51 and 55 as above.
 */
TAGWIRE_API int SearchWIFI(unsigned char* address, unsigned char* APInfo, int* length, int* Count,
                           int FrmHandle);

/* Position and time (command 0xB0).
 *
 * NUM_SV                                     out, 1 byte: satellites in use
 * GPS_State                                  out, 1 byte: state of the fix
 * NorthSouth, EastWest                       out, 1 byte: hemisphere
 * Latitude_dd, Longitude_dd                  out, 1 byte: degrees
 * Latitude_mm, Longitude_mm                  out, 1 byte: whole minutes
 * Latitude_mmFraction, Longitude_mmFraction  out, 4 bytes: fraction of the minutes, as received
 * Date_Year, Date_Month, Date_Day            out, 1 byte: date, as received
 * UTC_hh, UTC_mm, UTC_ss                     out, 1 byte: UTC hours, minutes and seconds, as received
 */
TAGWIRE_API int GetGPSInformation(unsigned char* address, unsigned char* NUM_SV, unsigned char* GPS_State,
                                  unsigned char* NorthSouth, unsigned char* Latitude_dd,
                                  unsigned char* Latitude_mm, unsigned char* Latitude_mmFraction,
                                  unsigned char* EastWest, unsigned char* Longitude_dd,
                                  unsigned char* Longitude_mm, unsigned char* Longitude_mmFraction,
                                  unsigned char* Date_Year, unsigned char* Date_Month,
                                  unsigned char* Date_Day, unsigned char* UTC_hh, unsigned char* UTC_mm,
                                  unsigned char* UTC_ss, int FrmHandle);

/* State of the 4G modem and its identities (command 0xB1).
 *
 * State4G                     out, 1 byte: state
 * RSSI                        out, 1 byte: signal strength
 * IMEILen, IMSILen, ICCIDLen  out, 1 byte: length of the text, as the reader says
 * IMEI, IMSI, ICCID           out, as many bytes as the length says, at most 247, without a NUL: what a
 *                             length says beyond the answer's frame is not there
 */
TAGWIRE_API int Get4GConnectStatus(unsigned char* address, unsigned char* State4G, unsigned char* RSSI,
                                   unsigned char* IMEILen, unsigned char* IMEI, unsigned char* IMSILen,
                                   unsigned char* IMSI, unsigned char* ICCIDLen, unsigned char* ICCID,
                                   int FrmHandle);

/* Server that the 4G link connects to (commands 0xB2, 0xB3); what one sets the other gets.
 *
 * ServerAddrLen  count of bytes in ServerAddr, 1 byte in or out
 * ServerAddr     in or out, ServerAddrLen bytes, without a NUL. A frame has room for 248, with more its
 *                length byte wraps; out at most 249
 * ServerPort     16 bits, in or out, 0 to 65535
 */
TAGWIRE_API int Set4GRemoteServerInformation(unsigned char* address, unsigned char ServerAddrLen,
                                             unsigned char* ServerAddr, int ServerPort, int FrmHandle);
TAGWIRE_API int Get4GRemoteServerInformation(unsigned char* address, unsigned char* ServerAddrLen,
                                             unsigned char* ServerAddr, int* ServerPort, int FrmHandle);

/* Switches the pass-through to the communication module (command 0x4D). Address: ok. Waits as MODULE
 * (tagwire/calls.h).
 *
 * ATMode  on or off
 *
 * Serial links only. Over TCP the call gives 55, but only after the command was sent: the reader carries it
 * out, and its answer stays on the link. The next command takes it for its own, with 49 or 238, and may leave
 * its own behind in turn; GetReaderInformation passes over what is left.
 */
TAGWIRE_API int ChangeATMode(unsigned char* address, unsigned char ATMode, int FrmHandle);

/* Passes bytes to the communication module and gets its answer (command 0x4E). Waits as MODULE
 * (tagwire/calls.h). Serial links only, as ChangeATMode.
 *
 * address   in, 1 byte
 * timeout   how long the reader waits for the module, in its unit
 * cmddata   in, nlen bytes; a frame has room for 250, with more its length byte wraps
 * nlen      0 to 250; below 0 nothing of cmddata is sent, and the frame's length byte is wrong
 * recvdata  out, at most 250 bytes: the answer
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
