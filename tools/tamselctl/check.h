// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

namespace TamselCtl {

/// Looks both files through and prints what is wrong with them; changes nothing.
EExit Check(const SRequest& request);

}  // namespace TamselCtl
