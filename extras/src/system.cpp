// SPDX-License-Identifier: MIT
#include "system.h"

namespace Tamsel::Extras {

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string FileIn(const char* layer, const std::string& name, const std::string& rootPath,
                   const std::string& subDirectory) {
    std::string path = rootPath;
    path.append(layer).append("/").append(subDirectory).append("/").append(name);
    return path.append(".json");
}

void ThrowError(int error, const std::string& message) {
    throw std::system_error(error, std::generic_category(), message);
}

void ThrowErrno(const std::string& path) {
    const int error = errno;
    ThrowError(error, std::string("'").append(path).append("'"));
}

std::string Describe(const char* message, const std::string& path, const std::system_error& error) {
    if (error.code() == std::errc::timed_out) throw error;
    return std::string(message).append(" '").append(path).append("': ").append(error.what());
}

}  // namespace Tamsel::Extras
