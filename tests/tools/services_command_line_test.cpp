// The commands for network, modem and parameter tables as far as no reader is needed.
#include "network/line_reader.h"
#include "printable.h"
#include "process.h"

#include <algorithm>

#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

const Arguments nowhere{"--reader", "tcp://127.0.0.1:1"};

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(ServicesCommandLine, HelpsWithExamples)
{
    const std::vector<Arguments> commands{
        {"wifi", "scan"},  {"net", "show"},          {"net", "set-mac"},        {"gps"},
        {"4g", "show"},    {"4g", "server", "show"}, {"4g", "server", "set"},   {"at"},
        {"table", "read"}, {"table", "write"},       {"table", "save-factory"}, {"table", "restore"},
        {"table", "clear"}};
    for (const auto& command : commands) {
        std::string example = "\n  tagwire";
        for (const auto& word : command) example += " " + word;
        const auto help = run(TAGWIRE_TOOL_PATH, joined(command, {"--help"}));
        EXPECT_EQ(help.exit_code, 0) << example;
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find(example), std::string::npos) << help.out;
    }
}

class ServicesWrongUsage : public testing::TestWithParam<Arguments> {};

TEST_P(ServicesWrongUsage, EndsBeforeAnythingIsSent)
{
    const auto ended = run(TAGWIRE_TOOL_PATH, joined(GetParam(), nowhere));
    EXPECT_EQ(ended.exit_code, 2) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    EXPECT_EQ(ended.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    OfServices, ServicesWrongUsage,
    testing::Values(Arguments{"wifi"}, Arguments{"wifi", "find"}, Arguments{"net"},
                    Arguments{"net", "set-mac"}, Arguments{"net", "set-mac", "020000000001"},
                    Arguments{"net", "set-mac", "0200000001", "--yes"},
                    Arguments{"net", "set-mac", "010000000001", "--yes"}, Arguments{"4g"},
                    Arguments{"4g", "server"}, Arguments{"4g", "server", "set"},
                    Arguments{"4g", "server", "set", "host"}, Arguments{"4g", "server", "set", "host:0"},
                    Arguments{"4g", "server", "set", "host:1"}, Arguments{"at", "--timeout", "256"},
                    Arguments{"at", "AT\rATZ"}, Arguments{"at", "AT"}, Arguments{"at"}));

INSTANTIATE_TEST_SUITE_P(
    OfTables, ServicesWrongUsage,
    testing::Values(Arguments{"table"}, Arguments{"table", "read"}, Arguments{"table", "read", "256"},
                    Arguments{"table", "read", "x"}, Arguments{"table", "write", "1", "--yes"},
                    Arguments{"table", "write", "1", "--data", "123", "--yes"},
                    Arguments{"table", "write", "1", "--data", "12"},
                    Arguments{"table", "write", "1", "/no/such/file", "--yes"},
                    Arguments{"table", "write", "1", "/dev/zero", "--yes"},
                    Arguments{"table", "write", "1", "/dev/null", "--data", "12", "--yes"},
                    Arguments{"table", "save-factory"}, Arguments{"table", "restore"},
                    Arguments{"table", "clear"}, Arguments{"table", "clear", "--option", "0", "--yes"}));

TEST(ServicesCommandLine, SaysThatAtCommandsNeedASerialLine)
{
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, joined({"at", "AT"}, nowhere)).err,
              "tagwire: AT commands work over a serial line only: use --reader serial:/dev/DEVICE\n");
}

TEST(ServicesCommandLine, SaysWhatWouldHaveBeenDone)
{
    const auto message = [](const Arguments& arguments) {
        return run(TAGWIRE_TOOL_PATH, joined(arguments, nowhere)).err;
    };
    EXPECT_TRUE(
        message({"table", "write", "7", "--data", "1234"})
            .starts_with("tagwire: this would replace parameter table 7 with 2 bytes for good: nothing"));
    EXPECT_TRUE(
        message({"net", "set-mac", "02-00-00-00-00-ff"})
            .starts_with("tagwire: this would change the MAC address of the reader's Ethernet port to "
                         "02:00:00:00:00:FF for good: nothing"));
    EXPECT_TRUE(
        message({"4g", "server", "set", "host:80"})
            .starts_with("tagwire: this would have the reader's 4G link connect to host:80: nothing"));
}

TEST(PrintableText, ShowsControlCharactersOnly)
{
    EXPECT_EQ(printable_text("hall \xC3\xA9 1"), "hall \xC3\xA9 1");
    EXPECT_EQ(printable_text(std::string("a\0b\x1B[2J\x7F\n", 9)), "a\\x00b\\x1B[2J\\x7F\\x0A");
    EXPECT_EQ(printable_text("\xC2\x9B"
                             "2J\xC2\xA0\xC2"),
              "\\xC2\\x9B"
              "2J\xC2\xA0\xC2");
    EXPECT_EQ(printable_text(""), "");
}

class LinesOfAPipe : public testing::Test {
  protected:
    LinesOfAPipe()
    {
        EXPECT_EQ(pipe(ends.data()), 0);
        interrupt = eventfd(0, EFD_CLOEXEC);
    }
    ~LinesOfAPipe() override
    {
        for (const int fd : {ends[0], ends[1], interrupt})
            if (fd >= 0) close(fd);
    }
    void write_text(const std::string& text) const
    {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end_input() { close(std::exchange(ends[1], -1)); }

    std::array<int, 2> ends{};
    int interrupt = -1;
};

TEST_F(LinesOfAPipe, ComeOneByOne)
{
    LineReader lines(ends[0], interrupt);
    write_text("AT\r\n\nAT+");
    EXPECT_EQ(lines.next(), "AT");
    EXPECT_EQ(lines.next(), "");
    write_text("CSQ");
    end_input();
    EXPECT_EQ(lines.next(), "AT+CSQ");
    EXPECT_EQ(lines.next(), std::nullopt);
}

TEST_F(LinesOfAPipe, EndWithASignal)
{
    LineReader lines(ends[0], interrupt);
    write_text("AT\nATZ\n");
    EXPECT_EQ(lines.next(), "AT");
    ASSERT_EQ(eventfd_write(interrupt, 1), 0);
    EXPECT_EQ(lines.next(), std::nullopt);
}

}  // namespace
}  // namespace tagwire::tool::test
