#include "buffer_records.h"

namespace tagwire::tool {

std::optional<std::vector<BufferedTag>> decode_buffer(std::span<const std::uint8_t> list, int count)
{
    constexpr std::size_t fixed_bytes = 4;
    std::vector<BufferedTag> tags;
    while (!list.empty()) {
        if (list.size() < 2 || list.size() < fixed_bytes + list[1]) return std::nullopt;
        const std::size_t length = list[1];
        const auto behind_epc = list.subspan(2 + length);
        tags.push_back({hex_text(list.subspan(2, length)), list[0], behind_epc[0], behind_epc[1]});
        list = list.subspan(fixed_bytes + length);
    }
    if (count < 0 || tags.size() != static_cast<std::size_t>(count)) return std::nullopt;
    return tags;
}

StoredTags decode_tag_buffer(std::span<const std::uint8_t> data)
{
    constexpr std::size_t details_bytes = 11;
    StoredTags stored;
    while (data.size() > details_bytes) {
        const std::size_t length = data[details_bytes];
        const auto record_bytes = details_bytes + 1 + length;
        if (data.size() < record_bytes) break;
        stored.tags.push_back(
            {hex_text(data.subspan(details_bytes + 1, length)), hex_text(data.first(details_bytes))});
        data = data.subspan(record_bytes);
    }
    stored.undecoded = data.size();
    return stored;
}

std::vector<SearchPart> split_search(const std::vector<Bytes>& ids)
{
    constexpr std::uint8_t most_ids = 30;
    constexpr std::size_t most_bytes = 246;
    std::vector<SearchPart> parts;
    for (const auto& id : ids) {
        const auto needed = id.size() + 1;
        if (parts.empty() || parts.back().count == most_ids || parts.back().ids.size() + needed > most_bytes)
            parts.emplace_back();
        auto& part = parts.back();
        ++part.count;
        part.ids.push_back(static_cast<std::uint8_t>(id.size()));
        part.ids.insert(part.ids.end(), id.begin(), id.end());
    }
    return parts;
}

}  // namespace tagwire::tool
