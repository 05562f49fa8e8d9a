// Raw bytes in files.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tagwire::tool {

// - is standard input. Throws UsageError when it cannot be read, or holds more than `most` bytes: as many words as
// can be addressed, when left out.
std::vector<std::uint8_t> read_file(const std::string& path, std::size_t most = std::size_t{65536} * 2);

// Whether a file can be made there; throws UsageError. Leaves everything as it was.
void require_writable(const std::string& path);

// Takes the place of an older file only when all of it was written. Throws Failure.
void write_file(const std::string& path, std::span<const std::uint8_t> data);

}  // namespace tagwire::tool
