#include "names.h"

#include "message_of.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

using test::message_of;

TEST(Names, StandForNumbersAndNumbersForThemselves)
{
    EXPECT_EQ(parse_name("reserved", "--bank", gen2_banks), 0);
    EXPECT_EQ(parse_name("user", "--bank", gen2_banks), 3);
    EXPECT_EQ(parse_name("2", "--bank", gen2_banks), 2);
    EXPECT_EQ(parse_name("0x01", "--bank", gen2_banks), 1);
}

TEST(Names, SayWhatWouldBeValid)
{
    EXPECT_EQ(message_of([] { parse_name("ecp", "--bank", gen2_banks); }),
              "--bank 'ecp' is unknown: use reserved, epc, tid, user or a number from 0 to 3");
    EXPECT_EQ(message_of([] { parse_name("4", "--bank", gen2_banks); }),
              "--bank '4' is not valid: use a number from 0 to 3");
    for (const auto* const text : {"", "User", "user ", "-1", "1x"})
        EXPECT_THROW(parse_name(text, "--bank", gen2_banks), UsageError) << text;
}

TEST(Names, AreShownWhereThereIsOne)
{
    const NameSet set{gen2_bank_names, 255};
    EXPECT_EQ(name_text(1, set), "epc");
    EXPECT_EQ(name_text(200, set), "200");
}

}  // namespace
}  // namespace tagwire::tool
