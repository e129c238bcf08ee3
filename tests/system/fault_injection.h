// Begins and ends the faults of the fault matrix on a device.
#pragma once

#include "tests/system/fault_tables.h"
#include "tests/system/held_device.h"

namespace matrix {

/// The device must be on; a running script must be waiting for `release`. Throws std::runtime_error if the fault
/// cannot be injected.
void beginFault(const Fault& fault, HeldDevice& device);

/// Repairs what a temporary fault has changed, and removes the drive. The device must be off. Throws std::runtime_error
/// if a script has replaced a detached image.
void endFault(const HeldDevice& device);

} // namespace matrix
