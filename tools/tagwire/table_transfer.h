// Parameter tables of a reader, whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bytes.h"
#include "connection.h"

namespace tagwire::tool {

inline constexpr std::size_t most_table_bytes = 65535;

struct TableReading {
    int code = 0;
    Bytes data;
};

TableReading read_table(const ReaderConnection& reader, std::uint8_t number);

// Returns the result of the library, which does not tell whether the reader accepted the table.
int write_table(const ReaderConnection& reader, std::uint8_t number, Bytes data);

// How a table differs from what was written, for people; nothing when it does not.
std::optional<std::string> difference_text(const Bytes& written, const Bytes& found);

}  // namespace tagwire::tool
