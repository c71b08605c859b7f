// SPDX-License-Identifier: MIT
#include <tamsel/factory.h>

#include <utility>

#include <tamsel/file_stream.h>
#include <tamsel/overlayed_config.h>
#include <tamsel/static_config.h>

namespace Tamsel {

// Initialised before ordinary static objects, also where the library is linked in statically: their
// constructors may create configurations.
__attribute__((init_priority(101))) const std::string DefaultRootPath = "/";
__attribute__((init_priority(101))) const std::string DefaultSubDirectory = "config";

std::shared_ptr<IReadOnlyConfig> CreateStaticOnly(const std::string& name,
                                                  const std::string& rootPath) {
    // Always "config", independent of DefaultSubDirectory.
    const auto stream =
        std::make_shared<CInputFileStream>(rootPath + "etc/config/" + name + ".json");
    return std::make_shared<CStaticConfig>(stream);
}

std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                const std::string& subDirectory, TChangeCallback callback) {
    const std::string file = subDirectory + "/" + name + ".json";
    const auto defaults = std::make_shared<CInputFileStream>(rootPath + "etc/" + file);
    const auto overlay = std::make_shared<CFileStream>(rootPath + "data/" + file);
    return std::make_shared<COverlayedConfig>(defaults, overlay, std::move(callback));
}

std::shared_ptr<IConfig> Create(const std::string& name) {
    return Create(name, DefaultRootPath, DefaultSubDirectory, {});
}

std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath) {
    return Create(name, rootPath, DefaultSubDirectory, {});
}

std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                const std::string& subDirectory) {
    return Create(name, rootPath, subDirectory, {});
}

std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                TChangeCallback callback) {
    return Create(name, rootPath, DefaultSubDirectory, std::move(callback));
}

}  // namespace Tamsel
