// SPDX-License-Identifier: MIT
// Applies its settings and follows them, whatever happens to their files: settings_daemon [ROOT]
#include <poll.h>

#include <cstdio>
#include <ctime>
#include <iostream>

#include <tamsel/extras/config_watcher.h>
#include <tamsel/extras/keys.h>
#include <tamsel/tamsel.h>

using namespace Tamsel::Extras;

constexpr TKey<std::string> Hostname{"hostname", "localhost"};
constexpr TKey<std::uint16_t> Mtu{"mtu", 1500};
constexpr TKey<unsigned> Starts{"starts", 0};
constexpr TKey<std::int64_t> LastStart{"last_start", 0};

/// Renames an overlay that does not parse, so that the device runs with its defaults.
static std::shared_ptr<CSafeConfig> OpenOrRename(const std::string& root) {
    (void)Tamsel::CreateStaticOnly("network", root);  // throws if the defaults are the broken file
    try {
        return Open("network", root);
    } catch (const Tamsel::CAccessDenied&) {
        throw;  // the content is not the problem
    } catch (const std::exception& error) {
        std::cerr << "renaming the overlay: " << error.what() << std::endl;
        const std::string overlay = root + "data/config/network.json";
        (void)std::rename(overlay.c_str(), (overlay + ".broken").c_str());
    }
    return Open("network", root);
}

static void CountStart(CSafeConfig& config) try {
    config.Transact([](Tamsel::IConfig& draft) {
        Set(draft, Starts, Get(draft, Starts) + 1);
        Set(draft, LastStart, std::time(nullptr));
    });
} catch (const std::exception& error) {
    std::cerr << "start not counted: " << error.what() << std::endl;
}

static void Apply(const CSafeConfig& config) try {
    const std::string line = Get(config, Hostname) + ", mtu " + std::to_string(Get(config, Mtu));
    std::cout << line << std::endl;
} catch (const Tamsel::CTypeError& error) {
    std::cerr << error.what() << std::endl;  // the settings applied before remain
}

int main(int argc, char** argv) try {
    const auto config = OpenOrRename(argc == 2 ? argv[1] : "/");
    CountStart(*config);
    Apply(*config);
    CConfigWatcher watcher(config);
    std::string problem;
    for (pollfd change{watcher.Descriptor(), POLLIN, 0};; poll(&change, 1, -1)) {
        if (!watcher.Changes().empty()) Apply(*config);
        if (watcher.Problem() == problem) continue;
        problem = watcher.Problem();
        std::cerr << (problem.empty() ? "overlay readable again" : problem) << std::endl;
    }
} catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return 1;
}
