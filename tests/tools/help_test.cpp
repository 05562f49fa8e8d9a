// What the tool tells of itself: suggestions, help of groups, completion, manual pages.
#include "help/suggestion.h"
#include "virtual_reader.h"

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

Ended tagwire(const Arguments& arguments) { return run(TAGWIRE_TOOL_PATH, arguments); }

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(Suggestions, AreNear)
{
    const std::vector<std::string> commands{"inventory", "info", "watch", "write", "write-epc"};
    EXPECT_EQ(nearest("inventry", commands), "inventory");
    EXPECT_EQ(nearest("wacth", commands), "watch");
    EXPECT_EQ(nearest("wirte", commands), "write");
    EXPECT_EQ(nearest("inf", commands), "info");
    EXPECT_EQ(nearest("selection", commands), "");
    EXPECT_EQ(nearest("x", commands), "");
    EXPECT_EQ(nearest("", commands), "");
}

TEST(Suggestions, AreMadeForCommandsAndOptions)
{
    const auto message = [](const Arguments& arguments) {
        const auto ended = tagwire(arguments);
        EXPECT_EQ(ended.exit_code, 2);
        return ended.err;
    };
    EXPECT_EQ(
        message({"inventry", "--q", "4"}),
        "tagwire: 'inventry' is no command of tagwire: did you mean 'inventory'? (see tagwire --help)\n");
    EXPECT_EQ(message({"--reader", "inventory", "net", "shw"}),
              "tagwire: 'shw' is no command of tagwire net: did you mean 'show'? (see tagwire --help)\n");
    EXPECT_EQ(message({"inventory", "--sesion=S1"}),
              "tagwire: '--sesion' is no option of tagwire inventory: did you mean '--session'? (see tagwire "
              "--help)\n");
    EXPECT_TRUE(has(message({"net", "show", "--jsn"}), "did you mean '--json'?"));
    EXPECT_EQ(message({"zzzzz"}), "tagwire: 'zzzzz' is no command of tagwire (see tagwire --help)\n");
    EXPECT_TRUE(has(message({"write-epc"}), "NEW_EPC is required"));
}

TEST(HelpOfGroups, HasExamplesOfItsOwn)
{
    const auto net = tagwire({"net", "--help"}).out;
    EXPECT_TRUE(has(net, "Examples:\n  tagwire net show\n  tagwire net set-mac ")) << net;
    EXPECT_FALSE(has(net, "tagwire watch")) << net;
    EXPECT_TRUE(has(tagwire({"4g", "server", "--help"}).out, "Examples:\n  tagwire 4g server show\n"));
}

// -- completion

class Shell {
  public:
    Shell(std::string program, std::string script) : program_(std::move(program)), script_(std::move(script))
    {
        const auto made = tagwire({"completion", program_});
        EXPECT_EQ(made.exit_code, 0) << made.err;
        completion_ = folder_.write("completion", made.out);
    }
    bool is_there() const { return run("/bin/sh", {"-c", "command -v " + program_}).exit_code == 0; }
    // What the last word may become.
    std::vector<std::string> complete(const Arguments& words) const
    {
        Arguments arguments{"-c", R"(exec "$0" "$@")", program_, "-c", script_};
        if (program_ != "fish") arguments.push_back(program_);
        arguments.push_back(completion_);
        arguments.insert(arguments.end(), words.begin(), words.end());
        const auto ended = run("/bin/sh", arguments);
        auto lines = lines_of(ended.out);
        std::sort(lines.begin(), lines.end());
        return lines;
    }

  private:
    std::string program_;
    std::string script_;
    TemporaryDirectory folder_;
    std::string completion_;
};

void expect_completions(const Shell& shell)
{
    using Words = std::vector<std::string>;
    EXPECT_EQ(shell.complete({"net", "s"}), (Words{"set-mac", "show"}));
    EXPECT_EQ(shell.complete({"invent"}), Words{"inventory"});
    EXPECT_EQ(shell.complete({"--reader", "net", "inventory", "--session", ""}),
              (Words{"S0", "S1", "S2", "S3"}));
    EXPECT_EQ(shell.complete({"4g", "server", "set", "--y"}), Words{"--yes"});
    EXPECT_EQ(shell.complete({"4g", "server", "show", "--jso"}), Words{"--json"});
    EXPECT_EQ(shell.complete({"buffer", "save-length", "l"}), Words{"long"});
    EXPECT_EQ(shell.complete({"inventory", "--q", ""}), Words());
}

TEST(Completion, WorksInBash)
{
    const Shell bash("bash", R"(source "$1"; shift; COMP_WORDS=(tagwire "$@"); COMP_CWORD=$#
compopt() { echo FILES; }
_tagwire tagwire "${@: -1}" "${@: -2:1}"; printf '%s\n' "${COMPREPLY[@]}" | grep .)");
    if (!bash.is_there()) GTEST_SKIP() << "no bash";
    expect_completions(bash);
    EXPECT_EQ(bash.complete({"read", "--file", ""}), std::vector<std::string>{"FILES"});
    EXPECT_EQ(bash.complete({"table", "read", "3", "--no-such"}), std::vector<std::string>{"FILES"});
}

// Its own functions, which work in a terminal only, are stood in for.
TEST(Completion, WorksInZsh)
{
    const Shell zsh("zsh", R"(compdef() { : }
_describe() { for one in ${(P)2}; do show ${one%%:*}; done }
compadd() { shift; for one in $@; do show $one; done }
_files() { print FILES }
show() { [[ -n $1 && $1 == ${words[CURRENT]}* ]] && print -r -- $1 }
source "$1"; shift; words=(tagwire "$@"); CURRENT=$#words; _tagwire)");
    if (!zsh.is_there()) GTEST_SKIP() << "no zsh";
    expect_completions(zsh);
    EXPECT_EQ(zsh.complete({"read", "--file", ""}), std::vector<std::string>{"FILES"});
}

TEST(Completion, WorksInFish)
{
    const Shell fish("fish",
                     R"(source $argv[1]; complete -C "tagwire $argv[2..-1]" | string replace -r '\t.*' '')");
    if (!fish.is_there()) GTEST_SKIP() << "no fish";
    expect_completions(fish);
}

TEST(Completion, KnowsTheShells)
{
    EXPECT_EQ(tagwire({"completion", "csh"}).exit_code, 2);
    EXPECT_EQ(tagwire({"completion"}).exit_code, 2);
}

// -- manual pages

TEST(Manual, TellsOfACommand)
{
    const auto page = tagwire({"man", "net", "set-mac"});
    EXPECT_EQ(page.exit_code, 0) << page.err;
    for (const char* const part :
         {".TH tagwire\\-net\\-set\\-mac 1 ", ".SH NAME\ntagwire\\-net\\-set\\-mac \\- Set the Ethernet",
          "\\fBtagwire net set\\-mac\\fR [\\fIoptions\\fR] \\fIMAC\\fR", "\\fB\\-\\-yes\\fR",
          ".SH EXAMPLES\n.nf\ntagwire net set\\-mac 02:00:00:12:34:56\n"})
        EXPECT_TRUE(has(page.out, part)) << part << page.out;
    EXPECT_TRUE(has(tagwire({"man"}).out, "\\fBtagwire\\-inventory\\fR(1)"));
    const auto none = tagwire({"man", "fly"});
    EXPECT_EQ(none.exit_code, 2);
    EXPECT_EQ(none.err, "tagwire: man: 'fly' is no command\n");
}

TEST(Manual, HasAPageOfEveryCommandThatManUnderstands)
{
    const TemporaryDirectory folder;
    const auto written = tagwire({"man", "--all", folder.path_of("man1")});
    ASSERT_EQ(written.exit_code, 0) << written.err;
    std::string pages;
    for (const auto& page : std::filesystem::directory_iterator(folder.path_of("man1")))
        pages += " '" + page.path().string() + "'";
    for (const char* const name : {"/tagwire.1'", "/tagwire-inventory.1'", "/tagwire-4g-server-set.1'"})
        EXPECT_TRUE(has(pages, name)) << name;
    if (run("/bin/sh", {"-c", "command -v groff"}).exit_code != 0) GTEST_SKIP() << "no groff";
    const auto checked = run("/bin/sh", {"-c", "groff -man -ww -Tutf8 -z" + pages});
    EXPECT_EQ(checked.err, "");
    EXPECT_EQ(tagwire({"man", "--all", "/proc/nowhere"}).exit_code, 1);
}

}  // namespace
}  // namespace tagwire::tool::test
