// Values with a meaning: antenna ports, power, and the terms of the air interface.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>

namespace tagwire {
inline namespace v1 {

// An antenna port, from 1. The port of a report that names none, or several, is unknown: 0, printed as "?".
class Port {
  public:
    constexpr Port() = default;
    constexpr explicit Port(int number) : number_(number) {}

    constexpr int number() const { return number_; }
    constexpr bool known() const { return number_ > 0; }

    friend constexpr auto operator<=>(Port, Port) = default;
    friend std::ostream& operator<<(std::ostream& out, Port port)
    {
        return port.known() ? out << port.number_ : out << '?';
    }

  private:
    int number_ = 0;
};

// Output power in whole dBm.
class Dbm {
  public:
    constexpr Dbm() = default;
    constexpr explicit Dbm(int value) : value_(value) {}

    constexpr int value() const { return value_; }

    friend constexpr auto operator<=>(Dbm, Dbm) = default;
    friend std::ostream& operator<<(std::ostream& out, Dbm power) { return out << power.value_ << " dBm"; }

  private:
    int value_ = 0;
};

// How an antenna byte of the reader is read: one bit a port, or the port's number, from 1.
enum class AntennaByte { mask, number };

enum class Session : std::uint8_t { s0 = 0, s1 = 1, s2 = 2, s3 = 3 };
enum class Target : std::uint8_t { a = 0, b = 1 };
enum class Bank : std::uint8_t { reserved = 0, epc = 1, tid = 2, user = 3 };

// Tags whose memory holds these bits there. `bit` counts from the start of the bank (the EPC itself begins at
// bit 32 of its bank); `bytes` holds the bits, first bit highest; `bits` is how many of them count, 0 for all.
struct Mask {
    Bank bank = Bank::epc;
    unsigned bit = 0;
    Bytes bytes = {};
    unsigned bits = 0;
};

// Places of memory that follow each other, counted from its start: words of 16 bits; bytes of a 6B tag and of
// a sensor tag's data memory.
struct MemoryRange {
    unsigned first = 0;
    unsigned count = 0;

    friend constexpr bool operator==(const MemoryRange&, const MemoryRange&) = default;
    // "7" or "2-7".
    friend std::ostream& operator<<(std::ostream& out, const MemoryRange& range)
    {
        out << range.first;
        return range.count > 1 ? out << '-' << range.first + range.count - 1 : out;
    }
};

// Memory words, 16 bits each, counted from the start of the bank.
struct Words {
    Bank bank = Bank::tid;
    unsigned first = 0;
    unsigned count = 0;
};

}  // namespace v1
}  // namespace tagwire
