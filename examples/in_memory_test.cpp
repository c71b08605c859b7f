// SPDX-License-Identifier: MIT
// Tests code of your own without a file: the configuration uses documents in memory, and the "disk"
// fails on request.
#include <iostream>
#include <memory>

#include <tamsel/extras/memory_stream.h>
#include <tamsel/tamsel.h>

namespace {

/// The code under test: sets the next of three speeds. Returns whether it will survive a restart.
bool SpeedUp(Tamsel::IConfig& config) {
    const int speed = config.Get("speed", 1);
    try {
        config.Set("speed", speed % 3 + 1);
        return true;
    } catch (const Tamsel::CInvalidConfig&) {
        return false;
    }
}

bool Check(bool isTrue, const char* claim) {
    std::cout << (isTrue ? "ok      " : "FAILED  ") << claim << '\n';
    return isTrue;
}

}  // namespace

int main() {
    const auto defaults = std::make_shared<Tamsel::Extras::CMemoryStream>(R"({"speed": 3})");
    const auto overlay = std::make_shared<Tamsel::Extras::CMemoryStream>();
    Tamsel::COverlayedConfig config(defaults, overlay, {});

    bool isGood = Check(SpeedUp(config), "a change is kept");
    isGood &= Check(config.Get("speed", 0) == 1, "the slowest follows the fastest");
    isGood &= Check(overlay->text == "{\n\t\"speed\" : 1\n}", "only the change is written");

    overlay->failNext = true;
    isGood &= Check(!SpeedUp(config), "a full disk is noticed");
    isGood &= Check(config.Get("speed", 0) == 2, "and the device continues at the new speed");
    return isGood ? 0 : 1;
}
