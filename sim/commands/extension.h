// Answers of the extension channel.
#pragma once

#include "device.h"

namespace tagwire::sim {

// The number of the function that was asked for stands before the results.
void answer_extension(Device& device, const Call& call, std::uint8_t status, const Bytes& results = {});

}  // namespace tagwire::sim
