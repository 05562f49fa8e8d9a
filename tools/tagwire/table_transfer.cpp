#include "table_transfer.h"

#include "tagwire/result.h"
#include "tagwire/update.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace tagwire::tool {

TableReading read_table(const ReaderConnection& reader, std::uint8_t number)
{
    auto address = reader.address();
    Bytes data(most_table_bytes + 1);
    std::array<std::uint8_t, 2> length{};
    TableReading reading;
    reading.code = ReadParameterTable(&address, number, data.data(), length.data(), reader.handle());
    if (reading.code != TAGWIRE_OK) return reading;
    data.resize(std::size_t{length[0]} << 8U | length[1]);
    reading.data = std::move(data);
    return reading;
}

int write_table(const ReaderConnection& reader, std::uint8_t number, Bytes data)
{
    auto address = reader.address();
    const int size = static_cast<int>(data.size());
    data.push_back(0);  // an empty table has an address too
    return WriteParameterTable(&address, number, data.data(), size, reader.handle());
}

std::optional<std::string> difference_text(const Bytes& written, const Bytes& found)
{
    const auto common = std::min(written.size(), found.size());
    std::size_t count = 0;
    std::size_t first = common;
    for (std::size_t i = common; i-- > 0;) {
        if (written[i] == found[i]) continue;
        first = i;
        ++count;
    }
    if (written.size() != found.size())
        return fmt::format("the table has {} bytes instead of {}", found.size(), written.size());
    if (count == 0) return std::nullopt;
    return fmt::format("{} byte{} of the table differ{}, the first at {}: 0x{:02X} instead of 0x{:02X}",
                       count, count == 1 ? "" : "s", count == 1 ? "s" : "", first, found[first],
                       written[first]);
}

}  // namespace tagwire::tool
