// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <tamsel/extras/file_lock.h>
#include <tamsel/ifile_stream.h>

namespace Tamsel::Extras {

class CDirectoryWatch;

/// A stream over a file that is read, written and watched. A crash, a kill or a power cut
/// during a write leaves the old text or the new one, never a part.
///
/// Use it below a `COverlayedConfig` in place of `CFileStream`; `Open` does, and more. Next to the
/// file is its journal, "PATH.journal", empty except during a change, with the permissions and the
/// owner of the file. Do not remove it while a program uses the file. The file itself is rewritten
/// in place: it keeps its inode, and all watches on it.
///
/// Symbolic links and the working directory are resolved once, by the constructor. A journal that
/// is a link is refused.
///
/// Thread-safe. Any number of objects, in any processes, can write one file: each write is a change
/// of single keys, see `Write`. Reads and writes lock the journal and then the file, and block
/// while anyone else has a conflicting lock, for at most `lockLimit` each.
///
/// \warning Programs on the bare library can use the same file. They are not protected: their
/// changes rewrite the file from their own memory, and a kill during one leaves it empty or
/// truncated. `cp` and shell redirection do the same and take no lock; deliver files by
/// `flock FILE cp NEW FILE`.
///
/// \warning Run `Recover` before such programs and deliveries. A file that is empty, does not
/// parse, or has only bytes of the old or the new text at their positions, counts as an interrupted
/// write until then, and gets the new text.
class CCrashSafeFileStream : public IFileStream {
public:
    /// Creates the file, empty, and the journal if they are missing; their directory must exist.
    /// Completes an interrupted change. Accepts files that are readable but not writable: `Write`
    /// then throws. Without inotify, everything but `HasChanged` works.
    ///
    /// \throws CAccessDenied a file is missing and cannot be created, or the journal is a link;
    /// `what()` ends with the system's reason
    /// \throws std::system_error with the code `std::errc::timed_out`: someone else had a lock for
    /// all of `lockLimit`. So does every operation that reads or writes
    explicit CCrashSafeFileStream(const std::string& path,
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);
    ~CCrashSafeFileStream() override;
    CCrashSafeFileStream(const CCrashSafeFileStream&) = delete;
    CCrashSafeFileStream& operator=(const CCrashSafeFileStream&) = delete;

    /// Returns the path as passed to the constructor.
    std::string GetPath() const override;

    /// Returns the current size of the file, in bytes modulo 2^32. Takes no lock.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// Reads the text into `content` and returns true. A missing file reads as empty. Completes an
    /// interrupted change; where the files are not writable, reads the text that completes it.
    ///
    /// \throws CAccessDenied the file cannot be read; `what()` ends with the system's reason
    bool Read(std::string& content) override;

    /// Replaces the text with `content` and returns true when storage has it.
    ///
    /// If the file no longer contains the text that this object last read or wrote, the difference
    /// between that text and `content` is applied to what it contains now, by top-level key:
    /// changes of other keys by others remain, and `content` wins where both changed a key. The
    /// file then contains keys that the caller learns of by the next `Read`. A file that does not
    /// parse is replaced by `content`.
    ///
    /// If this throws, the file contains the old text. Only if restoring that failed too does it
    /// have the new one, by the next recovery.
    ///
    /// \throws CInvalidConfig `content` does not parse, and nothing was touched; or the file cannot
    /// be written: `what()` ends with the system's reason
    bool Write(const std::string& content) override;

    /// Replaces the text with what `change` returns for the current one, under the lock: no other
    /// process or thread changes the file in between. `change` must not access the file.
    ///
    /// Throws as `Write`. An exception of `change` propagates, and nothing has changed.
    void Update(const std::function<std::string(const std::string& text)>& change);

    /// Returns true if anyone, this object included, wrote, replaced, removed or created the file
    /// since the previous call, or since construction. Follows the path, unlike `CFileStream`,
    /// which follows the inode. Non-blocking. Threads that call it concurrently share the
    /// notifications.
    ///
    /// \throws CInotifyHandlingError inotify is not available, or cannot be read
    bool HasChanged() override;

protected:
    /// The text that this object last read or wrote, from which `Write` computes the difference.
    std::string KnownText() const;
    /// Sets the text that `KnownText` returns.
    void SetKnownText(const std::string& text);

private:
    const std::string m_givenPath;
    const std::string m_path;
    const std::chrono::milliseconds m_lockLimit;
    const std::unique_ptr<CDirectoryWatch> m_watch;
    mutable std::mutex m_mutex;
    std::optional<std::string> m_knownText;                  // guarded by m_mutex
    std::pair<std::uint64_t, std::uint64_t> m_synchronized;  // guarded by m_mutex
};

/// Returns the whole text of the overlay file at `path`, "" for a missing one. Creates nothing.
/// Completes an interrupted change, as `CCrashSafeFileStream::Read` does.
///
/// \throws std::system_error a file cannot be opened, locked or read
std::string ReadText(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

/// Completes an interrupted change of the overlay file at `path`, so that programs on the bare
/// library find it whole. Returns true if there was one; if not, this is fast and changes nothing.
/// Run it at boot, before such programs start: `tamselctl recover` does.
///
/// \throws std::system_error a file cannot be opened, locked or written; the change remains to be
/// completed
bool Recover(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

/// Returns true if a change of the overlay file at `path` was interrupted and is not yet completed.
/// Changes nothing.
///
/// \throws std::system_error the journal cannot be opened, locked or read
bool IsInterrupted(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

}  // namespace Tamsel::Extras
