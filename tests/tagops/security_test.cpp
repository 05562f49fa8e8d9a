// Locking, killing and the features of particular chips: what is sent, and what an answer gives.
#include "tagwire/security.h"

#include "tagops/addressing_rules.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 MaskMem = 0x02;

using Run = int (*)(Reader*, TagCall&);

template <auto Slot, auto Exported> int with_password(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(), MaskMem,
                                   c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
// The command's own byte stands behind the password, or ahead of it.
template <auto Slot, auto Exported> int with_byte_behind(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(), 0x2B, MaskMem,
                                   c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
template <auto Slot, auto Exported> int with_byte_ahead(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.EPC(), c.ENum, 0x2B, c.password.data(), MaskMem,
                                   c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
template <auto Slot, auto Exported> int without_tag(Reader* r, TagCall& c)
{
    return through<Slot, Exported>(r, c.handle, &c.address, c.password.data(), &c.Errorcode);
}

constexpr Run protect = with_password<&Operations::SetPrivacyByEPC_G2, ::SetPrivacyByEPC_G2>;
constexpr Run protect_any = without_tag<&Operations::SetPrivacyWithoutEPC_G2, ::SetPrivacyWithoutEPC_G2>;
constexpr Run unprotect = without_tag<&Operations::ResetPrivacy_G2, ::ResetPrivacy_G2>;
constexpr Run configure_eas = with_byte_behind<&Operations::EASConfigure_G2, ::EASConfigure_G2>;
constexpr Run lock_block = with_byte_behind<&Operations::BlockLock_G2, ::BlockLock_G2>;
constexpr Run protected_mode = with_byte_ahead<&Operations::Protected_mode_G2, ::Protected_mode_G2>;
constexpr Run set_qt = with_byte_ahead<&Operations::SetMonza4QTWorkParamter_G2, ::SetMonza4QTWorkParamter_G2>;

int kill(Reader* r, TagCall& c)
{
    return through<&Operations::KillTag_G2, ::KillTag_G2>(r, c.handle, &c.address, c.EPC(), c.ENum,
                                                          c.kill_password.data(), MaskMem, c.MaskAdr(),
                                                          c.MaskLen, c.MaskData(), &c.Errorcode);
}
int lock(Reader* r, TagCall& c)
{
    return through<&Operations::Lock_G2, ::Lock_G2>(r, c.handle, &c.address, c.EPC(), c.ENum, 0x21, 0x22,
                                                    c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen,
                                                    c.MaskData(), &c.Errorcode);
}
int get_qt(Reader* r, TagCall& c)
{
    return through<&Operations::GetMonza4QTWorkParamter_G2, ::GetMonza4QTWorkParamter_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen,
        c.MaskData(), &c.value, &c.Errorcode);
}
int hide(Reader* r, TagCall& c)
{
    return through<&Operations::Untraceable_G2, ::Untraceable_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, c.password.data(),
        MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), &c.Errorcode);
}
int authenticate(Reader* r, TagCall& c)
{
    return through<&Operations::Authenticate_G2, ::Authenticate_G2>(
        r, c.handle, &c.address, c.EPC(), c.ENum, 0xF1, 0xF2, 0xF3, c.MsgLen, c.message.data(),
        c.password.data(), MaskMem, c.MaskAdr(), c.MaskLen, c.MaskData(), &c.value, c.bytes.data(),
        &c.Errorcode);
}
int ask_privacy(Reader* r, TagCall& c)
{
    return through<&Operations::CheckPrivacy_G2, ::CheckPrivacy_G2>(r, c.handle, &c.address, &c.value,
                                                                    &c.Errorcode);
}
int ask_alarm(Reader* r, TagCall& c)
{
    return through<&Operations::EASAlarm_G2, ::EASAlarm_G2>(r, c.handle, &c.address, &c.Errorcode);
}

Outcome done(int address, int value = untouched_byte, const char* bytes = "")
{
    return {0, address, -1, value, bytes};
}
const Outcome plain = done(asked_address);
const Outcome with_address = done(answering_address);

const TagCommand privacy_query{"CheckPrivacy_G2", 0x0B, ask_privacy, "31", done(asked_address, 0x31), false};
const TagCommand qt_query{"GetMonza4QTWorkParamter_G2",  0x11, get_qt, "31 32",
                          done(answering_address, 0x32), false};
const TagCommand authentication{
    "Authenticate_G2", 0xE4, authenticate, "31 32 33", done(asked_address, 3, "31 32 33"), false};

const std::vector<AddressedCommand> addressed = {
    {{"KillTag_G2", 0x05, kill, "", plain, false}, {"", "B1 B2 B3 B4", {9, 21, 71}, {13, 15, 15}}},
    {{"Lock_G2", 0x06, lock, "", plain, false}, {"", "21 22 A1 A2 A3 A4", {11, 23, 73}, {15, 17, 17}}},
    {{"SetPrivacyByEPC_G2", 0x08, protect, "", plain, false}, {"", "A1 A2 A3 A4", {9, 21, 71}, {13, 15, 15}}},
    {{"EASConfigure_G2", 0x0C, configure_eas, "", with_address, false},
     {"", "A1 A2 A3 A4 2B", {10, 22, 72}, {14, 16, 16}}},
    {{"BlockLock_G2", 0x0E, lock_block, "", plain, false},
     {"", "A1 A2 A3 A4 2B", {10, 22, 72}, {14, 16, 16}}},
    {qt_query, {"", "A1 A2 A3 A4", {9, 21, 71}, {13, 15, 15}}},
    {{"SetMonza4QTWorkParamter_G2", 0x12, set_qt, "", with_address, false},
     {"", "00 2B A1 A2 A3 A4", {11, 23, 73}, {15, 17, 17}}},
    {{"Untraceable_G2", 0x1F, hide, "", plain, false},
     {"", "E1 E2 E3 E4 E5 E6 A1 A2 A3 A4", {15, 27, 77}, {19, 21, 21}}},
    {authentication, {"", "F1 F2 F3 02 C1 C2 C3 C4 C5 C6 A1 A2 A3 A4", {19, 31, 81}, {23, 25, 25}}},
    {{"Protected_mode_G2", 0xE9, protected_mode, "", plain, false},
     {"", "2B A1 A2 A3 A4", {10, 22, 72}, {14, 16, 16}}},
};

const TagCommand unaddressed[] = {
    {"SetPrivacyWithoutEPC_G2", 0x09, protect_any, "", plain, false},
    {"ResetPrivacy_G2", 0x0A, unprotect, "", plain, false},
    privacy_query,
    {"EASAlarm_G2", 0x0D, ask_alarm, "", with_address, false},
};

INSTANTIATE_TEST_SUITE_P(OneTag, AnswerRules, testing::ValuesIn(commands_of(addressed)),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(AnyTag, AnswerRules, testing::ValuesIn(unaddressed),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(OneTag, AddressingRules, testing::ValuesIn(addressed),
                         testing::PrintToStringParamName());

using Security = TagCommands;

TEST_F(Security, commands_for_any_tag_send_a_password_or_nothing)
{
    const char* const frames[] = {"08 05 09 A1 A2 A3 A4", "08 05 0A A1 A2 A3 A4", "04 05 0B", "04 05 0D"};
    for (std::size_t i = 0; i < std::size(frames); ++i)
        EXPECT_EQ(to_hex(sent(unaddressed[i], {})), to_hex(with_crc(hex(frames[i])))) << unaddressed[i].name;
}

TEST_F(Security, tag_error_that_is_too_short_for_a_code_gives_the_byte_in_its_place)
{
    std::vector<TagCommand> all = commands_of(addressed);
    all.insert(all.end(), std::begin(unaddressed), std::end(unaddressed));
    for (const TagCommand& command : all) {
        const Bytes frame = answer(answering_address, command.code, 0xFC);
        Outcome expected = nothing_but(0xFC);
        expected.Errorcode = frame[4];
        EXPECT_EQ(received(command, frame), expected) << command.name;
    }
}

// ---- The privacy query

TEST_F(Security, privacy_query_gives_the_byte_behind_the_status)
{
    for (const char* data : {"00", "01", "FF 02"}) {
        const Bytes frame = answer(answering_address, 0x0B, 0, hex(data));
        EXPECT_EQ(received(privacy_query, frame), done(asked_address, frame[4])) << data;
    }
    const Bytes empty = answer(answering_address, 0x0B, 0);
    EXPECT_EQ(received(privacy_query, empty), done(asked_address, empty[4]));
}

// ---- QT control

TEST_F(Security, qt_control_is_the_second_byte_of_the_answer)
{
    for (const char* data : {"00 2B", "FF 00", "01 02 03"}) {
        const Bytes frame = answer(answering_address, 0x11, 0, hex(data));
        EXPECT_EQ(received(qt_query, frame), done(answering_address, frame[5])) << data;
    }
    const Bytes empty = answer(answering_address, 0x11, 0);
    EXPECT_EQ(received(qt_query, empty), done(answering_address, empty[5]));
}

// ---- Authentication

TEST_F(Security, authentication_sends_6_bytes_of_message_whatever_their_count_says)
{
    for (const u8 count : {0, 1, 2, 6, 7, 255}) {
        TagCall call = TagCall::by_mask(0);
        call.MsgLen = count;
        EXPECT_EQ(to_hex(sent(authentication, call)),
                  to_hex(with_crc(hex("17 05 E4 FF F1 F2 F3") + Bytes{count} +
                                  hex("C1 C2 C3 C4 C5 C6 A1 A2 A3 A4 02 56 78 00"))));
    }
}

TEST_F(Security, authentication_gives_the_reply_and_its_count)
{
    for (const int count : {0, 1, 32, 250}) {
        const Bytes frame = answer(answering_address, 0xE4, 0, counting(count));
        const std::string reply = to_hex(counting(count));
        EXPECT_EQ(received(authentication, frame), done(asked_address, count, reply.c_str())) << count;
    }
}

// Zeros behind a frame leave its CRC good.
TEST_F(Security, authentication_takes_its_count_from_the_frame)
{
    const Bytes frame = answer(answering_address, 0xE4, 0, hex("31 32"));
    EXPECT_EQ(received(authentication, frame + repeat(0, 10)), done(asked_address, 2, "31 32"));
}

}  // namespace
}  // namespace tagwire::engine::test
