// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/ifile_stream.h>

namespace Tamsel {

/// A stream over a file that is only read. It stores nothing but the path: each operation opens the
/// file again and sees its current content. Thread-safe.
class TAMSEL_API CInputFileStream : public IInputFileStream {
public:
    /// Accepts a path where nothing exists yet. A relative path is resolved by each operation.
    ///
    /// \throws CAccessDenied the file exists and is not readable by the real user of this process
    explicit CInputFileStream(const std::string& path);

    /// Returns the path as passed to the constructor.
    std::string GetPath() const override;

    /// Returns the size as `GetSize` does.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// See `ReadFile`.
    bool Read(std::string& content) override;

private:
    const std::string m_path;
};

/// A stream over a file that is read, written and watched.
///
/// No file stays open between calls. The watch is one inotify instance, of which Linux allows a
/// user 128 by default; closing one can take milliseconds.
///
/// Thread-safe, but threads that call `HasChanged` concurrently share the notifications.
///
/// \warning The watch follows the file, not its name. After a deletion, or a replacement by rename
/// as `sed -i`, `mv` and most editors do, `HasChanged` reports writes to the old file only, and
/// nothing once that is gone; the other operations use what the path names. Writing in place, as
/// `Write`, `cp`, `tee` and shell redirection do, keeps the watch.
///
/// \warning The inotify descriptor is inherited. A program started by `exec` keeps the instance
/// until it exits. A child of `fork` shares it: there, `HasChanged` consumes the parent's
/// notifications, and destroying the stream ends the parent's watch. Leave such a child by `exec`
/// or `_exit`.
class TAMSEL_API CFileStream : public IFileStream {
public:
    /// Creates the file, empty, if nothing exists at `path` (mode 0666 less the umask; a missing
    /// directory is not created), and starts watching it. A file that is readable but not writable
    /// is accepted: `Write` then returns false. A directory is accepted, but after a file in
    /// it is created or modified, every `HasChanged` throws. If the constructor throws, no
    /// descriptor stays open, but a file that it created remains.
    ///
    /// \warning A file that someone else creates and fills between the check and the creation is
    /// truncated to zero length, and so is one that the effective user can write but the real user
    /// cannot see.
    ///
    /// \throws CAccessDenied the file is missing and cannot be created, or is not readable by the
    /// real user of this process
    /// \throws CInotifyHandlingError the inotify instance or the watch cannot be created
    explicit CFileStream(const std::string& path);

    ~CFileStream() override;
    CFileStream(const CFileStream&) = delete;
    CFileStream& operator=(const CFileStream&) = delete;

    /// Returns the path as passed to the constructor.
    std::string GetPath() const override;

    /// Returns the size as `GetSize` does.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// See `ReadFile`.
    bool Read(std::string& content) override;

    /// See `WriteFile`.
    bool Write(const std::string& content) override;

    /// Returns true if anyone, this stream included, wrote to the file or truncated it since the
    /// previous call, or since construction. Consumes all notifications so far. Non-blocking.
    ///
    /// A change of mode, owner or access time, a read, or a change next to the file in its
    /// directory is not a modification. The kernel reports a change of the modification time alone
    /// (`touch -m`) as one, and does not report writes through a memory mapping or by another
    /// machine.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read; those already consumed are
    /// lost
    bool HasChanged() override;

private:
    /// Owns the inotify instance.
    class CInotify {
    public:
        TAMSEL_LOCAL CInotify();
        TAMSEL_LOCAL ~CInotify();
        CInotify(const CInotify&) = delete;
        CInotify& operator=(const CInotify&) = delete;

        int Descriptor() const { return m_descriptor; }

    private:
        const int m_descriptor;
    };

    const std::string m_path;
    const CInotify m_inotify;
    const int m_watch;
};

}  // namespace Tamsel
