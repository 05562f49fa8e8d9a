// Bytes passed through to the reader's communication module, whose answers are slow and irregular.
#include "link/clock.h"
#include "link/command.h"
#include "link/descriptor.h"

namespace tagwire::engine {
namespace {

// What the answer is to, in ATstate.
constexpr int mode_change = 1;
constexpr int pass_through = 2;

// The last bytes that came, as many as the assembly holds.
class RecentBytes {
  public:
    explicit RecentBytes(Reader* reader) : bytes_(reader->btArBuff) {}

    void append(const u8* from, int count)
    {
        if (count > capacity) {
            from += count - capacity;
            count = capacity;
        }
        const int over = size_ + count - capacity;
        if (over > 0) {
            std::memmove(bytes_, bytes_ + over, static_cast<std::size_t>(size_ - over));
            size_ -= over;
        }
        std::memcpy(bytes_ + size_, from, static_cast<std::size_t>(count));
        size_ += count;
    }
    int size() const { return size_; }
    u8 operator[](int i) const { return bytes_[i]; }

    int copy_tail(int count, u8* to) const
    {
        std::memcpy(to, bytes_ + size_ - count, static_cast<std::size_t>(count));
        return count;
    }

  private:
    static constexpr int capacity = 8400;
    u8* bytes_;
    int size_ = 0;
};

// A frame of Len 5 that ends where the bytes end. Its length, or 0.
int mode_answer(const RecentBytes& bytes)
{
    constexpr int length = 6;
    return bytes.size() >= length && bytes[bytes.size() - length] == length - 1 ? length : 0;
}

// A frame with status 0 that ends where the bytes end, the first there is. Its length, or 0.
int pass_through_answer(const RecentBytes& bytes)
{
    constexpr int longest = static_cast<int>(frame::longest);
    constexpr int status_at = static_cast<int>(frame::status);
    const int first = bytes.size() > longest ? bytes.size() - longest : 0;
    for (int front = first; front + status_at < bytes.size(); ++front) {
        const int length = bytes[front] + 1;
        if (bytes[front + status_at] == 0 && front + length == bytes.size()) return length;
    }
    return 0;
}

int find_answer(const RecentBytes& bytes, int at_state)
{
    if (at_state == mode_change) return mode_answer(bytes);
    if (at_state == pass_through) return pass_through_answer(bytes);
    return 0;
}

}  // namespace
}  // namespace tagwire::engine

using namespace tagwire::engine;

int I_ChangeATMode(Reader* sthis, u8* address, u8 ATMode)
{
    Command command(sthis, address, 0x4D);
    sthis->ATstate = mode_change;
    return command.byte(ATMode).exchange_by(&Operations::ATGetDataFromPort, AddressEcho::on_success,
                                            Outputs::on_success, no_output);
}

int I_TransparentCMD(Reader* sthis, u8* address, u8 timeout, u8* cmddata, int nlen, u8* recvdata,
                     int* recvLen)
{
    Command command(sthis, address, 0x4E);
    sthis->ATstate = pass_through;
    command.byte(timeout).bytes(cmddata, nlen);
    return command.exchange_by(&Operations::ATGetDataFromPort, AddressEcho::never, Outputs::on_success,
                               [&](const Response& r) {
                                   *recvLen = r.data_length();
                                   r.copy(0, recvdata, r.data_length());
                               });
}

// Bytes behind a good frame hide it, until the time limit. The serial descriptor is asked for on TCP too.
int I_ATGetDataFromPort(Reader* sthis, u8* Recv, int* pLengthOfRecved)
{
    constexpr int silence_limit_ms = 7000;
    constexpr int limit_ms = 10'000;
    *pLengthOfRecved = 0;
    if (!known_link(sthis) || sthis->hCommPort == -1) return TAGWIRE_BAD_HANDLE;
    RecentBytes bytes(sthis);
    sthis->time1 = getCurrentTimeMsec();
    for (;;) {
        const int n = sthis->operations.ReadRfidData(sthis, sthis->btRecvArr);
        if (n <= 0) pause_for_input(sthis, 10);
        if (n > 0) {
            bytes.append(sthis->btRecvArr, n);
            if (const int length = find_answer(bytes, sthis->ATstate)) {
                *pLengthOfRecved = bytes.copy_tail(length, Recv);
                return TAGWIRE_OK;
            }
        }
        sthis->time2 = getCurrentTimeMsec();
        const std::int64_t elapsed = sthis->time2 - sthis->time1;
        if (elapsed > silence_limit_ms && bytes.size() == 0) return TAGWIRE_NO_ANSWER;
        if (elapsed > limit_ms || sthis->keeping.retired) return TAGWIRE_NO_ANSWER;
    }
}
