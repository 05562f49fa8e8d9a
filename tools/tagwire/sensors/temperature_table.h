// The temperatures of many tags over time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tagwirexx/sensors.hpp>

#include "live_screen.h"

namespace tagwire::tool {

class TemperatureTable {
  public:
    struct Row {
        Temperature latest;
        std::optional<double> lowest;
        std::optional<double> highest;
        std::uint64_t reads = 0;
    };

    void add(const Temperature& measured);

    // In the order of the first read.
    const std::vector<Row>& rows() const { return rows_; }
    std::uint64_t reads() const { return reads_; }

  private:
    std::vector<Row> rows_;
    std::map<std::pair<Epc, std::optional<Tid>>, std::size_t> places_;
    std::uint64_t reads_ = 0;
};

// At most size.rows - 1 lines of at most size.columns characters.
std::vector<std::string> render_temperatures(const TemperatureTable& table, TerminalSize size,
                                             std::chrono::steady_clock::time_point now);

}  // namespace tagwire::tool
