// SPDX-License-Identifier: MIT
// Counts up in a configuration that other processes change too, and loses no change of anyone.
#include <iostream>
#include <string>

#include <tamsel/extras/open.h>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: shared_writers ROOT KEY TIMES\n";
        return 2;
    }
    const std::string own = argv[2];
    try {
        const auto config = Tamsel::Extras::Open("counters", argv[1]);
        for (int left = std::stoi(argv[3]); left > 0; --left) {
            // [change]
            config->Transact([&](Tamsel::IConfig& counters) {
                counters.Set(own, counters.Get(own, 0) + 1);
                counters.Set("all", counters.Get("all", 0) + 1);
            });
            // [/change]
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
