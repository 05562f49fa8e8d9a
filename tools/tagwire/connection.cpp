#include "connection.h"

#include "errors.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tagwire/connection.h"
#include "tagwire/result.h"

namespace tagwire::tool {

namespace {

// More than the number says: whether the device is there, and whether it may be opened.
std::string open_failure_text(int code, const ReaderUrl& url)
{
    auto text = result_text(code, Operation::Open, url);
    if (code != TAGWIRE_NO_DEVICE || access(url.device.c_str(), R_OK | W_OK) == 0) return text;
    return fmt::format("{} [{}: {}]", text, url.device, std::strerror(errno));
}

}  // namespace

std::string resolve(const std::string& host)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(host.c_str(), nullptr, &hints, &list);
    if (error != 0) {
        throw Failure(fmt::format("host '{}' has no IPv4 address: {}", host, gai_strerror(error)));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);

    sockaddr_in address{};
    std::memcpy(&address, list->ai_addr, sizeof address);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data();
}

ReaderConnection::ReaderConnection(const ReaderUrl& url, std::uint8_t address) : url_(url), address_(address)
{
    const int code = open();
    if (code != TAGWIRE_OK) throw Failure(open_failure_text(code, url_));
}

ReaderConnection::~ReaderConnection()
{
    if (handle_ >= 0) close();
}

void ReaderConnection::require_success(int code, Operation operation) const
{
    if (code != TAGWIRE_OK) throw Failure(text(code, operation));
}

void ReaderConnection::require_success(const TagResult& result, Operation operation) const
{
    if (!result.is_success()) throw Failure(text(result, operation));
}

int ReaderConnection::open()
{
    switch (url_.link) {
    case Link::Tcp: return open_tcp();
    case Link::Serial: return open_serial();
    case Link::SerialAuto: return open_any_serial();
    }
    return TAGWIRE_BAD_ARGUMENT;
}

int ReaderConnection::open_tcp()
{
    auto host = resolve(url_.host);
    return OpenNetPort(url_.port, host.data(), &address_, &handle_);
}

int ReaderConnection::open_serial()
{
    return OpenComPort(url_.device.data(), &address_, baud_index(url_.baud), &handle_);
}

int ReaderConnection::open_any_serial()
{
    std::array<char, 64> device{};
    const int code = AutoOpenComPort(device.data(), &address_, baud_index(url_.baud), &handle_);
    if (code != TAGWIRE_OK) return code;
    url_.link = Link::Serial;
    url_.device = device.data();
    return code;
}

int ReaderConnection::close()
{
    const int handle = std::exchange(handle_, -1);
    return url_.link == Link::Tcp ? CloseNetPort(handle) : CloseSpecComPort(handle);
}

}  // namespace tagwire::tool
