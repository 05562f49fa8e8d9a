// What a reader does to one tag that it has singled out, within the tag's protection.
#pragma once

#include <functional>
#include <optional>

#include "field/other_tags.h"
#include "field/population.h"

namespace tagwire::sim {

class Device;

// The tag's own error codes.
enum class TagError : std::uint8_t {
    other = 0x00,
    privileges = 0x02,
    no_such_memory = 0x03,
    locked = 0x04,
    power = 0x0B,
};

inline TagAnswer tag_refuses(TagError error)
{
    return {status::tag_error, {static_cast<std::uint8_t>(error)}};
}

struct Words {
    Bank bank = Bank::epc;
    std::size_t first = 0;
    std::size_t count = 0;
};

// How a tag is named: by its EPC, by a mask, or not at all.
struct TagChoice {
    Bytes epc;  // empty: any
    std::optional<Mask> mask;

    bool fits(const Tag& tag) const;
};

// A tag, and the antenna through which it was found.
struct FoundTag {
    Tag& tag;
    unsigned port;
};

// A tag opened with a password. Zeros open it too, but give no rights unless its own password is zero.
class TagAccess {
  public:
    // Nothing when the password is neither zero nor the tag's.
    static std::optional<TagAccess> open(const FoundTag& found, const Password& password, unsigned power_dbm);

    const Tag& tag() const { return tag_; }
    unsigned port() const { return port_; }  // through which it is accessed
    Sensor* sensor() const { return tag_.sensor(); }

    TagAnswer read(const Words& words) const;
    TagAnswer write(Bank bank, std::size_t first, const Bytes& data);
    TagAnswer erase(const Words& words);
    TagAnswer write_epc(const Bytes& epc);
    TagAnswer lock(Area area, Lock lock);
    TagAnswer lock_block(std::size_t word);
    TagAnswer hide(const Untraceable& untraceable, unsigned epc_words);
    // Changes what needs the password.
    TagAnswer change(const TagState& state);
    bool is_secured() const { return rights_ != Rights::none; }
    bool can_write() const { return can_write_; }  // as to the reader's power

  private:
    enum class Rights {
        none,
        secured,
        proven,  // by a password that is not zero: nothing is hidden
    };

    TagAccess(const FoundTag& found, Rights rights, bool can_write)
        : tag_(found.tag), port_(found.port), rights_(rights), can_write_(can_write)
    {}

    const Bytes& visible(Bank bank) const;
    bool holds(const Words& words) const;
    bool is_open(Area area) const;
    bool may_use(const Words& words) const;
    bool is_block_locked(const Words& words) const;
    std::size_t block_of(std::size_t word) const { return word / tag_.settings().block_words; }

    Tag& tag_;
    unsigned port_;
    Rights rights_;
    bool can_write_;
};

TagAnswer kill(Tag& tag, const Password& password, unsigned power_dbm);

// A tag that fits, that is heard through an enabled antenna and that the select filter lets through: of several the one
// that `Device::choose` tells.
std::optional<FoundTag> find_tag(Device& device, Time now, const std::function<bool(const Tag&)>& fits);

}  // namespace tagwire::sim
