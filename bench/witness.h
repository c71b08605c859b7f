// SPDX-License-Identifier: MIT
#pragma once

/// Sees every `flock` and `fsync` of this process, whichever library calls them, and passes them
/// on.
namespace Witness {

/// Gives how often a file was locked, synchronised with text in it, and unlocked, in this order.
unsigned int LockedSyncs();

}  // namespace Witness
