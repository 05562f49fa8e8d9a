#include "xx/settings/profile_inside.h"
#include "xx/settings/wipe.h"

#include <algorithm>

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

using rows::Row;

constexpr std::pair<SettingKind, const char*> sections[] = {{SettingKind::ordinary, "settings"},
                                                            {SettingKind::identity, "identity"},
                                                            {SettingKind::secret, "secrets"},
                                                            {SettingKind::calibration, "calibration"}};

// Piece by piece: what may be a password is not left behind in texts between.
void append_line(std::string& out, const Row& row, const std::string& text)
{
    const bool is_number = rows::number_in(text).has_value() && row.format.shape != rows::Format::Shape::hex;
    const char* const quote = is_number ? "" : "\"";
    out += row.name;
    for (const char* const piece : {" = ", quote, text.c_str(), quote, "\n"}) out += piece;
}

}  // namespace

Profile::Value::~Value() { rows::wipe(text); }

const std::string* Profile::find(std::string_view name) const noexcept
{
    const auto found =
        std::find_if(values_.begin(), values_.end(), [=](const Value& value) { return value.name == name; });
    return found == values_.end() ? nullptr : &found->text;
}

void Profile::set(std::string_view name, std::string_view text)
{
    const Row& row = rows::require_row(name);
    const auto place = [](std::string_view of) { return rows::find_row(of); };
    Bytes parsed = rows::parse_value(row, text);
    const rows::WipedAtEnd wiping_parsed(parsed);
    std::string shown = rows::show(row.format, parsed);
    const rows::WipedAtEnd wiping_shown(shown);
    const auto at =
        std::lower_bound(values_.begin(), values_.end(), &row,
                         [&](const Value& value, const Row* added) { return place(value.name) < added; });
    if (at != values_.end() && at->name == name)
        at->text = shown;
    else
        values_.insert(at, {row.name, shown});
}

void Profile::remove(std::string_view name)
{
    rows::require_row(name);
    std::erase_if(values_, [=](const Value& value) { return value.name == name; });
}

std::string Profile::to_string() const
{
    std::string text = "# Settings of a reader. What has no line here is left as it is.\n";
    std::size_t size = text.size() + 200;
    for (const SettingNote& note : silent_) size += note.name.size() + 4;
    for (const Value& value : values_) size += value.name.size() + value.text.size() + 10;
    text.reserve(size);  // so that it stays where it is
    text += "\n[reader]\n";
    if (type_) text += "type = " + std::to_string(*type_) + '\n';
    if (firmware_)
        text += "firmware = \"" + std::to_string(firmware_->major) + '.' + std::to_string(firmware_->minor) +
                "\"\n";
    for (const SettingNote& note : silent_)
        text += (&note == silent_.data() ? "no-answer = [\"" : ", \"") + note.name + '"';
    if (!silent_.empty()) text += "]\n";
    for (const auto& [kind, title] : sections) {
        bool is_first = true;
        for (const Value& value : values_) {
            const Row& row = rows::require_row(value.name);
            if (row.kind != kind) continue;
            if (is_first) text += '\n' + ('[' + std::string(title)) + "]\n";
            is_first = false;
            append_line(text, row, value.text);
        }
    }
    return text;
}

}  // namespace v1
}  // namespace tagwire
