// One exchange, again and again, with a far end that answers at once, on the same processor: over TCP how long it
// takes, over a pseudo-terminal how much processor time the near end needs.
#include <fcntl.h>

#include "readers.h"
#include "tagwire/tagwire.h"

#ifdef TAGWIRE_BENCH_MODBUS
#include <modbus/modbus.h>
#endif

namespace tagwire::bench {
namespace {

constexpr int exchanges = 8000;
constexpr int processor = 0;

// A modbus request is told by its size, over TCP 12 and over a line 8 bytes: two registers are asked for.
Bytes modbus_rtu_answer()
{
    Bytes answer{1, 3, 4, 0, 1, 0, 2};
    unsigned crc = 0xFFFF;
    for (const std::uint8_t byte : answer) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xA001U : crc >> 1U;
    }
    answer.push_back(static_cast<std::uint8_t>(crc));
    answer.push_back(static_cast<std::uint8_t>(crc >> 8U));
    return answer;
}

void answer_all(int fd)
{
    static const Bytes rtu = modbus_rtu_answer();
    Bytes tcp{0, 0, 0, 0, 0, 7, 1, 3, 4, 0, 1, 0, 2};
    std::uint8_t request[256];
    for (;;) {
        const ssize_t count = ::read(fd, request, sizeof request);
        if (count < 5) return;
        std::copy_n(request, 2, tcp.begin());
        const Bytes& answer = count == 12 ? tcp : count == 8 ? rtu : answer_to(request[2]);
        if (::write(fd, answer.data(), answer.size()) < 0) return;
    }
}

const Bytes& question()
{
    static const Bytes frame = framed({0, 0x4C});
    return frame;
}

template <class Exchange> double mean_us(clockid_t clock, Exchange exchange)
{
    for (int i = 0; i < exchanges / 10; ++i) exchange();
    const std::int64_t begin = now_ns(clock);
    for (int i = 0; i < exchanges; ++i) exchange();
    return static_cast<double>(now_ns(clock) - begin) / 1e3 / exchanges;
}

constexpr const char* over_tcp = "exchange over TCP";
constexpr const char* over_pty = "exchange over a pseudo-terminal";

Values told(const char* row, const char* who, double us) { return {{row, who, "us", us}}; }

Values bare_tcp(std::uint16_t port)
{
    const int fd = connect_to("127.0.0.1", port);
    std::uint8_t answer[256];
    const double us = mean_us(CLOCK_MONOTONIC, [&] {
        if (!send_all(fd, question()) || ::recv(fd, answer, sizeof answer, 0) <= 0) fail("exchange");
    });
    ::close(fd);
    return told(over_tcp, "bare", us);
}

// The same bytes and the same discarding of queues.
Values bare_pty(const char* path)
{
    const int fd = ::open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::uint8_t answer[256];
    const double us = mean_us(CLOCK_PROCESS_CPUTIME_ID, [&] {
        ::tcflush(fd, TCOFLUSH);
        ::tcflush(fd, TCIFLUSH);
        if (::write(fd, question().data(), question().size()) < 0) fail("write");
        pollfd input{fd, POLLIN, 0};
        ::poll(&input, 1, -1);
        if (::read(fd, answer, sizeof answer) <= 0) fail("read");
    });
    ::close(fd);
    return told(over_pty, "bare", us);
}

double ask(int handle, clockid_t clock)
{
    return mean_us(clock, [&] {
        unsigned char address = 0;
        unsigned char number[4];
        if (GetSeriaNo(&address, number, handle) != 0) fail("GetSeriaNo");
    });
}

Values tagwire_tcp(std::uint16_t port)
{
    unsigned char address = 0xFF;
    int handle = -1;
    char host[] = "127.0.0.1";
    if (OpenNetPort(port, host, &address, &handle) != 0) fail("OpenNetPort");
    const double us = ask(handle, CLOCK_MONOTONIC);
    CloseNetPort(handle);
    return told(over_tcp, "tagwire", us);
}

Values tagwire_pty(char* path)
{
    unsigned char address = 0xFF;
    int handle = -1;
    if (OpenComPort(path, &address, 6, &handle) != 0) fail("OpenComPort");
    const double us = ask(handle, CLOCK_PROCESS_CPUTIME_ID);
    CloseSpecComPort(handle);
    return told(over_pty, "tagwire", us);
}

#ifdef TAGWIRE_BENCH_MODBUS

double ask(modbus_t* link, clockid_t clock)
{
    if (link == nullptr || modbus_set_slave(link, 1) != 0 || modbus_connect(link) != 0) fail("modbus");
    const double us = mean_us(clock, [&] {
        std::uint16_t registers[2];
        if (modbus_read_registers(link, 0, 2, registers) != 2) fail("modbus");
    });
    modbus_close(link);
    modbus_free(link);
    return us;
}

Values modbus_tcp(std::uint16_t port)
{
    return told(over_tcp, "libmodbus", ask(modbus_new_tcp("127.0.0.1", port), CLOCK_MONOTONIC));
}

Values modbus_pty(const char* path)
{
    return told(over_pty, "libmodbus",
                ask(modbus_new_rtu(path, 115200, 'N', 8, 1), CLOCK_PROCESS_CPUTIME_ID));
}

#endif

}  // namespace
}  // namespace tagwire::bench

int main()
{
    using namespace tagwire::bench;
    pin(processor);
    std::uint16_t port = 0;
    const int listener = listen_anywhere(port);
    const Child tcp([&] {
        for (;;) {
            const int fd = ::accept(listener, nullptr, nullptr);
            answer_all(fd);
            ::close(fd);
        }
    });
    Line line = open_line();
    const Child pty([&] {
        for (;;) answer_all(line.device);
    });
    measure({
        [&] { return bare_tcp(port); },
        [&] { return tagwire_tcp(port); },
        [&] { return bare_pty(line.path); },
        [&] { return tagwire_pty(line.path); },
#ifdef TAGWIRE_BENCH_MODBUS
        [&] { return modbus_tcp(port); },
        [&] { return modbus_pty(line.path); },
#endif
    });
    return 0;
}
