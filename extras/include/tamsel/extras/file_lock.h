// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

namespace Tamsel::Extras {

/// Waits for a lock indefinitely.
constexpr std::chrono::milliseconds NoTimeLimit = std::chrono::milliseconds::max();

/// An open file with its advisory lock (`flock`), from construction to destruction.
///
/// Every write of the library takes the exclusive lock, and so does `flock FILE COMMAND` in a
/// script: while an object of this class lives, neither changes the file. Programs that take no
/// lock, as `cp` or the shell's `>`, are not kept out.
///
/// The lock belongs to this object and excludes other threads just as other processes. The kernel
/// releases it when the process ends, however it ends. The descriptor is closed on `exec`. A child
/// of `fork` shares the lock: if the parent is killed, the child keeps it until it ends.
///
/// \warning While you have a lock on an overlay file, a change of it by the bare library blocks
/// indefinitely, in your own thread too.
class CFileLock {
public:
    enum class EMode {
        Shared,    ///< opens for reading; any number of shared locks at once
        Exclusive  ///< opens for reading and writing; no other lock at the same time
    };

    /// Opens and locks the file at `path`, which must exist. When the file is removed or replaced
    /// during the wait for the lock, the one that is there afterwards is opened and locked. A
    /// signal does not end the wait.
    ///
    /// \throws std::system_error the file cannot be opened or locked; with the code
    /// `std::errc::timed_out` when somebody else had the lock for all of `limit`
    CFileLock(const std::string& path, EMode mode, std::chrono::milliseconds limit = NoTimeLimit);
    ~CFileLock();
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;

    /// The descriptor of the open file, owned by this object.
    int Descriptor() const { return m_descriptor; }

    /// Returns the whole content of the file. \throws std::system_error the file cannot be read
    std::string Read() const;

    /// Replaces the content of the file and returns when storage has it. The bytes are overwritten
    /// in place and the file is shortened after that: it keeps its watches, is never empty in
    /// between, and needs more space only where it grows. Not atomic.
    ///
    /// \throws std::system_error the content could not be written, synchronised or read back; the
    /// file may then hold parts of either content
    void Write(const std::string& content) const;

    /// Returns when storage has all that anyone has written to the file. \throws std::system_error
    void Synchronize() const;

private:
    const std::string m_path;
    const int m_descriptor;
};

}  // namespace Tamsel::Extras
