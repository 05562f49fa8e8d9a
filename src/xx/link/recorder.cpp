#include "xx/link/recorder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <tagwirexx/error.hpp>
#include <tagwirexx/recording.hpp>

#include "link/crc16.h"
#include "link/signals.h"

namespace tagwire {
inline namespace v1 {
namespace {

constexpr std::string_view magic = "tagwire-record 1";
constexpr std::size_t head_size = 4 + 1 + 2 + 8;
constexpr std::size_t crc_size = 2;

[[noreturn]] void refuse(const std::string& path, const std::string& text)
{
    throw Error(Errc::file, "recording", path, text);
}

void put_number(Bytes& to, std::uint64_t value, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8U * i));
}

std::uint64_t number_at(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t size)
{
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) value = value << 8U | bytes[at + i - 1];
    return value;
}

struct RecordView {
    Recorder::Kind kind;
    std::uint16_t source;
    std::int64_t time;
    std::span<const std::uint8_t> payload;
};

// The whole records of a file behind its first bytes; returns where they end.
template <class Take> std::size_t walk(std::span<const std::uint8_t> file, Take take)
{
    if (file.size() < magic.size()) return 0;
    std::size_t at = magic.size();
    while (file.size() - at >= head_size + crc_size) {
        const std::size_t payload = number_at(file, at, 4);
        if (payload > file.size() - at - head_size - crc_size) break;
        const std::size_t whole = head_size + payload + crc_size;
        if (engine::crc16(file.data() + at, whole) != 0) break;
        take(RecordView{
            static_cast<Recorder::Kind>(file[at + 4]), static_cast<std::uint16_t>(number_at(file, at + 5, 2)),
            static_cast<std::int64_t>(number_at(file, at + 7, 8)), file.subspan(at + head_size, payload)});
        at += whole;
    }
    return at;
}

// Also where the file ends within its first bytes, after a crash.
bool begins_well(std::span<const std::uint8_t> file)
{
    const std::size_t size = std::min(file.size(), magic.size());
    return std::equal(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size), magic.begin());
}

Bytes contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path))
        refuse(path, "cannot be read: " + std::generic_category().message(errno));
    return {std::istreambuf_iterator<char>(file), {}};
}

// Where the next record goes; what is torn behind it is cut off.
Descriptor open_for_appending(const std::string& path)
{
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (!file) refuse(path, "cannot be written: " + std::generic_category().message(errno));
    struct stat about {};
    if (::fstat(file.get(), &about) != 0 || about.st_size == 0) {
        ::fchmod(file.get(), 0600);
        return file;
    }
    const Bytes before = contents_of(path);
    if (!begins_well(before)) refuse(path, "is there already and is no recording: choose another name");
    const std::size_t end = walk(before, [](const RecordView&) {});
    if (end < before.size() && ::ftruncate(file.get(), static_cast<off_t>(end)) != 0)
        refuse(path, "its torn end cannot be cut off: " + std::generic_category().message(errno));
    return file;
}

bool is_empty(int fd)
{
    struct stat about {};
    return ::fstat(fd, &about) == 0 && about.st_size == 0;
}

// False when the file takes nothing more.
bool write_all(int fd, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

Recorder::Recorder(const std::string& path)
    : path_(path), file_(open_for_appending(path)), begin_(std::chrono::steady_clock::now())
{
    if (is_empty(file_.get())) waiting_.assign(magic.begin(), magic.end());
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    append(0, Kind::session, std::chrono::nanoseconds(now).count(), {});
    const engine::AsynchronousSignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
}

void Recorder::finish()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    something_.notify_one();
    if (thread_.joinable()) thread_.join();
}

std::uint16_t Recorder::add_source(const std::string& name)
{
    const std::lock_guard lock(mutex_);
    const std::uint16_t number = sources_++;
    append(number, Kind::source, elapsed(),
           {reinterpret_cast<const std::uint8_t*>(name.data()), name.size()});
    something_.notify_one();
    return number;
}

void Recorder::note(std::uint16_t source, Kind kind, std::span<const std::uint8_t> bytes) noexcept
{
    try {
        const std::lock_guard lock(mutex_);
        if (ending_) return;
        if (waiting_.size() + bytes.size() > most_waiting) {
            lost_ += bytes.size();
            lost_since_ += bytes.size();
            return;
        }
        if (lost_since_ != 0) {
            Bytes count;
            put_number(count, std::exchange(lost_since_, 0), 8);
            append(source, Kind::lost, elapsed(), count);
        }
        append(source, kind, elapsed(), bytes);
    } catch (const std::bad_alloc&) {
        const std::lock_guard lock(mutex_);
        lost_ += bytes.size();
        lost_since_ += bytes.size();
    }
    something_.notify_one();
}

std::uint64_t Recorder::lost_bytes() const
{
    const std::lock_guard lock(mutex_);
    return lost_;
}

void Recorder::append(std::uint16_t source, Kind kind, std::int64_t time,
                      std::span<const std::uint8_t> payload)
{
    const std::size_t begin = waiting_.size();
    // At once, so that no half of it stays where memory is short.
    const std::size_t needed = begin + head_size + payload.size() + crc_size;
    if (waiting_.capacity() < needed) waiting_.reserve(std::max(needed, 2 * waiting_.capacity()));
    put_number(waiting_, payload.size(), 4);
    waiting_.push_back(static_cast<std::uint8_t>(kind));
    put_number(waiting_, source, 2);
    put_number(waiting_, static_cast<std::uint64_t>(time), 8);
    waiting_.insert(waiting_.end(), payload.begin(), payload.end());
    put_number(waiting_, engine::crc16(waiting_.data() + begin, waiting_.size() - begin), 2);
}

std::int64_t Recorder::elapsed() const
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - begin_).count();
}

void Recorder::run()
{
    Bytes writing;
    std::unique_lock lock(mutex_);
    for (;;) {
        something_.wait(lock, [&] { return !waiting_.empty() || ending_; });
        if (waiting_.empty()) return;
        writing.clear();
        std::swap(writing, waiting_);
        lock.unlock();
        const bool written = write_whole(writing);
        lock.lock();
        if (written) continue;
        lost_ += writing.size();
        lost_since_ += writing.size();
    }
}

// All of it or nothing: what follows must be found.
bool Recorder::write_whole(const Bytes& batch) const
{
    struct stat before {};
    if (::fstat(file_.get(), &before) != 0) return false;
    if (write_all(file_.get(), batch)) return true;
    const bool is_cut = ::ftruncate(file_.get(), before.st_size) == 0;
    static_cast<void>(is_cut);  // what stays torn is cut off when the file is appended to
    return false;
}

std::vector<Recorded> load_recording(const std::string& path)
{
    const Bytes file = contents_of(path);
    if (!begins_well(file)) refuse(path, "is no recording");
    std::vector<Recorded> out;
    std::map<std::uint16_t, std::string> names;
    std::chrono::system_clock::time_point begin;
    std::uint64_t lost = 0;
    const auto at = [](std::int64_t nanoseconds) {
        return std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::nanoseconds(nanoseconds));
    };
    walk(file, [&](const RecordView& record) {
        switch (record.kind) {
        case Recorder::Kind::session:
            names.clear();
            begin = std::chrono::system_clock::time_point(at(record.time));
            break;
        case Recorder::Kind::source:
            names[record.source].assign(record.payload.begin(), record.payload.end());
            break;
        case Recorder::Kind::lost:
            lost += record.payload.size() == 8 ? number_at(record.payload, 0, 8) : 0;
            break;
        case Recorder::Kind::received:
        case Recorder::Kind::sent:
            out.push_back({names[record.source], record.kind == Recorder::Kind::sent, begin + at(record.time),
                           Bytes(record.payload.begin(), record.payload.end()), std::exchange(lost, 0)});
            break;
        }
    });
    return out;
}

}  // namespace v1
}  // namespace tagwire
