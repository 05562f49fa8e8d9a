// Opening and closing: the operations of a Reader, and the exported functions around them.
#include "tagwire/connection.h"

#include <cstdio>
#include <cstring>

#include "api/exported.h"
#include "link/clock.h"
#include "link/descriptor.h"
#include "link/serial.h"
#include "link/system.h"
#include "link/tcp.h"
#include "tagwire/result.h"

namespace tagwire {
namespace {

constexpr int closing_pause_ms = 200;

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

void set_ip_address(Reader* reader, const char* text)
{
    const Lock lock(table_mutex);
    std::memset(reader->ipAddress, 0, sizeof reader->ipAddress);
    std::memcpy(reader->ipAddress, text, std::strlen(text));
}

// Whoever carries a Reader away claims it first; the others find it closing.
bool claim(Reader* reader) { return !reader->keeping.closing.exchange(true); }

void destroy(int handle, Reader* reader)
{
    Reader* last = reader;
    Destroy_Reader(&last);
    clear_slot(handle, reader);
}

// A failed open leaves neither slot nor Reader behind.
int abandon(int handle, Reader* reader, int* FrmHandle, int result)
{
    *FrmHandle = -1;
    if (claim(reader)) destroy(handle, reader);
    return result;
}

void publish(Reader* reader, int handle, int* FrmHandle)
{
    reader->FrmHandle = handle;
    reader->isStopCmd = false;
    reader->keeping.opening = false;
    *FrmHandle = handle;
}

// The wake of the stop request stays until the inventory has seen it.
int refuse(Reader* reader)
{
    if (reader->keeping.calm_with_turn.exchange(true)) calm(reader);  // one of an earlier request is enough
    if (!command_in_progress(reader)) calm_after_turn(reader);
    reader->keeping.closing.ordered_store(false);
    return TAGWIRE_BUSY;
}

bool is_in_inventory(int handle)
{
    const Borrowed reader(handle);
    return reader && reader->isInventoryCmd;
}

// Closes an older connection to the same address. Busy when it, or the reader behind the caller's old handle,
// cannot be taken away now.
int replace_connection(const char* ip_address, int callers_handle)
{
    int handle = 0;
    const Borrowed older(find_by_address(ip_address, handle));
    if (!older) return TAGWIRE_OK;
    Reader* reader = older.get();
    if (holds_lock(reader)) return TAGWIRE_BUSY;
    if (!claim(reader)) return TAGWIRE_OK;
    request_stop(reader);
    reader->operations.LOCK(reader);
    reader->operations.CloseTCP(reader);
    reader->operations.UNLOCK(reader);
    reader->ipPort = 0;
    set_ip_address(reader, "");
    if (is_in_inventory(callers_handle)) {
        reader->keeping.closing.ordered_store(false);  // closed for good all the same, and so is its wake
        return TAGWIRE_BUSY;
    }
    destroy(handle, reader);
    return TAGWIRE_OK;
}

int open_net_port(int Port, char* IPaddr, u8* ComAdr, int* FrmHandle)
{
    char ip_address[sizeof Reader::ipAddress] = {};
    if (IPaddr != nullptr) std::strncpy(ip_address, IPaddr, sizeof ip_address - 1);
    if (const int busy = replace_connection(ip_address, *FrmHandle)) return busy;

    int handle = 0;
    const Borrowed fresh(occupy_slot(handle));
    if (!fresh) {
        *FrmHandle = -1;
        return TAGWIRE_NO_ANSWER;
    }
    Reader* reader = fresh.get();
    const int result = reader->operations.OpenTCP(reader, Port, IPaddr, ComAdr);
    if (result != TAGWIRE_OK) {
        close_socket(reader);  // an invalid address leaves one behind
        return abandon(handle, reader, FrmHandle, result);
    }
    reader->ipPort = Port;
    set_ip_address(reader, ip_address);
    publish(reader, handle, FrmHandle);
    return TAGWIRE_OK;
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

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

int OpenComPort(char* port, u8* address, u8 baud, int* FrmHandle)
{
    int handle = 0;
    const Borrowed fresh(occupy_slot(handle));
    if (!fresh) {
        *FrmHandle = -1;
        return TAGWIRE_NO_ANSWER;
    }
    Reader* reader = fresh.get();
    const int result = reader->operations.OpenCom(reader, port, address, baud);
    if (result != TAGWIRE_OK) {
        if (!reader->isInventoryCmd) return abandon(handle, reader, FrmHandle, result);
        *FrmHandle = -1;
        reader->keeping.opening = false;
        return TAGWIRE_BUSY;
    }
    publish(reader, handle, FrmHandle);
    return TAGWIRE_OK;
}

int AutoOpenComPort(char* port, u8* address, u8 baud, int* FrmHandle)
{
    constexpr const char* patterns[] = {"/dev/tty%d", "/dev/ttyS%d", "/dev/ttyUSB%d"};
    for (int n = 0; n <= 9; ++n) {
        for (const char* pattern : patterns) {
            char name[32] = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
            std::snprintf(name, sizeof name, pattern, n);
#pragma GCC diagnostic pop
            if (OpenComPort(name, address, baud, FrmHandle) != TAGWIRE_OK) continue;
            std::memcpy(port, name, std::strlen(name) + 1);
            return TAGWIRE_OK;
        }
    }
    return TAGWIRE_NO_ANSWER;
}

int OpenNetPort(int Port, char* IPaddr, u8* ComAdr, int* FrmHandle)
{
    if (__atomic_exchange_n(&isOpening, true, __ATOMIC_ACQ_REL)) return TAGWIRE_BUSY;
    const int result = open_net_port(Port, IPaddr, ComAdr, FrmHandle);
    __atomic_store_n(&isOpening, false, __ATOMIC_RELEASE);
    return result;
}

int CloseNetPort(int FrmHandle)
{
    const Borrowed open(FrmHandle);
    if (!open) return TAGWIRE_BAD_HANDLE;
    Reader* reader = open.get();
    if (!reader->DeviceIsOpen || reader->m_type != tcp_link || !claim(reader)) return TAGWIRE_NO_ANSWER;
    request_stop(reader);
    if (reader->Reading || holds_lock(reader)) return refuse(reader);
    reader->operations.LOCK(reader);
    reader->operations.CloseTCP(reader);
    reader->operations.UNLOCK(reader);
    destroy(FrmHandle, reader);
    return TAGWIRE_OK;
}

int CloseSpecComPort(int FrmHandle)
{
    if (FrmHandle < first_handle || FrmHandle > last_handle) return TAGWIRE_BAD_HANDLE;
    const Borrowed open(FrmHandle);
    if (!open) return TAGWIRE_NO_ANSWER;
    Reader* reader = open.get();
    if (!reader->DeviceIsOpen || reader->m_type != serial_link || !claim(reader)) return TAGWIRE_NO_ANSWER;
    request_stop(reader);
    sleep_ms(closing_pause_ms);
    if (reader->isInventoryCmd || holds_lock(reader)) return refuse(reader);
    reader->operations.LOCK(reader);
    reader->operations.CloseCom(reader);
    reader->operations.UNLOCK(reader);
    destroy(FrmHandle, reader);
    return TAGWIRE_OK;
}

int CloseComPort()
{
    for (int handle = first_handle; handle <= last_handle; ++handle) CloseSpecComPort(handle);
    return TAGWIRE_OK;
}

void InitRFIDCallBack(pRFIDCallBack pRFIDback, bool isBackUID, int FrmHandle)
{
    const Borrowed reader(FrmHandle);
    if (!reader || pRFIDback == nullptr) return;
    reader->MypCallBack = pRFIDback;
    reader->InventoryBackUID = isBackUID;
}
