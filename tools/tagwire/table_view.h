// The live table of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tag_table.h"

namespace tagwire::tool {

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;

    bool operator==(const TerminalSize&) const = default;
};

// The size of the terminal behind a descriptor, or 80 x 24 when it does not say.
TerminalSize terminal_size(int fd);

struct TableStatus {
    std::chrono::duration<double> elapsed{};
    double rate = 0;
    std::uint64_t dropped = 0;
};

// At most size.rows - 1 lines of at most size.columns characters.
std::vector<std::string> render_table(const TagTable& table, const TableStatus& status, TerminalSize size,
                                      const Moment& now);

// Draws lines over those that it drew last.
class LiveScreen {
  public:
    std::string draw(const std::vector<std::string>& lines, TerminalSize size);

  private:
    std::size_t lines_drawn_ = 0;
    TerminalSize last_size_;
};

}  // namespace tagwire::tool
