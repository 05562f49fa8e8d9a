#include "device/firmware.h"

#include <utility>

#include "transport/wire.h"

namespace tagwire::sim {

namespace {

constexpr std::uint32_t polynomial = 0xEDB88320;  // lowest bit first

constexpr std::array<std::uint32_t, 256> make_crc_table()
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? polynomial : 0);
        table[i] = crc;
    }
    return table;
}

constexpr auto crc_table = make_crc_table();

}  // namespace

std::uint32_t crc32(const Bytes& bytes)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) crc = crc >> 8U ^ crc_table[(crc ^ byte) & 0xFFU];
    return ~crc;
}

Firmware::Firmware(const FirmwareSettings& settings, const std::array<std::uint8_t, 2>& version)
    : settings_(settings)
{
    state_.version = version;
}

void Firmware::begin_update()
{
    end_update();
    state_.updating = true;
}

void Firmware::end_update()
{
    state_.updating = false;
    state_.received.clear();
    state_.blocks = 0;
    last_.reset();
}

std::uint8_t Firmware::write(std::uint8_t index, const Bytes& block)
{
    if (!state_.updating) return status::out_of_order;
    if (block.empty() || block.size() > settings_.block) return status::bad_parameter;
    if (last_ && last_->index == index && last_->bytes == block) return status::success;
    if (index != static_cast<std::uint8_t>(state_.blocks)) return status::out_of_order;
    if (state_.received.size() + block.size() > settings_.image) return status::bad_parameter;
    append(state_.received, block);
    ++state_.blocks;
    last_ = Block{index, block};
    return status::success;
}

std::uint8_t Firmware::mark()
{
    if (!state_.updating || state_.received.empty()) return status::out_of_order;
    state_.image = std::move(state_.received);
    if (settings_.next_version) {
        state_.version = *settings_.next_version;
    } else {
        const Bytes& image = state_.image;
        state_.version = {image[0], image.size() > 1 ? image[1] : std::uint8_t{0}};
    }
    ++state_.marks;
    end_update();
    return status::success;
}

}  // namespace tagwire::sim
