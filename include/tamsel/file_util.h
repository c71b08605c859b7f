// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/export.h>

/// \file
/// Operations on whole files by path. They are thread-safe, report success by their result, and do
/// not throw on file errors. Those that read, write or get the size open the file on each call and
/// close it before returning. Paths are passed to the system unchanged, up to the first NUL;
/// symbolic links are followed. When out of memory, they throw `std::bad_alloc`, or `ReadFile`
/// truncates what it reads. `ReadFile` and `GetSize` of a FIFO block until a writer opens it.

namespace Tamsel {

/// Returns true if something exists at `path`, in directories that the real user can search (see
/// `IsReadable`).
TAMSEL_API bool Exists(const std::string& path);

/// Returns true if this process is permitted to read the file. The kernel checks the real UID and
/// GID, not the effective ones: in a set-user-ID program, the result is about the user who started
/// it.
TAMSEL_API bool IsReadable(const std::string& path);

/// Returns true if this process is permitted to read and to write the file, as in `IsReadable`.
TAMSEL_API bool IsReadWritable(const std::string& path);

/// Reads the whole file into `content`. Returns true if it could be opened; if not, `content` is
/// empty.
///
/// Takes no lock: during a `WriteFile` of the same file, the text can be empty, truncated, or a
/// mixture of two consecutive writes. A read error after opening is not reported: `content` then
/// contains the bytes before it. A directory can be opened and reads as empty.
TAMSEL_API bool ReadFile(const std::string& path, std::string& content);

/// Replaces the content of the file with `content`, creating the file if it is missing (mode 0666
/// less the umask; a missing directory is not created).
///
/// Rewrites the file in place, which keeps its inode, owner, mode and all watches on it. Holds an
/// exclusive lock (`flock`) from before the truncation until after the synchronisation to storage,
/// so calls for one file, from any thread or process, are serialised. Blocks indefinitely while the
/// file is locked through any other descriptor, one of this process included: do not call it while
/// you lock the file yourself. The lock is advisory: it excludes only those who take it too.
///
/// Returns false with the file unchanged (a missing one may have been created, empty) if it cannot
/// be opened, locked or truncated; a signal whose handler was installed without `SA_RESTART`
/// interrupts the wait for the lock. Returns false with the file truncated if not all bytes were
/// accepted.
///
/// \warning True means that the bytes were accepted, not that they are on the disk: errors of
/// flushing and synchronising are ignored. On a full disk, the last part of a text, smaller than
/// the stdio buffer (4096 bytes with glibc on most file systems), is reported as written, but the
/// file is truncated, or empty if that part was the whole text.
///
/// \warning Not atomic: a crash, a kill or a power cut between the truncation and the end of
/// the synchronisation can leave the file empty or truncated.
///
/// \warning The descriptor is closed on `exec`, but a child that another thread forks during the
/// call shares the lock. If this process is killed before unlocking, the lock remains until the
/// child calls `exec` or exits.
TAMSEL_API bool WriteFile(const std::string& path, const std::string& content);

/// Stores the size of the file in `size`, in bytes modulo 2^32; 4294967295 for anything without a
/// size, such as a pipe; for a directory, whatever its file system reports. Returns true if the
/// file could be opened for reading; if not, `size` is unchanged.
TAMSEL_API bool GetSize(const std::string& path, unsigned int& size);

}  // namespace Tamsel
