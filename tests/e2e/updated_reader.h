// A virtual reader whose program is replaced, over a new connection each time.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "e2e/connection.h"
#include "errors.h"
#include "firmware_link.h"
#include "firmware_update.h"

namespace tagwire::test {

inline sim::Bytes image_of(std::size_t size, std::uint32_t seed = 1)
{
    sim::Bytes image(size);
    for (auto& byte : image) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(seed >> 24U);
    }
    return image;
}

class UpdatedReader {
  public:
    explicit UpdatedReader(Link link, const std::string& firmware = "boot_ms = 0\n",
                           const std::string& ip_address = "127.0.0.1")
        : reader(simulator.add_reader_from_text("[reader]\nreport_rate = 0\n[firmware]\n" + firmware))
    {
        url_.link = link == Link::tcp ? tool::Link::Tcp : tool::Link::Serial;
        url_.host = ip_address;
        url_.baud = 115200;
        if (link == Link::tcp) {
            url_.port = reader.listen(ip_address, 0);
        } else {
            url_.device = reader.open_pty();
        }
    }

    tool::UpdateReport update(const sim::Bytes& image, const tool::UpdatePlan& plan = {})
    {
        tool::ConnectedUpdateLink link(
            connect(), [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); });
        return tool::update_firmware(link, image, plan, {});
    }

    // Whatever was before.
    void expect_update_succeeds(const sim::Bytes& image)
    {
        reader.clear_faults();
        const auto marks = reader.firmware().marks;
        const auto report = update(image);
        EXPECT_EQ(tool::end_name(report.end), "updated") << problem_text(report, "");
        const auto firmware = reader.firmware();
        EXPECT_EQ(firmware.marks, marks + 1);
        EXPECT_TRUE(firmware.image == image);
        EXPECT_EQ(report.version, firmware.version);
        EXPECT_FALSE(firmware.updating);
    }

  private:
    // Again when another thread is opening, or when a busy machine kept the answer for longer than the
    // library waits.
    std::unique_ptr<tool::ReaderConnection> connect() const
    {
        for (int attempt = 1; attempt < 100; ++attempt) {
            try {
                return std::make_unique<tool::ReaderConnection>(url_, std::uint8_t{0xFF});
            } catch (const tool::Failure&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
        return std::make_unique<tool::ReaderConnection>(url_, std::uint8_t{0xFF});
    }

    tool::ReaderUrl url_;

  public:
    sim::Simulator simulator;
    sim::Reader& reader;
};

}  // namespace tagwire::test
