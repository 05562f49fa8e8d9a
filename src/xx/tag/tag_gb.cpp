// A GB or JB tag.
#include <algorithm>
#include <cstring>

#include "xx/tag/tag_inside.h"

namespace tagwire {
inline namespace v1 {
// The operations of one of the two families, which are alike.
struct FamilyGb {
    InventoryResult (*inventory)(ReaderInside&, const OtherTagsPlan&);
    decltype(&Operations::ReadData_GB) read;
    decltype(&Operations::WriteData_GB) write;
    decltype(&Operations::BlockErase_GB) erase;
    decltype(&Operations::Lock_GB) lock;
    decltype(&Operations::KillTag_GB) kill;
};

namespace {

using O = Operations;

constexpr Call find_gb_call = tag_question("find the tag", 0, engine::ResultFamily::tag_gb);
constexpr Call read_gb_call = tag_question("read memory", 0, engine::ResultFamily::tag_gb);
constexpr Call write_gb_call = tag_change("write memory", engine::ResultFamily::tag_gb);
constexpr Call erase_gb_call = tag_change("erase memory", engine::ResultFamily::tag_gb);
constexpr Call lock_gb_call = tag_change("lock", engine::ResultFamily::tag_gb);
constexpr Call kill_gb_call = tag_change("kill", engine::ResultFamily::tag_gb);

constexpr unsigned end_gb = 0x10000;

constexpr FamilyGb gb{inventory_gb,      &O::ReadData_GB, &O::WriteData_GB,
                      &O::BlockErase_GB, &O::Lock_GB,     &O::KillTag_GB};
constexpr FamilyGb jb{inventory_jb,      &O::ReadData_JB, &O::WriteData_JB,
                      &O::BlockErase_JB, &O::Lock_JB,     &O::KillTag_JB};

}  // namespace

class TagGbInside {
  public:
    TagGbInside(ReaderInside& reader, const FamilyGb& family, u8 algorithm, const TagId& id,
                Password password)
        : reader_(&reader), family_(&family), algorithm_(algorithm), id_(id), password_(std::move(password))
    {}

    static TagGb make(ReaderInside& reader, const FamilyGb& family, u8 algorithm,
                      const OtherTagsPlan::AreaMask& mask, const std::optional<TagId>& whole,
                      Password password);

    std::vector<SeenTag> find(const TagId& id) const;
    bool is_in_the_field() const { return !find(id_).empty(); }
    // Throws Error unless it answers.
    void require_in_the_field() const { only_one(*reader_, find(id_), id_.to_string()); }

    template <class Operation, class... Own, class... Out>
    void ask(const Call& call, Operation operation, const std::tuple<Own...>& own, Out... out)
    {
        ask_tag(*reader_, call, name_by(id_.bytes()), operation, own, out...);
        is_password_right_ = true;
    }

    ReaderInside* reader_;
    const FamilyGb* family_;
    u8 algorithm_;
    TagId id_;
    Password password_;
    bool is_password_right_ = false;
};

namespace {

OtherTagsPlan::AreaMask mask_of(const TagId& id)
{
    return {0x10, 0, Bytes(id.bytes().begin(), id.bytes().end())};
}

std::vector<SeenTag> find_gb(ReaderInside& reader, const FamilyGb& family, u8 algorithm,
                             const OtherTagsPlan::AreaMask& mask)
{
    OtherTagsPlan plan;
    plan.mask = mask;
    plan.algorithm = algorithm;
    const InventoryResult found = family.inventory(reader, plan);
    if (!found.complete || found.bad_records != 0)
        throw Error(
            Errc::refused, find_gb_call.name, reader.name(),
            "the inventory was not whole, so that it is not sure which tags answer: try again, with a "
            "longer scan time");
    return found.tags();
}

// A write to the coding area may change the ID.
class MemoryGb final : public TagMemory {
  public:
    enum class How { write, erase };

    MemoryGb(TagGbInside& tag, GbArea area, How how = How::write, unsigned most_words = 32)
        : tag_(tag), area_(static_cast<u8>(area)), how_(how), most_words_(most_words)
    {}

    Limits limits() const override
    {
        constexpr unsigned room = 251;  // behind the code of a command
        constexpr unsigned fixed = 9;   // counts, area, pointer and password
        return {.most_write =
                    std::min(most_words_, (room - fixed - static_cast<unsigned>(tag_.id_.size())) / 2)};
    }
    ReaderInside& reader() const override { return *tag_.reader_; }
    Bytes read(const MemoryRange& range) override { return read_with(tag_.password_, range); }
    void write(const MemoryRange& range, std::span<const u8> data) override
    {
        after_ = area_ == static_cast<u8>(GbArea::coding) ? id_after(range, data) : tag_.id_;
        if (how_ == How::erase || after_ != tag_.id_) tag_.require_in_the_field();
        if (after_ != tag_.id_ && !tag_.find(after_).empty())
            throw Error(Errc::exists_already, write_gb_call.name, reader().name(),
                        "another tag has the ID " + after_.to_string() + " already");
        if (area_ == static_cast<u8>(GbArea::security)) password_in_doubt_ = password_after(range, data);
        send(range, data);
        tag_.id_ = after_;
        if (password_in_doubt_) tag_.password_ = *std::exchange(password_in_doubt_, std::nullopt);
    }
    Bytes look(const MemoryRange& range) override
    {
        if (after_ != tag_.id_ && !tag_.find(after_).empty()) tag_.id_ = after_;
        if (password_in_doubt_) {  // tried once
            const Password after = *std::exchange(password_in_doubt_, std::nullopt);
            try {
                Bytes out = read_with(after, range);
                tag_.password_ = after;
                return out;
            } catch (const Error& error) {
                if (error.result() != wrong_password) throw;
            }
        }
        static const Password none;
        return read_with(tag_.is_password_right_ ? tag_.password_ : none, range);
    }

  private:
    Bytes read_with(const Password& password, const MemoryRange& range)
    {
        std::vector<u8> data(250);
        auto first = word_bytes(range.first);
        ask_tag(reader(), read_gb_call, name_by(tag_.id_.bytes()), tag_.family_->read,
                std::tuple(area_, first.data(), static_cast<u8>(range.count), in(password)), data.data());
        return taken(reader(), read_gb_call, data, std::size_t{range.count} * 2);
    }
    void send(const MemoryRange& range, std::span<const u8> data)
    {
        auto first = word_bytes(range.first);
        auto count = word_bytes(range.count);
        if (how_ == How::erase)
            return tag_.ask(erase_gb_call, tag_.family_->erase,
                            std::tuple(area_, first.data(), count.data(), in(tag_.password_)));
        NameOnWire name = name_by(tag_.id_.bytes());
        const u8 words =
            std::exchange(name.words, count[1]);  // the count of data stands in front of the name's
        ask_tag(reader(), write_gb_call, std::move(name), tag_.family_->write,
                std::tuple(words, area_, first.data(), in(data), in(tag_.password_)));
        tag_.is_password_right_ = true;
    }
    TagId id_after(const MemoryRange& range, std::span<const u8> data) const
    {
        Bytes id(tag_.id_.bytes().begin(), tag_.id_.bytes().end());
        for (std::size_t i = 0; i < data.size(); ++i)
            if (std::size_t{range.first} * 2 + i < id.size()) id[std::size_t{range.first} * 2 + i] = data[i];
        return TagId(std::span<const u8>(id));
    }

    Password password_after(const MemoryRange& range, std::span<const u8> data) const
    {
        constexpr std::size_t begin = 4;  // behind the kill password
        Bytes password(tag_.password_.bytes().begin(), tag_.password_.bytes().end());
        for (std::size_t i = 0; i < data.size(); ++i) {
            const std::size_t at = std::size_t{range.first} * 2 + i;
            if (at >= begin && at - begin < password.size()) password[at - begin] = data[i];
        }
        Password out{std::span<const u8>(password)};
        ::explicit_bzero(password.data(), password.size());
        return out;
    }

    TagGbInside& tag_;
    u8 area_;
    How how_;
    unsigned most_words_;
    TagId after_ = tag_.id_;
    std::optional<Password> password_in_doubt_;  // the one if the write that failed was done
};

void set_lock(TagGbInside& tag, GbArea area, u8 what, u8 value)
{
    tag.require_in_the_field();
    tag.ask(lock_gb_call, tag.family_->lock,
            std::tuple(static_cast<u8>(area), what, value, in(tag.password_)));
}

}  // namespace

TagGb TagGbInside::make(ReaderInside& reader, const FamilyGb& family, u8 algorithm,
                        const OtherTagsPlan::AreaMask& mask, const std::optional<TagId>& whole,
                        Password password)
{
    constexpr int most_words = 15;
    const ReaderInside::Turn turn(reader);
    auto tags = find_gb(reader, family, algorithm, mask);
    if (whole) std::erase_if(tags, [&](const SeenTag& tag) { return tag.id != whole; });
    const SeenTag tag = only_one(reader, tags, whole ? whole->to_string() : "the mask");
    checked(reader, find_gb_call, "the count of words of the tag's ID",
            static_cast<long long>(tag.id->size() / 2), 1, most_words);
    return TagGb(std::make_unique<TagGbInside>(reader, family, algorithm, *tag.id, std::move(password)));
}

std::vector<SeenTag> TagGbInside::find(const TagId& id) const
{
    auto tags = find_gb(*reader_, *family_, algorithm_, mask_of(id));
    std::erase_if(tags, [&](const SeenTag& tag) { return tag.id != id; });
    return tags;
}

TagGb Reader::tag_gb(const TagId& name, Password password)
{
    return TagGbInside::make(*inside_, gb, 0, mask_of(name), name, std::move(password));
}

TagGb Reader::tag_gb(const OtherTagsPlan::AreaMask& name, Password password)
{
    return TagGbInside::make(*inside_, gb, 0, name, {}, std::move(password));
}

TagGb Reader::tag_jb(const TagId& name, Password password, std::uint8_t algorithm)
{
    return TagGbInside::make(*inside_, jb, algorithm, mask_of(name), name, std::move(password));
}

TagGb Reader::tag_jb(const OtherTagsPlan::AreaMask& name, Password password, std::uint8_t algorithm)
{
    return TagGbInside::make(*inside_, jb, algorithm, name, {}, std::move(password));
}

TagGb::TagGb(std::unique_ptr<TagGbInside> inside) : inside_(std::move(inside)) {}
TagGb::TagGb(TagGb&& other) noexcept = default;
TagGb& TagGb::operator=(TagGb&& other) noexcept = default;
TagGb::~TagGb() = default;

const TagId& TagGb::id() const noexcept { return inside_->id_; }

Bytes TagGb::read(GbArea area, unsigned first, unsigned count)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    MemoryGb memory(*inside_, area);
    return read_pieces(memory, checked_range(memory.reader(), read_gb_call, first, count, end_gb));
}

Bytes TagGb::read(GbArea area)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    MemoryGb memory(*inside_, area);
    return read_all(memory);
}

void TagGb::write(GbArea area, unsigned first, std::span<const std::uint8_t> data,
                  const WriteOptions& options)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    const ReaderInside& reader = *inside_->reader_;
    if (options.block) refuse_value(reader, write_gb_call, "these tags have no block write");
    const int most =
        checked(reader, write_gb_call, "the count of words of one command", options.most_words, 1, 255);
    MemoryGb memory(*inside_, area, MemoryGb::How::write, static_cast<unsigned>(most));
    checked_range_of(reader, write_gb_call, first, data, memory.limits(), end_gb);
    write_pieces(memory, first, data);
}

void TagGb::erase(GbArea area, unsigned first, unsigned count)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    MemoryGb memory(*inside_, area, MemoryGb::How::erase, end_gb);
    const MemoryRange range = checked_range(memory.reader(), erase_gb_call, first, count, end_gb);
    write_pieces(memory, first, Bytes(std::size_t{range.count} * 2));
}

void TagGb::set_access(GbArea area, GbAccess access)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    checked(*inside_->reader_, lock_gb_call, "the access", static_cast<int>(access), 0, 3);
    set_lock(*inside_, area, 0, static_cast<u8>(access));
}

void TagGb::set_security(GbArea area, GbSecurity security)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    const ReaderInside& reader = *inside_->reader_;
    checked(reader, lock_gb_call, "the security", static_cast<int>(security), 1, 2);
    if (security == GbSecurity::password && inside_->password_.is_zero())
        refuse_value(reader, lock_gb_call, "a password of zeros keeps nobody out: set one first");
    set_lock(*inside_, area, 1, static_cast<u8>(security));
}

void TagGb::kill(const Password& kill_password)
{
    const ReaderInside::Turn turn(*inside_->reader_);
    ReaderInside& reader = *inside_->reader_;
    if (kill_password.is_zero())
        refuse_value(reader, kill_gb_call,
                     "a tag whose kill password is zero cannot be killed: set one first");
    inside_->require_in_the_field();
    try {
        ask_tag(reader, kill_gb_call, name_by(inside_->id_.bytes()), inside_->family_->kill,
                std::tuple(in(kill_password)));
    } catch (const Error& error) {
        require_seen_dead(error, [&] { return inside_->is_in_the_field(); });
    }
}

}  // namespace v1
}  // namespace tagwire
