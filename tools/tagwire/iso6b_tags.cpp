#include "iso6b_tags.h"

#include <algorithm>

namespace tagwire::tool {

namespace {

constexpr std::size_t record_bytes = id_bytes_6b + 1;

Tag6b decode_record(std::span<const std::uint8_t> record)
{
    return {hex_text(record.first(id_bytes_6b)), record[id_bytes_6b]};
}

}  // namespace

std::vector<Tag6b> decode_single_6b(std::span<const std::uint8_t, 10> reported)
{
    const bool is_empty =
        std::all_of(reported.begin(), reported.end(), [](std::uint8_t byte) { return byte == 0; });
    if (is_empty) return {};
    return {decode_record(reported.subspan<1>())};
}

std::vector<Tag6b> decode_list_6b(std::span<const std::uint8_t> list, int count)
{
    std::vector<Tag6b> tags;
    for (int i = 0; i < count && list.size() >= record_bytes; ++i) {
        tags.push_back(decode_record(list.first(record_bytes)));
        list = list.subspan(record_bytes);
    }
    return tags;
}

std::uint8_t compare_first_bytes(std::size_t count)
{
    return static_cast<std::uint8_t>(0xFF00 >> std::min<std::size_t>(count, 8) & 0xFF);
}

}  // namespace tagwire::tool
