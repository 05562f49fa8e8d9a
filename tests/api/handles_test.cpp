// The handle table, and what its handles mean to the exported calls.
#include <gmock/gmock.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <set>
#include <thread>

#include "api/process.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

constexpr int bad_handles[] = {INT_MIN, -255, -1, 0, 256, 257, 999, INT_MAX};

void ignore_tag(RFIDTagStruct /*record*/, int /*kind*/) {}
void ignore_other_tag(RFIDTagStruct /*record*/, int /*kind*/) {}

// Readers in slots 1 to `last`.
std::vector<std::unique_ptr<SlotReader>> fill_table(int last = last_handle)
{
    std::vector<std::unique_ptr<SlotReader>> out;
    for (int handle = first_handle; handle <= last; ++handle)
        out.push_back(std::make_unique<SlotReader>(handle));
    return out;
}

int ask_module(int handle)
{
    u8 address = 0;
    u8 version[2];
    u8 type = 0;
    u8 protocols = 0;
    return GetModuleDetails(&address, version, &type, &protocols, handle);
}

int run_locked_inventory(int handle)
{
    u8 address = 0;
    return Inventory_QT_G2(&address, 4, 0, 0, 0x80, 10, 0, nullptr, nullptr, nullptr, nullptr, handle);
}

int stop_reading(int handle)
{
    u8 address = 0;
    return StopRead(&address, handle);
}

TEST(Table, has_256_slots_all_empty_before_the_first_open)
{
    static_assert(sizeof EthReader == 256 * sizeof(Reader*));
    EXPECT_THAT(EthReader, testing::Each(testing::IsNull()));
    EXPECT_FALSE(isOpening);
}

TEST(Handle, outside_1_to_255_is_bad_to_every_frame)
{
    for (const int handle : bad_handles) {
        SCOPED_TRACE(handle);
        EXPECT_EQ(ask_module(handle), 55);
        EXPECT_EQ(run_locked_inventory(handle), 55);
        EXPECT_EQ(stop_reading(handle), 55);
        EXPECT_EQ(CloseNetPort(handle), 55);
        EXPECT_EQ(CloseSpecComPort(handle), 55);
        InitRFIDCallBack(ignore_tag, true, handle);
    }
}

TEST(Handle, whose_slot_is_empty_is_bad_to_every_frame)
{
    for (const int handle : {1, 2, 128, 254, 255}) {
        SCOPED_TRACE(handle);
        EXPECT_EQ(ask_module(handle), 55);
        EXPECT_EQ(run_locked_inventory(handle), 55);
        EXPECT_EQ(stop_reading(handle), 55);
        InitRFIDCallBack(ignore_tag, true, handle);
    }
}

TEST(Handle, slot_0_is_never_looked_at)
{
    const SlotReader reader(0);
    reader->operations.StopRead = [](Reader*, u8*) { return 77; };
    EXPECT_EQ(stop_reading(0), 55);
    EXPECT_EQ(ask_module(0), 55);
    EXPECT_EQ(CloseNetPort(0), 55);
    InitRFIDCallBack(ignore_tag, true, 0);
    EXPECT_EQ(reader->MypCallBack, nullptr);
}

TEST(Handle, from_1_to_255_reaches_the_reader_in_its_slot)
{
    const auto all = fill_table();
    for (int handle = first_handle; handle <= last_handle; ++handle) {
        EthReader[handle]->operations.StopRead = [](Reader* sthis, u8*) { return 1000 + sthis->FrmHandle; };
        EthReader[handle]->FrmHandle = handle;
        EXPECT_EQ(stop_reading(handle), 1000 + handle);
    }
}

TEST(Slot, is_left_alone_by_every_frame)
{
    const SlotReader reader(9);
    reader->operations.StopRead = [](Reader*, u8*) { return 77; };
    stop_reading(9);
    InitRFIDCallBack(ignore_tag, true, 9);
    EXPECT_EQ(EthReader[9], reader.get());
    reader->isStopStocktaking = false;
    ask_module(9);
    EXPECT_EQ(EthReader[9], reader.get());
}

TEST(Callback, is_registered_with_its_option)
{
    const SlotReader reader(255);
    InitRFIDCallBack(ignore_tag, true, 255);
    EXPECT_EQ(reader->MypCallBack, ignore_tag);
    EXPECT_TRUE(reader->InventoryBackUID);
    InitRFIDCallBack(ignore_other_tag, false, 255);
    EXPECT_EQ(reader->MypCallBack, ignore_other_tag);
    EXPECT_FALSE(reader->InventoryBackUID);
}

TEST(Callback, null_keeps_the_old_one_and_its_option)
{
    const SlotReader reader(3);
    InitRFIDCallBack(ignore_tag, true, 3);
    InitRFIDCallBack(nullptr, false, 3);
    EXPECT_EQ(reader->MypCallBack, ignore_tag);
    EXPECT_TRUE(reader->InventoryBackUID);
}

TEST(Callback, is_registered_while_reading_runs)
{
    const SlotReader reader(3);
    reader->isStopStocktaking = false;
    InitRFIDCallBack(ignore_tag, false, 3);
    EXPECT_EQ(reader->MypCallBack, ignore_tag);
}

TEST(Callback, of_another_handle_stays_as_it_is)
{
    const SlotReader reader(3);
    const SlotReader other(4);
    InitRFIDCallBack(ignore_tag, true, 4);
    EXPECT_EQ(reader->MypCallBack, nullptr);
    EXPECT_FALSE(reader->InventoryBackUID);
}

TEST(FreeSlot, is_the_lowest_one)
{
    auto all = fill_table(5);
    all[2].reset();
    all[3].reset();
    int handle = 0;
    Reader* reader = occupy_slot(handle);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(handle, 3);
    EXPECT_EQ(EthReader[3], reader);
    clear_slot(3, reader);
    Reader* last = reader;
    Destroy_Reader(&last);
    release(reader);
}

TEST(FreeSlot, is_255_when_all_below_are_taken)
{
    const auto all = fill_table(254);
    int handle = 0;
    Reader* reader = occupy_slot(handle);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(handle, 255);
    clear_slot(255, reader);
    Reader* last = reader;
    Destroy_Reader(&last);
    release(reader);
}

TEST(FreeSlot, does_not_exist_in_a_full_table)
{
    const auto all = fill_table();
    const long before = open_descriptors();
    int handle = 0;
    EXPECT_EQ(occupy_slot(handle), nullptr);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(FullTable, refuses_every_open_with_48_and_handle_minus_1)
{
    const auto all = fill_table();
    Reader* before[256];
    std::memcpy(before, EthReader, sizeof before);
    const long descriptors = open_descriptors();
    char device[32] = "/dev/null";
    char address[] = "127.0.0.1";
    u8 bus_address = 0xFF;

    int handle = 5;
    EXPECT_EQ(OpenComPort(device, &bus_address, 5, &handle), 48);
    EXPECT_EQ(handle, -1);
    handle = 5;
    EXPECT_EQ(OpenNetPort(1, address, &bus_address, &handle), 48);
    EXPECT_EQ(handle, -1);
    EXPECT_FALSE(isOpening);
    handle = 5;
    EXPECT_EQ(AutoOpenComPort(device, &bus_address, 5, &handle), 48);
    EXPECT_EQ(handle, -1);

    EXPECT_STREQ(device, "/dev/null");
    EXPECT_EQ(std::memcmp(before, EthReader, sizeof before), 0);
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(ClearedSlot, is_only_cleared_of_the_reader_that_is_meant)
{
    const SlotReader reader(6);
    const SlotReader other(7);
    clear_slot(6, other.get());
    EXPECT_EQ(EthReader[6], reader.get());
}

TEST(BorrowedReader, outlives_its_destruction)
{
    auto reader = std::make_unique<SlotReader>(8);
    const Borrowed borrowed(8);
    reader.reset();
    EXPECT_TRUE(borrowed->isStopCmd);
    EXPECT_FALSE(Borrowed(8));
}

TEST(Address, finds_the_first_reader_that_has_it)
{
    const SlotReader first(2);
    const SlotReader second(4);
    std::strcpy(first->ipAddress, "127.0.0.9");
    std::strcpy(second->ipAddress, "127.0.0.9");
    int handle = 0;
    const Borrowed found(find_by_address("127.0.0.9", handle));
    EXPECT_EQ(found.get(), first.get());
    EXPECT_EQ(handle, 2);
    EXPECT_EQ(find_by_address("127.0.0.90", handle), nullptr);
    EXPECT_EQ(find_by_address("127.0.0.", handle), nullptr);
}

TEST(Address, that_is_empty_finds_nobody)
{
    const SlotReader reader(2);
    int handle = 0;
    EXPECT_EQ(find_by_address("", handle), nullptr);
}

TEST(Threads, never_share_a_slot)
{
    constexpr int threads = 8;
    constexpr int each = 31;
    std::vector<std::vector<std::pair<int, Reader*>>> taken(threads);
    {
        std::atomic<bool> go = false;
        std::vector<std::jthread> all;
        for (auto& mine : taken) {
            all.emplace_back([&mine, &go] {
                while (!go) std::this_thread::yield();
                for (int i = 0; i < each; ++i) {
                    int handle = 0;
                    Reader* reader = occupy_slot(handle);
                    if (reader != nullptr) mine.emplace_back(handle, reader);
                }
            });
        }
        go = true;
    }
    std::set<int> handles;
    for (const auto& mine : taken) {
        for (const auto& [handle, reader] : mine) {
            EXPECT_TRUE(handles.insert(handle).second) << handle;
            EXPECT_EQ(EthReader[handle], reader);
            clear_slot(handle, reader);
            Reader* last = reader;
            Destroy_Reader(&last);
            release(reader);
        }
    }
    EXPECT_EQ(handles.size(), std::size_t{threads} * each);
    EXPECT_EQ(*handles.rbegin(), threads * each);
}

TEST(Threads, find_one_slot_too_few_once)
{
    constexpr int threads = 4;
    const auto all = fill_table(last_handle - threads + 1);
    std::atomic<int> refused = 0;
    Reader* taken[threads] = {};
    int handles[threads] = {};
    {
        std::vector<std::jthread> openers;
        for (int i = 0; i < threads; ++i) {
            openers.emplace_back([&, i] {
                taken[i] = occupy_slot(handles[i]);
                if (taken[i] == nullptr) ++refused;
            });
        }
    }
    EXPECT_EQ(refused, 1);
    for (int i = 0; i < threads; ++i) {
        if (taken[i] == nullptr) continue;
        clear_slot(handles[i], taken[i]);
        Reader* last = taken[i];
        Destroy_Reader(&last);
        release(taken[i]);
    }
}

}  // namespace
}  // namespace tagwire::engine::test
