// Opening the way to a reader: a TCP connection, or a serial device.
#pragma once

#include <chrono>
#include <netinet/in.h>
#include <string>
#include <vector>

#include "xx/link/descriptors.h"
#include "xx/values/url.h"

namespace tagwire {
inline namespace v1 {

// Finds the IPv4 addresses of a host; 0, or an error of getaddrinfo().
using LookUp = int (*)(const std::string& host, std::vector<in_addr>& out);
int look_up(const std::string& host, std::vector<in_addr>& out);

// A look-up that is not over in time is left behind, and ends by itself. Throws Error.
std::vector<in_addr> resolve(const Url& url, std::chrono::milliseconds limit, LookUp find = look_up);

// A socket that never blocks, on its way to the address; a peer that dies is noticed within 15 s. Throws
// Error where no descriptor is left. Otherwise `error` is what connect() gave.
Descriptor begin_connect(const in_addr& host, std::uint16_t port, int& error);

// What went wrong with a connection that was to be made, and what to do.
std::string connect_failure_text(const std::string& place, int error);

// Tries one address after the other. Throws Error.
Descriptor connect(const Url& url, const std::vector<in_addr>& hosts, std::chrono::milliseconds limit);

// A serial device that is this connection's and nobody else's, until it is closed; with its speed set and nothing
// unread on it. Throws Error.
Descriptor open_serial(const Url& url);

// Where a reader may be: USB and board serial lines, without those that serve as a console or as standard
// input. Each device once.
std::vector<std::string> find_serial_devices(const std::string& folder = "/dev");

}  // namespace v1
}  // namespace tagwire
