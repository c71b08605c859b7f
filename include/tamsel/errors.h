// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

#include <tamsel/export.h>

/// \file
/// The exceptions of this library, each a class of its own derived from a standard exception. The
/// class identifies the kind of failure; `what()` names the key or the file, where the list below
/// shows one. The library does not catch them. K, P and T stand for a key, a path and the name of
/// an `EDataType`.
///
/// - `CTypeError`
///   - "Config option with key 'K' is not a T": `Get`, `GetValueAsType`
/// - `CInvalidConfig`
///   - "Failed to read config file 'P' with the following error:", a newline and the parser's text:
///     stores, factories, `Reload`, `ReadConfig`
///   - "Failed to write config file 'P'": `Set`, `Restore`, `Erase`, `WriteConfig`
/// - `CAccessDenied`
///   - "Failed to open file 'P' for reading.": streams, factories
///   - "Failed to create file 'P'.": `CFileStream`, `Create`
///   - "Failed to access file 'P'.": `GetFileSize`, `GetOverlayedFileSize`
/// - `CInotifyHandlingError`
///   - "Failed to init inotify", "Failed set watch on P": `CFileStream`, `Create`
///   - "Failed reading inotify": `HasChanged`
///
/// These propagate unchanged: `Json::LogicError` for a file whose top level is neither an object
/// nor null, `Json::RuntimeError` for one nested too deeply, `std::system_error` from locking a
/// mutex that the calling thread already holds, `std::bad_alloc` when out of memory, and whatever a
/// change callback or a stream of your own throws.

namespace Tamsel {

/// The value stored for a key has another type than the requested one.
class TAMSEL_API CTypeError : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// A configuration file does not parse, or cannot be written.
class TAMSEL_API CInvalidConfig : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file exists but is not readable, a missing file cannot be created, or a file cannot be opened
/// to determine its size.
class TAMSEL_API CAccessDenied : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The inotify watch on a writable file cannot be set up, or its events cannot be read.
class TAMSEL_API CInotifyHandlingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Tamsel
