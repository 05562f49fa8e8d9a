// Tags of air interfaces other than Gen2: ISO 18000-6B, GB and JB.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

#include "bytes.h"
#include "scenario/scenario.h"
#include "transport/wire.h"

namespace tagwire::sim {

// What a tag makes of an operation: the status of the answer and its data.
struct TagAnswer {
    std::uint8_t status = status::success;
    Bytes data{};
};

class Tag6b {
  public:
    static constexpr std::size_t id_size = 8;
    static constexpr std::size_t memory_size = 224;  // the ID is its beginning

    explicit Tag6b(const Tag6bSettings& settings);

    const TagPlace& place() const { return settings_; }
    Bytes id() const;
    const std::array<std::uint8_t, memory_size>& memory() const { return memory_; }
    bool is_locked(std::size_t address) const { return locked_[address]; }

    TagAnswer read(std::size_t address, std::size_t count) const;
    TagAnswer write(std::size_t address, const Bytes& bytes);  // all of them or none
    TagAnswer check_lock(std::size_t address) const;
    TagAnswer lock(std::size_t address);

  private:
    Tag6bSettings settings_;
    std::array<std::uint8_t, memory_size> memory_{};
    std::bitset<memory_size> locked_;
};

enum class GbArea : std::uint8_t { info = 0x00, coding = 0x10, security = 0x20, user = 0x30 };

std::optional<GbArea> gb_area(std::uint8_t number);

using GbPassword = std::array<std::uint8_t, 4>;

// Bits of an area that a tag must hold to take part.
struct GbMask {
    GbArea area = GbArea::coding;
    std::uint16_t bit_address = 0;
    std::uint8_t bit_count = 0;
    Bytes bits;
};

struct GbWords {
    GbArea area = GbArea::coding;
    std::uint16_t word_address = 0;
    std::uint16_t word_count = 0;
};

// A GB or JB tag. The coding area is the tag ID, the security area holds the kill and the access password.
class TagGb {
  public:
    explicit TagGb(const TagGbSettings& settings);

    const TagPlace& place() const { return settings_; }
    const Bytes& id() const { return content(GbArea::coding); }
    const Bytes& content(GbArea area) const { return areas_[index(area)].content; }
    bool is_killed() const { return killed_; }
    bool matches(const GbMask& mask) const;

    TagAnswer read(const GbWords& words, const GbPassword& password) const;
    TagAnswer write(const GbWords& words, const Bytes& bytes, const GbPassword& password);
    TagAnswer erase(const GbWords& words, const GbPassword& password);
    TagAnswer lock(GbArea area, std::uint8_t config, std::uint8_t action, const GbPassword& password);
    TagAnswer kill(const GbPassword& password);

  private:
    struct Area {
        Bytes content;
        std::uint8_t attribute = 0;
        bool needs_password = false;
    };

    static std::size_t index(GbArea area) { return static_cast<std::size_t>(area) >> 4U; }
    bool has_access(const GbPassword& password) const;
    GbPassword password_at(std::size_t offset) const;
    std::optional<TagAnswer> refusal(const GbWords& words, const GbPassword& password,
                                     std::uint8_t barrier) const;

    TagGbSettings settings_;
    std::array<Area, 4> areas_;
    bool killed_ = false;
};

// All of them that a reader has in its field.
struct OtherTags {
    explicit OtherTags(const Scenario& scenario);

    std::vector<Tag6b> iso_6b;
    std::vector<TagGb> gb;
    std::vector<TagGb> jb;
};

}  // namespace tagwire::sim
