// SPDX-License-Identifier: MIT
#include "support/process.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <iterator>
#include <thread>

pid_t Spawn(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    try {
        _exit(work() ? 0 : 1);
    } catch (const std::exception&) {
        _exit(2);
    }
}

bool Join(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

namespace {

constexpr uid_t Nobody = 65534;
const bool IsRoot = geteuid() == 0;

void Become(uid_t user) {
    // The saved id stays root's, which is the way back.
    if (IsRoot && setresuid(user, user, 0) != 0) std::terminate();
}

}  // namespace

CAsNobody::CAsNobody() { Become(Nobody); }
CAsNobody::~CAsNobody() { Become(0); }

bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

bool IsUnlocked(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY);
    const bool isUnlocked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return isUnlocked;
}

long CountDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}
