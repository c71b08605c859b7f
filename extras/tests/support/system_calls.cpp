// SPDX-License-Identifier: MIT
// A program's own definitions come before libc's.
#include "support/system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>

THook g_hook;

namespace {

/// Returns what the hook wants. Its own calls pass.
int Ask(const SCall& call) {
    if (!g_hook) return 0;
    const THook hook = std::exchange(g_hook, nullptr);
    const int answer = hook(call);
    g_hook = hook;
    if (answer > 0) errno = answer;
    return answer;
}

std::string PathOf(int file) {
    char path[PATH_MAX];
    const ssize_t size =
        readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, PATH_MAX);
    return {path, size < 0 ? 0 : static_cast<std::size_t>(size)};
}

/// The call as libc has it.
template <typename T>
T* Real(T* /*own*/, const char* name) {
    return reinterpret_cast<T*>(dlsym(RTLD_NEXT, name));
}

template <typename T, typename... TArguments>
auto Pass(T* own, const char* name, int file, TArguments... arguments) {
    const int answer = g_hook ? Ask({name, PathOf(file), 0, ""}) : 0;
    return answer == 0 ? Real(own, name)(file, arguments...) : answer == DoLess ? 0 : -1;
}

}  // namespace

extern "C" {

int open64(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    const bool isNew = (flags & O_CREAT) != 0 && access(path, F_OK) != 0;
    if (Ask({isNew ? "create" : "open", path, 0, ""}) != 0) return -1;
    return Real(open64, "open64")(path, flags, mode);
}
ssize_t pwrite64(int file, const void* data, size_t size, off64_t at) {
    const std::string bytes(static_cast<const char*>(data), size);
    const int answer = Ask({"pwrite", PathOf(file), static_cast<std::size_t>(at), bytes});
    if (answer == DoLess) size = (size + 1) / 2;
    return answer > 0 ? -1 : Real(pwrite64, "pwrite64")(file, data, size, at);
}
int ftruncate64(int file, off64_t size) noexcept {
    const bool isRefused = Ask({"ftruncate", PathOf(file), static_cast<std::size_t>(size), ""}) > 0;
    return isRefused ? -1 : Real(ftruncate64, "ftruncate64")(file, size);
}
int stat64(const char* path, struct stat64* status) noexcept {
    return Ask({"stat", path, 0, ""}) > 0 ? -1 : Real(stat64, "stat64")(path, status);
}
ssize_t pread64(int file, void* data, size_t size, off64_t at) {
    return Pass(pread64, "pread64", file, data, size, at);
}
int inotify_init1(int flags) noexcept { return Pass(inotify_init1, "inotify_init1", flags); }
int fdatasync(int file) { return Pass(fdatasync, "fdatasync", file); }
int fsync(int file) { return Pass(fsync, "fsync", file); }
int fchmod(int file, mode_t mode) noexcept { return Pass(fchmod, "fchmod", file, mode); }
int fchown(int file, uid_t user, gid_t group) noexcept {
    return Pass(fchown, "fchown", file, user, group);
}
int flock(int file, int operation) noexcept { return Pass(flock, "flock", file, operation); }
int fstat64(int file, struct stat64* status) noexcept {
    return Pass(fstat64, "fstat64", file, status);
}
}
