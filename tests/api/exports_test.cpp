// The frame around the exported commands: each calls exactly the operation of its name.
#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "api/process.h"
#include "link/turn.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

constexpr int handle = 201;
constexpr int stub_result = 0x7654;

// What the operations did, one name a call.
std::vector<std::string> called;
bool lock_was_held;

bool is_lock_held_for_others(Reader* reader)
{
    bool held = false;
    std::thread([&] {
        held = pthread_mutex_trylock(&reader->g_cs) != 0;
        if (!held) pthread_mutex_unlock(&reader->g_cs);
    }).join();
    return held;
}

// Arguments that all differ: bytes by value, pointers by place.
u8 byte_pool[32];
int number_pool[32];
template <class T> T distinct(std::size_t place);
template <> u8 distinct<u8>(std::size_t place) { return static_cast<u8>(0xF0 - place); }
template <> u8* distinct<u8*>(std::size_t place) { return byte_pool + place; }
template <> bool distinct<bool>(std::size_t /*place*/) { return true; }
template <> int distinct<int>(std::size_t place) { return -1000 - static_cast<int>(place); }
template <> int* distinct<int*>(std::size_t place) { return number_pool + place; }

// Arguments of any kind, to be compared.
using Numbers = std::vector<std::uintptr_t>;
template <class T> std::uintptr_t number_of(T* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }
std::uintptr_t number_of(int value) { return static_cast<std::uintptr_t>(value); }

Reader* seen_reader;
Numbers seen_arguments;

void note_call(Reader* sthis, const char* name, Numbers arguments)
{
    called.emplace_back(name);
    seen_reader = sthis;
    seen_arguments = std::move(arguments);
    lock_was_held = is_lock_held_for_others(sthis);
}

// A stand-in for the operation in a slot: keeps what it was called with.
template <auto Slot, class Operation> struct StandIn;
template <auto Slot, class... Arguments> struct StandIn<Slot, int(Reader*, Arguments...)> {
    static inline const char* name;

    static int note(Reader* sthis, Arguments... arguments)
    {
        note_call(sthis, name, {number_of(arguments)...});
        return stub_result;
    }
    static void install(Reader* reader, const char* slot_name)
    {
        name = slot_name;
        reader->operations.*Slot = note;
    }
    template <std::size_t... Places>
    static int call(int (*exported)(Arguments..., int), int frm_handle,
                    std::index_sequence<Places...> /*places*/)
    {
        return exported(distinct<Arguments>(Places)..., frm_handle);
    }
    static int call(int (*exported)(Arguments..., int), int frm_handle)
    {
        return call(exported, frm_handle, std::index_sequence_for<Arguments...>{});
    }
    template <std::size_t... Places> static Numbers numbers(std::index_sequence<Places...> /*places*/)
    {
        return {number_of(distinct<Arguments>(Places))...};
    }
    static bool saw_all(Reader* reader)
    {
        return seen_reader == reader && seen_arguments == numbers(std::index_sequence_for<Arguments...>{});
    }
};

template <class Member> struct OperationOf;
template <class Operation> struct OperationOf<Operation*> {
    using Type = Operation;
};
template <auto Slot>
using StandInOf =
    StandIn<Slot,
            typename OperationOf<std::remove_reference_t<decltype(std::declval<Operations>().*Slot)>>::Type>;

struct Export {
    const char* name;
    void (*install)(Reader*, const char* name);
    int (*call)(int frm_handle);
    bool (*saw_all)(Reader*);
};

template <auto Slot, auto Exported> constexpr Export make_export(const char* name)
{
    using Stub = StandInOf<Slot>;
    return {name, Stub::install, [](int frm_handle) { return Stub::call(Exported, frm_handle); },
            Stub::saw_all};
}

constexpr Export exports_of_operations[] = {
#define INTERNAL(name)
#define PLAIN(name) make_export<&Operations::name, ::name>(#name),
#define LOCKED(name) PLAIN(name)
#define ASIDE(name) PLAIN(name)
#define UNBUSY(name) PLAIN(name)
#define TAGWIRE_OPERATION(exported, result, name, ...) exported(name)
#include "reader/operations.def"
#undef TAGWIRE_OPERATION
#undef UNBUSY
#undef ASIDE
#undef LOCKED
#undef PLAIN
#undef INTERNAL
};

// Every other exported operation is called without the lock.
constexpr const char* locked_names[] = {"Inventory_G2",       "InventoryMix_G2",
                                        "InventoryExtMix_G2", "Inventory_EPC_G2",
                                        "Inventory_QT_G2",    "Inventory_Temperature_Ast010"};

bool is_locked(const Export& one)
{
    return std::any_of(std::begin(locked_names), std::end(locked_names),
                       [&](std::string_view name) { return name == one.name; });
}

bool is_stop_read(const Export& one) { return std::string_view(one.name) == "StopRead"; }

std::vector<Export> exports_that(const std::function<bool(const Export&)>& fit)
{
    std::vector<Export> out;
    std::copy_if(std::begin(exports_of_operations), std::end(exports_of_operations), std::back_inserter(out),
                 fit);
    return out;
}

std::vector<Export> all_exports()
{
    return exports_that([](const Export&) { return true; });
}

const std::vector<Export>& plain_exports()
{
    static const auto all =
        exports_that([](const Export& one) { return !is_locked(one) && !is_stop_read(one); });
    return all;
}

const std::vector<Export>& locked_exports()
{
    static const auto all = exports_that(is_locked);
    return all;
}

const Export& stop_read()
{
    static const auto all = exports_that(is_stop_read);
    return all.front();
}

class Exports : public testing::Test {
  protected:
    Exports()
    {
        for (const Export& one : all_exports()) one.install(reader_.get(), one.name);
        reader_->operations.LOCK = [](Reader* sthis) {
            called.emplace_back("LOCK");
            I_LOCK(sthis);
        };
        reader_->operations.UNLOCK = [](Reader* sthis) {
            called.emplace_back("UNLOCK");
            I_UNLOCK(sthis);
        };
        called.clear();
    }

    SlotReader reader_{handle};
};

TEST_F(Exports, are_as_many_as_programs_are_linked_against)
{
    EXPECT_EQ(plain_exports().size(), 218U);
    EXPECT_EQ(locked_exports().size(), 6U);
    EXPECT_EQ(all_exports().size(), 225U);
}

TEST_F(Exports, pass_every_argument_unchanged_and_return_the_result_unchanged)
{
    for (const Export& one : all_exports()) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(one.call(handle), stub_result);
        EXPECT_TRUE(one.saw_all(reader_.get()));
    }
}

TEST_F(Exports, that_are_plain_call_their_operation_and_nothing_else)
{
    for (const Export& one : plain_exports()) {
        SCOPED_TRACE(one.name);
        called.clear();
        one.call(handle);
        EXPECT_THAT(called, testing::ElementsAre(one.name));
        EXPECT_FALSE(lock_was_held);
    }
}

TEST_F(Exports, that_lock_hold_the_command_lock_around_their_operation)
{
    for (const Export& one : locked_exports()) {
        SCOPED_TRACE(one.name);
        called.clear();
        one.call(handle);
        EXPECT_THAT(called, testing::ElementsAre("LOCK", one.name, "UNLOCK"));
        EXPECT_TRUE(lock_was_held);
        EXPECT_FALSE(is_lock_held_for_others(reader_.get()));
    }
}

TEST_F(Exports, stop_read_calls_its_operation_without_the_lock)
{
    stop_read().call(handle);
    EXPECT_THAT(called, testing::ElementsAre("StopRead"));
    EXPECT_FALSE(lock_was_held);
}

TEST_F(Exports, are_busy_while_reading_runs)
{
    reader_->isStopStocktaking = false;
    for (const auto& list : {plain_exports(), locked_exports()}) {
        for (const Export& one : list) {
            SCOPED_TRACE(one.name);
            EXPECT_EQ(one.call(handle), 51);
        }
    }
    EXPECT_THAT(called, testing::IsEmpty());
}

TEST_F(Exports, busy_does_not_touch_the_reader)
{
    reader_->isStopStocktaking = false;
    for (const Export& one : locked_exports()) one.call(handle);
    EXPECT_FALSE(is_lock_held_for_others(reader_.get()));
    EXPECT_FALSE(reader_->isStopStocktaking);
    EXPECT_FALSE(reader_->isStopCmd);
}

TEST_F(Exports, stop_read_works_while_reading_runs)
{
    reader_->isStopStocktaking = false;
    EXPECT_EQ(stop_read().call(handle), stub_result);
    EXPECT_THAT(called, testing::ElementsAre("StopRead"));
}

// ---- inside a callback of an inventory, which runs in the inventory's own turn

bool is_stop_immediately(const Export& one) { return std::string_view(one.name) == "StopImmediately"; }

TEST_F(Exports, are_busy_inside_a_callback_of_their_own_connection)
{
    const Turn inventory(reader_.get(), Purpose::command);
    for (const Export& one : all_exports()) {
        SCOPED_TRACE(one.name);
        called.clear();
        if (is_stop_read(one) || is_stop_immediately(one)) {
            EXPECT_EQ(one.call(handle), stub_result);
            EXPECT_THAT(called, testing::ElementsAre(one.name));
        } else {
            EXPECT_EQ(one.call(handle), 51);
            EXPECT_THAT(called, testing::IsEmpty());
        }
    }
    EXPECT_FALSE(is_lock_held_for_others(reader_.get()));
}

TEST_F(Exports, serve_other_threads_and_other_connections_beside_a_callback)
{
    const SlotReader other(handle + 1);
    const Turn inventory(reader_.get(), Purpose::command);
    for (const Export& one : all_exports()) {
        SCOPED_TRACE(one.name);
        one.install(other.get(), one.name);
        EXPECT_EQ(one.call(handle + 1), stub_result);
        int elsewhere = 0;
        std::thread([&] { elsewhere = one.call(handle); }).join();
        EXPECT_EQ(elsewhere, stub_result);
    }
}

TEST_F(Exports, refuse_handles_that_name_no_reader)
{
    for (const Export& one : all_exports()) {
        SCOPED_TRACE(one.name);
        for (const int bad :
             {INT_MIN, -1, 0, 1, handle - 1, handle + 1, 255, 256, handle + 256, 999, INT_MAX})
            EXPECT_EQ(one.call(bad), 55) << bad;
    }
    EXPECT_THAT(called, testing::IsEmpty());
}

TEST_F(Exports, serve_the_first_and_the_last_handle)
{
    for (const int valid : {1, 255}) {
        const SlotReader other(valid);
        for (const Export& one : all_exports()) {
            SCOPED_TRACE(one.name);
            one.install(other.get(), one.name);
            EXPECT_EQ(one.call(valid), stub_result);
            EXPECT_TRUE(one.saw_all(other.get()));
        }
    }
}

TEST_F(Exports, leave_a_reader_that_is_stopping_to_its_operation)
{
    reader_->isStopCmd = true;
    for (const Export& one : all_exports()) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(one.call(handle), stub_result);
    }
}

TEST_F(Exports, that_lock_are_busy_to_the_thread_that_is_inside_one)
{
    static int inner;
    static const Export& mix = locked_exports()[1];
    reader_->operations.Inventory_QT_G2 = [](Reader*, u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*) {
        inner = mix.call(handle);
        return 5;
    };
    EXPECT_EQ(locked_exports()[4].call(handle), 5);
    EXPECT_EQ(inner, 51);
    EXPECT_EQ(mix.call(handle), stub_result);
}

TEST_F(Exports, that_lock_serve_another_handle_from_inside_one)
{
    static int inner;
    const SlotReader other(handle + 1);
    locked_exports()[1].install(other.get(), locked_exports()[1].name);
    reader_->operations.Inventory_QT_G2 = [](Reader*, u8*, u8, u8, u8, u8, u8, u8, u8*, u8*, int*, int*) {
        inner = locked_exports()[1].call(handle + 1);
        return 5;
    };
    EXPECT_EQ(locked_exports()[4].call(handle), 5);
    EXPECT_EQ(inner, stub_result);
}

TEST(Reserved, return_0_for_any_handle_and_null_pointers)
{
    for (const int any : {INT_MIN, -1, 0, 1, 255, 256, 999}) {
        SCOPED_TRACE(any);
        EXPECT_EQ(EnableTestFreq(nullptr, nullptr, 1, any), 0);
        EXPECT_EQ(GetADValue(nullptr, 1, nullptr, any), 0);
        EXPECT_EQ(SetAValue(nullptr, 1, nullptr, nullptr, any), 0);
        EXPECT_EQ(AutoTable(nullptr, any), 0);
        EXPECT_EQ(AutoOffset(nullptr, any), 0);
        EXPECT_EQ(GetAdjustPara(nullptr, nullptr, any), 0);
        EXPECT_EQ(GetCheckPWR(nullptr, nullptr, nullptr, any), 0);
        EXPECT_EQ(SetDCOffset(nullptr, nullptr, any), 0);
        EXPECT_EQ(DeleteRfOutput(nullptr, nullptr, any), 0);
    }
}

TEST(Reserved, write_nothing_also_with_an_open_and_a_busy_reader)
{
    const SlotReader reader(handle);
    for (const bool idle : {true, false}) {
        reader->isStopStocktaking = idle;
        for (const int any : {handle, 999}) {
            u8 out[5];
            std::memset(out, 0xA5, sizeof out);
            EXPECT_EQ(EnableTestFreq(out, out + 1, 1, any), 0);
            EXPECT_EQ(GetADValue(out, 1, out + 1, any), 0);
            EXPECT_EQ(SetAValue(out, 1, out + 1, out + 2, any), 0);
            EXPECT_EQ(AutoTable(out, any), 0);
            EXPECT_EQ(AutoOffset(out, any), 0);
            EXPECT_EQ(GetAdjustPara(out, out + 1, any), 0);
            EXPECT_EQ(GetCheckPWR(out, out + 1, out + 2, any), 0);
            EXPECT_EQ(SetDCOffset(out, out + 1, any), 0);
            EXPECT_EQ(DeleteRfOutput(out, out + 1, any), 0);
            EXPECT_THAT(out, testing::Each(0xA5));
        }
    }
}

}  // namespace
}  // namespace tagwire::engine::test
