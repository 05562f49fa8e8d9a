// One Gen2 tag: its memory, how it is protected, what it shows of it, and its flags.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "bytes.h"
#include "field/sensor_tags.h"
#include "radio/selection.h"
#include "scenario/scenario.h"

namespace tagwire::sim {

using Password = std::array<std::uint8_t, 4>;

inline constexpr std::size_t epc_start =
    4;  // bytes of the EPC bank before the EPC: checksum, protocol control

enum class TidHiding : std::uint8_t { none, serial, all };  // `serial` leaves the first two words

struct Untraceable {
    bool flag = false;
    bool hides_epc_end = false;  // the EPC bank behind the EPC
    TidHiding tid = TidHiding::none;
    bool hides_user = false;
    std::uint8_t range = 0;
};

// What commands have made of a tag, its memory aside.
struct TagState {
    std::array<Lock, lock_areas> locks{};
    std::vector<bool> locked_blocks;  // of the user bank
    bool killed = false;
    bool eas = false;
    bool read_protected = false;
    bool silent = false;  // protected mode
    bool asleep = false;  // the sensor's deep sleep
    bool short_range = false;
    bool public_profile = false;
    Untraceable untraceable;

    bool replies() const { return !silent && !asleep; }
    Lock lock(Area area) const { return locks[static_cast<std::size_t>(area)]; }
};

class Tag {
  public:
    // Whenever it shows another EPC than before, it sets `epc_changes`, which lives longer.
    explicit Tag(const TagSettings& settings, bool* epc_changes = nullptr);

    // The EPC, banks and passwords in the settings follow the tag's memory as it shows it.
    const TagSettings& settings() const { return settings_; }
    const Bytes& epc() const { return settings_.epc; }
    // Tells the chip from others; what is written to the tag does not change it.
    std::uint64_t chip() const { return chip_; }
    // What the tag shows of a bank. The EPC bank begins with its checksum and the protocol control word, the
    // EPC is at bit 32.
    const Bytes& bank(Bank bank) const { return shown_[static_cast<std::size_t>(bank)]; }
    // All of the bank, hidden or not.
    const Bytes& stored(Bank bank) const { return banks_[static_cast<std::size_t>(bank)]; }
    // Passwords take part in no mask, nor does memory behind the EPC.
    bool matches(const Mask& mask) const;

    // Within the bank. The checksum follows the EPC.
    void store(Bank bank, std::size_t byte, const Bytes& bytes);
    void set_epc_length(unsigned words);
    const TagState& state() const { return state_; }
    void set_state(const TagState& state);
    Password access_password() const { return settings_.access_password; }
    Password kill_password() const { return settings_.kill_password; }

    bool is_in_field(Time now) const;
    void leave(Time now) { settings_.departs = now; }
    bool has_left(Time now) const { return settings_.departs && now >= *settings_.departs; }
    bool is_present(Time now) const { return state_.replies() && is_in_field(now); }
    bool is_seen_by(unsigned antenna) const;

    // Null for a tag without one.
    Sensor* sensor() { return sensor_.get(); }
    const Sensor* sensor() const { return sensor_.get(); }

    // The tag has power at `now`: flags whose time has run out since it last had go back to A.
    void energise(Time now, const ReaderSettings& reader);
    void lose_power();  // and with it the flag of session 0
    bool is_in_b(unsigned session) const { return flags_[session].b; }
    void set_flag(unsigned session, bool b, Time now);
    bool is_selected() const { return selected_; }
    void obey(const Select& select, Time now);

  private:
    struct Flag {
        bool b = false;
        Time since{};
    };

    Bytes& shown(Bank bank) { return shown_[static_cast<std::size_t>(bank)]; }
    Bytes& memory(Bank bank) { return banks_[static_cast<std::size_t>(bank)]; }
    void show();
    void hide_passwords();
    void make_untraceable();
    void show_epc_only(const Bytes& epc);
    void copy_to_settings();

    TagSettings settings_;
    bool* epc_changes_;
    std::uint64_t chip_;
    TagState state_;
    std::array<Bytes, 4> banks_;
    std::array<Bytes, 4> shown_;
    std::array<Flag, 4> flags_{};
    bool selected_ = false;
    Time powered_at_{};
    std::unique_ptr<Sensor> sensor_;
};

}  // namespace tagwire::sim
