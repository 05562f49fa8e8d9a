// A virtual reader whose program is replaced, over a new connection each time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "e2e/connection.h"

#include <tagwirexx/reader.hpp>

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
        url_ = link == Link::tcp ? "tcp://" + ip_address + ":" + std::to_string(reader.listen(ip_address, 0))
                                 : "serial:" + reader.open_pty() + "?baud=115200";
    }

    UpdateReport update(const sim::Bytes& image, UpdateOptions options = {})
    {
        options.with_doubts = true;
        return connect().update_firmware(image, {}, {}, options);
    }

    // Whatever was before.
    void expect_update_succeeds(const sim::Bytes& image)
    {
        reader.clear_faults();
        const auto marks = reader.firmware().marks;
        const auto report = update(image);
        EXPECT_TRUE(report.success()) << report.text();
        const auto firmware = reader.firmware();
        EXPECT_EQ(firmware.marks, marks + 1);
        EXPECT_TRUE(firmware.image == image);
        EXPECT_EQ(report.version, (Version{firmware.version[0], firmware.version[1]}));
        EXPECT_FALSE(firmware.updating);
    }

  private:
    // Again when a busy machine kept the answer for longer than the library waits.
    tagwire::Reader connect() const
    {
        for (int attempt = 1; attempt < 100; ++attempt) {
            try {
                return tagwire::Reader(url_);
            } catch (const Error&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
        return tagwire::Reader(url_);
    }

    std::string url_;

  public:
    sim::Simulator simulator;
    sim::Reader& reader;
};

}  // namespace tagwire::test
