// The memory of one Gen2 tag.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "connection.h"
#include "tag_memory.h"
#include "word_commands.h"

namespace tagwire::tool {

class Gen2Memory : public TagMemory {
  public:
    Gen2Memory(const ReaderConnection& reader, WordPlace place) : reader_(reader), place_(std::move(place)) {}

    TransferLimits limits() const override { return place_.limits(); }
    TagResult read(const Run& run, Bytes& data) override;
    TagResult write(std::uint32_t first, std::span<const std::uint8_t> data) override;

  private:
    // What a write may have changed of how the tag is reached.
    struct Access {
        TagName name;
        Password password;
    };

    TagResult read_as(const Access& access, const Run& run, Bytes& data) const;

    const ReaderConnection& reader_;
    WordPlace place_;
    std::optional<Access> after_failure_;
};

}  // namespace tagwire::tool
