// The reader's own settings as its commands use them. The functions return the result of the library.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "connection.h"
#include "reader_units.h"

namespace tagwire::tool {

// -- power

struct Powers {
    std::vector<std::uint8_t> antennas;   // dBm
    std::optional<std::uint8_t> writing;  // nothing where the reader does not tell
};

int read_powers(const ReaderConnection& reader, Powers& powers);
int set_all_powers(const ReaderConnection& reader, std::uint8_t dbm);
// Throws Failure when the reader has not so many antennas.
int set_powers(const ReaderConnection& reader, std::uint8_t dbm, PortBits ports);
int set_write_power(const ReaderConnection& reader, std::uint8_t dbm);

// The powers to be sent: as many as a command may have.
std::vector<std::uint8_t> sendable_powers(std::vector<std::uint8_t> powers);

// -- region

struct FrequencyPlan {
    std::uint8_t band = custom_band;
    // Of a band:
    std::uint8_t lowest_channel = 0;
    std::uint8_t highest_channel = 0;
    // Of a plan of one's own:
    std::uint32_t first_khz = 0;
    std::uint32_t spacing_khz = 0;
    std::uint8_t channels = 0;

    bool is_custom() const { return band == custom_band; }
    unsigned channel_count() const;
    // Nothing for an unknown band.
    std::optional<std::uint32_t> lowest_khz() const;
    std::optional<std::uint32_t> highest_khz() const;
    std::optional<std::uint32_t> middle_khz() const;
    bool operator==(const FrequencyPlan&) const = default;

  private:
    std::optional<std::uint32_t> khz(unsigned channel) const;
};

inline constexpr std::uint32_t spacing_unit_khz = 10;

int read_plan(const ReaderConnection& reader, FrequencyPlan& plan);

enum class Lasting : std::uint8_t { Stored, UntilRestart };

int set_plan(const ReaderConnection& reader, const FrequencyPlan& plan, Lasting lasting);

// In two bytes with the band in their upper bits: up to band 15 and channel 63.
inline constexpr unsigned last_packed_band = 15;
inline constexpr unsigned last_packed_channel = 63;
int set_packed_plan(const ReaderConnection& reader, const FrequencyPlan& plan);

// -- antennas

int read_ports(const ReaderConnection& reader, PortBits& ports);
// `width`: ports of the command: 8, 12, 16 or 64. With 8 the setting is always stored.
int set_ports(const ReaderConnection& reader, PortBits ports, std::uint32_t width, Lasting lasting);
int measure_return_loss(const ReaderConnection& reader, std::uint32_t khz, unsigned port,
                        std::uint8_t& decibels);

// -- lines, modes

inline constexpr std::uint32_t most_lines = 4;

struct Lines {
    PortBits outputs = 0;
    PortBits inputs = 0;
};

int read_lines(const ReaderConnection& reader, Lines& lines);
int set_outputs(const ReaderConnection& reader, PortBits outputs);

int read_work_mode(const ReaderConnection& reader, std::uint8_t& mode);

}  // namespace tagwire::tool
