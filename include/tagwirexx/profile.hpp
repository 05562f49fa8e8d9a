// Settings of a reader as a value and as a file, to be compared with readers and applied to them.
//
// The file is TOML, NAME = VALUE under these headings; what has no line is left as it is:
//
//     [reader]       type and firmware of the reader that it was taken from, which others are to have too; a line
//                    that is taken out is not compared; and the settings that it gave no answer for
//     [settings]     also parameter-0 to parameter-255, which are copied though their meaning is known to the
//                    maker alone: remove() those that another reader is not to have
//     [identity]     serial number, bus address, speed of the line: what makes a reader this one
//     [secrets]      its passwords, where they were asked for
//     [calibration]  of this unit's electronics: to be looked at, never applied
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>
#include <tagwirexx/info.hpp>

namespace tagwire {
inline namespace v1 {

// What there is to say of one setting. Printed as "NAME: TEXT".
struct SettingNote {
    std::string name = {};
    std::string text = {};

    friend std::ostream& operator<<(std::ostream& out, const SettingNote& note)
    {
        return out << note.name << ": " << note.text;
    }
};

// A value that belongs to no reader: any thread may use one, two threads not the same at once while it changes.
class TAGWIREXX_API Profile final {
  public:
    struct Value {
        std::string name;
        std::string text;  // as Settings::get() gives it; wiped at its end, as it may be a password

        TAGWIREXX_API ~Value();
    };

    Profile() = default;

    // Throws Error: Errc::file where it cannot be read, Errc::invalid_text, with the line, for whatever is not
    // known or not valid in it.
    static Profile load(const std::string& path);
    // The same of a text; `name` stands for the file in errors.
    static Profile parse(std::string_view text, const std::string& name = "profile");
    // All of it or nothing, for the owner's eyes only (mode 0600). A link is followed; what is there and no file
    // is refused. Throws Error with Errc::file; what was read from a reader is not lost by that, and can be saved
    // elsewhere.
    void save(const std::string& path) const;
    // Whether it could, before a long reading. Throws the same Error; leaves nothing behind.
    static void require_writable(const std::string& path);
    // What save() writes.
    std::string to_string() const;

    // In the order of Settings::names().
    const std::vector<Value>& values() const noexcept { return values_; }
    // Null where there is none.
    const std::string* find(std::string_view name) const noexcept;
    // Throws Error with Errc::invalid_text for a name or a value that is none.
    void set(std::string_view name, std::string_view text);
    // Without it the setting is left as it is.
    void remove(std::string_view name);

    // Of the reader that it was taken from.
    std::optional<int> type() const noexcept { return type_; }
    std::optional<Version> firmware() const noexcept { return firmware_; }
    // Whether the reader told or refused every setting. What it refused it does not have; of what it was silent
    // about nothing is known; the file names it. What was refused is kept in memory only.
    bool complete() const noexcept { return silent_.empty(); }
    const std::vector<SettingNote>& refused() const noexcept { return refused_; }
    const std::vector<SettingNote>& silent() const noexcept { return silent_; }

  private:
    friend class ProfileInside;

    std::vector<Value> values_;
    std::optional<int> type_;
    std::optional<Version> firmware_;
    std::vector<SettingNote> refused_;
    std::vector<SettingNote> silent_;
};

}  // namespace v1
}  // namespace tagwire
