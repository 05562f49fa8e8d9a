#include "sensor_memory.h"

#include "tagwire/registers.h"
#include "tagwire/result.h"

#include <algorithm>

namespace tagwire::tool {

namespace {

// Packets come for at most 15 s: pieces of this size leave a slow reader time.
constexpr std::uint32_t most_bytes_in_packets = 4096;
constexpr std::size_t packet_buffer = 65536;

// These commands tell nothing of the tag's error code.
TagResult without_code(TagResult result) { return {result.code, -1}; }

}  // namespace

std::uint32_t sensor_bytes_per_write(const TagName& name)
{
    // What else a frame of at most 255 bytes has, its length byte apart.
    constexpr std::size_t with_epc = 255 - 17;
    constexpr std::size_t with_mask = 255 - 21;
    return static_cast<std::uint32_t>(name.mask ? with_mask - name.mask->data.size()
                                                : with_epc - name.id.size());
}

TransferLimits SensorMemory::limits() const
{
    return {1, most_bytes_in_packets, std::min(place_.most_write, sensor_bytes_per_write(place_.name))};
}

TagResult SensorMemory::read(const Run& run, Bytes& data)
{
    return without_code(run.count > most_bytes_in_answer ? read_packets(run, data) : read_answer(run, data));
}

TagResult SensorMemory::read_answer(const Run& run, Bytes& data)
{
    auto first = high_byte_first(run.first);
    auto password = place_.password;
    auto memory_password_bytes = memory_password();
    data.assign(run.count, 0);
    return tag_(Fd_ReadMemory,
                std::tuple(first.data(), static_cast<std::uint8_t>(run.count), password.data(),
                           authentication(), memory_password_bytes.data()),
                data.data());
}

TagResult SensorMemory::read_packets(const Run& run, Bytes& data)
{
    auto first = high_byte_first(run.first);
    auto count = high_byte_first(run.count);
    auto password = place_.password;
    auto memory_password_bytes = memory_password();
    int received = 0;
    data.assign(packet_buffer, 0);
    auto result = tag_(Fd_ExtReadMemory,
                       std::tuple(first.data(), count.data(), password.data(), authentication(),
                                  memory_password_bytes.data()),
                       data.data(), &received);
    data.resize(static_cast<std::size_t>(std::clamp(received, 0, static_cast<int>(packet_buffer))));
    if (result.code == TAGWIRE_INVENTORY_DONE) result.code = TAGWIRE_OK;
    return result;
}

TagResult SensorMemory::write(std::uint32_t first, std::span<const std::uint8_t> data)
{
    auto address = high_byte_first(first);
    Bytes bytes(data.begin(), data.end());
    auto password = place_.password;
    auto memory_password_bytes = memory_password();
    return tag_(Fd_WriteMemory,
                std::tuple(address.data(), static_cast<std::uint8_t>(bytes.size()), bytes.data(),
                           password.data(), authentication(), memory_password_bytes.data()));
}

}  // namespace tagwire::tool
