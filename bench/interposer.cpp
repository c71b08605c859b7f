// SPDX-License-Identifier: MIT
#include "interposer.h"

#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// One file is locked at a time, by one thread.
int locked = -1;
bool isSynced = false;
unsigned int lockedSyncs = 0;

}  // namespace

unsigned int Interposer::LockedSyncs() { return lockedSyncs; }

// The program's definitions take precedence over those of the C library.
extern "C" {

__attribute__((visibility("default"))) int flock(int descriptor, int operation) noexcept {
    const auto result = static_cast<int>(syscall(SYS_flock, descriptor, operation));
    if (operation == LOCK_EX && result == 0) {
        locked = descriptor;
        isSynced = false;
    } else if (operation == LOCK_UN && descriptor == locked) {
        if (isSynced) ++lockedSyncs;
        locked = -1;
    }
    return result;
}

__attribute__((visibility("default"))) int fsync(int descriptor) {
    const auto result = static_cast<int>(syscall(SYS_fsync, descriptor));
    // An empty file was synchronised before its content was written.
    const bool hasText = lseek(descriptor, 0, SEEK_END) > 0;
    if (descriptor == locked && result == 0 && hasText) isSynced = true;
    return result;
}

}  // extern "C"
