// What really happened, line by line in a file: which tag was in whose field from when to when, and what became of
// everything that was told of a tag.
#pragma once

#include <chrono>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "device/device.h"
#include "truth/heard.h"

namespace tagwire::sim {

// A frame that tells of tags.
struct Telling {
    const Device& device;
    unsigned reader;          // counts from 1
    ConnectionId connection;  // to which it goes; 0: to none
    FrameKind kind;
    const std::vector<Heard>& tags;
};

class Truth {
  public:
    // Throws std::system_error when the file cannot be written. `now` is the simulator's time.
    Truth(const std::string& path, Time now);

    // Times are the simulator's, readers count from 1.
    void enters(Time at, unsigned reader, std::uint8_t antenna, const Heard& tag);  // with its antenna byte
    void leaves(Time at, Time since, unsigned reader, const Heard& tag);
    void sent(Time at, const Telling& frame);
    void destroyed(Time at, const Telling& frame, std::string_view why);
    void flush() { file_.flush(); }
    bool is_at(const std::string& path) const;
    // Throws std::system_error when not all of it is in the file.
    void end(Time at);

  private:
    class Line;

    std::string path_;
    std::ofstream file_;
    std::chrono::system_clock::time_point start_;  // of the simulator
};

}  // namespace tagwire::sim
