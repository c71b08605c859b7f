// SPDX-License-Identifier: MIT
// A program's own definitions come before libc's for every library that it loads.
#include "support/refuse.h"

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

struct SRefusal {
    bool isArmed = false;
    std::string call;
    int error = 0;
    std::string calls;
} g_refusal;

bool IsRefused(const char* call) {
    if (!g_refusal.isArmed) return false;
    g_refusal.calls += (g_refusal.calls.empty() ? "" : " ") + std::string(call);
    if (g_refusal.call != call) return false;
    errno = g_refusal.error;
    return true;
}

int NumberOf(const std::string& error) {
    for (int number = 1; number < 200; ++number) {
        const char* const name = strerrorname_np(number);  // none for the gaps between
        if (name != nullptr && name == error) return number;
    }
    throw std::invalid_argument("no such error: " + error);
}

/// The call as libc has it.
template <typename T>
T* Real(T* /*own*/, const char* name) {
    return reinterpret_cast<T*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

std::string CallsOf(const std::string& refused, const std::string& error,
                    const std::function<void()>& work) {
    g_refusal = {true, refused, error == "-" ? 0 : NumberOf(error), ""};
    work();
    return std::exchange(g_refusal, {}).calls;
}

extern "C" {

FILE* fopen64(const char* path, const char* mode) {
    return IsRefused("open") ? nullptr : Real(fopen64, "fopen64")(path, mode);
}
int flock(int descriptor, int operation) noexcept {
    const bool isRefused = IsRefused(operation == LOCK_UN ? "unlock" : "lock");
    return isRefused ? -1 : Real(flock, "flock")(descriptor, operation);
}
int ftruncate64(int descriptor, off64_t length) noexcept {
    return IsRefused("truncate") ? -1 : Real(ftruncate64, "ftruncate64")(descriptor, length);
}
size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
    // A refused write takes half, as a disk does that fills up meanwhile.
    return Real(fwrite, "fwrite")(data, size, IsRefused("write") ? count / 2 : count, file);
}
int fflush(FILE* file) { return IsRefused("flush") ? EOF : Real(fflush, "fflush")(file); }
int fsync(int descriptor) { return IsRefused("sync") ? -1 : Real(fsync, "fsync")(descriptor); }
int fclose(FILE* file) {
    const int result = Real(fclose, "fclose")(file);
    return IsRefused("close") ? EOF : result;
}
int inotify_init1(int flags) noexcept {
    return IsRefused(flags == IN_NONBLOCK ? "inotify" : "flags?")
               ? -1
               : Real(inotify_init1, "inotify_init1")(flags);
}
int inotify_add_watch(int descriptor, const char* path, uint32_t mask) noexcept {
    if (IsRefused(mask == (IN_MODIFY | IN_CREATE) ? "watch" : "mask?")) return -1;
    return Real(inotify_add_watch, "inotify_add_watch")(descriptor, path, mask);
}
int inotify_rm_watch(int descriptor, int watch) noexcept {
    if (IsRefused("unwatch")) return -1;
    return Real(inotify_rm_watch, "inotify_rm_watch")(descriptor, watch);
}
ssize_t read(int descriptor, void* buffer, size_t size) {
    return IsRefused("read") ? -1 : Real(read, "read")(descriptor, buffer, size);
}
}
