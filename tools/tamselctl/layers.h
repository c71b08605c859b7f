// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

#include <json/value.h>

#include <tamsel/types.h>

#include "arguments.h"

namespace TamselCtl {

/// Where the two files of a configuration are.
struct SFiles {
    std::string defaults;
    std::string overlay;
};

/// What the two files hold, by the library's own reading.
struct SLayers {
    Tamsel::TConfigMap defaults;
    Tamsel::TConfigMap overlay;

    /// Returns every key with the value that a program gets for it.
    Tamsel::TConfigMap Merged() const;
};

/// Returns the paths of a configuration. \throws CFailure the name is empty
SFiles FilesOf(const SCommon& common, const std::string& name);

/// Returns the names of the files that end in `extension`, without it, in a directory; none when it
/// is missing. \throws CFailure it cannot be read
std::set<std::string> NamesIn(const std::string& directory, const std::string& extension);

/// Returns the names of all configurations.
std::set<std::string> AllNames(const SCommon& common);

/// Returns the directory of the overlays.
std::string OverlayDirectory(const SCommon& common);

/// Returns true if there is a file or directory. \throws CFailure that cannot be told
bool IsThere(const std::string& path);

/// Throws `CFailure` unless the configuration has a file, so that a mistyped name is reported.
void RequireFile(const std::string& name, const SFiles& files, const std::string& hint = "");

/// Reads the whole text of a file; "" when it is missing. Creates nothing.
/// \throws CFailure it cannot be read, or not be locked in time
std::string ReadText(const SCommon& common, const std::string& path);

/// Returns what a file holds whose text is `text`. \throws CFailure it does not parse
Tamsel::TConfigMap ParseDefaults(const std::string& path, const std::string& text);

/// The same, and what it throws also says what mends an overlay.
Tamsel::TConfigMap ParseOverlay(const std::string& path, const std::string& text);

/// Reads both files, each once.
SLayers ReadLayers(const SCommon& common, const SFiles& files);

/// Returns the value of a key; null when the map does not hold it.
const Json::Value* Find(const Tamsel::TConfigMap& map, const std::string& key);

}  // namespace TamselCtl
