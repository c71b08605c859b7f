// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/iconfig.h>
#include <tamsel/types.h>

/// \file
/// Start here: a configuration's name becomes an object that answers.
///
/// | File | Path |
/// | --- | --- |
/// | defaults, never written | `rootPath` + "etc/" + `subDirectory` + "/" + `name` + ".json" |
/// | overlay, holds the changes | `rootPath` + "data/" + `subDirectory` + "/" + `name` + ".json" |
///
/// `Create` uses both; `CreateStaticOnly` the defaults alone, always in the sub-directory "config".
///
/// Paths are joined as plain text and nothing is checked. `rootPath` is a prefix: give it with its
/// trailing slash, for "/opt/unit" would read "/opt/unitetc/config/...". An empty one makes the
/// paths relative, to the working directory of each moment: a program that changes it later writes
/// elsewhere than it watches.
///
/// Each call builds a new, independent object; calls may run in any threads at once.
///
/// \warning Whether a file exists and may be read is asked for the real user, but the effective
/// user opens it. In a set-user-ID program a file that the effective user may not open reads as one
/// without keys, and an overlay that the real user cannot see is emptied. Give such a program one
/// user before it comes here. A directory in a file's place, and a file that cannot be opened for
/// want of a descriptor, read as one without keys too.

namespace Tamsel {

/// The root path of the `Create` overload that takes none: "/".
extern TAMSEL_API const std::string DefaultRootPath;

/// The sub-directory of the `Create` overloads that take none: "config".
extern TAMSEL_API const std::string DefaultSubDirectory;

/// Reads the defaults file, `rootPath` + "etc/config/" + `name` + ".json", once, and gives a
/// configuration that answers from it. Nothing is created, written or watched. A missing file, an
/// empty one, and one that holds `null` give a configuration without keys.
///
/// \throws CAccessDenied the file exists and may not be read
/// \throws CInvalidConfig the text does not parse
/// \throws Json::Exception jsoncpp refuses the document, see `JsonUtil::ReadConfig`
TAMSEL_API std::shared_ptr<IReadOnlyConfig> CreateStaticOnly(const std::string& name,
                                                             const std::string& rootPath);

/// \name Create: a configuration that can be changed and followed
///
/// Reads the defaults and the overlay, and watches the overlay until the object goes. A missing
/// defaults file is one without keys. A missing overlay file is created, empty, and that is all
/// that is ever created: the directory must exist. An overlay that may be read but not written is
/// accepted, and the first change throws.
///
/// The defaults file is examined before the overlay is touched, and both before either is parsed:
/// so a broken defaults file may leave an empty new overlay file behind.
///
/// \warning An overlay file that is empty, say after a power cut in the middle of a `Set`, is one
/// without changes, and no error. One that is cut short does not parse, and `Create` throws until
/// someone mends or empties it.
///
/// \throws CAccessDenied a file exists and may not be read, or the overlay is missing and cannot be
/// created
/// \throws CInotifyHandlingError no inotify instance or no watch is to be had; each object holds
/// one instance, and Linux allows a user 128 by default
/// \throws CInvalidConfig the text of either file does not parse
/// \throws Json::Exception jsoncpp refuses either document, see `JsonUtil::ReadConfig`
/// @{

/// With `callback` told of each change that `Set` makes. An empty one is never called; where a
/// callback and a sub-directory are both possible, `{}` and `nullptr` are ambiguous: use the
/// overload without a callback.
TAMSEL_API std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                           const std::string& subDirectory,
                                           TChangeCallback callback);

/// Below `DefaultRootPath`, in `DefaultSubDirectory`, without a callback.
TAMSEL_API std::shared_ptr<IConfig> Create(const std::string& name);

/// In `DefaultSubDirectory`, without a callback.
TAMSEL_API std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath);

/// Without a callback.
TAMSEL_API std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                           const std::string& subDirectory);

/// In `DefaultSubDirectory`.
TAMSEL_API std::shared_ptr<IConfig> Create(const std::string& name, const std::string& rootPath,
                                           TChangeCallback callback);
/// @}

}  // namespace Tamsel
