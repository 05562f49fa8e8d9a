// Answers of the extension channel.
#pragma once

#include "device/device.h"

namespace tagwire::sim {

inline constexpr std::size_t one_value = 2;  // the function's number and a byte

// The number of the function that was asked for stands before the results.
void answer_extension(Device& device, const Call& call, std::uint8_t status, const Bytes& results = {});
void refuse_function(Device& device, const Call& call);

}  // namespace tagwire::sim
