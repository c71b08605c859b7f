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

class CFolderWatch;

/// The stream over a file that is read, written and watched, and that survives a crash, a kill or a
/// power cut inside a write with the old text or the new one, whole.
///
/// Use it below a `COverlayedConfig` in place of `CFileStream`; `Open` does, and more. Beside the
/// file lies its journal, "PATH.journal", empty except during a change, with the file's permissions
/// and owner. Never remove it beside a running program. The file itself is rewritten in place: it
/// keeps its inode, and every watch on it goes on.
///
/// Several objects, in any threads and processes, can write one file: each write is a change of
/// single keys, see `Write`. Any threads may use one object at once. Reads and writes lock the
/// journal and then the file, and block while somebody else has a lock, for `lockLimit` at most.
///
/// Programs on the bare library can read and change the same file. Run `Recover` before they start.
/// What still can be lost beside them: they write their whole map, and a kill inside their `Set`
/// leaves the file empty or truncated, as ever. `cp` and the shell's `>` take no lock: deliver by
/// `flock FILE cp NEW FILE`.
class CCrashSafeFileStream : public IFileStream {
public:
    /// Creates the file, empty, and the journal, where they are missing; the directory must exist.
    /// Completes an interrupted change. Where inotify is not available, all but `HasChanged` works.
    ///
    /// \throws CAccessDenied a file is missing and cannot be created
    /// \throws std::system_error another failure of the system; `std::errc::timed_out` when
    /// somebody else had the lock for all of `lockLimit`, here and in all that read or write
    explicit CCrashSafeFileStream(const std::string& path,
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);
    ~CCrashSafeFileStream() override;
    CCrashSafeFileStream(const CCrashSafeFileStream&) = delete;
    CCrashSafeFileStream& operator=(const CCrashSafeFileStream&) = delete;

    /// Returns the path as it was passed.
    std::string GetPath() const override;

    /// Returns the size of the file in bytes, modulo 2^32, also in the middle of a change.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// Reads the whole text. A missing file reads as empty. Completes an interrupted change, or
    /// returns the completed text where the files can only be read. Always returns true.
    ///
    /// \throws CAccessDenied the file cannot be read, for whatever reason; `what()` ends with it
    bool Read(std::string& content) override;

    /// Replaces the text that this object last read or wrote with `content`, and returns when
    /// storage has it. Always returns true.
    ///
    /// If the file meanwhile holds another text, the difference between the two is applied to that,
    /// top-level key by key: what others changed stays, and where both changed a key, `content`
    /// wins. So the file then holds keys that the caller does not know before it reads again.
    ///
    /// When this throws, the file holds the text from before, or, only if writing it a second time
    /// failed too, becomes the new one.
    ///
    /// \throws CInvalidConfig `content` cannot be read as a configuration; nothing was touched
    /// \throws CInvalidConfig the system refused; `what()` ends with the reason
    bool Write(const std::string& content) override;

    /// Replaces the text by what `change` returns for the present one, while nobody else can change
    /// it. What `change` throws passes through, and nothing has changed. It must not use this file
    /// otherwise. \throws as `Write`
    void Update(const std::function<std::string(const std::string& text)>& change);

    /// Returns whether the file was changed, replaced, removed or created since the previous call,
    /// or since construction. Unlike `CFileStream`, it follows the path and not the inode. Never
    /// blocks.
    ///
    /// \throws CInotifyHandlingError there is no watch, or its notifications cannot be read
    bool HasChanged() override;

protected:
    /// The text that this object last read or wrote: the one that `Write` takes the difference to.
    std::string KnownText() const;
    void SetKnownText(const std::string& text);

private:
    const std::string m_givenPath;
    const std::string m_path;
    const std::chrono::milliseconds m_lockLimit;
    const std::unique_ptr<CFolderWatch> m_watch;
    mutable std::mutex m_mutex;
    std::optional<std::string> m_knownText;                  // guarded by m_mutex
    std::pair<std::uint64_t, std::uint64_t> m_synchronized;  // guarded by m_mutex
};

/// Returns the whole text of the overlay file at `path`, "" for a missing one. Creates nothing. As
/// `CCrashSafeFileStream::Read`, it completes an interrupted change, or returns the completed text
/// where the files can only be read.
///
/// \throws std::system_error a file cannot be read or locked
std::string ReadText(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

/// Completes a change of the overlay file at `path` that was interrupted, so that programs on the
/// bare library find it whole. Returns whether there was one. Fast when there is none, and creates
/// nothing. Run it at boot, before such programs: `tamselctl recover` does.
///
/// \throws std::system_error the files cannot be opened, locked or written
bool Recover(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

/// Returns whether a change of the overlay file at `path` was interrupted and not completed yet.
/// Changes nothing.
///
/// \throws std::system_error the journal cannot be read or locked
bool IsInterrupted(const std::string& path, std::chrono::milliseconds lockLimit = NoTimeLimit);

}  // namespace Tamsel::Extras
