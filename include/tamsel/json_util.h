// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/ifile_stream.h>
#include <tamsel/types.h>

/// \file
/// Between JSON and C++: one value to one typed answer, and one document to one map of keys. The
/// functions keep nothing between calls and may be called from any thread.

namespace Tamsel::JsonUtil {

/// Tells whether `value` is of `type`, by jsoncpp's own predicate (see `EDataType`). A `type`
/// outside the enumeration is no type: false. Never throws.
TAMSEL_API bool IsValueOfType(const Json::Value& value, EDataType type);

/// Converts `value` to `T`, one of the nine types of `IReadOnlyConfig::Get`; any other does not
/// compile. It converts exactly the values for which `IsValueOfType` tells true: no string becomes
/// a number, no 2.5 an `int`. Narrowing to `float` never fails: a number out of range becomes an
/// infinity. For `Json::Value` the result is a deep copy of whatever it is. `key` serves the
/// message alone.
///
/// \throws CTypeError `value` is not of that type; never for `Json::Value`
template <typename T>
T GetValueAsType(const std::string& key, const Json::Value& value) = delete;

/// \cond
template <>
TAMSEL_API bool GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API unsigned int GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API unsigned long long GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API int GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API long long GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API float GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API double GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API std::string GetValueAsType(const std::string& key, const Json::Value& value);
template <>
TAMSEL_API Json::Value GetValueAsType(const std::string& key, const Json::Value& value);
/// \endcond

/// Reads a configuration file: the members of its top-level object, each value copied whole.
///
/// A document that cannot be opened, has no bytes, or holds `null` is a configuration without keys.
/// Parsing is jsoncpp's with its default settings: trailing commas are accepted, and comments in
/// most places (not in an empty array, behind an array's trailing comma, or between a name and its
/// colon); a member that occurs twice has its later value, and text behind the first value is
/// ignored. White space alone does not parse. `stream` must not be empty.
///
/// A C++ global locale with a decimal comma changes how jsoncpp reads numbers: 2.5 may fail to
/// parse, lose its fraction, or, where the point separates thousands, 1.500 become 1500.
///
/// \throws CInvalidConfig the text does not parse
/// \throws Json::LogicError the top level is neither an object nor null
/// \throws Json::RuntimeError values are nested deeper than 1000 levels, the top-level object and
/// the innermost value included
TAMSEL_API TConfigMap ReadConfig(const std::shared_ptr<IInputFileStream>& stream);

/// Writes a configuration file: one object in jsoncpp's styled layout, its members in ascending
/// byte order; a configuration without keys as `null`. It replaces the whole document by one
/// `Write`, and neither reads nor merges what is there. `stream` must not be empty.
///
/// \warning Not every value can be read back, see `IConfig::Set`. A value's comments go with it, so
/// a new value has none; those before and after the document are not in the map and so are lost.
///
/// \throws CInvalidConfig the stream tells that the write failed
TAMSEL_API void WriteConfig(const std::shared_ptr<IOutputFileStream>& stream,
                            const TConfigMap& configMap);

}  // namespace Tamsel::JsonUtil
