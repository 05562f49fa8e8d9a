// The tool against a virtual reader, both as processes of their own.
#include "three_tags.h"

#include <set>

#include <signal.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

TEST(InfoEndToEnd, ShowsTheReader)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"info"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
    for (const auto* const line :
         {"address          0x07\n", "firmware         3.12\n", "power            26 dBm\n",
          "scan time        300 ms\n", "module version   1.5\n"}) {
        EXPECT_NE(ended.out.find(line), std::string::npos) << ended.out;
    }
}

TEST(InfoEndToEnd, ShowsTheReaderAsJson)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"--json", "--address", "0x07", "info"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto object = Json::parse(ended.out);
    EXPECT_EQ(object["reader"], reader.url());
    EXPECT_EQ(object["address"], 7);
    EXPECT_EQ(object["module"]["version"], "1.5");
}

TEST(InfoEndToEnd, WorksOnASerialLine)
{
    const VirtualReader reader(three_tags, {"--pty"});
    const auto ended = tool(reader, {"info", "--baud", "115200", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(Json::parse(ended.out)["reader"], reader.url() + "?baud=115200");
}

TEST(InfoEndToEnd, ResolvesNames)
{
    const VirtualReader reader(three_tags);
    const auto port = reader.url().substr(reader.url().rfind(':'));
    const auto ended = run(TAGWIRE_TOOL_PATH, {"info"}, {"TAGWIRE_READER=tcp://localhost" + port});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
}

TEST(InfoEndToEnd, GoesOnWithoutAModule)
{
    const VirtualReader reader(three_tags, {"--fault", "error:command=0x83,status=0xFE"});
    const auto ended = tool(reader, {"info"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_NE(ended.out.find("module           no details (254)\n"), std::string::npos) << ended.out;
}

TEST(InfoEndToEnd, FailsWhenAnotherAddressIsAsked)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"info", "--address", "9"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("(48)"), std::string::npos) << ended.err;
}

TEST(InventoryEndToEnd, FindsEveryTagWithItsAntenna)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"inventory", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto tags = objects_of(ended.out);
    EXPECT_EQ(epcs_of(tags), (std::set<std::string>{first_epc, second_epc, third_epc}));
    for (const auto& tag : tags) {
        EXPECT_EQ(tag["type"], "tag");
        EXPECT_EQ(tag["antenna"], tag["epc"] == first_epc ? 1 : 2);
        EXPECT_EQ(tag["reads"], 1);
        EXPECT_EQ(tag["frequency_khz"], 866300);
    }
    EXPECT_TRUE(ended.err.starts_with("3 tags, 3 reads in ")) << ended.err;
}

TEST(InventoryEndToEnd, ShowsTagsAsText)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"inventory"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.out.find(std::string(first_epc) + "  antenna 1  rssi 201  reads 1  phase "),
              std::string::npos)
        << ended.out;
}

TEST(InventoryEndToEnd, ReadsOneAntennaOnly)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"inventory", "--antenna", "2", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(epcs_of(objects_of(ended.out)), (std::set<std::string>{second_epc, third_epc}));
}

TEST(InventoryEndToEnd, FailsOnAnAntennaThatIsNotThere)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"inventory", "--antenna", "4"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("is an antenna connected to it? (248)"), std::string::npos) << ended.err;
}

TEST(InventoryEndToEnd, ObeysAMask)
{
    const VirtualReader reader(three_tags);
    const auto whole = tool(reader, {"inventory", "--mask", "epc:32:3034", "--json"});
    ASSERT_EQ(whole.exit_code, 0) << whole.err;
    EXPECT_EQ(epcs_of(objects_of(whole.out)), (std::set<std::string>{third_epc}));
    const auto part = tool(reader, {"inventory", "--mask", "epc:32:E28F/12", "--count"});
    EXPECT_EQ(part.out, "2\n") << part.err;
}

TEST(InventoryEndToEnd, ReportsTheTid)
{
    const VirtualReader reader(three_tags);
    for (const auto& arguments :
         {Arguments{"inventory", "--json", "--tid", "0:6"}, Arguments{"inventory", "--tid", "--json"}}) {
        const auto ended = tool(reader, arguments);
        ASSERT_EQ(ended.exit_code, 0) << ended.err;
        std::set<std::string> tids;
        for (const auto& tag : objects_of(ended.out)) tids.insert(tag["tid"].get<std::string>());
        EXPECT_EQ(tids, (std::set<std::string>{"E28011602000000100000001", "E28011602000000100000002",
                                               "E28011602000000100000003"}));
        EXPECT_EQ(epcs_of(objects_of(ended.out)), (std::set<std::string>{first_epc, second_epc, third_epc}));
    }
}

TEST(InventoryEndToEnd, MergesForAWhile)
{
    const VirtualReader reader(three_tags);
    const auto ended = tool(reader, {"inventory", "--seconds", "0.5", "--json"});
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    const auto tags = objects_of(ended.out);
    ASSERT_EQ(tags.size(), 3u);
    for (const auto& tag : tags) EXPECT_GT(tag["reads"], 1);
}

TEST(InventoryEndToEnd, IsContentWithAnEmptyField)
{
    const VirtualReader reader("[reader]\nscan_time = 1\n");
    for (const auto& arguments : {Arguments{"inventory"}, Arguments{"inventory", "--seconds", "0.3"}}) {
        const auto ended = tool(reader, arguments);
        EXPECT_EQ(ended.exit_code, 0);
        EXPECT_EQ(ended.out, "");
        EXPECT_TRUE(ended.err.starts_with("0 tags, 0 reads in ")) << ended.err;
        for (const auto* const cause : {"antenna show", "power show", "select --all", "--target B", "doctor"})
            EXPECT_NE(ended.err.find(cause), std::string::npos) << ended.err;
    }
}

TEST(InventoryEndToEnd, SaysThatTheScanTimeWasOver)
{
    const VirtualReader reader("[reader]\n\n[[tag]]\nepc = \"E28011700000\"\ncount = 400\n");
    const auto ended = tool(reader, {"inventory", "--json", "--scan-time", "100"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.err.find("the scan time was over, there may be more"), std::string::npos) << ended.err;
    const auto last = objects_of(ended.out).back();
    EXPECT_EQ(last["type"], "inventory");
    EXPECT_EQ(last["complete"], false);
}

TEST(InventoryEndToEnd, CountsNothingWhereNoReaderIs)
{
    const auto ended =
        run(TAGWIRE_TOOL_PATH, {"inventory", "--count", "--json", "--reader", "tcp://127.0.0.1:1"});
    EXPECT_EQ(ended.exit_code, 1);
    const auto objects = objects_of(ended.out);
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_FALSE(objects[0].contains("tags"));
    EXPECT_NE(objects[0]["error"].get<std::string>().find("refuses the connection"), std::string::npos);
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, {"inventory", "--count", "--reader", "tcp://127.0.0.1:1"}).out, "");
}

TEST(InventoryEndToEnd, EndsWellWhenInterrupted)
{
    VirtualReader reader(three_tags, {"--trace"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"inventory", "--seconds", "600", "--json"}));
    ASSERT_TRUE(reader.wait_for_request("01"));
    process.send_signal(SIGINT);
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.err.find(" s"), std::string::npos) << ended.err;
}

TEST(InventoryEndToEnd, CutsALongInventoryShortWhenInterrupted)
{
    VirtualReader reader("[reader]\nscan_time = 250\n", {"--trace"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, {"inventory"}));
    ASSERT_TRUE(reader.wait_for_request("01"));
    process.send_signal(SIGINT);
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_TRUE(ended.err.starts_with("0 tags, 0 reads in 0.")) << ended.err;
}

}  // namespace
}  // namespace tagwire::tool::test
