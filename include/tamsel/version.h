// SPDX-License-Identifier: MIT
#pragma once

#include <tamsel/export.h>

/// \file
/// The version of these headers; the library and the tool take theirs from here.

/// Raised when programs built before would break; also the library's SOVERSION.
#define TAMSEL_VERSION_MAJOR 1
/// Raised when something is added.
#define TAMSEL_VERSION_MINOR 0
/// Raised when something is corrected.
#define TAMSEL_VERSION_PATCH 0

/// The three numbers as text: "MAJOR.MINOR.PATCH".
#define TAMSEL_VERSION_STRING \
    TAMSEL_VERSION_TEXT(TAMSEL_VERSION_MAJOR, TAMSEL_VERSION_MINOR, TAMSEL_VERSION_PATCH)

/// \cond
// Two steps, so that the numbers are substituted before they become text.
#define TAMSEL_VERSION_TEXT(major, minor, patch) TAMSEL_VERSION_JOIN(major, minor, patch)
#define TAMSEL_VERSION_JOIN(major, minor, patch) #major "." #minor "." #patch
/// \endcond
