// SPDX-License-Identifier: MIT
// Reads, changes and follows a configuration, and ends at the first change that someone else
// makes.
#include <poll.h>

#include <iostream>

#include <json/json.h>
#include <tamsel/extras/config_watcher.h>
#include <tamsel/extras/open.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: quick_start ROOT\n";
        return 2;
    }
    const std::string root = argv[1];
    // [code]
    const auto config = Tamsel::Extras::Open("network", root);
    std::cout << "mtu: " << config->Get("mtu", 1500) << std::endl;

    config->Set("hostname", std::string("attic"));  // on storage when it returns

    Tamsel::Extras::CConfigWatcher watcher(config);
    pollfd change{watcher.Descriptor(), POLLIN, 0};
    for (bool hasChanged = false; !hasChanged && poll(&change, 1, -1) > 0;) {
        for (const auto& [key, before, after] : watcher.Changes()) {
            std::cout << key << " is now " << after.value_or("not set") << std::endl;
            hasChanged = true;
        }
    }
    // [/code]
}
