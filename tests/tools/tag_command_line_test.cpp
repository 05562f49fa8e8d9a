// The commands for single tags as far as no reader is needed: nothing is sent when something is wrong.
#include "process.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

using Arguments = std::vector<std::string>;

// A port that certainly nobody listens on: trying to connect fails with 1, wrong usage with 2.
Ended tool(Arguments arguments, const std::string& input_file = "/dev/null")
{
    arguments.insert(arguments.end(), {"--reader", "tcp://127.0.0.1:1"});
    return run(TAGWIRE_TOOL_PATH, arguments, {}, input_file);
}

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Arguments epc{"--epc", "E28011700000020F00000001"};
const Arguments id{"--id", "E28011700000020F"};

TEST(TagCommandLine, HelpsWithExamples)
{
    const std::vector<Arguments> commands{{"read"},
                                          {"write"},
                                          {"write-epc"},
                                          {"erase"},
                                          {"password", "set"},
                                          {"lock"},
                                          {"kill"},
                                          {"select"},
                                          {"block-lock"},
                                          {"untraceable"},
                                          {"protected-mode"},
                                          {"authenticate"},
                                          {"privacy", "set"},
                                          {"privacy", "reset"},
                                          {"privacy", "check"},
                                          {"eas", "set"},
                                          {"eas", "alarm"},
                                          {"qt", "get"},
                                          {"qt", "set"},
                                          {"buffer", "inventory"},
                                          {"buffer", "read"},
                                          {"buffer", "count"},
                                          {"buffer", "clear"},
                                          {"buffer", "save-length"},
                                          {"buffer", "tags"},
                                          {"buffer", "clear-tags"},
                                          {"buffer", "find"},
                                          {"6b", "inventory"},
                                          {"6b", "read"},
                                          {"6b", "write"},
                                          {"6b", "lock"},
                                          {"6b", "check-lock"},
                                          {"gb", "inventory"},
                                          {"gb", "read"},
                                          {"gb", "write"},
                                          {"gb", "erase"},
                                          {"gb", "lock"},
                                          {"gb", "kill"},
                                          {"jb", "inventory"},
                                          {"jb", "read"},
                                          {"jb", "write"},
                                          {"jb", "erase"},
                                          {"jb", "lock"},
                                          {"jb", "kill"}};
    for (const auto& command : commands) {
        std::string example = "\n  tagwire";
        for (const auto& word : command) example += " " + word;
        const auto help = run(TAGWIRE_TOOL_PATH, joined(command, {"--help"}));
        EXPECT_EQ(help.exit_code, 0) << example;
        EXPECT_NE(help.out.find("Examples:"), std::string::npos) << help.out;
        EXPECT_NE(help.out.find(example), std::string::npos) << help.out;
    }
}

class WrongUsage : public testing::TestWithParam<Arguments> {};

TEST_P(WrongUsage, EndsBeforeAnythingIsSent)
{
    const auto ended = tool(GetParam());
    EXPECT_EQ(ended.exit_code, 2) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    EXPECT_EQ(ended.out, "");
}

const Arguments read_user = joined({"read", "--bank", "user"}, epc);
const Arguments write_user = joined({"write", "--bank", "user"}, epc);
const Arguments lock_user = joined({"lock", "--area", "user", "--protection"}, {"open"});
const std::string long_epc(128, '0');

INSTANTIATE_TEST_SUITE_P(
    OfMemory, WrongUsage,
    testing::Values(Arguments{"read", "--bank", "user", "--count", "1"},
                    joined(read_user, {"--count", "1", "--mask", "tid:0:E2"}),
                    joined(read_user, {"--word", "1"}), joined({"read", "--count", "1"}, epc),
                    joined(read_user, {"--count", "0"}), joined(read_user, {"--count", "65537"}),
                    joined(read_user, {"--word", "65535", "--count", "2"}),
                    joined(read_user, {"--word", "65536", "--count", "1"}),
                    joined({"read", "--bank", "usr", "--count", "1"}, epc),
                    joined(read_user, {"--count", "1", "--password", "1234"}),
                    Arguments{"read", "--bank", "user", "--count", "1", "--epc", "E28"},
                    Arguments{"read", "--bank", "user", "--count", "1", "--epc", long_epc},
                    Arguments{"read", "--bank", "user", "--count", "1", "--mask", "epc:32"}, write_user,
                    joined(write_user, {"--data", "12"}), joined(write_user, {"--data", "12x4"}),
                    joined(write_user, {"--data", "1234", "--file", "x"}),
                    joined(write_user, {"--file", "/no/such/file"}), joined(write_user, {"--file", "/tmp"}),
                    joined(write_user, {"--file", "-"}),
                    joined(write_user, {"--data", "12345678", "--word", "65535"}),
                    joined(write_user, {"--data", "1234", "--chunk", "0"}),
                    joined({"erase", "--bank", "user", "--word", "256", "--count", "1"}, epc),
                    joined({"erase", "--bank", "user", "--count", "256"}, epc),
                    Arguments{"write-epc", "E280"}, joined({"write-epc", "E28"}, epc),
                    joined({"write-epc", "E280", "--any"}, epc), joined({"write-epc", long_epc}, epc)));

INSTANTIATE_TEST_SUITE_P(
    OfSecurity, WrongUsage,
    testing::Values(lock_user, joined({"lock", "--area", "users", "--protection", "open"}, epc),
                    joined({"lock", "--area", "user", "--protection", "maybe"}, epc),
                    joined({"lock", "--area", "user"}, epc),
                    joined({"lock", "--area", "user", "--protection", "open", "--no-password"}, epc),
                    joined({"kill", "--yes", "--kill-password", "00000000"}, epc),
                    joined({"protected-mode", "on", "--yes"}, epc),
                    joined({"protected-mode", "on", "--password", "12345678"}, epc),
                    joined({"gb", "lock", "--area", "user", "--config", "attribute", "--action", "none"}, id),
                    joined({"read", "--bank", "user", "--chunk", "4"}, epc),
                    joined({"erase", "--bank", "user", "--word", "200", "--count", "100"}, epc),
                    joined({"6b", "write", "--data", "12"}, id), joined({"kill", "--yes"}, epc),
                    joined({"lock", "--area", "user", "--protection", "open", "--no-password"}, epc),
                    joined({"kill", "--yes", "--kill-password", "1"}, epc), Arguments{"privacy"},
                    Arguments{"privacy", "set"}, joined({"privacy", "set", "--any"}, epc),
                    joined({"eas", "set", "maybe"}, epc), joined({"eas", "set"}, epc),
                    joined({"qt", "set", "256"}, epc), joined({"untraceable", "--epc-words", "32"}, epc),
                    joined({"untraceable", "--hide-tid", "perhaps"}, epc), joined({"authenticate"}, epc),
                    joined({"authenticate", "--suite", "1", "--message-length", "7", "--message",
                            "01020304050607"},
                           epc)));

INSTANTIATE_TEST_SUITE_P(
    OfOthers, WrongUsage,
    testing::Values(
        Arguments{"select"}, Arguments{"select", "--antennas", "1"},
        Arguments{"select", "--antennas", "65", "--all"},
        Arguments{"select", "--antennas", "1", "--all", "--mask", "tid:0:E2"},
        Arguments{"select", "--all", "--target", "S1"},
        Arguments{"select", "--mask", "tid:0:E2", "--target", "S5"},
        Arguments{"select", "--mask", "tid:0:E2", "--action", "8"},
        Arguments{"select", "--antennas", "1,2", "--mask", "tid:0:E2", "--carrier-time", "1"},
        Arguments{"buffer"}, Arguments{"buffer", "fly"}, Arguments{"buffer", "inventory", "--q", "16"},
        Arguments{"buffer", "save-length", "2"}, Arguments{"buffer", "find"},
        Arguments{"buffer", "find", "E28"}, Arguments{"buffer", "find", "E280", "--antennas", "17"},
        Arguments{"6b", "read", "--count", "1"}, Arguments{"6b", "read", "--id", "E280", "--count", "1"},
        joined({"6b", "read", "--byte", "255", "--count", "2"}, id),
        joined({"6b", "write", "--data", "1"}, id),
        joined({"6b", "write", "--byte", "255", "--data", "1234"}, id),
        Arguments{"6b", "inventory", "--condition", "equal"},
        Arguments{"6b", "inventory", "--condition", "like", "--content", "12"},
        Arguments{"6b", "inventory", "--condition", "equal", "--content", "112233445566778899"},
        joined({"6b", "check-lock"}, id), joined({"gb", "read", "--area", "epc", "--count", "1"}, id),
        Arguments{"gb", "read", "--area", "user", "--count", "1", "--id", long_epc.substr(64)},
        Arguments{"gb", "inventory", "--read", "user:0"}, Arguments{"gb", "inventory", "--read", "user:0:32"},
        Arguments{"gb", "inventory", "--algorithm", "1"},
        joined({"gb", "lock", "--area", "user", "--config", "attribute", "--action", "open"}, id),
        joined({"gb", "kill", "--yes"}, id)));

struct ForGood {
    Arguments arguments;
    std::string deed;
};

const std::vector<ForGood> for_good{
    {joined({"kill", "--kill-password", "12345678"}, epc), "kill the tag E28011700000020F00000001"},
    {joined({"lock", "--area", "user", "--protection", "permanently-protected"}, epc),
     "make user of tag E28011700000020F00000001 permanently-protected"},
    {joined({"lock", "--area", "epc", "--protection", "1"}, epc),
     "make epc of tag E28011700000020F00000001 permanently-open"},
    {joined({"block-lock", "--word", "4"}, epc),
     "lock the block of user word 4 of tag E28011700000020F00000001"},
    {joined({"6b", "lock", "--byte", "16"}, id), "lock byte 16 of tag E28011700000020F"},
    {joined({"gb", "kill", "--kill-password", "12345678"}, id), "kill the tag E28011700000020F"}};

TEST(Confirmation, IsNeededWhereNobodyCanBeAsked)
{
    for (const auto& [arguments, deed] : for_good) {
        const auto refused = tool(arguments);
        EXPECT_EQ(refused.exit_code, 2) << deed;
        EXPECT_EQ(refused.err, "tagwire: this would " + deed +
                                   " for good: nothing was sent. Add --yes, or use a terminal to be asked\n");
        const auto confirmed = tool(joined(arguments, {"--yes"}));
        EXPECT_EQ(confirmed.exit_code, 1) << deed;
        EXPECT_NE(confirmed.err.find("refuses the connection"), std::string::npos) << confirmed.err;
    }
}

TEST(Confirmation, IsNeededForWhatDestroysDataOrReach)
{
    for (const auto& [arguments, deed] :
         std::vector<ForGood>{{joined({"erase", "--bank", "user", "--count", "2"}, epc),
                               "erase 2 words of user of tag E28011700000020F00000001, from word 0 on"},
                              {joined({"privacy", "set"}, epc),
                               "hide the tag E28011700000020F00000001 from everybody without its password"},
                              {joined({"untraceable", "--hide-user"}, epc),
                               "change what the tag E28011700000020F00000001 shows"},
                              {joined({"gb", "erase", "--area", "user", "--count", "1"}, id),
                               "erase 1 word of user of tag E28011700000020F, from word 0 on"}}) {
        const auto refused = tool(arguments);
        EXPECT_EQ(refused.exit_code, 2) << deed;
        EXPECT_EQ(refused.err, "tagwire: this would " + deed +
                                   ": nothing was sent. Add --yes, or use a terminal to be asked\n");
        EXPECT_EQ(tool(joined(arguments, {"--yes"})).exit_code, 1) << deed;
    }
}

TEST(Confirmation, IsNotNeededForWhatCanBeUndone)
{
    for (const auto* const protection : {"open", "protected", "0", "2"}) {
        const auto ended = tool(
            joined({"lock", "--area", "user", "--password", "12345678", "--protection", protection}, epc));
        EXPECT_EQ(ended.exit_code, 1) << protection;
        EXPECT_NE(ended.err.find("refuses the connection"), std::string::npos) << ended.err;
    }
}

// A terminal at which somebody has typed a line already.
class Terminal {
  public:
    explicit Terminal(const std::string& typed) : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        EXPECT_EQ(grantpt(master_), 0);
        EXPECT_EQ(unlockpt(master_), 0);
        EXPECT_EQ(write(master_, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    }
    ~Terminal() { close(master_); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string path() const { return ptsname(master_); }

  private:
    int master_;
};

TEST(Confirmation, IsAskedForOnATerminal)
{
    const std::string question =
        "This will kill the tag E28011700000020F00000001 for good. Type yes to go on: ";
    const auto& kill = for_good[0].arguments;
    for (const auto* const no : {"\n", "no\n", "yesterday\n"}) {
        const Terminal terminal(no);
        const auto ended = tool(kill, terminal.path());
        EXPECT_EQ(ended.exit_code, 1) << no;
        EXPECT_EQ(ended.err, question + "tagwire: not confirmed, nothing was sent\n");
    }
    const Terminal terminal("yes\n");
    const auto ended = tool(kill, terminal.path());
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_TRUE(ended.err.starts_with(question + "tagwire: open (tcp://127.0.0.1:1): ")) << ended.err;
}

TEST(TagCommandLine, SaysHowToNameATag)
{
    EXPECT_EQ(tool({"read", "--bank", "user", "--count", "1"}).err,
              "tagwire: name the tag: use one of --epc HEX, --tid HEX and --mask BANK:BITADDR:HEX[/BITS]\n");
    EXPECT_EQ(tool({"gb", "read", "--area", "user", "--count", "1"}).err,
              "tagwire: name the tag: use either --id HEX or --mask AREA:BITADDR:HEX[/BITS]\n");
}

}  // namespace
}  // namespace tagwire::tool::test
