// The tag decoder: one frame in, one call per tag out.
#include "inventory/records.h"
#include "link/hex.h"
#include "reader/hooks.h"

namespace tagwire::engine {
namespace {

constexpr std::size_t longest_id = 255;

RFIDTag tag_of(const TagRecord& record, const char* text, int handle)
{
    return {.PacketParam = record.packet,
            .LEN = record.len,
            .UID = text,
            .phase_begin = record.phase_begin,
            .phase_end = record.phase_end,
            .RSSI = record.rssi,
            .Freqkhz = record.khz,
            .ANT = record.antenna,
            .FrmHandle = handle};
}

// A close takes the callback away and does not wait: a call that is being entered may still begin behind it.
void deliver(const Reader* reader, const TagRecord& record)
{
    if (reader->keeping.retired) return;
    if (has_record_hook(reader)) return reader->keeping.hooks->record(reader->keeping.hooks->owner, record);
    const pRFIDCallBack callback = reader->MypCallBack;
    if (callback == nullptr) return;
    char text[2 * longest_id + 1];
    *write_hex(text, record.id, record.id_size) = '\0';
    RFIDTag tag = tag_of(record, text, reader->FrmHandle);
    callback(&tag, record.kind);
}

}  // namespace
}  // namespace tagwire::engine

// `btFrm` points to 300 bytes: the frame and zeros.
void I_parserRidTag(Reader* sthis, u8* btFrm, int cmd)
{
    using namespace tagwire::engine;
    for_each_record(btFrm, cmd, [&](const TagRecord& record) { deliver(sthis, record); });
}
