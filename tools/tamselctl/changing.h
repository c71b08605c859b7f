// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

/// \file
/// The commands that change the overlay, each by one write. They read it again right before.

namespace TamselCtl {

EExit Set(const SRequest& request);
EExit Restore(const SRequest& request);
EExit Erase(const SRequest& request);
EExit Import(const SRequest& request);

}  // namespace TamselCtl
