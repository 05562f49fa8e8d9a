// Continuous reading: the reader pushes a report for every tag, a worker thread hands them to the callback.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "link/assembly.h"
#include "link/channel.h"
#include "link/clock.h"
#include "link/command.h"
#include "link/framing.h"
#include "link/system.h"

namespace tagwire {

// One run of continuous reading, from StartRead until its worker ends. A later run has a Stream of its own,
// so that a worker that was stopped inside its callback finds its own run over, whatever was started since.
struct Stream {
    Reader* reader;
    unsigned users;      // the worker, and a StopRead that waits for it
    Relaxed<bool> over;  // stopped: no further cycle
    Gate reading;        // around the worker's reads of the link
    u8 chunk[buffer_size];
    u8 assembly[buffer_size];
};

namespace {

constexpr u8 report_command = 0xEE;

void drop(Stream* stream)
{
    if (__atomic_sub_fetch(&stream->users, 1, __ATOMIC_ACQ_REL) != 0) return;
    stream->reading.destroy();
    std::free(stream);
}

class StreamLock {
  public:
    explicit StreamLock(Reader* reader) : mutex_(&reader->keeping.stream_mutex)
    {
        pthread_mutex_lock(mutex_);
    }
    ~StreamLock() { pthread_mutex_unlock(mutex_); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

  private:
    pthread_mutex_t* mutex_;
};

Stream* make_stream(Reader* reader)
{
    auto* stream = static_cast<Stream*>(std::calloc(1, sizeof(Stream)));
    if (stream == nullptr) return nullptr;
    stream->reader = reader;
    stream->users = 1;
    stream->reading.init();
    return stream;
}

// The run in progress, with a reference for the caller; null when there is none.
Stream* current_stream(Reader* reader)
{
    const StreamLock lock(reader);
    Stream* stream = reader->keeping.stream;
    if (stream != nullptr) __atomic_add_fetch(&stream->users, 1, __ATOMIC_RELAXED);
    return stream;
}

// Ends the run in progress. When this returns, its worker does not read the link any more; it may still be
// handing out what it has read.
void end_stream(Reader* reader)
{
    Stream* stream = current_stream(reader);
    if (stream == nullptr) return;
    stream->over = true;
    stream->reading.shut();
    wake(reader);
    stream->reading.await_empty();
    calm(reader);
    drop(stream);
}

bool is_report(const FrameCopy& frame)
{
    return frame.bytes[frame::command] == report_command && frame.bytes[frame::status] == 0;
}

void deliver_reports(Reader* reader, Assembly& bytes)
{
    FrameCopy frame;
    while (bytes.size() > 0) {
        const int length = bytes[0] + 1;
        const bool in_step =
            bytes.size() < 4 || (bytes[0] >= 4 && bytes[2] == report_command) || bytes[2] == 0;
        if (!in_step) {
            bytes.drop(1);
            continue;
        }
        if (bytes.size() < length) return;
        if (!frame.take(reader, bytes.front(), length)) {
            bytes.drop(1);
            continue;
        }
        if (is_report(frame) && reader->MypCallBack != nullptr)
            reader->operations.parserRidTag(reader, frame.bytes, 0x50);
        bytes.drop(length);
    }
}

// Reads one chunk and rests when there is none, unless the run was stopped meanwhile.
int read_chunk(Stream* stream)
{
    const Passage reading(stream->reading);
    if (!reading) return 0;
    const int n = stream->reader->operations.ReadRfidData(stream->reader, stream->chunk);
    if (n <= 0) rest_until_input(stream->reader);
    return n;
}

void run(Stream* stream)
{
    Reader* reader = stream->reader;
    Assembly bytes(stream->assembly, buffer_size);
    do {
        if (stream->over || reader->isStopStocktaking) return;
        const int n = read_chunk(stream);
        if (n <= 0) continue;
        bytes.feed(stream->chunk, n, [&] {
            deliver_reports(reader, bytes);
            return false;
        });
        pause_for_input(reader, 1);
    } while (!reader->isStopCmd);
}

void* worker(void* argument)
{
    auto* stream = static_cast<Stream*>(argument);
    Reader* reader = stream->reader;
    run(stream);
    {
        const StreamLock lock(reader);
        if (reader->keeping.stream == stream) reader->keeping.stream = nullptr;
    }
    drop(stream);
    release(reader);
    return nullptr;
}

// The application's signal handlers stay on the application's threads. Faults keep their meaning.
class AsynchronousSignalsBlocked {
  public:
    AsynchronousSignalsBlocked()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    ~AsynchronousSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AsynchronousSignalsBlocked(const AsynchronousSignalsBlocked&) = delete;
    AsynchronousSignalsBlocked& operator=(const AsynchronousSignalsBlocked&) = delete;

  private:
    sigset_t before_;
};

// On 32-bit systems 255 threads with stacks of the usual 8 MiB would fill the address space.
void limit_stack(pthread_attr_t& attributes)
{
    if constexpr (sizeof(void*) == 4) pthread_attr_setstacksize(&attributes, std::size_t{1} << 20U);
}

bool start_worker(Stream* stream)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    limit_stack(attributes);
    pthread_t thread;
    const AsynchronousSignalsBlocked blocked;
    const int result = sys::calls.start_thread(&thread, &attributes, worker, stream);
    pthread_attr_destroy(&attributes);
    return result == 0;
}

// Takes over `stream`.
bool start_stream(Reader* reader, Stream* stream)
{
    end_stream(reader);
    {
        const StreamLock lock(reader);
        reader->keeping.stream = stream;
    }
    reader->isStopStocktaking = false;
    retain(reader);
    if (start_worker(stream)) return true;

    reader->isStopStocktaking = true;
    {
        const StreamLock lock(reader);
        reader->keeping.stream = nullptr;
    }
    drop(stream);
    release(reader);
    return false;
}

// One raw read, into the receive buffer.
int read_raw(Reader* sthis, u8* to, int* count)
{
    const Exchange exchange(sthis, Purpose::command);
    const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
    if (n <= 0) return TAGWIRE_NO_DATA;
    std::memcpy(to, sthis->recvBuff, static_cast<std::size_t>(n));
    *count = n;
    return TAGWIRE_OK;
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_StartRead(Reader* sthis, u8* address, u8 target)
{
    // Before the reader is asked, so that there is no reading without a worker.
    Stream* stream = make_stream(sthis);
    if (stream == nullptr) return TAGWIRE_NO_ANSWER;
    const int status = Command(sthis, address, 0x50).byte(target).exchange(AddressEcho::never);
    if (status != 0) {
        drop(stream);
        return status;
    }
    if (start_stream(sthis, stream)) return status;
    sthis->operations.StopRead(sthis, address);
    return TAGWIRE_NO_ANSWER;
}

int I_StopRead(Reader* sthis, u8* address)
{
    constexpr int answer_limit_ms = 200;
    sthis->isStopStocktaking = true;
    end_stream(sthis);

    // A stop may come while another thread's command uses the connection: its answer would be lost to that
    // command, or the command's bytes to this one.
    Exchange exchange(sthis, Purpose::stop);
    if (!exchange.take_within(answer_limit_ms)) return TAGWIRE_NO_ANSWER;
    return Command(sthis, address, 0x51).exchange_amid_reports(AddressEcho::never);
}

// Meant for the middle of another thread's command, whose buffers it then leaves alone.
int I_StopImmediately(Reader* sthis, u8* address)
{
    const Exchange exchange(sthis, Purpose::stop);
    sthis->isInventoryCmd = false;
    if (exchange.ours()) std::memset(sthis->recvBuff, 0, cleared_by_command);

    u8 frame[frame::shortest_request] = {4, *address, 0x93};
    sthis->operations.GetCRC(sthis, frame, 3);
    return sthis->operations.SendStopDataToPort(sthis, frame, sizeof frame);
}

int I_GetRfidTagData(Reader* sthis, u8* /*address*/, u8* rfiddata, int* length)
{
    sthis->isInventoryCmd = false;
    if (sthis->m_type != serial_link && sthis->m_type != tcp_link) return TAGWIRE_NO_DATA;
    sleep_ms(5);
    return read_raw(sthis, rfiddata, length);
}

int I_ReadActiveModeData(Reader* sthis, u8* ScanModeData, int* ValidDatalength)
{
    sthis->isInventoryCmd = false;
    if (sthis->m_type != serial_link && sthis->m_type != tcp_link) return TAGWIRE_NO_DATA;
    sleep_ms(20);
    return read_raw(sthis, ScanModeData, ValidDatalength);
}
