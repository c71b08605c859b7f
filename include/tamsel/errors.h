// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

#include <tamsel/export.h>

/// \file
/// The failures that this library reports, each a class of its own over a standard base. The class
/// tells the kind of failure, `what()` names the key or the file. Nothing below the caller catches
/// them.
///
/// | Thrown by | Class | `what()` |
/// | --- | --- | --- |
/// | `Get` on a value of another type | `CTypeError` | `Config option with key 'K' is not a T` |
/// | stores and factories, `Reload` | `CInvalidConfig` | `Failed to read config file 'P' with the
/// following error:`, a newline, the parser's text | | `Set`, `Restore`, `Erase` | `CInvalidConfig`
/// | `Failed to write config file 'P'` | | streams and factories | `CAccessDenied` | `Failed to
/// open file 'P' for reading.` | | `CFileStream`, `Create` | `CAccessDenied` | `Failed to create
/// file 'P'.` | | `GetFileSize`, `GetOverlayedFileSize` | `CAccessDenied` | `Failed to access file
/// 'P'.` | | `CFileStream`, `Create` | `CInotifyHandlingError` | `Failed to init inotify` or
/// `Failed set watch on P` | | `HasChanged` | `CInotifyHandlingError` | `Failed reading inotify` |
///
/// Three more can pass through: `Json::Exception` from jsoncpp (a file whose top level is neither
/// an object nor null: `Json::LogicError`; nesting deeper than 1000 levels: `Json::RuntimeError`),
/// `std::system_error` from a lock that would wait for its own thread, and `std::bad_alloc`.

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
