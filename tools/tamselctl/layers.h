// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <json/value.h>

#include <tamsel/types.h>

#include "request.h"

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

    /// Gives every key with the value that a program gets for it.
    Tamsel::TConfigMap Merged() const;
};

/// Keeps the library's writers out of a file while it is read, so that a reader never meets one
/// half-way. Without a file there is nothing to hold, and that is no error.
///
/// Never write to the file meanwhile: the writer would wait for this lock for ever.
class CReadLock {
public:
    /// \throws CFailure a signal ended the waiting
    explicit CReadLock(const std::string& path);
    ~CReadLock();
    CReadLock(const CReadLock&) = delete;
    CReadLock& operator=(const CReadLock&) = delete;

private:
    const int m_descriptor;
};

/// Names the files that `request` is about. \throws CFailure its configuration has no name
SFiles FilesOf(const SRequest& request);

/// Tells whether a file is there. \throws CFailure that cannot be told, or it is a directory
bool IsThere(const std::string& path);

/// Gives a file's text; none when it is missing. \throws CFailure it may not be read
std::string ReadText(const std::string& path);

/// Gives what a file holds; nothing when it is missing. Creates and changes nothing.
///
/// \throws CFailure the file may not be read, or does not parse
Tamsel::TConfigMap ReadMap(const std::string& path);

/// Reads both files, each as `ReadMap`.
SLayers ReadLayers(const SFiles& files);

/// Looks a key up; null when the map does not hold it.
const Json::Value* Find(const Tamsel::TConfigMap& map, const std::string& key);

}  // namespace TamselCtl
