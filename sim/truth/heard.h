// A tag of which a frame tells, and the port that heard it.
#pragma once

#include "bytes.h"

namespace tagwire::sim {

struct Heard {
    Bytes epc;  // as it shows it; of tags other than Gen2 the ID
    Bytes tid;  // as it is, hidden or not
    unsigned port = 0;
};

}  // namespace tagwire::sim
