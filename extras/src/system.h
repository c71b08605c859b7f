// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>

namespace Tamsel::Extras {

/// Owns a file descriptor; closes it.
class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() {
        // An error is ignored: what must reach storage was synchronised before.
        if (m_descriptor >= 0) (void)close(m_descriptor);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_descriptor; }
    int Release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

/// Returns the directory of a file, with a trailing slash; "./" for a name without one.
std::string DirectoryOf(const std::string& path);

/// Returns the path of a configuration's file in "etc" or "data", as `Create` composes it.
std::string FileIn(const char* layer, const std::string& name, const std::string& rootPath,
                   const std::string& subDirectory);

/// Returns the whole content of an open file.
/// \throws std::system_error the file cannot be read; `path` is for the message
std::string ReadAll(int descriptor, const std::string& path);

/// Returns the whole content of a defaults file, "" if it is missing. Takes no lock, so that a
/// process that is only permitted to read the file cannot block the others.
/// \throws CAccessDenied the file cannot be read
std::string ReadDefaultsFile(const std::string& path);

/// Returns the end of a time limit, which is at most a year, so that it cannot overflow.
std::chrono::steady_clock::time_point DeadlineAfter(std::chrono::milliseconds limit);

/// Throws `std::system_error` with an error number.
[[noreturn]] void ThrowError(int error, const std::string& message);

/// Throws `std::system_error` for `errno`, with the message "'PATH': REASON".
[[noreturn]] void ThrowErrno(const std::string& path);

/// Makes a system call, and repeats it if a signal interrupts it.
template <typename TCall>
auto Uninterrupted(TCall call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

/// As `Uninterrupted`.
/// \throws std::system_error the call fails; `path` is for the message
template <typename TCall>
auto Checked(const std::string& path, TCall call) {
    const auto result = Uninterrupted(call);
    if (result == -1) ThrowErrno(path);
    return result;
}

/// Returns "MESSAGE 'PATH': REASON"; the reason begins with a path if it is about another file.
/// Throws the error again if a lock was not acquired in time, which is not a failure of the file.
std::string Describe(const char* message, const std::string& path, const std::system_error& error);

/// Returns the result of `work`, and turns a `std::system_error` into `TError`, see `Describe`.
template <typename TError, typename TWork>
auto Translate(const char* message, const std::string& path, TWork work) try {
    return work();
} catch (const std::system_error& error) {
    throw TError(Describe(message, path, error));
}

}  // namespace Tamsel::Extras
