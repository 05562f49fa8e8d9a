// Byte strings and time, as the whole simulator uses them.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tagwire::sim {

using Bytes = std::vector<std::uint8_t>;

// What tags count their memory in.
inline constexpr std::size_t word_size = 2;

// A point in the simulator's time, counted from its start, or a span of it.
using Time = std::chrono::nanoseconds;

// Names one connection of a simulator; 0 names none.
using ConnectionId = std::uint64_t;

std::string to_hex(const Bytes& bytes, std::string_view separator = "");

// Digits may be grouped by spaces. Throws std::invalid_argument with a text that says what is wrong.
Bytes from_hex(std::string_view text);

void append(Bytes& bytes, const Bytes& more);

// In so many bytes, high byte first.
void append_number(Bytes& bytes, std::uint64_t number, unsigned size);

// Whether `memory` holds the first `bit_count` of `bits` from that bit on; bit 0 is the highest of the first
// byte. No bits are always there.
bool holds_bits(const Bytes& memory, std::size_t bit_address, std::size_t bit_count, const Bytes& bits);

// The time that `seconds` stands for, kept within what a Time can hold.
Time seconds_to_time(double seconds);

}  // namespace tagwire::sim
