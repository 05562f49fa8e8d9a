// What the reader refuses leaves reader and host as they were, and the outputs too unless they are told to be
// written with every answer. Every command of the reader's settings is here.
#include <algorithm>
#include <iterator>

#include "e2e/asked_reader.h"

namespace tagwire::test {
namespace {

using sim::Fault;

constexpr unsigned char untouched = 0x5A;
constexpr int untouched_number = 12345;
constexpr std::size_t status_at = 3;
constexpr int status = 5;

// What goes into a command and comes out of it.
struct Values {
    Bytes in = Bytes(32, 0);
    Bytes out = Bytes(250, untouched);
    int number = untouched_number;

    unsigned char* zeros() { return in.data(); }
    unsigned char* at(std::size_t place) { return &out[place]; }
    bool written() const
    {
        return number != untouched_number ||
               std::any_of(out.begin(), out.end(), [](auto byte) { return byte != untouched; });
    }
};

enum class Written { with_success, with_every_answer };

struct Command {
    const char* name;
    std::uint8_t code;
    int (*run)(unsigned char* address, Values& values, int handle);
    Echo echo = Echo::never;
    Written written = Written::with_success;
    int without_data = status;  // the result of an answer that has a status and no data
};

using A = unsigned char*;
using V = Values&;
constexpr Echo ok = Echo::on_success;
constexpr Echo always = Echo::always;
constexpr Echo never = Echo::never;
constexpr Written with_every_answer = Written::with_every_answer;
constexpr int foreign = 238;

const Command settings_commands[] = {
    {"SetAddress", 0x24, [](A a, V, int h) { return SetAddress(a, 0x0A, h); }, always},
    {"SetInventoryScanTime", 0x25, [](A a, V, int h) { return SetInventoryScanTime(a, 0, h); }, always},
    {"InSelfTestMode", 0x26, [](A a, V, int h) { return InSelfTestMode(a, true, h); }, always},
    {"SetRevDelay", 0x27, [](A a, V, int h) { return SetRevDelay(a, 0, h); }},
    {"GetRevDelay", 0x31, [](A a, V v, int h) { return GetRevDelay(a, v.at(0), h); }},
    {"SetBaudRate", 0x28, [](A a, V, int h) { return SetBaudRate(a, 6, h); }},
    {"SetDAC", 0x29, [](A a, V, int h) { return SetDAC(a, 0, h); }, always},
    {"GetDAC", 0x2A, [](A a, V v, int h) { return GetDAC(a, v.at(0), h); }, ok},
    {"CheckPowerParameter", 0x2B, [](A a, V v, int h) { return CheckPowerParameter(a, v.at(0), h); }, ok},
    {"SolidifyDACandPowerlist", 0x2C,
     [](A a, V v, int h) { return SolidifyDACandPowerlist(a, v.zeros(), v.at(0), h); }, ok},
    {"GetStartInformation", 0x2D,
     [](A a, V v, int h) {
         return GetStartInformation(a, v.at(0), v.at(1), v.at(2), v.at(3), v.at(4), v.at(5), v.at(6), v.at(7),
                                    v.at(8), h);
     },
     ok},
    {"SetEASSensitivity", 0x37, [](A a, V, int h) { return SetEASSensitivity(a, 0, h); }},
    {"SetTagCustomFunction", 0x3A, [](A a, V v, int h) { return SetTagCustomFunction(a, v.at(0), h); }, ok},
    {"SetMask", 0x3B, [](A a, V v, int h) { return SetMask(a, 1, v.zeros(), 9, v.zeros(), h); }},
    {"SetResponsePamametersofAuto_runningMode", 0x3C,
     [](A a, V, int h) { return SetResponsePamametersofAuto_runningMode(a, 0, 0, h); }},
    {"SetInventoryInterval", 0x3D, [](A a, V, int h) { return SetInventoryInterval(a, 0, h); }},
    {"SelectTagType", 0x3E, [](A a, V, int h) { return SelectTagType(a, 0, h); }},
    {"SetBeepNotification", 0x40, [](A a, V, int h) { return SetBeepNotification(a, 0, h); }},
    {"SetReal_timeClock", 0x41,
     [](A a, V v, int h) {
         v.in[1] = v.in[2] = 1;
         return SetReal_timeClock(a, v.zeros(), h);
     }},
    {"GetTime", 0x42, [](A a, V v, int h) { return GetTime(a, v.at(0), h); }},
    {"SetUTCTime", 0x85,
     [](A a, V v, int h) {
         v.in[0] = 0x65;
         return SetUTCTime(a, v.zeros(), h);
     },
     always},
    {"SetTriggerTime", 0x49, [](A a, V, int h) { return SetTriggerTime(a, 0, h); }},
    {"SetTIDParameter", 0x4A, [](A a, V, int h) { return SetTIDParameter(a, 0, 0, h); }, ok},
    {"SetSeriaNo", 0x4B, [](A a, V v, int h) { return SetSeriaNo(a, v.zeros(), h); }, ok},
    {"GetSeriaNo", 0x4C, [](A a, V v, int h) { return GetSeriaNo(a, v.at(0), h); }, ok},
    {"SetCheckAnt", 0x66, [](A a, V, int h) { return SetCheckAnt(a, 0, h); }, ok},
    {"SetCommType", 0x6A, [](A a, V, int h) { return SetCommType(a, 0, h); }, ok},
    {"SetPowerMode", 0x6B, [](A a, V v, int h) { return SetPowerMode(a, v.at(0), h); }, ok},
    {"SetHeartBeatTime", 0x78, [](A a, V v, int h) { return SetHeartBeatTime(a, v.at(0), h); }, ok},
    {"RetryTimes", 0x7B, [](A a, V v, int h) { return RetryTimes(a, v.at(0), h); }, ok},
    {"SetUserPwd", 0x7D, [](A a, V v, int h) { return SetUserPwd(a, v.zeros(), h); }, always},
    {"GetUserPwd", 0x7E, [](A a, V v, int h) { return GetUserPwd(a, v.at(0), h); }, always,
     with_every_answer},
    {"SetProfile", 0x7F, [](A a, V v, int h) { return SetProfile(a, v.at(0), h); }, ok},
    {"SetExtProfile", 0x7F, [](A a, V v, int h) { return SetExtProfile(a, 0, &v.number, h); }, ok},
    {"SetQS", 0x81, [](A a, V, int h) { return SetQS(a, 0, 0, h); }, ok},
    {"GetQS", 0x82, [](A a, V v, int h) { return GetQS(a, v.at(0), v.at(1), h); }, ok},
    {"GetModuleVersion", 0x83, [](A a, V v, int h) { return GetModuleVersion(a, v.at(0), h); }},
    {"SetFlashRom", 0x84, [](A a, V, int h) { return SetFlashRom(a, h); }},
    {"SetDRM", 0x90, [](A a, V, int h) { return SetDRM(a, 0, h); }, ok},
    {"GetDRM", 0x90, [](A a, V v, int h) { return GetDRM(a, v.at(0), h); }, ok},
    {"GetReaderTemperature", 0x92,
     [](A a, V v, int h) { return GetReaderTemperature(a, v.at(0), v.at(1), h); }, ok},
    {"SetFilterTime", 0x92, [](A a, V, int h) { return SetFilterTime(a, 0, h); }, ok},
    {"GetFilterTime", 0x93, [](A a, V v, int h) { return GetFilterTime(a, v.at(0), h); }, ok},
    {"SetReaderPwd", 0x92, [](A a, V v, int h) { return SetReaderPwd(a, v.zeros(), h); }},
    {"GetReaderPwd", 0x92, [](A a, V v, int h) { return GetReaderPwd(a, v.at(0), h); }, never,
     with_every_answer},
    {"ResetReader", 0x99, [](A a, V, int h) { return ResetReader(a, h); }, ok},
    {"SwitchProtocol", 0xCE, [](A a, V v, int h) { return SwitchProtocol(a, v.at(0), h); }, ok},
    {"GetEx10Version", 0xEC, [](A a, V v, int h) { return GetEx10Version(a, v.at(0), v.at(2), h); }, ok},
    {"GetEx10InternalVersion", 0xEC,
     [](A a, V v, int h) { return GetEx10InternalVersion(a, v.at(0), v.at(2), h); }, never,
     Written::with_success, foreign},
    {"SetTempSelect", 0xE6, [](A a, V, int h) { return SetTempSelect(a, 0, h); }},
    {"GetModuleDescribe", 0xE6, [](A a, V v, int h) { return GetModuleDescribe(a, v.at(0), h); }, never,
     with_every_answer},
};

const Command rf_commands[] = {
    {"SetRegion", 0x22, [](A a, V, int h) { return SetRegion(a, 0x40, 0x00, h); }, always},
    {"ExtSetRegion", 0x22, [](A a, V, int h) { return ExtSetRegion(a, 0, 1, 0, 0, h); }, always},
    {"SetCustomRegion", 0x22, [](A a, V v, int h) { return SetCustomRegion(a, 0, 1, 1, v.zeros(), h); }},
    {"ExtGetRegion", 0x9E, [](A a, V v, int h) { return ExtGetRegion(a, v.at(0), v.at(1), v.at(2), h); },
     always, with_every_answer},
    {"GetCustomRegion", 0x9E,
     [](A a, V v, int h) { return GetCustomRegion(a, v.at(0), v.at(1), v.at(2), h); }, never,
     with_every_answer},
    {"SetRegionType", 0xE6, [](A a, V, int h) { return SetRegionType(a, 0, h); }, always},
    {"SetRfPower", 0x2F, [](A a, V, int h) { return SetRfPower(a, 0, h); }, ok},
    {"SetRfPowerByAnt", 0x2F, [](A a, V v, int h) { return SetRfPowerByAnt(a, v.zeros(), h); }, ok},
    {"GetRfPowerByAnt", 0x94, [](A a, V v, int h) { return GetRfPowerByAnt(a, v.at(0), h); }, ok},
    {"SetAntennaPower", 0x2F, [](A a, V v, int h) { return SetAntennaPower(a, v.zeros(), 8, h); }, ok},
    {"GetAntennaPower", 0x94, [](A a, V v, int h) { return GetAntennaPower(a, v.at(0), &v.number, h); }, ok},
    {"WriteRfPower", 0x79, [](A a, V, int h) { return WriteRfPower(a, 0, h); }, ok},
    {"ReadRfPower", 0x7A, [](A a, V v, int h) { return ReadRfPower(a, v.at(0), h); }, ok},
    {"SetCalibrationPowerType", 0xE6, [](A a, V, int h) { return SetCalibrationPowerType(a, 0, h); }},
    {"RfOutput", 0x30, [](A a, V, int h) { return RfOutput(a, 0, h); }, ok},
    {"SetAntennaMultiplexing", 0x3F, [](A a, V, int h) { return SetAntennaMultiplexing(a, 1, h); }},
    {"SetAntenna", 0x3F, [](A a, V, int h) { return SetAntenna(a, 0, 0, 1, h); }},
    {"OptAntenna", 0x3F, [](A a, V v, int h) { return OptAntenna(a, 0, 0, v.at(0), h); }, never,
     with_every_answer},
    {"SetAntennaA12", 0x85, [](A a, V, int h) { return SetAntennaA12(a, 0, 0, 1, h); }},
    {"MutipleAntennaSwitch", 0xB0, [](A a, V, int h) { return MutipleAntennaSwitch(a, 0, 0, h); }},
    {"ConfigAntNum", 0x7C, [](A a, V v, int h) { return ConfigAntNum(a, v.at(0), h); }},
    {"MeasureReturnLoss", 0x91,
     [](A a, V v, int h) { return MeasureReturnLoss(a, v.zeros(), 0, v.at(0), h); }, ok},
    {"SetDwellTime", 0xD3, [](A a, V, int h) { return SetDwellTime(a, 0, 0, 0, h); }},
    {"GetDwellTime", 0xD3, [](A a, V v, int h) { return GetDwellTime(a, v.at(0), v.at(1), h); }, never,
     with_every_answer},
};

const Command modes_commands[] = {
    {"SetWorkMode", 0x35, [](A a, V, int h) { return SetWorkMode(a, 0, h); }},
    {"SetReadMode", 0x76, [](A a, V, int h) { return SetReadMode(a, 0, h); }},
    {"GetSystemParameter", 0x36,
     [](A a, V v, int h) {
         return GetSystemParameter(a, v.at(0), v.at(1), v.at(2), v.at(3), v.at(4), v.at(5), v.at(6), v.at(7),
                                   v.at(9), v.at(10), v.at(42), v.at(43), v.at(44), h);
     }},
    {"SetReadParameter", 0x75,
     [](A a, V v, int h) {
         return SetReadParameter(a, v.zeros(), 0, v.zeros(), 0, v.zeros(), 1, 0, 0, 1, h);
     }},
    {"GetReadParameter", 0x77, [](A a, V v, int h) { return GetReadParameter(a, v.at(0), h); }},
    {"SetCfgParameter", 0xEA, [](A a, V v, int h) { return SetCfgParameter(a, 0, 1, v.zeros(), 3, h); }},
    {"GetCfgParameter", 0xEB, [](A a, V v, int h) { return GetCfgParameter(a, 1, v.at(0), &v.number, h); }},
};

const Command io_commands[] = {
    {"BuzzerAndLEDControl", 0x33, [](A a, V, int h) { return BuzzerAndLEDControl(a, 1, 1, 1, h); }},
    {"SetRelay", 0x45, [](A a, V, int h) { return SetRelay(a, 255, h); }},
    {"RelaysControll", 0x45, [](A a, V, int h) { return RelaysControll(a, 2, 1, 0, h); }, ok},
    {"RelayControll", 0x92, [](A a, V v, int h) { return RelayControll(a, v.at(0), h); }},
    {"SetGPIO", 0x46, [](A a, V, int h) { return SetGPIO(a, 3, h); }},
    {"GetGPIOStatus", 0x47, [](A a, V v, int h) { return GetGPIOStatus(a, v.at(0), h); }},
    {"SetNotificationPulseOutput", 0x48, [](A a, V, int h) { return SetNotificationPulseOutput(a, 1, h); }},
    {"SetGPOParam", 0xB0, [](A a, V, int h) { return SetGPOParam(a, 1, 1, h); }, ok},
    {"GetGPOParam", 0xB1, [](A a, V v, int h) { return GetGPOParam(a, v.at(0), v.at(1), h); }, ok},
    {"SetWieGandParam", 0x38, [](A a, V, int h) { return SetWieGandParam(a, 1, 1, 1, 1, 1, h); }},
    {"GetWieGandParam", 0x39,
     [](A a, V v, int h) { return GetWieGandParam(a, v.at(0), v.at(1), v.at(2), v.at(3), v.at(4), h); }},
    {"SetFilterParam", 0xB0, [](A a, V, int h) { return SetFilterParam(a, 1, 1, 1, h); }},
    {"GetFilterParam", 0xB1, [](A a, V v, int h) { return GetFilterParam(a, v.at(0), v.at(1), v.at(2), h); }},
    {"SetTriggerLinkageParam", 0xE6,
     [](A a, V, int h) { return SetTriggerLinkageParam(a, 0, 1, 1, 1, 1, 1, 1, h); }, never,
     Written::with_success, foreign},
    {"GetTriggerLinkageParam", 0xE6,
     [](A a, V v, int h) {
         return GetTriggerLinkageParam(a, 0, v.at(0), v.at(1), v.at(2), v.at(3), v.at(4), v.at(5), h);
     },
     never, with_every_answer, foreign},
};

class Refused : public AskedReader {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = scenario_of(0);
        scenario.reader.family = sim::ReaderFamily::filter;
        connect(scenario);
    }
    int run(const Command& command, Values& values)
    {
        return ask_briefly(run_with, &command, &values, handle);
    }
    void expect_refusal(const Command& command)
    {
        const sim::Settings before = reader->settings();
        const sim::PanelState panel = reader->panel();
        Values values;
        reader->inject(Fault::error(command.code, status, 0));
        EXPECT_EQ(run(command, values), command.without_data);
        reader->clear_faults();
        expect_address(command.echo, command.without_data);
        EXPECT_TRUE(command.written == with_every_answer || !values.written());
        EXPECT_TRUE(reader->settings() == before);
        EXPECT_EQ(reader->panel().beeps, panel.beeps);
        EXPECT_EQ(reader->panel().outputs, panel.outputs);
        EXPECT_EQ(reader->panel().closed_relays, panel.closed_relays);
    }
    // The reader does it, and answers in full, but with a status of failure.
    void expect_outputs(const Command& command)
    {
        Values values;
        Fault fault = Fault::set_byte(status_at, status);
        fault.count = 0;
        reader->inject(fault);
        EXPECT_EQ(run(command, values), status);
        reader->clear_faults();
        expect_address(command.echo, status);
        EXPECT_EQ(values.written(), command.written == Written::with_every_answer);
    }
    template <std::size_t count> void expect_all(const Command (&commands)[count])
    {
        for (const Command& command : commands) {
            SCOPED_TRACE(command.name);
            expect_refusal(command);
            expect_outputs(command);
        }
        EXPECT_TRUE(talks());
    }

  private:
    static int run_with(unsigned char* address, const Command* command, Values* values, int handle)
    {
        return command->run(address, *values, handle);
    }
};

INSTANTIATE_TEST_SUITE_P(Links, Refused, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Refused, settings) { expect_all(settings_commands); }
TEST_P(Refused, rf) { expect_all(rf_commands); }
TEST_P(Refused, modes) { expect_all(modes_commands); }
TEST_P(Refused, io) { expect_all(io_commands); }

}  // namespace
}  // namespace tagwire::test
