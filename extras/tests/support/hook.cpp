// SPDX-License-Identifier: MIT
// The program's definitions take precedence over those of libc.
#include <dlfcn.h>
#include <sys/inotify.h>

#include <climits>
#include <cstdarg>

#include "support/extras_support.h"

int CHook::Ask(const SCall& call) {
    if (!s_answer) return 0;
    const TAnswer answer = std::exchange(s_answer, nullptr);  // its own calls pass
    const int result = answer(call);
    s_answer = answer;
    if (result > 0) errno = result;
    return result;
}

namespace {

std::string PathOf(int file) {
    char path[PATH_MAX];
    const ssize_t size =
        readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, PATH_MAX);
    return {path, size < 0 ? 0 : static_cast<std::size_t>(size)};
}

/// Calls libc's function.
template <typename TResult, typename... TArguments>
TResult Real(const char* name, TArguments... arguments) {
    return reinterpret_cast<TResult (*)(TArguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

/// The same, unless the hook makes the call fail or skips it.
template <typename TResult, typename... TArguments>
TResult Pass(const char* name, int file, TArguments... arguments) {
    const int answer = CHook::Ask({name, PathOf(file), 0, ""});
    return answer == 0 ? Real<TResult>(name, file, arguments...) : answer == DoLess ? 0 : -1;
}

}  // namespace

extern "C" {

int open64(const char* path, int flags, ...) {
    va_list list{};
    va_start(list, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    const bool isNew = (flags & O_CREAT) != 0 && access(path, F_OK) != 0;
    const int answer = CHook::Ask({isNew ? "create" : "open", path, 0, ""});
    return answer > 0 ? -1 : Real<int>("open64", path, flags, mode);
}
ssize_t pwrite64(int file, const void* data, size_t size, off64_t at) {
    const std::string bytes(static_cast<const char*>(data), size);
    const int answer = CHook::Ask({"pwrite", PathOf(file), static_cast<size_t>(at), bytes});
    const size_t written = answer == DoLess ? (size + 1) / 2 : size;
    return answer > 0 ? -1 : Real<ssize_t>("pwrite64", file, data, written, at);
}
int ftruncate64(int file, off64_t size) noexcept {
    const int answer = CHook::Ask({"ftruncate", PathOf(file), static_cast<size_t>(size), ""});
    return answer > 0 ? -1 : Real<int>("ftruncate64", file, size);
}
ssize_t pread64(int file, void* data, size_t size, off64_t at) {
    return Pass<ssize_t>("pread64", file, data, size, at);
}
int fdatasync(int file) { return Pass<int>("fdatasync", file); }
int fsync(int file) { return Pass<int>("fsync", file); }
int flock(int file, int operation) noexcept { return Pass<int>("flock", file, operation); }
int fchmod(int file, mode_t mode) noexcept { return Pass<int>("fchmod", file, mode); }
int inotify_init1(int flags) noexcept { return Pass<int>("inotify_init1", flags); }
}
