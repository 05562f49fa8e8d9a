// Records that readers keep.
#include "buffer_records.h"

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

}  // namespace
}  // namespace tagwire::tool
