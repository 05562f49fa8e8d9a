// The reader's parameter tables, which take several frames to read and to write.
#include "link/clock.h"
#include "link/command.h"
#include "link/descriptor.h"
#include "link/framing.h"

namespace tagwire::engine {
namespace {

constexpr u8 extension = 0xE6;

int change_defaults(Reader* sthis, u8* ComAdr, u8 function, u8 option)
{
    Command command(sthis, ComAdr, extension);
    command.drop_received().bytes({function, option}).send();
    if (const int result = command.receive_repeating(function)) return result;
    return command.response().status();
}

// The bytes of a table as its frames bring them, gathered in btRecvArr.
class TableBytes {
  public:
    explicit TableBytes(Reader* reader) : reader_(reader), bytes_(assembly_of(reader)) {}

    Outcome feed(const u8* chunk, int count)
    {
        return take_frames(
            bytes_, chunk, count,
            [&](FrameCopy& found) { return find_frame(reader_, bytes_, is_addressed, extension, found); },
            [&](const FrameCopy& found) {
                reader_->time1 = getCurrentTimeMsec();
                return accept(found);
            });
    }
    void copy_out(u8* to, int* length) const
    {
        std::memcpy(to, reader_->btRecvArr, static_cast<std::size_t>(count_));
        *length = count_;
    }

  private:
    static constexpr u8 data_frame = 0x60;
    static constexpr u8 closing_frame = 0x00;
    static constexpr std::size_t data_at = 5;

    Outcome accept(const FrameCopy& found)
    {
        if (found.status() == closing_frame) {
            const int announced = found.bytes[data_at] << 8 | found.bytes[data_at + 1];
            return announced == count_ ? TAGWIRE_OK : TAGWIRE_NO_ANSWER;
        }
        if (found.status() == data_frame && !take(found)) return TAGWIRE_NO_ANSWER;
        if (found.bytes[frame::command] == error_echo) return TAGWIRE_WRONG_COMMAND;
        return {};
    }
    // False when the table is longer than its length could say.
    bool take(const FrameCopy& found)
    {
        const int size = found.length() - 7;
        if (size <= 0) return true;
        if (size > buffer_size - count_) return false;
        std::memcpy(reader_->btRecvArr + count_, found.bytes + data_at, static_cast<std::size_t>(size));
        count_ += size;
        return true;
    }

    Reader* reader_;
    Assembly bytes_;
    int count_ = 0;
};

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_ReadParameterTable(Reader* sthis, u8* ComAdr, u8 ParemTab, u8* pdat, u8* ParamLen)
{
    Command command(sthis, ComAdr, extension);
    command.drop_received().bytes({0x0D, ParemTab}).send();
    if (const int result = command.receive_by(&Operations::GetParemTabDataFromPort)) return result;
    const int length = sthis->recvLength;
    if (length > 0) std::memcpy(pdat, sthis->recvBuff, static_cast<std::size_t>(length));
    ParamLen[0] = static_cast<u8>(length >> 8);
    ParamLen[1] = static_cast<u8>(length);
    return TAGWIRE_OK;
}

int I_GetParemTabDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int silence_limit_ms = 300;
    *pLengthOfRecved = 0;
    if (!known_link(sthis)) return TAGWIRE_BAD_HANDLE;
    TableBytes table(sthis);
    sthis->time1 = getCurrentTimeMsec();
    do {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->recvBuff);
        if (n < 0) return TAGWIRE_NO_ANSWER;
        const Outcome outcome = table.feed(sthis->recvBuff, n);
        if (outcome == TAGWIRE_OK) table.copy_out(Recv, pLengthOfRecved);
        if (outcome) return *outcome;
        pause_behind_read(sthis, n, 10, 1);
        sthis->time2 = getCurrentTimeMsec();
    } while (sthis->time2 - sthis->time1 <= silence_limit_ms && !sthis->isStopCmd);
    return TAGWIRE_NO_ANSWER;
}

// A frame without table bytes closes the table, whatever its length. The status of an answer does not matter:
// the next frame follows.
int I_WriteParameterTable(Reader* sthis, u8* ComAdr, u8 ParemTab, u8* PDat, int PDatLen)
{
    constexpr int chunk = 240;
    constexpr u8 function = 0x0E;
    const int size = PDatLen > 0 ? PDatLen : 0;
    u8 number = 0;
    int at = 0;
    for (bool closing = false; !closing; ++number) {
        const int count = size - at < chunk ? size - at : chunk;
        closing = count == 0;
        Command command(sthis, ComAdr, extension);
        command.drop_received().bytes({function, ParemTab, number}).bytes(PDat + at, count);
        if (command.send() != TAGWIRE_OK) return TAGWIRE_NO_ANSWER;
        if (const int result = command.receive_repeating(function)) return result;
        at += count;
    }
    return TAGWIRE_OK;
}

int I_OverwriteFactoryDefaultParameterTable(Reader* sthis, u8* ComAdr)
{
    return change_defaults(sthis, ComAdr, 0x0F, 0x00);
}

int I_RestoreFactoryDefaultParameterTable(Reader* sthis, u8* ComAdr)
{
    return change_defaults(sthis, ComAdr, 0x10, 0x00);
}

int I_ClearAllParameters(Reader* sthis, u8* ComAdr, u8 Opt)
{
    return change_defaults(sthis, ComAdr, 0x10, Opt);
}
