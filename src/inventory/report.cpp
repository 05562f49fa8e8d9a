// The tag decoder: one frame in, one callback per tag out.
#include "link/hex.h"
#include "link/questions.h"

namespace tagwire::engine {
namespace {

constexpr std::size_t first_record = 6;
constexpr std::size_t longest_id = 255;

// How the records of a frame are laid out.
struct Layout {
    bool packet_byte;   // a leading byte in front of the length
    bool whole_length;  // the length byte is all length, and the phase flag is in the packet byte
    int kind;
};

constexpr Layout mixed{true, false, 1};
constexpr Layout extended{true, true, 2};
constexpr Layout plain{false, false, 1};

constexpr Layout layout_of(int command)
{
    switch (command) {
    case 0x19:
    case 0x57: return mixed;
    case 0x20: return extended;
    default: return plain;
    }
}

// Reads a frame byte by byte; behind its end there are only zeros.
class Cursor {
  public:
    Cursor(const u8* frame, std::size_t at) : frame_(frame), at_(at) {}

    bool at_end() const { return at_ >= FrameCopy::size; }
    u8 byte()
    {
        const std::size_t at = at_++;
        return at < FrameCopy::size ? frame_[at] : u8{0};
    }
    std::uint32_t number(int bytes)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) value = value << 8U | byte();
        return value;
    }
    void hex(char* text, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            const u8 value = byte();
            text = write_hex(text, &value, 1);
        }
        *text = '\0';
    }

  private:
    const u8* frame_;
    std::size_t at_;
};

// A close takes the callback away and does not wait: a call that is being entered may still begin behind it.
void deliver(const Reader* reader, RFIDTag* tag, int kind)
{
    const pRFIDCallBack callback = reader->MypCallBack;
    if (callback != nullptr && !reader->keeping.retired) callback(tag, kind);
}

void report_record(Reader* reader, Cursor& cursor, const Layout& layout, u8 antenna)
{
    constexpr u8 phase_in_length = 0x40;
    constexpr u8 phase_in_packet = 0x10;
    constexpr u8 short_length = 0x3F;

    RFIDTag tag{};
    if (layout.packet_byte) tag.PacketParam = cursor.byte();
    tag.LEN = cursor.byte();
    const std::size_t length = layout.whole_length ? tag.LEN : tag.LEN & short_length;
    const bool phase =
        layout.whole_length ? (tag.PacketParam & phase_in_packet) != 0 : (tag.LEN & phase_in_length) != 0;

    char text[2 * longest_id + 1];
    cursor.hex(text, length);
    tag.UID = text;
    tag.RSSI = cursor.byte();
    if (phase) {
        tag.phase_begin = cursor.number(2);
        tag.phase_end = cursor.number(2);
        tag.Freqkhz = cursor.number(3);
    }
    tag.ANT = antenna;
    tag.FrmHandle = reader->FrmHandle;
    deliver(reader, &tag, layout.kind);
}

}  // namespace
}  // namespace tagwire::engine

// `btFrm` points to 300 bytes: the frame and zeros. A report of continuous reading (0x50) carries one tag and
// no count.
void I_parserRidTag(Reader* sthis, u8* btFrm, int cmd)
{
    using namespace tagwire::engine;
    const u8 antenna = btFrm[4];
    if (cmd == report_layout) {
        Cursor cursor(btFrm, first_record - 1);
        report_record(sthis, cursor, plain, antenna);
        return;
    }
    const int count = btFrm[5];
    Cursor cursor(btFrm, first_record);
    for (int i = 0; i < count && !cursor.at_end(); ++i) report_record(sthis, cursor, layout_of(cmd), antenna);
}
