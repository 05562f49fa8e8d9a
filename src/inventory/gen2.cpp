// The Gen2 inventory commands.
#include <algorithm>
#include <cstring>

#include "link/command.h"

namespace tagwire {
namespace {

// Where an inventory's outcome goes. Null outputs are left out.
struct Outputs {
    u8* list;
    u8* antenna;
    int* list_length;
    int* tag_count;
};

// What Totallen becomes when the tags went to the callback only.
enum class ListLength { zeroed, kept };

template <class T> void put(T* output, T value)
{
    if (output != nullptr) *output = value;
}

class FlagRaised {
  public:
    explicit FlagRaised(Relaxed<bool>& flag) : flag_(flag) { flag_ = true; }
    ~FlagRaised() { flag_ = false; }
    FlagRaised(const FlagRaised&) = delete;
    FlagRaised& operator=(const FlagRaised&) = delete;

  private:
    Relaxed<bool>& flag_;
};

bool wants_statistics(u8 QValue) { return (QValue & 0x80) != 0; }

void add_mask(Command& command, u8 MaskMem, const u8* MaskAdr, u8 MaskLen, const u8* MaskData)
{
    command.byte(MaskMem).bytes(MaskAdr, 2).byte(MaskLen).bytes(MaskData, (MaskLen + 7) / 8);
}

void add_fast_tail(Command& command, u8 FastFlag, u8 Target, u8 InAnt, u8 Scantime)
{
    if (FastFlag == 1) command.byte(Target).byte(InAnt).byte(Scantime);
}

// The frames of an answer, as the list of tag records they carry. Works on szBuff (frames) and szBuff1
// (list).
class FrameWalk {
  public:
    explicit FrameWalk(Reader* reader) : frames_(reader->szBuff), list_(reader->szBuff1)
    {
        left_ = std::clamp(reader->recvLength, 0, buffer_size);
        std::memcpy(frames_, reader->recvBuff, static_cast<std::size_t>(left_));
    }

    // `to_the_end`: goes on behind a frame with status 1 or 2.
    void run(bool to_the_end, const Outputs& out)
    {
        while (left_ > 0) {
            const u8* frame = frames_ + front_;
            const int length = frame[frame::len] + 1;
            const u8 status = front_status();
            // Any other frame stays in front until the count of bytes has run out. Receivers deliver whole
            // frames.
            if (status < 0x01 || status > 0x03 || length > left_) return;
            take_records(frame, out);
            if (status != 0x03 && !to_the_end) return;
            left_ -= length;
            if (left_ > 0) front_ += length;
        }
    }

    u8 front_byte(std::size_t at) const
    {
        const std::size_t position = static_cast<std::size_t>(front_) + at;
        return position < buffer_size ? frames_[position] : u8{0};
    }
    u8 front_status() const { return front_byte(frame::status); }
    const u8* list() const { return list_; }
    int list_length() const { return list_length_; }

  private:
    static constexpr std::size_t antenna_at = 4;
    static constexpr std::size_t count_at = 5;
    static constexpr std::size_t records_at = 6;

    void take_records(const u8* frame, const Outputs& out)
    {
        put(out.antenna, frame[antenna_at]);
        if (out.tag_count != nullptr) *out.tag_count += frame[count_at];
        const int length = frame[frame::len] - 7;
        if (length <= 0 || length > buffer_size - list_length_) return;
        std::memcpy(list_ + list_length_, frame + records_at, static_cast<std::size_t>(length));
        list_length_ += length;
    }

    u8* frames_;
    u8* list_;
    int front_ = 0;
    int left_ = 0;
    int list_length_ = 0;
};

void copy_list(const FrameWalk& walk, const Outputs& out)
{
    constexpr u8 with_statistics = 0x26;
    constexpr std::size_t statistics_at = 5;
    const int statistics_size = walk.front_status() == with_statistics ? 6 : 0;

    put(out.list_length, statistics_size + walk.list_length());
    if (out.list == nullptr) return;
    for (int i = 0; i < statistics_size; ++i)
        out.list[i] = walk.front_byte(statistics_at + static_cast<std::size_t>(i));
    std::memcpy(out.list + statistics_size, walk.list(), static_cast<std::size_t>(walk.list_length()));
}

void clear_scratch(Reader* sthis)
{
    std::memset(sthis->szBuff, 0, sizeof sthis->szBuff);
    std::memset(sthis->szBuff1, 0, sizeof sthis->szBuff1);
}

// Sends the inventory, receives its frames and hands them out.
int run_inventory(Reader* sthis, Command& command, u8 code, bool statistics, const Outputs& out,
                  ListLength callback_only)
{
    clear_scratch(sthis);
    command.send(Inventory::yes);
    const auto receive = statistics ? sthis->operations.GetInventoryDataFromPort2
                                    : sthis->operations.GetInventoryDataFromPort1;
    const int result = receive(sthis, sthis->recvBuff, &sthis->recvLength, code);
    sthis->isInventoryCmd = false;

    put(out.tag_count, 0);
    if (result == TAGWIRE_NO_ANSWER) return result;
    if (sthis->InventoryBackUID) {
        if (callback_only == ListLength::zeroed) put(out.list_length, 0);
        return result;
    }
    if (result == TAGWIRE_BAD_HANDLE || result == TAGWIRE_WRONG_COMMAND) return result;

    FrameWalk walk(sthis);
    walk.run(statistics, out);
    copy_list(walk, out);
    return walk.front_status();
}

int fast_inventory(Reader* sthis, const u8* address, u8 code, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                   u8 Scantime, u8 FastFlag, const Outputs& out)
{
    Command command(sthis, *address, code);
    command.byte(QValue).byte(Session);
    add_fast_tail(command, FastFlag, Target, InAnt, Scantime);
    return run_inventory(sthis, command, code, wants_statistics(QValue), out, ListLength::kept);
}

}  // namespace
}  // namespace tagwire

using namespace tagwire;

int I_Inventory_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                   u8* MaskData, u8 MaskFlag, u8 AdrTID, u8 LenTID, u8 TIDFlag, u8 Target, u8 InAnt,
                   u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    const FlagRaised reading(sthis->Reading);
    Command command(sthis, *address, 0x01);
    command.byte(QValue).byte(Session);
    if (MaskFlag == 1) add_mask(command, MaskMem, MaskAdr, MaskLen, MaskData);
    if (TIDFlag == 1) command.byte(AdrTID).byte(LenTID);
    add_fast_tail(command, FastFlag, Target, InAnt, Scantime);
    return run_inventory(sthis, command, 0x01, wants_statistics(QValue), {pEPCList, Ant, Totallen, CardNum},
                         ListLength::zeroed);
}

int I_InventoryMix_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 MaskMem, u8* MaskAdr, u8 MaskLen,
                      u8* MaskData, u8 MaskFlag, u8 ReadMem, u8* ReadAdr, u8 ReadLen, u8* Psd, u8 Target,
                      u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    Command command(sthis, *address, 0x19);
    command.byte(QValue).byte(Session);
    if (MaskFlag == 1) add_mask(command, MaskMem, MaskAdr, MaskLen, MaskData);
    command.byte(ReadMem).bytes(ReadAdr, 2).byte(ReadLen).bytes(Psd, 4);
    add_fast_tail(command, FastFlag, Target, InAnt, Scantime);
    return run_inventory(sthis, command, 0x19, wants_statistics(QValue), {pEPCList, Ant, Totallen, CardNum},
                         ListLength::zeroed);
}

int I_InventoryExtMix_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 ParamCount, u8* param,
                         u8 MaskMem, u8* MaskAdr, u8 MaskLen, u8* MaskData, u8 MaskFlag, u8* Psd, u8 Target,
                         u8 InAnt, u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen,
                         int* CardNum)
{
    if (ParamCount < 1 || ParamCount > 3) return TAGWIRE_BAD_ARGUMENT;
    Command command(sthis, *address, 0x20);
    command.byte(QValue).byte(Session).byte(ParamCount).bytes(param, 4 * ParamCount);
    if (MaskFlag == 1) add_mask(command, MaskMem, MaskAdr, MaskLen, MaskData);
    command.bytes(Psd, 4);
    add_fast_tail(command, FastFlag, Target, InAnt, Scantime);
    return run_inventory(sthis, command, 0x20, wants_statistics(QValue), {pEPCList, Ant, Totallen, CardNum},
                         ListLength::zeroed);
}

int I_Inventory_EPC_G2(Reader* sthis, u8* address, u8 MatchType, u8* MatchLen, u8* MatchOffset, u8* EPCData,
                       u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    const int bits = MatchLen[0] << 8 | MatchLen[1];
    Command command(sthis, *address, 0x1A);
    command.byte(MatchType).bytes(MatchLen, 2).bytes(MatchOffset, 2).bytes(EPCData, (bits + 7) / 8);
    return run_inventory(sthis, command, 0x1A, false, {pEPCList, Ant, Totallen, CardNum}, ListLength::zeroed);
}

int I_Inventory_QT_G2(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt, u8 Scantime,
                      u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x1B, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_FastBID_NXP(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                            u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x96, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_Inventory_FastTID_NXP(Reader* sthis, u8* address, u8 QValue, u8 Session, u8 Target, u8 InAnt,
                            u8 Scantime, u8 FastFlag, u8* pEPCList, u8* Ant, int* Totallen, int* CardNum)
{
    return fast_inventory(sthis, address, 0x97, QValue, Session, Target, InAnt, Scantime, FastFlag,
                          {pEPCList, Ant, Totallen, CardNum});
}

int I_SingleTagInventory_G2(Reader* sthis, u8* address, u8* EPC, int* EPCLength, int* CardNum)
{
    Command command(sthis, *address, 0x0F);
    command.send();
    if (const int result = command.receive()) return result;

    const Answer answer = command.answer();
    if (answer.status() != 0x01) return answer.status();
    *address = answer.address();
    *CardNum = answer[1];
    *EPCLength = answer[2];
    EPC[0] = answer[0];
    answer.copy(3, EPC + 1, answer.length() - 9);
    return answer.status();
}

// Its tags reach the callback only.
int I_Fast_switch_ant_inventory(Reader* sthis, u8* address, u8 AntA, u8 StayA, u8 AntB, u8 StayB, u8 AntC,
                                u8 StayC, u8 AntD, u8 StayD, u8 Interval, u8 Repeat)
{
    Command command(sthis, *address, 0x1C);
    clear_scratch(sthis);
    command.byte(AntA).byte(StayA).byte(AntB).byte(StayB).byte(AntC).byte(StayC).byte(AntD).byte(StayD);
    command.byte(Interval).byte(Repeat).send(Inventory::yes);
    const int result =
        sthis->operations.GetInventoryDataFromPort3(sthis, sthis->recvBuff, &sthis->recvLength, 0x1C);
    sthis->isInventoryCmd = false;
    return result;
}
