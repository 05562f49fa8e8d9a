// The reader's AT mode, in which it passes bytes to its communication module.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "connection.h"

namespace tagwire::tool {

// Most bytes that go to the module with one request, and most that come back with it.
inline constexpr std::size_t most_at_bytes = 250;

struct AtAnswer {
    int code = 0;
    std::string text;  // also what came before a failure
};

// A reader in the AT mode, from construction on until leave or the end.
class AtSession {
  public:
    // `wait` is how long the reader waits for the module, in its own units. Throws Failure when the reader
    // does not go into the mode; it is left in no case then.
    AtSession(const ReaderConnection& reader, std::uint8_t wait);
    ~AtSession();
    AtSession(const AtSession&) = delete;
    AtSession& operator=(const AtSession&) = delete;

    // Passes a line with its end, in pieces where it is long, and gets what the module says. An empty line
    // passes nothing.
    AtAnswer pass(std::string_view line);

    // Returns the result of the library, after a second attempt when the first one's answer was lost.
    int leave();

  private:
    int change_mode(std::uint8_t mode) const;
    std::size_t exchange(std::string_view bytes, AtAnswer& answer) const;
    void fetch_rest(std::size_t latest, AtAnswer& answer) const;

    const ReaderConnection& reader_;
    std::uint8_t wait_;
    bool is_inside_ = true;
};

// The module's lines without empty ones and without its echo of the command.
std::vector<std::string> answer_lines(std::string_view answer, std::string_view command);

}  // namespace tagwire::tool
