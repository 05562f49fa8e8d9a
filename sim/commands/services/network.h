// Questions to readers with a modem, which share a code with others.
#pragma once

#include "device/device.h"

namespace tagwire::sim {

void tell_modem(Device& device, const Call& call);

}  // namespace tagwire::sim
