// SPDX-License-Identifier: MIT
// The program's definitions take precedence over those of libc, for all libraries.
#include "support/fault_injection.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/inotify.h>

#include "support/test_support.h"

namespace {

struct SInjection {
    bool isActive = false;
    std::string failing;
    int error = 0, number = 1, locked = -1;
    std::string calls;
} g_injection;

bool IsDue(const char* call) {
    return g_injection.isActive && g_injection.failing == call && --g_injection.number == 0;
}

/// Records a call. Returns true if it is to fail.
bool Fails(const char* call) {
    if (!g_injection.isActive) return false;
    g_injection.calls += (g_injection.calls.empty() ? "" : " ") + std::string(call);
    const bool isDue = IsDue(call);
    if (isDue) errno = g_injection.error;
    return isDue;
}

/// Calls libc's function.
template <typename TResult, typename... TArguments>
TResult Real(const char* name, TArguments... arguments) {
    const auto call = reinterpret_cast<TResult (*)(TArguments...)>(dlsym(RTLD_NEXT, name));
    const TResult result = call(arguments...);
    if constexpr (std::is_same_v<TResult, int>) {
        if (result == -1 && errno != EAGAIN && g_injection.isActive) g_injection.calls += '?';
    }
    return result;
}

}  // namespace

SRun InjectFault(const std::function<void()>& work, const std::string& failing, int error,
                 int number) {
    g_injection = {true, failing, error, number, -1, ""};
    const std::string thrown = Thrown(work);
    return {thrown, std::exchange(g_injection, {}).calls};
}

void* operator new(std::size_t size) {
    if (void* const memory = IsDue("new") ? nullptr : std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

extern "C" {

FILE* fopen64(const char* path, const char* mode) {
    return Fails("fopen") ? nullptr : Real<FILE*>("fopen64", path, mode);
}
int flock(int file, int operation) noexcept {
    if (g_injection.isActive && operation == LOCK_EX) g_injection.locked = file;
    const bool isLocked = file == g_injection.locked;
    const char* const name = operation != LOCK_UN ? "lock" : isLocked ? "unlock" : "unlock other";
    return Fails(name) ? -1 : Real<int>("flock", file, operation);
}
int ftruncate64(int file, off64_t length) noexcept {
    return Fails("ftruncate") ? -1 : Real<int>("ftruncate64", file, length);
}
size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
    // A failing write accepts half, as a disk does that becomes full meanwhile.
    return Real<size_t>("fwrite", data, size, Fails("fwrite") ? count / 2 : count, file);
}
int fflush(FILE* file) { return Fails("fflush") ? EOF : Real<int>("fflush", file); }
int fsync(int file) { return Fails("fsync") ? -1 : Real<int>("fsync", file); }
int fclose(FILE* file) {
    const int result = Real<int>("fclose", file);
    return Fails("fclose") ? EOF : result;
}
int inotify_init1(int flags) noexcept {
    const char* const name = flags == IN_NONBLOCK ? "inotify_init" : "inotify_init otherwise";
    return Fails(name) ? -1 : Real<int>("inotify_init1", flags);
}
int inotify_add_watch(int inotify, const char* path, uint32_t mask) noexcept {
    const bool isFailing = Fails("add_watch");
    return isFailing ? -1 : Real<int>("inotify_add_watch", inotify, path, mask);
}
int inotify_rm_watch(int inotify, int watch) noexcept {
    return Fails("rm_watch") ? -1 : Real<int>("inotify_rm_watch", inotify, watch);
}
ssize_t read(int file, void* buffer, size_t size) {
    return Fails("read") ? -1 : Real<ssize_t>("read", file, buffer, size);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    return Fails("rdlock") ? EAGAIN : Real<int>("pthread_rwlock_rdlock", lock);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    return Fails("wrlock") ? EDEADLK : Real<int>("pthread_rwlock_wrlock", lock);
}
int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    return Fails("rwunlock") ? EPERM : Real<int>("pthread_rwlock_unlock", lock);
}
}
