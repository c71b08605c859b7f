// SPDX-License-Identifier: MIT
#include <iostream>

#include <tamsel/tamsel.h>

int main(int argc, char** argv) {
    const auto config = Tamsel::CreateStaticOnly("network", argc > 1 ? argv[1] : "/");
    std::cout << "hostname: " << config->Get("hostname", std::string("localhost")) << '\n';
    std::cout << "mtu:      " << config->Get("mtu", 1280) << '\n';
    std::cout << "timeout:  " << config->Get("timeout", 2.5) << " (the caller's default)\n";
    try {
        std::cout << config->Get("hostname", 0) << '\n';
    } catch (const Tamsel::CTypeError& error) {
        std::cout << error.what() << '\n';
    }
}
