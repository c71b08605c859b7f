// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

namespace TamselCtl {

/// Prints a line for each key whose value changes, until a signal, the count or the time ends it.
/// Creates and changes no file.
EExit Watch(const SRequest& request);

}  // namespace TamselCtl
