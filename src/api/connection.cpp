// Opening and closing: the exported functions.
#include "tagwire/connection.h"

#include <cstdio>
#include <cstring>

#include "api/exported.h"
#include "link/clock.h"
#include "link/connection.h"
#include "link/descriptor.h"
#include "link/tcp.h"
#include "link/turn.h"
#include "tagwire/result.h"

namespace tagwire::engine {
namespace {

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
}  // namespace tagwire::engine

using namespace tagwire::engine;

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
