// SPDX-License-Identifier: MIT
#include <tamsel/extras/file_lock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>

#include "system.h"

namespace Tamsel::Extras {

namespace {

using TTime = std::chrono::steady_clock::time_point;
using TLimit = std::chrono::milliseconds;

/// Polls, because flock has no time limit. The first pauses are short, as most changes are.
bool LockBefore(TTime deadline, int descriptor, int operation) {
    for (TLimit pause(1);; pause = std::min(2 * pause, TLimit(50))) {
        if (Uninterrupted([&] { return flock(descriptor, operation | LOCK_NB); }) == 0) return true;
        if (errno != EWOULDBLOCK) return false;
        const TTime now = std::chrono::steady_clock::now();
        if (now >= deadline) return errno = ETIMEDOUT, false;
        std::this_thread::sleep_until(std::min<TTime>(now + pause, deadline));
    }
}

/// Returns true if `path` still names the open file.
bool IsCurrent(const std::string& path, int descriptor) {
    struct stat named {};
    struct stat opened {};
    return stat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
           named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

int OpenLocked(const std::string& path, CFileLock::EMode mode, TLimit limit) {
    const bool isShared = mode == CFileLock::EMode::Shared;
    const int flags = (isShared ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const int operation = isShared ? LOCK_SH : LOCK_EX;
    const TTime deadline = DeadlineAfter(limit);
    for (;;) {
        CDescriptor file(Checked(path, [&] { return open(path.c_str(), flags); }));
        const bool isLocked =
            limit != NoTimeLimit ? LockBefore(deadline, file.Get(), operation)
                                 : Uninterrupted([&] { return flock(file.Get(), operation); }) == 0;
        if (!isLocked && errno == ETIMEDOUT) ThrowError(ETIMEDOUT, "'" + path + "' is locked");
        if (!isLocked) ThrowErrno(path);
        if (IsCurrent(path, file.Get())) return file.Release();
    }
}

}  // namespace

CFileLock::CFileLock(const std::string& path, EMode mode, std::chrono::milliseconds limit)
    : m_path(path), m_descriptor(OpenLocked(path, mode, limit)) {}

CFileLock::~CFileLock() {
    // Explicitly: a child of fork may still have the descriptor, and with it the lock.
    (void)flock(m_descriptor, LOCK_UN);
    (void)close(m_descriptor);
}

std::string CFileLock::Read() const { return ReadAll(m_descriptor, m_path); }

void CFileLock::Write(const std::string& content) const {
    for (std::size_t done = 0; done < content.size();) {
        done += static_cast<std::size_t>(Checked(m_path, [&] {
            return pwrite(m_descriptor, content.data() + done, content.size() - done,
                          static_cast<off_t>(done));
        }));
    }
    struct stat status {};
    Checked(m_path, [&] { return fstat(m_descriptor, &status); });
    const auto size = static_cast<off_t>(content.size());
    if (status.st_size > size) Checked(m_path, [&] { return ftruncate(m_descriptor, size); });
    Synchronize();
    if (Read() != content) errno = EIO, ThrowErrno(m_path);
}

void CFileLock::Synchronize() const {
    Checked(m_path, [&] { return fdatasync(m_descriptor); });
}

}  // namespace Tamsel::Extras
