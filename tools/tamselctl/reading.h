// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

/// \file
/// The commands that look once. They create and change no file.

namespace TamselCtl {

EExit Get(const SRequest& request);
EExit List(const SRequest& request);
EExit Keys(const SRequest& request);
EExit Diff(const SRequest& request);
EExit Export(const SRequest& request);

}  // namespace TamselCtl
