// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

#include <tamsel/export.h>

/// \file
/// The failures that this library reports, each a class of its own over a standard base. The class
/// tells the kind of failure, `what()` names the key or the file. Nothing below the caller catches
/// them. K, P and T stand for a key, a path and the name of a type.
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
/// These pass through unchanged: `Json::LogicError` for a file whose top level is neither an object
/// nor null, `Json::RuntimeError` for one nested too deep, `std::system_error` from a lock that
/// would wait for its own thread, `std::bad_alloc`, and whatever a change callback or a stream of
/// your own throws.

namespace Tamsel {

/// A key is held, but with a value of another type than the one asked for.
class TAMSEL_API CTypeError : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// The text of a configuration file does not parse, or a configuration file cannot be written.
class TAMSEL_API CInvalidConfig : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file exists but may not be read, a missing file cannot be created, or a file cannot be opened
/// to be measured.
class TAMSEL_API CAccessDenied : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The change watch over a writable file cannot be set up, or its events cannot be read.
class TAMSEL_API CInotifyHandlingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Tamsel
