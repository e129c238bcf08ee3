// Begins and ends the faults of the fault matrix on a device.
#pragma once

#include "tests/system/fault_tables.h"
#include "tests/system/held_device.h"

namespace matrix {

/// The device is on, and the running script waits. Throws std::runtime_error if the fault cannot be injected.
void beginFault(const Fault& fault, HeldDevice& device);

/// Repairs what a temporary fault has changed, and removes the drive. The device is off. Throws std::runtime_error if a
/// script has replaced a detached image.
void endFault(const HeldDevice& device);

} // namespace matrix
