// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <tamsel/extras/memory_stream.h>
#include <tamsel/types.h>

/// \file
/// Texts of configuration files and the maps that they hold.

namespace Tamsel::Extras {

/// Returns a stream that reads `text` and calls it `path`.
std::shared_ptr<CMemoryStream> StreamOf(const std::string& text, const std::string& path);

/// Returns what a text holds; `path` is for the message. \throws as `JsonUtil::ReadConfig`
TConfigMap ParseText(const std::string& text, const std::string& path);

/// Returns the text of a file that holds `map`.
std::string PrintText(const TConfigMap& map);

/// Reads a text into `map`, and returns "". If it cannot be read, returns why and leaves
/// `map` empty.
std::string TryParse(const std::string& text, const std::string& path, TConfigMap& map);

/// Returns true if a text can be read as a configuration file.
bool IsWhole(const std::string& text);

/// Returns `theirs` with the changes that lead from `base` to `ours`, key by key; where both
/// changed a key, the value of `ours`. A `base` that cannot be read holds no keys; `theirs`, if it
/// cannot be read, is replaced whole by `ours`.
std::string MergeTexts(const std::string& base, const std::string& ours, const std::string& theirs);

template <typename T>
Json::Value ToJson(const T& value) {
    return Json::Value(value);
}

// jsoncpp's own 64-bit types are `long` where `long` has 64 bits, and would leave these ambiguous.
inline Json::Value ToJson(unsigned long long value) { return Json::Value(Json::UInt64{value}); }
inline Json::Value ToJson(long long value) { return Json::Value(Json::Int64{value}); }

/// Throws unless the key and the value can be read again from a file just as they are: numbers must
/// be finite, texts UTF-8, and values at most 998 levels deep.
///
/// \throws std::invalid_argument naming the key
void RequireStorable(const std::string& key, const Json::Value& value);

}  // namespace Tamsel::Extras
