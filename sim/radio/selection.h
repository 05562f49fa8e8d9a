// The select filter of a reader: the Select commands that it sends, antenna by antenna, before every
// inventory and every access to a tag.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "bytes.h"

namespace tagwire::sim {

enum class Bank : std::uint8_t { reserved = 0, epc = 1, tid = 2, user = 3 };

// Bits of a tag's memory that a tag must hold to take part.
struct Mask {
    Bank bank = Bank::epc;
    std::uint32_t bit_address = 0;
    std::uint32_t bit_count = 0;
    Bytes bits;  // the first bit is the highest of the first byte
};

// What happens to a tag's flag: `raise` asserts SL or sets an inventoried flag to A.
enum class FlagChange { keep, raise, clear, negate };

struct Select {
    static constexpr unsigned sl_target = 4;
    static constexpr unsigned last_action = 7;

    unsigned target = 0;  // the session whose flag changes, or sl_target
    unsigned action = 0;
    Mask mask;
    bool truncate = false;

    FlagChange change(bool matches) const;
    // Whether it leaves no tag's flag as it was.
    bool decides_all() const { return action == 0 || action == 4; }
};

class Selection {
  public:
    // A command that decides the flag of all tags takes the place of those before it for the same target,
    // others add to them. False when an antenna has too many; then nothing is added.
    bool add(const std::vector<unsigned>& antennas, const Select& select);
    void clear(const std::vector<unsigned>& antennas);

    const std::vector<Select>& at(unsigned antenna) const;
    // Whether only tags with the SL flag take part.
    bool asks_for_sl(unsigned antenna) const;
    // The session that the last command for a session named.
    std::optional<unsigned> session(unsigned antenna) const;

  private:
    std::map<unsigned, std::vector<Select>> selects_;
};

}  // namespace tagwire::sim
