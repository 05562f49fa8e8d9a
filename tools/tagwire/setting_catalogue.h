// Everything that can be set on a reader, or read from it, as rows: name, text, and the commands that read
// and write it.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "setting_value.h"

namespace tagwire::tool {

// Readers that give the same commands different meanings.
enum class ReaderFamily : std::uint8_t { Standard, Filter, Relay, Multiplexer, Mobile };

inline constexpr std::array all_families{ReaderFamily::Standard, ReaderFamily::Filter, ReaderFamily::Relay,
                                         ReaderFamily::Multiplexer, ReaderFamily::Mobile};

std::string_view family_name(ReaderFamily family);
// Throws UsageError.
ReaderFamily parse_family(std::string_view text, std::string_view what);

// Where a command goes.
struct SettingCall {
    std::uint8_t* address;
    int handle;
    std::uint8_t index;       // of settings that are numbered
    std::uint8_t line_speed;  // code of the serial line's speed
    bool two_way;             // the reader's two-way commands set with bit 7 only
};

// A command that reads, often several settings at once. Gives the result of the library.
struct Source {
    int (*read)(const SettingCall& call, Bytes& data);
    bool asks_reader = true;
    bool is_two_way = false;  // the command that sets it, too
};

// When a setting is written among others: what changes the way to the reader comes last.
enum class Reach : std::uint8_t { None, Address, Baud, WorkMode, Communication };

// A command that writes bytes which belong together: as many as it has, or all to the end of the source.
struct Writer {
    int (*write)(const SettingCall& call, Bytes& block);
    std::size_t size;
    // Where the bytes stand among those that the source reads.
    const Source* source = nullptr;
    std::size_t first = 0;
    Reach reach = Reach::None;
};

inline constexpr std::size_t to_the_end = std::numeric_limits<std::size_t>::max();

enum class Kept : std::uint8_t {
    Saved,
    ShownOnly  // measured, counted, or told by another setting too
};

struct Setting {
    std::string name;
    std::string_view topic;
    std::string_view help;
    ValueFormat format;
    const Source* source = nullptr;  // null: cannot be read
    std::size_t first = 0;           // where it stands among the source's bytes
    std::size_t size = 1;
    const Writer* writer = nullptr;  // null: cannot be written
    Kept kept = Kept::Saved;
    // A setting that tells the same and more, where the reader has it.
    std::string_view told_by = {};
    std::uint8_t index = 0;

    bool can_be_read() const { return source != nullptr; }
    bool can_be_written() const { return writer != nullptr; }
    // Whether the writer writes this setting and no other.
    bool is_written_alone() const
    {
        return writer->source == nullptr && (writer->size == size || writer->size == to_the_end);
    }
};

class SettingCatalogue {
  public:
    // The speed of the line can be read on a serial line only. Without `two_way` no setting is read by a command
    // that may set it.
    SettingCatalogue(ReaderFamily family, bool on_serial_line, bool two_way = false);

    ReaderFamily family() const { return family_; }
    bool two_way() const { return two_way_; }
    std::span<const Setting> settings() const { return settings_; }
    // Null for a name that is none.
    const Setting* find(std::string_view name) const;
    // Throws UsageError, which says more when another family has the name.
    const Setting& require(std::string_view name) const;

  private:
    ReaderFamily family_;
    bool two_way_;
    std::vector<Setting> settings_;
};

// The value in bytes. Throws UsageError also for a setting that cannot be written.
Bytes parse_setting(const Setting& setting, std::string_view text);

// The rows of all families as lines for people; numbered settings are one line.
std::string catalogue_text();

}  // namespace tagwire::tool
