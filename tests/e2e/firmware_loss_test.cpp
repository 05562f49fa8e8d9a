// A program of 256 KiB arrives over a link that loses more than one frame in a hundred.
#include "e2e/updated_reader.h"

namespace tagwire::test {
namespace {

using sim::Fault;

class FirmwareLosses : public testing::TestWithParam<Link> {};

INSTANTIATE_TEST_SUITE_P(Links, FirmwareLosses, testing::Values(Link::tcp, Link::pty), link_name);

// An answer is lost, an answer is damaged, a request is lost, and so on.
void lose_one_percent(sim::Reader& reader, unsigned frames)
{
    constexpr unsigned kinds = 3;
    constexpr unsigned distance = 90;
    const Fault faults[kinds] = {Fault::lose(), Fault::flip(3), Fault::silence(1)};
    for (unsigned i = 0; i * distance < frames; ++i) {
        Fault fault = faults[i % kinds];
        // Counted from the one before of the same kind.
        fault.skip = i < kinds ? distance * i + distance / 2 : kinds * distance - 1;
        reader.inject(fault);
    }
}

TEST_P(FirmwareLosses, one_percent_of_the_frames)
{
    const auto image = image_of(256U << 10U);
    const auto blocks = static_cast<unsigned>(image.size() / 250 + 1);
    UpdatedReader updated(GetParam());
    lose_one_percent(updated.reader, blocks);
    const auto report = updated.update(image);
    EXPECT_EQ(report.end, UpdateEnd::updated) << report.text();
    EXPECT_GE(report.lost_answers * 100, blocks);
    EXPECT_EQ(report.checksum, sim::crc32(image));
    EXPECT_TRUE(updated.reader.firmware().image == image);
    EXPECT_EQ(updated.reader.firmware().marks, 1U);
}

}  // namespace
}  // namespace tagwire::test
