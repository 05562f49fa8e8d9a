/* Opening and closing readers, and registering the callback.
 *
 * Handles: an open connection is named by its handle, FrmHandle, 1 to 255. The lowest free one is given out.
 *
 * Threads: calls on different handles may all run at the same time. On one handle, one command at a time is
 * the caller's duty; StopRead, StopImmediately, the close functions and InitRFIDCallBack may come from any
 * thread at any time, also from inside a callback. What each of them then does, and what it waits for, stands
 * in tagwire/calls.h.
 *
 * Descriptors: an open connection holds two (its link and an event descriptor), on a serial device a third
 * one: an abstract local socket named tagwire-serial-MAJOR-MINOR after the device number, by which others see
 * that the device is in use. Programs that are executed inherit none; a process that was forked meanwhile and
 * executes nothing keeps the device in use as long as it lives.
 *
 * Files: when a file named writelog.txt lies in the current directory at the moment of opening, every chunk
 * of bytes written and read on that connection is logged there, in one file a minute (YYMMDDhhmm.log).
 */
#ifndef TAGWIRE_CONNECTION_H
#define TAGWIRE_CONNECTION_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opens a reader on a serial device and asks it for its information once.
 *
 * port       in: path of the device, for example "/dev/ttyUSB0", NUL-terminated. It must not be open already,
 *            in this process or in another one that uses tagwire
 * address    in and out, 1 byte. In: the bus address to ask, 0xFF for whichever reader is there. Out, with
 *            result 0: the address that the reader answered with
 * baud       speed of the line, 8N1: 0 = 9600, 1 = 19200, 2 = 38400, 5 = 57600, 6 = 115200, 7 = 921600 bit/s;
 *            any other value is 57600
 * FrmHandle  out: the handle, or -1 on failure
 *
 * 0     open
 * 48    no reader answered in time (OPEN, see tagwire/calls.h), all 255 handles are in use, or memory or
 *       descriptors ran out
 * 51    kept for a reader left busy by its handshake; does not occur
 * 57    the device cannot be opened or is in use
 * 249   the device refuses the line settings
 * else  the status, not 0, that the reader answered the handshake with
 *
 * What waits on standard input, unread or unsent, is discarded if that is a terminal.
 */
TAGWIRE_API int OpenComPort(char* port, unsigned char* address, unsigned char baud, int* FrmHandle);

/* Tries the serial devices /dev/tty0, /dev/ttyS0, /dev/ttyUSB0, /dev/tty1, ... /dev/ttyUSB9 in that order and
 * keeps the first one on which a reader answers.
 *
 * Each device that it may open, the virtual consoles /dev/tty0 to /dev/tty9 among them, gets the line
 * settings and a request of 5 bytes written to it, whatever hangs on it, and keeps those settings.
 *
 * port       out, at least 32 bytes: the path that worked, NUL-terminated; untouched when none did
 * address    in and out, 1 byte: as of OpenComPort
 * baud       as of OpenComPort
 * FrmHandle  out: the handle, or -1 on failure
 *
 * 0   open
 * 48  no reader on any of the 30 devices
 */
TAGWIRE_API int AutoOpenComPort(char* port, unsigned char* address, unsigned char baud, int* FrmHandle);

/* Connects to a reader over TCP and asks it for its information once.
 *
 * An IP address has at most one connection: an older one to the same address, whatever its port, is closed
 * first.
 *
 * Port       TCP port of the reader, low 16 bits
 * IPaddr     in: its IPv4 address as dotted text, NUL-terminated; 63 characters count
 * ComAdr     in and out, 1 byte: as address of OpenComPort
 * FrmHandle  in: the handle that the caller held before, or -1. Out: the handle, or -1 on failure; untouched
 *            by a result of 51
 *
 * 0   open
 * 48  the address is not valid, nobody answered in time (OPEN, see tagwire/calls.h), the reader did not
 *     answer the handshake (whatever the handshake returned), all 255 handles are in use, or memory or
 *     descriptors ran out
 * 51  another OpenNetPort is running; busy (tagwire/calls.h); or the reader behind the handle given in
 *     FrmHandle is in an inventory and an older connection to this address was closed. In the last case the
 *     handle of the older connection stays taken for the life of the process: commands on it give 48, 51 or
 *     55, closing it gives 48
 */
TAGWIRE_API int OpenNetPort(int Port, char* IPaddr, unsigned char* ComAdr, int* FrmHandle);

/* Closes a serial connection.
 *
 * 0   closed; the handle is free
 * 48  no reader has this handle, it is not open, another thread is closing it, or it is a TCP connection
 * 51  an inventory is in progress (tagwire/calls.h); the connection stays open
 * 55  FrmHandle is outside 1..255
 *
 * A connection stays stopped after a result of 51, as long as it is open. Inventories and ReadParameterTable
 * on it take what comes with the first read, and unless that is the whole answer end with 48.
 * Fast_switch_ant_inventory ends at once with 0. StartRead returns 0 and the reader starts, but next to
 * nothing is delivered. Only Inventory_Temperature and Inventory_Temperature_ltu32 work as ever.
 */
TAGWIRE_API int CloseSpecComPort(int FrmHandle);

/* Closes every serial connection, lowest handle first. TCP connections stay open. Always 0. */
TAGWIRE_API int CloseComPort(void);

/* Closes a TCP connection.
 *
 * 0   closed; the handle is free
 * 48  the handle is not open, another thread is closing it, or it is a serial connection
 * 51  an inventory is in progress (tagwire/calls.h); the connection stays open, and stopped, as
 *     CloseSpecComPort says
 * 55  FrmHandle is outside 1..255, or no reader has it
 */
TAGWIRE_API int CloseNetPort(int FrmHandle);

/* Registers the function that receives the tag reports of a connection.
 *
 * pRFIDback  the callback; a null pointer changes nothing. It stays registered until the connection is closed
 * isBackUID  true: inventories deliver tags to the callback only, and return no list. false: they do both
 *
 * Does nothing when FrmHandle names no reader.
 */
TAGWIRE_API void InitRFIDCallBack(pRFIDCallBack pRFIDback, bool isBackUID, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
