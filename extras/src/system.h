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
std::string FolderOf(const std::string& path);

/// Returns the path of a configuration's file in "etc" or "data", as `Create` composes it.
std::string FileIn(const char* layer, const std::string& name, const std::string& rootPath,
                   const std::string& subDirectory);

/// Returns the whole content of an open file.
/// \throws std::system_error naming `path` it cannot be read
std::string ReadAll(int descriptor, const std::string& path);

/// Returns the whole content of a defaults file, "" if it is missing. Takes no lock: whoever may
/// only read it could keep everyone waiting by his.
/// \throws CAccessDenied it cannot be read
std::string ReadDefaultsFile(const std::string& path);

/// Throws `std::system_error` with an error number.
[[noreturn]] void ThrowError(int error, const std::string& message);

/// Turns the failure of the system call just made into an exception: "'PATH': REASON".
[[noreturn]] void ThrowErrno(const std::string& path);

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

/// Returns "MESSAGE 'PATH': REASON". A lock that was not obtained in time says nothing of the file,
/// and is thrown again.
std::string Describe(const char* message, const std::string& path, const std::system_error& error);

/// Works, and turns a refusal of the system into `TError`, as `Describe` puts it.
template <typename TError, typename TWork>
auto Translate(const char* message, const std::string& path, TWork work) try {
    return work();
} catch (const std::system_error& error) {
    throw TError(Describe(message, path, error));
}

}  // namespace Tamsel::Extras
