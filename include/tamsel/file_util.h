// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/export.h>

/// \file
/// Whole files by path. Every function opens the file anew and closes it before it returns, tells
/// success by its result, never throws for a problem of the file, and may be called from any
/// thread. Paths go to the system as they are, up to a first NUL; symbolic links are followed.
/// Running out of memory throws `std::bad_alloc`, or cuts short what `ReadFile` reads.

namespace Tamsel {

/// Tells whether something exists at `path`, and its directories let the real user see it (as for
/// `IsReadable`).
TAMSEL_API bool Exists(const std::string& path);

/// Tells whether this process may read the file. The kernel judges by the real user, not the
/// effective one: in a set-user-ID program the answer is about whoever started it.
TAMSEL_API bool IsReadable(const std::string& path);

/// Tells whether this process may both read and write the file; by the real user, as `IsReadable`.
TAMSEL_API bool IsReadWritable(const std::string& path);

/// Reads the whole file into `content`. Tells whether it could be opened; if not, `content` is
/// empty.
///
/// No lock is taken: beside a `WriteFile` of the same file, the text may be empty, cut short, or
/// begun by one write and ended by the next. A read error after the opening is not reported:
/// `content` then holds the bytes before it. A directory opens, and reads as empty.
TAMSEL_API bool ReadFile(const std::string& path, std::string& content);

/// Replaces the whole content of the file with `content`, creating the file when it is missing
/// (mode 0666 less the umask; a missing directory is not created).
///
/// The file is rewritten in place, so it keeps its inode, owner, mode and every watch on it. From
/// before the old content is discarded until the new one is synchronised to storage, the file is
/// locked by `flock`: calls for one file, in any thread or process, follow one another. The lock is
/// advisory, binds only those who take it too, and is waited for without limit.
///
/// Tells false, with the file as it was (a missing one may have been created, empty), when it
/// cannot be opened, locked or emptied; a signal whose handler has no `SA_RESTART` ends the waiting
/// for the lock. Tells false, with the file cut short, when not every byte was taken.
///
/// \warning True means that the bytes were taken, not that they are on the disk: results of the
/// flush and the synchronisation are not looked at. On a full disk the last part of a text, smaller
/// than stdio's buffer (4096 bytes with glibc on most file systems), is reported as written, and
/// the file is then cut short, or empty when that part was all. And nothing here is atomic: a
/// crash, a kill or a power cut between the discarding and the end of the synchronisation can leave
/// the file empty or cut short.
TAMSEL_API bool WriteFile(const std::string& path, const std::string& content);

/// Puts the size of the file into `size`, in bytes, modulo 2^32; 4294967295 for what has none, as a
/// directory or a pipe. Tells whether the file could be opened for reading; if not, `size` is
/// untouched.
TAMSEL_API bool GetSize(const std::string& path, unsigned int& size);

}  // namespace Tamsel
