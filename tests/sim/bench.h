// A virtual reader on the bench: time stands still unless a test moves it, frames land in a list.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bytes.h"
#include "device/device.h"
#include "transport/wire.h"

namespace tagwire::sim {

struct Frame {
    ConnectionId to = 0;
    Bytes lead;
    Bytes bytes;
    FrameKind kind = FrameKind::answer;
    std::vector<Heard> heard{};

    std::uint8_t status() const { return bytes.at(3); }
};

class Bench : public Wire {
  public:
    explicit Bench(const Scenario& scenario) : device(scenario, *this) {}
    explicit Bench(const std::string& toml) : Bench(Scenario::from_text(toml)) {}

    void send(ConnectionId to, const Bytes& lead, Bytes frame, FrameKind kind,
              std::vector<Heard> heard) override
    {
        frames.push_back({to, lead, std::move(frame), kind, std::move(heard)});
    }
    void lose(ConnectionId, FrameKind, const std::vector<Heard>& heard, std::string_view why) override
    {
        for (const Heard& tag : heard) lost.emplace_back(why, tag);
    }
    bool has_room(ConnectionId) const override { return room; }
    std::vector<ConnectionId> peers() const override { return connected; }

    // Hands in a request and gives back, in hex, all frames that it brings forth at this moment.
    std::vector<std::string> ask(const std::string& frame, ConnectionId from = 1)
    {
        frames.clear();
        RequestParser parser;
        const Bytes bytes = from_hex(frame);
        parser.feed(now, bytes.data(), bytes.size());
        while (const auto request = parser.next()) device.receive(now, from, *request);
        return hex();
    }

    // A request from its parts.
    std::vector<std::string> command(std::uint8_t code, const Bytes& data = {}, ConnectionId from = 1)
    {
        Bytes frame{static_cast<std::uint8_t>(data.size() + 4), device.address(), code};
        append(frame, data);
        frame.resize(frame.size() + 2);
        seal(frame);
        return ask(to_hex(frame), from);
    }

    void pass(Time time)
    {
        const Time end = now + time;
        while (true) {
            const auto next = device.next_event();
            if (!next || *next > end) break;
            now = std::max(now, *next);
            device.advance(now);
        }
        now = end;
        device.advance(now);
    }

    std::vector<std::string> hex() const
    {
        std::vector<std::string> texts;
        for (const Frame& frame : frames) {
            Bytes all = frame.lead;
            append(all, frame.bytes);
            texts.push_back(to_hex(all, " "));
        }
        return texts;
    }

    // The IDs of all plain records, frame by frame.
    std::vector<std::string> ids() const
    {
        std::vector<std::string> texts;
        for (const Frame& frame : frames) {
            if (frame.status() > status::more_follow || frame.status() == 0) continue;
            std::size_t at = 6;
            for (unsigned n = frame.bytes.at(5); n > 0; --n) {
                const std::size_t length = frame.bytes.at(at) & 0x3FU;
                const bool phase = (frame.bytes.at(at) & 0x40U) != 0;
                texts.push_back(
                    to_hex(Bytes(frame.bytes.begin() + static_cast<std::ptrdiff_t>(at + 1),
                                 frame.bytes.begin() + static_cast<std::ptrdiff_t>(at + 1 + length))));
                at += length + 2 + (phase ? 7 : 0);
            }
            EXPECT_EQ(at + 2, frame.bytes.size());
        }
        return texts;
    }

    Device device;
    std::vector<Frame> frames;
    std::vector<std::pair<std::string, Heard>> lost;  // and why
    Time now{};
    bool room = true;
    std::vector<ConnectionId> connected{1};
};

}  // namespace tagwire::sim
