// SPDX-License-Identifier: MIT
// Catches what another shared object throws, by its own type and by its standard base, and uses the
// library while static objects are being initialised.
#include <iostream>

#include <tamsel/tamsel.h>

const bool isEarly = Tamsel::DefaultRootPath == "/" && Tamsel::DefaultSubDirectory == "config";

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
    std::cout << TAMSEL_VERSION_STRING << ' ' << config->Get("hostname", std::string())
              << (isCaught ? " caught" : " missed") << (isEarly ? "\n" : ", but not in time\n");
    return isCaught && isEarly ? 0 : 1;
}
