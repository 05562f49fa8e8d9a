// The tags of one reader's field: their memory, when they are there, and their inventoried flags.
#pragma once

#include <array>
#include <vector>

#include "bytes.h"
#include "scenario.h"

namespace tagwire::sim {

enum class Bank : std::uint8_t { reserved = 0, epc = 1, tid = 2, user = 3 };

// Bits of a tag's memory that a tag must hold to take part.
struct Mask {
    Bank bank = Bank::epc;
    std::uint32_t bit_address = 0;
    std::uint32_t bit_count = 0;
    Bytes bits;  // the first bit is the highest of the first byte
};

class Tag {
  public:
    explicit Tag(const TagSettings& settings);

    const TagSettings& settings() const { return settings_; }
    const Bytes& epc() const { return settings_.epc; }
    // The EPC bank begins with its checksum and the protocol control word, the EPC is at bit 32.
    const Bytes& bank(Bank bank) const { return banks_[static_cast<std::size_t>(bank)]; }
    bool matches(const Mask& mask) const;

    bool is_present(Time now) const;
    bool is_seen_by(unsigned antenna) const;

    // The tag has power at `now`: flags whose time has run out since it last had go back to A.
    void energise(Time now, const ReaderSettings& reader);
    void lose_power();  // and with it the flag of session 0
    bool is_in_b(unsigned session) const { return flags_[session].b; }
    void set_flag(unsigned session, bool b, Time now);

  private:
    struct Flag {
        bool b = false;
        Time since{};
    };

    TagSettings settings_;
    std::array<Bytes, 4> banks_;
    std::array<Flag, 4> flags_{};
    Time powered_at_{};
};

class Population {
  public:
    explicit Population(const Scenario& scenario);

    std::size_t size() const { return tags_.size(); }
    Tag& operator[](std::size_t index) { return tags_[index]; }
    const Tag& operator[](std::size_t index) const { return tags_[index]; }

    bool anyone_seen_by(const std::vector<unsigned>& antennas, Time now) const;
    void lose_power();

  private:
    std::vector<Tag> tags_;
};

}  // namespace tagwire::sim
