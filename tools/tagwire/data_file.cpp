#include "data_file.h"

#include "errors.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include <unistd.h>

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

// Not a regular file, a pipe or a terminal say, is written as it is; of others a new one takes the place.
void require_writable(const std::string& path)
{
    if (std::filesystem::exists(path) && !std::filesystem::is_regular_file(path)) {
        if (std::filesystem::is_directory(path)) throw UsageError(fmt::format("'{}' is a directory", path));
        return;
    }
    const auto folder = std::filesystem::absolute(path).parent_path();
    if (access(folder.c_str(), W_OK | X_OK) == 0) return;
    throw UsageError(fmt::format("'{}' cannot be written: {}", path, std::strerror(errno)));
}

void write_file(const std::string& path, std::span<const std::uint8_t> data)
{
    const bool is_special = std::filesystem::exists(path) && !std::filesystem::is_regular_file(path);
    const std::string written = is_special ? path : path + ".new";
    errno = 0;
    File file(std::fopen(written.c_str(), "wb"), std::fclose);
    bool good = file && std::fwrite(data.data(), 1, data.size(), file.get()) == data.size();
    good = file && std::fclose(file.release()) == 0 && good;
    if (good && !is_special) good = std::rename(written.c_str(), path.c_str()) == 0;
    if (good) return;
    const int error = errno;
    if (!is_special) std::remove(written.c_str());
    throw Failure(fmt::format("'{}' cannot be written: {}", path, std::strerror(error)));
}

}  // namespace tagwire::tool
