// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace Tamsel::Extras {

/// Owns a file descriptor; closes it.
class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() {
        // What had to reach storage was synchronised before; closing can add no error to that.
        if (m_descriptor >= 0) (void)close(m_descriptor);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_descriptor; }
    int Release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

/// Returns the directory of a file, with its slash; "./" for a bare name.
inline std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// Turns the failure of the system call just made into an exception: "'PATH': REASON".
[[noreturn]] inline void ThrowErrno(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), "'" + path + "'");
}

/// Repeats a system call that a signal interrupted.
template <typename TCall>
auto Uninterrupted(TCall call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

/// Makes a system call, repeated when a signal interrupts it.
/// \throws std::system_error naming `path` it fails
template <typename TCall>
auto Checked(const std::string& path, TCall call) {
    const auto result = Uninterrupted(call);
    if (result == -1) ThrowErrno(path);
    return result;
}

/// Works, and turns a refusal of the system into `TError`: "MESSAGE: 'PATH': REASON". A lock that
/// was not obtained in time is none, for it says nothing of the file.
template <typename TError, typename TWork>
auto Translate(const std::string& message, TWork work) try {
    return work();
} catch (const std::system_error& error) {
    if (error.code() == std::errc::timed_out) throw;
    throw TError(message + ": " + error.what());
}

}  // namespace Tamsel::Extras
