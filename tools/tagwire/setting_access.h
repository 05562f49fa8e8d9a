// Reads and writes the settings of an open reader.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "connection.h"
#include "setting_catalogue.h"

namespace tagwire::tool {

struct Change {
    const Setting* setting;
    Bytes value;
};

// Changes by the command that writes them, in the order in which they are to be written. Throws UsageError
// when a command needs a value that is neither given nor can be read.
std::vector<std::vector<Change>> grouped(std::vector<Change> changes);

// Every function throws Failure when the reader does not answer any more. A reader that reports by itself
// meanwhile is asked again.
class SettingAccess {
  public:
    SettingAccess(const ReaderConnection& reader, bool two_way);

    // A result other than 0: the reader does not serve this setting.
    struct Reading {
        int code = 0;
        Bytes bytes;
        bool is_served() const { return code == 0; }
    };
    // What was read is remembered until the next write.
    Reading read(const Setting& setting);
    void forget() { answers_.clear(); }

    // Changes of one command. Returns the result of the library. After a new address or speed goes on with
    // that.
    int write(std::span<const Change> group);

    std::string text(int code) const { return reader_.text(code, Operation::Settings); }

  private:
    using Request = std::function<int(const SettingCall&)>;

    const Reading& answer(const Source& source, std::uint8_t index);
    int exchange(std::uint8_t index, const Request& request);
    SettingCall call_to(std::uint8_t& address, std::uint8_t index) const;
    // An answer to this is the latest there is: what came before belongs to earlier commands.
    bool answers_at(std::uint8_t address);
    void require_answer(int code);
    int block_of(std::span<const Change> group, Bytes& block);
    int write_address(const Writer& writer, Bytes& block);
    int write_baud(const Writer& writer, Bytes& block);

    const ReaderConnection& reader_;
    std::uint8_t address_;
    std::uint8_t line_speed_ = 0;
    bool two_way_;
    std::map<std::pair<const Source*, std::uint8_t>, Reading> answers_;
    std::set<const Source*> unknown_;
};

}  // namespace tagwire::tool
