// Commands for single tags and for the reader's buffer against a virtual reader.
#include "simulated_reader.h"
#include "virtual_reader.h"

#include <map>
#include <set>

#include <gtest/gtest.h>
#include <signal.h>

namespace tagwire::tool::test {
namespace {

constexpr const char* open_epc = "E28011700000020F00000001";
constexpr const char* secured_epc = "E28011700000020F00000002";
constexpr const char* long_epc = "3034000040C00004000000033034000040C0000400000003";
constexpr const char* password = "12345678";
constexpr std::size_t user_words = 600;

std::string zeros(std::size_t words) { return std::string(4 * words, '0'); }

// Words that all differ: 1000, 1001 ...
std::string numbered(std::size_t words)
{
    std::string text;
    for (std::size_t i = 0; i < words; ++i) text += std::to_string(1000 + i);
    return text;
}

std::string gen2_scenario()
{
    return R"(
[reader]
air_time = 0
antennas = 2
by_chance = false

[[tag]]
epc = "E28011700000020F00000001"
tid = "E28011602000000100000001"
kill_password = "87654321"
user = ")" +
           zeros(user_words) +
           R"("

[[tag]]
epc = "E28011700000020F00000002"
tid = "E28011602000000100000002"
access_password = "12345678"
kill_password = "87654321"
locks = "22030"
user = ")" +
           zeros(64) +
           R"("
antennas = [2]

[[tag]]
epc = "3034000040C00004000000033034000040C0000400000003"
tid = "E28011602000000100000003"
epc_words = 31
user = ")" +
           zeros(200) + "\"\n";
}

Arguments joined(Arguments first, const Arguments& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Runs the tool with --json and expects one object and this exit code.
Json json_of(const VirtualReader& reader, const Arguments& arguments, int exit_code = 0)
{
    const auto ended = tool(reader, joined(arguments, {"--json"}));
    EXPECT_EQ(ended.exit_code, exit_code) << ended.err;
    const auto objects = objects_of(ended.out);
    EXPECT_EQ(objects.size(), 1u) << ended.out;
    return objects.empty() ? Json::object() : objects[0];
}

std::vector<Json> list_of(const VirtualReader& reader, const Arguments& arguments)
{
    const auto ended = tool(reader, joined(arguments, {"--json"}));
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    return objects_of(ended.out);
}

std::set<std::string> values_of(const std::vector<Json>& objects, const char* key)
{
    std::set<std::string> values;
    for (const auto& object : objects) values.insert(object[key].get<std::string>());
    return values;
}

void expect_failure(const Ended& ended, const std::string& message)
{
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find(message), std::string::npos) << ended.err;
}

class Gen2EndToEnd : public testing::Test {
  protected:
    std::string read(const char* epc, const char* bank, std::size_t word, std::size_t count,
                     const Arguments& more = {})
    {
        const auto ended = tool(reader, joined({"read", "--epc", epc, "--bank", bank, "--word",
                                                std::to_string(word), "--count", std::to_string(count)},
                                               more));
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        return ended.out.substr(0, ended.out.find('\n'));
    }
    Ended write(const char* epc, const char* bank, const std::string& data, const Arguments& more = {})
    {
        return tool(reader, joined({"write", "--epc", epc, "--bank", bank, "--data", data}, more));
    }

    VirtualReader reader{gen2_scenario()};
};

TEST_F(Gen2EndToEnd, ReadsByEpcAndByMask)
{
    EXPECT_EQ(read(open_epc, "tid", 0, 6), "E28011602000000100000001");
    const auto object =
        json_of(reader, {"read", "--mask", "tid:80:0002", "--bank", "epc", "--word", "2", "--count", "6"});
    EXPECT_EQ(object["type"], "read");
    EXPECT_EQ(object["mask"], "tid:80:0002/16");
    EXPECT_EQ(object["bank"], "epc");
    EXPECT_EQ(object["first_word"], 2);
    EXPECT_EQ(object["data"], secured_epc);
    EXPECT_EQ(object["complete"], true);
}

TEST_F(Gen2EndToEnd, WritesOneFrameAndVerifies)
{
    const auto ended = write(open_epc, "user", "CAFE0123", {"--word", "4", "--verify"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "2 words of user written (4-5) and read back\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(read(open_epc, "user", 3, 4), "0000CAFE01230000");
}

TEST_F(Gen2EndToEnd, WritesAndReadsLongDataInPieces)
{
    const auto data = numbered(user_words);
    for (const auto& more : std::vector<Arguments>{{}, {"--block", "--chunk", "255"}}) {
        const auto object = json_of(
            reader, joined({"write", "--epc", open_epc, "--bank", "user", "--data", data, "--verify"}, more));
        EXPECT_EQ(object["complete"], true);
        EXPECT_EQ(object["verified"], true);
        EXPECT_EQ(object["written"], Json::parse(R"([{"first":0,"count":600}])"));
        EXPECT_EQ(read(open_epc, "user", 0, user_words), data);
        EXPECT_EQ(tool(reader, {"erase", "--epc", open_epc, "--bank", "user", "--count", "255", "--yes"}).out,
                  "255 words of user erased from word 0 on\n");
        EXPECT_EQ(read(open_epc, "user", 0, user_words), zeros(255) + data.substr(4 * 255));
    }
}

TEST_F(Gen2EndToEnd, ChoosesPiecesThatFitALongName)
{
    const auto data = numbered(200);
    EXPECT_EQ(write(long_epc, "user", data, {"--chunk", "255", "--verify"}).exit_code, 0);
    EXPECT_EQ(read(long_epc, "user", 0, 200), data);
    const auto ended = tool(reader, {"write", "--mask", std::string("epc:32:") + long_epc, "--bank", "user",
                                     "--data", zeros(200), "--chunk", "255", "--verify"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(read(long_epc, "user", 0, 200), zeros(200));
}

TEST_F(Gen2EndToEnd, FollowsAMaskThatItOverwrites)
{
    ASSERT_EQ(write(open_epc, "user", "CAFE").exit_code, 0);
    const auto ended = tool(
        reader, {"write", "--mask", "user:0:CAFE", "--bank", "user", "--data", numbered(100), "--verify"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(read(open_epc, "user", 0, 100), numbered(100));
}

TEST_F(Gen2EndToEnd, TakesAndGivesRawBytes)
{
    const TemporaryDirectory directory;
    const auto path = directory.write("data.bin", "hello!");
    EXPECT_EQ(tool(reader, {"write", "--epc", open_epc, "--bank", "user", "--file", path}).exit_code, 0);
    EXPECT_EQ(read(open_epc, "user", 0, 3), "68656C6C6F21");
    const auto input = directory.write("input", "HELLO?");
    EXPECT_EQ(tool(reader, {"write", "--epc", open_epc, "--bank", "user", "--file", "-"}, input).exit_code,
              0);
    const Arguments read_out{"read", "--epc", open_epc, "--bank", "user", "--count", "3", "--file"};
    EXPECT_EQ(tool(reader, joined(read_out, {"-"})).out, "HELLO?");
    EXPECT_EQ(tool(reader, joined(read_out, {directory.path_of("out.bin")})).out, "");
    EXPECT_EQ(directory.read("out.bin"), "HELLO?");
    const auto unwritable = tool(reader, joined(read_out, {directory.path_of("no/out.bin")}));
    EXPECT_EQ(unwritable.exit_code, 2);
    EXPECT_NE(unwritable.err.find("cannot be written: No such file"), std::string::npos) << unwritable.err;
    // What goes to standard output is the only thing there.
    EXPECT_EQ(tool(reader, joined(read_out, {"-", "--json"})).out, "HELLO?");
    // A reading that fails leaves the file as it was.
    EXPECT_EQ(tool(reader, {"read", "--epc", open_epc, "--bank", "tid", "--count", "9", "--file",
                            directory.path_of("out.bin")})
                  .exit_code,
              1);
    EXPECT_EQ(directory.read("out.bin"), "HELLO?");
}

TEST_F(Gen2EndToEnd, FindsTheTagAgainUnderThePasswordItWrote)
{
    EXPECT_EQ(write(open_epc, "reserved", "ABCD1234", {"--word", "2", "--verify"}).exit_code, 0);
    EXPECT_EQ(read(open_epc, "reserved", 2, 2, {"--password", "ABCD1234"}), "ABCD1234");
}

TEST_F(Gen2EndToEnd, SaysInWordsWhatWentWrong)
{
    expect_failure(tool(reader, {"read", "--epc", "E2801170", "--bank", "user", "--count", "1"}),
                   ": no tag answers to E2801170: is it close to an antenna");
    expect_failure(tool(reader, {"read", "--epc", open_epc, "--bank", "tid", "--word", "6", "--count", "1"}),
                   "the tag has no such memory: check bank, first word and count (252, tag error 3)");
    expect_failure(write(secured_epc, "user", "1234", {"--password", "11111111"}),
                   "says that the password is wrong");
    const auto locked = write(open_epc, "tid", "1234");
    expect_failure(locked, "the memory is locked");
    expect_failure(locked, "not written: words 0 (252, tag error 4)");
}

TEST_F(Gen2EndToEnd, ShowsThePartThatItCouldRead)
{
    const auto ended =
        tool(reader, {"read", "--epc", open_epc, "--bank", "user", "--word", "400", "--count", "250"});
    expect_failure(ended, "no such memory");
    EXPECT_EQ(ended.out, zeros(125) + "\n");
    EXPECT_NE(ended.err.find("\nread: words 400-524\nnot read: words 525-649\n"), std::string::npos)
        << ended.err;
}

TEST_F(Gen2EndToEnd, GivesATagANewEpc)
{
    // The upper five bits of the control word are its length.
    ASSERT_EQ(write(open_epc, "epc", "3234", {"--word", "1", "--verify"}).exit_code, 0);
    const auto ended = tool(reader, {"write-epc", "AAAABBBB", "--epc", open_epc, "--verify"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "the tag has the EPC AAAABBBB now\n");
    EXPECT_EQ(read("AAAABBBB", "epc", 1, 3), "1234AAAABBBB");

    const auto longer =
        json_of(reader, {"write-epc", "000100020003000400050006", "--mask", "epc:32:AAAA", "--verify"});
    EXPECT_EQ(longer["type"], "write-epc");
    EXPECT_EQ(longer["new_epc"], "000100020003000400050006");
    EXPECT_EQ(longer["mask"], "epc:32:AAAA/16");
    EXPECT_EQ(longer["verified"], true);
    EXPECT_EQ(read("000100020003000400050006", "epc", 1, 2), "32340001");
}

TEST_F(Gen2EndToEnd, GivesTheOnlyTagANewEpc)
{
    EXPECT_EQ(tool(reader, {"write-epc", "CCCC", "--any"}).exit_code, 2);
    expect_failure(tool(reader, {"write-epc", "CCCC", "--any", "--yes"}), "3 tags answer to the reader");
    expect_failure(tool(reader, {"write-epc", "CCCC", "--mask", "tid:0:E2801160"}), "3 tags answer to");
    expect_failure(tool(reader, {"write-epc", secured_epc, "--epc", open_epc}), secured_epc);
    const VirtualReader alone("[[tag]]\nepc = \"E2801170\"\ntid = \"E28011602000000100000001\"\n");
    const auto object = json_of(alone, {"write-epc", "CCCC", "--any", "--yes"});
    EXPECT_EQ(object["any"], true);
    EXPECT_EQ(object["verified"], true);
    EXPECT_EQ(tool(alone, {"read", "--epc", "CCCC", "--bank", "tid", "--count", "6"}).out,
              "E28011602000000100000001\n");
}

TEST_F(Gen2EndToEnd, NamesATagByItsTid)
{
    const auto object = json_of(reader, {"read", "--tid", "E28011602000000100000002", "--bank", "epc",
                                         "--word", "2", "--count", "6"});
    EXPECT_EQ(object["tid"], "E28011602000000100000002");
    EXPECT_EQ(object["data"], secured_epc);
    EXPECT_EQ(object["reader"], reader.url());
    // All there is of a bank.
    EXPECT_EQ(tool(reader, {"read", "--tid", "E28011602000000100000003", "--bank", "user"}).out,
              zeros(200) + "\n");
}

TEST_F(Gen2EndToEnd, TakesPasswordsFromFilesAndTheEnvironment)
{
    const TemporaryDirectory directory;
    const auto secret = directory.write("secret", std::string(password) + "\n");
    EXPECT_EQ(write(secured_epc, "user", "1234", {"--password", "@" + secret}).exit_code, 0);
    const auto given =
        with_reader(reader, {"write", "--epc", secured_epc, "--bank", "user", "--data", "4321"});
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, given, {std::string("TAGWIRE_PASSWORD=") + password}).exit_code, 0);
    expect_failure(run(TAGWIRE_TOOL_PATH, given, {"TAGWIRE_PASSWORD=11111111"}), "the password is wrong");
    // Commands that take no password do not look at it, and help comes before everything.
    EXPECT_EQ(
        run(TAGWIRE_TOOL_PATH, with_reader(reader, {"inventory", "--count"}), {"TAGWIRE_PASSWORD=123"}).out,
        "3\n");
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, {"read", "--epc", "zz", "--help"}, {"TAGWIRE_PASSWORD=123"}).exit_code,
              0);
    EXPECT_EQ(run(TAGWIRE_TOOL_PATH, given, {"TAGWIRE_PASSWORD=123"}).exit_code, 2);
    const auto none = write(secured_epc, "user", "1234", {"--password", "@/no/such/file"});
    EXPECT_EQ(none.exit_code, 2);
    EXPECT_EQ(none.err.find(password), std::string::npos);
}

TEST_F(Gen2EndToEnd, SetsPasswords)
{
    const TemporaryDirectory directory;
    const auto secret = directory.write("secret", "0x1122 3344\n");
    const auto set =
        json_of(reader, {"password", "set", "access", "--epc", open_epc, "--new-password", "@" + secret});
    EXPECT_EQ(set["which"], "access");
    EXPECT_EQ(set["verified"], true);
    EXPECT_EQ(set.dump().find("1122"), std::string::npos);
    EXPECT_EQ(read(open_epc, "reserved", 2, 2, {"--password", "11223344"}), "11223344");
    EXPECT_EQ(tool(reader, {"password", "set", "kill", "--tid", "E28011602000000100000002", "--password",
                            password, "--new-password", "55667788"})
                  .out,
              "the kill password is written and read back\n");
    EXPECT_EQ(read(secured_epc, "reserved", 0, 2, {"--password", password}), "55667788");
}

TEST_F(Gen2EndToEnd, TakesHexadecimalAsPeopleWriteIt)
{
    EXPECT_EQ(write(open_epc, "user", "0xCAFE 0xBABE 1234").exit_code, 0);
    EXPECT_EQ(read("E280 1170 0000 020F 0000 0001", "user", 0, 3), "CAFEBABE1234");
    const auto wrong = write(open_epc, "reserved", "1122334G");
    EXPECT_EQ(wrong.exit_code, 2);
    EXPECT_EQ(wrong.err, "tagwire: --data: character 8 is no hexadecimal digit\n");
}

TEST_F(Gen2EndToEnd, CommissionsTheTagsOfATable)
{
    const TemporaryDirectory directory;
    const auto table =
        directory.write("tags.csv", "tid,epc,access,lock\n"
                                    "E28011602000000100000001,AAAA000000000001,11223344,epc:password\n"
                                    "E280116020000001000000FF,AAAA000000000002,,\n");
    const Arguments commission{"commission", table, "--json"};
    const auto broken = tool(reader, commission);
    EXPECT_EQ(broken.exit_code, 1);
    const auto reports = objects_of(broken.out);
    ASSERT_EQ(reports.size(), 2u) << broken.err;
    EXPECT_EQ(reports[0]["tid"], "E28011602000000100000001");
    EXPECT_EQ(reports[0]["ok"], true);
    EXPECT_EQ(reports[0]["resumed"], false);
    EXPECT_EQ(reports[0]["reader"], reader.url());
    EXPECT_EQ(reports[1]["ok"], false);
    EXPECT_EQ(reports[1]["steps"][0]["state"], "failed");
    EXPECT_EQ(broken.err, "1 of 2 tags done, 1 failed\n");
    // Run again, what is there is found.
    EXPECT_EQ(objects_of(tool(reader, commission).out).at(0)["resumed"], true);
    const auto one = tool(reader, {"commission", "--tid", "E28011602000000100000001", "--new-epc", "BBBB",
                                   "--password", "11223344", "--lock", "user:password"});
    EXPECT_EQ(one.exit_code, 0) << one.err;
    EXPECT_TRUE(one.out.starts_with("E28011602000000100000001 ok: EPC done")) << one.out;
    EXPECT_EQ(
        tool(reader, {"commission", "--tid", "E28011602000000100000001", "--lock", "user:forever"}).exit_code,
        2);
    for (const auto& wrong : std::vector<Arguments>{{"commission"},
                                                    {"commission", "/no/such/file"},
                                                    {"commission", table, "--new-epc", "BBBB"},
                                                    {"commission", "--new-epc", "BBBB"},
                                                    {"commission", "--tid", "E280", "--lock", "user"}})
        EXPECT_EQ(tool(reader, wrong).exit_code, 2) << wrong.back();
}

TEST(Retries, AreOfWhatChangesNothing)
{
    const SimulatedReader reader(ReaderLink::tcp, gen2_scenario());
    constexpr std::uint8_t read_command = 0x02;
    constexpr std::uint8_t write_command = 0x03;
    constexpr std::uint8_t no_tag = 0xFB;
    const auto asked = [&](std::uint8_t command) { return reader->counters().commands[command]; };
    const Arguments read{"read", "--epc", open_epc, "--bank", "tid", "--word", "0", "--count", "2"};
    reader->inject(sim::Fault::error(read_command, no_tag, 2));
    reader.expect_failure(read, "no such tag");
    EXPECT_EQ(reader.output(joined(read, {"--retries", "1"})), "E2801160\n");
    EXPECT_EQ(asked(read_command), 3u);
    reader->inject(sim::Fault::error(write_command, no_tag, 0));
    reader.expect_failure({"write", "--epc", open_epc, "--bank", "user", "--data", "CAFE", "--retries", "5"},
                          "no such tag");
    EXPECT_EQ(asked(write_command), 1u);
}

// The tag is looked at where the answer is lost: what was seen to be done is done.
TEST(LostAnswers, AreLookedInto)
{
    const SimulatedReader reader(ReaderLink::tcp, gen2_scenario());
    constexpr std::uint8_t kill_command = 0x05;
    constexpr std::uint8_t lock_command = 0x06;
    constexpr std::uint8_t erase_command = 0x07;
    const auto lose = [&](std::uint8_t command) {
        reader->inject(sim::Fault::parse("lose:command=" + std::to_string(command)));
    };
    const auto asked = [&](std::uint8_t command) { return reader->counters().commands[command]; };
    const Arguments user{"--bank", "user", "--count", "2", "--epc", open_epc};
    reader.output(joined({"write", "--bank", "user", "--data", "CAFE0123", "--epc"}, {open_epc}));
    lose(erase_command);
    reader.output(joined({"erase", "--yes"}, user));
    EXPECT_EQ(reader.output(joined({"read"}, user)), "00000000\n");

    lose(lock_command);
    const auto locked = reader.tool(
        {"lock", "--area", "user", "--protection", "permanently-open", "--yes", "--json", "--epc", open_epc});
    EXPECT_EQ(locked.exit_code, 1);
    EXPECT_EQ(objects_of(locked.out).at(0)["outcome"], "unknown");

    lose(kill_command);
    reader.output({"kill", "--yes", "--kill-password", "87654321", "--epc", open_epc});
    EXPECT_EQ(reader.output({"inventory", "--count"}), "2\n");
    for (const auto command : {erase_command, lock_command, kill_command}) EXPECT_EQ(asked(command), 1u);
}

TEST(WrongPasswords, GoOutOnce)
{
    const SimulatedReader reader(ReaderLink::tcp, gen2_scenario());
    constexpr std::uint8_t write_command = 0x03;
    const auto ended = reader.tool({"write", "--epc", secured_epc, "--bank", "user", "--data", "CAFE",
                                    "--password", "11111111", "--retries", "3"});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("password"), std::string::npos) << ended.err;
    EXPECT_EQ(reader->counters().commands[write_command], 1u);
}

TEST(Interrupted, AnInventoryShowsWhatCame)
{
    SimulatedReader reader(ReaderLink::tcp,
                           "[reader]\nair_time = 1\n[[tag]]\nepc = \"E2801170\"\ncount = 3000\n");
    Ended ended;
    // Where the machine is so busy that nothing was taken yet, once more.
    for (int i = 0; i < 20 && ended.out.empty(); ++i) {
        const auto before = reader->counters().bytes_sent;
        Process inventory(TAGWIRE_TOOL_PATH, reader.arguments({"inventory", "--q", "8", "--antenna", "1",
                                                               "--scan-time", "25000", "--session", "S1"}));
        ASSERT_TRUE(
            reader->wait_until([&](const sim::Counters& now) { return now.bytes_sent > before + 4000; }));
        inventory.send_signal(SIGINT);
        ended = inventory.wait();
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
        EXPECT_NE(ended.err.find("; interrupted, there may be more"), std::string::npos) << ended.err;
    }
    EXPECT_TRUE(ended.out.starts_with("E2801170")) << ended.out;
}

TEST_F(Gen2EndToEnd, LocksAndUnlocks)
{
    const Arguments lock{"lock", "--epc", secured_epc, "--area", "user"};
    const auto useless = tool(reader, joined(lock, {"--protection", "protected"}));
    EXPECT_EQ(useless.exit_code, 2);
    EXPECT_NE(useless.err.find("--no-password"), std::string::npos) << useless.err;
    EXPECT_EQ(tool(reader, {"lock", "--epc", open_epc, "--area", "user", "--protection", "protected",
                            "--no-password"})
                  .exit_code,
              0);
    const auto locked = json_of(reader, joined(lock, {"--protection", "protected", "--password", password}));
    EXPECT_EQ(locked["type"], "lock");
    EXPECT_EQ(locked["area"], "user");
    EXPECT_EQ(locked["protection"], "protected");
    const auto unlocked =
        json_of(reader, joined(lock, {"--protection", "open", "--password", "11111111"}), 1);
    EXPECT_EQ(unlocked["type"], "lock");
    EXPECT_EQ(unlocked["outcome"], "nothing");
    expect_failure(write(secured_epc, "user", "1234"), "the memory is locked");
    EXPECT_EQ(write(secured_epc, "user", "1234", {"--password", password}).exit_code, 0);
    const auto opened = tool(reader, joined(lock, {"--protection", "open", "--password", password}));
    EXPECT_EQ(opened.out, "user is open now\n") << opened.err;
    EXPECT_EQ(write(secured_epc, "user", "4321").exit_code, 0);
}

TEST_F(Gen2EndToEnd, LocksForGoodOnlyWhenToldSo)
{
    const Arguments lock{"lock",         "--epc", secured_epc,  "--area", "4",
                         "--protection", "3",     "--password", password};
    EXPECT_EQ(tool(reader, lock).exit_code, 2);
    EXPECT_EQ(write(secured_epc, "user", "1234", {"--password", password}).exit_code, 0);
    EXPECT_EQ(tool(reader, joined(lock, {"--yes"})).out, "user is permanently-protected now\n");
    expect_failure(write(secured_epc, "user", "4321", {"--password", password}), "the memory is locked");
}

TEST_F(Gen2EndToEnd, KillsATag)
{
    const Arguments kill{"kill", "--epc", open_epc, "--yes", "--kill-password"};
    expect_failure(tool(reader, joined(kill, {"11111111"})), "the password is wrong");
    EXPECT_EQ(json_of(reader, joined(kill, {"87654321"}))["epc"], open_epc);
    expect_failure(tool(reader, joined(kill, {"87654321"})), "no tag answers to");
    expect_failure(tool(reader, {"kill", "--mask", std::string("epc:32:") + long_epc, "--yes",
                                 "--kill-password", "87654321"}),
                   "the tag still answers (252, tag error 0)");
    expect_failure(tool(reader, {"kill", "--mask", "tid:0:E2801160", "--yes", "--kill-password", "87654321"}),
                   "2 tags answer to");
    EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "2\n");
}

TEST_F(Gen2EndToEnd, SelectsTags)
{
    const auto object =
        json_of(reader, {"select", "--antennas", "1,2", "--target", "SL", "--mask", "epc:32:3034"});
    EXPECT_EQ(object["antennas"], Json::parse("[1,2]"));
    EXPECT_EQ(object["target"], "SL");
    EXPECT_EQ(object["mask"], "epc:32:3034/16");
    EXPECT_EQ(values_of(list_of(reader, {"inventory"}), "epc"), std::set<std::string>{long_epc});
    EXPECT_EQ(tool(reader, {"select", "--antennas", "1,2", "--all"}).out, "select filter taken away\n");
    EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "3\n");

    for (const auto& antennas : std::vector<Arguments>{{}, {"--antennas", "1,2"}}) {
        const auto select = joined({"select", "--target", "SL", "--mask", "tid:80:0002"}, antennas);
        EXPECT_EQ(tool(reader, select).exit_code, 0);
        EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "1\n");
        EXPECT_EQ(tool(reader, joined({"select", "--all"}, antennas)).exit_code, 0);
        EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "3\n");
    }
    EXPECT_EQ(
        tool(reader, {"select", "--antennas", "1", "--carrier-time", "5", "--mask", "tid:80:0002"}).exit_code,
        0);
    expect_failure(tool(reader, {"select", "--antennas", "64", "--all"}), "set the filter of tags (");
}

TEST_F(Gen2EndToEnd, KeepsTagsPrivate)
{
    EXPECT_EQ(json_of(reader, {"privacy", "check"})["protected"], false);
    const auto set = tool(reader, {"privacy", "set", "--epc", secured_epc, "--password", password, "--yes"});
    EXPECT_EQ(set.out, "the tag is protected against being read\n") << set.err;
    expect_failure(tool(reader, {"read", "--epc", secured_epc, "--bank", "tid", "--count", "1"}),
                   "no tag answers to");
    EXPECT_EQ(json_of(reader, {"privacy", "reset", "--password", password})["type"], "privacy-reset");
    EXPECT_EQ(read(secured_epc, "tid", 5, 1), "0002");
    EXPECT_EQ(tool(reader, {"privacy", "set", "--any"}).exit_code, 2);
    expect_failure(tool(reader, {"privacy", "set", "--any", "--yes"}), "3 tags answer to the reader");
    EXPECT_EQ(tool(reader, {"privacy", "set", "--epc", open_epc, "--yes"}).exit_code, 0);
    EXPECT_EQ(tool(reader, {"privacy", "check"}).out, "protected against being read: yes\n");
}

TEST_F(Gen2EndToEnd, RaisesAnAlarm)
{
    EXPECT_EQ(tool(reader, {"eas", "alarm"}).out, "no alarm\n");
    EXPECT_EQ(tool(reader, {"eas", "set", "on", "--epc", open_epc}).out, "EAS is on now\n");
    EXPECT_EQ(json_of(reader, {"eas", "alarm"})["alarm"], true);
    EXPECT_EQ(tool(reader, {"eas", "set", "off", "--epc", open_epc}).exit_code, 0);
    EXPECT_EQ(json_of(reader, {"eas", "alarm"})["alarm"], false);
}

TEST_F(Gen2EndToEnd, UsesTheOtherFeatures)
{
    EXPECT_EQ(tool(reader, {"qt", "set", "0x01", "--epc", open_epc}).out, "QT control 0x01 written\n");
    EXPECT_EQ(json_of(reader, {"qt", "get", "--epc", open_epc})["control"], 1);

    EXPECT_EQ(tool(reader, {"block-lock", "--word", "5", "--epc", open_epc, "--yes"}).exit_code, 0);
    expect_failure(write(open_epc, "user", "1234", {"--word", "4"}), "the memory is locked");
    EXPECT_EQ(write(open_epc, "user", "1234", {"--word", "8"}).exit_code, 0);

    EXPECT_EQ(json_of(reader, {"untraceable", "--tid", "E28011602000000100000001", "--hide-tid", "all",
                               "--epc-words", "4", "--yes"})["epc_words"],
              4);
    expect_failure(tool(reader, {"read", "--epc", "E28011700000020F", "--bank", "tid", "--count", "1"}),
                   "no such memory");

    const auto reply = json_of(reader, {"authenticate", "--epc", secured_epc, "--suite", "1", "--message",
                                        "010203040506", "--message-length", "6"});
    // 01^01^12, 02^01^34 and so on: message, suite, password.
    EXPECT_EQ(reply["reply"], "1237547D1633");

    EXPECT_EQ(
        tool(reader, {"protected-mode", "on", "--epc", secured_epc, "--password", password, "--yes"}).out,
        "protected mode is on now\n");
    EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "2\n");
    EXPECT_EQ(tool(reader, {"protected-mode", "off", "--epc", secured_epc, "--password", password}).exit_code,
              0);
    EXPECT_EQ(tool(reader, {"inventory", "--count"}).out, "3\n");
}

const Arguments long_write{"write", "--epc", open_epc, "--bank", "user", "--chunk", "8", "--data"};

TEST(PartialWrite, SaysWhichWordsWereWritten)
{
    const VirtualReader reader(gen2_scenario(), {"--fault", "error:command=0x03,status=0xFB,skip=2"});
    const auto ended = tool(reader, joined(long_write, {numbered(20)}));
    expect_failure(ended, "no such tag answered");
    EXPECT_NE(ended.err.find("; written: words 0-15; not written: words 16-19"), std::string::npos)
        << ended.err;
    EXPECT_EQ(ended.out, "");
}

TEST(PartialWrite, FindsThatAWriteWithoutAnswerWasDone)
{
    const VirtualReader reader(gen2_scenario(), {"--fault", "lose:command=0x03,skip=1"});
    const auto object = json_of(reader, joined(long_write, {numbered(20), "--verify"}));
    EXPECT_EQ(object["complete"], true);
    EXPECT_EQ(object["written"], Json::parse(R"([{"first":0,"count":20}])"));
}

TEST(PartialWrite, AdmitsWhatItDoesNotKnow)
{
    const VirtualReader reader(gen2_scenario(), {"--fault", "error:command=0x03,status=0x26,skip=1",
                                                 "--fault", "error:command=0x02,status=0xFB,count=0"});
    const auto ended = tool(reader, joined(long_write, {numbered(20)}));
    expect_failure(ended, "; written: words 0-7; not written: words 16-19; not known: words 8-15 (38)");
}

TEST(PartialWrite, FindsTheTagUnderItsOldOrItsNewEpc)
{
    const Arguments rename{"write-epc", "AAAABBBB", "--epc", open_epc, "--json"};
    const VirtualReader refusing(gen2_scenario(), {"--fault", "error:command=0x03,status=0x26"});
    const auto refused = objects_of(tool(refusing, rename).out);
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_EQ(refused[0]["not_written"], Json::parse(R"([{"first":1,"count":3}])"));
    const VirtualReader losing(gen2_scenario(), {"--fault", "lose:command=0x03"});
    const auto lost = objects_of(tool(losing, rename).out);
    ASSERT_EQ(lost.size(), 1u);
    EXPECT_EQ(lost[0]["verified"], true);
}

TEST(Verify, FindsAWordThatDiffers)
{
    // The answer to the reading back: length, address, command, status, then the words.
    const VirtualReader reader(gen2_scenario(), {"--fault", "set:command=0x02,byte=6,value=0xAB"});
    const auto ended = tool(reader, joined(long_write, {"111122223333", "--verify"}));
    EXPECT_EQ(ended.exit_code, 1);
    expect_failure(ended, "what was read back is not what was written");
    expect_failure(ended, "; written: words 0, 2; not written: words 1");
    EXPECT_EQ(ended.out, "");
}

constexpr const char* other_scenario = R"(
[reader]
air_time = 0
antennas = 2

[[tag_6b]]
id = "E004000012345678"
memory = "0102030405060708"
rssi = 77

[[tag_6b]]
id = "E004000012345679"
rssi = 78

[[tag_gb]]
tag_id = "A5A50001"
info = "11112222"
user = ")";

std::string other_tags(const char* family = "gb")
{
    auto text =
        other_scenario + zeros(150) + "\"\naccess_password = \"12345678\"\n" +
        "kill_password = \"87654321\"\nrssi = 99\n\n[[tag_gb]]\ntag_id = \"A5A50002\"\nantennas = [2]\n";
    if (std::string(family) == "gb") return text;
    for (auto at = text.find("tag_gb"); at != std::string::npos; at = text.find("tag_gb"))
        text.replace(at, 6, "tag_jb");
    return text.replace(text.find("air_time"), 0, "protocol_family = \"jb\"\n");
}

TEST(Tags6bEndToEnd, AreListed)
{
    const VirtualReader reader(other_tags());
    const auto one = list_of(reader, {"6b", "inventory"});
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0]["type"], "tag_6b");
    EXPECT_EQ(one[0]["id"], "E004000012345678");
    EXPECT_EQ(one[0]["antenna"], 1);
    EXPECT_EQ(one[0]["rssi"], 77);
    const auto two =
        list_of(reader, {"6b", "inventory", "--condition", "equal", "--byte", "0", "--content", "E004"});
    EXPECT_EQ(values_of(two, "id"), (std::set<std::string>{"E004000012345678", "E004000012345679"}));
    const auto ended =
        tool(reader, {"6b", "inventory", "--condition", "greater", "--byte", "8", "--content", "00"});
    EXPECT_EQ(ended.out, "E004000012345678  antenna 1  rssi 77  reads 1\n");
    EXPECT_TRUE(ended.err.starts_with("1 tag, ")) << ended.err;
    const auto none = tool(reader, {"6b", "inventory", "--condition", "equal", "--content", "FF"});
    EXPECT_TRUE(none.err.starts_with("0 tags, ")) << none.err;
    EXPECT_EQ(tool(reader, {"6b", "inventory", "--byte", "3"}).exit_code, 2);
    // The last of 8 bytes only.
    const auto last = list_of(reader, {"6b", "inventory", "--condition", "equal", "--content",
                                       "0000000000005679", "--compare", "1"});
    EXPECT_EQ(values_of(last, "id"), (std::set<std::string>{"E004000012345679"}));
}

TEST(Tags6bEndToEnd, AreReadWrittenAndLocked)
{
    const VirtualReader reader(other_tags());
    const Arguments id{"--id", "E004000012345678"};
    EXPECT_EQ(tool(reader, joined({"6b", "read", "--byte", "6", "--count", "4"}, id)).out, "56780102\n");
    const auto data = numbered(50);
    const auto written =
        json_of(reader, joined({"6b", "write", "--byte", "20", "--data", data, "--verify"}, id));
    EXPECT_EQ(written["first_byte"], 20);
    EXPECT_EQ(written["count"], 100);
    EXPECT_EQ(written["verified"], true);
    EXPECT_EQ(tool(reader, joined({"6b", "read", "--byte", "20", "--count", "100"}, id)).out, data + "\n");

    EXPECT_EQ(tool(reader, joined({"6b", "check-lock", "--byte", "30"}, id)).out, "byte 30 is not locked\n");
    EXPECT_EQ(tool(reader, joined({"6b", "lock", "--byte", "30"}, id)).exit_code, 2);
    EXPECT_EQ(tool(reader, joined({"6b", "lock", "--byte", "30", "--yes"}, id)).out,
              "byte 30 is locked for good\n");
    EXPECT_EQ(json_of(reader, joined({"6b", "check-lock", "--byte", "30"}, id))["locked"], true);
    const auto refused =
        tool(reader, joined({"6b", "write", "--byte", "20", "--data", zeros(10), "--chunk", "8"}, id));
    expect_failure(refused, "; written: bytes 20-27; not written: bytes 28-39 (252, tag error 4)");
    expect_failure(tool(reader, joined({"6b", "read", "--byte", "200", "--count", "50"}, id)),
                   "(252, tag error 3)");
}

class GbEndToEnd : public testing::TestWithParam<const char*> {
  protected:
    Arguments command(const char* name, const Arguments& more) const
    {
        return joined({GetParam(), name}, more);
    }
    Arguments tag_command(const char* name, const Arguments& more) const
    {
        return command(name, joined({"--id", "A5A50001"}, more));
    }

    VirtualReader reader{other_tags(GetParam())};
};

INSTANTIATE_TEST_SUITE_P(Families, GbEndToEnd, testing::Values("gb", "jb"),
                         [](const auto& family) { return std::string(family.param); });

TEST_P(GbEndToEnd, ListsTags)
{
    const auto all = list_of(reader, command("inventory", {}));
    EXPECT_EQ(values_of(all, "id"), (std::set<std::string>{"A5A50001", "A5A50002"}));
    const auto on_port_2 = list_of(reader, command("inventory", {"--antenna", "2"}));
    EXPECT_EQ(values_of(on_port_2, "id"), (std::set<std::string>{"A5A50002"}));
    EXPECT_EQ(tool(reader, command("inventory", {"--mask", "coding:16:0001", "--count"})).out, "1\n");
}

TEST_P(GbEndToEnd, ListsTagsWithWordsOfTheirs)
{
    const auto tags = list_of(reader, command("inventory", {"--read", "info:0:2"}));
    ASSERT_EQ(tags.size(), 2u);
    std::map<std::string, Json> data;
    for (const auto& tag : tags) data[tag["id"].get<std::string>()] = tag.value("data", Json());
    EXPECT_EQ(data["A5A50001"], "11112222");
    EXPECT_EQ(data["A5A50002"], Json());
    const auto ended = tool(reader, command("inventory", {"--read", "security:0:2", "--password", password,
                                                          "--mask", "coding:16:0001"}));
    EXPECT_NE(ended.out.find("A5A50001  antenna 1  rssi 99  reads 1  data 87654321\n"), std::string::npos)
        << ended.out << ended.err;
}

TEST_P(GbEndToEnd, ReadsWritesAndErases)
{
    const auto data = numbered(150);
    const auto written =
        json_of(reader, tag_command("write", {"--area", "user", "--data", data, "--verify"}));
    EXPECT_EQ(written["area"], "user");
    EXPECT_EQ(written["verified"], true);
    EXPECT_EQ(tool(reader, tag_command("read", {"--area", "user", "--count", "150"})).out, data + "\n");
    EXPECT_EQ(
        tool(reader, command("read", {"--mask", "coding:16:0001", "--area", "info", "--count", "2"})).out,
        "11112222\n");
    EXPECT_EQ(
        tool(reader, tag_command("erase", {"--area", "user", "--word", "10", "--count", "140", "--yes"}))
            .exit_code,
        0);
    EXPECT_EQ(tool(reader, tag_command("read", {"--area", "user", "--word", "9", "--count", "2"})).out,
              "10090000\n");
    expect_failure(tool(reader, tag_command("read", {"--area", "security", "--count", "2"})),
                   "the password is wrong");
}

TEST_P(GbEndToEnd, LocksAndKills)
{
    const Arguments read_only{"--area", "user", "--config", "attribute", "--action", "read-only", "--yes"};
    expect_failure(tool(reader, tag_command("lock", read_only)), "the password is wrong");
    const auto locked = json_of(reader, tag_command("lock", joined(read_only, {"--password", password})));
    EXPECT_EQ(locked["action"], "read-only");
    expect_failure(tool(reader, tag_command("write", {"--area", "user", "--data", "1234"})),
                   "; not written: words 0 (252, tag error");

    EXPECT_EQ(tool(reader, tag_command("kill", {"--kill-password", "87654321"})).exit_code, 2);
    EXPECT_EQ(tool(reader, tag_command("kill", {"--kill-password", "87654321", "--yes"})).out,
              "the tag A5A50001 is dead\n");
    EXPECT_EQ(tool(reader, command("inventory", {"--count"})).out, "1\n");
}

TEST(BufferEndToEnd, IsFilledReadAndCleared)
{
    const VirtualReader reader(gen2_scenario());
    EXPECT_EQ(tool(reader, {"buffer", "read"}).err, "0 tags in the buffer\n");
    EXPECT_EQ(tool(reader, {"buffer", "save-length"}).out, "EPCs are kept up to 128 bits\n");
    EXPECT_EQ(tool(reader, {"buffer", "save-length", "long"}).out, "EPCs are kept up to 496 bits\n");
    EXPECT_EQ(json_of(reader, {"buffer", "save-length"})["save_length"], "long");

    const auto filled = json_of(reader, {"buffer", "inventory"});
    EXPECT_EQ(filled["tags"], 3);
    EXPECT_EQ(filled["buffered"], 3);
    EXPECT_EQ(filled["complete"], true);
    EXPECT_EQ(tool(reader, {"buffer", "count"}).out, "3\n");
    const auto tags = list_of(reader, {"buffer", "read"});
    EXPECT_EQ(values_of(tags, "epc"), (std::set<std::string>{open_epc, secured_epc, long_epc}));
    for (const auto& tag : tags) {
        EXPECT_EQ(tag["type"], "buffered_tag");
        EXPECT_EQ(tag["antenna"], tag["epc"] == secured_epc ? 2 : 1);
        EXPECT_EQ(tag["rssi"], 200);
        EXPECT_EQ(tag["reads"], 1);
    }
    EXPECT_EQ(tool(reader, {"buffer", "clear"}).out, "the buffer is empty now\n");
    EXPECT_EQ(json_of(reader, {"buffer", "count"})["buffered"], 0);
}

TEST(BufferEndToEnd, TakesTheOptionsOfAnInventory)
{
    const VirtualReader reader(gen2_scenario());
    const auto ended = tool(reader, {"buffer", "inventory", "--antenna", "2", "--q", "2", "--session", "S0"});
    EXPECT_EQ(ended.out, "1 tag read, 1 tag in the buffer\n") << ended.err;
    EXPECT_EQ(tool(reader, {"buffer", "inventory", "--mask", "epc:32:3034"}).out,
              "1 tag read, 2 tags in the buffer\n");
}

TEST(BufferEndToEnd, KeepsTagsOfContinuousReading)
{
    const VirtualReader reader(gen2_scenario());
    ASSERT_EQ(tool(reader, {"watch", "--seconds", "0.5"}).exit_code, 0);
    const auto tags = list_of(reader, {"buffer", "tags"});
    EXPECT_EQ(values_of(tags, "epc"), (std::set<std::string>{open_epc, secured_epc, long_epc}));
    EXPECT_EQ(tags[0]["details"].get<std::string>().size(), 22u);
    EXPECT_EQ(tool(reader, {"buffer", "clear-tags"}).exit_code, 0);
    EXPECT_EQ(tool(reader, {"buffer", "tags"}).err, "0 tags in the tag buffer\n");
}

TEST(BufferEndToEnd, FindsTagsOfAList)
{
    const VirtualReader reader(gen2_scenario());
    const auto ids = [&](const Arguments& words, const std::string& type) {
        std::set<std::string> epcs;
        for (const auto& object : list_of(reader, joined({"buffer", "find"}, words)))
            if (object["type"] == type) epcs.insert(object["epc"]);
        return epcs;
    };
    EXPECT_EQ(ids({open_epc, secured_epc, "E280"}, "found_tag"),
              (std::set<std::string>{open_epc, secured_epc}));
    EXPECT_EQ(ids({open_epc, secured_epc, "E280"}, "missing_tag"), std::set<std::string>{"E280"});
    const auto on_port_2 = tool(reader, {"buffer", "find", open_epc, secured_epc, "--antennas", "2"});
    EXPECT_EQ(on_port_2.out, std::string(secured_epc) + "  rssi 200\n" + open_epc + "  missing\n");
    EXPECT_EQ(on_port_2.err, "1 tag found, 1 missing\n");
    EXPECT_EQ(ids({long_epc, "--add"}, "found_tag").size(), 3u);
    Arguments many;
    for (int i = 1000; i < 1070; ++i) many.push_back(std::to_string(i));
    EXPECT_EQ(ids(joined(many, {open_epc}), "found_tag").size(), 1u);
    EXPECT_EQ(ids(joined(many, {open_epc}), "missing_tag").size(), 70u);
}

}  // namespace
}  // namespace tagwire::tool::test
