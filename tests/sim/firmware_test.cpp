#include <optional>

#include "device/firmware.h"
#include "exchange.h"
#include "peer.h"
#include "simulator.h"

namespace tagwire::sim {
namespace {

using std::chrono::milliseconds;

const std::string information = "0F 02 31 80 1E 0A 0F 01 00 00";  // behind the version
constexpr const char* enter = "01 00 00 00 00 00 00 00";

Bytes ascii(const std::string& text) { return Bytes(text.begin(), text.end()); }

TEST(Crc32, KnownValues)
{
    EXPECT_EQ(crc32({}), 0U);
    EXPECT_EQ(crc32(ascii("123456789")), 0xCBF43926U);
    EXPECT_EQ(crc32(ascii("The quick brown fox jumps over the lazy dog")), 0x414FA339U);
    EXPECT_EQ(crc32(Bytes(4)), 0x2144DF1CU);
}

// A reader that takes blocks of 4 bytes, images of 10, and boots in 100 ms.
struct Update : testing::Test {
    static Scenario small()
    {
        return Scenario::from_text("[reader]\nfirmware = \"1.9\"\n"
                                   "[firmware]\nblock = 4\nimage = 10\nboot_ms = 100\n");
    }

    const FirmwareState& state() const { return bench.device.services().firmware.state(); }

    Bench bench{small()};
};

TEST_F(Update, Whole)
{
    run(bench, {{0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                {0xFA, "", {"00 00 00 00 00"}},
                {0xF9, "00 31 32 33 34", {"00"}},
                {0xF9, "01 35 36 37 38", {"00"}},
                {0xF9, "02 39", {"00"}},
                {0xFA, "", {"00 CB F4 39 26"}},
                {0x21, "", {"00 01 09 " + information}},
                {0xFB, "", {"00"}},
                {0x21, "", {}}});
    bench.pass(milliseconds(99));
    run(bench, {{0x21, "", {}}});
    bench.pass(milliseconds(1));
    run(bench, {{0x21, "", {"00 31 32 " + information}}, {0xFA, "", {"F6"}}, {0xF9, "03 31", {"F6"}}});
    EXPECT_EQ(state().image, ascii("123456789"));
    EXPECT_EQ(state().marks, 1U);
    EXPECT_FALSE(state().updating);
}

TEST_F(Update, NeedsItsMode)
{
    run(bench, {{0xF9, "00 31", {"F6"}},
                {0xFA, "", {"F6"}},
                {0xFB, "", {"F6"}},
                {0xF8, "02 00 00 00 00 00 00 00", {"FF 00 04 00 00 00 0A 01 09"}},
                {0xF8, "01 00 00 00 00 00 00 01", {"FF 00 04 00 00 00 0A 01 09"}},
                {0xF8, "01", {"FF"}},
                {0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                {0xFB, "", {"F6"}},
                {0xF9, "00 31", {"00"}},
                {0xF8, "00 00 00 00 00 00 00 00", {"00 00 04 00 00 00 0A 01 09"}},
                {0xFB, "", {"F6"}}});
}

TEST_F(Update, BlocksComeInOrder)
{
    run(bench, {{0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                {0xF9, "01 31", {"F6"}},
                {0xF9, "FF 31", {"F6"}},
                {0xF9, "00 31", {"00"}},
                {0xF9, "02 32", {"F6"}},
                {0xF9, "01 32", {"00"}},
                {0xF9, "00 31", {"F6"}}});
    EXPECT_EQ(state().received, ascii("12"));
}

TEST_F(Update, TheLastBlockMayBeRepeated)
{
    run(bench, {{0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                {0xF9, "00 31 32", {"00"}},
                {0xF9, "00 31 32", {"00"}},
                {0xF9, "00 31 33", {"F6"}},
                {0xF9, "01 31 32", {"00"}},
                {0xF9, "01 31 32", {"00"}}});
    EXPECT_EQ(state().received, ascii("1212"));
    EXPECT_EQ(state().blocks, 2U);
}

TEST_F(Update, Limits)
{
    run(bench, {{0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                {0xF9, "", {"FF"}},
                {0xF9, "00", {"FF"}},
                {0xF9, "00 31 32 33 34 35", {"FF"}},
                {0xF9, "00 31 32 33 34", {"00"}},
                {0xF9, "01 31 32 33 34", {"00"}},
                {0xF9, "02 31 32 33", {"FF"}},
                {0xF9, "02 31 32", {"00"}},
                {0xF9, "03 31", {"FF"}},
                {0xFA, "00", {"FF"}},
                {0xFB, "00", {"FF"}}});
    EXPECT_EQ(state().received, ascii("1234123412"));
}

TEST(Firmware, BlockNumbersWrap)
{
    Bench bench(Scenario::from_text("[firmware]\nnext_version = \"7.8\"\nboot_ms = 0\n"));
    bench.command(0xF8, from_hex(enter));
    Bytes image;
    for (unsigned i = 0; i < 600; ++i) {
        Bytes block{static_cast<std::uint8_t>(i)};
        block.resize(251, static_cast<std::uint8_t>(i * 7 + 1));
        bench.command(0xF9, block);
        ASSERT_EQ(bench.frames.at(0).status(), 0) << "block " << i;
        image.insert(image.end(), block.begin() + 1, block.end());
    }
    Bytes expected;
    append_number(expected, crc32(image), 4);
    run(bench, {{0xFA, "", {"00 " + to_hex(expected, " ")}},
                {0xFB, "", {"00"}},
                {0x21, "", {"00 07 08 " + information}}});
    EXPECT_EQ(bench.device.services().firmware.state().image, image);
}

TEST(Firmware, AShortImageHasAVersionToo)
{
    Bench bench(Scenario::from_text("[firmware]\nboot_ms = 0\n"));
    bench.command(0xF8, from_hex(enter));
    run(bench, {{0xF9, "00 05", {"00"}}, {0xFB, "", {"00"}}, {0x21, "", {"00 05 00 " + information}}});
}

class PowerLoss : public testing::TestWithParam<unsigned> {};

// After so many requests of the update.
TEST_P(PowerLoss, LeavesTheOldVersionAndAnotherUpdateSucceeds)
{
    Bench bench(Update::small());
    const Exchange update[] = {{0xF8, enter, {"00 01 04 00 00 00 0A 01 09"}},
                               {0xF9, "00 31 32 33 34", {"00"}},
                               {0xF9, "01 35 36 37 38", {"00"}},
                               {0xF9, "02 39", {"00"}},
                               {0xFA, "", {"00 CB F4 39 26"}}};
    const std::vector<Exchange> whole(std::begin(update), std::end(update));
    run(bench, {whole.begin(), whole.begin() + GetParam()});
    bench.device.cut_power(bench.now);
    run(bench, {{0xF9, "01 35 36 37 38", {}}});
    bench.pass(milliseconds(100));
    run(bench, {{0x21, "", {"00 01 09 " + information}}, {0xF9, "00 31", {"F6"}}, {0xFB, "", {"F6"}}});
    run(bench, whole);
    run(bench, {{0xFB, "", {"00"}}});
    bench.pass(milliseconds(100));
    run(bench, {{0x21, "", {"00 31 32 " + information}}});
    EXPECT_EQ(bench.device.services().firmware.state().power_losses, 1U);
}

INSTANTIATE_TEST_SUITE_P(Firmware, PowerLoss, testing::Values(0U, 1U, 2U, 3U, 4U, 5U));

TEST_F(Update, PowerLossWhileBootingLeavesTheNewVersion)
{
    bench.command(0xF8, from_hex(enter));
    run(bench, {{0xF9, "00 05 06", {"00"}}, {0xFB, "", {"00"}}});
    bench.pass(milliseconds(50));
    bench.device.cut_power(bench.now);
    bench.pass(milliseconds(99));
    run(bench, {{0x21, "", {}}});
    bench.pass(milliseconds(1));
    run(bench, {{0x21, "", {"00 05 06 " + information}}});
}

TEST_F(Update, PowerLossEndsWhatTheReaderDoes)
{
    bench.command(0x50, {0});
    ASSERT_TRUE(bench.device.reading().is_running());
    bench.device.cut_power(bench.now);
    bench.frames.clear();
    bench.pass(milliseconds(1000));
    EXPECT_FALSE(bench.device.reading().is_running());
    EXPECT_THAT(bench.frames, testing::IsEmpty());
}

TEST(PowerFault, StrikesBehindABlockAndConnectionsStay)
{
    Simulator simulator;
    Scenario scenario = Update::small();
    scenario.services.firmware.boot = Time{};
    Reader& reader = simulator.add_reader(scenario);
    reader.inject(Fault::parse("power:command=0xF9,skip=1"));
    Peer peer = Peer::connect(reader.listen());
    const auto ask = [&peer](std::uint8_t code, const std::string& data) {
        Bytes frame{0, 0, code};
        append(frame, from_hex(data));
        frame.resize(frame.size() + 2);
        frame[0] = static_cast<std::uint8_t>(frame.size() - 1);
        seal(frame);
        peer.send(to_hex(frame));
        const Bytes answer = from_hex(peer.receive_frame());
        return answer.size() > 3 ? std::optional<unsigned>(answer[3]) : std::nullopt;
    };
    EXPECT_EQ(ask(0xF8, enter), 0x00U);
    EXPECT_EQ(ask(0xF9, "00 31"), 0x00U);
    EXPECT_TRUE(reader.firmware().updating);
    EXPECT_EQ(ask(0xF9, "01 32"), 0x00U);
    EXPECT_TRUE(reader.wait_for_firmware([](const FirmwareState& now) { return now.power_losses == 1; }));
    EXPECT_FALSE(reader.firmware().updating);
    EXPECT_EQ(ask(0xF9, "02 33"), 0xF6U);
    EXPECT_EQ(ask(0xF8, enter), 0x00U);
    EXPECT_EQ(ask(0xF9, "00 41 42"), 0x00U);
    reader.cut_power();
    EXPECT_EQ(ask(0xFB, ""), 0xF6U);
    reader.inject(Fault::power_loss(0xF8));
    EXPECT_EQ(ask(0xF8, enter), 0x00U);
    EXPECT_EQ(ask(0xF9, "00 41 42"), 0xF6U);
    EXPECT_EQ(ask(0xF8, enter), 0x00U);
    EXPECT_EQ(ask(0xF9, "00 41 42"), 0x00U);
    EXPECT_EQ(ask(0xFB, ""), 0x00U);
    EXPECT_EQ(ask(0x21, ""), 0x00U);
    EXPECT_EQ(reader.firmware().version, (std::array<std::uint8_t, 2>{0x41, 0x42}));
    EXPECT_EQ(reader.counters().connections, 1U);
    EXPECT_EQ(reader.firmware().power_losses, 3U);
}

}  // namespace
}  // namespace tagwire::sim
