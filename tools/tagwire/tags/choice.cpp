#include "tags/choice.h"

#include "terminal_mode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "data_file.h"

namespace tagwire::tool {

namespace {

constexpr std::size_t most_epc_bytes = 62;

std::string first_line_of(const std::string& path)
{
    constexpr std::size_t longest = 4096;
    auto bytes = read_file(path, longest);
    std::string line(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\n'));
    explicit_bzero(bytes.data(), bytes.size());
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

std::string typed(const std::string& name)
{
    if (isatty(STDIN_FILENO) == 0) throw UsageError(fmt::format("{}: there is no terminal to ask on", name));
    std::cerr << name.substr(2) << ": " << std::flush;
    const TerminalMode unseen(ECHO);
    std::string line;
    std::getline(std::cin, line);
    std::cerr << '\n';
    return line;
}

void wipe(std::string& text) { explicit_bzero(text.data(), text.size()); }

}  // namespace

tagwire::Password parse_secret(const std::string& text, const std::string& name)
{
    std::string secret = text == "-"             ? typed(name)
                         : text.starts_with('@') ? first_line_of(text.substr(1))
                                                 : text;
    try {
        auto bytes = parse_exactly(secret, name, 4);
        tagwire::Password password(std::span<const std::uint8_t>{bytes});
        explicit_bzero(bytes.data(), bytes.size());
        wipe(secret);
        return password;
    } catch (const UsageError&) {
        wipe(secret);
        throw UsageError(
            fmt::format("{} is not valid: use 8 hexadecimal digits, @FILE or - to be asked", name));
    }
}

Tid parse_tid(const std::string& text, const std::string& name)
{
    return Tid(hex(2, Tid::longest)(text, name));
}

Epc parse_epc(const std::string& text, const std::string& name)
{
    return Epc(hex(2, most_epc_bytes)(text, name));
}

tagwire::Password Secret::value() const
{
    if (given) return *given;
    const char* const variable = std::getenv("TAGWIRE_PASSWORD");
    return variable != nullptr && *variable != '\0' ? parse_secret(variable, "TAGWIRE_PASSWORD")
                                                    : tagwire::Password();
}

void add_password_option(CLI::App& command, Secret& password)
{
    option(command, "--password", password.given, parse_secret,
           "access password: 8 hexadecimal digits, @FILE for the first line of a file, - to be asked; "
           "otherwise that of "
           "the environment variable TAGWIRE_PASSWORD",
           "HEX");
}

void add_retries_option(CLI::App& command, unsigned& retries)
{
    option(command, "--retries", retries, number(0, 100),
           "how often a tag is looked for and read again where nothing comes, 0 to 100; what changes it is "
           "never "
           "sent again")
        ->default_str("0");
}

void add_tag_options(CLI::App& command, TagChoice& tag)
{
    option(command, "--epc", tag.epc, parse_epc,
           "the tag, by its whole EPC: 4 hexadecimal digits a word, 1 to 31 words", "HEX");
    option(command, "--tid", tag.tid, parse_tid, "the tag, by its TID or the beginning of it", "HEX");
    add_mask_option(command, tag.mask, "the tag, by bits that its memory holds from bit BITADDR on");
    add_password_option(command, tag.password);
    add_retries_option(command, tag.retries);
}

void require_name(const TagChoice& tag)
{
    if (tag.epc.has_value() + tag.tid.has_value() + tag.mask.has_value() != 1)
        throw UsageError("name the tag: use one of --epc HEX, --tid HEX and --mask BANK:BITADDR:HEX[/BITS]");
    tag.password.value();
}

CLI::Option* add_mask_option(CLI::App& command, std::optional<tagwire::Mask>& mask, const std::string& help)
{
    return option(
        command, "--mask", mask,
        [](const std::string& text, const std::string& name) {
            const auto placed = placed_mask(banks)(text, name);
            return tagwire::Mask{placed.place, placed.bit, placed.bytes, placed.bits};
        },
        fmt::format("{}; BANK is {}", help, choices_text(banks)), "BANK:BITADDR:HEX[/BITS]");
}

std::string text_of(const tagwire::Mask& mask)
{
    return mask_text(PlacedMask<Bank>{mask.bank, mask.bit, mask.bytes, mask.bits}, banks);
}

void add_ports_option(CLI::App& command, std::vector<Port>& ports, std::uint32_t highest,
                      const std::string& help)
{
    const auto parse = [highest](const std::string& text, const std::string& name) {
        std::vector<Port> parsed;
        auto bits = parse_ports(text, name, highest);
        for (int number = 1; bits != 0; ++number, bits >>= 1U)
            if ((bits & 1U) != 0) parsed.emplace_back(number);
        return parsed;
    };
    option(command, "--antennas", ports, parse, help, "PORT,PORT,...");
}

std::string text_of(const TagChoice& tag)
{
    if (tag.epc) return tag.epc->to_string();
    if (tag.tid) return "with TID " + tag.tid->to_string();
    return "with mask " + text_of(*tag.mask);
}

void add_name(Json& object, const TagChoice& tag)
{
    if (tag.epc) object["epc"] = tag.epc->to_string();
    if (tag.tid) object["tid"] = tag.tid->to_string();
    if (tag.mask) object["mask"] = text_of(*tag.mask);
}

bool may_come_again(const Error& error)
{
    return error.code() == Errc::no_answer || error.code() == Errc::bad_answer ||
           error.code() == Errc::no_tag;
}

Deed deed_with(const char* type, const TagChoice& tag, std::string text)
{
    require_name(tag);
    Deed named = deed(type, std::move(text));
    add_name(named.fields, tag);
    return named;
}

Tag find(Reader& reader, const TagChoice& tag)
{
    const auto password = tag.password.value();
    return again(tag.retries, [&] {
        if (tag.epc) return reader.tag(*tag.epc, password);
        if (tag.tid) return reader.tag(*tag.tid, password);
        return reader.tag(*tag.mask, password);
    });
}

}  // namespace tagwire::tool
