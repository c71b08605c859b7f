// SPDX-License-Identifier: MIT
// Links the static library of the extras beside the shared one.
#include <iostream>

#include <tamsel/extras/open.h>

int main(int argc, char** argv) {
    const auto config = Tamsel::Extras::Open("network", argc > 1 ? argv[1] : "");
    config->Set("mtu", 9000);
    config->Reload();
    std::cout << "mtu " << config->Get("mtu", 0) << '\n';
    return config->Get("mtu", 0) == 9000 ? 0 : 1;
}
