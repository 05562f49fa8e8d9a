// The memory of a Gen2 tag.
#pragma once

#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {

inline constexpr unsigned length_shift = 3;  // of the EPC's words in the control word's first byte

inline constexpr Call read_call = tag_question("read memory");
inline constexpr Call write_call = tag_change("write memory");
inline constexpr Call erase_call = tag_change("erase memory");

// A write to it may change what the tag answers to: its EPC, and the password that opens it.
class Gen2Memory final : public TagMemory {
  public:
    enum class How { write, block_write, erase };

    Gen2Memory(TagInside& tag, Bank bank, How how = How::write, unsigned most_words = 32)
        : tag_(tag), bank_(bank), how_(how), most_words_(most_words)
    {}

    Limits limits() const override;
    ReaderInside& reader() const override { return *tag_.reader_; }
    Bytes read(const MemoryRange& range) override { return read_with(tag_.password_, range); }
    // Behind prepare().
    void write(const MemoryRange& range, std::span<const u8> data) override;
    Bytes look(const MemoryRange& range) override;

    // Reads what the tag's name or password is made of, where the write changes it. Throws Error, for a new
    // name also where another tag answers to the old one.
    void prepare(const MemoryRange& range, std::span<const u8> data);
    // With the own password; behind it that is known to be right.
    Bytes read_with(const Password& password, const MemoryRange& range);

  private:
    void refuse_name(const Epc& epc) const;
    void send(const MemoryRange& range, std::span<const u8> data);
    Bytes image_with(const MemoryRange& range, std::span<const u8> data) const;
    void accept(Bytes image);
    void find_again();
    void find_renamed(const Epc& after);
    void find_password(const Password& after);

    TagInside& tag_;
    Bank bank_;
    How how_;
    unsigned most_words_;
    // Of the EPC bank from the protocol control word on, of the reserved bank the access password; empty where
    // a write does not touch them.
    Bytes image_;
    unsigned image_first_ = 0;
    std::optional<Bytes> in_doubt_;  // the image if the write that failed was done
};

}  // namespace v1
}  // namespace tagwire
