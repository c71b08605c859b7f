// SPDX-License-Identifier: MIT
// Does not compile; the message tells why.
#include <tamsel/extras/keys.h>

constexpr Tamsel::Extras::TKey<const char*> Text{"text"};
