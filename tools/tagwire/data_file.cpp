#include "data_file.h"

#include "errors.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

int leave_open(std::FILE*) { return 0; }

File open_for_reading(const std::string& path)
{
    if (path == "-") return {stdin, leave_open};
    File file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    return file;
}

// Of a file that is made.
mode_t usual_mode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

}  // namespace

std::vector<std::uint8_t> read_file(const std::string& path, std::size_t most)
{
    const auto file = open_for_reading(path);
    std::vector<std::uint8_t> data;
    std::array<std::uint8_t, 65536> chunk{};
    while (const auto count = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        data.insert(data.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
        if (data.size() > most) throw UsageError(fmt::format("'{}' is longer than {} bytes", path, most));
    }
    if (std::ferror(file.get()) != 0)
        throw UsageError(fmt::format("'{}' cannot be read: {}", path, std::strerror(errno)));
    return data;
}

// Not a regular file, a pipe or a terminal say, is written as it is; of others a new one takes the place.
void require_writable(const std::string& path)
{
    const auto reject = [&](const char* why) {
        throw UsageError(fmt::format("'{}' cannot be written: {}", path, why));
    };
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) reject("it is a directory");
    if (access(path.c_str(), F_OK) == 0 && access(path.c_str(), W_OK) != 0) reject(std::strerror(errno));
    if (access(path.c_str(), F_OK) == 0 && !std::filesystem::is_regular_file(path, ignored)) return;
    const auto folder = std::filesystem::path(path).parent_path();
    if (access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) reject(std::strerror(errno));
}

void write_file(const std::string& path, std::span<const std::uint8_t> data)
{
    std::error_code ignored;
    struct stat before = {};
    const bool exists = stat(path.c_str(), &before) == 0;
    const bool is_special = exists && !S_ISREG(before.st_mode);
    // Where a link leads to, the new file stands.
    const auto whole = exists ? std::filesystem::canonical(path, ignored).string() : path;
    std::string written = is_special ? path : whole + ".XXXXXX";
    errno = 0;
    const int fd =
        is_special ? open(path.c_str(), O_WRONLY | O_CLOEXEC) : mkostemp(written.data(), O_CLOEXEC);
    File file(fd >= 0 ? fdopen(fd, "wb") : nullptr, std::fclose);
    bool good = file && std::fwrite(data.data(), 1, data.size(), file.get()) == data.size();
    if (good && !is_special) good = fchmod(fd, exists ? before.st_mode & 07777U : usual_mode()) == 0;
    good = file && std::fclose(file.release()) == 0 && good;
    if (good && !is_special) good = std::rename(written.c_str(), whole.c_str()) == 0;
    if (good) return;
    const int error = errno;
    if (!is_special && fd >= 0) std::remove(written.c_str());
    throw Failure(fmt::format("'{}' cannot be written: {}", path, std::strerror(error)));
}

}  // namespace tagwire::tool
