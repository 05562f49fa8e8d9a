// How a command line names one tag, and the password that opens it.
#pragma once

#include <optional>
#include <string>

#include <tagwirexx/reader.hpp>

#include "deed.h"
#include "option.h"

namespace tagwire::tool {

// As given, else as TAGWIRE_PASSWORD has it, else none. Throws UsageError.
struct Secret {
    std::optional<tagwire::Password> given;

    tagwire::Password value() const;
};

struct TagChoice {
    std::optional<Epc> epc;
    std::optional<Tid> tid;
    std::optional<tagwire::Mask> mask;
    Secret password;
    unsigned retries = 0;
};

inline constexpr Choices<Bank, 4> banks{
    {{"reserved", Bank::reserved}, {"epc", Bank::epc}, {"tid", Bank::tid}, {"user", Bank::user}}};

inline constexpr Choices<tagwire::Session, 4> sessions{{{"S0", tagwire::Session::s0},
                                                        {"S1", tagwire::Session::s1},
                                                        {"S2", tagwire::Session::s2},
                                                        {"S3", tagwire::Session::s3}}};
inline constexpr Choices<Target, 2> targets{{{"A", Target::a}, {"B", Target::b}}};

// A password is 8 hexadecimal digits, @FILE for the first line of a file, or - to be asked for it on the terminal.
tagwire::Password parse_secret(const std::string& text, const std::string& name);
void add_password_option(CLI::App& command, Secret& password);

Tid parse_tid(const std::string& text, const std::string& name);
Epc parse_epc(const std::string& text, const std::string& name);

void add_retries_option(CLI::App& command, unsigned& retries);
// How a tag is named, its password, and --retries.
void add_tag_options(CLI::App& command, TagChoice& tag);

// Throws UsageError unless the tag is named in exactly one way.
void require_name(const TagChoice& tag);
// As it reads in a sentence behind "tag".
std::string text_of(const TagChoice& tag);
void add_name(Json& object, const TagChoice& tag);

// What is to be done to a tag, with its name. Throws UsageError unless it has one.
Deed deed_with(const char* type, const TagChoice& tag, std::string text = {});

// Whether asking again may bring what asking once did not.
bool may_come_again(const Error& error);

// Asks once more, and so on, where nothing came. For what changes nothing only.
template <typename Ask> auto again(unsigned retries, const Ask& ask)
{
    for (;; --retries) {
        try {
            return ask();
        } catch (const Error& error) {
            if (retries == 0 || !may_come_again(error)) throw;
        }
    }
}

Tag find(Reader& reader, const TagChoice& tag);

// --mask of Gen2 tags, and its text.
CLI::Option* add_mask_option(CLI::App& command, std::optional<tagwire::Mask>& mask, const std::string& help);
std::string text_of(const tagwire::Mask& mask);
// --antennas
void add_ports_option(CLI::App& command, std::vector<Port>& ports, std::uint32_t highest,
                      const std::string& help);

// A mask of 1 to 255 bits, with any names of banks: BANK:BITADDR:HEX[/BITS].
template <typename Place> struct PlacedMask {
    Place place;
    unsigned bit = 0;
    Bytes bytes;
    unsigned bits = 0;
};

template <typename Place, std::size_t count>
auto placed_mask(const Choices<Place, count>& places, Others others = Others::refused)
{
    return [&places, others](const std::string& text, const std::string& name) {
        const auto mask = parse_mask(text);
        return PlacedMask<Place>{one_of(places, others)(mask.bank, name + " bank"), mask.bit_address,
                                 mask.data, mask.bits};
    };
}

template <typename Place, std::size_t count>
std::string mask_text(const PlacedMask<Place>& mask, const Choices<Place, count>& places)
{
    return fmt::format("{}:{}:{}/{}", name_of(mask.place, places), mask.bit, to_hex(mask.bytes), mask.bits);
}

}  // namespace tagwire::tool
