// What readers keep of tags.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bytes.h"

namespace tagwire::tool {

// A tag in the reader's buffer.
struct BufferedTag {
    std::string epc;
    std::uint8_t antenna = 0;
    std::uint8_t rssi = 0;
    std::uint8_t reads = 0;

    bool operator==(const BufferedTag&) const = default;
};

// Records of antenna byte, length byte, EPC, signal strength and count of reads. Nothing when the bytes are
// not just so many of them: readers may store tags in another way.
std::optional<std::vector<BufferedTag>> decode_buffer(std::span<const std::uint8_t> list, int count);

// A tag in the separate tag buffer.
struct StoredTag {
    std::string id;
    std::string details;  // 11 bytes, whose meaning is the reader's, in hexadecimal

    bool operator==(const StoredTag&) const = default;
};

struct StoredTags {
    std::vector<StoredTag> tags;
    std::size_t undecoded = 0;  // bytes at the end that make no whole record
};

StoredTags decode_tag_buffer(std::span<const std::uint8_t> data);

// A part of a list to search for: its IDs as the command takes them, each behind its length byte.
struct SearchPart {
    std::uint8_t count = 0;
    Bytes ids;

    bool operator==(const SearchPart&) const = default;
};

// As few parts as can be sent. An ID has at most 245 bytes.
std::vector<SearchPart> split_search(const std::vector<Bytes>& ids);

}  // namespace tagwire::tool
