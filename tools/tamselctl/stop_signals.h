// SPDX-License-Identifier: MIT
#pragma once

namespace TamselCtl {

/// From now on an interruption, a hang-up or a request to end kills nothing: it is noted, and it
/// ends whatever system call waits. So no write of ours is cut short by Ctrl-C.
void CatchStopSignals();

/// Tells whether one of these signals has come.
bool IsStopAsked();

}  // namespace TamselCtl
