// SPDX-License-Identifier: MIT
#include "system.h"

#include <fcntl.h>

#include <algorithm>

#include <tamsel/errors.h>

namespace Tamsel::Extras {

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string FileIn(const char* layer, const std::string& name, const std::string& rootPath,
                   const std::string& subDirectory) {
    std::string path = rootPath;
    path.append(layer).append("/").append(subDirectory).append("/").append(name);
    return path.append(".json");
}

std::chrono::steady_clock::time_point DeadlineAfter(std::chrono::milliseconds limit) {
    constexpr std::chrono::hours Year(24 * 365);
    return std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(limit, Year);
}

void ThrowError(int error, const std::string& message) {
    throw std::system_error(error, std::generic_category(), message);
}

void ThrowErrno(const std::string& path) {
    const int error = errno;
    ThrowError(error, std::string("'").append(path).append("'"));
}

std::string ReadAll(int descriptor, const std::string& path) {
    std::string content;
    char buffer[4096];
    for (;;) {
        const ssize_t count = Checked(path, [&] {
            return pread(descriptor, buffer, sizeof buffer, static_cast<off_t>(content.size()));
        });
        if (count == 0) return content;
        content.append(buffer, static_cast<std::size_t>(count));
    }
}

std::string ReadDefaultsFile(const std::string& path) {
    return Translate<CAccessDenied>("Failed to read file", path, [&]() -> std::string {
        const CDescriptor file(
            Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
        if (file.Get() < 0 && errno == ENOENT) return "";
        if (file.Get() < 0) ThrowErrno(path);
        return ReadAll(file.Get(), path);
    });
}

std::string Describe(const char* message, const std::string& path, const std::system_error& error) {
    if (error.code() == std::errc::timed_out) throw error;
    const std::string named = std::string("'").append(path).append("': ");
    std::string reason = error.what();
    if (reason.compare(0, named.size(), named) == 0) reason.erase(0, named.size());
    return std::string(message).append(" ").append(named).append(reason);
}

}  // namespace Tamsel::Extras
