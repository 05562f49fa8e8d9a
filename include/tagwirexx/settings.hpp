// Everything that can be set on a reader, by name.
//
//     reader.settings().set("power", "27");
//     good.settings().snapshot().save("portal.toml");
//     const auto report = other.settings().apply(tagwire::Profile::load("portal.toml"));
//
// Names and values are texts as people write them, with the units that describe() names. Text that is none is
// Errc::invalid_text, with what may be given, and nothing is sent. What the typed views (Radio, Lines...) have
// too has the same range there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/error.hpp>
#include <tagwirexx/profile.hpp>
#include <tagwirexx/radio.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

// Readers that give some commands different meanings.
enum class ReaderFamily : std::uint8_t { standard, filter, relay, multiplexer, mobile };
TAGWIREXX_API std::string_view to_string(ReaderFamily family) noexcept;

struct SettingsOptions {
    // Left out, the reader is asked. It tells filter and mobile; what means different things to the others is
    // an Error then, and not sent: of most readers, which are standard, temperature and reader-password.
    std::optional<ReaderFamily> family = {};
    // The reader's two-way commands set a value with bit 7 and tell it without. Other readers take the question
    // for a new value: what is told so cannot be read from them.
    bool two_way = false;
    // How far a reading of many settings is: on the thread of the call, before each and behind the last of them.
    // What it throws ends the call; nothing was changed then.
    std::function<void(std::size_t done, std::size_t all)> told = {};
};

enum class SettingKind : std::uint8_t {
    ordinary,
    identity,     // what makes a reader this one, and how it is reached
    secret,       // passwords
    calibration,  // of this unit's electronics: never applied from a profile
    state,        // measured, or given by the maker: shown only
};

struct SettingInfo {
    std::string name = {};
    std::string_view topic = {};
    std::string_view help = {};
    std::string_view unit = {};  // of a number
    std::string range = {};      // what may be given, for people
    SettingKind kind = SettingKind::ordinary;
    bool is_number = false;  // as a rule: some have words besides
    bool readable = false;   // by some readers of the family
    bool writable = false;
    bool until_restart = false;  // can be set so
};

// A setting in which reader and profile differ. Printed as "NAME: BEFORE -> WANTED", passwords as asterisks.
struct Change {
    std::string name = {};
    std::optional<std::string> before = {};  // empty: cannot be read
    std::string wanted = {};
    std::string_view unit = {};
    bool is_secret = false;

    TAGWIREXX_API ~Change();  // wipes the two
    friend TAGWIREXX_API std::ostream& operator<<(std::ostream& out, const Change& change);
};

struct Comparison {
    std::vector<Change> changes = {};
    std::vector<SettingNote> refused = {};  // the reader does not have them
    std::vector<SettingNote> silent = {};   // of these nothing is known
    std::vector<SettingNote> skipped = {};  // identity, secrets, calibration; another type or firmware

    // Whether it is the same.
    bool same() const { return changes.empty() && refused.empty() && silent.empty(); }
    bool empty() const { return changes.empty(); }
    std::size_t size() const { return changes.size(); }
    auto begin() const { return changes.begin(); }
    auto end() const { return changes.end(); }
};

struct FailedSetting {
    std::string name = {};
    std::string text = {};  // why, and what the reader has
    Outcome outcome = Outcome::nothing;

    friend std::ostream& operator<<(std::ostream& out, const FailedSetting& failure)
    {
        return out << failure.name << ": " << failure.text;
    }
};

struct ApplyReport {
    std::vector<Change> changed = {};  // written and read back; what cannot be read back was acknowledged
    std::vector<FailedSetting> failed = {};
    std::vector<std::string> same = {};
    std::vector<SettingNote> skipped = {};  // left alone, and why

    bool ok() const { return failed.empty(); }
};

// One of many that were read.
struct SettingReading {
    std::string name = {};
    std::optional<std::string> text = {};
    std::string problem = {};  // without a text: why
    bool is_silent = false;    // nothing came; otherwise the reader does not have it

    TAGWIREXX_API ~SettingReading();  // wipes the text
};

struct SnapshotOptions {
    bool secrets = false;
};

struct ApplyOptions {
    bool identity = false;
    bool secrets = false;
    // Takes a profile of another type of reader or another firmware; what this one does not have is skipped.
    bool other_model = false;
    // With until_restart: what can be set so is, the rest is stored.
    Lasting lasting = Lasting::stored;
};

// Of its Reader, as long as that lives; as a Reader for threads and errors. Calls of others wait until one of
// these is done.
class TAGWIREXX_API Settings {
  public:
    // Nothing is sent by these, which a program without a Reader may ask, too.
    std::vector<std::string> names() const { return names(options_); }
    SettingInfo describe(std::string_view name) const { return describe(name, options_); }
    static std::vector<std::string> names(const SettingsOptions& options);
    static SettingInfo describe(std::string_view name, const SettingsOptions& options);

    std::string get(std::string_view name);
    // Many, to be shown; without names all that can be read, those that are measured, and passwords, too. What
    // cannot be asked while the family is not known is there with that as its problem; a refusal holds for all
    // that the same command tells. Throws Error where the reader is lost or silent altogether.
    std::vector<SettingReading> read(const std::vector<std::string>& names = {});
    // Written, read back and compared: an Error where the reader has something else. Gives what it has. Where it
    // does not tell, or reports by itself from then on and is not heard, its acknowledgement counts.
    std::string set(std::string_view name, std::string_view text, Lasting lasting = Lasting::stored);
    // What one command sets together goes out together. Outcome::partial where some were set before.
    std::vector<std::string> set(const std::vector<Profile::Value>& values,
                                 Lasting lasting = Lasting::stored);

    // All that can be read and set. Throws Error where the reader is lost or silent altogether.
    Profile snapshot(const SnapshotOptions& options = {});
    // What apply() would change. A profile of another type of reader or another firmware is an Error for both,
    // with Errc::invalid_value; what the profile does not tell is not compared.
    Comparison compare(const Profile& profile, const ApplyOptions& options = {});
    // Writes what differs and reads it back. Throws Error before the first change only. A reader that reports
    // by itself is set to answering meanwhile, and where it falls silent it is tried once to set it back, which is
    // told. What changes the way to the reader comes last; the Reader follows.
    ApplyReport apply(const Profile& profile, const ApplyOptions& options = {});

  private:
    friend class Reader;
    Settings(ReaderInside& inside, const SettingsOptions& options) : inside_(&inside), options_(options) {}

    ReaderInside* inside_;
    SettingsOptions options_;
};

}  // namespace v1
}  // namespace tagwire
