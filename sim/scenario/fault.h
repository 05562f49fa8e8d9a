// Faults that strike what a virtual reader sends, or keep it from answering.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bytes.h"

namespace tagwire::sim {

struct Fault {
    enum class Kind {
        split,     // the frame goes out in pieces, cut at `at`, with `gap` between them
        delay,     // the frame goes out `gap` later
        noise,     // `bytes` go out before the frame
        trail,     // `bytes` go out behind the frame
        flip,      // bit `bit` of byte `index` is flipped, the CRC is left as it was
        set_byte,  // byte `index` becomes `value`, the CRC is made to fit
        lose,      // the frame does not go out
        hang_up,   // after `index` bytes of the frame the connection is closed
        silence,   // requests are not answered nor acted on
        error,     // requests are answered with the status `value` and no data, and not acted on
        power,     // once a request has been served, the reader loses its power for a moment
    };
    static constexpr std::size_t kinds = 11;
    enum class Target { answers, reports, all };

    Kind kind = Kind::lose;
    Target target = Target::answers;
    // Frames (of silence, error and power: requests) that it strikes; 0: all, until cleared.
    std::uint64_t count = 1;
    std::uint64_t skip = 0;               // frames that it lets pass before
    std::optional<std::uint8_t> command;  // strikes only this command; reports are 0xEE
    ConnectionId connection = 0;          // strikes only this connection; 0: all
    double chance = 1;                    // share of the frames that it strikes, where it would strike all
    Time from{};                          // since the reader's start
    std::optional<Time> until;

    std::vector<std::size_t> at;
    Time gap{};
    Bytes bytes;
    std::size_t index = 0;
    unsigned bit = 0;
    std::uint8_t value = 0;

    static Fault split(std::vector<std::size_t> at, Time gap);
    static Fault delay(Time by);
    static Fault noise(Bytes bytes);
    static Fault trail(Bytes bytes);
    static Fault flip(std::size_t index, unsigned bit = 0);
    static Fault set_byte(std::size_t index, std::uint8_t value);
    static Fault lose(std::uint64_t count = 1);
    static Fault hang_up(std::size_t after_bytes);
    static Fault silence(std::uint64_t requests = 0);
    static Fault error(std::uint8_t command, std::uint8_t status, std::uint64_t count = 1);
    static Fault power_loss(std::uint8_t command, std::uint64_t skip = 0);

    // From text such as "lose:count=3" or "split:at=2+7,ms=5". Throws std::invalid_argument with a text that
    // says what is wrong.
    static Fault parse(const std::string& text);
    static std::string_view name(Kind kind);  // as there
};

// How often faults of each kind struck.
using FaultCounts = std::array<std::uint64_t, Fault::kinds>;

}  // namespace tagwire::sim
