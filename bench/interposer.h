// SPDX-License-Identifier: MIT
#pragma once

/// Interposes `flock` and `fsync` for the whole process, whichever library calls them, and forwards
/// each call to the kernel.
namespace Interposer {

/// Returns how often a non-empty file was locked, synchronised and unlocked, in this order.
unsigned int LockedSyncs();

}  // namespace Interposer
