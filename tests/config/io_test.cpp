// Beeper and LED, relays, inputs and outputs, Wiegand output, triggers, the report filter, and the extension
// channel.
#include "config/setting.h"

namespace tagwire::engine::test {
namespace {

using enum Written;
using Call = SettingCall;

int set_trigger(Call& c)
{
    return c(&Operations::SetTriggerLinkageParam, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F, 0x60);
}
int get_trigger(Call& c)
{
    return c(&Operations::GetTriggerLinkageParam, 0x5A, c.at(0), c.at(1), c.at(2), c.at(3), c.at(4), c.at(5));
}
int set_wiegand(Call& c) { return c(&Operations::SetWieGandParam, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E); }
int get_wiegand(Call& c)
{
    return c(&Operations::GetWieGandParam, c.at(0), c.at(1), c.at(2), c.at(3), c.at(4));
}
int set_filter(Call& c) { return c(&Operations::SetFilterParam, 0x5A, 0x5B, 0x5C); }
int get_filter(Call& c) { return c(&Operations::GetFilterParam, c.at(0), c.at(1), c.at(2)); }

const std::vector<Setting>& io_settings()
{
    static const std::vector<Setting> all = {
        {"BuzzerAndLEDControl", [](Call& c) { return c(&Operations::BuzzerAndLEDControl, 0x5A, 0x5B, 0x5C); },
         "07 05 33 5A 5B 5C", never},
        {"SetRelay", [](Call& c) { return c(&Operations::SetRelay, 0x5A); }, "05 05 45 5A", never},
        {"RelaysControll", [](Call& c) { return c(&Operations::RelaysControll, 0x5A, 0x5B, 0x5C); },
         "07 05 45 5A 5B 5C", on_success},
        {"RelayControll", [](Call& c) { return c(&Operations::RelayControll, c.at(0)); }, "05 05 92 90",
         never, "31", "31", on_success},
        {"SetGPIO", [](Call& c) { return c(&Operations::SetGPIO, 0x5A); }, "05 05 46 5A", never},
        {"GetGPIOStatus", [](Call& c) { return c(&Operations::GetGPIOStatus, c.at(0)); }, "04 05 47", never,
         "31", "31", on_success},
        {"SetNotificationPulseOutput",
         [](Call& c) { return c(&Operations::SetNotificationPulseOutput, 0x5A); }, "05 05 48 5A", never},
        {"SetGPOParam", [](Call& c) { return c(&Operations::SetGPOParam, 0x5A, 0x5B); }, "06 05 B0 5A 5B",
         on_success},
        {"GetGPOParam", [](Call& c) { return c(&Operations::GetGPOParam, c.at(0), c.at(1)); }, "04 05 B1",
         on_success, "31 32", "31 32", on_success},
        {"SetWieGandParam", set_wiegand, "09 05 38 5A 5B 5C 5D 5E", never},
        {"GetWieGandParam", get_wiegand, "04 05 39", never, "31 32 33 34 35", "31 32 33 34 35", on_success},
        {"SetFilterParam", set_filter, "07 05 B0 5A 5B 5C", never},
        {"GetFilterParam", get_filter, "04 05 B1", never, "31 32 33", "31 32 33", on_success},
        {"SetTriggerLinkageParam", set_trigger, "0C 05 E6 80 5A 5B 5C 5D 5E 5F 60", never, "80"},
        {"GetTriggerLinkageParam", get_trigger, "06 05 E6 81 5A", never, "81 31 32 33 34 35 36",
         "31 32 33 34 35 36", always},
    };
    return all;
}

// Only trigger linkage looks at the function that an answer names.
const std::vector<Setting>& extension_settings()
{
    static const std::vector<Setting> all = {
        {"SetCalibrationPowerType", [](Call& c) { return c(&Operations::SetCalibrationPowerType, 0x5A); },
         "06 05 E6 03 5A", never, "FF"},
        {"SetRegionType", [](Call& c) { return c(&Operations::SetRegionType, 0x5A); }, "06 05 E6 04 5A",
         always, "FF"},
        {"SetTempSelect", [](Call& c) { return c(&Operations::SetTempSelect, 0x5A); }, "06 05 E6 09 5A",
         never, "FF"},
        {"GetModuleDescribe", [](Call& c) { return c(&Operations::GetModuleDescribe, c.at(0)); },
         "05 05 E6 02", never, "FF 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40",
         "31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F 40", always},
    };
    return all;
}

INSTANTIATE_TEST_SUITE_P(Io, EverySetting, testing::ValuesIn(io_settings()), SettingName());
INSTANTIATE_TEST_SUITE_P(Extension, EverySetting, testing::ValuesIn(extension_settings()), SettingName());

class Io : public SettingTest {};

TEST_F(Io, triggers_give_238_for_the_answer_of_another_function)
{
    for (const int status : {0, 5}) {
        for (const u8 function : {0x00, 0x02, 0x82, 0xFF}) {
            const FixedAnswer answer(reader_, own(0xE6, status, Bytes{function} + hex("31 32 33 34 35 36")));
            Call written = call();
            EXPECT_EQ(set_trigger(written), TAGWIRE_WRONG_COMMAND);
            Call read = call(6);
            const int result = get_trigger(read);
            EXPECT_EQ(read.outcome(result),
                      Call::describe(238, asked_address, counting_from(0x90, 6), untouched_number));
        }
    }
}

TEST_F(Io, triggers_do_not_take_each_others_answers)
{
    const FixedAnswer of_read(reader_, own(0xE6, 0, hex("81 31 32 33 34 35 36")));
    Call written = call();
    EXPECT_EQ(set_trigger(written), TAGWIRE_WRONG_COMMAND);
    const FixedAnswer of_write(reader_, own(0xE6, 0, hex("80")));
    Call read = call(6);
    EXPECT_EQ(get_trigger(read), TAGWIRE_WRONG_COMMAND);
}

// What a send leaves in it is not waited for.
TEST_F(Io, these_start_with_an_empty_receive_buffer)
{
    for (const auto run : {set_wiegand, get_wiegand, set_filter, get_filter}) {
        reader_->recvLength = 99;
        reader_->operations.SendDataToPort = [](Reader*, u8*, unsigned) { return 0; };
        reader_->operations.GetDataFromPort = [](Reader* reader, u8*, int*) {
            EXPECT_EQ(reader->recvLength, 0);
            return int{TAGWIRE_NO_ANSWER};
        };
        Call one = call(5);
        EXPECT_EQ(run(one), TAGWIRE_NO_ANSWER);
    }
}

TEST_F(Io, module_description_is_there_in_one_length_only)
{
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{15}, std::size_t{16}, std::size_t{18}}) {
        for (const int status : {0, 5}) {
            const FixedAnswer answer(reader_, own(0xE6, status, repeat(0x31, size)));
            Call one = call(16);
            EXPECT_EQ(one(&Operations::GetModuleDescribe, one.at(0)), status);
            EXPECT_EQ(one.out, counting_from(0x90, 16));
        }
    }
}

}  // namespace
}  // namespace tagwire::engine::test
