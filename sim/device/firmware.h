// The reader's program and its replacement, block by block. Until the mark, the old program runs on.
#pragma once

#include <optional>

#include "scenario/service_settings.h"

namespace tagwire::sim {

// As zlib computes it.
std::uint32_t crc32(const Bytes& bytes);

struct FirmwareState {
    std::array<std::uint8_t, 2> version{};
    bool updating = false;
    Bytes received;            // in this update
    std::uint64_t blocks = 0;  // in this update, repetitions left out
    Bytes image;               // that was marked last
    std::uint64_t marks = 0;
    std::uint64_t power_losses = 0;
};

class Firmware {
  public:
    Firmware(const FirmwareSettings& settings, const std::array<std::uint8_t, 2>& version);

    const FirmwareSettings& settings() const { return settings_; }
    const FirmwareState& state() const { return state_; }

    void begin_update();
    void end_update();
    // All give the status that tells the host how it went.
    std::uint8_t write(std::uint8_t index, const Bytes& block);
    std::uint8_t mark();
    void note_power_loss() { ++state_.power_losses; }

  private:
    struct Block {
        std::uint8_t index;
        Bytes bytes;
    };

    FirmwareSettings settings_;
    FirmwareState state_;
    std::optional<Block> last_;
};

}  // namespace tagwire::sim
