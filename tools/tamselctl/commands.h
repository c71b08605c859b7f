// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"

namespace TamselCtl {

// reading.cpp: read once; create no file, and change none except to complete an interrupted change.
TPrepare PrepareGet, PrepareList, PrepareKeys, PrepareDiff, PrepareExport;

// changing.cpp: change the overlay, by one write each.
TPrepare PrepareSet, PrepareRestore, PrepareErase, PrepareImport, PrepareRecover;

// check.cpp, watch.cpp
TPrepare PrepareCheck, PrepareWatch;

}  // namespace TamselCtl
