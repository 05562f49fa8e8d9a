// Opening and closing: the operations of a Reader.
#include "link/connection.h"

#include <cstring>

#include "link/clock.h"
#include "link/descriptor.h"
#include "link/serial.h"
#include "link/system.h"
#include "link/tcp.h"
#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

pthread_mutex_t ip_address_mutex = PTHREAD_MUTEX_INITIALIZER;

// The diagnostic log is on for a connection that is opened while this file lies in the current directory.
bool log_wanted()
{
    const int fd = sys::calls.open("writelog.txt", O_RDONLY | O_CLOEXEC, 0);
    if (fd < 0) return false;
    sys::calls.close(fd);
    return true;
}

// One attempt. What the reader tells about itself is looked at later; here it only has to answer.
int shake_hands(Reader* sthis, u8* address)
{
    u8 answering = *address;
    u8 version[2];
    u8 type = 0;
    u8 protocols = 0;
    u8 highest = 0;
    u8 lowest = 0;
    u8 power = 0;
    u8 scan_time = 0;
    u8 antenna = 0;
    u8 beep = 0;
    u8 output = 0;
    u8 antenna_check = 0;
    const int result = sthis->operations.GetReaderInformation(sthis, &answering, version, &type, &protocols,
                                                              &highest, &lowest, &power, &scan_time, &antenna,
                                                              &beep, &output, &antenna_check);
    if (result != TAGWIRE_OK) return result;
    *address = answering;
    sthis->DeviceIsOpen = true;
    return TAGWIRE_OK;
}

}  // namespace

void set_ip_address(Reader* reader, const char* text)
{
    const Lock lock(ip_address_mutex);
    std::memset(reader->ipAddress, 0, sizeof reader->ipAddress);
    std::memcpy(reader->ipAddress, text, std::strlen(text));
}

bool has_ip_address(const Reader* reader, const char* text)
{
    const Lock lock(ip_address_mutex);
    return std::strcmp(reader->ipAddress, text) == 0;
}

}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_OpenCom(Reader* sthis, char* port, u8* address, u8 baud)
{
    if (sthis->DeviceIsOpen) return TAGWIRE_ALREADY_OPEN;
    if (const int result = sthis->operations.Open_Com(sthis, port, baud)) return result;
    sthis->LogFileFlag = log_wanted();
    sthis->m_type = serial_link;
    const int result = shake_hands(sthis, address);
    if (result == TAGWIRE_OK) return result;
    sthis->MypCallBack = nullptr;
    close_port(sthis);
    return result;
}

// Unlike on a serial line, any failure is a communication failure.
int I_OpenTCP(Reader* sthis, int Port, char* IPaddr, u8* ComAdr)
{
    if (sthis->DeviceIsOpen) return TAGWIRE_ALREADY_OPEN;
    if (sthis->operations.Open_Net(sthis, Port, IPaddr) != TAGWIRE_OK) return TAGWIRE_NO_ANSWER;
    sthis->LogFileFlag = log_wanted();
    sthis->m_type = tcp_link;
    if (shake_hands(sthis, ComAdr) == TAGWIRE_OK) return TAGWIRE_OK;
    sthis->MypCallBack = nullptr;
    close_socket(sthis);
    return TAGWIRE_NO_ANSWER;
}

int I_CloseTCP(Reader* sthis)
{
    if (sthis->m_type != tcp_link || !sthis->DeviceIsOpen || sthis->sServer == -1) return TAGWIRE_NO_ANSWER;
    sthis->LogFileFlag = false;
    sthis->MypCallBack = nullptr;
    close_socket(sthis);
    sthis->DeviceIsOpen = false;
    set_ip_address(sthis, "");
    sleep_ms(closing_pause_ms);
    return TAGWIRE_OK;
}

// The first call closes the device and says 48. The second one, made when the Reader is destroyed, finds it
// closed and completes the reset; the number in hCommPort may be another file's by then and is not touched.
int I_CloseCom(Reader* sthis)
{
    if (sthis->m_type != serial_link || !sthis->DeviceIsOpen || sthis->hCommPort == -1) return TAGWIRE_OK;
    sleep_ms(closing_pause_ms);
    sthis->MypCallBack = nullptr;
    if (!sthis->keeping.link.is_shut()) {
        sthis->operations.unlock_fd(sthis, sthis->hCommPort);
        if (close_port(sthis)) return TAGWIRE_NO_ANSWER;
    }
    sthis->LogFileFlag = false;
    sthis->DeviceIsOpen = false;
    sthis->hCommPort = -1;
    return TAGWIRE_OK;
}

bool I_GraceClose(Reader* /*sthis*/, int* /*ps*/) { return false; }
