// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/ifile_stream.h>

namespace Tamsel {

/// The stream over a file that is only read. It holds the path and nothing else: each operation
/// opens the file anew and sees it as it then is. Any threads may use one stream at once.
class TAMSEL_API CInputFileStream : public IInputFileStream {
public:
    /// Accepts a path where nothing exists yet; a relative one is resolved at each operation.
    ///
    /// \throws CAccessDenied the file exists and this process's real user may not read it
    explicit CInputFileStream(const std::string& path);

    /// Gives the path as it was passed.
    std::string GetPath() const override;

    /// As `GetSize`.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// As `ReadFile`.
    bool Read(std::string& content) override;

private:
    const std::string m_path;
};

/// The stream over a file that is read, written and watched.
///
/// No file stays open between calls. The watch is one inotify instance, held from construction to
/// destruction: Linux allows a user 128 of them by default, and giving one up can take some
/// milliseconds. Its descriptor is inherited: a program that is started by `exec` has it open to no
/// use, and a child of `fork` shares it, so that asking there takes notifications from the parent
/// and destroying the stream there ends the parent's watch. Leave such a child by `exec` or
/// `_exit`.
///
/// The watch follows the file, not its name. It ends for good when the file is deleted or replaced
/// by a rename, as `sed -i`, `mv` and most editors do: `HasChanged` then tells false for ever,
/// while the other operations work on whatever the path names. Writing in place, as `Write`, `cp`,
/// `tee` and the shell's `>` do, keeps it.
///
/// Any threads may use one stream at once, but those that call `HasChanged` share its notifications
/// between them.
class TAMSEL_API CFileStream : public IFileStream {
public:
    /// Creates the file, empty, when nothing exists at `path` (mode 0666 less the umask; a missing
    /// directory is not created), and begins to watch it. A file that may be read but not written
    /// is accepted: `Write` then tells false. When this throws, no descriptor stays open, but a
    /// file that it created stays. A file that someone else creates and fills between the look and
    /// the creation is emptied, and so is one that the effective user can write but the real user
    /// cannot see. A directory is accepted, but once a file is created in it `HasChanged` throws.
    ///
    /// \throws CAccessDenied the file is missing and cannot be created, or this process's real user
    /// may not read it
    /// \throws CInotifyHandlingError no inotify instance or no watch is to be had
    explicit CFileStream(const std::string& path);

    ~CFileStream() override;
    CFileStream(const CFileStream&) = delete;
    CFileStream& operator=(const CFileStream&) = delete;

    /// Gives the path as it was passed.
    std::string GetPath() const override;

    /// As `GetSize`.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    unsigned int GetFileSize() const override;

    /// As `ReadFile`.
    bool Read(std::string& content) override;

    /// As `WriteFile`.
    bool Write(const std::string& content) override;

    /// Tells whether anyone, this stream included, wrote to the file or truncated it since the
    /// previous call, or since construction. Takes every notification so far and never waits. A
    /// change of mode, owner or access time, a reader, or a neighbour in the directory is not a
    /// modification; the kernel counts a change of the modification time alone as one (`touch -m`),
    /// and does not see writes through a memory mapping or by another machine.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read; those taken before are lost
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
