// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/iconfig.h>
#include <tamsel/types.h>

/// \file
/// Start here: creates a configuration from its name.
///
/// | File | Path |
/// | --- | --- |
/// | defaults, never written | `rootPath` + "etc/" + `subDirectory` + "/" + `name` + ".json" |
/// | overlay, stores the changes | `rootPath` + "data/" + `subDirectory` + "/" + `name` + ".json" |
///
/// `Create` uses both; `CreateStaticOnly` only the defaults, always in the sub-directory "config".
///
/// Paths are concatenated as plain text and not checked. `rootPath` is a prefix and needs a
/// trailing slash: "/opt/unit" would read "/opt/unitetc/config/...". If it is empty or relative, so
/// are the paths, to the working directory of each file operation: a program that changes it later
/// writes a different file than it watches.
///
/// Each call creates a new, independent object. All functions are thread-safe. The library starts
/// no threads, writes no log, and reads no environment variables.
///
/// \warning A directory, or a file that cannot be opened because the process is out of file
/// descriptors, reads as a file without keys. (`Create` throws if there is no descriptor for its
/// inotify instance either.)
///
/// \warning Whether a file exists and is readable is checked for the real UID and GID, but the file
/// is opened with the effective ones. In a set-user-ID program, a defaults file that the effective
/// user cannot open reads as one without keys, such an overlay throws `CInotifyHandlingError`, and
/// an overlay that the real user cannot see is truncated to zero length. Set both to the same user
/// before calling these functions.

namespace Tamsel {

/// The root path of the `Create` overload that takes none: "/".
extern TAMSEL_API const std::string DefaultRootPath;

/// The sub-directory of the `Create` overloads that take none: "config".
extern TAMSEL_API const std::string DefaultSubDirectory;

/// Reads the defaults file, `rootPath` + "etc/config/" + `name` + ".json", once and returns a
/// configuration with its values. Does not create, write or watch anything. A missing file, an
/// empty one, and one whose top level is `null` result in a configuration without keys.
///
/// \throws CAccessDenied the file exists and is not readable
/// \throws CInvalidConfig the text does not parse
/// \throws Json::Exception jsoncpp rejects the document, see `JsonUtil::ReadConfig`
TAMSEL_API std::shared_ptr<IReadOnlyConfig> CreateStaticOnly(const std::string& name,
                                                             const std::string& rootPath);

/// \name Create: a configuration that can be changed and watched
///
/// Reads the defaults and the overlay, and watches the overlay for the lifetime of the object. A
/// missing defaults file is one without keys. A missing overlay file is created, empty; nothing
/// else is ever created, so its directory must exist. An overlay that is readable but not writable
/// is accepted, and the first change throws.
///
/// Access to the defaults file is checked before the overlay is touched, and to both before either
/// is parsed, so a defaults file that does not parse can leave a new, empty overlay file behind.
///
/// \warning An empty overlay file, for example after a power cut during a `Set`, is an overlay
/// without changes and not an error. A truncated one does not parse, and `Create` throws until it
/// is repaired or emptied.
///
/// \throws CAccessDenied a file exists and is not readable, or the overlay is missing and cannot be
/// created
/// \throws CInotifyHandlingError the inotify instance or the watch cannot be created; each object
/// uses one instance, and Linux limits a user to 128 by default
/// \throws CInvalidConfig the text of either file does not parse
/// \throws Json::Exception jsoncpp rejects either document, see `JsonUtil::ReadConfig`
/// @{

/// Calls `callback` for each change made by `Set`, unless it is empty. As the last of three
/// arguments, `{}` and `nullptr` are ambiguous: use the overload without a callback.
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
