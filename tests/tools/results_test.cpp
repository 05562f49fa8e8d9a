#include "results.h"

#include "tagwire/result.h"

#include <array>
#include <map>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

constexpr std::array operations{Operation::Open,          Operation::Close,     Operation::Information,
                                Operation::ModuleDetails, Operation::Inventory, Operation::StartRead,
                                Operation::StopRead};

// TAGWIRE_INVENTORY_NO_TAG is the number of TAGWIRE_NO_DATA.
constexpr std::array<int, 18> named_codes{TAGWIRE_OK,
                                          TAGWIRE_NO_ANSWER,
                                          TAGWIRE_BAD_CRC,
                                          TAGWIRE_BUSY,
                                          TAGWIRE_ALREADY_OPEN,
                                          TAGWIRE_BAD_HANDLE,
                                          TAGWIRE_NO_DEVICE,
                                          TAGWIRE_BAD_SEQUENCE,
                                          TAGWIRE_WRONG_COMMAND,
                                          TAGWIRE_LINE_SETTINGS,
                                          TAGWIRE_NO_DATA,
                                          TAGWIRE_TAG_ERROR,
                                          TAGWIRE_BAD_ARGUMENT,
                                          TAGWIRE_INVENTORY_DONE,
                                          TAGWIRE_INVENTORY_TIME_OVER,
                                          TAGWIRE_INVENTORY_MORE,
                                          TAGWIRE_INVENTORY_ANTENNA,
                                          TAGWIRE_INVENTORY_UNKNOWN};

const ReaderUrl serial = parse_reader_url("serial:/dev/ttyUSB0");
const ReaderUrl any_serial = parse_reader_url("serial:auto");
const ReaderUrl network = parse_reader_url("tcp://10.0.0.5:27011");

TEST(ResultText, SaysWhatHappenedWhereAndWhatToTry)
{
    EXPECT_EQ(result_text(48, Operation::Open, serial),
              "no answer from the reader on /dev/ttyUSB0 within 200 ms (48): is it powered? try --baud");
    EXPECT_EQ(
        result_text(251, Operation::Inventory, network),
        "inventory: no tag answered the reader at 10.0.0.5:27011 (251): bring a tag closer to the antenna; a "
        "larger --q helps when there are many");
}

TEST(ResultText, IsThereForEveryNumberWithTheNumberAndAdvice)
{
    for (const auto& reader : {serial, any_serial, network}) {
        for (const auto operation : operations) {
            for (int code = 0; code <= 255; ++code) {
                const auto text = result_text(code, operation, reader);
                const auto number = text.find("(" + std::to_string(code) + "): ");
                ASSERT_NE(number, std::string::npos) << text;
                EXPECT_GT(number, 10u) << text;
                EXPECT_GT(text.size(), number + 10) << text;
                EXPECT_EQ(text.find('{'), std::string::npos) << text;
                EXPECT_EQ(text.find('\n'), std::string::npos) << text;
            }
        }
    }
}

TEST(ResultText, DiffersBetweenAllNamedCodes)
{
    for (const auto operation : operations) {
        std::map<std::string, int> seen;
        for (const int code : named_codes) {
            const auto text = result_text(code, operation, network);
            const auto without_number = text.substr(0, text.find(" ("));
            EXPECT_TRUE(seen.emplace(without_number, code).second)
                << code << " and " << seen[without_number] << ": " << text;
        }
    }
}

TEST(ResultText, PassesOnTheStatusOfAReader)
{
    EXPECT_EQ(result_text(0x26, Operation::StartRead, serial),
              "starting to read: the reader on /dev/ttyUSB0 answered with its own status 0x26 (38): see the "
              "reader's "
              "manual");
}

}  // namespace
}  // namespace tagwire::tool
