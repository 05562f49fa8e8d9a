#include "tag_name.h"

#include <gtest/gtest.h>

namespace tagwire::tool {
namespace {

constexpr std::uint8_t reserved_bank = 0;
constexpr std::uint8_t user_bank = 3;

TagName with_mask(const char* text) { return {{}, parse_mask(text)}; }

TagName after(const TagName& name, std::uint8_t bank, std::uint32_t first, const Bytes& data)
{
    return gen2_name_after(name, {bank, first, data});
}

TEST(TagNames, AreShownAsTextAndJson)
{
    const TagName by_id{{0xE2, 0x80}, {}};
    EXPECT_EQ(name_text(by_id, gen2_family), "E280");
    EXPECT_EQ(name_text(with_mask("epc:32:E2/7"), gen2_family), "with mask epc:32:E2/7");
    Json object;
    add_name(object, by_id, gen2_family);
    add_name(object, with_mask("1:32:E280"), gen2_family);
    EXPECT_EQ(object.dump(), R"({"epc":"E280","mask":"epc:32:E280/16"})");
}

TEST(TagNames, FollowTheEpcThatIsWritten)
{
    const TagName name{{0xAA, 0xAA, 0xBB, 0xBB}, {}};
    EXPECT_EQ(after(name, user_bank, 2, {1, 2}), name);
    EXPECT_EQ(after(name, epc_bank, 3, {1, 2}).id, (Bytes{0xAA, 0xAA, 1, 2}));
    EXPECT_EQ(after(name, epc_bank, 4, {1, 2}), name);
    // The control word says how long the EPC is: 3 words, 1 word, none.
    EXPECT_EQ(after(name, epc_bank, 1, {0x18, 0, 1, 1, 2, 2, 3, 3}).id, (Bytes{1, 1, 2, 2, 3, 3}));
    EXPECT_EQ(after(name, epc_bank, 1, {0x08, 0}).id, (Bytes{0xAA, 0xAA}));
    EXPECT_EQ(after(name, epc_bank, 1, {0x00, 0}), TagName{});
}

TEST(TagNames, AreTheBeginningOfAnEpcThatGrewIntoTheUnknown)
{
    const TagName name{{0xAA, 0xAA, 0xBB, 0xBB}, {}};
    EXPECT_EQ(after(name, epc_bank, 1, {0x20, 0, 1, 1}), with_mask("epc:32:0101BBBB/32"));
}

TEST(TagNames, FollowTheBitsThatAMaskLooksAt)
{
    const auto name = with_mask("user:12:FFFFFF/20");
    EXPECT_EQ(after(name, epc_bank, 1, {0, 0}), name);
    EXPECT_EQ(after(name, user_bank, 2, {0, 0}), name);
    // Word 1 is bits 16 to 31: all but the first four of the mask.
    EXPECT_EQ(after(name, user_bank, 1, {0x12, 0x34}), with_mask("user:12:F1234/20"));
    EXPECT_EQ(after(name, user_bank, 0, {0, 0}), with_mask("user:12:0FFFF/20"));
}

TEST(Passwords, FollowTheReservedBank)
{
    const Password none{};
    const Password old{1, 2, 3, 4};
    const Bytes both{0, 0, 0, 0, 9, 8, 7, 6};
    EXPECT_EQ(gen2_password_after(old, {user_bank, 0, both}), old);
    EXPECT_EQ(gen2_password_after(old, {reserved_bank, 0, both}), (Password{9, 8, 7, 6}));
    EXPECT_EQ(gen2_password_after(none, {reserved_bank, 0, both}), (Password{9, 8, 7, 6}));
    const Bytes half{9, 8};
    EXPECT_EQ(gen2_password_after(old, {reserved_bank, 0, half}), old);
    EXPECT_EQ(gen2_password_after(old, {reserved_bank, 2, half}), (Password{9, 8, 3, 4}));
    EXPECT_EQ(gen2_password_after(old, {reserved_bank, 3, half}), (Password{1, 2, 9, 8}));
    EXPECT_EQ(gen2_password_after(none, {reserved_bank, 3, half}), none);
}

TEST(ControlWord, KeepsItsOtherBits)
{
    EXPECT_EQ(control_word_with_length(0x3000, 6), 0x3000);
    EXPECT_EQ(control_word_with_length(0x3234, 1), 0x0A34);
    EXPECT_EQ(control_word_with_length(0x07FF, 31), 0xFFFF);
}

TEST(Arguments, NeverHaveNullPointers)
{
    const TagArguments by_id(TagName{{0xE2, 0x80, 0x11, 0x60}, {}});
    EXPECT_EQ(by_id.id_words, 2);
    EXPECT_NE(by_id.mask.data.data(), nullptr);
    const TagArguments by_mask(with_mask("tid:258:E2801160/31"));
    EXPECT_EQ(by_mask.id_words, 255);
    EXPECT_NE(by_mask.id.data(), nullptr);
    EXPECT_EQ(by_mask.mask.bank, 2);
    EXPECT_EQ(by_mask.mask.address, (std::array<std::uint8_t, 2>{1, 2}));
    EXPECT_EQ(by_mask.mask.bits, 31);
    EXPECT_EQ(by_mask.mask.data, (Bytes{0xE2, 0x80, 0x11, 0x60}));
}

}  // namespace
}  // namespace tagwire::tool
