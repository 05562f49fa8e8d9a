// What the traffic hook sees, whether the log is on or not.
#include <gmock/gmock.h>

#include "support/hooked.h"
#include "support/test_reader.h"
#include "support/virtual_time.h"

namespace tagwire::engine::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const auto received = [](const Bytes& bytes) { return Traffic(Direction::received, bytes); };
const auto sent = [](const Bytes& bytes) { return Traffic(Direction::sent, bytes); };

class TrafficHook : public testing::TestWithParam<Link> {
  protected:
    int ask()
    {
        u8 address = 0x05;
        u8 out[4];
        return reader_->operations.GetModuleDetails(reader_, &address, out, out + 2, out + 3);
    }

    VirtualTime time_;
    TestReader reader_{GetParam()};
    Hooked hooked_{reader_};
    u8 address_ = 0x05;
};

INSTANTIATE_TEST_SUITE_P(Over, TrafficHook, testing::Values(Link::serial, Link::tcp),
                         [](const auto& test) { return test.param == Link::tcp ? "tcp" : "serial"; });

TEST_P(TrafficHook, sees_a_command_and_its_answer_piece_by_piece)
{
    const Bytes reply = answer(0x05, 0x83, 0x00, hex("01 02 03 04"));
    VirtualTime::in(100, [&] { reader_.feed(Bytes(reply.begin(), reply.begin() + 4)); });
    VirtualTime::in(110, [&] { reader_.feed(Bytes(reply.begin() + 4, reply.end())); });
    EXPECT_EQ(ask(), 0);
    EXPECT_THAT(hooked_.take_traffic(), ElementsAre(sent(request(0x05, 0x83, hex("00"))),
                                                    received(Bytes(reply.begin(), reply.begin() + 4)),
                                                    received(Bytes(reply.begin() + 4, reply.end()))));
}

TEST_P(TrafficHook, sees_noise)
{
    reader_.feed(hex("11 22"));
    EXPECT_EQ(ask(), 48);
    EXPECT_THAT(hooked_.take_traffic(),
                ElementsAre(sent(request(0x05, 0x83, hex("00"))), received(hex("11 22"))));
}

TEST_P(TrafficHook, sees_a_stop_and_what_is_sent_aside)
{
    reader_.feed(answer(0x05, 0x51, 0x00));
    EXPECT_EQ(reader_->operations.StopRead(reader_, &address_), 0);
    EXPECT_THAT(hooked_.take_traffic(),
                ElementsAre(sent(request(0x05, 0x51)), received(answer(0x05, 0x51, 0x00))));
    reader_->operations.StopImmediately(reader_, &address_);
    EXPECT_THAT(hooked_.take_traffic(), ElementsAre(sent(request(0x05, 0x93))));
}

TEST_P(TrafficHook, sees_nothing_that_was_not_sent)
{
    (GetParam() == Link::tcp ? reader_->sServer : reader_->hCommPort) = -1;
    ask();
    EXPECT_THAT(hooked_.take_traffic(), IsEmpty());
}

TEST_P(TrafficHook, of_null_is_left_out)
{
    const Hooks none{};
    reader_->keeping.hooks = &none;
    reader_.feed(answer(0x05, 0x83, 0x00, hex("01 02 03 04")));
    EXPECT_EQ(ask(), 0);
}

}  // namespace
}  // namespace tagwire::engine::test
