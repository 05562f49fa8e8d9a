// The host's side of a connection, as plain bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bytes.h"
#include "transport/descriptor.h"
#include "transport/wire.h"

namespace tagwire::sim {

class Peer {
  public:
    static Peer connect(std::uint16_t port, const std::string& address = "127.0.0.1", int receive_buffer = 0)
    {
        Peer peer = unconnected();
        if (receive_buffer > 0) {
            ::setsockopt(peer.fd(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        }
        peer.connect_to(port, address);
        return peer;
    }

    static Peer unconnected() { return Peer(Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))); }

    static Peer open(const std::string& path)
    {
        Peer peer(Descriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)));
        EXPECT_GE(peer.fd(), 0) << path;
        return peer;
    }

    void connect_to(std::uint16_t port, const std::string& address = "127.0.0.1")
    {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_port = htons(port);
        ::inet_pton(AF_INET, address.c_str(), &place.sin_addr);
        EXPECT_EQ(::connect(fd(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    }

    int fd() const { return descriptor_.get(); }
    void close() { descriptor_.reset(); }

    void send(const std::string& hex)
    {
        const Bytes bytes = from_hex(hex);
        EXPECT_EQ(::write(fd(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    // A request to address 0.
    void send_command(std::uint8_t command, const std::string& data = {})
    {
        Bytes frame{0, 0, command};
        append(frame, from_hex(data));
        frame[0] = static_cast<std::uint8_t>(frame.size() + 1);
        frame.resize(frame.size() + 2);
        seal(frame);
        send(to_hex(frame));
    }

    // The next so many bytes; fewer when the connection ends or nothing comes for long.
    std::string receive(std::size_t count)
    {
        Bytes bytes;
        while (bytes.size() < count && wait()) {
            std::array<std::uint8_t, 4096> chunk{};
            const std::size_t wanted = std::min(chunk.size(), count - bytes.size());
            const ssize_t got = ::read(fd(), chunk.data(), wanted);
            if (got <= 0) break;
            bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + got);
        }
        return to_hex(bytes, " ");
    }

    std::string receive_frame()
    {
        const std::string first = receive(1);
        if (first.empty()) return first;
        return first + ' ' + receive(from_hex(first)[0]);
    }

    // True when nothing but the end of the connection is left.
    bool is_hung_up()
    {
        if (!wait()) return false;
        std::uint8_t byte = 0;
        return ::read(fd(), &byte, 1) <= 0;
    }

  private:
    explicit Peer(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    bool wait() const
    {
        pollfd watched{fd(), POLLIN, 0};
        return ::poll(&watched, 1, 10000) == 1;
    }

    Descriptor descriptor_;
};

}  // namespace tagwire::sim
