// SPDX-License-Identifier: MIT
// Counts its own starts in a configuration that outlasts a power cut inside a change:
//   crash_safe_overlay ROOT
#include <iostream>
#include <memory>
#include <string>

#include <tamsel/tamsel.h>

#include "crash_safe_stream.h"

namespace {

int CountStart(const std::string& root) {
    // [use]
    const auto defaults =
        std::make_shared<Tamsel::CInputFileStream>(root + "etc/config/starts.json");
    const auto overlay = std::make_shared<CCrashSafeStream>(root + "data/config/starts.json");
    Tamsel::COverlayedConfig config(defaults, overlay, {});
    // [/use]
    config.Set("starts", config.Get("starts", 0) + 1);
    return config.Get("starts", 0);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    try {
        std::cout << "start number " << CountStart(argv[1]) << '\n';
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
