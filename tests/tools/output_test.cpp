#include "output.h"

#include "errors.h"

#include <array>
#include <string>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

class OutputTest : public testing::Test {
  protected:
    OutputTest()
    {
        signal(SIGPIPE, SIG_IGN);
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        read_end_ = ends[0];
        write_end_ = ends[1];
    }
    ~OutputTest() override
    {
        close_read_end();
        close(write_end_);
    }

    void close_read_end()
    {
        if (read_end_ >= 0) close(read_end_);
        read_end_ = -1;
    }

    std::string read_bytes(std::size_t wanted)
    {
        std::string text;
        std::array<char, 4096> chunk{};
        while (text.size() < wanted) {
            const auto count = read(read_end_, chunk.data(), chunk.size());
            if (count <= 0) break;
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    int read_end_ = -1;
    int write_end_ = -1;
};

TEST_F(OutputTest, WritesLinesWhenFlushed)
{
    Output out(write_end_);
    out.line("one");
    out.text("two");
    out.line("");
    out.flush();
    EXPECT_EQ(read_bytes(8), "one\ntwo\n");
    EXPECT_FALSE(out.closed());
    EXPECT_FALSE(out.is_terminal());
}

TEST_F(OutputTest, WritesMoreThanAPipeHolds)
{
    const std::string line(999, 'x');
    std::string received;
    std::thread reader([&] { received = read_bytes(300'000); });
    Output out(write_end_);
    for (int i = 0; i < 300; ++i) out.line(line);
    out.flush();
    reader.join();
    EXPECT_EQ(received.size(), 300'000u);
}

TEST_F(OutputTest, EndsQuietlyWhenNobodyReads)
{
    Output out(write_end_);
    out.check();
    EXPECT_FALSE(out.closed());
    close_read_end();
    out.line("lost");
    out.flush();
    EXPECT_TRUE(out.closed());
    out.line("lost as well");
    out.flush();
}

TEST_F(OutputTest, NoticesAClosedPipeWithoutWriting)
{
    Output out(write_end_);
    close_read_end();
    out.check();
    EXPECT_TRUE(out.closed());
}

TEST_F(OutputTest, GivesUpAFullPipeWhenInterrupted)
{
    const int interrupt = eventfd(1, EFD_CLOEXEC);
    Output out(write_end_, interrupt);
    out.text(std::string(1'000'000, 'x'));
    out.flush();
    EXPECT_TRUE(out.closed());
    close(interrupt);
}

TEST(FullDevice, IsAFailure)
{
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (full < 0) GTEST_SKIP() << "no /dev/full";
    Output out(full);
    out.line("text");
    EXPECT_THROW(out.flush(), Failure);
    close(full);
}

}  // namespace
}  // namespace tagwire::tool
