// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <utility>

/// A system call that the extras are about to make.
struct SCall {
    std::string name;  ///< as the kernel has it; "create" for an `open` that makes the file
    std::string path;
    std::size_t at = 0;  ///< where a write begins, or the size to truncate to
    std::string data;
};

/// An answer instead of an error: write the first half only; do not wait for the disk.
constexpr int DoLess = -1;

/// Asked before each call for the error to fail it with; 0 lets it pass. Not for programs that have
/// started threads. A child of `fork` has it too.
using THook = std::function<int(const SCall& call)>;
extern THook g_hook;

/// Spares tests the time of the disk, and that of closing an inotify instance.
inline int Fast(const SCall& call) {
    if (call.name == "inotify_init1") return ENOSYS;
    return call.name == "fsync" || call.name == "fdatasync" ? DoLess : 0;
}

/// While it lives, the hook is this one.
class CHooked {
public:
    explicit CHooked(THook hook = Fast) : m_outer(std::exchange(g_hook, std::move(hook))) {}
    ~CHooked() { g_hook = m_outer; }
    CHooked(const CHooked&) = delete;
    CHooked& operator=(const CHooked&) = delete;

private:
    const THook m_outer;
};
