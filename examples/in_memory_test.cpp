// SPDX-License-Identifier: MIT
// Tests code of your own without a file: the configuration stands over documents in memory, and the
// "disk" refuses a write when it is told to.
#include <iostream>
#include <memory>

#include <tamsel/tamsel.h>

#include "memory_stream.h"

namespace {

// [code]
/// The code under test: takes the next of three speeds, and tells whether it will outlast a
/// restart.
bool SpeedUp(Tamsel::IConfig& config) {
    const int speed = config.Get("speed", 1);
    try {
        config.Set("speed", speed % 3 + 1);
        return true;
    } catch (const Tamsel::CInvalidConfig&) {
        return false;
    }
}
// [/code]

bool Check(bool isTrue, const char* claim) {
    std::cout << (isTrue ? "ok      " : "FAILED  ") << claim << '\n';
    return isTrue;
}

}  // namespace

int main() {
    // [test]
    const auto defaults = std::make_shared<CMemoryStream>(R"({"speed": 3})");
    const auto overlay = std::make_shared<CMemoryStream>();
    Tamsel::COverlayedConfig config(defaults, overlay, {});

    bool isGood = Check(SpeedUp(config), "a change is kept");
    isGood &= Check(config.Get("speed", 0) == 1, "after the fastest comes the slowest");
    isGood &= Check(overlay->text == "{\n\t\"speed\" : 1\n}", "only the change is written");

    overlay->isNextRefused = true;
    isGood &= Check(!SpeedUp(config), "a full disk is noticed");
    isGood &= Check(config.Get("speed", 0) == 2, "and the device goes on with the new speed");
    return isGood ? 0 : 1;
    // [/test]
}
