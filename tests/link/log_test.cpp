// The diagnostic log and the helpers for looking at bytes.
#include "link/log.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "link/system_seam.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// Every test has an empty current directory and a wall clock that stands at 2026-11-15 17:06:03.123456 UTC.
class Log : public testing::Test {
  protected:
    void SetUp() override
    {
        std::string name = testing::TempDir() + "log_XXXXXX";
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        directory_ = name;
        before_ = fs::current_path();
        fs::current_path(directory_);
        set_zone("UTC0");
        set_clock(17, 6, 3, 123'456);
        sys::calls.wall_clock = [](timeval* now) {
            *now = now_;
            return 0;
        };
        reader_->LogFileFlag = true;
    }
    void TearDown() override
    {
        fs::current_path(before_);
        fs::remove_all(directory_);
        ::unsetenv("TZ");
        ::tzset();
    }
    static void set_zone(const char* zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    static void set_clock(int hour, int minute, int second, int microseconds)
    {
        tm day{};
        day.tm_year = 126;
        day.tm_mon = 10;
        day.tm_mday = 15;
        day.tm_hour = hour;
        day.tm_min = minute;
        day.tm_sec = second;
        now_ = {::timegm(&day), microseconds};
    }
    void log(char direction, const Bytes& bytes) const
    {
        Bytes copy = bytes;
        reader_.operations().log(reader_, direction, copy.data(), static_cast<int>(copy.size()));
    }
    static std::string content(const fs::path& file)
    {
        std::ostringstream out;
        out << std::ifstream(file).rdbuf();
        return out.str();
    }
    // Name and content of every file in the current directory.
    static std::map<std::string, std::string> files()
    {
        std::map<std::string, std::string> out;
        for (const auto& entry : fs::directory_iterator("."))
            out[entry.path().filename()] = entry.is_regular_file() ? content(entry.path()) : "";
        return out;
    }

    static inline timeval now_;
    fs::path directory_;
    fs::path before_;
    SystemSeam seam_;
    TestReader reader_;
};

const Bytes frame = hex("04 FF 21 19 95");

TEST_F(Log, names_its_file_by_the_minute_and_writes_time_direction_and_bytes)
{
    log('W', frame);
    EXPECT_THAT(files(), ElementsAre(Pair("2611151706.log", "[17:06:03 123] W:04FF211995\n")));
}

TEST_F(Log, appends_to_the_file_of_the_same_minute)
{
    log('W', frame);
    set_clock(17, 6, 59, 999'999);
    log('R', hex("05 05 21 0F D7 96"));
    EXPECT_THAT(files(), ElementsAre(Pair("2611151706.log", "[17:06:03 123] W:04FF211995\n"
                                                            "[17:06:59 999] R:0505210FD796\n")));
}

TEST_F(Log, begins_a_new_file_every_minute)
{
    log('W', frame);
    set_clock(17, 7, 0, 0);
    log('W', frame);
    EXPECT_THAT(files(), ElementsAre(Pair("2611151706.log", "[17:06:03 123] W:04FF211995\n"),
                                     Pair("2611151707.log", "[17:07:00 000] W:04FF211995\n")));
}

TEST_F(Log, pads_every_field_with_zeros)
{
    now_ = {981'173'106, 7'000};  // 2001-02-03 04:05:06
    log('R', hex("0A"));
    EXPECT_THAT(files(), ElementsAre(Pair("0102030405.log", "[04:05:06 007] R:0A\n")));
}

TEST_F(Log, uses_local_time)
{
    set_zone("TST-05:30");
    log('W', frame);
    EXPECT_THAT(files(), ElementsAre(Pair("2611152236.log", "[22:36:03 123] W:04FF211995\n")));
}

TEST_F(Log, of_no_bytes_is_a_line_too)
{
    log('R', hex("00"));
    u8 byte = 0;
    reader_->operations.log(reader_, 'R', &byte, 0);
    reader_->operations.log(reader_, 'R', &byte, -1);
    EXPECT_EQ(files()["2611151706.log"], "[17:06:03 123] R:00\n[17:06:03 123] R:\n[17:06:03 123] R:\n");
}

TEST_F(Log, holds_2046_bytes_in_a_line)
{
    log('R', repeat(0xAB, 2045) + hex("CD"));
    std::string text = "[17:06:03 123] R:";
    for (int i = 0; i < 2045; ++i) text += "AB";
    EXPECT_EQ(files()["2611151706.log"], text + "CD\n");
}

TEST_F(Log, leaves_out_what_does_not_fit_in_a_line)
{
    std::string text = "[17:06:03 123] R:";
    for (int i = 0; i < 2046; ++i) text += "AB";
    for (const std::size_t count : {2047U, 2048U, 65536U}) {
        fs::remove("2611151706.log");
        log('R', repeat(0xAB, 2046) + repeat(0xCD, count - 2046));
        EXPECT_EQ(files()["2611151706.log"], text + "\n") << count;
    }
}

TEST_F(Log, of_no_text_writes_nothing)
{
    reader_->operations.log(reader_, 'W', nullptr, 5);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Log, that_is_off_writes_nothing)
{
    reader_->LogFileFlag = false;
    log('W', frame);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Log, that_cannot_open_its_file_drops_the_line)
{
    fs::create_directory("2611151706.log");  // a directory of that name cannot be written
    testing::internal::CaptureStderr();
    log('W', frame);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(files(), ElementsAre(Pair("2611151706.log", "")));
    fs::remove("2611151706.log");
    log('W', frame);
    EXPECT_THAT(files(), ElementsAre(Pair("2611151706.log", "[17:06:03 123] W:04FF211995\n")));
}

TEST_F(Log, writes_each_line_in_one_go_and_keeps_nothing_open)
{
    sys::calls.open = [](const char* path, int flags, mode_t mode) {
        SystemSeam::record(1);
        return sys::Direct::open(path, flags, mode);
    };
    sys::calls.write = [](int fd, const void* from, std::size_t count) {
        SystemSeam::record(2);
        return sys::Direct::write(fd, from, count);
    };
    sys::calls.close = [](int fd) {
        SystemSeam::record(3);
        return sys::Direct::close(fd);
    };
    log('W', frame);
    log('R', repeat(0xAB, 2048));
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(1, 2, 3, 1, 2, 3));
}

TEST_F(Log, closes_its_file_when_it_cannot_be_written)
{
    sys::calls.write = [](int, const void*, std::size_t) { return fail_with<ssize_t>(ENOSPC); };
    sys::calls.close = [](int fd) {
        SystemSeam::record(3);
        return sys::Direct::close(fd);
    };
    log('W', frame);
    EXPECT_THAT(SystemSeam::recorded(), ElementsAre(3));
}

TEST_F(Log, does_not_mix_the_lines_of_two_threads)
{
    const auto write = [this](u8 value) {
        for (int i = 0; i < 100; ++i) log('R', repeat(value, 500));
    };
    std::thread one(write, u8{0x11});
    std::thread two(write, u8{0x22});
    one.join();
    two.join();
    std::istringstream lines(files()["2611151706.log"]);
    const std::string start = "[17:06:03 123] R:";
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const char digit = line[start.size()];
        ASSERT_TRUE(digit == '1' || digit == '2');
        ASSERT_EQ(line, start + std::string(1000, digit));
    }
    EXPECT_EQ(count, 200);
}

// --- When a connection is opened ---

const Bytes information = hex("11 05 21 00 02 0B 20 02 31 80 1E 0A 01 01 00 01 9B 39");

class LogOfConnection : public Log {
  protected:
    void SetUp() override
    {
        Log::SetUp();
        reader_->LogFileFlag = false;
        reader_->operations.Open_Net = [](Reader*, int, char*) { return 0; };
    }
    void open()
    {
        char address[] = "127.0.0.1";
        u8 reader_address = 0xFF;
        reader_.feed(information);
        ASSERT_EQ(reader_->operations.OpenTCP(reader_, 9, address, &reader_address), TAGWIRE_OK);
    }
    void exchange()
    {
        u8 address = 0;
        u8 out[4];
        reader_.feed(hex("05 05 83 05 C2 A5"));
        ASSERT_EQ(reader_->operations.GetModuleDetails(reader_, &address, out, out, out), 5);
    }
    static void create_marker() { std::ofstream("writelog.txt").put('\n'); }
};

TEST_F(LogOfConnection, is_off_without_the_marker_even_when_it_comes_later)
{
    open();
    EXPECT_THAT(files(), IsEmpty());
    create_marker();
    exchange();
    EXPECT_THAT(files(), ElementsAre(Pair("writelog.txt", "\n")));
    EXPECT_FALSE(reader_->LogFileFlag);
}

TEST_F(LogOfConnection, is_on_with_the_marker_from_the_handshake_on)
{
    create_marker();
    open();
    fs::remove("writelog.txt");
    exchange();
    EXPECT_THAT(files(),
                ElementsAre(Pair("2611151706.log", "[17:06:03 123] W:04FF211995\n"
                                                   "[17:06:03 123] R:11052100020B200231801E0A010100019B39\n"
                                                   "[17:06:03 123] W:05008300D2CB\n"
                                                   "[17:06:03 123] R:05058305C2A5\n")));
}

TEST_F(LogOfConnection, needs_only_the_name_of_the_marker)
{
    std::ofstream("writelog.txt");  // empty
    open();
    EXPECT_TRUE(reader_->LogFileFlag);
}

// --- Looking at bytes ---

std::string printed(Bytes bytes, u8 count, int flag)
{
    testing::internal::CaptureStdout();
    printHexToString(bytes.data(), count, flag);
    return testing::internal::GetCapturedStdout();
}

TEST(PrintHexToString, prints_one_line_of_digits)
{
    EXPECT_EQ(printed(hex("04 FF 21 19 95"), 5, 0), "QVN:04FF211995\n");
    EXPECT_EQ(printed(hex("04 FF 21 19 95"), 2, 1), "QVN:04FF\n");
    EXPECT_EQ(printed(hex("04"), 0, 0), "QVN:\n");
}

TEST(PrintHexToString, prints_up_to_255_bytes)
{
    std::string text = "QVN:";
    for (int i = 0; i < 255; ++i) text += "AB";
    EXPECT_EQ(printed(repeat(0xAB, 255), 255, 0), text + "\n");
}

TEST(IntToStr, gives_the_digit_or_a_space)
{
    const std::string digits = "0123456789ABCDEF";
    for (unsigned value = 0; value < 256; ++value)
        EXPECT_EQ(IntToStr(static_cast<u8>(value)), value < 16 ? digits[value] : ' ') << value;
}

}  // namespace
}  // namespace tagwire::engine::test
