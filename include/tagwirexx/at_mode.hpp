// A reader's communication module, talked to in AT commands.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <tagwirexx/api.hpp>

namespace tagwire {
inline namespace v1 {

class Reader;
class ReaderInside;

// A Reader on a serial line in its AT mode: from Reader::at_mode() until leave(), or until this is destroyed,
// which leaves too and tells nobody how that went. Of its Reader, as long as that lives; as a Reader for
// threads and errors.
class TAGWIREXX_API AtMode {
  public:
    AtMode(AtMode&& other) noexcept;
    AtMode& operator=(AtMode&& other) noexcept;
    ~AtMode();

    // Passes a line and its end, in pieces where it is long, and returns what the module says, an ERROR too.
    // An empty line passes nothing. No control characters. Where an answer was lost the mode goes on; a reader
    // that left it by a restart shows in Errc::bad_answer.
    std::string send(std::string_view line);
    // The lines of it, without empty ones and without the module's echo of the command.
    std::vector<std::string> ask(std::string_view line);
    // Tries twice where the answer is lost. Where it throws, it may be called again.
    void leave();

  private:
    friend class Reader;
    AtMode(ReaderInside& inside, int wait);

    ReaderInside* inside_ = nullptr;  // null once it has been left
    int wait_ = 0;
};

}  // namespace v1
}  // namespace tagwire
