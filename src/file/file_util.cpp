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

bool MayAccess(const std::string& path, int mode) { return access(path.c_str(), mode) == 0; }

/// Owns a stdio stream; closes it.
struct SCloseFile {
    // Too late for an error to change the result: it is decided by what fwrite took.
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, SCloseFile>;

/// Owns the exclusive lock on an open file, once it has it.
class CExclusiveLock {
public:
    explicit CExclusiveLock(int descriptor)
        : m_descriptor(descriptor), m_isHeld(flock(descriptor, LOCK_EX) == 0) {}
    ~CExclusiveLock() {
        if (m_isHeld) (void)flock(m_descriptor, LOCK_UN);
    }
    CExclusiveLock(const CExclusiveLock&) = delete;
    CExclusiveLock& operator=(const CExclusiveLock&) = delete;

    bool IsHeld() const { return m_isHeld; }

private:
    const int m_descriptor;
    const bool m_isHeld;
};

}  // namespace

bool Exists(const std::string& path) { return MayAccess(path, F_OK); }

bool IsReadable(const std::string& path) { return MayAccess(path, R_OK); }

bool IsReadWritable(const std::string& path) { return MayAccess(path, R_OK | W_OK); }

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
    if (!lock.IsHeld() || ftruncate(descriptor, 0) != 0) return false;
    const std::size_t written = std::fwrite(content.data(), 1, content.size(), file.get());
    // The result tells what fwrite took and no more; the header says what that means to a caller.
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
