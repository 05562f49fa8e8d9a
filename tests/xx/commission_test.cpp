// Tags made ready: from plans and tables, in one run or in several.
#include <fstream>
#include <unistd.h>

#include "xx/virtual_reader.h"

#include <tagwirexx/tagwire.hpp>

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using State = CommissioningStep::State;

constexpr std::uint8_t read_command = 0x02;
constexpr std::uint8_t write_command = 0x03;
constexpr std::uint8_t lock_command = 0x06;
constexpr std::uint8_t inventory_command = 0x19;

const Password access_password("11223344");
const Password kill_password("55667788");

Tid tid_of(unsigned serial)
{
    return Tid("E28011602000000000" + to_hex(Bytes{0, 0, static_cast<std::uint8_t>(serial)}));
}

CommissioningPlan whole_plan(unsigned serial)
{
    CommissioningPlan plan;
    plan.tid = tid_of(serial);
    plan.epc = epc_of(100 + serial);
    plan.access = access_password;
    plan.kill = kill_password;
    plan.locks = {{.area = Area::epc},
                  {.area = Area::access_password},
                  {.area = Area::kill_password, .forever = true},
                  {.area = Area::user, .protection = Protection::open, .forever = true}};
    return plan;
}

std::vector<State> states(const CommissioningReport& report)
{
    std::vector<State> out;
    for (const auto& step : report.steps) out.push_back(step.state);
    return out;
}

class CommissioningOf : public VirtualReader {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = make_scenario(3);
        for (unsigned i = 0; i < 3; ++i) {
            const Tid tid = tid_of(i + 1);
            scenario.tags[i].tid.assign(tid.bytes().begin(), tid.bytes().end());
            scenario.tags[i].locks = {sim::Lock::open, sim::Lock::open, sim::Lock::open,
                                      sim::Lock::closed_forever, sim::Lock::open};
        }
        connect(scenario);
    }
    static bool is_busy(const CommissioningReport& report)
    {
        return report.text().find("no answer came") != std::string::npos;
    }
    CommissioningReport commission(const CommissioningPlan& plan)
    {
        for (int attempt = 1; attempt < 20; ++attempt) {
            const CommissioningReport report = reader().commission(plan);
            if (!is_busy(report)) return report;
        }
        return reader().commission(plan);
    }
    // The answer to the first command of this code is lost, and looking fails behind so many looks.
    void expect_unknown(const CommissioningPlan& plan, std::uint8_t command, sim::Fault blindness,
                        std::uint64_t looks, State again)
    {
        sim::Fault loss = sim::Fault::lose();
        loss.command = command;
        blindness.skip = looks;
        CommissioningReport report;
        do {
            SetUp();
            device->inject(loss);
            device->inject(blindness);
            report = reader().commission(plan);
        } while (device->counters().commands[command] == 0);  // an answer before it was lost
        EXPECT_THAT(states(report), ElementsAre(State::unknown, State::not_reached)) << report;
        EXPECT_THAT(report.text(), HasSubstr(report.steps[0].what + " not known ("));
        EXPECT_EQ(device->counters().commands[command], 1U) << "it is not repeated";
        device->clear_faults();
        report = commission(plan);
        EXPECT_THAT(states(report), ElementsAre(again, State::done)) << report;
        EXPECT_EQ(report.resumed(), again == State::found);
    }
    void expect_ready(std::size_t tag)
    {
        const Bytes reserved = device->tag_memory(tag, sim::Bank::reserved);
        EXPECT_THAT(reserved, ElementsAre(0x55, 0x66, 0x77, 0x88, 0x11, 0x22, 0x33, 0x44));
        EXPECT_EQ(device->find_tag(sim::Bytes(make_tag(static_cast<unsigned>(101 + tag)).epc)), tag);
        EXPECT_THAT(device->tag_state(tag).locks,
                    ElementsAre(sim::Lock::closed_forever, sim::Lock::closed, sim::Lock::closed,
                                sim::Lock::closed_forever, sim::Lock::open_forever));
    }
};
INSTANTIATE_TEST_SUITE_P(Links, CommissioningOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(CommissioningOf, ATagIsMadeReadyOnce)
{
    CommissioningReport report;
    do {
        SetUp();
        report = reader().commission(whole_plan(2));
    } while (is_busy(report));
    EXPECT_TRUE(report.ok()) << report;
    EXPECT_THAT(states(report), testing::Each(State::done));
    EXPECT_EQ(report.steps.size(), 7U);
    expect_ready(1);
    const std::uint64_t writes = device->counters().commands[write_command];
    report = commission(whole_plan(2));
    EXPECT_TRUE(report.ok()) << report;
    EXPECT_TRUE(report.resumed());
    EXPECT_THAT(states(report), ElementsAre(State::found, State::found, State::found, State::done,
                                            State::done, State::done, State::done));
    EXPECT_THAT(report.text(), HasSubstr(tid_of(2).to_string() + " ok: EPC found; access password found"));
    EXPECT_EQ(device->counters().commands[write_command], writes);
    expect_ready(1);
}

TEST_P(CommissioningOf, ARunThatBrokeOffGoesOnWhereItStands)
{
    for (unsigned serial = 1; serial <= 3; ++serial) {
        // Broken off behind the EPC, behind the access password, before the last lock.
        sim::Fault fault = sim::Fault::error(serial < 3 ? write_command : lock_command, 0xFB, 0);
        fault.skip = serial < 3 ? serial : 2;
        device->inject(fault);
        CommissioningReport report = commission(whole_plan(serial));
        EXPECT_FALSE(report.ok());
        EXPECT_EQ(report.steps.back().state, State::not_reached);
        EXPECT_THAT(report.text(), HasSubstr("not reached"));
        device->clear_faults();
        report = commission(whole_plan(serial));
        EXPECT_TRUE(report.ok()) << report;
        EXPECT_TRUE(report.resumed());
        EXPECT_EQ(report.steps[0].state, State::found);
        expect_ready(serial - 1);
    }
}

TEST_P(CommissioningOf, WhatALostAnswerLeavesUnknownIsFoundByTheNextRun)
{
    constexpr std::uint8_t no_tag = 0xFB;
    CommissioningPlan plan;
    plan.tid = tid_of(1);
    plan.locks = {{.area = Area::epc, .protection = Protection::open}};
    plan.epc = epc_of(101);
    expect_unknown(plan, write_command, sim::Fault::error(inventory_command, no_tag, 0), 4, State::found);
    EXPECT_EQ(device->find_tag(make_tag(101).epc), 0U);
    plan.epc.reset();
    plan.access = access_password;
    expect_unknown(plan, write_command, sim::Fault::error(read_command, no_tag, 0), 2, State::found);
    EXPECT_THAT(device->tag_memory(0, sim::Bank::reserved), ElementsAre(0, 0, 0, 0, 0x11, 0x22, 0x33, 0x44));
    plan.access.reset();
    plan.locks.push_back({.area = Area::user, .forever = true});
    expect_unknown(plan, lock_command, sim::Fault::error(read_command, no_tag, 0), 0, State::done);
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::user), sim::Lock::closed_forever);
}

TEST_P(CommissioningOf, ALostAnswerIsLookedAt)
{
    sim::Fault loss = sim::Fault::lose(0);
    loss.command = write_command;
    CommissioningReport report;
    do {
        SetUp();
        device->inject(loss);
        report = reader().commission(whole_plan(1));
    } while (is_busy(report));
    EXPECT_THAT(states(report), testing::Each(State::done)) << report;
    EXPECT_EQ(device->counters().commands[write_command], 3U);
    expect_ready(0);
}

TEST_P(CommissioningOf, AWrongPasswordGoesOutOnce)
{
    CommissioningPlan other = whole_plan(1);
    other.access = Password("0A0B0C0D");
    other.locks = {{.area = Area::access_password}};
    ASSERT_TRUE(commission(other).ok());
    CommissioningReport report;
    std::uint64_t before = 0;
    do {
        before = device->counters().commands[read_command];
        report = reader().commission(whole_plan(1));
    } while (is_busy(report));
    EXPECT_EQ(report.steps[0].what, "open");
    EXPECT_EQ(report.steps[0].state, State::failed);
    EXPECT_EQ(device->counters().commands[read_command] - before, 2U) << "one without, one with the new one";
    EXPECT_FALSE(report.ok());
    CommissioningPlan same = whole_plan(1);
    same.password = *same.access;
    do {
        before = device->counters().commands[read_command];
        report = reader().commission(same);
    } while (is_busy(report));
    EXPECT_EQ(device->counters().commands[read_command] - before, 2U) << "not once more as the new one";
    CommissioningPlan right = whole_plan(1);
    right.password = *other.access;
    report = commission(right);
    EXPECT_TRUE(report.ok()) << report;
    expect_ready(0);
}

TEST_P(CommissioningOf, APasswordThatCouldNotBeReadIsNotTakenForLocked)
{
    constexpr std::uint8_t too_little_power = 0x0B;
    CommissioningPlan plan;
    plan.tid = tid_of(1);
    plan.kill = kill_password;
    plan.locks = {{.area = Area::kill_password, .forever = true}};
    const auto report = with_answer(
        read_command, {too_little_power},
        [&] {
            CommissioningReport out = reader().commission(plan);
            if (is_busy(out)) throw Error(Errc::no_answer, "commission", "", "busy");
            return out;
        },
        0xFC);
    EXPECT_THAT(states(report), ElementsAre(State::failed, State::not_reached)) << report;
    EXPECT_EQ(device->counters().commands[lock_command], 0U);
    EXPECT_TRUE(commission(plan).ok());
    EXPECT_THAT(device->tag_memory(0, sim::Bank::reserved), ElementsAre(0x55, 0x66, 0x77, 0x88, 0, 0, 0, 0));
}

TEST_P(CommissioningOf, EachTagOfATableIsReportedOn)
{
    std::vector<CommissioningPlan> plans{whole_plan(1), whole_plan(9), whole_plan(3)};
    plans[2].epc = epc_of(2);
    std::vector<CommissioningReport> reports = patiently([&] { return reader().commission(plans); });
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_THAT(reports[1].text(), HasSubstr("no tag answers"));
    EXPECT_THAT(states(reports[1]), ElementsAre(State::failed, State::not_reached, State::not_reached,
                                                State::not_reached, State::not_reached, State::not_reached,
                                                State::not_reached, State::not_reached, State::not_reached));
    EXPECT_THAT(reports[2].text(), HasSubstr("EPC failed"));
    EXPECT_EQ(device->tag_memory(2, sim::Bank::reserved), Bytes(8));
    device->hang_up();
    ASSERT_TRUE(GetParam() == Link::pty || device->wait_for_disconnect());
    reports = reader().commission(plans);
    EXPECT_THAT(states(reports[2]), testing::Each(State::not_reached));
}

TEST_P(CommissioningOf, ABeginningOfATidIsNoName)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.tags[0].tid = sim::from_hex("E2801160200000000000AA01");
    scenario.tags[1].tid = sim::from_hex("E2801160200000010000AA02");
    connect(scenario);
    CommissioningPlan plan;
    plan.tid = Tid("E280116020000000");
    plan.epc = epc_of(9);
    CommissioningReport report = commission(plan);
    EXPECT_EQ(report.tid, plan.tid);
    EXPECT_THAT(states(report), ElementsAre(State::failed, State::not_reached)) << report;
    EXPECT_THAT(report.text(), HasSubstr("the beginning of the TID E2801160200000000000AA01 only"));
    EXPECT_EQ(device->counters().commands[write_command], 0U);
    plan.tid = Tid("E2801160200000000000AA01");
    report = commission(plan);
    EXPECT_TRUE(report.ok()) << report;
    EXPECT_EQ(device->find_tag(make_tag(9).epc), 0U);
}

TEST_P(CommissioningOf, TwoTagsOfOneTidAreRefused)
{
    sim::Scenario scenario = make_scenario(2);
    const Tid shared = tid_of(1);
    for (auto& tag : scenario.tags) tag.tid.assign(shared.bytes().begin(), shared.bytes().end());
    connect(scenario);
    const CommissioningReport report = commission(whole_plan(1));
    EXPECT_EQ(report.steps[0].what, "find");
    EXPECT_EQ(report.steps[0].state, State::failed);
    EXPECT_EQ(report.steps.back().state, State::not_reached);
    EXPECT_THAT(report.text(), HasSubstr("2 tags answer to the TID " + shared.to_string()));
    EXPECT_THAT(report.text(), HasSubstr("they have one TID: leave only one in the field"));
    EXPECT_EQ(device->counters().commands[write_command] + device->counters().commands[lock_command], 0U);
}

TEST_P(CommissioningOf, AReaderThatTellsNoTidsIsNotTakenAtItsWord)
{
    sim::Scenario scenario = make_scenario(2);
    scenario.tags[0].tid = sim::from_hex("E2801160200000000000AA01");
    scenario.tags[1].tid = sim::from_hex("E280116020000001");
    connect(scenario);
    device->inject(sim::Fault::error(inventory_command, 0xFE, 0));
    CommissioningPlan plan;
    plan.tid = Tid("E280116020000000");
    plan.epc = epc_of(9);
    CommissioningReport report = commission(plan);
    EXPECT_THAT(report.text(), HasSubstr("the beginning of the TID E2801160200000000000AA01 only"));
    EXPECT_EQ(device->counters().commands[write_command], 0U);
    plan.tid = Tid("E2801160200000000000AA01");
    report = commission(plan);
    EXPECT_TRUE(report.ok()) << report;
    plan.tid = Tid("E280116020000001");
    plan.epc = epc_of(10);
    report = commission(plan);
    EXPECT_TRUE(report.ok()) << report;
    EXPECT_EQ(device->find_tag(make_tag(9).epc), 0U);
    EXPECT_EQ(device->find_tag(make_tag(10).epc), 1U);
}

TEST_P(CommissioningOf, PlansAreLookedAtFirst)
{
    CommissioningPlan plan = whole_plan(1);
    plan.access = Password();
    const auto expect_refused = [&] {
        const std::uint64_t before = device->counters().requests;
        EXPECT_EQ(error_of([&] { reader().commission({whole_plan(2), plan}); })->code(), Errc::invalid_value);
        EXPECT_EQ(device->counters().requests, before);
    };
    expect_refused();
    plan = whole_plan(1);
    for (const Tid& tid : {Tid(), Tid("E280"), Tid("E2801160200000")}) {
        plan.tid = tid;
        expect_refused();
    }
    plan = whole_plan(1);
    plan.epc = Epc("123456");
    expect_refused();
    plan = whole_plan(1);
    plan.locks.push_back({.area = static_cast<Area>(5)});
    expect_refused();
    plan.locks.back() = {.protection = static_cast<Protection>(2)};
    expect_refused();
}

// -- tables

TEST(CommissioningLocks, AreReadAsInATable)
{
    const CommissioningLock lock = commissioning_lock("kill_password:open_forever");
    EXPECT_EQ(lock.area, Area::kill_password);
    EXPECT_EQ(lock.protection, Protection::open);
    EXPECT_TRUE(lock.forever);
    EXPECT_EQ(error_of([] { commissioning_lock("user:shut"); })->code(), Errc::invalid_text);
}

class ATableOfTags : public testing::Test {
  protected:
    ~ATableOfTags() override { ::unlink(path.c_str()); }

    std::vector<CommissioningPlan> load(const std::string& text)
    {
        std::ofstream(path, std::ios::binary) << text;
        return load_commissioning(path);
    }
    void expect_refused(const std::string& text, const std::string& why)
    {
        const auto error = error_of([&] { load(text); });
        EXPECT_EQ(error->code(), Errc::invalid_text);
        EXPECT_THAT(error->what(), HasSubstr(why));
        EXPECT_THAT(error->what(), Not(HasSubstr("1122334")));
    }

    std::string path = testing::TempDir() + "tagwire_tags_" + std::to_string(::getpid()) + ".csv";
};

TEST_F(ATableOfTags, HasColumnsInAnyOrder)
{
    const auto plans =
        load("\xEF\xBB\xBF epc , tid,access,kill,lock,password\r\n"
             "\r\n"
             "# a remark\n"
             "3034AABB,E2801160200000000A,\"11223344\",55667788,user:password  epc:open_forever,0A0B0C0D\n"
             ",E2801160210000000A,,,kill_password:forever,");
    ASSERT_EQ(plans.size(), 2U);
    EXPECT_EQ(plans[0].tid, Tid("E2801160200000000A"));
    EXPECT_EQ(plans[0].epc, Epc("3034AABB"));
    EXPECT_EQ(plans[0].access, access_password);
    EXPECT_EQ(plans[0].kill, kill_password);
    EXPECT_EQ(plans[0].password, Password("0A0B0C0D"));
    ASSERT_EQ(plans[0].locks.size(), 2U);
    EXPECT_EQ(plans[0].locks[0].area, Area::user);
    EXPECT_EQ(plans[0].locks[0].protection, Protection::password);
    EXPECT_FALSE(plans[0].locks[0].forever);
    EXPECT_EQ(plans[0].locks[1].area, Area::epc);
    EXPECT_EQ(plans[0].locks[1].protection, Protection::open);
    EXPECT_TRUE(plans[0].locks[1].forever);
    EXPECT_FALSE(plans[1].epc || plans[1].access || plans[1].kill);
    EXPECT_TRUE(plans[1].locks.at(0).forever);
    const auto quoted = load("\"tid\",\"epc\"\n \"E280116020000000\" , \"3034\" \n");
    ASSERT_EQ(quoted.size(), 1U);
    EXPECT_EQ(quoted[0].tid, Tid("E280116020000000"));
    EXPECT_EQ(quoted[0].epc, Epc("3034"));
    EXPECT_TRUE(load("").empty());
    EXPECT_TRUE(load("tid\n").empty());
}

TEST_F(ATableOfTags, IsRefusedWithItsLine)
{
    expect_refused("tid,colour\n", ".csv:1: column 2: ");
    expect_refused("11223344,tid\n", "this is none of them");
    expect_refused("tid,epc\nE280116020000000AA,3034\nE280116020000000,3035\n",
                   ".csv:3: the TID is the beginning");
    expect_refused("tid,epc\nE280116020000000,3034\nE280116020000000AA,3035\n",
                   ".csv:3: the TID is the beginning");
    expect_refused("epc\n", ".csv:1: ");
    expect_refused("tid,tid\n", "twice");
    expect_refused("tid,epc\n\nE280\n", ".csv:3: there are 2 columns, and 1 values");
    expect_refused("tid,access\nE280,1122334\n", ".csv:2: column access: a password has 4 bytes");
    expect_refused("tid,epc\nE28G,3034\n", "E28G");
    expect_refused("tid,epc\n,3034\n", "a tag is named by its whole TID");
    expect_refused("tid,epc\nE2801160200000,3034\n", ".csv:2: a tag is named by its whole TID");
    expect_refused("tid,epc\nE280116020000000,30\n", "whole words");
    expect_refused("tid,epc\nE280116020000000,3034\ne2 80116020000000,3035\n",
                   ".csv:3: the TID is there twice");
    expect_refused("tid,epc\nE280116020000000,3034\nE281116020000000,3034\n",
                   ".csv:3: the EPC is there twice");
    expect_refused("tid,lock\nE280,user\n", "'user' is no lock");
    expect_refused("tid,lock\nE280,all:open\n", "'all:open' is no lock");
    expect_refused("tid,lock\nE280,user:shut\n", "'user:shut' is no lock");
    expect_refused("tid,lock\nE280116020000000,user:password\n", "without an access password");
    EXPECT_EQ(error_of([&] { load_commissioning(path + ".none"); })->code(), Errc::file);
    EXPECT_EQ(error_of([&] { load_commissioning(testing::TempDir()); })->code(), Errc::file);
}

}  // namespace
}  // namespace tagwire::test
