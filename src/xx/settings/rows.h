// Everything that can be set on a reader, or read from it, as rows: name, text, and the commands behind it.
#pragma once

#include <string>
#include <vector>

#include "xx/settings/commands.h"
#include "xx/settings/value.h"

namespace tagwire {
inline namespace v1 {
namespace rows {

struct Row {
    std::string name;
    std::string_view topic;
    std::string_view help;
    Format format;
    const Source* source;  // null: cannot be read
    std::size_t first;     // where it stands among the source's bytes
    std::size_t size;      // 0: all to the end
    const Writer* writer;  // null: cannot be written
    SettingKind kind = SettingKind::ordinary;
    bool is_kept = true;            // in profiles
    std::string_view told_by = {};  // a setting that tells the same and more, where the reader has it
    Families families = every_family;
    u8 index = 0;

    bool readable(bool two_way) const { return source != nullptr && (two_way || !source->is_two_way); }
    // Whether the writer writes this setting and no other.
    bool is_written_alone() const
    {
        return writer->source == nullptr && (writer->size == size || writer->size == 0);
    }
};

// For whoever sees errors and changes: no secrets.
inline constexpr std::string_view secret_text = "********";
inline std::string show_to_all(const Row& row, const Bytes& value)
{
    return row.kind == SettingKind::secret ? std::string(secret_text) : show(row.format, value);
}

// Rows of one name, for readers of different families, lie beside each other.
const std::vector<Row>& all_rows();
// The first one of the name; null where there is none.
const Row* find_row(std::string_view name);
inline bool is_first(const Row& row) { return &row == find_row(row.name); }
// Throws Error with the names that are nearest.
const Row& require_row(std::string_view name, const std::string& reader = {});
// Throws Error with what may be given.
Bytes parse_value(const Row& row, std::string_view text, const std::string& reader = {});

}  // namespace rows
}  // namespace v1
}  // namespace tagwire
