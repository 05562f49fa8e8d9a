#include "data_file.h"

#include "errors.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

// As many words as can be addressed.
constexpr std::size_t most_bytes = std::size_t{65536} * 2;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

int leave_open(std::FILE*) { return 0; }

File open_for_reading(const std::string& path)
{
    if (path == "-") return {stdin, leave_open};
    File file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    return file;
}

}  // namespace

std::vector<std::uint8_t> read_file(const std::string& path)
{
    const auto file = open_for_reading(path);
    std::vector<std::uint8_t> data(most_bytes + 1);
    data.resize(std::fread(data.data(), 1, data.size(), file.get()));
    if (std::ferror(file.get()) != 0)
        throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    if (data.size() > most_bytes)
        throw UsageError(fmt::format("'{}' is longer than {} bytes", path, most_bytes));
    return data;
}

void write_file(const std::string& path, std::span<const std::uint8_t> data)
{
    errno = 0;
    File file(std::fopen(path.c_str(), "wb"), std::fclose);
    const bool written = file && std::fwrite(data.data(), 1, data.size(), file.get()) == data.size() &&
                         std::fclose(file.release()) == 0;
    if (!written) throw Failure(fmt::format("'{}' cannot be written: {}", path, std::strerror(errno)));
}

}  // namespace tagwire::tool
