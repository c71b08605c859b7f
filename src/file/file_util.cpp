// SPDX-License-Identifier: MIT
#include <tamsel/file_util.h>

#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

namespace Tamsel {

namespace {

bool HasAccess(const std::string& path, int mode) { return access(path.c_str(), mode) == 0; }

/// Closes a stdio stream.
struct SFileCloser {
    // The error is ignored: the result depends only on what fwrite accepted.
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, SFileCloser>;

/// Holds an exclusive `flock` on an open file, if it could be acquired.
class CExclusiveLock {
public:
    explicit CExclusiveLock(int descriptor)
        : m_descriptor(descriptor), m_ownsLock(flock(descriptor, LOCK_EX) == 0) {}
    ~CExclusiveLock() {
        if (m_ownsLock) (void)flock(m_descriptor, LOCK_UN);
    }
    CExclusiveLock(const CExclusiveLock&) = delete;
    CExclusiveLock& operator=(const CExclusiveLock&) = delete;

    bool OwnsLock() const { return m_ownsLock; }

private:
    const int m_descriptor;
    const bool m_ownsLock;
};

}  // namespace

bool Exists(const std::string& path) { return HasAccess(path, F_OK); }

bool IsReadable(const std::string& path) { return HasAccess(path, R_OK); }

bool IsReadWritable(const std::string& path) { return HasAccess(path, R_OK | W_OK); }

bool ReadFile(const std::string& path, std::string& content) {
    content.clear();
    const std::ifstream file(path);
    if (!file) return false;
    std::stringstream buffer;
    buffer << file.rdbuf();
    content = buffer.str();
    return true;
}

bool WriteFile(const std::string& path, const std::string& content) {
    // "a" creates a missing file and, unlike "w", leaves the old content until the lock is ours.
    // "e" keeps the lock from a program that another thread starts meanwhile.
    const TFile file(std::fopen(path.c_str(), "ae"));
    if (!file) return false;
    const int descriptor = fileno(file.get());
    const CExclusiveLock lock(descriptor);
    if (!lock.OwnsLock() || ftruncate(descriptor, 0) != 0) return false;
    const std::size_t written = std::fwrite(content.data(), 1, content.size(), file.get());
    // Errors are ignored: the result reports what fwrite accepted, and the header says so.
    (void)std::fflush(file.get());
    (void)fsync(descriptor);
    return written == content.size();
}

bool GetSize(const std::string& path, unsigned int& size) {
    std::ifstream file(path);
    if (!file.is_open()) return false;
    file.seekg(0, std::ios::end);
    size = static_cast<unsigned int>(static_cast<std::streamoff>(file.tellg()));
    return true;
}

}  // namespace Tamsel
