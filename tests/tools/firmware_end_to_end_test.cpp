// The command that updates a reader's program, against a virtual reader.
#include "simulated_reader.h"

#include <thread>

#include <signal.h>

#include <gtest/gtest.h>

namespace tagwire::tool::test {
namespace {

constexpr const char* scenario = "[reader]\nreport_rate = 0\n[firmware]\nboot_ms = 50\n";

// Its first two bytes become the version, 7.1.
std::string program(std::size_t bytes)
{
    std::string text = "\x07\x01";
    for (std::size_t i = 2; i < bytes; ++i) text += static_cast<char>(i * i / 7);
    return text;
}

struct FirmwareEndToEnd : testing::Test {
    Arguments update(const Arguments& more = {"--yes"}, std::size_t bytes = 10'000) const
    {
        Arguments arguments{"firmware", "update", directory.write("program.bin", program(bytes))};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    std::string version_of(const VirtualReader& reader) const
    {
        return objects_of(tool(reader, {"info", "--json"}).out).at(0)["firmware"];
    }

    TemporaryDirectory directory;
};

TEST_F(FirmwareEndToEnd, UpdatesAndShowsTheNewVersion)
{
    const VirtualReader reader(scenario);
    const auto ended = tool(reader, update());
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_TRUE(ended.out.starts_with("the reader at 127.0.0.1:")) << ended.out;
    EXPECT_TRUE(ended.out.ends_with(" runs version 7.1 now; it was 1.0\n")) << ended.out;
    const auto lines = lines_of(ended.err);
    EXPECT_NE(lines.at(0).find("program.bin: 10000 bytes, CRC-32 "), std::string::npos) << lines[0];
    EXPECT_NE(lines.at(0).find(", 40 blocks; the reader at 127.0.0.1:"), std::string::npos) << lines[0];
    for (const char* const progress : {"\n 10 %  1.0 of 9.8 KiB  ", "\n100 %  9.8 of 9.8 KiB  "})
        EXPECT_NE(ended.err.find(progress), std::string::npos) << ended.err;
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, ShowsEventsForPrograms)
{
    const VirtualReader reader(scenario, {"--pty", "--fault", "lose:command=0xF9,skip=3"});
    const auto ended = tool(reader, update({"--yes", "--json"}));
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
    const auto events = objects_of(ended.out);
    ASSERT_GE(events.size(), 13u);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["blocks"], 40);
    EXPECT_EQ(events.front()["version"], "1.0");
    EXPECT_EQ(events[1]["event"], "progress");
    EXPECT_EQ(events[1]["bytes"], 250);
    EXPECT_EQ(events.front()["reader_type"], 15);
    EXPECT_EQ(events.front()["address"], 0);
    EXPECT_EQ(events.front()["doubts"], Json::array());
    Json lost = Json::parse(R"({"type": "firmware-update", "event": "lost", "block": 4, "code": 48,
                                "arrived": true})");
    Json end = Json::parse(R"({"type": "firmware-update", "event": "end", "outcome": "updated",
                               "reader_state": "new-program", "blocks_done": 40,
                               "lost_answers": 1, "old_version": "1.0", "version": "7.1"})");
    lost["reader"] = end["reader"] = reader.url();
    EXPECT_EQ(events[2], lost);
    EXPECT_EQ(events.back(), end);
}

TEST_F(FirmwareEndToEnd, GoesOnWhenItsOutputIsFull)
{
    const VirtualReader reader(scenario);
    Arguments shell{"-c", R"(exec "$0" "$@" >/dev/full)", TAGWIRE_TOOL_PATH};
    const auto arguments = with_reader(reader, update({"--yes", "--json"}));
    shell.insert(shell.end(), arguments.begin(), arguments.end());
    const auto ended = run("/bin/sh", shell);
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("No space left"), std::string::npos) << ended.err;
    EXPECT_NE(ended.err.find(" runs version 7.1 now"), std::string::npos) << ended.err;
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, SendsNothingWhenSomethingIsWrong)
{
    const VirtualReader reader(scenario);
    const auto empty = directory.write("empty.bin", "");
    const std::vector<Arguments> wrong{update({}),
                                       update({"--yes", "--block-size", "0"}),
                                       update({"--yes", "--block-size", "251"}),
                                       update({"--yes", "--first-number", "256"}),
                                       update({"--yes", "--wrap-to", "-1"}),
                                       update({"--yes", "--retries", "101"}),
                                       update({"--yes", "--wait", "0"}),
                                       {"firmware", "update", "--yes"},
                                       {"firmware", "update", "--yes", empty},
                                       {"firmware", "update", "--yes", directory.path_of("missing.bin")},
                                       {"firmware", "update", "--yes", directory.path_of("")}};
    for (const auto& arguments : wrong) {
        const auto ended = tool(reader, arguments);
        EXPECT_EQ(ended.exit_code, 2) << arguments.back() << ended.err;
        EXPECT_EQ(ended.out, "");
        EXPECT_TRUE(ended.err.starts_with("tagwire: ")) << ended.err;
    }
    EXPECT_EQ(version_of(reader), "1.0");
}

TEST_F(FirmwareEndToEnd, HelpsWithExamples)
{
    const auto ended = run(TAGWIRE_TOOL_PATH, {"firmware", "update", "--help"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_NE(ended.out.find("Examples:\n  tagwire firmware update "), std::string::npos) << ended.out;
}

TEST_F(FirmwareEndToEnd, SaysWhatItWouldDo)
{
    const VirtualReader reader(scenario);
    const auto ended = tool(reader, update({"--dry-run", "--block-size", "100"}));
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_NE(ended.err.find(", 100 blocks; "), std::string::npos) << ended.err;
    EXPECT_NE(ended.err.find(" runs version 1.0\ndry run: nothing was changed\n"), std::string::npos)
        << ended.err;
    EXPECT_EQ(version_of(reader), "1.0");
}

TEST_F(FirmwareEndToEnd, NumbersBlocksAsTold)
{
    const VirtualReader reader(scenario);
    const auto ended = tool(reader, update({"--yes", "--first-number", "1"}));
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("tagwire: block 1 of 40 was refused by the reader at "), std::string::npos);
    EXPECT_NE(ended.err.find("status 0xF6 (246)\n"), std::string::npos) << ended.err;
    EXPECT_NE(
        ended.err.find("nothing was changed: the reader runs its old program, and is in its update mode"),
        std::string::npos)
        << ended.err;
    EXPECT_EQ(tool(reader, update({"--yes", "--block-size", "30"})).exit_code, 0);
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, MarksNothingWhenTheChecksumDiffers)
{
    const VirtualReader reader(scenario, {"--fault", "set:command=0xFA,byte=4,value=0x00"});
    const auto ended = tool(reader, update({"--yes", "--json"}));
    EXPECT_EQ(ended.exit_code, 1);
    const auto end = objects_of(ended.out).back();
    EXPECT_EQ(end["outcome"], "checksum-differs");
    EXPECT_EQ(end["reader_state"], "update-mode");
    EXPECT_TRUE(end["reader_crc32"].get<std::string>().starts_with("00"));
    EXPECT_TRUE(end.contains("error"));
    EXPECT_TRUE(end.contains("advice"));
    EXPECT_NE(ended.err.find("received something else: its CRC-32 is 00"), std::string::npos) << ended.err;
    EXPECT_EQ(version_of(reader), "1.0");
    EXPECT_EQ(tool(reader, update()).exit_code, 0);
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, CancelsWhatWasBegun)
{
    const VirtualReader reader(scenario, {"--fault", "set:command=0xFA,byte=4,value=0x00"});
    EXPECT_EQ(tool(reader, update()).exit_code, 1);
    for (int i = 0; i < 2; ++i) {
        const auto ended = tool(reader, {"firmware", "cancel"});
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        EXPECT_TRUE(ended.out.ends_with(" is not in its update mode\n")) << ended.out;
    }
    EXPECT_EQ(version_of(reader), "1.0");
}

TEST_F(FirmwareEndToEnd, UpdatesAReaderThatHidesInItsUpdateMode)
{
    SimulatedReader reader(ReaderLink::tcp, scenario);
    EXPECT_EQ(reader.tool(update({"--yes", "--first-number", "1"})).exit_code, 1);
    ASSERT_TRUE(reader->firmware().updating);
    sim::Fault hidden = sim::Fault::silence();
    hidden.command = 0x21;
    reader->inject(hidden);
    const std::jthread showing([&] {
        if (reader->wait_for_command(0xFB)) reader->clear_faults();
    });
    const auto ended = reader.tool(update());
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_NE(ended.err.find(" is in its update mode\n"), std::string::npos) << ended.err;
    EXPECT_EQ(reader->firmware().marks, 1U);
    EXPECT_EQ(reader.object({"info"})["firmware"], "7.1");
}

TEST_F(FirmwareEndToEnd, TellsDoubtsAboutTheFile)
{
    const VirtualReader reader(scenario);
    const auto asked = tool(reader, update({}, 999));
    EXPECT_EQ(asked.exit_code, 2);
    EXPECT_NE(asked.err.find("(999 bytes, it has fewer than 1024 bytes, it has an odd count of bytes)"),
              std::string::npos)
        << asked.err;
    const auto dry = tool(reader, update({"--dry-run"}, 999));
    EXPECT_EQ(dry.exit_code, 0);
    EXPECT_NE(dry.err.find("program.bin: it has an odd count of bytes\n"), std::string::npos) << dry.err;
    const auto unattended = tool(reader, update({"--yes"}, 999));
    EXPECT_EQ(unattended.exit_code, 2);
    EXPECT_NE(unattended.err.find("Add --with-doubts"), std::string::npos) << unattended.err;
    EXPECT_EQ(version_of(reader), "1.0");
    EXPECT_EQ(tool(reader, update({"--yes", "--with-doubts"}, 999)).exit_code, 0);
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, UpdatesWithoutAChecksumWhereThatIsWanted)
{
    const VirtualReader reader(scenario, {"--fault", "error:command=0xFA,status=0xFE,count=0"});
    const auto refused = tool(reader, update());
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_NE(refused.err.find("use --without-checksum"), std::string::npos) << refused.err;
    EXPECT_EQ(version_of(reader), "1.0");
    EXPECT_EQ(tool(reader, update({"--yes", "--without-checksum"})).exit_code, 0);
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, ShowsAnObjectWhereTheReaderIsNotThere)
{
    for (const auto& words : {update({"--yes", "--json"}), Arguments{"firmware", "cancel", "--json"}}) {
        Arguments arguments = words;
        arguments.insert(arguments.end(), {"--reader", "tcp://127.0.0.1:1"});
        const auto ended = run(TAGWIRE_TOOL_PATH, arguments);
        EXPECT_EQ(ended.exit_code, 1);
        const auto object = objects_of(ended.out).at(0);
        EXPECT_EQ(object["type"], "firmware-update");
        EXPECT_TRUE(object.contains("error"));
        EXPECT_EQ(object["reader"], "tcp://127.0.0.1:1");
    }
}

TEST_F(FirmwareEndToEnd, UpdatesSeveralReadersAtOnce)
{
    const VirtualReader left(scenario);
    const VirtualReader right(scenario, {"--listen", "127.0.0.2:0"});
    auto arguments = update();
    for (const auto& reader : {"left=" + left.url(), "right=" + right.url()})
        arguments.insert(arguments.end(), {"--reader", reader});
    const auto ended = run(TAGWIRE_TOOL_PATH, arguments);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    for (const char* const line : {"left: the reader at 127.0.0.1:", "right: the reader at 127.0.0.2:"})
        EXPECT_NE(ended.out.find(line), std::string::npos) << ended.out;
    EXPECT_NE(ended.err.find("right: 100 %  "), std::string::npos) << ended.err;
    EXPECT_EQ(version_of(left), "7.1");
    EXPECT_EQ(version_of(right), "7.1");
}

TEST_F(FirmwareEndToEnd, IsInterruptedAmongTheBlocks)
{
    for (const char* const place : {"--listen=127.0.0.1:0", "--pty"}) {
        VirtualReader reader(scenario, {place, "--trace", "--fault", "delay:command=0xF9,ms=20,count=0"});
        Process process(TAGWIRE_TOOL_PATH, with_reader(reader, update({"--yes", "--json"})));
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(reader.wait_for_request("F9"));
        process.send_signal(SIGINT);
        const auto ended = process.wait();
        EXPECT_EQ(ended.exit_code, 1);
        const auto end = objects_of(ended.out).back();
        EXPECT_EQ(end["outcome"], "interrupted");
        EXPECT_EQ(end["reader_state"], "update-mode");
        EXPECT_GE(end["blocks_done"], 2);
        EXPECT_LT(end["blocks_done"], 40);
        EXPECT_EQ(version_of(reader), "1.0");
        EXPECT_EQ(tool(reader, update({"--yes"}, 1024)).exit_code, 0);
        EXPECT_EQ(version_of(reader), "7.1");
    }
}

TEST_F(FirmwareEndToEnd, FinishesTheMarkWhenInterruptedInIt)
{
    VirtualReader reader(scenario, {"--trace", "--fault", "delay:command=0xFB,ms=700"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, update({"--yes", "--json"})));
    ASSERT_TRUE(reader.wait_for_request("FB"));
    process.send_signal(SIGINT);
    const auto ended = process.wait();
    const auto end = objects_of(ended.out).back();
    if (end["outcome"] == "updated") {
        EXPECT_EQ(ended.exit_code, 0);
    } else {
        EXPECT_EQ(ended.exit_code, 1);
        EXPECT_EQ(end["outcome"], "not-back");
        EXPECT_EQ(end["reader_state"], "marked");
    }
    EXPECT_EQ(version_of(reader), "7.1");
}

TEST_F(FirmwareEndToEnd, SaysThatTheReaderIsGone)
{
    VirtualReader reader(scenario, {"--trace", "--fault", "delay:command=0xF9,ms=20,count=0"});
    Process process(TAGWIRE_TOOL_PATH, with_reader(reader, update({"--yes", "--retries", "0"})));
    ASSERT_TRUE(reader.wait_for_request("F9"));
    reader.end();
    const auto ended = process.wait();
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(" fell silent: no answer in time (48)\n"), std::string::npos) << ended.err;
    EXPECT_NE(ended.err.find("check power and cable, then run the same command again: it starts over\n"),
              std::string::npos)
        << ended.err;
}

}  // namespace
}  // namespace tagwire::tool::test
