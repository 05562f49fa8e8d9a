// Commands and their answers as text: what a test sends and what it expects, line by line.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "bench.h"

namespace tagwire::sim {

// Status and data of every answer, in hex.
inline std::vector<std::string> answers(Bench& bench, std::uint8_t code, const std::string& data)
{
    bench.command(code, from_hex(data));
    std::vector<std::string> texts;
    for (const Frame& frame : bench.frames) {
        EXPECT_EQ(frame.bytes.at(1), bench.device.address());
        EXPECT_EQ(frame.bytes.at(2), code);
        EXPECT_EQ(std::size_t{frame.bytes.at(0)} + 1, frame.bytes.size());
        texts.push_back(to_hex(Bytes(frame.bytes.begin() + 3, frame.bytes.end() - 2), " "));
    }
    return texts;
}

struct Exchange {
    std::uint8_t code;
    const char* data;
    std::vector<std::string> expected;
};

inline void run(Bench& bench, const std::vector<Exchange>& exchanges)
{
    for (std::size_t i = 0; i < exchanges.size(); ++i) {
        const Exchange& exchange = exchanges[i];
        EXPECT_EQ(answers(bench, exchange.code, exchange.data), exchange.expected)
            << "step " << i << ": command " << unsigned{exchange.code} << ", data " << exchange.data;
    }
}

}  // namespace tagwire::sim
