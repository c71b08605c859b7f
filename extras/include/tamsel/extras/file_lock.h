// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

#include <tamsel/errors.h>

namespace Tamsel::Extras {

/// Waits for a lock indefinitely.
constexpr std::chrono::milliseconds NoTimeLimit = std::chrono::milliseconds::max();

/// An open file and an advisory lock on it (`flock`), from construction to destruction.
///
/// Every write of the library takes the exclusive lock, as does `flock FILE COMMAND` in a script.
/// Programs that take no lock, such as `cp` and shell redirection, are not excluded.
///
/// The lock belongs to this object: it excludes other threads just as other processes. The kernel
/// releases it when the process ends in any way. The descriptor is closed on `exec`. A child of
/// `fork` shares the lock: if the parent is killed, the lock remains until the child calls `exec`
/// or exits.
///
/// \warning While you have a lock on an overlay file, changing it by the bare library blocks
/// indefinitely, in your own thread too.
class CFileLock {
public:
    /// How to open and lock.
    enum class EMode {
        Shared,    ///< opens for reading; any number of shared locks at once
        Exclusive  ///< opens for reading and writing; no other lock at the same time
    };

    /// Opens and locks the file at `path`, which must exist. If it is replaced while this waits for
    /// the lock, opens and locks the new one. A signal does not interrupt the wait.
    ///
    /// \throws std::system_error the file cannot be opened or locked; with the code
    /// `std::errc::timed_out` if others had the lock for all of `limit`
    CFileLock(const std::string& path, EMode mode, std::chrono::milliseconds limit = NoTimeLimit);
    ~CFileLock();
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;

    /// The descriptor of the open file, owned by this object.
    int Descriptor() const { return m_descriptor; }

    /// Returns the whole content of the file. \throws std::system_error the file cannot be read
    std::string Read() const;

    /// Replaces the content of the file and returns when storage has it. Overwrites in place and
    /// truncates afterwards: the file keeps its inode and its watches, is never empty in between,
    /// and needs space only where it grows. Not atomic.
    ///
    /// \throws std::system_error the content cannot be written, synchronised or read back; the file
    /// can then contain parts of both
    void Write(const std::string& content) const;

    /// Returns when storage has everything that was written to the file, by anyone.
    /// \throws std::system_error
    void Synchronize() const;

private:
    const std::string m_path;
    const int m_descriptor;
};

}  // namespace Tamsel::Extras
