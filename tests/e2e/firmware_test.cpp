// A reader's program replaced over both kinds of link, with faults at every step.
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "e2e/updated_reader.h"

namespace tagwire::test {
namespace {

using sim::Fault;

constexpr const char* with_boot = "boot_ms = 50\n";

std::string name_of(Link link) { return link == Link::tcp ? "tcp" : "pty"; }

// A case that takes its time, most of it waiting for answers: all of them at once, each with a reader of its
// own. A TCP reader needs an address of its own.
template <typename Case, std::size_t count>
void run_at_once(const Case (&cases)[count], const std::function<void(const Case&, const std::string&)>& run)
{
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i)
        threads.emplace_back([&, i] { run(cases[i], "127.0.0." + std::to_string(i + 2)); });
    for (auto& thread : threads) thread.join();
}

class FirmwareCalls : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, FirmwareCalls, testing::Values(Link::tcp, Link::pty), link_name);

sim::Bytes with_crc(sim::Bytes frame)
{
    unsigned crc = 0xFFFF;
    for (const auto byte : frame) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1U ^ 0x8408U : crc >> 1U;
    }
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFFU));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8U));
    return frame;
}

sim::Bytes block_request(std::uint8_t number, const sim::Bytes& block)
{
    sim::Bytes frame{static_cast<std::uint8_t>(block.size() + 5), 0x07, 0xF9, number};
    frame.insert(frame.end(), block.begin(), block.end());
    return with_crc(frame);
}

TEST_P(FirmwareCalls, send_what_they_should)
{
    sim::Scenario scenario = make_scenario(0);
    scenario.reader.address = 7;
    sim::Simulator simulator;
    sim::Reader& reader = simulator.add_reader(scenario);
    Connection connection(reader, GetParam());
    ASSERT_EQ(connection.open(), 0);
    unsigned char* const address = connection.address();
    const int handle = connection.handle();
    sim::Bytes one{0x5A};
    auto most = image_of(250);
    unsigned char own[8] = {0x01};
    unsigned char refused[8] = {0x09, 2, 3, 4, 5, 6, 7, 8};
    unsigned char state[8] = {};
    unsigned char crc[4] = {};

    reader.forget_requests();
    EXPECT_EQ(ChangeToUpdateMode(address, handle), 0);
    EXPECT_EQ(FwUpdate(address, refused, state, handle), 0xFF);
    EXPECT_EQ(state[0], 1);
    EXPECT_EQ(FwUpdate(address, own, state, handle), 0);
    EXPECT_EQ(WriteBinData(address, 0, one.data(), 0, handle), 0xFF);
    EXPECT_EQ(WriteBinData(address, 0, one.data(), 1, handle), 0);
    EXPECT_EQ(WriteBinData(address, 1, most.data(), 250, handle), 0);
    EXPECT_EQ(CheckCRC32(address, crc, handle), 0);
    EXPECT_EQ(WriteMark(address, handle), 0);

    const std::vector<sim::Bytes> expected{
        with_crc({0x0C, 0x07, 0xF8, 1, 0, 0, 0, 0, 0, 0, 0}),
        with_crc({0x0C, 0x07, 0xF8, 9, 2, 3, 4, 5, 6, 7, 8}),
        with_crc({0x0C, 0x07, 0xF8, 1, 0, 0, 0, 0, 0, 0, 0}),
        block_request(0, {}),
        block_request(0, one),
        block_request(1, most),
        with_crc({0x04, 0x07, 0xFA}),
        with_crc({0x04, 0x07, 0xFB}),
    };
    std::vector<std::string> sent;
    for (const auto& request : reader.requests()) sent.push_back(text_of(request.frame));
    ASSERT_EQ(sent.size(), expected.size());
    for (std::size_t i = 0; i < sent.size(); ++i) EXPECT_EQ(sent[i], text_of(expected[i])) << i;

    sim::Bytes image = one;
    image.insert(image.end(), most.begin(), most.end());
    EXPECT_TRUE(reader.firmware().image == image);
    const auto sum = sim::crc32(image);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(crc[i], sum >> (24 - 8 * i) & 0xFFU);
}

class FirmwareSizes : public testing::TestWithParam<std::tuple<Link, std::size_t>> {};

std::string size_name(const testing::TestParamInfo<FirmwareSizes::ParamType>& info)
{
    return name_of(std::get<0>(info.param)) + "_" + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Links, FirmwareSizes,
                         testing::Combine(testing::Values(Link::tcp, Link::pty),
                                          testing::Values(1U, 249U, 250U, 251U, 64U << 10U, 1U << 20U)),
                         size_name);

TEST_P(FirmwareSizes, arrive_whole)
{
    const auto& [link, size] = GetParam();
    UpdatedReader updated(link, size == 251 ? with_boot : "boot_ms = 0\n");
    updated.expect_update_succeeds(image_of(size));
}

TEST(FirmwareSizes, nothing_is_no_program)
{
    UpdatedReader updated(Link::tcp);
    EXPECT_THROW(updated.update({}), Error);
    EXPECT_EQ(updated.reader.firmware().marks, 0U);
    updated.expect_update_succeeds(image_of(5));
}

struct PhaseFault {
    const char* name;
    const char* fault;
    UpdateEnd end;
};

constexpr PhaseFault phase_faults[] = {
    {"version_lost", "lose:command=0x21,skip=1", UpdateEnd::updated},
    {"mode_lost", "lose:command=0xF8", UpdateEnd::updated},
    {"mode_not_heard", "silence:command=0xF8", UpdateEnd::updated},
    {"mode_late", "delay:command=0xF8,ms=2500", UpdateEnd::updated},
    {"mode_refused", "error:command=0xF8,status=0x13", UpdateEnd::refused},
    {"block_behind_noise", "noise:command=0xF9,skip=1,bytes=00", UpdateEnd::updated},
    {"block_before_noise", "trail:command=0xF9,skip=1,bytes=55AA55", UpdateEnd::updated},
    {"block_of_another", "set:command=0xF9,skip=1,byte=2,value=0xF0", UpdateEnd::updated},
    {"block_late", "delay:command=0xF9,skip=1,ms=2500", UpdateEnd::updated},
    {"block_very_late", "delay:command=0xF9,skip=1,ms=4500", UpdateEnd::updated},
    {"block_in_pieces", "split:command=0xF9,skip=1,at=1+4,ms=20", UpdateEnd::updated},
    {"block_refused", "error:command=0xF9,skip=1,status=0x13", UpdateEnd::block_refused},
    {"last_block_lost", "lose:command=0xF9,skip=4", UpdateEnd::updated},
    {"checksum_lost", "lose:command=0xFA", UpdateEnd::updated},
    {"checksum_not_heard", "silence:command=0xFA", UpdateEnd::updated},
    {"checksum_late", "delay:command=0xFA,ms=2500", UpdateEnd::updated},
    {"checksum_differs", "set:command=0xFA,byte=5,value=0x00", UpdateEnd::checksum_differs},
    {"checksum_refused", "error:command=0xFA,status=0x13", UpdateEnd::left_update_mode},
    {"mark_lost", "lose:command=0xFB", UpdateEnd::updated},
    {"mark_not_heard", "silence:command=0xFB", UpdateEnd::updated},
    {"mark_late", "delay:command=0xFB,ms=2500", UpdateEnd::updated},
    {"mark_refused", "error:command=0xFB,status=0x13", UpdateEnd::mark_refused},
    {"boot_with_losses", "lose:command=0x21,skip=2,count=3", UpdateEnd::updated},
};

class FirmwareFaults : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, FirmwareFaults, testing::Values(Link::tcp, Link::pty), link_name);

void expect_end(const UpdateReport& report, UpdateEnd end, const char* what)
{
    EXPECT_STREQ(to_string(report.end), to_string(end)) << what << ": " << report.text();
}

TEST_P(FirmwareFaults, leave_a_reader_that_can_be_updated)
{
    run_at_once<PhaseFault>(phase_faults, [](const PhaseFault& fault, const std::string& ip_address) {
        UpdatedReader updated(GetParam(), "boot_ms = 0\n", ip_address);
        updated.reader.inject(Fault::parse(fault.fault));
        const auto image = image_of(1100);
        expect_end(updated.update(image), fault.end, fault.name);
        const bool is_marked = fault.end == UpdateEnd::updated;
        EXPECT_EQ(updated.reader.firmware().marks, is_marked ? 1U : 0U) << fault.name;
        EXPECT_EQ(updated.reader.firmware().image == image, is_marked) << fault.name;
        updated.expect_update_succeeds(image_of(1100, 2));
    });
}

struct PowerLoss {
    const char* name;
    const char* fault;
    UpdateEnd end;
};

// Of 20 blocks.
constexpr PowerLoss power_losses[] = {
    {"in_the_mode", "power:command=0xF8", UpdateEnd::left_update_mode},
    {"first_block", "power:command=0xF9", UpdateEnd::left_update_mode},
    {"second_block", "power:command=0xF9,skip=1", UpdateEnd::left_update_mode},
    {"middle_block", "power:command=0xF9,skip=10", UpdateEnd::left_update_mode},
    {"last_block", "power:command=0xF9,skip=19", UpdateEnd::left_update_mode},
    {"before_the_mark", "power:command=0xFA", UpdateEnd::mark_unanswered},
    {"in_the_mark", "power:command=0xFB", UpdateEnd::updated},
};

class FirmwarePower : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, FirmwarePower, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(FirmwarePower, lost_leaves_a_reader_that_can_be_updated)
{
    run_at_once<PowerLoss>(power_losses, [](const PowerLoss& loss, const std::string& ip_address) {
        UpdatedReader updated(GetParam(), with_boot, ip_address);
        updated.reader.inject(Fault::parse(loss.fault));
        expect_end(updated.update(image_of(5000)), loss.end, loss.name);
        EXPECT_EQ(updated.reader.firmware().power_losses, 1U) << loss.name;
        EXPECT_EQ(updated.reader.firmware().marks, loss.end == UpdateEnd::updated ? 1U : 0U) << loss.name;
        updated.expect_update_succeeds(image_of(5000, 2));
    });
}

constexpr PhaseFault ended_connections[] = {
    {"mode", "hangup:command=0xF8", UpdateEnd::updated},
    {"block", "hangup:command=0xF9,skip=2", UpdateEnd::updated},
    {"checksum", "hangup:command=0xFA", UpdateEnd::updated},
    {"mark", "hangup:command=0xFB", UpdateEnd::updated},
};

class FirmwareLink : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, FirmwareLink, testing::Values(Link::tcp, Link::pty), link_name);

TEST_P(FirmwareLink, is_made_anew)
{
    run_at_once<PhaseFault>(ended_connections, [](const PhaseFault& fault, const std::string& ip_address) {
        UpdatedReader updated(GetParam(), with_boot, ip_address);
        updated.reader.inject(Fault::parse(fault.fault));
        expect_end(updated.update(image_of(1100), {.retries = 1}), fault.end, fault.name);
        EXPECT_GE(updated.reader.counters().connections, 2U) << fault.name;
        EXPECT_EQ(updated.reader.firmware().marks, 1U) << fault.name;
        updated.expect_update_succeeds(image_of(1100, 2));
    });
}

TEST(FirmwareMark, a_lost_mark_is_not_told_from_an_update_to_the_same_version)
{
    UpdatedReader updated(Link::tcp, "boot_ms = 50\nnext_version = \"1.0\"\n");
    updated.reader.inject(Fault::parse("lose:command=0xFB"));
    expect_end(updated.update(image_of(300)), UpdateEnd::mark_unanswered, "mark lost");
    updated.expect_update_succeeds(image_of(300));
}

}  // namespace
}  // namespace tagwire::test
