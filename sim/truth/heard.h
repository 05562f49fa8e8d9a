// A tag of which a frame tells, and the port that heard it; and why such a frame did not get through.
#pragma once

#include "bytes.h"

namespace tagwire::sim {

struct Heard {
    Bytes epc;  // as it shows it; of tags other than Gen2 the ID
    Bytes tid;  // as it is, hidden or not
    unsigned port = 0;
};

// Besides the faults, which are told by their names.
namespace loss {
inline constexpr const char* slow_peer = "slow peer";      // reads too slowly
inline constexpr const char* hung_up = "hung up";          // the connection was over
inline constexpr const char* nobody = "nobody connected";  // of what is pushed to everyone
inline constexpr const char* no_power = "power";           // the reader had not sent it yet
inline constexpr const char* restart = "restart";          // likewise
}  // namespace loss

}  // namespace tagwire::sim
