// What can happen to a reader while it runs, as text: "unplug 2", "add-tag epc=E2801160 antennas=1,2".
#pragma once

#include <functional>
#include <string>

#include "scenario/scenario.h"

namespace tagwire::sim {

class Core;
struct ReaderState;

struct Order {
    std::string word;
    bool only_asks = false;
    // Needs the simulator's lock. Gives the answer; throws std::invalid_argument when it cannot be done now, and
    // nothing is changed then.
    std::function<std::string(Core&, ReaderState&)> carry_out;

    // Throws std::invalid_argument with a text that says what is allowed.
    static Order parse(const std::string& words, const ReaderSettings& reader);
    // All orders with what stands behind them, a line each.
    static std::string list();
};

}  // namespace tagwire::sim
