// An ISO 18000-6B tag.
#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call find_6b_call = tag_question("find the tag", 0, engine::ResultFamily::tag_6b);
constexpr Call read_6b_call = tag_question("read memory", 0, engine::ResultFamily::tag_6b);
constexpr Call write_6b_call = tag_change("write memory", engine::ResultFamily::tag_6b);
constexpr Call lock_6b_call = tag_change("lock", engine::ResultFamily::tag_6b);
constexpr Call check_6b_call = tag_question("ask for a lock", 1, engine::ResultFamily::tag_6b);

constexpr unsigned end_6b = 256;
constexpr unsigned id_bytes = 8;

template <class Operation, class... More>
void ask_6b(ReaderInside& reader, const Call& call, const TagId& id, Operation operation, unsigned first,
            More... more)
{
    const ReaderInside::Turn turn(reader);
    int error = -1;
    const int result = reader.run(call, operation, in(id.bytes()), static_cast<u8>(first), more..., &error);
    if (result != 0) fail_at_tag(reader, call, result, error);
    reader.require(call, reader.came());
}

class Memory6b final : public TagMemory {
  public:
    Memory6b(ReaderInside& reader, const TagId& id, unsigned most_bytes = 1)
        : reader_(reader), id_(id), most_bytes_(most_bytes)
    {}

    Limits limits() const override { return {.unit = 1, .most_read = 250, .most_write = most_bytes_}; }
    ReaderInside& reader() const override { return reader_; }
    Bytes read(const MemoryRange& range) override
    {
        std::vector<u8> data(range.count);
        ask_6b(reader_, read_6b_call, id_, &O::ReadData_6B, range.first, static_cast<u8>(range.count),
               data.data());
        return taken(reader_, read_6b_call, data, range.count);
    }
    void write(const MemoryRange& range, std::span<const u8> data) override
    {
        u8 count = 0;
        ask_6b(reader_, write_6b_call, id_, &O::WriteData_6B, range.first, in(data),
               static_cast<u8>(data.size()), &count);
    }
    Bytes look(const MemoryRange& range) override { return read(range); }

  private:
    ReaderInside& reader_;
    const TagId& id_;
    unsigned most_bytes_;
};

}  // namespace

Tag6b Reader::tag_6b(const TagId& name)
{
    const Inside::Turn turn(*inside_);
    if (name.size() != id_bytes) refuse_value(*inside_, find_6b_call, "the ID of a 6B tag has 8 bytes");
    Condition6b condition;
    condition.content.assign(name.bytes().begin(), name.bytes().end());
    auto tags = inventory_6b(condition).tags();
    std::erase_if(tags, [&](const SeenTag& tag) { return tag.id != name; });
    only_one(*inside_, tags, name.to_string());
    return {*inside_, name};
}

Bytes Tag6b::read(unsigned first, unsigned count)
{
    const ReaderInside::Turn turn(*reader_);
    Memory6b memory(*reader_, id_);
    return read_pieces(memory, checked_range(*reader_, read_6b_call, first, count, end_6b));
}

void Tag6b::write(unsigned first, std::span<const std::uint8_t> data, unsigned most_bytes)
{
    const ReaderInside::Turn turn(*reader_);
    checked_range(*reader_, write_6b_call, first, data.size(), end_6b);
    checked(*reader_, write_6b_call, "the first byte, behind the ID,", first, id_bytes, end_6b - 1);
    checked(*reader_, write_6b_call, "the count of bytes of one command", most_bytes, 1, 242);
    Memory6b memory(*reader_, id_, most_bytes);
    write_pieces(memory, first, data);
}

bool Tag6b::is_locked(unsigned byte)
{
    const ReaderInside::Turn turn(*reader_);
    checked(*reader_, check_6b_call, "the byte", byte, 0, end_6b - 1);
    u8 state = 0;
    ask_6b(*reader_, check_6b_call, id_, &O::CheckLock_6B, byte, &state);
    return state != 0;
}

void Tag6b::lock_forever(unsigned byte)
{
    const ReaderInside::Turn turn(*reader_);
    checked(*reader_, lock_6b_call, "the byte", byte, 0, end_6b - 1);
    try {
        ask_6b(*reader_, lock_6b_call, id_, &O::Lock_6B, byte);
    } catch (const Error& error) {
        if (!may_have_been_done(error)) throw;
        const auto locked = look_until_told([&] { return is_locked(byte); });
        if (!locked) throw told_again(error, "; whether it was done could not be seen", Outcome::unknown);
        if (!*locked) throw told_again(error, "; the byte is not locked", Outcome::nothing);
    }
}

}  // namespace v1
}  // namespace tagwire
