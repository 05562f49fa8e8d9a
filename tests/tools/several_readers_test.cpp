// One command and several readers.
#include "virtual_reader.h"

#include <algorithm>
#include <map>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

std::string field_of(const std::string& tag)
{
    return "[reader]\nscan_time = 1\n\n[[tag]]\nepc = \"" + tag + "\"\n";
}

const std::string left_tag = "E28011700000020F00000001";
const std::string right_tag = "E28011700000020F00000002";

class SeveralReaders : public testing::Test {
  protected:
    Arguments both(Arguments arguments) const
    {
        for (const auto& reader : {"left=" + left_.url(), "right=" + right_.url()}) {
            arguments.emplace_back("--reader");
            arguments.push_back(reader);
        }
        return arguments;
    }
    static Ended call(const Arguments& arguments) { return run(TAGWIRE_TOOL_PATH, arguments); }

    VirtualReader left_{field_of(left_tag)};
    VirtualReader right_{field_of(right_tag), {"--listen", "127.0.0.2:0"}};
    TemporaryDirectory directory_;
};

TEST_F(SeveralReaders, EachLineNamesItsReader)
{
    const auto ended = call(both({"inventory"}));
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    auto lines = lines_of(ended.out);
    std::sort(lines.begin(), lines.end());
    ASSERT_EQ(lines.size(), 2u) << ended.out;
    EXPECT_TRUE(lines[0].starts_with("left: " + left_tag + "  antenna 1")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with("right: " + right_tag + "  antenna 1")) << lines[1];
    EXPECT_NE(ended.err.find("left: 1 tag, 1 read in "), std::string::npos) << ended.err;
    EXPECT_NE(ended.err.find("right: 1 tag, 1 read in "), std::string::npos) << ended.err;
}

TEST_F(SeveralReaders, EachObjectNamesItsReader)
{
    const auto ended = call(both({"inventory", "--json"}));
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    std::map<std::string, std::string> tag_of;
    for (const auto& object : objects_of(ended.out)) tag_of[object["reader"]] = object["epc"];
    EXPECT_EQ(tag_of, (std::map<std::string, std::string>{{"left", left_tag}, {"right", right_tag}}));
}

TEST_F(SeveralReaders, AreNamedInAFile)
{
    const auto file = directory_.write("readers.toml", "[[reader]]\nname = \"left\"\nurl = \"" + left_.url() +
                                                           "\"\n[[reader]]\nname = \"right\"\nurl = \"" +
                                                           right_.url() + "\"\nrssi_offset = 3\n");
    auto ended = call({"inventory", "--count", "--readers", file});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    auto lines = lines_of(ended.out);
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (std::vector<std::string>{"left: 1", "right: 1"}));
}

TEST_F(SeveralReaders, OfAFileComeBeforeTheUsualOne)
{
    const auto file =
        directory_.write("readers.toml", "[[reader]]\nname = \"right\"\nurl = \"" + right_.url() + "\"\n");
    const auto ended =
        run(TAGWIRE_TOOL_PATH, {"inventory", "--json", "--readers", file}, {"TAGWIRE_READER=" + left_.url()});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(objects_of(ended.out).at(0)["epc"], right_tag);
}

TEST_F(SeveralReaders, FailWhereOneFails)
{
    right_.end();
    const auto ended = call(both({"inventory"}));
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_TRUE(ended.out.starts_with("left: " + left_tag)) << ended.out;
    EXPECT_NE(ended.err.find("tagwire: right: "), std::string::npos) << ended.err;
}

TEST_F(SeveralReaders, AreTooManyForACommandOfOne)
{
    const auto ended = call(both({"at"}));
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_EQ(ended.err, "tagwire: at works on one reader, and 2 are named\n");
}

TEST(NamesOfReaders, AreChecked)
{
    const TemporaryDirectory directory;
    const auto call = [](Arguments arguments) {
        arguments.emplace_back("info");
        const auto ended = run(TAGWIRE_TOOL_PATH, arguments);
        EXPECT_EQ(ended.exit_code, 2) << testing::PrintToString(arguments);
        return ended.err;
    };
    const auto of_file = [&](const std::string& text) {
        const auto path = directory.write("readers.toml", text);
        const auto problem = call({"--readers", path});
        const auto begin = "tagwire: " + path;
        EXPECT_TRUE(problem.starts_with(begin)) << problem;
        return problem.substr(std::min(begin.size(), problem.size()));
    };
    EXPECT_EQ(call({"--reader", "a=tcp://h:1", "--reader", "a=tcp://g:1"}),
              "tagwire: two readers are called 'a'\n");
    EXPECT_EQ(call({"--reader", "a=tcp://h:1", "--reader", "b=tcp://h:1"}),
              "tagwire: the reader at tcp://h:1 is named twice\n");
    EXPECT_EQ(call({"--reader", "a=tcp://h:1", "--readers", "/nowhere"}),
              "tagwire: readers are named by --reader or by --readers FILE, not by both\n");
    EXPECT_NE(call({"--reader", "a=ftp://h:1"}).find("'ftp://h:1' names no reader"), std::string::npos);
    EXPECT_EQ(of_file("[reader]\nname = \"a\"\n"), ": there is no [[reader]] with a name and a url\n");
    EXPECT_EQ(of_file("[[reader]]\nname = \"a\"\n"), ", line 1: a reader has a name and a url, both texts\n");
    EXPECT_TRUE(of_file("[[reader]]\nname =\n").starts_with(", line 2: "));
}

TEST_F(SeveralReaders, AreComparedWithAFile)
{
    const auto file = directory_.write("portal.toml", "[settings]\nq = 6\n");
    const auto call_with = [&](Arguments arguments) { return call(both(std::move(arguments))); };
    ASSERT_EQ(call({"config", "load", file, "--reader", left_.url()}).exit_code, 0);
    const auto dry = call_with({"config", "load", file, "--dry-run"});
    EXPECT_EQ(dry.exit_code, 3) << dry.err;
    EXPECT_TRUE(dry.out.ends_with("left   same\nright  differs: q\n")) << dry.out;
    std::map<std::string, std::string> verdicts;
    for (const auto& object : objects_of(call_with({"config", "load", file, "--dry-run", "--json"}).out))
        verdicts[object["reader"]] = object["verdict"];
    EXPECT_EQ(verdicts, (std::map<std::string, std::string>{{"left", "same"}, {"right", "differs"}}));
    EXPECT_EQ(call_with({"config", "load", file}).exit_code, 0);
    EXPECT_EQ(call_with({"config", "load", file, "--dry-run"}).exit_code, 0);
}

TEST_F(SeveralReaders, AreSavedInFilesOfTheirOwn)
{
    EXPECT_EQ(call(both({"config", "save", directory_.path_of("all.toml")})).exit_code, 2);
    const auto ended = call(both({"config", "save", directory_.path_of("{reader}.toml")}));
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(directory_.read("left.toml"), "");
    EXPECT_EQ(directory_.read("left.toml"), directory_.read("right.toml"));
    EXPECT_EQ(call(both({"power", "show"})).exit_code, 0);
}

}  // namespace
}  // namespace tagwire::tool::test
