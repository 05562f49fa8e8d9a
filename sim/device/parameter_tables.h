// The numbered tables in which a host may keep what it likes. A table is written in frames with running
// numbers; an empty one ends it, and only then does the new table stand in the place of the old.
#pragma once

#include <optional>

#include "scenario/service_settings.h"

namespace tagwire::sim {

inline constexpr std::size_t longest_table = 65535;
inline constexpr std::size_t longest_table_chunk = 240;

class ParameterTables {
  public:
    explicit ParameterTables(const Tables& tables) : tables_(tables), factory_(tables) {}

    Bytes table(std::uint8_t number) const;  // empty if nobody has written it
    void set(std::uint8_t number, const Bytes& table) { tables_[number] = table; }
    // Frame 0 begins anew, unless it follows frame 255. Gives the status that tells the host how it went; a
    // frame that is refused ends the writing.
    std::uint8_t write(std::uint8_t number, std::uint8_t frame, const Bytes& chunk);
    void stop_writing() { writing_.reset(); }

    void save_as_factory() { factory_ = tables_; }
    void restore_factory() { replace_all(factory_); }
    void clear() { replace_all({}); }

  private:
    struct Writing {
        std::uint8_t table = 0;
        std::uint8_t next = 0;
        Bytes bytes;
    };

    void replace_all(const Tables& tables);

    Tables tables_;
    Tables factory_;
    std::optional<Writing> writing_;
};

}  // namespace tagwire::sim
