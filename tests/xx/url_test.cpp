#include "xx/values/url.h"

#include <gmock/gmock.h>

#include <tagwirexx/error.hpp>

namespace tagwire {
namespace {

using testing::HasSubstr;

TEST(Url, HostAndPort)
{
    const Url url = parse_url("tcp://192.0.2.10:6001");
    EXPECT_FALSE(url.serial);
    EXPECT_EQ(url.host, "192.0.2.10");
    EXPECT_EQ(url.port, 6001);
    EXPECT_EQ(url.address, 0xFF);
    EXPECT_FALSE(url.antenna_byte);
    EXPECT_EQ(url.text, "tcp://192.0.2.10:6001");
}

TEST(Url, APortThatIsLeftOut)
{
    EXPECT_EQ(parse_url("tcp://gate-1.example_net").host, "gate-1.example_net");
    EXPECT_EQ(parse_url("tcp://gate1").port, 6000);
    EXPECT_EQ(parse_url("tcp://gate1?address=0").port, 6000);
}

TEST(Url, DeviceAndSpeed)
{
    const Url url = parse_url("serial:/dev/ttyUSB0");
    EXPECT_TRUE(url.serial);
    EXPECT_EQ(url.device, "/dev/ttyUSB0");
    EXPECT_EQ(url.speed, 57600U);
    const std::vector<std::pair<unsigned, int>> speeds = {{9600, 0},  {19200, 1},  {38400, 2},
                                                          {57600, 5}, {115200, 6}, {921600, 7}};
    for (const auto& [speed, index] : speeds) {
        const Url with_speed = parse_url("serial:/dev/ttyACM1?baud=" + std::to_string(speed));
        EXPECT_EQ(with_speed.device, "/dev/ttyACM1");
        EXPECT_EQ(with_speed.speed, speed);
        EXPECT_EQ(baud_index(with_speed.speed), index);
    }
}

TEST(Url, AnyDevice)
{
    const Url url = parse_url("serial:auto?baud=115200");
    EXPECT_TRUE(url.serial);
    EXPECT_EQ(url.device, "");
    EXPECT_EQ(url.speed, 115200U);
}

TEST(Url, KeysInAnyOrder)
{
    const Url tcp = parse_url("tcp://gate1:1?antenna_byte=number&address=254");
    EXPECT_EQ(tcp.antenna_byte, AntennaByte::number);
    EXPECT_EQ(tcp.address, 254);
    const Url serial = parse_url("serial:/dev/ttyAMA0?address=0&baud=9600&antenna_byte=mask");
    EXPECT_EQ(serial.antenna_byte, AntennaByte::mask);
    EXPECT_EQ(serial.address, 0);
    EXPECT_EQ(serial.speed, 9600U);
}

// Each is refused with what is wrong and with one that is right.
struct Wrong {
    const char* text;
    const char* reason;
};

class WrongUrl : public testing::TestWithParam<Wrong> {};

TEST_P(WrongUrl, IsRefusedWithAReasonAndAGoodOne)
{
    const std::string text = GetParam().text;
    try {
        parse_url(text);
        FAIL() << text;
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), Errc::invalid_text);
        EXPECT_THAT(error.what(), HasSubstr("'" + text + "'"));
        EXPECT_THAT(error.what(), HasSubstr(GetParam().reason));
        EXPECT_THAT(error.what(), HasSubstr("Write, for example, "));
        const std::string what = error.what();
        EXPECT_NO_THROW(parse_url(what.substr(what.rfind(' ') + 1)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Url, WrongUrl,
    testing::Values(Wrong{"", "empty"}, Wrong{"gate1", "tcp:// or serial:"},
                    Wrong{"TCP://gate1", "tcp:// or serial:"}, Wrong{"http://gate1", "tcp:// or serial:"},
                    Wrong{"/dev/ttyUSB0", "serial:"}, Wrong{"tcp://", "host is missing"},
                    Wrong{"tcp://:6000", "host is missing"}, Wrong{"tcp://gate 1", "no name"},
                    Wrong{"tcp://gate1/x", "no name"}, Wrong{"tcp://192.0.2", "no IPv4"},
                    Wrong{"tcp://192.0.2.256", "no IPv4"}, Wrong{"tcp://[::1]:6000", "IPv6"},
                    Wrong{"tcp://::1", "IPv6"}, Wrong{"tcp://gate1:", "port"}, Wrong{"tcp://gate1:0", "port"},
                    Wrong{"tcp://gate1:65536", "port"}, Wrong{"tcp://gate1:+1", "port"},
                    Wrong{"tcp://gate1:99999999999", "port"}, Wrong{"tcp://gate1?baud=9600", "serial lines"},
                    Wrong{"tcp://gate1?", "keys"}, Wrong{"tcp://gate1?address=1&", "keys"},
                    Wrong{"tcp://gate1?speed=1", "keys"}, Wrong{"tcp://gate1?address", "0 to 255"},
                    Wrong{"tcp://gate1?address=", "0 to 255"}, Wrong{"tcp://gate1?address=256", "0 to 255"},
                    Wrong{"tcp://gate1?address=1&address=1", "twice"},
                    Wrong{"tcp://gate1?antenna_byte=bits", "mask or number"}, Wrong{"serial:", "path"},
                    Wrong{"serial:ttyUSB0", "path"}, Wrong{"serial:automatic", "path"},
                    Wrong{"serial:/dev/ttyUSB0?baud=4800", "baud"},
                    Wrong{"serial:/dev/ttyUSB0?baud=", "baud"},
                    Wrong{"serial:/dev/ttyUSB0?baud=9600&baud=9600", "twice"}));

}  // namespace
}  // namespace tagwire
