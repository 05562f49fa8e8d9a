// The questions that open a connection and begin and end continuous reading, as frames, and what their answers
// say: for whoever drives a link without a Reader.
#pragma once

#include <initializer_list>

#include "link/framing.h"

namespace tagwire::engine {

inline constexpr u8 information_command = 0x21;
inline constexpr u8 start_command = 0x50;
inline constexpr u8 stop_command = 0x51;
inline constexpr u8 lines_command = 0x47;          // answered with a byte: inputs above outputs
inline constexpr u8 antenna_power_command = 0x94;  // answered with a byte a port
// What a reader pushes while it reads: a report with status 0.
inline constexpr u8 report_command = 0xEE;
// For parserRidTag(): the layout of such a report.
inline constexpr int report_layout = 0x50;

struct Question {
    u8 bytes[16];
    std::size_t size;
};

// At most 11 bytes of data.
inline Question make_question(u8 address, u8 code, std::initializer_list<u8> data = {})
{
    Question out{{0, address, code}, frame::request_data};
    for (const u8 value : data) out.bytes[out.size++] = value;
    out.bytes[frame::len] = static_cast<u8>(out.size - 1 + frame::crc_size);
    const std::uint16_t crc = crc16(out.bytes, out.size);
    out.bytes[out.size++] = static_cast<u8>(crc & 0xFFU);
    out.bytes[out.size++] = static_cast<u8>(crc >> 8U);
    return out;
}

// A tag that a reader pushed, not an error of it.
inline bool is_report(const FrameCopy& frame)
{
    return frame.bytes[frame::command] == report_command && frame.status() == 0;
}

// What a reader says of itself.
struct ReaderInformation {
    static constexpr int frame_length = 18;

    u8 address;
    u8 version[2];
    u8 type;
    u8 protocols;
    u8 highest_frequency;
    u8 lowest_frequency;
    u8 power;      // dBm
    u8 scan_time;  // units of 100 ms
    u8 antennas;
    u8 beeper;
    u8 output_report;
    u8 antenna_check;
};

// False where the frame is no such answer, or not a whole one with status 0.
inline bool read_information(const FrameCopy& frame, ReaderInformation& out)
{
    const u8* at = frame.bytes;
    if (at[frame::command] != information_command || frame.length() != ReaderInformation::frame_length ||
        frame.status() != 0)
        return false;
    out = {at[1], {at[4], at[5]}, at[6], at[7], at[8], at[9], at[10], at[11], at[12], at[13], at[14], at[15]};
    return true;
}

}  // namespace tagwire::engine
