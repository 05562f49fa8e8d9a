// The operations that pick the channel by the link type, and the locks around them.
#include "link/descriptor.h"
#include "link/serial.h"
#include "link/tcp.h"
#include "tagwire/result.h"

using namespace tagwire::engine;

void I_LOCK(Reader* sthis)
{
    pthread_mutex_lock(&sthis->g_cs);
    sthis->keeping.lock_owner = pthread_self();
}

void I_UNLOCK(Reader* sthis)
{
    sthis->keeping.lock_owner = 0;
    pthread_mutex_unlock(&sthis->g_cs);
}

int I_SendDataToPortS(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    switch (sthis->m_type) {
    case serial_link: return send_serial(sthis, dataToSend, BytesOfSend);
    case tcp_link: return send_tcp(sthis, dataToSend, BytesOfSend, Purpose::command);
    default: return TAGWIRE_BAD_HANDLE;
    }
}

int I_SendDataToPort(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    const Lock lock(sthis->g_writecs);
    return sthis->operations.SendDataToPortS(sthis, dataToSend, BytesOfSend);
}

int I_SendStopDataToPort(Reader* sthis, u8* dataToSend, unsigned BytesOfSend)
{
    switch (sthis->m_type) {
    case serial_link: return send_stop_serial(sthis, dataToSend, BytesOfSend);
    case tcp_link: return send_tcp(sthis, dataToSend, BytesOfSend, Purpose::stop);
    default: return TAGWIRE_BAD_HANDLE;
    }
}

int I_ReadRfidData(Reader* sthis, u8* Recv)
{
    switch (sthis->m_type) {
    case serial_link: return read_serial(sthis, Recv);
    case tcp_link: return read_tcp(sthis, Recv);
    default: return TAGWIRE_BAD_HANDLE;
    }
}
