/* Continuous reading: the reader inventories on its own and pushes a report for every tag it reads.
 *
 * StartRead asks the reader to begin and starts one thread that hands each report to the registered callback,
 * until StopRead or a close.
 *
 * A close tells the reader nothing: on a serial line it pushes on. Call StopRead before closing, and after
 * opening when the reader may still be pushing; a StartRead among pushed reports ends with 48, 49 or 238.
 */
#ifndef TAGWIRE_READING_H
#define TAGWIRE_READING_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Starts continuous reading (command 0x50). Waits as ANSWER (tagwire/calls.h) for the reader's answer.
 *
 * address  in, 1 byte: bus address
 * target   passed on as it is
 *
 * 0     reading runs
 * 48    no answer in time, or no thread could be started (the reader is then told to stop)
 * 49    the answer's CRC is wrong
 * 51    reading runs already
 * 55    no such handle, or its link is gone
 * 238   the answer belongs to another command
 * else  the reader's status: it did not start
 *
 * A reader may have started although its answer was lost, or came together with the first report (48, 49,
 * 238): StopRead quiets it. On a connection that refused a close with 51 the reader starts, but next to
 * nothing is delivered.
 */
TAGWIRE_API int StartRead(unsigned char* address, unsigned char target, int FrmHandle);

/* Stops continuous reading (command 0x51). Never waits for a callback. Waits as PICKED (tagwire/calls.h) for
 * the reader's answer.
 *
 * The chunk of reports that the library had read before the stop, at most 2048 bytes over TCP and 256 from a
 * serial line, is still delivered, also after the call has returned. What had come behind it and was not read
 * yet is discarded. A callback that is running goes on: when reading is started again, it can overlap with
 * the callback of the next report.
 *
 * The connection counts as idle afterwards, whatever the result; a reader that gave another one than 0 may
 * still be pushing.
 *
 * address  in, 1 byte: bus address
 *
 * 0     stopped
 * 48    the reader did not answer in time, or another command kept the connection (tagwire/calls.h): the stop
 *       was sent all the same
 * 49    kept for a damaged answer; such frames are passed over
 * 55    no such handle, or its link is gone
 * 238   kept for an answer to another command; such frames are passed over
 * else  the reader's status
 */
TAGWIRE_API int StopRead(unsigned char* address, int FrmHandle);

/* Sends the reader an abort (command 0x93) and waits for no answer. An inventory of the same handle is then
 * ended by the reader.
 *
 * address  in, 1 byte: bus address
 *
 * 0   sent
 * 48  it could not be sent
 * 51  busy (tagwire/calls.h): use StopRead
 * 55  no such handle, or its link is of no known type
 */
TAGWIRE_API int StopImmediately(unsigned char* address, int FrmHandle);

/* Takes the raw bytes that a reader in an auto-running work mode pushed, after a pause. Waits as RAW
 * (tagwire/calls.h).
 *
 * ScanModeData     out: the bytes as they came, unframed and unchecked: at most 256 from a serial line, 2048
 *                  from TCP
 * ValidDatalength  out: how many bytes
 *
 * 0    there are some
 * 51   busy (tagwire/calls.h)
 * 55   no such handle
 * 251  nothing was there; outputs untouched
 */
TAGWIRE_API int ReadActiveModeData(unsigned char* ScanModeData, int* ValidDatalength, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
