// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>

namespace Tamsel {

/// \file
/// The interface between configurations and files: a document that is read whole, written whole and
/// watched. `file_stream.h` implements it for files. Derive from it to keep a configuration
/// elsewhere, or to test.
///
/// Streams are shared by `std::shared_ptr`. Their text is bytes, without any conversion of
/// character sets or line ends. A `COverlayedConfig` never calls `Read` and `Write`
/// concurrently, but it calls `HasChanged` and `GetFileSize` from any thread, concurrently with
/// them. It calls `GetPath`, `Read` and `Write` while it is locked, so they must not call it. The
/// order of the virtual functions is part of the binary interface.

/// The functions that all streams have.
class TAMSEL_API IFileStreamBase {
public:
    virtual ~IFileStreamBase() = default;

    /// Returns the name used in error messages.
    virtual std::string GetPath() const = 0;

    /// Returns the current size, in bytes modulo 2^32.
    ///
    /// \throws CAccessDenied the file cannot be opened for reading
    virtual unsigned int GetFileSize() const = 0;
};

/// A document that can be read.
class TAMSEL_API IInputFileStream : public virtual IFileStreamBase {
public:
    /// Replaces `content` with the whole document, which can be empty, and returns true. Returns
    /// false with an empty `content` if the document cannot be opened. Throws in neither case.
    virtual bool Read(std::string& content) = 0;
};

/// A document that can be replaced and watched.
class TAMSEL_API IOutputFileStream : public virtual IFileStreamBase {
public:
    /// Replaces the whole document with `content`. Returns true if all bytes were accepted; if not,
    /// the document can be unchanged, empty or truncated.
    virtual bool Write(const std::string& content) = 0;

    /// Returns true if the document was modified since the previous call, or since construction.
    /// Non-blocking.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    virtual bool HasChanged() = 0;
};

/// A document that can be read, replaced and watched.
class TAMSEL_API IFileStream : public IInputFileStream, public IOutputFileStream {};

}  // namespace Tamsel
