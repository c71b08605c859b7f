// SPDX-License-Identifier: MIT
// Follows a configuration that other processes change, prints each new value, and ends after COUNT
// of them.
#include <poll.h>

#include <iostream>
#include <string>

#include <json/json.h>
#include <tamsel/extras/config_watcher.h>
#include <tamsel/extras/open.h>

namespace {

std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

void Follow(Tamsel::Extras::CConfigWatcher& watcher, int count) {
    std::string problem;
    pollfd change{watcher.Descriptor(), POLLIN, 0};
    while (count > 0) {
        poll(&change, 1, -1);  // a loop of your own polls its other descriptors here too
        for (const auto& [key, before, after] : watcher.Changes()) {
            std::cout << key << (after ? " is now " + OneLine(*after) : " is gone") << std::endl;
            --count;
        }
        if (watcher.Problem() == problem) continue;
        problem = watcher.Problem();  // the former values remain until the file can be read again
        std::cerr << (problem.empty() ? "overlay readable again" : problem) << std::endl;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: follow_changes ROOT COUNT\n";
        return 2;
    }
    try {
        const auto config = Tamsel::Extras::Open("network", argv[1]);
        Tamsel::Extras::CConfigWatcher watcher(config);
        std::cout << "following " << watcher.Values().size() << " keys" << std::endl;
        Follow(watcher, std::stoi(argv[2]));
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
