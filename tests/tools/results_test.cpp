#include "results.h"

#include "tagwire/result.h"

#include <array>
#include <map>
#include <string>

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

constexpr auto operations = [] {
    std::array<Operation, static_cast<std::size_t>(Operation::TagLed) + 1> all{};
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<Operation>(i);
    return all;
}();

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
const ReaderUrl network = parse_reader_url("tcp://192.0.2.10:6000");

TEST(ResultText, SaysWhatHappenedWhereAndWhatToTry)
{
    EXPECT_EQ(result_text(48, Operation::Open, serial),
              "no answer from the reader on /dev/ttyUSB0 within 200 ms (48): is it powered? try --baud");
    EXPECT_EQ(result_text(251, Operation::Inventory, network),
              "inventory: no tag answered the reader at 192.0.2.10:6000 (251): bring a tag closer to the "
              "antenna; a "
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

TEST(ResultText, TakesTheEndsOfInventoriesForOnesOnlyWhereAnswersHaveSeveralFrames)
{
    for (const int code : {1, 2, 3, 251}) {
        const auto own = "own status 0x" + std::string(code == 251 ? "FB" : "0" + std::to_string(code));
        for (const auto operation : {Operation::PowerSetting, Operation::Settings, Operation::AtCommand,
                                     Operation::ReaderRestart, Operation::TableControl})
            EXPECT_NE(result_text(code, operation, serial).find(own), std::string::npos) << code;
        for (const auto operation : {Operation::Inventory, Operation::ListSearch, Operation::TableRead})
            EXPECT_EQ(result_text(code, operation, serial).find("own status"), std::string::npos) << code;
    }
}

TEST(ResultText, DiffersBetweenOperations)
{
    std::map<std::string, int> seen;
    for (const auto operation : operations) ++seen[result_text(TAGWIRE_BAD_CRC, operation, network)];
    EXPECT_EQ(seen.size(), operations.size());
}

TEST(ResultText, KnowsWhatReadersSayAboutATag)
{
    EXPECT_EQ(result_text(5, Operation::LockMemory, serial),
              "locking memory: the reader on /dev/ttyUSB0 says that the password is wrong (5): check the "
              "password; too many wrong ones may block a tag for a while");
    EXPECT_EQ(result_text(251, Operation::KillTag, serial),
              "killing the tag: no such tag answered the reader on /dev/ttyUSB0 (251): is the tag close to "
              "the antenna, and its ID or mask right? see tagwire inventory");
    EXPECT_EQ(result_text(5, Operation::SelectFilter, serial).find("password"), std::string::npos);
}

TEST(TagErrorText, SaysWhyATagRefused)
{
    EXPECT_EQ(result_text(TagResult{252, 4}, Operation::WriteMemory, serial),
              "writing memory: the tag refused, the memory is locked (252, tag error 4): give the access "
              "password; a permanent lock stays");
    EXPECT_EQ(result_text(TagResult{252, 0x80}, Operation::ReadMemory, serial),
              "reading memory: the tag refused, with an error code of its own (252, tag error 128): see the "
              "tag's data sheet");
    EXPECT_EQ(result_text(TagResult{48, -1}, Operation::ReadMemory, serial),
              result_text(48, Operation::ReadMemory, serial));
}

TEST(TagErrorText, DiffersBetweenAllCodes)
{
    std::map<std::string, int> seen;
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 7, 8, 0x0B, 0x0F, 0x20}) {
        const auto text = result_text(TagResult{252, code}, Operation::WriteMemory, network);
        EXPECT_TRUE(seen.emplace(text.substr(0, text.find(" (")), code).second) << text;
    }
}

}  // namespace
}  // namespace tagwire::tool
