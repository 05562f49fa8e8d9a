// Results in words: of the engine, and of the header that is made for C.
#include "link/result_text.h"

#include <gmock/gmock.h>

#include <string>

#include "tagwire/result.h"
#include "tagwire/result_text.h"

namespace tagwire::engine::test {
namespace {

constexpr int family_count = TAGWIRE_FAMILY_SHARED + 1;

std::string what(ResultFamily family, int value) { return result_text(family, value).what; }
std::string advice(ResultFamily family, int value) { return result_text(family, value).advice; }

TEST(ResultText, is_there_for_every_value_of_every_family)
{
    for (int family = 0; family < family_count; ++family)
        for (int value = -1; value <= 256; ++value) {
            const auto of = static_cast<ResultFamily>(family);
            EXPECT_FALSE(what(of, value).empty()) << family << ' ' << value;
            EXPECT_FALSE(advice(of, value).empty()) << family << ' ' << value;
        }
}

TEST(ResultText, is_the_same_in_the_header)
{
    EXPECT_EQ(TAGWIRE_FAMILY_GENERAL, static_cast<int>(ResultFamily::general));
    EXPECT_EQ(TAGWIRE_FAMILY_TAG_6B, static_cast<int>(ResultFamily::tag_6b));
    EXPECT_EQ(TAGWIRE_FAMILY_TAG_ERROR, static_cast<int>(ResultFamily::tag_error));
    for (int family = 0; family < family_count; ++family)
        for (int value = -1; value <= 256; ++value) {
            const auto text = tagwire_result_text(static_cast<tagwire_family>(family), value);
            EXPECT_EQ(text.what, what(static_cast<ResultFamily>(family), value)) << family << ' ' << value;
            EXPECT_EQ(text.advice, advice(static_cast<ResultFamily>(family), value))
                << family << ' ' << value;
        }
}

// What is told of the library's own results is never the text for a status that nobody knows.
TEST(ResultText, knows_what_every_call_can_return)
{
    for (int family = 0; family < TAGWIRE_FAMILY_TAG_ERROR; ++family)
        for (const int value :
             {TAGWIRE_OK, TAGWIRE_NO_ANSWER, TAGWIRE_BAD_CRC, TAGWIRE_BUSY, TAGWIRE_ALREADY_OPEN,
              TAGWIRE_BAD_HANDLE, TAGWIRE_WRONG_COMMAND, TAGWIRE_BAD_ARGUMENT}) {
            const auto of = static_cast<ResultFamily>(family);
            EXPECT_NE(what(of, value), what(of, 0x77)) << family << ' ' << value;
        }
    for (const int value :
         {TAGWIRE_NO_DEVICE, TAGWIRE_BAD_SEQUENCE, TAGWIRE_LINE_SETTINGS, TAGWIRE_NO_DATA, TAGWIRE_TAG_ERROR})
        EXPECT_NE(what(ResultFamily::general, value), what(ResultFamily::general, 0x77)) << value;
    for (const int value : {TAGWIRE_INVENTORY_DONE, TAGWIRE_INVENTORY_TIME_OVER, TAGWIRE_INVENTORY_MORE,
                            TAGWIRE_INVENTORY_ANTENNA, TAGWIRE_INVENTORY_NO_TAG, TAGWIRE_INVENTORY_UNKNOWN})
        for (const auto family : {ResultFamily::general, ResultFamily::inventory})
            EXPECT_NE(what(family, value), what(family, 0x77)) << value;
}

TEST(ResultText, of_one_family_is_not_that_of_another)
{
    EXPECT_EQ(what(ResultFamily::inventory, 1), "the reader has found all it could");
    EXPECT_EQ(what(ResultFamily::buffer, 1), "the buffer was read");
    for (const auto family : {ResultFamily::tag, ResultFamily::tag_6b, ResultFamily::tag_gb})
        for (const int value : {1, 2, 3, 0xF8, 0xF9})
            EXPECT_EQ(what(family, value), "the reader answered with a status of its own") << value;
    for (const int value : {1, 2, 3, 251, 252})
        EXPECT_EQ(what(ResultFamily::settings, value), "the reader refused") << value;
    for (const auto family : {ResultFamily::tag, ResultFamily::tag_gb, ResultFamily::sensor})
        EXPECT_EQ(what(family, 5), "the reader says that the password is wrong");
    EXPECT_EQ(what(ResultFamily::settings, 5), "the reader refused");
    EXPECT_EQ(what(ResultFamily::opening, 249), "the device refuses the line settings");
    EXPECT_EQ(what(ResultFamily::sensor, 249), "the tag refused to send so much");
}

TEST(ResultText, of_what_a_tag_says_is_no_result)
{
    EXPECT_EQ(what(ResultFamily::tag_error, 4), "the memory is locked");
    for (const int value : {48, 49, 238, 254, -1})
        EXPECT_EQ(what(ResultFamily::tag_error, value), "the tag gave an error code of its own") << value;
}

TEST(ResultText, names_a_filter_left_behind_where_a_tag_is_missing)
{
    for (const auto family :
         {ResultFamily::inventory, ResultFamily::tag, ResultFamily::sensor, ResultFamily::buffer})
        EXPECT_THAT(advice(family, TAGWIRE_NO_DATA), testing::HasSubstr("filter"));
}

}  // namespace
}  // namespace tagwire::engine::test
