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
/// Conversions between JSON and C++: of one value to one type, and between a document and a map of
/// keys. The functions are stateless and thread-safe.

namespace Tamsel::JsonUtil {

/// Returns true if `value` has the type `type`, by jsoncpp's own predicate (see `EDataType`).
/// Returns false for a `type` outside the enumeration. Never throws.
TAMSEL_API bool IsValueOfType(const Json::Value& value, EDataType type);

/// Converts `value` to `T`, one of the nine types of `IReadOnlyConfig::Get`; any other does not
/// compile. Accepts exactly the values for which `IsValueOfType` returns true: no string becomes a
/// number, and no 2.5 an `int`. Narrowing to `float` never fails: a number out of range becomes an
/// infinity. For `Json::Value`, returns a deep copy of any value. `key` is only used in the
/// message.
///
/// \throws CTypeError `value` does not have that type; never for `Json::Value`
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

/// Reads a configuration file and returns the members of its top-level object, each with a copy of
/// its whole value. `stream` must not be null.
///
/// A document that cannot be opened, is empty, or has `null` as its top level is a configuration
/// without keys. White space or comments alone do not parse. The parser is jsoncpp's with its
/// default settings. It accepts trailing commas, and comments in most places (not in an empty
/// array, after the trailing comma of an array, or between a name and its colon). A repeated member
/// has its last value. Text after the first value is ignored.
///
/// \warning A C++ global locale with a decimal comma changes how jsoncpp reads numbers: 2.5 can
/// fail to parse or lose its fraction, and where the point separates thousands, 1.500 can become
/// 1500.
///
/// \throws CInvalidConfig the text does not parse
/// \throws Json::LogicError the top level is neither an object nor null
/// \throws Json::RuntimeError values are nested deeper than 1000 levels, including the top-level
/// object and the innermost value
TAMSEL_API TConfigMap ReadConfig(const std::shared_ptr<IInputFileStream>& stream);

/// Writes a configuration file: one object in jsoncpp's styled layout with its members in ascending
/// byte order, or `null` if there are no keys. Replaces the whole document by one `Write`; does not
/// read or merge the existing one. `stream` must not be null.
///
/// \warning Not every value can be read again, see `IConfig::Set`. A value's comments are part of
/// it, so a new value has none. Comments before and after the document are not in the map and are
/// lost.
///
/// \throws CInvalidConfig the stream's `Write` returned false
TAMSEL_API void WriteConfig(const std::shared_ptr<IOutputFileStream>& stream,
                            const TConfigMap& configMap);

}  // namespace Tamsel::JsonUtil
