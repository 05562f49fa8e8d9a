// A Gen2 tag: its memory, its locks, its end.
#include "xx/tag/gen2_memory.h"

namespace tagwire {
inline namespace v1 {
namespace {

using O = Operations;

constexpr Call write_epc_call = tag_change("write the EPC");
constexpr Call lock_call = tag_change("lock");
constexpr Call kill_call = tag_change("kill");

constexpr unsigned end_of_memory = 0x10000;
constexpr unsigned end_of_short_pointer = 0x100;

// What Lock_G2 takes.
enum class LockCode : u8 { open, open_forever, password, forever };

void checked_bank(const ReaderInside& reader, const Call& call, Bank bank)
{
    checked(reader, call, "the bank", static_cast<int>(bank), 0, 3);
}

// What is done before a write.
template <class Act> void begin_write(const MemoryRange& range, Act act)
{
    try {
        act();
    } catch (const Error& error) {
        throw told_unwritten(error, range);
    }
}

void write_words(Gen2Memory& memory, const MemoryRange& range, std::span<const u8> data)
{
    begin_write(range, [&] { memory.prepare(range, data); });
    write_pieces(memory, range.first, data);
}

void check_area(const TagInside& tag, Area area)
{
    checked(*tag.reader_, lock_call, "the area", static_cast<int>(area), 0, 4);
}

void send_lock(TagInside& tag, Area area, LockCode code)
{
    tag.ask(lock_call, &O::Lock_G2,
            std::tuple(static_cast<u8>(area), static_cast<u8>(code), in(tag.password_)));
}

// Passwords that are locked for good cannot be read with the access password either. Empty where it cannot be
// seen.
std::optional<bool> is_unreadable(TagInside& tag, Area area)
{
    if (area != Area::kill_password && area != Area::access_password) return std::nullopt;
    Gen2Memory memory(tag, Bank::reserved);
    try {
        memory.read({area == Area::kill_password ? 0U : 2U, 2});
    } catch (const Error& error) {
        if (error.code() != Errc::tag_refused) throw;
        return error.tag_error() == memory_locked ? std::optional(true) : std::nullopt;
    }
    return false;
}

}  // namespace

Tag::Tag(std::shared_ptr<TagInside> inside) : inside_(std::move(inside)) {}
Tag::Tag(Tag&& other) noexcept = default;
Tag& Tag::operator=(Tag&& other) noexcept = default;
Tag::~Tag() = default;

const Epc& Tag::epc() const noexcept { return inside_->epc_; }

const std::optional<Tid>& Tag::tid() const noexcept { return inside_->tid_; }

// -- memory

Bytes Tag::read(Bank bank, unsigned first, unsigned count)
{
    const auto turn = inside_->begin();
    checked_bank(*inside_->reader_, read_call, bank);
    const MemoryRange range = checked_range(*inside_->reader_, read_call, first, count, end_of_memory);
    Gen2Memory memory(*inside_, bank);
    return read_pieces(memory, range);
}

Bytes Tag::read(Bank bank)
{
    const auto turn = inside_->begin();
    checked_bank(*inside_->reader_, read_call, bank);
    Gen2Memory memory(*inside_, bank);
    return read_all(memory);
}

void Tag::write(Bank bank, unsigned first, std::span<const std::uint8_t> data, const WriteOptions& options)
{
    const auto turn = inside_->begin();
    const ReaderInside& reader = *inside_->reader_;
    checked_bank(reader, write_call, bank);
    const auto most = static_cast<unsigned>(
        checked(reader, write_call, "the count of words of one command", options.most_words, 1, 255));
    Gen2Memory memory(*inside_, bank, options.block ? Gen2Memory::How::block_write : Gen2Memory::How::write,
                      most);
    write_words(memory, checked_range_of(reader, write_call, first, data, memory.limits(), end_of_memory),
                data);
}

void Tag::erase(Bank bank, unsigned first, unsigned count)
{
    const auto turn = inside_->begin();
    checked_bank(*inside_->reader_, erase_call, bank);
    const MemoryRange range =
        checked_range(*inside_->reader_, erase_call, first, count, end_of_short_pointer);
    Gen2Memory memory(*inside_, bank, Gen2Memory::How::erase, end_of_short_pointer - 1);
    write_words(memory, range, Bytes(std::size_t{range.count} * 2));
}

void Tag::write_epc(const Epc& epc)
{
    constexpr unsigned longest = 31;
    const auto turn = inside_->begin();
    ReaderInside& reader = *inside_->reader_;
    if (epc.size() % 2 != 0) refuse_value(reader, write_epc_call, "an EPC has whole words of 2 bytes");
    const int words = checked(reader, write_epc_call, "the count of words of an EPC",
                              static_cast<long long>(epc.size() / 2), 1, longest);
    const MemoryRange range{1, static_cast<unsigned>(words + 1)};
    Gen2Memory memory(*inside_, Bank::epc, Gen2Memory::How::write, longest + 1);
    Bytes data;
    begin_write(range, [&] {
        if (epc == inside_->epc_) return inside_->require_in_the_field();
        data = memory.read_with(inside_->proven_password(), {1, 1});
    });
    if (data.empty()) return;
    data[0] = static_cast<u8>(words << length_shift | (data[0] & 0x07));
    data.insert(data.end(), epc.bytes().begin(), epc.bytes().end());
    write_words(memory, range, data);
}

void Tag::set_access_password(const Password& password) { write(Bank::reserved, 2, password.bytes()); }

void Tag::set_kill_password(const Password& password) { write(Bank::reserved, 0, password.bytes()); }

// -- locks

void Tag::lock(Area area, Protection protection, const LockOptions& options)
{
    const auto turn = inside_->begin();
    check_area(*inside_, area);
    const bool by_password = protection == Protection::password;
    if (by_password && inside_->password_.is_zero() && !options.without_password)
        refuse_value(*inside_->reader_, lock_call,
                     "a lock by a password keeps nobody out while the tag's access password is zero: set one "
                     "first, and name the tag with it");
    send_lock(*inside_, area, by_password ? LockCode::password : LockCode::open);
}

void Tag::lock_forever(Area area)
{
    const auto turn = inside_->begin();
    check_area(*inside_, area);
    const auto before = is_unreadable(*inside_, area);  // shows that the password is right, too
    inside_->require_in_the_field();
    try {
        send_lock(*inside_, area, LockCode::forever);
    } catch (const Error& error) {
        if (before != false || error.outcome() != Outcome::unknown) throw;
        const auto after = look_until_told([&] { return is_unreadable(*inside_, area); });
        if (!after || !*after) throw;
        if (!**after) throw told_again(error, "; looked at, it was not done", Outcome::nothing);
    }
}

void Tag::open_forever(Area area)
{
    const auto turn = inside_->begin();
    check_area(*inside_, area);
    inside_->require_in_the_field();
    send_lock(*inside_, area, LockCode::open_forever);
}

void Tag::lock_block_forever(unsigned word)
{
    const auto turn = inside_->begin();
    checked(*inside_->reader_, lock_call, "the word", word, 0, 255);
    inside_->require_in_the_field();
    inside_->ask(lock_call, &O::BlockLock_G2, std::tuple(in(inside_->password_), static_cast<u8>(word)));
}

// -- the end

void Tag::kill(const Password& kill_password)
{
    const auto turn = inside_->begin();
    ReaderInside& reader = *inside_->reader_;
    if (kill_password.is_zero())
        refuse_value(reader, kill_call, "a tag whose kill password is zero cannot be killed: set one first");
    inside_->require_in_the_field();
    try {
        ask_tag(reader, kill_call, inside_->name(), &O::KillTag_G2, std::tuple(in(kill_password)));
    } catch (const Error& error) {
        require_seen_dead(error, [&] { return inside_->is_in_the_field(); });
    }
    inside_->hidden_by_ = "it was killed";
}

}  // namespace v1
}  // namespace tagwire
