// Every tag command against the virtual reader's tags: what is written can be read, what is locked cannot be
// changed, and what is killed is gone.
#include <algorithm>
#include <array>
#include <functional>

#include "e2e/linked_reader.h"
#include "e2e/named_tag.h"

namespace tagwire::test {
namespace {

constexpr int tag_error = 0xFC;
constexpr int locked = 4;
constexpr int no_such_memory = 3;
constexpr unsigned char reserved_bank = 0;
constexpr unsigned char epc_bank = 1;
constexpr unsigned char tid_bank = 2;
constexpr unsigned char user_bank = 3;

const Password none{0, 0, 0, 0};
const Password access{0x11, 0x22, 0x33, 0x44};
const Password kill{0xAA, 0xBB, 0xCC, 0xDD};

class Tags : public LinkedReader {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = make_scenario(5);
        scenario.reader.by_chance = false;
        sim::TagSettings& tag = scenario.tags.front();
        tag.tid = {0xE2, 0x80, 0x11, 0x05, 1, 2, 3, 4, 5, 6, 7, 8};
        tag.user = Bytes(64, 0);
        tag.access_password = access;
        tag.kill_password = kill;
        scenario.tags[1].user = Bytes(1024, 0);
        scenario.tags_6b.emplace_back().id = {0xE0, 1, 2, 3, 4, 5, 6, 7};
        epc = tag.epc;
        connect(scenario);
    }

    Outcome read(Naming tag, unsigned char bank, unsigned char at, unsigned char words, Bytes& data,
                 Password password = none)
    {
        int code = untouched;
        data.assign(250, 0x5A);
        const int result =
            ReadData_G2(address(), tag.epc.data(), tag.words, bank, at, words, password.data(), tag.bank,
                        tag.at.data(), tag.bits, tag.mask.data(), data.data(), &code, handle);
        data.resize(std::size_t{2} * words);
        return {result, code};
    }
    Outcome write(Naming tag, unsigned char bank, unsigned char at, Bytes data, Password password = none)
    {
        int code = untouched;
        const int result = WriteData_G2(
            address(), tag.epc.data(), static_cast<unsigned char>(data.size() / 2), tag.words, bank, at,
            data.data(), password.data(), tag.bank, tag.at.data(), tag.bits, tag.mask.data(), &code, handle);
        return {result, code};
    }
    Outcome lock(unsigned char area, unsigned char protection, Password password = access)
    {
        int code = untouched;
        Naming tag = by_epc(epc);
        const int result = Lock_G2(address(), tag.epc.data(), tag.words, area, protection, password.data(),
                                   tag.bank, tag.at.data(), tag.bits, tag.mask.data(), &code, handle);
        return {result, code};
    }
    // A write to the area, and for the passwords a reading.
    Outcome write_area(unsigned char area, Password password)
    {
        constexpr std::array<unsigned char, 5> bank{reserved_bank, reserved_bank, epc_bank, tid_bank,
                                                    user_bank};
        constexpr std::array<unsigned char, 5> word{0, 2, 7, 0, 0};
        const Bytes data = area == 0 ? Bytes(kill.begin(), kill.end()) : Bytes(access.begin(), access.end());
        if (area <= 1) return write(by_epc(epc), bank[area], word[area], data, password);
        const Bytes last{epc[10], epc[11]};
        return write(by_epc(epc), bank[area], word[area], area == 2 ? last : Bytes{1, 2}, password);
    }
    Outcome read_area(unsigned char area, Password password)
    {
        constexpr std::array<unsigned char, 5> bank{reserved_bank, reserved_bank, epc_bank, tid_bank,
                                                    user_bank};
        Bytes data;
        return read(by_epc(epc), bank[area], area == 1 ? 2 : 0, 2, data, password);
    }

    Bytes epc;
};

INSTANTIATE_TEST_SUITE_P(Links, Tags, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Tags, give_back_what_was_written)
{
    Bytes data;
    const Bytes words{0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(write(by_epc(epc), user_bank, 3, words), done);
    EXPECT_EQ(read(by_epc(epc), user_bank, 3, 2, data), done);
    EXPECT_EQ(data, words);
    EXPECT_EQ(read(by_epc(epc), user_bank, 31, 2, data), (Outcome{tag_error, no_such_memory}));
    EXPECT_EQ(write(by_epc(epc), user_bank, 31, words), (Outcome{tag_error, no_such_memory}));
    EXPECT_EQ(read(by_epc(Bytes(12, 0x77)), user_bank, 0, 1, data), (Outcome{0xFB, untouched}));
}

TEST_P(Tags, are_named_by_a_mask)
{
    Bytes data;
    const Bytes tid{0xE2, 0x80, 0x11};
    EXPECT_EQ(write(by_mask(tid_bank, 0, 20, tid), user_bank, 0, {9, 8}), done);
    EXPECT_EQ(read(by_mask(tid_bank, 0, 9, tid), user_bank, 0, 1, data), done);
    EXPECT_EQ(data, (Bytes{9, 8}));
    EXPECT_EQ(read(by_mask(tid_bank, 0, 8, {0x00}), user_bank, 0, 1, data), (Outcome{0xFB, untouched}));
    EXPECT_EQ(read(by_mask(tid_bank, 0, 0, {0}), user_bank, 0, 1, data), done);
}

TEST_P(Tags, are_written_by_the_long_and_the_block_commands)
{
    Naming tag = by_epc(make_tag(2).epc);
    Bytes far{0x01, 0x40};
    Bytes data(250);
    int code = untouched;
    Password password = none;
    using Write = int (*)(unsigned char*, unsigned char*, unsigned char, unsigned char, unsigned char,
                          unsigned char*, unsigned char*, unsigned char*, unsigned char, unsigned char*,
                          unsigned char, unsigned char*, int*, int);
    for (const Write write_long : {Write{ExtWriteData_G2}, Write{ExtBlockWrite_G2}}) {
        Bytes words{static_cast<unsigned char>(write_long == ExtWriteData_G2 ? 1 : 2), 0xAB, 0xCD, 0xEF};
        EXPECT_EQ(write_long(address(), tag.epc.data(), 2, tag.words, user_bank, far.data(), words.data(),
                             password.data(), 0, tag.at.data(), 0, tag.mask.data(), &code, handle),
                  0);
        EXPECT_EQ(code, -1);
        EXPECT_EQ(ExtReadData_G2(address(), tag.epc.data(), tag.words, user_bank, far.data(), 2,
                                 password.data(), 0, tag.at.data(), 0, tag.mask.data(), data.data(), &code,
                                 handle),
                  0);
        EXPECT_TRUE(std::equal(words.begin(), words.end(), data.begin()));
    }
    Bytes block{7, 7, 7, 7, 7, 7};
    EXPECT_EQ(BlockWrite_G2(address(), tag.epc.data(), 3, tag.words, user_bank, 5, block.data(),
                            password.data(), 0, tag.at.data(), 0, tag.mask.data(), &code, handle),
              0);
    EXPECT_EQ(read(tag, user_bank, 5, 3, data), done);
    EXPECT_EQ(data, block);
    EXPECT_EQ(BlockErase_G2(address(), tag.epc.data(), tag.words, user_bank, 6, 1, password.data(), 0,
                            tag.at.data(), 0, tag.mask.data(), &code, handle),
              0);
    EXPECT_EQ(read(tag, user_bank, 5, 3, data), done);
    EXPECT_EQ(data, (Bytes{7, 7, 0, 0, 7, 7}));
}

TEST_P(Tags, show_their_new_epc)
{
    // The first tag that answers is the first of the scenario.
    Bytes longer(16, 0xE5);
    Password password = access;
    int code = untouched;
    EXPECT_EQ(WriteEPC_G2(address(), password.data(), longer.data(), 8, &code, handle), 0);
    EXPECT_EQ(code, -1);
    const InventoryResult found = run_inventory(*connection, 4, 0);
    EXPECT_EQ(std::count(found.epcs.begin(), found.epcs.end(), text_of(longer)), 1);
    EXPECT_EQ(std::count(found.epcs.begin(), found.epcs.end(), text_of(epc)), 0);
    Bytes data;
    EXPECT_EQ(read(by_epc(longer), epc_bank, 1, 1, data), done);
    EXPECT_EQ(data[0] >> 3, 8);
}

TEST_P(Tags, allow_and_forbid_what_their_locks_say)
{
    enum Protection : unsigned char { open, open_for_ever, protected_by_password, locked_for_ever };
    for (unsigned char area = 0; area < 5; ++area) {
        if (area == 3) continue;  // the TID cannot be written at all
        SCOPED_TRACE(static_cast<int>(area));
        const bool is_password = area <= 1;

        EXPECT_EQ(lock(area, open), done);
        EXPECT_EQ(write_area(area, none), done);
        EXPECT_EQ(read_area(area, none), done);

        EXPECT_EQ(lock(area, protected_by_password), done);
        EXPECT_EQ(write_area(area, access), done);
        EXPECT_EQ(read_area(area, access), done);
        EXPECT_NE(write_area(area, none).result, 0);
        EXPECT_EQ(read_area(area, none).result == 0, !is_password);
        EXPECT_EQ(write_area(area, kill).result, 5) << "a wrong password";

        EXPECT_EQ(lock(area, locked_for_ever), done);
        EXPECT_EQ(write_area(area, access), (Outcome{tag_error, locked}));
        EXPECT_EQ(read_area(area, access).result == 0, !is_password);
        EXPECT_EQ(lock(area, open), (Outcome{tag_error, locked}));
    }
    EXPECT_EQ(lock(3, open), (Outcome{tag_error, locked}));
    EXPECT_EQ(write_area(3, access), (Outcome{tag_error, locked}));
}

TEST_P(Tags, stay_open_where_that_is_for_ever)
{
    EXPECT_EQ(lock(4, 1), done);
    EXPECT_EQ(lock(4, 2), (Outcome{tag_error, locked}));
    EXPECT_EQ(lock(4, 3), (Outcome{tag_error, locked}));
    EXPECT_EQ(write_area(4, none), done);
}

TEST_P(Tags, are_gone_when_killed)
{
    Naming tag = by_epc(epc);
    Password password = none;
    int code = untouched;
    const auto kill_with = [&](Password with) {
        code = untouched;
        return KillTag_G2(address(), tag.epc.data(), tag.words, with.data(), 0, tag.at.data(), 0,
                          tag.mask.data(), &code, handle);
    };
    EXPECT_NE(kill_with(password), 0);
    EXPECT_NE(kill_with(access), 0);
    EXPECT_EQ(run_inventory(*connection, 4, 0).count, 5);
    EXPECT_EQ(kill_with(kill), 0);
    EXPECT_EQ(code, -1);
    const InventoryResult found = run_inventory(*connection, 4, 0);
    EXPECT_EQ(found.count, 4);
    EXPECT_EQ(std::count(found.epcs.begin(), found.epcs.end(), text_of(epc)), 0);
    EXPECT_EQ(kill_with(kill), 0xFB);
    Bytes data;
    EXPECT_EQ(read(tag, tid_bank, 0, 1, data).result, 0xFB);
}

TEST_P(Tags, have_the_features_of_their_chips)
{
    Naming tag = by_epc(epc);
    Password password = access;
    int code = untouched;
    const auto expect_done = [&](int result, const char* what) {
        EXPECT_EQ(result, 0) << what;
        EXPECT_EQ(code, -1) << what;
        code = untouched;
    };
    unsigned char flag = 0;
    EXPECT_EQ(EASAlarm_G2(address(), &code, handle), 0xFB);
    expect_done(EASConfigure_G2(address(), tag.epc.data(), tag.words, password.data(), 1, 0, tag.at.data(), 0,
                                tag.mask.data(), &code, handle),
                "EAS");
    expect_done(EASAlarm_G2(address(), &code, handle), "EAS alarm");

    expect_done(SetMonza4QTWorkParamter_G2(address(), tag.epc.data(), tag.words, 1, password.data(), 0,
                                           tag.at.data(), 0, tag.mask.data(), &code, handle),
                "set QT");
    expect_done(GetMonza4QTWorkParamter_G2(address(), tag.epc.data(), tag.words, password.data(), 0,
                                           tag.at.data(), 0, tag.mask.data(), &flag, &code, handle),
                "get QT");
    EXPECT_EQ(flag, 1);

    Bytes message{1, 2, 3, 4, 5, 6};
    Bytes reply(255);
    unsigned char reply_length = 0;
    expect_done(Authenticate_G2(address(), tag.epc.data(), tag.words, 1, 0, 0, 4, message.data(),
                                password.data(), 0, tag.at.data(), 0, tag.mask.data(), &reply_length,
                                reply.data(), &code, handle),
                "authenticate");
    EXPECT_EQ(reply_length, 4);
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 4), (Bytes{1 ^ 0x11, 2 ^ 0x22, 3 ^ 0x33, 4 ^ 0x44}));

    expect_done(BlockLock_G2(address(), tag.epc.data(), tag.words, password.data(), 4, 0, tag.at.data(), 0,
                             tag.mask.data(), &code, handle),
                "block lock");
    EXPECT_EQ(write(tag, user_bank, 4, {1, 1}, access), (Outcome{tag_error, locked}));
    EXPECT_EQ(write(tag, user_bank, 0, {1, 1}, access), done);

    expect_done(Untraceable_G2(address(), tag.epc.data(), tag.words, 0, 1, 2, 2, 1, 0, password.data(), 0,
                               tag.at.data(), 0, tag.mask.data(), &code, handle),
                "untraceable");
    const Bytes short_epc(epc.begin(), epc.begin() + 4);
    const InventoryResult found = run_inventory(*connection, 4, 0);
    EXPECT_EQ(std::count(found.epcs.begin(), found.epcs.end(), text_of(short_epc)), 1);
}

TEST_P(Tags, can_be_hidden_and_shown_again)
{
    Naming tag = by_epc(epc);
    Password password = access;
    int code = untouched;
    unsigned char flag = 9;
    const auto epc_shows = [&] {
        const InventoryResult found = run_inventory(*connection, 4, 0);
        return std::count(found.epcs.begin(), found.epcs.end(), text_of(epc)) == 1;
    };
    EXPECT_EQ(CheckPrivacy_G2(address(), &flag, &code, handle), 0);
    EXPECT_EQ(flag, 0);
    EXPECT_EQ(SetPrivacyByEPC_G2(address(), tag.epc.data(), tag.words, password.data(), 0, tag.at.data(), 0,
                                 tag.mask.data(), &code, handle),
              0);
    EXPECT_FALSE(epc_shows());
    EXPECT_EQ(CheckPrivacy_G2(address(), &flag, &code, handle), 0);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(ResetPrivacy_G2(address(), password.data(), &code, handle), 0);
    EXPECT_TRUE(epc_shows());
    EXPECT_EQ(SetPrivacyWithoutEPC_G2(address(), password.data(), &code, handle), 0);
    EXPECT_FALSE(epc_shows());
    EXPECT_EQ(ResetPrivacy_G2(address(), password.data(), &code, handle), 0);

    for (const unsigned char silent : {1, 0}) {
        EXPECT_EQ(Protected_mode_G2(address(), tag.epc.data(), tag.words, silent, password.data(), 0,
                                    tag.at.data(), 0, tag.mask.data(), &code, handle),
                  0);
        EXPECT_EQ(epc_shows(), silent == 0);
    }
}

TEST_P(Tags, that_are_not_selected_take_no_part)
{
    constexpr unsigned char flag_sl = 4;
    constexpr unsigned char assert_matching = 0;
    Bytes at{0, 0};
    Bytes tid{0xE2, 0x80};
    Bytes all_ports(8, 0xFF);
    const auto clear = [&] {
        return SelectCMD(address(), 0x0F, flag_sl, 0, tid_bank, at.data(), 0, tid.data(), 0, handle);
    };
    const auto expect_one = [&](int result) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(run_inventory(*connection, 4, 0).epcs, std::vector<std::string>{text_of(epc)});
        EXPECT_EQ(clear(), 0);
        EXPECT_EQ(run_inventory(*connection, 4, 0).count, 5);
    };
    expect_one(
        SelectCMD(address(), 0x0F, flag_sl, assert_matching, tid_bank, at.data(), 16, tid.data(), 0, handle));
    expect_one(SelectCmdWithCarrier(address(), 0x0F, flag_sl, assert_matching, tid_bank, at.data(), 16,
                                    tid.data(), 0, 5, handle));
    expect_one(SelectCMDByAntenna(address(), 0x000F, 4, flag_sl, assert_matching, tid_bank, at.data(), 16,
                                  tid.data(), 0, handle));
    expect_one(SelectCMDByAntenna(address(), 0x000F, 16, flag_sl, assert_matching, tid_bank, at.data(), 16,
                                  tid.data(), 0, handle));
    expect_one(SelectCMDByMutipleAntenna(address(), all_ports.data(), flag_sl, assert_matching, tid_bank,
                                         at.data(), 16, tid.data(), 0, handle));
}

TEST_P(Tags, of_iso_18000_6b_are_read_written_and_locked)
{
    Bytes id(255);
    unsigned char antenna = 0;
    EXPECT_EQ(InventorySingle_6B(address(), &antenna, id.data(), handle), 0);
    EXPECT_EQ(id[0], 1) << "the count of tags";
    const Bytes own{0xE0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_TRUE(std::equal(own.begin(), own.end(), id.begin() + 1));

    Bytes tag = own;
    Bytes text{10, 20, 30};
    unsigned char written = 0;
    int code = untouched;
    EXPECT_EQ(WriteData_6B(address(), tag.data(), 20, text.data(), 3, &written, &code, handle), 0);
    EXPECT_EQ(written, 3);
    Bytes data(250);
    EXPECT_EQ(ReadData_6B(address(), tag.data(), 20, 3, data.data(), &code, handle), 0);
    EXPECT_TRUE(std::equal(text.begin(), text.end(), data.begin()));

    unsigned char state = 9;
    EXPECT_EQ(CheckLock_6B(address(), tag.data(), 21, &state, &code, handle), 0);
    EXPECT_EQ(state, 0);
    EXPECT_EQ(Lock_6B(address(), tag.data(), 21, &code, handle), 0);
    EXPECT_EQ(CheckLock_6B(address(), tag.data(), 21, &state, &code, handle), 0);
    EXPECT_EQ(state, 1);
    EXPECT_EQ(WriteData_6B(address(), tag.data(), 20, text.data(), 3, &written, &code, handle), tag_error);
    EXPECT_EQ(code, locked);

    Bytes content{0xE0, 0, 0, 0, 0, 0, 0, 0};
    int count = 0;
    EXPECT_EQ(
        InventoryMultiple_6B(address(), 0, 0, 0x80, content.data(), &antenna, id.data(), &count, handle), 0);
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(std::equal(own.begin(), own.end(), id.begin()));
}

class Buffer : public Tags {};
INSTANTIATE_TEST_SUITE_P(Links, Buffer, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(Buffer, holds_what_the_inventory_found)
{
    unsigned char length = 9;
    EXPECT_EQ(SetSaveLen(address(), 1, handle), 0);
    EXPECT_EQ(GetSaveLen(address(), &length, handle), 0);
    EXPECT_EQ(length, 1);

    int buffered = 0;
    int read_now = 0;
    EXPECT_EQ(InventoryBuffer_G2(address(), 4, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, &buffered,
                                 &read_now, handle),
              0);
    EXPECT_EQ(buffered, 5);
    EXPECT_EQ(read_now, 5);
    int count = 0;
    EXPECT_EQ(GetBufferCnt_G2(address(), &count, handle), 0);
    EXPECT_EQ(count, 5);

    Bytes list(65536);
    int size = 0;
    count = 0;
    EXPECT_EQ(ReadBuffer_G2(address(), &size, &count, list.data(), handle), 1);
    EXPECT_EQ(count, 5);
    std::set<std::string> found;
    for (int at = 0; at < size;) {
        const int id = list[static_cast<std::size_t>(at) + 1];
        const auto begin = list.begin() + at + 2;
        found.insert(text_of({begin, begin + id}));
        at += id + 4;
    }
    EXPECT_EQ(found, epcs_of(make_scenario(5)));

    EXPECT_EQ(ClearBuffer_G2(address(), handle), 0);
    EXPECT_EQ(ReadBuffer_G2(address(), &size, &count, list.data(), handle), 254);
}

TEST_P(Buffer, of_tags_seen_while_reading_is_read_and_cleared)
{
    Reports::clear();
    InitRFIDCallBack(Reports::callback, true, handle);
    ASSERT_EQ(StartRead(address(), 0, handle), 0);
    reader->set_report_rate(500);
    EXPECT_TRUE(Reports::wait_for(handle, 50));
    EXPECT_EQ(connection->stop_reading(), 0);
    Bytes data(65536);
    int size = 0;
    EXPECT_EQ(GetTagBufferInfo(address(), data.data(), &size, handle), 0);
    EXPECT_EQ(size, 5 * (12 + 12));
    EXPECT_EQ(ClearTagBuffer(address(), handle), 0);
}

TEST_P(Buffer, search_finds_the_tags_of_the_list)
{
    Bytes entries{12};
    entries.insert(entries.end(), epc.begin(), epc.end());
    EXPECT_EQ(Find_epc_list_cfg(address(), 0, 1, entries.data(), static_cast<int>(entries.size()), handle),
              0);
    Bytes list(65536);
    int count = 0;
    int size = 0;
    EXPECT_EQ(Find_epc_by_list(address(), 4, 0, &count, list.data(), &size, handle), 1);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(size, 14);
    EXPECT_TRUE(std::equal(epc.begin(), epc.end(), list.begin() + 1));
}

// GB and JB differ in their inventories only.
class GbTags : public testing::TestWithParam<std::tuple<Link, bool>> {};
INSTANTIATE_TEST_SUITE_P(Links, GbTags,
                         testing::Combine(testing::Values(Link::tcp, Link::pty), testing::Bool()),
                         [](const auto& each) {
                             return std::string(std::get<0>(each.param) == Link::tcp ? "tcp" : "pty") +
                                    (std::get<1>(each.param) ? "_jb" : "_gb");
                         });

TEST_P(GbTags, are_inventoried_read_written_erased_locked_and_killed)
{
    const Link link = std::get<0>(GetParam());
    const bool jb = std::get<1>(GetParam());
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.protocol_family = jb ? sim::ProtocolFamily::jb : sim::ProtocolFamily::gb;
    sim::TagGbSettings settings;
    settings.tag_id = {1, 2, 3, 4, 5, 6, 7, 8};
    settings.user = Bytes(32, 0);
    settings.access_password = access;
    settings.kill_password = kill;
    (jb ? scenario.tags_jb : scenario.tags_gb).push_back(settings);
    sim::Simulator simulator;
    Connection connection(simulator.add_reader(scenario), link);
    ASSERT_EQ(connection.open(), 0);
    const int handle = connection.handle();
    unsigned char* address = connection.address();

    Bytes list(65536);
    unsigned char antenna = 0;
    int size = 0;
    int count = 0;
    const auto inventory = [&] {
        if (jb)
            return Inventory_JB(address, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, list.data(), &antenna, &size,
                                &count, handle);
        return Inventory_GB(address, 0, nullptr, 0, nullptr, 0, 0, 0, 0, list.data(), &antenna, &size, &count,
                            handle);
    };
    EXPECT_EQ(inventory(), 1);
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(std::equal(settings.tag_id.begin(), settings.tag_id.end(), list.begin() + 1));

    Bytes id = settings.tag_id;
    Bytes at{0, 2};
    Bytes words{0xCA, 0xFE};
    Bytes mask_at{0, 0};
    Bytes mask{0};
    Bytes data(250);
    Password password = access;
    int code = untouched;
    constexpr unsigned char user_area = 0x30;
    EXPECT_EQ((jb ? WriteData_JB : WriteData_GB)(address, id.data(), 1, 4, user_area, at.data(), words.data(),
                                                 password.data(), 0, mask_at.data(), 0, mask.data(), &code,
                                                 handle),
              0);
    EXPECT_EQ((jb ? ReadData_JB : ReadData_GB)(address, id.data(), 4, user_area, at.data(), 1,
                                               password.data(), 0, mask_at.data(), 0, mask.data(),
                                               data.data(), &code, handle),
              0);
    EXPECT_EQ(data[0], 0xCA);
    EXPECT_EQ(data[1], 0xFE);
    Bytes one_word{0, 1};
    EXPECT_EQ((jb ? BlockErase_JB : BlockErase_GB)(address, id.data(), 4, user_area, at.data(),
                                                   one_word.data(), password.data(), 0, mask_at.data(), 0,
                                                   mask.data(), &code, handle),
              0);
    Bytes read_at{0, 2};
    const int mixed =
        jb ? InventoryMix_JB(address, 0, 0, nullptr, 0, nullptr, 0, user_area, read_at.data(), 1,
                             password.data(), 0, 0, 0, list.data(), &antenna, &size, &count, handle)
           : InventoryMix_GB(address, 0, nullptr, 0, nullptr, 0, user_area, read_at.data(), 1,
                             password.data(), 0, 0, 0, list.data(), &antenna, &size, &count, handle);
    EXPECT_EQ(mixed, 1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ((jb ? Lock_JB : Lock_GB)(address, id.data(), 4, user_area, 0, 1, password.data(), 0,
                                       mask_at.data(), 0, mask.data(), &code, handle),
              0);
    EXPECT_EQ((jb ? WriteData_JB : WriteData_GB)(address, id.data(), 1, 4, user_area, at.data(), words.data(),
                                                 password.data(), 0, mask_at.data(), 0, mask.data(), &code,
                                                 handle),
              tag_error);
    EXPECT_EQ(code, locked);
    Password killing = kill;
    EXPECT_EQ((jb ? KillTag_JB : KillTag_GB)(address, id.data(), 4, killing.data(), 0, mask_at.data(), 0,
                                             mask.data(), &code, handle),
              0);
    inventory();
    EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace tagwire::test
