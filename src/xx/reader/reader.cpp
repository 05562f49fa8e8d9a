#include <algorithm>
#include <poll.h>
#include <utility>

#include "xx/reader/reader_inside.h"
#include "xx/values/regions.h"

#include <tagwirexx/error.hpp>

namespace tagwire {
inline namespace v1 {
namespace {

constexpr std::chrono::seconds longest_look_up(5);
constexpr std::chrono::seconds longest_connect(3);

// serial:auto?baud=9600 becomes serial:/dev/ttyUSB0?baud=9600.
Url with_device(Url url, const std::string& device)
{
    const auto question = std::min(url.text.find('?'), url.text.size());
    url.text = "serial:" + device + url.text.substr(question);
    url.device = device;
    return url;
}

std::unique_ptr<ReaderInside> find_reader(const Url& url, const std::string& folder)
{
    std::string tried;
    for (const auto& device : find_serial_devices(folder)) {
        try {
            return open_reader(with_device(url, device), folder);
        } catch (const Error& error) {
            tried += "\n  " + std::string(error.what());
        }
    }
    throw Error(Errc::cannot_open, "open", url.text,
                tried.empty() ? "there is no serial device that a reader could be on: is it plugged in?"
                              : "no reader answers on any serial device:" + tried);
}

Version version_of(const std::uint8_t (&bytes)[2]) { return {bytes[0], bytes[1]}; }

}  // namespace

OpenLink open_link(const Url& url)
{
    OpenLink link{.serial = url.serial, .address = url.address, .antenna_byte = url.antenna_byte};
    link.name = url.text;
    link.fd = url.serial ? open_serial(url) : connect(url, resolve(url, longest_look_up), longest_connect);
    return link;
}

std::unique_ptr<ReaderInside> open_reader(const Url& url, const std::string& folder)
{
    if (url.serial && url.device.empty()) return find_reader(url, folder);
    return std::make_unique<ReaderInside>(open_link(url));
}

Reader::Reader(std::string_view url) : inside_(open_reader(parse_url(url))) {}
Reader::Reader(std::string_view url, std::chrono::milliseconds listen_first)
{
    auto link = open_link(parse_url(url));
    pollfd watched{link.fd.get(), POLLIN, 0};
    const bool was_reading = ::poll(&watched, 1, static_cast<int>(listen_first.count())) > 0;
    inside_ = std::make_unique<ReaderInside>(std::move(link));
    if (was_reading) inside_->set_was_reading();
}
Reader::Reader(std::unique_ptr<Inside> inside) : inside_(std::move(inside)) {}
Reader::Reader(Reader&& other) noexcept = default;
Reader& Reader::operator=(Reader&& other) noexcept = default;
Reader::~Reader() = default;

const std::string& Reader::url() const noexcept { return inside_->name(); }

bool Reader::was_reading() const noexcept { return inside_->was_reading(); }

void Reader::abort() noexcept { inside_->abort(); }

void Reader::record(const std::string& path) { inside_->record(path); }

void Reader::stop_recording() { inside_->stop_recording(); }

std::uint64_t Reader::recording_lost() { return inside_->recording_lost(); }

ReaderInfo Reader::info()
{
    const engine::ReaderInformation told = inside_->ask_information();
    ReaderInfo out;
    out.address = told.address;
    out.firmware = version_of(told.version);
    out.type = told.type;
    out.protocols = told.protocols;
    out.region = region_of(told.highest_frequency, told.lowest_frequency);
    out.power = Dbm(told.power);
    out.scan_time = std::chrono::milliseconds(100) * told.scan_time;
    out.antenna_byte = told.antennas;
    out.beeps = told.beeper != 0;
    out.output_report = told.output_report;
    out.checks_antennas = told.antenna_check != 0;
    out.raw = {told.version[0],        told.version[1],       told.type,          told.protocols,
               told.highest_frequency, told.lowest_frequency, told.power,         told.scan_time,
               told.antennas,          told.beeper,           told.output_report, told.antenna_check};
    return out;
}

ModuleInfo Reader::module_info()
{
    constexpr Call call{"ask for the module", Effect::none, 4};
    std::uint8_t version[2]{};
    std::uint8_t type = 0;
    std::uint8_t protocols = 0;
    inside_->ask(call, &Operations::GetModuleDetails, version, &type, &protocols);
    return {version_of(version), type, protocols};
}

LinkCounters Reader::link_counters() { return inside_->link_counters(); }

void Reader::restart() { inside_->ask({"restart the reader", Effect::change}, &Operations::ResetReader); }

}  // namespace v1
}  // namespace tagwire
