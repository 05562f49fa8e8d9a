// Raw bytes in files.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tagwire::tool {

// - is standard input. Throws UsageError when it cannot be read, or holds more than any tag.
std::vector<std::uint8_t> read_file(const std::string& path);

// Throws Failure.
void write_file(const std::string& path, std::span<const std::uint8_t> data);

}  // namespace tagwire::tool
