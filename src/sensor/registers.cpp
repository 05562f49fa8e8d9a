// Sensor tags with a register file, a memory, a temperature log and an LED. Their Errorcode has rules of its
// own.
#include "link/clock.h"
#include "link/descriptor.h"
#include "link/framing.h"
#include "tagops/addressing.h"

namespace tagwire::engine {
namespace {

bool ends_memory_read(u8 status)
{
    switch (status) {
    case 0x01:
    case 0xF8:
    case 0xF9:
    case 0xFB:
    case 0xFD:
    case 0xFE:
    case 0xFF: return true;
    default: return false;
    }
}

// The packets of a long memory read, gathered in btRecvArr.
class MemoryPackets {
  public:
    MemoryPackets(Reader* reader, int command)
        : reader_(reader), bytes_(assembly_of(reader)), command_(command)
    {}

    Outcome feed(const u8* chunk, int count)
    {
        return take_frames(
            bytes_, chunk, count,
            [&](FrameCopy& packet) { return find_frame(reader_, bytes_, is_addressed, command_, packet); },
            [&](const FrameCopy& packet) { return accept(packet); });
    }
    void copy_out(u8* to, int* length) const
    {
        std::memcpy(to, reader_->btRecvArr, static_cast<std::size_t>(count_));
        *length = count_;
    }

  private:
    Outcome accept(const FrameCopy& packet)
    {
        if (packet.length() > buffer_size - count_) return TAGWIRE_NO_ANSWER;
        std::memcpy(reader_->btRecvArr + count_, packet.bytes, static_cast<std::size_t>(packet.length()));
        count_ += packet.length();
        if (ends_memory_read(packet.status())) return TAGWIRE_OK;
        if (packet.bytes[frame::command] == error_echo) return TAGWIRE_WRONG_COMMAND;
        return {};
    }

    Reader* reader_;
    Assembly bytes_;
    int command_;
    int count_ = 0;
};

// Puts the data of numbered packets together. 176 at the first number out of order.
int join_packets(const Reader* reader, u8* Data, int* recvLen)
{
    constexpr int number_at = 4;
    constexpr int count_at = 6;
    constexpr int data_at = 7;
    const auto byte = [&](int at) { return at < buffer_size ? reader->recvBuff[at] : u8{0}; };
    int length = 0;
    int packets = 0;
    u8 status = 0;
    for (int front = 0; front < reader->recvLength; front += byte(front) + 1) {
        status = byte(front + static_cast<int>(frame::status));
        if (status != 0x01 && status != 0x03) continue;
        if ((byte(front + number_at) << 8 | byte(front + number_at + 1)) != packets++)
            return TAGWIRE_BAD_SEQUENCE;
        const int count = byte(front + count_at);
        for (int i = 0; i < count && length < buffer_size; ++i) Data[length++] = byte(front + data_at + i);
    }
    *recvLen = length;
    return status;
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_Fd_InitRegfile(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                     u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC0, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode);
}

int I_Fd_ReadReg(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* RegAddr, u8* Password, u8 MaskMem,
                 u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC1, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(RegAddr, 2).bytes(Password, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode, data_to(Data, 2));
}

int I_Fd_WriteReg(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* RegAddr, u8* RegData, u8* Password,
                  u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC2, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(RegAddr, 2).bytes(RegData, 2).bytes(Password, 4);
    return command.exchange(AddressEcho::never, byte_error, Errorcode);
}

// Copies as many bytes as were asked for, not as many as came.
int I_Fd_ReadMemory(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8 ReadLen, u8* Password,
                    u8 AuthType, u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data,
                    int* Errorcode)
{
    TagCommand command(sthis, address, 0xC3, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(StartAddr, 2).byte(ReadLen).bytes(Password, 4).byte(AuthType).bytes(AuthPwd, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode, data_to(Data, ReadLen));
}

int I_Fd_WriteMemory(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8 WriteLen, u8* WriteData,
                     u8* Password, u8 AuthType, u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                     u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC4, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.byte(WriteLen).tag().bytes(StartAddr, 2).bytes(WriteData, WriteLen);
    command.bytes(Password, 4).byte(AuthType).bytes(AuthPwd, 4);
    return command.exchange(AddressEcho::never, byte_error, Errorcode);
}

int I_Fd_GetTemperature(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 MeaType, u8 ResultSel, u8 FieldChkEn,
                        u8 EPStorageEn, u8 UserBlockAddr, u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                        u8* MaskData, u8* Temp, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC5, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes({MeaType, ResultSel, FieldChkEn, EPStorageEn, UserBlockAddr}).bytes(Password, 4);
    return command.exchange(AddressEcho::never, Outputs::always, [&](const Response& r) {
        *Errorcode = 0;
        r.copy(0, Temp, 2);
    });
}

int I_Fd_StartLogging(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* StartDelay, u8* VdetStep,
                      u8* Password, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC6, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(StartDelay, 2).bytes(VdetStep, 2).bytes(Password, 4);
    return command.exchange(AddressEcho::never, byte_error, Errorcode);
}

int I_Fd_StopLogging(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8* StopPwd, u8 MaskMem,
                     u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC7, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4).bytes(StopPwd, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode);
}

int I_Fd_OP_Mode_Chk(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 RefreshCfg, u8* Password, u8 MaskMem,
                     u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* ModeStatus, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC8, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(RefreshCfg).bytes(Password, 4);
    return command.exchange(AddressEcho::never, Outputs::always, [&](const Response& r) {
        *Errorcode = 0;
        r.copy(0, ModeStatus, 2);
    });
}

int I_Fd_LedCtr(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8 LedCtrl, u8* Password, u8 MaskMem,
                u8* MaskAdr, u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xC9, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().byte(LedCtrl).bytes(Password, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode);
}

int I_Fd_DeepSleep(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* Password, u8 MaskMem, u8* MaskAdr,
                   u8 MaskLen, u8* MaskData, int* Errorcode)
{
    TagCommand command(sthis, address, 0xCA, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}});
    command.tag().bytes(Password, 4);
    return command.exchange(AddressEcho::never, no_error, Errorcode);
}

// Errorcode is not written.
int I_Fd_ExtReadMemory(Reader* sthis, u8* address, u8* EPC, u8 ENum, u8* StartAddr, u8* ReadLen, u8* Password,
                       u8 AuthType, u8* AuthPwd, u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8* Data,
                       int* recvLen, int* /*Errorcode*/)
{
    TagCommand command(sthis, address, 0xCB, longest_epc_of_register_tag,
                       {ENum, EPC, {MaskMem, MaskAdr, MaskLen, MaskData}}, Inventory::yes);
    command.tag().bytes(StartAddr, 2).bytes(ReadLen, 2).bytes(Password, 4).byte(AuthType).bytes(AuthPwd, 4);
    if (const int result = command.exchange_unchecked(&Operations::GetMemDataFromPort)) return result;
    return join_packets(sthis, Data, recvLen);
}

int I_GetMemDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved, int cmd)
{
    constexpr int limit_ms = 15'000;
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    MemoryPackets packets(sthis, cmd);
    sthis->time1 = getCurrentTimeMsec();
    do {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n <= 0) pause_for_input(sthis, 10);
        const Outcome outcome = packets.feed(sthis->recvBuff, n);
        if (outcome == TAGWIRE_OK) packets.copy_out(Recv, pLengthOfRecved);
        if (outcome) return *outcome;
        sthis->time2 = getCurrentTimeMsec();
    } while (sthis->time2 - sthis->time1 <= limit_ms && !sthis->keeping.retired);
    return TAGWIRE_NO_ANSWER;
}
