// SPDX-License-Identifier: MIT
#pragma once

/// Marks what leaves the shared library; everything else is compiled hidden.
#define TAMSEL_API __attribute__((visibility("default")))
