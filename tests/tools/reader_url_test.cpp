#include "reader_url.h"

#include "message_of.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using test::message_of;

std::string problem(const std::string& url)
{
    return message_of([&] { parse_reader_url(url); });
}

TEST(ReaderUrl, NamesAnAddressOnTheNetwork)
{
    const auto url = parse_reader_url("tcp://192.0.2.10:6000");
    EXPECT_EQ(url.link, Link::Tcp);
    EXPECT_EQ(url.host, "192.0.2.10");
    EXPECT_EQ(url.port, 6000);
    EXPECT_EQ(url.text(), "tcp://192.0.2.10:6000");
    EXPECT_EQ(url.place(), "at 192.0.2.10:6000");
    EXPECT_EQ(parse_reader_url("tcp://reader-3.example:1").host, "reader-3.example");
}

TEST(ReaderUrl, NamesASerialDevice)
{
    const auto plain = parse_reader_url("serial:/dev/ttyUSB0");
    EXPECT_EQ(plain.link, Link::Serial);
    EXPECT_EQ(plain.device, "/dev/ttyUSB0");
    EXPECT_EQ(plain.baud, 57600u);
    EXPECT_EQ(plain.text(), "serial:/dev/ttyUSB0");
    EXPECT_EQ(plain.place(), "on /dev/ttyUSB0");

    const auto fast = parse_reader_url("serial:/dev/ttyUSB0?baud=115200");
    EXPECT_EQ(fast.device, "/dev/ttyUSB0");
    EXPECT_EQ(fast.baud, 115200u);
    EXPECT_EQ(fast.text(), "serial:/dev/ttyUSB0?baud=115200");
}

TEST(ReaderUrl, MaySearchAllDevices)
{
    const auto url = parse_reader_url("serial:auto?baud=9600");
    EXPECT_EQ(url.link, Link::SerialAuto);
    EXPECT_EQ(url.baud, 9600u);
    EXPECT_EQ(url.text(), "serial:auto?baud=9600");
    EXPECT_EQ(parse_reader_url("serial:auto").text(), "serial:auto");
}

TEST(ReaderUrl, SaysWhatIsWrongWithANetworkAddress)
{
    EXPECT_EQ(problem("tcp://192.0.2.10"),
              "reader 'tcp://192.0.2.10': the port is missing: use tcp://HOST:PORT");
    EXPECT_EQ(problem("tcp://:6000"), "reader 'tcp://:6000': the host is missing: use tcp://HOST:PORT");
    EXPECT_EQ(problem("tcp://"), "reader 'tcp://': the port is missing: use tcp://HOST:PORT");
    EXPECT_EQ(problem("tcp://h:0"), "TCP port '0' is not valid: use a number from 1 to 65535");
    EXPECT_EQ(problem("tcp://h:65536"), "TCP port '65536' is not valid: use a number from 1 to 65535");
    EXPECT_EQ(problem("tcp://h:"), "TCP port '' is not valid: use a number from 1 to 65535");
    EXPECT_EQ(problem("tcp://h:1/"), "TCP port '1/' is not valid: use a number from 1 to 65535");
    EXPECT_EQ(problem("tcp://10.0.0.256:1"),
              "reader 'tcp://10.0.0.256:1': '10.0.0.256' is not an IPv4 address");
    EXPECT_EQ(problem("tcp://10.1:1"), "reader 'tcp://10.1:1': '10.1' is not an IPv4 address");
    EXPECT_EQ(problem("tcp://a b:1"), "reader 'tcp://a b:1': 'a b' is not a host name");
    EXPECT_EQ(problem("tcp://me@h:1"), "reader 'tcp://me@h:1': 'me@h' is not a host name");
    EXPECT_EQ(problem("tcp://[::1]:1"),
              "reader 'tcp://[::1]:1': IPv6 is not possible: give an IPv4 address or a name");
    EXPECT_EQ(problem("tcp://::1:1"),
              "reader 'tcp://::1:1': IPv6 is not possible: give an IPv4 address or a name");
}

TEST(ReaderUrl, SaysWhatIsWrongWithADevice)
{
    EXPECT_EQ(problem("serial:ttyUSB0"),
              "reader 'serial:ttyUSB0': after serial: comes the path of a device, as /dev/ttyUSB0, or auto");
    EXPECT_EQ(problem("serial:"),
              "reader 'serial:': after serial: comes the path of a device, as /dev/ttyUSB0, or auto");
    EXPECT_EQ(problem("serial:/dev/ttyS0?speed=9600"),
              "reader 'serial:/dev/ttyS0?speed=9600': after ? comes baud=N and nothing else");
    EXPECT_EQ(problem("serial:/dev/ttyS0?baud=1200"),
              "baud '1200' is not a speed of a reader: use 9600, 19200, 38400, 57600, 115200 or 921600");
    EXPECT_EQ(problem("serial:/dev/ttyS0?baud=9600&x=1").substr(0, 19), "baud '9600&x=1' is ");
    EXPECT_EQ(problem("/dev/ttyUSB0"),
              "reader '/dev/ttyUSB0': for a serial device write serial:/dev/ttyUSB0");
}

TEST(ReaderUrl, NamesTheFormsThatExist)
{
    for (const std::string url : {"", "foo", "http://192.0.2.10:80", "TCP://h:1", "tcp:/h:1"}) {
        EXPECT_EQ(problem(url),
                  "reader '" + url + "': use tcp://HOST:PORT, serial:/dev/DEVICE?baud=57600 or serial:auto");
    }
}

TEST(Baud, HasAnIndexForEverySpeed)
{
    EXPECT_EQ(baud_index(parse_baud("9600")), 0);
    EXPECT_EQ(baud_index(parse_baud("19200")), 1);
    EXPECT_EQ(baud_index(parse_baud("38400")), 2);
    EXPECT_EQ(baud_index(parse_baud("57600")), 5);
    EXPECT_EQ(baud_index(parse_baud("115200")), 6);
    EXPECT_EQ(baud_index(parse_baud("921600")), 7);
    for (const auto* const text : {"", "0", "1200", "57601", "0x2580", "-9600", "9600 ", "99999999999999"}) {
        EXPECT_THROW(parse_baud(text), UsageError) << text;
    }
    EXPECT_THROW(baud_index(1), UsageError);
}

}  // namespace
}  // namespace tagwire::tool
