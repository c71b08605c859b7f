// SPDX-License-Identifier: MIT
// A program's own definitions come before libc's for every library that it loads.
#include "support/fault_injection.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/inotify.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "support/test_support.h"

namespace {

struct SInjection {
    bool isActive = false;
    std::string failing;
    int error = 0, number = 1;
    int file = -1, inotify = -1, watch = -1;  // what was opened last
    std::string calls;
} g_injection;

bool IsDue(const char* call) {
    return g_injection.isActive && g_injection.failing == call && --g_injection.number == 0;
}

/// Records a call and tells whether it fails.
bool Fails(const char* call, bool isExpected = true) {
    if (!g_injection.isActive) return false;
    g_injection.calls += (g_injection.calls.empty() ? "" : " ") + std::string(call);
    if (!isExpected) g_injection.calls += '?';
    const bool isDue = IsDue(call);
    if (isDue) errno = g_injection.error;
    return isDue;
}

/// Makes the call as libc has it.
template <typename TResult, typename... TArguments>
TResult Real(TResult (* /*own*/)(TArguments...), const char* name, TArguments... arguments) {
    return reinterpret_cast<TResult (*)(TArguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

}  // namespace

SRun InjectFault(const std::function<void()>& work, const std::string& failing, int error,
                 int number) {
    g_injection = {true, failing, error, number, -1, -1, -1, ""};
    const std::string thrown = Thrown(work);
    return {thrown, std::exchange(g_injection, {}).calls};
}

void* operator new(std::size_t size) {
    void* const memory = IsDue("new") ? nullptr : std::malloc(size > 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

extern "C" {

FILE* fopen64(const char* path, const char* mode) {
    FILE* const file = Fails("fopen") ? nullptr : Real(fopen64, "fopen64", path, mode);
    if (g_injection.isActive && file != nullptr) g_injection.file = fileno(file);
    return file;
}
int flock(int file, int operation) noexcept {
    const bool isExpected = file == g_injection.file && (operation & LOCK_SH) == 0;
    const bool isFailing = Fails(operation == LOCK_UN ? "unlock" : "lock", isExpected);
    return isFailing ? -1 : Real(flock, "flock", file, operation);
}
int ftruncate64(int file, off64_t length) noexcept {
    return Fails("ftruncate") ? -1 : Real(ftruncate64, "ftruncate64", file, length);
}
size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
    // A failing write takes half, as a disk does that fills up meanwhile.
    return Real(fwrite, "fwrite", data, size, Fails("fwrite") ? count / 2 : count, file);
}
int fflush(FILE* file) { return Fails("fflush") ? EOF : Real(fflush, "fflush", file); }
int fsync(int file) {
    return Fails("fsync", file == g_injection.file) ? -1 : Real(fsync, "fsync", file);
}
int fclose(FILE* file) {
    const int result = Real(fclose, "fclose", file);
    return Fails("fclose") ? EOF : result;
}
int inotify_init1(int flags) noexcept {
    const bool isFailing = Fails("inotify_init1", flags == IN_NONBLOCK);
    const int inotify = isFailing ? -1 : Real(inotify_init1, "inotify_init1", flags);
    if (g_injection.isActive) g_injection.inotify = inotify;
    return inotify;
}
int inotify_add_watch(int inotify, const char* path, uint32_t mask) noexcept {
    if (Fails("inotify_add_watch")) return -1;
    const int watch = Real(inotify_add_watch, "inotify_add_watch", inotify, path, mask);
    if (g_injection.isActive) g_injection.watch = watch;
    return watch;
}
int inotify_rm_watch(int inotify, int watch) noexcept {
    Fails("inotify_rm_watch", inotify == g_injection.inotify && watch == g_injection.watch);
    return Real(inotify_rm_watch, "inotify_rm_watch", inotify, watch);
}
ssize_t read(int file, void* buffer, size_t size) {
    return Fails("read") ? -1 : Real(read, "read", file, buffer, size);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    Fails("rdlock");
    return Real(pthread_rwlock_rdlock, "pthread_rwlock_rdlock", lock);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    Fails("wrlock");
    return Real(pthread_rwlock_wrlock, "pthread_rwlock_wrlock", lock);
}
int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    Fails("rwunlock");
    return Real(pthread_rwlock_unlock, "pthread_rwlock_unlock", lock);
}
}
