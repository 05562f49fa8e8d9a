// Continuous reading: the reader pushes a report for every tag, a worker thread hands them to the callback.
#include <cstring>

#include "inventory/stream.h"
#include "link/clock.h"
#include "link/command.h"
#include "link/descriptor.h"
#include "link/questions.h"
#include "link/signals.h"
#include "link/system.h"
#include "reader/hooks.h"

namespace tagwire::engine {

namespace {

// A run that is over, unless a stop was quicker.
void leave_stream(Stream* stream)
{
    Keeping& keeping = stream->reader->keeping;
    if (keeping.stream != stream) return;
    keeping.stream = nullptr;
    drop(stream);
}

// Ends the run in progress, or the one being started. When this returns, its worker does not read the link
// any more, and will not begin; it may still be handing out what it has read.
void end_stream(Reader* reader)
{
    Stream* stream = nullptr;
    {
        const Lock lock(reader->keeping.stream_mutex);
        stream = reader->keeping.stream;
        if (stream == nullptr) {
            reader->isStopStocktaking = true;
            return;
        }
        stream->over = true;
        stream->users.add(1);
    }
    stream->reading.shut();
    wake(reader);
    stream->reading.await_empty();
    calm(reader);
    {
        const Lock lock(reader->keeping.stream_mutex);
        leave_stream(stream);
        if (reader->keeping.stream == nullptr) reader->isStopStocktaking = true;
    }
    drop(stream);
}

bool is_report_head(const Reader* /*reader*/, const Assembly& bytes, int command)
{
    return bytes[0] > 3 && bytes[2] == command;
}

// Reads one chunk and rests when there is none, unless the run was stopped meanwhile.
int read_chunk(Stream* stream)
{
    const Passage reading(stream->reading);
    if (!reading) return 0;
    const int n = stream->reader->operations.ReadRfidData(stream->reader, stream->buffers->chunk);
    if (n <= 0) rest_until_input(stream->reader);
    return n;
}

void run(Stream* stream)
{
    Reader* reader = stream->reader;
    Assembly bytes(stream->buffers->assembly, buffer_size);
    const auto find = [&](FrameCopy& frame) {
        return find_frame(reader, bytes, is_report_head, report_command, frame);
    };
    const auto accept = [&](FrameCopy& frame) -> Outcome {
        if (is_report(frame) && has_tag_taker(reader))
            reader->operations.parserRidTag(reader, frame.bytes, report_layout);
        return {};
    };
    do {
        if (stream->over || reader->isStopStocktaking) return;
        const int n = read_chunk(stream);
        if (n > 0) take_frames(bytes, stream->buffers->chunk, n, find, accept);
    } while (!reader->isStopCmd);
}

void* worker(void* argument)
{
    auto* stream = static_cast<Stream*>(argument);
    Reader* reader = stream->reader;
    run(stream);
    {
        const Lock lock(reader->keeping.stream_mutex);
        leave_stream(stream);
    }
    drop(stream);
    release(reader);
    return nullptr;
}

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

// Makes the stream the one that a stop ends, and sends the question, in one step: a stop that does not see
// the stream sends its frame first.
void ask_to_start(Reader* reader, Stream* stream, Command& command)
{
    end_stream(reader);
    const Lock lock(reader->keeping.stream_mutex);
    stream->users.add(1);
    reader->keeping.stream = stream;
    command.send();
}

enum class Worker { runs, not_wanted, missing };

// Starts the worker, unless the stream or the connection has ended since.
Worker start_worker_of(Reader* reader, Stream* stream)
{
    if (stream->over || reader->keeping.retired) return Worker::not_wanted;
    reader->isStopStocktaking = false;
    retain(reader);
    stream->users.add(1);
    if (start_worker(stream)) return Worker::runs;
    reader->isStopStocktaking = true;
    drop(stream);
    release(reader);
    return Worker::missing;
}

constexpr u8 abort_command = 0x93;

// Asks the reader to begin and starts the worker if it does. Its status, or what went wrong with its answer.
int begin_reading(Reader* sthis, u8* address, u8 target, Stream* stream, Worker& worker)
{
    Command command(sthis, address, start_command);
    ask_to_start(sthis, stream, command.byte(target));
    const int result = command.receive();
    const int status = result != TAGWIRE_OK ? result : command.response().status();
    const Lock lock(sthis->keeping.stream_mutex);
    worker = status == TAGWIRE_OK ? start_worker_of(sthis, stream) : Worker::not_wanted;
    if (worker != Worker::runs) leave_stream(stream);
    return status == TAGWIRE_OK && sthis->keeping.retired ? TAGWIRE_NO_ANSWER : status;
}

// Ends whatever streams, and sends in one step with finding that nothing does: a start behind it sends behind
// it.
template <class Send> int send_stop(Reader* reader, Send send)
{
    for (;;) {
        end_stream(reader);
        const Lock lock(reader->keeping.stream_mutex);
        if (reader->keeping.stream == nullptr) return send();
    }
}

// Sends a frame without data past the command in progress, whose buffers it leaves alone, and waits for
// nothing.
int send_aside(Reader* sthis, u8 address, u8 command)
{
    u8 frame[frame::shortest_request] = {4, address, command};
    sthis->operations.GetCRC(sthis, frame, 3);
    return sthis->operations.SendStopDataToPort(sthis, frame, sizeof frame);
}

// One raw read, into the receive buffer.
int read_raw(Reader* sthis, u8* to, int* count)
{
    const Turn turn(sthis, Purpose::command);
    const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
    if (n <= 0) return TAGWIRE_NO_DATA;
    std::memcpy(to, sthis->recvBuff, static_cast<std::size_t>(n));
    *count = n;
    return TAGWIRE_OK;
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_StartRead(Reader* sthis, u8* address, u8 target)
{
    // Before the reader is asked, so that there is no reading without a worker.
    Stream* stream = make_stream(sthis);
    if (stream == nullptr) return TAGWIRE_NO_ANSWER;
    Worker worker = Worker::not_wanted;
    const int status = begin_reading(sthis, address, target, stream, worker);
    drop(stream);
    if (worker != Worker::missing) return status;
    sthis->operations.StopRead(sthis, address);
    return TAGWIRE_NO_ANSWER;
}

// The reader is told in any case. Where another command does not leave its turn, or this is a callback of it,
// the answer is left to its receiver.
int I_StopRead(Reader* sthis, u8* address)
{
    constexpr int turn_limit_ms = 200;
    const bool inside = inside_own_turn(sthis);
    Turn turn(sthis, Purpose::stop);
    end_stream(sthis);
    if (inside || !turn.take_within(turn_limit_ms)) {
        send_stop(sthis, [&] { return send_aside(sthis, *address, stop_command); });
        return TAGWIRE_NO_ANSWER;
    }
    Command command(sthis, address, stop_command);
    send_stop(sthis, [&] { return command.send(); });
    if (const int result = command.receive_by(&Operations::AutoGetDataFromPort)) return result;
    if (const int problem = command.check()) return problem;
    return command.response().status();
}

int I_StopImmediately(Reader* sthis, u8* address)
{
    if (!inside_own_turn(sthis)) sthis->isInventoryCmd = false;
    const Turn turn(sthis, Purpose::stop);
    if (turn.taken()) std::memset(sthis->recvBuff, 0, cleared_by_command);
    return send_aside(sthis, *address, abort_command);
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
