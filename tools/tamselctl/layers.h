// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

#include <json/value.h>

#include <tamsel/types.h>

#include "arguments.h"

namespace TamselCtl {

/// The paths of the two files of a configuration.
struct SFiles {
    std::string defaults;
    std::string overlay;
};

/// The content of the two files, as the library reads it.
struct SLayers {
    Tamsel::TConfigMap defaults;
    Tamsel::TConfigMap overlay;

    /// Returns every key with the value that `Get` returns for it.
    Tamsel::TConfigMap Merged() const;
};

/// Returns the paths of a configuration. \throws CFailure the name is empty
SFiles FilesOf(const SCommon& common, const std::string& name);

/// Returns the names, without `extension`, of the files in a directory that end in it; none if the
/// directory is missing. \throws CFailure it cannot be read
std::set<std::string> NamesIn(const std::string& directory, const std::string& extension);

/// Returns the names of all configurations.
std::set<std::string> AllNames(const SCommon& common);

/// Returns the directory of the overlays.
std::string OverlayDirectory(const SCommon& common);

/// Returns true if a file or directory exists. \throws CFailure that cannot be determined
bool IsThere(const std::string& path);

/// Throws `CFailure` unless the configuration has a file, to catch a mistyped name.
void RequireFile(const std::string& name, const SFiles& files, const std::string& hint = "");

/// Reads the whole text of a file; "" if it is missing. Creates nothing.
/// \throws CFailure it cannot be read, or the lock was not acquired in time
std::string ReadText(const SCommon& common, const std::string& path);

/// Parses the text of a file. \throws CFailure it does not parse
Tamsel::TConfigMap ParseDefaults(const std::string& path, const std::string& text);

/// The same for an overlay: the message also says how to repair it.
Tamsel::TConfigMap ParseOverlay(const std::string& path, const std::string& text);

/// Reads both files, each once.
SLayers ReadLayers(const SCommon& common, const SFiles& files);

/// Returns the value of a key; null if the map does not contain it.
const Json::Value* Find(const Tamsel::TConfigMap& map, const std::string& key);

}  // namespace TamselCtl
