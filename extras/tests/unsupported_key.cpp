// SPDX-License-Identifier: MIT
// Does not compile, for a reason that the message tells.
#include <tamsel/extras/keys.h>

constexpr Tamsel::Extras::TKey<const char*> Text{"text"};
