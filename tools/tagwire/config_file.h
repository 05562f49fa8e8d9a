// Settings of a reader in a file.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "setting_access.h"

namespace tagwire::tool {

struct ConfigLine {
    std::string name;
    std::string value;
    unsigned line = 0;
};

struct ConfigFile {
    std::string path;
    std::optional<ReaderFamily> family;
    std::optional<bool> two_way;
    std::vector<ConfigLine> lines;
};

// - is standard input. Throws UsageError.
ConfigFile read_config(const std::string& path);
ConfigFile parse_config(const std::string& path, const std::string& text);

// What the file asks for. Throws UsageError, with the line, unless every line is right.
std::vector<Change> changes_of(const ConfigFile& file, const SettingCatalogue& catalogue);

// The text of a file; `head` are lines of a comment.
std::string config_text(const std::vector<std::string>& head, const SettingCatalogue& catalogue,
                        const std::vector<Change>& values);

// Writes all of the file or nothing, for its owner's eyes only. Throws Failure.
void write_config(const std::string& path, const std::string& text);

}  // namespace tagwire::tool
