// SPDX-License-Identifier: MIT
// Changes a configuration, one command a run, and prints what its callback is called with.
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <json/json.h>
#include <tamsel/tamsel.h>

namespace {

// [callback]
void PrintChange(const std::string& key, const Json::Value& newValue) {
    std::cout << "callback: " << key << " is now " << newValue << '\n';
}
// [/callback]

// [change]
bool Change(Tamsel::IConfig& config, const std::vector<std::string>& words) {
    if (words.size() == 3 && words[0] == "set") {
        Json::Value value;
        std::istringstream(words[2]) >> value;
        config.Set(words[1], value);
    } else if (words.size() == 2 && words[0] == "restore") {
        const bool wasOverridden = config.Restore(words[1]);
        std::cout << words[1] << (wasOverridden ? " restored\n" : " was not overridden\n");
    } else if (words.size() == 1 && words[0] == "erase") {
        config.Erase();
    } else {
        return false;
    }
    return true;
}
// [/change]

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 2) {
            // [open]
            // Reads the overlay now, so the change below needs no Reload.
            const auto config = Tamsel::Create("network", argv[1], PrintChange);
            // [/open]
            if (Change(*config, {argv + 2, argv + argc})) return 0;
        }
        std::cerr << "usage: change_settings ROOT set KEY JSON | restore KEY | erase\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
