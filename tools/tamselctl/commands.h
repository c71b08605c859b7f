// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"

namespace TamselCtl {

// reading.cpp: look once; create nothing, and change nothing but to complete an interrupted change.
TPrepare PrepareGet, PrepareList, PrepareKeys, PrepareDiff, PrepareExport;

// changing.cpp: change the overlay, each by one write.
TPrepare PrepareSet, PrepareRestore, PrepareErase, PrepareImport, PrepareRecover;

// check.cpp, watch.cpp
TPrepare PrepareCheck, PrepareWatch;

}  // namespace TamselCtl
