// A reader with a tag at each of its four antennas.
#pragma once

#include "e2e/asked_reader.h"

namespace tagwire::test {

// The tags answer with growing strength, and need 20 dBm to be written.
class Portal : public AskedReader {
  protected:
    static constexpr std::size_t status_at = 3;

    static sim::Scenario portal()
    {
        sim::Scenario scenario = scenario_of(4);
        scenario.reader.phase = true;
        scenario.reader.return_loss = 18;
        for (unsigned i = 0; i < 4; ++i) {
            sim::TagSettings& tag = scenario.tags[i];
            tag.antennas = {i + 1};
            tag.tid = {0xE2, 0x80, 0x11, 0x60, 0, static_cast<std::uint8_t>(i + 1)};
            tag.user = Bytes(4, 0);
            tag.write_power = 20;
            tag.rssi = static_cast<std::uint8_t>(100 + i * 40);
        }
        return scenario;
    }
    void SetUp() override { connect(portal()); }

    static std::string epc(unsigned tag) { return text_of(make_tag(tag).epc); }
};

}  // namespace tagwire::test
