// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <tamsel/extras/memory_stream.h>
#include <tamsel/types.h>

/// \file
/// Conversions between the text of a configuration file and its map.

namespace Tamsel::Extras {

/// Returns a stream of `text` whose path is `path`.
std::shared_ptr<CMemoryStream> StreamOf(const std::string& text, const std::string& path);

/// Parses a text; `path` is for the message. \throws as `JsonUtil::ReadConfig`
TConfigMap ParseText(const std::string& text, const std::string& path);

/// Returns the text of a file with the entries of `map`.
std::string PrintText(const TConfigMap& map);

/// Parses a text into `map` and returns "". If it does not parse, returns the reason and leaves
/// `map` empty.
std::string TryParse(const std::string& text, const std::string& path, TConfigMap& map);

/// Returns true if a text parses as a configuration file.
bool IsWhole(const std::string& text);

/// Applies the difference between `base` and `ours`, by top-level key, to `theirs`, and returns the
/// result; where both changed a key, `ours` wins. A `base` that does not parse has no keys. Returns
/// `ours` if `theirs` does not parse.
std::string MergeTexts(const std::string& base, const std::string& ours, const std::string& theirs);

template <typename T>
Json::Value ToJson(const T& value) {
    return Json::Value(value);
}

// jsoncpp's 64-bit types are `long` where that has 64 bits, so plain conversion would be ambiguous.
inline Json::Value ToJson(unsigned long long value) { return Json::Value(Json::UInt64{value}); }
inline Json::Value ToJson(long long value) { return Json::Value(Json::Int64{value}); }

/// Requires that the key and the value can be written and read back unchanged: numbers are finite,
/// text is UTF-8, and values are nested at most 998 levels deep.
///
/// \throws std::invalid_argument they cannot; `what()` names the key
void RequireStorable(const std::string& key, const Json::Value& value);

}  // namespace Tamsel::Extras
