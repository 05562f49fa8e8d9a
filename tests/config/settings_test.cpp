// The reader's plain settings.
#include "config/setting.h"
#include "link/system_seam.h"

namespace tagwire::engine::test {
namespace {

using enum Written;
using testing::ElementsAre;
using Call = SettingCall;

const std::vector<Setting>& plain_settings()
{
    static const std::vector<Setting> all = {
        {"SetAddress", [](Call& c) { return c(&Operations::SetAddress, 0x5A); }, "05 05 24 5A", always},
        {"SetInventoryScanTime", [](Call& c) { return c(&Operations::SetInventoryScanTime, 0x5A); },
         "05 05 25 5A", always},
        {"InSelfTestMode", [](Call& c) { return c(&Operations::InSelfTestMode, true); }, "04 05 26", always},
        {"SetRevDelay", [](Call& c) { return c(&Operations::SetRevDelay, 0x5A); }, "05 05 27 5A", never},
        {"SetDAC", [](Call& c) { return c(&Operations::SetDAC, 0x5A); }, "05 05 29 5A", always},
        {"GetDAC", [](Call& c) { return c(&Operations::GetDAC, c.at(0)); }, "04 05 2A", on_success, "31",
         "31", on_success},
        {"CheckPowerParameter", [](Call& c) { return c(&Operations::CheckPowerParameter, c.at(0)); },
         "04 05 2B", on_success, "31", "31", on_success},
        {"SolidifyDACandPowerlist",
         [](Call& c) { return c(&Operations::SolidifyDACandPowerlist, c.input(31), c.at(0)); },
         "23 05 2C A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3 B4 B5 B6 B7 B8 B9 BA BB BC BD BE "
         "BF",
         on_success, "31", "31", on_success},
        {"GetStartInformation",
         [](Call& c) {
             return c(&Operations::GetStartInformation, c.at(0), c.at(1), c.at(2), c.at(3), c.at(4), c.at(5),
                      c.at(6), c.at(7), c.at(8));
         },
         "04 05 2D", on_success, "31 32 33 34 35 36 37 38 39", "31 32 33 34 35 36 37 38 39", on_success},
        {"GetRevDelay", [](Call& c) { return c(&Operations::GetRevDelay, c.at(0)); }, "04 05 31", never, "31",
         "31", on_success},
        {"SetEASSensitivity", [](Call& c) { return c(&Operations::SetEASSensitivity, 0x5A); }, "05 05 37 5A",
         never},
        {"SetTagCustomFunction", [](Call& c) { return c(&Operations::SetTagCustomFunction, c.at(0)); },
         "05 05 3A 90", on_success, "31", "31", on_success},
        {"SetMask", [](Call& c) { return c(&Operations::SetMask, 0x03, c.input(2, 0x11), 0x0C, c.input(2)); },
         "0A 05 3B 03 11 12 0C A1 A2", never},
        {"SetResponsePamametersofAuto_runningMode",
         [](Call& c) { return c(&Operations::SetResponsePamametersofAuto_runningMode, 0x5A, 0x5B); },
         "06 05 3C 5A 5B", never},
        {"SetInventoryInterval", [](Call& c) { return c(&Operations::SetInventoryInterval, 0x5A); },
         "05 05 3D 5A", never},
        {"SelectTagType", [](Call& c) { return c(&Operations::SelectTagType, 0x5A); }, "05 05 3E 5A", never},
        {"SetBeepNotification", [](Call& c) { return c(&Operations::SetBeepNotification, 0x5A); },
         "05 05 40 5A", never},
        {"SetReal_timeClock", [](Call& c) { return c(&Operations::SetReal_timeClock, c.input(6)); },
         "0A 05 41 A1 A2 A3 A4 A5 A6", never},
        {"GetTime", [](Call& c) { return c(&Operations::GetTime, c.at(0)); }, "04 05 42", never,
         "31 32 33 34 35 36", "31 32 33 34 35 36", on_success},
        {"SetTriggerTime", [](Call& c) { return c(&Operations::SetTriggerTime, 0x5A); }, "05 05 49 5A",
         never},
        {"SetTIDParameter", [](Call& c) { return c(&Operations::SetTIDParameter, 0x5A, 0x5B); },
         "06 05 4A 5A 5B", on_success},
        {"SetSeriaNo", [](Call& c) { return c(&Operations::SetSeriaNo, c.input(4)); },
         "0A 05 4B 52 52 A1 A2 A3 A4", on_success},
        {"GetSeriaNo", [](Call& c) { return c(&Operations::GetSeriaNo, c.at(0)); }, "04 05 4C", on_success,
         "31 32 33 34", "31 32 33 34", on_success},
        {"SetCheckAnt", [](Call& c) { return c(&Operations::SetCheckAnt, 0x5A); }, "05 05 66 5A", on_success},
        {"SetCommType", [](Call& c) { return c(&Operations::SetCommType, 0x5A); }, "05 05 6A 5A", on_success},
        {"SetPowerMode", [](Call& c) { return c(&Operations::SetPowerMode, c.at(0)); }, "05 05 6B 90",
         on_success, "31", "31", on_success},
        {"SetHeartBeatTime", [](Call& c) { return c(&Operations::SetHeartBeatTime, c.at(0)); }, "05 05 78 90",
         on_success, "31", "31", on_success},
        {"RetryTimes", [](Call& c) { return c(&Operations::RetryTimes, c.at(0)); }, "05 05 7B 90", on_success,
         "31", "31", on_success},
        {"SetUserPwd", [](Call& c) { return c(&Operations::SetUserPwd, c.input(4)); }, "08 05 7D A1 A2 A3 A4",
         always},
        {"GetUserPwd", [](Call& c) { return c(&Operations::GetUserPwd, c.at(0)); }, "04 05 7E", always,
         "31 32 33 34", "31 32 33 34", always},
        {"SetProfile", [](Call& c) { return c(&Operations::SetProfile, c.at(0)); }, "05 05 7F 90", on_success,
         "31", "31", on_success},
        // 1234 is 0x04D2, and 0x3132 is 12594.
        {"SetExtProfile", [](Call& c) { return c(&Operations::SetExtProfile, 0x5A, &c.number); },
         "07 05 7F 5A 04 D2", on_success, "31 32", "", on_success, 12594},
        {"SetQS", [](Call& c) { return c(&Operations::SetQS, 0x5A, 0x5B); }, "06 05 81 5A 5B", on_success},
        {"GetQS", [](Call& c) { return c(&Operations::GetQS, c.at(0), c.at(1)); }, "04 05 82", on_success,
         "31 32", "31 32", on_success},
        {"GetModuleVersion", [](Call& c) { return c(&Operations::GetModuleVersion, c.at(0)); }, "04 05 83",
         never, "31 32", "31 32", on_success},
        {"SetFlashRom", [](Call& c) { return c(&Operations::SetFlashRom); }, "04 05 84", never},
        {"SetUTCTime", [](Call& c) { return c(&Operations::SetUTCTime, c.input(4)); }, "08 05 85 A1 A2 A3 A4",
         always},
        {"SetFTime", [](Call& c) { return c(&Operations::SetFTime, 0x5A); }, "05 05 86 5A", on_success},
        {"GetFTime", [](Call& c) { return c(&Operations::GetFTime, c.at(0)); }, "04 05 87", on_success, "31",
         "31", on_success},
        {"SetDRM", [](Call& c) { return c(&Operations::SetDRM, 0x01); }, "05 05 90 81", on_success},
        {"GetDRM", [](Call& c) { return c(&Operations::GetDRM, c.at(0)); }, "05 05 90 00", on_success, "31",
         "31", on_success},
        {"GetReaderTemperature",
         [](Call& c) { return c(&Operations::GetReaderTemperature, c.at(0), c.at(1)); }, "04 05 92",
         on_success, "31 32", "31 32", on_success},
        {"SetFilterTime", [](Call& c) { return c(&Operations::SetFilterTime, 0x5A); }, "05 05 92 5A",
         on_success},
        {"GetFilterTime", [](Call& c) { return c(&Operations::GetFilterTime, c.at(0)); }, "04 05 93",
         on_success, "31", "31", on_success},
        {"SetReaderPwd", [](Call& c) { return c(&Operations::SetReaderPwd, c.input(4)); },
         "09 05 92 01 A1 A2 A3 A4", never},
        {.name = "GetReaderPwd",
         .run = [](Call& c) { return c(&Operations::GetReaderPwd, c.at(0)); },
         .request = "09 05 92 00 00 00 00 00",
         .address = never,
         .data = "31 32 33 34",
         .outputs = "31 32 33 34",
         .written = always,
         .clears_first = true},
        {"ResetReader", [](Call& c) { return c(&Operations::ResetReader); }, "06 05 99 52 25", on_success},
        {"SwitchProtocol", [](Call& c) { return c(&Operations::SwitchProtocol, c.at(0)); }, "05 05 CE 90",
         on_success, "31", "31", on_success},
        {"GetEx10Version", [](Call& c) { return c(&Operations::GetEx10Version, c.at(0), c.at(2)); },
         "05 05 EC 00", on_success, "31 32 33 34", "32 33 34", on_success},
        {"GetEx10InternalVersion",
         [](Call& c) { return c(&Operations::GetEx10InternalVersion, c.at(0), c.at(2)); }, "05 05 EC 00",
         never, "00 32 33 34", "32 33 34", on_success},
    };
    return all;
}

INSTANTIATE_TEST_SUITE_P(Plain, EverySetting, testing::ValuesIn(plain_settings()), SettingName());

class Settings : public SettingTest {};

// --- What the library keeps ---

TEST_F(Settings, address_of_any_answer_is_taken_for_the_readers)
{
    for (const int status : {0, 5}) {
        reader_->ReaderAddr = 0x77;
        Call one = call();
        const FixedAnswer answer(reader_, own(0x24, status));
        EXPECT_EQ(one(&Operations::SetAddress, 0x5A), status);
        EXPECT_EQ(reader_->ReaderAddr, answering_address);
    }
}

TEST_F(Settings, scan_time_follows_any_answer)
{
    for (const int status : {0, 5}) {
        reader_->inventoryScanTime = 0x77;
        Call one = call();
        const FixedAnswer answer(reader_, own(0x25, status));
        EXPECT_EQ(one(&Operations::SetInventoryScanTime, 0x5A), status);
        EXPECT_EQ(reader_->inventoryScanTime, 0x5A);
    }
}

TEST_F(Settings, kept_values_stay_when_the_exchange_fails)
{
    reader_->ReaderAddr = 0x77;
    reader_->inventoryScanTime = 0x77;
    for (const Bytes& bytes : {spoiled(own(0x24, 0)), own(0x26, 0), Bytes{}}) {
        const FixedAnswer answer(reader_, bytes, bytes.empty() ? TAGWIRE_NO_ANSWER : 0);
        Call one = call();
        EXPECT_NE(one(&Operations::SetAddress, 0x5A), 0);
        EXPECT_NE(one(&Operations::SetInventoryScanTime, 0x5A), 0);
    }
    EXPECT_EQ(reader_->ReaderAddr, 0x77);
    EXPECT_EQ(reader_->inventoryScanTime, 0x77);
}

// --- Mask ---

struct MaskCase {
    u8 bits;
    std::size_t bytes;
};

TEST_F(Settings, mask_has_its_bits_rounded_up_to_bytes)
{
    for (const auto [bits, bytes] : {MaskCase{0, 0}, MaskCase{1, 1}, MaskCase{8, 1}, MaskCase{9, 2},
                                     MaskCase{16, 2}, MaskCase{248, 31}, MaskCase{255, 32}}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x3B, 0));
        Call one = call();
        EXPECT_EQ(one(&Operations::SetMask, 0x03, one.input(2, 0x11), bits, one.input(bytes)), 0);
        const u8 len = static_cast<u8>(8 + bytes);
        sends.expect(Bytes{len, asked_address, 0x3B, 0x03, 0x11, 0x12, bits} + counting_from(0xA1, bytes));
    }
}

// --- Values ---

TEST_F(Settings, extended_profile_has_the_lower_16_bits_of_its_number)
{
    WatchedSends sends(reader_);
    const FixedAnswer answer(reader_, own(0x7F, 0, hex("FF FE")));
    Call one = call();
    one.number = -2;
    EXPECT_EQ(one(&Operations::SetExtProfile, 0x00, &one.number), 0);
    sends.expect(hex("07 05 7F 00 FF FE"));
    EXPECT_EQ(one.number, 0xFFFE);
}

TEST_F(Settings, dense_reader_mode_is_sent_with_its_highest_bit_set)
{
    for (const u8 value : {0x00, 0x7F, 0x80, 0xFF}) {
        WatchedSends sends(reader_);
        const FixedAnswer answer(reader_, own(0x90, 0));
        Call one = call();
        EXPECT_EQ(one(&Operations::SetDRM, value), 0);
        sends.expect({0x05, asked_address, 0x90, static_cast<u8>(value | 0x80U)});
    }
}

// What lies behind the data: the CRC, then zeros.
TEST_F(Settings, answer_without_data_gives_the_bytes_behind_its_status)
{
    const Bytes empty = own(0x42, 0);
    const FixedAnswer answer(reader_, empty);
    Call one = call(6);
    EXPECT_EQ(one(&Operations::GetTime, one.at(0)), 0);
    EXPECT_EQ(one.out, (Bytes{empty[4], empty[5], 0, 0, 0, 0}));
}

TEST_F(Settings, internal_version_without_its_zero_in_front_is_238)
{
    for (const int status : {0, 5}) {
        const FixedAnswer answer(reader_, own(0xEC, status, hex("01 32 33 34")));
        Call one = call(3);
        const int result = one(&Operations::GetEx10InternalVersion, one.at(0), one.at(2));
        EXPECT_EQ(one.outcome(result), Call::describe(238, asked_address, hex("90 91 92"), untouched_number));
    }
}

// --- Self test mode ---

TEST_F(Settings, self_test_mode_is_left_by_one_raw_byte)
{
    WatchedSends sends(reader_);
    reader_->isInventoryCmd = true;
    reader_.feed(own(0xA5, 0));
    Call one = call();
    EXPECT_EQ(one(&Operations::InSelfTestMode, false), 0);
    EXPECT_EQ(sends.count, 1);
    EXPECT_EQ(to_hex(sends.frame), "A5");
    EXPECT_FALSE(sends.in_inventory);
    EXPECT_TRUE(sends.cleared);
    EXPECT_EQ(to_hex(reader_.sent()), "A5");
    EXPECT_EQ(one.address, answering_address);
}

struct SelfTestAnswer {
    Bytes bytes;
    int receiver;
    int result;
    u8 address;
};

TEST_F(Settings, self_test_mode_takes_either_of_its_codes)
{
    const SelfTestAnswer answers[] = {
        {own(0x26, 0), 0, 0, answering_address},
        {own(0xA5, 0), 0, 0, answering_address},
        {own(0x26, 5), 0, 5, answering_address},
        {own(0xA5, 5), 0, 5, answering_address},
        {own(0x27, 0), 0, TAGWIRE_WRONG_COMMAND, asked_address},
        {spoiled(own(0xA5, 0)), 0, TAGWIRE_BAD_CRC, asked_address},
        {own(0xA5, 0), TAGWIRE_NO_ANSWER, TAGWIRE_NO_ANSWER, asked_address},
    };
    for (const bool enter : {true, false}) {
        for (const auto& [bytes, receiver, result, address] : answers) {
            const FixedAnswer answer(reader_, bytes, receiver);
            Call one = call();
            EXPECT_EQ(one(&Operations::InSelfTestMode, enter), result);
            EXPECT_EQ(one.address, address);
            EXPECT_FALSE(reader_->isInventoryCmd);
        }
    }
}

// --- Speed ---

// What happens to the host's lines, and a line that starts with everything set that a reader's must not have.
class BaudRate : public testing::Test {
  protected:
    BaudRate()
    {
        seen.clear();
        applied = {};
        sys::calls.tcgetattr = [](int fd, termios* line) {
            seen.push_back("read " + std::to_string(fd));
            *line = before();
            return 0;
        };
        sys::calls.tcsetattr = [](int fd, const termios* line) {
            seen.push_back("apply " + std::to_string(fd));
            applied = *line;
            return 0;
        };
        sys::calls.tcflush = [](int fd, int queues) {
            if (fd == 0) seen.push_back(queues == TCIOFLUSH ? "flush both of 0" : "flush one of 0");
            return 0;
        };
    }

    static termios before()
    {
        termios line{};
        line.c_iflag = INPCK | IXON;
        line.c_oflag = OPOST;
        line.c_lflag = ECHO;
        line.c_cflag = CS5 | PARENB | CSTOPB | CRTSCTS;
        line.c_cc[VTIME] = 5;
        line.c_cc[VMIN] = 3;
        line.c_cc[VINTR] = 7;
        cfsetispeed(&line, B1200);
        cfsetospeed(&line, B1200);
        return line;
    }
    static int set(const TestReader& reader, u8 baud, u8* address)
    {
        return reader->operations.SetBaudRate(reader, address, baud);
    }
    // The result with this answer of the receiver, which leaves the address alone.
    static int answered(const TestReader& reader, const Bytes& bytes, int receiver = 0)
    {
        const FixedAnswer answer(reader, bytes, receiver);
        u8 address = asked_address;
        const int result = set(reader, 6, &address);
        EXPECT_EQ(address, asked_address);
        EXPECT_FALSE(reader->isInventoryCmd);
        return result;
    }
    static Bytes own(int status, u8 code = 0x28)
    {
        return answer(answering_address, code, static_cast<u8>(status));
    }
    static auto follows(const TestReader& reader)
    {
        const std::string port = std::to_string(reader.near());
        return ElementsAre("read " + port, "flush both of 0", "apply " + port);
    }

    SystemSeam seam_;
    VirtualTime time_;
    TestReader serial_{Link::serial};
    TestReader tcp_{Link::tcp};

    static inline std::vector<std::string> seen;
    static inline termios applied;
};

struct Speed {
    u8 baud;
    speed_t speed;
};

TEST_F(BaudRate, is_followed_by_the_serial_line)
{
    for (const auto [baud, speed] : {Speed{0, B9600}, Speed{1, B19200}, Speed{2, B38400}, Speed{3, B57600},
                                     Speed{4, B57600}, Speed{5, B57600}, Speed{6, B115200}, Speed{7, B921600},
                                     Speed{8, B57600}, Speed{200, B57600}, Speed{255, B57600}}) {
        seen.clear();
        serial_.feed(own(0));
        u8 address = asked_address;
        EXPECT_EQ(set(serial_, baud, &address), 0);
        EXPECT_EQ(serial_.sent(), request(asked_address, 0x28, {baud}));
        EXPECT_THAT(seen, follows(serial_));
        EXPECT_EQ(cfgetispeed(&applied), speed) << int{baud};
        EXPECT_EQ(cfgetospeed(&applied), speed) << int{baud};
        EXPECT_EQ(address, asked_address);
    }
}

TEST_F(BaudRate, makes_the_line_8n1_and_leaves_the_rest_of_it)
{
    serial_->portDCB = {};
    EXPECT_EQ(answered(serial_, own(0)), 0);
    termios expected = before();
    cfsetispeed(&expected, B115200);
    cfsetospeed(&expected, B115200);
    EXPECT_EQ(applied.c_cflag & ~static_cast<tcflag_t>(CBAUD),
              static_cast<tcflag_t>(CLOCAL | CREAD | CS8 | CRTSCTS));
    EXPECT_EQ(applied.c_cflag & CBAUD, expected.c_cflag & CBAUD);
    EXPECT_EQ(applied.c_iflag, static_cast<tcflag_t>(IXON));
    EXPECT_EQ(applied.c_oflag, expected.c_oflag);
    EXPECT_EQ(applied.c_lflag, expected.c_lflag);
    EXPECT_EQ(applied.c_cc[VTIME], 0);
    EXPECT_EQ(applied.c_cc[VMIN], 0);
    EXPECT_EQ(applied.c_cc[VINTR], 7);
    EXPECT_EQ(cfgetospeed(&serial_->portDCB), static_cast<speed_t>(B115200));
}

TEST_F(BaudRate, over_tcp_changes_nothing_on_the_host)
{
    u8 address = asked_address;
    tcp_.feed(own(0));
    EXPECT_EQ(set(tcp_, 6, &address), 0);
    EXPECT_EQ(tcp_.sent(), request(asked_address, 0x28, {6}));
    EXPECT_EQ(answered(tcp_, own(5)), 5);
    EXPECT_THAT(seen, ElementsAre());
}

TEST_F(BaudRate, that_was_refused_changes_nothing_on_the_host)
{
    for (int status = 1; status <= 255; ++status) {
        EXPECT_EQ(answered(serial_, own(status)), status);
        serial_.sent();
    }
    EXPECT_THAT(seen, ElementsAre());
}

TEST_F(BaudRate, follows_an_answer_with_any_code)
{
    EXPECT_EQ(answered(serial_, own(0, 0x21)), 0);
    EXPECT_THAT(seen, follows(serial_));
    EXPECT_EQ(answered(tcp_, own(5, 0x21)), 5);
}

TEST_F(BaudRate, changes_nothing_on_the_host_when_the_exchange_fails)
{
    EXPECT_EQ(answered(serial_, spoiled(own(0))), TAGWIRE_BAD_CRC);
    EXPECT_EQ(answered(serial_, own(0), TAGWIRE_NO_ANSWER), TAGWIRE_NO_ANSWER);
    EXPECT_EQ(answered(serial_, own(0), TAGWIRE_BAD_HANDLE), TAGWIRE_BAD_HANDLE);
    u8 address = asked_address;
    EXPECT_EQ(set(serial_, 6, &address), TAGWIRE_NO_ANSWER);
    EXPECT_THAT(seen, ElementsAre());
}

TEST_F(BaudRate, gives_the_status_also_where_the_line_cannot_be_set)
{
    sys::calls.tcsetattr = [](int, const termios*) { return fail_with(EIO); };
    EXPECT_EQ(answered(serial_, own(0)), 0);
    sys::calls.tcgetattr = [](int, termios*) { return fail_with(EIO); };
    EXPECT_EQ(answered(serial_, own(0)), 0);
}

}  // namespace
}  // namespace tagwire::engine::test
