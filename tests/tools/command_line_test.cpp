// The tool as a user calls it, as far as no reader is needed.
#include "process.h"

#include <array>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

Ended tool(const std::vector<std::string>& arguments, const Process::Environment& environment = {})
{
    return run(TAGWIRE_TOOL_PATH, arguments, environment);
}

// A port that nobody listens on: it belongs to a socket that is bound and does not listen.
class DeafPort {
  public:
    DeafPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr generic{};
        std::memcpy(&generic, &address, sizeof address);
        EXPECT_EQ(bind(socket_, &generic, sizeof address), 0);
        socklen_t length = sizeof generic;
        EXPECT_EQ(getsockname(socket_, &generic, &length), 0);
        std::memcpy(&address, &generic, sizeof address);
        port_ = std::to_string(ntohs(address.sin_port));
    }
    ~DeafPort() { close(socket_); }
    DeafPort(const DeafPort&) = delete;
    DeafPort& operator=(const DeafPort&) = delete;

    const std::string& text() const { return port_; }

  private:
    int socket_;
    std::string port_;
};

TEST(CommandLine, HelpsWithExamples)
{
    for (const auto* const command : {"info", "inventory", "watch"}) {
        const auto help = tool({command, "--help"});
        EXPECT_EQ(help.exit_code, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find(std::string("tagwire ") + command), std::string::npos) << help.out;
    }
    const auto help = tool({"--help"});
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.out.find("TAGWIRE_READER"), std::string::npos);
    EXPECT_NE(help.out.find("Exit codes"), std::string::npos);
}

TEST(CommandLine, KnowsItsVersion)
{
    const auto version = tool({"--version"});
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_TRUE(version.out.starts_with("tagwire 1.")) << version.out;
}

TEST(CommandLine, NeedsAReader)
{
    const auto ended = tool({"info"});
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err,
              "tagwire: no reader named: use --reader tcp://HOST:PORT, --reader serial:/dev/DEVICE or the "
              "environment variable TAGWIRE_READER\n");
}

TEST(CommandLine, RejectsWrongUsage)
{
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"fly"},
        {"info", "--fly"},
        {"info", "stray"},
        {"info", "--reader", "ftp://h:1"},
        {"info", "--reader", "serial:/dev/x", "--baud", "1200"},
        {"info", "--reader", "tcp://h:1", "--baud", "9600"},
        {"info", "--reader", "tcp://h:1", "--address", "256"},
        {"info", "--reader"},
        {"inventory", "--reader", "tcp://h:1", "--q", "16"},
        {"inventory", "--reader", "tcp://h:1", "--session", "S4"},
        {"inventory", "--reader", "tcp://h:1", "--target", "C"},
        {"inventory", "--reader", "tcp://h:1", "--antenna", "0"},
        {"inventory", "--reader", "tcp://h:1", "--antenna", "129"},
        {"inventory", "--reader", "tcp://h:1", "--scan-time", "0"},
        {"inventory", "--reader", "tcp://h:1", "--mask", "epc:32"},
        {"inventory", "--reader", "tcp://h:1", "--tid", "6"},
        {"inventory", "--reader", "tcp://h:1", "--seconds", "0"},
        {"watch", "--reader", "tcp://h:1", "--target", "256"},
        {"watch", "--reader", "tcp://h:1", "--seconds", "soon"},
    };
    for (const auto& arguments : wrong) {
        const auto ended = tool(arguments);
        EXPECT_EQ(ended.exit_code, 2) << testing::PrintToString(arguments);
        EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
        EXPECT_EQ(ended.out, "");
    }
}

TEST(CommandLine, TakesGlobalOptionsOnBothSides)
{
    // Wrong values show that the option was understood in either place.
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"--address", "300", "info"}, {"info", "--address", "300"}}) {
        const auto ended = tool(arguments, {"TAGWIRE_READER=tcp://127.0.0.1:1"});
        EXPECT_EQ(ended.exit_code, 2);
        EXPECT_EQ(ended.err, "tagwire: --address '300' is not valid: use a number from 0 to 255\n");
    }
}

TEST(CommandLine, TakesTheReaderFromTheEnvironment)
{
    const auto ended = tool({"info"}, {"TAGWIRE_READER=nowhere"});
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_NE(ended.err.find("'nowhere'"), std::string::npos) << ended.err;
}

TEST(CommandLine, SaysThatNobodyAnswers)
{
    const DeafPort port;
    const auto ended = tool({"info", "--reader", "tcp://127.0.0.1:" + port.text()});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "tagwire: open (tcp://127.0.0.1:" + port.text() + "): 127.0.0.1:" + port.text() +
                             " refuses the connection: is the port right, and has no other computer the "
                             "reader's connection?\n");
}

TEST(CommandLine, SaysThatADeviceIsMissing)
{
    const auto ended = tool({"info", "--reader", "serial:/dev/no-such-device"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("/dev/no-such-device is not there"), std::string::npos) << ended.err;
}

TEST(CommandLine, ShowsNoControlCharactersOfItsArguments)
{
    const auto ended = tool({"info", "--reader", "tcp://\x1B[31m:1"});
    EXPECT_EQ(ended.exit_code == 1 || ended.exit_code == 2, true);
    EXPECT_NE(ended.err.find("\\x1B[31m"), std::string::npos) << ended.err;
    EXPECT_EQ(ended.err.find('\x1B'), std::string::npos) << ended.err;
}

TEST(CommandLine, SaysThatANameIsUnknown)
{
    const auto ended = tool({"info", "--reader", "tcp://no-such-host.invalid:1"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("the name 'no-such-host.invalid' has no IPv4 address"), std::string::npos)
        << ended.err;
}

}  // namespace
}  // namespace tagwire::tool::test
