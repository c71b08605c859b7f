// SPDX-License-Identifier: MIT
#pragma once

#if __cplusplus < 201703L
#error "libtamsel needs C++17: compile with -std=c++17 or later"
#endif

/// Marks what the shared library exports; everything else is compiled hidden.
#define TAMSEL_API __attribute__((visibility("default")))

/// Marks a private member of an exported class that stays inside the shared library.
#define TAMSEL_LOCAL __attribute__((visibility("hidden")))
