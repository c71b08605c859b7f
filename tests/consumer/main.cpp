// SPDX-License-Identifier: MIT
// Catches what another shared object throws, by its own type and by its standard base.
#include <iostream>

#include <tamsel/tamsel.h>

template <typename Error>
bool Catches(const Tamsel::IReadOnlyConfig& config) try {
    return config.Get("hostname", 0) != 0;
} catch (const Error& error) {
    return error.what() == std::string("Config option with key 'hostname' is not a Int32");
}

int main(int argc, char** argv) {
    const auto config = Tamsel::CreateStaticOnly("network", argc > 1 ? argv[1] : "");
    const bool isCaught =
        Catches<Tamsel::CTypeError>(*config) && Catches<std::logic_error>(*config);
    std::cout << config->Get("hostname", std::string()) << (isCaught ? " caught\n" : " missed\n");
    return isCaught ? 0 : 1;
}
