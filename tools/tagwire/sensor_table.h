// The temperatures of many tags over time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "reports.h"
#include "sensor_values.h"
#include "live_screen.h"
#include "tag_table.h"

namespace tagwire::tool {

class TemperatureTable {
  public:
    struct Row {
        TemperatureRecord latest;
        std::optional<double> lowest;
        std::optional<double> highest;
        std::uint64_t reads = 0;
        Moment last;
    };

    void add(const TemperatureRecord& record, const Moment& at);

    // In the order of the first read.
    const std::vector<Row>& rows() const { return rows_; }
    std::uint64_t reads() const { return reads_; }

  private:
    std::vector<Row> rows_;
    std::unordered_map<std::string, std::size_t> row_of_epc_;
    std::uint64_t reads_ = 0;
};

// At most size.rows - 1 lines of at most size.columns characters.
std::vector<std::string> render_temperatures(const TemperatureTable& table, TerminalSize size,
                                             const Moment& now);

}  // namespace tagwire::tool
