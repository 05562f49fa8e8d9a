// What the owner of a Reader may look at while it works, instead of a callback and a log.
#pragma once

#include "reader/reader.h"

namespace tagwire::engine {

struct TagRecord;  // see inventory/records.h

enum class Direction { received, sent };

// Set while no call is in progress. Either function may be null. Each runs on the thread that received or sent.
struct Hooks {
    void* owner;
    // Takes every record where the callback would.
    void (*record)(void* owner, const TagRecord& record) noexcept;
    // Sees every byte read and every frame written.
    void (*traffic)(void* owner, Direction direction, const u8* bytes, int count) noexcept;
};

inline bool has_record_hook(const Reader* reader)
{
    return reader->keeping.hooks != nullptr && reader->keeping.hooks->record != nullptr;
}

// Somebody takes tags as they come.
inline bool has_tag_taker(const Reader* reader)
{
    return has_record_hook(reader) || reader->MypCallBack != nullptr;
}

// What came or went, for the log, the counters and the hook.
inline void note_traffic(Reader* reader, Direction direction, u8* bytes, int count)
{
    reader->operations.log(reader, direction == Direction::received ? 'R' : 'W', bytes, count);
    if (direction == Direction::received)
        reader->keeping.counters.bytes.count(static_cast<std::uint64_t>(count));
    const Hooks* hooks = reader->keeping.hooks;
    if (hooks != nullptr && hooks->traffic != nullptr) hooks->traffic(hooks->owner, direction, bytes, count);
}

}  // namespace tagwire::engine
