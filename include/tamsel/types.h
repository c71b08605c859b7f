// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

#include <json/value.h>

#include <tamsel/export.h>

/// \file
/// The types shared by the other headers.

namespace Tamsel {

/// The types that a stored value can be checked against. Each but `Any` is defined by a predicate
/// of jsoncpp, so a number has every numeric type whose range contains its value, however it was
/// written: 5 is a `Uint32`, `Uint64`, `Int32`, `Int64`, `Float` and `Double`, and so is 3.0; 2.5
/// is a `Float` and a `Double` only. A boolean is not a number, and neither is the string "5".
///
/// The enumerators' values are part of the binary interface. A value outside 0 to 8 is not a type.
enum class EDataType : unsigned int {
    Any = 0,     ///< every JSON value, null included
    Bool = 1,    ///< `Json::Value::isBool`
    Uint32 = 2,  ///< `Json::Value::isUInt`
    Uint64 = 3,  ///< `Json::Value::isUInt64`
    Int32 = 4,   ///< `Json::Value::isInt`
    Int64 = 5,   ///< `Json::Value::isInt64`
    Float = 6,   ///< `Json::Value::isDouble`: the same values as `Double`
    Double = 7,  ///< `Json::Value::isDouble`
    String = 8,  ///< `Json::Value::isString`
};

/// One configuration file in memory: an entry for each member of the file's top-level object.
///
/// The key is the member's name, which can be empty, compared byte by byte. The value is stored
/// whole: a nested object is one value, and no key addresses a part of it.
using TConfigMap = std::map<std::string, Json::Value>;

/// Called for each change made by `IConfig::Set`, with the key as passed and its new value. Can be
/// empty.
///
/// Runs on the thread that called `Set`, after the change in memory and before the file is written,
/// while the configuration is locked exclusively. An exception propagates to the caller of `Set`,
/// see there.
///
/// \warning The callback must not call the configuration that called it, not even to read: a
/// function that takes its lock throws `std::system_error` with glibc, and can block indefinitely
/// elsewhere. Nor must it wait for another thread that does so.
using TChangeCallback = std::function<void(const std::string& key, const Json::Value& newValue)>;

}  // namespace Tamsel
