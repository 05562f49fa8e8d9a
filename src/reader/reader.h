// The Reader: one connection to one reader device.
//
// Threads: a Reader is shared by the caller's threads and the worker of continuous reading. What more than
// one of them touches is an Atomic value or stands behind a lock or gate; the buffers belong to the command
// whose turn it is (see link/turn.h).
//
// Lifetime: counted. Create_Reader gives the first reference to the handle table, Destroy_Reader takes it
// back; every call in progress and every worker holds one of its own. The memory is freed by whoever leaves
// last.
#pragma once

#include <cstdint>
#include <termios.h>

#include "reader/atomic.h"
#include "reader/gate.h"
#include "reader/operations.h"

namespace tagwire::engine {

inline constexpr int buffer_size = 65536;

struct Stream;  // one run of continuous reading, owned by its worker

struct Hooks;  // what the owner of a Reader looks at, see reader/hooks.h

struct HeldPort;  // a serial device that this process has open

// Who takes the tags of the inventory in progress; undecided where none runs.
enum class TagsGo : u8 { undecided, to_the_list, to_the_callback_only };

// What came over the link since the Reader was made. Where an answer has no CRC that is looked at, only its bytes
// count.
struct LinkCounters {
    Atomic<std::uint64_t> bytes;
    Atomic<std::uint64_t> frames;         // with a good CRC
    Atomic<std::uint64_t> bad_crc;        // damaged, or noise that looked like a frame
    Atomic<std::uint64_t> skipped_bytes;  // that are in no frame
};

// What the library keeps about a Reader besides its documented fields.
struct Keeping {
    Atomic<unsigned> users;       // references; the last one to go frees the Reader
    int wake_fd;                  // event descriptor: signalled, it ends every wait on the link
    pthread_mutex_t wake_mutex;   // makes one step of the count and the signal
    unsigned wakers;              // who want it signalled
    Atomic<bool> calm_with_turn;  // one of them until the turn in progress ends
    Gate link;                    // around system calls on the link's descriptor
    Atomic<bool> opening;         // in its slot, its handle not given out yet
    Atomic<bool> closing;         // claimed by the one close that carries the Reader away
    Atomic<bool> retired;         // destroyed: calls that are still in progress end as soon as they see it
    HeldPort* port;               // the serial device of the link, or null
    Atomic<TagsGo> tags_go;
    Atomic<unsigned long> turn_owner;  // thread whose command uses the buffers, 0 when idle
    Atomic<unsigned long> lock_owner;  // thread that holds g_cs, 0 when free
    pthread_mutex_t stream_mutex;      // guards `stream`, and starting against stopping
    Stream* stream;                    // the run that StopRead ends, or null
    const Hooks* hooks;                // its owner's, or null
    LinkCounters counters;
    int frames_used;  // of szBuff: behind these bytes all is zero
    int list_used;    // of szBuff1
};

}  // namespace tagwire::engine

struct Reader {
    union {
        u8 data[255];
        struct {
            u8 Len;
            u8 ComAddr;
            u8 CMD;
            u8 Data[252];
        } comData;
        u8 whole[256];  // a frame with Len 255 has one byte more
    } sendBuff;
    tagwire::engine::Atomic<int> sServer;
    int netport;
    termios portDCB;
    tagwire::engine::Atomic<int> hCommPort;
    std::int64_t time1;
    std::int64_t time2;
    std::int64_t time3;
    u8 inventoryScanTime;
    tagwire::engine::Keeping keeping;  // here, for it to share a page with the first fields
    u8 recvBuff[tagwire::engine::buffer_size];
    u8 btRecvArr[tagwire::engine::buffer_size];
    u8 btArBuff[tagwire::engine::buffer_size];
    u8 szBuff[tagwire::engine::buffer_size];
    u8 szBuff1[tagwire::engine::buffer_size];
    int recvLength;
    tagwire::engine::Atomic<bool> LogFileFlag;
    tagwire::engine::Atomic<int> ATstate;
    tagwire::engine::Atomic<bool> usbFlag;
    bool fWriteStat;
    bool fReadStat;
    u8 ReaderAddr;
    pthread_mutex_t g_cs;
    pthread_mutex_t g_writecs;
    tagwire::engine::Atomic<bool> isInventoryCmd;
    tagwire::engine::Atomic<bool> isStopCmd;
    tagwire::engine::Atomic<bool> isStopStocktaking;
    tagwire::engine::Atomic<bool> Reading;
    tagwire::engine::Atomic<bool> DeviceIsOpen;
    char ipAddress[64];  // see link/connection.h
    int ipPort;
    tagwire::engine::Atomic<int> m_type;
    tagwire::engine::Atomic<int> FrmHandle;
    int TagNumber;
    RFIDTag* lpRfid[5000];
    tagwire::engine::Atomic<bool> InventoryBackUID;
    tagwire::engine::Atomic<pRFIDCallBack> MypCallBack;

    Operations operations;
};

extern "C" {
// Null when memory or descriptors ran out.
TAGWIRE_API Reader* Create_Reader();
// Ends the connection's use: flags to their stop values, no further callback, the reference given back and
// *sthis null. An open TCP socket is not closed here; that is the close path's part.
TAGWIRE_API void Destroy_Reader(Reader** sthis);
}

namespace tagwire::engine {

// Zeros, to be given back by free(). Whatever was there before, pages that are not written to take no memory.
void* spacious(std::size_t size);

void retain(Reader* reader);   // while another reference is held
void release(Reader* reader);  // frees the Reader when it was the last

// Ends every wait on the Reader's link, now and until as many calm() as wake() were called.
void wake(Reader* reader);
void calm(Reader* reader);

// Sets the stop flag and lets whoever waits on the link see it: a wake().
void request_stop(Reader* reader);

}  // namespace tagwire::engine
