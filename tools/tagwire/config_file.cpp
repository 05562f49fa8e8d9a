#include "config_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <fmt/format.h>
#include <toml++/toml.h>

#include "errors.h"

namespace tagwire::tool {

namespace {

constexpr std::size_t most_bytes = 1U << 20U;
constexpr std::string_view family_key = "family";
constexpr std::string_view two_way_key = "two-way";

[[noreturn]] void reject(const std::string& path, unsigned line, std::string_view problem)
{
    throw UsageError(fmt::format("{}:{}: {}", path, line, problem));
}

unsigned line_of(const toml::node& node) { return static_cast<unsigned>(node.source().begin.line); }

std::string value_of(const ConfigFile& file, std::string_view name, const toml::node& node)
{
    if (const auto* const number = node.as_integer()) return std::to_string(number->get());
    if (const auto* const text = node.as_string()) return text->get();
    reject(file.path, line_of(node), fmt::format("{} must be a number or a text in quotes", name));
}

void add_lines(ConfigFile& file, const toml::table& table)
{
    for (const auto& [key, node] : table)
        file.lines.push_back({std::string(key.str()), value_of(file, key.str(), node), line_of(node)});
}

void take_family(ConfigFile& file, const toml::node& node)
{
    try {
        file.family = parse_family(value_of(file, family_key, node), family_key);
    } catch (const UsageError& error) {
        reject(file.path, line_of(node), error.what());
    }
}

void take_two_way(ConfigFile& file, const toml::node& node)
{
    const auto* const flag = node.as_boolean();
    if (flag == nullptr)
        reject(file.path, line_of(node), fmt::format("{} must be true or false", two_way_key));
    file.two_way = flag->get();
}

toml::table parse_toml(const std::string& path, const std::string& text)
{
    try {
        return toml::parse(text, path);
    } catch (const toml::parse_error& error) {
        reject(path, static_cast<unsigned>(error.source().begin.line), error.description());
    }
}

std::string text_of_file(const std::string& path)
{
    const auto all_of = [&path](std::istream& stream) {
        std::string text(most_bytes + 1, '\0');
        stream.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(stream.gcount()));
        if (text.size() > most_bytes)
            throw UsageError(
                fmt::format("'{}' is longer than {} bytes: it holds no settings", path, most_bytes));
        return text;
    };
    if (path == "-") return all_of(std::cin);
    if (std::filesystem::is_directory(path)) throw UsageError(fmt::format("'{}' is a directory", path));
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    return all_of(stream);
}

bool is_toml_number(const Setting& setting, std::string_view text)
{
    return setting.format.is_number || text.starts_with("0x");
}

[[noreturn]] void fail_to_write(const std::string& path)
{
    throw Failure(fmt::format("'{}' cannot be written: {}", path, std::strerror(errno)));
}

bool write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const auto written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return fsync(fd) == 0 || errno == EINVAL || errno == EROFS;
}

// What is no file, such as a terminal, is not to be replaced by one.
void write_through(const std::string& path, const std::string& text)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) fail_to_write(path);
    const bool is_written = write_all(fd, text);
    const int error = errno;
    close(fd);
    errno = error;
    if (!is_written) fail_to_write(path);
}

void replace_file(const std::string& path, const std::string& text)
{
    auto draft = path + ".XXXXXX";
    const int fd = mkstemp(draft.data());
    if (fd < 0) fail_to_write(path);
    const bool is_written = write_all(fd, text);
    const int error = errno;
    close(fd);
    errno = error;
    if (is_written && std::rename(draft.c_str(), path.c_str()) == 0) return;
    const int reason = errno;
    unlink(draft.c_str());
    errno = reason;
    fail_to_write(path);
}

}  // namespace

ConfigFile read_config(const std::string& path) { return parse_config(path, text_of_file(path)); }

ConfigFile parse_config(const std::string& path, const std::string& text)
{
    ConfigFile file;
    file.path = path;
    for (const auto& [key, node] : parse_toml(path, text)) {
        if (key.str() == family_key) {
            take_family(file, node);
        } else if (key.str() == two_way_key) {
            take_two_way(file, node);
        } else if (const auto* const table = node.as_table()) {
            add_lines(file, *table);
        } else {
            file.lines.push_back({std::string(key.str()), value_of(file, key.str(), node), line_of(node)});
        }
    }
    std::sort(file.lines.begin(), file.lines.end(),
              [](const ConfigLine& one, const ConfigLine& other) { return one.line < other.line; });
    return file;
}

std::vector<Change> changes_of(const ConfigFile& file, const SettingCatalogue& catalogue)
{
    std::vector<Change> changes;
    std::set<std::string> names;
    for (const auto& line : file.lines) {
        if (!names.insert(line.name).second)
            reject(file.path, line.line, fmt::format("setting '{}' stands twice", line.name));
        try {
            const auto& setting = catalogue.require(line.name);
            changes.push_back({&setting, parse_setting(setting, line.value)});
        } catch (const UsageError& error) {
            reject(file.path, line.line, error.what());
        }
    }
    // In the order of the catalogue, as commands that set several things at once want it.
    std::sort(changes.begin(), changes.end(),
              [](const Change& one, const Change& other) { return one.setting < other.setting; });
    return changes;
}

std::string config_text(const std::vector<std::string>& head, const SettingCatalogue& catalogue,
                        const std::vector<Change>& values)
{
    std::string text;
    for (const auto& line : head) text += fmt::format("# {}\n", line);
    text += fmt::format("\n{} = \"{}\"\n", family_key, family_name(catalogue.family()));
    if (catalogue.two_way()) text += fmt::format("{} = true\n", two_way_key);
    std::string_view topic;
    for (const auto& [setting, value] : values) {
        if (setting->topic != topic) text += fmt::format("\n[{}]\n", setting->topic);
        topic = setting->topic;
        const auto shown = setting->format.show(value);
        const auto* const quote = is_toml_number(*setting, shown) ? "" : "\"";
        text += fmt::format("{0} = {1}{2}{1}\n", setting->name, quote, shown);
    }
    return text;
}

void write_config(const std::string& path, const std::string& text)
{
    std::error_code error;
    const auto target = std::filesystem::canonical(path, error);
    if (error) return replace_file(path, text);
    if (std::filesystem::is_regular_file(target, error)) return replace_file(target.string(), text);
    write_through(target.string(), text);
}

}  // namespace tagwire::tool
