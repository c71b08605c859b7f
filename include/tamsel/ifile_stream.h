// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>

namespace Tamsel {

/// \file
/// The seam between configurations and files: a document that can be read whole, written whole and
/// watched. `file_stream.h` has the streams over real files. Derive your own to keep a
/// configuration anywhere else, or to test against.
///
/// A stream is shared by pointer. Its text is bytes, unchanged: no character set, no line ends. An
/// overlayed configuration calls `Read` and `Write` one at a time, but `HasChanged` and
/// `GetFileSize` from any thread beside them. The virtual operations and their order are part of
/// the binary interface.

/// What every stream can tell of its file.
class TAMSEL_API IFileStreamBase {
public:
    virtual ~IFileStreamBase() = default;

    /// Gives the name that error messages use.
    virtual std::string GetPath() const = 0;

    /// Gives the current size in bytes, modulo 2^32.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    virtual unsigned int GetFileSize() const = 0;
};

/// A document that can be read.
class TAMSEL_API IInputFileStream : public virtual IFileStreamBase {
public:
    /// Replaces `content` with the whole document and tells true; an empty document is one. Tells
    /// false and leaves `content` empty when the document cannot be opened. Throws for neither.
    virtual bool Read(std::string& content) = 0;
};

/// A document that can be replaced and watched.
class TAMSEL_API IOutputFileStream : public virtual IFileStreamBase {
public:
    /// Replaces the whole document with `content`. Tells whether every byte was taken; after false,
    /// the document may be the old one, empty, or cut short.
    virtual bool Write(const std::string& content) = 0;

    /// Tells whether the document was modified since the previous call, or since construction, and
    /// forgets it. Never waits.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    virtual bool HasChanged() = 0;
};

/// A document that can be read, replaced and watched.
class TAMSEL_API IFileStream : public IInputFileStream, public IOutputFileStream {};

}  // namespace Tamsel
