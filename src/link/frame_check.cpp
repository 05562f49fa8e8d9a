// The CRC operations.
#include "link/crc16.h"
#include "reader/reader.h"
#include "tagwire/result.h"

// Writes the register behind the n bytes, low byte first. A count below zero covers nothing; what would fall
// in front of the buffer is dropped.
void I_GetCRC(Reader* /*sthis*/, u8* data, int n)
{
    const std::uint16_t crc = tagwire::engine::crc16(data, n > 0 ? static_cast<std::size_t>(n) : 0);
    if (n >= 0) data[n] = static_cast<u8>(crc & 0xFFU);
    if (n >= -1) data[n + 1] = static_cast<u8>(crc >> 8U);
}

// The two bytes behind the frame are overwritten, also when it is good.
int I_CheckCRC(Reader* sthis, u8* data, int n)
{
    if (n < 0) return TAGWIRE_BAD_CRC;
    sthis->operations.GetCRC(sthis, data, n);
    return data[n] == 0 && data[n + 1] == 0 ? TAGWIRE_OK : TAGWIRE_BAD_CRC;
}
