// Lines of a terminal that are drawn again and again.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tagwire::tool {

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;

    bool operator==(const TerminalSize&) const = default;
};

// The size of the terminal behind a descriptor, or 80 x 24 when it does not say.
TerminalSize terminal_size(int fd);

// Draws lines over those that it drew last.
class LiveScreen {
  public:
    std::string draw(const std::vector<std::string>& lines, TerminalSize size);

  private:
    std::size_t lines_drawn_ = 0;
    TerminalSize last_size_;
};

}  // namespace tagwire::tool
