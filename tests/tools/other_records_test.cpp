// Records that readers keep, and those of ISO 18000-6B tags.
#include "buffer_records.h"
#include "iso6b_tags.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

TEST(Buffer, HasTagsOfDifferentLength)
{
    const Bytes list{1, 2, 0xE2, 0x80, 200, 3, 4, 0, 99, 1};
    EXPECT_EQ(decode_buffer(list, 2), (std::vector<BufferedTag>{{"E280", 1, 200, 3}, {"", 4, 99, 1}}));
    EXPECT_EQ(decode_buffer({}, 0), std::vector<BufferedTag>{});
}

TEST(Buffer, IsNotGuessedAt)
{
    const Bytes list{1, 2, 0xE2, 0x80, 200, 3};
    EXPECT_FALSE(decode_buffer(list, 2));
    EXPECT_FALSE(decode_buffer(list, -1));
    for (std::size_t size = 1; size < list.size(); ++size)
        EXPECT_FALSE(decode_buffer(std::span(list).first(size), 1)) << size;
}

TEST(TagBuffer, HasDetailsBeforeTheId)
{
    Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 2, 0xE2, 0x80};
    const StoredTag tag{"E280", "0102030405060708090A0B"};
    EXPECT_EQ(decode_tag_buffer(data).tags, (std::vector<StoredTag>{tag}));
    EXPECT_EQ(decode_tag_buffer(data).undecoded, 0u);
    data.insert(data.end(), 11, 0);
    EXPECT_EQ(decode_tag_buffer(data).undecoded, 11u);
    data.push_back(1);
    EXPECT_EQ(decode_tag_buffer(data).tags.size(), 1u);
    EXPECT_EQ(decode_tag_buffer(data).undecoded, 12u);
}

TEST(SearchList, IsSentInParts)
{
    EXPECT_TRUE(split_search({}).empty());
    EXPECT_EQ(split_search({{1, 2}, {3, 4, 5, 6}}), (std::vector<SearchPart>{{2, {2, 1, 2, 4, 3, 4, 5, 6}}}));
    const auto many = split_search(std::vector<Bytes>(31, Bytes{1, 2}));
    ASSERT_EQ(many.size(), 2u);
    EXPECT_EQ(many[0].count, 30);
    EXPECT_EQ(many[1].count, 1);
    const auto longest = split_search(std::vector<Bytes>(4, Bytes(62)));
    ASSERT_EQ(longest.size(), 2u);
    EXPECT_EQ(longest[0].ids.size(), 189u);
    const auto full = split_search(std::vector<Bytes>(7, Bytes(40)));
    ASSERT_EQ(full.size(), 2u);
    EXPECT_EQ(full[0].ids.size(), 246u);
}

TEST(Tags6b, AreDecoded)
{
    const std::array<std::uint8_t, 10> one{1, 0xE0, 4, 0, 0, 1, 2, 3, 4, 150};
    EXPECT_EQ(decode_single_6b(one), (std::vector<Tag6b>{{"E004000001020304", 150}}));
    EXPECT_TRUE(decode_single_6b(std::array<std::uint8_t, 10>{}).empty());

    Bytes list(one.begin() + 1, one.end());
    EXPECT_EQ(decode_list_6b(list, 2).size(), 1u);
    list.insert(list.end(), {1, 1, 1, 1, 1, 1, 1, 1, 7});
    EXPECT_EQ(decode_list_6b(list, 2),
              (std::vector<Tag6b>{{"E004000001020304", 150}, {"0101010101010101", 7}}));
    EXPECT_TRUE(decode_list_6b(list, 0).empty());
}

TEST(Tags6b, AreComparedByTheBytesGiven)
{
    EXPECT_EQ(compare_first_bytes(1), 0x80);
    EXPECT_EQ(compare_first_bytes(3), 0xE0);
    EXPECT_EQ(compare_first_bytes(8), 0xFF);
}

}  // namespace
}  // namespace tagwire::tool
