// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

#include <json/value.h>

#include <tamsel/export.h>

/// \file
/// The words that the other headers use.

namespace Tamsel {

/// The types that a held value can be checked against. Each names a question that jsoncpp answers,
/// so a number belongs to every numeric type whose range holds its value, however it was written:
/// 5 is a `Uint32`, `Uint64`, `Int32`, `Int64`, `Float` and `Double`; 3.0 is all of those too; 2.5
/// is a `Float` and a `Double` only. A boolean is not a number and neither is the string "5".
///
/// The numbers are part of the interface. A number outside 0 to 8 is of no type.
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
/// The member's name is the key, compared byte by byte. Its value is held whole: a nested object is
/// one value, and no key reaches into it.
using TConfigMap = std::map<std::string, Json::Value>;

/// Told of each change that `IConfig::Set` makes, with the key as it was passed and the value that
/// it now holds. May be empty.
///
/// It runs on the thread that called `Set`, after the change in memory and before the file is
/// written, while the configuration is locked. It must not call the configuration that called it,
/// not even to read: that throws `std::system_error` on glibc and may never return elsewhere; nor
/// may it wait for another thread that does. What it throws reaches the caller of `Set`, see there.
using TChangeCallback = std::function<void(const std::string& key, const Json::Value& newValue)>;

}  // namespace Tamsel
