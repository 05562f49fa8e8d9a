// One tag: named, read, written, locked, killed; what is lost, and what wrong names and passwords do.
#include "field/other_tags.h"
#include "xx/reader/reader_inside.h"
#include "xx/virtual_reader.h"

#include <tagwirexx/tagwire.hpp>

namespace tagwire::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr std::uint8_t read_command = 0x02;
constexpr std::uint8_t write_command = 0x03;
constexpr std::uint8_t kill_command = 0x05;
constexpr std::uint8_t lock_command = 0x06;
constexpr std::uint8_t erase_command = 0x07;

const Password secret("11223344");
const Password wrong("DEADBEEF");

Tid tid_of(unsigned serial)
{
    return Tid("E28011602000000000" + to_hex(Bytes{0, 0, static_cast<std::uint8_t>(serial)}));
}

sim::Scenario portal(unsigned tags)
{
    sim::Scenario scenario = make_scenario(tags);
    for (unsigned i = 0; i < tags; ++i) {
        const Tid tid = tid_of(i + 1);
        scenario.tags[i].tid.assign(tid.bytes().begin(), tid.bytes().end());
        scenario.tags[i].user.resize(800);
    }
    return scenario;
}

Bytes counting(std::size_t size)
{
    Bytes out;
    for (std::size_t i = 0; i < size; ++i) out.push_back(static_cast<std::uint8_t>(i * 7 + 1));
    return out;
}

std::vector<std::string> texts(const std::vector<MemoryRange>& ranges)
{
    std::vector<std::string> out;
    for (const MemoryRange& range : ranges) {
        std::ostringstream text;
        text << range;
        out.push_back(text.str());
    }
    return out;
}

class TagOf : public VirtualReader {
  protected:
    void SetUp() override { connect(portal(2)); }

    template <class Name> Tag tag(const Name& name, const Password& password = {})
    {
        return patiently([&] { return reader().tag(name, password); });
    }
    Tag first(const Password& password = {}) { return tag(epc_of(1), password); }
    Bytes stored(std::size_t tag, sim::Bank bank, std::size_t first, std::size_t size)
    {
        const Bytes all = device->tag_memory(tag, bank);
        const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
        return {begin, begin + static_cast<std::ptrdiff_t>(size)};
    }
    Bytes user(std::size_t tag, std::size_t words) { return stored(tag, sim::Bank::user, 0, 2 * words); }
    std::uint64_t count(std::uint8_t command) { return device->counters().commands[command]; }
    // Requests that carry these bytes.
    std::size_t requests_with(const Password& password)
    {
        const auto bytes = password.bytes();
        std::size_t found = 0;
        for (const auto& request : device->requests())
            found += std::search(request.frame.begin(), request.frame.end(), bytes.begin(), bytes.end()) !=
                     request.frame.end();
        return found;
    }
    // Of a call with the wrong one.
    template <class Act> void expect_password_refused(Act act)
    {
        device->forget_requests();
        const auto error = error_of(act);
        if (error->code() == Errc::no_answer) return;
        EXPECT_EQ(error->code(), Errc::refused) << error->what();
        EXPECT_EQ(error->result(), 5);
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_EQ(requests_with(wrong), 1U);
    }
    void inject(sim::Fault fault, std::uint8_t command, std::uint64_t skip = 0)
    {
        fault.command = command;
        fault.skip = skip;
        device->inject(fault);
    }
    // As somebody else does who does not look.
    void rename(const Epc& from, const Epc& to)
    {
        opened.reset();
        auto inside = patiently([&] { return open_reader(parse_url(url)); });
        Bytes name(from.bytes().begin(), from.bytes().end());
        Bytes words(to.bytes().begin(), to.bytes().end());
        Bytes none(4);
        int error = 0;
        EXPECT_EQ(inside->run({"rename"}, &Operations::WriteData_G2, name.data(), 6, 6, 1, 2, words.data(),
                              none.data(), 0, none.data(), 0, none.data(), &error),
                  0);
        inside.reset();
        open();
    }
    // The second has the EPC of the first and more, which it can hide.
    static sim::Scenario twins()
    {
        sim::Scenario scenario = portal(2);
        scenario.tags[1].epc.assign(scenario.tags[0].epc.begin(), scenario.tags[0].epc.end());
        scenario.tags[1].epc.resize(14);
        return scenario;
    }
    template <class Act> static void expect_not_alone(Errc code, Act act)
    {
        const auto error = error_of([&] { patiently(act); });
        EXPECT_EQ(error->code(), code) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_FALSE(error->answered().empty());
    }
    void lose(std::uint8_t command) { inject(sim::Fault::lose(), command); }
    void silence(std::uint8_t command) { inject(sim::Fault::silence(1), command); }
};
INSTANTIATE_TEST_SUITE_P(Links, TagOf, testing::Values(Link::tcp, Link::pty), link_name);

// -- names

TEST_P(TagOf, IsNamedByEpcTidOrMask)
{
    EXPECT_EQ(first().epc(), epc_of(1));
    EXPECT_EQ(first().tid(), tid_of(1));
    EXPECT_EQ(tag(tid_of(2)).epc(), epc_of(2));
    EXPECT_EQ(tag(Mask{Bank::epc, 32 + 88, {2}}).tid(), tid_of(2));
    Tag moved = first();
    moved = tag(epc_of(2));
    EXPECT_EQ(moved.epc(), epc_of(2));
    connect(portal(1));
    EXPECT_EQ(patiently([&] { return reader().only_tag(); }).epc(), epc_of(1));
}

TEST_P(TagOf, NothingIsDoneUnlessOneTagAnswers)
{
    const auto several = error_of([&] {
        tag(Mask{Bank::epc, 32, {0xE2}}).write(Bank::user, 0, counting(4));
    });
    EXPECT_EQ(several->code(), Errc::several_tags);
    ASSERT_EQ(several->answered().size(), 2U);
    EXPECT_THAT((std::vector{several->answered()[0].epc, several->answered()[1].epc}),
                UnorderedElementsAre(epc_of(1), epc_of(2)));
    EXPECT_THAT(several->what(), HasSubstr(epc_of(2).to_string()));
    EXPECT_EQ(several->outcome(), Outcome::nothing);
    EXPECT_EQ(error_of([&] { tag(Tid("E2801160")).kill(secret); })->code(), Errc::several_tags);
    EXPECT_EQ(error_of([&] { patiently([&] { return reader().only_tag(); }); })->code(), Errc::several_tags);
    EXPECT_EQ(error_of([&] { tag(epc_of(3)); })->code(), Errc::no_tag);
    EXPECT_EQ(error_of([&] { tag(Epc("E200")); })->code(), Errc::no_tag) << "the beginning of an EPC is none";
    expect_invalid([&] { reader().tag(Epc()); });
    expect_invalid([&] { reader().tag(Tid()); });
    EXPECT_EQ(count(write_command) + count(kill_command), 0U);
}

TEST_P(TagOf, TwoTagsOfOneEpcAreToldApartByTheirTids)
{
    connect(portal(3));
    rename(epc_of(2), epc_of(1));
    const auto shared = error_of([&] { first(); });
    EXPECT_EQ(shared->code(), Errc::several_tags);
    ASSERT_EQ(shared->answered().size(), 2U);
    EXPECT_THAT((std::vector{shared->answered()[0].tid, shared->answered()[1].tid}),
                UnorderedElementsAre(tid_of(1), tid_of(2)));
    EXPECT_THAT(shared->what(), HasSubstr(tid_of(2).to_string()));
    Tag second = tag(tid_of(2));
    patiently([&] { second.write(Bank::user, 0, counting(8)); });
    EXPECT_EQ(user(1, 4), counting(8));
    EXPECT_EQ(user(0, 4), Bytes(8));
    lose(write_command);
    patiently([&] { second.write_epc(epc_of(7)); });
    EXPECT_EQ(second.epc(), epc_of(7));
    EXPECT_EQ(Epc(std::span<const std::uint8_t>(stored(1, sim::Bank::epc, 4, 12))), epc_of(7));
    EXPECT_EQ(first().tid(), tid_of(1));
}

TEST_P(TagOf, WhoIsNotAloneAnyMoreIsNotTouchedForGood)
{
    sim::Scenario scenario = twins();
    for (auto& tag : scenario.tags) tag.kill_password = {0x11, 0x22, 0x33, 0x44};
    connect(scenario);
    Tag one = first();
    Tag same = first();
    Tag twin = tag(tid_of(2));
    patiently([&] { twin.make_untraceable({.epc_words = 6}); });  // shows the EPC of the first
    expect_not_alone(Errc::several_tags, [&] { one.kill(secret); });
    expect_not_alone(Errc::several_tags, [&] { one.lock_forever(Area::user); });
    expect_not_alone(Errc::several_tags, [&] { one.open_forever(Area::user); });
    expect_not_alone(Errc::several_tags, [&] { one.lock_block_forever(0); });
    const auto renaming = [&] { one.write(Bank::epc, 2, counting(12)); };
    const auto erasing = [&] { one.erase(Bank::epc, 7, 1); };
    expect_not_alone(Errc::several_tags, renaming);
    expect_not_alone(Errc::several_tags, erasing);
    expect_not_alone(Errc::several_tags, [&] { one.write_epc(epc_of(9)); });
    // A reader that reads no words in inventories does not see that there are two.
    device->inject(sim::Fault::error(0x19, 0xFE, 0));
    twin = tag(tid_of(2));
    EXPECT_EQ(twin.tid(), tid_of(2));
    patiently([&] { twin.write(Bank::user, 0, counting(8)); });
    EXPECT_EQ(user(1, 4), counting(8));
    EXPECT_EQ(user(0, 4), Bytes(8));
    device->clear_faults();
    const std::uint64_t writes = count(write_command);
    patiently([&] { tag(tid_of(1)).make_untraceable({.epc_words = 1}); });
    expect_not_alone(Errc::no_tag, [&] { same.kill(secret); });  // the other alone has the EPC now
    expect_not_alone(Errc::no_tag, renaming);
    expect_not_alone(Errc::no_tag, erasing);
    EXPECT_EQ(count(kill_command) + count(lock_command) + count(0x0E) + count(erase_command), 0U);
    EXPECT_EQ(count(write_command), writes);
    EXPECT_FALSE(device->tag_state(0).killed || device->tag_state(1).killed);
}

TEST_P(TagOf, WhoIsNotAloneAnyMoreIsNotHidden)
{
    sim::Scenario scenario = twins();
    for (auto& tag : scenario.tags) tag.access_password = {0x11, 0x22, 0x33, 0x44};
    connect(scenario);
    Tag one = first(secret);
    patiently([&] { tag(tid_of(2), secret).make_untraceable({.epc_words = 6}); });
    const auto sent = [&] { return count(0x08) + count(0x12) + count(0x1F) + count(0xE9); };
    const auto expect_refused = [&](Errc code) {
        const std::uint64_t before = sent();
        expect_not_alone(code, [&] { one.set_qt(2); });
        expect_not_alone(code, [&] { one.set_privacy(); });
        expect_not_alone(code, [&] { one.make_untraceable({.epc_words = 1}); });
        expect_not_alone(code, [&] { one.silence(); });
        EXPECT_EQ(sent(), before);
    };
    expect_refused(Errc::several_tags);
    patiently([&] { tag(tid_of(1), secret).make_untraceable({.epc_words = 1}); });
    expect_refused(Errc::no_tag);  // the other alone has the EPC now
}

TEST_P(TagOf, WhoCannotBeToldApartIsNotTouched)
{
    connect(make_scenario(2));
    EXPECT_FALSE(first().tid());
    sim::Scenario scenario = portal(3);
    for (auto& tag : scenario.tags) tag.tid.resize(8);  // alike
    connect(scenario);
    EXPECT_EQ(first().tid()->size(), 8U);
    rename(epc_of(2), epc_of(1));
    EXPECT_EQ(error_of([&] {
                  tag(Mask{Bank::epc, 32 + 88, {3}});
                  tag(tid_of(1));
              })->code(),
              Errc::no_tag);
    EXPECT_EQ(error_of([&] { tag(Tid("E2801160")); })->code(), Errc::several_tags);
}

TEST_P(TagOf, ALongerEpcIsAnotherName)
{
    sim::Scenario scenario = portal(3);
    scenario.tags[1].epc = scenario.tags[0].epc;
    scenario.tags[1].epc.resize(62, 0x55);
    scenario.tags[2].epc = scenario.tags[1].epc;
    scenario.tags[2].epc.back() = 0x56;
    connect(scenario);
    EXPECT_EQ(first().tid(), tid_of(1));
    const Epc longest(std::span<const std::uint8_t>(scenario.tags[2].epc));
    Tag third = tag(longest);
    EXPECT_EQ(third.tid(), tid_of(3));
    patiently([&] { third.write(Bank::user, 0, counting(200)); });
    EXPECT_EQ(user(2, 100), counting(200));
    EXPECT_EQ(user(1, 100), Bytes(200));
}

TEST_P(TagOf, ItIsSureThatNoOtherTagAnswers)
{
    constexpr std::uint8_t inventory_with_words = 0x19;
    constexpr std::uint8_t scan_time_over = 2;
    inject(sim::Fault::set_byte(3, scan_time_over), inventory_with_words, 1);
    EXPECT_THAT(error_of([&] { first(); })->what(), HasSubstr("longer one"));
    // A reader that reads no words in inventories.
    device->inject(sim::Fault::error(inventory_with_words, 0xFE));
    EXPECT_FALSE(first().tid());
    // One of two tags of one EPC does not tell its TID.
    for (const std::size_t bytes : {4U, 8U}) {
        sim::Scenario scenario = portal(2);
        scenario.tags[1].tid.resize(bytes);
        connect(scenario);
        rename(epc_of(2), epc_of(1));
        const auto shared = error_of([&] { first(); });
        EXPECT_EQ(shared->code(), Errc::several_tags);
        ASSERT_EQ(shared->answered().size(), 2U);
        EXPECT_NE(shared->answered()[0].tid, shared->answered()[1].tid);
        EXPECT_THAT(shared->what(), HasSubstr("or it is one"));
        EXPECT_EQ(tag(tid_of(1)).tid(), tid_of(1));
    }
}

// -- reading and writing

TEST_P(TagOf, LongDataGoesInPiecesAndIsReadBack)
{
    Tag one = first();
    const Bytes data = counting(600);
    const std::uint64_t writes = count(write_command) + count(0x16);
    patiently([&] { one.write(Bank::user, 50, data); });
    EXPECT_GE(count(write_command) + count(0x16) - writes, 10U);
    EXPECT_EQ(stored(0, sim::Bank::user, 100, 600), data);
    EXPECT_EQ(patiently([&] { return one.read(Bank::user, 50, 300); }), data);
    EXPECT_EQ(patiently([&] { return one.read(Bank::user); }).size(), 800U);
    EXPECT_EQ(patiently([&] { return one.read(Bank::tid); }).size(), 12U);
    EXPECT_EQ(user(1, 400), Bytes(800));
    patiently([&] { one.write(Bank::user, 0, counting(40), {.block = true, .most_words = 7}); });
    EXPECT_GE(count(0x10), 3U);
    EXPECT_EQ(user(0, 20), counting(40));
    patiently([&] { one.write(Bank::user, 300, counting(40), {.block = true}); });
    EXPECT_GE(count(0xCF), 1U);
    patiently([&] { one.erase(Bank::user, 5, 10); });
    EXPECT_EQ(stored(0, sim::Bank::user, 10, 20), Bytes(20));
    EXPECT_EQ(stored(0, sim::Bank::user, 30, 2), (Bytes{counting(40)[30], counting(40)[31]}));
}

TEST_P(TagOf, PlacesAndDataAreLookedAtFirst)
{
    Tag one = first();
    expect_invalid([&] { one.read(Bank::user, 0, 0); });
    expect_invalid([&] { one.read(Bank::user, 0x10000, 1); });
    expect_invalid([&] { one.read(Bank::user, 1, 0x10000); });
    expect_invalid([&] { one.read(static_cast<Bank>(4), 0, 1); });
    expect_invalid([&] { one.write(Bank::user, 0, Bytes()); });
    expect_invalid([&] { one.write(Bank::user, 0, Bytes(3)); });
    expect_invalid([&] { one.write(Bank::user, 0xFFFF, Bytes(4)); });
    expect_invalid([&] { one.write(Bank::user, 0, Bytes(4), {.most_words = 0}); });
    expect_invalid([&] { one.erase(Bank::user, 250, 7); });
    expect_invalid([&] { one.write_epc(Epc()); });
    expect_invalid([&] { one.write_epc(Epc("E20011")); });
    expect_invalid([&] { one.write_epc(Epc(std::span<const std::uint8_t>(Bytes(63)))); });
    expect_invalid([&] { one.kill({}); });
    expect_invalid([&] { one.lock_block_forever(256); });
    expect_invalid([&] { one.lock(static_cast<Area>(5), Protection::open); });
    const auto beyond = error_of([&] { patiently([&] { one.read(Bank::user, 399, 2); }); });
    EXPECT_EQ(beyond->code(), Errc::tag_refused);
    EXPECT_EQ(beyond->tag_error(), 3);
    EXPECT_THAT(beyond->what(), HasSubstr("no such memory"));
    const auto untold = error_of([&] {
        with_answer(
            read_command, {}, [&] { one.read(Bank::user, 0, 1); }, 0xFC);
    });
    EXPECT_EQ(untold->code(), Errc::tag_refused);
    EXPECT_EQ(untold->tag_error(), -1) << "it gave no code";
}

TEST_P(TagOf, TheOneThatLeavesMidwayIsNotTakenForAnother)
{
    Tag one = first();
    inject(sim::Fault::error(write_command, 0xFB, 0), write_command, 1);
    inject(sim::Fault::error(read_command, 0xFB, 0), read_command);
    const auto gone = error_of([&] { one.write(Bank::user, 0, counting(192)); });
    EXPECT_EQ(gone->code(), Errc::no_tag);
    EXPECT_EQ(gone->outcome(), Outcome::unknown);
    EXPECT_THAT(texts(gone->written()), ElementsAre("0-31"));
    EXPECT_THAT(texts(gone->unknown_words()), ElementsAre("32-63"));
    EXPECT_THAT(texts(gone->not_written()), ElementsAre("64-95"));
    EXPECT_THAT(gone->what(), HasSubstr("not written: words 64-95"));
    EXPECT_EQ(user(1, 400), Bytes(800));
}

TEST_P(TagOf, WhenOneLeavesMidwayAnotherOfItsMaskIsNotTouched)
{
    const auto write_until_gone = [&](const auto& name) {
        try {
            Tag one = tag(name);
            while (one.tid() == tid_of(1)) patiently([&] { one.write(Bank::user, 0, counting(800)); });
        } catch (const Error& error) {
            EXPECT_EQ(error.code(), Errc::no_tag) << error.what();
        }
    };
    // The other one comes then, or is there with the same EPC.
    const auto expect_other_untouched = [&](bool is_there, const auto& name) {
        sim::Time stay = std::chrono::milliseconds(200);
        do {
            sim::Scenario scenario = portal(2);
            scenario.tags[0].departs = stay;
            if (!is_there) scenario.tags[1].arrives = stay;
            connect(scenario);
            if (is_there) rename(epc_of(2), epc_of(1));
            write_until_gone(name);
            stay *= 2;
        } while (user(0, 32) != counting(64));  // it had left before
        EXPECT_EQ(tag(tid_of(2)).tid(), tid_of(2)) << "it answers";
        EXPECT_EQ(user(1, 400), Bytes(800));
    };
    expect_other_untouched(false, Mask{Bank::epc, 32, {0xE2}});
    expect_other_untouched(false, Mask{Bank::tid, 0, {0xE2, 0x80, 0x11}});
    expect_other_untouched(false, Tid("E280116020000000"));
    expect_other_untouched(true, Mask{Bank::tid, 88, {1}});
    expect_other_untouched(true, tid_of(1));
}

TEST_P(TagOf, APieceThatWasRefusedIsLookedAt)
{
    sim::Scenario scenario = portal(1);
    scenario.tags[0].block_words = 20;
    connect(scenario);
    Tag one = first();
    patiently([&] { one.lock_block_forever(45); });
    const auto locked = error_of([&] { patiently([&] { one.write(Bank::user, 0, counting(192)); }); });
    EXPECT_EQ(locked->code(), Errc::tag_refused);
    EXPECT_EQ(locked->tag_error(), 4);
    EXPECT_EQ(locked->outcome(), Outcome::partial);
    EXPECT_THAT(texts(locked->written()), ElementsAre("0-31"));
    EXPECT_THAT(texts(locked->not_written()), ElementsAre("32-95"));
    EXPECT_TRUE(locked->unknown_words().empty());
}

TEST_P(TagOf, AWriteWhoseAnswerIsLostIsLookedAt)
{
    Tag one = first();
    lose(write_command);
    one.write(Bank::user, 0, counting(20));
    EXPECT_EQ(count(write_command), 1U);
    EXPECT_EQ(user(0, 10), counting(20));
    silence(write_command);
    const auto error = error_of([&] { one.write(Bank::user, 0, Bytes(20, 0xAA)); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::nothing);
    EXPECT_THAT(texts(error->not_written()), ElementsAre("0-9"));
    EXPECT_EQ(count(write_command), 2U);
    lose(erase_command);
    one.erase(Bank::user, 0, 10);
    EXPECT_EQ(user(0, 10), Bytes(20));
    EXPECT_EQ(count(erase_command), 1U);
}

TEST_P(TagOf, WhatALostLinkLeavesIsNotKnown)
{
    Tag one = first();
    inject(sim::Fault::hang_up(0), write_command, 1);
    const auto error = error_of([&] { one.write(Bank::user, 0, counting(192)); });
    EXPECT_EQ(error->code(), Errc::lost);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(texts(error->written()), ElementsAre("0-31"));
    EXPECT_THAT(texts(error->unknown_words()), ElementsAre("32-63"));
    EXPECT_THAT(texts(error->not_written()), ElementsAre("64-95"));
}

TEST_P(TagOf, AWriteThatIsAbortedIsAccountedFor)
{
    Tag one = first();
    inject(sim::Fault::silence(1), write_command, 1);
    std::jthread aborting([&] {
        if (device->wait_for_command(write_command, 2)) reader().abort();
    });
    const auto error = error_of([&] { one.write(Bank::user, 0, counting(192)); });
    EXPECT_EQ(error->code(), Errc::aborted);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(texts(error->written()), ElementsAre("0-31"));
    EXPECT_THAT(texts(error->unknown_words()), ElementsAre("32-63"));
    patiently([&] { one.write(Bank::user, 0, counting(192)); });
}

TEST_P(TagOf, WhatCannotBeReadBackIsNotCalledDone)
{
    Tag one = first();
    inject(sim::Fault::error(read_command, 0xFB, 0), read_command);
    const auto unread = error_of([&] { one.write(Bank::user, 0, counting(20)); });
    EXPECT_EQ(unread->code(), Errc::no_tag);
    EXPECT_EQ(unread->outcome(), Outcome::partial);
    EXPECT_THAT(texts(unread->written()), ElementsAre("0-9"));
    device->clear_faults();
    inject(sim::Fault::set_byte(4 + 6, 0x55), read_command);
    const auto differs = error_of([&] { one.write(Bank::user, 0, counting(20)); });
    EXPECT_EQ(differs->code(), Errc::differs);
    EXPECT_THAT(texts(differs->written()), ElementsAre("0-2", "4-9"));
    EXPECT_THAT(texts(differs->not_written()), ElementsAre("3"));
}

TEST_P(TagOf, ShortAnswersAreNotShown)
{
    Tag one = first();
    expect_short_answer_refused(read_command, Bytes(14), [&] { one.read(Bank::user, 0, 8); });
    expect_short_answer_refused(0x15, {}, [&] { one.read(Bank::user, 300, 8); });
    expect_short_answer_refused(0x11, {0}, [&] { one.qt(); });
    expect_short_answer_refused(0x0B, {}, [&] { reader().has_privacy(); });
    expect_short_answer_refused(0x84, {}, [&] { reader().set_carrier_time(3); });
}

// -- the EPC

TEST_P(TagOf, ANewEpcKeepsTheRestOfTheControlWord)
{
    Tag one = first();
    for (const Epc epc :
         {Epc("30340000000000000000000A"), Epc("3034"), Epc("30340000111122223333444455556666")}) {
        patiently([&] { one.write_epc(epc); });
        EXPECT_EQ(one.epc(), epc);
        EXPECT_EQ(stored(0, sim::Bank::epc, 2, 1)[0], epc.size() / 2 << 3U);
        EXPECT_EQ(tag(epc).tid(), tid_of(1));
        patiently([&] { one.write(Bank::user, 0, epc.bytes().first(2)); });
    }
    const std::uint64_t writes = count(write_command);
    patiently([&] { one.write_epc(one.epc()); });
    const auto taken = error_of([&] { patiently([&] { one.write_epc(epc_of(2)); }); });
    EXPECT_EQ(taken->code(), Errc::exists_already);
    EXPECT_EQ(taken->answered().size(), 1U);
    EXPECT_THAT(texts(taken->not_written()), ElementsAre("1-7"));
    EXPECT_EQ(count(write_command), writes);
}

TEST_P(TagOf, AWriteThatRenamesIsNotTakenForAnothersMemory)
{
    Tag one = first();
    const Bytes others = stored(1, sim::Bank::epc, 4, 12);
    const auto taken = error_of([&] { patiently([&] { one.write(Bank::epc, 2, others); }); });
    EXPECT_EQ(taken->code(), Errc::exists_already);
    EXPECT_TRUE(taken->written().empty());
    EXPECT_EQ(count(write_command), 0U);
    Bytes mine = others;
    mine.back() = 9;
    patiently([&] { one.write(Bank::epc, 2, mine, {.most_words = 1}); });
    EXPECT_EQ(one.epc(), epc_of(9));
    EXPECT_EQ(patiently([&] { return one.read(Bank::epc, 2, 6); }), mine);
}

TEST_P(TagOf, ATagIsFoundAgainWhenTheAnswerToARenamingIsLost)
{
    for (const bool has_tid : {true, false}) {
        connect(has_tid ? portal(2) : make_scenario(2));
        Tag one = first();
        lose(write_command);
        patiently([&] { one.write_epc(epc_of(5)); });
        EXPECT_EQ(count(write_command), 1U);
        EXPECT_EQ(one.epc(), epc_of(5));
        silence(write_command);
        const auto error = error_of([&] { one.write_epc(Epc("3034123456789ABCDEF0")); });
        EXPECT_EQ(error->code(), Errc::no_answer);
        EXPECT_EQ(error->outcome(), Outcome::nothing) << error->what();
        EXPECT_EQ(one.epc(), epc_of(5));
        EXPECT_EQ(patiently([&] { return one.read(Bank::epc, 2, 6); }).back(), 5);
    }
}

// -- passwords and locks

TEST_P(TagOf, AWrongPasswordGoesOutOncePerCall)
{
    sim::Scenario scenario = portal(1);
    scenario.tags[0].access_password = {0x11, 0x22, 0x33, 0x44};
    scenario.tags[0].kill_password = {0x55, 0x66, 0x77, 0x88};
    connect(scenario);
    Tag one = first(wrong);
    expect_password_refused([&] { one.write(Bank::user, 0, counting(192)); });
    expect_password_refused([&] { one.read(Bank::user, 0, 300); });
    expect_password_refused([&] { one.erase(Bank::user, 0, 4); });
    expect_password_refused([&] { one.write_epc(epc_of(9)); });
    expect_password_refused([&] { one.set_access_password(Password("01020304")); });
    expect_password_refused([&] { one.set_kill_password(Password("01020304")); });
    expect_password_refused([&] { one.lock(Area::user, Protection::password); });
    expect_password_refused([&] { one.lock_forever(Area::access_password); });
    expect_password_refused([&] { one.lock_forever(Area::user); });
    expect_password_refused([&] { one.kill(wrong); });
    EXPECT_FALSE(device->tag_state(0).killed);
    const auto unwritten =
        error_of([&] { patiently([&] { one.set_access_password(Password("01020304")); }); });
    EXPECT_THAT(texts(unwritten->not_written()), ElementsAre("2-3"));
    // Where its answer is lost, too.
    for (const Bank bank : {Bank::user, Bank::reserved}) {
        lose(write_command);
        device->forget_requests();
        EXPECT_EQ(error_of([&] { one.write(bank, 0, counting(4)); })->code(), Errc::no_answer);
        EXPECT_EQ(requests_with(wrong), 1U);
    }
}

TEST_P(TagOf, APasswordOpensTheTagFromThenOn)
{
    Tag one = first();
    patiently([&] { one.set_kill_password(Password("55667788")); });
    lose(write_command);
    patiently([&] { one.set_access_password(secret); });
    EXPECT_THAT(stored(0, sim::Bank::reserved, 0, 8),
                ElementsAre(0x55, 0x66, 0x77, 0x88, 0x11, 0x22, 0x33, 0x44));
    silence(write_command);
    const auto error = error_of([&] { one.set_access_password(wrong); });
    EXPECT_EQ(error->code(), Errc::no_answer);
    EXPECT_EQ(error->outcome(), Outcome::nothing) << error->what();
    patiently([&] { one.write(Bank::reserved, 3, Bytes{0x99, 0x88}); });
    patiently([&] { one.lock(Area::user, Protection::password); });
    patiently([&] { one.write(Bank::user, 0, counting(4)); });
    Tag anew = first(Password("11229988"));
    patiently([&] { anew.write(Bank::user, 0, counting(8)); });
    Tag without = first();
    EXPECT_EQ(error_of([&] { patiently([&] { without.write(Bank::user, 0, counting(8)); }); })->tag_error(),
              4);
    EXPECT_EQ(patiently([&] { return without.read(Bank::user, 0, 4); }), counting(8));
}

TEST_P(TagOf, ALockWithoutAPasswordIsRefused)
{
    Tag one = first();
    expect_invalid([&] { one.lock(Area::user, Protection::password); });
    patiently([&] { one.lock(Area::user, Protection::password, {.without_password = true}); });
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::user), sim::Lock::closed);
    patiently([&] { one.lock(Area::user, Protection::open); });
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::user), sim::Lock::open);
    patiently([&] { one.open_forever(Area::user); });
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::user), sim::Lock::open_forever);
    patiently([&] { one.lock_forever(Area::epc); });
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::epc), sim::Lock::closed_forever);
    EXPECT_EQ(error_of([&] { patiently([&] { one.write_epc(epc_of(9)); }); })->tag_error(), 4);
    EXPECT_EQ(one.epc(), epc_of(1));
}

TEST_P(TagOf, WhatIsDoneForGoodIsLookedAtWhenTheAnswerIsLost)
{
    Tag one = first();
    silence(lock_command);
    const auto undone = error_of([&] { one.lock_forever(Area::kill_password); });
    EXPECT_EQ(undone->outcome(), Outcome::nothing) << undone->what();
    lose(lock_command);
    patiently([&] { one.lock_forever(Area::kill_password); });
    EXPECT_EQ(count(lock_command), 2U);
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::kill_password), sim::Lock::closed_forever);
    lose(lock_command);
    EXPECT_EQ(error_of([&] { one.lock_forever(Area::kill_password); })->outcome(), Outcome::unknown)
        << "it looked so before";
    lose(lock_command);
    EXPECT_EQ(error_of([&] { one.lock_forever(Area::user); })->outcome(), Outcome::unknown);
    lose(0x0E);
    EXPECT_EQ(error_of([&] { one.lock_block_forever(4); })->outcome(), Outcome::unknown);
    lose(lock_command);
    EXPECT_EQ(error_of([&] { one.open_forever(Area::epc); })->outcome(), Outcome::unknown);
}

TEST_P(TagOf, IsKilledOnce)
{
    sim::Scenario scenario = portal(2);
    for (auto& tag : scenario.tags) tag.kill_password = {0x11, 0x22, 0x33, 0x44};
    connect(scenario);
    Tag one = first();
    silence(kill_command);
    const auto alive = error_of([&] { one.kill(secret); });
    EXPECT_EQ(alive->code(), Errc::no_answer);
    EXPECT_EQ(alive->outcome(), Outcome::nothing) << alive->what();
    inject(sim::Fault::error(kill_command, 0xFB), kill_command);
    EXPECT_EQ(error_of([&] { one.kill(secret); })->outcome(), Outcome::nothing);
    lose(kill_command);
    one.kill(secret);
    EXPECT_EQ(count(kill_command), 3U);
    EXPECT_TRUE(device->tag_state(0).killed);
    EXPECT_FALSE(device->tag_state(1).killed);
    EXPECT_THROW(one.read(Bank::user, 0, 1), std::logic_error);
    Tag two = tag(tid_of(2));
    patiently([&] { two.kill(secret); });
    EXPECT_TRUE(device->tag_state(1).killed);
    EXPECT_EQ(error_of([&] { tag(epc_of(1)); })->code(), Errc::no_tag);
}

TEST_P(TagOf, ADeadTagIsNotWhatTheReaderDoesNotKnow)
{
    sim::Scenario scenario = portal(1);
    scenario.tags[0].kill_password = {0x11, 0x22, 0x33, 0x44};
    connect(scenario);
    Tag one = first();
    inject(sim::Fault::set_byte(3, 0xFB), kill_command);
    const auto error = error_of([&] { one.kill(secret); });
    EXPECT_EQ(error->code(), Errc::no_tag);
    EXPECT_EQ(error->outcome(), Outcome::unknown);
    EXPECT_THAT(error->what(), HasSubstr("dead, or gone"));
    EXPECT_EQ(error_of([&] { one.kill(secret); })->outcome(), Outcome::nothing);
    EXPECT_EQ(count(kill_command), 1U);
}

// -- what particular chips can do

TEST_P(TagOf, EasAndAuthentication)
{
    Tag one = first();
    EXPECT_FALSE(patiently([&] { return reader().eas_alarm(); }));
    patiently([&] { one.set_eas(true); });
    EXPECT_TRUE(device->tag_state(0).eas);
    EXPECT_TRUE(patiently([&] { return reader().eas_alarm(); }));
    patiently([&] { one.set_eas(false); });
    EXPECT_FALSE(device->tag_state(0).eas);
    const AuthenticateMessage message{.suite = 1, .message = {1, 2, 3}, .length = 3};
    EXPECT_THAT(patiently([&] { return one.authenticate(message); }), ElementsAre(0, 3, 2));
    EXPECT_THAT(
        patiently([&] { return one.authenticate({.message = {9}, .length = 1, .with_length = true}); }),
        ElementsAre(0, 8, 9));
    EXPECT_TRUE(
        patiently([&] { return one.authenticate({.message = {9}, .length = 1, .store = true}); }).empty());
    expect_invalid([&] { one.authenticate({.message = Bytes(7)}); });
}

TEST_P(TagOf, ThatHidesIsToBeFoundAnew)
{
    connect(portal(1));  // any tag may answer where privacy is asked for
    Tag one = first();
    EXPECT_EQ(patiently([&] { return one.qt(); }), 0);
    patiently([&] { one.set_qt(2); });
    EXPECT_TRUE(device->tag_state(0).public_profile);
    EXPECT_THROW(one.qt(), std::logic_error);
    Tag shown = tag(Epc("000000000000000000000000"));
    EXPECT_EQ(patiently([&] { return shown.qt(); }), 2);
    patiently([&] { shown.set_qt(0); });

    one = first();
    lose(0x08);
    EXPECT_EQ(error_of([&] { one.set_privacy(); })->outcome(), Outcome::unknown);
    EXPECT_THROW(one.read(Bank::user, 0, 1), std::logic_error) << "it may have been done";
    EXPECT_TRUE(device->tag_state(0).read_protected);
    EXPECT_TRUE(patiently([&] { return reader().has_privacy(); }));
    patiently([&] { reader().end_privacy({}); });
    EXPECT_FALSE(device->tag_state(0).read_protected);
    EXPECT_EQ(error_of([&] { patiently([&] { reader().end_privacy({}); }); })->code(), Errc::no_tag);
}

TEST_P(TagOf, UntraceableTellsWhatWasSent)
{
    Tag one = first();
    const Untraceable sent = patiently([&] { return one.make_untraceable({.tid = Untraceable::Tid::hide}); });
    EXPECT_EQ(sent.epc_words, 6U);
    EXPECT_EQ(sent.tid, Untraceable::Tid::hide);
    EXPECT_FALSE(sent.hide_user);
    one = first();
    EXPECT_FALSE(one.tid());
    const Untraceable all{
        .flag = true, .epc_words = 1, .hide_user = true, .range = Untraceable::Range::reduced};
    EXPECT_EQ(patiently([&] { return one.make_untraceable(all); }), all);
    const auto hidden = device->tag_state(0).untraceable;
    EXPECT_TRUE(hidden.flag && hidden.hides_epc_end && hidden.hides_user);
    EXPECT_EQ(hidden.tid, sim::TidHiding::none) << "shown again";
    EXPECT_EQ(tag(Epc("E200")).tid(), tid_of(1));
    one = tag(Epc("E200"));
    expect_invalid([&] { one.make_untraceable({.epc_words = 32}); });
    expect_invalid([&] { one.make_untraceable({.tid = static_cast<Untraceable::Tid>(3)}); });
    EXPECT_EQ(one.epc(), Epc("E200"));
}

TEST_P(TagOf, ASilentTagHearsItsNameAndPasswordOnly)
{
    sim::Scenario scenario = portal(2);
    scenario.tags[0].access_password = {0x11, 0x22, 0x33, 0x44};
    connect(scenario);
    Tag without = first();
    expect_invalid([&] { without.silence(); });
    expect_invalid([&] { reader().end_silence(Epc("E20011"), secret); });
    Tag one = first(secret);
    patiently([&] { one.silence(); });
    EXPECT_TRUE(device->tag_state(0).silent);
    EXPECT_EQ(error_of([&] { first(); })->code(), Errc::no_tag);
    EXPECT_EQ(error_of([&] { patiently([&] { return reader().end_silence(epc_of(1), wrong); }); })->code(),
              Errc::no_tag);
    one = patiently([&] { return reader().end_silence(tid_of(1), secret); });
    EXPECT_EQ(one.epc(), epc_of(1));
    patiently([&] { one.silence(); });
    EXPECT_EQ(patiently([&] { return reader().end_silence(epc_of(1), secret); }).tid(), tid_of(1));
    inject(sim::Fault::set_byte(3, 2), 0x19);
    const auto unfound =
        error_of([&] { patiently([&] { return reader().end_silence(epc_of(1), secret); }); });
    EXPECT_EQ(unfound->outcome(), Outcome::partial) << unfound->what();
    EXPECT_THAT(unfound->what(), HasSubstr("the silence was ended, but"));
}

TEST_P(TagOf, LedsAndWhatAChipHasNot)
{
    sim::Scenario scenario = portal(1);
    scenario.tags[0].sensor.emplace();
    connect(scenario);
    Tag one = first();
    unsigned count = 0;
    for (const LedChip chip : {LedChip::fd, LedChip::yl, LedChip::klw, LedChip::bx}) {
        patiently([&] { one.light_led({.chip = chip}); });
        EXPECT_GT(device->sensor(0).led_count, count);
        count = device->sensor(0).led_count;
    }
    patiently([&] { one.light_led({.chip = LedChip::yl, .mode = 3, .time = 200}); });
    EXPECT_EQ(device->sensor(0).led_mode, 3);
    patiently([&] { one.switch_led_off(LedChip::yl); });
    EXPECT_FALSE(device->sensor(0).led);
    expect_invalid([&] { one.light_led({.chip = LedChip::fd, .time = 3}); });
    expect_invalid([&] { one.light_led({.chip = LedChip::bx, .mode = 3}); });
    expect_invalid([&] { one.light_led({.chip = LedChip::klw, .mode = 1}); });
    expect_invalid([&] { one.light_led({.chip = LedChip::yl, .mode = 0}); });
    expect_invalid([&] { one.light_led({.chip = LedChip::yl, .time = 256}); });
    expect_invalid([&] { one.light_led({.chip = static_cast<LedChip>(4)}); });
    expect_invalid([&] { one.switch_led_off(LedChip::klw); });
    expect_invalid([&] { one.switch_led_off(LedChip::bx); });
    const auto untold = error_of([&] {
        with_answer(
            0xC9, {3}, [&] { one.light_led({}); }, 0xFC);
    });
    EXPECT_EQ(untold->code(), Errc::tag_refused);
    EXPECT_EQ(untold->tag_error(), -1) << "it is not told";
    patiently([&] { reader().set_carrier_time(9); });
    EXPECT_EQ(device->settings().carrier_time, 9);
    expect_invalid([&] { reader().set_carrier_time(256); });
    sim::Fault other = sim::Fault::set_byte(4, 5);
    inject(other, 0x84);
    EXPECT_EQ(error_of([&] { patiently([&] { reader().set_carrier_time(7); }); })->code(), Errc::differs);
}

TEST_P(TagOf, AFilterIsSetAndTakenAway)
{
    const auto seen = [&] { return patiently([&] { return reader().inventory(); }).tags().size(); };
    for (const unsigned antennas : {4U, 12U, 20U}) {
        sim::Scenario scenario = portal(2);
        scenario.reader.antennas = antennas;
        if (antennas > 8) scenario.reader.antenna_byte = sim::AntennaByte::number;
        connect(scenario);
        patiently([&] { reader().select({.mask = {Bank::tid, 88, {2}}, .target = SelectTarget::sl}); });
        EXPECT_EQ(seen(), 1U);
        EXPECT_THAT(error_of([&] { first(); })->what(), HasSubstr("no filter left in the reader"));
        patiently([&] { reader().select_all(); });
        EXPECT_EQ(seen(), 2U);
        patiently([&] { reader().select({.mask = {Bank::tid, 88, {2}}, .antennas = {Port(2)}}); });
        EXPECT_EQ(seen(), 2U) << "the tags are at port 1";
        patiently([&] {
            reader().select({.mask = {Bank::tid, 88, {2}},
                             .antennas = {Port(1)},
                             .target = SelectTarget::sl,
                             .carrier_time = 3});
        });
        EXPECT_EQ(seen(), 1U);
        EXPECT_EQ(error_of([&] { patiently([&] { reader().select_all({Port(30)}); }); })->code(),
                  Errc::refused);
    }
    expect_invalid([&] { reader().select({}); });
    expect_invalid([&] { reader().select({.mask = {Bank::tid, 0, {2}}, .action = 8}); });
    expect_invalid([&] { reader().select({.mask = {Bank::tid, 0, {2}}, .antennas = {Port(65)}}); });
    expect_invalid([&] { reader().select({.mask = {Bank::tid, 0, {2}}, .carrier_time = 3}); });
    expect_invalid([&] { reader().select_all({Port(0)}); });
    lose(0x9A);
    EXPECT_EQ(error_of([&] { reader().select_all({Port(1)}); })->outcome(), Outcome::unknown);
}

// -- lost answers

// Of the calls whose answers are not lost above.
class LostAnswersOf : public TagOf {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = portal(1);
        scenario.tags[0].access_password = {0x11, 0x22, 0x33, 0x44};
        scenario.tags[0].sensor.emplace();
        connect(scenario);
    }
    // The command goes out once, as often as it takes on a busy machine.
    template <class Act> std::unique_ptr<Error> error_behind_loss(std::uint8_t command, Act act)
    {
        const std::uint64_t before = count(command);
        std::unique_ptr<Error> error;
        for (int attempt = 1; attempt < 20 && count(command) == before; ++attempt) {
            device->clear_faults();
            lose(command);
            error = error_of(act);
        }
        EXPECT_EQ(count(command), before + 1);
        EXPECT_EQ(error->code(), Errc::no_answer) << error->what();
        return error;
    }
    template <class Act> void expect_unknown(std::uint8_t command, Act act)
    {
        SCOPED_TRACE(to_hex(Bytes{command}));
        EXPECT_EQ(error_behind_loss(command, act)->outcome(), Outcome::unknown);
    }
    template <class Act> void expect_unknown_and_hidden(std::uint8_t command, Act act)
    {
        SetUp();
        Tag one = first(secret);
        expect_unknown(command, [&] { act(one); });
        EXPECT_THROW(one.read(Bank::user, 0, 1), std::logic_error) << "it may have been done";
    }
    // Of what is looked at afterwards.
    template <class Act> void expect_seen(std::uint8_t command, Act act)
    {
        SCOPED_TRACE(to_hex(Bytes{command}));
        const std::uint64_t before = count(command);
        lose(command);
        patiently(act);
        EXPECT_EQ(count(command), before + 1);
        device->clear_faults();
    }
};
INSTANTIATE_TEST_SUITE_P(Links, LostAnswersOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(LostAnswersOf, ChangesOfATagAreNotKnown)
{
    Tag one = first(secret);
    expect_unknown(0x0C, [&] { one.set_eas(true); });
    EXPECT_TRUE(device->tag_state(0).eas);
    expect_unknown(0xE4, [&] { one.authenticate({.message = {9}, .length = 1, .store = true}); });
    expect_unknown(0xC9, [&] { one.switch_led_off(LedChip::fd); });
    expect_unknown(0xCE, [&] { one.switch_led_off(LedChip::yl); });
    expect_unknown(0xCC, [&] { one.light_led({.chip = LedChip::klw}); });
    expect_unknown(0xE5, [&] { one.light_led({.chip = LedChip::bx}); });
    expect_unknown(lock_command, [&] { one.lock(Area::user, Protection::password); });
    EXPECT_EQ(device->tag_state(0).lock(sim::Area::user), sim::Lock::closed);
    EXPECT_EQ(error_behind_loss(0xE4, [&] { one.authenticate({}); })->outcome(), Outcome::nothing)
        << "it stores nothing";
}

TEST_P(LostAnswersOf, WhatMayHaveHiddenATagIsNotKnown)
{
    expect_unknown_and_hidden(0x12, [](Tag& tag) { tag.set_qt(2); });
    EXPECT_TRUE(device->tag_state(0).public_profile);
    expect_unknown_and_hidden(0x1F, [](Tag& tag) { tag.make_untraceable({.epc_words = 1}); });
    EXPECT_TRUE(device->tag_state(0).untraceable.hides_epc_end);
    SetUp();
    Tag one = first(secret);
    patiently([&] { one.set_privacy(); });
    expect_unknown(0x0A, [&] { reader().end_privacy(secret); });
    EXPECT_FALSE(device->tag_state(0).read_protected);
    expect_unknown_and_hidden(0xE9, [](Tag& tag) { tag.silence(); });
    EXPECT_TRUE(device->tag_state(0).silent);
    expect_unknown(0xE9, [&] { reader().end_silence(epc_of(1), secret); });
    EXPECT_FALSE(device->tag_state(0).silent);
    one = first(secret);
    patiently([&] { one.silence(); });
    expect_unknown(0xE9, [&] { reader().end_silence(tid_of(1), secret); });
    EXPECT_EQ(first().tid(), tid_of(1));
    expect_unknown(0x9A, [&] { reader().select({.mask = {Bank::tid, 88, {2}}, .antennas = {Port(1)}}); });
    expect_unknown(0x84, [&] { reader().set_carrier_time(9); });
    EXPECT_EQ(device->settings().carrier_time, 9);
}

TEST_P(LostAnswersOf, WritesAreLookedAt)
{
    Tag one = first(secret);
    const Bytes data = counting(4);
    patiently([&] { one.write(Bank::user, 0, data); });
    expect_seen(0x16, [&] { one.write(Bank::user, 300, data); });
    expect_seen(0x10, [&] { one.write(Bank::user, 2, data, {.block = true}); });
    expect_seen(0xCF, [&] { one.write(Bank::user, 302, data, {.block = true}); });
    EXPECT_EQ(user(0, 4), (Bytes{1, 8, 15, 22, 1, 8, 15, 22}));
    EXPECT_EQ(stored(0, sim::Bank::user, 600, 8), user(0, 4));
    expect_seen(write_command, [&] { one.set_kill_password(Password("55667788")); });
    EXPECT_EQ(stored(0, sim::Bank::reserved, 0, 4), (Bytes{0x55, 0x66, 0x77, 0x88}));
}

// -- other air interfaces

constexpr std::uint8_t write_6b = 0x53;
constexpr std::uint8_t lock_6b = 0x55;

TEST_P(TagOf, BytesOfA6bTag)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags_6b.resize(2);
    scenario.tags_6b[0].id = {0xE0, 4, 0, 0, 0, 0, 0, 1};
    scenario.tags_6b[1].id = {0xE0, 4, 0, 0, 0, 0, 0, 2};
    connect(scenario);
    const auto name = [&](const char* id) { return patiently([&] { return reader().tag_6b(TagId(id)); }); };
    Tag6b one = name("E004000000000001");
    patiently([&] { one.write(10, counting(70)); });
    EXPECT_EQ(count(write_6b), 3U);
    EXPECT_EQ(patiently([&] { return one.read(10, 70); }), counting(70));
    EXPECT_EQ(patiently([&] { return one.read(0, 8); }), from_hex("E004000000000001"));
    EXPECT_EQ(device->other_tags().iso_6b[1].memory()[10], 0);
    lose(write_6b);
    one.write(10, Bytes{1, 2});
    EXPECT_EQ(count(write_6b), 4U);
    patiently([&] { one.write(100, counting(100), 100); });
    EXPECT_EQ(patiently([&] { return one.read(100, 100); }), counting(100));
    EXPECT_FALSE(patiently([&] { return one.is_locked(20); }));
    silence(lock_6b);
    EXPECT_EQ(error_of([&] { one.lock_forever(20); })->outcome(), Outcome::nothing);
    lose(lock_6b);
    one.lock_forever(20);
    EXPECT_EQ(count(lock_6b), 2U);
    EXPECT_TRUE(device->other_tags().iso_6b[0].is_locked(20));
    const auto locked = error_of([&] { patiently([&] { one.write(16, Bytes(8, 0xEE)); }); });
    EXPECT_EQ(locked->code(), Errc::tag_refused);
    EXPECT_THAT(texts(locked->not_written()), ElementsAre("16-23"));
    EXPECT_THAT(locked->what(), HasSubstr("not written: bytes 16-23"));
    expect_short_answer_refused(0x52, Bytes(3), [&] { one.read(10, 4); });
    expect_short_answer_refused(0x54, {}, [&] { one.is_locked(10); });
    expect_invalid([&] { one.write(7, Bytes(2)); });
    expect_invalid([&] { one.write(250, Bytes(7)); });
    expect_invalid([&] { one.write(8, Bytes(7), 243); });
    expect_invalid([&] { one.read(0, 257); });
    expect_invalid([&] { one.lock_forever(256); });
    expect_invalid([&] { reader().tag_6b(TagId("E004")); });
    EXPECT_EQ(error_of([&] { name("E004000000000003"); })->code(), Errc::no_tag);
}

constexpr std::uint8_t read_gb = 0x58;
constexpr std::uint8_t write_gb = 0x59;
constexpr std::uint8_t erase_gb = 0x5A;
constexpr std::uint8_t lock_gb = 0x5B;
constexpr std::uint8_t kill_gb = 0x5C;

sim::TagGbSettings tag_gb(std::uint8_t serial)
{
    sim::TagGbSettings out;
    out.tag_id = {0xA5, 0xA5, 0, serial};
    out.info = {1, 2, 3, 4};
    out.user.resize(200);
    out.access_password = {0x11, 0x22, 0x33, 0x44};
    out.kill_password = {0x55, 0x66, 0x77, 0x88};
    return out;
}

TEST_P(TagOf, WordsOfAGbTag)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags_gb = {tag_gb(1), tag_gb(2)};
    connect(scenario);
    const auto stored = [&](std::size_t i) { return device->other_tags().gb[i]; };
    const auto name = [&](const char* id) {
        return patiently([&] { return reader().tag_gb(TagId(id), secret); });
    };
    const auto several = error_of([&] { patiently([&] { return reader().tag_gb({0x10, 0, {0xA5}}); }); });
    EXPECT_EQ(several->code(), Errc::several_tags);
    EXPECT_EQ(several->answered().size(), 2U);
    EXPECT_EQ(patiently([&] { return reader().tag_gb({0x10, 24, {2}}); }).id(), TagId("A5A50002"));
    EXPECT_EQ(error_of([&] { name("A5A5"); })->code(), Errc::no_tag);
    TagGb one = name("A5A50001");
    patiently([&] { one.write(GbArea::user, 3, counting(150)); });
    EXPECT_EQ(count(write_gb), 3U);
    EXPECT_EQ(patiently([&] { return one.read(GbArea::user, 3, 75); }), counting(150));
    EXPECT_EQ(patiently([&] { return one.read(GbArea::information); }), from_hex("01020304"));
    EXPECT_EQ(stored(1).content(sim::GbArea::user), Bytes(200));
    lose(erase_gb);
    one.erase(GbArea::user, 0, 100);
    EXPECT_EQ(stored(0).content(sim::GbArea::user), Bytes(200));

    EXPECT_EQ(error_of([&] { patiently([&] {
                                 one.write(GbArea::coding, 1, Bytes{0, 2});
                             }); })->code(),
              Errc::exists_already);
    lose(write_gb);
    one.write(GbArea::coding, 1, Bytes{0, 7});
    EXPECT_EQ(one.id(), TagId("A5A50007"));
    patiently([&] { one.write(GbArea::security, 2, from_hex("0A0B0C0D")); });
    EXPECT_EQ(patiently([&] { return one.read(GbArea::security, 2, 2); }), from_hex("0A0B0C0D"));
    patiently([&] { one.set_access(GbArea::user, GbAccess::read_only); });
    EXPECT_EQ(error_of([&] { patiently([&] {
                                 one.write(GbArea::user, 0, Bytes{1, 1});
                             }); })->code(),
              Errc::tag_refused);
    patiently([&] { one.set_security(GbArea::user, GbSecurity::password); });
    expect_short_answer_refused(0x58, Bytes(3), [&] { one.read(GbArea::user, 0, 2); });
    expect_invalid([&] { one.write(GbArea::user, 0, Bytes(2), {.block = true}); });
    expect_invalid([&] { one.set_access(GbArea::user, static_cast<GbAccess>(4)); });
    expect_invalid([&] { one.kill({}); });
}

// GB tags over TCP, JB tags over the pseudo terminal.
class GbTagOf : public TagOf {
  protected:
    void SetUp() override
    {
        sim::Scenario scenario = make_scenario(0);
        if (is_jb()) scenario.reader.protocol_family = sim::ProtocolFamily::jb;
        (is_jb() ? scenario.tags_jb : scenario.tags_gb) = {tag_gb(1), tag_gb(2)};
        connect(scenario);
    }
    bool is_jb() const { return GetParam() == Link::pty; }
    TagGb one_of_two(const Password& password = secret)
    {
        const TagId id("A5A50001");
        return patiently(
            [&] { return is_jb() ? reader().tag_jb(id, password) : reader().tag_gb(id, password); });
    }
    sim::TagGb stored() const
    {
        const sim::OtherTags tags = device->other_tags();
        return (is_jb() ? tags.jb : tags.gb)[0];
    }
};
INSTANTIATE_TEST_SUITE_P(Links, GbTagOf, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(GbTagOf, IsKilledOnce)
{
    constexpr std::uint8_t inventory_gb = 0x56;
    constexpr std::uint8_t scan_time_over = 2;
    const Password right("55667788");
    TagGb one = one_of_two();
    silence(kill_gb);
    EXPECT_EQ(error_of([&] { one.kill(right); })->outcome(), Outcome::nothing);
    lose(kill_gb);
    one.kill(right);
    EXPECT_EQ(count(kill_gb), 2U);
    EXPECT_TRUE(stored().is_killed());
    EXPECT_EQ(error_of([&] { patiently([&] { one.kill(right); }); })->code(), Errc::no_tag);

    SetUp();
    one = one_of_two();
    lose(kill_gb);
    inject(sim::Fault::error(inventory_gb, scan_time_over, 0), inventory_gb, 1);
    const auto unseen = error_of([&] { one.kill(right); });
    EXPECT_EQ(unseen->code(), Errc::no_answer);
    EXPECT_EQ(unseen->outcome(), Outcome::unknown) << unseen->what();
    EXPECT_EQ(count(kill_gb), 1U);
}

TEST_P(GbTagOf, WhoDoesNotAnswerAnyMoreIsNotChanged)
{
    TagGb one = one_of_two();
    TagGb same = one_of_two();
    patiently([&] { same.write(GbArea::coding, 1, Bytes{0, 9}); });
    const auto sent = [&] { return count(write_gb) + count(erase_gb) + count(lock_gb) + count(kill_gb); };
    const std::uint64_t before = sent();
    const auto expect_no_tag = [&](auto act) {
        const auto error = error_of([&] { patiently(act); });
        EXPECT_EQ(error->code(), Errc::no_tag) << error->what();
        EXPECT_EQ(error->outcome(), Outcome::nothing);
        EXPECT_EQ(sent(), before);
    };
    expect_no_tag([&] { one.set_access(GbArea::user, GbAccess::read_only); });
    expect_no_tag([&] { one.set_security(GbArea::user, GbSecurity::password); });
    expect_no_tag([&] { one.erase(GbArea::user, 0, 4); });
    expect_no_tag([&] { one.erase(GbArea::coding, 1, 1); });
    expect_no_tag([&] { one.write(GbArea::coding, 1, Bytes{0, 8}); });
    expect_no_tag([&] { one.kill(Password("55667788")); });
}

TEST_P(GbTagOf, WhatALostAnswerLeavesIsLookedAtOrNotKnown)
{
    TagGb one = one_of_two();
    patiently([&] { one.write(GbArea::user, 0, counting(200)); });
    silence(erase_gb);
    const auto undone = error_of([&] { one.erase(GbArea::user, 0, 100); });
    EXPECT_EQ(undone->outcome(), Outcome::nothing);
    EXPECT_THAT(texts(undone->not_written()), ElementsAre("0-99"));
    lose(erase_gb);
    inject(sim::Fault::error(read_gb, 0xFB, 0), read_gb);
    const auto unseen = error_of([&] { one.erase(GbArea::user, 0, 10); });
    EXPECT_EQ(unseen->outcome(), Outcome::unknown);
    EXPECT_THAT(texts(unseen->unknown_words()), ElementsAre("0-9"));
    device->clear_faults();
    lose(erase_gb);
    one.erase(GbArea::user, 0, 100);
    EXPECT_EQ(stored().content(sim::GbArea::user), Bytes(200));
    EXPECT_EQ(count(erase_gb), 3U);

    const auto expect_unknown = [&](auto act) {
        const std::uint64_t before = count(lock_gb);
        lose(lock_gb);
        const auto error = error_of(act);
        EXPECT_EQ(error->code(), Errc::no_answer);
        EXPECT_EQ(error->outcome(), Outcome::unknown);
        EXPECT_EQ(count(lock_gb), before + 1);
    };
    expect_unknown([&] { one.set_access(GbArea::user, GbAccess::read_only); });
    expect_unknown([&] { one.set_security(GbArea::user, GbSecurity::password); });
    patiently([&] { one.set_access(GbArea::user, GbAccess::read_write); });
    patiently([&] { one.write(GbArea::user, 0, counting(8)); });
}

TEST_P(GbTagOf, AWrongPasswordGoesOutOncePerCall)
{
    TagGb right = one_of_two();
    patiently([&] { right.set_security(GbArea::user, GbSecurity::password); });
    TagGb one = one_of_two(wrong);
    expect_password_refused([&] { one.read(GbArea::user, 0, 100); });
    expect_password_refused([&] { one.write(GbArea::user, 0, counting(200)); });
    expect_password_refused([&] { one.erase(GbArea::user, 0, 100); });
    expect_password_refused([&] { one.set_access(GbArea::user, GbAccess::read_only); });
    expect_password_refused([&] { one.set_security(GbArea::user, GbSecurity::open); });
    expect_password_refused([&] { one.kill(wrong); });
    // Where its answer is lost, too.
    const auto expect_once = [&](std::uint8_t command, auto act) {
        lose(command);
        device->forget_requests();
        EXPECT_EQ(error_of(act)->code(), Errc::no_answer);
        EXPECT_EQ(requests_with(wrong), 1U);
    };
    expect_once(write_gb, [&] { one.write(GbArea::user, 0, counting(200)); });
    expect_once(erase_gb, [&] { one.erase(GbArea::user, 0, 100); });
    expect_once(lock_gb, [&] { one.set_access(GbArea::user, GbAccess::read_only); });
    expect_once(kill_gb, [&] { one.kill(wrong); });
    EXPECT_EQ(stored().content(sim::GbArea::user), Bytes(200));
    EXPECT_FALSE(stored().is_killed());
}

TEST_P(GbTagOf, ALockWithoutAPasswordIsRefused)
{
    TagGb one = one_of_two({});
    expect_invalid([&] { one.set_security(GbArea::user, GbSecurity::password); });
    expect_invalid([&] { one.set_security(GbArea::user, static_cast<GbSecurity>(3)); });
}

TEST_P(TagOf, JbTagsAreAlike)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.protocol_family = sim::ProtocolFamily::jb;
    scenario.tags_jb = {tag_gb(1), tag_gb(2)};
    connect(scenario);
    TagGb one = patiently([&] { return reader().tag_jb(TagId("A5A50002"), secret); });
    patiently([&] { one.write(GbArea::user, 0, counting(8)); });
    EXPECT_EQ(patiently([&] { return one.read(GbArea::user, 0, 4); }), counting(8));
    EXPECT_EQ(device->other_tags().jb[0].content(sim::GbArea::user), Bytes(200));
    patiently([&] { one.kill(Password("55667788")); });
    EXPECT_EQ(error_of([&] {
                  patiently([&] { return reader().tag_jb({0x10, 0, {0xA5}}, secret).kill(secret); });
              })->result(),
              5);
}

// A number means something else after other calls.
struct StatusText {
    int status;
    const char* text;
};

class OtherAirInterfaces : public TagOf {
  protected:
    template <class Act>
    void expect_texts(std::uint8_t command, const std::vector<StatusText>& wanted, Act act)
    {
        for (const auto& [status, text] : wanted) {
            device->inject(sim::Fault::error(command, static_cast<std::uint8_t>(status), 0));
            EXPECT_THAT(error_of([&] { patiently(act); })->what(), HasSubstr(text)) << status;
            device->clear_faults();
        }
        const auto refused = error_of([&] { with_answer(command, {0x0F}, act, 0xFC); });
        EXPECT_EQ(refused->code(), Errc::tag_refused);
        EXPECT_EQ(refused->tag_error(), 0x0F);
        EXPECT_THAT(refused->what(), HasSubstr("the tag refused: its error code is one of "));
    }
};
INSTANTIATE_TEST_SUITE_P(Links, OtherAirInterfaces, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(OtherAirInterfaces, TellErrorsInTheirOwnWords)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.tags_6b.resize(1);
    scenario.tags_6b[0].id = {0xE0, 4, 0, 0, 0, 0, 0, 1};
    scenario.tags_gb = {tag_gb(1)};
    connect(scenario);
    constexpr const char* unsaid = "the reader answered with a status of its own: ";
    Tag6b of_6b = patiently([&] { return reader().tag_6b(TagId("E004000000000001")); });
    expect_texts(0x52,
                 {{0x01, unsaid},
                  {0x03, unsaid},
                  {0xF8, unsaid},
                  {0xFB, "does the reader read ISO 18000-6B?"},
                  {0xFC, "one of ISO 18000-6B"}},
                 [&] { return of_6b.read(10, 4); });
    TagGb of_gb = patiently([&] { return reader().tag_gb(TagId("A5A50001"), secret); });
    expect_texts(0x58,
                 {{0x01, unsaid},
                  {0x03, unsaid},
                  {0x05, "the password is wrong"},
                  {0xF8, unsaid},
                  {0xFB, "does the reader read this kind of tag?"},
                  {0xFC, "one of its own air interface"}},
                 [&] { return of_gb.read(GbArea::user, 0, 2); });
}

// -- passwords as values

TEST(APassword, IsWipedAndNotTold)
{
    Password one("11223344");
    EXPECT_THAT(one.bytes(), ElementsAre(0x11, 0x22, 0x33, 0x44));
    EXPECT_EQ(Password(std::span<const std::uint8_t>(Bytes{0x11, 0x22, 0x33, 0x44})), one);
    const Password taken = std::move(one);
    EXPECT_TRUE(one.is_zero());  // NOLINT(bugprone-use-after-move)
    one = Password("0a0B0c0D");
    EXPECT_FALSE(one.is_zero() || taken.is_zero());
    alignas(Password) std::array<std::uint8_t, sizeof(Password)> place{};
    const auto* const ended = new (place.data()) Password("11223344");
    std::destroy_at(ended);
    EXPECT_EQ(place, decltype(place){});
    for (const char* text : {"", "1122334", "112233445", "1122334G", "0x112233", "-1223344", "11 22 33"}) {
        const auto error = error_of([&] { Password{text}; });
        EXPECT_EQ(error->code(), Errc::invalid_text) << text;
        EXPECT_EQ(std::string(error->what()).find("33"), std::string::npos);
    }
    EXPECT_EQ(error_of([&] { Password{std::span<const std::uint8_t>(Bytes(3))}; })->code(),
              Errc::invalid_text);
}

}  // namespace
}  // namespace tagwire::test
