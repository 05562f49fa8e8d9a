// Whether an inventory fills its list is decided before its frame is sent, whatever happens until it ends.
#include <gmock/gmock.h>

#include "support/exchanges.h"
#include "support/tags.h"
#include "support/virtual_time.h"
#include "tagwire/tagwire.h"

namespace tagwire::engine::test {
namespace {

constexpr u8 device = 0x05;

struct Outputs {
    Bytes list = repeat(0x99, 400);
    u8 antenna = 0;
    int length = -1;
    int count = -1;
};

struct Kind {
    const char* name;
    u8 code;
    int (*run)(Reader* reader, u8* address, Outputs& out);
};

std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }

template <u8 q> int gen2(Reader* reader, u8* address, Outputs& out)
{
    return reader->operations.Inventory_G2(reader, address, q, 0, 0, nullptr, 0, nullptr, 0, 0, 0, 0, 0, 0x80,
                                           10, 0, out.list.data(), &out.antenna, &out.length, &out.count);
}
int temperature(Reader* reader, u8* address, Outputs& out)
{
    return reader->operations.Inventory_Temperature(reader, address, 0, nullptr, 0, 0, 0, 4, 0, 0, 0x80, 10,
                                                    out.list.data(), &out.antenna, &out.length, &out.count);
}
int gb(Reader* reader, u8* address, Outputs& out)
{
    return reader->operations.Inventory_GB(reader, address, 0, nullptr, 0, nullptr, 0, 0x80, 10, 0,
                                           out.list.data(), &out.antenna, &out.length, &out.count);
}
int list_search(Reader* reader, u8* address, Outputs& out)
{
    return reader->operations.Find_epc_by_list(reader, address, 0, 0, &out.count, out.list.data(),
                                               &out.length);
}

const Kind callback_kinds[] = {{"gen2", 0x01, gen2<0x04>},
                               {"gen2_with_statistics", 0x01, gen2<0x84>},
                               {"temperature", 0x17, temperature},
                               {"gb", 0x56, gb}};
const Kind list_search_kind{"list_search", 0xE7, list_search};

Bytes tag(const Kind& kind, u8 status, u8 id)
{
    const Bytes in_front = kind.code == 0xE7 ? Bytes{1} : Bytes{};
    return answer(device, kind.code, status, in_front + Bytes{1, 1, 1, id, 0x50});
}

// Two tags, the second with the end; between them something happens on another thread or in the callback.
class Decision : public testing::TestWithParam<Kind> {
  protected:
    Decision() : reader_(Create_Reader()), handle_(reader_)
    {
        retain(reader_);
        reader_->m_type = 1;
        reader_->ReaderAddr = device;
        reader_->operations.SendDataToPort = [](Reader*, u8*, unsigned) { return 0; };
    }
    ~Decision() override
    {
        Reader* open = reader_;
        if (!reader_->keeping.retired) Destroy_Reader(&open);
        release(reader_);
    }

    void run(const Kind& kind, std::function<void()> meanwhile)
    {
        u8 address = 0xFF;
        ScriptedReads reads(reader_, {tag(kind, 0x03, 0xA1), tag(kind, 0x01, 0xA2)});
        reads.before_call = [&](int number) {
            if (number == 2) meanwhile();
        };
        result_ = kind.run(reader_, &address, out_);
        EXPECT_EQ(reads.calls(), 2);
    }
    void register_callback(bool instead_of_list)
    {
        InitRFIDCallBack(SeenTags::callback, instead_of_list, OpenHandle::number);
    }
    void close()
    {
        Reader* open = reader_;
        Destroy_Reader(&open);
    }
    void expect_no_list() const
    {
        EXPECT_EQ(result_, 1);
        EXPECT_EQ(out_.list, repeat(0x99, 400));
        EXPECT_EQ(out_.count, 0);
    }
    void expect_whole_list() const
    {
        const Bytes records = hex("01 A1 50 01 A2 50");
        EXPECT_EQ(result_, 1);
        EXPECT_EQ(out_.length, 6);
        EXPECT_EQ(out_.count, 2);
        EXPECT_EQ(out_.list, records + repeat(0x99, 400 - 6));
    }

    Reader* reader_;
    OpenHandle handle_;
    VirtualTime time_;
    Outputs out_;
    int result_ = -1;
};

TEST_P(Decision, for_the_callback_outlasts_a_registration_for_the_list)
{
    register_callback(true);
    run(GetParam(), [&] { register_callback(false); });
    expect_no_list();
}

TEST_P(Decision, for_the_callback_outlasts_a_close)
{
    register_callback(true);
    run(GetParam(), [&] { close(); });
    expect_no_list();
}

TEST_P(Decision, for_the_list_outlasts_a_registration_for_the_callback)
{
    register_callback(false);
    run(GetParam(), [&] { register_callback(true); });
    expect_whole_list();
}

TEST_P(Decision, is_made_anew_by_every_inventory)
{
    for (const bool instead_of_list : {true, false, true}) {
        out_ = Outputs{};
        register_callback(instead_of_list);
        run(GetParam(), [] {});
        instead_of_list ? expect_no_list() : expect_whole_list();
    }
}

INSTANTIATE_TEST_SUITE_P(Inventories, Decision, testing::ValuesIn(callback_kinds),
                         [](const auto& kind) { return kind.param.name; });

class ListSearch : public Decision {};

TEST_F(ListSearch, fills_its_list_whatever_is_registered)
{
    for (const bool before : {true, false}) {
        out_ = Outputs{};
        register_callback(before);
        run(list_search_kind, [&] { register_callback(!before); });
        expect_whole_list();
    }
}

}  // namespace
}  // namespace tagwire::engine::test
