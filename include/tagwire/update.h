/* Firmware update and parameter tables.
 *
 * The results are those of tagwire/settings.h, and so is the waiting, where nothing else is said. Outputs are
 * written with result 0 only, where nothing else is said.
 *
 * ComAdr  in, 1 byte: bus address of the reader
 *
 * An update is: ChangeToUpdateMode, WriteBinData for each block in order, CheckCRC32 to compare, WriteMark.
 * Blocks, their numbers and the order are the application's.
 */
#ifndef TAGWIRE_UPDATE_H
#define TAGWIRE_UPDATE_H

#include "tagwire/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Switches to the update mode (command 0xF8). */
TAGWIRE_API int ChangeToUpdateMode(unsigned char* ComAdr, int FrmHandle);

/* The same command with bytes of one's own.
 *
 * SRFU  in, 8 bytes: passed on as they are
 * DATA  out, 8 bytes, with every answer, also where the reader refused: as received
 */
TAGWIRE_API int FwUpdate(unsigned char* ComAdr, unsigned char* SRFU, unsigned char* DATA, int FrmHandle);

/* Writes a block of the image (command 0xF9). A block that the reader takes longer to store than an ANSWER
 * may take (tagwire/calls.h) gives 48.
 *
 * Index  number of the block
 * data   in, len bytes
 * len    0 to 250; with any other the frame's length byte wraps and the frame is no block
 */
TAGWIRE_API int WriteBinData(unsigned char* ComAdr, unsigned char Index, unsigned char* data, int len,
                             int FrmHandle);

/* CRC-32 of what the reader received (command 0xFA).
 *
 * crc32  out, 4 bytes, in the order received
 */
TAGWIRE_API int CheckCRC32(unsigned char* ComAdr, unsigned char* crc32, int FrmHandle);

/* Marks the new image as valid (command 0xFB). */
TAGWIRE_API int WriteMark(unsigned char* ComAdr, int FrmHandle);

/* Reads a parameter table (command 0xE6, function 0x0D). Waits as TABLE (tagwire/calls.h).
 *
 * ParemTab  number of the table
 * pdat      out: the table, at most 65535 bytes
 * ParamLen  out, 2 bytes: length of the table, high byte first
 *
 * 48 also when a stop or a close ends it, when the reader refuses the command (echo 0xEE), when the table is
 * not as long as its last frame says, or when frames come from another address than the one the library knows
 * for the reader (see SetAddress). 49 and 238 do not occur: such frames are passed over.
 */
TAGWIRE_API int ReadParameterTable(unsigned char* ComAdr, unsigned char ParemTab, unsigned char* pdat,
                                   unsigned char* ParamLen, int FrmHandle);

/* Writes a parameter table, 240 bytes a frame and a closing frame without any (function 0x0E), each with an
 * answer of its own to wait for.
 *
 * ParemTab  number of the table
 * PDat      in, PDatLen bytes: the table
 * PDatLen   count of bytes; below 0 counts as 0
 *
 * The status of the answers does not show: 0 means that every frame was answered. 238 also when an answer
 * belongs to another function.
 */
TAGWIRE_API int WriteParameterTable(unsigned char* ComAdr, unsigned char ParemTab, unsigned char* PDat,
                                    int PDatLen, int FrmHandle);

/* Makes the parameters in use the factory's (function 0x0F), restores the factory's (0x10), and clears
 * parameters (0x10 with an option). 238 also when the answer belongs to another function.
 *
 * Opt  what is cleared, passed on as it is; 0 restores
 */
TAGWIRE_API int OverwriteFactoryDefaultParameterTable(unsigned char* ComAdr, int FrmHandle);
TAGWIRE_API int RestoreFactoryDefaultParameterTable(unsigned char* ComAdr, int FrmHandle);
TAGWIRE_API int ClearAllParameters(unsigned char* ComAdr, unsigned char Opt, int FrmHandle);

#ifdef __cplusplus
}
#endif

#endif
