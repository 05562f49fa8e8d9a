// One tag: read, written, locked, killed.
//
//     auto tag = reader.tag(tagwire::Epc("E28011606000020900000003"), tagwire::Password("11223344"));
//     tag.write(tagwire::Bank::user, 0, tagwire::from_hex("CAFE0001"));
//
// Reader::tag() finds out which tag is meant before anything is done to it: where none answers, or more than
// one, it throws Error (Errc::no_tag, Errc::several_tags) with those that did in answered(). Two tags of one
// EPC are told apart by their TIDs. Where the reader does not read these, two of one EPC are seen as one, and so
// are GB or JB tags of one ID: have one only in the field then. From then on the one tag is named to the reader
// by its whole EPC, or by its TID where others have its EPC or may have it; when a write changes its EPC it is
// named by the new one. An EPC that begins with another one is another name: readers compare as many words as
// the name has, and the count of them.
//
// What cannot be taken back, what hides a tag, and giving a new EPC is done only where just before no other tag
// answers to that name.
//
// Tags are of their Reader, as long as that lives. One thread at a time calls a Tag; several may have Tags of
// one Reader, whose calls take turns, and Reader::abort() ends the one in progress. Of a call several commands
// may go out; others do not come between. A wrong password goes out once per call.
//
// What was not done whole throws Error. Its outcome() is Outcome::unknown where an answer was lost and looking
// at the tag did not tell what was done.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include <tagwirexx/api.hpp>
#include <tagwirexx/bytes.hpp>
#include <tagwirexx/identifier.hpp>
#include <tagwirexx/password.hpp>
#include <tagwirexx/units.hpp>

namespace tagwire {
inline namespace v1 {

class ReaderInside;
class SensorTag;
class TagInside;
class TagGbInside;

// What is locked one by one.
enum class Area : std::uint8_t { kill_password, access_password, epc, tid, user };

// Who may write an area (of the passwords: and read it).
enum class Protection : std::uint8_t { open, password };

struct LockOptions {
    // Protection::password keeps nobody out while the tag's access password is zero, and is refused then.
    bool without_password = false;
};

struct WriteOptions {
    bool block = false;        // by the tag's block write, which not every tag has
    unsigned most_words = 32;  // of one command, 1 to 255; never more than fit it
};

// What a tag hides from those without its password. All of it is set at once: what is left out is shown again.
struct Untraceable {
    bool flag = false;  // the tag's U indicator
    std::optional<unsigned> epc_words =
        {};  // 0 to 31 words of the EPC are shown; empty: as many as it shows now
    enum class Tid : std::uint8_t { show, hide_serial, hide };
    Tid tid = Tid::show;
    bool hide_user = false;
    enum class Range : std::uint8_t { normal, toggle, reduced };
    Range range = Range::normal;

    friend bool operator==(const Untraceable&, const Untraceable&) = default;
};

struct AuthenticateMessage {
    std::uint8_t suite = 0;    // cryptographic suite
    Bytes message = {};        // up to 6 bytes
    std::uint8_t length = 0;   // of the message as the tag is told; the unit is a matter of tag and reader
    bool store = false;        // the tag stores its reply instead of sending it
    bool with_length = false;  // the reply contains its length
};

enum class LedChip : std::uint8_t { fd, yl, klw, bx };

// What a chip does not have is refused where it is given.
struct Led {
    LedChip chip = LedChip::fd;
    std::optional<int> mode = {};  // fd and yl: 1 to 255 in the tag's coding; 1 when empty
    // yl, klw and bx: how long the reader feeds the tag, 0 to 255 in the reader's unit; the reader's own
    // carrier time when 0 or empty.
    std::optional<int> time = {};
};

class TAGWIREXX_API Tag final {
  public:
    // One that was moved from can be assigned to and destroyed, nothing else.
    Tag(Tag&& other) noexcept;
    Tag& operator=(Tag&& other) noexcept;
    ~Tag();

    // That it answers to now.
    const Epc& epc() const noexcept;
    // Its first 6 words, 4 where it has no more, or what it was named by; empty where they could not be read.
    const std::optional<Tid>& tid() const noexcept;

    // Words 0 to 65535. A whole bank ends where the tag says that it has no such memory.
    Bytes read(Bank bank, unsigned first, unsigned count);
    Bytes read(Bank bank);

    // Whole words, in pieces; then read back and compared. Where a piece fails the tag is looked at, and Error
    // tells which words hold the new data.
    void write(Bank bank, unsigned first, std::span<const std::uint8_t> data,
               const WriteOptions& options = {});
    // Words 0 to 255 become zero.
    void erase(Bank bank, unsigned first, unsigned count);
    // 1 to 31 words. The length in the protocol control word follows, its other bits stay. One that a tag in
    // the field has already is refused (Errc::exists_already).
    void write_epc(const Epc& epc);
    void set_access_password(const Password& password);
    void set_kill_password(const Password& password);

    // Locking again what is locked so does no harm.
    void lock(Area area, Protection protection, const LockOptions& options = {});
    // Nobody can write it any more (nor read it, of the passwords), with no password; for good.
    void lock_forever(Area area);
    // Nobody can lock it any more; for good.
    void open_forever(Area area);
    // The block of the user bank that holds the word, 0 to 255; for good.
    void lock_block_forever(unsigned word);
    // For good. Where the reader's answer is lost it counts as done when the tag, which answered before, does
    // not answer any more.
    void kill(const Password& kill_password);

    void set_eas(bool on);
    // The low byte of the QT control word, in the tag's coding.
    std::uint8_t qt();
    Bytes authenticate(const AuthenticateMessage& message);
    void light_led(const Led& led);
    // Of the chips fd and yl; the others end by themselves.
    void switch_led_off(LedChip chip);

    // What it measures, see tagwirexx/sensors.hpp.
    SensorTag sensor() const;

    // The tag may show another EPC or TID behind these, or none: it has to be found anew by Reader::tag().
    // Any other call on this Tag is a std::logic_error then.
    void set_qt(std::uint8_t control);
    // Only Reader::end_privacy() reaches it then.
    void set_privacy();
    // Gives what was sent, with the count of EPC words.
    Untraceable make_untraceable(const Untraceable& what);
    // Only Reader::end_silence() reaches it then. Needs an access password.
    void silence();

  private:
    friend class TagInside;
    explicit Tag(std::shared_ptr<TagInside> inside);

    std::shared_ptr<TagInside> inside_;  // with its SensorTags
};

// Memory of GB and JB tags; user areas go on at 0x31. Of the security area the first two words are taken for the
// kill password and the next two for the access password, which a TagGb goes on with when it writes them.
enum class GbArea : std::uint8_t { information = 0x00, coding = 0x10, security = 0x20, user = 0x30 };
enum class GbAccess : std::uint8_t { read_write, read_only, write_only, none };
enum class GbSecurity : std::uint8_t { open = 1, password = 2 };

// A GB or JB tag, named by its ID. As a Tag, as far as it has the same. What changes more than memory, and what
// erases or gives a new ID, is done only where a tag of its whole ID answered just before. Whether that was one tag or
// two of one ID cannot be seen.
class TAGWIREXX_API TagGb final {
  public:
    TagGb(TagGb&& other) noexcept;
    TagGb& operator=(TagGb&& other) noexcept;
    ~TagGb();

    const TagId& id() const noexcept;
    Bytes read(GbArea area, unsigned first, unsigned count);
    Bytes read(GbArea area);
    // WriteOptions::block is refused.
    void write(GbArea area, unsigned first, std::span<const std::uint8_t> data,
               const WriteOptions& options = {});
    void erase(GbArea area, unsigned first, unsigned count);
    void set_access(GbArea area, GbAccess access);
    void set_security(GbArea area, GbSecurity security);
    void kill(const Password& kill_password);

  private:
    friend class TagGbInside;
    explicit TagGb(std::unique_ptr<TagGbInside> inside);

    std::unique_ptr<TagGbInside> inside_;
};

// An ISO 18000-6B tag, named by its ID of 8 bytes, which are the first of its memory. Addresses are of bytes,
// and so are the ranges of an Error.
class TAGWIREXX_API Tag6b final {
  public:
    const TagId& id() const noexcept { return id_; }
    Bytes read(unsigned first, unsigned count);
    // From byte 8 on; 1 to 242 bytes a command, of which many may take the reader longer than it is waited for.
    void write(unsigned first, std::span<const std::uint8_t> data, unsigned most_bytes = 32);
    bool is_locked(unsigned byte);
    void lock_forever(unsigned byte);

  private:
    friend class Reader;
    Tag6b(ReaderInside& reader, const TagId& id) : reader_(&reader), id_(id) {}

    ReaderInside* reader_;
    TagId id_;
};

}  // namespace v1
}  // namespace tagwire
