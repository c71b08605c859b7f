// SPDX-License-Identifier: MIT
#include <tamsel/extras/open.h>

#include <tamsel/errors.h>

#include "journal.h"
#include "safe_config.h"
#include "system.h"

namespace Tamsel::Extras {

std::shared_ptr<CSafeConfig> Open(const std::string& name, const std::string& rootPath,
                                  const std::string& subDirectory, const TChangeCallback& callback,
                                  std::chrono::milliseconds lockLimit) {
    const std::string path = FileIn("etc", name, rootPath, subDirectory);
    const auto defaults = StreamOf(ReadDefaultsFile(path), path);
    const auto overlay =
        std::make_shared<COfferedStream>(FileIn("data", name, rootPath, subDirectory), lockLimit);
    return std::make_shared<CSafeConfigImpl>(defaults, overlay, callback, lockLimit);
}

std::shared_ptr<CSafeConfig> Open(const std::string& name, const std::string& rootPath,
                                  const TChangeCallback& callback,
                                  std::chrono::milliseconds lockLimit) {
    return Open(name, rootPath, DefaultSubDirectory, callback, lockLimit);
}

}  // namespace Tamsel::Extras
