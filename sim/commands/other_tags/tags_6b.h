// Inventories of ISO 18000-6B tags, whose command codes also start and stop continuous reading.
#pragma once

#include "device/device.h"

namespace tagwire::sim {

inline constexpr std::size_t multiple_6b_size = 11;  // data bytes of the conditional inventory

void inventory_single_6b(Device& device, const Call& call);
void inventory_multiple_6b(Device& device, const Call& call);

}  // namespace tagwire::sim
