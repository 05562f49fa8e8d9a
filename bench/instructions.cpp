// The engine's work without a system: what a given number of reports, exchanges or decoded tags takes. Whoever counts the
// instructions takes a run with fewer of them off.
//
// instructions report|exchange|decode COUNT
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "link/system.h"
#include "reader/reader.h"
#include "support/bytes.h"

namespace tagwire::engine::test {
namespace {

Bytes chunk;    // what a read brings
long left = 0;  // how often something is read
Reader* device = nullptr;

void* (*worker)(void*) = nullptr;
void* workers_argument = nullptr;

ssize_t bring(int /*fd*/, void* to, std::size_t size, int /*flags*/)
{
    if (left-- <= 0) {
        device->isStopCmd = true;
        errno = EAGAIN;
        return -1;
    }
    const std::size_t count = std::min(size, chunk.size());
    std::copy_n(chunk.begin(), count, static_cast<std::uint8_t*>(to));
    return static_cast<ssize_t>(count);
}

int all_ready(pollfd* fds, nfds_t count, const timespec* /*limit*/)
{
    fds[count - 1].revents = static_cast<short>(fds[count - 1].events & (POLLIN | POLLOUT));
    return 1;
}

int stand_still(timespec* now)
{
    *now = {};
    return 0;
}

void without_a_system()
{
    sys::calls.recv = bring;
    sys::calls.send = [](int, const void*, std::size_t count, int) { return static_cast<ssize_t>(count); };
    sys::calls.ppoll = all_ready;
    sys::calls.clock = stand_still;
    sys::calls.sleep_until = [](const timespec*) { return 0; };
    sys::calls.ioctl = [](int, unsigned long, void* pending) {
        *static_cast<int*>(pending) = 1;
        return 0;
    };
    sys::calls.start_thread = [](pthread_t*, const pthread_attr_t*, void* (*run)(void*), void* argument) {
        worker = run;
        workers_argument = argument;
        return 0;
    };
}

void ignore(RFIDTagStruct /*tag*/, int /*kind*/) {}

const Bytes& report()
{
    static const Bytes frame = answer(0, 0xEE, 0, hex("01 0C E2 00 00 00 00 00 00 00 00 00 00 01 C8"));
    return frame;
}

// Each in a chunk of its own, from the worker's wait to the callback.
void take_reports(long count)
{
    u8 address = 0;
    left = 1;
    chunk = answer(0, 0x50, 0, {});
    if (device->operations.StartRead(device, &address, 0) != 0) std::abort();
    left = count;
    chunk = report();
    worker(workers_argument);
}

void ask(long count)
{
    chunk = answer(0, 0x4C, 0, hex("01 02 03 04"));
    left = count;
    while (left > 0) {
        u8 address = 0;
        u8 number[4];
        if (device->operations.GetSeriaNo(device, &address, number) != 0) std::abort();
    }
}

void decode(long count)
{
    u8 frame[300] = {};
    std::copy(report().begin(), report().end(), frame);
    for (long i = 0; i < count; ++i) device->operations.parserRidTag(device, frame, 0x50);
}

}  // namespace
}  // namespace tagwire::engine::test

int main(int argc, char** argv)
{
    using namespace tagwire::engine::test;
    if (argc != 3) return 2;
    const std::string_view what = argv[1];
    const long count = std::atol(argv[2]);
    without_a_system();
    device = Create_Reader();
    device->m_type = 1;
    device->sServer = 0;
    device->MypCallBack = ignore;
    if (what == "report")
        take_reports(count);
    else if (what == "exchange")
        ask(count);
    else
        decode(count);
    return 0;
}
