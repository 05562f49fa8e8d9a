// The live table of a terminal: what it shows, and how the keys change it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tagwirexx/stream.hpp>

#include "live_screen.h"
#include "style.h"
#include "tag_table.h"

namespace tagwire::tool {

struct ReaderLine {
    std::string name;
    State state = State::connecting;
    std::string reason;
    Counters counters;
    double rate = 0;
};

struct LiveState {
    TagTable tags;
    std::vector<ReaderLine> readers;
    std::chrono::duration<double> elapsed{};
    double rate = 0;
};

enum class SortBy { first_seen, id, port, rssi, count, rate, age };

// What the keys choose.
class LiveView {
  public:
    // False for the key that ends the table.
    bool press(char key);

    bool is_paused() const { return paused_; }
    // At most size.rows - 1 lines of at most size.columns characters, besides what colours them.
    std::vector<std::string> render(const LiveState& state, TerminalSize size, const Received& now,
                                    bool colours) const;

  private:
    bool press_in_filter(char key);
    std::string head_line(const LiveState& state) const;
    std::string foot_line(std::size_t hidden) const;
    std::vector<const TagRow*> chosen_rows(const LiveState& state, const Received& now) const;

    SortBy sort_ = SortBy::first_seen;
    bool paused_ = false;
    bool is_typing_ = false;
    std::string filter_;
};

}  // namespace tagwire::tool
