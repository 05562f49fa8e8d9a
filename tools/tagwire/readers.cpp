#include "app.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include <toml++/toml.h>

#include <tagwirexx/error.hpp>
#include <tagwirexx/stream.hpp>

#include <fmt/format.h>

#include "errors.h"
#include "parse.h"

namespace tagwire::tool {

namespace {

constexpr unsigned any_address = 255;

// NAME=URL, or a URL whose text is the name.
NamedReader split_name(const std::string& text)
{
    static const std::regex named("([^=:/?]+)=(.*)");
    std::smatch parts;
    if (std::regex_match(text, parts, named)) return {parts[1], parts[2]};
    return {text, text};
}

std::string text_of(const toml::table& reader, const char* key, const std::string& file)
{
    const auto text = reader[key].value<std::string>();
    if (text && !text->empty()) return *text;
    throw UsageError(fmt::format("{}, line {}: a reader has a name and a url, both texts", file,
                                 reader.source().begin.line));
}

// The [[reader]] tables; a file may have more for other programs.
std::vector<NamedReader> load_readers(const std::string& file)
try {
    if (!std::filesystem::exists(file)) throw UsageError(fmt::format("{}: there is no such file", file));
    const auto table = toml::parse_file(file);
    const auto* const list = table["reader"].as_array();
    if (list == nullptr || list->empty() || !list->is_array_of_tables())
        throw UsageError(fmt::format("{}: there is no [[reader]] with a name and a url", file));
    std::vector<NamedReader> readers;
    for (const auto& reader : *list)
        readers.push_back(
            {text_of(*reader.as_table(), "name", file), text_of(*reader.as_table(), "url", file)});
    return readers;
} catch (const toml::parse_error& error) {
    throw UsageError(fmt::format("{}, line {}: {}", file, error.source().begin.line, error.description()));
}

void add_key(std::string& url, const char* key, std::string_view value)
{
    url += fmt::format("{}{}={}", url.find('?') == std::string::npos ? '?' : '&', key, value);
}

void require_url(const NamedReader& reader)
{
    try {
        Stream().add(reader.url);
    } catch (const Error& error) {
        throw UsageError(error.text());
    }
}

void require_different(const std::vector<NamedReader>& readers)
{
    std::set<std::string_view> seen;
    for (const auto& reader : readers) {
        if (!seen.insert(reader.name).second)
            throw UsageError(fmt::format("two readers are called '{}'", reader.name));
        if (reader.url != reader.name && !seen.insert(reader.url).second)
            throw UsageError(fmt::format("the reader at {} is named twice", reader.url));
    }
}

}  // namespace

std::vector<NamedReader> GlobalOptions::chosen() const
{
    if (!readers_file.empty() && !readers.empty())
        throw UsageError("readers are named by --reader or by --readers FILE, not by both");
    std::vector<NamedReader> all;
    if (!readers_file.empty()) all = load_readers(readers_file);
    for (const auto& text : readers) all.push_back(split_name(text));
    const auto* const usual = std::getenv("TAGWIRE_READER");
    if (all.empty() && usual != nullptr && *usual != '\0') all.push_back(split_name(usual));
    if (all.empty())
        throw UsageError("no reader named: use --reader tcp://HOST:PORT, --reader serial:/dev/DEVICE or the "
                         "environment variable TAGWIRE_READER");
    const auto bus_address = parse_number(address, "--address", 0, any_address);
    for (auto& one : all) {
        if (!baud.empty() && !one.url.starts_with("serial:"))
            throw UsageError("--baud is for serial readers only");
        const bool is_named = one.name != one.url;
        if (!baud.empty()) add_key(one.url, "baud", baud);
        if (!is_named) one.name = one.url;
        if (bus_address != any_address) add_key(one.url, "address", fmt::to_string(bus_address));
        require_url(one);
    }
    require_different(all);
    return all;
}

}  // namespace tagwire::tool
