// The reader's Ethernet, WiFi, Bluetooth and 4G modules, and its position.
#include "link/clock.h"
#include "link/command.h"
#include "link/descriptor.h"
#include "link/framing.h"

namespace tagwire::engine {
namespace {

constexpr u8 guard = 0x52;
constexpr u8 ethernet = 0x52;
constexpr u8 wifi = 0x53;
constexpr u8 bluetooth = 0x54;
constexpr u8 low_energy = 0x55;

int set_mac(Reader* sthis, u8* address, u8* mac, AddressEcho echo)
{
    return Command(sthis, address, 0xF1).bytes({guard, ethernet}).bytes(mac, 6).exchange(echo);
}

int get_mac(Reader* sthis, u8* address, u8 interface, u8* mac)
{
    return Command(sthis, address, 0xF2)
        .bytes({guard, interface})
        .exchange(AddressEcho::on_success, data_to(mac, 6));
}

int get_link(Reader* sthis, u8* address, u8 interface, u8* state, u8* localIP, u8* subnet, u8* gatewayIp)
{
    return Command(sthis, address, 0xE6)
        .bytes({0x0C, interface})
        .exchange(AddressEcho::on_success, [&](const Response& d) {
            *state = d[1];
            d.copy(2, localIP, 4);
            d.copy(6, subnet, 4);
            d.copy(10, gatewayIp, 4);
        });
}

constexpr u8 more_follows = 0x03;
constexpr int most_scan_bytes = 60'000;

// A scan's frame is told by its command, or by the echo of its function where the command is another one.
bool is_scan_frame(const Reader* /*reader*/, const Assembly& bytes, int command)
{
    return bytes[0] > 3 && (bytes[2] == command || bytes.size() < 5 || bytes[4] == 0x0B);
}

// The frames of a scan, back to back in `list`.
class ScanFrames {
  public:
    ScanFrames(Reader* reader, u8* list)
        : reader_(reader), bytes_(reader->btArBuff, assembly_size), list_(list)
    {}

    Outcome feed(const u8* chunk, int count)
    {
        return take_frames(
            bytes_, chunk, count,
            [&](FrameCopy& found) { return find_frame(reader_, bytes_, is_scan_frame, 0xE6, found); },
            [&](const FrameCopy& found) {
                reader_->time1 = getCurrentTimeMsec();
                return accept(found);
            });
    }
    int length() const { return length_; }

  private:
    static constexpr int assembly_size = 600;

    Outcome accept(const FrameCopy& found)
    {
        if (found.length() > most_scan_bytes - length_) return TAGWIRE_NO_ANSWER;
        std::memcpy(list_ + length_, found.bytes, static_cast<std::size_t>(found.length()));
        length_ += found.length();
        if (found.status() != more_follows) return TAGWIRE_OK;
        if (found.bytes[frame::command] == error_echo) return TAGWIRE_WRONG_COMMAND;
        return {};
    }

    Reader* reader_;
    Assembly bytes_;
    u8* list_;
    int length_ = 0;
};

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_SetMacAddr(Reader* sthis, u8* address, u8* mac)
{
    return set_mac(sthis, address, mac, AddressEcho::on_success);
}

int I_SetRJ45MacAddr(Reader* sthis, u8* address, u8* mac)
{
    return set_mac(sthis, address, mac, AddressEcho::never);
}

int I_GetMacAddr(Reader* sthis, u8* address, u8* mac) { return get_mac(sthis, address, ethernet, mac); }

int I_GetRJ45MacAddr(Reader* sthis, u8* address, u8* mac) { return get_mac(sthis, address, ethernet, mac); }

int I_GetWIFIMacAddr(Reader* sthis, u8* address, u8* mac) { return get_mac(sthis, address, wifi, mac); }

int I_GetBluetoothMacAddr(Reader* sthis, u8* address, u8* mac)
{
    return get_mac(sthis, address, bluetooth, mac);
}

int I_GetBleMacAddr(Reader* sthis, u8* address, u8* mac) { return get_mac(sthis, address, low_energy, mac); }

int I_ReadRJ45ConnectStatus(Reader* sthis, u8* address, u8* rj45state, u8* localIP, u8* subnet, u8* gatewayIp)
{
    return get_link(sthis, address, 0x00, rj45state, localIP, subnet, gatewayIp);
}

int I_ReadWIFIConnectStatus(Reader* sthis, u8* address, u8* WIFIstate, u8* localIP, u8* subnet, u8* gatewayIp)
{
    return get_link(sthis, address, 0x01, WIFIstate, localIP, subnet, gatewayIp);
}

// A frame with status 3 carries one access point; outputs stay as they were when there is none. A reader
// that does not know the scan has given no complete answer.
int I_SearchWIFI(Reader* sthis, u8* address, u8* APInfo, int* length, int* Count)
{
    constexpr int record_at = 5;
    Command command(sthis, address, 0xE6);
    command.byte(0x0B).send();
    u8* frames = sthis->szBuff;
    std::memset(frames, 0, sizeof sthis->szBuff);
    sthis->keeping.frames_used = buffer_size;
    sthis->keeping.list_used = buffer_size;
    const int result = command.receive_by(&Operations::GetWifiDataFromPort, frames);
    if (result == TAGWIRE_NO_ANSWER) return result;

    u8* records = sthis->szBuff1;
    int size = 0;
    int count = 0;
    int last = result == TAGWIRE_WRONG_COMMAND ? int{TAGWIRE_NO_ANSWER} : result;
    for (int front = 0; front < sthis->recvLength && front < most_scan_bytes; front += frames[front] + 1) {
        last = frames[front + static_cast<int>(frame::status)];
        if (last != more_follows) continue;
        ++count;
        const int record_size = frames[front] - 6;
        if (record_size <= 0 || record_size > most_scan_bytes - size) continue;
        std::memcpy(records + size, frames + front + record_at, static_cast<std::size_t>(record_size));
        size += record_size;
    }
    if (count > 0) {
        std::memcpy(APInfo, records, static_cast<std::size_t>(size));
        *length = size;
        *Count = count;
    }
    return last;
}

int I_GetWifiDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int silence_limit_ms = 20'000;
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    ScanFrames frames(sthis, Recv);
    sthis->time1 = getCurrentTimeMsec();
    do {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        if (n == 0) pause_for_input(sthis, 1);
        const Outcome outcome = frames.feed(sthis->recvBuff, n);
        if (outcome == TAGWIRE_OK) *pLengthOfRecved = frames.length();
        if (outcome) return *outcome;
        sthis->time2 = getCurrentTimeMsec();
    } while (sthis->time2 - sthis->time1 <= silence_limit_ms && !sthis->keeping.retired);
    return TAGWIRE_NO_ANSWER;
}

int I_GetGPSInformation(Reader* sthis, u8* address, u8* NUM_SV, u8* GPS_State, u8* NorthSouth,
                        u8* Latitude_dd, u8* Latitude_mm, u8* Latitude_mmFraction, u8* EastWest,
                        u8* Longitude_dd, u8* Longitude_mm, u8* Longitude_mmFraction, u8* Date_Year,
                        u8* Date_Month, u8* Date_Day, u8* UTC_hh, u8* UTC_mm, u8* UTC_ss)
{
    return Command(sthis, address, 0xB0).drop_received().exchange(AddressEcho::never, [&](const Response& d) {
        *NUM_SV = d[0];
        *GPS_State = d[1];
        *NorthSouth = d[2];
        *Latitude_dd = d[3];
        *Latitude_mm = d[4];
        d.copy(5, Latitude_mmFraction, 4);
        *EastWest = d[9];
        *Longitude_dd = d[10];
        *Longitude_mm = d[11];
        d.copy(12, Longitude_mmFraction, 4);
        *Date_Year = d[16];
        *Date_Month = d[17];
        *Date_Day = d[18];
        *UTC_hh = d[19];
        *UTC_mm = d[20];
        *UTC_ss = d[21];
    });
}

// Three texts, each behind a byte with its length.
int I_Get4GConnectStatus(Reader* sthis, u8* address, u8* State4G, u8* RSSI, u8* IMEILen, u8* IMEI,
                         u8* IMSILen, u8* IMSI, u8* ICCIDLen, u8* ICCID)
{
    return Command(sthis, address, 0xB1).drop_received().exchange(AddressEcho::never, [&](const Response& d) {
        std::size_t at = 2;
        const auto take_text = [&](u8* length, u8* text) {
            const u8 size = d[at];
            *length = size;
            d.copy(at + 1, text, size);
            at += std::size_t{1} + size;
        };
        *State4G = d[0];
        *RSSI = d[1];
        take_text(IMEILen, IMEI);
        take_text(IMSILen, IMSI);
        take_text(ICCIDLen, ICCID);
    });
}

int I_Set4GRemoteServerInformation(Reader* sthis, u8* address, u8 ServerAddrLen, u8* ServerAddr,
                                   int ServerPort)
{
    return Command(sthis, address, 0xB2)
        .drop_received()
        .byte(ServerAddrLen)
        .bytes(ServerAddr, ServerAddrLen)
        .word(static_cast<unsigned>(ServerPort))
        .exchange(AddressEcho::never);
}

int I_Get4GRemoteServerInformation(Reader* sthis, u8* address, u8* ServerAddrLen, u8* ServerAddr,
                                   int* ServerPort)
{
    return Command(sthis, address, 0xB3).drop_received().exchange(AddressEcho::never, [&](const Response& d) {
        const u8 size = d[0];
        *ServerAddrLen = size;
        d.copy(1, ServerAddr, size);
        *ServerPort = d.word(1U + size);
    });
}
