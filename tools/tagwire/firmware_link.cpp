#include "firmware_link.h"

#include "errors.h"
#include "reader_information.h"
#include "tagwire/reading.h"
#include "tagwire/result.h"
#include "tagwire/update.h"

#include <utility>

namespace tagwire::tool {

ConnectedUpdateLink::ConnectedUpdateLink(std::unique_ptr<ReaderConnection> reader,
                                         std::function<void(std::chrono::milliseconds)> wait)
    : reader_(std::move(reader)), wait_(std::move(wait)), url_(reader_->url()), address_(reader_->address())
{}

int ConnectedUpdateLink::begin() { return exchange(ChangeToUpdateMode); }

int ConnectedUpdateLink::write(std::uint8_t number, std::span<const std::uint8_t> block)
{
    Bytes bytes(block.begin(), block.end());
    return exchange(WriteBinData, number, bytes.data(), static_cast<int>(bytes.size()));
}

int ConnectedUpdateLink::checksum(Checksum& checksum) { return exchange(CheckCRC32, checksum.data()); }

int ConnectedUpdateLink::mark() { return exchange(WriteMark); }

bool ConnectedUpdateLink::ask_version(FirmwareVersion& version)
{
    if (!reader_) return false;
    try {
        version = read_information(*reader_).version;
        return true;
    } catch (const Failure&) {
        return false;
    }
}

// A serial line says at once that nothing is there, TCP after a second.
void ConnectedUpdateLink::listen()
{
    using std::chrono::milliseconds;
    constexpr milliseconds silence{300};
    constexpr milliseconds longest{3000};
    const auto end = now() + longest;
    auto last_heard = now();
    Bytes bytes(2048);
    while (now() < end && now() < last_heard + silence) {
        int count = 0;
        const int code = ReadActiveModeData(bytes.data(), &count, handle());
        if (code == TAGWIRE_OK) last_heard = now();
        if (code != TAGWIRE_OK && code != TAGWIRE_NO_DATA) return;
    }
}

void ConnectedUpdateLink::reconnect()
{
    reader_.reset();
    try {
        reader_ = std::make_unique<ReaderConnection>(url_, address_);
    } catch (const Failure&) {
        reader_.reset();
    }
}

void ConnectedUpdateLink::pause(std::chrono::milliseconds time) { wait_(time); }

UpdateLink::Clock::time_point ConnectedUpdateLink::now() const { return Clock::now(); }

}  // namespace tagwire::tool
