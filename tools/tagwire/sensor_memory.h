// The data memory of sensor tags that have one, byte by byte.
#pragma once

#include "tag_call.h"
#include "tag_memory.h"

namespace tagwire::tool {

// How the commands of these tags name one: an EPC that is not too long for them.
inline constexpr TagFamily sensor_family{"--epc", "epc", 14, "bank", gen2_banks};

inline constexpr std::uint32_t last_sensor_byte = 65535;
// Of one answer; more is asked for in packets.
inline constexpr std::uint32_t most_bytes_in_answer = 250;
inline constexpr std::uint32_t usual_bytes_per_sensor_write = 32;

// The most bytes of a write that fit the frame with the name of the tag.
std::uint32_t sensor_bytes_per_write(const TagName& name);

struct SensorPlace {
    TagName name;
    Password password{};
    std::optional<Password> memory_password;
    std::uint32_t most_write = usual_bytes_per_sensor_write;
};

class SensorMemory : public TagMemory {
  public:
    SensorMemory(const ReaderConnection& reader, const SensorPlace& place)
        : tag_(reader, place.name), place_(place)
    {}

    TransferLimits limits() const override;
    TagResult read(const Run& run, Bytes& data) override;
    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override;

  private:
    TagResult read_answer(const Run& run, Bytes& data);
    TagResult read_packets(const Run& run, Bytes& data);
    std::uint8_t authentication() const { return place_.memory_password ? 1 : 0; }
    Password memory_password() const { return place_.memory_password.value_or(Password{}); }

    TagCall tag_;
    SensorPlace place_;
};

}  // namespace tagwire::tool
