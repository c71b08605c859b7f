// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>

/// Starts a child process that runs `work` and exits with 0 when that tells true.
inline pid_t Spawn(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    try {
        _exit(work() ? 0 : 1);
    } catch (const std::exception&) {
        _exit(2);
    }
}

/// Waits for a child's end and tells whether it exited with 0.
inline bool Join(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

constexpr uid_t Nobody = 65534;

/// While it lives, root is another user, really and effectively, so that permissions bind. Anyone
/// else stays who he is.
class CAsUser {
public:
    // The saved id stays root's, which is the way back.
    CAsUser(uid_t real, uid_t effective) { Become(real, effective); }
    ~CAsUser() { Become(0, 0); }
    CAsUser(const CAsUser&) = delete;
    CAsUser& operator=(const CAsUser&) = delete;

private:
    void Become(uid_t real, uid_t effective) const {
        if (m_isRoot && setresuid(real, effective, 0) != 0) std::terminate();
    }

    const bool m_isRoot = geteuid() == 0;
};

/// Tells whether another opening of the file could lock it at once.
inline bool IsUnlocked(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY);
    const bool isUnlocked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return isUnlocked;
}

/// Counts this process's open descriptors.
inline long CountDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}
